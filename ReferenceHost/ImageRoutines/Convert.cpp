#include <algorithm>
#include <cmath>
#include <cstring>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"
#include "ReferenceHost/ImageRoutines/YuvToBgra.h"

namespace ir
{
namespace
{

bool IsSameButForAlpha(const Picture& inSource, const Picture& inTarget)
{
    return inSource.storage == inTarget.storage && inSource.sample == inTarget.sample &&
           inSource.bits == inTarget.bits && inSource.lowZeroBits == inTarget.lowZeroBits &&
           inSource.shiftX == inTarget.shiftX && inSource.shiftY == inTarget.shiftY &&
           inSource.siting == inTarget.siting && inSource.isFieldChroma == inTarget.isFieldChroma &&
           inSource.ownField == inTarget.ownField && inSource.isGray == inTarget.isGray &&
           inSource.isFullRange == inTarget.isFullRange && inSource.matrix == inTarget.matrix &&
           inSource.transfer == inTarget.transfer && inSource.primaries == inTarget.primaries;
}

bool IsSameKind(const Picture& inSource, const Picture& inTarget)
{
    return IsSameButForAlpha(inSource, inTarget) && inSource.alpha == inTarget.alpha &&
           inSource.alpha != PictureAlpha::kOpaque;
}

// What the source has in memory as alpha means nothing, or nothing to the target; the target's is 1.
bool IsCopiedOpaque(const Picture& inSource, const Picture& inTarget)
{
    return IsSameButForAlpha(inSource, inTarget) && inSource.storage == Storage::kPacked4 &&
           inSource.sample == Sample::kByte &&
           (inSource.alpha == PictureAlpha::kOpaque || inTarget.alpha == PictureAlpha::kOpaque);
}

void CopyOpaque(const Picture& inSource, const Picture& inTarget)
{
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        BgraRowToOpaque(inSource.Row(0, y), inTarget.Row(0, y), static_cast<std::size_t>(inTarget.width));
    }
}

void CopyPicture(const Picture& inSource, const Picture& inTarget)
{
    for (int plane = 0; plane < 4; ++plane)
    {
        if (inTarget.planes[plane] == nullptr || inTarget.planes[plane] == inSource.planes[plane])
        {
            continue;
        }
        const auto bytes = static_cast<std::size_t>(RowBytesOf(inTarget, plane));
        const std::int32_t rows = plane == 1 || plane == 2 ? inTarget.chromaRows : inTarget.height;
        for (std::int32_t y = 0; y < rows; ++y)
        {
            std::memcpy(inTarget.Row(plane, y), inSource.Row(plane, y), bytes);
        }
    }
}

bool IsPackedBytes(const Picture& inPicture)
{
    return inPicture.storage == Storage::kPacked4 && inPicture.sample == Sample::kByte &&
           inPicture.transfer == Transfer::kDisplay;
}

// The kernels take alpha of 8 bits, which goes through as it is.
bool DoesAlphaGoThrough(const Picture& inSource, const Picture& inTarget)
{
    return !inSource.HasAlpha() || !inTarget.HasAlpha() ||
           (inSource.alpha == inTarget.alpha && inSource.sample == Sample::kByte);
}

bool IsForYuvKernels(const Picture& inSource)
{
    const bool isPackedWords = inSource.storage == Storage::kPacked4 && inSource.sample == Sample::kWord;
    return !isPackedWords && HasYuvToBgra(inSource) && inSource.shiftX <= 1;
}

bool IsForBgraKernels(const Picture& inSource, const Picture& inTarget)
{
    const bool isBytePlanes = inSource.IsRGB() && !inSource.isGray && inSource.sample == Sample::kByte &&
                              inSource.isFullRange && inSource.storage == Storage::kPlanar &&
                              inSource.transfer == Transfer::kDisplay &&
                              inSource.primaries == Primaries::k709;
    return IsPackedBytes(inTarget) && inTarget.IsRGB() && DoesAlphaGoThrough(inSource, inTarget) &&
           (isBytePlanes || IsForYuvKernels(inSource));
}

// Codes of the full range don't go from one number of bits to another by a power of two.
bool IsForVuyaKernel(const Picture& inSource, const Picture& inTarget)
{
    return IsPackedBytes(inTarget) && IsForYuvKernels(inSource) && DoesAlphaGoThrough(inSource, inTarget) &&
           inSource.matrix == inTarget.matrix && inSource.primaries == inTarget.primaries &&
           inSource.isFullRange == inTarget.isFullRange && (inSource.bits == 8 || !inSource.isFullRange);
}

void ConvertByteRgb(const Picture& inSource, const Picture& inTarget)
{
    const bool keepsAlpha = inSource.HasAlpha() && inTarget.HasAlpha();
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        RgbRowToBgra(inSource.Row(0, y), inSource.Row(1, y), inSource.Row(2, y),
                     keepsAlpha ? inSource.Row(3, y) : nullptr, inTarget.Row(0, y),
                     static_cast<std::size_t>(inTarget.width));
    }
}

