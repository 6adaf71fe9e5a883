#include <cstdlib>
#include <limits>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/Fields.h"
#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace
{

using ir::FieldPair;
using ir::Picture;

std::int32_t FieldNumber(bool inIsLower)
{
    return inIsLower ? kIR_LowerField : kIR_UpperField;
}

// The field that stays, and what both fields have.
void TakeSource(const Picture& inWhole, bool inIsLower, FieldPair& ioPair)
{
    ioPair.source = ir::FieldOf(inWhole, FieldNumber(inIsLower));
    ioPair.sharesChroma = ir::SharesChroma(inWhole);
    if (ioPair.sharesChroma)
    {
        // Of an odd height one more than the lower field has rows.
        ioPair.source.chromaRows = inWhole.chromaRows;
    }
}

// The rows 2 k + p in memory of a picture in one plane, as a picture of their own.
std::int32_t FieldInMemory(const void* inPixels, std::int32_t inRowBytes, std::int32_t inWidth,
                           std::int32_t inRows, std::uint32_t inFormat, bool inIsLower, Picture& outField)
{
    if (std::abs(static_cast<std::int64_t>(inRowBytes)) > std::numeric_limits<std::int32_t>::max() / 2)
    {
        return kIR_BadSize;
    }
    const bool isSecondInMemory = inIsLower != ir::IsBottomLeftCode(inFormat);
    const auto* pixels = static_cast<const unsigned char*>(inPixels);
    return ir::PictureFromCode(pixels == nullptr || !isSecondInMemory ? pixels : pixels + inRowBytes,
                               inRowBytes * 2, inWidth, inRows, inFormat, outField);
}

// A whole picture whose fields are wanted.
struct Interlaced
{
    const void* pixels;
    std::int32_t rowBytes;
    std::uint32_t format;
    std::int32_t width;
    std::int32_t height;

    bool IsPlanar() const { return (format >> 4 & 15) >= 4; }
    std::int32_t Whole(Picture& outPicture) const
    {
        return ir::PictureFromCode(pixels, rowBytes, width, height, format, outPicture);
    }
};

std::int32_t SourceField(const Interlaced& inSource, bool inIsLower, FieldPair& ioPair)
{
    if (!inSource.IsPlanar())
    {
        return FieldInMemory(inSource.pixels, inSource.rowBytes, inSource.width, inSource.height / 2,
                             inSource.format, inIsLower, ioPair.source);
    }
    Picture whole;
    const std::int32_t status = inSource.Whole(whole);
    if (status == kIR_Success)
    {
        TakeSource(whole, inIsLower, ioPair);
    }
    return status;
}

// A bottom-left picture of an odd height keeps its first row, which is the last in memory: so its fields lie as
// callers count them, from the first row in memory.
std::int32_t TargetField(const Interlaced& inTarget, bool inIsLower, Picture& outField)
{
    Picture whole;
    const std::int32_t status = inTarget.Whole(whole);
    if (status != kIR_Success || !ir::IsBottomLeftCode(inTarget.format))
    {
        outField = status == kIR_Success ? ir::FieldOf(whole, FieldNumber(inIsLower)) : outField;
        return status;
    }
    return FieldInMemory(inTarget.pixels, inTarget.rowBytes, inTarget.width, inTarget.height / 2,
                         inTarget.format, inIsLower, outField);
}

// Rows of one plane after the other, for a field of a source's format that is as high as one of the target.
class FieldMemory
{
public:
    FieldMemory(const Picture& inLike, std::int32_t inHeight, std::int32_t inChromaRows)
        : mPicture(inLike)
        , mRows(static_cast<std::size_t>(inHeight) + 2 * static_cast<std::size_t>(inChromaRows),
                static_cast<std::size_t>(ir::RowBytesOf(inLike, 0)))
    {
        mPicture.height = inHeight;
        mPicture.chromaRows = inChromaRows;
        const std::int32_t first[3] = {0, inHeight, inHeight + inChromaRows};
        for (int plane = 0; plane < 3 && inLike.planes[plane] != nullptr; ++plane)
        {
            mPicture.planes[plane] = mRows.Row(static_cast<std::size_t>(first[plane]));
            mPicture.strides[plane] = mRows.Row(1) - mRows.Row(0);
        }
    }

    const Picture& View() const { return mPicture; }

private:
    Picture mPicture;
    ir::RowBuffers<unsigned char> mRows;
};

// What the field that is to be made is like in the source's own format.
FieldMemory OtherFieldOf(const Interlaced& inSource, const FieldPair& inPair)
{
    if (!inSource.IsPlanar())
    {
        return FieldMemory(inPair.source, inPair.target.height, 0);
    }
    Picture whole;
    (void)inSource.Whole(whole); // succeeded when the source's field was taken
    const Picture other = ir::FieldOf(whole, FieldNumber(inPair.targetIsLower));
    return FieldMemory(other, inPair.target.height, other.chromaRows);
}

bool IsOneFormat(std::uint32_t inOne, std::uint32_t inOther)
{
    constexpr std::uint32_t kOrigin = 0x2000; // a Picture has its rows from the top whatever the origin
    return (inOne & ~kOrigin) == (inOther & ~kOrigin);
}

std::int32_t MoveField(const Interlaced& inSource, const Interlaced& inTarget, const FieldPair& inPair,
                       ir::FieldMethod inMethod)
{
    if (IsOneFormat(inSource.format, inTarget.format))
    {
        ir::MakeOtherField(inPair, inMethod);
        return kIR_Success;
    }
    const FieldMemory made = OtherFieldOf(inSource, inPair);
    FieldPair pair = inPair;
    pair.target = made.View();
    ir::MakeOtherField(pair, inMethod);
    return ir::ConvertPictures(made.View(), inPair.target);
}

std::int32_t CopyToOtherParity(const Interlaced& inSource, const Interlaced& inTarget, bool inSourceIsLower,
                               ir::FieldMethod inMethod)
{
    Picture whole;
    std::int32_t status = inTarget.Whole(whole);
    if (status != kIR_Success || inSource.pixels == nullptr || !ir::IsKnownCode(inSource.format))
    {
        return status != kIR_Success        ? status
               : inSource.pixels == nullptr ? kIR_NullPointer
                                            : kIR_UnknownFormat;
    }
    if (inSource.height < 2)
    {
        return inSourceIsLower ? kIR_BadSize : kIR_Success; // there is no lower field to make from the upper
    }
    FieldPair pair;
    pair.targetIsLower = !inSourceIsLower;
    status = SourceField(inSource, inSourceIsLower, pair);
    if (status == kIR_Success)
    {
        status = TargetField(inTarget, pair.targetIsLower, pair.target);
    }
    if (status != kIR_Success || ir::Overlap(pair.source, pair.target))
    {
        return status != kIR_Success ? status : kIR_BadArgument;
    }
    return MoveField(inSource, inTarget, pair, inMethod);
}

std::int32_t DeinterlaceInPlace(const Picture& ioPicture, bool inKeepsLower, ir::FieldMethod inMethod)
{
    if (ioPicture.height > 1)
    {
        FieldPair pair;
        TakeSource(ioPicture, inKeepsLower, pair);
        pair.target = ir::FieldOf(ioPicture, FieldNumber(!inKeepsLower));
        pair.targetIsLower = !inKeepsLower;
        ir::MakeOtherField(pair, inMethod);
    }
    return kIR_Success;
}

std::int32_t DeinterlaceRows(const Picture& inSource, const Picture& inTarget, bool inKeepsLower,
                             ir::FieldMethod inMethod)
{
    FieldPair pair;
    TakeSource(inSource, inKeepsLower, pair);
    pair.target = ir::FieldOf(inTarget, FieldNumber(!inKeepsLower));
    pair.targetIsLower = !inKeepsLower;
    pair.copy = ir::FieldOf(inTarget, FieldNumber(inKeepsLower));
    ir::MakeOtherField(pair, inMethod);
    return kIR_Success;
}

std::int32_t DeinterlaceInto(const Interlaced& inSource, const Interlaced& inTarget, bool inKeepsLower,
                             std::int32_t inQuality)
{
    Picture source;
    Picture target;
    std::int32_t status = inSource.Whole(source);
    status = status == kIR_Success ? inTarget.Whole(target) : status;
    if (status != kIR_Success || ir::Overlap(source, target))
    {
        return status != kIR_Success ? status : kIR_BadArgument;
    }
    const ir::FieldMethod method = ir::FieldMethodFor(inQuality);
    if (inSource.height > 1 && IsOneFormat(inSource.format, inTarget.format))
    {
        return DeinterlaceRows(source, target, inKeepsLower, method);
    }
    const std::int32_t field = inSource.height > 1 ? FieldNumber(inKeepsLower) : kIR_WholePicture;
    status = ir::ScalePictures(source, field, target, field, inQuality);
    return status != kIR_Success ? status : DeinterlaceInPlace(target, inKeepsLower, method);
}

template <typename Work>
std::int32_t Guarded(Work inWork) noexcept
{
    try
    {
        return inWork();
    }
    catch (...)
    {
        return kIR_OutOfMemory; // nothing else is thrown below here
    }
}

}

