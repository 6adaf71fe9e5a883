#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Stills for tests, made of samples that the test knows.
//
// Thread-safety: safe.
namespace MediaTests
{

using Bytes = std::vector<std::uint8_t>;

// Sides that no block, no vector and no byte of eight pixels divides.
constexpr int kStillWidth = 37;
constexpr int kStillHeight = 23;
constexpr std::size_t kStillPixels = std::size_t{kStillWidth} * kStillHeight;

// The same noise in each run, by the seed of the tests.
Bytes RandomBytes(std::size_t inCount);

// Runs FFmpeg's command line; throws std::runtime_error when it fails.
void RunFFmpeg(const std::vector<std::string>& inWords);

void WriteBytes(const std::string& inPath, const Bytes& inBytes);
Bytes ReadBytes(const std::string& inPath);

// Encodes one raw picture of FFmpeg's format inFormat to inPath with the given encoder options; the encoder
// takes the format as it is, so that nothing is converted.
void EncodeStill(const Bytes& inSamples, const std::string& inFormat, int inWidth, int inHeight,
                 const std::vector<std::string>& inEncoderOptions, const std::string& inPath);

// A picture of that size; inBytes: of a pixel in inFormat.
void EncodeNoise(const std::string& inPath, const std::string& inFormat = "rgb24", std::size_t inBytes = 3);

// The raw samples that FFmpeg's command line decodes from a still, in its own format.
Bytes DecodeStill(const std::string& inPath);

}
