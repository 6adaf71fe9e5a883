#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/BlendRows.h"
#include "ReferenceHost/ImageRoutines/ComposeFloats.h"
#include "ReferenceHost/ImageRoutines/ComposeReference.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "TestPictures.h"
#include "Tests/Support/KernelHarness.h"

namespace
{

using ir::ComposeSettings;
using ir::Picture;
using ir::PictureAlpha;
using ir::reference::Pixel;
using TestSupport::AgreesWithScalarTwin;
using TestSupport::KernelBuffer;
using TestSupport::KernelCall;
using TestSupport::KernelCase;
using TestSupport::KernelRole;
using TestSupport::KernelSample;

const TestSupport::KernelTargets kTargets = {TestPictures::Targets, ir::SetCpuTarget};

// Alphas are 0 or not below 1/16, so that quotients don't grow the last bits beyond this.
constexpr double kBound = 2e-5;

void MakeSomeClearAndSomeSolid(float* ioAlphas, std::size_t inCount, std::size_t inStep)
{
    for (std::size_t i = 0; i < inCount; ++i)
    {
        float& alpha = ioAlphas[i * inStep];
        alpha = alpha < 0.25F ? 0.0F : alpha > 0.75F ? 1.0F : 1.0F / 16.0F + alpha;
    }
}

KernelBuffer PixelRow(KernelRole inRole)
{
    KernelBuffer buffer = {.role = inRole, .sample = KernelSample::Float};
    buffer.samples = [](std::size_t inWidth) { return inWidth * 4; };
    buffer.most = 1.0;
    buffer.adjust = [](void* ioRow, std::size_t inSamples)
    { MakeSomeClearAndSomeSolid(static_cast<float*>(ioRow) + 3, inSamples / 4, 4); };
    return buffer;
}

// A row of one component, as rows of floats are: with room for a vector behind.
KernelBuffer ComponentRow(KernelRole inRole, bool inIsAlpha)
{
    KernelBuffer buffer = {.role = inRole, .sample = KernelSample::Float};
    buffer.most = 1.0;
    buffer.slackBytes = 128;
    if (inIsAlpha)
    {
        buffer.adjust = [](void* ioRow, std::size_t inSamples)
        { MakeSomeClearAndSomeSolid(static_cast<float*>(ioRow), inSamples, 1); };
    }
    return buffer;
}

Picture FloatPicture(PictureAlpha inAlpha)
{
    Picture picture;
    picture.sample = ir::Sample::kFloat;
    picture.bits = 32;
    picture.alpha = inAlpha;
    return picture;
}

// A pixel as it is stored, faded and premultiplied.
Pixel Layer(const float* inPixel, PictureAlpha inAlpha, double inShare)
{
    Pixel pixel = {};
    pixel.c[3] = inAlpha == PictureAlpha::kOpaque ? 1.0 : static_cast<double>(inPixel[3]);
    const double factor = inAlpha == PictureAlpha::kStraight ? pixel.c[3] : 1.0;
    for (int i = 0; i < 3; ++i)
    {
        pixel.c[i] = static_cast<double>(inPixel[i]) * factor * inShare;
    }
    pixel.c[3] *= inShare;
    return pixel;
}

struct LayersKind
{
    const char* name;
    PictureAlpha source;
    PictureAlpha target;
};

constexpr LayersKind kKinds[] = {
    {"straight on straight", PictureAlpha::kStraight, PictureAlpha::kStraight},
    {"straight on premultiplied", PictureAlpha::kStraight, PictureAlpha::kPremultiplied},
    {"straight on opaque", PictureAlpha::kStraight, PictureAlpha::kOpaque},
    {"premultiplied on straight", PictureAlpha::kPremultiplied, PictureAlpha::kStraight},
    {"premultiplied on premultiplied", PictureAlpha::kPremultiplied, PictureAlpha::kPremultiplied},
    {"premultiplied on opaque", PictureAlpha::kPremultiplied, PictureAlpha::kOpaque},
    {"opaque on straight", PictureAlpha::kOpaque, PictureAlpha::kStraight},
    {"opaque on opaque", PictureAlpha::kOpaque, PictureAlpha::kOpaque}};

KernelCase LayersCase(const LayersKind& inKind, bool inIsEmpty)
{
    constexpr float kOpacity = 0.7F;
    KernelCase kase;
    kase.name = inKind.name;
    kase.floatBound = kBound;
    kase.buffers = {PixelRow(KernelRole::Source), PixelRow(KernelRole::InOut)};
    kase.target = ir::ComposeFloatsTarget;
    kase.kernel = [=](const KernelCall& inCall)
    {
        ir::FloatLayers layers;
        layers.sourceIsPremultiplied = inKind.source == PictureAlpha::kPremultiplied;
        layers.sourceIsOpaque = inKind.source == PictureAlpha::kOpaque;
        layers.targetIsStraight = inKind.target == PictureAlpha::kStraight;
        layers.targetIsOpaque = inKind.target == PictureAlpha::kOpaque;
        layers.targetIsEmpty = inIsEmpty;
        layers.opacity = kOpacity;
        ir::ComposeFloats(layers, inCall.Row<float>(0), inCall.Row<float>(1), inCall.Width());
    };
    kase.scalar = [=](const KernelCall& inCall)
    {
        ComposeSettings settings;
        settings.targetHasPicture = !inIsEmpty;
        for (std::size_t x = 0; x < inCall.Width(); ++x)
        {
            float* target = inCall.Row<float>(1) + x * 4;
            const Pixel source =
                Layer(inCall.Row<float>(0) + x * 4, inKind.source, static_cast<double>(kOpacity));
            const Pixel backdrop = {{static_cast<double>(target[0]), static_cast<double>(target[1]),
                                     static_cast<double>(target[2]), static_cast<double>(target[3])}};
            const Pixel result =
                ir::reference::ComposePixel(source, backdrop, FloatPicture(inKind.target), settings, 0, 0);
            for (int i = 0; i < 4; ++i)
            {
                const bool isOpaqueAlpha = i == 3 && inKind.target == PictureAlpha::kOpaque;
                target[i] = isOpaqueAlpha ? 1.0F : static_cast<float>(result.c[i]);
            }
        }
    };
    return kase;
}

KernelCase MixCase(const char* inName, bool inIsStraight, bool inIsOpaque,
                   const std::vector<float>& inWeights)
{
    const std::size_t count = inWeights.size();
    std::array<bool, 4> areOpaque = {};
    areOpaque[count - 1] = true;
    KernelCase kase;
    kase.name = inName;
    kase.floatBound = kBound;
    kase.buffers.assign(count, PixelRow(KernelRole::Source));
    kase.buffers.push_back(PixelRow(KernelRole::Target));
    kase.target = ir::ComposeFloatsTarget;
    kase.kernel = [=](const KernelCall& inCall)
    {
        const ir::FloatMix mix = {count, inWeights.data(), areOpaque.data(), inIsStraight, inIsOpaque};
        std::vector<const float*> rows;
        for (std::size_t row = 0; row < count; ++row)
        {
            rows.push_back(inCall.Row<float>(row));
        }
        ir::MixFloats(mix, rows.data(), inCall.Row<float>(count), inCall.Width());
    };
    kase.scalar = [=](const KernelCall& inCall)
    {
        for (std::size_t x = 0; x < inCall.Width(); ++x)
        {
            double sum[4] = {};
            for (std::size_t row = 0; row < count; ++row)
            {
                const float* pixel = inCall.Row<float>(row) + x * 4;
                const double alpha = areOpaque[row] ? 1.0 : static_cast<double>(pixel[3]);
                const double weight = static_cast<double>(inWeights[row]);
                for (int i = 0; i < 3; ++i)
                {
                    sum[i] += static_cast<double>(pixel[i]) * weight * (inIsStraight ? alpha : 1.0);
                }
                sum[3] += alpha * weight;
            }
            float* target = inCall.Row<float>(count) + x * 4;
            for (int i = 0; i < 3; ++i)
            {
                target[i] = static_cast<float>(!inIsStraight   ? sum[i]
                                               : sum[3] == 0.0 ? 0.0
                                                               : sum[i] / sum[3]);
            }
            target[3] = inIsOpaque ? 1.0F : static_cast<float>(sum[3]);
        }
    };
    return kase;
}

KernelCase BlendCase(std::uint32_t inMode, PictureAlpha inTarget)
{
    KernelCase kase;
    kase.name = "blend mode " + std::to_string(inMode);
    kase.floatBound = kBound;
    for (const KernelRole role : {KernelRole::Source, KernelRole::InOut})
    {
        for (int i = 0; i < 4; ++i)
        {
            kase.buffers.push_back(ComponentRow(role, i == 3));
        }
    }
    kase.target = ir::BlendRowsTarget;
    const auto rowOf = [](const KernelCall& inCall, std::size_t inFirst)
    {
        return ir::FloatRow{{inCall.Row<float>(inFirst), inCall.Row<float>(inFirst + 1),
                             inCall.Row<float>(inFirst + 2), inCall.Row<float>(inFirst + 3)}};
    };
    kase.kernel = [=](const KernelCall& inCall)
    {
        ir::BlendPlan plan;
        plan.mode = inMode;
        plan.opacity = 0.75F;
        plan.isStraight = inTarget == PictureAlpha::kStraight;
        plan.x = 3;
        plan.y = 5;
        ir::BlendRow(plan, rowOf(inCall, 0), rowOf(inCall, 4), inCall.Width());
    };
    kase.scalar = [=](const KernelCall& inCall)
    {
        ComposeSettings settings;
        settings.blendMode = inMode;
        const ir::FloatRow above = rowOf(inCall, 0);
        const ir::FloatRow below = rowOf(inCall, 4);
        for (std::size_t x = 0; x < inCall.Width(); ++x)
        {
            Pixel source = {};
            Pixel backdrop = {};
            for (int i = 0; i < 4; ++i)
            {
                source.c[i] = static_cast<double>(above.c[i][x]) * 0.75;
                backdrop.c[i] = static_cast<double>(below.c[i][x]);
            }
            const bool adds = inMode == kIR_Blend_Normal && inTarget == PictureAlpha::kPremultiplied;
            const bool isKept = source.c[3] == 0.0 && backdrop.c[3] != 0.0 && !adds;
            const Pixel result =
                isKept ? backdrop
                       : ir::reference::ComposePixel(source, backdrop, FloatPicture(inTarget), settings,
                                                     3 + static_cast<std::int32_t>(x), 5);
            for (int i = 0; i < 4; ++i)
            {
                below.c[i][x] = static_cast<float>(result.c[i]);
            }
        }
    };
    return kase;
}

}

