// A timeline worked out: which part of which media shows when, with every rule of the format applied.
//
// Sequences hold tracks, bottom first; tracks hold items in order of time that do not overlap, and
// transitions at their cuts. Gaps, disabled items and what is not shown are not there any more. A nested
// composition is an item that shows another sequence, which is there once however often it is shown.
//
// Times are ticks: of items and transitions on the axis of their sequence, which starts at 0; of media since
// the media's first frame.
//
// Thread-safety: a value.
#pragma once

#include "ReferenceHost/Project/Otio/Schema.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/TickTime.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Otio
{

inline constexpr std::uint32_t kMostNestedSequences = 64;
inline constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// A file that is a part of another, as archives hold what they don't pack.
struct NamedPart
{
    std::string mName; // without folders
    std::uint64_t mOffset = 0;
    std::uint64_t mSize = 0;
};

// Where a piece of media is to be had.
struct LocatedMedia
{
    MediaKind mKind = MediaKind::kMissing;
    PathID mPath = kRootPath;
    std::string mName;
    std::string mWanted; // as the document writes it, for people
    // A file; the folder of an image sequence; the text of a synthetic medium.
    std::string mFile;
    // Of a file: the part of mFile that is the media; a size of 0 stands for all of it.
    std::uint64_t mOffset = 0;
    std::uint64_t mSize = 0;
    std::string mEntry; // its name in the archive mFile; packed where mSize is 0
    ImageNumbers mImages;
    // Of an image sequence in an archive, whose folder's name begins with that of the archive: the archive, and
    // its images.
    std::string mArchive;
    std::vector<NamedPart> mParts;
};

// What the media itself says. Asked for only where a document leaves it open.
struct MediaFacts
{
    norviktypes::TickTime mDuration; // 0: without end, as a still has none
    norviktypes::TickTime mStartTimecode;
    norviktypes::FrameRate mRate; // none: without a grid
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
};

// The part of media that may be shown: whole frames, the last one begins a frame before mEnd.
struct AvailableMedia
{
    norviktypes::TickTime mStart;
    norviktypes::TickTime mEnd;
};

// How an item runs through its media. With t the time since the item's start and k the speed,
//
//   forward   mIn + k * t                  backwards   first + k * t
//   held      mIn (k = 0)
//
// where first is so far behind mIn that the last frame of the item shows mIn, the lowest media time used.
// The frame that holds this time, brought into mAvailable, is shown.
struct MediaRun
{
    norviktypes::TickTime mIn;
    double mSpeed = 1.0; // below zero: backwards
    std::optional<AvailableMedia> mAvailable;
    norviktypes::FrameRate mRate; // grid of the media; none: unknown
    bool mBlendsFrames = false;
};

using EffectList = std::vector<std::shared_ptr<const Effect>>;

struct Item
{
    PathID mPath = kRootPath;
    std::string mName;
    norviktypes::TickTime mStart;
    norviktypes::TickTime mDuration;
    // Of a part of what is one item in the document: how far it begins behind that, whose keyframes it has.
    norviktypes::TickTime mCutOff;
    // One of the two; of an item that shows black, or nothing but its effects, neither.
    std::size_t mMedia = kNone;
    std::size_t mSequence = kNone;
    bool mIsClear = false; // transparent before its effects
    MediaRun mRun;
    std::shared_ptr<const ItemSettings> mSettings; // may be null
    // Those that change the picture and are switched on; the first is applied first. Null without any.
    std::shared_ptr<const EffectList> mEffects;

    norviktypes::TickTime End() const noexcept { return mStart + mDuration; }
    bool IsBlack() const noexcept { return mMedia == kNone && mSequence == kNone && !mIsClear; }
};

// Covers [mCut - mInOffset, mCut + mOutOffset). Offsets reach no further than the items.
struct Transition
{
    PathID mPath = kRootPath;
    std::string mType;
    norviktypes::TickTime mCut;
    norviktypes::TickTime mInOffset;
    norviktypes::TickTime mOutOffset;
    // Items of the track; kNone: from or to transparent. Not both.
    std::size_t mEarlier = kNone;
    std::size_t mLater = kNone;
    std::vector<Parameter> mParameters;
};

struct TrackOfItems
{
    PathID mPath = kRootPath;
    std::string mName;
    bool mIsSeen = true; // false: it is only there for effects that look at it
    std::vector<Item> mItems;
    std::vector<Transition> mTransitions;
};

struct SequenceOfTracks
{
    PathID mPath = kRootPath;
    std::string mName;
    std::vector<TrackOfItems> mTracks;
    norviktypes::TickTime mDuration;
    std::optional<Canvas> mCanvas; // none: that of the timeline
};

struct TimelineMarker
{
    PathID mPath = kRootPath;
    std::string mName;
    std::string mColor;
    std::string mComment;
    norviktypes::TickTime mTime; // since the first frame of the timeline
    norviktypes::TickTime mDuration;
};

struct Timeline
{
    std::string mName;
    std::vector<SequenceOfTracks> mSequences; // nested ones before those that show them
    std::vector<LocatedMedia> mMedia;
    std::size_t mMain = kNone; // a sequence; kNone only of a timeline that was not resolved
    // Of the main sequence: frame n is the picture at mStart + n frames.
    norviktypes::TickTime mStart;
    norviktypes::TickTime mDuration;
    norviktypes::FrameRate mRate;
    std::int64_t mFrameCount = 0;
    std::optional<Time> mGlobalStart; // timecode of frame 0
    std::optional<Canvas> mCanvas;
    std::size_t mFirstVideo = kNone; // the media of the first clip, whose size a timeline without canvas has
    std::size_t mAudioTracks = 0;
    std::vector<TimelineMarker> mMarkers; // in order of time
};

}
