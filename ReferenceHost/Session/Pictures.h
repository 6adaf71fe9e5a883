#pragma once

#include "MF/IVideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <string>

// What is done with pictures beside rendering them: bringing them into a shape, laying them out for an encoder,
// and putting labels on them.
//
// Thread-safety: safe on distinct targets.
namespace Session
{

// The planes that an encoder reads. Order: Y, U, V, A, or G, B, R, A; semi-planar pictures have U and
// V by turns in plane 1. Strides in bytes. Samples of more than 8 bits lie in 16-bit words,
// little-endian. The owner keeps the memory alive for the call.
struct EncoderPlanes
{
    void* mPlanes[4] = {nullptr, nullptr, nullptr, nullptr};
    std::ptrdiff_t mStrides[4] = {0, 0, 0, 0};
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
    std::int32_t mBitsPerSample = 8;
    std::int32_t mChromaShiftX = 0;
    std::int32_t mChromaShiftY = 0;
    bool mIsRGB = false;
    bool mIsGrey = false;
    bool mIsSemiPlanar = false;
    bool mIsMSBAligned = false;
    bool mIsCentreSited = false;
    bool mIsInterlaced = false;
    bool mIsFullRange = false;
    bool mIs709 = true; // else Rec.601
    bool mHasAlpha = false;
};

// The size and format that a picture is asked for in.
struct RenderRequest
{
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    norviktypes::PixelFormat mPixelFormat;
    norviktypes::RenderQuality mQuality = norviktypes::kRenderQuality_High;
};

// Converts pixels of inFormat, of the planes' own size, to the planes. 0, or a negative status of the
// image routines.
std::int32_t LayOutPlanes(const void* inPixels, std::int32_t inRowBytes,
                          const norviktypes::PixelFormat& inFormat, const EncoderPlanes& outPlanes);

// Sets outFrame to inFrame itself if it has that size and format, else to a new frame with its fields and its
// aspect. 0, or a negative status of the frame library, and outFrame as it was.
std::int32_t ShapePicture(const MF::IVideoFrameRef& inFrame, const RenderRequest& inShape,
                          MF::IVideoFrameRef& outFrame);

// BGRA of the depth of inFormat, or of the next one that there is: in which pictures are put into a frame.
norviktypes::PixelFormat PackedFormatFor(const norviktypes::PixelFormat& inFormat);

// A place in a frame, in pixels; it may jut out.
struct PictureRect
{
    std::int32_t mLeft = 0;
    std::int32_t mTop = 0;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
};

// Copies inSource to the place (inLeft, inTop) of inTarget, without scaling; what lies outside is cut
// off. Both have one packed format of four components.
void PlacePicture(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget, std::int32_t inLeft,
                  std::int32_t inTop);

// Writes a line of printable ASCII in white on the 8-bit BGRA or BGRX frame, its letters' cells
// inScale times the font's. inLeft and inTop are the upper left corner.
void DrawLabel(const MF::IVideoFrameRef& inTarget, std::int32_t inLeft, std::int32_t inTop,
               std::int32_t inScale, const std::string& inText);
// Size of that line in pixels.
std::int32_t LabelWidth(const std::string& inText, std::int32_t inScale);
std::int32_t LabelHeight(std::int32_t inScale);

} // namespace Session
