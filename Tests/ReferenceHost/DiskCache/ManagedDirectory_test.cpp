#include "ReferenceHost/DiskCache/ManagedDirectory.h"

#include "Tests/ReferenceHost/DiskCache/CacheTests.h"
#include "Tests/Support/Paths.h"
#include "norvik/logging/Logging.h"

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace TestSupport;
using DiskCache::EntryName;
using DiskCache::OpenedEntry;
using MF::DiskCacheManager::ManagedDirectory;

namespace
{

constexpr std::uint64_t kAmple = 1 << 30;
constexpr std::size_t kSize = 1000;

// As frames are called: a damaged file of such a name is an entry all the same.
const EntryName kOfID{"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "png"};

using Directory = std::shared_ptr<ManagedDirectory>;

class ManagedDirectoryTest : public testing::Test
{
protected:
    ManagedDirectoryTest() { norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off); }
    ~ManagedDirectoryTest() override { norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning); }

    Directory Open(std::uint64_t inLimit = kAmple, bool inClear = false) const
    {
        return ManagedDirectory::Open(mPath, inLimit, inClear);
    }

    Directory OpenAs(DiskCache::Maker inMaker, std::uint64_t inLimit = kAmple) const
    {
        return ManagedDirectory::Open(mPath, inLimit, false, inMaker);
    }

    std::string FileOf(const EntryName& inName) const { return mPath + "/" + inName.FileName(); }

    // A directory with entry 1 in it, and the file of that.
    std::string WriteOne() const
    {
        EXPECT_TRUE(Open()->Store(NameOf(1), *BytesOf(1, kSize)));
        return ReadFile(FileOf(NameOf(1)));
    }

    ScratchFolder mScratch;
    const std::string mPath = mScratch.File("parent/cache");
};

} // namespace

TEST_F(ManagedDirectoryTest, WhatWasStoredIsReadByThisAndLaterOnes)
{
    const Directory first = Open();
    ASSERT_TRUE(first->Store(NameOf(1), *BytesOf(1, kSize)));
    EXPECT_TRUE(AreBytesOf(ReadOf(*first, NameOf(1)), 1, kSize));
    const Directory second = Open();
    EXPECT_TRUE(AreBytesOf(ReadOf(*second, NameOf(1)), 1, kSize));
    EXPECT_FALSE(ReadOf(*second, NameOf(2)));
}

TEST_F(ManagedDirectoryTest, FileBeginsWithTheBytesThemselves)
{
    const std::string file = WriteOne();
    const CachedBytes bytes = BytesOf(1, kSize);
    EXPECT_EQ(file.substr(0, kSize), std::string(static_cast<const char*>(bytes->Buffer()), kSize));
    EXPECT_EQ(file.size(), DiskCache::FileSizeOf(NameOf(1), kSize));
}

TEST_F(ManagedDirectoryTest, IsMarkedAndClosedToOthers)
{
    WriteOne();
    EXPECT_EQ(FilesIn(mPath), (std::vector<std::string>{"CACHEDIR.TAG", "entry-1.png"}));
    EXPECT_EQ(ReadFile(mPath + "/CACHEDIR.TAG").substr(0, 43), "Signature: 8a477f597d28d172789f06886806bc55");
    EXPECT_EQ(ModeOf(mPath), 0700u);
    EXPECT_EQ(ModeOf(FileOf(NameOf(1))), 0600u);
}

TEST_F(ManagedDirectoryTest, DirectoryThatIsOpenToOthersIsClosed)
{
    WriteOne();
    ASSERT_EQ(::chmod(mPath.c_str(), 0777), 0);
    Open();
    EXPECT_EQ(ModeOf(mPath), 0700u);
}

