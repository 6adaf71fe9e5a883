#include "ReferenceHost/ImageRoutines/V210Rows.h"

#include <algorithm>
#include <cstring>

#include "ReferenceHost/ImageRoutines/FloatRows.h"

namespace ir
{
namespace
{

// The places of U, Y, V, Y ... in the twelve ten-bit fields of a v210 group.
constexpr int kV210Luma[6] = {1, 3, 5, 7, 9, 11};
constexpr int kV210Chroma[2][3] = {{0, 4, 8}, {2, 6, 10}};

void UnpackV210Group(const unsigned char* inGroup, std::uint32_t (&outFields)[12])
{
    for (int i = 0; i < 4; ++i)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, inGroup + i * 4, 4);
        for (int field = 0; field < 3; ++field)
        {
            outFields[i * 3 + field] = (word >> (field * 10)) & 1023U;
        }
    }
}

}

void ReadV210Row(const Picture& inPicture, int inComponent, std::int32_t inRow, float* outRow,
                 std::size_t inCount)
{
    const FloatRange range = FloatRangeOf(RangeOf(inPicture, inComponent));
    const std::size_t perGroup = inComponent == 0 ? 6 : 3;
    const int* places = inComponent == 0 ? kV210Luma : kV210Chroma[inComponent - 1];
    const unsigned char* groups = inPicture.Row(0, inRow);
    for (std::size_t x = 0; x < inCount; x += perGroup)
    {
        std::uint32_t fields[12];
        UnpackV210Group(groups + x / perGroup * 16, fields);
        for (std::size_t i = 0; i < std::min(perGroup, inCount - x); ++i)
        {
            outRow[x + i] = (static_cast<float>(fields[places[i]]) - range.offset) * range.factor;
        }
    }
}

void WriteV210Row(const Picture& inPicture, int inComponent, std::int32_t inRow, const float* inValues,
                  std::size_t inCount)
{
    const ComponentRange range = RangeOf(inPicture, inComponent);
    const std::size_t perGroup = inComponent == 0 ? 6 : 3;
    const int* places = inComponent == 0 ? kV210Luma : kV210Chroma[inComponent - 1];
    unsigned char* groups = inPicture.Row(0, inRow);
    for (std::size_t x = 0; x < (inCount + perGroup - 1) / perGroup * perGroup; ++x)
    {
        const float code = inValues[std::min(x, inCount - 1)] * static_cast<float>(range.scale) +
                           static_cast<float>(range.offset + 0.5);
        const auto field = static_cast<std::uint32_t>(code > 0.0F ? std::min(code, 1023.5F) : 0.0F);
        const int place = places[x % perGroup];
        unsigned char* target = groups + x / perGroup * 16 + place / 3 * 4;
        std::uint32_t word = 0;
        std::memcpy(&word, target, 4);
        const int shift = place % 3 * 10;
        word = (word & ~(0x3FFU << shift) & 0x3FFFFFFFU) | (field << shift);
        std::memcpy(target, &word, 4);
    }
}

}
