#include "MF/PixelFormats.h"
#include "Tests/Support/Fakes/FakeDataCache.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Paths.h"
#include "Tests/VideoRenderer/HostCalls.h"
#include "Tests/VideoRenderer/PrefetchTests.h"
#include "VF/PNG.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_DiskCache.h"
#include "VideoSourcePrefetcher.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

using namespace ML::VideoSourcePrefetcher;
using TestSupport::FakeDataCache;
using TestSupport::FakeReadSourceRef;
using TestSupport::kNotReady;
using TestSupport::Notes;

constexpr std::uint32_t kDisk = kPrefetchFlag_DiskCache;

class PrefetcherDiskCache : public TestSupport::PrefetchTest
{
protected:
    PrefetcherDiskCache() : mCache(std::make_shared<FakeDataCache>()), mSource(NewSource())
    {
        UseDiskCache(mCache);
    }
    ~PrefetcherDiskCache() override { CloseDiskCache(); }

    std::string EntryOf(std::int64_t inFrame) const
    {
        return mSource->KeyOf(inFrame).AsUTF8String().c_str() + std::string(".png");
    }

    // As if an earlier run had written it.
    void Store(std::int64_t inFrame)
    {
        const MF::IVideoFrameRef frame =
            TestSupport::NewFilledFrame(MF::kPixelFormat_BGRA_4444_8u, 8, 4, {9, 9, 9, 9});
        const auto number = static_cast<std::int32_t>(inFrame);
        std::memcpy(TestSupport::RowOf(frame, 0), &number, sizeof(number));
        mCache->mEntries[EntryOf(inFrame)] = VF::CompressPNG(frame);
    }

    std::shared_ptr<FakeDataCache> mCache;
    const FakeReadSourceRef mSource;
};

TEST_F(PrefetcherDiskCache, StoredFrameIsReadInPlaceOfItsMedia)
{
    Store(5);
    const auto item = NewItem(mSource, 5, kDisk);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(mCache->mAsked, std::vector<std::string>{EntryOf(5)});
    EXPECT_EQ(Ask(item), kNotReady);
    mCache->FinishRead();
    EXPECT_TRUE(IsCached(mSource->KeyOf(5)));
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(mSource->TakeNotes(), Notes{}) << "the media is not asked for anything";
    mRender->RunAll();
    EXPECT_TRUE(mCache->mWritten.empty()) << "what came from the disk is not written again";
    EXPECT_EQ(mWakeUps, 0) << "the shared cache tells of frames";
}

TEST_F(PrefetcherDiskCache, FrameThatIsNotStoredIsReadFromItsMediaAndStored)
{
    const auto item = Begin(mSource, 5, kDisk);
    EXPECT_EQ(mCache->mAsked.size(), 1u);
    mVideo->RunAll();
    EXPECT_EQ(mSource->TakeNotes(), Notes{"read 5"});
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_TRUE(mCache->mWritten.empty()) << "compressed on a render executor, not by who asks";
    EXPECT_EQ(mRender->RunAll(), 1u);
    EXPECT_EQ(mCache->mWritten, std::vector<std::string>{EntryOf(5)});
    EXPECT_EQ(NumberOf(VF::DecompressPNG(mCache->mEntries[EntryOf(5)])), 5);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mRender->RunAll(), 0u) << "once";
}

TEST_F(PrefetcherDiskCache, FrameInTheSharedCacheIsNotAskedOfTheDisk)
{
    Store(5);
    Read(mSource, 5);
    mVideo->RunAll();
    const auto item = Begin(mSource, 5, kDisk);
    EXPECT_TRUE(mCache->mAsked.empty());
    EXPECT_EQ(Ask(item), 0);
}

TEST_F(PrefetcherDiskCache, FailedReadOfAnEntryWakesTheQueueAndEndsNothing)
{
    mCache->mAcceptsAll = true;
    const auto item = Begin(mSource, 5, kDisk);
    mCache->FinishRead();
    EXPECT_EQ(mWakeUps, 1);
    EXPECT_EQ(Ask(item), kNotReady) << "the time-out of the queue lets the request go";
    EXPECT_FALSE(item->ContinueWaitingForPrefetch(15.1));
    EXPECT_EQ(mSource->TakeNotes(), Notes{});
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
}

TEST_F(PrefetcherDiskCache, EntryThatIsNoPictureWakesNobody)
{
    const auto bytes = norvik::utility::RecycledMemory::Create();
    bytes->Allocate(100);
    std::memset(bytes->Buffer(), 0x5A, 100);
    mCache->mEntries[EntryOf(5)] = bytes;
    const auto item = Begin(mSource, 5, kDisk);
    mCache->FinishRead();
    EXPECT_EQ(mWakeUps, 0) << "the read itself succeeded, and that is what is told";
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_FALSE(item->ContinueWaitingForPrefetch(15.1));
    EXPECT_FALSE(IsCached(mSource->KeyOf(5)));
}

