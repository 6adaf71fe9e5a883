// Pixels that are made when somebody first looks at them.
//
// A decoded picture has mostly not the format that frames are asked for in, and many frames are looked at only
// once, to be copied beneath others or mixed with them. Such a frame keeps the picture, and whoever knows of it
// converts it straight to where it is going: the frame has then no pixels of its own. Everybody else sees
// a frame like any other.
//
// Thread-safety: makers are safe.
#pragma once

#include "ReferenceHost/FrameLibrary/VideoFrame.h"

#include <memory>

namespace VF
{

// Gives the same pixels each time.
class IPixelMaker
{
public:
    virtual ~IPixelMaker() = default;

    // Writes inCount rows of the frame from row inFirst on. outPixels: of the first of them, which lie inRowBytes
    // apart. 0, or negative with rows that are undefined: memory may be missing, or the file that they lie in.
    virtual std::int32_t MakeRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                                  std::int32_t inRowBytes) const = 0;

    // Whether the last component of every pixel is known to be whole.
    virtual bool HasWholeAlpha() const { return false; }

    // False of one that only knows where the pixels lie: it takes no memory to speak of, and another one is had for
    // nothing.
    virtual bool HoldsPicture() const { return true; }
};
using PixelMakerPtr = std::shared_ptr<const IPixelMaker>;

// As CreateVideoFrame, for a format of four components. The frame takes memory for its pixels when they are made.
// Its GetPixels gives null where there is none or the maker fails, and tries again at the next call.
std::int32_t CreatePendingFrame(MF::IVideoFrameRef& outFrame, const norviktypes::PixelFormat& inFormat,
                                std::uint32_t inWidth, std::uint32_t inHeight,
                                const norviktypes::PixelAspectRatio& inRatio, const PixelMakerPtr& inMaker);

// The maker of a frame whose pixels nobody has looked at yet; else null.
PixelMakerPtr PendingMakerOf(const MF::IVideoFrameRef& inFrame);

// Lets another maker make the pixels of a pending frame that isn't frozen. False where there are some already.
bool SetPendingMaker(const MF::IVideoFrameRef& ioFrame, const PixelMakerPtr& inMaker);

// GetPixels for somebody who only reads, or draws and says so where an alpha gets less than whole: what is known of
// alpha stays known.
std::uint8_t* PixelsToDrawOn(const MF::IVideoFrameRef& inFrame);
void ForgetWholeAlpha(const MF::IVideoFrameRef& ioFrame);

// By who has drawn all pixels and knows that every alpha is whole; until somebody else asks for them to write.
void NoteWholeAlpha(const MF::IVideoFrameRef& ioFrame);

// False of a pending frame whose maker holds none.
bool HoldsPicture(const MF::IVideoFrameRef& inFrame);

// Whether all alphas are known to be whole of a frame that has its pixels or has none yet.
bool IsKnownToHaveWholeAlpha(const MF::IVideoFrameRef& inFrame);

} // namespace VF
