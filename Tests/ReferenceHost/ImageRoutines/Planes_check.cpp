#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/Planes.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "TestPictures.h"
#include "TestPlanes.h"
#include "Tests/Support/Scale.h"

namespace
{

using TestPictures::Memory;
using TestPictures::Name;
using TestPictures::PlaneMemory;
using TestPictures::RandomDescription;
using TestPictures::Told;

double BoundFor(const ir::Picture& inTarget)
{
    return inTarget.sample == ir::Sample::kFloat ? 2e-5 : 1.0001;
}

// What the pixels of a four-component picture ought to be, before they are rounded to codes.
ir::reference::Grid ExactPixels(const ir::Picture& inSource, const ir::Picture& inTarget)
{
    ir::reference::Grid grid(inSource.width, inSource.height);
    for (std::int32_t y = 0; y < grid.height; ++y)
    {
        for (std::int32_t x = 0; x < grid.width; ++x)
        {
            grid.At(x, y) =
                ir::reference::ConvertPixel(ir::reference::ReadPixel(inSource, x, y), inSource, inTarget);
        }
    }
    return grid;
}

// Of one component, in codes; positive where the picture is brighter than it ought to be.
double MeanError(const ir::reference::Grid& inExact, const ir::Picture& inPicture, int inComponent)
{
    double sum = 0.0;
    for (std::int32_t y = 0; y < inExact.height; ++y)
    {
        for (std::int32_t x = 0; x < inExact.width; ++x)
        {
            const double exact = std::clamp(inExact.At(x, y).c[inComponent], 0.0, 1.0);
            sum += ir::reference::ReadPlane(inPicture, inComponent, x, y) - exact;
        }
    }
    return sum * ir::RangeOf(inPicture, inComponent).scale / static_cast<double>(inExact.pixels.size());
}

class Planes : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

}

TEST_P(Planes, BecomeAnyCodeWithinOneStepOfTheReference)
{
    std::mt19937 random(1001);
    for (std::size_t round = 0; round < TestSupport::ScaledCount(3000); ++round)
    {
        const ir::PlanarDescription description = RandomDescription(random);
        PlaneMemory source(description);
        source.Randomise(random);
        const bool isVideo = random() % 2 == 0;
        const std::uint32_t code = isVideo ? (random() % 2 ? 0x004U : 0x00CU)
                                           : TestPictures::kCodes[random() % TestPictures::kCodes.size()];
        Memory target(code, description.width, description.height, 8, 4);
        Memory expected(code, description.width, description.height);
        ir::reference::ConvertPicture(source.View(), expected.View());
        ASSERT_EQ(kIR_Success,
                  ir::ConvertPlanes(source.As<ir::PlanarPicture>(), kIR_WholePicture, target.Pixels(),
                                    target.RowBytes(), description.width, description.height, code, 4));
        ASSERT_LE(TestPictures::Difference(expected.View(), target.View()), BoundFor(target.View()))
            << Told(description) << " -> " << Name(code);
        ASSERT_TRUE(target.GuardsAreWhole());
    }
}

TEST_P(Planes, AreMadeOfAnyCodeWithinOneStepOfTheReference)
{
    std::mt19937 random(1002);
    for (std::size_t round = 0; round < TestSupport::ScaledCount(2000); ++round)
    {
        const ir::PlanarDescription description = RandomDescription(random);
        const std::uint32_t code = TestPictures::kCodes[random() % TestPictures::kCodes.size()];
        Memory source(code, description.width, description.height, 8, 4);
        source.Randomise(random);
        PlaneMemory target(description);
        PlaneMemory expected(description);
        ir::reference::ConvertPicture(source.View(), expected.View());
        ASSERT_EQ(kIR_Success,
                  ir::ConvertToPlanes(source.Pixels(), source.RowBytes(), description.width,
                                      description.height, code, target.As<ir::MutablePlanarPicture>(), 4));
        const ir::Picture view = target.View();
        ASSERT_LE(TestPictures::Difference(expected.View(), view), BoundFor(view))
            << Name(code) << " -> " << Told(description);
    }
}