TEST_F(ManagedDirectoryTest, DirectoryOfOtherFilesIsLeftAlone)
{
    std::filesystem::create_directories(mPath);
    ASSERT_EQ(::chmod(mPath.c_str(), 0755), 0);
    for (const std::string name : {"holiday.png", ".hidden"})
    {
        WriteFile(mPath + "/" + name, "mine");
        const Directory directory = Open(kAmple, true);
        EXPECT_NE(directory->WhyNot().find("holds files ('" + name + "')"), std::string::npos)
            << directory->WhyNot();
        EXPECT_FALSE(directory->Store(NameOf(1), *BytesOf(1, kSize)));
        EXPECT_FALSE(ReadOf(*directory, {"holiday", "png"}));
        EXPECT_EQ(directory->Clear(), 0u);
        EXPECT_EQ(FilesIn(mPath), std::vector<std::string>{name});
        EXPECT_EQ(ModeOf(mPath), 0755u);
        ASSERT_EQ(::unlink((mPath + "/" + name).c_str()), 0);
    }
    EXPECT_EQ(Open()->WhyNot(), "");
}

TEST_F(ManagedDirectoryTest, SymbolicLinkIsNotFollowed)
{
    const std::string target = mScratch.File("elsewhere");
    std::filesystem::create_directories(target);
    std::filesystem::create_directories(mScratch.File("parent"));
    ASSERT_EQ(::symlink(target.c_str(), mPath.c_str()), 0);
    EXPECT_NE(Open()->WhyNot(), "");
    EXPECT_NE(ManagedDirectory::Open(mPath + "//", kAmple, false)->WhyNot(), "");
    EXPECT_TRUE(FilesIn(target).empty());
}

TEST_F(ManagedDirectoryTest, PathThatCannotBeADirectorySaysWhy)
{
    const std::string file = mScratch.File("file");
    WriteFile(file, "x");
    EXPECT_NE(ManagedDirectory::Open(file, kAmple, false)->WhyNot().find(file), std::string::npos);
    EXPECT_NE(ManagedDirectory::Open(file + "/below", kAmple, false)->WhyNot(), "");
    EXPECT_NE(ManagedDirectory::Open("", kAmple, false)->WhyNot(), "");
}

TEST_F(ManagedDirectoryTest, NamesStayInTheDirectory)
{
    const Directory directory = Open();
    const std::string longest(DiskCache::kMaximumNameSize, 'n');
    const std::string longestTag(DiskCache::kMaximumTagSize, 't');
    EXPECT_TRUE(directory->Store({longest, longestTag}, *BytesOf(1, kSize)));
    EXPECT_TRUE(directory->Store({"A-Z_09", "p2"}, *BytesOf(1, kSize)));
    const auto before = FilesIn(mPath);
    for (const EntryName& name :
         {EntryName{"", "png"}, EntryName{"a", ""}, EntryName{"../a", "png"}, EntryName{"..", "png"},
          EntryName{"a/b", "png"}, EntryName{"/tmp/a", "png"}, EntryName{".a", "png"},
          EntryName{"a.b", "png"}, EntryName{"a", "../png"}, EntryName{"a", "Png"},
          EntryName{"CACHEDIR", "TAG"}, EntryName{std::string("a\0b", 3), "png"},
          EntryName{"a\xc3\xa4", "png"}, EntryName{"a b", "png"}, EntryName{longest + "n", "png"},
          EntryName{"a", longestTag + "t"}})
    {
        EXPECT_FALSE(directory->Store(name, *BytesOf(1, kSize))) << name.FileName();
        EXPECT_FALSE(ReadOf(*directory, name)) << name.FileName();
    }
    EXPECT_EQ(FilesIn(mPath), before);
    EXPECT_FALSE(Exists(mScratch.File("parent/a.png")));
}

TEST_F(ManagedDirectoryTest, EachTornFileIsNoEntryAndIsRemoved)
{
    ASSERT_TRUE(Open()->Store(kOfID, *BytesOf(1, kSize)));
    const std::string whole = ReadFile(FileOf(kOfID));
    for (std::size_t size = 0; size < whole.size(); size += size < whole.size() - 100 ? 37 : 1)
    {
        WriteFile(FileOf(kOfID), whole.substr(0, size));
        const Directory directory = Open();
        EXPECT_FALSE(ReadOf(*directory, kOfID)) << size;
        EXPECT_FALSE(Exists(FileOf(kOfID))) << size;
        EXPECT_EQ(directory->TotalBytes(), 0u);
    }
    WriteFile(FileOf(kOfID), whole + "x");
    EXPECT_FALSE(ReadOf(*Open(), kOfID));
}

