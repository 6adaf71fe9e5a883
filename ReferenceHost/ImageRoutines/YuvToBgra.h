#pragma once

#include <cstddef>
#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// Rows of integer YUV or planar RGB to rows of 8-bit B G R A in fixed point, and of YUV to V U Y A: the kernels
// that decoded video goes through.
//
// Chroma travels as rows of 16-bit words, blended vertically and not yet horizontally, of 13 bits. A chroma
// row has kChromaPad words in front and behind that repeat the first and last sample, so that the kernels
// read neighbours without asking where the row ends.
//
// Fixed point: luma and chroma are brought to 15 bits, each product is rounded to 1/32 of an 8-bit code, so
// that a result is off by less than 0.6 of a code before it is rounded; the sums can't leave 16 bits. All
// targets of the processor give the same bytes.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

inline constexpr std::size_t kChromaPad = 64;

// Factors of luma and chroma words in Q15 for results in 1/32 of an 8-bit code, and the sum's constant part.
struct YuvToBgraFactors
{
    std::int16_t luma;
    std::int16_t redFromV;
    std::int16_t greenFromU;
    std::int16_t greenFromV;
    std::int16_t blueFromU;
    std::int16_t redBias;
};

// Whether the kernels take a picture: integer samples and a matrix of luma and colour differences.
bool HasYuvToBgra(const Picture& inSource) noexcept;
YuvToBgraFactors FactorsFor(const Picture& inSource) noexcept;

// A luma row (or a row of alpha, or of full-resolution chroma) as it stands in memory.
struct SampleRow
{
    const void* samples;
    bool isWord;
    std::int32_t leftShift; // what brings a sample to 15 bits; -1 is one to the right
};

// How two chroma rows in memory become one row of words.
struct ChromaBlend
{
    const void* near;
    const void* far;
    std::int32_t eighthsOfFar;
    bool isWord;
    bool isInterleaved;   // U and V by turns
    std::int32_t lowBits; // word samples are shifted right by so much, rounded, to have ten bits or fewer
    std::int32_t
        unit; // what brings a sample to 13 bits: 32 for 8 bits, 16 for 9, 8 for 10; also those shifted
};

enum class ChromaPhase : std::uint8_t
{
    kLeft,
    kCenter,
    kFull // one chroma word a pixel
};

// Fills inSamples words (and the pads) of a chroma row, of two at once if the memory has them interleaved.
void BlendChroma(const ChromaBlend& inBlend, std::uint16_t* outU, std::uint16_t* outV, std::size_t inSamples);

// A row of UYVY or YUYV to a luma row and two chroma rows.
void SplitPacked422(const unsigned char* inRow, bool inIsUYVY, unsigned char* outLuma, std::uint16_t* outU,
                    std::uint16_t* outV, std::size_t inPairs);

// inAlpha: an 8-bit row, or null for opaque.
void YuvRowToBgra(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                  ChromaPhase inPhase, const unsigned char* inAlpha, const YuvToBgraFactors& inFactors,
                  unsigned char* outRow, std::size_t inWidth);

// The same to V U Y A of the source's own model, of which 8 bits are a quarter, a sixteenth ... of its codes.
// Bytes that need no chroma from between samples go through unchanged.
void YuvRowToVuya(const SampleRow& inLuma, const std::uint16_t* inU, const std::uint16_t* inV,
                  ChromaPhase inPhase, const unsigned char* inAlpha, unsigned char* outRow,
                  std::size_t inWidth);

// 8-bit planes.
void RgbRowToBgra(const unsigned char* inRed, const unsigned char* inGreen, const unsigned char* inBlue,
                  const unsigned char* inAlpha, unsigned char* outRow, std::size_t inWidth);

// B G R A (or V U Y A) bytes to planes, and back with RgbRowToBgra; outAlpha may be null.
void BgraRowToPlanes(const unsigned char* inRow, unsigned char* outRed, unsigned char* outGreen,
                     unsigned char* outBlue, unsigned char* outAlpha, std::size_t inWidth);

// A copy with an alpha of 255; the two rows may be one.
void BgraRowToOpaque(const unsigned char* inRow, unsigned char* outRow, std::size_t inWidth);

// The name of the instruction set that these kernels run on now, from inside of one of them.
const char* YuvToBgraTarget();

}
