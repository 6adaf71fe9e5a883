#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include <sys/stat.h>
#include <unistd.h>

using namespace TestSupport;

namespace
{

using Words = std::vector<std::string>;

constexpr char kStranger[] = "holiday.png";
constexpr char kFrameName[] = "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.png"; // as frames' files are called

Words Plus(Words inWords, const Words& inMore)
{
    inWords.insert(inWords.end(), inMore.begin(), inMore.end());
    return inWords;
}

class DiskCache : public testing::Test
{
protected:
    // The tool with the cache of this test, which is the usual one of its user.
    ChildResult Run(Words inWords) const
    {
        ChildRequest request = ToolRequest(std::move(inWords));
        request.environment = {{"XDG_CACHE_HOME", mRoot}};
        return RunChild(request);
    }
    ChildResult RunIn(const std::string& inRoot, Words inWords) const
    {
        return Run(Plus(std::move(inWords), {"--disk-cache", inRoot}));
    }

    // What is said of a cache command that ends well.
    std::string Answer(const std::string& inAction, const Words& inOptions = {}) const
    {
        const ChildResult result = Run(Plus({"cache", inAction}, inOptions));
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        return result.out;
    }
    std::size_t CountKept() const { return Lines(Answer("list")).size() - 1; }

    Words FrameFiles() const
    {
        Words names = FileExists(mDirectory) ? FolderNames(mDirectory) : Words();
        names.erase(std::remove(names.begin(), names.end(), "CACHEDIR.TAG"), names.end());
        return names;
    }
    std::string PathOf(const std::string& inFile) const { return mDirectory + "/" + inFile; }

    // The sums of all frames of a small movie, rendered small.
    static Words Render() { return {"render", SmallMovie(), "null:", "--checksum", "--size", "96x54"}; }
    static const Words& RightSums()
    {
        static const Words sSums = SumsOf(RunTool(Plus(Render(), {"--disk-cache", "off"})).out);
        return sSums;
    }

    // The frames are right, the exit code is 0, and not more than inLines lines are said, which name inPart.
    static void ExpectRightFrames(const ChildResult& inResult, std::size_t inLines, const std::string& inPart)
    {
        EXPECT_EQ(inResult.exitCode, 0) << inResult.Describe();
        EXPECT_EQ(SumsOf(inResult.out), RightSums());
        EXPECT_EQ(RightSums().size(), 50u);
        EXPECT_EQ(Lines(inResult.err).size(), inLines) << inResult.err;
        EXPECT_NE(inResult.err.find(inPart), std::string::npos) << inResult.err;
    }

    const ScratchFolder mScratch;
    const std::string mRoot = mScratch.File("caches");
    const std::string mDirectory = mRoot + "/VideoRenderer/ThumbnailCache";
};

// A movie whose first group of pictures alone can still be decoded, though its file looks as before.
class HollowMovie
{
public:
    explicit HollowMovie(const std::string& inPath) : mPath(inPath)
    {
        WriteFile(mPath, ReadFile(SmallMovie()));
    }

    void Hollow() const
    {
        const auto time = std::filesystem::last_write_time(mPath);
        std::string bytes = ReadFile(mPath);
        const std::size_t start = bytes.find("mdat");
        const std::size_t end = bytes.find("moov");
        ASSERT_LT(start, end);
        ASSERT_NE(end, std::string::npos);
        std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(start + (end - start) * 6 / 10),
                  bytes.begin() + static_cast<std::ptrdiff_t>(end - 8), '\0');
        WriteFile(mPath, bytes);
        std::filesystem::last_write_time(mPath, time);
    }

private:
    const std::string mPath;
};

} // namespace

