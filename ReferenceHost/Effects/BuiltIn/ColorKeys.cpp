#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/KeyFilter.h"
#include "ReferenceHost/Effects/ToneCurves.h"

#include <algorithm>
#include <cmath>
#include <utility>

// Keys that find their matte from a pixel's own colour. Wherever there is a threshold and a cutoff, the matte
// is stretched: 0 up to the cutoff, 1 from the threshold on.
//
// The screens go by colour difference: what the screen's component has above the greater of the others. How
// that holds against other ways to pull a matte is told by A. R. Smith and J. F. Blinn, "Blue Screen
// Matting", Proceedings of SIGGRAPH 1996.
namespace Effects
{
namespace
{

struct Stretching
{
    float cutoff;
    float threshold;

    float operator()(float inMatte) const noexcept { return Stretch(inMatte, cutoff, threshold); }
};

// Where a key has its parameters.
struct KeyPlaces
{
    std::size_t threshold;
    std::size_t cutoff;
    std::size_t smoothing;
    std::size_t maskOnly;
};

Stretching StretchingOf(const EffectParameters& inParameters, const KeyPlaces& inPlaces)
{
    return {static_cast<float>(inParameters.Percent(inPlaces.cutoff)),
            static_cast<float>(inParameters.Percent(inPlaces.threshold))};
}

Key FinishedKey(std::unique_ptr<IMatte> inMatte, const EffectParameters& inParameters,
                std::size_t inSmoothing, std::size_t inMaskOnly)
{
    return {std::move(inMatte), static_cast<std::int32_t>(inParameters.Choice(inSmoothing)),
            inParameters.Switch(inMaskOnly)};
}

ParameterDescription SmoothingParameter()
{
    return ChoiceParameter("Smoothing", {"none", "low", "high"}, 0);
}

ParameterDescription MaskOnlyParameter()
{
    return BoolParameter("Mask Only", false);
}

namespace luma
{

constexpr KeyPlaces kPlaces = {0, 1, 2, 3};

// The luma of Rec. 709, stretched.
class Matte final : public IMatte
{
public:
    explicit Matte(const Stretching& inStretching) : mStretching(inStretching) {}

    void Find(const ir::FloatRow& inRow, std::int32_t, std::size_t inWidth, float* outMatte) override
    {
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const float luma = 0.2126F * inRow.c[0][x] + 0.7152F * inRow.c[1][x] + 0.0722F * inRow.c[2][x];
            outMatte[x] = mStretching(luma);
        }
    }

private:
    Stretching mStretching;
};

class Filter final : public KeyFilter
{
public:
    using KeyFilter::KeyFilter;

protected:
    std::int32_t Prepare(const FilterCall& inCall, const ir::Picture&, Key& outKey) const override
    {
        outKey = FinishedKey(std::make_unique<Matte>(StretchingOf(inCall.parameters, kPlaces)),
                             inCall.parameters, kPlaces.smoothing, kPlaces.maskOnly);
        return 0;
    }
};

} // namespace luma

// From similarity, where the matte begins to rise from 0, over a blend.
Stretching BlendOf(const EffectParameters& inParameters, std::size_t inSimilarity, std::size_t inBlend)
{
    const double similarity = inParameters.Percent(inSimilarity);
    return {static_cast<float>(similarity), static_cast<float>(similarity + inParameters.Percent(inBlend))};
}

namespace chroma
{

constexpr std::size_t kColor = 0;
constexpr std::size_t kSimilarity = 1;
constexpr std::size_t kBlend = 2;
constexpr KeyPlaces kPlaces = {3, 4, 5, 6};

struct Chroma
{
    float u;
    float v;
};

Chroma ChromaOf(float inR, float inG, float inB)
{
    const float y = 0.2126F * inR + 0.7152F * inG + 0.0722F * inB;
    return {(inB - y) / 1.8556F, (inR - y) / 1.5748F};
}

// How far the U and V of Rec. 709 lie from those of the key's colour: grey that is added to a pixel changes
// nothing.
class Matte final : public IMatte
{
public:
    Matte(const Color& inColor, const Stretching& inBlend, const Stretching& inStretching)
        : mKey(ChromaOf(static_cast<float>(inColor.r), static_cast<float>(inColor.g),
                        static_cast<float>(inColor.b)))
        , mBlend(inBlend)
        , mStretching(inStretching)
    {
    }

    void Find(const ir::FloatRow& inRow, std::int32_t, std::size_t inWidth, float* outMatte) override
    {
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const Chroma chroma = ChromaOf(inRow.c[0][x], inRow.c[1][x], inRow.c[2][x]);
            const float u = chroma.u - mKey.u;
            const float v = chroma.v - mKey.v;
            outMatte[x] = mStretching(mBlend(std::sqrt(u * u + v * v)));
        }
    }

private:
    Chroma mKey;
    Stretching mBlend;
    Stretching mStretching;
};

class Filter final : public KeyFilter
{
public:
    using KeyFilter::KeyFilter;

protected:
    std::int32_t Prepare(const FilterCall& inCall, const ir::Picture&, Key& outKey) const override
    {
        const EffectParameters& parameters = inCall.parameters;
        outKey = FinishedKey(std::make_unique<Matte>(parameters.ColorOf(kColor),
                                                     BlendOf(parameters, kSimilarity, kBlend),
                                                     StretchingOf(parameters, kPlaces)),
                             parameters, kPlaces.smoothing, kPlaces.maskOnly);
        return 0;
    }
};

} // namespace chroma

