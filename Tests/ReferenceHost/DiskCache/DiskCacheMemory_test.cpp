#include "ReferenceHost/DiskCache/ManagedDirectory.h"
#include "Tests/ReferenceHost/DiskCache/CacheTests.h"
#include "Tests/Support/FailingOperatorNew.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>

using namespace TestSupport;
using MF::DiskCacheManager::ManagedDirectory;

namespace
{

constexpr std::size_t kSize = 500;

// Runs inWork with every one of its allocations failing in turn; what it throws is the failure of memory alone.
void FailAtEach(const std::function<void(long inCount)>& inWork,
                const std::function<void(long inCount)>& inCheck)
{
    for (const bool forEver : {false, true})
    {
        long count = 0;
        do
        {
            ++count;
            FailingMemory::FailAt(count, forEver);
            try
            {
                inWork(count);
            }
            catch (const std::bad_alloc&)
            {
                // The caller's to notice.
            }
            FailingMemory::Stop();
            inCheck(count);
            ASSERT_LT(count, 1000);
        } while (FailingMemory::sHasFailed && !testing::Test::HasFailure());
        EXPECT_GT(count, 2);
    }
}

// That every file is an entry, and that what is known fits what is there.
void ExpectSound(ManagedDirectory& inDirectory, const std::string& inPath)
{
    EXPECT_TRUE(inDirectory.Verify().empty());
    EXPECT_EQ(inDirectory.Strangers(), std::vector<std::string>{});
    const auto fresh = ManagedDirectory::Open(inPath, inDirectory.LimitBytes(), false);
    inDirectory.Look();
    EXPECT_EQ(inDirectory.TotalBytes(), fresh->TotalBytes());
    EXPECT_EQ(inDirectory.List().size(), fresh->List().size());
}

} // namespace

TEST(DiskCacheMemory, EntryIsStoredWholeOrNotAtAllWhateverAllocationFails)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("cache");
    // Room for six, so that entries are removed as well.
    const auto directory =
        ManagedDirectory::Open(path, 6 * DiskCache::FileSizeOf(NameOf(1000), kSize), false);
    std::uint64_t number = 1000;
    CachedBytes bytes = BytesOf(number, kSize);
    DiskCache::EntryName name = NameOf(number);
    bool isStored = false;
    FailAtEach(
        [&](long)
        {
            isStored = false;
            isStored = directory->Store(name, *bytes);
        },
        [&](long inCount)
        {
            ExpectSound(*directory, path);
            if (isStored)
            {
                EXPECT_TRUE(AreBytesOf(ReadOf(*directory, name), number, kSize)) << inCount;
            }
            EXPECT_LE(directory->TotalBytes(), directory->LimitBytes() + DiskCache::FileSizeOf(name, kSize));
            bytes = BytesOf(++number, kSize);
            name = NameOf(number);
        });
    EXPECT_TRUE(isStored) << "with all memory";
}

TEST(DiskCacheMemory, EntryIsReadRightOrNotAtAllWhateverAllocationFails)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("cache");
    const auto directory = ManagedDirectory::Open(path, std::uint64_t{1} << 30, false);
    ASSERT_TRUE(directory->Store(NameOf(1), *BytesOf(1, kSize)));
    const DiskCache::EntryName name = NameOf(1);
    CachedBytes bytes;
    FailAtEach(
        [&](long)
        {
            bytes.reset();
            DiskCache::OpenedEntry entry;
            if (directory->OpenEntry(name, entry))
            {
                bytes = entry.Read();
            }
        },
        [&](long)
        {
            EXPECT_TRUE(!bytes || AreBytesOf(bytes, 1, kSize));
            ExpectSound(*directory, path);
            EXPECT_TRUE(AreBytesOf(ReadOf(*directory, name), 1, kSize)) << "it is still there";
        });
}
