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

constexpr std::size_t kVectorBytes = 128;

struct SampleName
{
    Sample sample;
    KernelSample kernelSample;
    const char* name;
    std::int32_t bits;
    double most; // the code of white
};
constexpr SampleName kSamples[] = {{Sample::kByte, KernelSample::Byte, "bytes", 8, 255.0},
                                   {Sample::kWord, KernelSample::Word, "words", 16, 65535.0},
                                   {Sample::kWord, KernelSample::Word, "ten bits", 10, 1023.0},
                                   {Sample::kFloat, KernelSample::Float, "floats", 32, 1.0}};

// Small contrasts lie where the filter goes from one form to the other, whole ones where it oversteps.
KernelCase Filtering(const SampleName& inSample, bool inIsChroma, std::size_t inStep, double inContrast)
{
    const auto samples = [inStep](std::size_t inWidth) { return inWidth * inStep; };
    const auto taps = [](const KernelCall& inCall) {
        return ir::FilterTaps{inCall.Row(0), inCall.Row(1), inCall.Row(2), inCall.Row(3)};
    };
    const auto kind = [=](const KernelCall& inCall) {
        return ir::FilterSamples{inSample.sample, inSample.bits, inIsChroma, inStep, inCall.Width() * inStep};
    };
    KernelBuffer source = {.sample = inSample.kernelSample, .most = inSample.most * inContrast};
    source.samples = samples;
    KernelBuffer target = {.role = KernelRole::Target, .sample = inSample.kernelSample};
    target.samples = samples;
    const auto kernel = [=](const KernelCall& inCall)
    {
        const std::size_t numbers = inCall.Width() * inStep + 2 * ir::kFilterPad + kVectorBytes;
        std::vector<std::vector<float>> rows(ir::kFilterWorkRows, std::vector<float>(numbers));
        void* const work[ir::kFilterWorkRows] = {rows[0].data(), rows[1].data(), rows[2].data()};
        ir::FilterRow(kind(inCall), taps(inCall), inCall.Row(4), work);
    };
    const auto scalar = [=](const KernelCall& inCall)
    { ir::reference::FilterRow(kind(inCall), taps(inCall), inCall.Row(4)); };
    const double bound = inSample.sample == Sample::kFloat ? 2e-6 : 0.0;
    return {std::string("filtering of ") + inSample.name + (inIsChroma ? " of chroma" : ""),
            {source, source, source, source, target},
            kernel,
            scalar,
            ir::FilterRowsTarget,
            bound};
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

TEST(FieldRows, FilteredRowIsThatOfTheScalarTwin)
{
    for (const SampleName& sample : kSamples)
    {
        for (const bool isChroma : {false, true})
        {
            for (const double contrast : {0.05, 0.2, 1.0})
            {
                EXPECT_TRUE(AgreesWithScalarTwin(Filtering(sample, isChroma, 1, contrast), kTargets));
            }
            EXPECT_TRUE(AgreesWithScalarTwin(Filtering(sample, isChroma, 4, 0.2), kTargets));
        }
    }
}
