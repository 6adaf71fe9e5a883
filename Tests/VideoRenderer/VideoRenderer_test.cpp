#include "CutlistFactory.h"
#include "ML/SharedExecutors.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/HostCalls.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VideoRenderer.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"
#include "norvik/debug/Debug.h"

#include <fmt/format.h>

#include <cstdlib>
#include <stdexcept>

namespace
{

using namespace TestSupport;
using norviktypes::TickTime;

// A source that has reads, and renders what the test says.
class FakeSource final : public TVK::Implements<FakeSource, ML::IRenderableSource>
{
public:
    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                          MF::FrameTime& outTime) override
    {
        outTime = inTime;
    }
    void CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        mCollectedTimes.push_back(inTime);
        ioItems.insert(ioItems.end(), mItems.begin(), mItems.end());
    }
    void Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                MF::IVideoFrameRef& outFrame) override
    {
        mRenderedTimes.push_back(inTime);
        outFrame = mFrame;
        if (mWhileRendering)
        {
            mWhileRendering();
        }
    }
    void GetFrameRate(norviktypes::FrameRate&) override {}
    void GetFieldRate(norviktypes::FrameRate&) override {}

    std::vector<ML::IRenderableNodePrefetchRef> mItems;
    MF::IVideoFrameRef mFrame;
    std::function<void()> mWhileRendering;
    std::vector<MF::FrameTime> mCollectedTimes;
    std::vector<MF::FrameTime> mRenderedTimes;
};
using FakeSourceRef = TVK::InterfaceRef<FakeSource>;

class VideoRenderer : public QueueTest
{
protected:
    VideoRenderer() : mSource(new FakeSource), mRead(new FakePrefetch)
    {
        mRead->mIsReady = true;
        mRead->mFrame = SmallFrame();
        mSource->mItems = {mRead};
        mSource->mFrame = SmallFrame();
        mParams.mFrameTime = MF::FrameTime(TickTime(300));
    }

    void Initiate(std::uint32_t inID = 9)
    {
        ML::InitiateRender(ML::IRenderableSourceRef(mSource.get()),
                           MF::FrameTime(TickTime(250), TickTime(200)), mParams, inID,
                           [this](MF::IVideoFrameRef inFrame, unsigned inRequestID,
                                  ML::IRenderableSourceRef inSource, bool inCancelled, int inError)
                           {
                               EXPECT_EQ(inSource.get(), mSource.get());
                               mEnds.push_back(fmt::format("{} {} {} {}", inRequestID, NameOf(inFrame),
                                                           inCancelled ? "cancelled" : "ended", inError));
                           });
    }
    std::string NameOf(const MF::IVideoFrameRef& inFrame) const
    {
        return !inFrame                                 ? "none"
               : inFrame.get() == mSource->mFrame.get() ? "rendered"
               : inFrame.get() == mRead->mFrame.get()   ? "read"
                                                        : "unknown";
    }

    FakeSourceRef mSource;
    FakePrefetchRef mRead;
    ML::CutlistRenderParams mParams;
    Texts mEnds;
};

