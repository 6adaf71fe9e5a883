// The executors of a run, and the rest of what a host gives to the library where threads are concerned: locks,
// signals, clocks. The explorer is linked with this in place of the host's own.
//
// Thread-safety: as the originals.
#pragma once

#include "Tests/ScheduleExplorer/Quarantine.h"
#include "norvik/threads/Threads.h"

#include <cstdint>
#include <deque>
#include <set>
#include <string>

namespace ScheduleExplorer
{

// Helper threads of a run, as many as the executor is wide. The name is its own. What its functions throw is caught and counted.
class ExplorerExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    ExplorerExecutor(const char* inName, int inWidth);

    void Post(norvik::Function inFunction, std::uint32_t inDelayMilliseconds = 0) override;
    bool IsCurrentThread() const override;
    void CancelPending() override;
    void Close() override;
    void WaitForTermination() override;

    std::size_t Thrown() const { return mThrown; }
    bool IsAtRest() const;

private:
    void Work();

    struct Task
    {
        norvik::Function mFunction;
        std::uint64_t mEvent; // of its post
        std::uint64_t mName;
    };

    void Enqueue(norvik::Function inFunction);

    const std::string mName;
    const bool mIsSerial;
    std::deque<Task> mQueue;
    std::uint64_t mPosted = 0;
    std::set<int> mBusy; // threads that run a function
    int mWaiting = 0;    // of the busy ones, those that wait for termination
    std::size_t mThrown = 0;
    bool mIsClosed = false;
};

// Clocks of the run in place of the system's, a machine of two processors and so much memory, until it goes.
class ExplorerMachine
{
public:
    explicit ExplorerMachine(std::uint64_t inMemoryBytes);
    ~ExplorerMachine();
    ExplorerMachine(const ExplorerMachine&) = delete;
    ExplorerMachine& operator=(const ExplorerMachine&) = delete;

private:
    const Quarantine mQuarantine;
};

} // namespace ScheduleExplorer
