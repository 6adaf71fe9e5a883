#include "ReferenceHost/Effects/Frei0r/Scan.h"
#include "ReferenceHost/Effects/Frei0r/SearchPath.h"
#include "Tests/ReferenceHost/Frei0r/TestPlugins.h"
#include "Tests/Support/Paths.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

using Frei0r::ParameterType;
using Frei0r::PluginFileName;
using Frei0r::ScannedPlugin;

namespace
{

namespace fs = std::filesystem;

std::string Read(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Write(const std::string& inPath, const std::string& inText)
{
    std::ofstream(inPath, std::ios::binary) << inText;
}

// An environment variable for the life of a test.
class Variable
{
public:
    Variable(const char* inName, const std::string& inValue) : mName(inName)
    {
        const char* const before = std::getenv(inName);
        mHadOne = before != nullptr;
        mBefore = mHadOne ? before : "";
        ::setenv(inName, inValue.c_str(), 1);
    }
    ~Variable()
    {
        if (mHadOne)
        {
            ::setenv(mName, mBefore.c_str(), 1);
        }
        else
        {
            ::unsetenv(mName);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* mName;
    bool mHadOne = false;
    std::string mBefore;
};

std::vector<std::string> Reasons(const std::vector<std::string>& inKinds)
{
    std::vector<std::string> reasons;
    for (const ScannedPlugin& plugin : Frei0r::ProbePlugins(TestPlugins::FilesOf(inKinds)))
    {
        reasons.push_back(plugin.mFacts.mWhyNot);
    }
    return reasons;
}

} // namespace

TEST(PluginScan, TellsNamesTypesAndDefaults)
{
    const ScannedPlugin tells = Frei0r::ProbePlugins(TestPlugins::FilesOf({"tells"})).at(0);
    const Frei0r::PluginFacts& facts = tells.mFacts;
    EXPECT_EQ(facts.mWhyNot, "");
    EXPECT_EQ(facts.mName, "Test of a plug-in");
    EXPECT_EQ(facts.mAuthor, "Andr\xC3\xA9") << "Latin-1 becomes UTF-8";
    EXPECT_EQ(facts.mExplanation, "line\nand\ttab \\ back");
    EXPECT_EQ(facts.mType, Frei0r::PluginType::kFilter);
    EXPECT_EQ(facts.mColorModel, Frei0r::ColorModel::kRGBA);
    EXPECT_EQ(facts.mMajorVersion, 3);
    EXPECT_EQ(facts.mMinorVersion, 14);
    ASSERT_EQ(facts.mParameters.size(), 6u);
    EXPECT_EQ(facts.mParameters[0].mNumbers[0], 0.25);
    EXPECT_EQ(facts.mParameters[1].mType, ParameterType::kBool);
    EXPECT_EQ(facts.mParameters[1].mNumbers[0], 1.0);
    EXPECT_EQ(facts.mParameters[2].mNumbers[1], 1.0);
    EXPECT_EQ(facts.mParameters[3].mNumbers[1], 0.125);
    EXPECT_EQ(facts.mParameters[4].mText, "abc");
    EXPECT_EQ(facts.mParameters[5].mName, "Level 2") << "names are unique";
    EXPECT_EQ(facts.mParameters[5].mNumbers[0], -2.0);
}

TEST(PluginScan, SurvivesPluginsThatCrashOrEndTheirProcess)
{
    const auto reasons = Reasons({"tells", "crashes", "exits", "sparse", "crashes"});
    ASSERT_EQ(reasons.size(), 5u);
    EXPECT_EQ(reasons[0], "");
    EXPECT_EQ(reasons[1].substr(0, 24), "crashes when it is loade");
    EXPECT_EQ(reasons[2], "ends the process that loads it");
    EXPECT_EQ(reasons[3], "");
    EXPECT_EQ(reasons[4], reasons[1]);
}

TEST(PluginScan, GivesUpOnPluginsThatHang)
{
    const auto hung = Frei0r::ProbePlugins(TestPlugins::FilesOf({"hangs"}), 1);
    ASSERT_EQ(hung.size(), 1u);
    EXPECT_EQ(hung[0].mFacts.mWhyNot, "hangs when it is loaded");
}

TEST(PluginScan, RefusesWhatDoesNotKeepToTheInterface)
{
    EXPECT_EQ(Reasons({"unready", "version", "missing", "small", "type"}),
              (std::vector<std::string>{"does not start", "speaks version 2 of the interface",
                                        "has no function f0r_construct", "makes no instance",
                                        "is of the unknown type 7"}));
    const TestSupport::ScratchFolder folder;
    Write(folder.File("text.so"), "no shared object");
    const auto text = Frei0r::ProbePlugins({TestPlugins::FileOf(folder.File("text.so"))});
    EXPECT_EQ(text.at(0).mFacts.mWhyNot.substr(0, 18), "cannot be loaded: ");
}

TEST(PluginScan, TextHoldsAllThatWasRead)
{
    const ScannedPlugin tells = Frei0r::ProbePlugins(TestPlugins::FilesOf({"tells"})).at(0);
    const std::string text = TextOf(tells);
    const std::string twice = text + text;
    std::string_view rest = twice;
    ScannedPlugin read;
    ASSERT_TRUE(ReadPlugin(rest, read));
    EXPECT_EQ(read, tells);
    EXPECT_EQ(rest, text);
    for (std::size_t size = 0; size < text.size(); ++size)
    {
        std::string_view part = std::string_view(text).substr(0, size);
        EXPECT_FALSE(ReadPlugin(part, read)) << size;
        EXPECT_EQ(part.size(), size) << "nothing is taken of half a plug-in";
    }
}

TEST(PluginScan, AsksAgainOnlyForFilesThatChanged)
{
    const TestSupport::ScratchFolder folder;
    const std::string cache = folder.File("below/cache");
    std::vector<PluginFileName> files = TestPlugins::FilesOf({"crashes", "tells"});
    const auto first = Frei0r::ScanPlugins(files, cache);
    std::string text = Read(cache);
    const std::size_t name = text.find("Test of a plug-in");
    ASSERT_NE(name, std::string::npos);
    // What only the cache says is seen as long as the file is as it was.
    text.replace(name, 4, "TEST");
    Write(cache, text);
    const auto second = Frei0r::ScanPlugins(files, cache);
    EXPECT_EQ(second.at(0), first.at(0));
    EXPECT_EQ(second.at(1).mFacts.mName, "TEST of a plug-in");
    ++files[1].mModified;
    EXPECT_EQ(Frei0r::ScanPlugins(files, cache).at(1).mFacts.mName, "Test of a plug-in");
    EXPECT_EQ(Read(cache).find("TEST"), std::string::npos);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.File("below")), fs::directory_iterator()), 1)
        << "no half-written file stays";
}

