#include "ReferenceHost/FrameLibrary/FrameCache.h"
#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <utility>

using namespace norviktypes;

namespace
{

constexpr std::uint32_t kWidth = 20;
constexpr std::uint32_t kHeight = 6;

// Every byte of a row is the row's number.
class CountingMaker final : public VF::IPixelMaker
{
public:
    std::int32_t MakeRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const override
    {
        ++mCalls;
        for (std::uint32_t row = 0; row < inCount && !mIsBroken; ++row)
        {
            std::memset(outPixels + static_cast<std::ptrdiff_t>(row) * inRowBytes,
                        static_cast<int>(inFirst + row), kWidth * 4);
        }
        return mIsBroken ? VF::kFrameStatus_OutOfMemory : VF::kFrameStatus_OK;
    }

    bool HoldsPicture() const override { return !mOnlyKnowsWhere; }

    mutable std::atomic<int> mCalls{0};
    std::atomic<bool> mIsBroken{false};
    bool mOnlyKnowsWhere = false;
};

MF::IVideoFrameRef NewFrame(const PixelFormat& inFormat = kPixelFormat_BGRA_4444_8u)
{
    MF::IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, inFormat, kWidth, kHeight, {1, 1}, true, true),
              VF::kFrameStatus_OK);
    return frame;
}

MF::IVideoFrameRef NewPendingFrame(const std::shared_ptr<CountingMaker>& inMaker)
{
    MF::IVideoFrameRef frame;
    EXPECT_EQ(VF::CreatePendingFrame(frame, kPixelFormat_BGRA_4444_8u, kWidth, kHeight, {1, 1}, inMaker),
              VF::kFrameStatus_OK);
    return frame;
}

bool HasItsRows(const MF::IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    bool isRight = VF::GetFramePixels(inFrame, pixels);
    for (std::uint32_t row = 0; row < kHeight && isRight; ++row)
    {
        const std::uint8_t* bytes = pixels.Row(0, row);
        isRight = bytes[0] == row && bytes[kWidth * 4 - 1] == row;
    }
    return isRight;
}

TEST(PendingFrame, IsMadeOnceSomebodyLooks)
{
    const auto maker = std::make_shared<CountingMaker>();
    const MF::IVideoFrameRef frame = NewPendingFrame(maker);
    frame->SetFieldType(kFieldType_LowerFirst);
    frame->Freeze();
    VF::FramePixels shape;
    ASSERT_TRUE(VF::GetFrameShape(frame, shape));
    EXPECT_EQ(shape.mPixels, nullptr);
    EXPECT_EQ(shape.mWidth, kWidth);
    EXPECT_EQ(maker->mCalls, 0);
    EXPECT_EQ(VF::PendingMakerOf(frame), maker);

    EXPECT_TRUE(HasItsRows(frame));
    EXPECT_TRUE(HasItsRows(frame));
    EXPECT_EQ(maker->mCalls, 1);
    EXPECT_EQ(VF::PendingMakerOf(frame), nullptr);
    EXPECT_EQ(maker.use_count(), 1) << "what it was made of isn't kept";
    EXPECT_EQ(frame->GetFieldType(), kFieldType_LowerFirst);
}

TEST(PendingFrame, IsMadeWhereItIsCopiedTo)
{
    const auto maker = std::make_shared<CountingMaker>();
    const MF::IVideoFrameRef frame = NewPendingFrame(maker);
    frame->SetAlphaType(kAlphaChannel_Opaque);
    const MF::IVideoFrameRef copy = NewFrame();
    ASSERT_EQ(VF::VideoFrameManipulators::CopyFrame(frame, copy, kRenderQuality_High), VF::kFrameStatus_OK);
    EXPECT_TRUE(HasItsRows(copy));
    EXPECT_EQ(copy->GetAlphaType(), kAlphaChannel_Opaque);
    const MF::IVideoFrameRef other = NewFrame();
    ASSERT_EQ(VF::VideoFrameManipulators::CopyFrameWithFields(frame, other, kRenderQuality_High, 0),
              VF::kFrameStatus_OK);
    EXPECT_TRUE(HasItsRows(other));
    EXPECT_EQ(maker->mCalls, 2);
    EXPECT_NE(VF::PendingMakerOf(frame), nullptr) << "its own pixels are still not made";
}

