#include "Tests/ScheduleExplorer/Scenarios.h"

#include "RenderableCutlistImpl.h"
#include "RenderableNodeCommonImpl.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/FrameTools.h"
#include "VideoSourcePrefetcher.h"

#include <stdexcept>
#include <utility>

namespace ScheduleExplorer
{

namespace
{

constexpr std::uint32_t kLowPriority = 100;
constexpr std::uint64_t kCaller = 7;
// Of which the memory of a world holds one frame.
constexpr std::int32_t kLargeSize = 5600;

// Something that one thread does and another one waits for.
struct Event
{
    void Set()
    {
        Scheduler::Instance().Reach(this);
        mIsSet = true;
    }
    void Wait()
    {
        Scheduler::Instance().WaitUntil(this, "the other thread", [this] { return mIsSet; });
    }
    bool mIsSet = false;
};

void ThrowOnRender()
{
    throw std::runtime_error("a source that can't render");
}

ML::IRenderableNodePrefetchRef AsPrefetch(const ItemRef& inItem)
{
    return ML::IRenderableNodePrefetchRef(inItem.get());
}

// What is queued gets its key on the way; what is rendered at once must bring it.
void AddWithKey(World& ioWorld, const RequestSpec& inSpec)
{
    ML::RenderFrameRequest request = ioWorld.Request(inSpec);
    request.ComputeKey(true);
    ioWorld.MustEnd(inSpec.mID);
    ioWorld.Queue().AddRenderRequest(request);
}

// ---- two adds of one key ----

// 0: frames. 1: the render fails. 2: memory for one only, beside another frame.
void TwoAddsOfOneKey(World& ioWorld, int inVariant)
{
    const std::function<void()> whileRendering = inVariant == 1 ? &ThrowOnRender : std::function<void()>();
    const std::int32_t size = inVariant == 2 ? kLargeSize : 16;
    for (const RequestID id : {1u, 2u})
    {
        ioWorld.Thread("adds",
                       [&ioWorld, id, inVariant, whileRendering, size]
                       {
                           ioWorld.Add({id, 1, 1000, 0, size, {}, whileRendering});
                           if (inVariant == 2 && id == 2)
                           {
                               ioWorld.Add({3, 2, kLowPriority, 0, size});
                           }
                       });
    }
    if (inVariant != 1)
    {
        ioWorld.MustComplete(1);
        ioWorld.MustComplete(2);
    }
}

// ---- add and cancel ----

// 0: at any time. 1: while its read comes to an end. 2: its read never does. 3: low priority.
void AddAndCancelOne(World& ioWorld, int inVariant)
{
    const ItemRef item(new Item(inVariant == 0));
    const auto added = std::make_shared<Event>();
    const std::uint32_t priority = inVariant == 3 ? kLowPriority : 1000;
    ioWorld.Thread("adds",
                   [&ioWorld, item, added, priority]
                   {
                       ioWorld.Add({1, 1, priority, 0, 16, {AsPrefetch(item)}});
                       added->Set();
                       ioWorld.Add({2, 2});
                   });
    ioWorld.Thread("cancels",
                   [&ioWorld, added, inVariant]
                   {
                       if (inVariant == 2)
                       {
                           added->Wait();
                       }
                       ioWorld.Queue().CancelOne(1);
                   });
    if (inVariant == 1 || inVariant == 3)
    {
        ioWorld.Thread("reads", [item] { item->MakeReady(); });
    }
    ioWorld.MustComplete(2);
}

// 0: requests of both priorities, at any time. 1: one whose read never ends.
void AddAndCancelCaller(World& ioWorld, int inVariant)
{
    const ItemRef item(new Item(inVariant == 0));
    const auto added = std::make_shared<Event>();
    ioWorld.Thread("adds",
                   [&ioWorld, item, added]
                   {
                       ioWorld.Add({1, 1, 1000, kCaller, 16, {AsPrefetch(item)}});
                       ioWorld.Add({2, 2, kLowPriority, kCaller});
                       added->Set();
                       ioWorld.Add({3, 3, 1000, kCaller + 1});
                   });
    ioWorld.Thread("cancels",
                   [&ioWorld, added, inVariant]
                   {
                       if (inVariant == 1)
                       {
                           added->Wait();
                       }
                       ioWorld.Queue().CancelCallersRequests(kCaller);
                   });
    ioWorld.MustComplete(3);
}

// ---- twin on the direct path ----

// A source that asks for its own frame while it renders, which is done there and then, and another client that
// asks for it too. 0: frames. 1: the outer render fails. 2: the other one asks when the twin is done, and the
// outer render lasts until it does.
void TwinOnDirectPath(World& ioWorld, int inVariant)
{
    const auto twinIsDone = std::make_shared<Event>();
    const auto otherIsAdded = std::make_shared<Event>();
    const auto ask = [&ioWorld, inVariant, twinIsDone, otherIsAdded, asked = std::make_shared<bool>(false)]
    {
        if (!std::exchange(*asked, true))
        {
            AddWithKey(ioWorld, {2, 1});
            if (inVariant == 1)
            {
                ThrowOnRender();
            }
            if (inVariant == 2)
            {
                twinIsDone->Set();
                otherIsAdded->Wait();
            }
        }
    };
    ioWorld.Thread("adds", [&ioWorld, ask] { ioWorld.Add({1, 1, 1000, 0, 16, {}, ask}); });
    ioWorld.Thread("adds the same",
                   [&ioWorld, inVariant, ask, twinIsDone, otherIsAdded]
                   {
                       if (inVariant == 2)
                       {
                           twinIsDone->Wait();
                       }
                       ioWorld.Add({3, 1, 1000, 0, 16, {}, ask});
                       otherIsAdded->Set();
                   });
    ioWorld.MustComplete(2);
}

// ---- accelerated renders ----

// 0: refused, and cancelled by id. 1: refused, and cancelled by caller. 2: accepted, ended and cancelled.
// 3: refused and ended all the same.
void RefusedAcceleratedSubmitAndCancel(World& ioWorld, int inVariant)
{
    const RendererRef renderer(new Renderer);
    renderer->mStatus = inVariant == 2 ? 0 : ML::kRenderFrameFailed;
    ioWorld.Thread("adds",
                   [&ioWorld, renderer] {
                       ioWorld.Add({1, 1, 1000, kCaller, 16, {}, {}, renderer});
                   });
    ioWorld.Thread("cancels",
                   [&ioWorld, inVariant]
                   {
                       if (inVariant == 1)
                       {
                           ioWorld.Queue().CancelCallersRequests(kCaller);
                       }
                       else
                       {
                           ioWorld.Queue().CancelOne(1);
                       }
                   });
    if (inVariant >= 2)
    {
        ioWorld.Thread("renderer",
                       [&ioWorld, renderer]
                       {
                           Scheduler::Instance().WaitUntil(renderer.get(), "a render",
                                                           [&] { return renderer->mHasRequest; });
                           ioWorld.Queue().RenderFrameCompleted(
                               0, 1, norviktypes::TickTime(),
                               TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 16, 8), 0);
                       });
    }
    ioWorld.Thread("adds another", [&ioWorld] { ioWorld.Add({2, 1}); });
    ioWorld.MustComplete(2);
}

// ---- reads ahead ----

BE::FrameDescription ReadFormat()
{
    BE::FrameDescription format;
    format.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    format.mBounds = {0, 0, 8, 4};
    return format;
}

// 0: the read fails. 1: and one of the two is cancelled meanwhile. 2: and the stream has to be woken first.
// 3: it does not fail, and one is cancelled.
void PrefetchFailsWithTwoHolders(World& ioWorld, int inVariant)
{
    const TestSupport::FakeReadSourceRef source(new TestSupport::FakeReadSource);
    source->mRests = inVariant == 2;
    source->mReadFunction = [inVariant, stream = source.get()](std::int64_t, MF::IVideoFrameRef& outFrame)
    {
        CheckNoLock("a read");
        Scheduler::Instance().Reach(stream);
        if (inVariant == 3)
        {
            outFrame = TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 8, 4);
            return 0;
        }
        return BE::kSourceStatus_PastEnd;
    };
    source->mDestroyFunction = [] { CheckNoLock("the end of a stream"); };
    for (const RequestID id : {1u, 2u})
    {
        ioWorld.Thread(
            "adds",
            [&ioWorld, source, id]
            {
                const ML::IRenderableNodePrefetchRef item = ML::VideoSourcePrefetcher::CreateMediaPrefetcher(
                    BE::IVideoSourceRef(source), ReadFormat(), norviktypes::TickTime(), {}, {}, u"media", 0);
                ioWorld.Add({id, id, 1000, 0, 16, {item}});
            });
    }
    if (inVariant == 1 || inVariant == 3)
    {
        ioWorld.Thread("cancels", [&ioWorld] { ioWorld.Queue().CancelOne(1); });
    }
    else
    {
        ioWorld.MustComplete(1);
    }
    ioWorld.MustComplete(2);
}

