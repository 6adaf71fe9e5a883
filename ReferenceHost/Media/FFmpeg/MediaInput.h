#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"

// An opened container, and the choice of its video stream.
//
// A file is opened several times: once to be probed and scanned, once more for each decoder. Only the first
// probes the streams; the others take the stream's parameters from it. A container without a header (a
// transport stream) finds its streams by reading, and is probed each time so that their numbers agree.
//
// Thread-safety: an input belongs to one thread at a time.
namespace Media
{

class HollowFile;
class PartInput;

// Stops blocking reads of all inputs that hold it.
struct InterruptFlag
{
    std::atomic<bool> raised{false};
};

class MediaInput
{
public:
    MediaInput();
    ~MediaInput();
    MediaInput(MediaInput&&) noexcept;
    MediaInput& operator=(MediaInput&&) noexcept;

    // Opens the container: local files and parts of them only, whatever the name looks like. 0 or an AVERROR.
    int Open(const std::string& inPath, const InterruptFlag* inInterrupt);

    // As Open, with the payload areas of an MP4, QuickTime, AVI or Matroska file left unread: packets have their true
    // times, places and sizes, and no content. AVERROR(ENOSYS) when the file isn't of that kind.
    int OpenHollow(const std::string& inPath, const InterruptFlag* inInterrupt);

    // Null of an input that isn't hollow.
    const HollowFile* Hollow() const noexcept { return mHollow.get(); }

    // Finds what the container doesn't say of its streams by reading some of it.
    int Probe();

    // Reads the packets of one stream only.
    void SelectStream(int inIndex);

    // The next packet of the selected stream. 0, AVERROR_EOF or another AVERROR.
    int ReadPacket(AVPacket& outPacket);

    bool IsOpen() const noexcept { return mContext != nullptr; }
    AVFormatContext* Context() const noexcept { return mContext.get(); }
    AVStream* Stream() const noexcept { return mContext->streams[mStream]; }
    bool NeedsProbe() const noexcept { return (mContext->ctx_flags & AVFMTCTX_NOHEADER) != 0; }
    bool IsFormat(const char* inName) const noexcept;

private:
    int OpenWith(const std::string& inPath, const InterruptFlag* inInterrupt, AVIOContext* inSource);

    // Outlive the context that reads from them.
    std::unique_ptr<HollowFile> mHollow;
    std::unique_ptr<PartInput> mPart;
    FormatContextPtr mContext;
    int mStream = 0;
};

// Opens inPath, probes it and chooses a video stream: number inStream of all streams, or of -1 the default
// one, an attached picture only when there's nothing else. Refuses what is too large. False, with outError,
// on failure.
bool OpenAndChoose(const std::string& inPath, int inStream, const InterruptFlag* inInterrupt,
                   MediaInput& outInput, FileError& outError);

// False, with outError, when a picture of that size and format is beyond the limits.
bool CheckPictureSize(const std::string& inPath, int inWidth, int inHeight, int inPixelFormat,
                      FileError& outError);
bool IsPictureSizeAllowed(int inWidth, int inHeight, int inPixelFormat);

}
