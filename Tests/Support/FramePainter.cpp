#include "Tests/Support/FramePainter.h"

#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/Support/PixelMatchers.h"
#include "VF/VideoFrameManipulators.h"

#include <bitset>
#include <cstring>
#include <stdexcept>

namespace TestSupport
{

namespace
{

using VF::FramePixels;

constexpr std::uint32_t kColumns = 16;
constexpr std::uint32_t kRows = 8;
using Bits = std::bitset<kColumns * kRows>;

constexpr std::size_t kNumberAt = 0;
constexpr std::size_t kFieldAt = 32;
constexpr std::size_t kTimeAt = 40;
constexpr std::size_t kChecksumAt = 104;
constexpr std::size_t kChecksumBits = 24;

std::uint64_t Checksum(const FrameMark& inMark)
{
    // Not zero for a mark of zeros, or a black frame would carry one.
    std::uint64_t sum = (inMark.mNumber + 0x5DEECE66Du) * 0x9E3779B97F4A7C15u;
    sum = (sum ^ inMark.mField ^ sum >> 29) * 0xBF58476D1CE4E5B9u;
    sum = (sum ^ static_cast<std::uint64_t>(inMark.mTime.GetTicks()) ^ sum >> 32) * 0x94D049BB133111EBu;
    return sum >> (64 - kChecksumBits);
}

void Put(Bits& ioBits, std::size_t inAt, std::size_t inCount, std::uint64_t inValue)
{
    for (std::size_t i = 0; i < inCount; ++i)
    {
        ioBits[inAt + i] = (inValue >> i & 1) != 0;
    }
}

std::uint64_t Get(const Bits& inBits, std::size_t inAt, std::size_t inCount)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < inCount; ++i)
    {
        value |= std::uint64_t{inBits[inAt + i]} << i;
    }
    return value;
}

Bits Encode(const FrameMark& inMark)
{
    Bits bits;
    Put(bits, kNumberAt, 32, inMark.mNumber);
    Put(bits, kFieldAt, 8, inMark.mField);
    Put(bits, kTimeAt, 64, static_cast<std::uint64_t>(inMark.mTime.GetTicks()));
    Put(bits, kChecksumAt, kChecksumBits, Checksum(inMark));
    return bits;
}

bool Decode(const Bits& inBits, FrameMark& outMark)
{
    outMark.mNumber = static_cast<std::uint32_t>(Get(inBits, kNumberAt, 32));
    outMark.mField = static_cast<std::uint32_t>(Get(inBits, kFieldAt, 8));
    outMark.mTime = norviktypes::TickTime(static_cast<std::int64_t>(Get(inBits, kTimeAt, 64)));
    return Get(inBits, kChecksumAt, kChecksumBits) == Checksum(outMark);
}

bool IsOnLines(std::uint32_t inY, PaintedLines inLines)
{
    return inLines == PaintedLines::All || (inY % 2 == 0) == (inLines == PaintedLines::Upper);
}

void PaintBits(const FramePixels& inPixels, const Bits& inBits, PaintedLines inLines)
{
    for (std::uint32_t y = 0; y < inPixels.mHeight; ++y)
    {
        for (std::uint32_t x = 0; x < inPixels.mWidth && IsOnLines(y, inLines); ++x)
        {
            const std::size_t block =
                y * kRows / inPixels.mHeight * kColumns + x * kColumns / inPixels.mWidth;
            const std::uint8_t value = inBits[block] ? 255 : 0;
            const std::uint8_t pixel[4] = {value, value, value, 255};
            std::memcpy(inPixels.Row(0, y) + 4 * x, pixel, sizeof(pixel));
        }
    }
}

// In the middle of a block, on a line of the wanted field.
bool IsBlockWhite(const FramePixels& inPixels, std::size_t inBlock, PaintedLines inLines)
{
    const auto column = static_cast<std::uint32_t>(inBlock % kColumns);
    const auto row = static_cast<std::uint32_t>(inBlock / kColumns);
    const std::uint32_t x = (2 * column + 1) * inPixels.mWidth / (2 * kColumns);
    std::uint32_t y = (2 * row + 1) * inPixels.mHeight / (2 * kRows);
    y += IsOnLines(y, inLines) ? 0 : 1;
    return y < inPixels.mHeight && inPixels.Row(0, y)[4 * x + 1] > 127;
}

} // namespace

void PaintMark(const MF::IVideoFrameRef& inFrame, const FrameMark& inMark, PaintedLines inLines)
{
    const MF::IVideoFrameRef picture = CopyAs(inFrame, norviktypes::kPixelFormat_BGRA_4444_8u);
    FramePixels pixels;
    if (!picture || !VF::GetFramePixels(picture, pixels))
    {
        throw std::runtime_error("the frame can't be painted");
    }
    PaintBits(pixels, Encode(inMark), inLines);
    const norviktypes::AlphaChannel alpha = inFrame->GetAlphaType();
    if (VF::VideoFrameManipulators::CopyFrame(picture, inFrame, norviktypes::kRenderQuality_High) < 0)
    {
        throw std::runtime_error("the frame can't be painted");
    }
    inFrame->SetAlphaType(alpha);
}

bool ReadMark(const MF::IVideoFrameRef& inFrame, FrameMark& outMark, PaintedLines inLines)
{
    const MF::IVideoFrameRef picture = CopyAs(inFrame, norviktypes::kPixelFormat_BGRA_4444_8u);
    FramePixels pixels;
    if (!picture || !VF::GetFramePixels(picture, pixels))
    {
        return false;
    }
    Bits bits;
    for (std::size_t block = 0; block < bits.size(); ++block)
    {
        bits[block] = IsBlockWhite(pixels, block, inLines);
    }
    return Decode(bits, outMark);
}

} // namespace TestSupport
