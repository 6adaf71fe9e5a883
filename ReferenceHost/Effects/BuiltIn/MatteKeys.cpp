#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFormats.h"
#include "ReferenceHost/Effects/GrayMap.h"
#include "ReferenceHost/Effects/KeyFilter.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <cmath>
#include <utility>

// Keys whose matte is another picture, or is found beside one. Alpha times matte is the "in" of T. Porter and
// T. Duff, "Compositing Digital Images", Proceedings of SIGGRAPH 1984; a reversed matte is their "out".
namespace Effects
{
namespace
{

// What a matte is told by: a place in the choice "Composite Using".
constexpr std::uint32_t kUsesAlpha = 0;

ParameterDescription UsingParameter()
{
    return ChoiceParameter("Composite Using", {"matte alpha", "matte luma"}, kUsesAlpha);
}

// The rows of a track's picture over black, beside those of a picture of the same size and format.
class LayerRows
{
public:
    explicit LayerRows(const MF::IVideoFrameRef& inFrame, const ir::Picture& inPicture)
        : mFrame(inFrame)
        , mIsOpaque(inFrame->GetAlphaType() == norviktypes::kAlphaChannel_Opaque)
        , mWidth(static_cast<std::size_t>(inPicture.width))
        , mRows(inPicture)
    {
    }

    const ir::FloatRow& Read(std::int32_t inY)
    {
        const ir::FloatRow& row = mRows.Read(inY);
        if (mIsOpaque)
        {
            std::fill_n(row.c[3], mWidth, 1.0F);
        }
        for (std::size_t x = 0; x < mWidth && !mIsOpaque; ++x)
        {
            row.c[0][x] *= row.c[3][x];
            row.c[1][x] *= row.c[3][x];
            row.c[2][x] *= row.c[3][x];
        }
        return row;
    }

private:
    const MF::IVideoFrameRef mFrame;
    const bool mIsOpaque;
    const std::size_t mWidth;
    CodedRows mRows;
};

// Null where no track is set, or nothing plays there; negative where its picture could not be made, or is not
// at the place of the one that it is looked at for.
std::int32_t ReadLayer(const FilterCall& inCall, std::size_t inParameter, const ir::Picture& inSource,
                       std::unique_ptr<LayerRows>& outRows)
{
    MF::IVideoFrameRef frame;
    std::int32_t status = 0;
    if (inCall.render.mLayers)
    {
        status = inCall.render.mLayers->RenderLayer(static_cast<std::uint32_t>(inParameter), frame);
    }
    if (status < 0 || !frame)
    {
        return status;
    }
    ir::Picture picture;
    status = PictureOf(frame, picture);
    if (status >= 0 && !AreAlike(picture, inSource))
    {
        status = VF::kFrameStatus_BadArgument;
    }
    if (status >= 0)
    {
        outRows = std::make_unique<LayerRows>(frame, picture);
    }
    return status;
}

void Reverse(float* ioMatte, std::size_t inWidth)
{
    std::transform(ioMatte, ioMatte + inWidth, ioMatte, [](float inLevel) { return 1.0F - inLevel; });
}

namespace trackMatte
{

constexpr std::size_t kMatte = 0;
constexpr std::size_t kUsing = 1;
constexpr std::size_t kReverse = 2;

class Matte final : public IMatte
{
public:
    Matte(std::unique_ptr<LayerRows> inLayer, bool inUsesAlpha, bool inIsReversed)
        : mLayer(std::move(inLayer))
        , mUsesAlpha(inUsesAlpha)
        , mIsReversed(inIsReversed)
    {
    }

    void Find(const ir::FloatRow&, std::int32_t inY, std::size_t inWidth, float* outMatte) override
    {
        const ir::FloatRow& layer = mLayer->Read(inY);
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const float luma = 0.2126F * layer.c[0][x] + 0.7152F * layer.c[1][x] + 0.0722F * layer.c[2][x];
            outMatte[x] = std::clamp(mUsesAlpha ? layer.c[3][x] : luma, 0.0F, 1.0F);
        }
        if (mIsReversed)
        {
            Reverse(outMatte, inWidth);
        }
    }

private:
    std::unique_ptr<LayerRows> mLayer;
    bool mUsesAlpha;
    bool mIsReversed;
};

class Filter final : public KeyFilter
{
public:
    using KeyFilter::KeyFilter;

protected:
    bool IsIdle(const FilterCall& inCall) const override
    {
        return !inCall.render.mLayers || !inCall.parameters.IsLayerSet(kMatte);
    }

    std::int32_t Prepare(const FilterCall& inCall, const ir::Picture& inSource, Key& outKey) const override
    {
        std::unique_ptr<LayerRows> layer;
        const std::int32_t status = ReadLayer(inCall, kMatte, inSource, layer);
        if (layer)
        {
            outKey.matte =
                std::make_unique<Matte>(std::move(layer), inCall.parameters.Choice(kUsing) == kUsesAlpha,
                                        inCall.parameters.Switch(kReverse));
        }
        return status;
    }
};

} // namespace trackMatte

namespace differenceMatte
{

constexpr std::size_t kLayer = 0;
constexpr std::size_t kTolerance = 1;
constexpr std::size_t kSoftness = 2;
constexpr std::size_t kSmoothing = 3;
constexpr std::size_t kMaskOnly = 4;

// The greatest difference of a component from the layer's, which lies over black: 0 up to the tolerance, 1
// from the softness beyond it on.
class Matte final : public IMatte
{
public:
    Matte(std::unique_ptr<LayerRows> inLayer, double inTolerance, double inSoftness)
        : mLayer(std::move(inLayer))
        , mLeast(static_cast<float>(inTolerance))
        , mMost(static_cast<float>(inTolerance + inSoftness))
    {
    }

