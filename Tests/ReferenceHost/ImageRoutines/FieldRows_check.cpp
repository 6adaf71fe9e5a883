#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/FieldRows.h"
#include "TestPictures.h"
#include "Tests/Support/KernelHarness.h"

namespace
{

using ir::ComponentRows;
using ir::FieldRowKind;
using ir::Sample;
using TestSupport::AgreesWithScalarTwin;
using TestSupport::KernelBuffer;
using TestSupport::KernelCall;
using TestSupport::KernelCase;
using TestSupport::KernelRole;
using TestSupport::KernelSample;

const TestSupport::KernelTargets kTargets = {TestPictures::Targets, ir::SetCpuTarget};

// Sums of alphas below this would make the quotients of noise, which no bound holds.
constexpr double kFloatBound = 1e-5;

struct Kind
{
    FieldRowKind kind;
    const char* name;
    KernelSample sample;
    std::size_t samplesAPixel;
};
constexpr Kind kKinds[] = {
    {FieldRowKind::kBytes, "bytes", KernelSample::Byte, 1},
    {FieldRowKind::kWords, "words", KernelSample::Word, 1},
    {FieldRowKind::kFloats, "floats", KernelSample::Float, 1},
    {FieldRowKind::kTenBits, "ten bits", KernelSample::Int, 1},
    {FieldRowKind::kStraightBytes, "straight bytes", KernelSample::Byte, 4},
    {FieldRowKind::kStraightWords, "straight words", KernelSample::Word, 4},
    {FieldRowKind::kStraightFloats, "straight floats", KernelSample::Float, 4},
};

// Alphas that are often equal in all rows, or 0, beside those that aren't; stretches of equal ones are long
// enough to take the way of vectors that have nothing else.
template <class T>
void SetAlphas(void* ioRow, std::size_t inSamples, T inWhole)
{
    T* const row = static_cast<T*>(ioRow);
    for (std::size_t i = 3; i < inSamples; i += 4)
    {
        const std::size_t pixel = i / 4;
        const bool isEqual = pixel / 64 % 2 == 1 || pixel % 5 == 0;
        row[i] = isEqual ? static_cast<T>(inWhole / 4) : pixel % 7 == 0 ? T{0} : row[i];
    }
}

void Adjust(const Kind& inKind, void* ioRow, std::size_t inSamples)
{
    switch (inKind.kind)
    {
    case FieldRowKind::kStraightBytes: return SetAlphas<std::uint8_t>(ioRow, inSamples, 255);
    case FieldRowKind::kStraightWords: return SetAlphas<std::uint16_t>(ioRow, inSamples, 65535);
    case FieldRowKind::kStraightFloats:
    {
        auto* row = static_cast<float*>(ioRow);
        for (std::size_t i = 3; i < inSamples; i += 4)
        {
            row[i] = row[i] < 0.01F ? 0.0F : row[i];
        }
        return SetAlphas<float>(ioRow, inSamples, 1.0F);
    }
    default: return;
    }
}

KernelBuffer RowOf(const Kind& inKind, KernelRole inRole)
{
    KernelBuffer buffer = {.role = inRole, .sample = inKind.sample};
    buffer.samples = [count = inKind.samplesAPixel](std::size_t inWidth) { return inWidth * count; };
    buffer.most = inKind.sample == KernelSample::Int ? 0x3FFFFFFF : 0;
    buffer.adjust = [inKind](void* ioRow, std::size_t inSamples) { Adjust(inKind, ioRow, inSamples); };
    return buffer;
}

std::size_t BytesOf(const Kind& inKind, const KernelCall& inCall)
{
    const std::size_t bytes = inKind.sample == KernelSample::Byte   ? 1
                              : inKind.sample == KernelSample::Word ? 2
                                                                    : 4;
    return inCall.Width() * inKind.samplesAPixel * bytes;
}

std::vector<KernelBuffer> Buffers(const Kind& inKind, std::size_t inSources, KernelRole inLast)
{
    std::vector<KernelBuffer> buffers(inSources, RowOf(inKind, KernelRole::Source));
    buffers.push_back(RowOf(inKind, inLast));
    return buffers;
}

std::string TargetOfRows()
{
    return ir::FieldRowsTarget();
}

// Rows of components for a kernel that finds pads around them: kEdgePad samples in front, as many behind.
constexpr std::size_t kVectorBytes = 128;

// inMost 3 leaves four values, so that slopes tie and win by turns.
KernelBuffer PaddedComponents(KernelSample inSample, std::size_t inComponents, double inMost)
{
    KernelBuffer buffer = {
        .sample = inSample, .rows = inComponents, .most = inMost, .slackBytes = kVectorBytes};
    buffer.samples = [](std::size_t inWidth) { return inWidth + 2 * ir::kEdgePad; };
    if (inSample == KernelSample::Float && inMost == 3.0)
    {
        buffer.adjust = [](void* ioRow, std::size_t inSamples)
        {
            auto* row = static_cast<float*>(ioRow);
            std::transform(row, row + inSamples, row, [](float inValue) { return std::floor(inValue); });
        };
    }
    return buffer;
}

KernelBuffer SelectedComponents(KernelSample inSample, std::size_t inComponents)
{
    return {.role = KernelRole::Target, .sample = inSample, .rows = inComponents, .slackBytes = kVectorBytes};
}

ComponentRows ComponentsOf(const KernelCall& inCall, std::size_t inBuffer, std::size_t inComponents,
                           std::size_t inSkippedBytes)
{
    ComponentRows rows = {};
    for (std::size_t i = 0; i < inComponents; ++i)
    {
        rows.c[i] = inCall.Row(inBuffer, i) + inSkippedBytes;
    }
    return rows;
}

struct SampleName
{
    Sample sample;
    KernelSample kernelSample;
    const char* name;
    std::size_t bytes;
};
constexpr SampleName kSamples[] = {{Sample::kByte, KernelSample::Byte, "bytes", 1},
                                   {Sample::kWord, KernelSample::Word, "words", 2},
                                   {Sample::kFloat, KernelSample::Float, "floats", 4}};

KernelCase EdgeSelection(const SampleName& inSample, std::size_t inComponents, double inMost)
{
    const auto call = [=](const KernelCall& inCall, bool inIsScalar)
    {
        const std::size_t pad = ir::kEdgePad * inSample.bytes;
        const ComponentRows above = ComponentsOf(inCall, 0, inComponents, pad);
        const ComponentRows below = ComponentsOf(inCall, 1, inComponents, pad);
        const ComponentRows outAbove = ComponentsOf(inCall, 2, inComponents, 0);
        const ComponentRows outBelow = ComponentsOf(inCall, 3, inComponents, 0);
        std::vector<std::vector<float>> costs(5, std::vector<float>(inCall.Width() + 2 + kVectorBytes));
        void* const rows[5] = {costs[0].data(), costs[1].data(), costs[2].data(), costs[3].data(),
                               costs[4].data()};
        inIsScalar ? ir::reference::SelectAlongEdges(inSample.sample, inComponents, above, below, outAbove,
                                                     outBelow, inCall.Width())
                   : ir::SelectAlongEdges(inSample.sample, inComponents, above, below, outAbove, outBelow,
                                          inCall.Width(), rows);
    };
    KernelCase selection = {std::string("edges of ") + inSample.name, {}, {}, {}, ir::EdgeRowsTarget, 0.0};
    selection.buffers = {PaddedComponents(inSample.kernelSample, inComponents, inMost),
                         PaddedComponents(inSample.kernelSample, inComponents, inMost),
                         SelectedComponents(inSample.kernelSample, inComponents),
                         SelectedComponents(inSample.kernelSample, inComponents)};
    selection.kernel = [call](const KernelCall& inCall) { call(inCall, false); };
    selection.scalar = [call](const KernelCall& inCall) { call(inCall, true); };
    return selection;
}

// Pixels to components and back; the scalar twin is a copy of the samples one by one.
KernelCase Splitting(const SampleName& inSample, bool inIsJoin)
{
    KernelBuffer pixels = {.role = inIsJoin ? KernelRole::Target : KernelRole::Source,
                           .sample = inSample.kernelSample};
    pixels.samples = [](std::size_t inWidth) { return inWidth * 4; };
    KernelBuffer rows = {.role = inIsJoin ? KernelRole::Source : KernelRole::Target,
                         .sample = inSample.kernelSample,
                         .rows = 4,
                         .slackBytes = kVectorBytes};
    const auto scalar = [=](const KernelCall& inCall)
    {
        for (std::size_t i = 0; i < inCall.Width() * 4; ++i)
        {
            unsigned char* pixel = inCall.Row(0) + i * inSample.bytes;
            unsigned char* component = inCall.Row(1, i % 4) + i / 4 * inSample.bytes;
            std::memcpy(inIsJoin ? pixel : component, inIsJoin ? component : pixel, inSample.bytes);
        }
    };
    const auto kernel = [=](const KernelCall& inCall)
    {
        const ComponentRows components = ComponentsOf(inCall, 1, 4, 0);
        inIsJoin ? ir::JoinFourRow(inSample.sample, components, inCall.Row(0), inCall.Width())
                 : ir::SplitFourRow(inSample.sample, inCall.Row(0), components, inCall.Width());
    };
    return {std::string(inIsJoin ? "joining " : "splitting ") + inSample.name,
            {pixels, rows},
            kernel,
            scalar,
            ir::EdgeRowsTarget};
}

}

