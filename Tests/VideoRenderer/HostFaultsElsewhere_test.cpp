// Calls that fail on other ways to a frame: cancels, the disk cache, items of others, accelerated renderers.

#include "Tests/Support/Fakes/FakeVideoFrame.h"
#include "Tests/VideoRenderer/HostFaults.h"
#include "VF/PNG.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_DiskCache.h"

namespace
{

using namespace TestSupport;

TEST_F(HostFaults, CancelOfAFrameThatIsRead)
{
    Check(
        [this](Victim& ioVictim)
        {
            ioVictim.mStream->mIsAsync = true;
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            Render(ioVictim);
            SettleAll();
            Ask(ioVictim, [&] { ioVictim.mRenderFrame->CancelRequest(ioVictim.mID); });
        },
        R"(
cancelled
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: cancelled cancelled - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - cancelled - thrown thrown refused thrown
GetFrameHash 1: - cancelled - thrown thrown refused thrown
RetrieveFromCache 1: - cancelled - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
NormalizeFormat 1: - - - failed own memory failed
GetFrameRate 1: - - - failed own memory failed
IsAsyncEnabled 1: - ok - failed own memory failed
CanRenderFrames 1: - cancelled - failed own memory failed
GetFrameKey 1: - cancelled - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: cancelled - - failed own memory failed
AcquireQuietToken at once 1: - - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 2: - cancelled - failed own memory failed
IssueAsyncRead 1: ok - - failed own memory failed
CanRenderFrames 2: - cancelled - failed own memory failed
GetRenderedFrame at once 1: cancelled cancelled ok failed own memory failed
Post to passes 1: - - - cancelled cancelled cancelled cancelled
Post to passes 2: - - - cancelled cancelled cancelled cancelled
CancelAsyncRead 1: - - - cancelled+thrown cancelled+thrown cancelled+thrown cancelled+thrown
UnregisterDependencyOnFrame 1: - - - cancelled+thrown cancelled+thrown cancelled+thrown cancelled+thrown
RenderFrameCancelled 1: - - - cancelled+thrown cancelled+thrown cancelled+thrown cancelled+thrown
)");
}

class HostFaultsDisk : public HostFaults
{
protected:
    HostFaultsDisk()
    {
        mDataCache = std::make_shared<HostDataCache>();
        ML::VideoSourcePrefetcher::UseDiskCache(mDataCache);
    }

