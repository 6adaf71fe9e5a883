#include "ReferenceHost/Effects/EffectRegistry.h"
#include "TVK/Allocated.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "Tests/Support/Paths.h"

#include <algorithm>
#include <cmath>

// Keys whose matte is another picture, each beside its formula in double.
namespace
{

using namespace EffectScenes;
using TestSupport::MakeChoiceParameter;
using TestSupport::MakeLayerParameter;
using TestSupport::MakeNumberParameter;
using TestSupport::MakeTruthParameter;

constexpr const char* kTrackMatte = "VX.ZNTR Legacy Key Track Matte";
constexpr const char* kDifferenceMatte = "VX.ZNTR Legacy Key Difference Matte";
constexpr const char* kImageMatte = "VX.ZNTR Legacy Key Image Matte";

double Luma(const Pixel& inPixel)
{
    return 0.2126 * inPixel[0] + 0.7152 * inPixel[1] + 0.0722 * inPixel[2];
}

// One picture for whichever parameter is asked for, and what was asked for.
class OneLayer final : public TVK::Implements<OneLayer, ML::LayerRender>
{
public:
    std::int32_t RenderLayer(std::uint32_t inParameter, MF::IVideoFrameRef& outFrame) override
    {
        mAsked = inParameter;
        outFrame = mFrame;
        return mStatus;
    }