TEST_F(ManagedDirectoryTest, FilesThatSomebodyPutThereAreLeftAlone)
{
    WriteOne();
    const std::string photo(100 * kSize, 'p');
    for (const std::string name : {"holiday.png", "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9.png", "notes.TXT"})
    {
        WriteFile(mPath + "/" + name, photo);
    }
    std::filesystem::create_directory(mPath + "/folder");
    const Directory directory = Open(3 * DiskCache::FileSizeOf(NameOf(1), kSize));
    EXPECT_EQ(directory->Strangers(), (std::vector<std::string>{"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9.png",
                                                                "folder", "holiday.png", "notes.TXT"}));
    EXPECT_EQ(directory->TotalBytes(), DiskCache::FileSizeOf(NameOf(1), kSize)) << "they take no room";
    for (std::uint64_t number = 2; number <= 6; ++number)
    {
        EXPECT_TRUE(directory->Store(NameOf(number), *BytesOf(number, kSize)));
    }
    EXPECT_TRUE(directory->Verify().empty());
    EXPECT_GT(directory->Clear(), 0u);
    EXPECT_EQ(FilesIn(mPath),
              (std::vector<std::string>{"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9.png", "CACHEDIR.TAG", "folder",
                                        "holiday.png", "notes.TXT"}));
    EXPECT_EQ(ReadFile(mPath + "/holiday.png"), photo);
}

TEST_F(ManagedDirectoryTest, EachFlippedBitIsNoticed)
{
    const std::string whole = WriteOne();
    for (std::size_t bit = 0; bit < whole.size() * 8; bit += bit < kSize * 8 ? 29 : 1)
    {
        std::string damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        WriteFile(FileOf(NameOf(1)), damaged);
        EXPECT_FALSE(ReadOf(*Open(), NameOf(1))) << bit;
    }
    WriteFile(FileOf(NameOf(1)), whole);
    EXPECT_TRUE(ReadOf(*Open(), NameOf(1)));
}

TEST_F(ManagedDirectoryTest, SwappedBlocksAreNoticed)
{
    std::string file = WriteOne();
    for (std::size_t at = 0; at < 8; ++at)
    {
        std::swap(file[at], file[at + 64]);
    }
    WriteFile(FileOf(NameOf(1)), file);
    EXPECT_FALSE(ReadOf(*Open(), NameOf(1)));
}

TEST_F(ManagedDirectoryTest, RenamedEntryIsForeign)
{
    const std::string whole = WriteOne();
    WriteFile(FileOf(NameOf(2)), whole);
    WriteFile(FileOf({"entry-1", "gif"}), whole);
    const Directory directory = Open();
    EXPECT_FALSE(ReadOf(*directory, NameOf(2)));
    EXPECT_FALSE(ReadOf(*directory, {"entry-1", "gif"}));
    EXPECT_TRUE(ReadOf(*directory, NameOf(1)));
    EXPECT_TRUE(Exists(FileOf(NameOf(2)))) << "nor is it ours";
}

TEST_F(ManagedDirectoryTest, EntryThatBecameALinkOrAPipeIsNotRead)
{
    const std::string whole = WriteOne();
    const std::string outside = mScratch.File("outside");
    WriteFile(outside, whole);
    for (const bool isPipe : {false, true})
    {
        const Directory directory = Open();
        ASSERT_EQ(::unlink(FileOf(NameOf(1)).c_str()), 0);
        ASSERT_EQ(isPipe ? ::mkfifo(FileOf(NameOf(1)).c_str(), 0600)
                         : ::symlink(outside.c_str(), FileOf(NameOf(1)).c_str()),
                  0);
        EXPECT_FALSE(ReadOf(*directory, NameOf(1)));
        EXPECT_FALSE(Exists(FileOf(NameOf(1))));
        EXPECT_EQ(ReadFile(outside), whole);
        WriteFile(FileOf(NameOf(1)), whole);
    }
}

