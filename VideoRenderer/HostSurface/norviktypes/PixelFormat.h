// Pixel formats: the one table of them, and the rules on their properties word.
//
// A format is a four-character name and a 32-bit properties word. Nothing knows a format by name
// alone: rules test the word and do arithmetic on it, and look the result up again. The bits:
//
//   0      YUV family                     1-3    depth code: 0 = 8, 1 = 10, 2, 3 = 16, 4 = 24, 5 = 32 bits
//   4      floating point                 5      Rec. 709 matrix (YUV; clear: Rec. 601)
//   6      full range (YUV)               7-9    alpha ("tone"): 0 none, 1 straight, 2 premultiplied, 3 opaque
//   10-11  packing: 0 four-component, 1 packed 4:2:2, 2 ten bits in 32-bit words, 3 planar
//   12     linear light                   13     variant: YUYV order on packed 4:2:2; rows from the
//                                                bottom up on four-component formats
//   14-17  planar layout, non-zero for every planar format: 1 4:2:0 left-sited, 3 4:2:0 centre-sited,
//          5 4:2:2, 9 4:2:0 left-sited with chroma lines by field (9-12: interlaced layouts)
//   18-19  kind: 0 wildcard, 1 uncompressed, 2 compressed, 3 invalid
//
// Memory layout. BGR formats hold B, G, R, A in that order, YUV four-component formats V, U, Y, A;
// 8u is 0..255, 16u 0..65535, 32f nominally 0..1 (YUV 32f: Y 0..1 after range expansion, U and V
// centred on 0). UYVY is U0 Y0 V0 Y1, YUYV is Y0 U0 Y1 V0. V210 is 6 pixels in 16 bytes with rows a
// multiple of 128 bytes. A planar frame is one buffer: the Y plane of rowBytes * height, then U, then V,
// each with rowBytes / 2, of height (4:2:2) or (height + 1) / 2 (4:2:0) lines; 10u planar samples are
// little-endian 16-bit words with 10 significant low bits.
//
// Colour. BGR is display-referred R'G'B' with the Rec. 709 transfer function; _Linear is linear light
// of the same primaries. YUV is Rec. 601 without a suffix, Rec. 709 with _709, narrow range unless _Full.
//
// Thread-safety: value types and pure functions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "norviktypes/RenderQuality.h"

namespace norviktypes
{

constexpr std::uint32_t FourCC(const char (&inText)[5]) noexcept
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
    {
        value = value << 8 | static_cast<unsigned char>(inText[i]);
    }
    return value;
}

struct PixelFormat
{
    std::uint32_t mName = 0;
    std::uint32_t mProperties = 0;

    friend constexpr bool operator==(const PixelFormat&, const PixelFormat&) noexcept = default;
};
static_assert(sizeof(PixelFormat) == 8);

