#pragma once

#include "Applications/vrender/Options.h"
#include "Applications/vrender/Watch.h"

#include <memory>

// What --trace and --stats tell of a run.
//
// A report begins before the host comes up and ends after it has gone down, however the run ends: then the
// trace is closed and the statistics are printed. Without both options it does nothing.
//
// The trace is a Chrome trace, a JSON object that trace viewers open: work as complete events of its threads,
// each request as an asynchronous event with what befell it, and counters of requests and processors. It is
// written as the run goes, so that its length costs no memory.
//
// Errors: a trace that can't be made throws ToolError; one that can't be written any more is told of once, and
// the run goes on.
//
// Thread-safety: Tick is safe; the rest is the main thread's.
namespace vrender
{

class RunReport
{
public:
    explicit RunReport(const Options& inOptions);
    ~RunReport();
    RunReport(const RunReport&) = delete;
    RunReport& operator=(const RunReport&) = delete;

    // Now and then, from threads that may wait for a disk.
    void Tick();

private:
    class TraceFile;

    void WriteMoments();
    void PrintStatistics();

    bool mPrintsStatistics;
    bool mPrintsJson;
    std::unique_ptr<Watch> mWatch; // null: nothing is told
    std::mutex mTraceMutex;        // one thread writes
    std::unique_ptr<TraceFile> mTrace;
};

} // namespace vrender
