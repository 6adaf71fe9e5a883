#include "ReferenceHost/Foundation/BitmapFont.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "Tests/Support/Paths.h"

#include <algorithm>
#include <cmath>
#include <fstream>

// Every effect on a picture that people can look at, with its title: sheets are kept where VR_EFFECT_PICTURES
// names a folder. What the test looks at is that the picture is no longer what it was.
namespace
{

using namespace EffectScenes;
using TestSupport::MakeChoiceParameter;
using TestSupport::MakeNumberParameter;
using TestSupport::MakePointParameter;
using TestSupport::MakeTruthParameter;

constexpr int kWidth = 320;
constexpr int kHeight = 180;
constexpr int kTitle = 24;

class Sheet
{
public:
    Sheet(int inColumns, int inRows) : mColumns(inColumns)
    {
        mScene = Filled(inColumns * (kWidth + 8), inRows * (kHeight + kTitle + 8), {0.2, 0.2, 0.2, 1.0});
    }

    // Clear pixels show a chequered ground.
    void Add(const std::string& inTitle, const MF::IVideoFrameRef& inFrame)
    {
        ASSERT_TRUE(inFrame) << inTitle;
        const Scene scene = SceneOf(inFrame);
        const int left = mCount % mColumns * (kWidth + 8);
        const int top = mCount / mColumns * (kHeight + kTitle + 8);
        ++mCount;
        std::vector<std::uint8_t> ink(mScene.pixels.size());
        Foundation::DrawText({ink.data(), mScene.width, mScene.height, mScene.width}, left + 4, top + 4,
                             inTitle, 2);
        for (std::size_t i = 0; i < ink.size(); ++i)
        {
            mScene.pixels[i] = ink[i] != 0 ? Pixel{1, 1, 1, 1} : mScene.pixels[i];
        }
        for (int y = 0; y < scene.height; ++y)
        {
            for (int x = 0; x < scene.width; ++x)
            {
                const double ground = (x / 10 + y / 10) % 2 != 0 ? 0.35 : 0.55;
                const Pixel& pixel = scene.At(x, y);
                Pixel& shown = mScene.At(left + x, top + kTitle + y);
                for (std::size_t c = 0; c < 3; ++c)
                {
                    shown[c] = pixel[c] * pixel[3] + ground * (1.0 - pixel[3]);
                }
            }
        }
    }

