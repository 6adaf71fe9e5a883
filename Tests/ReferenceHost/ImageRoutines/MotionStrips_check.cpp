#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include "MotionScenes.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/MotionStrips.h"
#include "Tests/Support/Scale.h"

namespace
{

using TestPictures::Memory;
using TestPictures::Scene;

class MotionStrips : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

// Rows of a picture, as they lie or made where they're wanted, until there's no memory.
class RowsOf final : public ir::IPictureRows
{
public:
    RowsOf(const Memory& inPicture, bool inIsMade) : mPicture(inPicture), mIsMade(inIsMade) {}

    const std::uint8_t* Rows(std::int32_t inFirst, std::int32_t inCount, std::uint8_t* ioSpace,
                             std::ptrdiff_t& ioRowBytes) const override
    {
        EXPECT_LE(0, inFirst);
        EXPECT_LE(inFirst + inCount, mPicture.View().height);
        if (mCallsLeft-- == 0)
        {
            return nullptr;
        }
        if (!mIsMade)
        {
            ioRowBytes = mPicture.RowBytes();
            return mPicture.View().Row(0, inFirst);
        }
        for (std::int32_t row = 0; row < inCount; ++row)
        {
            std::memcpy(ioSpace + row * ioRowBytes, mPicture.View().Row(0, inFirst + row),
                        static_cast<std::size_t>(ir::RowBytesOf(mPicture.View(), 0)));
        }
        return ioSpace;
    }

    mutable int mCallsLeft = -1;

private:
    const Memory& mPicture;
    bool mIsMade;
};

struct Random
{
    explicit Random(std::uint32_t inSeed) : mEngine(inSeed) {}

    int Below(int inCount) { return static_cast<int>(mEngine() % static_cast<unsigned>(inCount)); }