TEST(PendingFrame, IsNotMadeInAFrozenFrame)
{
    const MF::IVideoFrameRef frame = NewPendingFrame(std::make_shared<CountingMaker>());
    const MF::IVideoFrameRef target = NewFrame();
    target->Freeze();
    EXPECT_EQ(VF::VideoFrameManipulators::CopyFrame(frame, target, kRenderQuality_High),
              VF::kFrameStatus_BadArgument);
    EXPECT_EQ(VF::VideoFrameManipulators::CopyFrameWithFields(frame, target, kRenderQuality_High, 0),
              VF::kFrameStatus_BadArgument);
    EXPECT_FALSE(HasItsRows(target));
}

TEST(PendingFrame, GivesOneFieldLikeAnyOther)
{
    for (const std::uint32_t field : {1u, 2u})
    {
        const MF::IVideoFrameRef pending = NewPendingFrame(std::make_shared<CountingMaker>());
        const MF::IVideoFrameRef made = NewPendingFrame(std::make_shared<CountingMaker>());
        ASSERT_TRUE(HasItsRows(made));
        const MF::IVideoFrameRef ofPending = NewFrame();
        const MF::IVideoFrameRef ofMade = NewFrame();
        for (const auto& [from, to] : {std::pair{pending, ofPending}, std::pair{made, ofMade}})
        {
            ASSERT_EQ(VF::VideoFrameManipulators::CopyFrameWithFields(from, to, kRenderQuality_High, field),
                      VF::kFrameStatus_OK);
        }
        VF::FramePixels one;
        VF::FramePixels other;
        ASSERT_TRUE(VF::GetFramePixels(ofPending, one) && VF::GetFramePixels(ofMade, other));
        for (std::uint32_t row = 0; row < kHeight; ++row)
        {
            EXPECT_EQ(std::memcmp(one.Row(0, row), other.Row(0, row), kWidth * 4), 0) << row;
        }
        EXPECT_FALSE(HasItsRows(ofPending)) << "lines of the other field";
    }
}

TEST(PendingFrame, IsLookedAtToBeConverted)
{
    const auto maker = std::make_shared<CountingMaker>();
    const MF::IVideoFrameRef frame = NewPendingFrame(maker);
    const MF::IVideoFrameRef deep = NewFrame(kPixelFormat_BGRA_4444_16u);
    ASSERT_EQ(VF::VideoFrameManipulators::CopyFrame(frame, deep, kRenderQuality_High), VF::kFrameStatus_OK);
    const MF::IVideoFrameRef back = NewFrame();
    ASSERT_EQ(VF::VideoFrameManipulators::CopyFrame(deep, back, kRenderQuality_High), VF::kFrameStatus_OK);
    EXPECT_TRUE(HasItsRows(back));
    EXPECT_EQ(VF::PendingMakerOf(frame), nullptr);
}

TEST(PendingFrame, IsAddressableWithoutALook)
{
    const auto maker = std::make_shared<CountingMaker>();
    const MF::IVideoFrameRef frame = NewPendingFrame(maker);
    MF::IVideoFrameRef addressable;
    ASSERT_EQ(VF::VideoFrameManipulators::MakeAddressableVideoFrame(
                  frame, addressable, kPixelFormat_BGRA_4444_8u, kRenderQuality_High),
              VF::kFrameStatus_OK);
    EXPECT_TRUE(addressable == frame);
    EXPECT_EQ(maker->mCalls, 0);
}

TEST(PendingFrame, TakesNoMemoryForPixelsThatNobodyLooksAt)
{
    const std::uint64_t before = VF::FramePool::Instance().GetCounters().mBuffersInUse;
    const MF::IVideoFrameRef frame = NewPendingFrame(std::make_shared<CountingMaker>());
    EXPECT_EQ(VF::FramePool::Instance().GetCounters().mBuffersInUse, before);
    EXPECT_TRUE(HasItsRows(frame));
    EXPECT_EQ(VF::FramePool::Instance().GetCounters().mBuffersInUse, before + 1);
}