TEST(FieldRows, MeanOfTwoRowsIsThatOfTheScalarTwin)
{
    for (const Kind& kind : kKinds)
    {
        const auto mean = [&kind](auto inFunction)
        {
            return [&kind, inFunction](const KernelCall& inCall)
            { inFunction(kind.kind, inCall.Row(0), inCall.Row(1), inCall.Row(2), BytesOf(kind, inCall)); };
        };
        EXPECT_TRUE(
            AgreesWithScalarTwin({std::string("mean of ") + kind.name, Buffers(kind, 2, KernelRole::Target),
                                  mean(ir::MeanRow), mean(ir::reference::MeanRow), TargetOfRows, kFloatBound},
                                 kTargets));
    }
}

TEST(FieldRows, SmoothedRowIsThatOfTheScalarTwin)
{
    for (const Kind& kind : kKinds)
    {
        const auto smooth = [&kind](auto inFunction)
        {
            return [&kind, inFunction](const KernelCall& inCall) {
                inFunction(kind.kind, inCall.Row(0), inCall.Row(1), inCall.Row(2), inCall.Row(3),
                           BytesOf(kind, inCall));
            };
        };
        EXPECT_TRUE(AgreesWithScalarTwin({std::string("smoothing of ") + kind.name,
                                          Buffers(kind, 3, KernelRole::Target), smooth(ir::SmoothRow),
                                          smooth(ir::reference::SmoothRow), TargetOfRows, kFloatBound},
                                         kTargets));
    }
}

