#include "VideoSourcePrefetcher.h"

#include "RenderFrameClient.h"
#include "RenderableSources.h"
#include "TVK/ContractError.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/PrefetchTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace
{

using namespace ML::VideoSourcePrefetcher;
using TestSupport::FakeReadSource;
using TestSupport::FakeReadSourceRef;
using TestSupport::Notes;

constexpr std::int32_t kNotReady = ML::kRenderFramePrefetchFailed;
constexpr std::int32_t kBroken = static_cast<std::int32_t>(0xa0123456u);

using VideoSourcePrefetcher = TestSupport::PrefetchTest;

// An executor that has no memory for what is posted to it.
class FullExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    void Post(norvik::Function, uint32_t) override { throw std::bad_alloc(); }
    bool IsCurrentThread() const override { return false; }
    void CancelPending() override {}
    void Close() override {}
    void WaitForTermination() override {}
};

std::int32_t Fails(std::int64_t, MF::IVideoFrameRef& ioFrame)
{
    ioFrame.reset();
    return kBroken;
}

TEST_F(VideoSourcePrefetcher, NoStreamHasNoItems)
{
    EXPECT_FALSE(NewItem(nullptr, 0));
    EXPECT_FALSE(CreateParameterizedMediaPrefetcher(nullptr, Format(), TimeOf(0), {}, {}, u"", {}, 0));
}

TEST_F(VideoSourcePrefetcher, StreamThatNeitherRendersFramesNorReadsByItselfHasNoItems)
{
    const FakeReadSourceRef source = NewSource();
    source->mRendersFrames = false;
    EXPECT_FALSE(NewItem(source, 0));
    source->mIsAsync = true;
    EXPECT_TRUE(NewItem(source, 0));
    source->mAsyncEnabled = false;
    EXPECT_FALSE(NewItem(source, 0));
}

TEST_F(VideoSourcePrefetcher, ItemsWithParametersAreForStreamsThatRenderNoFrames)
{
    const FakeReadSourceRef source = NewSource();
    EXPECT_FALSE(NewFillItem(source, 0));
    source->mRendersFrames = false;
    EXPECT_TRUE(NewFillItem(source, 0));
}

TEST_F(VideoSourcePrefetcher, StreamWithoutATimeAxisIsRefusedUnlessItIsAnImage)
{
    const FakeReadSourceRef source = NewSource();
    source->mHasTimeAxisFace = false;
    EXPECT_THROW(NewItem(source, 0), TVK::NullInterfaceException);
    source->mIsImage = true;
    EXPECT_TRUE(NewItem(source, 0));
}

TEST_F(VideoSourcePrefetcher, KeyOfAnItemIsTheStreamsNameOfTheFrame)
{
    const FakeReadSourceRef source = NewSource(7);
    TVK::Guid key;
    NewItem(source, 3)->GetPrefetchKey(key);
    EXPECT_EQ(key, source->KeyOf(3));
    source->mRendersFrames = false;
    NewFillItem(source, 3)->GetPrefetchKey(key);
    EXPECT_EQ(key, source->FillKeyOf(3));
    source->mIsAsync = true;
    NewItem(source, 3)->GetPrefetchKey(key);
    EXPECT_EQ(key, TVK::Guid()) << "a stream that renders no frames has no key for them";
}

TEST_F(VideoSourcePrefetcher, FrameIsReadAndFoundUnderItsKey)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = NewItem(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_EQ(mFrameNumber, -1);
    EXPECT_EQ(source->TakeNotes(), Notes{"at-once 5"});

    mVideo->RunAll();
    EXPECT_EQ(source->TakeNotes(), Notes{"read 5"});
    EXPECT_TRUE(IsCached(source->KeyOf(5)));
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(Ask(item), 0) << "the frame stays in hand";
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(source->TakeNotes(), Notes{});
    EXPECT_EQ(mWakeUps, 0) << "the cache tells of frames";
}

