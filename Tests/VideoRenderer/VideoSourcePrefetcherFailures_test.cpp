// How items end whose reads fail, are never issued, or throw.
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
#include <vector>

namespace
{

using namespace ML::VideoSourcePrefetcher;
using TestSupport::FakeReadSourceRef;
using TestSupport::FullExecutor;
using TestSupport::kNotReady;
using TestSupport::Notes;

constexpr std::int32_t kBroken = static_cast<std::int32_t>(0xa0123456u);

using PrefetcherFailures = TestSupport::PrefetchTest;

std::int32_t Fails(std::int64_t, MF::IVideoFrameRef& ioFrame)
{
    ioFrame.reset();
    return kBroken;
}

TEST_F(PrefetcherFailures, FailedReadEndsAllWhoJoinedIt)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
    const auto other = Begin(source, 6);
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

TEST_F(PrefetcherFailures, FailedReadEndsTheSecondAfterTheFirstWasCancelled)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
    first->CancelPrefetch();
    mVideo->RunAll();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(second), 0);
    EXPECT_FALSE(mFrame);
}

TEST_F(PrefetcherFailures, ItemThatComesAfterAFailureReadsAgain)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto failed = Begin(source, 5);
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

TEST_F(PrefetcherFailures, CancelAfterAFailureLeavesTheNextReadAlone)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto failed = Begin(source, 5);
    mVideo->RunAll();
    const auto late = Begin(source, 5);
    failed->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 1u);
    late->CancelPrefetch();
}

TEST_F(PrefetcherFailures, FailureOfAnAbandonedReadDoesNotReachLaterItems)
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

TEST_F(PrefetcherFailures, FailureOfAFrameThatIsInHandIsOfNoInterest)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto item = Begin(source, 5);
    VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                               source->KeyOf(5), 0);
    EXPECT_EQ(Ask(item), 0);
    mVideo->RunAll();
    EXPECT_EQ(mWakeUps, 0);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_TRUE(mFrame);
}

TEST_F(PrefetcherFailures, FailureReachesThoseWithoutTheFrameThoughTheReaderHasIt)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
    VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                               source->KeyOf(5), 0);
    EXPECT_EQ(Ask(first), 0);
    TestSupport::EmptyFrameCache();
    EXPECT_EQ(Ask(second), kNotReady);
    mVideo->RunAll();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(second), 0);
    EXPECT_FALSE(mFrame);
}

TEST_F(PrefetcherFailures, ExceptionOfAStreamIsAFailureOfItsRead)
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
    const TestSupport::LogCatcher log;
    mVideo->RunAll();
    EXPECT_EQ(told, (std::vector<std::int32_t>{kBroken, ML::kRenderFrameOutOfMemory, ML::kRenderFrameFailed,
                                               ML::kRenderFrameFailed, ML::kRenderFrameFailed}));
    EXPECT_EQ(log.mMessages.size(), 5u) << "each goes on into the executor";
}

TEST_F(PrefetcherFailures, JobThatFindsNoReadAfterAFailedPostDoesNothing)
{
    const FakeReadSourceRef source = NewSource();
    Begin(source, 5)->CancelPrefetch();
    ML::sVideoSourcePrefetcherQueue = boost::make_shared<FullExecutor>();
    EXPECT_THROW(Read(source, 6), std::bad_alloc);
    ML::sVideoSourcePrefetcherQueue = mVideo;
    EXPECT_EQ(mVideo->RunAll(), 1u);
    EXPECT_EQ(source->TakeNotes(), Notes{});
}

TEST_F(PrefetcherFailures, ReadThatSucceedsWithoutAFrameHasFailed)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = [](std::int64_t, MF::IVideoFrameRef&) { return 0; };
    const auto item = Begin(source, 5);
    mVideo->RunAll();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_FALSE(mFrame);
}

TEST_F(PrefetcherFailures, FailureThatNobodyWaitsForIsDropped)
{
    const FakeReadSourceRef source = NewSource();
    source->mReadFunction = Fails;
    Read(source, 5);
    EXPECT_EQ(mVideo->RunAll(), 1u);
    EXPECT_FALSE(IsCached(source->KeyOf(5)));
    EXPECT_EQ(mWakeUps, 0);
}

TEST_F(PrefetcherFailures, FrameThatCannotBeMadeFailsTheRead)
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

TEST_F(PrefetcherFailures, MissingExecutorBreaksTheContract)
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

TEST_F(PrefetcherFailures, ReadOfNoStreamThrows)
{
    EXPECT_THROW(Prefetch(TimeOf(1), nullptr, Format(), {}, {}, TVK::Guid(1, 1), {}, {}),
                 TVK::NullInterfaceException);
}

TEST_F(PrefetcherFailures, ReadThatCannotBePostedIsNotQueued)
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

TEST_F(PrefetcherFailures, StreamThatCannotIssueLeavesADeadItem)
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

TEST_F(PrefetcherFailures, FrameThatComesWithAFailureIsNone)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = Begin(source, 5);
    source->mHasAtHand = true;
    source->mAtHandStatus = kBroken;
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_FALSE(mFrame);
    EXPECT_FALSE(IsCached(source->KeyOf(5)));
    item->CancelPrefetch();
}

TEST_F(PrefetcherFailures, ReadIsLeftToRunWhenAnExecutorIsMissing)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = Begin(source, 5);
    ML::sImageSourcePrefetcherQueue.reset();
    EXPECT_EQ(item->CancelPrefetch(), 0);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    ML::sImageSourcePrefetcherQueue = mImage;
    mVideo->RunAll();
    EXPECT_EQ(source->TakeNotes(), Notes{"read 5"});
}

TEST_F(PrefetcherFailures, CancelThatThrowsStillGivesEverythingBack)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    source->mCancelFunction = [] { throw std::runtime_error("broken"); };
    auto item = Begin(source, 5);
    EXPECT_THROW(item->CancelPrefetch(), std::runtime_error);
    EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0u);
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 0u);
    item = NewItem(source, 6);
    item->BeginPrefetch();
    EXPECT_NO_THROW(item.reset());
}

} // namespace
