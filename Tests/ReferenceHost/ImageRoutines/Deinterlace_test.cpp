#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "TestPictures.h"

namespace
{

using TestPictures::k420Field709;
using TestPictures::k420Frame709;
using TestPictures::kBGRA8;
using TestPictures::kBGRX8;
using TestPictures::Memory;
using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t kBottomLeft = 0x2004;
constexpr std::uint32_t kPlanar422 = 0x062;
constexpr std::int32_t kDoubling = 1;
constexpr std::int32_t kInterpolation = 3;
constexpr std::int32_t kFiltering = 4;

Bytes RowBytesAt(const Memory& inPicture, std::int32_t inRow, int inPlane = 0)
{
    const unsigned char* row = inPicture.View().Row(inPlane, inRow);
    return {row, row + ir::RowBytesOf(inPicture.View(), inPlane)};
}

void SetRow(const Memory& inPicture, std::int32_t inRow, const Bytes& inBytes, int inPlane = 0)
{
    std::copy(inBytes.begin(), inBytes.end(), inPicture.View().Row(inPlane, inRow));
}

std::int32_t Deinterlace(Memory& ioPicture, bool inKeepsLower, std::int32_t inQuality)
{
    return IR_Deinterlace(ioPicture.Pixels(), ioPicture.RowBytes(), ioPicture.Code(), ioPicture.View().width,
                          ioPicture.View().height, inKeepsLower, inQuality);
}

std::int32_t MoveField(const Memory& inSource, Memory& outTarget, bool inSourceIsLower,
                       std::int32_t inQuality)
{
    return IR_DeinterlaceCopy(inSource.Pixels(), inSource.RowBytes(), inSource.Code(), outTarget.Pixels(),
                              outTarget.RowBytes(), outTarget.Code(), inSource.View().width,
                              inSource.View().height, inSourceIsLower, inQuality);
}

// A picture one pixel wide, of these pixels from top to bottom.
Memory Column(std::uint32_t inCode, const std::vector<Bytes>& inPixels)
{
    Memory picture(inCode, 1, static_cast<std::int32_t>(inPixels.size()));
    for (std::size_t y = 0; y < inPixels.size(); ++y)
    {
        SetRow(picture, static_cast<std::int32_t>(y), inPixels[y]);
    }
    return picture;
}

std::vector<Bytes> PixelsOf(const Memory& inColumn)
{
    std::vector<Bytes> pixels;
    for (std::int32_t y = 0; y < inColumn.View().height; ++y)
    {
        pixels.push_back(RowBytesAt(inColumn, y));
    }
    return pixels;
}

Bytes Grey(int inValue)
{
    const auto value = static_cast<unsigned char>(inValue);
    return {value, value, value, 255};
}

std::vector<Bytes> Greys(const std::vector<int>& inValues)
{
    std::vector<Bytes> greys;
    std::transform(inValues.begin(), inValues.end(), std::back_inserter(greys), Grey);
    return greys;
}

// Discs and bars with smooth edges, white on black, whose lines run in all directions.
Memory SlantedShapes()
{
    Memory picture(kBGRX8, 160, 120);
    for (std::int32_t y = 0; y < 120; ++y)
    {
        for (std::int32_t x = 0; x < 160; ++x)
        {
            const double disc = 40.0 - std::hypot(x - 60.0, y - 60.0);
            const double bar = 8.0 - std::fabs((x - 125.0) * 0.8 + (y - 60.0) * 0.6);
            const double cover = std::clamp(std::max(disc, bar) + 0.5, 0.0, 1.0);
            const Bytes grey = Grey(static_cast<int>(cover * 255.0 + 0.5));
            std::copy(grey.begin(), grey.end(), picture.View().Row(0, y) + x * 4);
        }
    }
    return picture;
}

double SquaredError(const Memory& inOne, const Memory& inOther)
{
    const Bytes one = inOne.Packed();
    const Bytes other = inOther.Packed();
    double sum = 0.0;
    for (std::size_t i = 0; i < one.size(); ++i)
    {
        sum += (one[i] - other[i]) * (one[i] - other[i]);
    }
    return sum;
}

// Memory whose first byte lies behind a page that must not be touched, and whose last before another.
class Fenced
{
public:
    explicit Fenced(std::size_t inBytes)
        : mPage(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
        , mBytes((inBytes + mPage - 1) / mPage * mPage)
        , mBlock(static_cast<unsigned char*>(
              mmap(nullptr, mBytes + 2 * mPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        EXPECT_EQ(0, mprotect(Front(), mBytes, PROT_READ | PROT_WRITE));
    }
    ~Fenced() { munmap(mBlock, mBytes + 2 * mPage); }
    Fenced(const Fenced&) = delete;
    Fenced& operator=(const Fenced&) = delete;

    unsigned char* Front() const { return mBlock + mPage; }
    unsigned char* Back(std::size_t inBytes) const { return Front() + mBytes - inBytes; }

private:
    std::size_t mPage;
    std::size_t mBytes;
    unsigned char* mBlock;
};

}

TEST(Deinterlace, KeepsTheRowsOfTheFieldThatStays)
{
    std::mt19937 random(7);
    for (const bool keepsLower : {false, true})
    {
        for (const std::int32_t quality : {0, 1, 2, 3, 4, 5})
        {
            Memory picture(kBGRA8, 13, 7);
            picture.Randomise(random);
            std::vector<Bytes> before;
            for (std::int32_t y = 0; y < 7; ++y)
            {
                before.push_back(RowBytesAt(picture, y));
            }
            ASSERT_EQ(kIR_Success, Deinterlace(picture, keepsLower, quality));
            for (std::int32_t y = 0; y < 7; ++y)
            {
                const bool isKept = (y % 2 == 1) == keepsLower;
                EXPECT_EQ(isKept, before[static_cast<std::size_t>(y)] == RowBytesAt(picture, y)) << y;
            }
        }
    }
}

TEST(Deinterlace, DoublesTheRowOfThePair)
{
    Memory upper = Column(kBGRX8, Greys({10, 99, 20, 99, 30}));
    ASSERT_EQ(kIR_Success, Deinterlace(upper, false, kDoubling));
    EXPECT_EQ(Greys({10, 10, 20, 20, 30}), PixelsOf(upper));
    Memory lower = Column(kBGRX8, Greys({99, 10, 99, 20, 99}));
    ASSERT_EQ(kIR_Success, Deinterlace(lower, true, kDoubling));
    EXPECT_EQ(Greys({10, 10, 20, 20, 20}), PixelsOf(lower));
}

TEST(Deinterlace, InterpolatesLinesAndRepeatsTheOutermost)
{
    Memory upper = Column(kBGRX8, Greys({10, 99, 21, 99, 40, 99}));
    ASSERT_EQ(kIR_Success, Deinterlace(upper, false, kInterpolation));
    EXPECT_EQ(Greys({10, 16, 21, 31, 40, 40}), PixelsOf(upper));
    Memory lower = Column(kBGRX8, Greys({99, 10, 99, 21, 99}));
    ASSERT_EQ(kIR_Success, Deinterlace(lower, true, kInterpolation));
    EXPECT_EQ(Greys({10, 10, 16, 21, 21}), PixelsOf(lower));
}

TEST(Deinterlace, WeighsStraightColourByItsAlpha)
{
    Memory straight = Column(kBGRA8, {{200, 200, 200, 50}, {9, 9, 9, 9}, {100, 0, 100, 150}});
    ASSERT_EQ(kIR_Success, Deinterlace(straight, false, kInterpolation));
    EXPECT_EQ((Bytes{125, 50, 125, 100}), RowBytesAt(straight, 1));
    Memory invisible = Column(kBGRA8, {{200, 200, 200, 0}, {9, 9, 9, 9}, {100, 10, 60, 255}});
    ASSERT_EQ(kIR_Success, Deinterlace(invisible, false, kInterpolation));
    EXPECT_EQ((Bytes{100, 10, 60, 128}), RowBytesAt(invisible, 1));
    Memory premultiplied = Column(TestPictures::kBGRP8, {{50, 50, 50, 50}, {9, 9, 9, 9}, {100, 0, 100, 150}});
    ASSERT_EQ(kIR_Success, Deinterlace(premultiplied, false, kInterpolation));
    EXPECT_EQ((Bytes{75, 25, 75, 100}), RowBytesAt(premultiplied, 1));
}

TEST(Deinterlace, WeighsEquallyWhereAlphasCancel)
{
    Memory picture(TestPictures::kBGRA32f, 1, 3);
    auto* above = reinterpret_cast<float*>(picture.View().Row(0, 0));
    auto* below = reinterpret_cast<float*>(picture.View().Row(0, 2));
    for (int i = 0; i < 3; ++i)
    {
        above[i] = 0.25F;
        below[i] = 0.75F;
    }
    above[3] = 0.5F;
    below[3] = -0.5F;
    ASSERT_EQ(kIR_Success, Deinterlace(picture, false, kInterpolation));
    const auto* made = reinterpret_cast<const float*>(picture.View().Row(0, 1));
    EXPECT_EQ((std::vector<float>{0.5F, 0.5F, 0.5F, 0.0F}), std::vector<float>(made, made + 4));
}

TEST(Deinterlace, DrawsSlantedEdgesBetterThanByLineDoubling)
{
    const Memory truth = SlantedShapes();
    for (const bool keepsLower : {false, true})
    {
        double errors[3];
        for (const std::int32_t quality : {kDoubling, kInterpolation, kFiltering})
        {
            Memory picture = SlantedShapes();
            ASSERT_EQ(kIR_Success, IR_Deinterlace(picture.Pixels(), picture.RowBytes(), kBGRX8, 160, 120,
                                                  keepsLower, quality));
            Memory made(kBGRX8, 160, 120);
            std::memcpy(made.Pixels(), picture.Pixels(), 160 * 120 * 4);
            errors[quality == kDoubling ? 0 : quality == kInterpolation ? 1 : 2] = SquaredError(truth, made);
        }
        EXPECT_LT(errors[1], 0.5 * errors[0]);
        EXPECT_LT(errors[2], 0.5 * errors[0]);
    }
}

TEST(Deinterlace, FiltersWhatIsSmoothMuchBetterThanItInterpolatesLines)
{
    Memory truth(kBGRX8, 64, 64);
    for (std::int32_t y = 0; y < 64; ++y)
    {
        for (std::int32_t x = 0; x < 64; ++x)
        {
            const Bytes grey = Grey(static_cast<int>(128.5 + 90.0 * std::sin(y * 0.25 + x * 0.1)));
            std::copy(grey.begin(), grey.end(), truth.View().Row(0, y) + x * 4);
        }
    }
    double errors[2];
    for (const std::int32_t quality : {kInterpolation, kFiltering})
    {
        Memory picture(kBGRX8, 64, 64);
        std::memcpy(picture.Pixels(), truth.Pixels(), 64 * 64 * 4);
        ASSERT_EQ(kIR_Success, Deinterlace(picture, false, quality));
        // The last row has none below it and is the same by both.
        std::memcpy(picture.View().Row(0, 63), truth.View().Row(0, 63), 64 * 4);
        errors[quality == kFiltering] = SquaredError(truth, picture);
    }
    EXPECT_LT(errors[1], 0.5 * errors[0]);
}

TEST(DeinterlaceInto, ConvertsWhatItKeepsAndMakes)
{
    Memory source(k420Field709, 16, 16);
    for (std::int32_t row = 0; row < 16; ++row)
    {
        SetRow(source, row, Bytes(16, row % 2 == 1 ? 200 : 235));
    }
    for (int plane = 1; plane < 3; ++plane)
    {
        for (std::int32_t row = 0; row < 8; ++row)
        {
            SetRow(source, row, Bytes(8, row % 2 == 1 ? 90 : 128), plane);
        }
    }
    Memory target(kBGRX8, 16, 16);
    for (const std::int32_t quality : {kDoubling, kInterpolation, kFiltering})
    {
        ASSERT_EQ(kIR_Success,
                  IR_DeinterlaceInto(source.Pixels(), source.RowBytes(), k420Field709, target.Pixels(),
                                     target.RowBytes(), kBGRX8, 16, 16, 0, quality));
        for (std::int32_t row = 0; row < 16; ++row)
        {
            EXPECT_EQ(Bytes(64, 255), RowBytesAt(target, row)) << quality << ", " << row;
        }
    }
}

TEST(DeinterlaceInto, RefusesAPictureIntoItself)
{
    Memory picture(kBGRA8, 4, 4);
    EXPECT_EQ(kIR_BadArgument, IR_DeinterlaceInto(picture.Pixels(), picture.RowBytes(), kBGRA8,
                                                  picture.Pixels(), picture.RowBytes(), kBGRA8, 4, 4, 0, 3));
    EXPECT_EQ(kIR_NullPointer, IR_DeinterlaceInto(nullptr, 16, kBGRA8, picture.Pixels(), picture.RowBytes(),
                                                  kBGRA8, 4, 4, 0, 3));
}

TEST(Deinterlace, KeepsTheChromaOfTheFieldThatStays)
{
    for (const std::int32_t quality : {kDoubling, kInterpolation, kFiltering})
    {
        for (const bool keepsLower : {false, true})
        {
            Memory picture(k420Field709, 16, 16);
            for (int plane = 1; plane < 3; ++plane)
            {
                for (std::int32_t row = 0; row < 8; ++row)
                {
                    SetRow(picture, row, Bytes(8, row % 2 == 1 ? 200 : 60), plane);
                }
            }
            ASSERT_EQ(kIR_Success, Deinterlace(picture, keepsLower, quality));
            for (std::int32_t row = 0; row < 8; ++row)
            {
                EXPECT_EQ(Bytes(8, keepsLower ? 200 : 60), RowBytesAt(picture, row, 1)) << quality << row;
            }
        }
    }
}

TEST(Deinterlace, LeavesChromaThatBothFieldsShare)
{
    std::mt19937 random(9);
    for (const std::int32_t height : {8, 11})
    {
        Memory picture(k420Frame709, 11, height);
        picture.Randomise(random);
        const Bytes before = picture.Packed();
        for (const bool keepsLower : {true, false})
        {
            ASSERT_EQ(kIR_Success, Deinterlace(picture, keepsLower, kFiltering));
        }
        const Bytes after = picture.Packed();
        const auto luma = static_cast<std::ptrdiff_t>(11 * height);
        EXPECT_TRUE(std::equal(before.begin() + luma, before.end(), after.begin() + luma));
        EXPECT_FALSE(std::equal(before.begin(), before.begin() + luma, after.begin()));
    }
}

TEST(Deinterlace, LeavesAPictureOfOneRow)
{
    std::mt19937 random(10);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        Memory picture(code, 5, 1);
        picture.Randomise(random);
        const Bytes before = picture.Packed();
        EXPECT_EQ(kIR_Success, Deinterlace(picture, false, kFiltering));
        EXPECT_EQ(kIR_Success, Deinterlace(picture, true, kInterpolation));
        EXPECT_EQ(before, picture.Packed()) << TestPictures::Name(code);
    }
}

TEST(Deinterlace, CountsFieldsFromTheTopOfABottomLeftPicture)
{
    // In memory from the bottom up.
    Memory picture(kBottomLeft, 1, 4);
    for (std::int32_t y = 0; y < 4; ++y)
    {
        SetRow(picture, y, Grey(10 * (y + 1)));
    }
    ASSERT_EQ(kIR_Success, Deinterlace(picture, false, kDoubling));
    EXPECT_EQ(Greys({10, 10, 30, 30}), PixelsOf(picture));
    EXPECT_EQ(30, static_cast<unsigned char*>(picture.Pixels())[0]);
}

TEST(Deinterlace, RefusesWhatIsNoPicture)
{
    unsigned char bytes[64] = {};
    EXPECT_EQ(kIR_NullPointer, IR_Deinterlace(nullptr, 16, kBGRA8, 4, 4, 0, 3));
    EXPECT_EQ(kIR_UnknownFormat, IR_Deinterlace(bytes, 16, 0xFFFF, 4, 4, 0, 3));
    EXPECT_EQ(kIR_BadSize, IR_Deinterlace(bytes, 15, kBGRA8, 4, 4, 0, 3));
    EXPECT_EQ(kIR_BadSize, IR_Deinterlace(bytes, 16, kBGRA8, 0, 4, 0, 3));
    EXPECT_EQ(kIR_BadSize, IR_Deinterlace(bytes, 16, kBGRA8, 4, -4, 0, 3));
    EXPECT_TRUE(std::all_of(bytes, bytes + 64, [](unsigned char inByte) { return inByte == 0; }));
}

// Also those at the edges, beside which there are none.
TEST(Deinterlace, FiltersPixelsWhoseNeighboursHaveTheirAlphaAndInterpolatesOthers)
{
    constexpr std::int32_t kColumns = 9;
    constexpr std::int32_t kBorder = 5; // where another alpha begins
    std::mt19937 random(15);
    Memory opaque(kBGRX8, kColumns, 12);
    opaque.Randomise(random);
    Memory filtered(kBGRA8, kColumns, 12);
    Memory interpolated(kBGRA8, kColumns, 12);
    for (std::int32_t y = 0; y < 12; ++y)
    {
        Bytes row = RowBytesAt(opaque, y);
        for (std::int32_t x = 0; x < kColumns; ++x)
        {
            row[static_cast<std::size_t>(x) * 4 + 3] = x < kBorder ? 255 : 90;
        }
        SetRow(filtered, y, row);
        SetRow(interpolated, y, row);
    }
    ASSERT_EQ(kIR_Success, Deinterlace(opaque, false, kFiltering));
    ASSERT_EQ(kIR_Success, Deinterlace(filtered, false, kFiltering));
    ASSERT_EQ(kIR_Success, Deinterlace(interpolated, false, kInterpolation));
    for (std::int32_t y = 1; y < 12; y += 2)
    {
        for (std::int32_t x = 0; x < kColumns; ++x)
        {
            const auto colour = [&](const Memory& inPicture)
            {
                const Bytes row = RowBytesAt(inPicture, y);
                return Bytes(row.begin() + x * 4, row.begin() + x * 4 + 3);
            };
            const bool isBorder = x == kBorder - 1 || x == kBorder;
            EXPECT_EQ(colour(isBorder ? interpolated : opaque), colour(filtered)) << x << ", " << y;
        }
    }
}

TEST(DeinterlaceCopy, WritesTheOtherParityAlone)
{
    for (const bool sourceIsLower : {false, true})
    {
        const Memory source = Column(kBGRX8, Greys({10, 20, 30, 40, 50, 60}));
        Memory target = Column(kBGRX8, Greys({1, 2, 3, 4, 5, 6}));
        ASSERT_EQ(kIR_Success, MoveField(source, target, sourceIsLower, kInterpolation));
        EXPECT_EQ(sourceIsLower ? Greys({20, 2, 30, 4, 50, 6}) : Greys({1, 20, 3, 40, 5, 50}),
                  PixelsOf(target));
    }
}

TEST(DeinterlaceCopy, MakesTheRowsThatDeinterlaceMakes)
{
    std::mt19937 random(11);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        for (const std::int32_t quality : {kDoubling, kInterpolation, kFiltering})
        {
            Memory source(code, 24, 8);
            source.RandomiseModerately(random);
            Memory target(code, 24, 8);
            std::memcpy(target.Pixels(), source.Pixels(), source.Packed().size());
            ASSERT_EQ(kIR_Success, MoveField(source, target, true, quality));
            ASSERT_EQ(kIR_Success, Deinterlace(source, true, quality));
            EXPECT_TRUE(source.Packed() == target.Packed()) << TestPictures::Name(code) << ' ' << quality;
        }
    }
}

TEST(DeinterlaceCopy, ReadsOnlyTheRowsOfTheNamedField)
{
    std::mt19937 random(12);
    for (const bool sourceIsLower : {false, true})
    {
        Memory source(kBGRA8, 9, 8);
        source.Randomise(random);
        Memory once(kBGRX8, 9, 8);
        Memory twice(kBGRX8, 9, 8);
        ASSERT_EQ(kIR_Success, MoveField(source, once, sourceIsLower, kFiltering));
        for (std::int32_t y = sourceIsLower ? 0 : 1; y < 8; y += 2)
        {
            SetRow(source, y, Bytes(36, 77));
        }
        ASSERT_EQ(kIR_Success, MoveField(source, twice, sourceIsLower, kFiltering));
        EXPECT_EQ(once.Packed(), twice.Packed());
    }
}

// A field that lies alone in memory is told of with half its row bytes, and for the second row of each pair from
// an address before its first byte.
TEST(DeinterlaceCopy, TakesAFieldThatLiesAlone)
{
    std::mt19937 random(13);
    for (const std::uint32_t code : {kBGRA8, kBottomLeft, 0x012U, 0x332U, 0x108U})
    {
        for (const std::int32_t height : {2, 6, 7})
        {
            for (const bool isLower : {false, true})
            {
                Memory whole(code, 12, height);
                whole.RandomiseModerately(random);
                const std::int32_t rowBytes = whole.RowBytes();
                const bool isSecond = isLower != (code == kBottomLeft);
                const std::int32_t rows = height / 2;
                const auto bytes = static_cast<std::size_t>(rows * rowBytes);
                const Fenced fence(bytes);
                for (unsigned char* const first : {fence.Front(), fence.Back(bytes)})
                {
                    for (std::int32_t k = 0; k < rows; ++k)
                    {
                        std::memcpy(first + k * rowBytes,
                                    static_cast<unsigned char*>(whole.Pixels()) +
                                        (2 * k + isSecond) * rowBytes,
                                    static_cast<std::size_t>(rowBytes));
                    }
                    Memory expected(code, 12, height);
                    Memory target(code, 12, height);
                    ASSERT_EQ(kIR_Success, MoveField(whole, expected, isLower, kInterpolation));
                    ASSERT_EQ(kIR_Success, IR_DeinterlaceCopy(first - (isSecond ? rowBytes / 2 : 0),
                                                              rowBytes / 2, code, target.Pixels(), rowBytes,
                                                              code, 12, height, isLower, kInterpolation));
                    EXPECT_TRUE(expected.Packed() == target.Packed())
                        << TestPictures::Name(code) << ' ' << height;
                }
            }
        }
    }
}

TEST(DeinterlaceCopy, MovesOneFieldOfAPictureOntoItsOther)
{
    std::mt19937 random(14);
    Memory picture(kPlanar422, 18, 9);
    picture.Randomise(random);
    Memory expected(kPlanar422, 18, 9);
    std::memcpy(expected.Pixels(), picture.Pixels(), picture.Packed().size());
    ASSERT_EQ(kIR_Success, MoveField(picture, picture, false, kFiltering));
    ASSERT_EQ(kIR_Success, Deinterlace(expected, false, kFiltering));
    EXPECT_EQ(expected.Packed(), picture.Packed());
}

TEST(DeinterlaceCopy, RefusesWhatDoesNotGoTogether)
{
    Memory source(kBGRA8, 4, 4);
    Memory target(kBGRX8, 4, 4);
    const Bytes before = target.Packed();
    const auto copy = [&](const void* inSource, std::int32_t inRowBytes, std::uint32_t inFormat,
                          void* outTarget, std::int32_t inHeight, bool inIsLower)
    {
        return IR_DeinterlaceCopy(inSource, inRowBytes, inFormat, outTarget, 16, kBGRX8, 4, inHeight,
                                  inIsLower, 3);
    };
    EXPECT_EQ(kIR_NullPointer, copy(nullptr, 16, kBGRA8, target.Pixels(), 4, false));
    EXPECT_EQ(kIR_NullPointer, copy(nullptr, 16, kBGRA8, target.Pixels(), 4, true));
    EXPECT_EQ(kIR_NullPointer, copy(source.Pixels(), 16, kBGRA8, nullptr, 4, false));
    EXPECT_EQ(kIR_UnknownFormat, copy(source.Pixels(), 16, 0x3, target.Pixels(), 4, false));
    EXPECT_EQ(kIR_BadSize, copy(source.Pixels(), 7, kBGRA8, target.Pixels(), 4, false));
    EXPECT_EQ(kIR_BadSize, copy(source.Pixels(), 0x60000000, kBGRA8, target.Pixels(), 4, false));
    EXPECT_EQ(kIR_BadSize, copy(source.Pixels(), 16, kBGRA8, target.Pixels(), 0, false));
    EXPECT_EQ(kIR_BadSize, copy(source.Pixels(), 16, kBGRA8, target.Pixels(), 1, true));
    EXPECT_EQ(kIR_Success, copy(source.Pixels(), 16, kBGRA8, target.Pixels(), 1, false));
    EXPECT_EQ(kIR_BadArgument,
              IR_DeinterlaceCopy(source.Pixels(), 16, kBGRA8,
                                 static_cast<unsigned char*>(source.Pixels()) - 16, 16, kBGRA8, 4, 4, 0, 3));
    EXPECT_EQ(before, target.Packed());
}