    MF::IVideoFrameRef mFrame;
    std::int32_t mStatus = 0;
    std::uint32_t mAsked = 99;
};
using OneLayerRef = TVK::InterfaceRef<OneLayer>;

std::int32_t RunOnLayer(const std::string& inName, const Values& inValues, const OneLayerRef& inLayer,
                        const MF::IVideoFrameRef& inFrame, MF::IVideoFrameRef& outFrame)
{
    const ML::IVideoFilterRef filter = Effects::GetEffectRegistry().CreateFilter(inName);
    const MF::KeyframeStore parameters = StoreOf(inValues);
    ML::VideoFilterRender render;
    render.mParameters = &parameters;
    if (inLayer)
    {
        render.mLayers = ML::LayerRenderRef(inLayer.get());
    }
    return filter ? filter->Render(render, inFrame, outFrame) : -1;
}

Pixel Coded(Pixel inPixel, bool inIsLinear)
{
    for (std::size_t c = 0; c < 3 && inIsLinear; ++c)
    {
        inPixel[c] = Encode(inPixel[c]);
    }
    return inPixel;
}

// In all formats, on noise, beside a formula of the alpha that is given the pixel and the layer's, coded for
// display.
void ExpectLayerFormula(const std::string& inName, const Values& inValues,
                        const std::function<double(const Pixel&, const Pixel&)>& inMatte)
{
    for (const Format& format : Formats())
    {
        const bool isLinear = IsLinear(format.format);
        const MF::IVideoFrameRef frame = FrameOf(Noise(67, 21, 5), format.format);
        const OneLayerRef layer(new OneLayer);
        layer->mFrame = FrameOf(Noise(67, 21, 6), format.format);
        Scene expected = SceneOf(frame);
        const Scene matte = SceneOf(layer->mFrame);
        for (std::size_t i = 0; i < expected.pixels.size(); ++i)
        {
            expected.pixels[i][3] *=
                inMatte(Coded(expected.pixels[i], isLinear), Coded(matte.pixels[i], isLinear));
        }
        MF::IVideoFrameRef result;
        ASSERT_GE(RunOnLayer(inName, inValues, layer, frame, result), 0) << inName;
        EXPECT_FALSE(result == frame) << inName << " passes its input on";
        EXPECT_EQ(layer->mAsked, 0u);
        EXPECT_TRUE(AreNear(SceneOf(result), expected, format.bound)) << inName << ", " << format.name;
    }
}

TEST(TrackMatteKey, TakesAlphaOrLumaOfTheLayerOrWhatTheyLeave)
{
    for (int set = 0; set < 4; ++set)
    {
        const bool usesLuma = set % 2 != 0;
        const bool isReversed = set / 2 != 0;
        ExpectLayerFormula(kTrackMatte,
                           {{0, MakeLayerParameter(1)},
                            {1, MakeChoiceParameter(usesLuma ? 1 : 0)},
                            {2, MakeTruthParameter(isReversed)}},
                           [&](const Pixel&, const Pixel& inLayer)
                           {
                               const double level = usesLuma ? Luma(inLayer) * inLayer[3] : inLayer[3];
                               return isReversed ? 1.0 - level : level;
                           });
    }
}

TEST(DifferenceMatteKey, KeepsWhatDiffersFromTheLayerOverBlack)
{
    ExpectLayerFormula(
        kDifferenceMatte,
        {{0, MakeLayerParameter(1)}, {1, MakeNumberParameter(20.0)}, {2, MakeNumberParameter(45.0)}},
        [](const Pixel& inPixel, const Pixel& inLayer)
        {
            double most = 0.0;
            for (std::size_t c = 0; c < 3; ++c)
            {
                most = std::max(most, std::abs(inPixel[c] - inLayer[c] * inLayer[3]));
            }
            return std::clamp((most - 0.2) / 0.45, 0.0, 1.0);
        });
}

TEST(DifferenceMatteKey, ClearsAPictureThatIsTheLayer)
{
    const auto frame = FrameOf(Noise(16, 8, 3, true), MF::kPixelFormat_BGRA_4444_8u);
    const OneLayerRef layer(new OneLayer);
    layer->mFrame = frame;
    MF::IVideoFrameRef result;
    ASSERT_GE(RunOnLayer(kDifferenceMatte, {{0, MakeLayerParameter(1)}}, layer, frame, result), 0);
    for (const Pixel& pixel : SceneOf(result).pixels)
    {
        EXPECT_EQ(pixel[3], 0.0);
    }
}

TEST(DifferenceMatteKey, SmoothsAndShowsItsMatte)
{
    const auto frame = FrameOf(Filled(9, 9, {1, 1, 1, 1}), MF::kPixelFormat_BGRA_4444_32f);
    Scene ground = Filled(9, 9, {1, 1, 1, 1});
    ground.At(4, 4) = {0, 0, 0, 1};
    const OneLayerRef layer(new OneLayer);
    layer->mFrame = FrameOf(ground, MF::kPixelFormat_BGRA_4444_32f);
    MF::IVideoFrameRef result;
    const Values values = {
        {0, MakeLayerParameter(1)}, {3, MakeChoiceParameter(1)}, {4, MakeTruthParameter(true)}};
    ASSERT_GE(RunOnLayer(kDifferenceMatte, values, layer, frame, result), 0);
    const Scene shown = SceneOf(result);
    EXPECT_NEAR(shown.At(4, 4)[1], 0.25, 1e-6);
    EXPECT_NEAR(shown.At(5, 4)[1], 0.125, 1e-6);
    EXPECT_NEAR(shown.At(5, 5)[1], 0.0625, 1e-6);
    EXPECT_NEAR(shown.At(6, 4)[1], 0.0, 1e-6);
    EXPECT_EQ(shown.At(6, 4)[3], 1.0);
}

TEST(LayerKeys, PassTheirInputOnWithoutATrackOrLayers)
{
    const auto frame = FrameOf(Noise(8, 8, 3), MF::kPixelFormat_BGRA_4444_8u);
    const OneLayerRef layer(new OneLayer);
    layer->mFrame = FrameOf(Noise(8, 8, 4), MF::kPixelFormat_BGRA_4444_8u);
    for (const char* name : {kTrackMatte, kDifferenceMatte})
    {
        MF::IVideoFrameRef result;
        ASSERT_GE(RunOnLayer(name, {}, layer, frame, result), 0) << name;
        EXPECT_TRUE(result == frame) << name;
        ASSERT_GE(RunOnLayer(name, {{0, MakeLayerParameter(1)}}, OneLayerRef(), frame, result), 0) << name;
        EXPECT_TRUE(result == frame) << name;
    }
}

TEST(LayerKeys, LeaveThePictureWhereNothingPlaysOnTheTrack)
{
    const auto frame = FrameOf(Noise(8, 8, 3), MF::kPixelFormat_BGRA_4444_8u);
    for (const char* name : {kTrackMatte, kDifferenceMatte})
    {
        MF::IVideoFrameRef result;
        ASSERT_GE(RunOnLayer(name, {{0, MakeLayerParameter(1)}}, OneLayerRef(new OneLayer), frame, result),
                  0);
        EXPECT_TRUE(AreNear(SceneOf(result), SceneOf(frame), 0.0)) << name;
    }
}

TEST(LayerKeys, FailWithTheirLayer)
{
    const auto frame = FrameOf(Noise(8, 8, 3), MF::kPixelFormat_BGRA_4444_8u);
    const OneLayerRef layer(new OneLayer);
    layer->mStatus = -17;
    for (const char* name : {kTrackMatte, kDifferenceMatte})
    {
        MF::IVideoFrameRef result;
        EXPECT_EQ(RunOnLayer(name, {{0, MakeLayerParameter(1)}}, layer, frame, result), -17) << name;
        EXPECT_FALSE(result) << name;
    }
}

TEST(LayerKeys, RefuseALayerOfAnotherSizeOrFormat)
{
    const auto frame = FrameOf(Noise(8, 8, 3), MF::kPixelFormat_BGRA_4444_8u);
    const OneLayerRef layer(new OneLayer);
    for (const auto& other : {FrameOf(Noise(9, 8, 3), MF::kPixelFormat_BGRA_4444_8u),
                              FrameOf(Noise(8, 8, 3), MF::kPixelFormat_BGRA_4444_16u)})
    {
        layer->mFrame = other;
        MF::IVideoFrameRef result;
        EXPECT_LT(RunOnLayer(kTrackMatte, {{0, MakeLayerParameter(1)}}, layer, frame, result), 0);
    }
}

TEST(TrackMatteKey, TakesALayerThatIsOpaqueForThatWhateverItsPixelsHold)
{
    const auto frame = FrameOf(Noise(8, 8, 3, true), MF::kPixelFormat_BGRA_4444_8u);
    const OneLayerRef layer(new OneLayer);
    layer->mFrame = FrameOf(Noise(8, 8, 4), MF::kPixelFormat_BGRA_4444_8u);
    layer->mFrame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    MF::IVideoFrameRef result;
    ASSERT_GE(RunOnLayer(kTrackMatte, {{0, MakeLayerParameter(1)}}, layer, frame, result), 0);
    EXPECT_TRUE(AreNear(SceneOf(result), SceneOf(frame), 0.0));
}

TEST(TrackMatteKey, TellsThatALayerMayClearAnOpaquePicture)
{
    const auto frame = FrameOf(Noise(8, 8, 3, true), MF::kPixelFormat_BGRA_4444_8u);
    frame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    const OneLayerRef layer(new OneLayer);
    layer->mFrame = FrameOf(Noise(8, 8, 4), MF::kPixelFormat_BGRA_4444_8u);
    MF::IVideoFrameRef result;
    ASSERT_GE(RunOnLayer(kTrackMatte, {{0, MakeLayerParameter(1)}}, layer, frame, result), 0);
    EXPECT_TRUE(result->MayHaveTransparency());
}

TEST(ImageMatteKey, TakesAlphaOrLumaOfAFileOrWhatTheyLeave)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("matte.png");
    const auto image = FrameOf(Noise(20, 10, 9), MF::kPixelFormat_BGRA_4444_8u);
    SavePicture(image, path);
    const Scene matte = SceneOf(image);
    for (const Format& format : Formats())
    {
        const auto frame = FrameOf(Noise(20, 10, 5), format.format);
        for (int set = 0; set < 4; ++set)
        {
            const bool usesLuma = set % 2 != 0;
            const bool isReversed = set / 2 != 0;
            Scene expected = SceneOf(frame);
            for (std::size_t i = 0; i < expected.pixels.size(); ++i)
            {
                const Pixel& pixel = matte.pixels[i];
                const double level = usesLuma ? Luma(pixel) * pixel[3] : pixel[3];
                expected.pixels[i][3] *= isReversed ? 1.0 - level : level;
            }
            const auto result = RunFilter(kImageMatte,
                                          {{0, TextValue(path)},
                                           {1, MakeChoiceParameter(usesLuma ? 1 : 0)},
                                           {2, MakeTruthParameter(isReversed)}},
                                          frame);
            ASSERT_TRUE(result);
            EXPECT_TRUE(AreNear(SceneOf(result), expected, format.bound)) << format.name << ", set " << set;
        }
    }
}

