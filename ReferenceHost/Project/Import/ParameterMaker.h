// Values of documents as parameters of this host.
//
// Keyframes of a document count from the first frame of their item; those of this host lie on the axis of media
// time. Where the numbers of a point or a colour move by different keyframes, or along curves, they are written
// out frame by frame: this host's points have one time for all of their parts.
//
// Thread-safety: pure functions.
#pragma once

#include "ReferenceHost/Project/Otio/Values.h"
#include "ReferenceHost/Project/Parameter.h"

namespace Import
{

// How times of keyframes become those of parameters, and how many can matter.
struct KeyAxis
{
    double mSlope = 1.0;               // media time by item time; not 0
    norviktypes::TickTime mShift;      // media time of the item's first frame
    norviktypes::FrameRate mFrameRate; // on which moves are written out
    norviktypes::TickTime mDuration;   // of the item
};

// All numbers times inFactor.
MF::IKeyframedParameterRef MakeNumber(const Otio::Scalar& inScalar, const KeyAxis& inAxis,
                                      double inFactor = 1.0,
                                      std::uint32_t inControl = Project::kControl_Number);
// A switch or a choice, as inControl says, which holds each value up to the next keyframe. Numbers of choices are 0
// or above.
MF::IKeyframedParameterRef MakeSteps(const Otio::Scalar& inScalar, const KeyAxis& inAxis,
                                     std::uint32_t inControl);
MF::IKeyframedParameterRef MakePoint(const Otio::Scalar& inX, const Otio::Scalar& inY, const KeyAxis& inAxis);
// Three or four numbers from 0 to 1: red, green, blue, alpha.
MF::IKeyframedParameterRef MakeColor(const std::vector<Otio::Scalar>& inNumbers, const KeyAxis& inAxis);

// False for what is no "#rgb", "#rrggbb" or "#rrggbbaa".
bool ParseColor(const std::string& inText, TVK::ParamColor<std::uint32_t>& outColor);

}