TEST(PendingFrame, IsCachedWithoutALook)
{
    const auto maker = std::make_shared<CountingMaker>();
    const MF::IVideoFrameRef frame = NewPendingFrame(maker);
    frame->Freeze();
    VF::FrameCache cache(1 << 20);
    const TVK::Guid key = TVK::Guid::CreateUnique();
    cache.Insert(frame, key, 0);
    EXPECT_EQ(cache.GetCounters().mBytes, kHeight * 128U) << "as if it were made";
    EXPECT_TRUE(cache.Retrieve(key) == frame);
    EXPECT_EQ(maker->mCalls, 0);
}

// Of a maker that only knows where the pixels lie.
class FrameWithoutPicture : public testing::Test
{
protected:
    FrameWithoutPicture()
    {
        mMaker->mOnlyKnowsWhere = true;
        mFrame = NewPendingFrame(mMaker);
    }

    std::shared_ptr<CountingMaker> mMaker = std::make_shared<CountingMaker>();
    MF::IVideoFrameRef mFrame;
    VF::FrameCache mCache{1 << 20};
    const TVK::Guid mKey = TVK::Guid::CreateUnique();
};

TEST_F(FrameWithoutPicture, IsCachedForWhomItWasAnnouncedToAndNoLonger)
{
    mCache.AddDependency(mKey);
    mCache.AddDependency(mKey);
    mCache.Insert(mFrame, mKey, 0);
    EXPECT_EQ(mCache.GetCounters().mBytes, 0u);
    EXPECT_EQ(mCache.GetCounters().mPinnedFrames, 1u);
    mCache.RemoveDependency(mKey);
    EXPECT_TRUE(mCache.Retrieve(mKey) == mFrame);
    mCache.RemoveDependency(mKey);
    EXPECT_FALSE(mCache.Retrieve(mKey));
    const VF::FrameCacheCounters counters = mCache.GetCounters();
    EXPECT_EQ(counters.mFrames + counters.mPinnedFrames + counters.mAnnouncedKeys + counters.mBytes, 0u);
    EXPECT_EQ(counters.mEvictions, 1u);
    EXPECT_EQ(mMaker->mCalls, 0);
}

TEST_F(FrameWithoutPicture, CountsAsIfItWereMadeWhereNobodyHasAnnouncedIt)
{
    mCache.Insert(mFrame, mKey, 0);
    EXPECT_TRUE(mCache.Retrieve(mKey) == mFrame);
    EXPECT_EQ(mCache.GetCounters().mBytes, kHeight * 128U);
    mCache.AddDependency(mKey);
    mCache.RemoveDependency(mKey);
    EXPECT_TRUE(mCache.Retrieve(mKey) == mFrame);
    EXPECT_EQ(mCache.GetCounters().mBytes, kHeight * 128U);
}

// That is looked for under a key of its own, while the one of what was read is forgotten.
TEST_F(FrameWithoutPicture, IsKeptAsTheResultOfARender)
{
    const TVK::Guid result = TVK::Guid::CreateUnique();
    mCache.AddDependency(mKey);
    mCache.Insert(mFrame, mKey, 0);
    mCache.Insert(mFrame, result, 0);
    mCache.RemoveDependency(mKey);
    EXPECT_FALSE(mCache.Retrieve(mKey));
    EXPECT_TRUE(mCache.Retrieve(result) == mFrame);
    EXPECT_EQ(mCache.GetCounters().mBytes, kHeight * 128U);
}

TEST_F(FrameWithoutPicture, IsKeptOnceItHasPixels)
{
    mCache.AddDependency(mKey);
    mCache.Insert(mFrame, mKey, 0);
    EXPECT_FALSE(VF::HoldsPicture(mFrame));
    EXPECT_TRUE(HasItsRows(mFrame));
    EXPECT_TRUE(VF::HoldsPicture(mFrame));
    mCache.RemoveDependency(mKey);
    EXPECT_TRUE(mCache.Retrieve(mKey) == mFrame);
    EXPECT_EQ(mCache.GetCounters().mBytes, kHeight * 128U);
    mCache.SetBudget(0);
    EXPECT_EQ(mCache.GetCounters().mBytes, 0u);
}