    void Keep(const std::string& inName) const
    {
        KeepForPeople(FrameOf(mScene, MF::kPixelFormat_BGRA_4444_8u), inName);
    }

private:
    Scene mScene;
    int mColumns;
    int mCount = 0;
};

MF::IVideoFrameRef Picture(char inName)
{
    return FrameOf(Landscape(kWidth, kHeight, inName), MF::kPixelFormat_BGRA_4444_8u);
}

std::string MapFile(const TestSupport::ScratchFolder& inFolder)
{
    // Rings, and a lean to the right.
    Scene map = Filled(160, 90, {0, 0, 0, 1});
    for (int y = 0; y < 90; ++y)
    {
        for (int x = 0; x < 160; ++x)
        {
            const double radius = std::hypot(x - 50.0, y - 45.0);
            const double level = std::clamp(radius / 140.0 + 0.08 * std::sin(radius / 5.0), 0.0, 1.0);
            map.At(x, y) = {level, level, level, 1.0};
        }
    }
    const std::string path = inFolder.File("map.png");
    SavePicture(FrameOf(map, MF::kPixelFormat_BGRA_4444_8u), path);
    return path;
}

struct Show
{
    std::string title;
    std::string name;
    Values values;
};

TEST(EffectPictures, ShowEveryTransition)
{
    const TestSupport::ScratchFolder folder;
    const Values edge = {
        {0, MakeNumberParameter(20)}, {1, MakeNumberParameter(6)}, {2, ColorValue(255, 220, 0)}};
    const auto with = [&](std::initializer_list<Values::value_type> inMore)
    {
        Values values = edge;
        values.insert(values.end(), inMore);
        return values;
    };
    const std::vector<Show> shows = {
        {"cross dissolve", "vrender:cross-dissolve", {}},
        {"dip to color", "vrender:dip-to-color", {{0, ColorValue(200, 0, 120)}}},
        {"wipe", "vrender:wipe", {}},
        {"wipe 30 deg, border", "vrender:wipe", with({{3, MakeNumberParameter(30)}})},
        {"clock", "vrender:clock-wipe", {}},
        {"clock, border", "vrender:clock-wipe", with({{3, MakeNumberParameter(45)}})},
        {"iris rectangle", "vrender:iris", with({{3, MakeChoiceParameter(0)}})},
        {"iris circle", "vrender:iris", with({{3, MakeChoiceParameter(1)}})},
        {"iris diamond", "vrender:iris",
         with({{3, MakeChoiceParameter(2)}, {4, MakePointParameter(0.3, 0.4)}})},
        {"slide", "vrender:slide", {{0, MakeChoiceParameter(2)}}},
        {"push", "vrender:push", {{0, MakeChoiceParameter(1)}}},
        {"luma wipe", "vrender:luma-wipe", {{0, TextValue(MapFile(folder))}}},
    };
    Sheet sheet(4, static_cast<int>(shows.size()));
    for (const Show& show : shows)
    {
        for (const std::int64_t frame : {1, 3, 5, 8})
        {
            const auto result =
                RunTransition(show.name, show.values, {frame, 10}, Picture('A'), Picture('B'));
            sheet.Add(show.title + " " + std::to_string(frame) + "/10", result);
            EXPECT_FALSE(AreNear(SceneOf(result), SceneOf(Picture('A')), 0.02)) << show.title;
            EXPECT_FALSE(AreNear(SceneOf(result), SceneOf(Picture('B')), 0.02)) << show.title;
        }
    }
    sheet.Keep("transitions");
}

TEST(EffectPictures, ShowEveryFilter)
{
    const TestSupport::ScratchFolder folder;
    const std::string table = folder.File("warm.cube");
    {
        std::ofstream file(table);
        file << "LUT_3D_SIZE 2\n";
        for (int i = 0; i < 8; ++i)
        {
            const int r = i % 2;
            const int g = i / 2 % 2;
            const int b = i / 4;
            file << std::min(1.0, 0.1 + r) << " " << 0.8 * g + 0.1 * r << " " << 0.5 * b + 0.2 << "\n";
        }
    }
    const std::vector<Show> shows = {
        {"procamp hue 90", "VX.ZNTR ProcAmp", {{2, MakeNumberParameter(90)}}},
        {"procamp split, saturation 0",
         "VX.ZNTR ProcAmp",
         {{3, MakeNumberParameter(0)}, {4, MakeTruthParameter(true)}}},
        {"alpha adjust 50 %", "VX.ZNTR Alpha Adjust", {{0, MakeNumberParameter(50)}}},
        {"asc cdl", "vrender:asc-cdl", {{0, MakeNumberParameter(1.4)}, {9, MakeNumberParameter(1.5)}}},
        {"video limiter",
         "VX.ZNTR Video Limiter",
         {{1, MakeNumberParameter(50)}, {2, MakeNumberParameter(20)}}},
        {"levels", "vrender:levels", {{0, MakeNumberParameter(30)}, {2, MakeNumberParameter(0.6)}}},
        {"curves", "vrender:curves", {{0, TextValue("0,0 0.3,0.1 0.6,0.9 1,1")}}},
        {"3d lut", "vrender:lut", {{0, TextValue(table)}}},
        {"gaussian blur 6", "vrender:gaussian-blur", {{0, MakeNumberParameter(6)}}},
        {"blur across, clear edges",
         "vrender:gaussian-blur",
         {{0, MakeNumberParameter(12)}, {1, MakeChoiceParameter(1)}, {2, MakeTruthParameter(false)}}},
        {"sharpen", "vrender:sharpen", {{0, MakeNumberParameter(200)}, {1, MakeNumberParameter(2)}}},
        {"transform",
         "VX.ZNTR Geometry",
         {{1, MakePointParameter(0.6, 0.45)}, {3, MakeNumberParameter(60)}, {5, MakeNumberParameter(15)}}},
        {"corner pin",
         "VX.ZNTR Corner Pin",
         {{0, MakePointParameter(0.1, 0.2)},
          {1, MakePointParameter(0.95, 0.05)},
          {3, MakePointParameter(0.8, 0.7)}}},
        {"garbage matte",
         "VX.ZNTR Garbage Matte",
         {{0, MakePointParameter(0.3, 0.05)},
          {8, MakePointParameter(0.8, 0.9)},
          {17, MakeNumberParameter(16)}}},
        {"timecode", "VX.ZNTR Kest Timecode", {{5, MakeNumberParameter(90123)}}},
    };
    Sheet sheet(4, 4);
    for (const Show& show : shows)
    {
        const auto result = RunFilter(show.name, show.values, Picture('A'));
        sheet.Add(show.title, result);
        EXPECT_FALSE(AreNear(SceneOf(result), SceneOf(Picture('A')), 0.02)) << show.title;
    }
    sheet.Keep("filters");
}

// A studio: a screen that is darker to the edges, and on it a face with hair, a shirt and a window that lets
// some of the screen through.
Scene Studio(const Pixel& inScreen)
{
    Scene scene = Filled(kWidth, kHeight, inScreen);
    for (int y = 0; y < kHeight; ++y)
    {
        for (int x = 0; x < kWidth; ++x)
        {
            Pixel& pixel = scene.At(x, y);
            const double fromMiddle = std::abs(x - kWidth / 2) / (kWidth / 2.0);
            for (std::size_t c = 0; c < 3; ++c)
            {
                pixel[c] *= 1.0 - 0.25 * fromMiddle;
            }
            const double face = std::hypot((x - 130) / 40.0, (y - 80) / 55.0);
            if (face < 1.1)
            {
                const double edge = std::clamp((1.1 - face) * 10.0, 0.0, 1.0);
                const Pixel skin = y < 50 ? Pixel{0.2, 0.12, 0.08, 1} : Pixel{0.85, 0.6, 0.5, 1};
                for (std::size_t c = 0; c < 3; ++c)
                {
                    pixel[c] += edge * (skin[c] - pixel[c]);
                }
            }
            if (x > 210 && x < 290 && y > 40 && y < 140)
            {
                for (std::size_t c = 0; c < 3; ++c)
                {
                    pixel[c] = 0.5 * pixel[c] + 0.5 * (y < 90 ? 0.95 : 0.05);
                }
            }
        }
    }
    return scene;
}

TEST(EffectPictures, ShowEveryKeyOfColour)
{
    const Scene blue = Studio({0.1, 0.2, 0.75, 1.0});
    const Scene green = Studio({0.15, 0.75, 0.2, 1.0});
    const auto mask = MakeTruthParameter(true);
    struct KeyShow
    {
        Show show;
        const Scene& scene;
    };
    const std::vector<KeyShow> shows = {
        {{"luma key", "VX.ZNTR Legacy Key Luma", {}}, blue},
        {{"luma key 60 to 40",
          "VX.ZNTR Legacy Key Luma",
          {{0, MakeNumberParameter(40)}, {1, MakeNumberParameter(60)}}},
         blue},
        {{"chroma key", "VX.ZNTR Legacy Key Chroma", {{0, ColorValue(35, 170, 46)}}}, green},
        {{"chroma key, mask", "VX.ZNTR Legacy Key Chroma", {{0, ColorValue(35, 170, 46)}, {6, mask}}}, green},
        {{"rgb difference", "VX.ZNTR Legacy Key RGBDifference", {{1, MakeNumberParameter(45)}}}, blue},
        {{"blue screen", "VX.ZNTR Legacy Key BlueScreen", {}}, blue},
        {{"blue screen, spill", "VX.ZNTR Legacy Key BlueScreen", {{2, MakeNumberParameter(100)}}}, blue},
        {{"green screen, spill", "VX.ZNTR Legacy Key GreenScreen", {{2, MakeNumberParameter(100)}}}, green},
        {{"green screen, mask", "VX.ZNTR Legacy Key GreenScreen", {{4, mask}}}, green},
        {{"non red, defringed", "VX.ZNTR Legacy Key NonRed", {{2, MakeChoiceParameter(2)}}}, blue},
        {{"multiply", "VX.ZNTR Legacy Key Multiply", {}}, blue},
        {{"screen", "VX.ZNTR Legacy Key Screen", {}}, blue},
    };
    Sheet sheet(4, 4);
    sheet.Add("blue", FrameOf(blue, MF::kPixelFormat_BGRA_4444_8u));
    sheet.Add("green", FrameOf(green, MF::kPixelFormat_BGRA_4444_8u));
    for (const KeyShow& key : shows)
    {
        const auto result =
            RunFilter(key.show.name, key.show.values, FrameOf(key.scene, MF::kPixelFormat_BGRA_4444_8u));
        sheet.Add(key.show.title, result);
        EXPECT_FALSE(AreNear(SceneOf(result), key.scene, 0.02)) << key.show.title;
    }
    sheet.Keep("keys");
}

} // namespace