TEST_F(VideoSourcePrefetcher, RequestsForOneFrameCostOneRead)
{
    const FakeReadSourceRef source = NewSource();
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    first->BeginPrefetch();
    second->BeginPrefetch();
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    EXPECT_EQ(GetTableSizes().mKeysBeingRead, 1u);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 2u);
    mVideo->RunAll();
    EXPECT_EQ(source->TakeNotes(), Notes{"read 5"});
    EXPECT_EQ(Ask(first), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(Ask(second), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(GetTableSizes().mKeysBeingRead, 0u);
}

TEST_F(VideoSourcePrefetcher, FrameInTheCacheIsNotRead)
{
    const FakeReadSourceRef source = NewSource();
    Read(source, 5);
    mVideo->RunAll();
    source->TakeNotes();
    const auto item = NewItem(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(source->TakeNotes(), Notes{});
}

TEST_F(VideoSourcePrefetcher, ReadsOfAStreamRunInTheOrderOfTheirTimes)
{
    const FakeReadSourceRef source = NewSource();
    for (const int frame : {7, 3, 9, 1, 8, 2, 6})
    {
        Read(source, frame);
    }
    EXPECT_TRUE(mVideo->RunOne());
    EXPECT_EQ(source->TakeNotes(), Notes{"read 1"});
    Read(source, 0);
    mVideo->RunAll();
    EXPECT_EQ(source->TakeNotes(),
              (Notes{"read 0", "read 2", "read 3", "read 6", "read 7", "read 8", "read 9"}));
}

TEST_F(VideoSourcePrefetcher, StreamsHaveNoOrderAmongEachOther)
{
    const FakeReadSourceRef late = NewSource(1);
    const FakeReadSourceRef early = NewSource(2);
    Read(late, 9);
    Read(early, 1);
    EXPECT_TRUE(mVideo->RunOne());
    EXPECT_EQ(late->TakeNotes(), Notes{"read 9"});
    EXPECT_EQ(early->TakeNotes(), Notes{});
    mVideo->RunAll();
}

TEST_F(VideoSourcePrefetcher, ImagesAreReadOnTheExecutorForStills)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsImage = true;
    const auto item = NewItem(source, 5);
    item->BeginPrefetch();
    EXPECT_EQ(mVideo->RunAll(), 0u);
    EXPECT_EQ(mImage->RunAll(), 1u);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

TEST_F(VideoSourcePrefetcher, StillIsFoundInTheCacheWithoutAskingTheStream)
{
    const FakeReadSourceRef source = NewSource();
    source->mKind = MF::kSourceKind_Still;
    source->mRests = true; // would have to be woken
    VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                               source->KeyOf(5), 0);
    const auto item = NewItem(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_TRUE(mFrame);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
}

TEST_F(VideoSourcePrefetcher, FirstOfTwoIsCancelledAndTheSecondStillGetsTheFrame)
{
    const FakeReadSourceRef source = NewSource();
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    first->BeginPrefetch();
    second->BeginPrefetch();
    EXPECT_EQ(first->CancelPrefetch(), 0);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    mVideo->RunAll();
    EXPECT_EQ(Ask(second), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(mWakeUps, 0);
}

TEST_F(VideoSourcePrefetcher, LastCancelTakesTheReadBack)
{
    const FakeReadSourceRef source = NewSource();
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    const auto other = NewItem(source, 6);
    first->BeginPrefetch();
    second->BeginPrefetch();
    other->BeginPrefetch();
    first->CancelPrefetch();
    second->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u) << "only the other frame is still to be read";
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(mVideo->RunAll(), 2u) << "the job without a read finds nothing";
    EXPECT_EQ(source->TakeNotes(), Notes{"read 6"});
}

TEST_F(VideoSourcePrefetcher, ReadThatIsTakenBackIsToldSo)
{
    const FakeReadSourceRef source = NewSource();
    std::vector<std::int32_t> told;
    for (const int frame : {3, 1, 5, 2, 4})
    {
        Read(source, frame,
             [&](std::int32_t inStatus)
             {
                 EXPECT_TRUE(HoldsNoLock());
                 told.push_back(inStatus);
             });
    }
    // An item that shares the key of a queued read, but has been read for itself already.
    const auto item = NewItem(source, 1);
    item->BeginPrefetch();
    item->CancelPrefetch();
    EXPECT_EQ(told, std::vector<std::int32_t>{kReadStatus_Cancelled});
    EXPECT_EQ(kReadStatus_Cancelled, static_cast<std::int32_t>(0xa00f0007u));
    mVideo->RunAll();
    // One read of frame 1 was left, and the order of the others has not suffered.
    EXPECT_EQ(source->TakeNotes(), (Notes{"read 1", "read 2", "read 3", "read 4", "read 5"}));
}

TEST_F(VideoSourcePrefetcher, CancelAfterTheFrameArrivedTouchesNoReadAndNoCount)
{
    const FakeReadSourceRef source = NewSource();
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    first->BeginPrefetch();
    second->BeginPrefetch();
    mVideo->RunAll();
    EXPECT_EQ(Ask(first), 0);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    first->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    EXPECT_EQ(Ask(second), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

TEST_F(VideoSourcePrefetcher, CancelDropsTheFrameInHandAndTheInterestInIt)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = NewItem(source, 5);
    item->BeginPrefetch();
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 1u);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 1u) << "the render wants to find it";
    item->CancelPrefetch();
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 0u);
    EXPECT_EQ(item->CancelPrefetch(), 0) << "a second time does nothing";
}

