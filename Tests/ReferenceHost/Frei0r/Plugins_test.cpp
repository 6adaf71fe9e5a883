#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Effects/Frei0r/CallGuard.h"
#include "ReferenceHost/Effects/Frei0r/Plugin.h"
#include "ReferenceHost/Effects/Frei0r/PluginProvider.h"
#include "ReferenceHost/Effects/Frei0r/Sandbox.h"
#include "ReferenceHost/Effects/Frei0r/Scan.h"
#include "TVK/Allocated.h"
#include "Tests/ReferenceHost/Frei0r/TestPlugins.h"
#include "Tests/Support/Paths.h"

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <clocale>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <thread>

#if __has_include(<frei0r.h>)
#define VR_HAS_FREI0R_HEADER 1
#include <frei0r.h>
#endif

using Effects::EffectKind;
using EffectScenes::FrameOf;
using EffectScenes::Noise;
using EffectScenes::Scene;
using EffectScenes::SceneOf;
using Frei0r::PluginTraits;
using TestPlugins::Draw;
using TestPlugins::MakePlugin;
using TestPlugins::PathOf;

namespace
{

const norviktypes::FrameRate kRate(norviktypes::kTicksPerSecond / 25);

// The plug-ins of the tests or of the machine, and what is built in.
std::unique_ptr<Effects::EffectRegistry> RegistryOf(const std::string& inFolder)
{
    auto registry = std::make_unique<Effects::EffectRegistry>();
    registry->AddProvider(Frei0r::CreatePluginProvider({{inFolder}, ""}));
    return registry;
}

std::string TestFolder()
{
    return VR_TEST_PLUGINS "/good";
}

int Byte(double inComponent)
{
    return static_cast<int>(inComponent * 255.0 + 0.5);
}

std::vector<int> BytesAt(const Scene& inScene, int inX)
{
    const EffectScenes::Pixel& pixel = inScene.At(inX, 0);
    return {Byte(pixel[0]), Byte(pixel[1]), Byte(pixel[2]), Byte(pixel[3])};
}

Scene Filtered(const Effects::EffectRegistry& inRegistry, const std::string& inName,
               const EffectScenes::Values& inValues, const Scene& inScene, double inSeconds = 0.0)
{
    const ML::IVideoFilterRef filter = inRegistry.CreateFilter(inName);
    const MF::KeyframeStore parameters = EffectScenes::StoreOf(inValues);
    ML::VideoFilterRender render;
    render.mFrameRate = kRate;
    render.mSequenceTime = norviktypes::TickTime::FromSeconds(inSeconds);
    render.mParameters = &parameters;
    MF::IVideoFrameRef frame;
    const bool isDrawn =
        filter && filter->Render(render, FrameOf(inScene, MF::kPixelFormat_BGRA_4444_8u), frame) >= 0;
    return isDrawn ? SceneOf(frame) : Scene{};
}

Scene Between(const Effects::EffectRegistry& inRegistry, const std::string& inName, const Scene& inFrom,
              const Scene& inTo, std::int64_t inFrame)
{
    const auto transition = inRegistry.CreateTransition(inName, {}, nullptr);
    const MF::IVideoFrameRef from = FrameOf(inFrom, MF::kPixelFormat_BGRA_4444_8u);
    MF::IVideoFrameRef frame;
    ML::VideoTransitionRender render;
    render.mFrameRate = kRate;
    render.mFrameCount = 10;
    render.mEnd = norviktypes::TickTime::FromFrame(10, kRate);
    render.mTime = norviktypes::TickTime::FromFrame(inFrame, kRate);
    const bool isDrawn =
        transition && from->CreateCompatibleFrame(frame) >= 0 &&
        transition->Render(render, frame, FrameOf(inTo, MF::kPixelFormat_BGRA_4444_8u), from) >= 0;
    return isDrawn ? SceneOf(frame) : Scene{};
}

} // namespace

