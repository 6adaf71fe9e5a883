#include "MF/DataCache.h"

#include "Tests/ReferenceHost/DiskCache/CacheTests.h"
#include "Tests/Support/Paths.h"
#include "norvik/debug/Debug.h"
#include "norvik/logging/Logging.h"
#include "norvik/threads/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

using namespace TestSupport;
using MF::DataCache;
using MF::DiskCacheManager::ManagedDirectory;
using norvik::utility::ImmutableString;

namespace
{

constexpr std::size_t kSize = 1000;

using Cache = std::shared_ptr<DataCache>;

ImmutableString KeyText(std::uint64_t inNumber)
{
    return Text("entry-" + std::to_string(inNumber));
}

struct Answer
{
    std::int32_t mStatus = 0;
    std::string mName;
    std::string mTag;
    CachedBytes mBytes;
    std::thread::id mThread;
};

class DataCacheTest : public testing::Test
{
protected:
    Cache Open(bool inClear = false)
    {
        return MF::CreateDataCacheInFilesystemAndManageDirectory(Text(mPath), mDirectory, inClear);
    }

    // Reads and waits; the status of ReadEntry itself if it is negative.
    static Answer Read(DataCache& inCache, const ImmutableString& inName, const ImmutableString& inTag)
    {
        std::promise<Answer> promise;
        TVK::TVKUnknownRef handle;
        const std::int32_t status = inCache.ReadEntry(
            inName, inTag,
            [&](std::int32_t inStatus, const ImmutableString& inEntry, const ImmutableString& inEntryTag,
                const CachedBytes& inBytes)
            {
                promise.set_value({inStatus, std::string(inEntry.View()), std::string(inEntryTag.View()),
                                   inBytes, std::this_thread::get_id()});
            },
            handle);
        return status < 0 ? Answer{status, {}, {}, {}, {}} : promise.get_future().get();
    }

    std::string FileOf(std::uint64_t inNumber) const { return mPath + "/" + NameOf(inNumber).FileName(); }

    ScratchFolder mScratch;
    const std::string mPath = mScratch.File("cache");
    const ImmutableString mTag = Text("png");
    std::shared_ptr<ManagedDirectory> mDirectory;
};

} // namespace

TEST_F(DataCacheTest, LetsGoOnlyWhenAllIsWrittenAndTheNextOneReadsIt)
{
    Cache cache = Open();
    for (std::uint64_t number = 0; number < 20; ++number)
    {
        cache->WriteEntry(KeyText(number), mTag, BytesOf(number, kSize));
    }
    cache.reset();
    mDirectory.reset();
    cache = Open();
    for (std::uint64_t number = 0; number < 20; ++number)
    {
        const Answer answer = Read(*cache, KeyText(number), mTag);
        EXPECT_EQ(answer.mStatus, 0);
        EXPECT_TRUE(AreBytesOf(answer.mBytes, number, kSize));
        EXPECT_EQ(answer.mName, KeyText(number).CStr());
        EXPECT_EQ(answer.mTag, "png");
        EXPECT_NE(answer.mThread, std::this_thread::get_id());
    }
}

TEST_F(DataCacheTest, LetsGoOnlyWhenAllReadsAreAnswered)
{
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    Cache cache = Open();
    std::atomic<int> answers{0};
    TVK::TVKUnknownRef handle;
    for (int read = 0; read < 50; ++read)
    {
        ASSERT_EQ(cache->ReadEntry(
                      KeyText(1), mTag,
                      [&](std::int32_t, const auto&, const auto&, const auto&) { ++answers; }, handle),
                  0);
    }
    cache.reset();
    EXPECT_EQ(answers, 50);
}

TEST_F(DataCacheTest, WhatACompletionWritesAtTheEndIsWritten)
{
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    Cache cache = Open();
    DataCache* const writer = cache.get();
    TVK::TVKUnknownRef handle;
    for (std::uint64_t number = 2; number < 50; ++number)
    {
        ASSERT_EQ(cache->ReadEntry(
                      KeyText(1), mTag,
                      [&, number](std::int32_t, const auto&, const auto&, const auto&)
                      { writer->WriteEntry(KeyText(number), mTag, BytesOf(number, kSize)); },
                      handle),
                  0);
    }
    cache.reset();
    for (std::uint64_t number = 2; number < 50; ++number)
    {
        EXPECT_TRUE(Exists(FileOf(number))) << number;
    }
}