TEST_F(DiskCache, SecondOverviewNeedsNoDecoder)
{
    const std::string movie = mScratch.File("movie.mp4");
    const HollowMovie hollow(movie);
    const Words words = {"thumbnails", movie, mScratch.File("stills"), "--checksum", "--overwrite"};
    const ChildResult first = Run(words);
    ASSERT_EQ(first.exitCode, 0) << first.Describe();
    EXPECT_EQ(FrameFiles().size(), 20u);
    hollow.Hollow();
    EXPECT_NE(Run(Plus(words, {"--disk-cache", "off"})).out, first.out) << "or the movie still plays";
    const ChildResult second = Run(words);
    EXPECT_EQ(second.out, first.out);
    EXPECT_EQ(second.exitCode, 0) << second.Describe();
    EXPECT_EQ(second.err, "");
    EXPECT_EQ(FrameFiles().size(), 20u);
}

TEST_F(DiskCache, MovieThatWasWrittenAnewIsReadAnew)
{
    const std::string movie = mScratch.File("movie.mp4");
    RunFFmpeg("-i " + SmallMovie() + " -c copy " + movie);
    const Words words = {"thumbnails", movie, mScratch.File("stills"), "--checksum", "--overwrite"};
    const std::string first = Run(words).out;
    RunFFmpeg("-i " + SmallMovie() + " -vf negate " + movie);
    const std::string second = Run(words).out;
    EXPECT_NE(second, first);
    EXPECT_EQ(second, Run(Plus(words, {"--disk-cache", "off"})).out);
}

TEST_F(DiskCache, OverviewsKeepFramesAndRendersDoNotUnlessTold)
{
    EXPECT_EQ(Run({"frame", SmallMovie(), mScratch.File("a.png")}).exitCode, 0);
    EXPECT_EQ(Run({"render", SmallMovie(), "null:"}).exitCode, 0);
    EXPECT_EQ(Run({"thumbnails", SmallMovie(), mScratch.File("t"), "--disk-cache", "off"}).exitCode, 0);
    EXPECT_FALSE(FileExists(mRoot)) << "not even a folder";
    EXPECT_EQ(Run({"contact-sheet", SmallMovie(), mScratch.File("sheet.png"), "--count", "7"}).exitCode, 0);
    EXPECT_EQ(FrameFiles().size(), 7u);

    const std::string other = mScratch.File("other/place"); // with parents that aren't there
    EXPECT_EQ(RunIn(other, {"frame", SmallMovie(), "null:"}).exitCode, 0);
    EXPECT_EQ(FolderNames(other + "/ThumbnailCache").size(), 2u) << "the mark and a frame";
    EXPECT_EQ(FrameFiles().size(), 7u);
}

TEST_F(DiskCache, FramesAreTheSameFromTheDisk)
{
    const std::string fields = mScratch.File("fields.mov");
    RunFFmpeg("-f lavfi -i testsrc2=s=96x64:r=50:d=0.4,interlace -flags +ildct -c:v mpeg2video -q:v 2 " +
              fields);
    const std::string deep = mScratch.File("deep.mov");
    RunFFmpeg("-f lavfi -i testsrc2=s=96x64:r=25:d=0.4,format=yuva444p10le -c:v prores_ks " + deep);
    Words movies = {fields, deep, SmallMovie()};
    movies.resize(ScaledCount(movies.size()));
    for (const std::string& movie : movies)
    {
        for (const Words& options : {Words{"--pix-fmt", "yuv422p10le"}, Words{"--size", "50x40"}})
        {
            const Words words = Plus({"render", movie, "null:", "--checksum", "--range", "0:10"}, options);
            const ChildResult without = Run(words);
            const ChildResult cold = RunIn(mRoot, words);
            const ChildResult hot = RunIn(mRoot, words);
            EXPECT_EQ(without.exitCode, 0) << without.Describe();
            EXPECT_EQ(SumsOf(without.out).size(), 10u);
            EXPECT_EQ(cold.out, without.out) << movie;
            EXPECT_EQ(hot.out, without.out) << movie;
        }
    }
}

