#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "Tests/Support/Scale.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace
{

constexpr std::uint32_t kSide = 16;
constexpr int kThreads = 4;
constexpr int kCode = 99;

class CountingMaker final : public VF::IPixelMaker
{
public:
    std::int32_t MakeRows(std::uint32_t, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const override
    {
        ++mCalls;
        for (std::uint32_t row = 0; row < inCount; ++row)
        {
            std::memset(outPixels + static_cast<std::ptrdiff_t>(row) * inRowBytes, kCode, kSide * 4);
        }
        return VF::kFrameStatus_OK;
    }

    mutable std::atomic<int> mCalls{0};
};

bool IsMade(const MF::IVideoFrameRef& inFrame)
{
    const auto* bytes = static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
    return bytes[0] == kCode && bytes[(kSide - 1) * 4 + 3] == kCode;
}

// Half of the threads look at the frame, the others copy it; all see the same pixels.
TEST(PendingFrame, IsMadeOnceForAllThatLookAtOnce)
{
    const std::size_t rounds = TestSupport::ScaledCount(300);
    for (std::size_t round = 0; round < rounds; ++round)
    {
        const auto maker = std::make_shared<CountingMaker>();
        MF::IVideoFrameRef frame;
        ASSERT_EQ(VF::CreatePendingFrame(frame, norviktypes::kPixelFormat_BGRA_4444_8u, kSide, kSide, {1, 1},
                                         maker),
                  VF::kFrameStatus_OK);
        frame->Freeze();
        std::atomic<int> right{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
        {
            threads.emplace_back(
                [&, i]
                {
                    MF::IVideoFrameRef seen = frame;
                    if (i % 2 != 0)
                    {
                        seen.reset();
                        frame->CreateCompatibleFrame(seen);
                        VF::VideoFrameManipulators::CopyFrame(frame, seen, norviktypes::kRenderQuality_High);
                    }
                    right += IsMade(seen) ? 1 : 0;
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        EXPECT_EQ(right, kThreads);
        EXPECT_GE(maker->mCalls, 1);
        EXPECT_LE(maker->mCalls, 1 + kThreads / 2) << "once in its own pixels, and in each copy";
        EXPECT_EQ(VF::PendingMakerOf(frame), nullptr);
    }
}

} // namespace
