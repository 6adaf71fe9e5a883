#include "ReferenceHost/Foundation/BitmapFont.h"
#include "Tests/ReferenceHost/Effects/EffectScenes.h"
#include "Tests/Support/Paths.h"

#include <algorithm>
#include <cmath>
#include <fstream>

// Every effect on a picture that people can look at, with its title: sheets are kept where VR_EFFECT_PICTURES names a
// folder. What the test
// looks at is that the picture is no longer what it was.
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

} // namespace
