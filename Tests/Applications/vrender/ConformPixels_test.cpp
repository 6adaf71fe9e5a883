#include "Tests/Applications/vrender/FieldClip.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

using namespace TestSupport;

namespace
{

// What is expected of line inLine of frame inFrame: whole moments and lines.
using Table = std::function<FieldLine(int inFrame, int inLine)>;

struct Tolerance
{
    int mMoment = 0; // in eighths
    int mLine = 0;
    int mEdge = 0; // lines at the top and at the bottom, whose neighbours are missing: a whole line off
};

void ExpectTable(const std::vector<FieldFrame>& inFrames, std::size_t inCount, const Table& inTable,
                 const Tolerance& inTolerance = {})
{
    ASSERT_EQ(inFrames.size(), inCount);
    for (std::size_t n = 0; n < inFrames.size(); ++n)
    {
        const auto height = static_cast<int>(inFrames[n].size());
        for (int y = 0; y < height; ++y)
        {
            const FieldLine& line = inFrames[n][static_cast<std::size_t>(y)];
            const FieldLine expected = inTable(static_cast<int>(n), y);
            const bool isEdge = y < inTolerance.mEdge || y >= height - inTolerance.mEdge;
            EXPECT_LE(std::abs(line.mMoment - expected.mMoment * kFieldStep), inTolerance.mMoment)
                << "frame " << n << ", line " << y << " is of " << line.mMoment;
            EXPECT_LE(std::abs(line.mLine - expected.mLine * kFieldStep),
                      isEdge ? kFieldStep : inTolerance.mLine)
                << "frame " << n << ", line " << y << " is " << line.mLine;
        }
    }
}

FieldClip Clip(ClipFields inFields)
{
    FieldClip clip;
    clip.mFields = inFields;
    return clip;
}

bool IsUpper(int inLine)
{
    return inLine % 2 == 0;
}

constexpr Tolerance kBetweenLines{0, 1, 1};

} // namespace

TEST(ConformPixels, WithoutOptionsEachLineStaysWhereItIs)
{
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        const bool upperIsFirst = fields == ClipFields::kUpperFirst;
        ExpectTable(FramesOfFieldClip(Clip(fields), {}), 4,
                    [&](int n, int y) {
                        return FieldLine{2 * n + (IsUpper(y) == upperIsFirst ? 0 : 1), y};
                    });
    }
}

TEST(ConformPixels, DeinterlacedFramesAreOfTheirFirstFieldAlone)
{
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        for (const char* quality : {"medium", "high", "max"})
        {
            SCOPED_TRACE(quality);
            const auto frames = FramesOfFieldClip(Clip(fields), {"--deinterlace", "--quality", quality});
            ExpectTable(
                frames, 4,
                [](int n, int y) {
                    return FieldLine{2 * n, y};
                },
                kBetweenLines);
            // The lines of that field are copied.
            const std::size_t first = fields == ClipFields::kUpperFirst ? 0 : 1;
            for (std::size_t y = first; y < 16; y += 2)
            {
                EXPECT_EQ(frames.at(1)[y].mLine, static_cast<int>(y) * kFieldStep) << y;
            }
        }
    }
}

// What comes after it has nothing of the other moment to work on.
TEST(ConformPixels, FramesAreDeinterlacedBeforeTheirFlickerIsRemoved)
{
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        ExpectTable(FramesOfFieldClip(Clip(fields), {"--deinterlace", "--remove-flicker"}), 4,
                    [](int n, int y) {
                        return FieldLine{2 * n, y};
                    },
                    {0, 1, 2});
    }
}

TEST(ConformPixels, DeinterlacingKeepsMomentsApartWhereLinesShareChroma)
{
    FieldClip clip = Clip(ClipFields::kUpperFirst);
    clip.mSharesChroma = true;
    for (const FieldFrame& frame : FramesOfFieldClip(clip, {"--deinterlace"}))
    {
        for (const FieldLine& line : frame)
        {
            EXPECT_EQ(line.mMoment, frame[0].mMoment);
            EXPECT_EQ(line.mMoment % (2 * kFieldStep), 0);
        }
    }
}