TEST_F(DiskCache, DirectoryThatCannotBeUsedIsToldOnceAndHurtsNoFrame)
{
    const std::string file = mScratch.File("file");
    WriteFile(file, "mine");
    ExpectRightFrames(RunIn(file, Render()), 1, "'" + file + "/ThumbnailCache'");
    ExpectRightFrames(RunIn(file + "/below", Render()), 1, "Not a directory");
    EXPECT_EQ(ReadFile(file), "mine");

    const std::string photos = mScratch.File("photos");
    std::filesystem::create_directories(photos + "/ThumbnailCache");
    WriteFile(photos + "/ThumbnailCache/" + kStranger, "mine");
    ExpectRightFrames(RunIn(photos, Render()), 1, "holds files ('holiday.png') and is no cache directory");
    EXPECT_EQ(FolderNames(photos + "/ThumbnailCache"), Words{kStranger});
}

TEST_F(DiskCache, DiskThatIsFullIsToldOnceAndHurtsNoFrame)
{
    ChildRequest request;
    request.words = {"sh", "-c", "ulimit -f 1; exec \"$0\" \"$@\"", VRENDER_PATH};
    request.words = Plus(request.words, Plus(Render(), {"--disk-cache", mRoot}));
    ExpectRightFrames(RunChild(request), 1, "Nothing is added to the disk cache in '" + mRoot);
    EXPECT_EQ(FolderNames(mRoot + "/ThumbnailCache"), Words{"CACHEDIR.TAG"});
    ExpectRightFrames(RunIn(mRoot, Render()), 0, "");
    EXPECT_EQ(FolderNames(mRoot + "/ThumbnailCache").size(), 51u);
}