// Every format there is: name, four-character code, properties.
// clang-format off
#define NORVIK_PIXEL_FORMATS(X)                             \
    X(BGRA_4444_8u,                     "BGRA", 0x00040080) \
    X(BGRP_4444_8u,                     "BGRp", 0x00040100) \
    X(BGRX_4444_8u,                     "BGRx", 0x00040180) \
    X(BGRA_4444_16u,                    "BGA6", 0x00040084) \
    X(BGRP_4444_16u,                    "BGP6", 0x00040104) \
    X(BGRX_4444_16u,                    "BGX6", 0x00040184) \
    X(BGRA_4444_32f,                    "BGAf", 0x0004009A) \
    X(BGRP_4444_32f,                    "BGPf", 0x0004011A) \
    X(BGRX_4444_32f,                    "BGXf", 0x0004019A) \
    X(BGRA_4444_32f_Linear,             "BGAl", 0x0004109A) \
    X(BGRP_4444_32f_Linear,             "BGPl", 0x0004111A) \
    X(BGRX_4444_32f_Linear,             "BGXl", 0x0004119A) \
    X(VUYA_4444_8u,                     "VUYA", 0x00040081) \
    X(VUYP_4444_8u,                     "VUYp", 0x00040101) \
    X(VUYX_4444_8u,                     "VUYx", 0x00040181) \
    X(VUYA_4444_8u_709,                 "VUA7", 0x000400A1) \
    X(VUYP_4444_8u_709,                 "VUP7", 0x00040121) \
    X(VUYX_4444_8u_709,                 "VUX7", 0x000401A1) \
    X(VUYA_4444_32f,                    "VUAf", 0x0004009B) \
    X(VUYP_4444_32f,                    "VUPf", 0x0004011B) \
    X(VUYX_4444_32f,                    "VUXf", 0x0004019B) \
    X(VUYA_4444_32f_709,                "VAf7", 0x000400BB) \
    X(VUYP_4444_32f_709,                "VPf7", 0x0004013B) \
    X(VUYX_4444_32f_709,                "VXf7", 0x000401BB) \
    X(UYVY_422_8u_601,                  "UYVY", 0x00040401) \
    X(UYVY_422_8u_709,                  "UYV7", 0x00040421) \
    X(YUYV_422_8u_601,                  "YUYV", 0x00042401) \
    X(YUYV_422_8u_709,                  "YUY7", 0x00042421) \
    X(V210_422_10u_601,                 "v210", 0x00040803) \
    X(V210_422_10u_709,                 "v217", 0x00040823) \
    X(YUV_420_MPEG2_Frame_8u_601,       "420P", 0x00044C01) \
    X(YUV_420_MPEG2_Frame_8u_709,       "42P7", 0x00044C21) \
    X(YUV_420_MPEG2_Field_8u_601,       "420I", 0x00064C01) \
    X(YUV_420_MPEG2_Field_8u_709,       "42I7", 0x00064C21) \
    X(YUV_420_MPEG2_Frame_10u_709,      "42PX", 0x00044C23) \
    X(YUV_420_MPEG2_Field_10u_709,      "42IX", 0x00064C23) \
    X(YUV_422_Planar_8u_709,            "422P", 0x00054C21) \
    X(YUV_422_Planar_10u_709,           "422X", 0x00054C23) \
    X(YUV_420_Center_Frame_8u_601_Full, "420J", 0x0004CC41) \
    X(VUYA_4444_8u_601_Full,            "VUAJ", 0x000400C1) \
    X(VUYP_4444_8u_601_Full,            "VUPJ", 0x00040141) \
    X(VUYX_4444_8u_601_Full,            "VUXJ", 0x000401C1) \
    X(VUYA_4444_32f_601_Full,           "VAfJ", 0x000400DB) \
    X(VUYP_4444_32f_601_Full,           "VPfJ", 0x0004015B) \
    X(VUYX_4444_32f_601_Full,           "VXfJ", 0x000401DB) \
    X(BGRA_4444_8u_BottomUp,            "BGAu", 0x00042080)
// clang-format on

#define NORVIK_DECLARE_PIXEL_FORMAT(name, fourcc, properties) \
    inline constexpr PixelFormat kPixelFormat_##name{FourCC(fourcc), properties};
NORVIK_PIXEL_FORMATS(NORVIK_DECLARE_PIXEL_FORMAT)
#undef NORVIK_DECLARE_PIXEL_FORMAT

inline constexpr std::uint32_t kPixelFormatProperties_Any = 0;
inline constexpr std::uint32_t kPixelFormatProperties_Invalid = 0xFFFFFFFF;
inline constexpr std::uint32_t kPixelFormatName_Unknown = FourCC("badf");
inline constexpr PixelFormat kPixelFormat_Any{0, kPixelFormatProperties_Any};
inline constexpr PixelFormat kPixelFormat_Invalid{kPixelFormatName_Unknown, kPixelFormatProperties_Invalid};

struct PixelFormatRow
{
    const char* mText; // "BGRA_4444_8u"
    PixelFormat mFormat;
};

#define NORVIK_PIXEL_FORMAT_ROW(name, fourcc, properties) PixelFormatRow{#name, kPixelFormat_##name},
inline constexpr auto kPixelFormatTable =
    std::to_array<PixelFormatRow>({NORVIK_PIXEL_FORMATS(NORVIK_PIXEL_FORMAT_ROW)});
#undef NORVIK_PIXEL_FORMAT_ROW

// Bits per component; 0 for a depth code that is not in use.
constexpr std::uint32_t DepthOfProperties(std::uint32_t inProperties) noexcept
{
    constexpr std::uint32_t kDepths[8] = {8, 10, 16, 16, 24, 32, 0, 0};
    return kDepths[inProperties >> 1 & 7];
}

