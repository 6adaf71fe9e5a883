#include <algorithm>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/HalvingKernels.h"
#include "ReferenceHost/ImageRoutines/ScaleGeometry.h"
#include "TestPictures.h"
#include "Tests/Support/KernelHarness.h"

// The fixed point of the halving kernels once more, a sample at a time.
namespace
{

using ir::PairWeights;
using ir::QuarterWeights;
using TestSupport::AgreesWithScalarTwin;
using TestSupport::KernelBuffer;
using TestSupport::KernelCall;
using TestSupport::KernelCase;
using TestSupport::KernelRole;
using TestSupport::KernelSample;

const TestSupport::KernelTargets kTargets = {TestPictures::Targets, ir::SetCpuTarget};

// What the filters mirror beyond the ends of a row.
constexpr std::size_t kBeyond = ir::kMostPairs;
constexpr std::size_t kVectorBytes = 128;

constexpr PairWeights kFilters[] = {
    {2, {12288, 4096}},
    {4, {16000, 2500, -1900, -216}},
    {6, {19800, -1900, -2300, 700, 100, -16}},
};

std::string TargetOfKernels()
{
    return ir::HalvingTarget();
}

std::int32_t Product(std::int32_t inSum, std::int32_t inWeight)
{
    return (inSum * inWeight + 16384) >> 15;
}

KernelBuffer Padded(KernelRole inRole, double inLeast, double inMost)
{
    KernelBuffer buffer = {.role = inRole, .sample = KernelSample::Word, .least = inLeast, .most = inMost};
    buffer.samples = [](std::size_t inWidth) { return inWidth + 2 * kBeyond; };
    return buffer;
}

template <class T>
T* Inside(const KernelCall& inCall, std::size_t inBuffer)
{
    return inCall.Row<T>(inBuffer) + kBeyond;
}

struct Depth
{
    const char* name;
    bool isWord;
    int bits;
};

std::int16_t SumOfColumn(const ir::RowPairs& inRows, const PairWeights& inWeights, std::size_t inColumn)
{
    std::int32_t sum = 0;
    for (int pair = 0; pair < inWeights.pairs; ++pair)
    {
        std::int32_t both = 0;
        for (const void* row : {inRows.rows[2 * pair], inRows.rows[2 * pair + 1]})
        {
            both += inRows.isWord ? static_cast<const std::uint16_t*>(row)[inColumn]
                                  : static_cast<const std::uint8_t*>(row)[inColumn];
        }
        sum += Product(both << (ir::kSumBits - inRows.bits), inWeights.weights[pair]);
    }
    return static_cast<std::int16_t>(sum);
}

void SumOneByOne(const ir::RowPairs& inRows, const PairWeights& inWeights, const KernelCall& inCall)
{
    const auto count = static_cast<std::int32_t>(inCall.Width());
    const auto beyond = static_cast<std::int32_t>(kBeyond);
    for (std::int32_t i = -beyond; i < count + beyond; ++i)
    {
        for (std::int32_t parity = 0; parity < 2; ++parity)
        {
            const auto column = static_cast<std::size_t>(ir::Mirrored(2 * i + parity, 2 * count));
            Inside<std::int16_t>(inCall, 1 + static_cast<std::size_t>(parity))[i] =
                SumOfColumn(inRows, inWeights, column);
        }
    }
}

KernelCase SummingRows(const Depth& inDepth, const PairWeights& inWeights)
{
    KernelBuffer rows = {.sample = inDepth.isWord ? KernelSample::Word : KernelSample::Byte,
                         .rows = static_cast<std::size_t>(2 * inWeights.pairs)};
    rows.samples = [](std::size_t inWidth) { return 2 * inWidth; };
    rows.most = (1 << inDepth.bits) - 1;
    const auto pairs = [=](const KernelCall& inCall)
    {
        ir::RowPairs all = {{}, inDepth.isWord, inDepth.bits};
        for (std::size_t i = 0; i < static_cast<std::size_t>(2 * inWeights.pairs); ++i)
        {
            all.rows[i] = inCall.Row(0, i);
        }
        return all;
    };
    return {std::string("rows summed of ") + inDepth.name,
            {rows, Padded(KernelRole::Target, 0, 0), Padded(KernelRole::Target, 0, 0)},
            [=](const KernelCall& inCall)
            {
                ir::SumRows(pairs(inCall), inWeights, Inside<std::int16_t>(inCall, 1),
                            Inside<std::int16_t>(inCall, 2), inCall.Width());
            },
            [=](const KernelCall& inCall) { SumOneByOne(pairs(inCall), inWeights, inCall); },
            TargetOfKernels};
}

// Sums with their pads, and a row that whole vectors may overrun.
KernelBuffer Sums()
{
    KernelBuffer buffer = Padded(KernelRole::Source, 0, 8191);
    buffer.slackBytes = kVectorBytes;
    return buffer;
}

KernelBuffer Row(std::size_t inSamplesAPixel)
{
    KernelBuffer buffer = {
        .role = KernelRole::Target, .sample = KernelSample::Word, .slackBytes = 2 * kVectorBytes};
    buffer.samples = [=](std::size_t inWidth) { return inWidth * inSamplesAPixel; };
    return buffer;
}

KernelCase SummingColumns(const PairWeights& inWeights)
{
    const auto scalar = [=](const KernelCall& inCall)
    {
        const std::int16_t* const columns[2] = {Inside<std::int16_t>(inCall, 0),
                                                Inside<std::int16_t>(inCall, 1)};
        const auto at = [&](std::ptrdiff_t inColumn) -> std::int32_t
        { return columns[inColumn & 1][(inColumn - (inColumn & 1)) / 2]; };
        for (std::size_t i = 0; i < inCall.Width(); ++i)
        {
            const auto place = static_cast<std::ptrdiff_t>(2 * i);
            std::int32_t sum = 0;
            for (int pair = 0; pair < inWeights.pairs; ++pair)
            {
                sum += Product(at(place - pair) + at(place + 1 + pair), inWeights.weights[pair]);
            }
            inCall.Row<std::uint16_t>(2)[i] = static_cast<std::uint16_t>(std::clamp(sum, -4096, 8191));
        }
    };
    return {"columns summed",
            {Sums(), Sums(), Row(1)},
            [=](const KernelCall& inCall)
            {
                ir::SumColumns(Inside<std::int16_t>(inCall, 0), Inside<std::int16_t>(inCall, 1), inWeights,
                               inCall.Row<std::uint16_t>(2), inCall.Width());
            },
            scalar,
            TargetOfKernels};
}

// As sharp filters leave them beside black and white.
KernelBuffer Overshooting()
{
    KernelBuffer buffer = Sums();
    buffer.adjust = [](void* ioRow, std::size_t inSamples)
    {
        for (std::size_t i = 0; i < inSamples; ++i)
        {
            static_cast<std::int16_t*>(ioRow)[i] =
                static_cast<std::int16_t>(static_cast<std::int16_t*>(ioRow)[i] * 5 / 4 - 1000);
        }
    };
    return buffer;
}

KernelCase Shifting(const QuarterWeights& inWeights)
{
    KernelBuffer shifted = Padded(KernelRole::InOut, 0, 8191);
    shifted.slackBytes = kVectorBytes;
    const auto scalar = [=](const KernelCall& inCall)
    {
        std::uint16_t* row = Inside<std::uint16_t>(inCall, 0);
        const auto count = static_cast<std::int32_t>(inCall.Width());
        const auto beyond = static_cast<std::int32_t>(kBeyond);
        for (std::int32_t i = -beyond; i < count + beyond; ++i)
        {
            row[i] = row[ir::Mirrored(i, count)];
        }
        for (std::int32_t i = 0; i < count; ++i)
        {
            std::int32_t sum = 0;
            for (int tap = 0; tap < inWeights.taps; ++tap)
            {
                sum += Product(row[i + tap - (inWeights.taps / 2 - 1)], inWeights.weights[tap]);
            }
            inCall.Row<std::uint16_t>(1)[i] = static_cast<std::uint16_t>(std::clamp(sum, 0, 8191));
        }
    };
    return {"chroma shifted",
            {shifted, Row(1)},
            [=](const KernelCall& inCall)
            {
                ir::ShiftByQuarter(Inside<std::uint16_t>(inCall, 0), inWeights, inCall.Row<std::uint16_t>(1),
                                   inCall.Width());
            },
            scalar,
            TargetOfKernels};
}

}

