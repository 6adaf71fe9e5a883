#include "ReferenceHost/Media/FramesInTheMaking.h"

#include "BE/IVideoSource.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Scale.h"
#include "VF/SharedVideoFrameCache.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

constexpr std::uint32_t kSeed = 20261121;
constexpr std::size_t kKeys = 8;

TVK::Guid Key(std::size_t inNumber)
{
    return TVK::Guid(0x5354, inNumber + 1);
}

// At most one thread makes a frame at a time, whatever the others ask for, and an announced frame is made once.
TEST(FramesInTheMakingStress, FramesHaveOneMakerAtATime)
{
    TestSupport::EmptyFrameCache();
    std::array<std::atomic<int>, kKeys> makers{};
    std::array<std::atomic<int>, kKeys> made{};
    for (std::size_t key = 0; key < kKeys / 2; ++key)
    {
        VF::SharedVideoFrameCache::RegisterDependencyOnFrame(Key(key));
    }
    std::vector<std::thread> threads;
    const int rounds = static_cast<int>(TestSupport::ScaledCount(20000));
    for (std::uint32_t index = 0; index < 6; ++index)
    {
        threads.emplace_back(
            [&, index]
            {
                std::mt19937 random(kSeed + index);
                for (int round = 0; round < rounds; ++round)
                {
                    const std::size_t key = random() % kKeys;
                    const bool atOnce = random() % 4 == 0;
                    const std::uint32_t fate = random() % 8;
                    MF::IVideoFrameRef frame;
                    const auto make = [&](MF::IVideoFrameRef& outFrame) -> std::int32_t
                    {
                        EXPECT_EQ(++makers[key], 1);
                        const bool fails = key >= kKeys / 2 && fate < 2;
                        if (!atOnce && !fails)
                        {
                            outFrame = TestSupport::NewFrame(norviktypes::kPixelFormat_BGRA_4444_8u, 8, 4);
                            ++made[key];
                        }
                        --makers[key];
                        if (!atOnce && fails && fate == 0)
                        {
                            throw std::runtime_error("broken");
                        }
                        return atOnce ? Media::kSourceStatus_NotAtHand
                                      : (fails ? BE::kSourceStatus_BadMedia : BE::kSourceStatus_OK);
                    };
                    try
                    {
                        const std::int32_t status = Media::ShareFrame(Key(key), atOnce, make, frame);
                        EXPECT_EQ(status >= 0, static_cast<bool>(frame));
                        EXPECT_TRUE(atOnce || status != Media::kSourceStatus_NotAtHand);
                    }
                    catch (const std::runtime_error&)
                    {
                        EXPECT_GE(key, kKeys / 2);
                    }
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    for (std::size_t key = 0; key < kKeys / 2; ++key)
    {
        EXPECT_EQ(made[key], 1);
        VF::SharedVideoFrameCache::UnregisterDependencyOnFrame(Key(key));
    }
    EXPECT_EQ(Media::FramesInTheMaking().mFrames, 0u);
    TestSupport::EmptyFrameCache();
}

} // namespace
