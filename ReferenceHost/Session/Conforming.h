#pragma once

#include "ReferenceHost/Media/MediaFacts.h"
#include "norviktypes/PulldownCadence.h"

#include <cstdint>

// What is to be made of a clip: its size, its fields, its speed and its rate.
//
// An empty record leaves a clip as its file has it.
//
// Thread-safety: value type.
namespace Session
{

// How a picture of one shape is put into a frame of another.
enum class Fit
{
    kStretch, // fills the frame
    kInside,  // whole, with black beside it or above and below
    kFill     // fills the frame, and what juts out is cut off
};

// What is done about film that was made into video.
enum class PulldownRemoval
{
    kNone,
    kGiven, // mCadence
    kFound  // the cadence is looked for in the pictures
};

struct Conforming
{
    bool mDeinterlaces = false;
    bool mReversesDominance = false;
    bool mSwapsFields = false;
    bool mRemovesFlicker = false;
    bool mInterlacesConsecutive = false;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_FromSource; // else that of the output
    double mSpeed = 1;                                                      // negative: backwards; not 0
    bool mBlends = false;
    Media::Ratio mRate; // frames a second of the output; 0/0: as they come
    PulldownRemoval mPulldown = PulldownRemoval::kNone;
    norviktypes::PulldownCadence mCadence = norviktypes::kPulldownCadence_None;
    norviktypes::PixelAspectRatio mPixelAspectRatio =
        norviktypes::kPixelAspectRatio_Any; // else of the output
    std::int32_t mWidth = 0; // of the output; 0: that of the stream, in pixels of the output's aspect
    std::int32_t mHeight = 0;
    Fit mFit = Fit::kStretch;

    friend bool operator==(const Conforming&, const Conforming&) noexcept = default;

    bool IsEmpty() const noexcept { return *this == Conforming(); }
    // Whether frames of the output are other moments than those of the stream.
    bool ChangesTime() const noexcept
    {
        return mSpeed != 1 || mBlends || mRate.mNumerator != 0 || mInterlacesConsecutive ||
               mPulldown != PulldownRemoval::kNone;
    }
};

} // namespace Session
