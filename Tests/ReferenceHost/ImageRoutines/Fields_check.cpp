#include <cstring>
#include <gtest/gtest.h>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/Fields.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "TestPictures.h"

// Whole pictures, of every code, against the pixel-by-pixel reference.
namespace
{

using ir::FieldMethod;
using ir::Picture;
using TestPictures::Memory;
using TestPictures::Name;

constexpr std::int32_t kQualities[] = {1, 3, 4};

double BoundFor(const Picture& inPicture)
{
    return inPicture.sample == ir::Sample::kFloat ? 2e-6 : 0.0;
}

// Places of packed groups beyond the width repeat the last sample.
void CompleteGroups(const Picture& ioPicture)
{
    const std::int32_t pixels = ioPicture.storage == ir::Storage::kV210   ? 6
                                : ioPicture.storage == ir::Storage::kUYVY ? 2
                                : ioPicture.storage == ir::Storage::kYUYV ? 2
                                                                          : 1;
    for (std::int32_t y = 0; y < ioPicture.height; ++y)
    {
        for (std::int32_t x = ioPicture.width; x % pixels != 0; ++x)
        {
            const double last = ir::reference::ReadPlane(ioPicture, 0, ioPicture.width - 1, y);
            ir::reference::WritePlane(ioPicture, 0, x, y, last);
        }
        ir::reference::CompleteChromaGroup(ioPicture, y);
    }
}

// Large areas of one alpha beside single pixels of another, as pictures have them.
void Fill(Memory& ioPicture, std::mt19937& ioRandom)
{
    ioPicture.RandomiseModerately(ioRandom);
    const Picture& view = ioPicture.View();
    CompleteGroups(view);
    if (view.storage != ir::Storage::kPacked4 || ioRandom() % 2 == 0)
    {
        return;
    }
    for (std::int32_t y = 0; y < view.height; ++y)
    {
        const std::ptrdiff_t bytes = 4 * ir::SampleBytes(view.sample);
        for (std::int32_t x = 0; x < view.width; ++x)
        {
            if (ioRandom() % 8 != 0)
            {
                std::memcpy(view.Row(0, y) + x * bytes, view.Row(0, 0), static_cast<std::size_t>(bytes));
            }
        }
    }
}

struct Shape
{
    std::int32_t width, height, extra, misalignment;
};

Shape RandomShape(std::mt19937& ioRandom)
{
    const auto pick = [&](std::uint32_t inCount) { return static_cast<std::int32_t>(ioRandom() % inCount); };
    return {1 + pick(67), 1 + pick(11), pick(12) * 4, pick(4) * 4};
}

Memory Copied(const Memory& inPicture)
{
    const Picture& view = inPicture.View();
    Memory copy(inPicture.Code(), view.width, view.height);
    for (int plane = 0; plane < 3 && view.planes[plane] != nullptr; ++plane)
    {
        for (std::int32_t row = 0; row < (plane == 0 ? view.height : view.chromaRows); ++row)
        {
            std::memcpy(copy.View().Row(plane, row), view.Row(plane, row),
                        static_cast<std::size_t>(ir::RowBytesOf(view, plane)));
        }
    }
    return copy;
}

::testing::AssertionResult Agree(const Memory& inExpected, const Memory& inGot, const std::string& inWhat,
                                 double inBound)
{
    const double difference = TestPictures::Difference(inExpected.View(), inGot.View());
    if (difference <= inBound && inGot.GuardsAreWhole())
    {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << inWhat << " of " << Name(inGot.Code()) << ", " << inGot.View().width << " x "
           << inGot.View().height << ": off by " << difference << ", guards "
           << (inGot.GuardsAreWhole() ? "whole" : "BROKEN");
}

// What a field of the source makes of the other field of the target.
void ExpectMoved(const Memory& inSource, bool inIsLower, std::int32_t inQuality, const Memory& outTarget)
{
    const Memory whole = Copied(inSource);
    Picture picture = whole.View();
    // Of one plane, an odd last row is not read.
    if (picture.storage != ir::Storage::kPlanar && !inIsLower)
    {
        picture.height = picture.chromaRows = picture.height / 2 * 2;
    }
    ir::reference::DeinterlacePicture(picture, inIsLower, ir::FieldMethodFor(inQuality));
    const std::int32_t other = inIsLower ? kIR_UpperField : kIR_LowerField;
    ir::reference::ConvertPicture(ir::FieldOf(picture, other), ir::FieldOf(outTarget.View(), other));
}

class Fields : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

std::string Text(std::int32_t inQuality, bool inLower)
{
    return "quality " + std::to_string(inQuality) + (inLower ? ", lower field" : ", upper field");
}

}

TEST_P(Fields, AreTakenOutOfAnyPictureAsTheReferenceDoes)
{
    std::mt19937 random(501);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        for (std::uint32_t round = 0; round < 12; ++round)
        {
            const std::int32_t quality = kQualities[round / 2 % 3];
            const bool keepsLower = round % 2 == 1;
            const Shape shape = RandomShape(random);
            Memory picture(code, shape.width, shape.height, shape.extra, shape.misalignment);
            Fill(picture, random);
            const Memory expected = Copied(picture);
            ir::reference::DeinterlacePicture(expected.View(), keepsLower, ir::FieldMethodFor(quality));
            CompleteGroups(expected.View());
            ASSERT_EQ(kIR_Success, IR_Deinterlace(picture.Pixels(), picture.RowBytes(), code, shape.width,
                                                  shape.height, keepsLower, quality));
            ASSERT_TRUE(Agree(expected, picture, Text(quality, keepsLower), BoundFor(picture.View())));
            // The difference sees no places beyond the width.
            const bool isWhole =
                picture.View().storage == ir::Storage::kPacked4 || expected.Packed() == picture.Packed();
            ASSERT_TRUE(isWhole) << Name(code) << " at " << shape.width << ", " << Text(quality, keepsLower);
        }
    }
}

