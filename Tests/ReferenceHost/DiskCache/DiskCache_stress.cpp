#include "MF/DataCache.h"
#include "ReferenceHost/DiskCache/ManagedDirectory.h"
#include "Tests/ReferenceHost/DiskCache/CacheTests.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <csignal>
#include <new>
#include <random>
#include <thread>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace TestSupport;
using MF::DataCache;
using MF::DiskCacheManager::ManagedDirectory;

namespace
{

using std::chrono::steady_clock;

constexpr std::uint64_t kNames = 12;
constexpr std::chrono::seconds kLongest(40); // for what a fast disk does in a few

std::size_t SizeOf(std::uint64_t inNumber)
{
    return 3000 + inNumber * 9000;
}

// What a child tells its parent while it lives.
class SharedCount
{
public:
    SharedCount()
        : mCount(::mmap(nullptr, sizeof(Count), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (mCount == MAP_FAILED)
        {
            throw std::bad_alloc();
        }
        new (mCount) Count(0);
    }
    ~SharedCount() { ::munmap(mCount, sizeof(Count)); }
    SharedCount(const SharedCount&) = delete;
    SharedCount& operator=(const SharedCount&) = delete;

    void Add() const { ++*static_cast<Count*>(mCount); }
    std::uint64_t Take() const { return static_cast<Count*>(mCount)->exchange(0); }

private:
    using Count = std::atomic<std::uint64_t>;
    static_assert(Count::is_always_lock_free);
    void* const mCount;
};

// Writes, reads and clears until it is killed. A child of a program without other threads, so that all of the
// library may be used.
[[noreturn]] void WriteForEver(const std::string& inPath, std::uint64_t inLimit, const SharedCount& ioWritten)
{
    for (std::uint64_t round = 0;; ++round)
    {
        const auto directory = ManagedDirectory::Open(inPath, inLimit, round % 3 == 2);
        for (std::uint64_t number = 0; number < kNames; ++number)
        {
            directory->Store(NameOf(number), *BytesOf(number, SizeOf(number)));
            ioWritten.Add();
            ReadOf(*directory, NameOf(number));
        }
    }
}

// Reads all that can be seen; how many entries there were. A torn one that can be opened is a failure.
std::size_t CheckAll(ManagedDirectory& inDirectory)
{
    std::size_t found = 0;
    for (std::uint64_t number = 0; number < kNames; ++number)
    {
        DiskCache::OpenedEntry entry;
        if (inDirectory.OpenEntry(NameOf(number), entry))
        {
            ++found;
            EXPECT_TRUE(AreBytesOf(entry.Read(), number, SizeOf(number))) << number;
        }
    }
    return found;
}

class Child
{
public:
    Child(const std::string& inPath, std::uint64_t inLimit, const SharedCount& ioWritten) : mID(::fork())
    {
        if (mID == 0)
        {
            WriteForEver(inPath, inLimit, ioWritten);
        }
    }
    ~Child()
    {
        ::kill(mID, SIGKILL);
        int status = 0;
        ::waitpid(mID, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL); // and by nothing of its own
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

private:
    const pid_t mID;
};

// Whether each file is whole, the mark included, looked at without anything that would repair it.
void ExpectOnlyWholeFiles(const std::string& inPath)
{
    for (const std::string& file : FilesIn(inPath))
    {
        DiskCache::EntryName name;
        if (!DiskCache::EntryName::FromFileName(file, name))
        {
            continue;
        }
        const std::string content = ReadFile(inPath + "/" + file);
        const std::uint64_t number = std::stoull(name.mName.substr(6));
        EXPECT_EQ(content.size(), DiskCache::FileSizeOf(name, SizeOf(number))) << file;
        EXPECT_EQ(content.substr(content.size() - 8), "VRCACHE2") << file;
    }
}

} // namespace

TEST(DiskCacheStress, KilledWriterNeverShowsATornEntry)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("cache");
    std::mt19937_64 random(Seed());
    std::size_t found = 0;
    std::size_t unfinished = 0;
    const std::size_t kills = ScaledCount(500);
    const std::size_t fewest = std::max<std::size_t>(1, kills / 20); // or nothing was looked at
    const SharedCount written;
    std::uint64_t life = 12000; // microseconds, at most; in which a child writes something
    const auto end = steady_clock::now() + kLongest;
    std::size_t kill = 0;
    for (; (kill < kills && steady_clock::now() < end) || found < fewest || unfinished < fewest; ++kill)
    {
        if (HasFailure())
        {
            break;
        }
        const std::uint64_t age = random() % life;
        {
            const Child child(path, std::uint64_t{1} << 30, written);
            std::this_thread::sleep_for(std::chrono::microseconds(age));
        }
        // However slow the disk and the machine are, some children shall get as far as that.
        life *= written.Take() == 0 && age > life / 2 ? 2 : 1;
        if (!Exists(path))
        {
            continue; // killed before it made the directory
        }
        ExpectOnlyWholeFiles(path);
        for (const std::string& file : FilesIn(path))
        {
            unfinished += file.rfind(".unfinished-", 0) == 0 ? 1 : 0;
        }
        const auto directory = ManagedDirectory::Open(path, std::uint64_t{1} << 30, false);
        EXPECT_EQ(directory->WhyNot(), "");
        found += CheckAll(*directory);
        EXPECT_TRUE(directory->Verify().empty());
        for (const std::string& file : FilesIn(path))
        {
            EXPECT_NE(file.rfind(".unfinished-", 0), 0u) << file;
        }
        // What is there isn't written again: a child that finds all of it may never live to write anything.
        if (kill % 4 == 0)
        {
            directory->Clear();
        }
    }
    std::printf("%zu kills: %zu entries seen, %zu unfinished files\n", kill, found, unfinished);
}

TEST(DiskCacheStress, ProcessesShareADirectory)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("cache");
    std::uint64_t limit = 0;
    for (std::uint64_t number = 0; number < kNames; ++number)
    {
        limit += DiskCache::FileSizeOf(NameOf(number), SizeOf(number));
    }
    limit /= 2; // so that they take room from each other
    const auto directory = ManagedDirectory::Open(path, limit, false);
    const SharedCount written;
    const Child first(path, limit, written);
    const Child second(path, limit, written);
    const auto end = steady_clock::now() + std::chrono::seconds(3);
    std::size_t found = 0;
    while ((steady_clock::now() < end || found < 10) && !HasFailure()) // a slow disk has none at first
    {
        directory->Look();
        found += CheckAll(*directory);
    }
}

