// What a request ends with, and who is told how.

#include "ReferenceHost/Messaging/UIThread.h"
#include "RenderableSources.h"
#include "TVK/Stations.h"
#include "TVK/Waitable.h"
#include "Tests/VideoRenderer/QueueTests.h"
#include "VideoRenderer/Src/RenderFrameQueueImpl.h"

#include <boost/smart_ptr/weak_ptr.hpp>
#include <fmt/format.h>

#include <new>

namespace
{

using namespace TestSupport;
using RenderFrameQueueCompletion = QueueTest;

TEST_F(RenderFrameQueueCompletion, RenderTimeIsToldToFrameAndClient)
{
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mWhileRendering = [this] { Advance(42); };
    Add(QueueRequest(1, producer));
    Settle();
    EXPECT_EQ(mClient->mMilliseconds, 42);
    EXPECT_EQ(mClient->mFrames.at(0)->GetRenderMilliseconds(), 42U);
}

TEST_F(RenderFrameQueueCompletion, RenderTimeIsThatOfItsWholeMilliseconds)
{
    static std::int64_t sMicroseconds = 0;
    os::SetClockFunctions({[] { return sMicroseconds; },
                           [](std::int64_t& outFrequency)
                           {
                               outFrequency = 1000000;
                               return true;
                           },
                           [] { return static_cast<std::uint32_t>(sMicroseconds / 1000); }, nullptr});
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mWhileRendering = [] { sMicroseconds += 42999; };
    Add(QueueRequest(1, producer));
    Settle();
    EXPECT_EQ(mClient->mMilliseconds, 42);
}

TEST_F(RenderFrameQueueCompletion, RenderWithoutAFrameIsAFailure)
{
    RecordingObserver observer;
    const FakeProducerRef producer(new FakeProducer(1));
    producer->mGivesNothing = true;
    Add(QueueRequest(1, producer));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 a00d0000"});
    producer->mWhileRendering = [] { throw ML::RenderRequestException(-7); };
    Add(QueueRequest(2, producer));
    Settle();
    for (const std::uint32_t id : {1U, 2U})
    {
        EXPECT_EQ(observer.Of(id),
                  (Texts{"queued", "keyed", "prefetch begun", "ready", "admitted", "rendered", "finished"}));
    }
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCompletion, RequestWithoutAKeyFailsByTheContractOfTheRender)
{
    Add(Request(1, 0));
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 1 a00d0000"});
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCompletion, WaitingThreadFindsTheFrameInItsSlotAndNobodyElseIsTold)
{
    TVK::WaitableObject signal;
    bool called = false;
    ML::RenderFrameRequest request = Request(1, 1);
    request.SetCompletionSignal(&signal);
    request.SetCompletionFunction([&called](MF::IVideoFrameRef, bool, int) { called = true; });
    Add(request);
    EXPECT_NE(signal.WaitForSignal(0), 0);
    Settle();
    EXPECT_EQ(signal.WaitForSignal(0), 0);
    EXPECT_TRUE(request.GetResultFrame());
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_FALSE(called);
}

TEST_F(RenderFrameQueueCompletion, PrefetchOnlyRequestEndsWithItsFirstItemsFrame)
{
    const FakePrefetchRef read(new FakePrefetch);
    const FakePrefetchRef other(new FakePrefetch);
    read->mFrame = SmallFrame();
    other->mIsReady = true;
    ML::RenderFrameRequest request(norviktypes::TickTime(1), Items{read, other}, 9);
    MF::IVideoFrameRef got;
    int calls = 0;
    request.SetCompletionFunction(
        [&](MF::IVideoFrameRef inFrame, bool inCancelled, int inError)
        {
            got = inFrame;
            ++calls;
            EXPECT_FALSE(inCancelled);
            EXPECT_EQ(inError, 0);
        });
    mQueue->AddRenderRequest(request);
    Settle();
    EXPECT_EQ(calls, 0);
    read->mIsReady = true;
    Advance(5);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(got.get(), read->mFrame.get());
    EXPECT_EQ(request.GetResultFrame().get(), read->mFrame.get());
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCompletion, PrefetchOnlyRequestThatIsWaitedForLeavesItsFrameInTheSlot)
{
    for (const bool isReady : {true, false})
    {
        const FakePrefetchRef read(new FakePrefetch);
        read->mFrame = SmallFrame();
        read->mIsReady = isReady;
        TVK::WaitableObject signal;
        ML::RenderFrameRequest request(norviktypes::TickTime(1), Items{read}, 9);
        request.SetCompletionSignal(&signal);
        Add(request);
        Settle();
        Advance(15001);
        EXPECT_EQ(signal.WaitForSignal(0), 0) << isReady;
        EXPECT_EQ(request.GetResultFrame().get(), isReady ? read->mFrame.get() : nullptr);
        EXPECT_TRUE(mClient->mTexts.empty());
        EXPECT_EQ(AtRest(), "");
    }
}

TEST_F(RenderFrameQueueCompletion, PrefetchOnlyRequestWithoutItemsEndsInErrorZero)
{
    ML::RenderFrameRequest request(norviktypes::TickTime(1), std::vector<ML::IRenderableNodePrefetchRef>(),
                                   9);
    Add(request);
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"error 9 0"});
}

