// A document as a tree of its objects: what was written, with defaults filled in and times in ticks.
//
// Nothing is worked out yet: times stand on the axes of their own objects, and rules that look at
// neighbours are not applied. Objects are shared where the document refers to one several times, so the
// tree may be a graph; it has no cycles. Each object knows its place in the document.
//
// Thread-safety: immutable once read.
#pragma once

#include "ReferenceHost/Project/Otio/Paths.h"
#include "ReferenceHost/Project/Otio/TimeValues.h"
#include "ReferenceHost/Project/Otio/Values.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Otio
{

struct Time
{
    norviktypes::TickTime mTime;
    norviktypes::FrameRate mRate; // none: written as 0 at a rate of 0
};

struct Range
{
    PathID mPath = kRootPath;
    Time mStart;
    Time mDuration; // not negative

    norviktypes::TickTime Start() const noexcept { return mStart.mTime; }
    norviktypes::TickTime Duration() const noexcept { return mDuration.mTime; }
    norviktypes::TickTime End() const noexcept { return mStart.mTime + mDuration.mTime; }
};

struct Marker
{
    PathID mPath = kRootPath;
    std::string mName;
    std::string mColor;
    std::string mComment;
    Range mRange; // in the time of the object that it stands on
};

enum class EffectKind : std::uint8_t
{
    kPicture,  // changes pixels; its name says how
    kTimeWarp, // plays mScalar times as fast; 0 holds
    kSettings, // its meaning went into the settings of its item
};

struct Effect
{
    PathID mPath = kRootPath;
    EffectKind mKind = EffectKind::kPicture;
    std::string mName;
    std::string mEffectName; // "provider:id"
    bool mIsEnabled = true;
    double mScalar = 1.0;
    std::vector<Parameter> mParameters;
    // Points are parts of the media's own picture, wherever that lies on the canvas, and not of the canvas.
    bool mIsOnMedia = false;
};

enum class MediaKind : std::uint8_t
{
    kFile,
    kImageSequence,
    kGenerator,
    kMissing,
};

enum class MissingFramePolicy : std::uint8_t
{
    kError,
    kHold,
    kBlack,
};

// The numbers of the files of an image sequence.
struct ImageNumbers
{
    std::string mPrefix;
    std::string mSuffix;
    std::int64_t mStart = 1;
    std::int64_t mStep = 1;  // above 0
    std::int64_t mCount = 0; // of images; 0: the document doesn't say
    std::int32_t mPadding = 0;
    norviktypes::FrameRate mRate; // of numbers
    MissingFramePolicy mMissing = MissingFramePolicy::kError;

    // Of images, each of which is shown for as many frames as lie between two numbers.
    norviktypes::FrameRate ImageRate() const noexcept
    {
        const std::int64_t ticks = mRate.GetTicks();
        return ticks > 0 && mStep < kLongestTime.GetTicks() / ticks ? norviktypes::FrameRate(ticks * mStep)
                                                                    : mRate;
    }
};

struct MediaReference
{
    PathID mPath = kRootPath;
    MediaKind mKind = MediaKind::kMissing;
    std::string mName;
    std::string mUrl; // of a file, or the folder of an image sequence
    ImageNumbers mImages;
    std::string mGenerator; // its kind
    std::vector<Parameter> mParameters;
    std::optional<Range> mAvailable;
};

// One reference of a clip, with its key.
struct KeyedReference
{
    std::string mKey;
    std::shared_ptr<const MediaReference> mReference;
};

enum class ObjectKind : std::uint8_t
{
    kClip,
    kGap,
    kTransition,
    kTrack,
    kStack,
};

enum class TrackKind : std::uint8_t
{
    kVideo,
    kAudio,
    kOther,
};

struct TransitionFields
{
    std::string mType;
    norviktypes::TickTime mInOffset; // as written: may be negative
    norviktypes::TickTime mOutOffset;
    std::vector<Parameter> mParameters;
};

// What a track or a stack can hold. Fields of other kinds are left at their defaults.
struct Composable
{
    ObjectKind mKind = ObjectKind::kGap;
    PathID mPath = kRootPath;
    std::string mName;
    bool mIsEnabled = true;
    std::optional<Range> mSourceRange;
    std::vector<std::shared_ptr<const Effect>> mEffects;
    std::vector<Marker> mMarkers;
    std::shared_ptr<const ItemSettings> mSettings; // may be null

    std::vector<std::shared_ptr<const Composable>> mChildren; // tracks and stacks
    TrackKind mTrackKind = TrackKind::kVideo;                 // tracks

    std::vector<KeyedReference> mReferences; // clips
    std::string mActiveKey;                  // clips

    TransitionFields mTransition; // transitions

    // Of compositions below and including this one; bounded by kMostNesting.
    std::uint32_t mHeight = 0;

    bool IsComposition() const noexcept { return mKind == ObjectKind::kTrack || mKind == ObjectKind::kStack; }
};

struct TimelineObject
{
    PathID mPath = kRootPath;
    std::string mName;
    std::optional<Time> mGlobalStart;
    std::shared_ptr<const Composable> mRoot;       // usually a stack; never null
    std::shared_ptr<const ItemSettings> mSettings; // of the timeline itself; may be null
};

}
