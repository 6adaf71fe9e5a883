#include "Tests/ReferenceHost/Effects/EffectScenes.h"

#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Foundation/BitmapFont.h"
#include "ReferenceHost/FrameLibrary/PNGFile.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Scale.h"
#include "norvik/utility/Strings.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>

namespace EffectScenes
{
namespace
{

constexpr int kPlaces[4] = {2, 1, 0, 3}; // of R, G, B and A in a pixel

class TextParameter final : public TestSupport::FakeKeyframedParameter
{
public:
    explicit TextParameter(const std::string& inText) : mText(inText.begin(), inText.end())
    {
        mValueType = MF::kKeyframeValueType<norvik::WString>;
    }
    std::int32_t GetValueAtTime(MF::KeyframeBase& outValue, const norviktypes::TickTime&,
                                std::uint32_t) const override
    {
        if (outValue.GetValueType() != mValueType)
        {
            return -1;
        }
        static_cast<MF::Keyframe<norvik::WString>&>(outValue).mValue = mText;
        return 0;
    }

private:
    norvik::WString mText;
};

int BytesOf(const norviktypes::PixelFormat& inFormat)
{
    if (inFormat == MF::kPixelFormat_BGRA_4444_8u)
    {
        return 1;
    }
    return inFormat == MF::kPixelFormat_BGRA_4444_16u ? 2 : 4;
}

void Store(double inValue, int inBytes, std::uint8_t* outSample)
{
    const double held = std::clamp(inValue, 0.0, 1.0);
    if (inBytes == 1)
    {
        *outSample = static_cast<std::uint8_t>(std::lround(held * 255.0));
    }
    else if (inBytes == 2)
    {
        const auto word = static_cast<std::uint16_t>(std::lround(held * 65535.0));
        std::memcpy(outSample, &word, sizeof(word));
    }
    else
    {
        const auto number = static_cast<float>(inValue);
        std::memcpy(outSample, &number, sizeof(number));
    }
}

double Load(const std::uint8_t* inSample, int inBytes)
{
    if (inBytes == 1)
    {
        return *inSample / 255.0;
    }
    if (inBytes == 2)
    {
        std::uint16_t word = 0;
        std::memcpy(&word, inSample, sizeof(word));
        return word / 65535.0;
    }
    float number = 0.0F;
    std::memcpy(&number, inSample, sizeof(number));
    return static_cast<double>(number);
}

ML::EffectRenderInfo InfoOf(double inScale)
{
    ML::EffectRenderInfo info;
    info.isUnset = 0;
    info.downsampleFactor = static_cast<float>(inScale);
    return info;
}

const norviktypes::FrameRate kRate(norviktypes::kTicksPerSecond / 25);

} // namespace

Scene Noise(int inWidth, int inHeight, std::uint64_t inSeed, bool inIsOpaque)
{
    std::mt19937_64 random(inSeed + TestSupport::Seed());
    std::uniform_real_distribution<double> number(0.0, 1.0);
    Scene scene = Filled(inWidth, inHeight, {});
    for (Pixel& pixel : scene.pixels)
    {
        for (double& component : pixel)
        {
            component = number(random);
        }
        const double kind = number(random);
        pixel[3] = inIsOpaque || kind < 0.3 ? 1.0 : kind < 0.4 ? 0.0 : pixel[3];
    }
    return scene;
}

Scene Landscape(int inWidth, int inHeight, char inName)
{
    Scene scene = Filled(inWidth, inHeight, {});
    const bool isWarm = inName % 2 != 0;
    for (int y = 0; y < inHeight; ++y)
    {
        for (int x = 0; x < inWidth; ++x)
        {
            const double across = (x + 0.5) / inWidth;
            const double down = (y + 0.5) / inHeight;
            const bool isGrid = x % 40 < 2 || y % 40 < 2;
            const Pixel warm = {0.95 - 0.5 * down, 0.25 + 0.6 * across, 0.15, 1.0};
            const Pixel cold = {0.1, 0.3 + 0.5 * down, 0.4 + 0.6 * across, 1.0};
            scene.At(x, y) = isGrid ? Pixel{0.9, 0.9, 0.9, 1.0} : isWarm ? warm : cold;
        }
    }
    const int dot = std::max(1, inHeight / 14);
    std::vector<std::uint8_t> ink(scene.pixels.size());
    Foundation::DrawText({ink.data(), inWidth, inHeight, inWidth}, inWidth / 2 - 3 * dot,
                         inHeight / 2 - 4 * dot, std::string(1, inName), dot);
    for (std::size_t i = 0; i < ink.size(); ++i)
    {
        scene.pixels[i] = ink[i] != 0 ? Pixel{1.0, 1.0, 1.0, 1.0} : scene.pixels[i];
    }
    return scene;
}

Scene Filled(int inWidth, int inHeight, const Pixel& inPixel)
{
    return {inWidth, inHeight, std::vector<Pixel>(static_cast<std::size_t>(inWidth * inHeight), inPixel)};
}

MF::IVideoFrameRef FrameOf(const Scene& inScene, const norviktypes::PixelFormat& inFormat)
{
    const auto frame = TestSupport::NewFrame(inFormat, static_cast<std::uint32_t>(inScene.width),
                                             static_cast<std::uint32_t>(inScene.height));
    const int bytes = BytesOf(inFormat);
    for (int y = 0; y < inScene.height; ++y)
    {
        std::uint8_t* row = TestSupport::RowOf(frame, static_cast<std::uint32_t>(y));
        for (int x = 0; x < inScene.width; ++x)
        {
            for (std::size_t c = 0; c < 4; ++c)
            {
                const double value = inScene.At(x, y)[c];
                Store(IsLinear(inFormat) && c < 3 ? Decode(value) : value, bytes,
                      row + (4 * x + kPlaces[c]) * bytes);
            }
        }
    }
    return frame;
}

Scene SceneOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    norviktypes::PixelFormat format;
    inFrame->GetPixelFormat(format);
    const int bytes = BytesOf(format);
    Scene scene = Filled(bounds.Width(), bounds.Height(), {});
    for (int y = 0; y < scene.height; ++y)
    {
        const std::uint8_t* row = TestSupport::RowOf(inFrame, static_cast<std::uint32_t>(y));
        for (int x = 0; x < scene.width; ++x)
        {
            for (std::size_t c = 0; c < 4; ++c)
            {
                scene.At(x, y)[c] = Load(row + (4 * x + kPlaces[c]) * bytes, bytes);
            }
        }
    }
    return scene;
}

