#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Tests/Applications/Robustness/Mutation.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

// Damaged files go through the whole tool, each in a process of its own with limits: whatever the bytes, the tool
// ends soon, by itself, with an exit code that tells what happened and one line that says it.

using namespace TestSupport;

namespace
{

constexpr std::size_t kFiles = 500;
constexpr std::size_t kFilesOfEachDamage =
    (kFiles + static_cast<std::size_t>(Damage::kCount) - 1) / static_cast<std::size_t>(Damage::kCount);
constexpr std::size_t kClips = 40;
// Coprime to the number of clips, so that a short run meets unlike ones.
constexpr std::size_t kClipStride = 13;
constexpr std::uintmax_t kLargestClip = 3000000;
// Of the processor, as a busy machine lets any program wait.
constexpr std::uint64_t kSecondsForOne = 10;
constexpr std::uint64_t kAddressSpaceBytes = std::uint64_t{4} << 30;
// The tool is told to keep within 300 MiB; a frame of the largest size that it takes, and its decoder's
// references, may stand beside that.
constexpr std::uint64_t kResidentBytes = std::uint64_t{2} << 30;

// Substituted frames, bad data, no decoder, reading broke off, no memory: all that damage to a file can mean. Not
// 1 and 70 (the tool didn't know either), not 64 and 66 (the user did nothing wrong and the file is there).
const std::set<int> kSuccesses = {0, 2};
const std::set<int> kFailures = {65, 69, 74, 75};

struct Clip
{
    std::string name;
    std::string suffix;
    bool isStill;
    Bytes bytes;
};

bool IsStill(const std::filesystem::path& inPath)
{
    static const std::set<std::string> kSuffixes = {".png", ".tiff", ".exr", ".dpx", ".jpg"};
    return kSuffixes.count(inPath.extension().string()) != 0;
}

bool IsMedia(const std::filesystem::path& inPath)
{
    static const std::set<std::string> kSuffixes = {
        ".mp4", ".mov",  ".mkv", ".webm", ".avi", ".ts",  ".mpg", ".m2v", ".gif", ".h264",
        ".mxf", ".m2ts", ".264", ".mpeg", ".ivf", ".nut", ".flv", ".y4m", ".m4v", ".vob"};
    return IsStill(inPath) || kSuffixes.count(inPath.extension().string()) != 0;
}

// Small ones, spread over all there are, so that every kind of container takes part.
std::vector<Clip> ChooseClips()
{
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(MediaFolder()))
    {
        const std::string name = entry.path().filename().string();
        const bool isPart = name.rfind("part.", 0) == 0;
        const bool isFurther = IsStill(entry.path()) && name.find("00001") == std::string::npos;
        if (entry.is_regular_file() && IsMedia(entry.path()) && !isPart && !isFurther &&
            entry.file_size() > 256 && entry.file_size() < kLargestClip)
        {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    const std::size_t count = std::min(kClips, paths.size());
    std::vector<Clip> clips;
    for (std::size_t i = 0; i < count; ++i)
    {
        const std::filesystem::path& path = paths[i * paths.size() / count];
        clips.push_back(
            {path.filename().string(), path.extension().string(), IsStill(path), ReadBytes(path.string())});
    }
    return clips;
}

const std::vector<Clip>& Clips()
{
    static const std::vector<Clip> sClips = ChooseClips();
    return sClips;
}

// All of them, or a tenth of all kinds in a run of a tenth.
std::vector<Clip> SomeClips()
{
    const std::size_t count = std::min(ScaledCount(Clips().size()), Clips().size());
    std::vector<Clip> some;
    for (std::size_t i = 0; i < count; ++i)
    {
        some.push_back(Clips()[i * Clips().size() / count]);
    }
    return some;
}

// VR_TEST_VRENDER sends the same files through another build.
ChildResult RunTool(const std::vector<std::string>& inWords)
{
    static const char* const sOther = std::getenv("VR_TEST_VRENDER");
    ChildRequest request;
    request.words = {sOther != nullptr ? sOther : VRENDER_PATH, "--threads", "2", "--memory", "300M"};
    request.words.insert(request.words.begin() + 1, inWords.begin(), inWords.end());
    request.cpuSeconds = kSecondsForOne * (CanLimitMemory() ? 1 : 10); // a sanitizer makes it slow
    request.memoryBytes = kAddressSpaceBytes;
    return RunChild(request);
}

// A still has no end, so that it is told how long to show it.
std::vector<std::string> RenderWords(const Clip& inClip, const std::string& inPath)
{
    std::vector<std::string> words = {"render", inPath, "null:"};
    if (inClip.isStill)
    {
        words.insert(words.end(), {"--range", "0:2"});
    }
    return words;
}

std::vector<std::string> Lines(const std::string& inText)
{
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < inText.size();)
    {
        const std::size_t end = std::min(inText.find('\n', at), inText.size());
        lines.push_back(inText.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

// What the tool says before it fails: what it left out, and which frames show another.
bool IsNote(const std::string& inLine)
{
    for (const char* const note : {"is shown", "sound is not carried over", "frames last unequally"})
    {
        if (inLine.find(note) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

// What is wrong with a run; empty if nothing.
std::string Complaint(const ChildResult& inResult, const std::string& inFileName)
{
    if (inResult.isTimedOut || inResult.signal != 0)
    {
        return "did not end by itself";
    }
    if (inResult.err.find("Sanitizer") != std::string::npos ||
        inResult.err.find("runtime error:") != std::string::npos)
    {
        return "a sanitizer's report";
    }
    if (CanLimitMemory() && inResult.peakBytes > kResidentBytes)
    {
        return "too much memory";
    }
    if (inResult.exitCode == 2 && inResult.err.find(inFileName) == std::string::npos)
    {
        return "no line about substituted frames";
    }
    if (kSuccesses.count(inResult.exitCode) != 0)
    {
        return {};
    }
    if (kFailures.count(inResult.exitCode) == 0)
    {
        return "an exit code that doesn't tell";
    }
    std::vector<std::string> lines = Lines(inResult.err);
    lines.erase(std::remove_if(lines.begin(), lines.end(), IsNote), lines.end());
    if (lines.size() != 1)
    {
        return fmt::format("{} lines instead of one", lines.size());
    }
    const std::size_t name = lines[0].find(inFileName);
    return name == std::string::npos                        ? "the line doesn't name the file"
           : lines[0].size() < name + inFileName.size() + 8 ? "the line doesn't name the cause"
                                                            : "";
}

struct Tally
{
    std::mutex mutex;
    std::size_t runs = 0;
    std::size_t failures = 0; // with an exit code that says so
    std::vector<std::string> complaints;
};

void KeepForALook(const std::string& inPath, const std::string& inName)
{
    if (const char* const folder = std::getenv("VR_TEST_KEEP"))
    {
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(inPath, std::filesystem::path(folder) / inName,
                                   std::filesystem::copy_options::overwrite_existing);
    }
}

void TryOne(Damage inDamage, std::size_t inNumber, const std::string& inFolder, Tally& ioTally)
{
    Random random(Seed() * 1000003u + static_cast<std::uint64_t>(inDamage) * 100000u + inNumber);
    const std::size_t start = static_cast<std::size_t>(inDamage) * 5;
    const Clip& clip = Clips()[(start + inNumber * kClipStride) % Clips().size()];
    const std::string name = fmt::format("{}_{}{}", DamageName(inDamage), inNumber, clip.suffix);
    const std::string path = inFolder + "/" + name;
    WriteBytes(path, Damaged(clip.bytes, inDamage, random));
    const std::string still = path + ".out.png";
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"info", path}, RenderWords(clip, path),
          std::vector<std::string>{"frame", path, still, "--time", clip.isStill ? "start" : "end"}})
    {
        const ChildResult result = RunTool(words);
        std::string complaint = Complaint(result, name);
        if (complaint.empty() && words[0] == "info" && result.exitCode == 0 && result.out.empty())
        {
            complaint = "nothing told";
        }
        const std::lock_guard lock(ioTally.mutex);
        ++ioTally.runs;
        ioTally.failures += kFailures.count(result.exitCode);
        if (!complaint.empty())
        {
            KeepForALook(path, name);
            ioTally.complaints.push_back(fmt::format("vrender {} {} (from {}): {}; {}", words[0], name,
                                                     clip.name, complaint, result.Describe()));
        }
    }
    std::filesystem::remove(path);
    std::filesystem::remove(still);
}

// Two at a time: most of a short run is the wait for pages of libraries and for the decoder's threads.
void TryAll(Damage inDamage, std::size_t inCount, Tally& ioTally)
{
    const ScratchFolder folder;
    std::atomic<std::size_t> next = 0;
    const auto work = [&]
    {
        for (std::size_t number = next++; number < inCount; number = next++)
        {
            TryOne(inDamage, number, folder.Path(), ioTally);
        }
    };
    std::thread second(work);
    work();
    second.join();
}

class MutatedMedia : public testing::TestWithParam<Damage>
{
};

}

TEST_P(MutatedMedia, EndsSoonWithATellingCodeAndOneClearLine)
{
    ASSERT_GE(Clips().size(), 12u) << "too few media in " << MediaFolder();
    const std::size_t count = ScaledCount(kFilesOfEachDamage);
    Tally tally;
    TryAll(GetParam(), count, tally);
    EXPECT_EQ(tally.runs, 3 * count);
    RecordProperty("refused", static_cast<int>(tally.failures));
    for (const std::string& complaint : tally.complaints)
    {
        ADD_FAILURE() << complaint;
    }
}

INSTANTIATE_TEST_SUITE_P(By, MutatedMedia,
                         testing::Values(Damage::kFlippedBits, Damage::kOverwrittenRanges, Damage::kTruncated,
                                         Damage::kDuplicatedChunks, Damage::kRemovedChunks,
                                         Damage::kSwappedBlocks, Damage::kHead, Damage::kSizes),
                         [](const testing::TestParamInfo<Damage>& inInfo)
                         { return std::string(DamageName(inInfo.param)); });

// Else the others would prove nothing.
TEST(WholeOrBareMedia, UndamagedClipsRenderWhole)
{
    const ScratchFolder folder;
    for (const Clip& clip : SomeClips())
    {
        const std::string path = folder.File("whole_" + clip.name);
        WriteBytes(path, clip.bytes);
        const ChildResult result = RunTool(RenderWords(clip, path));
        EXPECT_EQ(result.exitCode, 0) << clip.name << ": " << result.Describe();
        std::filesystem::remove(path);
    }
}

TEST(WholeOrBareMedia, EmptyFilesAndBareHeadsAreBadData)
{
    const ScratchFolder folder;
    for (const Clip& clip : SomeClips())
    {
        for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{12}})
        {
            const std::string name = fmt::format("bare_{}_{}", length, clip.name);
            WriteBytes(folder.File(name),
                       Bytes(clip.bytes.begin(), clip.bytes.begin() + static_cast<long>(length)));
            const ChildResult result = RunTool({"info", folder.File(name)});
            EXPECT_EQ(result.exitCode, 65) << name << ": " << result.Describe();
            EXPECT_EQ(Complaint(result, name), "") << name << ": " << result.Describe();
        }
    }
}

TEST(Mutation, EachDamageIsTheSameForTheSameSeedAndChangesTheFile)
{
    Bytes file(5000);
    for (std::size_t i = 0; i < file.size(); ++i)
    {
        file[i] = static_cast<unsigned char>(i * 7 + i / 256);
    }
    for (int damage = 0; damage < static_cast<int>(Damage::kCount); ++damage)
    {
        for (std::uint64_t seed = 0; seed < 50; ++seed)
        {
            Random one(seed);
            Random other(seed);
            const Bytes result = Damaged(file, static_cast<Damage>(damage), one);
            EXPECT_EQ(result, Damaged(file, static_cast<Damage>(damage), other));
            EXPECT_NE(result, file);
            if (static_cast<Damage>(damage) == Damage::kHead)
            {
                EXPECT_TRUE(std::equal(file.begin() + 256, file.end(), result.begin() + 256));
            }
        }
    }
}

TEST(Mutation, LengthFieldsOfAllContainersAreFound)
{
    const Bytes box = {0, 0, 0, 16, 'm', 'o', 'o', 'v', 1, 2, 3, 4, 5, 6, 7, 8};
    const Bytes chunk = {0xAA, 'i', 'd', 'x', '1', 0x10, 0x20, 0, 0, 9, 9, 9, 9, 9};
    const Bytes packet = {9, 0, 0, 1, 0xE0, 0x07, 0xEC, 0x81, 0x80, 5, 5, 5, 5, 5};
    const Bytes element = {0x1A, 0x45, 0xDF, 0xA3, 0x9F, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(FindLengthFields(box).at(0).position, 0u);
    EXPECT_EQ(FindLengthFields(chunk).at(0).position, 5u);
    EXPECT_EQ(FindLengthFields(packet).at(0).position, 5u);
    EXPECT_EQ(FindLengthFields(element).at(0).position, 4u);
}
