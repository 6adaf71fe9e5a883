#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
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
