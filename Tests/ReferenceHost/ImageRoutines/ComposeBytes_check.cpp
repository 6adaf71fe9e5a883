#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/ComposeBytes.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "TestPictures.h"
#include "Tests/Support/KernelHarness.h"

namespace
{

using ir::ByteLayers;
using ir::ByteMix;
using TestSupport::AgreesWithScalarTwin;
using TestSupport::KernelBuffer;
using TestSupport::KernelCall;
using TestSupport::KernelCase;
using TestSupport::KernelRole;

const TestSupport::KernelTargets kTargets = {TestPictures::Targets, ir::SetCpuTarget};

constexpr std::uint32_t kAlphaBits = 0xFF000000U;
constexpr std::uint32_t kBlackOfVideo = 0x00108080U;

// Stretches of whole alphas too, longer than a vector: those have ways of their own.
void MakeSomeClearAndSomeSolid(void* ioRow, std::size_t inSamples)
{
    auto* row = static_cast<std::uint8_t*>(ioRow);
    for (std::size_t i = 3; i < inSamples; i += 4)
    {
        const bool isSolid = i / 4 / 36 % 2 == 1 || row[i] % 4 == 1;
        row[i] = isSolid ? 255 : row[i] % 4 == 0 ? 0 : row[i];
    }
}

KernelBuffer PixelRow(KernelRole inRole)
{
    KernelBuffer buffer = {.role = inRole};
    buffer.samples = [](std::size_t inWidth) { return inWidth * 4; };
    buffer.adjust = MakeSomeClearAndSomeSolid;
    return buffer;
}

using Compose = void (*)(const ByteLayers&, const std::uint8_t*, const std::uint8_t*, std::uint8_t*,
                         std::size_t);

KernelCase LayersCase(const std::string& inName, const ByteLayers& inLayers, bool inHasCoverage)
{
    KernelCase kase;
    kase.name = inName;
    kase.buffers = {PixelRow(KernelRole::Source), KernelBuffer{}, PixelRow(KernelRole::InOut)};
    const auto call = [inLayers, inHasCoverage](Compose inCompose)
    {
        return [=](const KernelCall& inCall)
        {
            inCompose(inLayers, inCall.Row(0), inHasCoverage ? inCall.Row(1) : nullptr, inCall.Row(2),
                      inCall.Width());
        };
    };
    kase.kernel = call(ir::ComposeBytes);
    kase.scalar = call(ir::reference::ComposeBytes);
    kase.target = ir::ComposeBytesTarget;
    return kase;
}

struct Kinds
{
    const char* name;
    bool sourceIsPremultiplied, sourceIsOpaque, targetIsStraight, targetIsPremultiplied;
};

constexpr Kinds kKinds[] = {{"straight on straight", false, false, true, false},
                            {"straight on premultiplied", false, false, false, true},
                            {"straight on opaque", false, false, false, false},
                            {"premultiplied on straight", true, false, true, false},
                            {"premultiplied on premultiplied", true, false, false, true},
                            {"premultiplied on opaque", true, false, false, false},
                            {"opaque on straight", false, true, true, false},
                            {"opaque on premultiplied", false, true, false, true},
                            {"opaque on opaque", false, true, false, false}};

ByteLayers LayersOf(const Kinds& inKinds)
{
    ByteLayers layers;
    layers.sourceIsPremultiplied = inKinds.sourceIsPremultiplied;
    layers.sourceIsOpaque = inKinds.sourceIsOpaque;
    layers.targetIsStraight = inKinds.targetIsStraight;
    layers.targetIsPremultiplied = inKinds.targetIsPremultiplied;
    return layers;
}

using Mix = void (*)(const ByteMix&, const std::uint8_t* const*, std::uint8_t*, std::size_t);

struct MixKinds
{
    const char* name;
    bool isStraight;
    std::vector<std::uint16_t> shares;
    std::vector<std::uint32_t> alwaysSet;
    std::uint32_t targetSet;
};

KernelCase MixCase(const MixKinds& inKinds)
{
    KernelCase kase;
    kase.name = inKinds.name;
    const std::size_t count = inKinds.shares.size();
    kase.buffers.assign(count, PixelRow(KernelRole::Source));
    kase.buffers.push_back(PixelRow(KernelRole::Target));
    const auto call = [inKinds, count](Mix inMix)
    {
        return [=](const KernelCall& inCall)
        {
            const ByteMix mix = {
                count,         inKinds.shares.data(), inKinds.alwaysSet.data(), inKinds.isStraight,
                kBlackOfVideo, inKinds.targetSet};
            std::vector<const std::uint8_t*> rows;
            for (std::size_t row = 0; row < count; ++row)
            {
                rows.push_back(inCall.Row(row));
            }
            inMix(mix, rows.data(), inCall.Row(count), inCall.Width() * 4);
        };
    };
    kase.kernel = call(ir::MixBytes);
    kase.scalar = call(ir::reference::MixBytes);
    kase.target = ir::MixBytesTarget;
    return kase;
}

class Targets : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

using LinearLight = Targets;
using LaidTitles = Targets;

}

