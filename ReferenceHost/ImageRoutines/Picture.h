#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/Planes.h"

// The one view of pixels that every routine of this folder works on, made from a format code or from planes.
//
// A Picture owns nothing. Its rows run from the top of the picture to the bottom whatever the origin in
// memory, because a bottom-left picture is given the address of its last row and a negative stride.
//
// Thread-safety: a value; safe.
namespace ir
{

enum class Storage : std::uint8_t
{
    kPlanar,
    kSemiPlanar,
    kPacked4, // four components a pixel: B G R A or V U Y A
    kYUYV,
    kUYVY,
    kV210
};

enum class Sample : std::uint8_t
{
    kByte,
    kWord,
    kFloat
};

enum class PictureAlpha : std::uint8_t
{
    kNone, // no alpha in memory
    kStraight,
    kPremultiplied,
    kOpaque // in memory, read as 1, written as 1
};

struct Picture
{
    unsigned char* planes[4] = {nullptr, nullptr, nullptr, nullptr};
    std::ptrdiff_t strides[4] = {0, 0, 0, 0};
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t chromaRows = 0; // rows in memory of planes 1 and 2

    Storage storage = Storage::kPacked4;
    Sample sample = Sample::kByte;
    std::int32_t bits = 8;
    std::int32_t lowZeroBits = 0; // zero bits below the significant ones of a word
    std::int32_t shiftX = 0;
    std::int32_t shiftY = 0;
    ChromaSiting siting = ChromaSiting::kLeft;
    bool isFieldChroma = false; // chroma rows belong to the fields
    std::int32_t ownField = 0;  // the field that this picture is, of a picture with isFieldChroma
    bool isGray = false;        // plane 0 alone, read as R = G = B
    bool isFullRange = true;
    Matrix matrix = Matrix::kRGB; // kRGB: the components are R, G, B
    Transfer transfer = Transfer::kDisplay;
    Primaries primaries = Primaries::k709;
    PictureAlpha alpha = PictureAlpha::kNone;

    bool IsRGB() const noexcept { return matrix == Matrix::kRGB; }
    bool HasAlpha() const noexcept
    {
        return alpha == PictureAlpha::kStraight || alpha == PictureAlpha::kPremultiplied;
    }
    bool IsSubsampled() const noexcept { return shiftX != 0 || shiftY != 0; }
    std::int32_t ChromaWidth() const noexcept { return (width + (1 << shiftX) - 1) >> shiftX; }
    unsigned char* Row(int inPlane, std::int32_t inY) const noexcept
    {
        return planes[inPlane] + static_cast<std::ptrdiff_t>(inY) * strides[inPlane];
    }
};

// Where a component's code 0.0 and 1.0 lie: value = (code - offset) / scale. Float samples have offset 0,
// scale 1.
struct ComponentRange
{
    double offset;
    double scale;
};

// The largest side that any routine takes.
inline constexpr std::int32_t kMaxSide = 65536;

// kIR_Success and a filled outPicture, or the reason why the arguments are no picture.
[[nodiscard]] std::int32_t PictureFromCode(const void* inPixels, std::int32_t inRowBytes,
                                           std::int32_t inWidth, std::int32_t inHeight,
                                           std::uint32_t inFormat, Picture& outPicture) noexcept;
[[nodiscard]] std::int32_t PictureFromPlanes(const PlanarDescription& inDescription,
                                             const void* const inPlanes[4], Picture& outPicture) noexcept;

bool IsKnownCode(std::uint32_t inFormat) noexcept;
bool IsFourComponentCode(std::uint32_t inFormat) noexcept;
bool IsBottomLeftCode(std::uint32_t inFormat) noexcept;

// Rows 0, 2, 4 ... (inField kIR_UpperField) or 1, 3, 5 ... as a picture of their own. The picture has at
// least one such row. Chroma rows that belong to the fields go with them (a lower field without any is lent
// the first one); chroma rows that the fields share become rows of each of the two fields.
Picture FieldOf(const Picture& inPicture, std::int32_t inField) noexcept;

// The two chroma rows in memory that a row of the picture lies between, and the weight of the second in
// eighths.
struct ChromaRowPair
{
    std::int32_t near;
    std::int32_t far;
    std::int32_t eighthsOfFar;
};
ChromaRowPair ChromaRowsFor(const Picture& inPicture, std::int32_t inY) noexcept;

ComponentRange LumaRange(const Picture& inPicture) noexcept;
ComponentRange ChromaRange(const Picture& inPicture) noexcept;
ComponentRange AlphaRange(const Picture& inPicture) noexcept;

// The one of these three that component 0 to 3 has.
ComponentRange RangeOf(const Picture& inPicture, int inComponent) noexcept;

// Bytes of one four-component pixel or one sample of a plane.
std::int32_t SampleBytes(Sample inSample) noexcept;

// The smallest piece of a plane's row that repeats when the pixels are equal, and the bytes that a row takes.
std::ptrdiff_t PatternBytes(const Picture& inPicture, int inPlane) noexcept;
std::ptrdiff_t RowBytesOf(const Picture& inPicture, int inPlane) noexcept;

// Whether chroma samples of two pictures of one size lie at the same places along a row, and down the
// picture.
bool HasSameChromaColumns(const Picture& inOne, const Picture& inOther) noexcept;
bool HasSameChromaRows(const Picture& inOne, const Picture& inOther) noexcept;

// Whether chroma goes from one picture to the other by itself: both have less of it than luma, in one model.
// It is then resampled only along the axes on which its places differ.
bool IsChromaIndependent(const Picture& inSource, const Picture& inTarget) noexcept;

// Whether any byte of a row belongs to both pictures.
bool Overlap(const Picture& inOne, const Picture& inOther) noexcept;

// Places of R G B A (or Y U V A) in a packed four-component pixel: B G R A and V U Y A both are 2 1 0 3.
inline constexpr int kPackedPlace[4] = {2, 1, 0, 3};

// Position of chroma sample 0 along an axis in units of luma samples, from the centre of luma sample 0; the
// next sample follows 1 << shift luma samples on. inField: kIR_WholePicture, or the field of a picture with
// isFieldChroma, whose rows are then counted within the field.
std::int32_t FieldOfRow(const Picture& inPicture, std::int32_t inY) noexcept;
double ChromaOffsetX(const Picture& inPicture) noexcept;
double ChromaOffsetY(const Picture& inPicture, std::int32_t inField) noexcept;

}
