#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What another program makes of a clip: FFmpeg's command line decodes it from start to end and prints a
// checksum for each frame.
//
// Thread-safety: safe.
namespace MediaTests
{

struct LinearFrame
{
    std::int64_t time = 0; // in 1/1000000 s, of the container's clock
    std::uint32_t checksum = 0;
};

// inStream: number of the stream in the file. inDecoder: by name, or empty for the codec's default one.
// Throws std::runtime_error when the program fails.
std::vector<LinearFrame> DecodeLinearly(const std::string& inPath, int inStream,
                                        const std::string& inDecoder = "");

// The clips that every reading test goes through: containers and codecs of all kinds.
const std::vector<std::string>& ClipNames();

// The decoder that DecodeLinearly has to name for a clip; empty for nearly all.
std::string DecoderFor(const std::string& inClip);

// A clip's name as a part of a test's name.
std::string TestName(const std::string& inClip);

}