TEST_F(VideoSourcePrefetcher, ItemBegunTwiceHoldsOneCount)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = NewItem(source, 5);
    item->BeginPrefetch();
    item->BeginPrefetch();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    mVideo->RunAll();
    item->BeginPrefetch(); // finds the frame while the count is held
    item->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
}

TEST_F(VideoSourcePrefetcher, DroppedItemGivesUpItsCountAndItsInterest)
{
    const FakeReadSourceRef source = NewSource();
    const auto first = NewItem(source, 5);
    auto second = NewItem(source, 5);
    first->BeginPrefetch();
    second->BeginPrefetch();
    second.reset();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    first->CancelPrefetch();
}

TEST_F(VideoSourcePrefetcher, QueuedReadKeepsItsItemUntilItHasRun)
{
    const FakeReadSourceRef source = NewSource();
    auto item = NewItem(source, 5);
    item->BeginPrefetch();
    item.reset();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    mVideo->RunAll();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
}

TEST_F(VideoSourcePrefetcher, FailedReadEndsAllWhoJoinedIt)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    const auto other = NewItem(source, 6);
    first->BeginPrefetch();
    second->BeginPrefetch();
    other->BeginPrefetch();
    mVideo->RunOne();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(first), 0);
    EXPECT_FALSE(mFrame);
    EXPECT_EQ(Ask(second), 0);
    EXPECT_FALSE(mFrame);
    EXPECT_EQ(Ask(other), kNotReady) << "a read of another frame";
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    mVideo->RunAll();
    EXPECT_EQ(Ask(other), 0);
}

TEST_F(VideoSourcePrefetcher, FailedReadEndsTheSecondAfterTheFirstWasCancelled)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    first->BeginPrefetch();
    second->BeginPrefetch();
    first->CancelPrefetch();
    mVideo->RunAll();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(second), 0);
    EXPECT_FALSE(mFrame);
}

TEST_F(VideoSourcePrefetcher, ItemThatComesAfterAFailureReadsAgain)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto failed = NewItem(source, 5);
    failed->BeginPrefetch();
    mVideo->RunAll();
    source->mReadFunction = {};
    const auto late = NewItem(source, 5); // while the first one has not been asked yet
    late->BeginPrefetch();
    EXPECT_EQ(Ask(late), kNotReady);
    EXPECT_EQ(mVideo->RunAll(), 1u);
    EXPECT_EQ(Ask(late), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(failed->CancelPrefetch(), 0);
}

TEST_F(VideoSourcePrefetcher, CancelAfterAFailureLeavesTheNextReadAlone)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto failed = NewItem(source, 5);
    failed->BeginPrefetch();
    mVideo->RunAll();
    const auto late = NewItem(source, 5);
    late->BeginPrefetch();
    failed->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    late->CancelPrefetch();
}

