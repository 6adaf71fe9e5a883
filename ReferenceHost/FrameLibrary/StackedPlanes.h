// A picture without four components as one gray picture, sample by sample: the rows of Y on top, below
// them the rows of chroma, U on the left and V on the right.
//
// 8-bit samples stay as they are; 10-bit ones lie in the upper bits of 16, which makes the gray picture one
// that can be looked at. What is written and read back is the same in every sample of the picture; row
// padding and unused bits are not kept.
//
// Thread-safety: an object is used by one thread.
#pragma once

#include "ReferenceHost/FrameLibrary/PNGCodec.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"

#include <cstdint>
#include <vector>

namespace VF
{

class StackedPlanes final : public IPNGRowSource, public IPNGRowTarget
{
public:
    // Planar, packed 4:2:2 and v210 pixels, which outlive the object. For use as a target they begin as zero.
    explicit StackedPlanes(const FramePixels& inPixels);

    // Size and bits of the gray picture of a frame.
    static PNGHeader HeaderOf(const norviktypes::PixelFormat& inFormat, std::uint32_t inWidth,
                              std::uint32_t inHeight);

    const std::uint8_t* GetRow(std::uint32_t inY) noexcept override;
    std::uint8_t* PlaceForRow(std::uint32_t) noexcept override { return mRow.data(); }
    void RowIsThere(std::uint32_t inY) noexcept override;

private:
    // Samples of one kind in a row of the frame: every mStep-th 8- or 16-bit one, or of v210 those numbered
    // mFirst, mFirst + mStep ... of the twelve in a group.
    struct Samples
    {
        std::uint8_t* mRow;
        std::uint32_t mFirst;
        std::uint32_t mStep;
        std::uint32_t mCount;
    };

    Samples Luma(std::uint32_t inY) const noexcept;
    Samples Chroma(std::uint32_t inY, bool inIsV) const noexcept;
    void Gather(const Samples& inSamples, std::size_t inAt) noexcept;
    void Scatter(const Samples& inSamples, std::size_t inAt) const noexcept;

    const FramePixels& mPixels;
    const std::uint32_t mChromaWidth;
    std::vector<std::uint8_t> mRow;
};

} // namespace VF