extern "C"
{

    int32_t IR_Deinterlace(void* ioPixels, int32_t inRowBytes, uint32_t inFormat, int32_t inWidth,
                           int32_t inHeight, int32_t inKeepLower, int32_t inQuality)
    {
        Picture picture;
        const std::int32_t status =
            ir::PictureFromCode(ioPixels, inRowBytes, inWidth, inHeight, inFormat, picture);
        return status != kIR_Success ? status
                                     : Guarded(
                                           [&] {
                                               return DeinterlaceInPlace(picture, inKeepLower != 0,
                                                                         ir::FieldMethodFor(inQuality));
                                           });
    }

    int32_t IR_DeinterlaceInto(const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
                               void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
                               int32_t inWidth, int32_t inHeight, int32_t inKeepLower, int32_t inQuality)
    {
        return Guarded(
            [&]
            {
                return DeinterlaceInto({inSource, inSourceRowBytes, inSourceFormat, inWidth, inHeight},
                                       {outTarget, inTargetRowBytes, inTargetFormat, inWidth, inHeight},
                                       inKeepLower != 0, inQuality);
            });
    }

    int32_t IR_DeinterlaceCopy(const void* inSource, int32_t inSourceRowBytes, uint32_t inSourceFormat,
                               void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
                               int32_t inWidth, int32_t inHeight, int32_t inSourceIsLower, int32_t inQuality)
    {
        return Guarded(
            [&]
            {
                return CopyToOtherParity({inSource, inSourceRowBytes, inSourceFormat, inWidth, inHeight},
                                         {outTarget, inTargetRowBytes, inTargetFormat, inWidth, inHeight},
                                         inSourceIsLower != 0, ir::FieldMethodFor(inQuality));
            });
    }
}
