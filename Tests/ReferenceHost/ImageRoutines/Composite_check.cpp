#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/ComposeReference.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "TestPictures.h"
#include "Tests/Support/Scale.h"

namespace
{

using TestPictures::Memory;
using TestPictures::Name;

constexpr std::int32_t kCoded = 4;
constexpr std::int32_t kLinear = 5;

bool IsFourComponents(std::uint32_t inCode)
{
    return (inCode & 0xF0) == 0;
}

// Integers within a code; floats within the work of single precision, that of the curve with its powers.
double BoundFor(const ir::Picture& inTarget)
{
    return inTarget.sample == ir::Sample::kFloat ? 3e-5 : 1.0001;
}

ir::Picture ViewOf(const Memory& inLike, Memory& ioCopy)
{
    ir::Picture view;
    EXPECT_EQ(kIR_Success, ir::PictureFromCode(ioCopy.Pixels(), ioCopy.RowBytes(), inLike.View().width,
                                               inLike.View().height, ioCopy.Code(), view));
    return view;
}

bool IsLinearRGB(std::uint32_t inCode)
{
    return (inCode & 3) == 0 && (inCode & 0x800) == 0;
}

// Sums give clear pixels no colour.
void BlackenClearPixels(const ir::Picture& ioPicture)
{
    if (ioPicture.alpha != ir::PictureAlpha::kStraight)
    {
        return;
    }
    ir::reference::Grid grid = ir::reference::ReadGrid(ioPicture);
    for (ir::reference::Pixel& pixel : grid.pixels)
    {
        pixel = pixel.c[3] == 0.0 ? ir::reference::Pixel{} : pixel;
    }
    ir::reference::WriteGrid(grid, ioPicture);
}

class Composite : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

class Mix : public Composite
{
};

// Where alpha comes to half a code, one may round it to nothing and with it all colour, the other not.
void BlackenWhereOneIsClear(const ir::Picture& ioOne, const ir::Picture& ioOther)
{
    ir::reference::Grid one = ir::reference::ReadGrid(ioOne);
    ir::reference::Grid other = ir::reference::ReadGrid(ioOther);
    for (std::size_t i = 0; i < one.pixels.size() && ioOne.alpha == ir::PictureAlpha::kStraight; ++i)
    {
        if (one.pixels[i].c[3] == 0.0 || other.pixels[i].c[3] == 0.0)
        {
            one.pixels[i] = {{0.0, 0.0, 0.0, one.pixels[i].c[3]}};
            other.pixels[i] = {{0.0, 0.0, 0.0, other.pixels[i].c[3]}};
        }
    }
    ir::reference::WriteGrid(one, ioOne);
    ir::reference::WriteGrid(other, ioOther);
}

// What one call differs by from the reference.
double CompositeDifference(std::uint32_t inFrom, std::uint32_t inTo, std::int32_t inWidth, float inOpacity,
                           std::int32_t inQuality, std::mt19937& ioRandom)
{
    Memory source(inFrom, inWidth, 4, 4, 4);
    Memory target(inTo, inWidth, 4, 8, 8);
    const bool isLinear = inQuality >= kLinear && IsLinearRGB(inTo);
    isLinear ? source.RandomiseModerately(ioRandom) : source.Randomise(ioRandom);
    isLinear ? target.RandomiseModerately(ioRandom) : target.Randomise(ioRandom);
    Memory expected = target;
    const ir::Picture expectedView = ViewOf(target, expected);
    ir::reference::CompositePicture(source.View(), expectedView, static_cast<double>(inOpacity), isLinear);
    EXPECT_EQ(kIR_Success, IR_Composite(source.Pixels(), source.RowBytes(), inFrom, target.Pixels(),
                                        target.RowBytes(), inTo, inWidth, 4, inOpacity, inQuality));
    EXPECT_TRUE(target.GuardsAreWhole());
    const ir::Picture view = ViewOf(target, target);
    BlackenWhereOneIsClear(expectedView, view);
    return TestPictures::Difference(expectedView, view);
}

}

TEST_P(Composite, LaysAnyPictureOverAnyOtherAsTheReferenceDoes)
{
    std::mt19937 random(41);
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        if (IsFourComponents(to))
        {
            const auto width = static_cast<std::int32_t>(1 + random() % 67);
            const float opacity = static_cast<float>(random() % 5) / 4.0F;
            Memory probe(to, 1, 1);
            ASSERT_LE(CompositeDifference(from, to, width, opacity, kCoded, random), BoundFor(probe.View()))
                << Name(from) << " over " << Name(to) << " opacity " << opacity << " width " << width;
        }
    }
}

TEST_P(Composite, MeetsInLinearLightAsTheReferenceDoes)
{
    std::mt19937 random(42);
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        if (IsFourComponents(to) && IsLinearRGB(to))
        {
            const auto width = static_cast<std::int32_t>(1 + random() % 67);
            const float opacity = static_cast<float>(1 + random() % 4) / 4.0F;
            Memory probe(to, 1, 1);
            ASSERT_LE(CompositeDifference(from, to, width, opacity, kLinear, random), BoundFor(probe.View()))
                << Name(from) << " over " << Name(to) << " opacity " << opacity << " width " << width;
        }
    }
}

