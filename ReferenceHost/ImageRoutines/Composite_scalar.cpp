#include <algorithm>
#include <cmath>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/ComposeReference.h"
#include "ReferenceHost/ImageRoutines/Dissolve.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace ir::reference
{
namespace
{

constexpr double kNoDifference = 1.0 / 262144.0;

struct Colour
{
    double c[3];
};

double Unit(double inValue)
{
    return std::min(1.0, std::max(0.0, inValue));
}

double Screen(double inCb, double inCs)
{
    return inCb + inCs - inCb * inCs;
}

double HardLight(double inCb, double inCs)
{
    return inCs <= 0.5 ? 2.0 * inCb * inCs : Screen(inCb, 2.0 * inCs - 1.0);
}

double Burn(double inCb, double inCs)
{
    return inCb >= 1.0 - kNoDifference ? 1.0 : inCs <= 0.0 ? 0.0 : 1.0 - std::min(1.0, (1.0 - inCb) / inCs);
}

double Dodge(double inCb, double inCs)
{
    return inCb <= kNoDifference ? 0.0 : inCs >= 1.0 ? 1.0 : std::min(1.0, inCb / (1.0 - inCs));
}

double SoftLight(double inCb, double inCs)
{
    if (inCs <= 0.5)
    {
        return inCb - (1.0 - 2.0 * inCs) * inCb * (1.0 - inCb);
    }
    const double d = inCb <= 0.25 ? ((16.0 * inCb - 12.0) * inCb + 4.0) * inCb : std::sqrt(inCb);
    return inCb + (2.0 * inCs - 1.0) * (d - inCb);
}

double Separable(std::uint32_t inMode, double inCb, double inCs)
{
    const double b = Unit(inCb);
    const double s = Unit(inCs);
    switch (inMode)
    {
    case kIR_Blend_ColorBurn: return Burn(b, s);
    case kIR_Blend_ColorDodge: return Dodge(b, s);
    case kIR_Blend_Darken: return std::min(inCb, inCs);
    case kIR_Blend_Difference: return std::fabs(inCb - inCs);
    case kIR_Blend_Divide: return s <= kNoDifference ? 1.0 : std::min(1.0, b / s);
    case kIR_Blend_Exclusion: return inCb + inCs - 2.0 * inCb * inCs;
    case kIR_Blend_HardLight: return HardLight(inCb, inCs);
    case kIR_Blend_HardMix: return b + s < 1.0 - kNoDifference ? 0.0 : 1.0;
    case kIR_Blend_Lighten: return std::max(inCb, inCs);
    case kIR_Blend_LinearBurn: return std::max(0.0, inCb + inCs - 1.0);
    case kIR_Blend_LinearDodge: return inCb + inCs;
    case kIR_Blend_LinearLight: return std::max(0.0, inCb + 2.0 * inCs - 1.0);
    case kIR_Blend_Multiply: return inCb * inCs;
    case kIR_Blend_Overlay: return HardLight(inCs, inCb);
    case kIR_Blend_PinLight:
        return inCs <= 0.5 ? std::min(inCb, 2.0 * inCs) : std::max(inCb, 2.0 * inCs - 1.0);
    case kIR_Blend_Screen: return Screen(inCb, inCs);
    case kIR_Blend_SoftLight: return SoftLight(b, s);
    case kIR_Blend_Subtract: return std::max(0.0, inCb - inCs);
    case kIR_Blend_VividLight: return s <= 0.5 ? Burn(b, 2.0 * s) : Dodge(b, 2.0 * s - 1.0);
    default: return inCs;
    }
}

double Lum(const Colour& inColour)
{
    return 0.3 * inColour.c[0] + 0.59 * inColour.c[1] + 0.11 * inColour.c[2];
}

double Least(const Colour& inColour)
{
    return std::min({inColour.c[0], inColour.c[1], inColour.c[2]});
}

double Greatest(const Colour& inColour)
{
    return std::max({inColour.c[0], inColour.c[1], inColour.c[2]});
}

double Sat(const Colour& inColour)
{
    return Greatest(inColour) - Least(inColour);
}

Colour SetSat(const Colour& inColour, double inSat)
{
    const double least = Least(inColour);
    const double range = Greatest(inColour) - least;
    Colour result = {{0.0, 0.0, 0.0}};
    for (int i = 0; i < 3 && range >= kNoDifference; ++i)
    {
        result.c[i] = (inColour.c[i] - least) * inSat / range;
    }
    return result;
}

Colour SetLum(Colour inColour, double inLum)
{
    const double step = inLum - Lum(inColour);
    for (double& component : inColour.c)
    {
        component += step;
    }
    const double least = Least(inColour);
    const double greatest = Greatest(inColour);
    for (double& component : inColour.c)
    {
        if (least < 0.0)
        {
            component = inLum + (component - inLum) * inLum / (inLum - least);
        }
    }
    for (double& component : inColour.c)
    {
        if (greatest > 1.0)
        {
            component = inLum + (component - inLum) * (1.0 - inLum) / (greatest - inLum);
        }
    }
    return inColour;
}

bool IsWholeColour(std::uint32_t inMode)
{
    return inMode == kIR_Blend_Color || inMode == kIR_Blend_Hue || inMode == kIR_Blend_Luminosity ||
           inMode == kIR_Blend_Saturation || inMode == kIR_Blend_DarkerColor ||
           inMode == kIR_Blend_LighterColor;
}

Colour WholeColour(std::uint32_t inMode, const Colour& inCb, const Colour& inCs)
{
    const double brighter = Lum(inCs) - Lum(inCb);
    if (inMode == kIR_Blend_DarkerColor)
    {
        return brighter < -kNoDifference ? inCs : inCb;
    }
    if (inMode == kIR_Blend_LighterColor)
    {
        return brighter > kNoDifference ? inCs : inCb;
    }
    Colour b = inCb;
    Colour s = inCs;
    std::transform(b.c, b.c + 3, b.c, Unit);
    std::transform(s.c, s.c + 3, s.c, Unit);
    switch (inMode)
    {
    case kIR_Blend_Color: return SetLum(s, Lum(b));
    case kIR_Blend_Hue: return SetLum(SetSat(s, Sat(b)), Lum(b));
    case kIR_Blend_Saturation: return SetLum(SetSat(b, Sat(s)), Lum(b));
    default: return SetLum(b, Lum(s));
    }
}

Pixel Through(const Matrix3& inMatrix, const Pixel& inPixel)
{
    Pixel result = inPixel;
    for (int i = 0; i < 3; ++i)
    {
        result.c[i] = inMatrix.m[i][0] * inPixel.c[0] + inMatrix.m[i][1] * inPixel.c[1] +
                      inMatrix.m[i][2] * inPixel.c[2];
    }
    return result;
}

Pixel Scaled(Pixel inPixel, double inColourFactor)
{
    for (int i = 0; i < 3; ++i)
    {
        inPixel.c[i] *= inColourFactor;
    }
    return inPixel;
}

double Inverse(double inAlpha)
{
    return inAlpha == 0.0 ? 0.0 : 1.0 / inAlpha;
}

Pixel LaidNormally(const Pixel& inSource, const Pixel& inBackdrop)
{
    Pixel result = {};
    for (int i = 0; i < 4; ++i)
    {
        result.c[i] = inSource.c[i] + (1.0 - inSource.c[3]) * inBackdrop.c[i];
    }
    return result;
}

// Both premultiplied R G B.
Pixel LaidByMode(const Pixel& inSource, const Pixel& inBackdrop, std::uint32_t inMode, bool inIsLimited)
{
    const double as = inSource.c[3];
    const double ab = inBackdrop.c[3];
    double cb[3];
    double cs[3];
    double blended[3];
    for (int i = 0; i < 3; ++i)
    {
        cb[i] = inBackdrop.c[i] * Inverse(ab);
        cs[i] = inSource.c[i] * Inverse(as);
    }
    Blend(inMode, cb, cs, inIsLimited, blended);
    Pixel result = LaidNormally(inSource, inBackdrop);
    for (int i = 0; i < 3; ++i)
    {
        result.c[i] = (1.0 - ab) * inSource.c[i] + as * ab * blended[i] + (1.0 - as) * inBackdrop.c[i];
    }
    return result;
}

Pixel Dissolved(const Pixel& inSource, const Pixel& inBackdrop, std::int32_t inX, std::int32_t inY)
{
    if (!IsDissolvedToSource(static_cast<float>(inSource.c[3]), inX, inY))
    {
        return inBackdrop;
    }
    Pixel opaque = Scaled(inSource, Inverse(inSource.c[3]));
    opaque.c[3] = 1.0;
    return opaque;
}

Pixel Laid(const Pixel& inSource, const Pixel& inBackdrop, const Picture& inTarget,
           const ComposeSettings& inSettings, std::int32_t inX, std::int32_t inY)
{
    const std::uint32_t mode = inSettings.blendMode;
    if (mode == kIR_Blend_Normal)
    {
        return LaidNormally(inSource, inBackdrop);
    }
    if (mode == kIR_Blend_Dissolve)
    {
        return Dissolved(inSource, inBackdrop, inX, inY);
    }
    const Matrix3 toRgb = ToRGB(inTarget.matrix);
    const bool isLimited = inTarget.sample != Sample::kFloat;
    const Pixel result = LaidByMode(Through(toRgb, inSource), Through(toRgb, inBackdrop), mode, isLimited);
    return Through(FromRGB(inTarget.matrix), result);
}

// A pixel as read or converted, with its curve as wanted, premultiplied.
Pixel Premultiplied(Pixel inPixel, PictureAlpha inAlpha, bool inDecodes)
{
    if (inDecodes)
    {
        const double inverse = inAlpha == PictureAlpha::kPremultiplied ? Inverse(inPixel.c[3]) : 1.0;
        inPixel = Scaled(inPixel, inverse);
        std::transform(inPixel.c, inPixel.c + 3, inPixel.c, DecodeCurve);
    }
    const bool isPremultiplied = inAlpha == PictureAlpha::kPremultiplied && !inDecodes;
    return isPremultiplied ? inPixel : Scaled(inPixel, inPixel.c[3]);
}

void WriteClearAsBlack(const Picture& ioTarget, std::int32_t inX, std::int32_t inY, Pixel inPixel)
{
    const double most = AlphaRange(ioTarget).scale;
    const bool isClear = ioTarget.sample == Sample::kFloat ? inPixel.c[3] == 0.0
                                                           : std::floor(inPixel.c[3] * most + 0.5) <= 0.0;
    if (ioTarget.alpha == PictureAlpha::kStraight && isClear)
    {
        inPixel = Scaled(inPixel, 0.0);
    }
    for (int i = 0; i < 4; ++i)
    {
        WritePlane(ioTarget, i, inX, inY, i == 3 && !ioTarget.HasAlpha() ? 1.0 : inPixel.c[i]);
    }
}

Pixel MatchedTo(const Picture& inTarget, const Pixel& inPremultiplied)
{
    return inTarget.alpha == PictureAlpha::kStraight ? Scaled(inPremultiplied, Inverse(inPremultiplied.c[3]))
                                                     : inPremultiplied;
}

}

void Blend(std::uint32_t inMode, const double (&inBackdrop)[3], const double (&inSource)[3], bool inIsLimited,
           double (&outBlended)[3])
{
    Colour result = {};
    if (IsWholeColour(inMode))
    {
        result = WholeColour(inMode, {{inBackdrop[0], inBackdrop[1], inBackdrop[2]}},
                             {{inSource[0], inSource[1], inSource[2]}});
    }
    for (int i = 0; i < 3; ++i)
    {
        const double blended =
            IsWholeColour(inMode) ? result.c[i] : Separable(inMode, inBackdrop[i], inSource[i]);
        outBlended[i] = inIsLimited ? Unit(blended) : blended;
    }
}

Pixel ComposePixel(const Pixel& inSource, const Pixel& inBackdrop, const Picture& inTarget,
                   const ComposeSettings& inSettings, std::int32_t inX, std::int32_t inY)
{
    Pixel backdrop = {};
    if (inSettings.targetHasPicture)
    {
        backdrop = inBackdrop;
        backdrop.c[3] = inTarget.HasAlpha() ? inBackdrop.c[3] : 1.0;
        backdrop = Premultiplied(backdrop, inTarget.alpha, false);
    }
    return MatchedTo(inTarget, Laid(inSource, backdrop, inTarget, inSettings, inX, inY));
}

void CompositePicture(const Picture& inSource, const Picture& ioTarget, double inOpacity, bool inIsLinear)
{
    Picture straight = ioTarget;
    straight.alpha = PictureAlpha::kStraight;
    for (std::int32_t y = 0; y < ioTarget.height; ++y)
    {
        for (std::int32_t x = 0; x < ioTarget.width; ++x)
        {
            Pixel source = ConvertPixel(ReadPixel(inSource, x, y), inSource, straight);
            source.c[3] = inSource.HasAlpha() ? source.c[3] : 1.0;
            source = Premultiplied(source, PictureAlpha::kStraight, inIsLinear);
            std::for_each(source.c, source.c + 4, [&](double& ioValue) { ioValue *= inOpacity; });
            Pixel backdrop = ReadPixel(ioTarget, x, y);
            backdrop = Premultiplied(backdrop, ioTarget.alpha, inIsLinear);
            Pixel result = LaidNormally(source, backdrop);
            if (inIsLinear)
            {
                result = Scaled(result, Inverse(result.c[3]));
                std::transform(result.c, result.c + 3, result.c, EncodeCurve);
                result = Scaled(result, result.c[3]);
            }
            WriteClearAsBlack(ioTarget, x, y, MatchedTo(ioTarget, result));
        }
    }
}

void AccumulatePictures(const std::vector<Picture>& inSources, const std::vector<double>& inWeights,
                        const Picture& inTarget)
{
    Picture premultiplied = inTarget;
    premultiplied.alpha = PictureAlpha::kPremultiplied;
    Grid grid(inTarget.width, inTarget.height);
    for (std::size_t i = 0; i < inSources.size(); ++i)
    {
        for (std::int32_t y = 0; y < inTarget.height; ++y)
        {
            for (std::int32_t x = 0; x < inTarget.width; ++x)
            {
                const Pixel pixel = ConvertPixel(ReadPixel(inSources[i], x, y), inSources[i], premultiplied);
                for (int c = 0; c < 4; ++c)
                {
                    grid.At(x, y).c[c] += pixel.c[c] * inWeights[i];
                }
            }
        }
    }
    for (Pixel& pixel : grid.pixels)
    {
        pixel = MatchedTo(inTarget, pixel);
    }
    WriteGrid(grid, inTarget);
}

}
