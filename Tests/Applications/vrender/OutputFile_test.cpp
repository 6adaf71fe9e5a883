#include "Applications/vrender/OutputFile.h"

#include "Applications/vrender/ExitCodes.h"
#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace vrender;
using namespace TestSupport;

namespace
{

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
    const ScratchFolder folder;
    const std::string path = folder.File("out");
    auto file = OutputFile::Open(path, false);
    file->Write("abc", 3);
    EXPECT_FALSE(FileExists(path));
    EXPECT_EQ(file->PartPath(), path + ".part");
    EXPECT_EQ(ReadFile(path + ".part"), "abc");
    file->Commit();
    EXPECT_EQ(ReadFile(path), "abc");
    EXPECT_FALSE(FileExists(path + ".part"));
}

TEST(OutputFile, LeftAloneItRemovesItsPart)
{
    const ScratchFolder folder;
    const std::string path = folder.File("out");
    {
        OutputFile::Open(path, false)->Write("abc", 3);
    }
    EXPECT_FALSE(FileExists(path));
    EXPECT_FALSE(FileExists(path + ".part"));
}

TEST(OutputFile, KeptItLeavesItsPart)
{
    const ScratchFolder folder;
    const std::string path = folder.File("out");
    {
        auto file = OutputFile::Open(path, false);
        file->Write("abc", 3);
        file->Keep();
    }
    EXPECT_FALSE(FileExists(path));
    EXPECT_EQ(ReadFile(path + ".part"), "abc");
}

TEST(OutputFile, AnOlderOutputStaysUntilTheNewOneIsWhole)
{
    const ScratchFolder folder;
    const std::string path = folder.File("out");
    WriteFile(path, "old");
    EXPECT_EQ(CodeOf([&] { OutputFile::Open(path, false); }), ExitCode::kCannotCreate);
    {
        OutputFile::Open(path, true)->Write("torn", 4);
    }
    EXPECT_EQ(ReadFile(path), "old");
    auto file = OutputFile::Open(path, true);
    file->Write("new", 3);
    EXPECT_EQ(ReadFile(path), "old");
    file->Commit();
    EXPECT_EQ(ReadFile(path), "new");
}

TEST(OutputFile, AnOutputThatCameMeanwhileIsNotReplaced)
{
    const ScratchFolder folder;
    const std::string path = folder.File("out");
    auto file = OutputFile::Open(path, false);
    file->Write("new", 3);
    WriteFile(path, "other");
    EXPECT_EQ(CodeOf([&] { file->Commit(); }), ExitCode::kCannotCreate);
    file.reset();
    EXPECT_EQ(ReadFile(path), "other");
    EXPECT_EQ(ReadFile(path + ".part"), "new");
}

TEST(OutputFile, OfTwoWritersTheSecondIsTurnedAway)
{
    const ScratchFolder folder;
    const std::string path = folder.File("out");
    auto first = OutputFile::Open(path, false);
    first->Write("abc", 3);
    EXPECT_EQ(CodeOf([&] { OutputFile::Open(path, false); }), ExitCode::kTryAgain);
    first->Commit();
    EXPECT_EQ(ReadFile(path), "abc");
}

TEST(OutputFile, SeeksBackToPatchAHeader)
{
    const ScratchFolder folder;
    const std::string path = folder.File("out");
    auto file = OutputFile::Open(path, false);
    file->Write("....data", 8);
    file->Seek(0);
    file->Write("head", 4);
    EXPECT_EQ(file->Size(), 8u);
    file->Commit();
    EXPECT_EQ(ReadFile(path), "headdata");
}

TEST(OutputFile, ALinkStaysALink)
{
    const ScratchFolder folder;
    const std::string path = folder.File("link");
    WriteFile(folder.File("target"), "old");
    ASSERT_EQ(::symlink("target", path.c_str()), 0);
    auto file = OutputFile::Open(path, true);
    file->Write("new", 3);
    file->Commit();
    struct stat status
    {
    };
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(ReadFile(folder.File("target")), "new");
}

TEST(OutputFile, WhereNothingCanBeMadeItSaysSo)
{
    const ScratchFolder folder;
    WriteFile(folder.File("file"), "x");
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
