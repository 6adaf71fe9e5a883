// The sources through which a media node conforms its stream to the sequence, and why each is there.
//
// The order is fixed: the fields of the stream are put right as they lie in the media, before anything filters
// or scales them; the scaler stands outside of all that looks at lines; time is last, since it asks all the
// others for several frames.
//
// Thread-safety: pure functions; sources are safe.
#pragma once

#include "MF/ITimeTransform.h"
#include "RenderableSources.h"
#include "norviktypes/FieldType.h"
#include "norviktypes/PulldownCadence.h"

#include <cstdint>
#include <vector>

namespace ML
{

enum class MediaChainStep : std::uint8_t
{
    RemovePulldown,
    ReverseFieldDominance,
    FieldReverse,
    Deinterlace,
    RemoveFlicker,
    InterlaceConsecutive,
    ScaleAndCorrectPixelAspect,
    TimeBlend,
    TimeMix,
};
using MediaChainSteps = std::vector<MediaChainStep>;

// What the choice of steps, and the steps, go by.
struct MediaChainFacts
{
    // A stream that fills frames of its caller brings its fields into order by itself.
    bool mIsFilledByStream = false;
    // kPulldownCadence_None: none is to be removed.
    norviktypes::PulldownCadence mPulldown = norviktypes::kPulldownCadence_None;
    norviktypes::FieldType mStreamFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::FieldType mSequenceFieldType = norviktypes::kFieldType_Invalid;
    bool mIsStill = false;
    bool mReversesFieldDominance = false;
    // Takes the field order for the other one without turning it round: the difference is to be seen.
    bool mFlipsDominanceForCompare = false;
    std::uint32_t mScaleToFramePolicy = 0; // kScaleToFrame_
    std::int32_t mOutputHeight = 0;        // of the sequence
    std::int32_t mClipHeight = 0;
    std::uint32_t mFieldOption = 0; // kFieldOption_
    bool mDeinterlacesOnTimeMode = false;
    bool mBlendsFrames = false;
    double mSpeed = 1.0; // negative: backwards
    MF::ITimeTransformRef mTimeTransform;
};

// The steps from the stream outwards.
MediaChainSteps PlanMediaChain(const MediaChainFacts& inFacts);

// inBase with a decorator for each step. An empty inBase throws TVK::NullInterfaceException.
IRenderableSourceRef BuildMediaChain(const IRenderableSourceRef& inBase, const MediaChainSteps& inSteps,
                                     const MediaChainFacts& inFacts);

} // namespace ML