TEST_F(VideoSourcePrefetcher, FailureOfAnAbandonedReadDoesNotReachLaterItems)
{
    const FakeReadSourceRef source = NewSource();
    const auto early = NewItem(source, 5);
    const auto late = NewItem(source, 5);
    int reads = 0;
    source->mReadFunction = [&](std::int64_t, MF::IVideoFrameRef& ioFrame)
    {
        if (++reads == 1)
        {
            early->CancelPrefetch(); // too late to take the read back
            late->BeginPrefetch();
            return kBroken;
        }
        ioFrame = TestSupport::NewFrame(Format().mPixelFormat, 8, 4);
        return std::int32_t{0};
    };
    early->BeginPrefetch();
    mVideo->RunOne();
    EXPECT_EQ(Ask(late), kNotReady);
    mVideo->RunAll();
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(Ask(late), 0);
    EXPECT_TRUE(mFrame);
    source->mReadFunction = {};
}

TEST_F(VideoSourcePrefetcher, FailureOfAFrameThatIsInHandIsOfNoInterest)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto item = NewItem(source, 5);
    item->BeginPrefetch();
    VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                               source->KeyOf(5), 0);
    EXPECT_EQ(Ask(item), 0);
    mVideo->RunAll();
    EXPECT_EQ(mWakeUps, 0);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_TRUE(mFrame);
}

TEST_F(VideoSourcePrefetcher, ExceptionOfAStreamIsAFailureOfItsRead)
{
    const FakeReadSourceRef source = NewSource();
    std::vector<std::int32_t> told;
    const auto note = [&](std::int32_t inStatus) { told.push_back(inStatus); };
    source->mReadFunction = [](std::int64_t inFrame, MF::IVideoFrameRef&) -> std::int32_t
    {
        switch (inFrame)
        {
        case 0: throw ML::RenderRequestException(kBroken);
        case 1: throw std::bad_alloc();
        case 2: throw TVK::NullInterfaceException();
        case 3: throw std::runtime_error("broken");
        default: throw 17;
        }
    };
    for (int frame = 0; frame < 5; ++frame)
    {
        Read(source, frame, note);
    }
    mVideo->RunAll();
    EXPECT_EQ(told, (std::vector<std::int32_t>{kBroken, ML::kRenderFrameOutOfMemory, ML::kRenderFrameFailed,
                                               ML::kRenderFrameFailed, ML::kRenderFrameFailed}));
}

TEST_F(VideoSourcePrefetcher, ReadThatSucceedsWithoutAFrameHasFailed)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = [](std::int64_t, MF::IVideoFrameRef&) { return 0; };
    const auto item = NewItem(source, 5);
    item->BeginPrefetch();
    mVideo->RunAll();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_FALSE(mFrame);
}

TEST_F(VideoSourcePrefetcher, FailureThatNobodyWaitsForIsDropped)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    Read(source, 5);
    EXPECT_EQ(mVideo->RunAll(), 1u);
    EXPECT_FALSE(IsCached(source->KeyOf(5)));
    EXPECT_EQ(mWakeUps, 0);
}