// ---- render frames ----

class Node final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("Node");
    }
    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inTime,
                                                       const ML::CutlistRenderParams&) override
    {
        const auto key = static_cast<std::uint64_t>(inTime.Earlier().GetTicks()) + 100;
        return ML::IRenderableNodeProducerRef(new Producer(key, 0));
    }
    void GetStillRanges(const norviktypes::TickTime&, const norviktypes::TickTime&,
                        std::vector<MF::TimeRange>&) override
    {
    }
    void GetSmartRenderSegments(const norviktypes::TickTime&, const norviktypes::TickTime&,
                                const norviktypes::PixelFormat&, bool, MF::SmartRenderSegments&) override
    {
    }
};

class Sequence final
    : public TVK::Implements<Sequence, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    Sequence()
    {
        const TVK::InterfaceRef<Node> node(new Node);
        node->Finalize();
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        cutlist->AddSegment(norviktypes::TickTime(0), norviktypes::TickTime(1000000),
                            norviktypes::TickTime(0), MF::IRenderableNodeRef(node.get()));
        cutlist->Finalize();
        mCutlist = MF::IRenderableCutlistRef(cutlist);
    }

    using Name = norvik::utility::ImmutableString;
    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist, const Name&, bool) override
    {
        return Give(outCutlist);
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist, const Name&, bool) override
    {
        return Give(outCutlist);
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist, const Name&, bool, bool) override
    {
        return Give(outCutlist);
    }
    TVK::Rect GetBounds() const override { return TVK::Rect{0, 0, 64, 32}; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    norviktypes::FieldType GetFieldType() const override { return norviktypes::kFieldType_FromSource; }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(1000); }