TEST(ComposeBytes, EqualsItsTwinOnEveryInstructionSet)
{
    for (const Kinds& kinds : kKinds)
    {
        for (const std::uint16_t opacity : {std::uint16_t{65535}, std::uint16_t{23456}})
        {
            ByteLayers layers = LayersOf(kinds);
            layers.opacity = opacity;
            EXPECT_TRUE(AgreesWithScalarTwin(LayersCase(kinds.name, layers, false), kTargets));
        }
    }
}

TEST(ComposeBytes, EqualsItsTwinWithCoverageOverBlackOfVideoAndOnNothing)
{
    for (const Kinds& kinds : kKinds)
    {
        ByteLayers layers = LayersOf(kinds);
        layers.opacity = 50000;
        layers.black = kBlackOfVideo;
        EXPECT_TRUE(AgreesWithScalarTwin(LayersCase(kinds.name, layers, true), kTargets));
        layers.targetIsEmpty = true;
        EXPECT_TRUE(AgreesWithScalarTwin(LayersCase(kinds.name, layers, true), kTargets));
    }
}

// Titles: stretches that are clear, nearly clear and whole, on such that are whole and such that aren't.
TEST_P(LaidTitles, EqualTheTwin)
{
    constexpr std::size_t kStretch = 40;
    constexpr std::size_t kPixels = 9 * kStretch + 7;
    std::mt19937 random(1702);
    for (int round = 0; round < 20; ++round)
    {
        std::vector<std::uint8_t> source(kPixels * 4);
        std::vector<std::uint8_t> target(kPixels * 4);
        for (std::size_t i = 0; i < kPixels; ++i)
        {
            for (std::size_t place = i * 4; place < i * 4 + 4; ++place)
            {
                source[place] = static_cast<std::uint8_t>(random());
                target[place] = static_cast<std::uint8_t>(random());
            }
            const unsigned alphas[] = {0, 1U + static_cast<unsigned>(round) % 3, 255};
            source[i * 4 + 3] = static_cast<std::uint8_t>(alphas[i / kStretch % 3]);
            target[i * 4 + 3] = i / (3 * kStretch) % 2 == 0 ? std::uint8_t{255} : target[i * 4 + 3];
        }
        for (const Kinds& kinds : kKinds)
        {
            ByteLayers layers = LayersOf(kinds);
            layers.opacity = static_cast<std::uint16_t>(round % 2 == 0 ? 65535U : random() % 65536);
            std::vector<std::uint8_t> ours = target;
            std::vector<std::uint8_t> twin = target;
            ir::ComposeBytes(layers, source.data(), nullptr, ours.data(), kPixels);
            ir::reference::ComposeBytes(layers, source.data(), nullptr, twin.data(), kPixels);
            ASSERT_EQ(ours, twin) << kinds.name << ", opacity " << layers.opacity;
        }
    }
}

