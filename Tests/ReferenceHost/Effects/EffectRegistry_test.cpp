#include "ReferenceHost/Effects/EffectRegistry.h"

#include "MatchNames.h"
#include "ReferenceHost/Effects/EffectTransition.h"
#include "ReferenceHost/FrameLibrary/PixelMaker.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "VF/VideoFrame.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <set>

namespace
{

using namespace EffectScenes;
using TestSupport::MakeChoiceParameter;
using TestSupport::MakeNumberParameter;
using TestSupport::MakePointParameter;
using TestSupport::MakeTruthParameter;

class OtherProvider final : public Effects::IEffectProvider
{
public:
    explicit OtherProvider(std::string inName) : mName(std::move(inName))
    {
        Effects::EffectDescription effect;
        effect.mId = mName + ":glow";
        effect.mMatchName = "VX.ZNTR ProcAmp";
        mEffects = {effect};
    }
    std::string GetName() const override { return mName; }
    const std::vector<Effects::EffectDescription>& GetEffects() const override { return mEffects; }
    ML::IVideoFilterRef CreateFilter(const Effects::EffectDescription&) const override { return {}; }
    ML::IVideoTransitionRef CreateTransition(const Effects::EffectDescription&, const ML::TransitionInfo&,
                                             const BE::ParameterListRef&) const override
    {
        return {};
    }

private:
    std::string mName;
    std::vector<Effects::EffectDescription> mEffects;
};

TEST(EffectRegistry, FindsByIdAndByMatchName)
{
    const Effects::EffectRegistry registry;
    const Effects::EffectDescription* byId = registry.Find("vrender:procamp");
    ASSERT_NE(byId, nullptr);
    EXPECT_EQ(byId->mTitle, "ProcAmp");
    EXPECT_EQ(registry.Find("VX.ZNTR ProcAmp"), byId);
    EXPECT_EQ(registry.Find("vrender:none"), nullptr);
    EXPECT_EQ(registry.Find("none"), nullptr);
    EXPECT_EQ(registry.Find(""), nullptr);
}

TEST(EffectRegistry, TakesEachProviderOnce)
{
    Effects::EffectRegistry registry;
    EXPECT_TRUE(registry.AddProvider(std::make_unique<OtherProvider>("other")));
    EXPECT_FALSE(registry.AddProvider(std::make_unique<OtherProvider>("other")));
    EXPECT_FALSE(registry.AddProvider(std::make_unique<OtherProvider>("vrender")));
    ASSERT_NE(registry.Find("other:glow"), nullptr);
    EXPECT_EQ(registry.List().back()->mId, "other:glow");
    // The one that came first has the match name.
    EXPECT_EQ(registry.Find("VX.ZNTR ProcAmp")->mId, "vrender:procamp");
}

TEST(EffectRegistry, MakesWhatADescriptionIsOf)
{
    const Effects::EffectRegistry registry;
    for (const Effects::EffectDescription* effect : registry.List())
    {
        const auto filter = registry.CreateFilter(effect->mId);
        const auto transition = registry.CreateTransition(effect->mId, {}, nullptr);
        EXPECT_EQ(static_cast<bool>(filter), effect->mKind == Effects::EffectKind::kFilter) << effect->mId;
        EXPECT_EQ(static_cast<bool>(transition), effect->mKind == Effects::EffectKind::kTransition)
            << effect->mId;
        if (filter)
        {
            EXPECT_EQ(filter->GetMatchName().View(), effect->mMatchName);
        }
        if (transition)
        {
            ML::TransitionInfo info;
            transition->GetInfo(info);
            EXPECT_EQ(info.mMatchName.View(), effect->mMatchName);
            EXPECT_NE(info.mRuntimeInstanceID, 0U);
            EXPECT_TRUE(transition->GetParameters());
        }
    }
}

TEST(EffectRegistry, DescribesEachParameterSensibly)
{
    std::set<std::string> ids;
    std::set<std::string> matchNames;
    for (const Effects::EffectDescription* effect : Effects::GetEffectRegistry().List())
    {
        EXPECT_TRUE(ids.insert(effect->mId).second) << effect->mId;
        EXPECT_TRUE(matchNames.insert(effect->mMatchName).second) << effect->mMatchName;
        std::set<std::string> names;
        for (const Effects::ParameterDescription& parameter : effect->mParameters)
        {
            EXPECT_TRUE(names.insert(parameter.mName).second) << effect->mId << " " << parameter.mName;
            EXPECT_LE(parameter.mLeast, parameter.mDefault.mNumber) << effect->mId << " " << parameter.mName;
            EXPECT_GE(parameter.mMost, parameter.mDefault.mNumber) << effect->mId << " " << parameter.mName;
            EXPECT_EQ(effect->mParameters[static_cast<std::size_t>(effect->IndexOf(parameter.mName))].mName,
                      parameter.mName);
        }
    }
}

TEST(EffectRegistry, NamesWhatTheLibraryNamesAlike)
{
    const std::pair<const char*, norvik::utility::ImmutableString> names[] = {
        {"vrender:procamp", ML::kMatchnameProcamp},
        {"vrender:alpha-adjust", ML::kMatchnameAlphaAdjust},
        {"vrender:transform", ML::kMatchnameTransform},
        {"vrender:corner-pin", ML::kMatchnameCornerPin},
        {"vrender:garbage-matte", ML::kMatchnameGarbageMatte},
        {"vrender:timecode", ML::kMatchnameTimecode},
        {"vrender:video-limiter", ML::kMatchnameVideoLimiter},
        {"vrender:cross-dissolve", ML::kMatchnameCrossDissolveNew},
    };
    for (const auto& [id, name] : names)
    {
        const Effects::EffectDescription* effect = Effects::GetEffectRegistry().Find(id);
        ASSERT_NE(effect, nullptr) << id;
        EXPECT_EQ(effect->mMatchName, name.View());
    }
}

TEST(EffectParameters, ReadAnyNumberAndHoldItInItsRange)
{
    Effects::EffectDescription effect;
    effect.mParameters = {Effects::NumberParameter("Width", "px", -10.0, 10.0, 3.0),
                          Effects::BoolParameter("On", true),
                          Effects::ChoiceParameter("Which", {"a", "b", "c"}, 2)};
    const auto number = [&](const MF::IKeyframedParameterRef& inValue)
    {
        const MF::KeyframeStore store = {inValue};
        return Effects::EffectParameters(effect, &store, norviktypes::TickTime::FromSeconds(2.0)).Number(0);
    };
    EXPECT_EQ(number(MakeNumberParameter(4.5)), 4.5);
    EXPECT_EQ(number(MakeNumberParameter(1.0, 2.0)), 5.0);
    EXPECT_EQ(number(MakeChoiceParameter(7)), 7.0);
    EXPECT_EQ(number(MakeTruthParameter(true)), 1.0);
    EXPECT_EQ(number(MakeNumberParameter(99.0)), 10.0);
    EXPECT_EQ(number(MakeNumberParameter(-std::numeric_limits<double>::infinity())), -10.0);
    EXPECT_EQ(number(MakeNumberParameter(std::nan(""))), 3.0);
    EXPECT_EQ(number(MakePointParameter(1.0, 1.0)), 3.0);
    EXPECT_EQ(number({}), 3.0);
    const auto failing = MakeNumberParameter(4.5);
    failing->mStatus = -1;
    EXPECT_EQ(number(failing), 3.0);
    const Effects::EffectParameters defaults(effect, nullptr, norviktypes::kTime_Zero);
    EXPECT_TRUE(defaults.Switch(1));
    EXPECT_EQ(defaults.Choice(2), 2U);
}

TEST(EffectParameters, ReadPointsColorsTextsAndLayers)
{
    Effects::EffectDescription effect;
    effect.mParameters = {Effects::PointParameter("Center", 0.25, 0.75),
                          Effects::ColorParameter("Color", 255, 0, 51),
                          Effects::TextParameter("Text", "none"), Effects::LayerParameter("Matte")};
    const Effects::EffectParameters defaults(effect, nullptr, norviktypes::kTime_Zero);
    EXPECT_EQ(defaults.Point(0), (TVK::ParamPoint<double>{0.25, 0.75}));
    EXPECT_EQ(defaults.ColorOf(1).r, 1.0);
    EXPECT_EQ(defaults.ColorOf(1).b, 0.2);
    EXPECT_EQ(defaults.Text(2), "none");
    EXPECT_FALSE(defaults.IsLayerSet(3));
    const MF::KeyframeStore store = StoreOf({{0, MakePointParameter(0.5, 2.0)},
                                             {1, ColorValue(0, 51, 255)},
                                             {2, TextValue("a text")},
                                             {3, TestSupport::MakeLayerParameter(2)}});
    const Effects::EffectParameters values(effect, &store, norviktypes::kTime_Zero);
    EXPECT_EQ(values.Point(0), (TVK::ParamPoint<double>{0.5, 2.0}));
    EXPECT_EQ(values.ColorOf(1).g, 0.2);
    EXPECT_EQ(values.ColorOf(1).b, 1.0);
    EXPECT_EQ(values.Text(2), "a text");
    EXPECT_TRUE(values.IsLayerSet(3));
    const MF::KeyframeStore unset = StoreOf({{0, MakePointParameter(std::nan(""), 0.5)},
                                             {3, TestSupport::MakeLayerParameter(Effects::kNoLayer)}});
    const Effects::EffectParameters others(effect, &unset, norviktypes::kTime_Zero);
    EXPECT_EQ(others.Point(0), (TVK::ParamPoint<double>{0.25, 0.75}));
    EXPECT_FALSE(others.IsLayerSet(3));
}

MF::IVideoFrameRef Gray(double inLevel)
{
    return FrameOf(Filled(4, 3, {inLevel, inLevel, inLevel, 1.0}), MF::kPixelFormat_BGRA_4444_32f);
}

// Of a dissolve from black to white: how far it is.
double Progress(const Moment& inMoment, const ML::TransitionInfo& inInfo = {})
{
    const auto frame = RunTransition("vrender:cross-dissolve", {}, inMoment, Gray(0.0), Gray(1.0), inInfo);
    return frame ? SceneOf(frame).At(1, 1)[1] : -1.0;
}

TEST(EffectTransition, IsFrameOfCountOfTheWay)
{
    EXPECT_NEAR(Progress({0, 8}), 0.0, 1e-6);
    EXPECT_NEAR(Progress({1, 8}), 0.125, 1e-6);
    EXPECT_NEAR(Progress({7, 8}), 0.875, 1e-6);
    EXPECT_NEAR(Progress({0, 1}), 0.5, 1e-6);
    EXPECT_NEAR(Progress({-3, 8}), 0.0, 1e-6);
    EXPECT_NEAR(Progress({11, 8}), 1.0, 1e-6);
}

TEST(EffectTransition, GoesByTimeWhereThereIsNoRate)
{
    ML::VideoTransitionRender render;
    render.mStart = norviktypes::TickTime(100);
    render.mEnd = norviktypes::TickTime(500);
    render.mTime = norviktypes::TickTime(200);
    EXPECT_EQ(Effects::ProgressOf(render), 0.25);
    render.mTime = norviktypes::TickTime(900);
    EXPECT_EQ(Effects::ProgressOf(render), 1.0);
    render.mEnd = render.mStart;
    EXPECT_EQ(Effects::ProgressOf(render), 0.5);
}

TEST(EffectTransition, GoesFromPercentToPercent)
{
    ML::TransitionInfo info;
    info.mStartPercent = 20.0;
    info.mEndPercent = 60.0;
    EXPECT_NEAR(Progress({0, 4}, info), 0.2, 1e-6);
    EXPECT_NEAR(Progress({2, 4}, info), 0.4, 1e-6);
}

TEST(EffectTransition, RunsBackwardsBetweenTheSamePictures)
{
    ML::TransitionInfo info;
    info.mReverse = true;
    // A dissolve looks the same backwards; a slide goes out instead of in.
    EXPECT_NEAR(Progress({1, 4}, info), 0.25, 1e-6);
    const auto in = RunTransition("vrender:slide", {}, {1, 4}, Gray(0.0), Gray(1.0));
    const auto out = RunTransition("vrender:slide", {}, {1, 4}, Gray(0.0), Gray(1.0), info);
    ASSERT_TRUE(in && out);
    EXPECT_EQ(SceneOf(in).At(0, 1)[0], 1.0);
    EXPECT_EQ(SceneOf(in).At(3, 1)[0], 0.0);
    EXPECT_EQ(SceneOf(out).At(0, 1)[0], 0.0);
    EXPECT_EQ(SceneOf(out).At(3, 1)[0], 1.0);
}

TEST(EffectTransition, SaysNoMoreOfAlphaThanItsFrameHas)
{
    for (const norviktypes::AlphaChannel type :
         {norviktypes::kAlphaChannel_None, norviktypes::kAlphaChannel_Opaque})
    {
        const MF::IVideoFrameRef from = Gray(0.0);
        const MF::IVideoFrameRef to = Gray(1.0);
        from->SetAlphaType(type);
        to->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
        const auto mixed = RunTransition("vrender:cross-dissolve", {}, {1, 4}, from, to);
        ASSERT_TRUE(mixed);
        EXPECT_EQ(mixed->GetAlphaType(), type);
    }
}

TEST(EffectTransition, ExchangesItsPictures)
{
    ML::TransitionInfo info;
    info.mSwitchSources = true;
    EXPECT_NEAR(Progress({1, 4}, info), 0.75, 1e-6);
    info.mReverse = true;
    EXPECT_NEAR(Progress({1, 4}, info), 0.75, 1e-6);
}

TEST(EffectTransition, IsOpaqueBetweenOpaquePictures)
{
    const auto from = Gray(0.0);
    const auto to = Gray(1.0);
    from->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    // Compatible with the first picture, and so told to be opaque; the other may not be.
    EXPECT_TRUE(RunTransition("vrender:wipe", {}, {1, 4}, to, from)->MayHaveTransparency());
    to->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    EXPECT_FALSE(RunTransition("vrender:wipe", {}, {1, 4}, to, from)->MayHaveTransparency());
}

// Gives the rows of another frame.
class RowsOfFrame final : public VF::IPixelMaker
{
public:
    explicit RowsOfFrame(const MF::IVideoFrameRef& inFrame) : mFrame(inFrame) {}

