// What one run happens in: a queue on executors of the run, fakes around it, and the record of what each
// request was told. At the end the world says whether everything is as it must be.
//
// Fakes have a point at the begin of each call, and check that the library holds no lock there.
//
// Thread-safety: threads of a run take turns, so nothing here is locked.
#pragma once

#include "RenderFrame.h"
#include "RenderFrameQueue.h"
#include "RenderFrameRequest.h"
#include "RenderableNodeProducer.h"
#include "TVK/Allocated.h"
#include "TVK/Weak.h"
#include "Tests/ScheduleExplorer/ExplorerHost.h"
#include "Tests/ScheduleExplorer/Scheduler.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ScheduleExplorer
{

using RequestID = std::uint32_t;

// Tells what is wrong and ends the process. Set by the program.
using FailFunction = void (*)(const std::string& inText);
void SetFailFunction(FailFunction inFunction);
[[noreturn]] void Fail(const std::string& inText);

// Before a call that must come with no lock held.
void CheckNoLock(const char* inCall);

// Lives as long as a request or one of its copies.
class Probe
{
public:
    Probe();
    ~Probe();
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;
    static int sCount;
};

class Client final : public TVK::ImplementsWeak<Client, ML::IRenderFrameClient>
{
public:
    void RenderFrameCompleted(std::uint64_t inContext, std::uint32_t inRequestID,
                              const norviktypes::TickTime& inTime, MF::IVideoFrameRef inFrame,
                              std::int32_t inRenderMilliseconds) override;
    void RenderFrameCancelled(std::uint64_t inContext, std::uint32_t inRequestID,
                              const norviktypes::TickTime& inTime) override;
    void RenderFrameError(std::uint64_t inContext, std::uint32_t inRequestID,
                          const norviktypes::TickTime& inTime, std::int32_t inStatus) override;

    std::function<void(RequestID)> mWhileTold;

private:
    Probe mProbe;
};
using ClientRef = TVK::InterfaceRef<Client>;

// Frames of one key.
class Producer final : public TVK::Implements<Producer, ML::IRenderableNodeProducer>
{
public:
    Producer(std::uint64_t inKey, RequestID inID) : mKey(inKey), mID(inID) {}
    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override;
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const ML::CutlistRenderParams& inParams, const TVK::Guid& inBaseHash) override;

    std::function<void()> mWhileRendering; // may throw

private:
    const std::uint64_t mKey;
    const RequestID mID; // whose render it counts; 0: nobody's
    Probe mProbe;
};
using ProducerRef = TVK::InterfaceRef<Producer>;

// Something to be read.
class Item final : public TVK::Implements<Item, ML::IRenderableNodePrefetch>
{
public:
    explicit Item(bool inIsReady) : mIsReady(inIsReady) {}
    std::int32_t BeginPrefetch() override;
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) override;
    std::int32_t CancelPrefetch() override;
    void GetPrefetchKey(TVK::Guid& outKey) const override { outKey = TVK::Guid(); }
    bool ContinueWaitingForPrefetch(double inElapsedSeconds) override;

    void MakeReady();

private:
    bool mIsReady;
    Probe mProbe;
};
using ItemRef = TVK::InterfaceRef<Item>;

class Renderer final : public TVK::Implements<Renderer, ML::IAcceleratedSequenceRenderer>
{
public:
    void RefreshSegments() override {}
    const ML::AcceleratedSegmentMap& GetSegmentMap() override { return mSegments; }
    std::int32_t RenderFrame(const ML::AcceleratedRenderRequest& inRequest) override;
    std::int32_t CancelFrame(std::uint32_t inRequestID) override;
    std::int32_t NotifySequence(std::uint32_t) override { return 0; }

    std::int32_t mStatus = 0;
    bool mHasRequest = false;

private:
    ML::AcceleratedSegmentMap mSegments;
    Probe mProbe;
};
using RendererRef = TVK::InterfaceRef<Renderer>;

struct RequestSpec
{
    RequestID mID = 0;
    std::uint64_t mKey = 1;
    std::uint32_t mPriority = 1000;
    std::uint64_t mCaller = 0;
    std::int32_t mSize = 16; // of the picture that is asked for, which says how much memory it counts for
    std::vector<ML::IRenderableNodePrefetchRef> mItems = {};
    std::function<void()> mWhileRendering = {};
    RendererRef mRenderer = {};
};

class World
{
public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // Before the run.
    void Thread(const char* inName, std::function<void()> inWork);
    void CheckAtEnd(std::function<void()> inCheck) { mChecks.push_back(std::move(inCheck)); }

    // A request that ends with exactly one outcome.
    ML::RenderFrameRequest Request(const RequestSpec& inSpec);
    void Add(const RequestSpec& inSpec);
    ML::RenderFrameQueue& Queue() { return *mQueue; }
    const ClientRef& TheClient() { return mClient; }

    void MustEnd(RequestID inID);
    // It may also end without a word.
    void MayBeSilent(RequestID inID);
    // Passes that are posted to executors that have ended leave their flags set.
    void AllowFlagsAtEnd() { mFlagsMayStay = true; }
    bool ExecutorsOfRendersRest() const;

    enum class Outcome
    {
        kCompleted,
        kCancelled,
        kFailed
    };
    void Told(RequestID inID, Outcome inOutcome);
    void FunctionCalled(RequestID inID);
    void Rendered(RequestID inID);
    // Exactly these outcomes, whatever the schedule.
    void MustComplete(RequestID inID);
    int Renders(RequestID inID) const;

    // What became of the requests, one after the other by their numbers.
    std::string Outcomes() const;

    // After the run: lets everything go and looks. Gives what is wrong.
    std::string Finish();

    static World* sWorld; // of the run

private:
    struct Record
    {
        bool mMustEnd = false;
        bool mMayBeSilent = false;
        bool mMustComplete = false;
        bool mHasFunction = false;
        int mCompleted = 0;
        int mCancelled = 0;
        int mFailed = 0;
        int mFunctionCalls = 0;
        int mRenders = 0;

        int Outcomes() const { return mCompleted + mCancelled + mFailed; }
    };

    static std::string WrongWith(RequestID inID, const Record& inRecord);
    std::string WrongAtRest() const;

    ExplorerMachine mMachine;
    boost::shared_ptr<ExplorerExecutor> mPasses;
    boost::shared_ptr<ExplorerExecutor> mNormal;
    boost::shared_ptr<ExplorerExecutor> mLow;
    boost::shared_ptr<ExplorerExecutor> mVideo;
    boost::shared_ptr<ExplorerExecutor> mImage;
    ML::RenderFrameQueueRef mQueue;
    ClientRef mClient;
    bool mFlagsMayStay = false;
    std::map<RequestID, Record> mRecords;
    std::vector<std::function<void()>> mChecks;
};

} // namespace ScheduleExplorer