private:
    std::int32_t Give(MF::IRenderableCutlistRef& outCutlist) const
    {
        CheckNoLock("asking for a cutlist");
        outCutlist = mCutlist;
        return 0;
    }

    MF::IRenderableCutlistRef mCutlist;
};

std::int32_t Ask(const ML::IRenderFrameRef& inFrame, const TVK::InterfaceRef<Sequence>& inSequence,
                 std::int64_t inTime, bool inSynchronous, RequestID* outID)
{
    MF::IVideoFrameRef rendered;
    return inFrame->Render(norviktypes::TickTime(inTime), norviktypes::FrameRate(1000),
                           MF::IRenderableCutlistProviderRef(inSequence.get()),
                           {norviktypes::kPixelFormat_BGRA_4444_8u}, inSynchronous, 1000, 0, rendered, outID);
}

ML::IRenderFrameRef NewRenderFrame(const World& inWorld)
{
    ML::IRenderFrameRef frame(new ML::RenderFrame);
    frame->SetOutputRect(TVK::Rect{0, 0, 16, 8}, {});
    frame->SetCompletionClient(ML::IRenderFrameClientRef(const_cast<World&>(inWorld).TheClient().get()));
    return frame;
}

// The client owns the object, and lets it go when it is told something. 0: two requests. 1: and another client
// waits for the second frame.
void CallbackDestroysRenderFrame(World& ioWorld, int inVariant)
{
    const auto owned = std::make_shared<ML::IRenderFrameRef>(NewRenderFrame(ioWorld));
    const TVK::InterfaceRef<Sequence> sequence(new Sequence);
    ioWorld.TheClient()->mWhileTold = [owned](RequestID)
    { const ML::IRenderFrameRef last = std::exchange(*owned, {}); };
    ioWorld.Thread("asks",
                   [&ioWorld, owned, sequence]
                   {
                       ML::IRenderFrameRef frame = *owned;
                       for (const std::int64_t time : {5000, 6000})
                       {
                           RequestID id = 0;
                           if (Ask(frame, sequence, time, false, &id) == ML::kRenderFrameQueued)
                           {
                               ioWorld.MustEnd(id);
                           }
                       }
                   });
    if (inVariant == 1)
    {
        ioWorld.Thread("waits",
                       [&ioWorld, sequence]
                       {
                           const ML::IRenderFrameRef frame = NewRenderFrame(ioWorld);
                           if (Ask(frame, sequence, 6000, true, nullptr) != ML::kRenderFrameCompleted)
                           {
                               Fail("a synchronous render gave no frame");
                           }
                       });
    }
}