TEST_F(ManagedDirectoryTest, EntryOfAnotherUserIsForeign)
{
    if (::geteuid() != 0)
    {
        GTEST_SKIP() << "needs to give a file away";
    }
    WriteOne();
    ASSERT_EQ(::chown(FileOf(NameOf(1)).c_str(), 65534, 65534), 0);
    EXPECT_FALSE(ReadOf(*Open(), NameOf(1)));
    ASSERT_EQ(::chown(mPath.c_str(), 65534, 65534), 0);
    EXPECT_NE(Open()->WhyNot().find("another user"), std::string::npos);
}

TEST_F(ManagedDirectoryTest, EntryThatWasRemovedMeanwhileIsForgotten)
{
    WriteOne();
    const Directory directory = Open();
    EXPECT_GT(directory->TotalBytes(), 0u);
    ASSERT_EQ(::unlink(FileOf(NameOf(1)).c_str()), 0);
    EXPECT_FALSE(ReadOf(*directory, NameOf(1)));
    EXPECT_EQ(directory->TotalBytes(), 0u);
    EXPECT_TRUE(directory->Store(NameOf(1), *BytesOf(1, kSize)));
    EXPECT_TRUE(ReadOf(*directory, NameOf(1)));
}

TEST_F(ManagedDirectoryTest, OpenedEntryIsReadThoughItIsDropped)
{
    WriteOne();
    const Directory directory = Open();
    OpenedEntry entry;
    ASSERT_TRUE(directory->OpenEntry(NameOf(1), entry));
    directory->Clear();
    EXPECT_TRUE(AreBytesOf(entry.Read(), 1, kSize));
}

TEST_F(ManagedDirectoryTest, MissAsksMemoryAlone)
{
    const Directory directory = Open();
    Open()->Store(NameOf(1), *BytesOf(1, kSize));
    EXPECT_FALSE(ReadOf(*directory, NameOf(1))); // it is on the disk by now
    EXPECT_TRUE(Exists(FileOf(NameOf(1))));
}

TEST_F(ManagedDirectoryTest, EntriesOfOthersAreFoundByLooking)
{
    const Directory directory = Open();
    const Directory other = Open();
    EXPECT_FALSE(directory->ShouldLook()); // not so soon
    for (std::uint64_t number = 1; number <= 3; ++number)
    {
        ASSERT_TRUE(other->Store(NameOf(number), *BytesOf(number, kSize)));
        directory->Look();
        EXPECT_TRUE(AreBytesOf(ReadOf(*directory, NameOf(number)), number, kSize));
    }
    other->Clear();
    directory->Look();
    EXPECT_EQ(directory->TotalBytes(), 0u);
}

TEST_F(ManagedDirectoryTest, WhatIsKnownIsNotWrittenAgain)
{
    WriteOne();
    const Directory directory = Open();
    EXPECT_TRUE(directory->Store(NameOf(1), *BytesOf(2, kSize)));
    EXPECT_TRUE(AreBytesOf(ReadOf(*directory, NameOf(1)), 1, kSize));
    EXPECT_EQ(directory->TotalBytes(), DiskCache::FileSizeOf(NameOf(1), kSize));
}

TEST_F(ManagedDirectoryTest, EntryWithoutBytesIsNotKept)
{
    const Directory directory = Open();
    EXPECT_FALSE(directory->Store(NameOf(1), *BytesOf(1, 0)));
    EXPECT_TRUE(directory->List().empty());
}

TEST_F(ManagedDirectoryTest, LimitItselfIsAllowedAndOneByteMoreIsNot)
{
    const std::uint64_t limit = DiskCache::FileSizeOf(NameOf(1), kSize);
    const Directory directory = Open(limit);
    EXPECT_FALSE(directory->Store(NameOf(1), *BytesOf(1, kSize + 1)));
    EXPECT_TRUE(directory->Store(NameOf(1), *BytesOf(1, kSize)));
    EXPECT_EQ(directory->TotalBytes(), limit);
    EXPECT_TRUE(directory->Store(NameOf(2), *BytesOf(2, kSize)));
    EXPECT_LE(directory->TotalBytes(), limit);
}

