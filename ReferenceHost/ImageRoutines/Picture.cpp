#include "ReferenceHost/ImageRoutines/Picture.h"

#include <cmath>

namespace ir
{
namespace
{

struct CodeBits
{
    std::uint32_t family, alpha, layout, depth;
    bool linear, full, bottomLeft, rest;
};

enum : std::uint32_t
{
    kLayoutPacked4,
    kLayoutUYVY,
    kLayoutYUYV,
    kLayoutV210,
    kLayout420Frame,
    kLayout420Field,
    kLayout422,
    kLayout420Center
};

enum : std::uint32_t
{
    kDepth8u,
    kDepth32f,
    kDepth16u,
    kDepth10u
};

CodeBits Split(std::uint32_t inFormat) noexcept
{
    return {
        inFormat & 3u,           (inFormat >> 2) & 3u,     (inFormat >> 4) & 15u,    (inFormat >> 8) & 7u,
        (inFormat & 0x800) != 0, (inFormat & 0x1000) != 0, (inFormat & 0x2000) != 0, (inFormat >> 14) != 0};
}

bool FourComponentBitsAgree(const CodeBits& inBits) noexcept
{
    if (inBits.alpha == 0 || inBits.depth > kDepth16u)
    {
        return false;
    }
    if (inBits.family == 0)
    {
        return !inBits.full && (!inBits.linear || inBits.depth == kDepth32f);
    }
    return !inBits.linear && inBits.depth != kDepth16u;
}

bool SubsampledBitsAgree(const CodeBits& inBits) noexcept
{
    if (inBits.family == 0 || inBits.alpha != 0 || inBits.linear || inBits.bottomLeft)
    {
        return false;
    }
    switch (inBits.layout)
    {
    case kLayoutUYVY:
    case kLayoutYUYV: return inBits.depth == kDepth8u;
    case kLayoutV210: return inBits.depth == kDepth10u;
    default:
        return inBits.layout <= kLayout420Center && (inBits.depth == kDepth8u || inBits.depth == kDepth10u);
    }
}

std::int64_t MinimumRowBytes(const CodeBits& inBits, std::int64_t inWidth) noexcept
{
    const std::int64_t sampleBytes = inBits.depth == kDepth32f ? 4 : inBits.depth == kDepth8u ? 1 : 2;
    switch (inBits.layout)
    {
    case kLayoutPacked4: return inWidth * 4 * sampleBytes;
    case kLayoutUYVY:
    case kLayoutYUYV: return (inWidth + 1) / 2 * 4;
    case kLayoutV210: return (inWidth + 5) / 6 * 16;
    default: return (inWidth + 1) / 2 * 2 * sampleBytes;
    }
}

void PlacePlanes(Picture& ioPicture, unsigned char* inPixels, std::ptrdiff_t inRowBytes) noexcept
{
    ioPicture.planes[0] = inPixels;
    ioPicture.strides[0] = inRowBytes;
    ioPicture.strides[1] = ioPicture.strides[2] = inRowBytes / 2;
    ioPicture.planes[1] = inPixels + inRowBytes * ioPicture.height;
    ioPicture.planes[2] = ioPicture.planes[1] + ioPicture.strides[1] * ioPicture.chromaRows;
}

Storage StorageOf(std::uint32_t inLayout) noexcept
{
    switch (inLayout)
    {
    case kLayoutPacked4: return Storage::kPacked4;
    case kLayoutUYVY: return Storage::kUYVY;
    case kLayoutYUYV: return Storage::kYUYV;
    case kLayoutV210: return Storage::kV210;
    default: return Storage::kPlanar;
    }
}

void DescribeCode(const CodeBits& inBits, Picture& outPicture) noexcept
{
    static constexpr std::int32_t kBits[] = {8, 32, 16, 10};
    static constexpr PictureAlpha kAlpha[] = {PictureAlpha::kNone, PictureAlpha::kStraight,
                                              PictureAlpha::kPremultiplied, PictureAlpha::kOpaque};
    static constexpr Matrix kFamily[] = {Matrix::kRGB, Matrix::k601, Matrix::k709};
    outPicture.storage = StorageOf(inBits.layout);
    outPicture.sample = inBits.depth == kDepth8u    ? Sample::kByte
                        : inBits.depth == kDepth32f ? Sample::kFloat
                                                    : Sample::kWord;
    outPicture.bits = kBits[inBits.depth];
    outPicture.shiftX = inBits.layout == kLayoutPacked4 ? 0 : 1;
    outPicture.shiftY = inBits.layout == kLayout420Frame || inBits.layout == kLayout420Field ||
                        inBits.layout == kLayout420Center;
    outPicture.siting = inBits.layout == kLayout420Center ? ChromaSiting::kCenter : ChromaSiting::kLeft;
    outPicture.isFieldChroma = inBits.layout == kLayout420Field;
    outPicture.isFullRange = inBits.family == 0 || inBits.full;
    outPicture.matrix = kFamily[inBits.family];
    outPicture.transfer = inBits.linear ? Transfer::kLinear : Transfer::kDisplay;
    outPicture.alpha = kAlpha[inBits.alpha];
}

bool DepthIsKnown(const PlanarDescription& inDescription) noexcept
{
    if (inDescription.isFloat)
    {
        return !inDescription.isMSBAligned;
    }
    return inDescription.bitsPerSample >= 8 && inDescription.bitsPerSample <= 16;
}

bool LayoutIsKnown(const PlanarDescription& inDescription) noexcept
{
    const bool subsampled = inDescription.chromaShiftX != 0 || inDescription.chromaShiftY != 0;
    if (inDescription.chromaShiftX < 0 || inDescription.chromaShiftX > 2 || inDescription.chromaShiftY < 0 ||
        inDescription.chromaShiftY > 2 || (inDescription.isRGB && subsampled))
    {
        return false;
    }
    switch (inDescription.layout)
    {
    case PlaneLayout::kPlanar: return true;
    case PlaneLayout::kSemiPlanar:
        return !inDescription.isRGB && !inDescription.isGray && !inDescription.isFloat;
    default:
        return !inDescription.isRGB && !inDescription.isGray && !inDescription.isFloat &&
               inDescription.bitsPerSample == 8 && inDescription.chromaShiftX == 1 &&
               inDescription.chromaShiftY == 0 && inDescription.alpha == AlphaKind::kNone;
    }
}

bool PlanesArePresent(const PlanarDescription& inDescription, const void* const inPlanes[4]) noexcept
{
    const bool isSinglePlane = inDescription.isGray || inDescription.layout == PlaneLayout::kPackedYUYV ||
                               inDescription.layout == PlaneLayout::kPackedUYVY;
    const int colourPlanes = isSinglePlane ? 1 : inDescription.layout == PlaneLayout::kSemiPlanar ? 2 : 3;
    for (int plane = 0; plane < colourPlanes; ++plane)
    {
        if (inPlanes[plane] == nullptr)
        {
            return false;
        }
    }
    return inDescription.alpha == AlphaKind::kNone || inPlanes[3] != nullptr;
}

bool SizeIsTaken(std::int32_t inWidth, std::int32_t inHeight) noexcept
{
    return inWidth > 0 && inHeight > 0 && inWidth <= kMaxSide && inHeight <= kMaxSide;
}

bool StridesHoldRows(const Picture& inPicture) noexcept
{
    const std::int64_t bytes = SampleBytes(inPicture.sample);
    const auto holds = [&](int inPlane, std::int64_t inSamples)
    {
        const std::int64_t stride = inPicture.strides[inPlane];
        const std::int64_t rows = inPlane == 1 || inPlane == 2 ? inPicture.chromaRows : inPicture.height;
        return rows == 1 || (stride < 0 ? -stride : stride) >= inSamples * bytes;
    };
    const std::int64_t chroma = inPicture.ChromaWidth();
    switch (inPicture.storage)
    {
    case Storage::kYUYV:
    case Storage::kUYVY: return holds(0, chroma * 4);
    case Storage::kSemiPlanar:
        return holds(0, inPicture.width) && holds(1, chroma * 2) &&
               (!inPicture.HasAlpha() || holds(3, inPicture.width));
    default:
        return holds(0, inPicture.width) && (inPicture.isGray || (holds(1, chroma) && holds(2, chroma))) &&
               (!inPicture.HasAlpha() || holds(3, inPicture.width));
    }
}

void DescribePlanes(const PlanarDescription& inDescription, Picture& outPicture) noexcept
{
    static constexpr Storage kStorage[] = {Storage::kPlanar, Storage::kSemiPlanar, Storage::kYUYV,
                                           Storage::kUYVY};
    static constexpr PictureAlpha kAlpha[] = {PictureAlpha::kNone, PictureAlpha::kStraight,
                                              PictureAlpha::kPremultiplied};
    outPicture.storage = kStorage[static_cast<int>(inDescription.layout)];
    outPicture.sample = inDescription.isFloat              ? Sample::kFloat
                        : inDescription.bitsPerSample == 8 ? Sample::kByte
                                                           : Sample::kWord;
    outPicture.bits = inDescription.isFloat ? 32 : inDescription.bitsPerSample;
    outPicture.lowZeroBits = inDescription.isMSBAligned && outPicture.sample == Sample::kWord
                                 ? 16 - inDescription.bitsPerSample
                                 : 0;
    outPicture.isGray = inDescription.isGray;
    outPicture.shiftX = inDescription.isGray ? 0 : inDescription.chromaShiftX;
    outPicture.shiftY = inDescription.isGray ? 0 : inDescription.chromaShiftY;
    outPicture.siting = inDescription.siting;
    outPicture.isFieldChroma = inDescription.isInterlaced && outPicture.shiftY == 1;
    outPicture.isFullRange = inDescription.isFullRange;
    outPicture.matrix = inDescription.isRGB || inDescription.isGray ? Matrix::kRGB : inDescription.matrix;
    outPicture.transfer = inDescription.transfer;
    outPicture.primaries = inDescription.primaries;
    outPicture.alpha = kAlpha[static_cast<int>(inDescription.alpha)];
}

// Planes of RGB come G, B, R; a Picture's planes are R, G, B as its components are.
void TurnPlanesToRGB(Picture& ioPicture) noexcept
{
    const Picture before = ioPicture;
    static constexpr int kFrom[] = {2, 0, 1};
    for (int plane = 0; plane < 3; ++plane)
    {
        ioPicture.planes[plane] = before.planes[kFrom[plane]];
        ioPicture.strides[plane] = before.strides[kFrom[plane]];
    }
}

std::int32_t RowsOfChroma(const Picture& inPicture) noexcept
{
    return (inPicture.height + (1 << inPicture.shiftY) - 1) >> inPicture.shiftY;
}

unsigned char* Writable(const void* inPixels) noexcept
{
    return const_cast<unsigned char*>(static_cast<const unsigned char*>(inPixels));
}

}

bool IsKnownCode(std::uint32_t inFormat) noexcept
{
    const CodeBits bits = Split(inFormat);
    if (bits.rest || bits.family == 3)
    {
        return false;
    }
    return bits.layout == kLayoutPacked4 ? FourComponentBitsAgree(bits) : SubsampledBitsAgree(bits);
}

bool IsFourComponentCode(std::uint32_t inFormat) noexcept
{
    return IsKnownCode(inFormat) && Split(inFormat).layout == kLayoutPacked4;
}

bool IsBottomLeftCode(std::uint32_t inFormat) noexcept
{
    return IsKnownCode(inFormat) && Split(inFormat).bottomLeft;
}

std::int32_t PictureFromCode(const void* inPixels, std::int32_t inRowBytes, std::int32_t inWidth,
                             std::int32_t inHeight, std::uint32_t inFormat, Picture& outPicture) noexcept
{
    if (!IsKnownCode(inFormat))
    {
        return kIR_UnknownFormat;
    }
    if (inPixels == nullptr)
    {
        return kIR_NullPointer;
    }
    const CodeBits bits = Split(inFormat);
    const std::int64_t rowBytes = inRowBytes;
    const bool isPlanar = bits.layout >= kLayout420Frame;
    if (!SizeIsTaken(inWidth, inHeight) || (isPlanar && (rowBytes < 0 || rowBytes % 2 != 0)) ||
        (rowBytes < 0 ? -rowBytes : rowBytes) < MinimumRowBytes(bits, inWidth))
    {
        return kIR_BadSize;
    }
    outPicture = Picture();
    outPicture.width = inWidth;
    outPicture.height = inHeight;
    DescribeCode(bits, outPicture);
    outPicture.chromaRows = RowsOfChroma(outPicture);
    if (isPlanar)
    {
        PlacePlanes(outPicture, Writable(inPixels), rowBytes);
        return kIR_Success;
    }
    outPicture.planes[0] = Writable(inPixels) + (bits.bottomLeft ? (inHeight - 1) * rowBytes : 0);
    outPicture.strides[0] = bits.bottomLeft ? -rowBytes : rowBytes;
    return kIR_Success;
}

std::int32_t PictureFromPlanes(const PlanarDescription& inDescription, const void* const inPlanes[4],
                               Picture& outPicture) noexcept
{
    if (!DepthIsKnown(inDescription) || !LayoutIsKnown(inDescription))
    {
        return kIR_UnknownFormat;
    }
    if (!PlanesArePresent(inDescription, inPlanes))
    {
        return kIR_NullPointer;
    }
    if (!SizeIsTaken(inDescription.width, inDescription.height))
    {
        return kIR_BadSize;
    }
    outPicture = Picture();
    outPicture.width = inDescription.width;
    outPicture.height = inDescription.height;
    for (int plane = 0; plane < 4; ++plane)
    {
        outPicture.planes[plane] = Writable(inPlanes[plane]);
        outPicture.strides[plane] = inDescription.strides[plane];
    }
    DescribePlanes(inDescription, outPicture);
    outPicture.chromaRows = RowsOfChroma(outPicture);
    if (inDescription.isRGB)
    {
        TurnPlanesToRGB(outPicture);
    }
    return StridesHoldRows(outPicture) ? kIR_Success : kIR_BadSize;
}

std::ptrdiff_t PatternBytes(const Picture& inPicture, int inPlane) noexcept
{
    const std::ptrdiff_t sample = SampleBytes(inPicture.sample);
    switch (inPicture.storage)
    {
    case Storage::kPacked4: return sample * 4;
    case Storage::kYUYV:
    case Storage::kUYVY: return 4;
    case Storage::kV210: return 16;
    case Storage::kSemiPlanar: return inPlane == 1 ? sample * 2 : sample;
    default: return sample;
    }
}

namespace
{

std::ptrdiff_t PatternsInRow(const Picture& inPicture, int inPlane) noexcept
{
    switch (inPicture.storage)
    {
    case Storage::kYUYV:
    case Storage::kUYVY: return inPicture.ChromaWidth();
    case Storage::kV210: return (inPicture.width + 5) / 6;
    default: return inPlane == 1 || inPlane == 2 ? inPicture.ChromaWidth() : inPicture.width;
    }
}

}

std::ptrdiff_t RowBytesOf(const Picture& inPicture, int inPlane) noexcept
{
    return PatternBytes(inPicture, inPlane) * PatternsInRow(inPicture, inPlane);
}

namespace
{

struct PlaneRows
{
    const unsigned char* first;
    const unsigned char* last;
    std::ptrdiff_t stride;
    std::ptrdiff_t bytes;
};

PlaneRows RowsOf(const Picture& inPicture, int inPlane) noexcept
{
    const std::int32_t rows = inPlane == 1 || inPlane == 2 ? inPicture.chromaRows : inPicture.height;
    const std::ptrdiff_t stride = inPicture.strides[inPlane];
    const unsigned char* top = inPicture.Row(inPlane, 0);
    const unsigned char* bottom = inPicture.Row(inPlane, rows - 1);
    return {stride < 0 ? bottom : top, stride < 0 ? top : bottom, stride < 0 ? -stride : stride,
            RowBytesOf(inPicture, inPlane)};
}

// The fields of one picture lie between each other's rows without sharing a byte.
bool Share(const PlaneRows& inOne, const PlaneRows& inOther) noexcept
{
    if (inOne.first >= inOther.last + inOther.bytes || inOther.first >= inOne.last + inOne.bytes)
    {
        return false;
    }
    if (inOne.stride != inOther.stride || inOne.stride == 0)
    {
        return true;
    }
    const std::ptrdiff_t difference = inOther.first - inOne.first;
    const std::ptrdiff_t gap = (difference % inOne.stride + inOne.stride) % inOne.stride;
    return gap < inOne.bytes || inOne.stride - gap < inOther.bytes;
}

}

bool Overlap(const Picture& inOne, const Picture& inOther) noexcept
{
    for (int i = 0; i < 4; ++i)
    {
        for (int j = 0; j < 4; ++j)
        {
            if (inOne.planes[i] != nullptr && inOther.planes[j] != nullptr &&
                Share(RowsOf(inOne, i), RowsOf(inOther, j)))
            {
                return true;
            }
        }
    }
    return false;
}

Picture FieldOf(const Picture& inPicture, std::int32_t inField) noexcept
{
    Picture field = inPicture;
    const std::int32_t first = inField == kIR_LowerField ? 1 : 0;
    const bool sharesChroma = inPicture.shiftY != 0 && !inPicture.isFieldChroma;
    for (int plane = 0; plane < 4; ++plane)
    {
        const bool isShared = sharesChroma && (plane == 1 || plane == 2);
        if (field.planes[plane] != nullptr && !isShared)
        {
            field.planes[plane] += first * inPicture.strides[plane];
            field.strides[plane] *= 2;
        }
    }
    field.height = (inPicture.height + 1 - first) / 2;
    field.ownField = inPicture.isFieldChroma ? inField : kIR_WholePicture;
    field.isFieldChroma = false;
    if (sharesChroma)
    {
        field.shiftY = 0;
        field.chromaRows = field.height;
        return field;
    }
    field.chromaRows = (inPicture.chromaRows + 1 - first) / 2;
    if (field.chromaRows == 0)
    {
        field.chromaRows = 1;
        field.planes[1] = inPicture.planes[1];
        field.planes[2] = inPicture.planes[2];
    }
    return field;
}

std::int32_t FieldOfRow(const Picture& inPicture, std::int32_t inY) noexcept
{
    return !inPicture.isFieldChroma ? inPicture.ownField : inY & 1 ? kIR_LowerField : kIR_UpperField;
}

ChromaRowPair ChromaRowsFor(const Picture& inPicture, std::int32_t inY) noexcept
{
    if (inPicture.shiftY == 0)
    {
        return {inY, inY, 0};
    }
    const std::int32_t parity = inPicture.isFieldChroma ? inY & 1 : 0;
    const std::int32_t field = FieldOfRow(inPicture, inY);
    const std::int32_t step = inPicture.isFieldChroma ? 2 : 1;
    const std::int32_t rows = (inPicture.chromaRows + step - 1 - parity) / step;
    const double y = inPicture.isFieldChroma ? inY >> 1 : inY;
    const double position =
        (y - ChromaOffsetY(inPicture, field)) / static_cast<double>(1 << inPicture.shiftY);
    const double above = std::floor(position);
    const auto row = [&](double inRow)
    {
        const double last = static_cast<double>(rows > 0 ? rows - 1 : 0);
        const double kept = inRow < 0.0 ? 0.0 : inRow > last ? last : inRow;
        return rows > 0 ? static_cast<std::int32_t>(kept) * step + parity : 0;
    };
    return {row(above), row(above + 1.0), static_cast<std::int32_t>((position - above) * 8.0)};
}

bool HasSameChromaColumns(const Picture& inOne, const Picture& inOther) noexcept
{
    return inOne.shiftX == inOther.shiftX && ChromaOffsetX(inOne) == ChromaOffsetX(inOther);
}

bool HasSameChromaRows(const Picture& inOne, const Picture& inOther) noexcept
{
    const bool isSameSpacing = inOne.shiftY == inOther.shiftY && inOne.ownField == inOther.ownField &&
                               inOne.chromaRows == inOther.chromaRows;
    return isSameSpacing &&
           ChromaOffsetY(inOne, inOne.ownField) == ChromaOffsetY(inOther, inOther.ownField) &&
           (inOne.shiftY == 0 || inOne.isFieldChroma == inOther.isFieldChroma);
}

bool IsChromaIndependent(const Picture& inSource, const Picture& inTarget) noexcept
{
    return inSource.IsSubsampled() && inTarget.IsSubsampled() && inSource.matrix == inTarget.matrix &&
           inSource.transfer == inTarget.transfer && !inSource.HasAlpha() && !inTarget.HasAlpha();
}

std::int32_t SampleBytes(Sample inSample) noexcept
{
    return inSample == Sample::kByte ? 1 : inSample == Sample::kWord ? 2 : 4;
}

ComponentRange LumaRange(const Picture& inPicture) noexcept
{
    if (inPicture.sample == Sample::kFloat)
    {
        return {0.0, 1.0};
    }
    if (inPicture.isFullRange)
    {
        return {0.0, static_cast<double>((1 << inPicture.bits) - 1)};
    }
    const double unit = static_cast<double>(1 << (inPicture.bits - 8));
    return {16.0 * unit, 219.0 * unit};
}

ComponentRange ChromaRange(const Picture& inPicture) noexcept
{
    if (inPicture.IsRGB() || inPicture.isGray)
    {
        return LumaRange(inPicture);
    }
    if (inPicture.sample == Sample::kFloat)
    {
        return {0.0, 1.0};
    }
    const double middle = static_cast<double>(1 << (inPicture.bits - 1));
    if (inPicture.isFullRange)
    {
        return {middle, static_cast<double>((1 << inPicture.bits) - 1)};
    }
    return {middle, 224.0 * static_cast<double>(1 << (inPicture.bits - 8))};
}

ComponentRange AlphaRange(const Picture& inPicture) noexcept
{
    if (inPicture.sample == Sample::kFloat)
    {
        return {0.0, 1.0};
    }
    return {0.0, static_cast<double>((1 << inPicture.bits) - 1)};
}

ComponentRange RangeOf(const Picture& inPicture, int inComponent) noexcept
{
    return inComponent == 0   ? LumaRange(inPicture)
           : inComponent == 3 ? AlphaRange(inPicture)
                              : ChromaRange(inPicture);
}

double ChromaOffsetX(const Picture& inPicture) noexcept
{
    const double middle = static_cast<double>((1 << inPicture.shiftX) - 1) / 2.0;
    switch (inPicture.siting)
    {
    case ChromaSiting::kLeft:
    case ChromaSiting::kTopLeft:
    case ChromaSiting::kBottomLeft: return 0.0;
    default: return middle;
    }
}

double ChromaOffsetY(const Picture& inPicture, std::int32_t inField) noexcept
{
    const double last = static_cast<double>((1 << inPicture.shiftY) - 1);
    const bool isTop = inPicture.siting == ChromaSiting::kTopLeft || inPicture.siting == ChromaSiting::kTop;
    const bool isBottom =
        inPicture.siting == ChromaSiting::kBottomLeft || inPicture.siting == ChromaSiting::kBottom;
    const double frame = isTop ? 0.0 : isBottom ? last : last / 2.0;
    if (inField == kIR_WholePicture || inPicture.shiftY == 0)
    {
        return frame;
    }
    // Evenly spaced rows of the frame, seen from a field: its chroma row k is row 2k (2k + 1) of the frame's
    // chroma.
    const double parity = inField == kIR_LowerField ? 1.0 : 0.0;
    const double spacing = static_cast<double>(1 << inPicture.shiftY);
    return (frame + parity * spacing - parity) / 2.0;
}

}
