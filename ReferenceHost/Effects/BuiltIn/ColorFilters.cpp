#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/ToneCurves.h"

#include <algorithm>
#include <cmath>

// Filters that change brightness and colour of each pixel by itself. YUV is that of Rec. 709.
namespace Effects
{
namespace
{

constexpr double kBlueRange = 1.8556; // B - Y over U
constexpr double kRedRange = 1.5748;  // R - Y over V

struct Yuv
{
    double y;
    double u;
    double v;
};

Yuv ToYuv(double inR, double inG, double inB)
{
    const double y = LumaOf(inR, inG, inB);
    return {y, (inB - y) / kBlueRange, (inR - y) / kRedRange};
}

void ToRgb(const Yuv& inYuv, double (&outRgb)[3])
{
    outRgb[0] = inYuv.y + kRedRange * inYuv.v;
    outRgb[2] = inYuv.y + kBlueRange * inYuv.u;
    outRgb[1] = (inYuv.y - 0.2126 * outRgb[0] - 0.0722 * outRgb[2]) / 0.7152;
}

// Three rows of three weights and a constant, as floats of a kernel.
struct ColorMatrix
{
    float m[3][4];
};

void ApplyMatrix(const ColorMatrix& inMatrix, float* __restrict ioR, float* __restrict ioG,
                 float* __restrict ioB, std::size_t inCount)
{
    const auto& m = inMatrix.m;
    for (std::size_t x = 0; x < inCount; ++x)
    {
        const float r = ioR[x];
        const float g = ioG[x];
        const float b = ioB[x];
        ioR[x] = m[0][0] * r + m[0][1] * g + m[0][2] * b + m[0][3];
        ioG[x] = m[1][0] * r + m[1][1] * g + m[1][2] * b + m[1][3];
        ioB[x] = m[2][0] * r + m[2][1] * g + m[2][2] * b + m[2][3];
    }
}

namespace procAmp
{

constexpr std::size_t kBrightness = 0;
constexpr std::size_t kContrast = 1;
constexpr std::size_t kHue = 2;
constexpr std::size_t kSaturation = 3;
constexpr std::size_t kSplitScreen = 4;
constexpr std::size_t kSplitPercent = 5;

// Y = contrast Y + brightness; U and V turned by the hue, times contrast and saturation. All of that is linear, so
// the matrix is what it does to red, green, blue and black.
ColorMatrix MatrixOf(const EffectParameters& inParameters)
{
    const double contrast = inParameters.Percent(kContrast);
    const double chroma = contrast * inParameters.Percent(kSaturation);
    const double cosine = chroma * std::cos(inParameters.Radians(kHue));
    const double sine = chroma * std::sin(inParameters.Radians(kHue));
    const double brightness = inParameters.Percent(kBrightness);
    ColorMatrix matrix{};
    for (int column = 0; column < 4; ++column)
    {
        const Yuv yuv = ToYuv(column == 0, column == 1, column == 2);
        const Yuv changed = {contrast * yuv.y + (column == 3 ? brightness : 0.0),
                             cosine * yuv.u - sine * yuv.v, sine * yuv.u + cosine * yuv.v};
        double rgb[3];
        ToRgb(changed, rgb);
        for (int row = 0; row < 3; ++row)
        {
            matrix.m[row][column] = static_cast<float>(rgb[row]);
        }
    }
    return matrix;
}

class Operation final : public IRowOperation
{
public:
    Operation(const EffectParameters& inParameters, std::int32_t inWidth)
        : mMatrix(MatrixOf(inParameters))
        , mWidth(static_cast<std::size_t>(inWidth))
    {
        if (inParameters.Switch(kSplitScreen))
        {
            mWidth = static_cast<std::size_t>(std::lround(inParameters.Percent(kSplitPercent) * inWidth));
        }
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t) override
    {
        ApplyMatrix(mMatrix, ioRow.c[0], ioRow.c[1], ioRow.c[2], mWidth);
    }

private:
    ColorMatrix mMatrix;
    std::size_t mWidth; // the left part of the picture that is changed
};

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    bool IsIdle(const FilterCall& inCall) const override
    {
        const EffectParameters& parameters = inCall.parameters;
        return parameters.Number(kBrightness) == 0.0 && parameters.Number(kContrast) == 100.0 &&
               parameters.Number(kHue) == 0.0 && parameters.Number(kSaturation) == 100.0;
    }
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                           const ir::Picture& inPicture) const override
    {
        return std::make_unique<Operation>(inCall.parameters, inPicture.width);
    }
};

} // namespace procAmp