TEST_P(Fields, GoIntoAnotherPictureAsTheyAreMadeInPlace)
{
    std::mt19937 random(504);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        for (std::uint32_t round = 0; round < 6; ++round)
        {
            const std::int32_t quality = kQualities[round / 2];
            const bool keepsLower = round % 2 == 1;
            const Shape shape = RandomShape(random);
            Memory source(code, shape.width, shape.height, shape.extra, shape.misalignment);
            Fill(source, random);
            const Memory before = Copied(source);
            Memory target(code, shape.width, shape.height, 8, 4);
            ASSERT_EQ(kIR_Success, IR_DeinterlaceInto(source.Pixels(), source.RowBytes(), code,
                                                      target.Pixels(), target.RowBytes(), code, shape.width,
                                                      shape.height, keepsLower, quality));
            ASSERT_TRUE(Agree(before, source, "the source", 0.0));
            ASSERT_EQ(kIR_Success, IR_Deinterlace(source.Pixels(), source.RowBytes(), code, shape.width,
                                                  shape.height, keepsLower, quality));
            ASSERT_TRUE(Agree(source, target, Text(quality, keepsLower), 0.0));
        }
    }
}

TEST_P(Fields, MoveToTheOtherParityAsTheReferenceDoes)
{
    std::mt19937 random(502);
    std::uint32_t round = 0;
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        const std::int32_t quality = kQualities[++round % 3];
        const bool isLower = random() % 2 == 1;
        Shape shape = RandomShape(random);
        // The odd row of a bottom-left picture has a test of its own.
        shape.height = ((from | to) & 0x2000) != 0 ? (shape.height + 3) / 2 * 2 : shape.height + 1;
        Memory source(from, shape.width, shape.height, shape.extra, shape.misalignment);
        Fill(source, random);
        Memory target(to, shape.width, shape.height, shape.extra / 4 * 4, shape.misalignment);
        Fill(target, random);
        const Memory expected = Copied(target);
        ExpectMoved(source, isLower, quality, expected);
        ASSERT_EQ(kIR_Success,
                  IR_DeinterlaceCopy(source.Pixels(), source.RowBytes(), from, target.Pixels(),
                                     target.RowBytes(), to, shape.width, shape.height, isLower, quality));
        const bool isConverted = ((from ^ to) & ~0x2000U) != 0;
        const double bound = !isConverted                                 ? BoundFor(target.View())
                             : target.View().sample == ir::Sample::kFloat ? 2e-5
                                                                          : 1.0001;
        ASSERT_TRUE(Agree(expected, target, Name(from) + " " + Text(quality, isLower) + " moved", bound));
    }
}