    void Find(const ir::FloatRow& inRow, std::int32_t inY, std::size_t inWidth, float* outMatte) override
    {
        const ir::FloatRow& layer = mLayer->Read(inY);
        for (std::size_t x = 0; x < inWidth; ++x)
        {
            const float r = std::abs(inRow.c[0][x] - layer.c[0][x]);
            const float g = std::abs(inRow.c[1][x] - layer.c[1][x]);
            const float b = std::abs(inRow.c[2][x] - layer.c[2][x]);
            outMatte[x] = Stretch(std::max(r, std::max(g, b)), mLeast, mMost);
        }
    }

private:
    std::unique_ptr<LayerRows> mLayer;
    float mLeast;
    float mMost;
};

class Filter final : public KeyFilter
{
public:
    using KeyFilter::KeyFilter;

protected:
    bool IsIdle(const FilterCall& inCall) const override
    {
        return !inCall.render.mLayers || !inCall.parameters.IsLayerSet(kLayer);
    }

    std::int32_t Prepare(const FilterCall& inCall, const ir::Picture& inSource, Key& outKey) const override
    {
        const EffectParameters& parameters = inCall.parameters;
        std::unique_ptr<LayerRows> layer;
        const std::int32_t status = ReadLayer(inCall, kLayer, inSource, layer);
        if (layer)
        {
            outKey.matte = std::make_unique<Matte>(std::move(layer), parameters.Percent(kTolerance),
                                                   parameters.Percent(kSoftness));
            outKey.smoothing = static_cast<std::int32_t>(parameters.Choice(kSmoothing));
            outKey.showsMatte = parameters.Switch(kMaskOnly);
        }
        return status;
    }
};

} // namespace differenceMatte

namespace imageMatte
{

constexpr std::size_t kImage = 0;
constexpr std::size_t kUsing = 1;
constexpr std::size_t kReverse = 2;

class Matte final : public IMatte
{
public:
    Matte(const std::shared_ptr<const GrayMap>& inMap, const ir::Picture& inPicture, bool inIsReversed)
        : mMap(inMap, inPicture.width, inPicture.height)
        , mIsReversed(inIsReversed)
    {
    }

    void Find(const ir::FloatRow&, std::int32_t inY, std::size_t inWidth, float* outMatte) override
    {
        mMap.ReadRow(inY, outMatte);
        if (mIsReversed)
        {
            Reverse(outMatte, inWidth);
        }
    }

private:
    StretchedMap mMap;
    bool mIsReversed;
};

// Without an image that can be read the picture passes as it is.
class Filter final : public KeyFilter
{
public:
    using KeyFilter::KeyFilter;

protected:
    bool IsIdle(const FilterCall& inCall) const override { return !MapOf(inCall.parameters); }

    std::int32_t Prepare(const FilterCall& inCall, const ir::Picture& inSource, Key& outKey) const override
    {
        // The file may have gone since somebody asked for it.
        if (const auto map = MapOf(inCall.parameters))
        {
            outKey.matte = std::make_unique<Matte>(map, inSource, inCall.parameters.Switch(kReverse));
        }
        return 0;
    }

private:
    std::shared_ptr<const GrayMap> MapOf(const EffectParameters& inParameters) const
    {
        const bool usesAlpha = inParameters.Choice(kUsing) == kUsesAlpha;
        return mFile.Get(inParameters.Text(kImage), usesAlpha ? MapLevel::kAlpha : MapLevel::kLumaOverBlack);
    }

    mutable GrayMapFile mFile;
};

} // namespace imageMatte

namespace removeMatte
{

constexpr std::size_t kMatteType = 0;

// C = (C' - M (1 - a)) / a, of colour C' that was mixed with M, white or black, by its alpha; 0 where alpha
// is.
class Operation final : public IRowOperation
{
public:
    explicit Operation(float inMatte) : mMatte{inMatte, inMatte, inMatte} {}

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t inWidth) override
    {
        ir::TakeMatteAway(ioRow, mMatte, inWidth);
    }

private:
    float mMatte[3];
};

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall, const ir::Picture&) const override
    {
        return std::make_unique<Operation>(inCall.parameters.Choice(kMatteType) == 0 ? 1.0F : 0.0F);
    }
};

} // namespace removeMatte

} // namespace

void AddMatteKeys(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<differenceMatte::Filter>(
        "difference-matte-key", "VX.ZNTR Legacy Key Difference Matte", "Difference Matte Key",
        {LayerParameter("Difference Layer"), PercentParameter("Tolerance", 0, 100, 15),
         PercentParameter("Softness", 0, 100, 10), ChoiceParameter("Smoothing", {"none", "low", "high"}, 0),
         BoolParameter("Mask Only", false)}));
    ioTable.push_back(FilterRow<imageMatte::Filter>(
        "image-matte-key", "VX.ZNTR Legacy Key Image Matte", "Image Matte Key",
        {FileParameter("Image"), UsingParameter(), BoolParameter("Reverse", false)}));
    ioTable.push_back(FilterRow<removeMatte::Filter>("remove-matte", "VX.ZNTR Legacy Key Remove Matte",
                                                     "Remove Matte",
                                                     {ChoiceParameter("Matte Type", {"white", "black"}, 0)}));
    ioTable.push_back(FilterRow<trackMatte::Filter>(
        "track-matte-key", "VX.ZNTR Legacy Key Track Matte", "Track Matte Key",
        {LayerParameter("Matte"), UsingParameter(), BoolParameter("Reverse", false)}));
}

} // namespace Effects