    // Of low priority, so that the disk may be used.
    void RenderFromDisk(Victim& ioVictim, bool inIsStored)
    {
        mDataCache->mInner.mEntries.clear();
        mDataCache->mInner.mAcceptsAll = true;
        if (inIsStored)
        {
            const TVK::Guid key = ioVictim.mStream->KeyOf(norviktypes::TickTime(1000));
            mDataCache->mInner.mEntries[key.AsUTF8String().c_str() + std::string(".png")] =
                VF::CompressPNG(NumberedFrame(5));
        }
        mDataCache->mInner.mAcceptsAll = false;
        ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
        ioVictim.mPriority = 500;
        Render(ioVictim);
    }
};

TEST_F(HostFaultsDisk, FrameThatIsWrittenToTheDiskCache)
{
    Check([this](Victim& ioVictim) { RenderFromDisk(ioVictim, false); },
          R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - failed - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
NormalizeFormat 1: - - - failed own memory failed
GetFrameRate 1: - - - failed own memory failed
CanRenderFrames 1: - ok - failed own memory failed
GetFrameKey 1: - late ok - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: ok - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 2: - ok - failed own memory failed
ReadEntry 1: ok - - ok ok ok ok
AcquireQuietToken at once 1: - - - failed own memory failed
RetrieveFromCache 3: - ok - failed own memory failed
IsImageSource 2: - - - failed own memory failed
Post to video 1: - - - failed own memory failed
RetrieveFromCache 4: - ok - failed own memory failed
CanRenderFrames 2: - ok - failed own memory failed
GetRenderedFrame at once 1: ok ok ok failed own memory failed
Post to passes 1: - - - ok ok ok ok
CanRenderFrames 3: - ok - ok ok ok ok
GetRenderedFrame 1: ok ok ok ok ok ok ok
InsertIntoCache 1: - - - ok ok ok ok
Post to passes 2: - - - ok ok ok ok
RetrieveFromCache 5: - late ok - failed own memory failed
Post to normal 1: - - - ok ok ok ok
Post to low 1: - - - ok ok ok ok
CompressPNG 1: - ok - ok ok ok ok
WriteEntry 1: - - - ok ok ok ok
RetrieveFromCache 6: - ok - failed own memory failed
GetFieldType 3: - - - failed own memory failed
GetFrameHash 2: - ok - failed own memory failed
RetrieveFromCache 7: - ok - failed own memory failed
GetFrame 1: failed failed other failed own memory failed
NormalizeFormat 2: - - - failed own memory failed
GetFrameRate 2: - - - failed own memory failed
GetRenderedFrame 2: status failed other failed own memory failed
MakeWriteableVideoFrame 1: - failed - failed own memory failed
IR_CompositeToBlack 1: ok - - failed own memory failed
InsertIntoCache 2: - - - failed own memory failed
Post to passes 3: - - - ok ok ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
UnregisterDependencyOnFrame 1: - - - ok ok ok ok
)");
}

TEST_F(HostFaultsDisk, FrameThatIsReadFromTheDiskCache)
{
    Check([this](Victim& ioVictim) { RenderFromDisk(ioVictim, true); },
          R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - failed - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
NormalizeFormat 1: - - - failed own memory failed
GetFrameRate 1: - - - failed own memory failed
CanRenderFrames 1: - ok - failed own memory failed
GetFrameKey 1: - late ok - failed own memory failed
IsImageSource 1: - - - failed own memory failed
GetStillKind 1: ok - - failed own memory failed
RegisterDependencyOnFrame 1: - - - failed own memory failed
RetrieveFromCache 2: - ok - failed own memory failed
ReadEntry 1: ok - - ok ok ok ok
RetrieveFromCache 3: - ok - failed own memory failed
Post to passes 1: - - - ok ok ok ok
what is read 1: late ok late ok - late ok late ok late ok late ok
DecompressPNG 1: - late ok ok late ok late ok late ok late ok
InsertIntoCache 1: - - - late ok late ok late ok late ok
Post to passes 2: - - - ok ok ok ok
RetrieveFromCache 4: - late ok - failed own memory failed
Post to low 1: - - - ok ok ok ok
RetrieveFromCache 5: - ok - failed own memory failed
GetFieldType 3: - - - failed own memory failed
GetFrameHash 2: - ok - failed own memory failed
RetrieveFromCache 6: - ok - failed own memory failed
GetFrame 1: failed failed other failed own memory failed
NormalizeFormat 2: - - - failed own memory failed
GetFrameRate 2: - - - failed own memory failed
GetRenderedFrame 1: status failed other failed own memory failed
MakeWriteableVideoFrame 1: - failed - failed own memory failed
IR_CompositeToBlack 1: ok - - failed own memory failed
InsertIntoCache 2: - - - failed own memory failed
Post to passes 3: - - - ok ok ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
UnregisterDependencyOnFrame 1: - - - ok ok ok ok
)");
}

// Items that somebody else made, waited for longer than usual, for a frame that stands still.
TEST_F(HostFaults, StillFrameOfForeignItems)
{
    Check(
        [this](Victim& ioVictim)
        {
            const TVK::InterfaceRef<HostItem> item(new HostItem);
            item->mLooks = 2;
            const FakeVideoFrameRef frame(new FakeVideoFrame(NumberedFrame(5)));
            frame->mWhileMarked = [](const char* inCall) { HostCalls::Make(inCall, 0); };
            ioVictim.mNode = HostNodeRef(new HostNode(900, {}));
            ioVictim.mNode->mItems = {ML::IRenderableNodePrefetchRef(item.get())};
            ioVictim.mNode->mFrame = MF::IVideoFrameRef(frame.get());
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            ioVictim.mRenderFrame->SetCompositeOnBlack(false);
            ioVictim.mRenderFrame->SetRenderFlags(ML::kRenderFlag_CacheStills);
            Render(ioVictim);
            mPasses->RunAll();
            OutwaitReads();
        },
        R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - failed - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
BeginPrefetch 1: ok - - failed own memory failed
GetPrefetchResult 1: ok ok ok failed own memory failed
Post to passes 1: - - - ok ok ok ok
GetPrefetchResult 2: ok ok ok failed own memory failed
ContinueWaitingForPrefetch 1: - ok - failed own memory failed
Post to passes 2: - - - ok ok ok ok
GetPrefetchResult 3: ok ok ok failed own memory failed
Post to passes 3: - - - ok ok ok ok
Post to normal 1: - - - ok ok ok ok
RetrieveFromCache 2: - ok - failed own memory failed
GetFieldType 3: - - - failed own memory failed
GetFrameHash 2: - ok - failed own memory failed
RetrieveFromCache 3: - ok - failed own memory failed
GetFrame 1: failed failed other failed own memory failed
SetRenderMilliseconds 1: - - - failed own memory failed
InsertIntoCache 1: - - - failed own memory failed
Freeze 1: - - - failed own memory failed
Post to passes 4: - - - ok ok ok ok
RenderFrameCompleted 1: - - - ok ok ok ok
Post to passes 5: - - - ok ok ok ok
)");
}

TEST_F(HostFaults, CancelOfForeignItems)
{
    Check(
        [this](Victim& ioVictim)
        {
            const TVK::InterfaceRef<HostItem> item(new HostItem);
            item->mLooks = 100;
            ioVictim.mNode = HostNodeRef(new HostNode(900, {}));
            ioVictim.mNode->mItems = {ML::IRenderableNodePrefetchRef(item.get())};
            ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
            Render(ioVictim);
            mPasses->RunAll();
            Ask(ioVictim, [&] { ioVictim.mRenderFrame->CancelAllRequests(); });
        },
        R"(
cancelled
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: cancelled cancelled - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - cancelled - thrown thrown refused thrown
GetFrameHash 1: - cancelled - thrown thrown refused thrown
RetrieveFromCache 1: - cancelled - thrown thrown refused thrown
GetFieldType 2: - - - failed own memory failed
AddOwnPrefetchesForFrame 1: - - - failed own memory failed
BeginPrefetch 1: cancelled - - failed own memory failed
GetPrefetchResult 1: cancelled cancelled cancelled failed own memory failed
Post to passes 1: - - - cancelled cancelled cancelled cancelled
Post to passes 2: - - - cancelled cancelled cancelled cancelled
CancelPrefetch 1: cancelled - - cancelled+thrown cancelled+thrown cancelled+thrown cancelled+thrown
RenderFrameCancelled 1: - - - cancelled+thrown cancelled+thrown cancelled+thrown cancelled+thrown
)");
}

class HostFaultsAccelerated : public HostFaults
{
protected:
    TVK::InterfaceRef<HostRenderer> RenderAccelerated(Victim& ioVictim)
    {
        const TVK::InterfaceRef<HostRenderer> renderer(new HostRenderer);
        ML::IAcceleratedSequenceRendererRef previous;
        ioVictim.mRenderFrame->ExchangeAcceleratedRenderer(
            previous, ML::IAcceleratedSequenceRendererRef(renderer.get()));
        ioVictim.mSequence = TVK::InterfaceRef<HostSequence>(new HostSequence(ioVictim.mNode));
        Render(ioVictim);
        return renderer;
    }
};

TEST_F(HostFaultsAccelerated, FrameOfARenderer)
{
    Check(
        [this](Victim& ioVictim)
        {
            const TVK::InterfaceRef<HostRenderer> renderer = RenderAccelerated(ioVictim);
            if (renderer->mClient)
            {
                Ask(ioVictim,
                    [&] {
                        renderer->mClient->RenderFrameCompleted(0, ioVictim.mID, norviktypes::TickTime(),
                                                                NumberedFrame(5), 1);
                    });
            }
        },
        R"(
ok
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: ok ok - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - ok - thrown thrown refused thrown
GetFrameHash 1: - ok - thrown thrown refused thrown
RetrieveFromCache 1: - ok - thrown thrown refused thrown
RenderFrame 1: ok - - thrown thrown refused thrown
RenderFrameCompleted 1: - - - ok+thrown ok+thrown ok+thrown ok+thrown
Post to passes 1: - - - ok ok ok ok
)");
}

TEST_F(HostFaultsAccelerated, CancelOfAFrameThatARendererHas)
{
    Check(
        [this](Victim& ioVictim)
        {
            const TVK::InterfaceRef<HostRenderer> renderer = RenderAccelerated(ioVictim);
            Ask(ioVictim, [&] { ioVictim.mRenderFrame->CancelRequest(ioVictim.mID); });
        },
        R"(
cancelled
GetBounds 1: - thrown - thrown thrown refused thrown
GetPixelAspectRatio 1: - - - thrown thrown refused thrown
GetThirdCutlist 1: cancelled cancelled - thrown thrown refused thrown
GetFieldType 1: - - - thrown thrown refused thrown
GetProducerForFrame 1: - cancelled - thrown thrown refused thrown
GetFrameHash 1: - cancelled - thrown thrown refused thrown
RetrieveFromCache 1: - cancelled - thrown thrown refused thrown
RenderFrame 1: cancelled - - thrown thrown refused thrown
CancelFrame 1: cancelled - - cancelled+thrown cancelled+thrown cancelled+thrown cancelled+thrown
RenderFrameCancelled 1: - - - cancelled+thrown cancelled+thrown cancelled+thrown cancelled+thrown
Post to passes 1: - - - cancelled cancelled cancelled cancelled
)");
}

} // namespace
