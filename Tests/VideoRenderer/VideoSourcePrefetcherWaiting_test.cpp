// How items wait: for streams that rest, and for streams that read by themselves and do not deliver.
#include "VideoSourcePrefetcher.h"

#include "TVK/ContractError.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/HostCalls.h"
#include "Tests/VideoRenderer/PrefetchTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "norvik/debug/Debug.h"
#include "norvik/logging/Logging.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace
{

using namespace ML::VideoSourcePrefetcher;
using TestSupport::FakeReadSource;
using TestSupport::FakeReadSourceRef;
using TestSupport::kNotReady;
using TestSupport::LogCatcher;
using TestSupport::Notes;

class PrefetcherWaiting : public TestSupport::PrefetchTest
{
protected:
    static FakeReadSourceRef NewRestingSource()
    {
        FakeReadSourceRef source = NewSource();
        source->mRests = true;
        source->mToken = std::make_shared<int>(1);
        return source;
    }

    // Those whom the source does not count among its own.
    static long TokensOut(const FakeReadSourceRef& inSource) { return inSource->mToken.use_count() - 1; }
};

TEST_F(PrefetcherWaiting, RestingStreamIsWokenOnTheExecutorForStills)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto item = NewItem(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_EQ(source->TakeNotes(), Notes{}) << "a stream that rests is left alone";
    EXPECT_EQ(GetTableSizes().mRestingStreams, 1u);
    EXPECT_EQ(mVideo->RunAll(), 0u);
    EXPECT_EQ(mImage->RunAll(), 1u);
    EXPECT_EQ(source->TakeNotes(), Notes{"wake 0"});
    EXPECT_EQ(mWakeUps, 1);

    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    EXPECT_EQ(TokensOut(source), 1) << "awake as long as the frame is not there";
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(TokensOut(source), 0);
}

TEST_F(PrefetcherWaiting, ItemsOfARestingStreamShareOneWakingAndItsToken)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 6);
    EXPECT_EQ(mImage->RunAll(), 1u);
    EXPECT_EQ(source->TakeNotes(), Notes{"wake 0"});
    Ask(first);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 1u) << "the second has not taken its token yet";
    Ask(second);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    EXPECT_EQ(TokensOut(source), 2);
    mVideo->RunAll();
    EXPECT_EQ(Ask(first), 0);
    EXPECT_EQ(Ask(second), 0);
}

TEST_F(PrefetcherWaiting, StreamThatIsAwakeGivesItsTokenUntilTheFrameIsThere)
{
    const FakeReadSourceRef source = NewRestingSource();
    source->mRests = false;
    const auto item = Begin(source, 5);
    EXPECT_EQ(TokensOut(source), 1);
    item->CancelPrefetch();
    EXPECT_EQ(TokensOut(source), 0);
    EXPECT_EQ(mImage->RunAll(), 0u);
    mVideo->RunAll();
}

TEST_F(PrefetcherWaiting, StreamThatGivesATokenNeedNotBeWoken)
{
    const FakeReadSourceRef source = NewRestingSource();
    source->mGivesTokenAtRest = true;
    const auto item = Begin(source, 5);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    EXPECT_EQ(mVideo->RunAll(), 1u);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

TEST_F(PrefetcherWaiting, TokenIsGivenBackWithAFrameThatWasThereAlready)
{
    const FakeReadSourceRef source = NewRestingSource();
    source->mRests = false;
    Read(source, 5);
    mVideo->RunAll();
    const auto item = Begin(source, 5);
    EXPECT_EQ(TokensOut(source), 1);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(TokensOut(source), 0);
}

TEST_F(PrefetcherWaiting, CancelledItemLeavesNothingToWake)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto item = Begin(source, 5);
    item->CancelPrefetch();
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    EXPECT_EQ(mImage->RunAll(), 1u);
    EXPECT_EQ(source->TakeNotes(), Notes{}) << "the waking finds nobody who waits";
    EXPECT_EQ(mWakeUps, 0);
}

