// One use of a piece of media, or of another sequence, on a track: what a host program says of it.
//
// It shows from mInPoint on, at mSpeed. With speed k and t the time since the item's start, the media time is
//
//   forward     mInPoint + k * t
//   backwards   first + k * t, where first lies so far behind mInPoint that the last frame of the item shows
//               the frame of mInPoint: mInPoint is the lowest media time used, whichever way the clip plays
//   k = 0       mInPoint throughout; effects go on moving
//
// and in the parts that transitions show beyond the ends of the item it goes on alike. The frame shown is the one
// that holds that time: sources round down. A millionth of a frame is added before that where speed was applied,
// so that a product that falls short of a frame by its last bit shows the frame that was meant. mAvailable, where
// it is set, then holds the time between its first and its last frame.
//
// Keyframes of effects lie on the axis of media time; ToMediaTime gives the media time of a time on the item.
//
// Thread-safety: a value.
#pragma once

#include "BE/IClip.h"
#include "BE/ISequence.h"
#include "MF/TimeRange.h"
#include "ReferenceHost/Project/Parameter.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Project
{

struct ClipItem
{
    std::string mName; // UTF-8

    // On the track.
    norviktypes::TickTime mStart;
    norviktypes::TickTime mDuration;

    // What it shows: media, or a sequence, or neither while media is offline; renders then see media of the master
    // clip's name without a stream.
    BE::IMasterClipRef mMasterClip;
    BE::IMediaInfoRef mMedia;
    BE::ISequenceRef mSequence; // one of this host's

    norviktypes::TickTime mInPoint;
    double mSpeed = 1.0;
    // Where mSpeed is 1: numbers, the media time in seconds at times since the item's start. Empty: not remapped.
    std::vector<ParameterKey> mTimeRemap;
    // The part of the media that may be shown; the nearest of its frames stands in for what lies outside.
    std::optional<MF::TimeRange> mAvailable;
    // The grid of the media; none: that of its stream, and for a sequence its own.
    norviktypes::FrameRate mMediaRate;

    // Holds the frame of this media time; with mHoldsEffects also what its effects make of it.
    std::optional<norviktypes::TickTime> mHoldTime;
    bool mHoldsEffects = false;

    // In the order in which a panel lists them: the first is applied last.
    std::vector<BE::IEffectRef> mEffects;

    std::uint32_t mScaleToFrame = BE::kScaleToFrame_None;
    std::uint32_t mFieldOption = BE::kFieldOption_None;
    std::uint32_t mTimeMode = 0;
    bool mDeinterlacesOnTimeMode = false;
    bool mReversesFieldDominance = false;
    bool mBlendsFrames = false;
    bool mNeedsLowerTracks = false;
    norviktypes::FieldType mConformFieldType = norviktypes::kFieldType_FromSource;

    bool mIsEnabled = true; // one that is not keeps its place and shows nothing
    bool mIsMuted = false;
    bool mIsAdjustment = false;
    std::uint32_t mGroup = 0; // items of one group other than 0 stay together

    // Of a clip of a multi-camera sequence.
    std::uint32_t mSelectedCamera = 0;
    std::vector<std::uint64_t> mCameraOrder;

    norviktypes::TickTime GetEnd() const { return mStart + mDuration; }
};

// The media time that the item shows at inTime since its start, before mAvailable and mHoldTime; inSequenceRate is
// the grid of the sequence that it lies in.
norviktypes::TickTime ToMediaTime(const ClipItem& inItem, const norviktypes::TickTime& inTime,
                                  const norviktypes::FrameRate& inSequenceRate);

} // namespace Project
