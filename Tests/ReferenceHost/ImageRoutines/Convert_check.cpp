#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Planes.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "ReferenceHost/ImageRoutines/YuvToBgra.h"
#include "TestPictures.h"
#include "Tests/Support/Scale.h"

namespace
{

using TestPictures::Memory;
using TestPictures::Name;

// What a division by a tiny alpha makes of a last bit: floats are compared relative to the picture's larger
// values.
constexpr double kFloatBound = 2e-5;

struct Shape
{
    std::int32_t width, height, extra, misalignment;
};

Shape RandomShape(std::mt19937& ioRandom)
{
    const auto pick = [&](std::uint32_t inCount) { return static_cast<std::int32_t>(ioRandom() % inCount); };
    return {1 + pick(67), 1 + pick(9), pick(12) * 4, pick(4) * 4};
}

class EachTarget : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

double BoundFor(const ir::Picture& inTarget)
{
    return inTarget.sample == ir::Sample::kFloat ? kFloatBound : 1.0001;
}

::testing::AssertionResult ConvertsAsReference(const Memory& inSource, Memory& ioTarget)
{
    const ir::Picture& target = ioTarget.View();
    Memory expected(ioTarget.Code(), target.width, target.height);
    ir::reference::ConvertPicture(inSource.View(), expected.View());
    const std::int32_t status =
        IR_Convert(inSource.Pixels(), inSource.RowBytes(), inSource.Code(), ioTarget.Pixels(),
                   ioTarget.RowBytes(), ioTarget.Code(), target.width, target.height, 4);
    const double difference = TestPictures::Difference(expected.View(), target);
    if (status != kIR_Success || difference > BoundFor(target) || !ioTarget.GuardsAreWhole())
    {
        return ::testing::AssertionFailure()
               << Name(inSource.Code()) << " -> " << Name(ioTarget.Code()) << " at " << target.width << " x "
               << target.height << ": status " << status << ", off by " << difference << ", guards "
               << (ioTarget.GuardsAreWhole() ? "whole" : "BROKEN");
    }
    return ::testing::AssertionSuccess();
}

}

TEST_P(EachTarget, RunsTheKernelsThatWereAskedFor)
{
    EXPECT_EQ(GetParam(), ir::YuvToBgraTarget());
    EXPECT_EQ(GetParam(), ir::FloatRowsTarget());
    EXPECT_EQ(GetParam(), ir::CurrentCpuTarget());
}

TEST_P(EachTarget, ConvertsAnyCodeToAnyCodeWithinOneStepOfTheReference)
{
    std::mt19937 random(20260);
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        for (std::size_t round = 0; round < 2; ++round)
        {
            const Shape shape = RandomShape(random);
            Memory source(from, shape.width, shape.height, shape.extra, shape.misalignment);
            Memory target(to, shape.width, shape.height, shape.extra / 2 / 4 * 4, shape.misalignment);
            source.Randomise(random);
            ASSERT_TRUE(ConvertsAsReference(source, target));
        }
    }
}

TEST_P(EachTarget, ConvertsVideoToBgraAtEveryWidth)
{
    std::mt19937 random(31);
    for (const std::uint32_t from : {0x041U, 0x042U, 0x052U, 0x342U, 0x352U, 0x062U, 0x362U, 0x1071U, 0x012U,
                                     0x022U, 0x332U, 0x005U, 0x00EU, 0x1005U})
    {
        const auto widths = static_cast<std::int32_t>(TestSupport::ScaledCount(150));
        for (std::int32_t width = 1; width <= 150; width += 150 / widths)
        {
            Memory source(from, width, 5, width % 3 * 4, width % 2 * 4);
            Memory target(width % 2 ? TestPictures::kBGRA8 : TestPictures::kBGRX8, width, 5, width % 5 * 4,
                          width % 13);
            source.Randomise(random);
            ASSERT_TRUE(ConvertsAsReference(source, target));
        }
    }
}

// Four components of the source's own matrix and range, of which the kernels write the samples themselves.
TEST_P(EachTarget, ConvertsVideoToPackedLumaAndChromaAtEveryWidth)
{
    std::mt19937 random(37);
    for (const std::uint32_t from :
         {0x042U, 0x052U, 0x342U, 0x352U, 0x062U, 0x362U, 0x1071U, 0x012U, 0x022U, 0x332U, 0x006U, 0x00EU})
    {
        const auto widths = static_cast<std::int32_t>(TestSupport::ScaledCount(150));
        for (std::int32_t width = 1; width <= 150; width += 150 / widths)
        {
            Memory source(from, width, 5, width % 3 * 4, width % 2 * 4);
            const std::uint32_t ownModel = (from & 0x1000) | ((from & 3) == 1 ? 0x005 : 0x006);
            const std::uint32_t opaque = width % 2 ? 0U : 8U;
            Memory target(ownModel | opaque, width, 5, width % 5 * 4, width % 13);
            source.Randomise(random);
            ASSERT_TRUE(ConvertsAsReference(source, target));
        }
    }
}

// Codes that were cut instead of rounded would be one step off at most, like any others, but lower
// everywhere.
TEST_P(EachTarget, KeepsTheMeanOfEveryComponent)
{
    std::mt19937 random(55);
    for (const std::uint32_t to : TestPictures::kCodes)
    {
        for (const std::uint32_t from : {TestPictures::kBGRA32f, TestPictures::k420Frame709})
        {
            Memory source(from, 97, 20);
            Memory target(to, 97, 20);
            Memory expected(to, 97, 20);
            source.Randomise(random);
            ir::reference::ConvertPicture(source.View(), expected.View());
            ASSERT_EQ(kIR_Success, IR_Convert(source.Pixels(), source.RowBytes(), from, target.Pixels(),
                                              target.RowBytes(), to, 97, 20, 4));
            EXPECT_LE(TestPictures::MeanDifference(expected.View(), target.View()), 0.1)
                << Name(from) << " -> " << Name(to);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Convert, EachTarget, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });

TEST(Convert, GivesTheSameBytesOnEveryInstructionSet)
{
    std::mt19937 random(77);
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        Memory source(from, 53, 6);
        source.Randomise(random);
        std::vector<unsigned char> first;
        for (const std::string& name : TestPictures::Targets())
        {
            ASSERT_TRUE(ir::SetCpuTarget(name.c_str()));
            Memory target(to, 53, 6);
            ASSERT_EQ(kIR_Success, IR_Convert(source.Pixels(), source.RowBytes(), from, target.Pixels(),
                                              target.RowBytes(), to, 53, 6, 4));
            const std::vector<unsigned char> bytes = target.Packed();
            first = first.empty() ? bytes : first;
            ASSERT_EQ(first, bytes) << Name(from) << " -> " << Name(to) << " on " << name;
        }
    }
    ASSERT_TRUE(ir::SetCpuTarget("auto"));
}