namespace alphaAdjust
{

constexpr std::size_t kOpacity = 0;
constexpr std::size_t kIgnore = 1;
constexpr std::size_t kInvert = 2;
constexpr std::size_t kMaskOnly = 3;

class Operation final : public IRowOperation
{
public:
    explicit Operation(const EffectParameters& inParameters)
        : mOpacity(static_cast<float>(inParameters.Percent(kOpacity)))
        , mIgnores(inParameters.Switch(kIgnore))
        , mInverts(inParameters.Switch(kInvert))
        , mIsMaskOnly(inParameters.Switch(kMaskOnly))
    {
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t inWidth) override
    {
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const float alpha = mIgnores ? 1.0F : ioRow.c[3][x];
            ioRow.c[3][x] = mOpacity * (mInverts ? 1.0F - alpha : alpha);
        }
        for (int component = 0; component < 3 && mIsMaskOnly; ++component)
        {
            std::copy_n(ioRow.c[3], inWidth, ioRow.c[component]);
        }
        if (mIsMaskOnly)
        {
            std::fill_n(ioRow.c[3], inWidth, 1.0F);
        }
    }

private:
    float mOpacity;
    bool mIgnores;
    bool mInverts;
    bool mIsMaskOnly;
};

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    bool IsIdle(const FilterCall& inCall) const override
    {
        const EffectParameters& parameters = inCall.parameters;
        return parameters.Number(kOpacity) == 100.0 && !parameters.Switch(kIgnore) &&
               !parameters.Switch(kInvert) && !parameters.Switch(kMaskOnly);
    }
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall, const ir::Picture&) const override
    {
        return std::make_unique<Operation>(inCall.parameters);
    }
};

} // namespace alphaAdjust

namespace cdl
{

constexpr std::size_t kSlope = 0; // and the two after it, as for the others
constexpr std::size_t kOffset = 3;
constexpr std::size_t kPower = 6;
constexpr std::size_t kSaturation = 9;

// Slope, offset and power of a component, limited before the power as the list's makers want it.
ToneRef ToneOf(const EffectParameters& inParameters, std::size_t inComponent)
{
    PowerStage stage;
    stage.slope = inParameters.Number(kSlope + inComponent);
    stage.offset = inParameters.Number(kOffset + inComponent);
    stage.power = inParameters.Number(kPower + inComponent);
    return MakePowerTone({stage});
}

class Operation final : public IRowOperation
{
public:
    Operation(const EffectParameters& inParameters, const ir::Picture& inPicture)
        : mCurves({ToneOf(inParameters, 0), ToneOf(inParameters, 1), ToneOf(inParameters, 2)}, inPicture)
        , mSaturation(static_cast<float>(inParameters.Number(kSaturation)))
    {
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t inWidth) override
    {
        mCurves.Apply(ioRow, inWidth);
        for (std::size_t x = 0; x < inWidth && mSaturation != 1.0F; ++x)
        {
            const float luma = 0.2126F * ioRow.c[0][x] + 0.7152F * ioRow.c[1][x] + 0.0722F * ioRow.c[2][x];
            for (float* component : {ioRow.c[0], ioRow.c[1], ioRow.c[2]})
            {
                component[x] = std::clamp(luma + mSaturation * (component[x] - luma), 0.0F, 1.0F);
            }
        }
    }

private:
    ToneCurves mCurves;
    float mSaturation;
};

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                           const ir::Picture& inPicture) const override
    {
        return std::make_unique<Operation>(inCall.parameters, inPicture);
    }
};