TEST_P(Fields, AreSmoothedAsTheReferenceDoes)
{
    std::mt19937 random(503);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        const Shape shape = RandomShape(random);
        Memory source(code, shape.width, shape.height, shape.extra, shape.misalignment);
        Memory target(code, shape.width, shape.height, 8, 4);
        Memory expected(code, shape.width, shape.height);
        Fill(source, random);
        ir::reference::SmoothRows(source.View(), expected.View());
        ir::SmoothRows(source.View(), target.View());
        ASSERT_TRUE(Agree(expected, target, "smoothing", BoundFor(target.View())));
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Fields, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });

// What the reference itself makes of a few samples, told by hand.
TEST(FieldsReference, ContinuesWhatIsSmoothAndSmoothsWhereRowsDisagree)
{
    const auto middleOf = [](const std::vector<std::vector<unsigned char>>& inRows)
    {
        Memory picture(0x062, 3, 8);
        for (std::size_t i = 0; i < 4; ++i)
        {
            std::memcpy(picture.View().Row(0, static_cast<std::int32_t>(i) * 2), inRows[i].data(), 3);
        }
        ir::reference::DeinterlacePicture(picture.View(), false, FieldMethod::kFiltering);
        return static_cast<int>(picture.View().Row(0, 3)[1]);
    };
    // 9 / 16 of 100 + 101, 1 / 16 of 80 + 81: a curve goes on above both.
    EXPECT_EQ(103, middleOf({{80, 80, 80}, {100, 100, 100}, {101, 101, 101}, {81, 81, 81}}));
    // Rows far apart everywhere: the means 100, 130, 100, smoothed to 115; nothing beyond tells otherwise.
    EXPECT_EQ(115, middleOf({{50, 50, 50}, {50, 80, 50}, {150, 180, 150}, {150, 210, 150}}));
    // A sum of differences of 16 lies in the middle between both, 132 and 129.
    EXPECT_EQ(131, middleOf({{128, 112, 128}, {128, 120, 128}, {128, 136, 128}, {128, 80, 128}}));
}

// Twelve pixels of one alpha make a filtered pixel; one that differs makes a mean.
TEST(FieldsReference, TakesTheMeanWhereAlphasDiffer)
{
    Memory picture(TestPictures::kBGRA8, 3, 8);
    for (std::int32_t row = 0; row < 8; row += 2)
    {
        const auto grey = static_cast<unsigned char>(row == 0 || row == 6 ? 80 : 100);
        for (std::int32_t x = 0; x < 3; ++x)
        {
            const unsigned char pixel[4] = {grey, grey, grey, 200};
            std::memcpy(picture.View().Row(0, row) + x * 4, pixel, 4);
        }
    }
    const auto made = [&](bool inIsReference)
    {
        Memory copy = Copied(picture);
        if (inIsReference)
        {
            ir::reference::DeinterlacePicture(copy.View(), false, FieldMethod::kFiltering);
        }
        else
        {
            IR_Deinterlace(copy.Pixels(), copy.RowBytes(), copy.Code(), 3, 8, 0, 4);
        }
        return static_cast<int>(copy.View().Row(0, 3)[4]);
    };
    for (const bool isReference : {true, false})
    {
        picture.View().Row(0, 6)[11] = 200;
        EXPECT_EQ(103, made(isReference));
        picture.View().Row(0, 6)[11] = 199;
        EXPECT_EQ(100, made(isReference));
    }
}
