#include "ReferenceHost/Foundation/BitmapFont.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace
{

using Foundation::ByteMask;
using Foundation::DrawText;
using Foundation::kGlyphCellHeight;
using Foundation::kGlyphCellWidth;

// Draws into a mask with a margin on all sides that must stay clean, and gives it as text.
std::vector<std::string> Drawn(const std::string& inText, int inScale, int inLeft, int inTop, int inWidth,
                               int inHeight)
{
    const int margin = 16;
    const int stride = inWidth + 2 * margin;
    std::vector<uint8_t> bytes(static_cast<size_t>(stride * (inHeight + 2 * margin)), 0);
    DrawText(ByteMask{bytes.data() + margin * stride + margin, inWidth, inHeight, stride}, inLeft, inTop,
             inText, inScale);
    std::vector<std::string> rows;
    for (int row = 0; row < inHeight + 2 * margin; ++row)
    {
        std::string line;
        for (int column = 0; column < stride; ++column)
        {
            const bool ink = bytes[static_cast<size_t>(row * stride + column)] == 255;
            const bool inside =
                row >= margin && row < margin + inHeight && column >= margin && column < margin + inWidth;
            EXPECT_TRUE(inside || !ink) << "ink outside the mask";
            line += inside ? (ink ? "#" : ".") : "";
        }
        if (!line.empty())
        {
            rows.push_back(line);
        }
    }
    return rows;
}

TEST(BitmapFont, DrawsItsDots)
{
    const std::vector<std::string> expected = {".###..", "#...#.", "....#.", "...#..", "..#...",
                                               ".#....", "#####.", "......", "......"};
    EXPECT_EQ(Drawn("2", 1, 0, 0, kGlyphCellWidth, kGlyphCellHeight), expected);
}

TEST(BitmapFont, AllCharactersDifferAndNoneButTheBlankIsEmpty)
{
    std::set<std::vector<std::string>> seen;
    for (char character = ' '; character <= '~'; ++character)
    {
        const auto glyph = Drawn(std::string(1, character), 1, 0, 0, kGlyphCellWidth, kGlyphCellHeight);
        EXPECT_TRUE(seen.insert(glyph).second) << character;
        const bool empty =
            std::all_of(glyph.begin(), glyph.end(),
                        [](const std::string& inRow) { return inRow.find('#') == std::string::npos; });
        EXPECT_EQ(empty, character == ' ') << character;
        for (const std::string& row : glyph)
        {
            EXPECT_EQ(row.back(), '.') << "the gap to the next character: " << character;
        }
        EXPECT_EQ(glyph.back().find('#'), std::string::npos) << "the gap to the next line: " << character;
    }
    const auto box = Drawn("\xC3", 1, 0, 0, kGlyphCellWidth, kGlyphCellHeight);
    EXPECT_TRUE(seen.insert(box).second);
    EXPECT_EQ(Drawn("\x01", 1, 0, 0, kGlyphCellWidth, kGlyphCellHeight), box);
}

TEST(BitmapFont, ScaleEnlargesEachDotToASquare)
{
    const auto small = Drawn("R4;", 1, 0, 0, 18, 9);
    const auto large = Drawn("R4;", 3, 0, 0, 54, 27);
    for (size_t row = 0; row < large.size(); ++row)
    {
        for (size_t column = 0; column < large[row].size(); ++column)
        {
            ASSERT_EQ(large[row][column], small[row / 3][column / 3]);
        }
    }
}

TEST(BitmapFont, CutsAtEveryEdge)
{
    const auto whole = Drawn("W#", 2, 0, 0, 24, 18);
    for (int shift = -30; shift <= 30; shift += 3)
    {
        const auto moved = Drawn("W#", 2, shift, shift, 24, 18);
        for (int row = 0; row < 18; ++row)
        {
            for (int column = 0; column < 24; ++column)
            {
                const int fromRow = row - shift;
                const int fromColumn = column - shift;
                const bool inside = fromRow >= 0 && fromRow < 18 && fromColumn >= 0 && fromColumn < 24;
                const char expected =
                    inside ? whole[static_cast<size_t>(fromRow)][static_cast<size_t>(fromColumn)] : '.';
                ASSERT_EQ(moved[static_cast<size_t>(row)][static_cast<size_t>(column)], expected);
            }
        }
    }
}

TEST(BitmapFont, FarAwayPositionsDrawNothing)
{
    for (const int far : {-2147483647 - 1, -2147480000, 2147480000, 2147483647})
    {
        const auto drawn = Drawn("8\n8", 2000, far, far, 6, 9);
        EXPECT_EQ(drawn[0].find('#'), std::string::npos);
    }
}

TEST(BitmapFont, BreaksLinesAndMeasuresThem)
{
    const auto two = Drawn("A\nB", 1, 0, 0, kGlyphCellWidth, 2 * kGlyphCellHeight);
    const auto second = Drawn("B", 1, 0, 0, kGlyphCellWidth, kGlyphCellHeight);
    EXPECT_TRUE(std::equal(second.begin(), second.end(), two.begin() + kGlyphCellHeight));
    EXPECT_EQ(Foundation::TextWidth("AB\nABC\n", 2), 3 * kGlyphCellWidth * 2);
    EXPECT_EQ(Foundation::TextHeight("AB\nABC", 2), 2 * kGlyphCellHeight * 2);
    EXPECT_EQ(Foundation::TextWidth("", 1), 0);
    EXPECT_EQ(Foundation::TextHeight("", 1), kGlyphCellHeight);
}

TEST(BitmapFont, RowsMayRunUpwards)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(kGlyphCellWidth * kGlyphCellHeight), 0);
    DrawText(ByteMask{bytes.data() + kGlyphCellWidth * (kGlyphCellHeight - 1), kGlyphCellWidth,
                      kGlyphCellHeight, -kGlyphCellWidth},
             0, 0, "_", 1);
    EXPECT_EQ(bytes[kGlyphCellWidth], 255) << "row 7 from the bottom up";
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), uint8_t{255}), 5);
}

} // namespace