std::vector<ParameterDescription> Parameters()
{
    std::vector<ParameterDescription> all;
    for (const char* name : {"Slope Red", "Slope Green", "Slope Blue"})
    {
        all.push_back(NumberParameter(name, "", 0.0, 10.0, 1.0));
    }
    for (const char* name : {"Offset Red", "Offset Green", "Offset Blue"})
    {
        all.push_back(NumberParameter(name, "", -2.0, 2.0, 0.0));
    }
    for (const char* name : {"Power Red", "Power Green", "Power Blue"})
    {
        all.push_back(NumberParameter(name, "", 0.01, 10.0, 1.0));
    }
    all.push_back(NumberParameter("Saturation", "", 0.0, 4.0, 1.0));
    return all;
}

} // namespace cdl

namespace limiter
{

constexpr std::size_t kLumaLeast = 0;
constexpr std::size_t kLumaMost = 1;
constexpr std::size_t kChromaMost = 2;
constexpr std::size_t kMethod = 3;

// What a method limits.
constexpr std::uint32_t kLumaOnly = 0;
constexpr std::uint32_t kChromaOnly = 1;

class Operation final : public IRowOperation
{
public:
    explicit Operation(const EffectParameters& inParameters)
        : mLeast(inParameters.Percent(kLumaLeast))
        , mMost(std::max(mLeast, inParameters.Percent(kLumaMost)))
        , mChroma(inParameters.Percent(kChromaMost) / 2.0)
        , mMethod(inParameters.Choice(kMethod))
    {
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t inWidth) override
    {
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            Yuv yuv = ToYuv(static_cast<double>(ioRow.c[0][x]), static_cast<double>(ioRow.c[1][x]),
                            static_cast<double>(ioRow.c[2][x]));
            yuv.y = mMethod == kChromaOnly ? yuv.y : std::clamp(yuv.y, mLeast, mMost);
            const double chroma = std::sqrt(yuv.u * yuv.u + yuv.v * yuv.v);
            if (mMethod != kLumaOnly && chroma > mChroma)
            {
                yuv.u *= mChroma / chroma;
                yuv.v *= mChroma / chroma;
            }
            double rgb[3];
            ToRgb(yuv, rgb);
            for (int component = 0; component < 3; ++component)
            {
                ioRow.c[component][x] = static_cast<float>(rgb[component]);
            }
        }
    }

private:
    double mLeast;
    double mMost;
    double mChroma; // of U and V together, which reach half a unit each
    std::uint32_t mMethod;
};

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall, const ir::Picture&) const override
    {
        return std::make_unique<Operation>(inCall.parameters);
    }
};

} // namespace limiter

} // namespace

void AddColorFilters(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<procAmp::Filter>(
        "procamp", "VX.ZNTR ProcAmp", "ProcAmp",
        {PercentParameter("Brightness", -100, 100, 0), PercentParameter("Contrast", 0, 400, 100),
         AngleParameter("Hue", 0), PercentParameter("Saturation", 0, 400, 100),
         BoolParameter("Split Screen", false), PercentParameter("Split Percent", 0, 100, 50)}));
    ioTable.push_back(FilterRow<alphaAdjust::Filter>(
        "alpha-adjust", "VX.ZNTR Alpha Adjust", "Alpha Adjust",
        {PercentParameter("Opacity", 0, 100, 100), BoolParameter("Ignore Alpha", false),
         BoolParameter("Invert Alpha", false), BoolParameter("Mask Only", false)}));
    ioTable.push_back(FilterRow<cdl::Filter>("asc-cdl", "", "ASC CDL", cdl::Parameters()));
    ioTable.push_back(FilterRow<limiter::Filter>(
        "video-limiter", "VX.ZNTR Video Limiter", "Video Limiter",
        {PercentParameter("Luma Min", -50, 150, 0), PercentParameter("Luma Max", -50, 150, 100),
         PercentParameter("Chroma Max", 0, 200, 100),
         ChoiceParameter("Method", {"luma", "chroma", "luma and chroma"}, 2)}));
}

} // namespace Effects
