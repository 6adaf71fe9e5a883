#include "Tests/Applications/vrender/TimelineText.h"

#include "Tests/Applications/vrender/RunTool.h"

#include <algorithm>
#include <gtest/gtest.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <map>

namespace TestSupport
{

namespace
{

constexpr const char* kSize = "160x90";
constexpr int kFrames = 120;

std::string TimeText(const Moment& inMoment)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "RationalTime.1", "value": {}, "rate": {}}})", inMoment.mValue,
                       inMoment.mRate);
}

std::string GeneratorText(const std::string& inKind, const std::string& inParameters)
{
    return fmt::format(
        R"({{"OTIO_SCHEMA": "GeneratorReference.1", "generator_kind": "{}", "parameters": {{{}}}}})", inKind,
        inParameters);
}

std::string CompositionText(const char* inSchema, const std::vector<std::string>& inChildren,
                            const std::string& inMembers)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "{}", "children": [{}]{}}})", inSchema,
                       fmt::join(inChildren, ", "), inMembers);
}

// In the byte order of archives.
std::string Number(std::uint64_t inValue, int inBytes)
{
    std::string bytes;
    for (int i = 0; i < inBytes; ++i)
    {
        bytes += static_cast<char>(inValue >> 8 * i & 0xFF);
    }
    return bytes;
}

// CRC-32 as archives have it.
std::uint32_t Checksum(const std::string& inBytes)
{
    std::uint32_t sum = 0xFFFFFFFFu;
    for (const char byte : inBytes)
    {
        sum ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
        {
            sum = (sum & 1) != 0 ? sum >> 1 ^ 0xEDB88320u : sum >> 1;
        }
    }
    return ~sum;
}

// The frame of each sum, black among them.
const std::map<std::string, int>& NumbersOfSums(const std::string& inRate)
{
    static std::map<std::string, std::map<std::string, int>> sNumbers;
    std::map<std::string, int>& numbers = sNumbers[inRate];
    if (numbers.empty())
    {
        const auto add = [&](const std::string& inSource, int inFirst)
        {
            const ChildResult result = RunTool({"render", inSource, "null:", "--checksum"});
            EXPECT_EQ(result.exitCode, 0) << result.Describe();
            for (const std::string& sum : SumsOf(result.out))
            {
                numbers.emplace(sum, inFirst++);
            }
        };
        add(fmt::format("color:#000000:size={}:duration=1", kSize), kBlack);
        add(fmt::format("counter:size={}:rate={}:duration={}", kSize, inRate, kFrames), 0);
        EXPECT_EQ(numbers.size(), kFrames + 1u);
    }
    return numbers;
}

// A deflate stream of blocks that are stored.
std::string Packed(const std::string& inBytes)
{
    std::string stream;
    for (std::size_t at = 0; at == 0 || at < inBytes.size(); at += 0xffff)
    {
        const std::string block = inBytes.substr(at, 0xffff);
        stream += Number(at + 0xffff >= inBytes.size() ? 1 : 0, 1) + Number(block.size(), 2) +
                  Number(0xffff - block.size(), 2) + block;
    }
    return stream;
}

} // namespace

std::string RangeText(const Moment& inStart, const Moment& inDuration)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "TimeRange.1", "start_time": {}, "duration": {}}})",
                       TimeText(inStart), TimeText(inDuration));
}

std::string CounterText(int inFrames, const std::string& inRate)
{
    std::string parameters = fmt::format(R"("size": "{}", "rate": "{}")", kSize, inRate);
    parameters += inFrames == 0 ? "" : fmt::format(R"(, "duration": "{}")", inFrames);
    return GeneratorText("vrender:counter", parameters);
}

std::string ColorText(const std::string& inColor)
{
    return GeneratorText("vrender:color", fmt::format(R"("color": "{}", "size": "{}")", inColor, kSize));
}

std::string FileText(const std::string& inUrl)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "ExternalReference.1", "target_url": "{}"}})", inUrl);
}