TEST(PluginCalls, GiveTimeAndEveryParameter)
{
    const auto registry = RegistryOf(TestFolder());
    const Scene noise = Noise(21, 9, 3, true);
    const Scene told = Filtered(*registry, "frei0r:tells", {}, noise, 1.2);
    ASSERT_EQ(told.width, 21);
    EXPECT_EQ(BytesAt(told, 0), (std::vector<int>{50, 200, 120, 255}));
    EXPECT_EQ(BytesAt(told, 1), (std::vector<int>{0, 255, 0, 255}));
    EXPECT_EQ(BytesAt(told, 2), (std::vector<int>{100, 25, 'a', 255}));
    const Scene other =
        Filtered(*registry, "frei0r:tells",
                 {{2, EffectScenes::ColorValue(10, 20, 30)}, {4, EffectScenes::TextValue("xyz")}}, noise);
    EXPECT_EQ(BytesAt(other, 0), (std::vector<int>{50, 200, 0, 255}));
    EXPECT_EQ(BytesAt(other, 1), (std::vector<int>{10, 20, 30, 255}));
    EXPECT_EQ(BytesAt(other, 2)[2], 'x');
    EXPECT_EQ(BytesAt(Filtered(*registry, "frei0r:tells", {}, noise), 2)[2], 'a')
        << "an instance that is used again keeps nothing";
}

TEST(PluginCalls, RoundSidesUpToBlocksByTheLastPixels)
{
    const auto registry = RegistryOf(TestFolder());
    const Scene noise = Noise(21, 9, 3, true);
    const Scene told = Filtered(*registry, "frei0r:tells", {}, noise);
    EXPECT_EQ(BytesAt(told, 3), (std::vector<int>{24, 16, 1, 255})) << "24 by 16, apart and aligned";
    const EffectScenes::Pixel& corner = noise.At(20, 8);
    EXPECT_EQ(BytesAt(told, 4),
              (std::vector<int>{Byte(corner[0]), Byte(corner[1]), Byte(corner[2]), Byte(corner[3])}));
    EXPECT_EQ(told.At(20, 8), SceneOf(FrameOf(noise, MF::kPixelFormat_BGRA_4444_8u)).At(20, 8));
}

TEST(PluginCalls, LeaveClearWhatAPluginDoesNotDraw)
{
    const auto plugin = MakePlugin(PathOf("sparse"), {});
    ASSERT_TRUE(plugin);
    EXPECT_EQ(Draw(*plugin, {Noise(16, 8, 1)}, 0.0), std::vector<unsigned char>(16 * 8 * 4, 0));
}

TEST(PluginCalls, UseInstancesAgainForTheirSizeAlone)
{
    const auto plugin = MakePlugin(PathOf("counts"), {});
    ASSERT_TRUE(plugin);
    EXPECT_EQ(Draw(*plugin, {Noise(16, 8, 1)}, 0.0).at(0), 1);
    EXPECT_EQ(Draw(*plugin, {Noise(16, 8, 1)}, 0.0).at(0), 2);
    EXPECT_EQ(Draw(*plugin, {Noise(24, 8, 1)}, 0.0).at(0), 1);
    EXPECT_EQ(Draw(*plugin, {Noise(15, 7, 1)}, 0.0).at(0), 3) << "15 by 7 is worked on as 16 by 8";
    EXPECT_EQ(plugin->IdleInstances(), 2u);
    for (int width = 32; width < 32 + 8 * 40; width += 8)
    {
        Draw(*plugin, {Noise(width, 8, 1)}, 0.0);
    }
    EXPECT_EQ(plugin->IdleInstances(), 32u) << "only so many wait";
}

TEST(PluginCalls, KeepInstancesToTheirParametersThatRememberThem)
{
    for (const bool isBound : {false, true})
    {
        Frei0r::PluginTraits traits;
        traits.mIsBound = isBound;
        const auto plugin = MakePlugin(PathOf("tells"), traits);
        ASSERT_TRUE(plugin);
        for (const double level : {0.2, 0.6, 0.2})
        {
            EXPECT_FALSE(Draw(*plugin, {Noise(8, 8, 1)}, 0.0, level).empty());
        }
        EXPECT_EQ(plugin->IdleInstances(), isBound ? 2u : 1u);
    }
}