    std::mt19937 mEngine;
};

// On whole pixels at its size, or at half of it; turned, at half its size and less; and anyhow.
void Vary(Scene& ioScene, Random& ioRandom)
{
    IR_MotionSettings& settings = ioScene.settings;
    const int kind = ioRandom.Below(8);
    settings.scaleX = settings.scaleY = kind < 3   ? 1.0F
                                        : kind < 5 ? 0.5F
                                                   : 0.5F - 0.03F * static_cast<float>(kind);
    if (kind >= 5)
    {
        settings.rotation = ioRandom.Below(8) == 0 ? 0.0 : ioRandom.Below(36000) / 100.0;
        settings.scaleY = ioRandom.Below(2) == 0 ? settings.scaleX : -0.4F;
    }
    ioScene.PutCorner(ioRandom.Below(60) - 20, ioRandom.Below(60) - 20);
    settings.opacity = ioRandom.Below(3) == 0 ? 1.0F : static_cast<float>(ioRandom.Below(101)) / 100.0F;
    settings.targetHasPicture = ioRandom.Below(4) != 0;
    settings.quality = 1 + ioRandom.Below(5);
    settings.highQualitySampling = ioRandom.Below(2) != 0;
}

bool HasWholeAlpha(const Memory& inPicture)
{
    const std::vector<unsigned char> bytes = inPicture.Packed();
    bool isWhole = true;
    for (std::size_t i = 3; i < bytes.size(); i += 4)
    {
        isWhole = isWhole && bytes[i] == 255;
    }
    return isWhole;
}

void MakeWhole(Memory& ioPicture)
{
    const ir::Picture& view = ioPicture.View();
    for (std::int32_t y = 0; y < view.height; ++y)
    {
        for (std::int32_t x = 0; x < view.width; ++x)
        {
            view.Row(0, y)[x * 4 + 3] = 255;
        }
    }
}

std::int32_t DrawStrips(const ir::MotionStrips& inMotion, const RowsOf& inRows, Memory& ioTarget,
                        Random& ioRandom)
{
    const std::int32_t height = ioTarget.View().height;
    std::int32_t status = kIR_Success;
    for (std::int32_t first = 0; first < height && status == kIR_Success;)
    {
        const std::int32_t count =
            inMotion.IsRowByRow() ? std::min(1 + ioRandom.Below(40), height - first) : height;
        status = inMotion.Draw(inRows, first, count, ioTarget.View().Row(0, first), ioTarget.RowBytes());
        first += count;
    }
    return status;
}

TEST_P(MotionStrips, DrawWhatTheWholePictureGives)
{
    static constexpr std::uint32_t kFrom[] = {0x004, 0x008, 0x00C, 0x006, 0x204, 0x104};
    static constexpr std::uint32_t kTo[] = {0x004, 0x008, 0x00C, 0x104, 0x908};
    Random random(1701);
    int rowByRow = 0;
    int turned = 0;
    int kept = 0;
    const std::size_t count = TestSupport::ScaledCount(600);
    for (std::size_t i = 0; i < count; ++i)
    {
        Scene scene(kFrom[random.Below(10) < 8 ? random.Below(3) : random.Below(6)], 1 + random.Below(130),
                    1 + random.Below(110), kTo[random.Below(10) < 8 ? random.Below(3) : random.Below(5)],
                    1 + random.Below(150), 1 + random.Below(120));
        scene.source.Randomise(random.mEngine);
        scene.target.Randomise(random.mEngine);
        const bool isOfBytes = scene.target.View().sample == ir::Sample::kByte;
        if (isOfBytes && random.Below(2) == 0)
        {
            MakeWhole(scene.target);
        }
        Vary(scene, random);
        IR_MotionPicture from = scene.from;
        IR_MotionPicture to = scene.to;
        from.pixels = to.pixels = nullptr;
        const ir::MotionStrips motion(from, to, scene.settings, 18);
        if (!motion.IsTaken())
        {
            continue;
        }
        Memory drawn = scene.target;
        const bool wasWhole = isOfBytes && HasWholeAlpha(drawn);
        ASSERT_EQ(kIR_Success, DrawStrips(motion, RowsOf(scene.source, random.Below(2) == 0), drawn, random));
        ASSERT_EQ(kIR_Success, scene.Draw());
        ASSERT_EQ(scene.target.Packed(), drawn.Packed()) << scene.Text();
        ASSERT_TRUE(drawn.GuardsAreWhole()) << scene.Text();
        ASSERT_TRUE(!wasWhole || !motion.KeepsWholeAlpha() || HasWholeAlpha(drawn)) << scene.Text();
        rowByRow += motion.IsRowByRow() ? 1 : 0;
        turned += motion.IsRowByRow() ? 0 : 1;
        kept += wasWhole && motion.KeepsWholeAlpha() ? 1 : 0;
    }
    const auto part = static_cast<int>(count / 10);
    EXPECT_GT(rowByRow, 3 * part);
    EXPECT_GT(turned, part / 2);
    EXPECT_GT(kept, part);
}

// Every alpha of the source and many opacities: what rounding takes from one side the other gives.
TEST_P(MotionStrips, KeepAlphaWholeWhateverIsLaidOverIt)
{
    for (const std::uint32_t from : {0x004U, 0x008U, 0x00CU})
    {
        for (const std::uint32_t to : {0x004U, 0x008U})
        {
            for (int percent = 0; percent <= 100; ++percent)
            {
                Scene scene(from, 256, 1, to, 256, 1);
                for (std::int32_t x = 0; x < 256; ++x)
                {
                    std::fill_n(scene.source.View().Row(0, 0) + x * 4, 4, static_cast<std::uint8_t>(x));
                    std::fill_n(scene.target.View().Row(0, 0) + x * 4, 4, static_cast<std::uint8_t>(255 - x));
                }
                MakeWhole(scene.target);
                scene.settings.opacity = static_cast<float>(percent) / 100.0F;
                scene.settings.targetHasPicture = 1;
                const ir::MotionStrips motion(scene.from, scene.to, scene.settings, 18);
                ASSERT_TRUE(motion.IsRowByRow() && motion.KeepsWholeAlpha());
                ASSERT_EQ(kIR_Success, motion.Draw(RowsOf(scene.source, false), 0, 1,
                                                   scene.target.View().Row(0, 0), scene.target.RowBytes()));
                ASSERT_TRUE(HasWholeAlpha(scene.target)) << from << " on " << to << ", " << percent;
            }
        }
    }
}

TEST_P(MotionStrips, TellOfRowsThatCannotBeMade)
{
    for (const double rotation : {0.0, 15.0})
    {
        Scene scene(0x00C, 80, 90, 0x004, 100, 100);
        scene.settings.scaleX = scene.settings.scaleY = rotation == 0.0 ? 1.0F : 0.5F;
        scene.settings.rotation = rotation;
        const ir::MotionStrips motion(scene.from, scene.to, scene.settings, 18);
        ASSERT_TRUE(motion.IsTaken());
        EXPECT_EQ(motion.IsRowByRow(), rotation == 0.0);
        const RowsOf rows(scene.source, true);
        for (int calls = 0; calls < 3; ++calls)
        {
            rows.mCallsLeft = calls;
            EXPECT_EQ(kIR_OutOfMemory,
                      motion.Draw(rows, 0, 100, scene.target.View().Row(0, 0), scene.target.RowBytes()));
        }
    }
}

TEST_P(MotionStrips, LeaveTheRestToTheRoutine)
{
    const auto isTaken = [](const Scene& inScene, std::uint32_t inMode = 18)
    { return ir::MotionStrips(inScene.from, inScene.to, inScene.settings, inMode).IsTaken(); };
    Scene scene(0x004, 40, 30, 0x004, 60, 50);
    scene.settings.targetHasPicture = 1;
    ASSERT_TRUE(isTaken(scene));
    EXPECT_FALSE(isTaken(scene, 5)) << "a mode that mixes colours";
    EXPECT_FALSE(isTaken(scene, 1000)) << "no mode";
    scene.settings.scaleX = 0.7F;
    EXPECT_FALSE(isTaken(scene)) << "other sizes";
    scene.settings.scaleX = 1.0F;
    scene.settings.field = kIR_UpperField;
    EXPECT_FALSE(isTaken(scene)) << "fields";
    scene.settings.field = kIR_WholePicture;
    scene.from.fieldType = scene.to.fieldType = 1;
    EXPECT_FALSE(isTaken(scene)) << "fields";
    scene.from.fieldType = 0;
    EXPECT_TRUE(isTaken(scene));
    scene.settings.opacity = std::nanf("");
    EXPECT_FALSE(isTaken(scene)) << "no number";
    EXPECT_FALSE(isTaken(Scene(0x2004, 40, 30, 0x004, 60, 50))) << "upside down";
    EXPECT_FALSE(isTaken(Scene(0x004, 40, 30, 0x2004, 60, 50))) << "upside down";
}

INSTANTIATE_TEST_SUITE_P(Each, MotionStrips, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });

}