// Rows of one YUV picture on their way through the kernels.
class YuvRows
{
public:
    YuvRows(const Picture& inSource, const Picture& inTarget)
        : mSource(inSource)
        , mKeepsAlpha(inSource.HasAlpha() && inTarget.HasAlpha())
        , mChromaCount(static_cast<std::size_t>(inSource.ChromaWidth()))
        , mChroma(2, mChromaCount + 2 * kChromaPad)
        , mLuma(1, static_cast<std::size_t>(inSource.width) + 8)
        , mBytes(3, static_cast<std::size_t>(inSource.width))
        , mU(mChroma.Row(0) + kChromaPad)
        , mV(mChroma.Row(1) + kChromaPad)
    {
        mPhase = inSource.shiftX == 0             ? ChromaPhase::kFull
                 : ChromaOffsetX(inSource) == 0.0 ? ChromaPhase::kLeft
                                                  : ChromaPhase::kCenter;
    }

    // Makes ready what YuvRowToBgra and YuvRowToVuya want of row inY.
    void Prepare(std::int32_t inY)
    {
        switch (mSource.storage)
        {
        case Storage::kUYVY:
        case Storage::kYUYV:
            SplitPacked422(mSource.Row(0, inY), mSource.storage == Storage::kUYVY,
                           reinterpret_cast<unsigned char*>(mLuma.Row(0)), mU, mV, mChromaCount);
            mRow = {mLuma.Row(0), false, 0};
            break;
        case Storage::kV210: UnpackV210(inY); break;
        case Storage::kPacked4: SplitFourComponents(inY); break;
        default: PreparePlanes(inY); break;
        }
    }

    const SampleRow& Luma() const { return mRow; }
    const std::uint16_t* U() const { return mU; }
    const std::uint16_t* V() const { return mV; }
    ChromaPhase Phase() const { return mPhase; }
    const unsigned char* Alpha() const { return mAlpha; }

private:
    void PreparePlanes(std::int32_t inY)
    {
        const bool isWord = mSource.sample == Sample::kWord;
        const std::int32_t significant = std::min(mSource.bits, 10);
        const ChromaRowPair rows = ChromaRowsFor(mSource, inY);
        ChromaBlend blend = {nullptr,
                             nullptr,
                             rows.eighthsOfFar,
                             isWord,
                             mSource.storage == Storage::kSemiPlanar,
                             isWord ? mSource.bits - significant + mSource.lowZeroBits : 0,
                             8 << (10 - significant)};
        mRow = {mSource.Row(0, inY), isWord, 15 - mSource.bits - mSource.lowZeroBits};
        for (int plane = 1; plane < (blend.isInterleaved ? 2 : 3); ++plane)
        {
            blend.near = mSource.Row(plane, rows.near);
            blend.far = mSource.Row(plane, rows.far);
            BlendChroma(blend, plane == 1 ? mU : mV, mV, mChromaCount);
        }
        mAlpha = mKeepsAlpha ? mSource.Row(3, inY) : nullptr;
    }

    void SplitFourComponents(std::int32_t inY)
    {
        auto* luma = reinterpret_cast<unsigned char*>(mLuma.Row(0));
        unsigned char* alpha = mKeepsAlpha ? mBytes.Row(2) : nullptr;
        BgraRowToPlanes(mSource.Row(0, inY), luma, mBytes.Row(0), mBytes.Row(1), alpha, mChromaCount);
        for (std::size_t component = 0; component < 2; ++component)
        {
            const unsigned char* bytes = mBytes.Row(component);
            BlendChroma({bytes, bytes, 0, false, false, 0, 32}, component == 0 ? mU : mV, nullptr,
                        mChromaCount);
        }
        mRow = {luma, false, 0};
        mAlpha = alpha;
    }

