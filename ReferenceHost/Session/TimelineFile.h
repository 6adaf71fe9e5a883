#pragma once

#include "ReferenceHost/Media/OpenError.h"
#include "ReferenceHost/Session/Conforming.h"
#include "ReferenceHost/Session/Timeline.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// A document of a timeline, opened for rendering with all its media.
//
//   edit.otio     a document; what it refers to by a relative name lies beside it
//   edit.otioz    the same with its media in one zip file, which are stored there and not compressed
//   edit.otiod    the same as a folder
//
// What was found wrong or had to be approximated is told problem by problem, each with its place in the document; only
// a document that can't be used at all gives no timeline. Media that is missing doesn't end the opening either: it is
// named, and its clips show what the options say.
//
// Thread-safety: one thread; the timeline as told there.
namespace Session
{

// What stands where media is missing.
enum class MissingMedia
{
    kCard, // a picture that says so
    kBlack,
    kTransparent
};

// How media of another shape than the picture of the timeline is put into it.
enum class MediaFit
{
    kInside,
    kFill,
    kStretch,
    kNone // as large as it is
};

// What is shown where a clip asks for more than its media has.
enum class BeyondMedia
{
    kHold,
    kBlack,
    kError
};

struct TimelineOptions
{
    bool mIsStrict = false; // broken rules that have a cure are errors
    std::string mTimeline;  // of several in the document, by name or index; empty: the first
    std::string mMediaKey;  // of several references of a clip; empty: the active one
    std::vector<std::pair<std::string, std::string>>
        mPathMappings; // what paths begin with, and shall begin with
    std::vector<std::string> mMediaFolders;
    BeyondMedia mBeyond = BeyondMedia::kHold;
    MissingMedia mMissing = MissingMedia::kCard;
    MediaFit mFit = MediaFit::kInside;
    // Of the picture; 0: the document's own, or that of the media of its first clip.
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;

    Timeline::Keeping mKeeping = Timeline::Keeping::kStills;
    std::uint32_t mDecoderThreads = 1; // for each medium
    std::uint64_t mPicturesBytes = 0;  // for decoded pictures of all media; 0: the host's default
    bool mKeepsLeadIn = true;
};

struct TimelineProblem
{
    bool mIsError = false; // else something was approximated
    std::string mKind;     // a short word that never changes
    std::string mPointer;  // the place, as a JSON pointer; empty: the whole document
    std::string mText;

    // "warning: /tracks/children/0: text"
    std::string Line() const;
};

struct TimelineMark
{
    std::string mName;
    std::string mColor;
    std::string mComment;
    norviktypes::TickTime mTime; // since frame 0
    norviktypes::TickTime mDuration;
};

// One piece of media that the timeline uses.
struct TimelineMedia
{
    std::string mName;
    std::string mFile; // as the document writes it where it wasn't found
    bool mIsMissing = false;
};

struct OpenedTimeline
{
    std::unique_ptr<Timeline> mTimeline; // null: mError says why
    Media::OpenError mError;
    std::string mName;               // that the document gives it
    std::vector<std::string> mNames; // of all timelines of the document
    std::vector<TimelineProblem> mProblems;
    std::uint64_t mErrors = 0; // of all problems, also those that are too many to be listed
    std::uint64_t mWarnings = 0;
    std::vector<TimelineMark> mMarkers; // in order of time
    std::vector<TimelineMedia> mMedia;
    std::size_t mVideoTracks = 0; // of the main sequence
    std::size_t mAudioTracks = 0;
    std::size_t mClips = 0; // of all sequences
    std::size_t mTransitions = 0;
    std::size_t mNestedSequences = 0;

    bool HasMissingMedia() const;
};

// By its suffix.
bool IsTimelineFile(const std::string& inPath);

OpenedTimeline OpenTimeline(const std::string& inPath, const TimelineOptions& inOptions);

} // namespace Session
