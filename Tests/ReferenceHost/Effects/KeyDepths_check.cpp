#include "ReferenceHost/Effects/EffectRegistry.h"
#include "TVK/Allocated.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "Tests/Support/Paths.h"

#include <algorithm>
#include <cmath>

// Every key on one picture of a studio, the same in all depths and in linear light; for people too, a row for each
// key over a chequered ground.
namespace
{

using namespace EffectScenes;
using TestSupport::MakeChoiceParameter;
using TestSupport::MakeLayerParameter;
using TestSupport::MakeNumberParameter;
using TestSupport::MakeTruthParameter;

constexpr int kWidth = 240;
constexpr int kHeight = 136;

class Layer final : public TVK::Implements<Layer, ML::LayerRender>
{
public:
    explicit Layer(const MF::IVideoFrameRef& inFrame) : mFrame(inFrame) {}

    std::int32_t RenderLayer(std::uint32_t, MF::IVideoFrameRef& outFrame) override
    {
        outFrame = mFrame;
        return 0;
    }

private:
    const MF::IVideoFrameRef mFrame;
};

// A screen that is darker to its edges, and on it a head and glass; clear to the lower right.
Scene Studio(const Pixel& inScreen)
{
    Scene scene = Filled(kWidth, kHeight, inScreen);
    for (int y = 0; y < kHeight; ++y)
    {
        for (int x = 0; x < kWidth; ++x)
        {
            Pixel& pixel = scene.At(x, y);
            const double cover =
                std::clamp(10.0 - std::hypot((x - 90) / 3.2, (y - 60) / 4.4) * 0.4, 0.0, 1.0);
            const bool isGlass = x > 150 && x < 215 && y > 30 && y < 106;
            const Pixel skin = y < 40 ? Pixel{0.2, 0.12, 0.08, 1} : Pixel{0.85, 0.6, 0.5, 1};
            for (std::size_t c = 0; c < 3; ++c)
            {
                pixel[c] *= 1.0 - 0.25 * std::abs(x - kWidth / 2) / (kWidth / 2.0);
                pixel[c] += cover * (skin[c] - pixel[c]);
                pixel[c] = isGlass ? 0.5 * pixel[c] + (y < 68 ? 0.48 : 0.02) : pixel[c];
            }
            pixel[3] = std::clamp((2.6 * kWidth - 2 * x - 2 * y) / 100.0, 0.1, 1.0);
        }
    }
    return scene;
}

// Numbers that 8 bits hold, so that all depths are given the same.
Scene Rounded(const Scene& inScene)
{
    return SceneOf(FrameOf(inScene, MF::kPixelFormat_BGRA_4444_8u));
}

struct Key
{
    std::string mName;
    Values mValues;
    const Scene& mScene;
};

Scene Keyed(const Key& inKey, const Scene& inLayer, const norviktypes::PixelFormat& inFormat)
{
    const ML::IVideoFilterRef filter =
        Effects::GetEffectRegistry().CreateFilter("VX.ZNTR Legacy Key " + inKey.mName);
    const MF::KeyframeStore parameters = StoreOf(inKey.mValues);
    ML::VideoFilterRender render;
    render.mParameters = &parameters;
    render.mLayers = ML::LayerRenderRef(new Layer(FrameOf(inLayer, inFormat)));
    MF::IVideoFrameRef result;
    if (!filter || filter->Render(render, FrameOf(inKey.mScene, inFormat), result) < 0)
    {
        ADD_FAILURE() << inKey.mName;
        return inLayer;
    }
    Scene scene = SceneOf(result);
    // Floats may hold what nobody sees.
    for (Pixel& pixel : scene.pixels)
    {
        for (std::size_t c = 0; c < 3; ++c)
        {
            pixel[c] = std::clamp(IsLinear(inFormat) ? Encode(pixel[c]) : pixel[c], 0.0, 1.0);
        }
    }
    return scene;
}

void Show(const Scene& inScene, int inColumn, int inRow, Scene& ioSheet)
{
    for (int y = 0; y < kHeight; ++y)
    {
        for (int x = 0; x < kWidth; ++x)
        {
            const double ground = (x / 10 + y / 10) % 2 != 0 ? 0.35 : 0.55;
            const Pixel& pixel = inScene.At(x, y);
            Pixel& shown = ioSheet.At(inColumn * (kWidth + 4) + x, inRow * (kHeight + 4) + y);
            for (std::size_t c = 0; c < 3; ++c)
            {
                shown[c] = std::clamp(pixel[c] * pixel[3] + ground * (1.0 - pixel[3]), 0.0, 1.0);
            }
        }
    }
}

} // namespace

TEST(Keys, ShowTheSameInAllDepthsAndInLinearLight)
{
    const TestSupport::ScratchFolder folder;
    const Scene blue = Rounded(Studio({0.1, 0.2, 0.75, 1.0}));
    const Scene green = Rounded(Studio({0.15, 0.75, 0.2, 1.0}));
    Scene layer = Studio({0.1, 0.2, 0.75, 1.0});
    for (Pixel& pixel : layer.pixels)
    {
        pixel = {pixel[0] * 0.6, pixel[1], pixel[2], 1.0 - 0.8 * pixel[0]};
    }
    layer = Rounded(layer);
    SavePicture(FrameOf(layer, MF::kPixelFormat_BGRA_4444_8u), folder.File("matte.png"));
    const auto spill = MakeNumberParameter(100);
    const Key keys[] = {
        {"Luma", {}, blue},
        {"Chroma", {{0, ColorValue(35, 170, 46)}}, green},
        {"RGBDifference", {{1, MakeNumberParameter(45)}}, blue},
        {"Difference Matte", {{0, MakeLayerParameter(1)}}, blue},
        {"Image Matte", {{0, TextValue(folder.File("matte.png"))}}, blue},
        {"Multiply", {}, blue},
        {"Screen", {}, blue},
        {"NonRed", {{2, MakeChoiceParameter(2)}}, blue},
        {"BlueScreen", {{2, spill}}, blue},
        {"GreenScreen", {{2, spill}}, green},
        {"Remove Matte", {}, blue},
        {"Track Matte", {{0, MakeLayerParameter(1)}, {1, MakeChoiceParameter(1)}}, blue},
    };
    Scene sheet = Filled(4 * (kWidth + 4), 12 * (kHeight + 4), {0.2, 0.2, 0.2, 1.0});
    int row = 0;
    for (const Key& key : keys)
    {
        const Scene exact = Keyed(key, layer, MF::kPixelFormat_BGRA_4444_32f);
        EXPECT_FALSE(AreNear(exact, key.mScene, 0.02)) << key.mName;
        int column = 0;
        for (const Format& format : Formats())
        {
            const Scene scene = Keyed(key, layer, format.format);
            EXPECT_TRUE(AreNear(scene, exact, format.bound, true)) << key.mName << ", " << format.name;
            Show(scene, column++, row, sheet);
        }
        ++row;
    }
    KeepForPeople(FrameOf(sheet, MF::kPixelFormat_BGRA_4444_8u), "keys-in-depths");
}
