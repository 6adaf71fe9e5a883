#include <cmath>
#include <gtest/gtest.h>

#include "MotionScenes.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/MotionRows.h"
#include "Tests/Support/Scale.h"

namespace
{

using TestPictures::Memory;
using TestPictures::Scene;

class Motion : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

const std::vector<std::uint32_t>& FourComponentCodes()
{
    static const std::vector<std::uint32_t> sCodes = []
    {
        std::vector<std::uint32_t> codes;
        for (const std::uint32_t code : TestPictures::kCodes)
        {
            if ((code & 0xF0) == 0)
            {
                codes.push_back(code);
            }
        }
        return codes;
    }();
    return sCodes;
}

// Integers: one code, and half of one more where colour is divided by alpha after it was rounded. Floats: rounding
// of weights and sums.
double BoundFor(const ir::Picture& inTarget)
{
    return inTarget.sample == ir::Sample::kFloat                  ? 4e-5
           : inTarget.alpha == ir::PictureAlpha::kStraight ? 1.501
                                                                  : 1.001;
}

class Dice
{
public:
    explicit Dice(std::uint32_t inSeed)
        : mRandom(inSeed)
    {
    }

    std::mt19937& Engine() { return mRandom; }
    int Below(int inCount) { return static_cast<int>(mRandom() % static_cast<unsigned>(inCount)); }
    double Between(double inLow, double inHigh)
    {
        return inLow + (inHigh - inLow) * static_cast<double>(mRandom() & 0xFFFF) / 65536.0;
    }
    float Scale()
    {
        static constexpr double kScales[] = {1.0, 1.0, 0.5, 2.0, 0.3, 0.07};
        const double size = Below(2) == 0 ? kScales[Below(6)] : Between(0.05, 4.0);
        return static_cast<float>(Below(4) == 0 ? -size : size);
    }

private:
    std::mt19937 mRandom;
};

void Vary(Scene& ioScene, Dice& ioDice)
{
    static constexpr double kTurns[] = {0.0, 0.0, 90.0, 180.0, -90.0, 720.0, 45.0, 3.0};
    IR_MotionSettings& settings = ioScene.settings;
    settings.scaleX = ioDice.Scale();
    settings.scaleY = ioDice.Below(2) == 0 ? settings.scaleX : ioDice.Scale();
    settings.rotation = ioDice.Below(2) == 0 ? kTurns[ioDice.Below(8)] : ioDice.Between(-800.0, 800.0);
    settings.positionX = static_cast<float>(ioDice.Between(0.0, 1.0));
    settings.positionY = static_cast<float>(ioDice.Between(0.0, 1.0));
    settings.anchorX = static_cast<float>(ioDice.Between(-0.2, 1.2));
    settings.anchorY = static_cast<float>(ioDice.Between(-0.2, 1.2));
    settings.opacity = ioDice.Below(2) == 0 ? 1.0F : static_cast<float>(ioDice.Between(0.0, 1.0));
    settings.antiFlicker = ioDice.Below(3) == 0 ? ioDice.Between(0.0, 1.0) : 0.0;
    settings.targetHasPicture = ioDice.Below(2);
    settings.quality = 1 + ioDice.Below(5);
    settings.highQualitySampling = static_cast<std::uint8_t>(ioDice.Below(4) != 0);
    settings.field = ioDice.Below(4) == 0 ? 1 + ioDice.Below(2) : 0;
    ioScene.from.fieldType = ioDice.Below(3);
    ioScene.to.fieldType = ioDice.Below(3);
    if (ioDice.Below(3) == 0)
    {
        ioScene.from.aspectNumerator = 12;
        ioScene.from.aspectDenominator = 11;
    }
    if (ioDice.Below(3) == 0)
    {
        ioScene.to.aspectNumerator = 8;
        ioScene.to.aspectDenominator = 9;
    }
}

// A target that holds nothing yet.
void Clear(Memory& ioTarget)
{
    const unsigned char black[4] = {0, 0, 0, 0};
    ASSERT_EQ(kIR_Success, IR_FillWithColor(ioTarget.Pixels(), ioTarget.RowBytes(), ioTarget.View().width,
                                            ioTarget.View().height, ioTarget.Code(), black, 4));
}

void CompareWithReference(Scene& ioScene)
{
    const Memory expected = ioScene.Reference(ioScene.target);
    ASSERT_EQ(kIR_Success, ioScene.Draw()) << ioScene.Text();
    ASSERT_LE(TestPictures::VisibleDifference(expected, ioScene.target), BoundFor(ioScene.target.View()))
        << ioScene.Text();
    ASSERT_TRUE(ioScene.target.GuardsAreWhole()) << ioScene.Text();
}

}

TEST_P(Motion, DrawsWhatTheReferenceDrawsWithAnySettings)
{
    Dice dice(1601);
    const std::size_t count = TestSupport::ScaledCount(400);
    for (std::size_t i = 0; i < count; ++i)
    {
        const auto& codes = FourComponentCodes();
        const std::uint32_t from = codes[static_cast<std::size_t>(dice.Below(static_cast<int>(codes.size())))];
        const std::uint32_t to = codes[static_cast<std::size_t>(dice.Below(static_cast<int>(codes.size())))];
        Scene scene(from, 1 + dice.Below(30), 1 + dice.Below(24), to, 1 + dice.Below(30), 1 + dice.Below(24));
        scene.source.Randomise(dice.Engine());
        Vary(scene, dice);
        if (scene.settings.targetHasPicture != 0)
        {
            scene.target.Randomise(dice.Engine());
        }
        else
        {
            Clear(scene.target);
        }
        CompareWithReference(scene);
        if (HasFatalFailure())
        {
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Motion, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