    std::int32_t MakeRows(std::uint32_t inFirst, std::uint32_t inCount, std::uint8_t* outPixels,
                          std::int32_t inRowBytes) const override
    {
        VF::FramePixels pixels;
        const bool hasPixels = !mIsBroken && VF::GetFramePixels(mFrame, pixels);
        for (std::uint32_t row = 0; row < inCount && hasPixels; ++row)
        {
            std::memcpy(outPixels + static_cast<std::ptrdiff_t>(row) * inRowBytes,
                        pixels.Row(0, inFirst + row), std::size_t{pixels.mWidth} * 4);
        }
        return hasPixels ? VF::kFrameStatus_OK : VF::kFrameStatus_OutOfMemory;
    }

    std::atomic<bool> mIsBroken{false};

private:
    MF::IVideoFrameRef mFrame;
};

MF::IVideoFrameRef PendingCopy(const MF::IVideoFrameRef& inFrame, const std::shared_ptr<RowsOfFrame>& inRows)
{
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(VF::CreatePendingFrame(frame, format, static_cast<std::uint32_t>(bounds.Width()),
                                     static_cast<std::uint32_t>(bounds.Height()), {1, 1}, inRows),
              VF::kFrameStatus_OK);
    frame->SetAlphaType(inFrame->GetAlphaType());
    return frame;
}

TEST(EffectTransition, MixesPicturesThatAreStillToBeMadeLikeOthers)
{
    const auto from = FrameOf(Noise(37, 29, 1), MF::kPixelFormat_BGRA_4444_8u);
    const auto to = FrameOf(Noise(37, 29, 2), MF::kPixelFormat_BGRA_4444_8u);
    std::vector<MF::IVideoFrameRef> kept; // so that no frame gets the memory of another with the same picture
    for (const char* name : {"vrender:cross-dissolve", "vrender:wipe"})
    {
        for (const bool isReversed : {false, true})
        {
            ML::TransitionInfo info;
            info.mReverse = isReversed;
            kept.push_back(RunTransition(name, {}, {1, 4}, from, to, info));
            const Scene expected = SceneOf(kept.back());
            for (const bool isFirstPending : {false, true})
            {
                const auto first =
                    isFirstPending ? PendingCopy(from, std::make_shared<RowsOfFrame>(from)) : from;
                const auto second = PendingCopy(to, std::make_shared<RowsOfFrame>(to));
                const auto mixed = RunTransition(name, {}, {1, 4}, first, second, info);
                ASSERT_TRUE(mixed) << name;
                kept.push_back(mixed);
                EXPECT_TRUE(AreNear(SceneOf(mixed), expected, 0.0)) << name;
                const bool isRowByRow = std::string(name) == "vrender:cross-dissolve";
                EXPECT_EQ(VF::PendingMakerOf(second) != nullptr, isRowByRow) << name;
            }
        }
    }
}

TEST(EffectTransition, FailsWithoutMemoryForItsPictures)
{
    const auto frame = FrameOf(Noise(37, 29, 1), MF::kPixelFormat_BGRA_4444_8u);
    const auto rows = std::make_shared<RowsOfFrame>(frame);
    rows->mIsBroken = true;
    EXPECT_FALSE(RunTransition("vrender:cross-dissolve", {}, {1, 4}, frame, PendingCopy(frame, rows)));
    EXPECT_FALSE(RunTransition("vrender:wipe", {}, {1, 4}, frame, PendingCopy(frame, rows)));
}

TEST(EffectTransition, RefusesPicturesThatDoNotGoTogether)
{
    const auto other = FrameOf(Filled(5, 3, {0, 0, 0, 1}), MF::kPixelFormat_BGRA_4444_32f);
    EXPECT_FALSE(RunTransition("vrender:wipe", {}, {1, 4}, Gray(0.0), other));
    const auto bytes = FrameOf(Filled(4, 3, {0, 0, 0, 1}), MF::kPixelFormat_BGRA_4444_8u);
    EXPECT_FALSE(RunTransition("vrender:wipe", {}, {1, 4}, Gray(0.0), bytes));
}

TEST(EffectFilter, LeavesItsInputAlone)
{
    for (const Effects::EffectDescription* effect : Effects::GetEffectRegistry().List())
    {
        const auto frame = FrameOf(Noise(33, 17, 3), MF::kPixelFormat_BGRA_4444_8u);
        const Scene before = SceneOf(frame);
        frame->Freeze();
        if (effect->mKind == Effects::EffectKind::kFilter)
        {
            ASSERT_TRUE(RunFilter(effect->mId, {}, frame)) << effect->mId;
        }
        else
        {
            ASSERT_TRUE(RunTransition(effect->mId, {}, {1, 4}, frame, frame)) << effect->mId;
        }
        EXPECT_TRUE(AreNear(SceneOf(frame), before, 0.0)) << effect->mId;
    }
}

TEST(EffectFilter, TakesTheSmallestPicture)
{
    const auto frame = FrameOf(Filled(1, 1, {0.25, 0.5, 0.75, 1.0}), MF::kPixelFormat_BGRA_4444_16u);
    for (const Effects::EffectDescription* effect : Effects::GetEffectRegistry().List())
    {
        const bool isFilter = effect->mKind == Effects::EffectKind::kFilter;
        EXPECT_TRUE(isFilter ? RunFilter(effect->mId, {}, frame)
                             : RunTransition(effect->mId, {}, {1, 4}, frame, frame))
            << effect->mId;
    }
}

} // namespace
