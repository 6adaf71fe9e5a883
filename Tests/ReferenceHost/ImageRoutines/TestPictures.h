#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ReferenceHost/ImageRoutines/Picture.h"

// Pictures in memory of their own for the checks of the image routines: odd strides and addresses, guard
// bytes round the rows, random content.
namespace TestPictures
{

// The codes of the named formats, and the premultiplied twin that has no name.
extern const std::vector<std::uint32_t> kCodes;

// Every pair of codes, or an even choice of them where tests are scaled down.
std::vector<std::pair<std::uint32_t, std::uint32_t>> Pairs();

inline constexpr std::uint32_t kBGRA8 = 0x004;
inline constexpr std::uint32_t kBGRP8 = 0x008;
inline constexpr std::uint32_t kBGRX8 = 0x00C;
inline constexpr std::uint32_t kBGRA16 = 0x204;
inline constexpr std::uint32_t kBGRA32f = 0x104;
inline constexpr std::uint32_t kBGRA32fLinear = 0x904;
inline constexpr std::uint32_t k420Frame709 = 0x042;
inline constexpr std::uint32_t k420Field709 = 0x052;

// Memory for one picture of a code.
class Memory
{
public:
    // inExtraRowBytes: beyond the least; planar codes want an even sum. inMisalignment: of the first byte,
    // 0..63.
    Memory(std::uint32_t inCode, std::int32_t inWidth, std::int32_t inHeight,
           std::int32_t inExtraRowBytes = 0, std::int32_t inMisalignment = 0);

    // The copy's view is of its own bytes.
    Memory(const Memory& inOther);
    Memory& operator=(const Memory&) = delete;

    void* Pixels() { return mBytes.data() + mFirst; }
    const void* Pixels() const { return mBytes.data() + mFirst; }
    std::int32_t RowBytes() const { return mRowBytes; }
    std::uint32_t Code() const { return mCode; }
    const ir::Picture& View() const { return mPicture; }

    // Random content of middle brightness and high alpha: sharp filters don't overshoot what integers hold,
    // and no division by a small alpha makes much of a little.
    void RandomiseModerately(std::mt19937& ioRandom);

    // Random codes over the whole range of integers; floats a little beyond 0..1; alpha within 0..1 and often
    // 0 or 1, premultiplied colour not above alpha.
    void Randomise(std::mt19937& ioRandom);

    // Bytes that belong to no pixel still hold what the constructor wrote.
    bool GuardsAreWhole() const;

    // The picture's bytes, row by row, without the gaps.
    std::vector<unsigned char> Packed() const;

private:
    std::uint32_t mCode;
    std::int32_t mRowBytes;
    std::vector<unsigned char> mBytes;
    std::size_t mFirst;
    ir::Picture mPicture;
    std::vector<bool> mIsPixel;
};

// The largest difference of two pictures of one code, in codes (integers) or absolutely beyond a relative
// part (floats).
double Difference(const ir::Picture& inOne, const ir::Picture& inOther);

// How far the means of two pictures of one code lie apart, in codes, of the component where it's most.
double MeanDifference(const ir::Picture& inOne, const ir::Picture& inOther);

// The instruction sets to check: all of the machine, or the first and the last few by VR_TEST_TARGETS.
std::vector<std::string> Targets();

std::string Name(std::uint32_t inCode);

}