TEST_F(ManagedDirectoryTest, EntriesUsedLongestAgoMakeRoom)
{
    const Directory directory = Open(10 * DiskCache::FileSizeOf(NameOf(0), kSize));
    for (std::uint64_t number = 0; number < 10; ++number)
    {
        ASSERT_TRUE(directory->Store(NameOf(number), *BytesOf(number, kSize)));
    }
    EXPECT_TRUE(ReadOf(*directory, NameOf(0)));
    EXPECT_TRUE(ReadOf(*directory, NameOf(2)));
    ASSERT_TRUE(directory->Store({"new-one", "png"}, *BytesOf(10, kSize)));
    EXPECT_LE(directory->TotalBytes(), directory->LimitBytes() / 10 * 9) << "for some that follow as well";
    EXPECT_TRUE(ReadOf(*directory, NameOf(0)));
    EXPECT_TRUE(ReadOf(*directory, NameOf(2)));
    EXPECT_TRUE(ReadOf(*directory, {"new-one", "png"}));
    EXPECT_FALSE(ReadOf(*directory, NameOf(1)));
    EXPECT_FALSE(Exists(FileOf(NameOf(1))));
    EXPECT_TRUE(ReadOf(*directory, NameOf(9)));
}

TEST_F(ManagedDirectoryTest, OneAtATimeMakesRoom)
{
    const Directory directory = Open(2 * DiskCache::FileSizeOf(NameOf(0), kSize));
    const DiskCache::FileDescriptor other(::open(mPath.c_str(), O_RDONLY | O_DIRECTORY));
    ASSERT_EQ(::flock(other.Get(), LOCK_EX), 0);
    for (std::uint64_t number = 0; number < 4; ++number)
    {
        ASSERT_TRUE(directory->Store(NameOf(number), *BytesOf(number, kSize)));
    }
    EXPECT_TRUE(Exists(FileOf(NameOf(0)))) << "the other one will remove what is too much";
    ASSERT_EQ(::flock(other.Get(), LOCK_UN), 0);
    ASSERT_TRUE(directory->Store(NameOf(4), *BytesOf(4, kSize)));
    EXPECT_FALSE(Exists(FileOf(NameOf(0))));
    EXPECT_TRUE(Exists(FileOf(NameOf(4))));
    EXPECT_LE(directory->TotalBytes(), directory->LimitBytes());
}

// The file system's clock has ticks: what others write after a look may leave the directory's time as it is.
TEST_F(ManagedDirectoryTest, ChangeWithinOneTickOfTheClockIsSeen)
{
    const Directory directory = Open();
    const timespec ticks[2] = {{::time(nullptr) + 3600, 0}, {::time(nullptr) + 3600, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, mPath.c_str(), ticks, 0), 0);
    directory->Look();
    ASSERT_TRUE(Open()->Store(NameOf(1), *BytesOf(1, kSize)));
    ASSERT_EQ(::utimensat(AT_FDCWD, mPath.c_str(), ticks, 0), 0);
    directory->Look();
    EXPECT_TRUE(ReadOf(*directory, NameOf(1)));
}

TEST_F(ManagedDirectoryTest, UseByOthersCountsWhenRoomIsMade)
{
    const std::uint64_t limit = 10 * DiskCache::FileSizeOf(NameOf(0), kSize);
    const Directory directory = Open(limit);
    for (std::uint64_t number = 0; number < 10; ++number)
    {
        ASSERT_TRUE(directory->Store(NameOf(number), *BytesOf(number, kSize)));
    }
    EXPECT_TRUE(ReadOf(*Open(limit), NameOf(0)));
    ASSERT_TRUE(directory->Store({"new-one", "png"}, *BytesOf(10, kSize)));
    EXPECT_TRUE(Exists(FileOf(NameOf(0))));
    EXPECT_FALSE(Exists(FileOf(NameOf(1))));
}

