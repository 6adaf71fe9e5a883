#include "Applications/vrender/RunReport.h"

#include "Applications/vrender/Console.h"
#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/Json.h"
#include "Applications/vrender/Progress.h"
#include "ReferenceHost/Session/RenderService.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <utility>

namespace vrender
{

namespace
{

using Foundation::WorkKind;
using ML::RenderEventKind;

// Some megabytes. A window of requests has a few thousand moments at most, and each frame that leaves it is a
// chance to write them.
constexpr std::size_t kMostMoments = 1 << 16;

constexpr std::size_t kMostText = 1 << 20;

constexpr double kNanosecondsInMicrosecond = 1e3;
constexpr double kNanosecondsInMillisecond = 1e6;

double Milliseconds(std::int64_t inNanoseconds)
{
    return static_cast<double>(inNanoseconds) / kNanosecondsInMillisecond;
}

std::string Stamp(std::int64_t inNanoseconds)
{
    return fmt::format("{:.3f}", static_cast<double>(inNanoseconds) / kNanosecondsInMicrosecond);
}

double ProcessorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& inTime)
    { return static_cast<double>(inTime.tv_sec) + static_cast<double>(inTime.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

// ---- the trace ----

class RunReport::TraceFile
{
public:
    explicit TraceFile(const std::string& inPath);
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    void Write(const std::vector<Moment>& inMoments, const std::vector<std::string>& inThreadNames);
    void Close(std::uint64_t inDropped);

private:
    void Append(const std::string& inEvent);
    void AppendThreads(const std::vector<std::string>& inNames);
    void AppendEvent(const Moment& inMoment);
    void AppendWork(const Moment& inMoment);
    void AppendProcessors(const Moment& inMoment);
    void AppendCounter(const Moment& inMoment, const char* inName, const std::string& inValues);
    void Flush();

    const std::string mPath;
    std::FILE* mFile;
    std::string mText;
    bool mIsFirst = true;
    bool mIsBroken = false;
    std::size_t mThreads = 0; // whose names are written
    std::int64_t mSampledAt = 0;
    std::int64_t mSample = 0;
};

RunReport::TraceFile::TraceFile(const std::string& inPath)
    : mPath(inPath)
    , mFile(std::fopen(inPath.c_str(), "we"))
{
    if (mFile == nullptr)
    {
        throw ToolError(ExitCode::kCannotCreate, inPath + ": can't be made: " + std::strerror(errno));
    }
    mText = "{\"displayTimeUnit\": \"ms\", \"traceEvents\": [\n";
    Append("\"ph\": \"M\", \"tid\": 0, \"name\": \"process_name\", \"args\": {\"name\": \"vrender\"}");
}

RunReport::TraceFile::~TraceFile()
{
    std::fclose(mFile);
}

void RunReport::TraceFile::Write(const std::vector<Moment>& inMoments,
                                 const std::vector<std::string>& inThreadNames)
{
    AppendThreads(inThreadNames);
    for (const Moment& moment : inMoments)
    {
        switch (moment.mKind)
        {
        case Moment::Kind::kEvent: AppendEvent(moment); break;
        case Moment::Kind::kWork: AppendWork(moment); break;
        case Moment::Kind::kProcessors: AppendProcessors(moment); break;
        }
        if (mText.size() > kMostText)
        {
            Flush();
        }
    }
    Flush();
}

void RunReport::TraceFile::Close(std::uint64_t inDropped)
{
    mText += fmt::format("\n], \"otherData\": {{\"dropped\": \"{}\"}}}}\n", inDropped);
    Flush();
}

void RunReport::TraceFile::Append(const std::string& inEvent)
{
    mText += mIsFirst ? "{\"pid\": 1, " : ",\n{\"pid\": 1, ";
    mText += inEvent;
    mText += '}';
    mIsFirst = false;
}

void RunReport::TraceFile::AppendThreads(const std::vector<std::string>& inNames)
{
    for (; mThreads < inNames.size(); ++mThreads)
    {
        Append(fmt::format(R"("ph": "M", "tid": {}, "name": "thread_name", "args": {{"name": {}}})",
                           mThreads + 1, JsonQuoted(inNames[mThreads])));
    }
}

void RunReport::TraceFile::AppendCounter(const Moment& inMoment, const char* inName,
                                         const std::string& inValues)
{
    Append(fmt::format(R"("ph": "C", "tid": 0, "ts": {}, "name": "{}", "args": {{{}}})",
                       Stamp(inMoment.mWhen), inName, inValues));
}

void RunReport::TraceFile::AppendEvent(const Moment& inMoment)
{
    const RenderEventKind kind = inMoment.Event();
    const bool isEnd = kind == RenderEventKind::kFinished || kind == RenderEventKind::kCancelled;
    const auto request = [&](const char* inPhase, const char* inName)
    {
        Append(fmt::format(R"("ph": "{}", "cat": "request", "id": {}, "tid": {}, "ts": {}, "name": "{}", )"
                           R"("args": {{"value": {}}})",
                           inPhase, inMoment.mRequest, inMoment.mThread + 1, Stamp(inMoment.mWhen), inName,
                           inMoment.mValue));
    };
    if (kind == RenderEventKind::kQueued)
    {
        request("b", "request");
    }
    request("n", ML::RenderEventName(kind));
    if (isEnd)
    {
        request("e", "request");
    }
    if (kind == RenderEventKind::kRendered)
    {
        Append(fmt::format(
            R"("ph": "X", "cat": "service", "tid": {}, "ts": {}, "dur": {}, "name": "render", )"
            R"("args": {{"request": {}}})",
            inMoment.mThread + 1, Stamp(inMoment.mWhen), Stamp(inMoment.mDuration), inMoment.mRequest));
    }
    AppendCounter(inMoment, "requests",
                  fmt::format(R"("open": {}, "reading": {})", inMoment.mOpen, inMoment.mReading));
    AppendCounter(inMoment, "memory units", fmt::format(R"("in use": {})", inMoment.mUnits));
}

void RunReport::TraceFile::AppendWork(const Moment& inMoment)
{
    Append(fmt::format(R"("ph": "X", "cat": "work", "tid": {}, "ts": {}, "dur": {}, "name": "{}", )"
                       R"("args": {{"number": {}, "failed": {}}})",
                       inMoment.mThread + 1, Stamp(inMoment.mWhen), Stamp(inMoment.mDuration),
                       Foundation::WorkName(inMoment.Work()), inMoment.mValue, inMoment.mHasFailed));
}

void RunReport::TraceFile::AppendProcessors(const Moment& inMoment)
{
    const double busy = static_cast<double>(inMoment.mValue - mSample) /
                        static_cast<double>(std::max<std::int64_t>(1, inMoment.mWhen - mSampledAt));
    // The first sample has no beginning.
    if (mSampledAt != 0)
    {
        AppendCounter(inMoment, "processors", fmt::format(R"("busy": {:.3f})", busy));
    }
    mSampledAt = inMoment.mWhen;
    mSample = inMoment.mValue;
}

void RunReport::TraceFile::Flush()
{
    const bool isWritten =
        std::fwrite(mText.data(), 1, mText.size(), mFile) == mText.size() && std::fflush(mFile) == 0;
    if (!isWritten && !std::exchange(mIsBroken, true))
    {
        console::Say(mPath + ": can't be written: " + std::strerror(errno) + "; the trace is not whole");
    }
    mText.clear();
}

// ---- the report ----

RunReport::RunReport(const Options& inOptions)
    : mPrintsStatistics(inOptions.mStats)
    , mPrintsJson(inOptions.mJson)
{
    if (mPrintsJson && !mPrintsStatistics)
    {
        throw ToolError(ExitCode::kUsage, "--json: needs --stats");
    }
    if (!inOptions.mTrace.empty())
    {
        mTrace = std::make_unique<TraceFile>(inOptions.mTrace);
    }
    if (mTrace || mPrintsStatistics)
    {
        mWatch = std::make_unique<Watch>(mTrace ? kMostMoments : 0);
    }
}

RunReport::~RunReport()
{
    if (!mWatch)
    {
        return;
    }
    mWatch->Detach();
    try
    {
        if (mTrace)
        {
            WriteMoments();
            mTrace->Close(mWatch->Counts().mDroppedMoments);
        }
        if (mPrintsStatistics)
        {
            PrintStatistics();
        }
    }
    catch (const std::exception&)
    {
        console::Say("out of memory for the report of the run");
    }
}

void RunReport::Tick()
{
    if (!mTrace)
    {
        return;
    }
    mWatch->SampleProcessors();
    if (mWatch->IsHalfFull())
    {
        WriteMoments();
    }
}

void RunReport::WriteMoments()
{
    const std::lock_guard<std::mutex> lock(mTraceMutex);
    const std::vector<Moment> moments = mWatch->TakeMoments();
    mTrace->Write(moments, mWatch->ThreadNames());
}

namespace
{

struct StatisticsRow
{
    const char* mName; // in JSON
    const char* mText; // before the number
    double mValue;
    int mDecimals;
};

std::vector<StatisticsRow> RowsOf(const RunCounts& inCounts)
{
    const auto number = [](std::uint64_t inValue) { return static_cast<double>(inValue); };
    const Session::FrameCacheCounts cache = Session::GetFrameCacheCounts();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::vector<StatisticsRow> rows = {
        {"seconds", "seconds", Milliseconds(inCounts.mNanoseconds) / 1e3, 3},
        {"processor_seconds", "processor seconds", ProcessorSeconds(), 3},
        {"peak_memory", "peak memory, bytes", static_cast<double>(usage.ru_maxrss) * 1024, 0},
        {"requests", "requests", number(inCounts.mQueued), 0},
        {"finished", "  finished", number(inCounts.mFinished), 0},
        {"cancelled", "  cancelled", number(inCounts.mCancelled), 0},
        {"timed_out", "  timed out", number(inCounts.mTimedOut), 0},
        {"most_open", "  open at once, at most", number(inCounts.mMostOpen), 0},
        {"most_reading", "  read at once, at most", number(inCounts.mMostReading), 0},
        {"merged", "  merged", number(inCounts.mMerged), 0},
        {"render_cache_hits", "  found rendered", number(inCounts.mCacheHits), 0},
        {"waited_for_memory", "  waited for memory", number(inCounts.mWaitedForMemory), 0},
        {"most_units", "  memory units, at most", number(inCounts.mMostUnits), 0},
        {"frame_cache_hits", "frame cache hits", number(cache.mHits), 0},
        {"frame_cache_stored", "  stored", number(cache.mStored), 0},
        {"frame_cache_dropped", "  dropped", number(cache.mDropped), 0},
    };
    static constexpr const char* kNames[][4] = {
        {"read", "read_failures", "read_ms", "frames read"},
        {"decoded", "decode_failures", "decode_ms", "pictures decoded"},
        {"converted", "convert_failures", "convert_ms", "pictures converted"},
        {"rendered", "render_failures", "render_ms", "frames rendered"},
        {"laid_out", "lay_out_failures", "lay_out_ms", "frames laid out"},
        {"written", "write_failures", "write_ms", "frames written"},
        {"fetched", "fetch_failures", "fetch_ms", "frames from the disk cache"},
        {"kept", "keep_failures", "keep_ms", "frames kept on disk"},
    };
    static_assert(std::size(kNames) == Foundation::kWorkKinds);
    for (std::size_t i = 0; i < std::size(kNames); ++i)
    {
        const WorkCount& count = inCounts.mWork[i];
        rows.push_back({kNames[i][0], kNames[i][3], number(count.mTimes), 0});
        rows.push_back({kNames[i][1], "  failures", number(count.mFailures), 0});
        rows.push_back({kNames[i][2], "  milliseconds", Milliseconds(count.mNanoseconds), 1});
    }
    return rows;
}

} // namespace

void RunReport::PrintStatistics()
{
    const std::vector<StatisticsRow> rows = RowsOf(mWatch->Counts());
    if (mPrintsJson)
    {
        JsonWriter json(false);
        for (const StatisticsRow& row : rows)
        {
            row.mDecimals == 0 ? json.Integer(row.mName, static_cast<std::int64_t>(row.mValue))
                               : json.Number(row.mName, row.mValue);
        }
        console::SayBare(json.Finish());
        return;
    }
    std::string text = "statistics";
    for (const StatisticsRow& row : rows)
    {
        text += fmt::format("\n{:<28}{:>14.{}f}", row.mText, row.mValue, row.mDecimals);
    }
    console::Say(text);
}

} // namespace vrender