TEST_F(VideoSourcePrefetcher, ReadWithParametersHandsThemToTheStream)
{
    const FakeReadSourceRef source = NewSource();
    source->mRendersFrames = false;
    const ReadParameters parameters{TimeOf(2),
                                    TimeOf(8),
                                    norviktypes::kRenderQuality_Low,
                                    norviktypes::kFieldType_LowerFirst,
                                    true,
                                    false,
                                    true,
                                    0.25};
    const auto item = NewFillItem(source, 5, parameters);
    item->BeginPrefetch();
    EXPECT_EQ(Ask(item), kNotReady);
    mVideo->RunAll();
    EXPECT_EQ(source->TakeNotes(), Notes{"fill 5"}) << "and nothing is asked of it at once";
    const FakeReadSource::FillCall call = source->LastFill();
    EXPECT_EQ(call.mRangeStart, TimeOf(2));
    EXPECT_EQ(call.mRangeEnd, TimeOf(8));
    EXPECT_EQ(call.mQuality, norviktypes::kRenderQuality_Low);
    EXPECT_EQ(call.mFieldType, norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(call.mFrameFieldType, norviktypes::kFieldType_LowerFirst);
    EXPECT_FALSE(call.mIsProgressive);
    EXPECT_TRUE(call.mOptionA);
    EXPECT_FALSE(call.mOptionB);
    EXPECT_TRUE(call.mOptionC);
    EXPECT_EQ(call.mScale, 0.25);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_TRUE(IsCached(source->FillKeyOf(5)));
}

TEST_F(VideoSourcePrefetcher, ReadOfAFieldTypeThatIsNoOrderIsProgressive)
{
    const FakeReadSourceRef source = NewSource();
    source->mRendersFrames = false;
    for (const auto& [type, isProgressive] : {std::pair(norviktypes::kFieldType_Progressive, true),
                                              std::pair(norviktypes::kFieldType_UpperFirst, false),
                                              std::pair(norviktypes::kFieldType_LowerFirst, false),
                                              std::pair(norviktypes::kFieldType_Unknown, true)})
    {
        ReadParameters parameters;
        parameters.mFieldType = type;
        Prefetch(TimeOf(1), BE::IVideoSourceRef(source), Format(), {}, {}, source->FillKeyOf(1), {},
                 parameters);
        mVideo->RunAll();
        EXPECT_EQ(source->LastFill().mIsProgressive, isProgressive) << type;
    }
}

TEST_F(VideoSourcePrefetcher, FrameThatCannotBeMadeFailsTheRead)
{
    const FakeReadSourceRef source = NewSource();
    source->mRendersFrames = false;
    BE::FrameDescription format = Format();
    format.mBounds = {0, 0, 0, 4};
    std::int32_t told = 0;
    Prefetch(TimeOf(1), BE::IVideoSourceRef(source), format, {}, {}, source->FillKeyOf(1),
             [&](std::int32_t inStatus) { told = inStatus; }, {});
    mVideo->RunAll();
    EXPECT_EQ(told, VF::kFrameStatus_BadArgument);
    EXPECT_EQ(source->TakeNotes(), Notes{});
}

TEST_F(VideoSourcePrefetcher, MissingExecutorBreaksTheContract)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = NewItem(source, 5);
    for (auto* const executor : {&ML::sVideoSourcePrefetcherQueue, &ML::sImageSourcePrefetcherQueue})
    {
        const auto kept = *executor;
        executor->reset();
        norvik::debug::ClearContractReports();
        EXPECT_THROW(item->BeginPrefetch(), norvik::config::Error);
        norvik::debug::ContractReport report;
        ASSERT_TRUE(norvik::debug::GetContractReport(0, report));
        EXPECT_EQ(report.mCondition,
                  "sVideoSourcePrefetcherQueue != NULL && sImageSourcePrefetcherQueue != NULL");
        EXPECT_EQ(report.mFunction, "ML::VideoSourcePrefetcher::Prefetch");
        EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u) << "nobody may join a read that was not issued";
        *executor = kept;
    }
    EXPECT_EQ(item->BeginPrefetch(), 0);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
}

TEST_F(VideoSourcePrefetcher, ReadOfNoStreamThrows)
{
    EXPECT_THROW(Prefetch(TimeOf(1), nullptr, Format(), {}, {}, TVK::Guid(1, 1), {}, {}),
                 TVK::NullInterfaceException);
}

TEST_F(VideoSourcePrefetcher, ReadThatCannotBePostedIsNotQueued)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = NewItem(source, 5);
    ML::sVideoSourcePrefetcherQueue = boost::make_shared<FullExecutor>();
    EXPECT_THROW(item->BeginPrefetch(), std::bad_alloc);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
    ML::sVideoSourcePrefetcherQueue = mVideo;
    EXPECT_EQ(item->BeginPrefetch(), 0);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
}

