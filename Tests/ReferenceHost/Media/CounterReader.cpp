#include "Tests/ReferenceHost/Media/CounterReader.h"

#include "IR/ImageRoutines.h"
#include "VF/VideoFrame.h"

#include <cstddef>
#include <vector>

namespace MediaTests
{

namespace
{

struct GreyPicture
{
    std::vector<std::uint8_t> mPixels; // BGRA
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;

    std::uint8_t Green(std::int32_t inX, std::int32_t inY) const
    {
        return mPixels[(static_cast<std::size_t>(inY) * static_cast<std::size_t>(mWidth) +
                        static_cast<std::size_t>(inX)) *
                           4 +
                       1];
    }
};

bool ToBGRA(const MF::IVideoFrameRef& inFrame, GreyPicture& outPicture)
{
    TVK::Rect bounds;
    norviktypes::PixelFormat format;
    inFrame->GetBounds(bounds);
    inFrame->GetPixelFormat(format);
    outPicture.mWidth = bounds.Width();
    outPicture.mHeight = bounds.Height();
    outPicture.mPixels.resize(static_cast<std::size_t>(bounds.Width()) *
                              static_cast<std::size_t>(bounds.Height()) * 4);
    return IR_Convert(VF::IVideoFramePixelsRef(inFrame)->GetPixels(),
                      VF::IVideoFrameRasterRef(inFrame)->GetRowBytes(),
                      VF::BEPixelFormatToIRPixelFormat(format), outPicture.mPixels.data(), bounds.Width() * 4,
                      VF::BEPixelFormatToIRPixelFormat(norviktypes::kPixelFormat_BGRX_4444_8u),
                      bounds.Width(), bounds.Height(), 5) == 0;
}

// 1 or 0 for a cell that is clearly white or black in its middle on all of the lines, -1 for any other.
int ReadCell(const GreyPicture& inPicture, std::int32_t inCell, CounterLines inLines)
{
    const std::int32_t column = inCell % Media::kCounterCellsInRow;
    const std::int32_t row = inCell / Media::kCounterCellsInRow;
    const std::int32_t x = (Media::CounterCellLeft(column, inPicture.mWidth) +
                            Media::CounterCellLeft(column + 1, inPicture.mWidth)) /
                           2;
    const std::int32_t top = Media::CounterCellTop(row, inPicture.mHeight);
    const std::int32_t bottom = Media::CounterCellTop(row + 1, inPicture.mHeight);
    const std::int32_t margin = (bottom - top) / 4;
    int seen = -2;
    for (std::int32_t y = top + margin; y < bottom - margin; ++y)
    {
        if (inLines != CounterLines::kAll && (y % 2 == 0) != (inLines == CounterLines::kUpper))
        {
            continue;
        }
        const std::uint8_t green = inPicture.Green(x, y);
        const int value = green >= 170 ? 1 : green <= 85 ? 0 : -1;
        if (value < 0 || (seen >= 0 && seen != value))
        {
            return -1;
        }
        seen = value;
    }
    return seen;
}

} // namespace

bool ReadCounter(const MF::IVideoFrameRef& inFrame, CounterReading& outReading, CounterLines inLines)
{
    GreyPicture picture;
    if (!inFrame || !ToBGRA(inFrame, picture))
    {
        return false;
    }
    std::uint64_t bits = 0;
    for (std::int32_t cell = 0; cell < Media::kCounterCells; ++cell)
    {
        const int value = ReadCell(picture, cell, inLines);
        if (value < 0)
        {
            return false;
        }
        bits |= static_cast<std::uint64_t>(value) << cell;
    }
    return Media::DecodeCounter(bits, outReading.mFrame, outReading.mMoment);
}

} // namespace MediaTests