bool IsLinear(const norviktypes::PixelFormat& inFormat)
{
    return inFormat == MF::kPixelFormat_BGRA_4444_32f_Linear;
}

// Both are odd about 0.
double Encode(double inLinear)
{
    const double size = std::abs(inLinear);
    const double coded =
        size < 0.018053968510807 ? 4.5 * size : 1.09929682680944 * std::pow(size, 0.45) - 0.09929682680944;
    return std::copysign(coded, inLinear);
}

double Decode(double inCoded)
{
    const double size = std::abs(inCoded);
    const double linear = size < 4.5 * 0.018053968510807
                              ? size / 4.5
                              : std::pow((size + 0.09929682680944) / 1.09929682680944, 1 / 0.45);
    return std::copysign(linear, inCoded);
}

const std::vector<Format>& Formats()
{
    static const std::vector<Format> sFormats = {
        {MF::kPixelFormat_BGRA_4444_8u, "8 bits", 1.0 / 255.0},
        {MF::kPixelFormat_BGRA_4444_16u, "16 bits", 1.5 / 65535.0},
        {MF::kPixelFormat_BGRA_4444_32f, "float", 2e-5},
        {MF::kPixelFormat_BGRA_4444_32f_Linear, "linear float", 2e-5},
    };
    return sFormats;
}

MF::IKeyframedParameterRef TextValue(const std::string& inText)
{
    return MF::IKeyframedParameterRef(new TextParameter(inText));
}

MF::IKeyframedParameterRef ColorValue(std::uint8_t inRed, std::uint8_t inGreen, std::uint8_t inBlue)
{
    return TestSupport::MakeChoiceParameter(
        TVK::ParamColor<std::uint32_t>::FromComponents(inRed, inGreen, inBlue, 255).mValue);
}

MF::KeyframeStore StoreOf(const Values& inValues)
{
    MF::KeyframeStore store;
    for (const auto& [place, value] : inValues)
    {
        store.resize(std::max(store.size(), place + 1));
        store[place] = value;
    }
    return store;
}

