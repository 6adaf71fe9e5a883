#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "TestPictures.h"
#include "Tests/Support/KernelHarness.h"

// The arithmetic on rows of floats against the same in double.
namespace
{

using ir::RowPlan;
using TestSupport::AgreesWithScalarTwin;
using TestSupport::KernelBuffer;
using TestSupport::KernelCall;
using TestSupport::KernelCase;
using TestSupport::KernelRole;
using TestSupport::KernelSample;

const TestSupport::KernelTargets kTargets = {TestPictures::Targets, ir::SetCpuTarget};

// Rows have a whole vector's room behind, which the kernels use.
constexpr std::size_t kRoom = 128;

std::string TargetOfRows()
{
    return ir::FloatRowsTarget();
}

// R G B A rows; alphas are 0 now and then, and never so small that a quotient says nothing.
KernelBuffer Components()
{
    KernelBuffer buffer = {.role = KernelRole::InOut,
                           .sample = KernelSample::Float,
                           .rows = 4,
                           .least = 0.1,
                           .most = 1.2,
                           .slackBytes = kRoom};
    buffer.adjust = [](void* ioRow, std::size_t inSamples)
    {
        for (std::size_t i = 0; i < inSamples; i += 5)
        {
            static_cast<float*>(ioRow)[i] = 0.0F;
        }
    };
    return buffer;
}

ir::FloatRow RowOf(const KernelCall& inCall)
{
    return {
        {inCall.Row<float>(0, 0), inCall.Row<float>(0, 1), inCall.Row<float>(0, 2), inCall.Row<float>(0, 3)}};
}

struct Colour
{
    double c[4];
};

void Multiply(const float (&inMatrix)[3][3], Colour& ioColour)
{
    const Colour before = ioColour;
    for (int i = 0; i < 3; ++i)
    {
        ioColour.c[i] = 0.0;
        for (int j = 0; j < 3; ++j)
        {
            ioColour.c[i] += static_cast<double>(inMatrix[i][j]) * before.c[j];
        }
    }
}

template <typename Function>
void EachColour(Colour& ioColour, Function inFunction)
{
    std::transform(ioColour.c, ioColour.c + 3, ioColour.c, inFunction);
}

void Apply(const RowPlan& inPlan, Colour& ioColour)
{
    double& alpha = ioColour.c[3];
    EachColour(ioColour,
               [&](double inValue) {
                   return inValue * (inPlan.multipliesFirst ? alpha : 1.0) * static_cast<double>(inPlan.gain);
               });
    alpha = inPlan.dropsAlpha ? 1.0 : alpha;
    if (inPlan.divides)
    {
        EachColour(ioColour, [&](double inValue) { return alpha == 0.0 ? 0.0 : inValue / alpha; });
    }
    if (inPlan.hasMatrix)
    {
        Multiply(inPlan.matrix, ioColour);
    }
    if (inPlan.decodes || inPlan.encodes)
    {
        EachColour(ioColour, inPlan.encodes ? ir::EncodeCurve : ir::DecodeCurve);
    }
    if (inPlan.hasSecondMatrix)
    {
        Multiply(inPlan.secondMatrix, ioColour);
    }
    EachColour(ioColour, [&](double inValue) { return inValue * (inPlan.multipliesLast ? alpha : 1.0); });
}

template <typename Function>
void EachPixel(const KernelCall& inCall, Function inFunction)
{
    const ir::FloatRow row = RowOf(inCall);
    for (std::size_t x = 0; x < inCall.Width(); ++x)
    {
        Colour colour = {{row.c[0][x], row.c[1][x], row.c[2][x], row.c[3][x]}};
        inFunction(colour);
        for (int i = 0; i < 4; ++i)
        {
            row.c[i][x] = static_cast<float>(colour.c[i]);
        }
    }
}

KernelCase Planned(const char* inName, const RowPlan& inPlan, double inBound)
{
    return {std::string("plan that ") + inName,
            {Components()},
            [=](const KernelCall& inCall) { ir::ApplyPlan(inPlan, RowOf(inCall), inCall.Width()); },
            [=](const KernelCall& inCall)
            { EachPixel(inCall, [&](Colour& ioColour) { Apply(inPlan, ioColour); }); },
            TargetOfRows,
            inBound};
}

// Pictures of one row, which lies in one piece of memory whatever the code.
struct RowCode
{
    std::uint32_t code;
    KernelSample sample;
    double most; // 0: all that the sample holds
    std::size_t (*samples)(std::size_t);
};

std::size_t FourOf(std::size_t inWidth)
{
    return inWidth * 4;
}
std::size_t PairsOf(std::size_t inWidth)
{
    return (inWidth + 1) / 2 * 4;
}
std::size_t GroupsOf(std::size_t inWidth)
{
    return (inWidth + 5) / 6 * 4;
}

constexpr RowCode kRowCodes[] = {
    {0x004, KernelSample::Byte, 0, FourOf},     {0x006, KernelSample::Byte, 0, FourOf},
    {0x204, KernelSample::Word, 0, FourOf},     {0x104, KernelSample::Float, 0, FourOf},
    {0x106, KernelSample::Float, 0, FourOf},    {0x012, KernelSample::Byte, 0, PairsOf},
    {0x021, KernelSample::Byte, 0, PairsOf},    {0x062, KernelSample::Byte, 0, PairsOf},
    {0x362, KernelSample::Word, 1023, PairsOf}, {0x332, KernelSample::Int, 0x3FFFFFFF, GroupsOf},
};

ir::Picture RowPicture(const RowCode& inCode, const KernelCall& inCall, std::size_t inBuffer)
{
    const std::size_t bytes = inCode.sample == KernelSample::Byte   ? 1
                              : inCode.sample == KernelSample::Word ? 2
                                                                    : 4;
    const bool isPlanar = (inCode.code >> 4 & 15) == 6;
    const std::size_t rowBytes = inCode.samples(inCall.Width()) * bytes / (isPlanar ? 2 : 1);
    ir::Picture picture;
    EXPECT_EQ(0, ir::PictureFromCode(inCall.Row(inBuffer), static_cast<std::int32_t>(rowBytes),
                                     static_cast<std::int32_t>(inCall.Width()), 1, inCode.code, picture));
    return picture;
}

KernelCase Reading(const RowCode& inCode)
{
    KernelBuffer rows = Components();
    rows.role = KernelRole::Target;
    KernelBuffer pixels = {.sample = inCode.sample, .samples = inCode.samples, .most = inCode.most};
    const auto read = [inCode](const KernelCall& inCall)
    {
        std::vector<float> scratch(2 * inCall.Width() + 128);
        ir::ReadFloatRow(RowPicture(inCode, inCall, 1), 0, RowOf(inCall), scratch.data());
    };
    const auto scalar = [inCode](const KernelCall& inCall)
    {
        const ir::Picture picture = RowPicture(inCode, inCall, 1);
        for (std::size_t x = 0; x < inCall.Width(); ++x)
        {
            const auto pixel = ir::reference::ReadPixel(picture, static_cast<std::int32_t>(x), 0);
            for (int i = 0; i < 4; ++i)
            {
                RowOf(inCall).c[i][x] = static_cast<float>(pixel.c[i]);
            }
        }
    };
    return {"reading " + TestPictures::Name(inCode.code),
            {rows, pixels},
            read,
            scalar,
            ir::FloatRowsReadTarget,
            5e-7};
}

// The code of a value in single precision: what is half way in double may not be there.
template <typename T>
void StoreCode(float inValue, const ir::ComponentRange& inRange, int inBits, T& outCode)
{
    const float code = inValue * static_cast<float>(inRange.scale) + static_cast<float>(inRange.offset + 0.5);
    const float most = static_cast<float>((1 << inBits) - 1) + 0.5F;
    outCode = static_cast<T>(std::min(std::max(code, 0.0F), most));
}

void WriteOneByOne(const RowCode& inCode, const KernelCall& inCall)
{
    const ir::Picture picture = RowPicture(inCode, inCall, 1);
    for (std::size_t i = 0; i < inCall.Width() * 4; ++i)
    {
        const int component = static_cast<int>(i % 4);
        const float value = RowOf(inCall).c[component][i / 4];
        const std::size_t at = i / 4 * 4 + static_cast<std::size_t>(ir::kPackedPlace[component]);
        const ir::ComponentRange range = ir::RangeOf(picture, component);
        switch (inCode.sample)
        {
        case KernelSample::Byte: StoreCode(value, range, 8, inCall.Row<std::uint8_t>(1)[at]); break;
        case KernelSample::Word: StoreCode(value, range, 16, inCall.Row<std::uint16_t>(1)[at]); break;
        default: inCall.Row<float>(1)[at] = value; break;
        }
    }
}

KernelBuffer WideValues()
{
    KernelBuffer rows = Components();
    rows.role = KernelRole::Source;
    rows.least = -0.6;
    rows.most = 1.4;
    return rows;
}

KernelCase Writing(const RowCode& inCode)
{
    const KernelBuffer pixels = {
        .role = KernelRole::Target, .sample = inCode.sample, .samples = inCode.samples};
    return {"writing " + TestPictures::Name(inCode.code),
            {WideValues(), pixels},
            [=](const KernelCall& inCall)
            { ir::WriteFloatRow(RowPicture(inCode, inCall, 1), 0, RowOf(inCall)); },
            [=](const KernelCall& inCall) { WriteOneByOne(inCode, inCall); },
            ir::FloatRowsWriteTarget};
}

// Luma and chroma of planar rows, which are written by themselves.
KernelCase WritingPlanes(const RowCode& inCode)
{
    // Between an odd width and the next plane lies a sample of no pixel, which both leave as it is.
    const KernelBuffer pixels = {
        .role = KernelRole::InOut, .sample = inCode.sample, .samples = inCode.samples};
    const auto write = [=](const KernelCall& inCall)
    {
        const ir::Picture picture = RowPicture(inCode, inCall, 1);
        ir::WriteFloatRow(picture, 0, RowOf(inCall));
        ir::WriteChromaRow(picture, 0, RowOf(inCall).c[1], RowOf(inCall).c[2]);
    };
    const auto scalar = [=](const KernelCall& inCall)
    {
        const ir::Picture picture = RowPicture(inCode, inCall, 1);
        for (int plane = 0; plane < 3; ++plane)
        {
            const auto count = static_cast<std::size_t>(plane == 0 ? picture.width : picture.ChromaWidth());
            for (std::size_t x = 0; x < count; ++x)
            {
                const float value = RowOf(inCall).c[plane][x];
                const ir::ComponentRange range = ir::RangeOf(picture, plane);
                auto* words = reinterpret_cast<std::uint16_t*>(picture.Row(plane, 0));
                inCode.sample == KernelSample::Byte ? StoreCode(value, range, 8, picture.Row(plane, 0)[x])
                                                    : StoreCode(value, range, 10, words[x]);
            }
        }
    };
    return {"writing planes of " + TestPictures::Name(inCode.code),
            {WideValues(), pixels},
            write,
            scalar,
            ir::FloatRowsWriteTarget};
}

RowPlan WithMatrix()
{
    RowPlan plan;
    plan.hasMatrix = plan.hasSecondMatrix = true;
    const ir::Matrix3 matrix = ir::ToRGB(ir::Matrix::k709);
    const ir::Matrix3 second = ir::FromRGB(ir::Matrix::k601);
    for (int i = 0; i < 9; ++i)
    {
        plan.matrix[i / 3][i % 3] = static_cast<float>(matrix.m[i / 3][i % 3]);
        plan.secondMatrix[i / 3][i % 3] = static_cast<float>(second.m[i / 3][i % 3]);
    }
    return plan;
}

}