namespace rgbDifference
{

constexpr std::size_t kColor = 0;
constexpr std::size_t kSimilarity = 1;
constexpr std::size_t kBlend = 2;
constexpr std::size_t kSmoothing = 3;
constexpr std::size_t kMaskOnly = 4;

// The greatest difference of a component from that of the key's colour.
class Matte final : public IMatte
{
public:
    Matte(const Color& inColor, const Stretching& inBlend)
        : mColor{static_cast<float>(inColor.r), static_cast<float>(inColor.g), static_cast<float>(inColor.b)}
        , mBlend(inBlend)
    {
    }

    void Find(const ir::FloatRow& inRow, std::int32_t, std::size_t inWidth, float* outMatte) override
    {
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const float r = std::abs(inRow.c[0][x] - mColor[0]);
            const float g = std::abs(inRow.c[1][x] - mColor[1]);
            const float b = std::abs(inRow.c[2][x] - mColor[2]);
            outMatte[x] = mBlend(std::max(r, std::max(g, b)));
        }
    }

private:
    float mColor[3];
    Stretching mBlend;
};

class Filter final : public KeyFilter
{
public:
    using KeyFilter::KeyFilter;

protected:
    std::int32_t Prepare(const FilterCall& inCall, const ir::Picture&, Key& outKey) const override
    {
        const EffectParameters& parameters = inCall.parameters;
        outKey = FinishedKey(
            std::make_unique<Matte>(parameters.ColorOf(kColor), BlendOf(parameters, kSimilarity, kBlend)),
            parameters, kSmoothing, kMaskOnly);
        return 0;
    }
};

} // namespace rgbDifference

namespace screens
{

// What a row's screen has above what it is held against: both are components, or the greater of two.
enum class Excess : std::uint8_t
{
    kBlue,   // blue above the greater of red and green
    kGreen,  // green above the greater of red and blue
    kNonRed, // the greater of green and blue above red
};

template <Excess kKind>
float ExcessOf(float inR, float inG, float inB)
{
    if constexpr (kKind == Excess::kBlue)
    {
        return inB - std::max(inR, inG);
    }
    else if constexpr (kKind == Excess::kGreen)
    {
        return inG - std::max(inR, inB);
    }
    else
    {
        return std::max(inG, inB) - inR;
    }
}

// Lowers a component that has more than the greater of the others.
struct Suppression
{
    int component = 1;
    float share = 0.0F; // of what it has more
};

template <Excess kKind>
class Matte final : public IMatte
{
public:
    Matte(const Stretching& inStretching, const Suppression& inSuppression)
        : mStretching(inStretching)
        , mSuppression(inSuppression)
    {
    }

    void Find(const ir::FloatRow& inRow, std::int32_t, std::size_t inWidth, float* outMatte) override
    {
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const float excess = ExcessOf<kKind>(inRow.c[0][x], inRow.c[1][x], inRow.c[2][x]);
            outMatte[x] = mStretching(1.0F - std::max(excess, 0.0F));
        }
    }

    void Clean(const ir::FloatRow& ioRow, std::size_t inWidth) const override
    {
        float* component = ioRow.c[mSuppression.component];
        const float* first = ioRow.c[0];
        const float* second = ioRow.c[3 - mSuppression.component]; // green of blue, blue of green
        for (std::size_t x = 0; x < inWidth && mSuppression.share > 0.0F; ++x)
        {
            const float most = std::max(first[x], second[x]);
            component[x] -= mSuppression.share * std::max(component[x] - most, 0.0F);
        }
    }

private:
    Stretching mStretching;
    Suppression mSuppression;
};

constexpr KeyPlaces kPlaces = {0, 1, 3, 4};
constexpr std::size_t kSpill = 2;
constexpr std::size_t kDefringing = 2;

template <Excess kExcess>
class Filter final : public KeyFilter
{
public:
    using KeyFilter::KeyFilter;

protected:
    std::int32_t Prepare(const FilterCall& inCall, const ir::Picture&, Key& outKey) const override
    {
        const EffectParameters& parameters = inCall.parameters;
        outKey = FinishedKey(
            std::make_unique<Matte<kExcess>>(StretchingOf(parameters, kPlaces), SuppressionOf(parameters)),
            parameters, kPlaces.smoothing, kPlaces.maskOnly);
        return 0;
    }

private:
    static Suppression SuppressionOf(const EffectParameters& inParameters)
    {
        if constexpr (kExcess == Excess::kNonRed)
        {
            const std::uint32_t choice = inParameters.Choice(kDefringing);
            return {choice == 2 ? 2 : 1, choice == 0 ? 0.0F : 1.0F};
        }
        return {kExcess == Excess::kBlue ? 2 : 1, static_cast<float>(inParameters.Percent(kSpill))};
    }
};