std::string ClipText(const std::string& inMedia, const Moment& inStart, const Moment& inDuration,
                     const std::string& inMembers)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "Clip.2", "source_range": {},
        "media_references": {{"DEFAULT_MEDIA": {}}}, "active_media_reference_key": "DEFAULT_MEDIA"{}}})",
                       RangeText(inStart, inDuration), inMedia, inMembers);
}

std::string GapText(const Moment& inDuration, const std::string& inMembers)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "Gap.1", "source_range": {}{}}})",
                       RangeText({0, inDuration.mRate}, inDuration), inMembers);
}

std::string TransitionText(const Moment& inIn, const Moment& inOut, const std::string& inType,
                           const std::string& inMembers)
{
    return fmt::format(
        R"({{"OTIO_SCHEMA": "Transition.1", "transition_type": "{}", "in_offset": {}, "out_offset": {}{}}})",
        inType, TimeText(inIn), TimeText(inOut), inMembers);
}

std::string TrackText(const std::vector<std::string>& inChildren, const std::string& inMembers)
{
    return CompositionText("Track.1", inChildren, R"(, "kind": "Video")" + inMembers);
}

std::string StackText(const std::vector<std::string>& inChildren, const std::string& inMembers)
{
    return CompositionText("Stack.1", inChildren, inMembers);
}

std::string TimelineText(const std::vector<std::string>& inTracks, const std::string& inMembers,
                         const std::string& inCanvas)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "Timeline.1", "name": "test",
        "metadata": {{"vrender": {{"version": 1, "canvas": {{{}}}}}}}, "tracks": {}{}}})",
                       inCanvas, StackText(inTracks), inMembers);
}

std::string EffectsText(const std::vector<std::string>& inEffects)
{
    return fmt::format(R"(, "effects": [{}])", fmt::join(inEffects, ", "));
}

std::string WarpText(double inScalar)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "{}", "time_scalar": {}}})",
                       inScalar == 0 ? "FreezeFrame.1" : "LinearTimeWarp.1", inScalar);
}

void WriteArchive(const std::string& inPath, const std::vector<std::pair<std::string, std::string>>& inFiles,
                  const std::vector<std::string>& inPacked)
{
    std::string archive;
    std::string directory;
    for (const auto& [name, content] : inFiles)
    {
        const bool isPacked = std::find(inPacked.begin(), inPacked.end(), name) != inPacked.end();
        const std::string stored = isPacked ? Packed(content) : content;
        // What the local header and the directory say alike: version, method, no date, and the sizes.
        const std::string facts = Number(20, 2) + Number(0, 2) + Number(isPacked ? 8 : 0, 2) + Number(0, 2) +
                                  Number(0x21, 2) + Number(Checksum(content), 4) + Number(stored.size(), 4) +
                                  Number(content.size(), 4) + Number(name.size(), 2) + Number(0, 2);
        directory += "PK\x01\x02" + Number(20, 2) + facts + Number(0, 2) + Number(0, 2) + Number(0, 2) +
                     Number(0, 4) + Number(archive.size(), 4) + name;
        archive += "PK\x03\x04" + facts + name + stored;
    }
    const std::string end = "PK\x05\x06" + Number(0, 4) + Number(inFiles.size(), 2) +
                            Number(inFiles.size(), 2) + Number(directory.size(), 4) +
                            Number(archive.size(), 4) + Number(0, 2);
    WriteFile(inPath, archive + directory + end);
}

std::vector<int> NumbersOf(const std::string& inOutput, const std::string& inRate)
{
    const std::map<std::string, int>& known = NumbersOfSums(inRate);
    std::vector<int> numbers;
    for (const std::string& sum : SumsOf(inOutput))
    {
        const auto found = known.find(sum);
        numbers.push_back(found == known.end() ? kOther : found->second);
    }
    return numbers;
}

std::vector<int> NumbersShown(const std::string& inPath, const std::vector<std::string>& inOptions,
                              const std::string& inRate)
{
    std::vector<std::string> words = {"render", inPath, "null:", "--checksum"};
    words.insert(words.end(), inOptions.begin(), inOptions.end());
    const ChildResult result = RunTool(words);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    return NumbersOf(result.out, inRate);
}

} // namespace TestSupport
