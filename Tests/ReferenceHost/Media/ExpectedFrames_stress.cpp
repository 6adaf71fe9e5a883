#include "ReferenceHost/Media/FFmpeg/PictureChecksum.h"
#include "Tests/ReferenceHost/Media/FFmpegClips.h"
#include "Tests/ReferenceHost/Media/LinearDecode.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int kThreads = 8;

// Short pieces all over the stream.
std::vector<Media::FrameRun> SomeRuns(std::mt19937_64& ioRandom, std::int64_t inCount)
{
    std::vector<Media::FrameRun> runs;
    for (int piece = 0; piece < 6; ++piece)
    {
        const auto begin = static_cast<std::int64_t>(ioRandom() % static_cast<std::uint64_t>(inCount));
        runs.push_back({begin, begin + 1 + static_cast<std::int64_t>(ioRandom() % 8)});
    }
    return runs;
}

} // namespace

TEST(ExpectedFramesStress, WhateverIsExpectedMeanwhileThreadsGetTheirPictures)
{
    for (const std::string name : {"h264_b.mp4", "h264_open.ts", "hevc_open.ts"})
    {
        const auto file = MediaTests::OpenClipWithCache(name, 8 << 20);
        ASSERT_TRUE(file);
        const std::vector<MediaTests::LinearFrame> linear =
            MediaTests::DecodeLinearly(TestSupport::MediaPath(name), 0);
        const std::size_t requests = TestSupport::ScaledCount(60);
        const std::uint64_t seed = TestSupport::Seed();
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int number = 0; number < kThreads; ++number)
        {
            threads.emplace_back(
                [&, number]
                {
                    std::mt19937_64 random(seed + static_cast<std::uint64_t>(number));
                    for (std::size_t request = 0; request < requests; ++request)
                    {
                        if (number == 0 && request % 8 == 0)
                        {
                            file->Expect(SomeRuns(random, file->FrameCount()));
                        }
                        const std::size_t rank = random() % linear.size();
                        const Media::FrameAnswer answer = file->GetFrame(static_cast<std::int64_t>(rank));
                        const bool isRight = answer.picture &&
                                             Media::PictureChecksum(*answer.picture) == linear[rank].checksum;
                        wrong += isRight ? 0 : 1;
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        EXPECT_EQ(wrong, 0) << name;
    }
}