TEST_F(DiskCache, ReadOnlyDirectoryIsReadAndToldOnce)
{
    // No mode stops root, who takes another user's place.
    const bool isRoot = ::geteuid() == 0;
    const auto runAsUser = [&](Words inWords)
    {
        ChildRequest request = ToolRequest(std::move(inWords));
        if (isRoot)
        {
            request.words =
                Plus({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"}, request.words);
        }
        return RunChild(request);
    };
    if (isRoot && runAsUser({"--version"}).exitCode != 0)
    {
        GTEST_SKIP() << "no other user can run the tool here";
    }
    const std::string movie = mScratch.File("movie.mp4");
    const std::string cache = mRoot + "/ThumbnailCache";
    WriteFile(movie, ReadFile(SmallMovie()));
    std::filesystem::create_directories(mRoot);
    for (const std::string& path : {mScratch.Path(), mRoot})
    {
        ASSERT_EQ(::chmod(path.c_str(), 0777), 0);
    }
    const Words render = {"render", movie, "null:", "--size", "96x54", "--checksum", "--disk-cache", mRoot};
    ASSERT_EQ(runAsUser(Plus(render, {"--range", "0:30"})).exitCode, 0);
    ASSERT_EQ(::chmod(cache.c_str(), 0500), 0);
    ExpectRightFrames(runAsUser(render), 1, "Nothing is added to the disk cache in '" + cache);
    EXPECT_EQ(FolderNames(cache).size(), 31u);
    const ChildResult clear = runAsUser({"cache", "clear", "--disk-cache", mRoot});
    EXPECT_EQ(clear.exitCode, 74) << clear.Describe();
    EXPECT_NE(clear.err.find("30 frames can't be removed"), std::string::npos) << clear.err;
    EXPECT_EQ(FolderNames(cache).size(), 31u);
    ASSERT_EQ(::chmod(cache.c_str(), 0700), 0);
}

TEST_F(DiskCache, UserWithoutAHomeHasNoneByDefault)
{
    ChildRequest request = ToolRequest({"thumbnails", SmallMovie(), mScratch.File("t"), "--checksum"});
    request.words = Plus({"env", "-u", "HOME", "-u", "XDG_CACHE_HOME"}, request.words);
    request.environment.clear();
    const ChildResult result = RunChild(request);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(SumsOf(result.out).size(), 20u);

    request.words = {"env", "-u", "HOME", "-u", "XDG_CACHE_HOME", VRENDER_PATH, "cache", "list"};
    const ChildResult list = RunChild(request);
    EXPECT_EQ(list.exitCode, 66) << list.Describe();
    EXPECT_NE(list.err.find("--disk-cache"), std::string::npos) << list.err;
}

TEST_F(DiskCache, TornAndForeignFramesAreMadeAgain)
{
    ASSERT_EQ(RunIn(mRoot, Render()).exitCode, 0);
    const std::string directory = mRoot + "/ThumbnailCache/";
    Words names = FolderNames(directory);
    ASSERT_EQ(names.size(), 51u);
    names.erase(std::find(names.begin(), names.end(), "CACHEDIR.TAG"));
    const std::string other = ReadFile(directory + names[0]);
    for (std::size_t i = 1; i < names.size(); ++i)
    {
        const std::string bytes = ReadFile(directory + names[i]);
        WriteFile(directory + names[i], i % 3 == 0   ? other // a whole frame, but another one
                                        : i % 3 == 1 ? bytes.substr(0, bytes.size() * i / 50)
                                                     : "no frame at all");
    }
    ExpectRightFrames(RunIn(mRoot, Render()), 0, "");
    EXPECT_EQ(RunIn(mRoot, {"cache", "verify"}).exitCode, 0) << "they were replaced";
    ExpectRightFrames(RunIn(mRoot, Render()), 0, "");
}

TEST_F(DiskCache, FrameWithAChangedBitIsMadeAgain)
{
    if (ScaledCount(10) <= 10)
    {
        GTEST_SKIP() << "the render service waits fifteen seconds for such a frame: part of the soak";
    }
    ASSERT_EQ(RunIn(mRoot, Render()).exitCode, 0);
    const std::string directory = mRoot + "/ThumbnailCache/";
    const std::string name = FolderNames(directory)[0];
    std::string bytes = ReadFile(directory + name);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    WriteFile(directory + name, bytes);
    ExpectRightFrames(RunIn(mRoot, Render()), 0, "");
    EXPECT_EQ(RunIn(mRoot, {"cache", "verify"}).exitCode, 0);
}

TEST_F(DiskCache, CacheThatIsNotThereIsEmptyAndIsNotMade)
{
    const std::string where = mDirectory + ": ";
    EXPECT_EQ(Answer("list"), where + "0 frames, 0 bytes\n");
    EXPECT_EQ(Answer("verify"), where + "0 frames whole, 0 damaged\n");
    EXPECT_EQ(Answer("clear"), where + "0 frames removed\n");
    EXPECT_EQ(Answer("list", {"--json"}),
              "{\n  \"directory\": \"" + mDirectory +
                  "\",\n  \"bytes\": 0,\n  \"frames\": [],\n  \"strangers\": []\n}\n");
    EXPECT_FALSE(FileExists(mRoot));
}

TEST_F(DiskCache, ListTellsFramesVerifyReadsThemAndClearRemovesThem)
{
    ASSERT_EQ(Run({"thumbnails", SmallMovie(), mScratch.File("t"), "--count", "3"}).exitCode, 0);
    const Words files = FrameFiles();
    ASSERT_EQ(files.size(), 3u);
    std::uint64_t bytes = 0;
    const std::string list = Answer("list");
    const std::string json = Answer("list", {"--json"});
    for (const std::string& file : files)
    {
        const std::uint64_t size = std::filesystem::file_size(PathOf(file));
        bytes += size;
        EXPECT_NE(list.find("Z " + std::string(12 - std::to_string(size).size(), ' ') + std::to_string(size) +
                            " " + file),
                  std::string::npos)
            << list;
        EXPECT_NE(json.find("\"name\": \"" + file + "\""), std::string::npos) << json;
    }
    EXPECT_EQ(Lines(list).back(), mDirectory + ": 3 frames, " + std::to_string(bytes) + " bytes");
    EXPECT_NE(json.find("\"bytes\": " + std::to_string(bytes)), std::string::npos) << json;
    EXPECT_EQ(Answer("verify"), mDirectory + ": 3 frames whole, 0 damaged\n");
    EXPECT_EQ(Answer("clear"), mDirectory + ": 3 frames removed\n");
    EXPECT_EQ(FrameFiles(), Words{});
    EXPECT_EQ(Answer("clear", {"--json"}),
              "{\n  \"directory\": \"" + mDirectory +
                  "\",\n  \"removed\": 0,\n  \"left\": 0,\n  \"strangers\": []\n}\n");
}

TEST_F(DiskCache, VerifyNamesAndRemovesWhatIsDamaged)
{
    ASSERT_EQ(Run({"thumbnails", SmallMovie(), mScratch.File("t"), "--count", "3"}).exitCode, 0);
    const std::string name = FrameFiles()[1];
    std::string bytes = ReadFile(PathOf(name));
    bytes[40] = static_cast<char>(bytes[40] ^ 1);
    WriteFile(PathOf(name), bytes);
    WriteFile(PathOf(kFrameName), "torn");
    const ChildResult result = Run({"cache", "verify"});
    EXPECT_EQ(result.exitCode, 65) << result.Describe();
    EXPECT_NE(result.out.find("damaged: " + name + "\n"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find(std::string("damaged: ") + kFrameName + "\n"), std::string::npos) << result.out;
    EXPECT_EQ(Lines(result.out).back(), mDirectory + ": 2 frames whole, 2 damaged");
    EXPECT_EQ(FrameFiles().size(), 2u);
    EXPECT_EQ(Answer("verify"), mDirectory + ": 2 frames whole, 0 damaged\n");
}

TEST_F(DiskCache, WhatIsNotItsOwnIsNamedAndLeftAlone)
{
    ASSERT_EQ(Run({"thumbnails", SmallMovie(), mScratch.File("t"), "--count", "3"}).exitCode, 0);
    WriteFile(PathOf(kStranger), "mine");
    WriteFile(PathOf("notes.txt"), "mine");
    std::filesystem::create_directory(PathOf("folder"));
    for (const char* action : {"list", "verify", "clear"})
    {
        const ChildResult result = Run({"cache", action});
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        EXPECT_EQ(result.err,
                  "vrender: " + mDirectory +
                      ": 'folder', 'holiday.png', 'notes.txt' are not the cache's, and left alone\n");
    }
    EXPECT_EQ(FolderNames(mDirectory), (Words{"CACHEDIR.TAG", "folder", "holiday.png", "notes.txt"}));
    EXPECT_NE(Answer("list", {"--json"}).find("\"strangers\": [\n    \"folder\""), std::string::npos);
}

TEST_F(DiskCache, DirectoryOfSomebodyElsesIsRefusedByEveryCommand)
{
    std::filesystem::create_directories(mDirectory);
    WriteFile(PathOf(kStranger), "mine");
    WriteFile(PathOf(kFrameName), "mine as well");
    for (const char* action : {"list", "verify", "clear"})
    {
        const ChildResult result = Run({"cache", action});
        EXPECT_EQ(result.exitCode, 65) << result.Describe();
        EXPECT_NE(result.err.find("'" + mDirectory + "': holds files ('"), std::string::npos) << result.err;
        EXPECT_EQ(Lines(result.err).size(), 1u) << result.err;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(FolderNames(mDirectory), (Words{kFrameName, kStranger}));
    EXPECT_EQ(Run({"cache", "list", "--disk-cache", "off"}).exitCode, 64);
    EXPECT_EQ(Run({"cache", "list", "--disk-cache", "\xff"}).exitCode, 64);
    EXPECT_EQ(Run({"cache", "burn"}).exitCode, 64);
    EXPECT_EQ(Run({"cache"}).exitCode, 64);
}