// 0 no alpha, 1 straight, 2 premultiplied, 3 opaque.
constexpr std::uint32_t ToneOfProperties(std::uint32_t inProperties) noexcept
{
    return inProperties >> 7 & 7;
}
constexpr bool IsUncompressed(std::uint32_t inProperties) noexcept
{
    return (inProperties & 0xC0000) == 0x40000;
}
constexpr bool IsYUV(std::uint32_t inProperties) noexcept
{
    return (inProperties & 1) != 0;
}

// Packed four-component formats: those whose alpha can be handled pixel by pixel.
constexpr bool IsPackedFourComponent(std::uint32_t inProperties) noexcept
{
    return IsUncompressed(inProperties) && (inProperties & 0xC00) == 0 && (inProperties & 0x380) != 0;
}
constexpr bool IsPacked422(std::uint32_t inProperties) noexcept
{
    return IsUncompressed(inProperties) && (inProperties & 0xC00) == 0x400;
}
// Planar formats, whose rows cannot be walked with one pointer.
constexpr bool IsSubsampled(std::uint32_t inProperties) noexcept
{
    return IsUncompressed(inProperties) && (inProperties & 0x3C000) != 0;
}
// Interlaced planar formats: the ones that a stream may deliver at half width and full height,
// since halving the height would mix the fields.
constexpr bool MayBeHalfWidthSubstitute(std::uint32_t inProperties) noexcept
{
    const std::uint32_t layout = inProperties >> 14 & 15;
    return IsYUV(inProperties) && layout >= 9 && layout <= 12 && (inProperties & 0xC00) == 0xC00;
}
constexpr bool IsLinear(std::uint32_t inProperties) noexcept
{
    return (inProperties & 0x1000) != 0;
}

// What one pixel counts when memory is estimated; 0 where a format has no single figure.
constexpr std::uint32_t BytesPerPixel(std::uint32_t inProperties) noexcept
{
    const std::uint32_t depth = DepthOfProperties(inProperties);
    const std::uint32_t bytesByDepth = depth == 10 ? 4 : 0;
    if (IsPackedFourComponent(inProperties))
    {
        return depth * 4 / 8;
    }
    if (IsPacked422(inProperties))
    {
        return depth == 10 ? 0 : depth * 2 / 8;
    }
    return bytesByDepth;
}

// The name of a properties word: 0 for a wildcard, 'badf' for a word that is not in the table.
std::uint32_t GuessNameForProperties(std::uint32_t inProperties) noexcept;

// "BGRA_4444_8u" and so on; "Any"; "Invalid" for everything else.
const char* PixelFormatText(const PixelFormat& inFormat) noexcept;
// The reverse; false and kPixelFormat_Invalid for an unknown text.
bool PixelFormatFromText(const char* inText, PixelFormat& outFormat) noexcept;

// The four-component format to work in: linear premultiplied float at the highest quality; else the
// format itself where it has four components, BGRA for wildcards, and otherwise the opaque
// four-component format of the same family, matrix and range, in 8 bits or in float.
PixelFormat Select4444PixelFormat(const PixelFormat& inFormat, RenderQuality inQuality) noexcept;

// Picks from inAccepted for a frame of format inFrame (kPixelFormat_Invalid: no frame).
// No accepted formats: inWished[0]. With inPreferFrame the frame's format if it is accepted (or Any
// is). Then the first wished one that is accepted (or Any is); else the accepted one at the least
// distance, earlier ones first. inWished must not be empty, else kPixelFormat_Invalid.
PixelFormat SelectNearestPixelFormat(const std::vector<PixelFormat>& inWished, const PixelFormat& inFrame,
                                     const std::vector<PixelFormat>& inAccepted, RenderQuality inQuality,
                                     bool inPreferFrame);
// The same without a frame.
PixelFormat SelectNearestPixelFormat(const std::vector<PixelFormat>& inWished,
                                     const std::vector<PixelFormat>& inOffered, RenderQuality inQuality,
                                     bool inPreferFrame);
// Exact or by wildcard, never merely near: the first offered one that is wanted; where inWanted holds
// Any, inOffered[0]; where an offered one is Any, inWanted[0]; else inNoMatch.
PixelFormat SelectNearestPixelFormat(const std::vector<PixelFormat>& inOffered,
                                     const std::vector<PixelFormat>& inWanted, const PixelFormat& inNoMatch,
                                     RenderQuality inQuality);

} // namespace norviktypes
