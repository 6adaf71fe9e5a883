// One clip on many threads: frozen, it is read by all of them, and its frames meet in the cache.

#include "MF/ITimeTransform.h"
#include "MF/PixelFormats.h"
#include "RenderableNodeClipImpl.h"
#include "RenderableNodeOperator.h"
#include "TVK/HashValue.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace
{

using MF::FrameTime;
using norviktypes::TickTime;

constexpr std::int64_t kFrame = 10160640000; // 25 frames a second
constexpr int kThreads = 4;
constexpr int kFrames = 16;

FrameTime At(std::int64_t inFrame)
{
    return FrameTime(TickTime(kFrame * inFrame));
}

// Paints the number of the frame. Has no state.
class Media final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider,
                                        ML::IRenderableNodeProducer>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("Media");
    }
    ML::IRenderableNodeProducerRef GetProducerForFrame(const FrameTime&,
                                                       const ML::CutlistRenderParams&) override
    {
        return AsProducer();
    }
    std::int32_t GetFrame(const FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        const auto number = static_cast<std::uint8_t>(inTime.Earlier().GetTicks() / kFrame);
        outFrame = TestSupport::NewFilledFrame(inParams.mPixelFormat, 8, 4, {number, number, number, 255});
        return 0;
    }
    void GetFrameHash(TVK::Guid& outHash, const FrameTime& inTime, const ML::CutlistRenderParams&,
                      const TVK::Guid& inBaseHash) override
    {
        TVK::HashValue hash(inBaseHash);
        hash.MixText("stress of clips");
        hash.MixI64(inTime.mFirstTime.GetTicks());
        outHash = hash.AsGuid();
    }
};

// Gives the frame of the moment before, as it is below.
class LookBack final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeOperatorProvider>
{
public:
    norvik::utility::ImmutableString GetNodeType() const override
    {
        return norvik::utility::ImmutableString::CreateStatic("LookBack");
    }
    ML::IRenderableNodeOperatorRef GetOperatorForFrame(const FrameTime&,
                                                       const ML::CutlistRenderParams&) override
    {
        return ML::IRenderableNodeOperatorRef(new Operator());
    }

private:
    class Operator final : public TVK::Implements<Operator, ML::IRenderableNodeOperator>
    {
    public:
        std::int32_t ApplyToFrame(const FrameTime& inClipTime, const FrameTime&,
                                  const ML::CutlistRenderParams&, const MF::IVideoFrameRef&,
                                  const ML::SubTreeRenderRef& inSubTree,
                                  MF::IVideoFrameRef& outFrame) override
        {
            inSubTree->RenderFrame(inClipTime.Earlier() - TickTime(kFrame), outFrame, false);
            return 0;
        }
        void GetFrameHash(TVK::Guid& outHash, const FrameTime&, const ML::CutlistRenderParams&,
                          const TVK::Guid& inBaseHash) override
        {
            TVK::HashValue hash(inBaseHash);
            hash.MixText("look back");
            outHash = hash.AsGuid();
        }
    };
};

class Clip final : public ML::RenderableNodeClipImpl
{
public:
    using RenderableNodeClipImpl::mTimeTransform;
};

TVK::InterfaceRef<Clip> MakeClip()
{
    const TVK::InterfaceRef<Media> media(new Media());
    media->Finalize();
    const TVK::InterfaceRef<LookBack> effect(new LookBack());
    effect->Finalize();
    TVK::InterfaceRef<Clip> clip(new Clip());
    clip->AppendInput(MF::IRenderableNodeRef(media.get()), TickTime());
    clip->AppendOperator(MF::IRenderableNodeRef(effect.get()));
    clip->mTimeTransform = MF::CreateTimeTransform(TickTime(kFrame * 100), 1.0, TickTime(1), TickTime());
    clip->Finalize();
    return clip;
}

ML::CutlistRenderParams Params()
{
    ML::CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = 16;
    params.mHeight = params.mSourceHeight = 8;
    params.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    params.mRenderFlags = ML::kRenderFlag_CacheParts;
    return params;
}

template <class Work>
void RunOnAll(const Work& inWork)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
    {
        threads.emplace_back([&inWork, thread] { inWork(thread); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

TEST(ClipNodesStress, AllThreadsGetTheSameFrames)
{
    for (std::size_t round = 0; round < TestSupport::ScaledCount(20); ++round)
    {
        TestSupport::EmptyFrameCache();
        const TVK::InterfaceRef<Clip> clip = MakeClip();
        std::atomic<int> wrong{0};
        RunOnAll(
            [&](int thread)
            {
                for (int step = 0; step < kFrames; ++step)
                {
                    const int number = (step + thread) % kFrames;
                    MF::IVideoFrameRef frame;
                    const ML::IRenderableNodeProducerRef producer =
                        clip->GetProducerForFrame(At(number), Params());
                    const bool isRight = producer->GetFrame(At(number), Params(), frame) == 0 && frame &&
                                         TestSupport::PixelAt(frame, 8, 4)[0] == 99 + number;
                    wrong += isRight ? 0 : 1;
                }
            });
        EXPECT_EQ(wrong, 0);
    }
    TestSupport::EmptyFrameCache();
}

TEST(ClipNodesStress, AViewOfAClipThatDiesShowsItOrNothing)
{
    for (std::size_t round = 0; round < TestSupport::ScaledCount(200); ++round)
    {
        TVK::InterfaceRef<Clip> clip = MakeClip();
        const ML::IRenderableNodeProducerProviderRef view = clip->GetSubTrees()[0];
        RunOnAll(
            [&](int thread)
            {
                if (thread == 0)
                {
                    clip.reset();
                    return;
                }
                const ML::IRenderableNodeProducerRef producer = view->GetProducerForFrame(At(3), Params());
                TVK::Guid hash;
                if (producer)
                {
                    producer->GetFrameHash(hash, At(3), Params(), TVK::Guid());
                    EXPECT_FALSE(hash.IsZero());
                }
            });
        EXPECT_FALSE(view->GetProducerForFrame(At(3), Params()));
    }
}

} // namespace
