// Pictures in double, frames made of them in every working format, and effects run on those.
//
// Thread-safety: none.
#pragma once

#include "MF/PixelFormats.h"
#include "ML/VideoFilter.h"
#include "ML/VideoTransition.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"

#include <array>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace EffectScenes
{

// R, G, B, A from 0 to 1, straight, in the coding of its frame.
using Pixel = std::array<double, 4>;

struct Scene
{
    int width = 0;
    int height = 0;
    std::vector<Pixel> pixels;

    Pixel& At(int inX, int inY) { return pixels[static_cast<std::size_t>(inY * width + inX)]; }
    const Pixel& At(int inX, int inY) const { return pixels[static_cast<std::size_t>(inY * width + inX)]; }
};

// Noise in all components; some pixels are clear and some are opaque. inIsOpaque: all of them.
Scene Noise(int inWidth, int inHeight, std::uint64_t inSeed, bool inIsOpaque = false);
// Something that people can look at: a landscape of colours with a frame, a grid and a name.
Scene Landscape(int inWidth, int inHeight, char inName);
Scene Filled(int inWidth, int inHeight, const Pixel& inPixel);

// Coded for display, as the pictures of people are; linear frames are given the decoded colour.
MF::IVideoFrameRef FrameOf(const Scene& inScene, const norviktypes::PixelFormat& inFormat);
// What lies in a frame, in its own coding.
Scene SceneOf(const MF::IVideoFrameRef& inFrame);

bool IsLinear(const norviktypes::PixelFormat& inFormat);
double Encode(double inLinear);
double Decode(double inCoded);

struct Format
{
    norviktypes::PixelFormat format;
    const char* name;
    double bound; // of what a result may differ from the exact one
};
// Codes may be one off, which includes the half that rounding takes.
const std::vector<Format>& Formats();

// A parameter's place and the parameter.
using Values = std::vector<std::pair<std::size_t, MF::IKeyframedParameterRef>>;
MF::IKeyframedParameterRef TextValue(const std::string& inText);
MF::IKeyframedParameterRef ColorValue(std::uint8_t inRed, std::uint8_t inGreen, std::uint8_t inBlue);
MF::KeyframeStore StoreOf(const Values& inValues);

struct Moment
{
    std::int64_t frame = 0;
    std::int64_t count = 1;
    double scale = 1.0;
};

// The frame that a transition draws; empty where it fails.
MF::IVideoFrameRef RunTransition(const std::string& inName, const Values& inValues, const Moment& inMoment,
                                 const MF::IVideoFrameRef& inFrom, const MF::IVideoFrameRef& inTo,
                                 const ML::TransitionInfo& inInfo = {});
MF::IVideoFrameRef RunFilter(const std::string& inName, const Values& inValues,
                             const MF::IVideoFrameRef& inFrame, double inScale = 1.0);

// Every component of every pixel within the bound. Colour counts as far as it is seen: a difference is taken
// times the alpha where inByAlpha is said.
testing::AssertionResult AreNear(const Scene& inResult, const Scene& inExpected, double inBound,
                                 bool inByAlpha = false);

// Runs a filter in all formats on noise, beside a formula that is given straight pixels coded for display.
void ExpectPixelFormula(const std::string& inName, const Values& inValues,
                        const std::function<Pixel(const Pixel&)>& inFormula);

void SavePicture(const MF::IVideoFrameRef& inFrame, const std::string& inPath);
// Writes a picture for people where VR_EFFECT_PICTURES names a folder.
void KeepForPeople(const MF::IVideoFrameRef& inFrame, const std::string& inName);

} // namespace EffectScenes