TEST(FloatRows, ApplyEveryStepOfAPlanAsTheScalarTwin)
{
    RowPlan plan;
    EXPECT_TRUE(AgreesWithScalarTwin(Planned("does nothing", plan, 0.0), kTargets));
    plan.multipliesFirst = true;
    plan.gain = 0.37F;
    plan.dropsAlpha = true;
    EXPECT_TRUE(AgreesWithScalarTwin(Planned("lays over black", plan, 3e-7), kTargets));
    plan = RowPlan();
    plan.divides = true;
    EXPECT_TRUE(AgreesWithScalarTwin(Planned("divides", plan, 3e-7), kTargets));
    plan = RowPlan();
    plan.multipliesLast = true;
    EXPECT_TRUE(AgreesWithScalarTwin(Planned("multiplies", plan, 3e-7), kTargets));
    EXPECT_TRUE(AgreesWithScalarTwin(Planned("has two matrices", WithMatrix(), 2e-6), kTargets));
    plan = RowPlan();
    plan.encodes = true;
    EXPECT_TRUE(AgreesWithScalarTwin(Planned("encodes", plan, 2e-6), kTargets));
    plan = RowPlan();
    plan.decodes = true;
    EXPECT_TRUE(AgreesWithScalarTwin(Planned("decodes", plan, 2e-6), kTargets));
}

