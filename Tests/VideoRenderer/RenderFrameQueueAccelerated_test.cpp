// Requests that go to an accelerated renderer first.

#include "TVK/Waitable.h"
#include "Tests/VideoRenderer/QueueTests.h"

#include <stdexcept>

namespace
{

using namespace TestSupport;
class RenderFrameQueueAccelerated : public QueueTest
{
protected:
    ML::RenderFrameRequest Accelerated(std::uint32_t inID)
    {
        ML::RenderFrameRequest request = OfCaller(inID, 70);
        request.mAcceleratedRenderer = ML::IAcceleratedSequenceRendererRef(mRenderer.get());
        return request;
    }
    FakeAcceleratedRendererRef mRenderer{new FakeAcceleratedRenderer};
};

TEST_F(RenderFrameQueueAccelerated, AcceptedRequestEndsByTheRenderersCall)
{
    Add(Accelerated(1));
    ASSERT_EQ(mRenderer->mRequests.size(), 1U);
    EXPECT_EQ(mQueue->Counts().mAccelerated, 1U);
    EXPECT_EQ(mQueue->Counts().mIncoming, 0U);
    const MF::IVideoFrameRef frame = SmallFrame();
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), frame, 17);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(mClient->mFrames.at(0).get(), frame.get());
    EXPECT_EQ(mClient->mMilliseconds, 17);
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), frame, 17);
    EXPECT_EQ(mClient->mTexts.size(), 1U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, FailureIsPassedOnAndNotRenderedInSoftware)
{
    Add(Accelerated(1));
    mQueue->RenderFrameError(0, 1, norviktypes::TickTime(), -5);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 fffffffb"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, RefusedRequestIsRenderedInSoftware)
{
    mRenderer->mStatus = ML::kAcceleratedRender_NotAvailable;
    Add(Accelerated(1));
    EXPECT_EQ(mQueue->Counts().mAccelerated, 0U);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    // The refusing renderer isn't asked to cancel either.
    Add(Accelerated(2));
    mQueue->CancelOne(2);
    EXPECT_TRUE(mRenderer->mCancelled.empty());
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, CancelWhileTheRendererRefusesEndsTheRequestOnce)
{
    mRenderer->mStatus = ML::kAcceleratedRender_NotAvailable;
    mRenderer->mWhileAsked = [this](const ML::AcceleratedRenderRequest&) { mQueue->CancelOne(1); };
    Add(Accelerated(1));
    EXPECT_EQ(mQueue->Counts().mIncoming, 0U); // and nothing is rendered for it
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, RendererThatCallsBackAndThenRefusesEndsTheRequestOnce)
{
    mRenderer->mStatus = ML::kAcceleratedRender_NotAvailable;
    mRenderer->mWhileAsked = [](const ML::AcceleratedRenderRequest& inRequest)
    { inRequest.mClient->RenderFrameCompleted(0, inRequest.mRequestID, inRequest.mTime, SmallFrame(), 1); };
    Add(Accelerated(1));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, CancelTellsTheRendererAndItsLateCallIsIgnored)
{
    Add(Accelerated(1));
    Add(Accelerated(2));
    mQueue->CancelOne(1);
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), SmallFrame(), 1);
    EXPECT_EQ(mRenderer->mCancelled, std::vector<std::uint32_t>{1});
    mQueue->CancelCallersRequests(70);
    EXPECT_EQ(mRenderer->mCancelled, (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 1", "cancelled 2"}));
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, FrameOfAFailedRenderIsNotKept)
{
    const ML::RenderFrameRequest request = Accelerated(1);
    Add(request);
    mQueue->OnAcceleratedRenderCompletion(1, SmallFrame(), -5, 17);
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 fffffffb"});
    EXPECT_FALSE(request.GetResultFrame());
}

TEST_F(RenderFrameQueueAccelerated, SuccessWithoutAFrameIsAnErrorOfItsStatus)
{
    Add(Accelerated(1));
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), MF::IVideoFrameRef(), 17);
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 0"});
}

TEST_F(RenderFrameQueueAccelerated, WaitingThreadIsWokenByTheRenderersCall)
{
    TVK::WaitableObject signal;
    ML::RenderFrameRequest request = Accelerated(1);
    request.SetCompletionSignal(&signal);
    Add(request);
    EXPECT_NE(signal.WaitForSignal(0), 0);
    const MF::IVideoFrameRef frame = SmallFrame();
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), frame, 17);
    EXPECT_EQ(signal.WaitForSignal(0), 0);
    EXPECT_EQ(request.GetResultFrame().get(), frame.get());
    EXPECT_TRUE(mClient->mTexts.empty());
}

TEST_F(RenderFrameQueueAccelerated, RefusedRequestOfAnOwnThreadIsRenderedOnTheSpot)
{
    mRenderer->mStatus = ML::kAcceleratedRender_NotAvailable;
    mVideo->Post(
        [this]
        {
            ML::RenderFrameRequest request = Accelerated(1);
            request.ComputeKey(true);
            Add(request);
            EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
        });
    mVideo->RunOne();
    EXPECT_EQ(mRenderer->mRequests.size(), 1U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, CancelOfOneEndsWithTheRenderersRequest)
{
    Add(Accelerated(1));
    Add(Request(1, 1));
    mQueue->CancelOne(1);
    EXPECT_EQ(mRenderer->mCancelled, std::vector<std::uint32_t>{1});
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    Settle();
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 1", "completed 1"}));
    EXPECT_EQ(AtRest(), "");
}

// Ids are to be given once; of two under one id the renderer's call can only end one.
TEST_F(RenderFrameQueueAccelerated, LaterRequestOfTheSameIDTakesThePlaceOfTheFirst)
{
    ML::RenderFrameRequest first = Accelerated(1);
    ML::RenderFrameRequest second = Accelerated(1);
    first.mContext = 10;
    second.mContext = 20;
    Add(first);
    Add(second);
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), SmallFrame(), 17);
    mQueue->RenderFrameCompleted(0, 1, norviktypes::TickTime(), SmallFrame(), 17);
    EXPECT_EQ(mClient->mContexts, std::vector<std::uint64_t>{20});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, CancelOfACallerLeavesThoseOfOthersWithTheRenderer)
{
    ML::RenderFrameRequest others = Accelerated(2);
    others.mCaller = 71;
    Add(Accelerated(1));
    Add(others);
    mQueue->CancelCallersRequests(70);
    EXPECT_EQ(mClient->mTexts, Texts{"cancelled 1"});
    EXPECT_EQ(mRenderer->mCancelled, std::vector<std::uint32_t>{1});
    mQueue->RenderFrameCompleted(0, 2, norviktypes::TickTime(), SmallFrame(), 17);
    EXPECT_EQ(mClient->mTexts, (Texts{"cancelled 1", "completed 2"}));
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueAccelerated, RenderersOwnCancellationIsIgnored)
{
    Add(Accelerated(1));
    mQueue->RenderFrameCancelled(0, 1, norviktypes::TickTime());
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(mQueue->Counts().mAccelerated, 1U);
    mQueue->CancelOne(1);
}

TEST_F(RenderFrameQueueAccelerated, RendererThatThrowsLeavesNothingBehind)
{
    mRenderer->mWhileAsked = [](const ML::AcceleratedRenderRequest&) { throw std::runtime_error("module"); };
    EXPECT_EQ(Thrown([this] { Add(Accelerated(1)); }), "module");
    Settle();
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(AtRest(), "");
}

} // namespace
