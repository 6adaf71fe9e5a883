#include "Tests/MediaNodes/MediaNodeTests.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace
{

using namespace MediaNodeTests;

struct Shown
{
    TVK::Guid mHash;
    std::vector<std::uint8_t> mPixel;

    friend bool operator==(const Shown&, const Shown&) = default;
};

Shown ShownAt(const NodeRef& inNode, std::int64_t inFrame)
{
    const MF::FrameTime time{Frames(inFrame)};
    const ML::CutlistRenderParams params = Params(64, 36);
    const auto producer = inNode->GetProducerForFrame(time, params);
    Shown shown;
    producer->GetFrameHash(shown.mHash, time, params, {});
    MF::IVideoFrameRef frame;
    producer->GetFrame(time, params, frame);
    shown.mPixel = TestSupport::PixelAt(frame, 0, 0);
    std::vector<ML::IRenderableNodePrefetchRef> items;
    inNode->GetPrefetchesForFrame(time, params, items);
    return shown;
}

// One frozen node for all threads: each of them sees what one thread alone sees.
TEST(MediaNodeStress, OneNodeServesAllThreads)
{
    constexpr std::int64_t kFrames = 50;
    Scene scene;
    scene.mClip->mFrameRect = {0, 0, 64, 36};
    const NodeRef node = scene.Build();
    std::vector<Shown> expected;
    for (std::int64_t frame = 0; frame < kFrames; ++frame)
    {
        expected.push_back(ShownAt(node, frame));
    }
    const auto rounds = TestSupport::ScaledCount(20);
    std::vector<std::int64_t> wrong(4, 0);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < wrong.size(); ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                for (std::size_t round = 0; round < rounds; ++round)
                {
                    for (std::int64_t frame = 0; frame < kFrames; ++frame)
                    {
                        const auto asked = static_cast<std::size_t>(
                            (frame * 7 + static_cast<std::int64_t>(thread)) % kFrames);
                        wrong[thread] +=
                            ShownAt(node, static_cast<std::int64_t>(asked)) == expected[asked] ? 0 : 1;
                    }
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<std::int64_t>(4, 0));
}

} // namespace