TEST_F(DataCacheTest, MayBeLetGoByItsOwnCompletion)
{
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    Cache cache = Open();
    const std::weak_ptr<DataCache> watch = cache;
    auto last = std::make_shared<Cache>(cache);
    std::promise<void> isLast;
    std::promise<void> end;
    TVK::TVKUnknownRef handle;
    ASSERT_EQ(cache->ReadEntry(
                  KeyText(1), mTag,
                  [&, last](std::int32_t, const auto&, const auto&, const auto&)
                  {
                      isLast.get_future().wait();
                      last->reset();
                      end.set_value();
                  },
                  handle),
              0);
    cache.reset();
    isLast.set_value();
    end.get_future().wait();
    EXPECT_TRUE(watch.expired());
}

TEST_F(DataCacheTest, UnknownEntryIsRefusedAtOnceAndNobodyIsCalled)
{
    bool isCalled = false;
    {
        const Cache cache = Open();
        TVK::TVKUnknownRef handle;
        for (const char* const name : {"entry-1", "", "../entry", "a/b"})
        {
            EXPECT_EQ(cache->ReadEntry(
                          Text(name), mTag,
                          [&](std::int32_t, const auto&, const auto&, const auto&) { isCalled = true; },
                          handle),
                      MF::kDataCache_NotFound);
        }
        EXPECT_FALSE(handle);
    }
    EXPECT_FALSE(isCalled);
}

TEST_F(DataCacheTest, EntryIsFoundUnderItsTagOnly)
{
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    EXPECT_EQ(Read(*Open(), KeyText(1), Text("gif")).mStatus, MF::kDataCache_NotFound);
    EXPECT_EQ(Read(*Open(), KeyText(1), mTag).mStatus, 0);
}

// Not at once, as others' entries are looked for now and then only.
TEST_F(DataCacheTest, EntryThatAnotherProcessWroteIsFoundByAskingForIt)
{
    const Cache cache = Open();
    ASSERT_TRUE(MF::DiskCacheManager::ManagedDirectory::Open(mPath, 1 << 20, false)
                    ->Store(NameOf(1), *BytesOf(1, 100)));
    Answer answer;
    do
    {
        std::this_thread::yield();
        answer = Read(*cache, Text(NameOf(1).mName), Text(NameOf(1).mTag));
    } while (answer.mStatus == MF::kDataCache_NotFound);
    EXPECT_TRUE(AreBytesOf(answer.mBytes, 1, 100));
}

TEST_F(DataCacheTest, EntryOfAnotherMakerIsRefusedAtOnceAndMadeAnew)
{
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    DiskCache::SetMaker("of tomorrow");
    mDirectory.reset();
    EXPECT_EQ(Read(*Open(), KeyText(1), mTag).mStatus, MF::kDataCache_NotFound);
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(2, kSize));
    EXPECT_TRUE(AreBytesOf(Read(*Open(), KeyText(1), mTag).mBytes, 2, kSize));
    DiskCache::SetMaker("");
}

TEST_F(DataCacheTest, DamagedEntryIsToldInTheCompletionAndDropped)
{
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    std::string file = ReadFile(FileOf(1));
    file[10] = static_cast<char>(file[10] + 1);
    WriteFile(FileOf(1), file);
    const Cache cache = Open();
    const Answer answer = Read(*cache, KeyText(1), mTag);
    EXPECT_EQ(answer.mStatus, MF::kDataCache_Damaged);
    EXPECT_EQ(answer.mName, "entry-1");
    EXPECT_FALSE(answer.mBytes);
    EXPECT_FALSE(Exists(FileOf(1)));
    EXPECT_EQ(Read(*cache, KeyText(1), mTag).mStatus, MF::kDataCache_NotFound);
}