TEST_F(RenderFrameQueueCompletion, PrefetchOnlyRequestThatTimesOutEndsInAnError)
{
    const FakePrefetchRef read(new FakePrefetch);
    Add(ML::RenderFrameRequest(norviktypes::TickTime(1), Items{read}, 9));
    Settle();
    Advance(15005);
    EXPECT_EQ(mClient->mTexts, Texts{"error 9 a00f0001"});
    EXPECT_EQ(AtRest(), "");
}

// ---- who is told ----

TEST_F(RenderFrameQueueCompletion, ClientThatIsGoneIsReplacedByMessagesToTheStation)
{
    const norvik::utility::ImmutableString station = TVK::StationRegistry::RegisterUniqueStation();
    Texts heard;
    TVK::StationRegistry::AddListener(
        station, ML::RenderFrameCompletionMessage::StaticMessageID(),
        [&heard](const TVK::MessageRef& inMessage)
        {
            const auto& message = static_cast<const ML::RenderFrameCompletionMessage&>(*inMessage);
            heard.push_back(fmt::format("completed {} {} {} {} {}", message.mRequestID, message.mContext,
                                        message.mTime.GetTicks(), static_cast<bool>(message.mFrame),
                                        message.mRenderMilliseconds));
        });
    TVK::StationRegistry::AddListener(
        station, ML::RenderFrameErrorMessage::StaticMessageID(),
        [&heard](const TVK::MessageRef& inMessage)
        {
            const auto& message = static_cast<const ML::RenderFrameErrorMessage&>(*inMessage);
            heard.push_back(fmt::format("error {} {} {} {}", message.mRequestID, message.mContext,
                                        message.mTime.GetTicks(), message.mStatus));
        });
    TVK::StationRegistry::AddListener(
        station, ML::RenderFrameCancelledMessage::StaticMessageID(),
        [&heard](const TVK::MessageRef& inMessage)
        {
            const auto& message = static_cast<const ML::RenderFrameCancelledMessage&>(*inMessage);
            heard.push_back(fmt::format("cancelled {} {} {}", message.mRequestID, message.mContext,
                                        message.mTime.GetTicks()));
        });
    const FakeProducerRef broken(new FakeProducer(2));
    broken->mWhileRendering = [] { throw ML::RenderRequestException(-7); };
    const FakeProducerRef slow(new FakeProducer(1));
    slow->mWhileRendering = [this] { Advance(42); };
    std::vector<ML::RenderFrameRequest> requests = {QueueRequest(1, slow), QueueRequest(2, broken),
                                                    Request(3, 3)};
    for (ML::RenderFrameRequest& request : requests)
    {
        request.mStationID = station;
        Add(request);
    }
    mClient.reset();
    mQueue->CancelOne(3);
    Settle();
    EXPECT_TRUE(heard.empty()); // on the user-interface thread only
    TVK::UIThread::Pump();
    EXPECT_EQ(heard,
              (Texts{"cancelled 3 7003 3000", "completed 1 7001 1000 true 42", "error 2 7002 2000 -7"}));
    EXPECT_EQ(AtRest(), "");
    TVK::StationRegistry::DisposeStation(station);
}

