#include "MF/PixelFormats.h"
#include "ReferenceHost/Effects/EffectRegistry.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Scale.h"

#include <fstream>
#include <functional>
#include <thread>

// One filter or transition object used by several renders at once.
namespace
{

using namespace EffectScenes;

constexpr std::size_t kThreads = 4;

// Does the same on all threads; returns when all have done it.
void OnAllThreads(const std::function<void(std::size_t)>& inWork)
{
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread)
    {
        threads.emplace_back(inWork, thread);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

TEST(EffectsStress, OneFilterDrawsTheSamePictureOnAllThreads)
{
    const TestSupport::ScratchFolder folder;
    std::ofstream(folder.File("a.cube")) << "LUT_1D_SIZE 2\n1 1 1\n0 0 0\n";
    const auto frame = FrameOf(Noise(64, 32, 3), MF::kPixelFormat_BGRA_4444_8u);
    frame->Freeze();
    for (const Effects::EffectDescription* effect : Effects::GetEffectRegistry().List())
    {
        const auto filter = Effects::GetEffectRegistry().CreateFilter(effect->mId);
        if (!filter)
        {
            continue;
        }
        const MF::KeyframeStore parameters = effect->mId == "vrender:lut"
                                                 ? StoreOf({{0, TextValue(folder.File("a.cube"))}})
                                                 : MF::KeyframeStore();
        ML::VideoFilterRender render;
        render.mParameters = &parameters;
        MF::IVideoFrameRef frames[kThreads];
        OnAllThreads(
            [&](std::size_t inThread)
            {
                for (std::size_t i = 0; i < TestSupport::ScaledCount(20); ++i)
                {
                    filter->Render(render, frame, frames[inThread]);
                }
            });
        for (const MF::IVideoFrameRef& result : frames)
        {
            ASSERT_TRUE(result) << effect->mId;
            EXPECT_TRUE(AreNear(SceneOf(result), SceneOf(frames[0]), 0.0)) << effect->mId;
        }
    }
}

TEST(EffectsStress, OneTransitionDrawsEachFrameOnItsThread)
{
    const TestSupport::ScratchFolder folder;
    SavePicture(FrameOf(Noise(16, 16, 9, true), MF::kPixelFormat_BGRA_4444_8u), folder.File("map.png"));
    const auto from = FrameOf(Noise(64, 32, 3), MF::kPixelFormat_BGRA_4444_8u);
    const auto to = FrameOf(Noise(64, 32, 4), MF::kPixelFormat_BGRA_4444_8u);
    const norviktypes::FrameRate rate = norviktypes::FrameRate::FromRational(25, 1);
    for (const Effects::EffectDescription* effect : Effects::GetEffectRegistry().List())
    {
        const bool isLuma = effect->mId == "vrender:luma-wipe";
        const Values values = isLuma ? Values{{0, TextValue(folder.File("map.png"))}} : Values();
        const auto parameters = std::make_shared<const MF::KeyframeStore>(StoreOf(values));
        const auto transition = Effects::GetEffectRegistry().CreateTransition(effect->mId, {}, parameters);
        if (!transition)
        {
            continue;
        }
        MF::IVideoFrameRef frames[kThreads];
        OnAllThreads(
            [&](std::size_t inThread)
            {
                ML::VideoTransitionRender render;
                render.mFrameRate = rate;
                render.mFrameCount = kThreads;
                render.mTime = norviktypes::TickTime::FromFrame(static_cast<std::int64_t>(inThread), rate);
                for (std::size_t i = 0; i < TestSupport::ScaledCount(20); ++i)
                {
                    from->CreateCompatibleFrame(frames[inThread]);
                    transition->Render(render, frames[inThread], to, from);
                }
            });
        for (std::size_t thread = 0; thread < kThreads; ++thread)
        {
            const auto alone =
                RunTransition(effect->mId, values, {static_cast<std::int64_t>(thread), kThreads}, from, to);
            ASSERT_TRUE(alone) << effect->mId;
            EXPECT_TRUE(AreNear(SceneOf(frames[thread]), SceneOf(alone), 0.0)) << effect->mId;
        }
    }
}

} // namespace