    void UnpackV210(std::int32_t inY)
    {
        const unsigned char* group = mSource.Row(0, inY);
        std::uint16_t* luma = mLuma.Row(0);
        std::uint16_t* u = mU;
        std::uint16_t* v = mV;
        for (std::int32_t x = 0; x < mSource.width; x += 6, group += 16, luma += 6, u += 3, v += 3)
        {
            std::uint32_t w[4];
            std::memcpy(w, group, 16);
            const auto field = [&](int inWord, int inShift)
            { return static_cast<std::uint16_t>((w[inWord] >> inShift) & 1023U); };
            const std::uint16_t lumas[6] = {field(0, 10), field(1, 0), field(1, 20),
                                            field(2, 10), field(3, 0), field(3, 20)};
            std::copy_n(lumas, 6, luma);
            u[0] = static_cast<std::uint16_t>(field(0, 0) * 8);
            v[0] = static_cast<std::uint16_t>(field(0, 20) * 8);
            u[1] = static_cast<std::uint16_t>(field(1, 10) * 8);
            v[1] = static_cast<std::uint16_t>(field(2, 0) * 8);
            u[2] = static_cast<std::uint16_t>(field(2, 20) * 8);
            v[2] = static_cast<std::uint16_t>(field(3, 10) * 8);
        }
        for (std::uint16_t* row : {mU, mV})
        {
            std::fill_n(row - kChromaPad, kChromaPad, row[0]);
            std::fill_n(row + mChromaCount, kChromaPad, row[mChromaCount - 1]);
        }
        mRow = {mLuma.Row(0), true, 5};
    }

    const Picture& mSource;
    bool mKeepsAlpha;
    std::size_t mChromaCount;
    RowBuffers<std::uint16_t> mChroma;
    RowBuffers<std::uint16_t> mLuma;
    RowBuffers<unsigned char> mBytes;
    std::uint16_t* mU;
    std::uint16_t* mV;
    SampleRow mRow = {nullptr, false, 0};
    const unsigned char* mAlpha = nullptr;
    ChromaPhase mPhase = ChromaPhase::kFull;
};

// Every row of a picture, or every second one.
struct PickedRows
{
    std::int32_t first = 0;
    std::int32_t step = 1;
};

void ConvertYuv(const Picture& inSource, const Picture& inTarget, const PickedRows& inPicked = {})
{
    const YuvToBgraFactors factors = FactorsFor(inSource);
    YuvRows rows(inSource, inTarget);
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        rows.Prepare(inPicked.first + y * inPicked.step);
        YuvRowToBgra(rows.Luma(), rows.U(), rows.V(), rows.Phase(), rows.Alpha(), factors, inTarget.Row(0, y),
                     static_cast<std::size_t>(inTarget.width));
    }
}

void PackYuv(const Picture& inSource, const Picture& inTarget, const PickedRows& inPicked = {})
{
    YuvRows rows(inSource, inTarget);
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        rows.Prepare(inPicked.first + y * inPicked.step);
        YuvRowToVuya(rows.Luma(), rows.U(), rows.V(), rows.Phase(), rows.Alpha(), inTarget.Row(0, y),
                     static_cast<std::size_t>(inTarget.width));
    }
}

// Rows of floats read from a source and brought to the target's kind.
class PlannedRows : public IRowSource
{
public:
    PlannedRows(const Picture& inSource, const RowPlan& inPlan)
        : mSource(inSource)
        , mPlan(inPlan)
        , mWidth(static_cast<std::size_t>(inSource.width))
        , mRows(6, mWidth + 64)
    {
    }

    FloatRow Read(std::int32_t inY) const override
    {
        const FloatRow row = {{mRows.Row(0), mRows.Row(1), mRows.Row(2), mRows.Row(3)}};
        ReadFloatRow(mSource, inY, row, mRows.Row(4));
        ApplyPlan(mPlan, row, mWidth);
        return row;
    }

private:
    const Picture& mSource;
    const RowPlan& mPlan;
    std::size_t mWidth;
    RowBuffers<float> mRows;
};

// The rows that go into one chroma row and their weights: the triangle of twice the distance of two chroma
// rows.
struct RowTaps
{
    std::int32_t count;
    std::int32_t rows[8];
    float weights[8];
};

RowTaps TapsOfChromaRow(const Picture& inTarget, std::int32_t inChromaRow)
{
    const std::int32_t lines = inTarget.isFieldChroma ? 2 : 1;
    const std::int32_t parity = inTarget.isFieldChroma ? inChromaRow % 2 : 0;
    const std::int32_t rows = (inTarget.height + lines - 1 - parity) / lines;
    const std::int32_t step = 1 << inTarget.shiftY;
    const double centre =
        inChromaRow / lines * step + ChromaOffsetY(inTarget, FieldOfRow(inTarget, inChromaRow));
    const auto first = static_cast<std::int32_t>(std::floor(centre)) - step + 1;
    RowTaps taps = {};
    for (std::int32_t y = first; y < first + 2 * step; ++y)
    {
        const double weight = std::max(0.0, 1.0 - std::fabs(y - centre) / step) / step;
        const std::int32_t mirrored = y < 0 ? -1 - y : y >= rows ? 2 * rows - 1 - y : y;
        if (weight > 0.0)
        {
            taps.rows[taps.count] = std::clamp(mirrored, 0, rows - 1) * lines + parity;
            taps.weights[taps.count++] = static_cast<float>(weight);
        }
    }
    return taps;
}

