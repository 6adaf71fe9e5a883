// Two clients show the same layers at the same time: each frame is rendered once, and both get it.
//
//   layer_twins FRAMES
//
// Each client asks for frame after frame and waits for it. A render goes on until the other client's request has
// come as well, so that the count of shared renders is no matter of luck. The exit code is 0 if it's that of the
// frames.
#include "MF/IRenderableCutlist.h"
#include "ML/SharedExecutors.h"
#include "ReferenceHost/Executors/SharedExecutors.h"
#include "RenderFrame.h"
#include "RenderFrameQueue.h"
#include "RenderObserver.h"
#include "TVK/Allocated.h"
#include "Tests/Support/Layers/LayerNode.h"
#include "Tests/Support/Layers/LayerStack.h"
#include "Tests/Support/Layers/Shapes.h"
#include "VF/SharedVideoFrameCache.h"
#include "norvik/utility/Machine.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace
{

using norvik::utility::ImmutableString;
using norviktypes::TickTime;

constexpr std::int64_t kTicksOfFrame = 1000;
constexpr std::chrono::seconds kPatience(30); // far longer than the other client takes

std::atomic<int> sRenders{0};
std::atomic<int> sMerges{0};

class MergeObserver final : public ML::IRenderObserver
{
public:
    MergeObserver() { ML::SetRenderObserver(this); }
    ~MergeObserver() override { ML::SetRenderObserver(nullptr); }
    void OnRenderEvent(const ML::RenderEvent& inEvent) noexcept override
    {
        sMerges += inEvent.mKind == ML::RenderEventKind::kMerged ? 1 : 0;
    }
};

// Squares over a disc.
MF::IRenderableCutlistRef CreateLayers(int inFrames)
{
    const auto disc =
        [](const MF::FrameTime&, const ML::CutlistRenderParams& inParams, MF::IVideoFrameRef& outFrame)
    {
        outFrame = TestSupport::PaintSoftDisc(inParams.mWidth, inParams.mHeight, 0xFFF06090);
        return 0;
    };
    const auto checks =
        [](const MF::FrameTime&, const ML::CutlistRenderParams& inParams, MF::IVideoFrameRef& outFrame)
    {
        const int render = ++sRenders;
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (sMerges < render && std::chrono::steady_clock::now() < end)
        {
            std::this_thread::yield();
        }
        outFrame =
            TestSupport::PaintChecks(inParams.mWidth / 2, inParams.mHeight / 2, 0xFFF0D8A8, 0xFF8C4C3A);
        return 0;
    };
    return TestSupport::CutlistOfNode(
        TestSupport::CreateLayerStack(
            {TestSupport::CreateLayerNode("disc", disc), TestSupport::CreateLayerNode("checks", checks)}),
        TickTime((inFrames + 1) * kTicksOfFrame));
}

class Sequence final
    : public TVK::Implements<Sequence, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    explicit Sequence(MF::IRenderableCutlistRef inCutlist) : mCutlist(std::move(inCutlist)) {}
    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                   bool) override
    {
        outCutlist = mCutlist;
        return 0;
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString& inName,
                                     bool inRefresh) override
    {
        return GetPrimaryCutlist(outCutlist, inName, inRefresh);
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString& inName,
                                 bool inRefresh, bool) override
    {
        return GetPrimaryCutlist(outCutlist, inName, inRefresh);
    }
    TVK::Rect GetBounds() const override { return TVK::Rect{0, 0, 112, 84}; }
    norviktypes::PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    norviktypes::FieldType GetFieldType() const override { return norviktypes::kFieldType_FromSource; }
    norviktypes::FrameRate GetFrameRate() const override { return norviktypes::FrameRate(kTicksOfFrame); }

private:
    const MF::IRenderableCutlistRef mCutlist;
};

using Frames = std::vector<MF::IVideoFrameRef>;

Frames RenderAll(const MF::IRenderableCutlistProviderRef& inSequence, int inFrames)
{
    const ML::IRenderFrameRef renderFrame(new ML::RenderFrame);
    renderFrame->SetOutputRect(TVK::Rect{0, 0, 112, 84}, {});
    renderFrame->SetRenderFlags(0); // nothing is found in the cache
    Frames frames(static_cast<std::size_t>(inFrames));
    for (int i = 0; i < inFrames; ++i)
    {
        renderFrame->Render(TickTime(i * kTicksOfFrame), norviktypes::FrameRate(kTicksOfFrame), inSequence,
                            {norviktypes::kPixelFormat_BGRA_4444_8u}, true, 1000, 0,
                            frames[static_cast<std::size_t>(i)], nullptr);
    }
    return frames;
}

bool Report(const Frames& inFirst, const Frames& inSecond)
{
    std::size_t shared = 0;
    for (std::size_t i = 0; i < inFirst.size(); ++i)
    {
        shared += inFirst[i] && inFirst[i].get() == inSecond[i].get() ? 1 : 0;
    }
    std::printf("2 clients, %zu frames each: %d renders, %d merges, %zu frames shared\n", inFirst.size(),
                sRenders.load(), sMerges.load(), shared);
    const int frames = static_cast<int>(inFirst.size());
    return sRenders == frames && sMerges == frames && shared == inFirst.size();
}

} // namespace

int main(int inCount, char** inArguments)
{
    const int frames = inCount == 2 ? std::atoi(inArguments[1]) : 0;
    if (frames < 1)
    {
        std::fputs("layer_twins FRAMES\n", stderr);
        return 2;
    }
    norvik::utility::SetCPUCountOverride(2); // one renders, one finds that it is being rendered
    Executors::CreateSharedExecutors();
    ML::RenderFrameQueueRef queue = ML::RenderFrameQueue::Create();
    bool isFine = false;
    {
        const MergeObserver observer;
        const MF::IRenderableCutlistProviderRef sequence(new Sequence(CreateLayers(frames)));
        Frames first;
        std::thread other([&] { first = RenderAll(sequence, frames); });
        const Frames second = RenderAll(sequence, frames);
        other.join();
        isFine = Report(first, second);
    }
    VF::SharedVideoFrameCache::SetNotificationFunction({});
    queue.reset();
    Executors::StopSharedExecutors();
    return isFine ? 0 : 1;
}