TEST(PluginCalls, GuardRoundingAndDecimalPoints)
{
    std::fesetround(FE_UPWARD);
    {
        const Frei0r::CallGuard guard;
        EXPECT_EQ(std::fegetround(), FE_TONEAREST);
        std::fesetround(FE_DOWNWARD);
        EXPECT_STREQ(::localeconv()->decimal_point, ".");
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
}

TEST(PluginCalls, FailWhereTheFileIsNotWhatItWas)
{
    Frei0r::ScannedPlugin changed;
    changed.mFile = TestPlugins::FileOf(PathOf("tells"));
    Frei0r::Plugin plugin(changed, {});
    EXPECT_FALSE(plugin.Load()) << "it had no parameters when it was looked at";
    EXPECT_TRUE(Draw(plugin, {Noise(8, 8, 1)}, 0.0).empty());
}

TEST(PluginTransitions, GoFromTheFirstPictureToTheSecondByTheFader)
{
    Frei0r::TraitTable traits;
    traits.Add("fader=Level: mixer");
    EXPECT_EQ(traits.Of("mixer").mFader, "Level");
    for (const char* name : {"xfade0r", "blend", "cairoblend"})
    {
        if (!TestPlugins::IsOnMachine(name))
        {
            GTEST_SKIP() << "the package frei0r-plugins is not installed";
        }
        const auto registry = RegistryOf(TestPlugins::MachineFolder());
        const Scene from = EffectScenes::Filled(13, 7, {0.8, 0.2, 0.4, 1.0});
        const Scene to = EffectScenes::Filled(13, 7, {0.1, 0.6, 1.0, 1.0});
        const Scene half = EffectScenes::Filled(13, 7, {0.45, 0.4, 0.7, 1.0});
        const std::string id = std::string("frei0r:") + name;
        // xfade0r scales by 255 / 256, which takes up to three codes in all.
        EXPECT_TRUE(EffectScenes::AreNear(Between(*registry, id, from, to, 0), from, 3.1 / 255)) << name;
        EXPECT_TRUE(EffectScenes::AreNear(Between(*registry, id, from, to, 5), half, 3.1 / 255)) << name;
        EXPECT_TRUE(EffectScenes::AreNear(Between(*registry, id, from, to, 10), to, 3.1 / 255)) << name;
    }
}

TEST(PluginList, TellsWhyPluginsCannotBeUsed)
{
    const auto registry = RegistryOf(TestFolder());
    const auto why = [&](const char* inName)
    {
        const Effects::EffectDescription* const effect = registry->Find(inName);
        return effect == nullptr ? "unknown" : effect->mWhyNot;
    };
    EXPECT_EQ(why("frei0r:tells"), "");
    EXPECT_EQ(registry->Find("frei0r:tells")->mKind, EffectKind::kFilter);
    EXPECT_EQ(registry->Find("frei0r:tells")->mParameters[5].mLeast, -2.0) << "a default lies in its range";
    EXPECT_EQ(why("frei0r:source"), "");
    EXPECT_EQ(registry->Find("frei0r:source")->mKind, EffectKind::kGenerator);
    EXPECT_EQ(why("frei0r:mixer"), "");
    EXPECT_EQ(registry->Find("frei0r:mixer")->mKind, EffectKind::kBlend);
    EXPECT_EQ(registry->Find("frei0r:mixer")->mParameters.back().mKind, Effects::ParameterKind::kLayer);
    EXPECT_EQ(why("frei0r:none"), "unknown");
    EXPECT_FALSE(registry->CreateTransition("frei0r:mixer", {}, nullptr));
}

TEST(PluginList, FiltersAskForEightBitsAndVaryByThemselves)
{
    const auto registry = RegistryOf(TestFolder());
    const ML::IVideoFilterRef filter = registry->CreateFilter("frei0r:tells");
    ASSERT_TRUE(filter);
    std::vector<norviktypes::PixelFormat> formats;
    filter->GetPixelFormats({}, MF::kPixelFormat_BGRA_4444_32f, formats);
    EXPECT_EQ(formats, std::vector<norviktypes::PixelFormat>{MF::kPixelFormat_BGRA_4444_8u});
    EXPECT_TRUE(filter->VariesByItself());
    EXPECT_FALSE(filter->KeepsOpaque({}));
}

// The picture of a track, as the library hands it to a filter.
class Layer final : public TVK::Implements<Layer, ML::LayerRender>
{
public:
    Layer(std::uint32_t inParameter, const MF::IVideoFrameRef& inFrame)
        : mParameter(inParameter)
        , mFrame(inFrame)
    {
    }

    std::int32_t RenderLayer(std::uint32_t inParameter, MF::IVideoFrameRef& outFrame) override
    {
        outFrame = inParameter == mParameter ? mFrame : MF::IVideoFrameRef();
        return 0;
    }

private:
    const std::uint32_t mParameter;
    const MF::IVideoFrameRef mFrame;
};

TEST(PluginMixers, LayThePictureOverThatOfATrack)
{
    const auto registry = RegistryOf(TestFolder());
    const ML::IVideoFilterRef filter = registry->CreateFilter("frei0r:mixer");
    ASSERT_TRUE(filter);
    const Scene own = EffectScenes::Filled(16, 8, {0.2, 0.2, 0.2, 1.0});
    MF::IVideoFrameRef below =
        FrameOf(EffectScenes::Filled(16, 8, {0.8, 0.8, 0.8, 0.0}), MF::kPixelFormat_BGRA_4444_8u);
    const auto draw = [&](double inLevel, bool inHasTrack, bool inPlays)
    {
        EffectScenes::Values values = {{0, TestSupport::MakeNumberParameter(inLevel)}};
        if (inHasTrack)
        {
            values.emplace_back(1, TestSupport::MakeNumberParameter(0.0));
        }
        const MF::KeyframeStore parameters = EffectScenes::StoreOf(values);
        ML::VideoFilterRender render;
        render.mFrameRate = kRate;
        render.mParameters = &parameters;
        render.mLayers = ML::LayerRenderRef(new Layer(1, inPlays ? below : MF::IVideoFrameRef()));
        MF::IVideoFrameRef frame;
        filter->Render(render, FrameOf(own, MF::kPixelFormat_BGRA_4444_8u), frame);
        return frame ? BytesAt(SceneOf(frame), 3) : std::vector<int>{};
    };
    EXPECT_EQ(draw(0.0, true, true), (std::vector<int>{204, 204, 204, 0}))
        << "the track is the first picture";
    EXPECT_EQ(draw(1.0, true, true), (std::vector<int>{51, 51, 51, 255})) << "the clip is the second one";
    EXPECT_EQ(draw(0.0, true, false), (std::vector<int>{51, 51, 51, 255})) << "nothing plays there";
    EXPECT_EQ(draw(0.0, false, true), (std::vector<int>{51, 51, 51, 255})) << "no track is set";
    below->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    EXPECT_EQ(draw(0.0, true, true), (std::vector<int>{204, 204, 204, 255})) << "whatever its alpha says";
    below = FrameOf(EffectScenes::Filled(16, 4, {0.8, 0.8, 0.8, 1.0}), MF::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(draw(0.0, true, true), std::vector<int>()) << "a picture of another size is none to mix with";
}

TEST(PluginSources, DrawInThePlaceOfThePicture)
{
    if (!TestPlugins::IsOnMachine("onecol0r"))
    {
        GTEST_SKIP() << "the package frei0r-plugins is not installed";
    }
    const auto registry = RegistryOf(TestPlugins::MachineFolder());
    ASSERT_EQ(registry->Find("frei0r:onecol0r")->mKind, EffectKind::kGenerator);
    const Scene drawn = Filtered(*registry, "frei0r:onecol0r", {{0, EffectScenes::ColorValue(200, 100, 50)}},
                                 Noise(13, 7, 3));
    ASSERT_EQ(drawn.width, 13);
    EXPECT_EQ(BytesAt(drawn, 4), (std::vector<int>{200, 100, 50, 255}));
}

// What a stateful filter is shown of the frames of its item: frame i is a picture of i + 1 in all components.
class Past final : public TVK::Implements<Past, ML::SubTreeRender>
{
public:
    explicit Past(std::atomic<int>& ioFetched) : mFetched(ioFetched) {}

    void RenderFrame(const norviktypes::TickTime& inTime, MF::IVideoFrameRef& outFrame, bool) override
    {
        ++mFetched;
        outFrame = FrameAt(inTime.ToFrame64(kRate));
    }
    static MF::IVideoFrameRef FrameAt(std::int64_t inFrame)
    {
        const double level = static_cast<double>(inFrame + 1) / 255.0;
        const MF::IVideoFrameRef frame =
            FrameOf(EffectScenes::Filled(16, 8, {level, level, level, level}), MF::kPixelFormat_BGRA_4444_8u);
        frame->SetFieldType(norviktypes::kFieldType_UpperFirst);
        return frame;
    }

private:
    std::atomic<int>& mFetched;
};

class PluginHistories : public testing::Test
{
protected:
    PluginHistories()
    {
        // Stateful is a plug-in by its name.
        std::filesystem::create_symlink(PathOf("sums"), mFolder.File("nervous.so"));
        std::filesystem::create_symlink(PathOf("tells"), mFolder.File("delay0r.so"));
        Frei0r::ProviderSettings settings;
        settings.mFolders = {mFolder.Path()};
        settings.mAllowsStateful = true;
        mRegistry.AddProvider(Frei0r::CreatePluginProvider(settings));
        mFilter = mRegistry.CreateFilter("frei0r:nervous");
    }

    // The picture at a frame of the media; empty where there is none.
    MF::IVideoFrameRef FrameAt(std::int64_t inFrame)
    {
        ML::VideoFilterRender render;
        render.mFrameRate = kRate;
        render.mInfo = &mInfo;
        render.mParameters = &mParameters;
        render.mEffectStart = norviktypes::TickTime::FromFrame(mStart, kRate);
        render.mClipTime = norviktypes::TickTime::FromFrame(inFrame, kRate);
        // As of an item that a transition shows earlier.
        render.mSequenceTime =
            mStart > 0 ? std::max(render.mClipTime, render.mEffectStart) : render.mClipTime;
        render.mFrame = render.mSequenceTime.ToFrame64(kRate);
        render.mSubTree = ML::SubTreeRenderRef(new Past(mFetched));
        MF::IVideoFrameRef frame;
        const bool isDrawn = mFilter && mFilter->Render(render, Past::FrameAt(inFrame), frame) >= 0;
        return isDrawn ? frame : MF::IVideoFrameRef();
    }

    // The sum of all pictures that the plug-in has seen, at a frame of the media; -1: no picture.
    int SumAt(std::int64_t inFrame)
    {
        const MF::IVideoFrameRef frame = FrameAt(inFrame);
        return frame ? BytesAt(SceneOf(frame), 5)[0] : -1;
    }
    int FetchedFor(std::int64_t inFrame)
    {
        mFetched = 0;
        EXPECT_EQ(SumAt(inFrame), (inFrame + 1) * (inFrame + 2) / 2);
        return mFetched;
    }

    const TestSupport::ScratchFolder mFolder;
    Effects::EffectRegistry mRegistry;
    ML::IVideoFilterRef mFilter;
    std::int64_t mStart = 0; // the frame of the media with which the item begins
    ML::EffectRenderInfo mInfo{};
    MF::KeyframeStore mParameters;
    std::atomic<int> mFetched{0}; // frames of the past
};

TEST_F(PluginHistories, BeginWithTheItemWhateverFrameIsAskedFor)
{
    ASSERT_TRUE(mFilter);
    EXPECT_EQ(SumAt(4), 1 + 2 + 3 + 4 + 5);
    EXPECT_EQ(SumAt(5), 15 + 6) << "and go on";
    EXPECT_EQ(SumAt(9), 55) << "over what nobody asked for";
    EXPECT_EQ(SumAt(7), 36) << "a frame that was drawn on the way";
    EXPECT_EQ(SumAt(0), 1) << "long forgotten";
    EXPECT_EQ(SumAt(20), 231);
    EXPECT_EQ(SumAt(3), 10);
    EXPECT_EQ(SumAt(-2), 0) << "in front of the item a frame is alone";
    EXPECT_EQ(SumAt(1), 3);
}

TEST_F(PluginHistories, SeeNothingOfTheMediaInFrontOfTheItem)
{
    ASSERT_TRUE(mFilter);
    mStart = 3;
    EXPECT_EQ(SumAt(5), 4 + 5 + 6);
    EXPECT_EQ(SumAt(1), 2) << "shown by a transition, alone";
    EXPECT_EQ(SumAt(2), 3);
    EXPECT_EQ(SumAt(3), 4);
    mStart = 5;
    EXPECT_EQ(SumAt(5), 6) << "the other part of a clip that was cut";
}

TEST_F(PluginHistories, BeginAnewWhereParametersOrQualityAreOthers)
{
    ASSERT_TRUE(mFilter);
    EXPECT_EQ(FetchedFor(4), 4);
    EXPECT_EQ(FetchedFor(5), 0);
    mParameters = EffectScenes::StoreOf({{0, TestSupport::MakeNumberParameter(0.5)}});
    EXPECT_EQ(FetchedFor(5), 5) << "what was drawn with others";
    EXPECT_EQ(FetchedFor(6), 0);
    mInfo.quality = norviktypes::kRenderQuality_Max;
    EXPECT_EQ(FetchedFor(6), 6);
    EXPECT_EQ(FetchedFor(7), 0);
}

TEST_F(PluginHistories, GiveEachFrameItsTimeAndFields)
{
    mFilter = mRegistry.CreateFilter("frei0r:delay0r");
    ASSERT_TRUE(mFilter);
    ASSERT_TRUE(FrameAt(4));
    for (const int frame : {1, 3, 4})
    {
        const MF::IVideoFrameRef drawn = FrameAt(frame); // on the way to the fourth
        ASSERT_TRUE(drawn);
        EXPECT_EQ(BytesAt(SceneOf(drawn), 0)[2], frame * 4) << "hundredths of a second";
        EXPECT_EQ(drawn->GetFieldType(), norviktypes::kFieldType_UpperFirst);
    }
    EXPECT_EQ(mFetched, 4);
}

TEST_F(PluginHistories, AreTheSameOnSeveralThreads)
{
    ASSERT_TRUE(mFilter);
    std::vector<std::thread> threads;
    for (int first = 0; first < 4; ++first)
    {
        threads.emplace_back(
            [this, first]
            {
                for (int frame = first; frame < 20; frame += 4)
                {
                    EXPECT_EQ(SumAt(frame), (frame + 1) * (frame + 2) / 2);
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

TEST_F(PluginHistories, AreNeverTakenForEachOther)
{
    ASSERT_TRUE(mFilter);
    MF::BinaryData one;
    MF::BinaryData other;
    ASSERT_TRUE(mFilter->HasOpaqueData());
    EXPECT_GE(mFilter->GetOpaqueData(one), 0);
    EXPECT_GE(mRegistry.CreateFilter("frei0r:nervous")->GetOpaqueData(other), 0);
    ASSERT_EQ(one.Size(), other.Size());
    EXPECT_NE(std::memcmp(one.Data(), other.Data(), one.Size()), 0);
    EXPECT_TRUE(mRegistry.Find("frei0r:nervous")->mIsStateful);
}

TEST_F(PluginHistories, AreLeftOutUnlessTheyAreAllowed)
{
    const auto registry = RegistryOf(mFolder.Path());
    EXPECT_NE(registry->Find("frei0r:nervous")->mWhyNot, "");
    EXPECT_TRUE(registry->Find("frei0r:nervous")->mIsStateful);
    EXPECT_FALSE(registry->CreateFilter("frei0r:nervous"));
}

TEST(PluginSandbox, DrawsWhatAPluginDrawsHere)
{
    const auto sandbox = std::make_shared<Frei0r::Sandbox>();
    for (const char* kind : {"tells", "mixer", "counts"})
    {
        const std::vector<Scene> scenes(kind == std::string("mixer") ? 2 : 1, Noise(21, 9, 3, true));
        const auto here = MakePlugin(PathOf(kind), {});
        const auto there = MakePlugin(PathOf(kind), {}, sandbox);
        ASSERT_TRUE(here && there) << kind;
        for (const double level : {-1.0, 0.0, 0.75})
        {
            const auto expected = Draw(*here, scenes, 1.2, level);
            ASSERT_FALSE(expected.empty()) << kind;
            EXPECT_EQ(Draw(*there, scenes, 1.2, level), expected) << kind << " " << level;
        }
    }
}

TEST(PluginSandbox, OutlivesPluginsThatCrash)
{
    const auto plugin = MakePlugin(PathOf("falls"), {}, std::make_shared<Frei0r::Sandbox>());
    ASSERT_TRUE(plugin);
    const auto before = Draw(*plugin, {Noise(16, 8, 1)}, 0.0, 0.25);
    EXPECT_FALSE(before.empty());
    EXPECT_TRUE(Draw(*plugin, {Noise(16, 8, 1)}, 0.0, 0.6).empty());
    EXPECT_EQ(Draw(*plugin, {Noise(16, 8, 1)}, 0.0, 0.25), before) << "in a new process";
}

TEST(PluginSandbox, OutlivesPluginsThatHang)
{
    const auto plugin = MakePlugin(PathOf("falls"), {}, std::make_shared<Frei0r::Sandbox>(1));
    ASSERT_TRUE(plugin);
    EXPECT_TRUE(Draw(*plugin, {Noise(16, 8, 1)}, 0.0, 1.0).empty());
}

TEST(PluginSandbox, MakesNothingOfWhatIsNotThere)
{
    Frei0r::ScannedPlugin plugin;
    plugin.mFile = TestPlugins::FileOf(PathOf("crashes"));
    Frei0r::Sandbox sandbox;
    EXPECT_FALSE(sandbox.MakeInstance(plugin, {8, 8, 1}));
    plugin.mFile.mPath = "/nowhere/at all.so";
    EXPECT_FALSE(sandbox.MakeInstance(plugin, {8, 8, 1}));
}

TEST(PluginSandbox, MakesNothingOfWhatIsNotWhatItWas)
{
    const auto scanned = Frei0r::ProbePlugins({TestPlugins::FileOf(PathOf("tells"))}).at(0);
    Frei0r::Sandbox sandbox;
    EXPECT_TRUE(sandbox.MakeInstance(scanned, {8, 8, 1}));
    auto other = scanned;
    other.mFacts.mParameters.pop_back();
    EXPECT_FALSE(sandbox.MakeInstance(other, {8, 8, 1}));
    other = scanned;
    other.mFacts.mColorModel = Frei0r::ColorModel::kBGRA;
    EXPECT_FALSE(sandbox.MakeInstance(other, {8, 8, 1}));
    other = scanned;
    other.mFacts.mType = Frei0r::PluginType::kSource;
    EXPECT_FALSE(sandbox.MakeInstance(other, {8, 8, 1}));
}

TEST(PluginSandbox, OutlivesPluginsThatHangWhenTheyAreLoaded)
{
    Frei0r::ScannedPlugin plugin;
    plugin.mFile = TestPlugins::FileOf(PathOf("hangs"));
    Frei0r::Sandbox sandbox(1);
    EXPECT_FALSE(sandbox.MakeInstance(plugin, {8, 8, 1}));
}

TEST(PluginSandbox, LetsPluginsBeUsedThatCrash)
{
    const TestSupport::ScratchFolder folder;
    std::filesystem::create_symlink(PathOf("tells"), folder.File("3dflippo.so"));
    for (const bool isSandboxed : {false, true})
    {
        Frei0r::ProviderSettings settings;
        settings.mFolders = {folder.Path()};
        settings.mSandbox = isSandboxed ? std::make_shared<Frei0r::Sandbox>() : nullptr;
        Effects::EffectRegistry registry;
        registry.AddProvider(Frei0r::CreatePluginProvider(settings));
        EXPECT_EQ(registry.Find("frei0r:3dflippo")->mWhyNot.empty(), isSandboxed);
        EXPECT_EQ(bool(registry.CreateFilter("frei0r:3dflippo")), isSandboxed);
    }
}

TEST(PluginTraits, AreReadFromLines)
{
    Frei0r::TraitTable table;
    EXPECT_TRUE(table.Of("plasma").mIsStateful);
    EXPECT_TRUE(table.Of("plasma").mIsAlone);
    EXPECT_TRUE(table.Of("bigsh0t_stabilize_360").mIsAlone);
    EXPECT_FALSE(table.Of("bigsh0").mIsAlone);
    EXPECT_FALSE(table.Of("invert0r").mIsAlone);
    EXPECT_TRUE(table.Of("3dflippo").mCrashes);
    table.Add("# alone: a\nalone: a b\nnonsense\nstateful: b\nfader=how much: a\nplain: plasma\n");
    EXPECT_TRUE(table.Of("a").mIsAlone);
    EXPECT_FALSE(table.Of("a").mIsStateful);
    EXPECT_EQ(table.Of("a").mFader, "how much");
    EXPECT_TRUE(table.Of("b").mIsStateful);
    EXPECT_FALSE(table.Of("plasma").mIsStateful);
    EXPECT_FALSE(table.AddFile("/nowhere/at all"));
}

TEST(MachinePlugins, InvertByTheFormulaAtOddSizes)
{
    if (!TestPlugins::IsOnMachine("invert0r"))
    {
        GTEST_SKIP() << "the package frei0r-plugins is not installed";
    }
    const auto registry = RegistryOf(TestPlugins::MachineFolder());
    const Scene noise = SceneOf(FrameOf(Noise(37, 13, 4), MF::kPixelFormat_BGRA_4444_8u));
    Scene expected = noise;
    for (EffectScenes::Pixel& pixel : expected.pixels)
    {
        pixel = {1.0 - pixel[0], 1.0 - pixel[1], 1.0 - pixel[2], pixel[3]};
    }
    EXPECT_TRUE(
        EffectScenes::AreNear(Filtered(*registry, "frei0r:invert0r", {}, noise), expected, 0.5 / 255));
}

TEST(MachinePlugins, KeepRedApartFromBlueInBothOrders)
{
    if (!TestPlugins::IsOnMachine("R") || !TestPlugins::IsOnMachine("B"))
    {
        GTEST_SKIP() << "the package frei0r-plugins is not installed";
    }
    const auto registry = RegistryOf(TestPlugins::MachineFolder());
    const Scene color = EffectScenes::Filled(8, 8, {0.8, 0.4, 0.2, 1.0});
    EXPECT_EQ(BytesAt(Filtered(*registry, "frei0r:R", {}, color), 0), (std::vector<int>{204, 204, 204, 255}));
    EXPECT_EQ(BytesAt(Filtered(*registry, "frei0r:B", {}, color), 0), (std::vector<int>{51, 51, 51, 255}));
}

#if VR_HAS_FREI0R_HEADER

TEST(PluginInterface, IsThatOfTheInstalledHeader)
{
    static_assert(sizeof(Frei0r::PluginInfo) == sizeof(f0r_plugin_info_t));
    static_assert(offsetof(Frei0r::PluginInfo, explanation) == offsetof(f0r_plugin_info_t, explanation));
    static_assert(offsetof(Frei0r::PluginInfo, colorModel) == offsetof(f0r_plugin_info_t, color_model));
    static_assert(offsetof(Frei0r::PluginInfo, parameterCount) == offsetof(f0r_plugin_info_t, num_params));
    static_assert(sizeof(Frei0r::ParameterInfo) == sizeof(f0r_param_info_t));
    static_assert(sizeof(Frei0r::ColorValue) == sizeof(f0r_param_color_t));
    static_assert(sizeof(Frei0r::PositionValue) == sizeof(f0r_param_position_t));
    static_assert(Frei0r::kInterfaceVersion == FREI0R_MAJOR_VERSION);
    static_assert(std::is_same_v<Frei0r::UpdateFunction, decltype(f0r_update)>);
    static_assert(std::is_same_v<Frei0r::Update2Function, decltype(f0r_update2)>);
    static_assert(std::is_same_v<Frei0r::ConstructFunction, decltype(f0r_construct)>);
    EXPECT_EQ(static_cast<int>(Frei0r::PluginType::kMixer3), F0R_PLUGIN_TYPE_MIXER3);
    EXPECT_EQ(static_cast<int>(Frei0r::ColorModel::kRGBA), F0R_COLOR_MODEL_RGBA8888);
    EXPECT_EQ(static_cast<int>(Frei0r::ParameterType::kPosition), F0R_PARAM_POSITION);
    EXPECT_EQ(static_cast<int>(Frei0r::ParameterType::kString), F0R_PARAM_STRING);
}

#else

TEST(PluginInterface, IsThatOfTheInstalledHeader)
{
    GTEST_SKIP() << "the package frei0r-plugins-dev is not installed";
}

#endif