// Half-width chroma of the rows of a target, each made once: a ring that is long enough for the taps of two
// fields.
class ChromaRing
{
public:
    ChromaRing(const Picture& inTarget, std::size_t inCount)
        : mTarget(inTarget)
        , mCount(inCount)
        , mRows(kRows * 2 + 2, inCount)
    {
    }

    void Add(std::int32_t inY, const FloatRow& inRow)
    {
        ShrinkChromaRow(mTarget, inRow.c[1], Row(inY, 0));
        ShrinkChromaRow(mTarget, inRow.c[2], Row(inY, 1));
    }

    // Where row inY's chroma goes that is already as wide as the target's.
    float* Place(std::int32_t inY, std::size_t inPlane) const { return Row(inY, inPlane); }

    // Writes every chroma row, from inFirst on, whose rows of the picture up to inY have been added.
    std::int32_t WriteReady(std::int32_t inFirst, std::int32_t inY) const
    {
        std::int32_t row = inFirst;
        for (; row < mTarget.chromaRows; ++row)
        {
            const RowTaps taps = TapsOfChromaRow(mTarget, row);
            if (*std::max_element(taps.rows, taps.rows + taps.count) > inY)
            {
                break;
            }
            Write(row, taps);
        }
        return row;
    }

private:
    static constexpr std::size_t kRows = 16;

    void Write(std::int32_t inChromaRow, const RowTaps& inTaps) const
    {
        for (std::size_t plane = 0; plane < 2; ++plane)
        {
            for (std::int32_t tap = 0; tap < inTaps.count; ++tap)
            {
                AccumulateRow(Row(inTaps.rows[tap], plane), inTaps.weights[tap], tap == 0, Sum(plane),
                              mCount);
            }
        }
        WriteChromaRow(mTarget, inChromaRow, Sum(0), Sum(1));
    }

    float* Row(std::int32_t inY, std::size_t inPlane) const
    {
        return mRows.Row(static_cast<std::size_t>(inY) % kRows * 2 + inPlane);
    }
    float* Sum(std::size_t inPlane) const { return mRows.Row(kRows * 2 + inPlane); }

    const Picture& mTarget;
    std::size_t mCount;
    RowBuffers<float> mRows;
};

void WriteSubsampled(const Picture& inTarget, const IRowSource& inRows)
{
    ChromaRing ring(inTarget, static_cast<std::size_t>(inTarget.ChromaWidth()));
    std::int32_t written = 0;
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        const FloatRow row = inRows.Read(y);
        WriteFloatRow(inTarget, y, row);
        ring.Add(y, row);
        written = ring.WriteReady(written, y);
    }
}

// Chroma of one model goes from one subsampled picture to another along the axes that differ, and luma by
// itself.
class ChromaMover
{
public:
    ChromaMover(const Picture& inSource, const Picture& inTarget)
        : mSource(inSource)
        , mTarget(inTarget)
        , mSameColumns(HasSameChromaColumns(inSource, inTarget))
        , mRows(5, static_cast<std::size_t>(inSource.width) + 64)
    {
    }

    void Move() const
    {
        for (std::int32_t y = 0; y < mTarget.height; ++y)
        {
            CopyLumaRow(mSource, mTarget, y, mRows.Row(0));
        }
        HasSameChromaRows(mSource, mTarget) ? MoveRows() : ResampleRows();
    }

private:
    void MoveRows() const
    {
        for (std::int32_t row = 0; row < mTarget.chromaRows; ++row)
        {
            for (int component = 1; component < 3; ++component)
            {
                ReadMemoryRow(mSource, component, row, mRows.Row(0));
                Fit(mRows.Row(0), mRows.Row(2 + static_cast<std::size_t>(component)));
            }
            WriteChromaRow(mTarget, row, mRows.Row(3), mRows.Row(4));
        }
    }

    void ResampleRows() const
    {
        ChromaRing ring(mTarget, static_cast<std::size_t>(mTarget.ChromaWidth()));
        std::int32_t written = 0;
        for (std::int32_t y = 0; y < mTarget.height; ++y)
        {
            for (int component = 1; component < 3; ++component)
            {
                ReadChromaRow(mSource, component, y, mRows.Row(0), mRows.Row(1));
                Fit(mRows.Row(0), ring.Place(y, static_cast<std::size_t>(component - 1)));
            }
            written = ring.WriteReady(written, y);
        }
    }

