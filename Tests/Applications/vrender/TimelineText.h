#pragma once

#include <string>
#include <utility>
#include <vector>

// Small documents of timelines, put together of texts, and what the tool shows of them.
//
// Media are counters of 160x90: each of their frames shows its own number, so that a frame of a timeline says by
// its pixels which frame of its media it is.
//
// Thread-safety: one thread.
namespace TestSupport
{

// Frames at a rate, as a document writes them.
struct Moment
{
    double mValue = 0;
    double mRate = 25;
};
std::string RangeText(const Moment& inStart, const Moment& inDuration);

// A reference to a counter of inFrames (0: without an end) at inRate.
std::string CounterText(int inFrames = 100, const std::string& inRate = "25");
std::string ColorText(const std::string& inColor);
// A reference to a file.
std::string FileText(const std::string& inUrl);

// inMembers: more members, such as effects or metadata, each with a comma in front.
std::string ClipText(const std::string& inMedia, const Moment& inStart, const Moment& inDuration,
                     const std::string& inMembers = "");
std::string GapText(const Moment& inDuration, const std::string& inMembers = "");
std::string TransitionText(const Moment& inIn, const Moment& inOut,
                           const std::string& inType = "SMPTE_Dissolve", const std::string& inMembers = "");
std::string TrackText(const std::vector<std::string>& inChildren, const std::string& inMembers = "");
std::string StackText(const std::vector<std::string>& inChildren, const std::string& inMembers = "");
// Of 160x90 at 25 frames a second, unless inCanvas says otherwise.
std::string TimelineText(const std::vector<std::string>& inTracks, const std::string& inMembers = "",
                         const std::string& inCanvas = R"("width": 160, "height": 90, "rate": [25, 1])");
std::string EffectsText(const std::vector<std::string>& inEffects);
std::string WarpText(double inScalar);

// A zip file of inFiles (names and contents), each stored as it is.
// inPacked: names of files that are written as a packed stream, which holds them in blocks that are not smaller.
void WriteArchive(const std::string& inPath, const std::vector<std::pair<std::string, std::string>>& inFiles,
                  const std::vector<std::string>& inPacked = {});

// What frames of the tool show, by their sums: numbers of a counter's frames, and these.
inline constexpr int kBlack = -1;
inline constexpr int kOther = -2; // neither black nor a frame of the counter
// Of the tool's own lines of sums.
std::vector<int> NumbersOf(const std::string& inOutput, const std::string& inRate = "25");
// Of a whole render of inPath with inOptions.
std::vector<int> NumbersShown(const std::string& inPath, const std::vector<std::string>& inOptions = {},
                              const std::string& inRate = "25");

} // namespace TestSupport
