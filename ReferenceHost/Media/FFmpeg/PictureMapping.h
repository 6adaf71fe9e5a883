// From the pictures of FFmpeg's decoders to those of the image routines, and to the row of the format table
// that loses neither depth nor alpha.
//
// A picture is described in one of two ways: in place, where the image routines read its layout as it stands
// (all planar and semi-planar formats in native byte order, packed 4:2:2 of 8 bits), or after its components
// have been unpacked into planes or into BGRA. Nothing is rounded on the way: samples keep their depth.
//
// Thread-safety: pure functions; a SourcePicture is described by one thread, and reads its frame as long as it
// lives.
#pragma once

#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "ReferenceHost/ImageRoutines/Planes.h"
#include "ReferenceHost/Media/FFmpeg/MediaFacts.h"
#include "norviktypes/PixelFormat.h"

#include <cstdint>

struct AVFrame;

namespace Media
{

// What a picture's own samples don't say.
struct PictureTraits
{
    ColourDescription colour;
    FileAlpha alpha = FileAlpha::kNone; // of formats with alpha; the others have none
    bool isFieldChroma = false; // chroma lines of 4:2:0 belong to the fields, as in interlaced streams
};

// The row of the table for pictures of inPixelFormat (an AVPixelFormat). kPixelFormat_Invalid for a format
// that isn't made of pixels in memory.
norviktypes::PixelFormat NativeFormatOf(int inPixelFormat, const PictureTraits& inTraits);

// Whether pictures of that format carry alpha.
bool FormatHasAlpha(int inPixelFormat);

// A picture that the image routines read: planes, or one block of a format code.
class SourcePicture
{
public:
    // False for a format that isn't made of pixels in memory, for a picture without planes, and without
    // memory.
    bool Describe(const AVFrame& inFrame, const PictureTraits& inTraits);

    // For HasRowsFor and HasAlpha alone: pictures of that format and size, whose samples needn't be there. False for
    // those that would have to be unpacked.
    bool DescribeShape(const AVFrame& inShape, const PictureTraits& inTraits);

    // Converts to the pixels of inTargetFormat, a code of the image routines, scaled where the sizes differ.
    // 0 or a negative status of IR/ImageRoutines.h.
    std::int32_t ConvertTo(void* outTarget, std::int32_t inRowBytes, std::int32_t inWidth,
                           std::int32_t inHeight, std::uint32_t inTargetFormat, std::int32_t inQuality) const;

    // Whether rows of it can be converted by themselves, unscaled; nothing but memory can be missing then.
    bool HasRowsFor(std::uint32_t inTargetFormat) const noexcept;

    bool HasAlpha() const noexcept { return mPlanes.alpha != ir::AlphaKind::kNone; }

    // Those rows, as ConvertTo gives them. outRows: the first of them. 0 or a negative status.
    std::int32_t ConvertRowsTo(std::uint8_t* outRows, std::int32_t inRowBytes, std::int32_t inFirst,
                               std::int32_t inCount, std::uint32_t inTargetFormat) const;

private:
    bool DescribeInPlace(const AVFrame& inFrame);
    bool UnpackRGB(const AVFrame& inFrame);
    bool UnpackPalette(const AVFrame& inFrame);
    bool UnpackComponents(const AVFrame& inFrame);
    bool UnpackMosaic(const AVFrame& inFrame);
    bool UnpackUneven(const AVFrame& inFrame);
    bool AllocatePlanes(int inBytesPerSample, int inComponents);
    void DescribeBlock(const void* inPixels, std::int32_t inRowBytes, bool inIsDeep);
    void* AllocateBlock(std::size_t inBytesPerPixel);

    ir::PlanarPicture mPlanes;
    VF::FrameBufferRef mMemory; // of what was unpacked

    // Where the picture is one block of a code instead.
    std::uint32_t mBlockFormat = 0;
    const void* mBlock = nullptr;
    std::int32_t mBlockRowBytes = 0;
};

} // namespace Media