TEST_F(FrameWithoutPicture, DrivesNoOtherOut)
{
    const TVK::Guid other = TVK::Guid::CreateUnique();
    mCache.SetBudget(kHeight * 128U);
    mCache.Insert(NewFrame(), other, 0);
    mCache.AddDependency(mKey);
    mCache.Insert(mFrame, mKey, 10);
    EXPECT_TRUE(mCache.Retrieve(other));
    mCache.RemoveDependency(mKey);
    EXPECT_TRUE(mCache.Retrieve(other));
}

TEST_F(FrameWithoutPicture, HoldsThatOfAMakerWhoTakesOver)
{
    EXPECT_TRUE(VF::SetPendingMaker(mFrame, std::make_shared<CountingMaker>()));
    EXPECT_TRUE(VF::HoldsPicture(mFrame));
    mCache.AddDependency(mKey);
    mCache.Insert(mFrame, mKey, 0);
    EXPECT_EQ(mCache.GetCounters().mBytes, kHeight * 128U);
    mCache.Clear();
    EXPECT_EQ(mCache.GetCounters().mBytes, 0u);
}

TEST(PendingFrame, WithoutMemoryHasNoPixelsYet)
{
    const auto maker = std::make_shared<CountingMaker>();
    const MF::IVideoFrameRef frame = NewPendingFrame(maker);
    maker->mIsBroken = true;
    VF::FramePixels pixels;
    EXPECT_FALSE(VF::GetFramePixels(frame, pixels));
    EXPECT_EQ(VF::VideoFrameManipulators::CopyFrame(frame, NewFrame(), kRenderQuality_High),
              VF::kFrameStatus_OutOfMemory);
    for (const std::uint32_t field : {0u, 1u})
    {
        EXPECT_EQ(VF::VideoFrameManipulators::CopyFrameWithFields(frame, NewFrame(kPixelFormat_BGRA_4444_16u),
                                                                  kRenderQuality_High, field),
                  VF::kFrameStatus_OutOfMemory);
    }
    EXPECT_EQ(VF::VideoFrameManipulators::CopyFrameWithFields(frame, NewFrame(), kRenderQuality_High, 9),
              VF::kFrameStatus_BadArgument);
    EXPECT_FALSE(VF::ShareWithoutAlpha(frame, kPixelFormat_BGRX_4444_8u));
    EXPECT_FALSE(frame->IsFrozen());
    maker->mIsBroken = false;
    EXPECT_TRUE(HasItsRows(frame));
}

TEST(PendingFrame, IsOfFourComponents)
{
    MF::IVideoFrameRef frame;
    EXPECT_EQ(VF::CreatePendingFrame(frame, kPixelFormat_UYVY_422_8u_709, kWidth, kHeight, {1, 1},
                                     std::make_shared<CountingMaker>()),
              VF::kFrameStatus_BadArgument);
    EXPECT_FALSE(frame);
}

TEST(PendingFrame, IsWrittenToLikeAnyOther)
{
    const auto maker = std::make_shared<CountingMaker>();
    const MF::IVideoFrameRef frame = NewPendingFrame(maker);
    EXPECT_TRUE(VF::MakeWriteableVideoFrame(frame, kRenderQuality_High) == frame);
    static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(frame)->GetPixels())[0] = 77;
    const MF::IVideoFrameRef copy = NewFrame();
    ASSERT_EQ(VF::VideoFrameManipulators::CopyFrame(frame, copy, kRenderQuality_High), VF::kFrameStatus_OK);
    EXPECT_EQ(static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(copy)->GetPixels())[0], 77);

    frame->Freeze();
    const MF::IVideoFrameRef writeable = VF::MakeWriteableVideoFrame(frame, kRenderQuality_High);
    EXPECT_FALSE(writeable == frame);
    EXPECT_EQ(static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(writeable)->GetPixels())[0], 77);
}

} // namespace