TEST(ImageMatteKey, StretchesItsImageOverThePicture)
{
    const TestSupport::ScratchFolder folder;
    Scene image = Filled(2, 1, {1, 1, 1, 1});
    image.At(0, 0) = {0, 0, 0, 1};
    SavePicture(FrameOf(image, MF::kPixelFormat_BGRA_4444_8u), folder.File("matte.png"));
    const auto frame = FrameOf(Filled(4, 3, {0.5, 0.5, 0.5, 1.0}), MF::kPixelFormat_BGRA_4444_32f);
    const auto result = RunFilter(
        kImageMatte, {{0, TextValue(folder.File("matte.png"))}, {1, MakeChoiceParameter(1)}}, frame);
    ASSERT_TRUE(result);
    const Scene keyed = SceneOf(result);
    const double expected[4] = {0.0, 0.25, 0.75, 1.0};
    for (int x = 0; x < 4; ++x)
    {
        EXPECT_NEAR(keyed.At(x, 2)[3], expected[x], 1e-6) << x;
    }
}

TEST(ImageMatteKey, PassesThePictureWithoutAnImageThatCanBeRead)
{
    const TestSupport::ScratchFolder folder;
    const auto frame = FrameOf(Noise(8, 8, 3), MF::kPixelFormat_BGRA_4444_8u);
    EXPECT_TRUE(RunFilter(kImageMatte, {}, frame) == frame);
    EXPECT_TRUE(RunFilter(kImageMatte, {{0, TextValue(folder.File("none.png"))}}, frame) == frame);
}