TEST(ConformPixels, SwappedFieldsChangeLinesAndKeepTheirMoments)
{
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        const bool upperIsFirst = fields == ClipFields::kUpperFirst;
        const Table swapped = [&](int n, int y) {
            return FieldLine{2 * n + (IsUpper(y) == upperIsFirst ? 1 : 0), y ^ 1};
        };
        ExpectTable(FramesOfFieldClip(Clip(fields), {"--swap-fields"}), 4, swapped);
        ExpectTable(FramesOfFieldClip(Clip(fields), {"--field", upperIsFirst ? "lower" : "upper"}), 4,
                    swapped);
        // Where that is their order already nothing changes.
        ExpectTable(FramesOfFieldClip(Clip(fields), {"--field", upperIsFirst ? "upper" : "lower"}), 4,
                    [&](int n, int y) {
                        return FieldLine{2 * n + (IsUpper(y) == upperIsFirst ? 0 : 1), y};
                    });
    }
}

// A chroma line of 4:2:0 lies a quarter of its pair of lines below the first in the upper field, and three quarters in
// the lower one. A field that becomes the other one finds its chroma a quarter of the way to its own next line.
TEST(ConformPixels, SwappedFieldsTakeTheirChromaLinesWithThem)
{
    FieldClip clip = Clip(ClipFields::kUpperFirst);
    clip.mSharesChroma = true;
    const auto frames = FramesOfFieldClip(clip, {"--swap-fields"});
    ASSERT_EQ(frames.size(), 4u);
    for (int y = 0; y < 16; ++y)
    {
        EXPECT_EQ(frames[1][static_cast<std::size_t>(y)].mMoment, (IsUpper(y) ? 3 : 2) * kFieldStep) << y;
    }
    constexpr int kRow = 2 * kFieldStep; // from a chroma line of a field to its next one
    for (int y = 1; y < 7; ++y)
    {
        const int own = (y ^ 1) * kFieldStep;
        EXPECT_NEAR(frames[1][static_cast<std::size_t>(y)].mLine, own + (IsUpper(y) ? -kRow : kRow) / 4, 1)
            << y;
    }
    EXPECT_NEAR(frames[1][0].mLine, kFieldStep, 1);
    EXPECT_NEAR(frames[1][7].mLine, 6 * kFieldStep, 1);
}

// The lines were right and their order was told wrong. What is made of them shows which field counts as the first.
TEST(ConformPixels, ReversedDominanceTakesTheOtherFieldForTheFirst)
{
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        const bool upperIsFirst = fields == ClipFields::kUpperFirst;
        ExpectTable(FramesOfFieldClip(Clip(fields), {"--reverse-dominance"}), 4,
                    [&](int n, int y) {
                        return FieldLine{2 * n + (IsUpper(y) == upperIsFirst ? 0 : 1), y};
                    });
        ExpectTable(
            FramesOfFieldClip(Clip(fields), {"--reverse-dominance", "--deinterlace"}), 4,
            [](int n, int y) {
                return FieldLine{2 * n + 1, y};
            },
            kBetweenLines);
        ExpectTable(FramesOfFieldClip(Clip(fields),
                                      {"--reverse-dominance", "--field", upperIsFirst ? "upper" : "lower"}),
                    4,
                    [&](int n, int y) {
                        return FieldLine{2 * n + (IsUpper(y) == upperIsFirst ? 1 : 0), y ^ 1};
                    });
    }
}

