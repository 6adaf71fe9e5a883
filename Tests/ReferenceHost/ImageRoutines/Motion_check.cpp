#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "MotionScenes.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/MotionBytes.h"
#include "ReferenceHost/ImageRoutines/MotionDraw.h"
#include "ReferenceHost/ImageRoutines/MotionTiles.h"
#include "ReferenceHost/ImageRoutines/MotionTurned.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
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

// Integers: one code, and half of one more where colour is divided by alpha after it was rounded. Floats:
// rounding of weights and sums.
double BoundFor(const ir::Picture& inTarget)
{
    return inTarget.sample == ir::Sample::kFloat           ? 4e-5
           : inTarget.alpha == ir::PictureAlpha::kStraight ? 1.501
                                                           : 1.001;
}

class Dice
{
public:
    explicit Dice(std::uint32_t inSeed) : mRandom(inSeed) {}

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

// Bytes of a picture directly behind or in front of a page that must not be touched.
class GuardedPicture
{
public:
    GuardedPicture(const Memory& inLike, bool inIsAtEnd)
        : mRowBytes(static_cast<std::int32_t>(ir::RowBytesOf(inLike.View(), 0)))
    {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const auto bytes =
            static_cast<std::size_t>(mRowBytes) * static_cast<std::size_t>(inLike.View().height);
        const std::size_t pages = (bytes + page - 1) / page * page;
        mBytes = pages + 2 * page;
        mMapping =
            static_cast<unsigned char*>(mmap(nullptr, mBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        EXPECT_EQ(0, mprotect(mMapping + page, pages, PROT_READ | PROT_WRITE));
        mPixels = mMapping + page + (inIsAtEnd ? pages - bytes : 0);
        for (std::size_t i = 0; i < bytes; ++i)
        {
            mPixels[i] = static_cast<unsigned char>(i * 37 % 61); // as floats: small numbers
        }
    }
    ~GuardedPicture() { munmap(mMapping, mBytes); }
    GuardedPicture(const GuardedPicture&) = delete;
    GuardedPicture& operator=(const GuardedPicture&) = delete;

    void Describe(IR_MotionPicture& outPicture) const
    {
        outPicture.pixels = mPixels;
        outPicture.rowBytes = mRowBytes;
    }

private:
    std::int32_t mRowBytes;
    std::size_t mBytes = 0;
    unsigned char* mMapping = nullptr;
    unsigned char* mPixels = nullptr;
};

void GoToExtremes(IR_MotionSettings& ioSettings, Dice& ioDice)
{
    switch (ioDice.Below(10))
    {
    case 0: ioSettings.scaleX = ioSettings.scaleY = 1000.0F; break;
    case 1: ioSettings.scaleX = 1e-6F; break;
    case 2: ioSettings.scaleY = 1e-38F; break;
    case 3: ioSettings.scaleX = 3e38F; break;
    case 4: ioSettings.rotation = 1e12 + 45.0; break;
    case 5: ioSettings.positionX = -1e20F; break;
    case 6: ioSettings.anchorY = 1e9F; break;
    case 7:
        ioSettings.scaleX = 1000.0F;
        ioSettings.scaleY = 0.001F;
        break;
    default: break;
    }
}

// White noise against the mean of the pixels below each pixel of the target that is wholly covered; these
// pixels are squares along the source's axes.
double PsnrToMeans(const Scene& inScene, double inRotation)
{
    constexpr int kSize = 16;
    constexpr int kFine = 8; // places a pixel's side
    const double cosine = std::cos(inRotation * 3.14159265358979323846 / 180.0);
    const double sine = std::sin(inRotation * 3.14159265358979323846 / 180.0);
    double squares = 0.0;
    double count = 0.0;
    for (std::int32_t y = 0; y < inScene.to.height; ++y)
    {
        for (std::int32_t x = 0; x < inScene.to.width; ++x)
        {
            const double dx = (x + 0.5 - inScene.to.width / 2.0) * kSize;
            const double dy = (y + 0.5 - inScene.to.height / 2.0) * kSize;
            const double u = inScene.from.width / 2.0 + dx * cosine + dy * sine;
            const double v = inScene.from.height / 2.0 + dy * cosine - dx * sine;
            if (u < kSize || v < kSize || u > inScene.from.width - kSize || v > inScene.from.height - kSize)
            {
                continue;
            }
            for (int c = 0; c < 3; ++c)
            {
                double sum = 0.0;
                for (int i = 0; i < kSize * kFine * kSize * kFine; ++i)
                {
                    const double across = (i % (kSize * kFine) + 0.5) / kFine - kSize / 2.0;
                    const double down = (i / (kSize * kFine) + 0.5) / kFine - kSize / 2.0;
                    sum += inScene.source.View().Row(
                        0,
                        static_cast<std::int32_t>(v + down))[static_cast<std::ptrdiff_t>(u + across) * 4 + c];
                }
                const double mean = sum / (kSize * kFine * kSize * kFine);
                const double error = mean - inScene.target.View().Row(0, y)[x * 4 + c];
                squares += error * error;
                count += 1.0;
            }
        }
    }
    EXPECT_GT(count, 50.0);
    return 20.0 * std::log10(255.0 / std::sqrt(squares / count));
}

// A wave of six pixels drawn at 3.3 times its size against the wave that it came from.
double RmsOfEnlargedWave(int inQuality, int inHighQuality, double inRotation)
{
    constexpr double kPi = 3.14159265358979323846;
    const auto wave = [](double inU, double inV)
    { return 0.5 + 0.2 * std::sin(inU * 2.0 * kPi / 6.0) + 0.2 * std::cos(inV * 2.0 * kPi / 6.0); };
    Scene scene(0x10C, 60, 60, 0x10C, 64, 64);
    for (std::int32_t y = 0; y < 60; ++y)
    {
        for (std::int32_t x = 0; x < 60; ++x)
        {
            for (int c = 0; c < 4; ++c)
            {
                ir::reference::WritePlane(scene.source.View(), c, x, y, wave(x + 0.5, y + 0.5));
            }
        }
    }
    scene.settings.scaleX = scene.settings.scaleY = 3.3F;
    scene.settings.rotation = inRotation;
    scene.settings.quality = inQuality;
    scene.settings.highQualitySampling = static_cast<std::uint8_t>(inHighQuality);
    EXPECT_EQ(kIR_Success, scene.Draw());
    const double cosine = std::cos(inRotation * kPi / 180.0);
    const double sine = std::sin(inRotation * kPi / 180.0);
    double squares = 0.0;
    for (std::int32_t y = 0; y < 64; ++y)
    {
        for (std::int32_t x = 0; x < 64; ++x)
        {
            const double dx = (x + 0.5 - 32.0) / 3.3;
            const double dy = (y + 0.5 - 32.0) / 3.3;
            const double expected = wave(30.0 + dx * cosine + dy * sine, 30.0 + dy * cosine - dx * sine);
            const double error = ir::reference::ReadPlane(scene.target.View(), 1, x, y) - expected;
            squares += error * error;
        }
    }
    return std::sqrt(squares / (64.0 * 64.0));
}

}

TEST_P(Motion, DrawsWhatTheReferenceDrawsWithAnySettings)
{
    Dice dice(1601);
    const std::size_t count = TestSupport::ScaledCount(400);
    for (std::size_t i = 0; i < count; ++i)
    {
        const auto& codes = FourComponentCodes();
        const std::uint32_t from =
            codes[static_cast<std::size_t>(dice.Below(static_cast<int>(codes.size())))];
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

TEST_P(Motion, DrawsInPartsWhatItDrawsAtOnce)
{
    Dice dice(1602);
    const std::size_t count = TestSupport::ScaledCount(120);
    for (std::size_t i = 0; i < count; ++i)
    {
        const auto& codes = FourComponentCodes();
        const std::uint32_t code = i % 2 == 0 ? TestPictures::kBGRA8 : codes[i % codes.size()];
        Scene scene(code, 1 + dice.Below(90), 1 + dice.Below(40), code, 150, 50);
        scene.source.Randomise(dice.Engine());
        scene.target.Randomise(dice.Engine());
        Vary(scene, dice);
        scene.from.fieldType = 0;
        const Memory parts = scene.target;
        ir::MotionPlan plan = ir::PlanMotion(scene.source.View(), scene.from, kIR_WholePicture, parts.View(),
                                             scene.to, scene.settings.field, nullptr, scene.settings);
        plan.compose = {scene.settings.opacity, 18, scene.settings.targetHasPicture != 0};
        const ir::MotionBox whole = plan.box;
        for (std::int32_t top = whole.top; top < whole.bottom; top += 7)
        {
            for (std::int32_t left = whole.left; left < whole.right; left += 19)
            {
                plan.box = {left, top, std::min(left + 19, whole.right), std::min(top + 7, whole.bottom)};
                ir::DrawMotion(plan);
            }
        }
        ASSERT_EQ(kIR_Success, scene.Draw());
        if (scene.settings.opacity > 0.0F)
        {
            ASSERT_EQ(scene.target.Packed(), parts.Packed()) << scene.Text();
        }
    }
}

TEST_P(Motion, SamplesBytesAsTheTwinDoes)
{
    ASSERT_EQ(GetParam(), ir::MotionBytesTarget());
    Dice dice(1603);
    for (std::int32_t width = 1; width < 68; ++width)
    {
        for (const std::uint32_t code : {TestPictures::kBGRA8, TestPictures::kBGRP8, TestPictures::kBGRX8})
        {
            const std::int32_t rows = 1 + dice.Below(9);
            Memory picture(code, 1 + dice.Below(40), rows, dice.Below(13), dice.Below(64));
            picture.Randomise(dice.Engine());
            const ir::ByteSource source = ir::ByteSourceOf(picture.View());
            const auto unit = static_cast<double>(std::int64_t{1} << 32);
            const ir::BytePlace u = {std::llround(dice.Between(-9.0, source.width + 9.0) * unit),
                                     std::llround(dice.Between(-1.0, 1.0) * unit)};
            const ir::BytePlace v = {std::llround(dice.Between(-3.0, rows + 3.0) * unit),
                                     std::llround(dice.Between(-0.4, 0.4) * unit)};
            Memory ours(TestPictures::kBGRP8, width, 1, 0, dice.Below(64));
            Memory twin(TestPictures::kBGRP8, width, 1);
            auto* to = static_cast<std::uint8_t*>(ours.Pixels());
            auto* expected = static_cast<std::uint8_t*>(twin.Pixels());
            const auto pixels = static_cast<std::size_t>(width);
            ASSERT_EQ(ir::reference::SampleBytes(source, u, v, 3, expected, pixels),
                      ir::SampleBytes(source, u, v, 3, to, pixels));
            ASSERT_EQ(twin.Packed(), ours.Packed()) << width << " of " << TestPictures::Name(code);
            ASSERT_TRUE(ours.GuardsAreWhole());
        }
    }
}

TEST_P(Motion, HalvesBytesAsTheTwinDoes)
{
    Dice dice(1604);
    for (std::int32_t width = 1; width < 68; ++width)
    {
        for (const std::uint32_t code : {TestPictures::kBGRA8, TestPictures::kBGRP8, TestPictures::kBGRX8})
        {
            Memory picture(code, width * 2, 2, dice.Below(13), dice.Below(64));
            picture.Randomise(dice.Engine());
            const ir::ByteSource source = ir::ByteSourceOf(picture.View());
            Memory ours(TestPictures::kBGRP8, width, 1, 0, dice.Below(64));
            Memory twin(TestPictures::kBGRP8, width, 1);
            const std::uint8_t* lower = source.pixels + source.stride;
            const auto pixels = static_cast<std::size_t>(width);
            ASSERT_EQ(ir::reference::HalveBytes(source, source.pixels, lower,
                                                static_cast<std::uint8_t*>(twin.Pixels()), pixels),
                      ir::HalveBytes(source, source.pixels, lower, static_cast<std::uint8_t*>(ours.Pixels()),
                                     pixels));
            ASSERT_EQ(twin.Packed(), ours.Packed()) << width << " of " << TestPictures::Name(code);
            ASSERT_TRUE(ours.GuardsAreWhole());
        }
    }
}

TEST_P(Motion, WidensBytesAsTheTwinDoes)
{
    ASSERT_EQ(GetParam(), ir::MotionTurnedTarget());
    Dice dice(1609);
    for (std::int32_t width = 1; width < 40; ++width)
    {
        for (const std::uint32_t code : {TestPictures::kBGRA8, TestPictures::kBGRP8, TestPictures::kBGRX8})
        {
            Memory picture(code, width * 2, 2, dice.Below(13), dice.Below(64));
            picture.Randomise(dice.Engine());
            const ir::ByteSource source = ir::ByteSourceOf(picture.View());
            const std::uint8_t* lower = source.pixels + source.stride;
            const auto components = static_cast<std::size_t>(width) * 4;
            std::vector<std::int16_t> ours(components + 1, -7);
            std::vector<std::int16_t> twin(components + 1, -7);
            ir::reference::WidenBytes(source, source.pixels, twin.data(), components / 4);
            ir::WidenBytes(source, source.pixels, ours.data(), components / 4);
            ASSERT_EQ(twin, ours) << width << " of " << TestPictures::Name(code);
            ir::reference::HalveWidely(source, source.pixels, lower, twin.data(), components / 4);
            ir::HalveWidely(source, source.pixels, lower, ours.data(), components / 4);
            ASSERT_EQ(twin, ours) << width << " of " << TestPictures::Name(code);
        }
    }
}

TEST_P(Motion, FiltersTurnedBytesAsTheTwinDoes)
{
    struct Way
    {
        ir::MotionFilter filter;
        double width;
    };
    static constexpr Way kWays[] = {{ir::MotionFilter::kArea, 1.0},    {ir::MotionFilter::kArea, 2.3},
                                    {ir::MotionFilter::kBicubic, 1.0}, {ir::MotionFilter::kBicubic, 1.7},
                                    {ir::MotionFilter::kLanczos, 1.0}, {ir::MotionFilter::kLanczos, 1.8}};
    constexpr std::int32_t kSide = 60;
    Dice dice(1610);
    std::vector<std::int16_t> pixels(kSide * kSide * 4);
    for (const Way& way : kWays)
    {
        const std::int32_t taps = ir::TurnedTaps::TapsFor(way.filter, way.width);
        ASSERT_LE(taps, ir::TurnedTaps::kMostTaps);
        const ir::TurnedTaps weights(way.filter, way.width, taps);
        EXPECT_EQ(weights.IsLinear(), way.width == 1.0 && way.filter == ir::MotionFilter::kArea);
        for (std::int32_t count = 1; count < 40; ++count)
        {
            const bool isOpaque = count % 2 == 0;
            for (std::size_t i = 0; i < pixels.size(); ++i)
            {
                const int code = i % 4 != 3 ? 255 * dice.Below(2) : isOpaque ? 255 : 200;
                pixels[i] = static_cast<std::int16_t>(code << 7);
            }
            const auto unit = static_cast<double>(std::int64_t{1} << 32);
            const ir::TurnedGrid grid = {pixels.data(), kSide * 4, -30, -30};
            const ir::TurnedAxis u = {
                {std::llround(dice.Between(-2.0, 2.0) * unit), std::llround(dice.Between(-0.5, 0.5) * unit)},
                &weights};
            const ir::TurnedAxis v = {
                {std::llround(dice.Between(-2.0, 2.0) * unit), std::llround(dice.Between(-0.5, 0.5) * unit)},
                &weights};
            const auto bytes = static_cast<std::size_t>(count) * 4;
            std::vector<std::uint8_t> ours(bytes + 1, 77);
            std::vector<std::uint8_t> twin(bytes + 1, 77);
            ASSERT_EQ(isOpaque, ir::reference::SampleTurned(grid, u, v, 0, twin.data(), bytes / 4));
            ASSERT_EQ(isOpaque, ir::SampleTurned(grid, u, v, 0, ours.data(), bytes / 4));
            ASSERT_EQ(twin, ours) << count << " by " << taps;
        }
    }
}

// Turned ones: of every quality, enlarged, reduced a little, and so much that they are halved first.
TEST_P(Motion, TurnsBytesAsTheReferenceDoes)
{
    static constexpr std::uint32_t kFrom[] = {0x004, 0x008, 0x00C, 0x006, 0x00A, 0x2004};
    static constexpr std::uint32_t kTo[] = {0x004, 0x008, 0x00C, 0x00E};
    Dice dice(1611);
    std::size_t taken = 0;
    const std::size_t count = TestSupport::ScaledCount(300);
    for (std::size_t i = 0; i < count; ++i)
    {
        const int size = i % 20 == 0 ? 4 : 1; // some go over several tiles
        Scene scene(kFrom[i % 6], 1 + dice.Below(80), 1 + dice.Below(60), kTo[dice.Below(4)],
                    1 + dice.Below(50 * size), 1 + dice.Below(40 * size));
        scene.source.Randomise(dice.Engine());
        scene.target.Randomise(dice.Engine());
        scene.settings.scaleX = static_cast<float>(dice.Between(0.2, 1.3));
        scene.settings.scaleY = dice.Below(3) == 0 ? dice.Scale() : scene.settings.scaleX;
        if (dice.Below(3) == 0)
        {
            scene.settings.scaleX = scene.settings.scaleY = dice.Below(2) == 0 ? 0.5F : 0.25F;
        }
        scene.settings.rotation = dice.Below(4) == 0 ? 90.0 : dice.Between(-360.0, 360.0);
        scene.settings.opacity = dice.Below(2) == 0 ? 1.0F : 0.7F;
        scene.settings.antiFlicker = dice.Below(4) == 0 ? dice.Between(0.0, 1.0) : 0.0;
        scene.settings.targetHasPicture = dice.Below(2);
        scene.settings.quality = 3 + dice.Below(3);
        if (scene.settings.targetHasPicture == 0)
        {
            Clear(scene.target);
        }
        taken += ir::TakesTurnedBytes(ir::PlanMotion(scene.source.View(), scene.from, kIR_WholePicture,
                                                     scene.target.View(), scene.to, kIR_WholePicture, nullptr,
                                                     scene.settings))
                     ? 1
                     : 0;
        CompareWithReference(scene);
        if (HasFatalFailure())
        {
            return;
        }
    }
    EXPECT_GE(taken, count / 3); // the others are of two codings, or a filter is too wide
}

TEST_P(Motion, HalvesAndShiftsAsTheReferenceDoes)
{
    Dice dice(1605);
    for (const std::uint32_t from : {0x004U, 0x008U, 0x00CU, 0x006U, 0x00AU, 0x2004U})
    {
        for (const std::uint32_t to : {0x004U, 0x008U, 0x00CU, 0x006U, 0x00EU, 0x2004U})
        {
            for (const float scale : {0.5F, 1.0F})
            {
                Scene scene(from, 2 * (1 + dice.Below(40)), 2 * (1 + dice.Below(9)), to, 60, 12);
                scene.source.Randomise(dice.Engine());
                scene.target.Randomise(dice.Engine());
                scene.settings.scaleX = scene.settings.scaleY = scale;
                scene.settings.opacity = dice.Below(2) == 0 ? 1.0F : 0.4F;
                scene.settings.targetHasPicture = dice.Below(2);
                scene.PutCorner(dice.Below(40) - 15, dice.Below(9) - 4);
                CompareWithReference(scene);
            }
        }
    }
}

// At every quality, of noise at a sixteenth of its size.
void ExpectMeans(std::uint32_t inSeed, std::initializer_list<double> inRotations, int inWidth, int inHeight)
{
    Dice dice(inSeed);
    for (const double rotation : inRotations)
    {
        for (int quality = 1; quality <= 5; ++quality)
        {
            Scene scene(TestPictures::kBGRX8, inWidth, inHeight, TestPictures::kBGRX8, 16, 16);
            scene.source.Randomise(dice.Engine());
            scene.settings.scaleX = scene.settings.scaleY = 1.0F / 16.0F;
            scene.settings.rotation = rotation;
            scene.settings.quality = quality;
            ASSERT_EQ(kIR_Success, scene.Draw());
            EXPECT_GE(PsnrToMeans(scene, rotation), 45.0)
                << "turned by " << rotation << ", quality " << quality;
        }
    }
}

TEST_P(Motion, FiltersSmallPicturesToTheirMean)
{
    ExpectMeans(1606, {0.0, 90.0, 180.0}, 256, 192);
}

TEST_P(Motion, FiltersSmallTurnedPicturesToTheirMean)
{
    ExpectMeans(1607, {15.0, 33.0, 45.0}, 384, 384);
}

// Waves of a picture at half its size, turned: those that the target can hold are kept, and of those that are
// finer than its pixels little is left.
TEST_P(Motion, KeepsDetailButNoPatternsOfTurnedPicturesAtHalfSize)
{
    constexpr double kTurn = 15.0 * 3.14159265358979323846 / 180.0;
    const auto drawn = [](double inPeriod, double& outKept, double& outRest)
    {
        Scene scene(TestPictures::kBGRX8, 160, 160, TestPictures::kBGRX8, 60, 60);
        const double step = 2.0 * 3.14159265358979323846 / inPeriod;
        for (std::int32_t y = 0; y < 160; ++y)
        {
            for (std::int32_t x = 0; x < 160; ++x)
            {
                for (int c = 0; c < 4; ++c)
                {
                    ir::reference::WritePlane(scene.source.View(), c, x, y,
                                              0.5 + 0.4 * std::sin((x + 0.5) * step));
                }
            }
        }
        scene.settings.scaleX = scene.settings.scaleY = 0.5F;
        scene.settings.rotation = 15.0;
        scene.settings.quality = 4;
        ASSERT_EQ(kIR_Success, scene.Draw());
        double along = 0.0;
        double squares = 0.0;
        double waves = 0.0;
        for (std::int32_t y = 0; y < 60; ++y)
        {
            for (std::int32_t x = 0; x < 60; ++x)
            {
                const double dx = (x + 0.5 - 30.0) * 2.0;
                const double dy = (y + 0.5 - 30.0) * 2.0;
                const double wave = std::sin((80.0 + dx * std::cos(kTurn) + dy * std::sin(kTurn)) * step);
                const double value = (ir::reference::ReadPlane(scene.target.View(), 1, x, y) - 0.5) / 0.4;
                along += value * wave;
                squares += value * value;
                waves += wave * wave;
            }
        }
        outKept = along / waves;
        outRest = std::sqrt(std::max(0.0, (squares - outKept * along) / (60.0 * 60.0)));
    };
    double kept = 0.0;
    double rest = 0.0;
    drawn(10.0, kept, rest);
    EXPECT_GT(kept, 0.7);
    EXPECT_LT(rest, 0.12);
    drawn(2.2, kept, rest);
    EXPECT_LT(std::fabs(kept), 0.3);
    EXPECT_LT(rest, 0.15);
}

TEST_P(Motion, ShowsFineDetailBetterAtEachStepOfQuality)
{
    double previous = 1e9;
    for (const int quality : {3, 4, 5})
    {
        const double error = RmsOfEnlargedWave(quality, 1, 0.0);
        EXPECT_LT(error, previous * 0.7) << "quality " << quality;
        EXPECT_NEAR(error, RmsOfEnlargedWave(quality, 1, 7.0), error * 0.5 + 1e-3);
        EXPECT_EQ(RmsOfEnlargedWave(3, 1, 0.0), RmsOfEnlargedWave(quality, 0, 0.0));
        previous = error;
    }
}

TEST_P(Motion, StaysWithinItsPictures)
{
    Dice dice(1608);
    const std::size_t count = TestSupport::ScaledCount(300);
    for (std::size_t i = 0; i < count; ++i)
    {
        const auto& codes = FourComponentCodes();
        const auto any = [&]
        { return codes[static_cast<std::size_t>(dice.Below(static_cast<int>(codes.size())))]; };
        Scene scene(i % 2 == 0 ? 0x004 : any(), 1 + dice.Below(70), 1 + dice.Below(40),
                    i % 2 == 0 ? 0x004 : any(), 1 + dice.Below(70), 1 + dice.Below(40));
        Vary(scene, dice);
        GoToExtremes(scene.settings, dice);
        for (const bool isAtEnd : {false, true})
        {
            const GuardedPicture source(scene.source, isAtEnd);
            const GuardedPicture target(scene.target, isAtEnd);
            IR_MotionPicture from = scene.from;
            IR_MotionPicture to = scene.to;
            source.Describe(from);
            target.Describe(to);
            ASSERT_EQ(kIR_Success, IR_Motion(&from, &to, nullptr, &scene.settings)) << scene.Text();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Motion, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