TEST_P(Composite, OfEveryPairOfAlphasGivesTheAlphaOfTheFormula)
{
    for (const std::uint32_t to : {0x004U, 0x008U})
    {
        for (const std::uint32_t from : {0x004U, 0x008U})
        {
            for (int below = 0; below < 256; ++below)
            {
                Memory source(from, 256, 1);
                Memory target(to, 256, 1);
                std::memset(target.Pixels(), 0, 1024);
                std::memset(source.Pixels(), 0, 1024);
                for (int i = 0; i < 256; ++i)
                {
                    static_cast<std::uint8_t*>(source.Pixels())[i * 4 + 3] = static_cast<std::uint8_t>(i);
                    static_cast<std::uint8_t*>(target.Pixels())[i * 4 + 3] = static_cast<std::uint8_t>(below);
                }
                ASSERT_EQ(kIR_Success, IR_Composite(source.Pixels(), 1024, from, target.Pixels(), 1024, to,
                                                    256, 1, 1.0F, kCoded));
                for (int i = 0; i < 256; ++i)
                {
                    const double exact = i + below * (255 - i) / 255.0;
                    ASSERT_NEAR(exact, static_cast<std::uint8_t*>(target.Pixels())[i * 4 + 3], 0.53)
                        << i << " over " << below;
                }
            }
        }
    }
}

TEST_P(Composite, OfAnOpaquePictureIsThatPictureAndOfAClearOneNothing)
{
    std::mt19937 random(43);
    for (const std::uint32_t code : {0x004U, 0x008U, 0x00CU, 0x005U, 0x009U, 0x00DU, 0x104U, 0x108U, 0x10CU})
    {
        Memory target(code, 67, 3, 4, 4);
        target.Randomise(random);
        Memory opaque((code & ~0xCU) | 0xCU, 67, 3);
        opaque.Randomise(random);
        for (const std::int32_t quality : {kCoded, kLinear})
        {
            if (quality == kLinear && (code & 0x700) != 0)
            {
                continue; // floats go through the curve and back
            }
            Memory result = target;
            ASSERT_EQ(kIR_Success,
                      IR_Composite(opaque.Pixels(), opaque.RowBytes(), opaque.Code(), result.Pixels(),
                                   result.RowBytes(), code, 67, 3, 1.0F, quality));
            Memory expected = target;
            ASSERT_EQ(kIR_Success, IR_Convert(opaque.Pixels(), opaque.RowBytes(), opaque.Code(),
                                              expected.Pixels(), expected.RowBytes(), code, 67, 3, 4));
            EXPECT_EQ(expected.Packed(), result.Packed()) << Name(code) << " quality " << quality;
        }
    }
    for (const std::uint32_t code : {0x008U, 0x00CU, 0x108U, 0x10CU})
    {
        Memory target(code, 67, 3, 4, 4);
        target.Randomise(random);
        ASSERT_EQ(kIR_Success, IR_Convert(target.Pixels(), target.RowBytes(), code, target.Pixels(),
                                          target.RowBytes(), code, 67, 3, 4));
        Memory before = target;
        Memory source(0x100U | (code & 0xFU), 67, 3);
        source.Randomise(random);
        ASSERT_EQ(kIR_Success, IR_Composite(source.Pixels(), source.RowBytes(), source.Code(),
                                            target.Pixels(), target.RowBytes(), code, 67, 3, 0.0F, kCoded));
        const double alphaKept = TestPictures::Difference(ViewOf(target, before), ViewOf(target, target));
        EXPECT_EQ(0.0, alphaKept) << Name(code);
    }
}

TEST_P(Mix, SumsPicturesOfAnyFormatAsTheReferenceDoes)
{
    std::mt19937 random(44);
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        const auto width = static_cast<std::int32_t>(1 + random() % 67);
        const std::size_t count = 1 + random() % 4;
        const bool areMixed = random() % 2 == 0;
        std::vector<Memory> sources;
        std::vector<ir::Picture> views;
        std::vector<double> weights;
        std::vector<const void*> pixels;
        std::vector<std::int32_t> rowBytes;
        std::vector<std::uint32_t> formats;
        sources.reserve(count);
        for (std::size_t i = 0; i < count; ++i)
        {
            const std::uint32_t code =
                areMixed && i > 0 ? TestPictures::kCodes[random() % TestPictures::kCodes.size()] : from;
            sources.emplace_back(code, width, 6, 4, 4);
            sources.back().RandomiseModerately(random);
            views.push_back(sources.back().View());
            weights.push_back(1.0 / static_cast<double>(count) + (i == 0 ? 0.02 : -0.03));
            pixels.push_back(sources.back().Pixels());
            rowBytes.push_back(sources.back().RowBytes());
            formats.push_back(code);
        }
        const bool isByPlanes = !IsFourComponents(to) && std::count(formats.begin(), formats.end(), to) ==
                                                             static_cast<std::ptrdiff_t>(count);
        if (isByPlanes)
        {
            continue; // chroma is not filtered there: below
        }
        Memory target(to, width, 6, 8, 8);
        Memory expected(to, width, 6);
        ir::reference::AccumulatePictures(views, weights, expected.View());
        ASSERT_EQ(kIR_Success, IR_Accumulate(pixels.data(), rowBytes.data(), formats.data(), weights.data(),
                                             static_cast<std::int32_t>(count), target.Pixels(),
                                             target.RowBytes(), 6, width, to, 4));
        ASSERT_LE(TestPictures::Difference(expected.View(), target.View()), BoundFor(target.View()))
            << count << " of " << Name(from) << (areMixed ? " and others" : "") << " to " << Name(to);
        ASSERT_TRUE(target.GuardsAreWhole());
    }
}

