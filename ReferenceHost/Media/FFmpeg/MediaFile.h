#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/BarePictures.h"
#include "ReferenceHost/Media/FFmpeg/ExpectedFrames.h"
#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"

struct AVFrame;

namespace Media
{

struct FileOptions
{
    int streamIndex = -1;   // of all streams in the file; -1: the default video stream
    int decoderThreads = 1; // of each decoder; fewer where memory is short
    int maximumDecoders = 4;
    // For decoded pictures, those within decoders included, and for the list of frames.
    std::int64_t cacheBytes = std::int64_t{512} << 20;
    bool keepsLeadIn = true; // false: pictures decoded on the way to one are not kept; for single looks
};

enum class FrameStatus : std::int32_t
{
    kOk = 0,
    kPastEnd = -1,   // no such frame
    kDamaged = -2,   // can't be decoded
    kCancelled = -3, // Cancel was called
    kNotReady = -4   // TryGet: not decoded yet
};

// A decoded picture as the decoder made it, shared with the cache: never written to.
struct FrameAnswer
{
    FrameStatus status = FrameStatus::kNotReady;
    std::shared_ptr<const AVFrame> picture;
    std::string text; // of a failure: names file, frame and cause
};

// Work done since the file was opened, for tests and reports.
struct FileStatistics
{
    std::uint64_t framesDecoded = 0; // came out of a decoder, wanted or not
    std::uint64_t packetsRead = 0;
    std::uint64_t seeks = 0;
    std::uint64_t reopenings = 0; // seeks that read the file from its start
    std::uint64_t cacheHits = 0;
    std::uint64_t framesDelivered = 0;
    std::uint64_t unexpected = 0; // requests that Expect didn't tell of
    std::uint64_t decoders = 0;
    std::int64_t cachedBytes = 0;
    std::int64_t pictureBytes = 0;   // in decoders, cache and clients' hands
    std::uint64_t freshPictures = 0; // blocks that had to be allocated
};

// One video stream of a file, frame by frame, in any order and from many threads.
//
// Opening lists every frame of the stream, so that counts and times are exact. A request is answered, in this
// order:
// 1. from the cache of decoded pictures;
// 2. by a decoder that is on its way to the frame: the request waits, and takes over the driving when the
//    thread that drives has its own frame;
// 3. by an idle decoder that stands before the frame, when going on is no more work than seeking;
// 4. by a further decoder, up to the limit, or else the idle one that has been used least recently: it seeks
//    to the key frame.
// So readers that run side by side keep a decoder each. Going forwards keeps a short tail of pictures; a seek
// keeps those between key frame and target, nearest first, so that stepping backwards decodes each group
// about once.
//
// Who knows beforehand which frames it will ask for says so by Expect. Then only these are kept, also where they
// are passed long before they are asked for; of the others those that nothing refers to aren't decoded; and a
// decoder makes the rest of what is expected of its group before it is sent elsewhere. So frames of one group
// that are asked for in any order take one run over it.
//
// Thread-safety: safe. A request decodes on the calling thread and on the decoder's own threads.
class MediaFile
{
public:
    // Null, with outError, on failure.
    static std::shared_ptr<MediaFile> Open(const std::string& inPath, const FileOptions& inOptions,
                                           FileError& outError);
    ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    const FileFacts& Facts() const noexcept;

    // Times in ticks from the first frame. A frame is shown from its start to the start of the next; RankAt
    // is 0 for times before the start and -1 at or past the end. StartTicks of FrameCount() is the end.
    std::int64_t FrameCount() const noexcept;
    std::int64_t RankAt(std::int64_t inTicks) const noexcept;
    std::int64_t StartTicks(std::int64_t inRank) const noexcept;

    // Blocks until frame inRank is decoded.
    FrameAnswer GetFrame(std::int64_t inRank);

    // Only what is decoded already; never blocks for longer than a look into the cache.
    FrameAnswer TryGetFrame(std::int64_t inRank);

    // Frame inRank where it needs no decoding, to be fetched; null otherwise. That it needs none is found out at the
    // first call, which decodes; inAtOnce: it then is null. Throws std::bad_alloc.
    BarePicturePtr PictureInFile(std::int64_t inRank, bool inAtOnce = false);

    // Only these frames will be asked for, in whatever order; no runs: that isn't known any more. One that is
    // asked for all the same is made as well, at the price of a seek.
    void Expect(const std::vector<FrameRun>& inRuns);

    // Ends all waiting and all later requests with kCancelled.
    void Cancel();

    FileStatistics Statistics() const;

private:
    class Impl;
    explicit MediaFile(std::unique_ptr<Impl> inImpl);

    std::unique_ptr<Impl> mImpl;
};

}
