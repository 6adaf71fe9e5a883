#pragma once

#include "Tests/Support/ChildProcess.h"

#include <string>
#include <vector>

// The tool itself, run as a user runs it, and what its results are checked with.
//
// Thread-safety: one thread.
namespace TestSupport
{

// vrender with inWords behind its name. Its usual disk cache is one of this process.
ChildRequest ToolRequest(std::vector<std::string> inWords);
ChildResult RunTool(std::vector<std::string> inWords);

// FFmpeg's own tools. A test can't go on without what they make, so a failure throws.
void RunFFmpeg(const std::string& inArguments);
// ffprobe's answer for the named entries of the first video stream, one "key=value" a line.
std::string Probe(const std::string& inPath, const std::string& inEntries);
// MD5 of each frame as FFmpeg decodes it to inPixelFormat.
std::vector<std::string> FrameSums(const std::string& inPath, const std::string& inPixelFormat);

// The MD5s of "frame N MD5" lines, in their order.
std::vector<std::string> SumsOf(const std::string& inOutput);
// Lines of a text, without their ends.
std::vector<std::string> Lines(const std::string& inText);

std::string ReadFile(const std::string& inPath);
void WriteFile(const std::string& inPath, const std::string& inBytes);
bool FileExists(const std::string& inPath);
// Names in a folder, sorted.
std::vector<std::string> FolderNames(const std::string& inPath);

// Small media that are made once for all tests of the process.
// 50 frames of 160x90 at 25 frames a second, H.264 with B frames, Rec.709.
const std::string& SmallMovie();
// 600 of the same at 640x360: long enough to be interrupted.
const std::string& LongMovie();

} // namespace TestSupport