// One filter, whose choice moves: what its file gave for the one is not taken for the other.
TEST(ImageMatteKey, ReadsItsFileAnewForAnotherChoice)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("matte.png");
    SavePicture(FrameOf(Filled(4, 4, {0.2, 0.2, 0.2, 1.0}), MF::kPixelFormat_BGRA_4444_8u), path);
    const auto frame = FrameOf(Filled(4, 4, {1, 1, 1, 1}), MF::kPixelFormat_BGRA_4444_8u);
    const auto filter = Effects::GetEffectRegistry().CreateFilter(kImageMatte);
    for (const std::uint32_t choice : {0u, 1u, 0u})
    {
        const auto store = StoreOf({{0, TextValue(path)}, {1, MakeChoiceParameter(choice)}});
        ML::VideoFilterRender render;
        render.mParameters = &store;
        MF::IVideoFrameRef result;
        ASSERT_GE(filter->Render(render, frame, result), 0);
        EXPECT_NEAR(SceneOf(result).At(1, 1)[3], choice == 0 ? 1.0 : 0.2, 1e-6);
    }
}

TEST(RemoveMatte, TakesWhiteOrBlackAway)
{
    for (const bool isBlack : {false, true})
    {
        ExpectPixelFormula("VX.ZNTR Legacy Key Remove Matte", {{0, MakeChoiceParameter(isBlack ? 1 : 0)}},
                           [&](const Pixel& inPixel)
                           {
                               const double alpha = inPixel[3];
                               Pixel result = {0, 0, 0, alpha};
                               for (std::size_t c = 0; c < 3 && alpha > 0.0; ++c)
                               {
                                   result[c] = (inPixel[c] - (isBlack ? 0.0 : 1.0 - alpha)) / alpha;
                               }
                               return result;
                           });
    }
}

TEST(RemoveMatte, GivesBackWhatWasMixedWithAMatte)
{
    const Pixel color = {0.7, 0.3, 0.1, 0.4};
    Pixel mixed = color;
    for (std::size_t c = 0; c < 3; ++c)
    {
        mixed[c] = color[c] * 0.4 + 1.0 * 0.6;
    }
    const auto result = RunFilter("VX.ZNTR Legacy Key Remove Matte", {},
                                  FrameOf(Filled(4, 4, mixed), MF::kPixelFormat_BGRA_4444_32f));
    ASSERT_TRUE(result);
    EXPECT_TRUE(AreNear(SceneOf(result), Filled(4, 4, color), 1e-6));
}

// For people too: the matte is a landscape that fades to its right; a ground has another name on it.
TEST(LayerKeys, ShowTheirPictures)
{
    const auto frame = FrameOf(Landscape(320, 180, 'A'), MF::kPixelFormat_BGRA_4444_8u);
    Scene matte = Landscape(320, 180, 'B');
    for (int y = 0; y < 180; ++y)
    {
        for (int x = 0; x < 320; ++x)
        {
            matte.At(x, y)[3] = 1.0 - x / 319.0;
        }
    }
    struct Show
    {
        const char* title;
        const char* name;
        Scene layer;
        Values more;
    };
    const Show shows[] = {
        {"track-matte-alpha", kTrackMatte, matte, {}},
        {"track-matte-luma", kTrackMatte, matte, {{1, MakeChoiceParameter(1)}}},
        {"track-matte-reverse", kTrackMatte, matte, {{2, MakeTruthParameter(true)}}},
        {"difference-matte", kDifferenceMatte, Landscape(320, 180, 'C'), {{4, MakeTruthParameter(true)}}}};
    for (const Show& show : shows)
    {
        const OneLayerRef layer(new OneLayer);
        layer->mFrame = FrameOf(show.layer, MF::kPixelFormat_BGRA_4444_8u);
        Values values = show.more;
        values.emplace_back(0, MakeLayerParameter(1));
        MF::IVideoFrameRef result;
        ASSERT_GE(RunOnLayer(show.name, values, layer, frame, result), 0) << show.title;
        EXPECT_FALSE(AreNear(SceneOf(result), SceneOf(frame), 0.02)) << show.title;
        KeepForPeople(result, show.title);
    }
}

} // namespace