TEST_F(VideoRenderer, RendersOnceTheReadsAreThere)
{
    mRead->mIsReady = false;
    Initiate();
    Settle();
    EXPECT_TRUE(mEnds.empty());
    EXPECT_EQ(mRead->mBegun, 1);
    mRead->mIsReady = true;
    Advance(5);
    EXPECT_EQ(mEnds, Texts{"9 rendered ended 0"});
    // Read at the time that was asked for, rendered at that of the params.
    EXPECT_EQ(mSource->mCollectedTimes,
              std::vector<MF::FrameTime>{MF::FrameTime(TickTime(250), TickTime(200))});
    EXPECT_EQ(mSource->mRenderedTimes, std::vector<MF::FrameTime>{MF::FrameTime(TickTime(300))});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(VideoRenderer, EmptySourceIsNeverCalledBack)
{
    mSource.reset();
    Initiate();
    Settle();
    EXPECT_TRUE(mEnds.empty());
    EXPECT_EQ(AtRest(), "");
}

TEST_F(VideoRenderer, SourceWithoutReadsEndsWithAnEmptyFrame)
{
    mSource->mItems.clear();
    Initiate();
    Settle();
    EXPECT_EQ(mEnds, Texts{"9 none ended 0"});
    EXPECT_TRUE(mSource->mRenderedTimes.empty());
}

TEST_F(VideoRenderer, RenderThatYieldsNothingGivesNothing)
{
    mSource->mFrame.reset();
    Initiate();
    Settle();
    EXPECT_EQ(mEnds, Texts{"9 none ended 0"});
}

TEST_F(VideoRenderer, FrameThatCantBeHadIsAnEmptyFrameWithoutItsStatus)
{
    mSource->mWhileRendering = [] { throw ML::RenderRequestException(-4); };
    Initiate();
    Settle();
    EXPECT_EQ(mEnds, Texts{"9 none ended 0"});
}

TEST_F(VideoRenderer, OtherExceptionOfTheSourceGoesOnAfterTheCompletionWasCalled)
{
    mSource->mWhileRendering = [] { throw std::runtime_error("broken"); };
    Initiate();
    EXPECT_EQ(Thrown([this] { mQueue->GetImpl().ProcessPendingRequests(false); }), "broken");
    EXPECT_EQ(mEnds, Texts{"9 read ended 0"});
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(VideoRenderer, FailedReadsEndInAnErrorWithoutARender)
{
    mRead->mIsReady = false;
    Initiate();
    Settle();
    Advance(15005);
    EXPECT_EQ(mEnds, Texts{fmt::format("9 none ended {}", ML::kRenderFramePrefetchFailed)});
    EXPECT_TRUE(mSource->mRenderedTimes.empty());
}

TEST_F(VideoRenderer, CancelledRequestSaysSo)
{
    mRead->mIsReady = false;
    Initiate();
    Settle();
    ML::CancelRender(8);
    EXPECT_TRUE(mEnds.empty());
    ML::CancelRender(9);
    EXPECT_EQ(mEnds, Texts{"9 none cancelled 0"});
    EXPECT_EQ(mRead->mCancelled, 1);
    mPasses->Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(VideoRenderer, CallOnARenderThreadFails)
{
    mVideo->Post([this] { Initiate(); });
    mVideo->RunOne();
    EXPECT_EQ(mEnds, Texts{fmt::format("9 none ended {}", ML::kRenderFrameFailed)});
}

TEST_F(VideoRenderer, EmptyCompletionFunctionThrowsWhenItWouldBeCalled)
{
    ML::InitiateRender(ML::IRenderableSourceRef(mSource.get()), MF::FrameTime(TickTime(1)), mParams, 9,
                       ML::RenderCompletionFunction());
    EXPECT_EQ(Thrown([this] { mQueue->GetImpl().ProcessPendingRequests(false); }),
              "call to empty boost::function");
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(VideoRenderer, ExceptionOfCollectingReadsGoesToTheCaller)
{
    class Broken final : public TVK::Implements<Broken, ML::IRenderableSource>
    {
        void ConformFrameTime(const MF::FrameTime&, const ML::CutlistRenderParams&, MF::FrameTime&) override
        {
        }
        void CollectPrefetchItems(const MF::FrameTime&, const ML::CutlistRenderParams&,
                                  std::vector<ML::IRenderableNodePrefetchRef>&) override
        {
            throw std::runtime_error("collect");
        }
        void Render(const MF::FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef&) override {}
        void GetFrameRate(norviktypes::FrameRate&) override {}
        void GetFieldRate(norviktypes::FrameRate&) override {}
    };
    int calls = 0;
    EXPECT_EQ(Thrown(
                  [&]
                  {
                      ML::InitiateRender(
                          ML::IRenderableSourceRef(new Broken), MF::FrameTime(TickTime(1)), mParams, 9,
                          [&calls](MF::IVideoFrameRef, unsigned, ML::IRenderableSourceRef, bool, int)
                          { ++calls; });
                  }),
              "collect");
    Settle();
    EXPECT_EQ(calls, 0);
}

// ---- life, each in a process of its own ----

class VideoRendererLifeDeathTest : public VideoRenderer
{
protected:
    VideoRendererLifeDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    // Whether the service is up: a request that is added is rendered.
    bool Renders()
    {
        mEnds.clear();
        Initiate();
        Settle();
        return mEnds == Texts{"9 rendered ended 0"};
    }
};

TEST_F(VideoRendererLifeDeathTest, SecondUserKeepsTheServiceUp)
{
    EXPECT_EXIT(
        {
            bool fine = ML::VideoRenderer::Initialize() == 0 && ML::VideoRenderer::Initialize() == 0;
            fine = fine && ML::VideoRenderer::Shutdown() == 0 && Renders();
            fine = fine && ML::VideoRenderer::Shutdown() == 0 && !Renders();
            std::_Exit(fine ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(VideoRendererLifeDeathTest, ShutdownWithoutInitializeTakesNothingDown)
{
    EXPECT_EXIT(
        {
            ML::VideoRenderer::Shutdown();
            const bool rendered = Renders();
            // The count has wrapped, so that the next Initialize only takes it back to zero.
            ML::VideoRenderer::Initialize();
            ML::VideoRenderer::Shutdown();
            std::_Exit(rendered && Renders() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(VideoRendererLifeDeathTest, StepThatThrowsLeavesTheCountAsItWas)
{
    const auto initializeWithoutBackend = []
    {
        HostCalls::Begin(0, HostCalls::Fault::kNothing);
        try
        {
            ML::VideoRenderer::Initialize();
        }
        catch (const TVK::NullInterfaceException&)
        {
            return HostCalls::End() == Texts{"GetBackend 1"};
        }
        return false;
    };
    EXPECT_EXIT(
        {
            norvik::debug::DebugDatabase::Instance().SetEntry("ML.EnableDiskCache", "true");
            bool fine = initializeWithoutBackend() && !MF::GetCutlistFactory();
            norvik::debug::DebugDatabase::Instance().ClearEntry("ML.EnableDiskCache");
            ML::VideoRenderer::Initialize();
            fine = fine && MF::GetCutlistFactory();
            ML::VideoRenderer::Shutdown();
            std::_Exit(fine && !MF::GetCutlistFactory() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(VideoRendererLifeDeathTest, FirstRequestIDIsTwo)
{
    EXPECT_EXIT({ std::_Exit(ML::GetNextRequestID() == 2 && ML::GetNextRequestID() == 3 ? 0 : 1); },
                testing::ExitedWithCode(0), "");
}

// Executors that write down when they are stopped.
class NotingExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    NotingExecutor(std::string inName, Texts& ioNotes) : mName(std::move(inName)), mNotes(ioNotes) {}
    void Post(norvik::Function, std::uint32_t) override {}
    bool IsCurrentThread() const override { return false; }
    void CancelPending() override { mNotes.push_back(mName + " cancel"); }
    void Close() override { mNotes.push_back(mName + " close"); }
    void WaitForTermination() override { mNotes.push_back(mName + " wait"); }

private:
    const std::string mName;
    Texts& mNotes;
};

TEST_F(VideoRendererLifeDeathTest, LastShutdownStopsRendersThenPassesThenReads)
{
    const auto notesOfLife = [this]
    {
        Texts notes;
        mQueue.reset();
        ML::sNormalPriorityRenderQueue = boost::make_shared<NotingExecutor>("normal", notes);
        ML::sLowPriorityRenderQueue = boost::make_shared<NotingExecutor>("low", notes);
        ML::sVideoSourcePrefetcherQueue = boost::make_shared<NotingExecutor>("video", notes);
        ML::sImageSourcePrefetcherQueue = boost::make_shared<NotingExecutor>("image", notes);
        ML::RenderFrameQueue::Impl::SetExecutor(boost::make_shared<NotingExecutor>("passes", notes));
        ML::VideoRenderer::Initialize();
        ML::VideoRenderer::Shutdown();
        notes.resize(13);
        return notes;
    };
    const Texts expected = {"normal cancel", "normal close",  "normal wait",  "low cancel",  "low close",
                            "low wait",      "passes cancel", "passes close", "passes wait", "video close",
                            "video wait",    "image close",   "image wait"};
    EXPECT_EXIT({ std::_Exit(notesOfLife() == expected ? 0 : 1); }, testing::ExitedWithCode(0), "");
}

// The same, but they write down whether cutlists can be made meanwhile.
class WatchingExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    explicit WatchingExecutor(Texts& ioNotes) : mNotes(ioNotes) {}
    void Post(norvik::Function, std::uint32_t) override {}
    bool IsCurrentThread() const override { return false; }
    void CancelPending() override {}
    void Close() override {}
    void WaitForTermination() override { mNotes.push_back(MF::GetCutlistFactory() ? "factory" : "none"); }

private:
    Texts& mNotes;
};

TEST_F(VideoRendererLifeDeathTest, CutlistsCanBeMadeUntilAllElseHasStopped)
{
    const auto notesOfLife = [this]
    {
        Texts notes;
        mQueue.reset();
        ML::sNormalPriorityRenderQueue = boost::make_shared<WatchingExecutor>(notes);
        ML::sLowPriorityRenderQueue.reset();
        ML::sVideoSourcePrefetcherQueue.reset();
        ML::sImageSourcePrefetcherQueue = boost::make_shared<WatchingExecutor>(notes);
        ML::RenderFrameQueue::Impl::SetExecutor(boost::make_shared<WatchingExecutor>(notes));
        const auto note = [&notes] { notes.push_back(MF::GetCutlistFactory() ? "factory" : "none"); };
        note();
        ML::VideoRenderer::Initialize();
        ML::VideoRenderer::Initialize();
        note();
        ML::VideoRenderer::Shutdown();
        note();
        ML::VideoRenderer::Shutdown();
        note();
        return notes;
    };
    const Texts expected = {"none", "factory", "factory", "factory", "factory", "factory", "none"};
    EXPECT_EXIT({ std::_Exit(notesOfLife() == expected ? 0 : 1); }, testing::ExitedWithCode(0), "");
}

TEST_F(VideoRendererLifeDeathTest, CutlistFactoryIsTheLibrarysOwn)
{
    EXPECT_EXIT(
        {
            ML::VideoRenderer::Initialize();
            std::_Exit(MF::GetCutlistFactory() == ML::GetCutlistFactoryInstance() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
