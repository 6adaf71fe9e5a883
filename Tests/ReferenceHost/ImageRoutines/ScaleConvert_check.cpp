#include <cmath>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "TestPictures.h"
#include "Tests/Support/Scale.h"

namespace
{

using TestPictures::Memory;
using TestPictures::Name;

struct Job
{
    std::int32_t sourceWidth, sourceHeight, targetWidth, targetHeight, sourceField, targetField, quality;
};

Job RandomJob(std::mt19937& ioRandom)
{
    const auto pick = [&](std::uint32_t inCount) { return static_cast<std::int32_t>(ioRandom() % inCount); };
    return {8 + pick(60), 8 + pick(30), 8 + pick(60), 8 + pick(30), pick(3), pick(3), 3 + pick(3)};
}

// zimg scales 8 to 16 bits in 16-bit words with 14-bit weights, in two passes: a few 16-bit codes.
double BoundFor(const ir::Picture& inSource, const ir::Picture& inTarget)
{
    const bool fromFloats = inSource.sample == ir::Sample::kFloat;
    if (inTarget.sample == ir::Sample::kFloat)
    {
        return fromFloats ? 1e-4 : 2.5e-3;
    }
    return inTarget.bits == 16 && !fromFloats ? 160.0 : 1.0001;
}

::testing::AssertionResult ScalesAsReference(const Memory& inSource, Memory& ioTarget, const Job& inJob)
{
    const ir::Picture& source = inSource.View();
    const ir::Picture& target = ioTarget.View();
    Memory expected(ioTarget.Code(), target.width, target.height);
    ir::reference::ScalePicture(source, inJob.sourceField, expected.View(), inJob.targetField, inJob.quality);
    if (inJob.targetField != kIR_WholePicture)
    {
        // The other field's rows are nobody's business: both pictures get the same ones.
        Memory untouched(ioTarget.Code(), target.width, target.height);
        ir::reference::ScalePicture(source, inJob.sourceField, ioTarget.View(), inJob.targetField,
                                    inJob.quality);
    }
    const std::int32_t status =
        IR_ScaleConvert(inSource.Pixels(), inSource.RowBytes(), source.width, source.height, inSource.Code(),
                        inJob.sourceField, ioTarget.Pixels(), ioTarget.RowBytes(), target.width,
                        target.height, ioTarget.Code(), inJob.targetField, inJob.quality);
    const double difference = TestPictures::Difference(expected.View(), target);
    if (status != kIR_Success || difference > BoundFor(source, target) || !ioTarget.GuardsAreWhole())
    {
        return ::testing::AssertionFailure()
               << Name(inSource.Code()) << " -> " << Name(ioTarget.Code()) << " from " << source.width
               << " x " << source.height << " to " << target.width << " x " << target.height << ", fields "
               << inJob.sourceField << inJob.targetField << ", quality " << inJob.quality << ": status "
               << status << ", off by " << difference << ", guards "
               << (ioTarget.GuardsAreWhole() ? "whole" : "BROKEN");
    }
    return ::testing::AssertionSuccess();
}

class ScaleOnTarget : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

}

TEST_P(ScaleOnTarget, ScalesAnyCodeToAnyCodeAsTheReferenceDoes)
{
    std::mt19937 random(4711);
    int bad = 0;
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        const Job job = RandomJob(random);
        Memory source(from, job.sourceWidth, job.sourceHeight, 8, 4);
        Memory target(to, job.targetWidth, job.targetHeight, 16, 4);
        source.RandomiseModerately(random);
        const auto result = ScalesAsReference(source, target, job);
        EXPECT_TRUE(result);
        bad += !result;
        ASSERT_LT(bad, 30);
    }
}

// Rows that are taken as they are still want chroma from between the rows in memory.
TEST_P(ScaleOnTarget, TakesOneFieldOfChromaThatFieldsShareAsTheReferenceDoes)
{
    std::mt19937 random(1812);
    for (const std::uint32_t to : {0x006U, 0x00EU, 0x00DU, TestPictures::kBGRA8, TestPictures::kBGRX8})
    {
        for (const std::int32_t height : {2, 3, 12, 17})
        {
            for (const std::int32_t field : {kIR_UpperField, kIR_LowerField})
            {
                const std::int32_t rows = (height + (field == kIR_UpperField ? 1 : 0)) / 2;
                const Job jobs[] = {{51, height, 51, rows, field, kIR_WholePicture, 4},
                                    {51, height, 51, height, field, field, 4},
                                    {51, height, 51, height, kIR_WholePicture, field, 4}};
                for (const Job& job : jobs)
                {
                    Memory source(TestPictures::k420Frame709, job.sourceWidth, job.sourceHeight, 8, 4);
                    Memory target(to, job.targetWidth, job.targetHeight, 16, 4);
                    source.RandomiseModerately(random);
                    EXPECT_TRUE(ScalesAsReference(source, target, job));
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(ScaleConvert, ScaleOnTarget, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