TEST(ComposeFloats, AgreesWithTheReferenceOnEveryInstructionSet)
{
    for (const LayersKind& kind : kKinds)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(LayersCase(kind, false), kTargets));
        EXPECT_TRUE(AgreesWithScalarTwin(LayersCase(kind, true), kTargets));
    }
}

TEST(MixFloats, AgreesWithTheReferenceOnEveryInstructionSet)
{
    EXPECT_TRUE(AgreesWithScalarTwin(MixCase("two plain", false, false, {0.25F, 0.75F}), kTargets));
    EXPECT_TRUE(AgreesWithScalarTwin(MixCase("two straight", true, false, {0.25F, 0.75F}), kTargets));
    EXPECT_TRUE(AgreesWithScalarTwin(MixCase("three opaque", false, true, {1.5F, -0.75F, 0.5F}), kTargets));
    EXPECT_TRUE(
        AgreesWithScalarTwin(MixCase("four straight", true, false, {0.1F, 0.2F, 0.3F, 0.4F}), kTargets));
}

TEST(BlendRows, AgreeWithTheReferenceOnEveryInstructionSet)
{
    for (std::uint32_t mode = 0; mode < kIR_Blend_Count; ++mode)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(BlendCase(mode, PictureAlpha::kPremultiplied), kTargets));
    }
    for (const std::uint32_t mode : {kIR_Blend_Normal, kIR_Blend_Dissolve, kIR_Blend_Screen})
    {
        EXPECT_TRUE(AgreesWithScalarTwin(BlendCase(mode, PictureAlpha::kStraight), kTargets));
    }
}
