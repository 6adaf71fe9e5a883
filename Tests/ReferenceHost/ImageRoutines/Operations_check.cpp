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

double BoundFor(const ir::Picture& inTarget)
{
    return inTarget.sample == ir::Sample::kFloat ? 2e-5 : 1.0001;
}

class Operations : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

}

TEST_P(Operations, LayAnyPictureOverBlackAsTheReferenceDoes)
{
    std::mt19937 random(88);
    for (const auto& [from, to] : TestPictures::Pairs())
    {
        const std::int32_t width = 1 + static_cast<std::int32_t>(random() % 67);
        const float opacity = static_cast<float>(random() % 5) / 4.0F;
        Memory source(from, width, 5, 4, 4);
        Memory target(to, width, 5, 8, 8);
        Memory expected(to, width, 5);
        source.Randomise(random);
        ir::reference::CompositeToBlack(source.View(), expected.View(), static_cast<double>(opacity));
        ASSERT_EQ(kIR_Success, IR_CompositeToBlack(source.Pixels(), source.RowBytes(), from, target.Pixels(),
                                                   target.RowBytes(), to, width, 5, opacity, 4));
        ASSERT_LE(TestPictures::Difference(expected.View(), target.View()), BoundFor(target.View()))
            << Name(from) << " -> " << Name(to) << " opacity " << opacity;
        ASSERT_TRUE(target.GuardsAreWhole());
    }
}

TEST_P(Operations, TakeAMatteAwayAsTheReferenceDoes)
{
    std::mt19937 random(89);
    const unsigned char matte[4] = {200, 20, 90, 0};
    for (const std::uint32_t code : TestPictures::kCodes)
    {
        if ((code & 0xF0) != 0)
        {
            continue;
        }
        for (std::int32_t width = 1; width < 68; width += 3)
        {
            Memory picture(code, width, 3, 8, 4);
            picture.RandomiseModerately(random);
            Memory expected = picture;
            Memory matteMemory(0x00C, 1, 1);
            std::copy_n(matte, 4, static_cast<unsigned char*>(matteMemory.Pixels()));
            ir::Picture view;
            ASSERT_EQ(kIR_Success,
                      ir::PictureFromCode(expected.Pixels(), expected.RowBytes(), width, 3, code, view));
            const ir::reference::Pixel pixel = ir::reference::ConvertPixel(
                ir::reference::ReadPixel(matteMemory.View(), 0, 0), matteMemory.View(), view);
            ir::reference::UnPremultiplyAgainstMatte(view, pixel);
            ASSERT_EQ(kIR_Success, IR_UnPremultiplyAgainstMatteColor(picture.Pixels(), picture.RowBytes(),
                                                                     code, width, 3, matte, 4, 4));
            ir::Picture result;
            ASSERT_EQ(kIR_Success,
                      ir::PictureFromCode(picture.Pixels(), picture.RowBytes(), width, 3, code, result));
            ASSERT_LE(TestPictures::Difference(view, result), BoundFor(view))
                << Name(code) << " at " << width;
            ASSERT_TRUE(picture.GuardsAreWhole());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Operations, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