TEST_F(RenderFrameQueueCompletion, StationHearsNothingWhileTheClientLives)
{
    const norvik::utility::ImmutableString station = TVK::StationRegistry::RegisterUniqueStation();
    int heard = 0;
    TVK::StationRegistry::AddListener(station, 0, [&heard](const TVK::MessageRef&) { ++heard; });
    ML::RenderFrameRequest request = Request(1, 1);
    request.mStationID = station;
    Add(request);
    Settle();
    TVK::UIThread::Pump();
    EXPECT_EQ(heard, 0);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    TVK::StationRegistry::DisposeStation(station);
}

TEST_F(RenderFrameQueueCompletion, RequestThatNobodyListensToEndsQuietly)
{
    mQueue->AddRenderRequest(Request(1, 1));
    mQueue->AddRenderRequest(Request(2, 0));
    mQueue->AddRenderRequest(Request(3, 3));
    mQueue->CancelOne(3);
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameQueueCompletion, StatusTellsWhatTheSourceThrew)
{
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { throw ML::RenderRequestException(-3); }, "error 1 fffffffd"},
        {[] { throw TVK::NullInterfaceException(); }, "error 1 a00d0000"},
        {[] { throw std::bad_alloc(); }, "error 1 a00f0006"},
        {[] { throw 7; }, "error 1 a00d0000"},
    };
    for (const auto& [work, text] : cases)
    {
        mClient->mTexts.clear();
        const FakeProducerRef producer(new FakeProducer(1));
        producer->mWhileRendering = work;
        Add(QueueRequest(1, producer));
        Settle();
        EXPECT_EQ(mClient->mTexts, Texts{text});
        EXPECT_EQ(AtRest(), "");
    }
}

// Client first, then function; each hears of every kind of end.
TEST_F(RenderFrameQueueCompletion, FunctionIsCalledAfterTheClientWithWhatItWasTold)
{
    const FakeProducerRef broken(new FakeProducer(2));
    broken->mWhileRendering = [] { throw ML::RenderRequestException(-7); };
    Texts ends;
    std::vector<ML::RenderFrameRequest> requests = {Request(1, 1), QueueRequest(2, broken), Request(3, 3)};
    for (ML::RenderFrameRequest& request : requests)
    {
        request.SetCompletionFunction(
            [this, &ends](const MF::IVideoFrameRef& inFrame, bool inCancelled, int inError)
            {
                ends.push_back(fmt::format("{}: {} {} {}", mClient->mTexts.back(), static_cast<bool>(inFrame),
                                           inCancelled, inError));
            });
        Add(request);
    }
    mQueue->CancelOne(3);
    Settle();
    EXPECT_EQ(ends, (Texts{"cancelled 3: false true 0", "completed 1: true false 0",
                           "error 2 fffffff9: false false -7"}));
    EXPECT_EQ(mClient->mTexts.size(), 3U);
}

TEST_F(RenderFrameQueueCompletion, TwinThatWaitsWithASignalIsWokenWithTheSharedFrame)
{
    TVK::WaitableObject signal;
    const FakeProducerRef producer(new FakeProducer(1));
    Add(QueueRequest(1, producer));
    Worker worker = TakeNext();
    ML::RenderFrameRequest twin = QueueRequest(2, producer);
    twin.SetCompletionSignal(&signal);
    Add(twin);
    Settle();
    RenderAndReturn(worker);
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_EQ(signal.WaitForSignal(0), 0);
    EXPECT_EQ(twin.GetResultFrame().get(), mClient->mFrames.at(0).get());
}

// Nobody is there any more to take it from the slot.
TEST_F(RenderFrameQueueCompletion, FrameGoesWithTheLastCopyOfItsRequest)
{
    ML::RenderFrameRequest request = Request(1, 1);
    const boost::weak_ptr<ML::RequestResult> result = request.GetResult();
    Add(request);
    request = ML::RenderFrameRequest();
    Settle();
    EXPECT_EQ(mClient->mTexts, Texts{"completed 1"});
    EXPECT_TRUE(result.expired());
}

} // namespace
