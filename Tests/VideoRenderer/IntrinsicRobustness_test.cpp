// Everything that can meet, and numbers of all kinds: frames come out or don't, and nothing is touched that
// isn't the frame's. What is looked for here is found by the sanitizers.
#include "Tests/VideoRenderer/IntrinsicTests.h"

#include "FieldOperations.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <random>

namespace
{

using namespace IntrinsicTests;

class Dice
{
public:
    explicit Dice(std::uint64_t inSeed) : mRandom(inSeed) {}

    std::uint32_t Below(std::uint32_t inLimit) { return static_cast<std::uint32_t>(mRandom() % inLimit); }
    bool OneIn(std::uint32_t inCount) { return Below(inCount) == 0; }

    // Mostly a plain number, sometimes any pattern of bits.
    double Number(double inLow, double inHigh)
    {
        if (OneIn(40))
        {
            return std::bit_cast<double>(mRandom());
        }
        return inLow + (inHigh - inLow) * static_cast<double>(mRandom() >> 11) * 0x1p-53;
    }
    float Float(double inLow, double inHigh)
    {
        if (OneIn(40))
        {
            return std::bit_cast<float>(static_cast<std::uint32_t>(mRandom()));
        }
        return static_cast<float>(inLow + (inHigh - inLow) * static_cast<double>(mRandom() >> 11) * 0x1p-53);
    }
    std::int32_t Integer(std::int32_t inReach)
    {
        return OneIn(40)
                   ? static_cast<std::int32_t>(mRandom())
                   : static_cast<std::int32_t>(Below(static_cast<std::uint32_t>(2 * inReach))) - inReach;
    }
    PixelFormat Format() { return kPixelFormatTable[Below(std::uint32_t{kPixelFormatTable.size()})].mFormat; }

private:
    std::mt19937_64 mRandom;
};

NodeIntrinsicParameters AnyRecord(Dice& ioDice)
{
    NodeIntrinsicParameters record;
    record.positionX = ioDice.Float(-1, 2);
    record.positionY = ioDice.Float(-1, 2);
    record.anchorX = ioDice.Float(-1, 2);
    record.anchorY = ioDice.Float(-1, 2);
    record.scaleX = ioDice.OneIn(8) ? ioDice.Float(-1000, 1000) : ioDice.Float(-2, 2);
    record.scaleY = ioDice.OneIn(8) ? 0.0f : ioDice.Float(-2, 2);
    record.rotation = ioDice.OneIn(4) ? ioDice.Number(-1e9, 1e9) : ioDice.Number(-360, 360);
    record.opacity = ioDice.Float(-0.5, 1.5);
    record.antiFlicker = ioDice.OneIn(2) ? 0.0 : ioDice.Number(-0.5, 1.5);
    record.scanlineOffset = ioDice.OneIn(4) ? ioDice.Integer(8) : 0;
    record.sourceWidth = ioDice.OneIn(4) ? ioDice.Integer(64) : 0;
    record.sourceHeight = ioDice.OneIn(4) ? ioDice.Integer(64) : 0;
    record.blendMode = ioDice.OneIn(2) ? ML::kBlendMode_Normal : ioDice.Below(30);
    record.blendOpacity = ioDice.Float(-0.5, 1.5);
    record.highQualitySampling = static_cast<std::uint8_t>(ioDice.Below(2));
    return record;
}

MF::IVideoFrameRef AnyFrame(Dice& ioDice, std::uint64_t inSeed)
{
    const MF::IVideoFrameRef frame =
        Noise(ioDice.Format(), 1 + ioDice.Below(40), 1 + ioDice.Below(40), inSeed);
    frame->SetFieldType(static_cast<FieldType>(ioDice.Below(5)));
    frame->SetPixelAspectRatio({ioDice.Below(4), ioDice.Below(4)});
    if (ioDice.OneIn(4))
    {
        frame->SetOrigin({ioDice.Integer(40), ioDice.Integer(40)});
    }
    if (ioDice.OneIn(3))
    {
        frame->SetContentRect(
            {ioDice.Integer(40), ioDice.Integer(40), ioDice.Integer(80), ioDice.Integer(80)});
    }
    return frame;
}

TEST(IntrinsicRobustness, EveryFormatIsLaidOverEveryOther)
{
    for (const RenderQuality quality : {kRenderQuality_Low, kRenderQuality_Max})
    {
        const ML::CutlistRenderParams params = RenderParams(10, 6, quality);
        NodeIntrinsicParameters turned;
        turned.rotation = 30.0;
        for (const PixelFormatRow& lower : kPixelFormatTable)
        {
            for (const PixelFormatRow& upper : kPixelFormatTable)
            {
                const MF::IVideoFrameRef drawn =
                    DrawOver(Noise(lower.mFormat, 10, 6), Noise(upper.mFormat, 7, 5, 2), turned, params);
                ASSERT_TRUE(drawn) << upper.mText << " over " << lower.mText;
                EXPECT_TRUE(ML::FrameAlreadyConformsToOutput(drawn, params));
            }
        }
    }
}

TEST(IntrinsicRobustness, AnyRecordOnAnyFrameDoesNoHarm)
{
    Dice dice(TestSupport::Seed());
    std::size_t drawnCount = 0;
    const std::size_t count = TestSupport::ScaledCount(3000);
    for (std::size_t i = 0; i < count; ++i)
    {
        ML::CutlistRenderParams params = RenderParams(1 + dice.Below(40), 1 + dice.Below(40),
                                                      static_cast<RenderQuality>(1 + dice.Below(5)));
        params.mFieldType = static_cast<FieldType>(dice.Below(3));
        params.mFieldToRender = dice.Below(3);
        const MF::IVideoFrameRef frame = AnyFrame(dice, i);
        const NodeIntrinsicParameters first = AnyRecord(dice);
        const NodeIntrinsicParameters second = dice.OneIn(2) ? first : AnyRecord(dice);
        MF::IVideoFrameRef lower;
        if (dice.OneIn(2))
        {
            lower = Noise(dice.Format(), params.mWidth, params.mHeight, i + 1);
            lower->SetFieldType(params.mFieldType);
        }
        drawnCount += ML::PerformIntrinsicOperations(frame, first, second, lower, params) ? 1 : 0;
    }
    EXPECT_GT(drawnCount, count / 4) << "hardly anything was drawn, so hardly anything was tried";
}

TEST(IntrinsicRobustness, FieldsOfEveryFormatAndOfAnySizeAreTaken)
{
    Dice dice(TestSupport::Seed());
    for (const PixelFormatRow& format : kPixelFormatTable)
    {
        for (std::size_t i = 0; i < TestSupport::ScaledCount(20); ++i)
        {
            const auto quality = static_cast<RenderQuality>(1 + dice.Below(5));
            const MF::IVideoFrameRef a = Noise(format.mFormat, 2 + dice.Below(30), 2 + dice.Below(30), i);
            const MF::IVideoFrameRef b = Noise(dice.Format(), 2 + dice.Below(30), 2 + dice.Below(30), i);
            ML::CutlistRenderParams params = RenderParams(2 + dice.Below(30), 2 + dice.Below(30), quality);
            const MF::FrameTime times{TickTime(10), TickTime(20)};
            const MF::FrameTime timesA{TickTime(10), TickTime(dice.OneIn(2) ? 20 : 30)};
            const MF::FrameTime timesB{TickTime(dice.OneIn(2) ? 10 : 30), TickTime(20)};
            EXPECT_TRUE(ML::InterleaveFrames(times, params, a, timesA, b, timesB)) << format.mText;
            EXPECT_TRUE(ML::DeinterlaceFrame(a, quality, dice.OneIn(2), params, dice.OneIn(2)))
                << format.mText;
        }
    }
}

} // namespace
