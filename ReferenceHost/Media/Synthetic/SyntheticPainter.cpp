#include "ReferenceHost/Media/Synthetic/SyntheticPainter.h"

#include "ReferenceHost/Foundation/BitmapFont.h"
#include "ReferenceHost/Media/Synthetic/CounterCode.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace Media
{

namespace
{

using Pixel = std::array<std::uint8_t, 4>; // B, G, R, A

constexpr Pixel kBlack{0, 0, 0, 255};
constexpr Pixel kWhite{255, 255, 255, 255};
constexpr Pixel kBackground{48, 40, 32, 255};
constexpr Pixel kMovingLine{64, 160, 208, 255};

constexpr std::uint8_t k75Percent = 191;

// A picture, or the lines of one field of it, in coordinates of the whole picture.
class Canvas
{
public:
    Canvas(const BGRAPicture& inPicture, std::int32_t inFirstLine, std::int32_t inLineStep)
        : mPicture(inPicture)
        , mFirstLine(inFirstLine)
        , mLineStep(inLineStep)
    {
    }

    // Half open, cut to the picture.
    void Fill(std::int32_t inLeft, std::int32_t inTop, std::int32_t inRight, std::int32_t inBottom,
              const Pixel& inColor) const
    {
        const std::int32_t left = std::clamp(inLeft, 0, mPicture.mWidth);
        const std::int32_t right = std::clamp(inRight, left, mPicture.mWidth);
        const std::int32_t bottom = std::min(inBottom, mPicture.mHeight);
        for (std::int32_t y = FirstLineFrom(std::max(inTop, 0)); y < bottom; y += mLineStep)
        {
            FillRow(mPicture.mPixels + y * mPicture.mRowBytes, left, right, inColor);
        }
    }

    // Colours the pixels where the mask, laid at (inLeft, inTop), has ink.
    void Stamp(const Foundation::ByteMask& inMask, std::int32_t inLeft, std::int32_t inTop,
               const Pixel& inColor) const
    {
        const std::int32_t bottom = std::min(inTop + inMask.mHeight, mPicture.mHeight);
        for (std::int32_t y = FirstLineFrom(std::max(inTop, 0)); y < bottom; y += mLineStep)
        {
            const std::uint8_t* ink = inMask.mPixels + (y - inTop) * inMask.mRowBytes;
            std::uint8_t* row = mPicture.mPixels + y * mPicture.mRowBytes;
            for (std::int32_t x = std::max(0, -inLeft); x < inMask.mWidth && inLeft + x < mPicture.mWidth;
                 ++x)
            {
                if (ink[x] != 0)
                {
                    FillRow(row, inLeft + x, inLeft + x + 1, inColor);
                }
            }
        }
    }

    std::int32_t Width() const noexcept { return mPicture.mWidth; }
    std::int32_t Height() const noexcept { return mPicture.mHeight; }

private:
    std::int32_t FirstLineFrom(std::int32_t inTop) const
    {
        const std::int32_t offset = (inTop - mFirstLine) % mLineStep;
        return offset == 0 ? inTop : inTop + mLineStep - (offset + mLineStep) % mLineStep;
    }

    static void FillRow(std::uint8_t* outRow, std::int32_t inLeft, std::int32_t inRight, const Pixel& inColor)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, inColor.data(), sizeof(word));
        for (std::int32_t x = inLeft; x < inRight; ++x)
        {
            std::memcpy(outRow + std::size_t{4} * static_cast<std::size_t>(x), &word, sizeof(word));
        }
    }

    BGRAPicture mPicture;
    std::int32_t mFirstLine;
    std::int32_t mLineStep;
};

// The edge between part inPart of inParts equal parts and the one before it.
std::int32_t Part(std::int32_t inWhole, std::int32_t inPart, std::int32_t inParts)
{
    return static_cast<std::int32_t>(static_cast<std::int64_t>(inWhole) * inPart / inParts);
}

void PaintRowOfBars(const Canvas& inCanvas, std::int32_t inTop, std::int32_t inBottom, const Pixel* inColors,
                    std::int32_t inCount, std::int32_t inLeft, std::int32_t inRight)
{
    for (std::int32_t i = 0; i < inCount; ++i)
    {
        inCanvas.Fill(inLeft + Part(inRight - inLeft, i, inCount), inTop,
                      inLeft + Part(inRight - inLeft, i + 1, inCount), inBottom, inColors[i]);
    }
}

void PaintCode(const Canvas& inCanvas, std::int64_t inFrame, CounterMoment inMoment)
{
    const std::uint64_t bits = EncodeCounter(inFrame, inMoment);
    for (std::int32_t cell = 0; cell < kCounterCells; ++cell)
    {
        const std::int32_t column = cell % kCounterCellsInRow;
        const std::int32_t row = cell / kCounterCellsInRow;
        inCanvas.Fill(CounterCellLeft(column, inCanvas.Width()), CounterCellTop(row, inCanvas.Height()),
                      CounterCellLeft(column + 1, inCanvas.Width()),
                      CounterCellTop(row + 1, inCanvas.Height()), (bits >> cell & 1) != 0 ? kWhite : kBlack);
    }
}

// One moment of a counter: a whole frame, or a field on its lines of the picture.
struct Moment
{
    std::int64_t mFrame = 0;
    CounterMoment mKind = CounterMoment::kWholeFrame;
    double mSeconds = 0.0;
};