std::vector<ParameterDescription> Parameters(ParameterDescription inThird)
{
    return {PercentParameter("Threshold", 0, 100, 90), PercentParameter("Cutoff", 0, 100, 60),
            std::move(inThird), SmoothingParameter(), MaskOnlyParameter()};
}

std::vector<ParameterDescription> ParametersWithSpill()
{
    return Parameters(PercentParameter("Spill Suppression", 0, 100, 0));
}

} // namespace screens

// Keys that let white, or black, be seen through. Colour and alpha are such that over white (black) the
// picture looks as it did, and that grey multiplies (screens) whatever lies beneath, as the blend modes of
// these names do:
//
//   multiply   a = 1 - min(R, G, B), C' = (C - (1 - a)) / a
//   screen     a = max(R, G, B),     C' = C / a
namespace blends
{

constexpr std::size_t kOpacity = 0;
constexpr std::size_t kCutoff = 1;

class Operation final : public IRowOperation
{
public:
    Operation(bool inMultiplies, const EffectParameters& inParameters)
        : mMultiplies(inMultiplies)
        , mOpacity(static_cast<float>(inParameters.Percent(kOpacity)))
        , mCutoff(static_cast<float>(inParameters.Percent(kCutoff)))
    {
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t inWidth) override
    {
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const float r = ioRow.c[0][x];
            const float g = ioRow.c[1][x];
            const float b = ioRow.c[2][x];
            const float least = mMultiplies ? std::min(r, std::min(g, b)) : 0.0F;
            const float seen = mMultiplies ? 1.0F - least : std::max(r, std::max(g, b));
            const float alpha = std::clamp(seen, 0.0F, 1.0F);
            for (int component = 0; component < 3; ++component)
            {
                float& value = ioRow.c[component][x];
                value = alpha > 0.0F ? (value - (mMultiplies ? 1.0F - alpha : 0.0F)) / alpha : 0.0F;
            }
            ioRow.c[3][x] *= mOpacity * Stretch(alpha, mCutoff, 1.0F);
        }
    }

private:
    bool mMultiplies;
    float mOpacity;
    float mCutoff;
};

template <bool kMultiplies>
class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall, const ir::Picture&) const override
    {
        return std::make_unique<Operation>(kMultiplies, inCall.parameters);
    }
};

std::vector<ParameterDescription> Parameters()
{
    return {PercentParameter("Opacity", 0, 100, 100), PercentParameter("Cutoff", 0, 100, 0)};
}

} // namespace blends

} // namespace

void AddColorKeys(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<luma::Filter>("luma-key", "VX.ZNTR Legacy Key Luma", "Luma Key",
                                              {PercentParameter("Threshold", 0, 100, 100),
                                               PercentParameter("Cutoff", 0, 100, 0), SmoothingParameter(),
                                               MaskOnlyParameter()}));
    ioTable.push_back(FilterRow<chroma::Filter>(
        "chroma-key", "VX.ZNTR Legacy Key Chroma", "Chroma Key",
        {ColorParameter("Color", 0, 255, 0), PercentParameter("Similarity", 0, 100, 20),
         PercentParameter("Blend", 0, 100, 10), PercentParameter("Threshold", 0, 100, 100),
         PercentParameter("Cutoff", 0, 100, 0), SmoothingParameter(), MaskOnlyParameter()}));
    ioTable.push_back(FilterRow<rgbDifference::Filter>(
        "rgb-difference-key", "VX.ZNTR Legacy Key RGBDifference", "RGB Difference Key",
        {ColorParameter("Color", 0, 0, 255), PercentParameter("Similarity", 0, 100, 20),
         PercentParameter("Blend", 0, 100, 10), SmoothingParameter(), MaskOnlyParameter()}));
    ioTable.push_back(FilterRow<blends::Filter<true>>("multiply-key", "VX.ZNTR Legacy Key Multiply",
                                                      "Multiply Key", blends::Parameters()));
    ioTable.push_back(FilterRow<blends::Filter<false>>("screen-key", "VX.ZNTR Legacy Key Screen",
                                                       "Screen Key", blends::Parameters()));
    using screens::Excess;
    ioTable.push_back(FilterRow<screens::Filter<Excess::kNonRed>>(
        "non-red-key", "VX.ZNTR Legacy Key NonRed", "Non Red Key",
        screens::Parameters(ChoiceParameter("Defringing", {"none", "green", "blue"}, 0))));
    ioTable.push_back(
        FilterRow<screens::Filter<Excess::kBlue>>("blue-screen-key", "VX.ZNTR Legacy Key BlueScreen",
                                                  "Blue Screen Key", screens::ParametersWithSpill()));
    ioTable.push_back(
        FilterRow<screens::Filter<Excess::kGreen>>("green-screen-key", "VX.ZNTR Legacy Key GreenScreen",
                                                   "Green Screen Key", screens::ParametersWithSpill()));
}

} // namespace Effects