TEST_F(PrefetcherDiskCache, HandlerOfAFailureGetsTheStatusOfTheRead)
{
    const auto bytes = norvik::utility::RecycledMemory::Create();
    bytes->Allocate(100);
    std::memset(bytes->Buffer(), 0x5A, 100);
    mCache->mEntries[EntryOf(1)] = bytes;
    Store(2);
    mCache->mAcceptsAll = true;
    std::vector<std::pair<std::int64_t, std::int32_t>> told;
    for (const std::int64_t frame : {1, 2, 3})
    {
        EXPECT_TRUE(BeginDiskCacheRead(mSource->KeyOf(frame), [&told, frame](std::int32_t inStatus)
                                       { told.emplace_back(frame, inStatus); }));
        mCache->FinishRead();
    }
    ASSERT_EQ(told.size(), 2u) << "the picture is no failure";
    EXPECT_EQ(told[0], std::pair(std::int64_t{1}, std::int32_t{0})) << "the bytes were read";
    EXPECT_EQ(told[1].first, 3);
    EXPECT_LT(told[1].second, 0);
}

TEST_F(PrefetcherDiskCache, FramesFromTheDiskStayLonger)
{
    Store(5);
    Begin(mSource, 5, kDisk);
    mCache->FinishRead();
    TestSupport::SetFrameCacheBudget(2 * TestSupport::FrameCacheBytes()); // for two frames
    for (std::uint64_t other = 0; other < 4; ++other)
    {
        VF::SharedVideoFrameCache::InsertIntoCache(TestSupport::NewFrame(Format().mPixelFormat, 8, 4),
                                                   TVK::Guid(99, other + 1), 9);
    }
    EXPECT_FALSE(IsCached(TVK::Guid(99, 1)));
    EXPECT_TRUE(IsCached(mSource->KeyOf(5)));
    TestSupport::SetFrameCacheBudget(TestSupport::kUsualFrameCacheBudget);
}

TEST_F(PrefetcherDiskCache, ItemWhoseMediaFailedBeginsAgainWithoutTheDisk)
{
    mSource->mReadFunction = [](std::int64_t, MF::IVideoFrameRef&) { return BE::kSourceStatus_BadMedia; };
    const auto item = Begin(mSource, 5, kDisk);
    mVideo->RunAll();
    Store(5);
    item->BeginPrefetch();
    EXPECT_EQ(mCache->Pending(), 1u);
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_EQ(mCache->mAsked.size(), 2u) << "not asked a third time";
    EXPECT_EQ(Ask(item), 0);
    EXPECT_FALSE(mFrame);
    mCache->FinishRead();
}

TEST_F(PrefetcherDiskCache, ItemThatCannotBeginAgainEndsWithoutAFrame)
{
    // Its status is that of a stream which was read on an executor before it read by itself.
    mSource->mReadFunction = [](std::int64_t, MF::IVideoFrameRef&) { return BE::kSourceStatus_BadMedia; };
    const auto reader = Begin(mSource, 5);
    mSource->mIsAsync = true;
    const auto item = Begin(mSource, 5, kDisk);
    mVideo->RunAll();
    item->CancelPrefetch();
    reader->CancelPrefetch();
    mSource->mIssueStatus = BE::kSourceStatus_BadMedia;
    Store(5);
    EXPECT_EQ(item->BeginPrefetch(), 0);
    EXPECT_EQ(mCache->Pending(), 1u);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_FALSE(mFrame);
    mCache->FinishRead();
}

TEST_F(PrefetcherDiskCache, OnlyItemsWithTheFlagUseTheDisk)
{
    Store(5);
    const auto item = Begin(mSource, 5, 31);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mRender->RunAll(), 0u);
    EXPECT_TRUE(mCache->mAsked.empty());
}

TEST_F(PrefetcherDiskCache, StillsNeverUseTheDisk)
{
    Store(5);
    mSource->mKind = MF::kSourceKind_Still;
    const auto item = Begin(mSource, 5, kDisk);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mRender->RunAll(), 0u);
    EXPECT_TRUE(mCache->mAsked.empty());
}

TEST_F(PrefetcherDiskCache, FramesWithoutAKeyNeverUseTheDisk)
{
    mCache->mAcceptsAll = true;
    mSource->mNamesFrames = false;
    mSource->mHasAtHand = true;
    const auto item = Begin(mSource, 5, kDisk);
    EXPECT_EQ(Ask(item), kNotReady);
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mRender->RunAll(), 0u);
    EXPECT_TRUE(mCache->mAsked.empty());
}

TEST_F(PrefetcherDiskCache, AsynchronousStreamsFrameFromTheDiskIsFound)
{
    Store(5);
    mSource->mIsAsync = true;
    const auto item = Begin(mSource, 5, kDisk);
    mCache->FinishRead();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(mSource->TakeNotes(), Notes{});
}

TEST_F(PrefetcherDiskCache, FrameThatPNGCannotHoldIsNotWritten)
{
    mSource->mReadFunction = [](std::int64_t, MF::IVideoFrameRef& ioFrame)
    {
        ioFrame = TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_32f, 8, 4);
        return 0;
    };
    const auto item = Begin(mSource, 5, kDisk);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mRender->RunAll(), 1u);
    EXPECT_TRUE(mCache->mWritten.empty());
}