TEST_F(PrefetcherWaiting, ItemBegunTwiceWaitsOnce)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto item = Begin(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(mImage->RunAll(), 1u);
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    item->CancelPrefetch();
}

TEST_F(PrefetcherWaiting, ItemCancelledWhileTheStreamWakesIsNotToldAndKeepsNoToken)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto item = Begin(source, 5);
    source->mWakeFunction = [&]
    {
        EXPECT_TRUE(HoldsNoLock()) << "waking may take as long as it likes";
        item->CancelPrefetch();
    };
    EXPECT_EQ(mImage->RunAll(), 1u);
    EXPECT_EQ(mWakeUps, 0);
    EXPECT_EQ(TokensOut(source), 0);
    source->mWakeFunction = {};
}

TEST_F(PrefetcherWaiting, WakingThatThrowsEndsTheWait)
{
    const FakeReadSourceRef source = NewRestingSource();
    source->mWakeFunction = [] { throw std::runtime_error("gone"); };
    source->mReadFunction = [](std::int64_t, MF::IVideoFrameRef&) { return BE::kSourceStatus_BadMedia; };
    const auto item = Begin(source, 5);
    mImage->RunAll();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(item), kNotReady) << "the read will tell the cause";
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_FALSE(mFrame);
}

TEST_F(PrefetcherWaiting, FrameThatCameWhileTheStreamWokeIsNotRead)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto item = Begin(source, 5);
    VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                               source->KeyOf(5), 0);
    EXPECT_EQ(Ask(item), kNotReady) << "not looked at before the stream is awake";
    mImage->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_TRUE(mFrame);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
}

TEST_F(PrefetcherWaiting, FrameThatWentWhileTheStreamWokeIsRead)
{
    const FakeReadSourceRef source = NewRestingSource();
    VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                               source->KeyOf(5), 0);
    const auto item = Begin(source, 5);
    TestSupport::EmptyFrameCache();
    mImage->RunAll();
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_EQ(mVideo->RunAll(), 1u);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

TEST_F(PrefetcherWaiting, RestingStreamThatCannotIssueEndsTheItem)
{
    const FakeReadSourceRef source = NewRestingSource();
    source->mIsAsync = true;
    source->mIssueStatus = BE::kSourceStatus_BadMedia;
    const auto item = NewItem(source, 5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    mImage->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_FALSE(mFrame);
    EXPECT_EQ(TokensOut(source), 0);
}

TEST_F(PrefetcherWaiting, ItemThatCannotIssueWaitsForNoStreamAnyMore)
{
    const FakeReadSourceRef source = NewRestingSource();
    source->mIsAsync = true;
    source->mIssueStatus = BE::kSourceStatus_BadMedia;
    const auto item = Begin(source, 5);
    source->mRests = false;
    EXPECT_LT(item->BeginPrefetch(), 0);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    EXPECT_EQ(TokensOut(source), 0);
}

TEST_F(PrefetcherWaiting, WakingWithoutAnExecutorBreaksTheContract)
{
    const auto item = NewItem(NewRestingSource(), 5);
    ML::sImageSourcePrefetcherQueue.reset();
    EXPECT_THROW(item->BeginPrefetch(), norvik::config::Error);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    ML::sImageSourcePrefetcherQueue = mImage;
}

TEST_F(PrefetcherWaiting, WakingThatCannotBePostedIsNotWaitedFor)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto item = NewItem(source, 5);
    ML::sImageSourcePrefetcherQueue = boost::make_shared<TestSupport::FullExecutor>();
    EXPECT_THROW(item->BeginPrefetch(), std::bad_alloc);
    EXPECT_EQ(GetTableSizes().mRestingStreams, 0u);
    ML::sImageSourcePrefetcherQueue = mImage;
}

TEST_F(PrefetcherWaiting, WaitGoesOnWhileTheStreamWakes)
{
    const FakeReadSourceRef source = NewRestingSource();
    const auto item = Begin(source, 5);
    EXPECT_TRUE(item->ContinueWaitingForPrefetch(100.0));
}

