#include "Applications/vrender/OutputFile.h"

#include "Applications/vrender/ExitCodes.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace vrender;

namespace
{

std::string Read(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void Write(const std::string& inPath, const std::string& inText)
{
    std::ofstream(inPath, std::ios::binary) << inText;
}

bool Exists(const std::string& inPath)
{
    struct stat status
    {
    };
    return ::lstat(inPath.c_str(), &status) == 0;
}

template <typename Function>
ExitCode CodeOf(const Function& inFunction)
{
    try
    {
        inFunction();
    }
    catch (const ToolError& error)
    {
        return error.Code();
    }
    return ExitCode::kDone;
}

} // namespace

TEST(OutputFile, AppearsUnderItsNameOnlyWhenItIsWhole)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("out");
    auto file = OutputFile::Open(path, false);
    file->Write("abc", 3);
    EXPECT_FALSE(Exists(path));
    EXPECT_EQ(file->PartPath(), path + ".part");
    EXPECT_EQ(Read(path + ".part"), "abc");
    file->Commit();
    EXPECT_EQ(Read(path), "abc");
    EXPECT_FALSE(Exists(path + ".part"));
}

TEST(OutputFile, LeftAloneItRemovesItsPart)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("out");
    {
        OutputFile::Open(path, false)->Write("abc", 3);
    }
    EXPECT_FALSE(Exists(path));
    EXPECT_FALSE(Exists(path + ".part"));
}

TEST(OutputFile, KeptItLeavesItsPart)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("out");
    {
        auto file = OutputFile::Open(path, false);
        file->Write("abc", 3);
        file->Keep();
    }
    EXPECT_FALSE(Exists(path));
    EXPECT_EQ(Read(path + ".part"), "abc");
}

TEST(OutputFile, AnOlderOutputStaysUntilTheNewOneIsWhole)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("out");
    Write(path, "old");
    EXPECT_EQ(CodeOf([&] { OutputFile::Open(path, false); }), ExitCode::kCannotCreate);
    {
        OutputFile::Open(path, true)->Write("torn", 4);
    }
    EXPECT_EQ(Read(path), "old");
    auto file = OutputFile::Open(path, true);
    file->Write("new", 3);
    EXPECT_EQ(Read(path), "old");
    file->Commit();
    EXPECT_EQ(Read(path), "new");
}

TEST(OutputFile, AnOutputThatCameMeanwhileIsNotReplaced)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("out");
    auto file = OutputFile::Open(path, false);
    file->Write("new", 3);
    Write(path, "other");
    EXPECT_EQ(CodeOf([&] { file->Commit(); }), ExitCode::kCannotCreate);
    file.reset();
    EXPECT_EQ(Read(path), "other");
    EXPECT_EQ(Read(path + ".part"), "new");
}

TEST(OutputFile, OfTwoWritersTheSecondIsTurnedAway)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("out");
    auto first = OutputFile::Open(path, false);
    first->Write("abc", 3);
    EXPECT_EQ(CodeOf([&] { OutputFile::Open(path, false); }), ExitCode::kTryAgain);
    first->Commit();
    EXPECT_EQ(Read(path), "abc");
}

TEST(OutputFile, SeeksBackToPatchAHeader)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("out");
    auto file = OutputFile::Open(path, false);
    file->Write("....data", 8);
    file->Seek(0);
    file->Write("head", 4);
    EXPECT_EQ(file->Size(), 8u);
    file->Commit();
    EXPECT_EQ(Read(path), "headdata");
}

TEST(OutputFile, ALinkStaysALink)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("link");
    Write(folder.File("target"), "old");
    ASSERT_EQ(::symlink("target", path.c_str()), 0);
    auto file = OutputFile::Open(path, true);
    file->Write("new", 3);
    file->Commit();
    struct stat status
    {
    };
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(Read(folder.File("target")), "new");
}

TEST(OutputFile, WhereNothingCanBeMadeItSaysSo)
{
    const TestSupport::ScratchFolder folder;
    Write(folder.File("file"), "x");
    EXPECT_EQ(CodeOf([&] { OutputFile::Open(folder.File("file/out"), false); }), ExitCode::kCannotCreate);
    EXPECT_EQ(CodeOf([&] { OutputFile::Open(folder.File("none/out"), false); }), ExitCode::kCannotCreate);
    EXPECT_EQ(CodeOf([&] { OutputFile::Open(folder.Path(), true); }), ExitCode::kCannotCreate);
    EXPECT_EQ(CodeOf([&] { OutputFile::Open("/proc/self/nothing", true); }), ExitCode::kCannotCreate);
}

TEST(OutputFile, AFullDeviceIsAnInputOutputError)
{
    auto file = OutputFile::Open("/dev/full", false);
    EXPECT_EQ(CodeOf([&] { file->Write("abc", 3); }), ExitCode::kIOError);
    EXPECT_EQ(CodeOf([&] { file->Commit(); }), ExitCode::kIOError);
}
