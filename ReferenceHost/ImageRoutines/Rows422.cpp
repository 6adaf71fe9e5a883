#include "ReferenceHost/ImageRoutines/Rows422.h"

#include <algorithm>
#include <cstring>

namespace ir
{
namespace
{

void SplitBytes(const unsigned char* inRow, std::int32_t inWidth, int inLumaPlace,
                const ComponentRows& outRows)
{
    auto* luma = static_cast<std::uint8_t*>(outRows.c[0]);
    auto* u = static_cast<std::uint8_t*>(outRows.c[1]);
    auto* v = static_cast<std::uint8_t*>(outRows.c[2]);
    for (std::int32_t pair = 0; pair < (inWidth + 1) / 2; ++pair)
    {
        const unsigned char* group = inRow + std::ptrdiff_t{pair} * 4;
        luma[pair * 2] = group[inLumaPlace];
        luma[pair * 2 + 1] = group[inLumaPlace + 2];
        u[pair] = group[1 - inLumaPlace];
        v[pair] = group[3 - inLumaPlace];
    }
}

void JoinBytes(const ComponentRows& inRows, std::int32_t inWidth, int inLumaPlace, unsigned char* outRow)
{
    const auto* luma = static_cast<const std::uint8_t*>(inRows.c[0]);
    const auto* u = static_cast<const std::uint8_t*>(inRows.c[1]);
    const auto* v = static_cast<const std::uint8_t*>(inRows.c[2]);
    for (std::int32_t pair = 0; pair < (inWidth + 1) / 2; ++pair)
    {
        unsigned char* group = outRow + std::ptrdiff_t{pair} * 4;
        group[inLumaPlace] = luma[pair * 2];
        group[inLumaPlace + 2] = luma[std::min(pair * 2 + 1, inWidth - 1)];
        group[1 - inLumaPlace] = u[pair];
        group[3 - inLumaPlace] = v[pair];
    }
}

// Field i of a v210 group (four words of three) is U, Y, V, Y by turns.
constexpr int kComponentOfField[4] = {1, 0, 2, 0};

void SplitWords(const unsigned char* inRow, std::int32_t inWidth, const ComponentRows& outRows)
{
    std::uint16_t* next[3];
    for (int i = 0; i < 3; ++i)
    {
        next[i] = static_cast<std::uint16_t*>(outRows.c[i]);
    }
    const std::int32_t fields = (inWidth + 1) / 2 * 4;
    for (std::int32_t field = 0; field < fields; field += 3)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, inRow + std::ptrdiff_t{field} / 3 * 4, 4);
        for (std::int32_t i = field; i < std::min(field + 3, fields); ++i)
        {
            *next[kComponentOfField[i % 4]]++ = static_cast<std::uint16_t>(word & 1023U);
            word >>= 10;
        }
    }
}

void JoinWords(const ComponentRows& inRows, std::int32_t inWidth, unsigned char* outRow)
{
    const std::int32_t counts[3] = {inWidth, (inWidth + 1) / 2, (inWidth + 1) / 2};
    std::int32_t next[3] = {0, 0, 0};
    for (std::int32_t field = 0; field < (inWidth + 5) / 6 * 12; field += 3)
    {
        std::uint32_t word = 0;
        for (std::int32_t i = 0; i < 3; ++i)
        {
            const int component = kComponentOfField[(field + i) % 4];
            const std::int32_t at = std::min(next[component]++, counts[component] - 1);
            word |= std::uint32_t{static_cast<const std::uint16_t*>(inRows.c[component])[at]} << (i * 10);
        }
        std::memcpy(outRow + std::ptrdiff_t{field} / 3 * 4, &word, 4);
    }
}

}

void Split422Row(const Picture& inPicture, const unsigned char* inRow, const ComponentRows& outRows)
{
    if (inPicture.storage == Storage::kV210)
    {
        SplitWords(inRow, inPicture.width, outRows);
        return;
    }
    SplitBytes(inRow, inPicture.width, inPicture.storage == Storage::kUYVY ? 1 : 0, outRows);
}

void Join422Row(const Picture& inPicture, const ComponentRows& inRows, unsigned char* outRow)
{
    if (inPicture.storage == Storage::kV210)
    {
        JoinWords(inRows, inPicture.width, outRow);
        return;
    }
    JoinBytes(inRows, inPicture.width, inPicture.storage == Storage::kUYVY ? 1 : 0, outRow);
}

}
