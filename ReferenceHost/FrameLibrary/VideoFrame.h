// What the host's own code does with frames beyond the shared interfaces.
//
// Thread-safety: as of the frames.
#pragma once

#include "MF/IVideoFrame.h"
#include "ReferenceHost/FrameLibrary/FrameGeometry.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace VF
{

// A source that delivers a frame larger than was asked for (the full size, or half the width at full
// height) says so here, and the frame then stands for smaller bounds too.
class IVideoFrameSubstitute : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"E4E93F0B-0593-42B8-A329-9B9783F32304"};

    virtual void SetSubstitute(bool inIsSubstitute) = 0;
    virtual bool IsSubstitute() const = 0;
};
using IVideoFrameSubstituteRef = TVK::InterfaceRef<IVideoFrameSubstitute>;

// A frame's pixels with all that is needed to walk them.
struct FramePixels
{
    std::uint8_t* mPixels = nullptr; // of the first row in memory
    std::int32_t mRowBytes = 0;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    norviktypes::PixelFormat mFormat;
    FrameGeometry mGeometry;

    std::uint8_t* Row(std::size_t inPlane, std::uint32_t inLine) const noexcept
    {
        const FramePlane& plane = mGeometry.mPlanes[inPlane];
        return mPixels + plane.mOffset + plane.mRowBytes * inLine;
    }
};

// False for a frame without the raw faces, with negative row bytes or without memory for its pixels. An empty
// reference throws TVK::NullInterfaceException. The pixels of a frozen frame are for reading.
bool GetFramePixels(const MF::IVideoFrameRef& inFrame, FramePixels& outPixels);

// Everything that is told of a frame beside its pixels, bounds and format: pixel aspect, field and alpha
// type, origin, content rectangle, and whether it is a substitute.
void CopyFrameAttributes(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget);

// As GetFramePixels, but without looking at the pixels: mPixels is null.
bool GetFrameShape(const MF::IVideoFrameRef& inFrame, FramePixels& outShape);

// True if the last component of every pixel is whole, of a packed frame of four components of 8, 16 or 32 bits.
bool HasWholeAlpha(const FramePixels& inPixels) noexcept;

// A frame over pixels that lie as those of a frame with these row bytes, and stay so as long as inOwner lives:
// nothing is copied. It is frozen. 0, or a negative status and outFrame as it was.
std::int32_t CreateFrameOver(MF::IVideoFrameRef& outFrame, const norviktypes::PixelFormat& inFormat,
                             std::uint32_t inWidth, std::uint32_t inHeight,
                             const norviktypes::PixelAspectRatio& inRatio, norviktypes::FieldType inFieldType,
                             const std::uint8_t* inPixels, std::uint32_t inRowBytes,
                             std::shared_ptr<const void> inOwner);

// A frame with all that inFrame has, over the same memory, whose format is inFormat: one whose pixels lie and
// mean the same, but that has no alpha. Both are frozen then. Empty for a frame of another make, and where a pixel
// isn't opaque: what is called opaque may hold any alpha, and some readers take the last component for one.
MF::IVideoFrameRef ShareWithoutAlpha(const MF::IVideoFrameRef& inFrame,
                                     const norviktypes::PixelFormat& inFormat);

} // namespace VF
