#pragma once

#include "RenderableSources.h"
#include "norviktypes/PulldownCadence.h"

#include <cstdint>
#include <vector>

// Finds in the pictures how film was made into video.
//
// Telecined video shows one field of the same film frame again at two places of every five frames: in one frame
// the field that comes first, in another one that which comes second. Which two tells the rhythm and where in it the
// video begins. The score of a rhythm is 1 - r / o, with r the mean difference of fields to those of the same
// parity a frame before where the rhythm shows one again, and o that of all other fields: 1 where fields are
// repeated exactly, about 0 for video that isn't telecined or doesn't move. Half a rhythm alone scores 0.5.
//
// Thread-safety: pure functions, and renders of the source, which are safe.
namespace Session
{

// Of frames of a video to the frame before, the fields in the order in which they are shown. Element 0 is of the
// second frame.
struct FieldDifferences
{
    std::vector<double> mOfFirst;
    std::vector<double> mOfSecond;
};

struct PulldownFinding
{
    norviktypes::PulldownCadence mCadence =
        norviktypes::kPulldownCadence_None; // the best, whatever its score
    double mScore = 0;
};

inline constexpr std::int64_t kFramesToFindPulldown = 30;
inline constexpr std::int64_t kLeastFramesToFindPulldown = 11; // two rounds
// Below it a rhythm is not believed.
inline constexpr double kLeastPulldownScore = 0.7;

// Below it a rhythm that somebody has named is not believed either, though no other one is found: edited film may
// leave its rhythm on the way, and half of one scores more.
inline constexpr double kLeastScoreOfNamedPulldown = 0.35;
// Code values by which fields differ on average where pictures move; noise of a good camera makes less. Where they
// don't move, scores say nothing.
inline constexpr double kLeastMotion = 2;

PulldownFinding FindPulldown(const FieldDifferences& inDifferences);

// Of inCadence, which is one.
double ScoreOfPulldown(const FieldDifferences& inDifferences, norviktypes::PulldownCadence inCadence);
bool ShowMotion(const FieldDifferences& inDifferences);

// As it would be if the other field came first.
FieldDifferences WithFieldsSwapped(const FieldDifferences& inDifferences);

// Of the first inFrames frames. inParams tells the size and the rate. Throws ML::RenderRequestException.
FieldDifferences MeasureFields(const ML::IRenderableSourceRef& inSource,
                               const ML::CutlistRenderParams& inParams, std::int64_t inFrames,
                               bool inIsUpperFirst);

} // namespace Session