TEST_F(PrefetcherWaiting, WaitEndsForAnItemThatReadsNothing)
{
    const FakeReadSourceRef source = NewSource();
    source->mNamesFrames = false;
    const auto item = Begin(source, 5);
    EXPECT_FALSE(item->ContinueWaitingForPrefetch(15.1));
}

TEST_F(PrefetcherWaiting, WaitGoesOnForAQueuedReadAndEndsWithItsFrame)
{
    const FakeReadSourceRef source = NewSource();
    const auto item = Begin(source, 5);
    EXPECT_TRUE(item->ContinueWaitingForPrefetch(15.1));
    mVideo->RunAll();
    EXPECT_FALSE(item->ContinueWaitingForPrefetch(15.2));
}

TEST_F(PrefetcherWaiting, StreamThatReadsByItselfIsOnlyWatched)
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

TEST_F(PrefetcherWaiting, LastCancelTakesTheReadOfAnAsynchronousStreamBack)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    const auto first = Begin(source, 5);
    const auto second = Begin(source, 5);
    source->TakeNotes();
    first->CancelPrefetch();
    EXPECT_EQ(source->TakeNotes(), Notes{});
    second->CancelPrefetch();
    EXPECT_EQ(source->TakeNotes(), Notes{"cancel 5"});
}

TEST_F(PrefetcherWaiting, AsynchronousStreamsFrameAtHandIsThatOfTheItemAndLeavesTheCacheAlone)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    source->mHasAtHand = true;
    const auto item = Begin(source, 5);
    const MF::IVideoFrameRef cached = TestSupport::NewFrame(Format().mPixelFormat, 8, 4);
    VF::SharedVideoFrameCache::InsertIntoCache(cached, source->KeyOf(5), 0);
    TestSupport::HostCalls::Begin(~std::size_t{0}, TestSupport::HostCalls::Fault::kNone);
    EXPECT_EQ(Ask(item), 0);
    const Notes calls = TestSupport::HostCalls::End();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "InsertIntoCache 1"), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(VF::SharedVideoFrameCache::RetrieveFromCache(source->KeyOf(5)), cached);
}

TEST_F(PrefetcherWaiting, AsynchronousStreamIsToldOfTheCancelEvenWithoutAKey)
{
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    source->mNamesFrames = false;
    const auto item = Begin(source, 5);
    item->CancelPrefetch();
    EXPECT_EQ(source->TakeNotes(), Notes{"cancel 5"});
}

constexpr char kTimeOutText[] = "We have timed out on an async source. This probably shouldn't happen and "
                                "will result in performance problems";

TEST_F(PrefetcherWaiting, AsynchronousStreamThatIsAliveIsWaitedFor)
{
    LogCatcher log;
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    const auto item = Begin(source, 5);
    source->TakeNotes();
    EXPECT_TRUE(item->ContinueWaitingForPrefetch(15.1));
    EXPECT_EQ(source->TakeNotes(), (Notes{"at-once 5", "alive 5"}));
    EXPECT_EQ(source->mElapsedSeconds, 15.1);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    EXPECT_TRUE(log.mMessages.empty());
    item->CancelPrefetch();
}

