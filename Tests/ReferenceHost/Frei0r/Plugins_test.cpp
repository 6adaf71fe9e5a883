#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Effects/Frei0r/CallGuard.h"
#include "ReferenceHost/Effects/Frei0r/Plugin.h"
#include "ReferenceHost/Effects/Frei0r/PluginProvider.h"
#include "Tests/ReferenceHost/Frei0r/TestPlugins.h"

#include <cfenv>
#include <clocale>
#include <gtest/gtest.h>
#include <set>

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
    EXPECT_NE(why("frei0r:source"), "");
    EXPECT_EQ(registry->Find("frei0r:source")->mKind, EffectKind::kGenerator);
    EXPECT_NE(why("frei0r:mixer"), "");
    EXPECT_EQ(registry->Find("frei0r:mixer")->mKind, EffectKind::kBlend);
    EXPECT_EQ(why("frei0r:none"), "unknown");
    EXPECT_FALSE(registry->CreateFilter("frei0r:source"));
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