TEST_F(ManagedDirectoryTest, WhatOthersWroteCountsAgainstTheLimit)
{
    const std::uint64_t limit = 10 * DiskCache::FileSizeOf(NameOf(0), kSize);
    const Directory directory = Open(limit);
    const Directory other = Open(limit);
    for (std::uint64_t number = 0; number < 10; ++number)
    {
        ASSERT_TRUE(other->Store(NameOf(number), *BytesOf(number, kSize)));
    }
    directory->Look();
    ASSERT_TRUE(directory->Store({"new-one", "png"}, *BytesOf(10, kSize)));
    std::uint64_t total = 0;
    for (const auto& file : std::filesystem::directory_iterator(mPath))
    {
        total += file.path().extension() == ".png" ? file.file_size() : 0;
    }
    EXPECT_LE(total, limit);
}

TEST_F(ManagedDirectoryTest, AbandonedFileIsRemovedAndOneBeingWrittenIsNot)
{
    Open();
    const std::string abandoned = mPath + "/.unfinished-1";
    const std::string written = mPath + "/.unfinished-2";
    WriteFile(abandoned, "x");
    const DiskCache::FileDescriptor file(::open(written.c_str(), O_CREAT | O_WRONLY, 0600));
    ASSERT_EQ(::flock(file.Get(), LOCK_EX), 0);
    Open();
    EXPECT_FALSE(Exists(abandoned));
    EXPECT_TRUE(Exists(written));
}