    void Fit(const float* inRow, float* outRow) const
    {
        if (mSameColumns)
        {
            std::copy_n(inRow, mTarget.ChromaWidth(), outRow);
            return;
        }
        WidenChromaRow(mSource, inRow, mRows.Row(2));
        ShrinkChromaRow(mTarget, mRows.Row(2), outRow);
    }

    const Picture& mSource;
    const Picture& mTarget;
    bool mSameColumns;
    RowBuffers<float> mRows;
};

void ConvertByFloats(const Picture& inSource, const Picture& inTarget, const OverBlack& inOverBlack)
{
    Picture opaque = inSource;
    if (inOverBlack.isWanted)
    {
        opaque.alpha = PictureAlpha::kOpaque;
    }
    RowPlan plan = PlanFor(opaque, inTarget);
    if (inOverBlack.isWanted)
    {
        plan.multipliesFirst = inSource.alpha == PictureAlpha::kStraight;
        plan.gain = inOverBlack.opacity;
        plan.dropsAlpha = true;
    }
    WriteRows(inTarget, PlannedRows(inSource, plan));
}

}

void WriteRows(const Picture& inTarget, const IRowSource& inRows)
{
    if (inTarget.IsSubsampled())
    {
        WriteSubsampled(inTarget, inRows);
        return;
    }
    for (std::int32_t y = 0; y < inTarget.height; ++y)
    {
        WriteFloatRow(inTarget, y, inRows.Read(y));
    }
}

std::int32_t ConvertPictures(const Picture& inSource, const Picture& inTarget, const OverBlack& inOverBlack)
{
    if (inOverBlack.isWanted)
    {
        ConvertByFloats(inSource, inTarget, inOverBlack);
    }
    else if (IsSameKind(inSource, inTarget))
    {
        CopyPicture(inSource, inTarget);
    }
    else if (IsCopiedOpaque(inSource, inTarget))
    {
        CopyOpaque(inSource, inTarget);
    }
    else if (IsChromaIndependent(inSource, inTarget))
    {
        ChromaMover(inSource, inTarget).Move();
    }
    else if (IsForVuyaKernel(inSource, inTarget))
    {
        PackYuv(inSource, inTarget);
    }
    else if (!IsForBgraKernels(inSource, inTarget))
    {
        ConvertByFloats(inSource, inTarget, inOverBlack);
    }
    else if (inSource.IsRGB())
    {
        ConvertByteRgb(inSource, inTarget);
    }
    else
    {
        ConvertYuv(inSource, inTarget);
    }
    return kIR_Success;
}

bool ConvertYuvField(const Picture& inSource, std::int32_t inField, const Picture& inTarget)
{
    const PickedRows picked = {inField == kIR_LowerField ? 1 : 0, 2};
    if (IsForVuyaKernel(inSource, inTarget))
    {
        PackYuv(inSource, inTarget, picked);
        return true;
    }
    if (CanConvertYuvRows(inSource, inTarget))
    {
        ConvertYuv(inSource, inTarget, picked);
        return true;
    }
    return false;
}

bool CanConvertYuvRows(const Picture& inSource, const Picture& inTarget) noexcept
{
    return IsForYuvKernels(inSource) && IsForBgraKernels(inSource, inTarget);
}

void ConvertYuvRows(const Picture& inSource, std::int32_t inFirst, const Picture& inTarget)
{
    ConvertYuv(inSource, inTarget, {inFirst, 1});
}

std::int32_t UnPremultiplyPicture(const Picture& ioPicture, const Picture& inMatte)
{
    if (!ioPicture.HasAlpha())
    {
        return kIR_Success;
    }
    Picture straight = inMatte;
    straight.alpha = PictureAlpha::kOpaque;
    const reference::Pixel matte =
        reference::ConvertPixel(reference::ReadPixel(straight, 0, 0), straight, ioPicture);
    const float colour[3] = {static_cast<float>(matte.c[0]), static_cast<float>(matte.c[1]),
                             static_cast<float>(matte.c[2])};
    const RowPlan nothing;
    const PlannedRows rows(ioPicture, nothing);
    for (std::int32_t y = 0; y < ioPicture.height; ++y)
    {
        const FloatRow row = rows.Read(y);
        TakeMatteAway(row, colour, static_cast<std::size_t>(ioPicture.width));
        WriteFloatRow(ioPicture, y, row);
    }
    return kIR_Success;
}

}
