#include "ReferenceHost/Media/FFmpeg/PicturePool.h"

#include <gtest/gtest.h>

#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"

namespace
{

constexpr std::size_t kBlock = std::size_t{2} << 20;

class PicturePool : public testing::Test
{
protected:
    ~PicturePool() override
    {
        while (!mHeld.empty())
        {
            Drop();
        }
    }

    void Take(std::size_t inBytes = kBlock)
    {
        std::uint8_t* bytes = nullptr;
        mHeld.push_back(mPool->NewBuffer(inBytes, bytes));
        ASSERT_TRUE(mHeld.back());
        EXPECT_EQ(bytes, mHeld.back()->data);
    }
    void Drop()
    {
        av_buffer_unref(&mHeld.back());
        mHeld.pop_back();
    }

    const std::shared_ptr<Media::PicturePool> mPool = std::make_shared<Media::PicturePool>(4 * kBlock);
    std::vector<AVBufferRef*> mHeld;
};

TEST_F(PicturePool, HandsOutAgainWhatCameBack)
{
    Take();
    const void* const first = mHeld[0]->data;
    Drop();
    EXPECT_EQ(mPool->LiveBytes(), 0);
    EXPECT_EQ(mPool->SpareBytes(), static_cast<std::int64_t>(kBlock));
    Take();
    EXPECT_EQ(mHeld[0]->data, first);
    EXPECT_EQ(mPool->FreshBlocks(), 1u);
    EXPECT_EQ(mPool->SpareBytes(), 0);
}

TEST_F(PicturePool, LeavesSpareOnlyTheRoomThatLiveBlocksLeave)
{
    constexpr auto kLimit = static_cast<std::int64_t>(4 * kBlock);
    for (int count = 0; count < 6; ++count)
    {
        Take();
    }
    EXPECT_GT(mPool->LiveBytes(), kLimit); // never refused
    while (!mHeld.empty())
    {
        Drop();
        EXPECT_LE(mPool->SpareBytes(), std::max<std::int64_t>(0, kLimit - mPool->LiveBytes()));
    }
    EXPECT_EQ(mPool->SpareBytes(), kLimit);
    Take(3 * kBlock); // of another size: spare ones make room
    EXPECT_LE(mPool->SpareBytes() + mPool->LiveBytes(), kLimit);
}

TEST_F(PicturePool, OutlivesItsOwnerWithTheLastBuffer)
{
    auto pool = std::make_shared<Media::PicturePool>(kBlock);
    std::uint8_t* bytes = nullptr;
    AVBufferRef* buffer = pool->NewBuffer(kBlock, bytes);
    const std::weak_ptr<Media::PicturePool> watcher = pool;
    pool.reset();
    EXPECT_FALSE(watcher.expired());
    av_buffer_unref(&buffer);
    EXPECT_TRUE(watcher.expired());
}

}