void PaintMovingLine(const Canvas& inCanvas, double inSeconds)
{
    const double turn = inSeconds / 2.0 - static_cast<double>(static_cast<std::int64_t>(inSeconds / 2.0));
    const auto left = static_cast<std::int32_t>(turn * inCanvas.Width());
    const std::int32_t thickness = std::max(1, inCanvas.Width() / 60);
    inCanvas.Fill(left, CounterCellTop(kCounterRows, inCanvas.Height()), left + thickness, inCanvas.Height(),
                  kMovingLine);
}

// The text centred about the height inMiddle, as large as fits into inWidth by inHeight.
void PaintText(const Canvas& inCanvas, const std::string& inText, std::int32_t inMiddle, std::int32_t inWidth,
               std::int32_t inHeight)
{
    const std::int32_t scale = std::max(1, std::min(inWidth / Foundation::TextWidth(inText, 1),
                                                    inHeight / Foundation::TextHeight(inText, 1)));
    const std::int32_t width = Foundation::TextWidth(inText, scale);
    const std::int32_t height = Foundation::TextHeight(inText, scale);
    std::vector<std::uint8_t> ink(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    const Foundation::ByteMask mask{ink.data(), width, height, width};
    Foundation::DrawText(mask, 0, 0, inText, scale);
    inCanvas.Stamp(mask, (inCanvas.Width() - width) / 2, inMiddle - height / 2, kWhite);
}

const char* MomentName(CounterMoment inMoment)
{
    switch (inMoment)
    {
    case CounterMoment::kUpperField: return "upper field";
    case CounterMoment::kLowerField: return "lower field";
    default: return "frame";
    }
}

void PaintMoment(const Canvas& inCanvas, const Moment& inMoment)
{
    inCanvas.Fill(0, 0, inCanvas.Width(), inCanvas.Height(), kBackground);
    PaintMovingLine(inCanvas, inMoment.mSeconds);
    PaintCode(inCanvas, inMoment.mFrame, inMoment.mKind);
    const std::int32_t width = Part(inCanvas.Width(), 9, 10);
    PaintText(inCanvas, std::to_string(inMoment.mFrame), Part(inCanvas.Height(), 9, 20), width,
              Part(inCanvas.Height(), 2, 5));
    PaintText(inCanvas, fmt::format("{} {:.3f} s", MomentName(inMoment.mKind), inMoment.mSeconds),
              Part(inCanvas.Height(), 8, 10), width, Part(inCanvas.Height(), 1, 5));
}

} // namespace

void PaintBars(const BGRAPicture& outPicture)
{
    constexpr std::uint8_t k = k75Percent;
    constexpr Pixel kBars[7] = {{k, k, k, 255}, {0, k, k, 255}, {k, k, 0, 255}, {0, k, 0, 255},
                                {k, 0, k, 255}, {0, 0, k, 255}, {k, 0, 0, 255}};
    constexpr Pixel kReversed[7] = {{k, 0, 0, 255}, kBlack, {k, 0, k, 255}, kBlack,
                                    {k, k, 0, 255}, kBlack, {k, k, k, 255}};
    // In-phase and quadrature colours beside white, then black with its levels just above it.
    constexpr Pixel kLow[4] = {{76, 33, 0, 255}, kWhite, {106, 0, 50, 255}, kBlack};
    constexpr Pixel kLevels[3] = {kBlack, {5, 5, 5, 255}, {10, 10, 10, 255}};

    const Canvas canvas(outPicture, 0, 1);
    const std::int32_t width = outPicture.mWidth;
    const std::int32_t height = outPicture.mHeight;
    const std::int32_t strip = Part(height, 8, 12);
    const std::int32_t low = Part(height, 9, 12);
    PaintRowOfBars(canvas, 0, strip, kBars, 7, 0, width);
    PaintRowOfBars(canvas, strip, low, kReversed, 7, 0, width);
    PaintRowOfBars(canvas, low, height, kLow, 4, 0, Part(width, 5, 7));
    PaintRowOfBars(canvas, low, height, kLevels, 3, Part(width, 5, 7), Part(width, 6, 7));
    canvas.Fill(Part(width, 6, 7), low, width, height, kBlack);
}

void PaintColor(const BGRAPicture& outPicture, TVK::ParamColor<std::uint32_t> inColor)
{
    const Canvas canvas(outPicture, 0, 1);
    canvas.Fill(0, 0, outPicture.mWidth, outPicture.mHeight,
                {inColor.Blue(), inColor.Green(), inColor.Red(), inColor.Alpha()});
}

void PaintCounter(const BGRAPicture& outPicture, const SyntheticSettings& inSettings, std::int64_t inFrame)
{
    const double frameSeconds = static_cast<double>(inSettings.FrameRate().GetTicks()) /
                                static_cast<double>(norviktypes::kTicksPerSecond);
    const double start = static_cast<double>(inFrame) * frameSeconds;
    if (!norviktypes::IsInterlaced(inSettings.mFieldType))
    {
        PaintMoment(Canvas(outPicture, 0, 1), {inFrame, CounterMoment::kWholeFrame, start});
        return;
    }
    const bool isUpperFirst = inSettings.mFieldType == norviktypes::kFieldType_UpperFirst;
    const double half = frameSeconds / 2.0;
    PaintMoment(Canvas(outPicture, 0, 2),
                {inFrame, CounterMoment::kUpperField, start + (isUpperFirst ? 0.0 : half)});
    PaintMoment(Canvas(outPicture, 1, 2),
                {inFrame, CounterMoment::kLowerField, start + (isUpperFirst ? half : 0.0)});
}

} // namespace Media