MF::IVideoFrameRef RunTransition(const std::string& inName, const Values& inValues, const Moment& inMoment,
                                 const MF::IVideoFrameRef& inFrom, const MF::IVideoFrameRef& inTo,
                                 const ML::TransitionInfo& inInfo)
{
    const auto parameters = std::make_shared<const MF::KeyframeStore>(StoreOf(inValues));
    const auto transition = Effects::GetEffectRegistry().CreateTransition(inName, inInfo, parameters);
    MF::IVideoFrameRef frame;
    ML::VideoTransitionRender render;
    render.mFrameRate = kRate;
    render.mFrameCount = inMoment.count;
    render.mFrame = inMoment.frame;
    render.mStart = norviktypes::TickTime::FromFrame(7, kRate);
    render.mEnd = norviktypes::TickTime::FromFrame(7 + inMoment.count, kRate);
    render.mTime = norviktypes::TickTime::FromFrame(7 + inMoment.frame, kRate);
    render.mInfoA.mRender = InfoOf(inMoment.scale);
    render.mInfoB.mRender = InfoOf(inMoment.scale);
    const bool isDrawn = transition && inFrom->CreateCompatibleFrame(frame) >= 0 &&
                         transition->Render(render, frame, inTo, inFrom) >= 0;
    return isDrawn ? frame : MF::IVideoFrameRef();
}

MF::IVideoFrameRef RunFilter(const std::string& inName, const Values& inValues,
                             const MF::IVideoFrameRef& inFrame, double inScale)
{
    const ML::IVideoFilterRef filter = Effects::GetEffectRegistry().CreateFilter(inName);
    const MF::KeyframeStore parameters = StoreOf(inValues);
    const ML::EffectRenderInfo info = InfoOf(inScale);
    ML::VideoFilterRender render;
    render.mFrameRate = kRate;
    render.mFrameCount = 100;
    render.mParameters = &parameters;
    render.mInfo = &info;
    MF::IVideoFrameRef frame;
    return filter && filter->Render(render, inFrame, frame) >= 0 ? frame : MF::IVideoFrameRef();
}

testing::AssertionResult AreNear(const Scene& inResult, const Scene& inExpected, double inBound,
                                 bool inByAlpha)
{
    for (int y = 0; y < inExpected.height; ++y)
    {
        for (int x = 0; x < inExpected.width; ++x)
        {
            for (std::size_t c = 0; c < 4; ++c)
            {
                const double result = inResult.At(x, y)[c];
                const double expected = inExpected.At(x, y)[c];
                const double seen = inByAlpha && c < 3 ? std::min(1.0, inExpected.At(x, y)[3]) : 1.0;
                // Also where one of them is no number.
                if (!(std::abs(result - expected) * seen <= inBound * std::max(1.0, std::abs(expected))))
                {
                    return testing::AssertionFailure() << "component " << c << " at " << x << ", " << y
                                                       << " is " << result << ", not " << expected;
                }
            }
        }
    }
    return testing::AssertionSuccess();
}

void ExpectPixelFormula(const std::string& inName, const Values& inValues,
                        const std::function<Pixel(const Pixel&)>& inFormula)
{
    const Scene noise = Noise(67, 21, 5);
    for (const Format& format : Formats())
    {
        const MF::IVideoFrameRef frame = FrameOf(noise, format.format);
        Scene expected = SceneOf(frame);
        const bool isInteger = format.format.mProperties < MF::kPixelFormat_BGRA_4444_16u.mProperties + 1;
        for (Pixel& pixel : expected.pixels)
        {
            Pixel coded = pixel;
            for (std::size_t c = 0; c < 3 && IsLinear(format.format); ++c)
            {
                coded[c] = Encode(pixel[c]);
            }
            pixel = inFormula(coded);
            for (std::size_t c = 0; c < 3 && IsLinear(format.format); ++c)
            {
                pixel[c] = Decode(pixel[c]);
            }
            for (std::size_t c = 0; c < 4 && isInteger; ++c)
            {
                pixel[c] = std::clamp(pixel[c], 0.0, 1.0);
            }
        }
        const MF::IVideoFrameRef result = RunFilter(inName, inValues, frame);
        ASSERT_TRUE(result) << inName;
        EXPECT_FALSE(result == frame) << inName << " passes its input on";
        EXPECT_TRUE(AreNear(SceneOf(result), expected, format.bound)) << inName << ", " << format.name;
    }
}

void SavePicture(const MF::IVideoFrameRef& inFrame, const std::string& inPath)
{
    std::string error;
    EXPECT_TRUE(VF::WritePNGFile(inFrame, inPath, error)) << error;
}

void KeepForPeople(const MF::IVideoFrameRef& inFrame, const std::string& inName)
{
    if (const char* folder = std::getenv("VR_EFFECT_PICTURES"))
    {
        SavePicture(inFrame, std::string(folder) + "/" + inName + ".png");
    }
}

} // namespace EffectScenes