TEST(FloatRows, TakeAMatteAwayAsTheScalarTwin)
{
    static constexpr float kMatte[3] = {0.7F, 0.1F, 0.4F};
    const KernelCase matte = {
        "taking a matte away",
        {Components()},
        [](const KernelCall& inCall) { ir::TakeMatteAway(RowOf(inCall), kMatte, inCall.Width()); },
        [](const KernelCall& inCall)
        {
            EachPixel(inCall,
                      [](Colour& ioColour)
                      {
                          const double alpha = ioColour.c[3];
                          for (int i = 0; i < 3; ++i)
                          {
                              const double colour =
                                  ioColour.c[i] - static_cast<double>(kMatte[i]) * (1.0 - alpha);
                              ioColour.c[i] = alpha == 0.0 ? 0.0 : colour / alpha;
                          }
                      });
        },
        TargetOfRows,
        2e-6};
    EXPECT_TRUE(AgreesWithScalarTwin(matte, kTargets));
}

TEST(FloatRows, AccumulateAsTheScalarTwin)
{
    for (const bool isFirst : {true, false})
    {
        KernelBuffer row = {.sample = KernelSample::Float, .slackBytes = kRoom};
        KernelBuffer sum = row;
        sum.role = KernelRole::InOut;
        const KernelCase accumulation = {
            "accumulating",
            {row, sum},
            [=](const KernelCall& inCall)
            { ir::AccumulateRow(inCall.Row<float>(0), 0.3F, isFirst, inCall.Row<float>(1), inCall.Width()); },
            [=](const KernelCall& inCall)
            {
                for (std::size_t x = 0; x < inCall.Width(); ++x)
                {
                    const float part = inCall.Row<float>(0)[x] * 0.3F;
                    float& total = inCall.Row<float>(1)[x];
                    total = isFirst ? part : total + part;
                }
            },
            TargetOfRows,
            0.0};
        EXPECT_TRUE(AgreesWithScalarTwin(accumulation, kTargets));
    }
}

TEST(FloatRows, AreReadAsTheScalarTwinReads)
{
    for (const RowCode& code : kRowCodes)
    {
        EXPECT_TRUE(AgreesWithScalarTwin(Reading(code), kTargets));
    }
}

TEST(FloatRows, AreWrittenAsTheScalarTwinWrites)
{
    for (const RowCode& code : kRowCodes)
    {
        if (code.samples == FourOf)
        {
            EXPECT_TRUE(AgreesWithScalarTwin(Writing(code), kTargets));
        }
        else if ((code.code >> 4 & 15) == 6)
        {
            EXPECT_TRUE(AgreesWithScalarTwin(WritingPlanes(code), kTargets));
        }
    }
}