TEST(ComposeBytes, EqualsItsTwinInLinearLight)
{
    for (const Kinds& kinds : kKinds)
    {
        ByteLayers layers = LayersOf(kinds);
        layers.opacity = 50000;
        layers.isLinear = true;
        EXPECT_TRUE(AgreesWithScalarTwin(LayersCase(kinds.name, layers, false), kTargets));
    }
}

TEST(MixBytes, EqualsItsTwinOnEveryInstructionSet)
{
    const std::vector<MixKinds> kinds = {
        {"two plain", false, {40000, 25535}, {0, kAlphaBits}, 0},
        {"two straight", true, {40000, 25535}, {0, kAlphaBits}, 0},
        {"one plain", false, {65535}, {0}, kAlphaBits},
        {"five plain", false, {1, 20000, 20000, 20000, 5534}, {0, 0, kAlphaBits, 0, 0}, kAlphaBits},
        {"five straight", true, {1, 20000, 20000, 20000, 5534}, {0, 0, kAlphaBits, 0, 0}, 0},
        {"more than a whole", false, {65535, 65535, 65535}, {0, 0, 0}, 0},
        {"more than a whole straight", true, {65535, 65535, 65535}, {0, 0, 0}, 0}};
    for (const MixKinds& kind : kinds)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(MixCase(kind), kTargets));
    }
}

TEST_P(LinearLight, IsAtMostOneStepFromTheExactCurveForEveryPairOfBytes)
{
    ByteLayers layers;
    layers.isLinear = true;
    double worst = 0.0;
    for (int alpha = 0; alpha < 256; alpha += 15)
    {
        for (int above = 0; above < 256; ++above)
        {
            std::vector<std::uint8_t> source(1024, static_cast<std::uint8_t>(above));
            std::vector<std::uint8_t> target(1024);
            for (std::size_t i = 0; i < 256; ++i)
            {
                source[i * 4 + 3] = static_cast<std::uint8_t>(alpha);
                std::fill_n(target.begin() + static_cast<std::ptrdiff_t>(i) * 4, 4,
                            static_cast<std::uint8_t>(i));
            }
            ir::ComposeBytes(layers, source.data(), nullptr, target.data(), 256);
            for (std::size_t i = 0; i < 256; ++i)
            {
                const double share = alpha / 255.0;
                const double light = ir::DecodeCurve(above / 255.0) * share +
                                     ir::DecodeCurve(static_cast<double>(i) / 255.0) * (1.0 - share);
                worst = std::max(worst, std::fabs(target[i * 4] - 255.0 * ir::EncodeCurve(light)));
            }
        }
    }
    EXPECT_LT(worst, 0.75); // a quarter of a step beyond rounding: never more than one step from the rounded
}

TEST_P(LinearLight, LeavesWhatIsNotLaidOnAndShowsWhatIsOpaque)
{
    ByteLayers layers;
    layers.isLinear = true;
    std::vector<std::uint8_t> source(1024);
    std::vector<std::uint8_t> target(1024);
    for (std::size_t i = 0; i < 1024; ++i)
    {
        source[i] = i % 4 == 3 ? 0 : static_cast<std::uint8_t>(255 - i / 4);
        target[i] = i % 4 == 3 ? 255 : static_cast<std::uint8_t>(i / 4);
    }
    const std::vector<std::uint8_t> before = target;
    ir::ComposeBytes(layers, source.data(), nullptr, target.data(), 256);
    EXPECT_EQ(before, target);
    layers.sourceIsOpaque = true;
    ir::ComposeBytes(layers, source.data(), nullptr, target.data(), 256);
    for (std::size_t i = 0; i < 1024; ++i)
    {
        ASSERT_EQ(i % 4 == 3 ? 255 : source[i], target[i]) << "byte " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Each, LinearLight, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
INSTANTIATE_TEST_SUITE_P(Each, LaidTitles, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });
