#include "IR/BlendModes.h"
#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>

using namespace norviktypes;
using VF::VideoFrameManipulators::CopyFrameLate;
using VF::VideoFrameManipulators::DrawFrameLate;
using VF::VideoFrameManipulators::FinishFrame;

namespace
{

constexpr std::uint32_t kWidth = 60;
constexpr std::uint32_t kHeight = 52;
constexpr PixelFormat kBGRA = kPixelFormat_BGRA_4444_8u;

std::vector<std::uint8_t> Noise(std::uint32_t inSeed, bool inIsOpaque)
{
    std::mt19937 random(inSeed);
    std::vector<std::uint8_t> bytes(kWidth * kHeight * 4);
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] = inIsOpaque && i % 4 == 3 ? 255 : static_cast<std::uint8_t>(random());
    }
    return bytes;
}

class NoiseMaker final : public VF::IPixelMaker
{
public:
    explicit NoiseMaker(std::uint32_t inSeed, bool inIsOpaque = true)
        : mIsOpaque(inIsOpaque)
        , mBytes(Noise(inSeed, inIsOpaque))
    {
    }

    std::int32_t MakeRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const override
    {
        mRows += inCount;
        for (std::uint32_t row = 0; row < inCount && !mIsBroken; ++row)
        {
            std::memcpy(outPixels + static_cast<std::ptrdiff_t>(row) * inRowBytes,
                        mBytes.data() + (inFirst + row) * kWidth * 4, kWidth * 4);
        }
        return mIsBroken ? VF::kFrameStatus_OutOfMemory : VF::kFrameStatus_OK;
    }

    bool HasWholeAlpha() const override { return mIsOpaque; }

    mutable std::atomic<std::uint32_t> mRows{0};
    std::atomic<bool> mIsBroken{false};

private:
    bool mIsOpaque;
    std::vector<std::uint8_t> mBytes;
};

MF::IVideoFrameRef Pending(const std::shared_ptr<NoiseMaker>& inMaker)
{
    MF::IVideoFrameRef frame;
    EXPECT_EQ(VF::CreatePendingFrame(frame, kBGRA, kWidth, kHeight, {1, 1}, inMaker), VF::kFrameStatus_OK);
    return frame;
}

// The same frame with pixels of its own.
MF::IVideoFrameRef Made(const NoiseMaker& inMaker)
{
    MF::IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, kBGRA, kWidth, kHeight, {1, 1}, false, false), VF::kFrameStatus_OK);
    inMaker.MakeRows(0, kHeight, static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(frame)->GetPixels()),
                     VF::IVideoFrameRasterRef(frame)->GetRowBytes());
    return frame;
}

std::vector<std::uint8_t> PixelsOf(const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    EXPECT_TRUE(VF::GetFramePixels(inFrame, pixels));
    std::vector<std::uint8_t> bytes;
    for (std::uint32_t row = 0; row < pixels.mHeight; ++row)
    {
        bytes.insert(bytes.end(), pixels.Row(0, row), pixels.Row(0, row) + pixels.mWidth * 4);
    }
    return bytes;
}

struct Move
{
    float mScale = 1.0F;
    double mRotation = 0.0;
    float mOpacity = 0.6F;
    std::uint32_t mFormat = 0x00C;
    std::uint32_t mMode = kIR_Blend_Normal;
};

IR_MotionPicture Described(const MF::IVideoFrameRef& inFrame, std::uint32_t inFormat)
{
    return {nullptr,  VF::IVideoFrameRasterRef(inFrame)->GetRowBytes(),
            kWidth,   kHeight,
            inFormat, kFieldType_Progressive,
            1,        1};
}

IR_MotionSettings SettingsOf(const Move& inMove)
{
    IR_MotionSettings settings{};
    settings.positionX = settings.positionY = settings.anchorX = settings.anchorY = 0.5F;
    settings.scaleX = settings.scaleY = inMove.mScale;
    settings.rotation = inMove.mRotation;
    settings.opacity = inMove.mOpacity;
    settings.targetHasPicture = 1;
    settings.quality = 3;
    return settings;
}

bool DrawLate(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget, const Move& inMove,
              std::int32_t& outStatus)
{
    return DrawFrameLate(inSource, Described(inSource, inMove.mFormat), inTarget, Described(inTarget, 0x004),
                         SettingsOf(inMove), inMove.mMode, outStatus);
}

void DrawNow(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget, const Move& inMove)
{
    IR_MotionPicture from = Described(inSource, inMove.mFormat);
    IR_MotionPicture to = Described(inTarget, 0x004);
    from.pixels = VF::IVideoFramePixelsRef(inSource)->GetPixels();
    to.pixels = VF::IVideoFramePixelsRef(inTarget)->GetPixels();
    const IR_MotionSettings settings = SettingsOf(inMove);
    ASSERT_EQ(IR_MotionWithBlendMode(&from, &to, nullptr, &settings, inMove.mMode), kIR_Success);
}

MF::IVideoFrameRef LateCopy(const MF::IVideoFrameRef& inSource)
{
    return CopyFrameLate(inSource, kBGRA, kWidth, kHeight, {4, 3});
}

TEST(LateDrawing, GivesThePixelsOfDrawingAtOnce)
{
    const auto base = std::make_shared<NoiseMaker>(1);
    const auto middle = std::make_shared<NoiseMaker>(2);
    const auto title = std::make_shared<NoiseMaker>(3, false);
    const Move moves[] = {{1.0F, 0.0, 0.6F, 0x00C}, {0.5F, 0.0, 1.0F, 0x00C}, {0.5F, 15.0, 0.7F, 0x00C}};
    for (const Move& move : moves)
    {
        const MF::IVideoFrameRef expected = Made(*base);
        DrawNow(Made(*middle), expected, move);
        DrawNow(Made(*title), expected, {1.0F, 0.0, 1.0F, 0x004});

        const MF::IVideoFrameRef drawn = LateCopy(Pending(base));
        ASSERT_TRUE(drawn);
        std::int32_t status = -1;
        ASSERT_TRUE(DrawLate(Pending(middle), drawn, move, status));
        EXPECT_EQ(status, VF::kFrameStatus_OK);
        // What lies in memory has to be read-only to be drawn later.
        const MF::IVideoFrameRef still = Made(*title);
        const Move over = {1.0F, 0.0, 1.0F, 0x004};
        EXPECT_FALSE(DrawLate(still, drawn, over, status));
        still->Freeze();
        if (!DrawLate(still, drawn, over, status))
        {
            EXPECT_NE(move.mRotation, 0.0) << "only what is turned needs all of the target";
            DrawNow(still, drawn, over);
        }
        EXPECT_EQ(PixelsOf(drawn), PixelsOf(expected)) << move.mScale << " " << move.mRotation;
    }
}

TEST(LateDrawing, MakesNoPixelsUntilSomebodyLooks)
{
    const auto base = std::make_shared<NoiseMaker>(1);
    const auto upper = std::make_shared<NoiseMaker>(2);
    const std::uint64_t before = VF::FramePool::Instance().GetCounters().mBuffersInUse;
    const MF::IVideoFrameRef frame = Pending(upper);
    const MF::IVideoFrameRef drawn = LateCopy(Pending(base));
    std::int32_t status = -1;
    ASSERT_TRUE(DrawLate(frame, drawn, {}, status));
    EXPECT_EQ(base->mRows + upper->mRows, 0U);
    EXPECT_EQ(VF::FramePool::Instance().GetCounters().mBuffersInUse, before);

    EXPECT_EQ(FinishFrame(drawn), VF::kFrameStatus_OK);
    EXPECT_EQ(base->mRows, kHeight);
    EXPECT_EQ(upper->mRows, kHeight);
    EXPECT_EQ(VF::FramePool::Instance().GetCounters().mBuffersInUse, before + 1) << "only what was drawn on";
    EXPECT_NE(VF::PendingMakerOf(frame), nullptr);
    EXPECT_EQ(VF::PendingMakerOf(drawn), nullptr);
    EXPECT_EQ(FinishFrame(drawn), VF::kFrameStatus_OK);
    EXPECT_EQ(base->mRows, kHeight);
}

TEST(LateDrawing, ShowsWhatThereWasWhenItWasDrawn)
{
    const auto maker = std::make_shared<NoiseMaker>(1);
    const MF::IVideoFrameRef source = Pending(maker);
    const MF::IVideoFrameRef copy = LateCopy(source);
    static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(source)->GetPixels())[0] ^= 255;
    EXPECT_EQ(PixelsOf(copy), PixelsOf(Made(*maker)));
}

TEST(LateDrawing, CopiesWhatIsFrozenOrStillToBeMade)
{
    const auto maker = std::make_shared<NoiseMaker>(1);
    const MF::IVideoFrameRef made = Made(*maker);
    made->SetAlphaType(kAlphaChannel_Opaque);
    EXPECT_FALSE(LateCopy(made)) << "it may be written to meanwhile";
    made->Freeze();
    const MF::IVideoFrameRef copy = LateCopy(made);
    ASSERT_TRUE(copy);
    EXPECT_FALSE(copy->IsFrozen());
    EXPECT_EQ(copy->GetAlphaType(), kAlphaChannel_Opaque);
    PixelAspectRatio ratio;
    copy->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, (PixelAspectRatio{4, 3}));
    EXPECT_EQ(PixelsOf(copy), PixelsOf(made));
    EXPECT_NE(VF::IVideoFramePixelsRef(copy)->GetPixels(), VF::IVideoFramePixelsRef(made)->GetPixels());

    EXPECT_FALSE(CopyFrameLate(made, kPixelFormat_BGRP_4444_8u, kWidth, kHeight, {1, 1}));
    EXPECT_FALSE(CopyFrameLate(made, kBGRA, kWidth - 1, kHeight, {1, 1}));
    EXPECT_FALSE(CopyFrameLate(made, kBGRA, kWidth, kHeight + 1, {1, 1}));
}

TEST(LateDrawing, TellsOfMemoryThatIsMissing)
{
    const auto base = std::make_shared<NoiseMaker>(1);
    const auto upper = std::make_shared<NoiseMaker>(2);
    const MF::IVideoFrameRef drawn = LateCopy(Pending(base));
    std::int32_t status = -1;
    ASSERT_TRUE(DrawLate(Pending(upper), drawn, {}, status));
    for (const auto& maker : {base, upper})
    {
        maker->mIsBroken = true;
        EXPECT_EQ(FinishFrame(drawn), VF::kFrameStatus_OutOfMemory);
        EXPECT_EQ(VF::IVideoFramePixelsRef(drawn)->GetPixels(), nullptr);
        ASSERT_TRUE(DrawLate(Pending(upper), drawn, {0.5F, 15.0}, status)) << "which wants pixels to draw on";
        EXPECT_EQ(status, VF::kFrameStatus_OutOfMemory);
        maker->mIsBroken = false;
    }
    const MF::IVideoFrameRef expected = Made(*base);
    DrawNow(Made(*upper), expected, {});
    EXPECT_EQ(FinishFrame(drawn), VF::kFrameStatus_OK);
    EXPECT_EQ(PixelsOf(drawn), PixelsOf(expected));
}

TEST(LateDrawing, LeavesWhatWantsWholePicturesToTheRoutine)
{
    const auto maker = std::make_shared<NoiseMaker>(1);
    const MF::IVideoFrameRef source = Pending(maker);
    const MF::IVideoFrameRef target = LateCopy(Pending(maker));
    std::int32_t status = 77;
    EXPECT_FALSE(DrawLate(source, target, {0.7F}, status));
    EXPECT_FALSE(DrawLate(source, target, {1.0F, 0.0, 1.0F, 0x00C, kIR_Blend_Multiply}, status));
    EXPECT_FALSE(DrawLate(target, target, {}, status));
    target->Freeze();
    EXPECT_FALSE(DrawLate(source, target, {}, status));
    EXPECT_EQ(status, 77);
    EXPECT_EQ(maker->mRows, 0U);
}

TEST(LateDrawing, KnowsWhetherAlphaIsWhole)
{
    const auto base = std::make_shared<NoiseMaker>(1);
    const auto upper = std::make_shared<NoiseMaker>(2, false);
    for (const double rotation : {0.0, 15.0})
    {
        const MF::IVideoFrameRef drawn = LateCopy(Pending(base));
        std::int32_t status = -1;
        ASSERT_TRUE(DrawLate(Pending(upper), drawn, {0.5F, rotation, 0.7F, 0x004}, status));
        EXPECT_TRUE(VF::IsKnownToHaveWholeAlpha(drawn));
        EXPECT_EQ(FinishFrame(drawn), VF::kFrameStatus_OK);
        EXPECT_TRUE(VF::IsKnownToHaveWholeAlpha(drawn));
        drawn->Freeze();
        const std::vector<std::uint8_t> bytes = PixelsOf(drawn);
        EXPECT_TRUE(VF::IsKnownToHaveWholeAlpha(drawn)) << "a frozen frame is only read";
        for (std::size_t i = 3; i < bytes.size(); i += 4)
        {
            ASSERT_EQ(bytes[i], 255);
        }
        EXPECT_TRUE(VF::ShareWithoutAlpha(drawn, kPixelFormat_BGRX_4444_8u));
    }
    const MF::IVideoFrameRef onClear = LateCopy(Pending(upper));
    std::int32_t status = -1;
    ASSERT_TRUE(DrawLate(Pending(base), onClear, {}, status));
    EXPECT_FALSE(VF::IsKnownToHaveWholeAlpha(onClear));

    const MF::IVideoFrameRef written = LateCopy(Pending(base));
    static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(written)->GetPixels())[3] = 254;
    EXPECT_FALSE(VF::IsKnownToHaveWholeAlpha(written)) << "whoever looks may write";
    EXPECT_FALSE(VF::ShareWithoutAlpha(written, kPixelFormat_BGRX_4444_8u));
}

} // namespace
