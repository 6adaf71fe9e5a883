#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// Rows of four-component bytes laid over each other and summed, in registers and in fixed point.
//
// A pixel is a word of 32 bits, and its four bytes are worked on as two halves of 16 bits: the even ones moved up
// by eight, the odd ones where they are. Shares are 16-bit fractions of which 65535 is all; a byte times a share
// is a code with eight bits behind the point. An untouched byte comes out as it went in, and every result is less
// than one code from the exact one. All instruction sets give the same bytes, and so do the twins of
// ComposeReference.h.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

// Less alpha than any two codes come to but 0, to divide by.
inline constexpr float kLeastAlpha = 1e-9F;

// What the bytes of both rows mean. Both are packed alike.
struct ByteLayers
{
    bool sourceIsPremultiplied = false;
    bool sourceIsOpaque = false; // its alpha is not read
    bool targetIsStraight = false;
    bool targetIsPremultiplied = false; // neither: opaque
    bool targetIsEmpty = false;         // its pixels are not read
    bool isLinear = false;              // R, G and B meet in linear light
    std::uint32_t black = 0; // the pixel that has no colour, alpha 0: where premultiplied codes start
    std::uint16_t opacity = 65535;
};

ByteLayers ByteLayersFor(const Picture& inSource, const Picture& inTarget, float inOpacity);

// inCoverage: a byte for each pixel, null: 255. Nothing beyond inCount pixels is touched.
void ComposeBytes(const ByteLayers& inLayers, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                  std::uint8_t* ioTarget, std::size_t inCount);

// More rows than these would add up what each loses by rounding to a part of a code that can be seen.
inline constexpr std::size_t kMostMixedRows = 32;

// Rows to be summed. Shares are fractions of 65535 and sum to no more than about 65535.
struct ByteMix
{
    std::size_t count; // of rows, up to kMostMixedRows
    const std::uint16_t* shares;
    const std::uint32_t* alwaysSet; // for each row: bits that are read as set, the alpha of an opaque one
    bool isStraight;                // all of them and the target: colour counts by alpha
    std::uint32_t black;            // of straight pixels: what a clear one becomes
    std::uint32_t targetSet;        // bits that are set in every result, the alpha of an opaque target
    bool isStreamed = false;        // past the caches where addresses allow it: hwy::FlushStream must follow
};

// inRows: addresses of the rows. inBytes: of a row; whole pixels if straight. outTarget may be one of the rows.
void MixBytes(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
              std::size_t inBytes);

const char* ComposeBytesTarget();
const char* MixBytesTarget();

// The twins, a pixel at a time.
namespace reference
{

void ComposeBytes(const ByteLayers& inLayers, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                  std::uint8_t* ioTarget, std::size_t inCount);
void MixBytes(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
              std::size_t inBytes);

}

// The Rec.709 camera curve in fixed point, for code of both kinds. The decoder takes codes with 16 bits behind
// the point and gives linear light with as many; the encoder takes that and gives codes with seven bits behind the
// point. Cubics, least in their greatest error: 0.08 code there and 0.02 back.
namespace curve
{

inline constexpr std::uint16_t kCodedFoot = 5324;  // 4.5 * 0.01805, below which the curve is a line
inline constexpr std::uint16_t kFootSlope = 14564; // 1 / 4.5
inline constexpr std::uint16_t kDecode[4] = {377, 5809, 50617, 8776};
inline constexpr std::uint16_t kLinearFoot = 1183;
inline constexpr std::uint16_t kFootRise = 15810; // what 4.5 in seven bits is above 2, times 65536
inline constexpr std::uint16_t kEncode[4] = {26269, 11739, 2771, 646}; // alternating in sign
inline constexpr std::uint16_t kShrink4 = 18820;                       // 2 to the power of -0.45 * 4
inline constexpr std::uint16_t kShrink2 = 35120;
inline constexpr std::uint16_t kShrink1 = 47975;
inline constexpr std::uint16_t kEncodeDrop = 3241; // 0.0993 of white

}

}