TEST_F(ManagedDirectoryTest, FullDiskLeavesNothingBehind)
{
    const Directory directory = Open();
    ASSERT_TRUE(directory->Store(NameOf(1), *BytesOf(1, 100)));
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{5000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool isStored = directory->Store(NameOf(2), *BytesOf(2, 10000));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(isStored);
    EXPECT_EQ(FilesIn(mPath), (std::vector<std::string>{"CACHEDIR.TAG", "entry-1.png"}));
    EXPECT_TRUE(ReadOf(*directory, NameOf(1)));
    EXPECT_FALSE(ReadOf(*directory, NameOf(2)));
    EXPECT_TRUE(directory->Store(NameOf(2), *BytesOf(2, 10000)));
}

TEST_F(ManagedDirectoryTest, ReadOnlyDirectoryIsRead)
{
    const bool isRoot = ::geteuid() == 0;
    WriteOne();
    if (isRoot) // whom no mode stops
    {
        ASSERT_EQ(::chmod(mScratch.Path().c_str(), 0755), 0);
        ASSERT_EQ(::chmod(mScratch.File("parent").c_str(), 0755), 0);
        ASSERT_EQ(::chown(mPath.c_str(), 65534, 65534), 0);
        for (const std::string& name : FilesIn(mPath))
        {
            ASSERT_EQ(::chown((mPath + "/" + name).c_str(), 65534, 65534), 0);
        }
        ASSERT_EQ(::seteuid(65534), 0);
    }
    EXPECT_EQ(::chmod(mPath.c_str(), 0500), 0);
    const Directory directory = Open();
    EXPECT_EQ(directory->WhyNot(), "");
    EXPECT_TRUE(AreBytesOf(ReadOf(*directory, NameOf(1)), 1, kSize));
    EXPECT_FALSE(directory->Store(NameOf(2), *BytesOf(2, kSize)));
    EXPECT_FALSE(ReadOf(*directory, NameOf(2)));
    EXPECT_EQ(directory->Clear(), 0u);
    EXPECT_EQ(directory->List().size(), 1u) << "what can't be removed is still there";
    EXPECT_EQ(::chmod(mPath.c_str(), 0700), 0);
    if (isRoot)
    {
        ASSERT_EQ(::seteuid(0), 0);
    }
}

TEST_F(ManagedDirectoryTest, FailedWritesAreToldOnce)
{
    const Directory directory = Open();
    std::filesystem::remove_all(mPath);
    int records = 0;
    norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
    norvik::logging::SetLogSink([&](const auto&) { ++records; }, true);
    EXPECT_FALSE(directory->Store(NameOf(1), *BytesOf(1, kSize)));
    EXPECT_FALSE(directory->Store(NameOf(2), *BytesOf(2, kSize)));
    norvik::logging::SetLogSink({});
    EXPECT_EQ(records, 1);
}

TEST_F(ManagedDirectoryTest, VerifyingRemovesWhatIsDamagedAndNothingElse)
{
    const Directory directory = Open();
    for (std::uint64_t number = 1; number <= 3; ++number)
    {
        ASSERT_TRUE(directory->Store(NameOf(number), *BytesOf(number, kSize)));
    }
    std::string file = ReadFile(FileOf(NameOf(2)));
    file[5] = static_cast<char>(file[5] + 1);
    WriteFile(FileOf(NameOf(2)), file);
    const auto damaged = directory->Verify();
    ASSERT_EQ(damaged.size(), 1u);
    EXPECT_EQ(damaged[0].mName.mName, "entry-2");
    EXPECT_FALSE(Exists(FileOf(NameOf(2))));
    EXPECT_EQ(directory->List().size(), 2u);
    EXPECT_TRUE(directory->Verify().empty());
}

TEST_F(ManagedDirectoryTest, VerifyingRemovesATornEntry)
{
    WriteOne();
    WriteFile(FileOf(kOfID), "torn");
    const Directory directory = Open();
    EXPECT_EQ(directory->List().size(), 2u);
    const auto damaged = directory->Verify();
    ASSERT_EQ(damaged.size(), 1u);
    EXPECT_EQ(damaged[0].mName.mName, kOfID.mName);
    EXPECT_EQ(FilesIn(mPath), (std::vector<std::string>{"CACHEDIR.TAG", "entry-1.png"}));
}

TEST_F(ManagedDirectoryTest, ClearingRemovesEntriesOnly)
{
    WriteOne();
    WriteFile(mPath + "/notes.TXT", "x");
    EXPECT_EQ(Open()->Clear(), 1u);
    EXPECT_EQ(FilesIn(mPath), (std::vector<std::string>{"CACHEDIR.TAG", "notes.TXT"}));
    WriteOne();
    EXPECT_TRUE(Open(kAmple, true)->List().empty());
    EXPECT_FALSE(Exists(FileOf(NameOf(1))));
}

TEST_F(ManagedDirectoryTest, EntryOfAnotherMakerIsNotThereUntilItIsMadeAnew)
{
    ASSERT_TRUE(OpenAs(1)->Store(NameOf(1), *BytesOf(1, kSize)));
    const Directory directory = OpenAs(2);
    EXPECT_FALSE(ReadOf(*directory, NameOf(1)));
    EXPECT_FALSE(ReadOf(*directory, NameOf(1)));
    EXPECT_TRUE(AreBytesOf(ReadOf(*OpenAs(1), NameOf(1)), 1, kSize)) << "its maker still uses it";
    ASSERT_TRUE(directory->Store(NameOf(1), *BytesOf(5, 2 * kSize)));
    EXPECT_TRUE(AreBytesOf(ReadOf(*directory, NameOf(1)), 5, 2 * kSize));
    EXPECT_EQ(directory->TotalBytes(), DiskCache::FileSizeOf(NameOf(1), 2 * kSize));
    EXPECT_TRUE(AreBytesOf(ReadOf(*OpenAs(2), NameOf(1)), 5, 2 * kSize));
    EXPECT_FALSE(ReadOf(*OpenAs(1), NameOf(1)));
}

TEST_F(ManagedDirectoryTest, EntryOfAnotherMakerIsReplacedByWhoHasNotAskedForIt)
{
    ASSERT_TRUE(OpenAs(1)->Store(NameOf(1), *BytesOf(1, kSize)));
    const Directory directory = OpenAs(2);
    ASSERT_TRUE(directory->Store(NameOf(1), *BytesOf(5, kSize)));
    EXPECT_TRUE(AreBytesOf(ReadOf(*directory, NameOf(1)), 5, kSize));
}

TEST_F(ManagedDirectoryTest, EntriesOfAnotherMakerAreListedCheckedAndCleared)
{
    ASSERT_TRUE(OpenAs(1)->Store(NameOf(1), *BytesOf(1, kSize)));
    ASSERT_TRUE(OpenAs(1)->Store(NameOf(2), *BytesOf(2, kSize)));
    const Directory directory = OpenAs(2);
    EXPECT_FALSE(ReadOf(*directory, NameOf(1)));
    EXPECT_EQ(directory->List().size(), 2u);
    EXPECT_EQ(directory->TotalBytes(), 2 * DiskCache::FileSizeOf(NameOf(1), kSize));
    EXPECT_TRUE(directory->Strangers().empty());
    EXPECT_TRUE(directory->Verify().empty());
    std::string file = ReadFile(FileOf(NameOf(2)));
    file[kSize / 2] = static_cast<char>(file[kSize / 2] + 1);
    WriteFile(FileOf(NameOf(2)), file);
    EXPECT_EQ(directory->Verify().size(), 1u);
    EXPECT_EQ(directory->Clear(), 1u);
    EXPECT_EQ(FilesIn(mPath), (std::vector<std::string>{"CACHEDIR.TAG"}));
}

TEST_F(ManagedDirectoryTest, EntryWhoseMakerIsDamagedIsFound)
{
    std::string file = WriteOne();
    const std::size_t maker = file.size() - 8 - 16;
    file[maker] = static_cast<char>(file[maker] ^ 1);
    WriteFile(FileOf(NameOf(1)), file);
    EXPECT_EQ(Open()->Verify().size(), 1u);
}

TEST_F(ManagedDirectoryTest, EntryOfAnotherMakerIsOfNoUseByBeingAskedFor)
{
    ASSERT_TRUE(OpenAs(1)->Store(NameOf(1), *BytesOf(1, kSize)));
    const Directory directory = OpenAs(2, 3 * DiskCache::FileSizeOf(NameOf(1), kSize));
    ASSERT_TRUE(directory->Store(NameOf(2), *BytesOf(2, kSize)));
    ASSERT_TRUE(directory->Store(NameOf(3), *BytesOf(3, kSize)));
    EXPECT_FALSE(ReadOf(*directory, NameOf(1)));
    EXPECT_EQ(directory->List().front().mName.mName, "entry-1");
    ASSERT_TRUE(directory->Store(NameOf(4), *BytesOf(4, kSize)));
    EXPECT_FALSE(Exists(FileOf(NameOf(1))));
    EXPECT_TRUE(Exists(FileOf(NameOf(3))));
}

TEST(CacheMaker, EachTextHasItsOwn)
{
    EXPECT_EQ(DiskCache::GetMaker(), DiskCache::MakerOfText(""));
    EXPECT_NE(DiskCache::MakerOfText("decoder 1.2"), DiskCache::MakerOfText("decoder 1.3"));
    DiskCache::SetMaker("decoder 1.2");
    EXPECT_EQ(DiskCache::GetMaker(), DiskCache::MakerOfText("decoder 1.2"));
    DiskCache::SetMaker("");
}

TEST_F(ManagedDirectoryTest, ListTellsSizesFromTheOldestOn)
{
    const Directory directory = Open();
    for (std::uint64_t number = 1; number <= 3; ++number)
    {
        ASSERT_TRUE(directory->Store(NameOf(number), *BytesOf(number, kSize * number)));
    }
    EXPECT_TRUE(ReadOf(*directory, NameOf(1)));
    EXPECT_EQ(directory->List().back().mName.mName, "entry-1");
    const auto list = Open()->List();
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].mName.mName, "entry-2");
    EXPECT_EQ(list[1].mName.mName, "entry-3");
    EXPECT_EQ(list[2].mName.mName, "entry-1");
    EXPECT_EQ(list[0].mFileBytes, DiskCache::FileSizeOf(NameOf(2), kSize * 2));
}
