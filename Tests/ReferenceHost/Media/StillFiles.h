#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Stills for tests, made of samples that the test knows.
//
// Thread-safety: safe.
namespace MediaTests
{

// Runs FFmpeg's command line; throws std::runtime_error when it fails.
void RunFFmpeg(const std::vector<std::string>& inWords);

void WriteBytes(const std::string& inPath, const std::vector<std::uint8_t>& inBytes);
std::vector<std::uint8_t> ReadBytes(const std::string& inPath);

// Encodes one raw picture of FFmpeg's format inFormat to inPath with the given encoder options; the encoder
// takes the format as it is, so that nothing is converted.
void EncodeStill(const std::vector<std::uint8_t>& inSamples, const std::string& inFormat, int inWidth,
                 int inHeight, const std::vector<std::string>& inEncoderOptions, const std::string& inPath);

// The raw samples that FFmpeg's command line decodes from a still, in its own format.
std::vector<std::uint8_t> DecodeStill(const std::string& inPath);

}
