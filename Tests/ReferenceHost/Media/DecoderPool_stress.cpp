#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "FFmpegClips.h"
#include "Tests/Support/Scale.h"

// Readers that compete for one decoder.
namespace
{

using namespace std::chrono_literals;

constexpr std::int64_t kFar = 240;
constexpr std::int64_t kNear = 5;

// Those who join a decoder on its way get their picture from its driver and leave without driving. Who waits for
// any decoder, as the one here that wants a frame far behind, can be looked at meanwhile and find it still joined:
// the last who leaves must tell.
TEST(DecoderPoolStress, WhoWaitsForAnyDecoderIsToldWhenTheLastWhoJoinedItLeaves)
{
    Media::FileOptions options;
    options.maximumDecoders = 1;
    options.cacheBytes = 1;
    options.keepsLeadIn = false;
    const auto file = MediaTests::OpenClip("h264_long.mp4", options);
    ASSERT_TRUE(file);
    const auto get = [&](std::int64_t inRank) { return file->GetFrame(inRank).status; };
    const std::uint64_t rounds = TestSupport::ScaledCount(60);
    for (std::uint64_t round = 0; round < rounds; ++round)
    {
        std::vector<std::future<Media::FrameStatus>> readers;
        readers.push_back(std::async(std::launch::async, get, kFar));
        std::this_thread::sleep_for(1ms);
        for (int joined = 0; joined < 6; ++joined)
        {
            readers.push_back(std::async(std::launch::async, get, kFar));
        }
        readers.push_back(std::async(std::launch::async, get, kNear));
        bool isStuck = false;
        for (auto& reader : readers)
        {
            isStuck = isStuck || reader.wait_for(240s) != std::future_status::ready;
        }
        if (isStuck)
        {
            file->Cancel(); // so that the test ends
            FAIL() << "a reader waits for ever, round " << round;
        }
        for (auto& reader : readers)
        {
            EXPECT_EQ(reader.get(), Media::FrameStatus::kOk);
        }
    }
}

}