TEST_F(PrefetcherWaiting, AsynchronousStreamThatDoesNotDeliverIsReadThroughTheQueue)
{
    LogCatcher log;
    const FakeReadSourceRef source = NewSource();
    source->mIsAsync = true;
    source->mAsyncAlive = false;
    const auto item = Begin(source, 5);
    EXPECT_TRUE(item->ContinueWaitingForPrefetch(15.1));
    EXPECT_EQ(GetTableSizes().mQueuedReads, 1u);
    source->TakeNotes();

    ASSERT_EQ(log.mMessages.size(), 1u);
    const norvik::logging::LogMessage& record = log.mMessages.front();
    EXPECT_EQ(record.mLevel, 4);
    EXPECT_STREQ(record.mFile, "Src/VideoSourcePrefetcher");
    EXPECT_STREQ(record.mFunction, "ML::VideoSourcePrefetcher::`anonymous-namespace'::MediaPrefetcher::"
                                   "ContinueWaitingForPrefetch");
    EXPECT_STREQ(record.mChannel.CStr(), "norvik.StructuredLogging");
    EXPECT_EQ(record.mThreadID, norvik::threads::GetCurrentThreadID());
    EXPECT_EQ(record.mText, kTimeOutText);
    ASSERT_EQ(record.mFields.size(), 2u);
    EXPECT_EQ(record.mFields[0].first, "media");
    EXPECT_EQ(boost::any_cast<norvik::WString>(record.mFields[0].second), u"media");
    EXPECT_EQ(record.mFields[1].first, "frame");
    EXPECT_EQ(boost::any_cast<std::int64_t>(record.mFields[1].second), 5);

    EXPECT_TRUE(item->ContinueWaitingForPrefetch(15.2)) << "as any queued read";
    EXPECT_EQ(source->TakeNotes(), Notes{"at-once 5"}) << "the asynchronous face is not asked again";
    EXPECT_EQ(log.mMessages.size(), 1u);
    mVideo->RunAll();
    EXPECT_EQ(source->TakeNotes(), Notes{"read 5"});
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

TEST_F(PrefetcherWaiting, ReadAfterATimeOutIgnoresQualityAndFieldTypeOfTheItem)
{
    LogCatcher log;
    const FakeReadSourceRef source = NewSource();
    source->mRendersFrames = false;
    source->mIsAsync = true;
    source->mAsyncAlive = false;
    const auto item = NewFillItem(source, 5,
                                  {TimeOf(2), TimeOf(8), norviktypes::kRenderQuality_Low,
                                   norviktypes::kFieldType_LowerFirst, true, true, true, 0.25});
    item->BeginPrefetch();
    item->ContinueWaitingForPrefetch(15.1);
    mVideo->RunAll();
    const FakeReadSource::FillCall call = source->LastFill();
    EXPECT_EQ(call.mRangeStart, norviktypes::kTime_Zero);
    EXPECT_EQ(call.mRangeEnd, norviktypes::kTime_Zero);
    EXPECT_EQ(call.mQuality, 4);
    EXPECT_EQ(call.mFieldType, 0);
    EXPECT_TRUE(call.mIsProgressive);
    EXPECT_FALSE(call.mOptionA || call.mOptionB || call.mOptionC);
    EXPECT_EQ(call.mScale, 1.0);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
}

TEST_F(PrefetcherWaiting, TimeOutIsTracedWhereTheChannelIs)
{
    LogCatcher log;
    const auto timeOut = [&](std::int64_t inFrame)
    {
        const FakeReadSourceRef source = NewSource();
        source->mIsAsync = true;
        source->mAsyncAlive = false;
        const auto item = NewItem(source, inFrame);
        item->BeginPrefetch();
        item->ContinueWaitingForPrefetch(15.1);
        mVideo->RunAll();
        item->CancelPrefetch();
    };
    timeOut(1);
    EXPECT_EQ(log.mMessages.size(), 1u) << "the record alone";
    norvik::debug::SetTraceLevel("norvik.StructuredLogging", 5);
    log.mMessages.clear();
    timeOut(2);
    ASSERT_EQ(log.mMessages.size(), 2u);
    const norvik::UTF8String expected =
        norvik::UTF8String("<") + std::to_string(norvik::threads::GetCurrentThreadID()).c_str() +
        "> <norvik.StructuredLogging><5>" + kTimeOutText + ", media: media, frame: 2";
    EXPECT_EQ(log.mMessages[1].mText, expected);
    norvik::debug::SetTraceLevel("norvik.StructuredLogging", 4);
    log.mMessages.clear();
    timeOut(3);
    EXPECT_EQ(log.mMessages.size(), 1u);
}

} // namespace
