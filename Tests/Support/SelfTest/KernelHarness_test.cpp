#include "Tests/Support/KernelHarness.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

using TestSupport::AgreesWithScalarTwin;
using TestSupport::KernelCall;
using TestSupport::KernelCase;
using TestSupport::KernelRole;
using TestSupport::KernelSample;
using TestSupport::KernelTargets;

namespace
{

// Two instruction sets that exist in name only.
std::string sChosen = "auto";

KernelTargets TwoTargets()
{
    return {[] {
                return std::vector<std::string>{"WIDE", "NARROW"};
            },
            [](const char* inName)
            {
                sChosen = inName;
                return true;
            }};
}

void Invert(const KernelCall& inCall)
{
    for (std::size_t row = 0; row < 2; ++row)
    {
        for (std::size_t x = 0; x < inCall.Width(); ++x)
        {
            inCall.Row(1, row)[x] = static_cast<unsigned char>(255 - inCall.Row(0, row)[x]);
        }
    }
}

KernelCase Inversion(std::function<void(const KernelCall&)> inKernel)
{
    return {
        "inversion", {{.rows = 2}, {.role = KernelRole::Target, .rows = 2}}, std::move(inKernel), Invert, [] {
            return sChosen;
        }};
}

KernelCase Doubling(float inFactor, double inBound)
{
    const auto times = [](float inBy)
    {
        return [inBy](const KernelCall& inCall)
        {
            for (std::size_t x = 0; x < inCall.Width(); ++x)
            {
                inCall.Row<float>(0)[x] *= inBy;
            }
        };
    };
    return {"doubling",
            {{.role = KernelRole::InOut, .sample = KernelSample::Float}},
            times(inFactor),
            times(2.0F),
            [] { return sChosen; },
            inBound};
}

std::string FaultOf(const KernelCase& inCase, const KernelTargets& inTargets = TwoTargets())
{
    const testing::AssertionResult result = AgreesWithScalarTwin(inCase, inTargets);
    return result ? std::string() : result.message();
}

bool Names(const std::string& inText, const std::string& inPart)
{
    return inText.find(inPart) != std::string::npos;
}

// Of the harness itself every width counts, however slow the build.
class KernelHarness : public testing::Test
{
protected:
    void SetUp() override { unsetenv("VR_TEST_SCALE"); }
};

TEST_F(KernelHarness, AcceptsAKernelThatIsRight)
{
    EXPECT_TRUE(AgreesWithScalarTwin(Inversion(Invert), TwoTargets()));
    EXPECT_EQ(sChosen, "auto");
}

TEST_F(KernelHarness, NamesTargetWidthAndPlaceOfAWrongSample)
{
    const auto kernel = [](const KernelCall& inCall)
    {
        Invert(inCall);
        if (inCall.Width() == 67 && sChosen == "NARROW")
        {
            inCall.Row(1, 1)[66] ^= 1;
        }
    };
    const std::string fault = FaultOf(Inversion(kernel));
    EXPECT_TRUE(Names(fault, "inversion on NARROW")) << fault;
    EXPECT_TRUE(Names(fault, "width 67,")) << fault;
    EXPECT_TRUE(Names(fault, "buffer 1: row 1, sample 66")) << fault;
    EXPECT_EQ(sChosen, "auto");
}

TEST_F(KernelHarness, SeesWhatAKernelLeavesOut)
{
    const auto kernel = [](const KernelCall& inCall)
    {
        for (std::size_t x = 0; x < inCall.Width() / 16 * 16; ++x)
        {
            inCall.Row(1, 0)[x] = static_cast<unsigned char>(255 - inCall.Row(0, 0)[x]);
        }
    };
    EXPECT_TRUE(Names(FaultOf(Inversion(kernel)), "width 1,"));
}

TEST_F(KernelHarness, SeesOverrunsBetweenAndBehindRows)
{
    const auto between = [](const KernelCall& inCall)
    {
        Invert(inCall);
        if (inCall.RowBytes(1) > static_cast<std::ptrdiff_t>(inCall.Width()) + 4)
        {
            inCall.Row(1, 0)[inCall.Width() + 3] = 0;
        }
    };
    EXPECT_TRUE(Names(FaultOf(Inversion(between)), "wrote 3 bytes behind the end of row 0"));
    const auto before = [](const KernelCall& inCall)
    {
        Invert(inCall);
        inCall.Row(1, 0)[-1] ^= 0xFF;
    };
    EXPECT_TRUE(Names(FaultOf(Inversion(before)), "wrote 1 bytes before the first row"));
}

TEST_F(KernelHarness, SeesAWrittenSource)
{
    const auto kernel = [](const KernelCall& inCall)
    {
        Invert(inCall);
        inCall.Row(0, 1)[0] ^= 1;
    };
    EXPECT_TRUE(Names(FaultOf(Inversion(kernel)), "buffer 0: a source was written to, row 1, sample 0"));
}

TEST_F(KernelHarness, RefusesAKernelThatStaysOnOneTarget)
{
    KernelCase kernel = Inversion(Invert);
    kernel.target = [] { return std::string("WIDE"); };
    EXPECT_TRUE(Names(FaultOf(kernel), "inversion on NARROW: the kernel runs on WIDE"));
}

TEST_F(KernelHarness, RefusesTargetsThatCantBeChosen)
{
    KernelTargets targets = TwoTargets();
    targets.use = [](const char*) { return false; };
    EXPECT_TRUE(Names(FaultOf(Inversion(Invert), targets), "can't be chosen"));
    targets.names = [] { return std::vector<std::string>(); };
    EXPECT_TRUE(Names(FaultOf(Inversion(Invert), targets), "no instruction set"));
}

TEST_F(KernelHarness, HoldsFloatsToTheirBound)
{
    EXPECT_TRUE(AgreesWithScalarTwin(Doubling(2.0F, 0.0), TwoTargets()));
    EXPECT_TRUE(AgreesWithScalarTwin(Doubling(2.0001F, 1e-3), TwoTargets()));
    EXPECT_TRUE(Names(FaultOf(Doubling(2.0001F, 0.0)), "width 1,"));
    EXPECT_TRUE(Names(FaultOf(Doubling(2.1F, 1e-3)), "buffer 0: row 0"));
}

using KernelHarnessDeathTest = KernelHarness;

TEST_F(KernelHarnessDeathTest, StopsAReadBehindTheLastRow)
{
    const auto kernel = [](const KernelCall& inCall)
    {
        Invert(inCall);
        volatile unsigned char beyond = inCall.Row(0, 1)[inCall.Width()];
        (void)beyond;
    };
    EXPECT_DEATH((void)AgreesWithScalarTwin(Inversion(kernel), TwoTargets()), "");
}

} // namespace