TEST_F(PrefetcherDiskCache, WriteThatWasPostedBeforeTheEndDoesNothingAfterwards)
{
    const auto item = Begin(mSource, 5, kDisk);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    const std::weak_ptr<FakeDataCache> cache = mCache;
    mCache.reset();
    StopPrefetchers();
    EXPECT_TRUE(cache.expired()) << "closed by who stops the library";
    EXPECT_FALSE(DiskCacheIsOpen());
    EXPECT_EQ(mRender->RunAll(), 1u);
}

TEST_F(PrefetcherDiskCache, ReadThatIsUnderWayKeepsItsItem)
{
    Store(5);
    auto item = Begin(mSource, 5, kDisk);
    item.reset();
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 1u);
    mCache->FinishRead();
    EXPECT_EQ(TestSupport::AnnouncedKeys(), 0u);
    EXPECT_TRUE(IsCached(mSource->KeyOf(5)));
}

TEST_F(PrefetcherDiskCache, FrameIsDeliveredThoughItsWriteCannotBePosted)
{
    const auto item = Begin(mSource, 5, kDisk);
    mVideo->RunAll();
    ML::sNormalPriorityRenderQueue = boost::make_shared<TestSupport::FullExecutor>();
    EXPECT_EQ(Ask(item), 0);
    EXPECT_EQ(mFrameNumber, 5);
    ML::sNormalPriorityRenderQueue.reset();
    const auto other = Begin(mSource, 6, kDisk);
    mVideo->RunAll();
    EXPECT_EQ(Ask(other), 0) << "nor without an executor";
}

TEST_F(PrefetcherDiskCache, OnlyTheExactTextTrueTurnsItOn)
{
    CloseDiskCache();
    norvik::debug::DebugDatabase& settings = norvik::debug::DebugDatabase::Instance();
    for (const char* text : {"", "false", "TRUE", "True", "true ", "1", "yes"})
    {
        settings.SetEntry("ML.EnableDiskCache", text);
        StartPrefetchers();
        EXPECT_FALSE(DiskCacheIsOpen()) << text;
    }
    settings.ClearEntry("ML.EnableDiskCache");
    StartPrefetchers();
    EXPECT_FALSE(DiskCacheIsOpen()) << "off unless somebody turns it on";
}

// The host's own cache, in a directory of the test's.
class PrefetcherHostDiskCache : public PrefetcherDiskCache
{
protected:
    PrefetcherHostDiskCache()
    {
        CloseDiskCache();
        setenv("XDG_CACHE_HOME", mFolder.Path().c_str(), 1);
        norvik::debug::DebugDatabase::Instance().SetEntry("ML.EnableDiskCache", "true");
    }
    ~PrefetcherHostDiskCache() override
    {
        CloseDiskCache();
        norvik::debug::DebugDatabase::Instance().ClearEntry("ML.EnableDiskCache");
        unsetenv("XDG_CACHE_HOME");
    }

    const TestSupport::ScratchFolder mFolder;
};

TEST_F(PrefetcherHostDiskCache, FrameOfAnEarlierRunIsReadFromTheDisk)
{
    StartPrefetchers();
    ASSERT_TRUE(DiskCacheIsOpen());
    const auto item = Begin(mSource, 5, kDisk);
    mVideo->RunAll();
    EXPECT_EQ(Ask(item), 0);
    mRender->RunAll();
    item->CancelPrefetch();
    CloseDiskCache(); // finishes the write
    EXPECT_TRUE(std::filesystem::is_directory(mFolder.File("VideoRenderer/ThumbnailCache")));
    TestSupport::EmptyFrameCache();
    mSource->TakeNotes();

    StartPrefetchers();
    const auto again = NewItem(mSource, 5, kDisk);
    EXPECT_EQ(again->BeginPrefetch(), 0);
    EXPECT_EQ(GetTableSizes().mQueuedReads, 0u);
    CloseDiskCache(); // finishes the read
    EXPECT_EQ(Ask(again), 0);
    EXPECT_EQ(mFrameNumber, 5);
    EXPECT_EQ(mSource->TakeNotes(), Notes{});
}

TEST_F(PrefetcherHostDiskCache, HostWithoutADirectoryHasNone)
{
    const std::string home = getenv("HOME") != nullptr ? getenv("HOME") : "";
    unsetenv("XDG_CACHE_HOME");
    unsetenv("HOME");
    StartPrefetchers();
    EXPECT_FALSE(DiskCacheIsOpen());
    setenv("HOME", home.c_str(), 1);
}

TEST_F(PrefetcherHostDiskCache, HostMustHaveABackend)
{
    namespace HostCalls = TestSupport::HostCalls;
    HostCalls::Begin(0, HostCalls::Fault::kNothing);
    EXPECT_THROW(StartPrefetchers(), TVK::NullInterfaceException);
    EXPECT_EQ(HostCalls::End(), Notes{"GetBackend 1"});
    EXPECT_FALSE(DiskCacheIsOpen());
}

} // namespace
