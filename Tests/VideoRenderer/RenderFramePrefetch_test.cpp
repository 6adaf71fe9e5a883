#include "RenderFrame.h"

#include "ReferenceHost/Messaging/UIThread.h"
#include "TVK/Stations.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/VideoRenderer/RenderFrameTests.h"
#include "VideoRenderer.h"
#include "VideoSourcePrefetcher.h"

namespace
{

using namespace TestSupport;
using norviktypes::TickTime;

class SegmentPrefetch : public RenderFrameTest
{
protected:
    void PrefetchAt(const norviktypes::FrameRate& inRate, const Formats& inFormats)
    {
        mRenderFrame->PrefetchMediaWithRenderParameters(TickTime(5000), inRate, Segments(), inFormats);
    }
    void Cancel(std::int64_t inTime = 5000)
    {
        mRenderFrame->CancelPrefetchMediaWithRenderParameters(TickTime(inTime), mRate, Segments(), mFormats);
    }
};

TEST_F(SegmentPrefetch, ReadsWithoutRenderingAndTellsNobody)
{
    norvik::utility::ImmutableString station;
    mRenderFrame->GetStationID(station);
    int messages = 0;
    TVK::StationRegistry::AddListener(station, 0, [&](const TVK::MessageRef&) { ++messages; });
    const FakePrefetchRef read = AddRead();
    Prefetch();
    Settle();
    EXPECT_EQ(read->mBegun, 1);
    EXPECT_EQ(mQueue->Counts().mPrefetching, 1U);
    read->mIsReady = true;
    Advance(5);
    Settle();
    TVK::UIThread::Pump();
    EXPECT_EQ(mSequence->mNode->mProducer->mRenders, 0);
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(messages, 0);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(SegmentPrefetch, NothingIsReadyBeforeAnyPrefetchWhateverTheTime)
{
    EXPECT_FALSE(IsPrefetched());
    EXPECT_FALSE(IsPrefetched(-1)); // asked ahead of the contract
    EXPECT_FALSE(mRenderFrame->IsPrefetchedMediaReady(TickTime(-1), {}));
    Prefetch();
    EXPECT_TRUE(IsPrefetched());
    EXPECT_EQ(ContractText([&] { IsPrefetched(-1); }),
              "inTime >= norviktypes::kTime_Zero|Src/Renderframe_PrefetchSegment|"
              "ML::RenderFrame::IsPrefetchedMediaReady");
    EXPECT_TRUE(IsPrefetched(0));
    Settle();
}

TEST_F(SegmentPrefetch, NegativeTimeBreaksTheContractOfEachCall)
{
    const std::string where =
        "inTime >= norviktypes::kTime_Zero|Src/Renderframe_PrefetchSegment|ML::RenderFrame::";
    EXPECT_EQ(ContractText([&] { Prefetch(-1); }), where + "PrefetchMediaWithRenderParameters");
    EXPECT_EQ(ContractText([&] { mRenderFrame->PrefetchMedia(TickTime(-1), Segments()); }),
              where + "PrefetchMediaWithRenderParameters");
    EXPECT_EQ(ContractText([&] { Cancel(-1); }), where + "CancelPrefetchMediaWithRenderParameters");
    EXPECT_FALSE(IsPrefetched()); // nothing was kept
}

TEST_F(SegmentPrefetch, ReadyWhenAllItsReadsAre)
{
    const FakePrefetchRef first = AddRead();
    const FakePrefetchRef second = AddRead();
    Prefetch();
    Settle();
    EXPECT_FALSE(IsPrefetched());
    first->mIsReady = true;
    EXPECT_FALSE(IsPrefetched());
    second->mIsReady = true;
    EXPECT_TRUE(IsPrefetched());
    first->mIsReady = false; // as one that failed
    EXPECT_FALSE(IsPrefetched());
    mRenderFrame->CancelAllRequests();
}

TEST_F(SegmentPrefetch, FrameThatWantsNothingReadIsReady)
{
    Prefetch();
    EXPECT_TRUE(IsPrefetched());
    EXPECT_TRUE(IsPrefetched(2000000)); // behind the only segment
    mSequence->mCutlist.reset();
    EXPECT_TRUE(IsPrefetched());
    Settle();
}

TEST_F(SegmentPrefetch, EmptyItemIsAnEmptyReference)
{
    Prefetch();
    mSequence->mNode->mItems.emplace_back();
    EXPECT_THROW(IsPrefetched(), TVK::NullInterfaceException);
    mSequence->mNode->mItems.clear();
    mRenderFrame->CancelAllRequests();
}

TEST_F(SegmentPrefetch, UnsetRateKeepsTheRateOfTheOneBefore)
{
    const auto rateOfQuestion = [this]
    {
        mSequence->mNode->mPrefetchParams.clear();
        IsPrefetched();
        return mSequence->mNode->mPrefetchParams.at(0).mFrameRate;
    };
    PrefetchAt(norviktypes::FrameRate(500), mFormats);
    EXPECT_EQ(rateOfQuestion(), norviktypes::FrameRate(500));
    PrefetchAt(norviktypes::kFrameRate_Unset, mFormats);
    EXPECT_EQ(rateOfQuestion(), norviktypes::FrameRate(500));
    PrefetchAt(norviktypes::FrameRate(700), mFormats);
    EXPECT_EQ(rateOfQuestion(), norviktypes::FrameRate(700));
    mRenderFrame->CancelAllRequests();
}

TEST_F(SegmentPrefetch, FormatsOfTheLastOneServeTheQuestion)
{
    const auto formatOfQuestion = [this]
    {
        mSequence->mNode->mPrefetchParams.clear();
        IsPrefetched();
        return mSequence->mNode->mPrefetchParams.at(0).mPixelFormat;
    };
    PrefetchAt(mRate, {norviktypes::kPixelFormat_BGRA_4444_32f});
    EXPECT_EQ(formatOfQuestion(), norviktypes::kPixelFormat_BGRA_4444_32f);
    PrefetchAt(mRate, mFormats);
    EXPECT_EQ(formatOfQuestion(), norviktypes::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(
        ContractText([&] { mRenderFrame->PrefetchMedia(TickTime(0), Segments()); }),
        "mRequestedFormats.size() > 0|Src/RenderFrameRequest|ML::RenderFrameRequest::RenderFrameRequest");
    EXPECT_EQ(formatOfQuestion(), norviktypes::kPixelFormat_BGRA_4444_8u); // the short form keeps all
    mRenderFrame->CancelAllRequests();
}

TEST_F(SegmentPrefetch, CancellingCancelsWhatTheFrameWantsRead)
{
    const FakePrefetchRef first = AddRead();
    const FakePrefetchRef second = AddRead();
    Cancel();
    EXPECT_EQ(first->mCancelled, 1);
    EXPECT_EQ(second->mCancelled, 1);
    EXPECT_EQ(first->mBegun, 0);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(SegmentPrefetch, CancellingKeepsNothingForTheQuestion)
{
    Cancel();
    EXPECT_FALSE(IsPrefetched());
}

TEST_F(SegmentPrefetch, QuestionIsAskedOfAFreshCutlist)
{
    Prefetch();
    mSequence->mAsked.clear();
    EXPECT_TRUE(IsPrefetched());
    EXPECT_EQ(mSequence->mAsked, Texts{"third '' fresh"});
    Settle();
}

TEST_F(SegmentPrefetch, IsOfferedToTheAcceleratedRenderer)
{
    const FakeAcceleratedRendererRef renderer(new FakeAcceleratedRenderer);
    ML::IAcceleratedSequenceRendererRef previous;
    mRenderFrame->ExchangeAcceleratedRenderer(previous, ML::IAcceleratedSequenceRendererRef(renderer.get()));
    Prefetch();
    ASSERT_EQ(renderer->mRequests.size(), 1U);
    EXPECT_TRUE(renderer->mRequests[0].mPrefetchOnly);
    EXPECT_EQ(renderer->mRequests[0].mTime, TickTime(5000));
    mRenderFrame->CancelAllRequests();
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(SegmentPrefetch, TimelineMustBeThere)
{
    EXPECT_THROW(mRenderFrame->PrefetchMedia(TickTime(0), {}), TVK::NullInterfaceException);
    EXPECT_THROW(mRenderFrame->CancelPrefetchMediaWithRenderParameters(TickTime(0), mRate, {}, mFormats),
                 TVK::NullInterfaceException);
    EXPECT_FALSE(IsPrefetched());
    EXPECT_THROW(mRenderFrame->PrefetchMediaWithRenderParameters(TickTime(0), mRate, {}, mFormats),
                 TVK::NullInterfaceException);
    EXPECT_TRUE(IsPrefetched()); // formats were kept before that was noticed
    EXPECT_THROW(mRenderFrame->IsPrefetchedMediaReady(TickTime(0), {}), TVK::NullInterfaceException);
}

TEST_F(SegmentPrefetch, SourceRectIsAlwaysTheSequences)
{
    mRenderFrame->SetSourceRect(TVK::Rect{0, 0, 32, 16}, {1, 1});
    const std::uint32_t id = ML::GetNextRequestID();
    Prefetch();
    EXPECT_EQ(ML::GetNextRequestID(), id + 2) << "a request has an id of its own";
    EXPECT_EQ(mSequence->mAsked.at(0), "third '' fresh");
    Settle();
    IsPrefetched();
    ASSERT_GE(mSequence->mNode->mPrefetchParams.size(), 2U);
    for (const ML::CutlistRenderParams& params : mSequence->mNode->mPrefetchParams)
    {
        EXPECT_EQ(params.mSourceWidth, 64U);
        EXPECT_EQ(params.mRenderFlags, 10U); // not of low priority
    }
    mRenderFrame->CancelAllRequests();
}

TEST_F(SegmentPrefetch, CancellingAllReachesPrefetches)
{
    const FakePrefetchRef read = AddRead();
    Prefetch();
    Settle();
    mRenderFrame->CancelAllRequests();
    EXPECT_EQ(read->mCancelled, 1);
    EXPECT_TRUE(mClient->mTexts.empty());
    Prefetch();
    Settle();
    mRenderFrame.reset();
    EXPECT_EQ(read->mCancelled, 2);
    Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(SegmentPrefetch, FailedReadIsLookedAtAtOnce)
{
    const TVK::InterfaceRef<FakeReadSource> source(new FakeReadSource);
    source->mReadFunction = [](std::int64_t, MF::IVideoFrameRef&) { return BE::kSourceStatus_BadMedia; };
    ML::VideoSourcePrefetcher::StartPrefetchers();
    BE::FrameDescription format;
    format.mBounds = {0, 0, 16, 8};
    mSequence->mNode->mItems.push_back(ML::VideoSourcePrefetcher::CreateMediaPrefetcher(
        BE::IVideoSourceRef(source), format, TickTime(5000), {}, {}, u"media", 0));
    Prefetch();
    mPasses->RunAll();
    EXPECT_EQ(mQueue->Counts().mPrefetching, 1U);
    EXPECT_EQ(mVideo->RunAll(), 1U);
    EXPECT_EQ(mPasses->RunAll(), 1U) << "without the clock";
    EXPECT_EQ(mQueue->Counts().mPrefetching, 0U);
    mSequence->mNode->mItems.clear();
    Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(SegmentPrefetch, EndsAfterThePatienceOfTheQueue)
{
    AddRead();
    Prefetch();
    Settle();
    for (int second = 0; second < 16; ++second)
    {
        Advance(1000);
    }
    Settle();
    EXPECT_EQ(AtRest(), "");
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_FALSE(IsPrefetched());
}

} // namespace
