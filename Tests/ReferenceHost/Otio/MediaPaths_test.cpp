#include "ReferenceHost/Project/Otio/MediaPaths.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <unistd.h>

namespace
{

using Otio::DocumentOptions;
using Otio::FoundFile;
using Otio::MediaPaths;
using Otio::MediaUrl;
using Otio::ParseMediaUrl;

struct UrlRow
{
    const char* mText;
    const char* mPath;
    bool mIsRelative;
    const char* mHost;
};

TEST(MediaUrls, ComeInManyForms)
{
    const UrlRow rows[] = {
        {"file:///a/b.mov", "/a/b.mov", false, ""},
        {"file://localhost/a/b.mov", "/a/b.mov", false, ""},
        {"FILE://LOCALHOST/a/b.mov", "/a/b.mov", false, ""},
        {"file://server/share/b.mov", "/share/b.mov", false, "server"},
        {"file:/a/b.mov", "/a/b.mov", false, ""},
        {"file:///C:/a/b.mov", "C:/a/b.mov", false, ""},
        {"file://C:/a/b.mov", "C:/a/b.mov", false, ""},
        {"file:///C:", "C:", false, ""},
        {"file://", "", false, ""},
        {"/a/b.mov", "/a/b.mov", false, ""},
        {"C:\\a\\b.mov", "C:/a/b.mov", false, ""},
        {"c:/a/b.mov", "c:/a/b.mov", false, ""},
        {"\\\\server\\share\\b.mov", "//server/share/b.mov", false, ""},
        {"media/b.mov", "media/b.mov", true, ""},
        {"./b.mov", "./b.mov", true, ""},
        {"b:c.mov", "b:c.mov", true, ""},
        {"take:2.mov", "take:2.mov", true, ""},
        {"", "", false, ""},
    };
    for (const UrlRow& row : rows)
    {
        const MediaUrl url = ParseMediaUrl(row.mText);
        EXPECT_EQ(url.mPath, row.mPath) << row.mText;
        EXPECT_EQ(url.mIsRelative, row.mIsRelative) << row.mText;
        EXPECT_EQ(url.mUnknownHost, row.mHost) << row.mText;
        EXPECT_FALSE(url.mIsNetwork) << row.mText;
    }
    for (const char* text : {"http://a/b.mov", "https://a/b", "s3://bucket/x", "rtmp://x", "ftp://h/f"})
    {
        EXPECT_TRUE(ParseMediaUrl(text).mIsNetwork) << text;
    }
}

TEST(MediaUrls, EscapesAreResolvedWhereTheyAreSome)
{
    EXPECT_EQ(Otio::DecodePercents("a%20b%C3%A4"), "a b\xC3\xA4");
    EXPECT_EQ(Otio::DecodePercents("100%"), "100%");
    EXPECT_EQ(Otio::DecodePercents("%4"), "%4");
    EXPECT_EQ(Otio::DecodePercents("%zz%2f"), "%zz/");
    EXPECT_EQ(Otio::DecodePercents("a%00b"), "a%00b");
}

TEST(MediaUrls, BaseNamesAreFoundBehindBothSeparators)
{
    EXPECT_EQ(Otio::BaseName("/a/b.mov"), "b.mov");
    EXPECT_EQ(Otio::BaseName("C:\\a\\b.mov"), "b.mov");
    EXPECT_EQ(Otio::BaseName("/a/b/"), "b");
    EXPECT_EQ(Otio::BaseName("b"), "b");
    EXPECT_EQ(Otio::BaseName("///"), "");
}

TEST(MediaUrls, PathsThatLeadOutOfTheirFolderAreSeen)
{
    EXPECT_TRUE(Otio::StaysInside("media/a.mov"));
    EXPECT_TRUE(Otio::StaysInside("media/..a.mov"));
    for (const std::string path :
         {"../a", "media/../../a", "media\\..\\a", "/a", "\\a", "C:\\a", "..", "a/.."})
    {
        EXPECT_FALSE(Otio::StaysInside(path)) << path;
    }
    EXPECT_FALSE(Otio::StaysInside(std::string("a\0b", 3)));
    EXPECT_FALSE(Otio::StaysInside(""));
}

// The path that is found among inFiles, "" for none.
std::string Found(const std::string& inUrl, const std::set<std::string>& inFiles,
                  const DocumentOptions& inOptions = {}, bool inIsConfined = false)
{
    MediaPaths paths(inOptions, "/edits", inIsConfined,
                     [&](const std::string& inPath) { return inFiles.count(inPath) != 0; });
    return paths.Find(inUrl, false).mPath;
}

TEST(MediaPaths, TryTheDecodedPathBeforeTheRawOne)
{
    EXPECT_EQ(Found("file:///a%20b", {"/a b", "/a%20b"}), "/a b");
    EXPECT_EQ(Found("file:///a%20b", {"/a%20b"}), "/a%20b");
    EXPECT_EQ(Found("/a%20b", {"/a b"}), "/a b");
    EXPECT_EQ(Found("a%20b", {"/edits/a b"}), "/edits/a b");
    EXPECT_EQ(Found("a%20b", {}), "");
}

TEST(MediaPaths, RelativeOnesLieBesideTheDocument)
{
    EXPECT_EQ(Found("media/x.mov", {"/edits/media/x.mov", "media/x.mov"}), "/edits/media/x.mov");
    EXPECT_EQ(Found("../x.mov", {"/edits/../x.mov"}), "/edits/../x.mov");
}

TEST(MediaPaths, OfBundlesStayInThem)
{
    EXPECT_EQ(Found("media/x.mov", {"/edits/media/x.mov"}, {}, true), "/edits/media/x.mov");
    EXPECT_EQ(Found("../x.mov", {"/edits/../x.mov"}, {}, true), "");
    EXPECT_EQ(Found("media/%2e%2e/%2e%2e/x.mov", {"/edits/media/../../x.mov"}, {}, true), "");
    EXPECT_EQ(Found("/etc/x", {"/etc/x"}, {}, true), "");
}

TEST(MediaPaths, AreMappedByTheLongestBeginning)
{
    DocumentOptions options;
    options.mPathMappings = {{"C:\\media", "/mnt/c"},
                             {"C:/media/day1", "/mnt/first"},
                             {"//server", "/srv"},
                             {"/Volumes/Disk", "/disk"}};
    EXPECT_EQ(Found("C:\\media\\a.mov", {"/mnt/c/a.mov"}, options), "/mnt/c/a.mov");
    EXPECT_EQ(Found("file:///C:/media/day1/a.mov", {"/mnt/c/day1/a.mov", "/mnt/first/a.mov"}, options),
              "/mnt/first/a.mov");
    EXPECT_EQ(Found("C:/media/day12/a.mov", {"/mnt/first2/a.mov"}, options), "");
    EXPECT_EQ(Found("\\\\server\\share\\a.mov", {"/srv/share/a.mov"}, options), "/srv/share/a.mov");
    EXPECT_EQ(Found("file://server/share/a.mov", {"/srv/share/a.mov"}, options), "/srv/share/a.mov");
    EXPECT_EQ(Found("/Volumes/Disk/a%20b.mov", {"/disk/a b.mov"}, options), "/disk/a b.mov");
}

TEST(MediaPaths, OfAnUnknownMachineAreTriedHereWithANote)
{
    MediaPaths paths({}, "/edits", false, [](const std::string& inPath) { return inPath == "/share/a.mov"; });
    const FoundFile found = paths.Find("file://server/share/a.mov", false);
    EXPECT_EQ(found.mPath, "/share/a.mov");
    EXPECT_NE(found.mNote.find("\"server\""), std::string::npos);
    EXPECT_TRUE(paths.Find("/share/a.mov", false).mNote.empty());
}

TEST(MediaPaths, OfANetworkAreNeverAsked)
{
    MediaPaths paths({}, "/edits", false, [](const std::string&) { return true; });
    EXPECT_EQ(paths.Find("https://host/a.mov", false).mPath, "");
    EXPECT_FALSE(paths.Find("https://host/a.mov", false).mNote.empty());
}

class MediaFolders : public testing::Test
{
protected:
    void SetUp() override
    {
        mRoot = std::filesystem::temp_directory_path() / ("otio-folders-" + std::to_string(::getpid()));
        std::filesystem::create_directories(mRoot / "deep/down");
        std::filesystem::create_directories(mRoot / "second");
        for (const char* name : {"deep/down/a.mov", "second/a.mov", "second/b c.mov"})
        {
            std::ofstream(mRoot / name) << "x";
        }
    }
    void TearDown() override { std::filesystem::remove_all(mRoot); }

    std::filesystem::path mRoot;
};

TEST_F(MediaFolders, AreSearchedByTheNamesOfFiles)
{
    DocumentOptions options;
    options.mMediaFolders = {(mRoot / "nowhere").string(), (mRoot / "second").string(),
                             (mRoot / "deep").string()};
    MediaPaths paths(options, "/nowhere");
    EXPECT_EQ(paths.Find("D:\\x\\a.mov", false).mPath, (mRoot / "second/a.mov").string());
    EXPECT_EQ(paths.Find("https://host/b%20c.mov", false).mPath, (mRoot / "second/b c.mov").string());
    EXPECT_EQ(paths.Find("other.mov", false).mPath, "");
    EXPECT_EQ(paths.Find("/x/down", false).mPath, "");
    EXPECT_EQ(paths.Find("/x/down", true).mPath, (mRoot / "deep/down").string());
}

}