// ---- the end of the service ----

// Afterwards what is still queued is cancelled. 0: one is being read, one is incoming. 1: one renders, one
// is parked on it. 2: a renderer has one, and one has low priority. 3: one on the direct path.
void ShutdownAtEachStation(World& ioWorld, int inVariant)
{
    const auto done = std::make_shared<Event>();
    ioWorld.Thread(
        "adds",
        [&ioWorld, done, inVariant]
        {
            switch (inVariant)
            {
            case 0:
                ioWorld.Add({1, 1, 1000, kCaller, 16, {AsPrefetch(ItemRef(new Item(false)))}});
                ioWorld.Add({2, 2, 1000, kCaller});
                break;
            case 1:
                ioWorld.Add({1, 1, 1000, kCaller});
                ioWorld.Add({2, 1, 1000, kCaller});
                break;
            case 2:
                ioWorld.Add({1, 1, 1000, kCaller, 16, {}, {}, RendererRef(new Renderer)});
                ioWorld.Add({2, 1, kLowPriority, kCaller});
                break;
            default:
                ioWorld.Add({1, 1, 1000, kCaller, 16, {}, [&ioWorld] { AddWithKey(ioWorld, {2, 2}); }});
                break;
            }
            done->Set();
        });
    ioWorld.Thread("shuts down",
                   [&ioWorld, done]
                   {
                       ioWorld.Queue().Shutdown();
                       if (!ioWorld.ExecutorsOfRendersRest())
                       {
                           Fail("something runs after the shutdown");
                       }
                       done->Wait();
                       ioWorld.Queue().CancelCallersRequests(kCaller);
                   });
    ioWorld.MayBeSilent(1);
    ioWorld.MayBeSilent(2);
    ioWorld.AllowFlagsAtEnd();
}

} // namespace

const std::vector<Scenario>& Scenarios()
{
    static const std::vector<Scenario> sScenarios = {
        {"TwoAddsOfOneKey", 3, &TwoAddsOfOneKey},
        {"AddAndCancelOne", 4, &AddAndCancelOne},
        {"AddAndCancelCaller", 2, &AddAndCancelCaller},
        {"TwinOnDirectPath", 3, &TwinOnDirectPath},
        {"RefusedAcceleratedSubmitAndCancel", 4, &RefusedAcceleratedSubmitAndCancel},
        {"PrefetchFailsWithTwoHolders", 4, &PrefetchFailsWithTwoHolders},
        {"CallbackDestroysRenderFrame", 2, &CallbackDestroysRenderFrame},
        {"ShutdownAtEachStation", 4, &ShutdownAtEachStation},
    };
    return sScenarios;
}

} // namespace ScheduleExplorer
