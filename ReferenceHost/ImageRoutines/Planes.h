#pragma once

#include <cstddef>
#include <cstdint>

#include "IR/ImageRoutines.h"

// Pictures as decoders and encoders hold them: up to four planes, any depth, siting and colour description.
//
// A decoded picture is converted once, straight from the decoder's planes to the pixels of a format code (the
// codes are told in IR/ImageRoutines.h), scaled on the way when the sizes differ; ConvertToPlanes goes back.
//
// What becomes of colour:
// - The matrix and the range are always undone exactly.
// - Curves made for ordinary displays (Rec.601, 709 and 2020, sRGB, plain gammas, SMPTE 240M) count as one
//   curve, the coding of RGB formats: such a picture is shown as it is coded. PQ, HLG and linear light are
//   converted, PQ and HLG with 100 cd/m2 as white: what is brighter is clipped in integer formats and kept
//   above 1 in float.
// - The primaries of Rec.601 (525 and 625 lines) and 709 count as equal, because converting between them
//   would alter every standard-definition picture by an amount smaller than cameras differ. Rec.2020, P3 and
//   the others are converted to those of Rec.709.
//
// Thread-safety: safe for any number of threads; no call keeps a reference to the pixels.
namespace ir
{

enum class Matrix : std::uint8_t
{
    kRGB,
    k601,
    k709,
    k2020NonConstant,
    k2020Constant,
    k240M,
    kFCC,
    kYCgCo,
    kICtCp
};

enum class Transfer : std::uint8_t
{
    kDisplay, // every curve for ordinary displays
    kLinear,
    kPQ,
    kHLG
};

enum class Primaries : std::uint8_t
{
    k709, // and those of Rec.601
    k2020,
    kP3D65,
    kP3DCI,
    k470M,
    kFilm,
    kXYZ
};

// Where chroma lies: horizontally on the even pixels (left) or between two (centre); vertically on the even
// rows (top), between two rows (centre) or on the odd rows (bottom).
enum class ChromaSiting : std::uint8_t
{
    kLeft,
    kCenter,
    kTopLeft,
    kTop,
    kBottomLeft,
    kBottom
};

enum class PlaneLayout : std::uint8_t
{
    kPlanar,     // Y U V A, or G B R A, or one grey plane (and A in plane 3)
    kSemiPlanar, // Y, then U and V by turns in plane 1 (A in plane 3)
    kPackedYUYV, // one plane, 8-bit
    kPackedUYVY  // one plane, 8-bit
};

enum class AlphaKind : std::uint8_t
{
    kNone,
    kStraight,
    kPremultiplied
};

// Width and height are of the whole picture in pixels. A stride is the bytes from one row of a plane to the
// next and may be negative. The owner of the planes keeps them alive for the call.
struct PlanarDescription
{
    std::ptrdiff_t strides[4] = {0, 0, 0, 0};
    std::int32_t width = 0;
    std::int32_t height = 0;

    PlaneLayout layout = PlaneLayout::kPlanar;
    bool isRGB = false;             // planes G, B, R (, A); range full unless said otherwise
    bool isGray = false;            // plane 0 alone (and A in plane 3)
    bool isFloat = false;           // 32-bit float, Y and RGB 0..1, U and V about 0
    bool isMSBAligned = false;      // significant bits at the top of each 16-bit word
    std::int32_t bitsPerSample = 8; // 8, or 9..16 in 16-bit little-endian words
    std::int32_t chromaShiftX = 0;  // 0..2
    std::int32_t chromaShiftY = 0;  // 0..2
    ChromaSiting siting = ChromaSiting::kLeft;

    bool isInterlaced = false; // 4:2:0 chroma rows belong to the fields
    bool isFullRange = false;
    Matrix matrix = Matrix::k709;
    Transfer transfer = Transfer::kDisplay;
    Primaries primaries = Primaries::k709;
    AlphaKind alpha = AlphaKind::kNone; // alpha has the depth of the other planes and full range
};

struct PlanarPicture : PlanarDescription
{
    const void* planes[4] = {nullptr, nullptr, nullptr, nullptr};
};

struct MutablePlanarPicture : PlanarDescription
{
    void* planes[4] = {nullptr, nullptr, nullptr, nullptr};
};

// Converts inSource, or one field of it (kIR_WholePicture, kIR_UpperField, kIR_LowerField), to a picture of
// inTargetFormat, scaled to the target's size as IR_ScaleConvert does. 0 or a negative status of
// IR/ImageRoutines.h; a description that goes nowhere (an unknown depth, a missing plane) is
// kIR_UnknownFormat or kIR_NullPointer.
[[nodiscard]] std::int32_t ConvertPlanes(const PlanarPicture& inSource, std::int32_t inSourceField,
                                         void* outTarget, std::int32_t inTargetRowBytes,
                                         std::int32_t inTargetWidth, std::int32_t inTargetHeight,
                                         std::uint32_t inTargetFormat, std::int32_t inQuality);

// Whether rows of inSource can be converted without the rest of the picture, and nothing but memory can be missing.
bool CanConvertRows(const PlanarPicture& inSource, std::uint32_t inTargetFormat) noexcept;

// Rows inFirst to inFirst + inCount - 1 as ConvertPlanes gives them at the source's size. outTarget: the first of
// them. The rows are the picture's, and it can be converted so.
[[nodiscard]] std::int32_t ConvertPlaneRows(const PlanarPicture& inSource, std::int32_t inFirst,
                                            std::int32_t inCount, void* outTarget,
                                            std::int32_t inTargetRowBytes, std::uint32_t inTargetFormat);

// Converts the picture of a format code to the planes of outTarget, scaled to the target's size. The target's
// transfer and primaries must be kDisplay and k709: encoders are given what the formats hold.
[[nodiscard]] std::int32_t ConvertToPlanes(const void* inSource, std::int32_t inSourceRowBytes,
                                           std::int32_t inSourceWidth, std::int32_t inSourceHeight,
                                           std::uint32_t inSourceFormat,
                                           const MutablePlanarPicture& outTarget, std::int32_t inQuality);

}
