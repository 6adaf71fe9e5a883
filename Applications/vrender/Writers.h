#pragma once

#include "Applications/vrender/OptionValues.h"
#include "MF/IVideoFrame.h"
#include "norviktypes/PixelFormat.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct AVFrame;

// Where rendered frames go: movies, stills, bare pictures, or nowhere.
//
// A writer tells which pixel format its frames shall be rendered in, so that each picture is converted
// once on its way from the decoder to the encoder. The frames then take three steps:
//   1. Prepare, on any thread: lays the pixels out as the encoder reads them. Where the rendered
//      format is the encoder's own, this is a reference, not a copy.
//   2. Write, in the order of the frames, on one thread.
//   3. Finish, once: flushes the encoder and writes the trailer. Then Commit gives the output its
//      name, or Keep leaves it as a part. Neither: the destructor removes it.
//
// Failures are ToolErrors that name the output: kCodecMissing, kUsage for options that an encoder
// refuses, kCannotCreate, kIOError.
//
// Thread-safety: Prepare is safe; everything else belongs to one thread at a time.
namespace vrender
{

using EncoderFrame = std::shared_ptr<AVFrame>;

// The colour description of the source, in FFmpeg's names; empty where it isn't known.
struct SourceColour
{
    std::string mMatrix;
    std::string mPrimaries;
    std::string mTransfer;
    std::string mRange;
};

// All that an output needs to know before its first frame.
struct OutputDescription
{
    std::string mPath;        // "-": standard output; "null:"
    std::string mFormat;      // container by FFmpeg's name, "raw", or empty: by the path
    std::string mCodec;       // empty: the container's usual one
    std::string mPixelFormat; // FFmpeg's name, or empty: nearest to the source
    std::string mCrf;
    std::int64_t mBitrate = 0; // 0: none asked
    std::vector<std::pair<std::string, std::string>> mOptions;

    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    Rational mRate{25, 1};
    std::string mTimecode; // of the first frame; empty: none

    std::string mSourcePixelFormat; // FFmpeg's name of what the decoder gives
    SourceColour mSourceColour;
    bool mHasAlpha = false;

    // Where frames last unequally: when frame n of the output begins, from the first one on (n = the number of
    // frames gives the end). Empty: at n / mRate.
    std::function<norviktypes::TickTime(std::int64_t)> mTimeOf;
    std::int64_t mFirstNumber = 0; // of a numbered sequence
    std::int64_t mFrameCount = 0;
    std::uint32_t mThreads = 1;
    bool mOverwrite = false;
};

class FrameWriter
{
public:
    virtual ~FrameWriter() = default;

    // What frames must be rendered in.
    virtual const norviktypes::PixelFormat& RenderFormat() const = 0;
    // One line for people, such as "libx264 yuv420p".
    virtual std::string Description() const = 0;

    // Bytes that Prepare lays out anew for each frame; 0 where it only refers to the rendered one.
    virtual std::uint64_t LaidOutBytes() const = 0;
    virtual EncoderFrame Prepare(const MF::IVideoFrameRef& inFrame) const = 0;
    virtual void Write(const EncoderFrame& inFrame) = 0;
    virtual void Finish() = 0;
    virtual void Commit() = 0;
    virtual void Keep() = 0;

    // Where the output stands while it isn't committed; empty if it stands nowhere.
    virtual std::string PartName() const = 0;
    virtual std::uint64_t BytesWritten() const = 0;
};

// True where the output can hold frames that last unequally: stills and bare pictures, which have no times, and
// containers and encoders that keep the time of each frame.
bool KeepsFrameTimes(const OutputDescription& inOutput);

// A writer for inOutput, by its path and format: null:, raw pictures, a numbered sequence (a path with
// one %d or %0Nd), or a movie.
std::unique_ptr<FrameWriter> CreateWriter(const OutputDescription& inOutput);

// Stills with names of the caller's choice: frame n (counted from 0 in the order of Write) goes to
// inName(n).
std::unique_ptr<FrameWriter> CreateStillsWriter(const OutputDescription& inOutput,
                                                const std::function<std::string(std::int64_t)>& inName);

// True for a path with one printf-like number in it.
bool IsSequencePath(const std::string& inPath);
// The path of one number; the path must be a sequence's.
std::string SequencePath(const std::string& inPath, std::int64_t inNumber);

// MD5 of the pixels, plane by plane and row by row without padding, in hexadecimal.
std::string FrameChecksum(const AVFrame& inFrame);

// Of the FFmpeg that runs: "5.1.9", "GPL version 2 or later".
std::string FFmpegVersion();
std::string FFmpegLicence();

} // namespace vrender
