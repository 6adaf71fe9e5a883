#include "IR/ImageRoutines.h"
#include "RenderableSources.h"
#include "Tests/RenderableSources/PaintedSource.h"
#include "Tests/RenderableSources/SourceCalls.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace
{

thread_local int sDissolves = 0;
thread_local int sSums = 0;

} // namespace

// These stand before the host's own, as the library is part of this program.
extern "C" int32_t IR_CrossDissolve(const void* inFirst, int32_t inFirstRowBytes, uint32_t inFirstFormat,
                                    const void* inSecond, int32_t inSecondRowBytes, uint32_t inSecondFormat,
                                    void* outTarget, int32_t inTargetRowBytes, uint32_t inTargetFormat,
                                    int32_t inWidth, int32_t inHeight, float inWeightOfSecond,
                                    int32_t inQuality)
{
    static auto* const sHostsOwn =
        reinterpret_cast<decltype(&IR_CrossDissolve)>(dlsym(RTLD_NEXT, "IR_CrossDissolve"));
    ++sDissolves;
    return sHostsOwn(inFirst, inFirstRowBytes, inFirstFormat, inSecond, inSecondRowBytes, inSecondFormat,
                     outTarget, inTargetRowBytes, inTargetFormat, inWidth, inHeight, inWeightOfSecond,
                     inQuality);
}

extern "C" int32_t IR_Accumulate(const void* const inPixels[], const int32_t inRowBytes[],
                                 const uint32_t inFormats[], const double inWeights[], int32_t inCount,
                                 void* outTarget, int32_t inTargetRowBytes, int32_t inHeight, int32_t inWidth,
                                 uint32_t inTargetFormat, int32_t inQuality)
{
    static auto* const sHostsOwn =
        reinterpret_cast<decltype(&IR_Accumulate)>(dlsym(RTLD_NEXT, "IR_Accumulate"));
    ++sSums;
    return sHostsOwn(inPixels, inRowBytes, inFormats, inWeights, inCount, outTarget, inTargetRowBytes,
                     inHeight, inWidth, inTargetFormat, inQuality);
}

namespace
{

using namespace norviktypes;

// By which routine one frame between two others is made: dissolves and sums that were called for.
struct Routines
{
    int mDissolves = 0;
    int mSums = 0;

    friend bool operator==(const Routines&, const Routines&) = default;
};

Routines RoutinesFor(double inSpeed, RenderQuality inQuality, bool inHasFields)
{
    const TestSupport::PaintedSourceRef inner(new TestSupport::PaintedSource);
    ML::CutlistRenderParams params = RenderParams(TestSupport::kPaintedSourceWidth, 8, inQuality);
    params.mFrameRate = inner->mRate;
    const TickTime frame(inner->mRate.GetTicks());
    const MF::FrameTime time(frame / 4U, inHasFields ? frame / 2U : frame / 4U);
    sDissolves = sSums = 0;
    EXPECT_TRUE(RenderedFrame(ML::TimeBlendSource(inner, {}, inSpeed), time, params));
    return {sDissolves, sSums};
}

TEST(TimeBlendRoutines, TwoFramesAreDissolvedBelowTheHighestQualityAndSummedThere)
{
    EXPECT_EQ(RoutinesFor(0.5, kRenderQuality_Medium, false), (Routines{1, 0}));
    EXPECT_EQ(RoutinesFor(0.5, kRenderQuality_High, false), (Routines{1, 0}));
    EXPECT_EQ(RoutinesFor(0.5, kRenderQuality_Max, false), (Routines{0, 1}));
    EXPECT_EQ(RoutinesFor(0.5, kRenderQuality_High, true), (Routines{2, 0})) << "each field by itself";
    EXPECT_EQ(RoutinesFor(0.5, kRenderQuality_Max, true), (Routines{0, 2}));
}

TEST(TimeBlendRoutines, FrameOfOwnLengthBetweenTwoIsADissolveAndALongerOneASum)
{
    EXPECT_EQ(RoutinesFor(1.0, kRenderQuality_High, false), (Routines{1, 0}));
    EXPECT_EQ(RoutinesFor(1.5, kRenderQuality_High, false), (Routines{0, 1}));
    EXPECT_EQ(RoutinesFor(3.0, kRenderQuality_High, true), (Routines{0, 2}));
}

TEST(TimeBlendRoutines, NothingIsBlendedBelowMediumQuality)
{
    EXPECT_EQ(RoutinesFor(0.5, kRenderQuality_Low, false), Routines());
    EXPECT_EQ(RoutinesFor(3.0, kRenderQuality_Low, false), Routines());
}

} // namespace