TEST(FieldRows, HeldRowIsThatOfTheScalarTwin)
{
    for (const Kind& kind : kKinds)
    {
        const auto hold = [&kind](auto inFunction)
        {
            return [&kind, inFunction](const KernelCall& inCall)
            { inFunction(kind.kind, inCall.Row(0), inCall.Row(1), inCall.Row(2), BytesOf(kind, inCall)); };
        };
        EXPECT_TRUE(AgreesWithScalarTwin({std::string("holding of ") + kind.name,
                                          Buffers(kind, 2, KernelRole::InOut), hold(ir::HoldBetweenRows),
                                          hold(ir::reference::HoldBetweenRows), TargetOfRows, 0.0},
                                         kTargets));
    }
}

TEST(FieldRows, EdgesAreThoseOfTheScalarTwin)
{
    for (const SampleName& sample : kSamples)
    {
        const bool isFloat = sample.sample == Sample::kFloat;
        const double whole = isFloat ? 1.5 : sample.sample == Sample::kByte ? 255.0 : 65535.0;
        for (const std::size_t components : {1U, 2U, 4U})
        {
            EXPECT_TRUE(AgreesWithScalarTwin(EdgeSelection(sample, components, 3.0), kTargets));
            EXPECT_TRUE(AgreesWithScalarTwin(EdgeSelection(sample, components, whole), kTargets));
        }
    }
}

TEST(FieldRows, PixelsFallIntoComponentsAndComeTogetherAgain)
{
    for (const SampleName& sample : kSamples)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(Splitting(sample, false), kTargets));
        EXPECT_TRUE(AgreesWithScalarTwin(Splitting(sample, true), kTargets));
    }
}