TEST_P(Mix, OfEqualPicturesIsThatPictureWhateverTheShares)
{
    std::mt19937 random(45);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        Memory source(code, 66, 6, 4, 4);
        source.Randomise(random);
        BlackenClearPixels(source.View());
        const double bound = source.View().sample == ir::Sample::kFloat ? 2e-6 : 0.0;
        for (const float weight : {0.0F, 0.3F, 0.5F, 1.0F})
        {
            Memory target(code, 66, 6, 8, 8);
            ASSERT_EQ(kIR_Success, IR_CrossDissolve(source.Pixels(), source.RowBytes(), code, source.Pixels(),
                                                    source.RowBytes(), code, target.Pixels(),
                                                    target.RowBytes(), code, 66, 6, weight, 4));
            EXPECT_LE(TestPictures::Difference(source.View(), target.View()), bound)
                << Name(code) << " at " << weight;
        }
    }
}

TEST_P(Mix, MayBeWrittenWhereOneOfItsSourcesLies)
{
    std::mt19937 random(47);
    for (const std::uint32_t code : {0x004U, 0x008U, 0x204U, 0x108U, 0x006U})
    {
        Memory first(code, 67, 5, 4, 4);
        Memory second(code, 67, 5, 4, 4);
        first.Randomise(random);
        second.Randomise(random);
        Memory apart(code, 67, 5, 4, 4);
        for (void* place : {apart.Pixels(), second.Pixels()})
        {
            ASSERT_EQ(kIR_Success, IR_CrossDissolve(first.Pixels(), first.RowBytes(), code, second.Pixels(),
                                                    second.RowBytes(), code, place, second.RowBytes(), code,
                                                    67, 5, 0.4F, 4));
        }
        EXPECT_EQ(apart.Packed(), second.Packed()) << Name(code);
    }
}

TEST_P(Mix, OfSubsampledPicturesLeavesChromaUnfiltered)
{
    std::mt19937 random(46);
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        if (IsFourComponents(code))
        {
            continue;
        }
        Memory first(code, 66, 6, 4, 4);
        Memory second(code, 66, 6, 4, 4);
        first.Randomise(random);
        second.Randomise(random);
        for (const double total : {1.0, 0.5})
        {
            Memory target(code, 66, 6, 8, 8);
            const void* pixels[] = {first.Pixels(), second.Pixels()};
            const std::int32_t rowBytes[] = {first.RowBytes(), second.RowBytes()};
            const std::uint32_t formats[] = {code, code};
            const double weights[] = {total * 0.25, total * 0.75};
            ASSERT_EQ(kIR_Success, IR_Accumulate(pixels, rowBytes, formats, weights, 2, target.Pixels(),
                                                 target.RowBytes(), 6, 66, code, 4));
            for (int component = 0; component < 3; ++component)
            {
                const bool isChroma = component > 0;
                const ir::ComponentRange range = ir::RangeOf(target.View(), component);
                const double most = (1 << target.View().bits) - 1;
                for (std::int32_t y = 0; y < (isChroma ? target.View().chromaRows : 6); ++y)
                {
                    for (std::int32_t x = 0; x < (isChroma ? target.View().ChromaWidth() : 66); ++x)
                    {
                        const double sum =
                            weights[0] * ir::reference::ReadPlane(first.View(), component, x, y) +
                            weights[1] * ir::reference::ReadPlane(second.View(), component, x, y);
                        const double wanted = std::clamp(sum * range.scale + range.offset, 0.0, most);
                        const double code8 =
                            ir::reference::ReadPlane(target.View(), component, x, y) * range.scale +
                            range.offset;
                        ASSERT_NEAR(wanted, code8, 0.52) << Name(code) << " component " << component;
                    }
                }
            }
            ASSERT_TRUE(target.GuardsAreWhole());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Composite, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });

INSTANTIATE_TEST_SUITE_P(Each, Mix, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
