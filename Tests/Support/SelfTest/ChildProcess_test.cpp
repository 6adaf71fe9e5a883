#include "Tests/Support/ChildProcess.h"

#include <csignal>
#include <stdexcept>

#include <gtest/gtest.h>

#include "Tests/Support/Paths.h"

using TestSupport::ChildProcess;
using TestSupport::ChildRequest;
using TestSupport::ChildResult;
using TestSupport::RunChild;

namespace
{

ChildRequest Shell(const std::string& inScript)
{
    ChildRequest request;
    request.words = {"sh", "-c", inScript};
    return request;
}

}

TEST(ChildProcess, ChannelsAndExitCodeAreKeptApart)
{
    const ChildResult result = RunChild(Shell("echo data; echo text >&2; exit 65"));
    EXPECT_EQ(result.exitCode, 65);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.out, "data\n");
    EXPECT_EQ(result.err, "text\n");
    EXPECT_GT(result.peakBytes, 0u);
}

TEST(ChildProcess, MoreThanAPipeHoldsIsRead)
{
    const ChildResult result = RunChild(Shell("head -c 3000000 /dev/zero; head -c 1000000 /dev/zero >&2"));
    EXPECT_EQ(result.out.size(), 3000000u);
    EXPECT_EQ(result.err.size(), 1000000u);
}

TEST(ChildProcess, SignalIsTold)
{
    const ChildResult result = RunChild(Shell("kill -SEGV $$"));
    EXPECT_EQ(result.signal, SIGSEGV);
    EXPECT_EQ(result.exitCode, -1);
}

TEST(ChildProcess, HangIsEndedWithItsChildren)
{
    ChildRequest request = Shell("sleep 1000 & echo $!; wait");
    request.seconds = TestSupport::CanLimitMemory() ? 0.3 : 0.03;
    ChildResult result;
    // On a busy machine a shell may be killed before it came to its first word.
    for (; result.out.find('\n') == std::string::npos; request.seconds *= 2)
    {
        result = RunChild(request);
        ASSERT_TRUE(result.isTimedOut);
        EXPECT_EQ(result.signal, SIGKILL);
    }
    // Gone, or nothing but its number; at the latest when it has had time to notice.
    const std::string status = "/proc/" + std::to_string(std::stoi(result.out)) + "/status";
    const ChildResult look =
        RunChild(Shell("while grep -s State: " + status + " | grep -v Z; do sleep 0.05; done"));
    EXPECT_FALSE(look.isTimedOut) << look.out;
}

TEST(ChildProcess, HangWithClosedChannelsIsEnded)
{
    ChildRequest request = Shell("exec sleep 1000 >&- 2>&-");
    request.seconds = TestSupport::CanLimitMemory() ? 0.3 : 0.03;
    EXPECT_TRUE(RunChild(request).isTimedOut);
}

TEST(ChildProcess, MemoryLimitHolds)
{
    if (!TestSupport::CanLimitMemory())
    {
        GTEST_SKIP() << "a sanitizer's shadow memory doesn't go with a limit of address space";
    }
    const char* const kScript = "import sys; b = bytearray(int(sys.argv[1]) << 20)";
    ChildRequest request;
    request.words = {"python3", "-c", kScript, "200"};
    EXPECT_EQ(RunChild(request).exitCode, 0);
    request.memoryBytes = std::uint64_t{150} << 20;
    EXPECT_NE(RunChild(request).exitCode, 0);
}

TEST(ChildProcess, ProcessorTimeLimitHolds)
{
    ChildRequest request = Shell("while :; do :; done");
    request.cpuSeconds = 1;
    const ChildResult result = RunChild(request);
    EXPECT_FALSE(result.isTimedOut);
    EXPECT_TRUE(result.signal == SIGXCPU || result.signal == SIGKILL) << result.Describe();
}

TEST(ChildProcess, FolderFilesAndEnvironmentAreThoseAskedFor)
{
    const TestSupport::ScratchFolder folder;
    ChildRequest request = Shell("cat; pwd; echo $VR_WORD");
    request.folder = folder.Path();
    request.inputFile = "/proc/sys/kernel/ostype";
    request.outputFile = folder.File("out.txt");
    request.environment = {{"VR_WORD", "changed"}};
    EXPECT_EQ(RunChild(request).out, "");
    EXPECT_EQ(RunChild(Shell("cat " + request.outputFile)).out, "Linux\n" + folder.Path() + "\nchanged\n");
}

TEST(ChildProcess, MissingProgramThrows)
{
    ChildRequest request;
    request.words = {"/nonexistent/program"};
    EXPECT_THROW(RunChild(request), std::runtime_error);
}

TEST(ChildProcess, RunningChildTakesSignals)
{
    ChildProcess child(Shell("trap 'echo caught; exit 130' INT; echo ready; while :; do sleep 0.01; done"));
    ASSERT_TRUE(child.WaitForText("ready"));
    child.Signal(SIGINT);
    const ChildResult result = child.Wait();
    EXPECT_EQ(result.exitCode, 130) << result.Describe();
    EXPECT_EQ(result.out, "ready\ncaught\n");
}

TEST(ChildProcess, ClosedOutputIsNoticedByTheChild)
{
    ChildProcess child(Shell("exec yes"));
    child.CloseOutput();
    EXPECT_EQ(child.Wait().signal, SIGPIPE);
}
