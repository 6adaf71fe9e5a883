#include "VideoSourcePrefetcher.h"

#include "Tests/Support/Fakes/FakeDataCache.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/HostCalls.h"
#include "Tests/VideoRenderer/PrefetchTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_DiskCache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace
{

using namespace ML::VideoSourcePrefetcher;
using TestSupport::FakeReadSource;
using TestSupport::FakeReadSourceRef;
using TestSupport::kNotReady;
using TestSupport::Notes;
namespace HostCalls = TestSupport::HostCalls;

using VideoSourcePrefetcher = TestSupport::PrefetchTest;

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
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
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

TEST_F(VideoSourcePrefetcher, PendingItemLeavesNoFrameWithWhoAsks)
{
    for (const bool isAsync : {false, true})
    {
        const FakeReadSourceRef source = NewSource();
        source->mIsAsync = isAsync;
        const auto item = Begin(source, 5);
        MF::IVideoFrameRef frame = TestSupport::NewFrame(Format().mPixelFormat, 8, 4);
        EXPECT_EQ(item->GetPrefetchResult(frame), kNotReady);
        EXPECT_FALSE(frame);
        item->CancelPrefetch();
    }
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
    const auto item = Begin(source, 5);
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
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
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
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
    const auto other = Begin(source, 6);
    first->CancelPrefetch();
    second->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u) << "only the other frame is still to be read";
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(mVideo->RunAll(), 2u) << "the job without a read finds nothing";
    EXPECT_EQ(source->TakeNotes(), Notes{"read 6"});
}

TEST_F(VideoSourcePrefetcher, ItemThatBeganNothingTakesNothingBack)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = Begin(source, 5);
    NewItem(source, 5)->CancelPrefetch();
    EXPECT_EQ(mVideo->RunAll(), 1u);
    EXPECT_EQ(source->TakeNotes(), Notes{"read 5"});
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

TEST_F(VideoSourcePrefetcher, ReadWithoutAKeyIsForTheStreamAlone)
{
    const FakeReadSourceRef source = NewSource();
    std::vector<std::int32_t> told;
    const auto read = [&]
    {
        Prefetch(TimeOf(5), BE::IVideoSourceRef(source), Format(), {}, {}, TVK::Guid(),
                 [&](std::int32_t inStatus) { told.push_back(inStatus); }, {});
        HostCalls::Begin(~std::size_t{0}, HostCalls::Fault::kNone);
        mVideo->RunAll();
        const Notes calls = HostCalls::End();
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "InsertIntoCache 1"), 0);
    };
    read();
    source->mReadFunction = [](std::int64_t, MF::IVideoFrameRef&) { return 0; };
    read();
    EXPECT_EQ(source->TakeNotes(), (Notes{"read 5", "read 5"}));
    EXPECT_TRUE(told.empty()) << "nobody waits for a frame that a stream keeps for itself";
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
    const auto item = Begin(source, 1);
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
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
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
    const auto item = Begin(source, 5);
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 1u);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 1u) << "the render wants to find it";
    item->CancelPrefetch();
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 0u);
    EXPECT_EQ(item->CancelPrefetch(), 0) << "a second time does nothing";
    TestSupport::EmptyFrameCache();
    EXPECT_EQ(Ask(item), kNotReady);
}

TEST_F(VideoSourcePrefetcher, CancelledItemMayBeginAgain)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = Begin(source, 5);
    item->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

// However a frame is come by, it stays while frames that nobody announced have to go.
TEST_F(VideoSourcePrefetcher, FramesThatAreReadAheadStayLonger)
{
    const FakeReadSourceRef source = NewSource();
    Read(source, 1);
    mVideo->RunAll();
    source->mHasAtHand = true;
    const auto item = Begin(source, 2);
    EXPECT_EQ(Ask(item), 0);
    item->CancelPrefetch();
    TestSupport::SetFrameCacheBudget(2 * TestSupport::FrameCacheBytes()); // for four frames
    for (std::uint64_t other = 0; other < 8; ++other)
    {
        VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                                   TVK::Guid(99, other + 1), 9);
    }
    EXPECT_FALSE(IsCached(TVK::Guid(99, 1)));
    EXPECT_TRUE(IsCached(source->KeyOf(1)));
    EXPECT_TRUE(IsCached(source->KeyOf(2)));
    TestSupport::SetFrameCacheBudget(TestSupport::kUsualFrameCacheBudget);
    mVideo->RunAll();
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
    const auto first = Begin(source, 5);
    auto second = Begin(source, 5);
    second.reset();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 1u);
    second = Begin(source, 5);
    second->CancelPrefetch();
    second.reset();
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 1u) << "given up once, not for the other as well";
    first->CancelPrefetch();
}

TEST_F(VideoSourcePrefetcher, QueuedReadKeepsItsItemUntilItHasRun)
{
    const FakeReadSourceRef source = NewSource();
    auto item = Begin(source, 5);
    item.reset();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    mVideo->RunAll();
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
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
    BE::FrameDescription format = Format();
    format.mBounds = {4, 2, 12, 6};
    format.mPixelAspectRatio = {16, 15};
    const auto item = CreateParameterizedMediaPrefetcher(BE::IVideoSourceRef(source), format, TimeOf(5), {},
                                                         {}, u"media", parameters, 0);
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
    norviktypes::PixelAspectRatio ratio;
    mFrame->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, norviktypes::PixelAspectRatio(16, 15));
    TVK::Rect bounds;
    mFrame->GetBounds(bounds);
    EXPECT_EQ(bounds.Width(), 8);
    EXPECT_EQ(bounds.Height(), 4);
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

TEST_F(VideoSourcePrefetcher, FrameAtHandIsTakenAtOnceAndShared)
{
    const FakeReadSourceRef source = NewSource();
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
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
    auto item = Begin(source, 5);
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

// Notes how it is ended.
class EndedExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    EndedExecutor(std::string inName, Notes& outNotes) : mName(std::move(inName)), mNotes(outNotes) {}

    void Post(norvik::Function, std::uint32_t) override {}
    bool IsCurrentThread() const override { return false; }
    void CancelPending() override {}
    void Close() override { mNotes.push_back("close " + mName); }
    void WaitForTermination() override
    {
        mNotes.push_back("await " + mName + (DiskCacheIsOpen() ? "" : " without the disk cache"));
    }

private:
    const std::string mName;
    Notes& mNotes;
};

TEST_F(VideoSourcePrefetcher, EndClosesTheExecutorForMoviesAndThenTheOneForStills)
{
    Notes notes;
    ML::sVideoSourcePrefetcherQueue = boost::make_shared<EndedExecutor>("movies", notes);
    ML::sImageSourcePrefetcherQueue = boost::make_shared<EndedExecutor>("stills", notes);
    UseDiskCache(std::make_shared<TestSupport::FakeDataCache>());
    StopPrefetchers();
    EXPECT_FALSE(DiskCacheIsOpen()) << "it is let go when nobody reads ahead any more";
    EXPECT_EQ(notes, (Notes{"close movies", "await movies", "close stills", "await stills"}));
    ML::sVideoSourcePrefetcherQueue = mVideo;
    ML::sImageSourcePrefetcherQueue = mImage;
}

} // namespace
