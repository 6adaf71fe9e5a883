// One video frame, and the two faces through which its pixels are reached.
//
// Ownership: frames are shared by reference. A frame that is not frozen belongs to the render that
// made it and is written by one thread; freezing makes it immutable for good, and a frozen frame may be
// read by any number of threads. Setters on a frozen frame are a programming error that debug builds
// stop at.
//
// Units: pixels; bounds start at (0, 0).
//
// Thread-safety: a frozen frame is safe; an unfrozen one belongs to one thread at a time.
#pragma once

#include "TVK/InterfaceRef.h"
#include "TVK/ParamTypes.h"
#include "norviktypes/AlphaChannel.h"
#include "norviktypes/FieldType.h"
#include "norviktypes/PixelAspectRatio.h"
#include "norviktypes/PixelFormat.h"

#include <cstdint>

namespace MF
{

class IVideoFrame;
using IVideoFrameRef = TVK::InterfaceRef<IVideoFrame>;

class ML_EXPORT IVideoFrame : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoFrame;

    virtual void GetBounds(TVK::Rect& outBounds) const = 0;
    // True where this frame may stand for one of inBounds although its own bounds differ: equal
    // bounds, or a full-size or half-width substitute that a stream delivered instead.
    virtual bool SupportsTargetBounds(const TVK::Rect& inBounds) const = 0;
    virtual void GetPixelAspectRatio(norviktypes::PixelAspectRatio& outRatio) const = 0;
    virtual void GetPixelFormat(norviktypes::PixelFormat& outFormat) const = 0;
    virtual bool IsFrozen() const = 0;
    virtual void Freeze() = 0;
    virtual norviktypes::FieldType GetFieldType() const = 0;
    virtual void SetFieldType(norviktypes::FieldType inType) = 0;
    virtual norviktypes::AlphaChannel GetAlphaType() const = 0;
    // False only where every pixel is known to be opaque.
    virtual bool MayHaveTransparency() const = 0;
    // Where the frame's anchor lies; (-1, -1) if nobody said.
    virtual void GetOrigin(TVK::Point& outOrigin) const = 0;
    // The part outside of which the frame is known to be empty. False, and nothing written, on a
    // frame that was not told.
    virtual bool GetContentRect(TVK::Rect& outRect) const = 0;
    virtual void SetContentRect(const TVK::Rect& inRect) = 0;
    virtual void ClearContentRect() = 0;
    virtual void SetPixelAspectRatio(const norviktypes::PixelAspectRatio& inRatio) = 0;
    virtual void SetAlphaType(norviktypes::AlphaChannel inType) = 0;
    virtual void SetOrigin(const TVK::Point& inOrigin) = 0;
    // A new frame of the same format, bounds, pixel aspect, field and alpha type; its pixels are
    // undefined. Negative, and an empty reference, when there is no memory.
    virtual std::int32_t CreateCompatibleFrame(IVideoFrameRef& outFrame) const = 0;
    // How long the render of this frame took; the queue tells the frame, statistics ask it. May be
    // told to a frozen frame.
    virtual void SetRenderMilliseconds(std::uint32_t inMilliseconds) = 0;
    virtual std::uint32_t GetRenderMilliseconds() const = 0;
    // True where colours are already multiplied by alpha, by format or by alpha type.
    virtual bool IsPremultiplied() const = 0;
};

} // namespace MF

namespace VF
{

// The address of the pixels. Frozen frames give it too: for reading.
class ML_EXPORT IVideoFramePixels : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoFramePixels;

    virtual void* GetPixels() const = 0;
    virtual std::uint32_t GetRowBytesUnsigned() const = 0;
};
using IVideoFramePixelsRef = TVK::InterfaceRef<IVideoFramePixels>;

// Bytes from row to row, and from pixel to pixel (0 where a format has no single figure).
class ML_EXPORT IVideoFrameRaster : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoFrameRaster;

    virtual std::int32_t GetRowBytes() const = 0;
    virtual std::int32_t GetPixelStride() const = 0;
};
using IVideoFrameRasterRef = TVK::InterfaceRef<IVideoFrameRaster>;

} // namespace VF