TEST(PluginScan, DoesWithoutACacheThatCannotBeReadOrWritten)
{
    const TestSupport::ScratchFolder folder;
    Write(folder.File("cache"), "something else\nplugin\tx\n");
    const auto files = TestPlugins::FilesOf({"tells"});
    EXPECT_EQ(Frei0r::ScanPlugins(files, folder.File("cache")).at(0).mFacts.mName, "Test of a plug-in");
    EXPECT_EQ(Frei0r::ScanPlugins(files, folder.File("cache/below")).size(), 1u);
    EXPECT_EQ(Frei0r::ScanPlugins(files, "").size(), 1u);
}

TEST(PluginSearch, GoesByTheVariableOrByTheUsualFolders)
{
    const Variable home("HOME", "/home/somebody");
    {
        const Variable path("FREI0R_PATH", "/a::/b c");
        EXPECT_EQ(Frei0r::SearchFolders(), (std::vector<std::string>{"/a", "/b c"}));
    }
    const Variable path("FREI0R_PATH", "");
    EXPECT_TRUE(Frei0r::SearchFolders().empty()) << "an empty list is a list";
    ::unsetenv("FREI0R_PATH");
    EXPECT_EQ(Frei0r::SearchFolders(),
              (std::vector<std::string>{"/home/somebody/.frei0r-1/lib", "/usr/local/lib/frei0r-1",
                                        "/usr/lib/frei0r-1"}));
}

TEST(PluginSearch, TakesTheFirstOfTwoWithOneNameAndLooksIntoFoldersOfMakers)
{
    const TestSupport::ScratchFolder folder;
    for (const char* name : {"one", "two", "two/maker", "two/maker/deep"})
    {
        fs::create_directories(folder.File(name));
    }
    for (const char* name : {"one/a.so", "two/a.so", "two/b.so", "two/maker/b.so", "two/maker/c.so",
                             "two/text.txt", "two/maker/deep/d.so"})
    {
        Write(folder.File(name), "");
    }
    std::vector<std::string> paths;
    for (const PluginFileName& file :
         Frei0r::FindPluginFiles({folder.File("one"), folder.File("none"), folder.File("two")}))
    {
        EXPECT_EQ(file.mStem, fs::path(file.mPath).stem().string());
        paths.push_back(file.mPath);
    }
    EXPECT_EQ(paths, (std::vector<std::string>{folder.File("one/a.so"), folder.File("two/b.so"),
                                               folder.File("two/maker/c.so")}));
}