TEST_F(VideoSourcePrefetcher, FrameAtHandIsTakenAtOnceAndShared)
{
    const FakeReadSourceRef source = NewSource();
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    first->BeginPrefetch();
    second->BeginPrefetch();
    source->mHasAtHand = true;
    EXPECT_EQ(Ask(first), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_TRUE(IsCached(source->KeyOf(5)));
    EXPECT_EQ(Ask(second), 0);
    EXPECT_EQ(source->TakeNotes(), Notes{"at-once 5"});
    mVideo->RunAll();
}

TEST_F(VideoSourcePrefetcher, FrameWithoutAKeyIsNeverReadAheadAndToldPendingOnce)
{
    const FakeReadSourceRef source = NewSource();
    source->mNamesFrames = false;
    const auto item = NewItem(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_FALSE(mFrame);
    source->mHasAtHand = true;
    EXPECT_EQ(Ask(item), kNotReady) << "the frame came, and is handed out by the next call";
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(source->TakeNotes(), (Notes{"at-once 5", "at-once 5"}));
}

TEST_F(VideoSourcePrefetcher, StreamThatReadsByItselfIsOnlyWatched)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    EXPECT_EQ(first->BeginPrefetch(), 0);
    EXPECT_EQ(second->BeginPrefetch(), 0);
    EXPECT_EQ(source->TakeNotes(), Notes{"begin 5"});
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    EXPECT_EQ(Ask(first), kNotReady);
    source->mHasAtHand = true;
    EXPECT_EQ(Ask(first), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_TRUE(IsCached(source->KeyOf(5)));
    EXPECT_EQ(Ask(second), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(source->TakeNotes(), (Notes{"at-once 5", "at-once 5", "at-once 5"}));
}

TEST_F(VideoSourcePrefetcher, LastCancelTakesTheReadOfAnAsynchronousStreamBack)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    const auto first = NewItem(source, 5);
    const auto second = NewItem(source, 5);
    first->BeginPrefetch();
    second->BeginPrefetch();
    source->TakeNotes();
    first->CancelPrefetch();
    EXPECT_EQ(source->TakeNotes(), Notes{});
    second->CancelPrefetch();
    EXPECT_EQ(source->TakeNotes(), Notes{"cancel 5"});
}

TEST_F(VideoSourcePrefetcher, StreamThatCannotIssueLeavesADeadItem)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    source->mIssueStatus = kBroken;
    const auto item = NewItem(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), kBroken);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 0u);
    TVK::Guid key(1, 1);
    item->GetPrefetchKey(key);
    EXPECT_EQ(key, TVK::Guid());
    EXPECT_EQ(Ask(item), 0);
    EXPECT_FALSE(mFrame);
    EXPECT_EQ(item->CancelPrefetch(), 0);
    EXPECT_EQ(source->TakeNotes(), Notes{"begin 5"});
    EXPECT_THROW(item->BeginPrefetch(), TVK::NullInterfaceException);
}

TEST_F(VideoSourcePrefetcher, CancelThatThrowsStillGivesEverythingBack)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    source->mCancelFunction = [] { throw std::runtime_error("broken"); };
    auto item = NewItem(source, 5);
    item->BeginPrefetch();
    EXPECT_THROW(item->CancelPrefetch(), std::runtime_error);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 0u);
    item = NewItem(source, 6);
    item->BeginPrefetch();
    EXPECT_NO_THROW(item.reset());
}

TEST_F(VideoSourcePrefetcher, EndDropsQueuedReadsWithoutTellingAnybody)
{
    FakeReadSourceRef source = NewSource();
    bool isDestroyed = false;
    source->mDestroyFunction = [&]
    {
        EXPECT_TRUE(HoldsNoLock());
        isDestroyed = true;
    };
    int told = 0;
    Read(source, 4, [&](std::int32_t) { ++told; });
    auto item = NewItem(source, 5);
    item->BeginPrefetch();
    item.reset();
    source.reset();
    EXPECT_FALSE(isDestroyed);
    StopPrefetchers();
    EXPECT_EQ(told, 0);
    EXPECT_EQ(mWakeUps, 0);
    EXPECT_TRUE(isDestroyed) << "the read and its item held each other";
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
}

TEST_F(VideoSourcePrefetcher, NothingRunsOnTheExecutorsAfterTheEnd)
{
    const FakeReadSourceRef source = NewSource();
    StopPrefetchers();
    Read(source, 5);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    mVideo->Post([] { FAIL(); });
    mImage->Post([] { FAIL(); });
    EXPECT_EQ(mVideo->RunAll(), 0u);
    EXPECT_EQ(mImage->RunAll(), 0u);
}

} // namespace