// An odd height has a last line without a partner, which stays; no line is a mixture of others.
TEST(ConformPixels, FieldsOfAnOddHeightAreCopiedLineByLine)
{
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        const bool upperIsFirst = fields == ClipFields::kUpperFirst;
        FieldClip clip = Clip(fields);
        clip.mHeight = 15;
        const Table kept = [&](int n, int y) {
            return FieldLine{2 * n + (IsUpper(y) == upperIsFirst ? 0 : 1), y};
        };
        ExpectTable(FramesOfFieldClip(clip, {"--reverse-dominance"}), 4, kept);
        ExpectTable(FramesOfFieldClip(clip, {"--swap-fields"}), 4,
                    [&](int n, int y) { return kept(n, y == 14 ? y : y ^ 1); });
    }
}

TEST(ConformPixels, RemovedFlickerIsAQuarterOfEachNeighbour)
{
    FieldClip clip = Clip(ClipFields::kProgressive);
    const auto whole = FramesOfFieldClip(clip, {"--remove-flicker"});
    ExpectTable(whole, 4, [](int n, int y) { return FieldLine{2 * n, y}; }, {0, 0, 1});
    EXPECT_EQ(whole.at(0)[0].mLine, kFieldStep / 4); // the line below; the one above is itself
    EXPECT_EQ(whole.at(0)[15].mLine, 15 * kFieldStep - kFieldStep / 4);
    // Half of what lines of two moments show is of the other one.
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        const auto frames = FramesOfFieldClip(Clip(fields), {"--remove-flicker"});
        ASSERT_EQ(frames.size(), 4u);
        for (std::size_t n = 0; n < frames.size(); ++n)
        {
            // Away from the ends: one field of the result is made of the other.
            for (std::size_t y = 4; y < 12; ++y)
            {
                EXPECT_EQ(frames[n][y].mMoment, static_cast<int>(2 * n) * kFieldStep + kFieldStep / 2);
                EXPECT_EQ(frames[n][y].mLine, static_cast<int>(y) * kFieldStep);
            }
        }
    }
}

TEST(ConformPixels, ConsecutiveFramesBecomeTheFieldsOfOne)
{
    const FieldClip clip = Clip(ClipFields::kProgressive);
    // Two moments are counted for a frame.
    ExpectTable(FramesOfFieldClip(clip, {"--interlace-consecutive"}), 2,
                [](int n, int y) {
                    return FieldLine{4 * n + (IsUpper(y) ? 0 : 2), y};
                });
    ExpectTable(FramesOfFieldClip(clip, {"--interlace-consecutive", "--field", "lower"}), 2,
                [](int n, int y) {
                    return FieldLine{4 * n + (IsUpper(y) ? 2 : 0), y};
                });
}

TEST(ConformPixels, FieldsAreShownBackwardsOneByOne)
{
    for (const ClipFields fields : {ClipFields::kUpperFirst, ClipFields::kLowerFirst})
    {
        const bool upperIsFirst = fields == ClipFields::kUpperFirst;
        const Table backwards = [&](int n, int y) {
            return FieldLine{7 - 2 * n - (IsUpper(y) == upperIsFirst ? 0 : 1), y};
        };
        // Each field stands on lines of the other one now, and is put between its own.
        ExpectTable(FramesOfFieldClip(Clip(fields), {"--speed", "-1"}), 4, backwards, kBetweenLines);
        // Where they are made frames of, the field that is shown first is that which was last.
        ExpectTable(
            FramesOfFieldClip(Clip(fields), {"--speed", "-1", "--deinterlace"}), 4,
            [](int n, int y) {
                return FieldLine{6 - 2 * n, y};
            },
            kBetweenLines);
    }
}

TEST(ConformPixels, FieldsOfTwiceTheSpeedAreOfTheirOwnMoments)
{
    // A field lasts for two of the source: the first shows that of its start, and so does the second.
    ExpectTable(
        FramesOfFieldClip(Clip(ClipFields::kUpperFirst), {"--speed", "2"}), 2,
        [](int n, int y) {
            return FieldLine{4 * n + (IsUpper(y) ? 0 : 2), y};
        },
        kBetweenLines);
}