TEST_P(Planes, AreScaledAsTheReferenceDoes)
{
    std::mt19937 random(1003);
    for (std::size_t round = 0; round < TestSupport::ScaledCount(300); ++round)
    {
        ir::PlanarDescription description = RandomDescription(random);
        description.width += 4;
        description.height += 4;
        PlaneMemory source(description);
        source.Randomise(random);
        const std::int32_t field = static_cast<std::int32_t>(random() % 3);
        const std::int32_t width = 4 + static_cast<std::int32_t>(random() % 70);
        const std::int32_t height = 4 + static_cast<std::int32_t>(random() % 20);
        const std::uint32_t code = random() % 2 == 0 ? 0x00CU : 0x10CU;
        Memory target(code, width, height, 8, 4);
        Memory expected(code, width, height);
        ir::reference::ScalePicture(source.View(), field, expected.View(), kIR_WholePicture, 3);
        ASSERT_EQ(kIR_Success, ir::ConvertPlanes(source.As<ir::PlanarPicture>(), field, target.Pixels(),
                                                 target.RowBytes(), width, height, code, 3));
        // zimg rounds between its two passes to the depth of the source.
        const double bound = code == 0x10C ? 6e-3 : 1.0001;
        ASSERT_LE(TestPictures::Difference(expected.View(), target.View()), bound)
            << Told(description) << " field " << field << " -> " << width << " x " << height;
    }
}

// A conversion that cut where it ought to round would be one step off at most, like any other, but darker
// everywhere.
TEST_P(Planes, AreNeitherDarkenedNorBrightened)
{
    std::mt19937 random(1005);
    for (std::size_t round = 0; round < TestSupport::ScaledCount(60); ++round)
    {
        ir::PlanarDescription description = RandomDescription(random);
        description.width = 256;
        description.height = 64;
        PlaneMemory source(description);
        source.Randomise(random);
        const std::uint32_t code = round % 2 == 0 ? 0x00CU : 0x20CU;
        Memory target(code, description.width, description.height);
        ASSERT_EQ(kIR_Success,
                  ir::ConvertPlanes(source.As<ir::PlanarPicture>(), kIR_WholePicture, target.Pixels(),
                                    target.RowBytes(), description.width, description.height, code, 4));
        const ir::reference::Grid exact = ExactPixels(source.View(), target.View());
        for (int component = 0; component < 3; ++component)
        {
            ASSERT_LE(std::fabs(MeanError(exact, target.View(), component)), 0.1)
                << Told(description) << " -> " << Name(code) << ", component " << component;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Planes, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });

TEST(PlanesContract, GiveTheSameBytesOnEveryInstructionSet)
{
    std::mt19937 random(1004);
    for (std::size_t round = 0; round < TestSupport::ScaledCount(400); ++round)
    {
        const ir::PlanarDescription description = RandomDescription(random);
        PlaneMemory source(description);
        source.Randomise(random);
        std::vector<unsigned char> first;
        for (const std::string& name : TestPictures::Targets())
        {
            ASSERT_TRUE(ir::SetCpuTarget(name.c_str()));
            Memory target(0x00C, description.width, description.height);
            ASSERT_EQ(kIR_Success,
                      ir::ConvertPlanes(source.As<ir::PlanarPicture>(), kIR_WholePicture, target.Pixels(),
                                        target.RowBytes(), description.width, description.height, 0x00C, 4));
            first = first.empty() ? target.Packed() : first;
            ASSERT_EQ(first, target.Packed()) << Told(description) << " on " << name;
        }
    }
    ASSERT_TRUE(ir::SetCpuTarget("auto"));
}

TEST(PlanesContract, RefusesDescriptionsThatGoNowhere)
{
    std::vector<unsigned char> bytes(4096);
    ir::PlanarPicture picture;
    picture.width = 16;
    picture.height = 4;
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        picture.planes[plane] = bytes.data();
        picture.strides[plane] = 16;
    }
    std::vector<unsigned char> target(16 * 4 * 4);
    const auto status = [&](const ir::PlanarPicture& inPicture, std::int32_t inField = 0)
    { return ir::ConvertPlanes(inPicture, inField, target.data(), 64, 16, 4, 0x00C, 4); };
    EXPECT_EQ(kIR_Success, status(picture));
    ir::PlanarPicture broken = picture;
    broken.bitsPerSample = 17;
    EXPECT_EQ(kIR_UnknownFormat, status(broken));
    broken = picture;
    broken.planes[2] = nullptr;
    EXPECT_EQ(kIR_NullPointer, status(broken));
    broken = picture;
    broken.alpha = ir::AlphaKind::kStraight;
    EXPECT_EQ(kIR_NullPointer, status(broken));
    broken = picture;
    broken.strides[0] = 15;
    EXPECT_EQ(kIR_BadSize, status(broken));
    broken = picture;
    broken.height = 0;
    EXPECT_EQ(kIR_BadSize, status(broken));
    EXPECT_EQ(kIR_BadArgument, status(picture, 3));
    ir::MutablePlanarPicture wide;
    wide.width = 16;
    wide.height = 4;
    wide.primaries = ir::Primaries::k2020;
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        wide.planes[plane] = bytes.data() + plane * 1024;
        wide.strides[plane] = 16;
    }
    EXPECT_EQ(kIR_UnknownFormat, ir::ConvertToPlanes(target.data(), 64, 16, 4, 0x00C, wide, 4));
}
