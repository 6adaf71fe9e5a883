// Single images as FFmpeg reads them: PNG, JPEG, TIFF, EXR, DPX and their kin.
//
// Such a file is one packet from its first byte to its last, so that it needs no demuxer once its kind is
// known: a decoder is opened, given the file, and asked for its picture. A decoder of one file reads others
// of the same kind as well, which is what a numbered sequence is made of.
//
// Thread-safety: safe; every decode has a codec of its own.
#pragma once

#include "BE/IVideoSource.h"
#include "ReferenceHost/Media/MediaFacts.h"
#include "ReferenceHost/Media/OpenError.h"

#include <cstdint>
#include <memory>
#include <string>

namespace Media
{

// True for a file that is a single image by its content or, where that says nothing, by its name. False for
// everything else, missing and unreadable files included.
bool IsStillFile(const std::string& inPath);

class StillDecoder
{
public:
    // Finds out what inPath is and decodes it once. Null, with outError, on failure.
    static std::shared_ptr<const StillDecoder> Open(const std::string& inPath, OpenError& outError);

    virtual ~StillDecoder() = default;
    StillDecoder(const StillDecoder&) = delete;
    StillDecoder& operator=(const StillDecoder&) = delete;

    // Of the file that was opened.
    virtual const MediaFacts& Facts() const noexcept = 0;
    // The row of the format table that loses nothing of it.
    virtual const norviktypes::PixelFormat& NativeFormat() const noexcept = 0;
    virtual bool HasAlpha() const noexcept = 0;

    // Decodes inPath, the opened file or another of its kind, to a new frame of inFormat's pixel format and
    // bounds. A negative status of BE/IVideoSource.h comes with one line in outText that names file and
    // cause.
    virtual std::int32_t Decode(const std::string& inPath, const BE::FrameDescription& inFormat,
                                MF::IVideoFrameRef& outFrame, std::string& outText) const = 0;

protected:
    StillDecoder() = default;
};

} // namespace Media
