// What is known about a piece of media, for people and for writers of files.
//
// Names are those of FFmpeg wherever it has one ("bt709", "tv", "left"), so that they can be compared with
// what other tools print and given to encoders as they stand. An empty name means that the media does not
// tell.
//
// Thread-safety: value type.
#pragma once

#include "norviktypes/FieldType.h"
#include "norviktypes/PixelAspectRatio.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Media
{

// An exact ratio; 0/0 where there is none.
struct Ratio
{
    std::int64_t mNumerator = 0;
    std::int64_t mDenominator = 0;

    friend bool operator==(const Ratio&, const Ratio&) noexcept = default;
};

struct StreamFacts
{
    std::int32_t mIndex = 0; // in the container
    std::string mType;       // "video", "audio", "subtitle", "data", "attachment"
    std::string mCodec;
    std::string mDescription; // "1920x1080", "48000 Hz stereo"
    bool mIsAttachedPicture = false;
    bool mIsDefault = false;
};

struct StartTimecode
{
    bool mIsPresent = false;
    std::string mText;        // "01:00:00;00"
    std::int64_t mFrames = 0; // frames since 00:00:00:00 at the stream's rate
    bool mIsDropFrame = false;
};

struct ColorFacts
{
    std::string mMatrix;
    std::string mPrimaries;
    std::string mTransfer;
    std::string mRange;
    std::string mSiting;
    bool mIsGuessed = false; // some of it was not told, and the usual rule was applied
};

struct MediaFacts
{
    std::string mContainer;
    std::string mCodec;
    std::string mProfile;
    std::string mCodedFormat;  // pixel format that the decoder gives
    std::string mNativeFormat; // row of the format table that it becomes

    std::int32_t mWidth = 0; // as delivered: after rotation
    std::int32_t mHeight = 0;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    Ratio mFrameRate; // 0/0 for a still
    bool mHasFrameGrid = true;
    std::int64_t mFrameCount = 0; // -1: without an end
    norviktypes::TickTime mDuration;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    StartTimecode mStartTimecode;
    ColorFacts mColor;
    std::int32_t mBitDepth = 8;
    std::string mAlpha = "none"; // "none", "straight", "premultiplied"
    std::int32_t mRotation = 0;  // degrees clockwise that were applied
    bool mIsStill = false;

    std::int32_t mStreamIndex = 0; // of the stream that is read
    std::vector<StreamFacts> mStreams;
    bool mHasAudio = false;
    std::vector<std::pair<std::string, std::string>> mTags;
    std::vector<std::string> mNotes; // what was converted, assumed or left out
};

} // namespace Media
