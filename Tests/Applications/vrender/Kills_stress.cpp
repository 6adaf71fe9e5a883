#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <sys/wait.h>

using namespace TestSupport;

namespace
{

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>; // content by name
using Words = std::vector<std::string>;

constexpr char kPartSuffix[] = ".part";

bool IsPart(const std::string& inName)
{
    return inName.size() > 5 && inName.substr(inName.size() - 5) == kPartSuffix;
}

// Of all files below a folder, whatever becomes of them meanwhile.
std::uint64_t BytesBelow(const std::string& inFolder)
{
    std::uint64_t bytes = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator file(inFolder, error), end; !error && file != end;
         file.increment(error))
    {
        std::error_code gone;
        const std::uint64_t size = file->is_regular_file(gone) ? file->file_size(gone) : 0;
        bytes += gone ? 0 : size;
    }
    return bytes;
}

Files FilesIn(const std::string& inFolder)
{
    Files files;
    if (FileExists(inFolder))
    {
        for (const std::string& name : FolderNames(inFolder))
        {
            files[name] = ReadFile(inFolder + "/" + name);
        }
    }
    return files;
}

// A run of the tool into a folder, with a cache of its own, and what it comes to when nobody ends it.
class Subject
{
public:
    // inWords: with OUT for the folder that the results are written to.
    Subject(std::string inName, Words inWords, bool inKeepsFrames)
        : mName(std::move(inName))
        , mWords(std::move(inWords))
        , mKeepsFrames(inKeepsFrames)
    {
        const ChildResult result = RunChild(Request());
        EXPECT_EQ(result.exitCode, 0) << mName << ": " << result.Describe();
        mSeconds = result.seconds;
        mRight = FilesIn(Out());
        mBytes = BytesBelow(mScratch->Path());
        EXPECT_FALSE(mRight.empty());
        EXPECT_EQ(fs::exists(Cache()), mKeepsFrames) << mName;
    }

    // Ends a run when it has written so much of the bytes that it would have, or taken so much of the time, and
    // looks at what it left. True if it was still at work.
    bool KillAt(double inShare)
    {
        mScratch = std::make_unique<ScratchFolder>();
        const bool wasKilled = RunAndKill(inShare);
        const Files left = FilesIn(Out());
        for (const auto& [name, content] : left)
        {
            // The name of a whole result stands for a whole result.
            EXPECT_TRUE(IsPart(name) || (mRight.count(name) != 0 && mRight.at(name) == content))
                << mName << ": " << name << " after " << inShare;
        }
        if (mKeepsFrames)
        {
            CheckCache();
        }
        const ChildResult again = RunChild(Request());
        EXPECT_EQ(again.exitCode, 0) << mName << ": " << again.Describe();
        EXPECT_EQ(again.err, "") << mName;
        for (const auto& [name, content] : FilesIn(Out()))
        {
            EXPECT_TRUE(mRight.count(name) != 0 && mRight.at(name) == content)
                << mName << ": " << name << " again";
        }
        EXPECT_EQ(FilesIn(Out()).size(), mRight.size()) << mName;
        return wasKilled;
    }

private:
    std::string Out() const { return mScratch->File("out"); }
    std::string Cache() const { return mScratch->File("cache"); }

    ChildRequest Request() const
    {
        Words words = mWords;
        for (std::string& word : words)
        {
            const std::size_t at = word.find("OUT");
            word = at == std::string::npos ? word : word.replace(at, 3, Out());
        }
        fs::create_directories(Out());
        ChildRequest request = ToolRequest(std::move(words));
        request.environment = {{"XDG_CACHE_HOME", Cache()}};
        return request;
    }

    bool RunAndKill(double inShare)
    {
        const auto bytes = static_cast<std::uint64_t>(inShare * static_cast<double>(mBytes));
        const auto start = std::chrono::steady_clock::now();
        const auto time = std::chrono::duration<double>(inShare * mSeconds);
        ChildProcess tool(Request());
        siginfo_t ended{};
        do
        {
            ended.si_pid = 0;
            ::waitid(P_PID, static_cast<id_t>(tool.ID()), &ended, WEXITED | WNOHANG | WNOWAIT);
        } while (ended.si_pid == 0 && BytesBelow(mScratch->Path()) < bytes &&
                 std::chrono::steady_clock::now() - start < time);
        tool.Signal(SIGKILL);
        return tool.Wait().signal == SIGKILL;
    }

    void CheckCache() const
    {
        ChildRequest request = ToolRequest({"cache", "verify"});
        request.environment = {{"XDG_CACHE_HOME", Cache()}};
        const ChildResult result = RunChild(request);
        EXPECT_EQ(result.exitCode, 0) << mName << ": " << result.Describe() << result.out;
        EXPECT_EQ(result.err, "") << mName;
    }

    const std::string mName;
    const Words mWords;
    const bool mKeepsFrames;
    std::unique_ptr<ScratchFolder> mScratch = std::make_unique<ScratchFolder>();
    Files mRight;
    std::uint64_t mBytes = 0;
    double mSeconds = 0.0;
};

} // namespace

TEST(Kills, LeaveNoResultThatOnlyLooksWholeAndNoBrokenCache)
{
    const std::string& movie = SmallMovie();
    std::vector<std::unique_ptr<Subject>> subjects;
    const auto add = [&](const char* inName, Words inWords, bool inKeepsFrames)
    { subjects.push_back(std::make_unique<Subject>(inName, std::move(inWords), inKeepsFrames)); };
    add("thumbnails", {"thumbnails", movie, "OUT", "-y"}, true);
    add("contact sheet", {"contact-sheet", movie, "OUT/sheet.png", "-y"}, true);
    add("movie", {"render", movie, "OUT/movie.mov", "-y", "--codec", "prores_ks"}, false);
    add("compressed movie", {"render", movie, "OUT/movie.mp4", "-y", "--threads", "1"}, false);
    add("stills", {"render", movie, "OUT/still%05d.png", "-y"}, false);

    std::mt19937_64 random(Seed());
    const std::size_t count = ScaledCount(10);
    std::size_t killed = 0;
    for (std::size_t kill = 0; kill < count && !testing::Test::HasFailure(); ++kill)
    {
        const double share = static_cast<double>(random() % 1000) / 1000;
        killed += subjects[kill % subjects.size()]->KillAt(share) ? 1 : 0;
    }
    std::printf("%zu runs, %zu killed at work\n", count, killed);
}