TEST(DiskCacheStress, ThreadsReadWriteClearAndVerifyAtOnce)
{
    const ScratchFolder scratch;
    std::shared_ptr<ManagedDirectory> directory =
        ManagedDirectory::Open(scratch.File("cache"), 300000, false);
    constexpr std::uint64_t kFewest = 20; // of entries that are there, or nothing was read
    std::atomic<std::uint64_t> asked{0};
    std::atomic<std::uint64_t> answered{0};
    std::atomic<std::uint64_t> right{0};
    {
        const auto cache = MF::CreateDataCacheInFilesystemAndManageDirectory({}, directory, false);
        const auto work = [&](std::uint64_t inSeed)
        {
            std::mt19937_64 random(inSeed);
            TVK::TVKUnknownRef handle;
            const std::size_t rounds = ScaledCount(2000);
            for (std::size_t round = 0; round < rounds || asked < kFewest; ++round)
            {
                if (round >= rounds) // a slow disk had no entry yet; what comes is no longer cleared
                {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
                const std::uint64_t number = random() % kNames;
                const auto name = Text("entry-" + std::to_string(number));
                if (round < rounds && random() % 200 == 0)
                {
                    random() % 2 == 0 ? static_cast<void>(directory->Verify())
                                      : static_cast<void>(directory->Clear());
                }
                else if (random() % 16 == 0) // few, as a slow disk takes long to write them
                {
                    cache->WriteEntry(name, Text("png"), BytesOf(number, SizeOf(number)));
                }
                else if (cache->ReadEntry(
                             name, Text("png"),
                             [&, number](std::int32_t inStatus, const auto&, const auto&, const auto& inBytes)
                             {
                                 ++answered;
                                 right +=
                                     inStatus < 0 ? !inBytes : AreBytesOf(inBytes, number, SizeOf(number));
                             },
                             handle) >= 0)
                {
                    ++asked;
                }
            }
        };
        std::vector<std::thread> threads;
        for (std::uint64_t thread = 0; thread < 4; ++thread)
        {
            threads.emplace_back(work, Seed() + thread);
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    }
    EXPECT_GE(asked, kFewest);
    EXPECT_EQ(answered, asked);
    EXPECT_EQ(right, asked);
}
