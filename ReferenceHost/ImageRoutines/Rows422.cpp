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

std::uint32_t LoadWord(const unsigned char* inGroup, int inWord)
{
    std::uint32_t word = 0;
    std::memcpy(&word, inGroup + inWord * 4, 4);
    return word;
}

std::uint16_t Field(std::uint32_t inWord, int inField)
{
    return static_cast<std::uint16_t>((inWord >> (inField * 10)) & 1023U);
}

// Groups of six pixels in four words: U Y V, Y U Y, V Y U, Y V Y.
void SplitWords(const unsigned char* inRow, std::int32_t inWidth, const ComponentRows& outRows)
{
    auto* luma = static_cast<std::uint16_t*>(outRows.c[0]);
    auto* u = static_cast<std::uint16_t*>(outRows.c[1]);
    auto* v = static_cast<std::uint16_t*>(outRows.c[2]);
    for (std::int32_t group = 0; group < (inWidth + 5) / 6; ++group)
    {
        const std::uint32_t words[4] = {LoadWord(inRow, 0), LoadWord(inRow, 1), LoadWord(inRow, 2),
                                        LoadWord(inRow, 3)};
        u[0] = Field(words[0], 0);
        luma[0] = Field(words[0], 1);
        v[0] = Field(words[0], 2);
        luma[1] = Field(words[1], 0);
        u[1] = Field(words[1], 1);
        luma[2] = Field(words[1], 2);
        v[1] = Field(words[2], 0);
        luma[3] = Field(words[2], 1);
        u[2] = Field(words[2], 2);
        luma[4] = Field(words[3], 0);
        v[2] = Field(words[3], 1);
        luma[5] = Field(words[3], 2);
        inRow += 16;
        luma += 6;
        u += 3;
        v += 3;
    }
}

void RepeatLast(void* ioRow, std::int32_t inCount, std::int32_t inWanted)
{
    auto* row = static_cast<std::uint16_t*>(ioRow);
    std::fill(row + inCount, row + std::max(inCount, inWanted), row[inCount - 1]);
}

void JoinWords(const ComponentRows& ioRows, std::int32_t inWidth, unsigned char* outRow)
{
    const std::int32_t groups = (inWidth + 5) / 6;
    RepeatLast(ioRows.c[0], inWidth, groups * 6);
    RepeatLast(ioRows.c[1], (inWidth + 1) / 2, groups * 3);
    RepeatLast(ioRows.c[2], (inWidth + 1) / 2, groups * 3);
    const auto* luma = static_cast<const std::uint16_t*>(ioRows.c[0]);
    const auto* u = static_cast<const std::uint16_t*>(ioRows.c[1]);
    const auto* v = static_cast<const std::uint16_t*>(ioRows.c[2]);
    const auto word = [](std::uint32_t inFirst, std::uint32_t inSecond, std::uint32_t inThird)
    { return inFirst | inSecond << 10 | inThird << 20; };
    for (std::int32_t group = 0; group < groups; ++group)
    {
        const std::uint32_t words[4] = {word(u[0], luma[0], v[0]), word(luma[1], u[1], luma[2]),
                                        word(v[1], luma[3], u[2]), word(luma[4], v[2], luma[5])};
        std::memcpy(outRow, words, 16);
        outRow += 16;
        luma += 6;
        u += 3;
        v += 3;
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

void Join422Row(const Picture& inPicture, const ComponentRows& ioRows, unsigned char* outRow)
{
    if (inPicture.storage == Storage::kV210)
    {
        JoinWords(ioRows, inPicture.width, outRow);
        return;
    }
    JoinBytes(ioRows, inPicture.width, inPicture.storage == Storage::kUYVY ? 1 : 0, outRow);
}

}
