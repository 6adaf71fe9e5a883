#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace TestSupport;

namespace
{

// Longer than anybody waits, so that a render is still in its middle however late the test comes to look at it.
constexpr char kEndlessMovie[] = "counter:size=320x180:duration=1000000";

// Ends a render in its middle by inSignal and looks at what it left.
void ExpectPartAfter(int inSignal, int inCode)
{
    const ScratchFolder folder;
    const std::string out = folder.File("out.mkv");
    ChildProcess tool(
        ToolRequest({"render", kEndlessMovie, out, "-o", "preset=veryslow", "--progress", "fd:1"}));
    ASSERT_TRUE(tool.WaitForText("progress=continue"));
    tool.Signal(inSignal);
    const ChildResult result = tool.Wait();
    EXPECT_EQ(result.exitCode, inCode) << result.Describe();
    EXPECT_NE(result.err.find(out + ".part"), std::string::npos) << result.err;
    EXPECT_NE(result.out.find("progress=interrupted"), std::string::npos) << result.out;
    EXPECT_EQ(FolderNames(folder.Path()), std::vector<std::string>{"out.mkv.part"});
    // The trailer is there: a reader finds whole frames and an end.
    const std::vector<std::string> sums = FrameSums(out + ".part", "yuv420p");
    EXPECT_GE(sums.size(), 1u);
    EXPECT_EQ(Probe(out + ".part", "format=duration").find("N/A"), std::string::npos);
}

} // namespace

TEST(Signals, InterruptWritesTheTrailerAndNamesThePart)
{
    ExpectPartAfter(SIGINT, 130);
}

TEST(Signals, TerminationWritesTheTrailerAndNamesThePart)
{
    ExpectPartAfter(SIGTERM, 143);
}

TEST(Signals, AnOlderOutputSurvivesAnInterrupt)
{
    const ScratchFolder folder;
    WriteFile(folder.File("out.mp4"), "older");
    ChildProcess tool(ToolRequest({"render", kEndlessMovie, folder.File("out.mp4"), "-o", "preset=veryslow",
                                   "--overwrite", "--progress", "fd:1"}));
    ASSERT_TRUE(tool.WaitForText("progress=continue"));
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Wait().exitCode, 130);
    EXPECT_EQ(ReadFile(folder.File("out.mp4")), "older");
    EXPECT_TRUE(FileExists(folder.File("out.mp4.part")));
}

TEST(Signals, AReaderThatHasStoppedReadingCannotHoldUpAnEnd)
{
    const ScratchFolder folder;
    const std::string path = folder.File("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    // This end stays open and unread.
    const int reader = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ChildRequest request = ToolRequest({"render", kEndlessMovie, "-", "--format", "raw"});
    request.outputFile = path;
    {
        ChildProcess tool(request);
        pollfd full{reader, POLLOUT, 0};
        siginfo_t ended{}; // a tool that can't start fills no pipe
        while (poll(&full, 1, 0) > 0 && ended.si_pid == 0 &&
               waitid(P_PID, static_cast<id_t>(tool.ID()), &ended, WEXITED | WNOHANG | WNOWAIT) == 0)
        {
            usleep(1000);
        }
        tool.Signal(SIGINT);
        const ChildResult result = tool.Wait();
        EXPECT_EQ(result.exitCode, 74) << result.Describe();
        EXPECT_NE(result.err.find("timed out"), std::string::npos) << result.err;
    }
    close(reader);
}

TEST(Progress, LinesAreThoseThatFFmpegWrites)
{
    const ChildResult result = RunTool({"render", SmallMovie(), "null:", "--progress", "fd:1"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    const std::vector<std::string> lines = Lines(result.out);
    ASSERT_GE(lines.size(), 12u);
    EXPECT_EQ(lines.back(), "progress=end");
    for (const char* line : {"frame=50", "total_frames=50", "out_time_us=2000000", "out_time=00:00:02.000000",
                             "dup_frames=0", "drop_frames=0"})
    {
        EXPECT_EQ(std::count(lines.end() - 12, lines.end(), line), 1) << line;
    }
}

TEST(Progress, JsonIsOneObjectALine)
{
    const ScratchFolder folder;
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--progress", folder.File("p.jsonl")},
                                               {"--progress", folder.File("p"), "--progress-format", "json"}})
    {
        std::vector<std::string> command = {"render", SmallMovie(), "null:"};
        command.insert(command.end(), words.begin(), words.end());
        EXPECT_EQ(RunTool(command).exitCode, 0);
        const std::vector<std::string> lines = Lines(ReadFile(words[1]));
        ASSERT_GE(lines.size(), 1u);
        EXPECT_EQ(lines.back().rfind("{\"frame\": 50, \"total_frames\": 50, \"percent\": 100, ", 0), 0u)
            << lines.back();
        EXPECT_NE(lines.back().find("\"progress\": \"end\"}"), std::string::npos);
    }
}

TEST(Progress, AWatcherThatLeavesDoesNotEndTheRender)
{
    const ScratchFolder folder;
    const ChildResult result =
        RunTool({"render", SmallMovie(), folder.File("out.mkv"), "--progress", "/dev/full"});
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    EXPECT_NE(result.err.find("no more reports"), std::string::npos) << result.err;
    EXPECT_TRUE(FileExists(folder.File("out.mkv")));
}

TEST(Progress, AWatcherThatHasStoppedReadingDoesNotHoldUpTheRender)
{
    const ScratchFolder folder;
    const std::string pipe = folder.File("pipe");
    ChildRequest request;
    // The pipe is full before the first report, and its reader there for longer than the test.
    request.words = {"bash", "-c",
                     "mkfifo '" + pipe + "'; sleep 1000 < '" + pipe + "' & exec 3> '" + pipe +
                         "'; head -c 65536 /dev/zero >&3; '" + VRENDER_PATH + "' render '" + SmallMovie() +
                         "' null: --progress fd:3; echo code $?; kill $!"};
    const ChildResult result = RunChild(request);
    EXPECT_EQ(result.out, "code 0\n") << result.Describe();
}

TEST(Progress, NoLineIsDrawnWhereThereIsNoTerminal)
{
    const ChildResult result = RunTool({"render", SmallMovie(), "null:"});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "");
}

// A bare root without /dev/pts has none.
bool HasPseudoTerminals()
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0)
    {
        return false;
    }
    const bool isUsable = grantpt(terminal) == 0 && unlockpt(terminal) == 0 &&
                          access(ptsname(terminal), R_OK | W_OK) == 0; // NOLINT(concurrency-mt-unsafe)
    close(terminal);
    return isUsable;
}

TEST(Progress, ATerminalSeesFramesShareSpeedTimeAndMemory)
{
    if (!HasPseudoTerminals())
    {
        GTEST_SKIP() << "this system has no pseudo-terminals";
    }
    ChildRequest request;
    request.words = {"script", "-qec",
                     "'" + std::string(VRENDER_PATH) + "' render '" + LongMovie() + "' null:", "/dev/null"};
    request.environment = {{"TERM", "xterm"}};
    ChildResult result;
    try
    {
        result = RunChild(request);
    }
    catch (const std::runtime_error&)
    {
        GTEST_SKIP() << "there is no script(1) to give the tool a terminal";
    }
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    for (const char* part : {"/600 frames  ", "%  ", " fps  ", " left  ", " MiB"})
    {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << ": " << result.out;
    }
}