TEST(HalvingKernels, SumRowsAsTheScalarTwin)
{
    for (const Depth& depth :
         {Depth{"bytes", false, 8}, Depth{"ten bits", true, 10}, Depth{"twelve bits", true, 12}})
    {
        for (const PairWeights& weights : kFilters)
        {
            EXPECT_TRUE(AgreesWithScalarTwin(SummingRows(depth, weights), kTargets));
        }
    }
}

TEST(HalvingKernels, SumColumnsAsTheScalarTwin)
{
    for (const PairWeights& weights : kFilters)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(SummingColumns(weights), kTargets));
    }
}

TEST(HalvingKernels, JoinColumnsAsTheScalarTwin)
{
    const KernelCase joining = {
        "columns joined",
        {Overshooting(), Overshooting(), Row(2)},
        [](const KernelCall& inCall)
        {
            ir::JoinColumns(Inside<std::int16_t>(inCall, 0), Inside<std::int16_t>(inCall, 1),
                            inCall.Row<std::uint16_t>(2), inCall.Width());
        },
        [](const KernelCall& inCall)
        {
            for (std::size_t i = 0; i < 2 * inCall.Width(); ++i)
            {
                const std::int32_t sum = Inside<std::int16_t>(inCall, i % 2)[i / 2];
                inCall.Row<std::uint16_t>(2)[i] = static_cast<std::uint16_t>(std::clamp(sum, 0, 8191));
            }
        },
        TargetOfKernels};
    EXPECT_TRUE(AgreesWithScalarTwin(joining, kTargets));
}

TEST(HalvingKernels, ShiftByAQuarterAsTheScalarTwin)
{
    for (const QuarterWeights& weights :
         {QuarterWeights{2, {24576, 8192}}, QuarterWeights{4, {-2300, 28416, 7600, -948}},
          QuarterWeights{6, {800, -4400, 29000, 9500, -2500, 368}}})
    {
        EXPECT_TRUE(AgreesWithScalarTwin(Shifting(weights), kTargets));
    }
}