TEST_F(DataCacheTest, TornEntryIsRefusedAtOnce)
{
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    WriteFile(FileOf(1), ReadFile(FileOf(1)).substr(0, 500));
    EXPECT_EQ(Read(*Open(), KeyText(1), mTag).mStatus, MF::kDataCache_NotFound);
    EXPECT_FALSE(Exists(FileOf(1)));
}

TEST_F(DataCacheTest, EmptyBytesAreNotWritten)
{
    Open()->WriteEntry(KeyText(1), mTag, nullptr);
    Open()->WriteEntry(KeyText(2), mTag, BytesOf(2, 0));
    EXPECT_TRUE(mDirectory->List().empty());
}

TEST_F(DataCacheTest, EntryLargerThanWhatMayWaitIsLeftOut)
{
    constexpr std::size_t kMost = 64 << 20;
    const auto bytes = norvik::utility::RecycledMemory::Create();
    bytes->Allocate(kMost + 1);
    Open()->WriteEntry(KeyText(1), mTag, bytes);
    EXPECT_FALSE(Exists(FileOf(1)));
    bytes->Allocate(kMost);
    Open()->WriteEntry(KeyText(2), mTag, bytes);
    EXPECT_TRUE(Exists(FileOf(2)));
    Open()->WriteEntry(KeyText(3), mTag, BytesOf(3, kSize)); // what waited has gone
    EXPECT_TRUE(Exists(FileOf(3)));
}

TEST_F(DataCacheTest, ThrowingCompletionHurtsNobodyElse)
{
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
    Open()->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    const Cache cache = Open();
    TVK::TVKUnknownRef handle;
    cache->ReadEntry(
        KeyText(1), mTag, [](std::int32_t, const auto&, const auto&, const auto&) { throw 1; }, handle);
    EXPECT_TRUE(Read(*cache, KeyText(1), mTag).mBytes);
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
}

TEST_F(DataCacheTest, DirectoryIsHandedOutAndTakenBack)
{
    const Cache first = Open();
    ASSERT_TRUE(mDirectory);
    EXPECT_EQ(mDirectory->Path(), mPath);
    const auto given = mDirectory;
    const Cache second =
        MF::CreateDataCacheInFilesystemAndManageDirectory(Text("/nowhere/else"), mDirectory, false);
    EXPECT_EQ(mDirectory, given);
    first->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    while (mDirectory->List().empty())
    {
        std::this_thread::yield();
    }
    EXPECT_TRUE(Read(*second, KeyText(1), mTag).mBytes);
    Open(true);
    EXPECT_EQ(Read(*second, KeyText(1), mTag).mStatus, MF::kDataCache_NotFound);
}

TEST_F(DataCacheTest, UnusableDirectoryGivesAnEmptyCache)
{
    std::vector<std::string> told;
    norvik::logging::SetLogSink([&](const auto& inMessage)
                                { told.push_back(std::string(std::string_view(inMessage->mText))); },
                                true);
    WriteFile(mPath, "a file");
    const Cache cache = Open();
    ASSERT_TRUE(cache);
    cache->WriteEntry(KeyText(1), mTag, BytesOf(1, kSize));
    EXPECT_EQ(Read(*cache, KeyText(1), mTag).mStatus, MF::kDataCache_NotFound);
    EXPECT_NE(mDirectory->WhyNot(), "");
    norvik::logging::SetLogSink({});
    EXPECT_EQ(told, std::vector<std::string>{"No disk cache in " + mDirectory->WhyNot()});
}

TEST_F(DataCacheTest, LimitComesFromTheSettings)
{
    const char* const kSetting = "DiskCache.LimitMegabytes";
    auto& settings = norvik::debug::DebugDatabase::Instance();
    const auto limitFor = [&](const char* inText)
    {
        settings.SetEntry(kSetting, inText);
        mDirectory.reset();
        Open();
        return mDirectory->LimitBytes() >> 20;
    };
    EXPECT_EQ(limitFor("7"), 7u);
    EXPECT_EQ(limitFor("0"), 0u);
    for (const char* const text : {"", "x", "7x", "-1", "99999999999999999999", "17592186044416"})
    {
        EXPECT_EQ(limitFor(text), 2048u) << text;
    }
    settings.ClearEntry(kSetting);
}
