#include <atomic>
#include <barrier>
#include <chrono>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "FFmpegClips.h"
#include "LinearDecode.h"
#include "ReferenceHost/Media/FFmpeg/PictureChecksum.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

namespace
{

constexpr int kThreads = 8;

template <class Work>
void OnThreads(Work inWork)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number)
    {
        threads.emplace_back([inWork, number] { inWork(number); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

class FFmpegClip : public testing::TestWithParam<std::string>
{
};

TEST_P(FFmpegClip, EightThreadsAtRandomEqualALinearDecode)
{
    const auto file = MediaTests::OpenClipWithCache(GetParam(), 64 << 20);
    ASSERT_TRUE(file);
    const std::vector<MediaTests::LinearFrame> linear = MediaTests::DecodeLinearly(
        TestSupport::MediaPath(GetParam()), file->Facts().streamIndex, MediaTests::DecoderFor(GetParam()));
    ASSERT_EQ(file->FrameCount(), static_cast<std::int64_t>(linear.size()));
    const std::size_t requests = TestSupport::ScaledCount(40);
    const std::uint64_t seed = TestSupport::Seed();
    std::atomic<int> wrong{0};
    OnThreads(
        [&, seed](int inNumber)
        {
            std::mt19937_64 random(seed + static_cast<std::uint64_t>(inNumber));
            std::uint64_t rank = 0;
            for (std::size_t request = 0; request < requests; ++request)
            {
                // Runs of a few frames with jumps between, as readers do.
                rank = request % 5 == 0 ? random() % linear.size() : (rank + 1) % linear.size();
                const Media::FrameAnswer answer = file->GetFrame(static_cast<std::int64_t>(rank));
                const bool isRight =
                    answer.picture && Media::PictureChecksum(*answer.picture) == linear[rank].checksum;
                wrong += isRight ? 0 : 1;
            }
        });
    EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Clips, FFmpegClip, testing::ValuesIn(MediaTests::ClipNames()),
                         [](const testing::TestParamInfo<std::string>& inInfo)
                         { return MediaTests::TestName(inInfo.param); });

TEST(FFmpegDecoders, ThreadsThatShareARunDecodeItOnce)
{
    const auto file = MediaTests::OpenClipWithCache("h264_long.mp4", 64 << 20);
    std::atomic<int> failed{0};
    std::barrier round(kThreads); // as a host that keeps a window of frames in flight
    OnThreads(
        [&](int inNumber)
        {
            for (std::int64_t first = 0; first < file->FrameCount(); first += kThreads)
            {
                const std::int64_t rank = first + inNumber;
                failed += rank < file->FrameCount() && !file->GetFrame(rank).picture ? 1 : 0;
                round.arrive_and_wait();
            }
        });
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(file->Statistics().decoders, 1u);
    EXPECT_LE(file->Statistics().framesDecoded, 265u);
}

// Eight threads that ask a file for bare pictures, none of which was known before; one of them decodes some besides.
std::uint64_t PicturesDecodedForBareOnes(bool inDecodes)
{
    const auto file = MediaTests::OpenClipWithCache("raw_i420.avi", 64 << 20);
    std::atomic<int> missing{0};
    OnThreads(
        [&](int inNumber)
        {
            for (std::int64_t rank = 0; rank < file->FrameCount(); ++rank)
            {
                const bool isDecoded = inDecodes && inNumber == 0 && rank % 3 == 2;
                missing += isDecoded && !file->GetFrame(rank).picture ? 1 : 0;
                missing += file->PictureInFile(rank) ? 0 : 1;
            }
        });
    EXPECT_EQ(missing, 0);
    return file->Statistics().framesDecoded;
}

TEST(FFmpegDecoders, ThreadsFindOutAboutBarePicturesByOne)
{
    for (std::size_t round = 0; round < TestSupport::ScaledCount(20); ++round)
    {
        EXPECT_EQ(PicturesDecodedForBareOnes(false), 1u);
        EXPECT_GE(PicturesDecodedForBareOnes(true), 2u);
    }
}

TEST(FFmpegDecoders, ThreadsThatShareABackwardRunDecodeEachGroupOnce)
{
    const auto file = MediaTests::OpenClipWithCache("h264_long.mp4", 64 << 20);
    std::atomic<std::int64_t> next{249};
    std::atomic<int> failed{0};
    OnThreads(
        [&](int)
        {
            for (std::int64_t rank = next--; rank >= 0; rank = next--)
            {
                failed += file->GetFrame(rank).picture ? 0 : 1;
            }
        });
    EXPECT_EQ(failed, 0);
    EXPECT_LE(file->Statistics().framesDecoded, 325u);
}

TEST(FFmpegDecoders, CancelWakesAllThatWait)
{
    for (std::size_t round = 0; round < TestSupport::ScaledCount(20); ++round)
    {
        const auto file = MediaTests::OpenClipWithCache("h264_long.mp4", 1 << 20);
        std::atomic<int> started{0};
        std::thread canceller(
            [&]
            {
                while (started < kThreads)
                {
                    std::this_thread::yield();
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(round % 7));
                file->Cancel();
            });
        OnThreads(
            [&](int inNumber)
            {
                ++started;
                for (std::int64_t rank = 249 - inNumber; rank >= 0; rank -= 7)
                {
                    if (file->GetFrame(rank).status == Media::FrameStatus::kCancelled)
                    {
                        return;
                    }
                }
            });
        canceller.join();
        EXPECT_EQ(file->GetFrame(0).status, Media::FrameStatus::kCancelled);
    }
}

}
