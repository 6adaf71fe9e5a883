#include "Tests/VideoRenderer/RenderFrameTests.h"

#include "RenderableCutlistImpl.h"

#include <atomic>
#include <thread>

namespace TestSupport
{

using norvik::utility::ImmutableString;
using norviktypes::TickTime;

SequenceNode::SequenceNode() : mProducer(new FakeProducer(77)) {}

ImmutableString SequenceNode::GetNodeType() const
{
    return ImmutableString::CreateStatic("SequenceNode");
}

ML::IRenderableNodeProducerRef SequenceNode::GetProducerForFrame(const MF::FrameTime&,
                                                                 const ML::CutlistRenderParams& inParams)
{
    mRenderParams.push_back(inParams);
    return ML::IRenderableNodeProducerRef(mProducer.get());
}

void SequenceNode::AddOwnPrefetchesForFrame(const MF::FrameTime&, const ML::CutlistRenderParams& inParams,
                                            std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches)
{
    mPrefetchParams.push_back(inParams);
    ioPrefetches.insert(ioPrefetches.end(), mItems.begin(), mItems.end());
}

FakeSequence::FakeSequence() : mNode(new SequenceNode)
{
    mNode->Finalize();
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(TickTime(0), TickTime(1000000), TickTime(0), MF::IRenderableNodeRef(mNode.get()));
    cutlist->Finalize();
    mCutlist = MF::IRenderableCutlistRef(cutlist);
}

std::int32_t FakeSequence::GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist,
                                             const ImmutableString& inName, bool inRefresh)
{
    return Give(outCutlist, "first", inName, inRefresh);
}

std::int32_t FakeSequence::GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist,
                                               const ImmutableString& inName, bool inRefresh)
{
    return Give(outCutlist, "second", inName, inRefresh);
}

std::int32_t FakeSequence::GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist,
                                           const ImmutableString& inName, bool inRefresh, bool)
{
    return Give(outCutlist, "third", inName, inRefresh);
}

TVK::Rect FakeSequence::GetBounds() const
{
    if (mWhileAskedForBounds)
    {
        mWhileAskedForBounds();
    }
    return TVK::Rect{0, 0, 64, 32};
}

std::int32_t FakeSequence::Give(MF::IRenderableCutlistRef& outCutlist, const char* inWhich,
                                const ImmutableString& inName, bool inRefresh)
{
    mAsked.push_back(std::string(inWhich) + " '" + inName.CStr() + "'" + (inRefresh ? " fresh" : ""));
    outCutlist = mCutlist;
    return 0;
}

RenderFrameTest::RenderFrameTest() : mSequence(new FakeSequence), mRenderFrame(new ML::RenderFrame)
{
    mRenderFrame->SetOutputRect(TVK::Rect{0, 0, 16, 8}, {16, 15});
    mRenderFrame->SetCompletionClient(ML::IRenderFrameClientRef(mClient.get()));
}

std::int32_t RenderFrameTest::Render(bool inSynchronous, std::int64_t inTime)
{
    return mRenderFrame->Render(TickTime(inTime), mRate, Segments(), mFormats, inSynchronous, 1000, 42,
                                mFrame, &mID);
}

std::int32_t RenderFrameTest::RenderInAThread(const std::function<void()>& inWhenRead)
{
    std::int32_t status = 0;
    std::atomic<bool> isEnded{false};
    std::thread waiting(
        [&]
        {
            status = Render(true);
            isEnded = true;
        });
    while (inWhenRead && mQueue->Counts().mPrefetching == 0)
    {
        mPasses->RunAll();
        std::this_thread::yield();
    }
    if (inWhenRead)
    {
        inWhenRead();
        Advance(5);
    }
    while (!isEnded)
    {
        Settle();
        std::this_thread::yield();
    }
    waiting.join();
    return status;
}

std::int32_t RenderFrameTest::RenderWithKey(TVK::Guid& outKey)
{
    return mRenderFrame->RenderWithCompletion(TickTime(5000), mRate, Segments(), mFormats, 1000, {}, mFrame,
                                              &mID, &outKey);
}

bool RenderFrameTest::IsReady()
{
    return mRenderFrame->IsRenderReady(TickTime(5000), mRate, Segments(), mFormats, mFrame);
}

void RenderFrameTest::Prefetch(std::int64_t inTime)
{
    mRenderFrame->PrefetchMediaWithRenderParameters(TickTime(inTime), mRate, Segments(), mFormats);
}

bool RenderFrameTest::IsPrefetched(std::int64_t inTime)
{
    return mRenderFrame->IsPrefetchedMediaReady(TickTime(inTime), Segments());
}

MF::IRenderableCutlistProviderRef RenderFrameTest::Segments() const
{
    return MF::IRenderableCutlistProviderRef(mSequence.get());
}

FakePrefetchRef RenderFrameTest::AddRead()
{
    const FakePrefetchRef read(new FakePrefetch);
    mSequence->mNode->mItems.push_back(ML::IRenderableNodePrefetchRef(read.get()));
    return read;
}

} // namespace TestSupport
