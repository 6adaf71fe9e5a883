#include "Tests/ReferenceHost/Media/StillFiles.h"

#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace MediaTests
{

Bytes RandomBytes(std::size_t inCount)
{
    std::mt19937_64 random(TestSupport::Seed());
    Bytes bytes(inCount);
    for (std::uint8_t& byte : bytes)
    {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

void RunFFmpeg(const std::vector<std::string>& inWords)
{
    TestSupport::ChildRequest request;
    request.words = {"ffmpeg", "-v", "error", "-y", "-nostdin"};
    request.words.insert(request.words.end(), inWords.begin(), inWords.end());
    const TestSupport::ChildResult result = TestSupport::RunChild(request);
    if (result.exitCode != 0)
    {
        throw std::runtime_error(result.Describe());
    }
}

void WriteBytes(const std::string& inPath, const Bytes& inBytes)
{
    std::ofstream file(inPath, std::ios::binary);
    file.write(reinterpret_cast<const char*>(inBytes.data()), static_cast<std::streamsize>(inBytes.size()));
    if (!file.flush())
    {
        throw std::runtime_error("cannot write " + inPath);
    }
}

Bytes ReadBytes(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    if (!file)
    {
        throw std::runtime_error("cannot read " + inPath);
    }
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void EncodeStill(const Bytes& inSamples, const std::string& inFormat, int inWidth, int inHeight,
                 const std::vector<std::string>& inEncoderOptions, const std::string& inPath)
{
    const TestSupport::ScratchFolder scratch;
    const std::string raw = scratch.File("picture.raw");
    WriteBytes(raw, inSamples);
    std::vector<std::string> words = {
        "-f", "rawvideo", "-pix_fmt",  inFormat, "-s",       fmt::format("{}x{}", inWidth, inHeight),
        "-i", raw,        "-frames:v", "1",      "-pix_fmt", inFormat};
    words.insert(words.end(), inEncoderOptions.begin(), inEncoderOptions.end());
    words.insert(words.end(), {"-update", "1", inPath});
    RunFFmpeg(words);
}

void EncodeNoise(const std::string& inPath, const std::string& inFormat, std::size_t inBytes)
{
    EncodeStill(RandomBytes(kStillPixels * inBytes), inFormat, kStillWidth, kStillHeight, {}, inPath);
}

Bytes DecodeStill(const std::string& inPath)
{
    const TestSupport::ScratchFolder scratch;
    const std::string raw = scratch.File("picture.raw");
    RunFFmpeg({"-noautorotate", "-i", inPath, "-f", "rawvideo", raw});
    return ReadBytes(raw);
}

}
