#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/ToneCurves.h"

#include <algorithm>
#include <cmath>

// Levels and curves: a function of each component, then one for all of them.
namespace Effects
{
namespace
{

class ToneOperation final : public IRowOperation
{
public:
    ToneOperation(std::array<ToneRef, 3> inTones, const ir::Picture& inPicture)
        : mCurves(std::move(inTones), inPicture)
    {
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t inWidth) override
    {
        mCurves.Apply(ioRow, inWidth);
    }

private:
    ToneCurves mCurves;
};

namespace levels
{

constexpr std::size_t kCount = 5; // parameters of a set: all components, then red, green and blue

PowerStage Read(const EffectParameters& inParameters, std::size_t inSet)
{
    const std::size_t first = inSet * kCount;
    const double black = inParameters.Percent(first);
    const double range = std::max(inParameters.Percent(first + 1) - black, 1e-6);
    PowerStage stage;
    stage.slope = 1.0 / range;
    stage.offset = -black / range;
    stage.power = 1.0 / inParameters.Number(first + 2);
    stage.outBlack = inParameters.Percent(first + 3);
    stage.outWhite = inParameters.Percent(first + 4);
    return stage;
}

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                           const ir::Picture& inPicture) const override
    {
        std::array<ToneRef, 3> tones;
        const PowerStage all = Read(inCall.parameters, 0);
        for (std::size_t component = 0; component < 3; ++component)
        {
            tones[component] = MakePowerTone({Read(inCall.parameters, 1 + component), all});
        }
        return std::make_unique<ToneOperation>(std::move(tones), inPicture);
    }
};

std::vector<ParameterDescription> Parameters()
{
    std::vector<ParameterDescription> all;
    for (const char* set : {"RGB ", "Red ", "Green ", "Blue "})
    {
        const std::string name = set;
        all.push_back(PercentParameter(name + "Input Black", 0, 100, 0));
        all.push_back(PercentParameter(name + "Input White", 0, 100, 100));
        all.push_back(NumberParameter(name + "Gamma", "", 0.1, 10.0, 1.0));
        all.push_back(PercentParameter(name + "Output Black", 0, 100, 0));
        all.push_back(PercentParameter(name + "Output White", 0, 100, 100));
    }
    return all;
}

} // namespace levels

namespace curves
{

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                           const ir::Picture& inPicture) const override
    {
        std::array<ToneRef, 3> tones;
        const CurvePoints all(inCall.parameters.Text(0));
        for (std::size_t component = 0; component < 3; ++component)
        {
            tones[component] =
                MakeCurveTone(CurvePoints(inCall.parameters.Text(1 + component)), all, inPicture);
        }
        return std::make_unique<ToneOperation>(std::move(tones), inPicture);
    }
};

} // namespace curves

} // namespace

void AddToneFilters(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<levels::Filter>("levels", "", "Levels", levels::Parameters()));
    const std::string straight = "0,0 1,1";
    ioTable.push_back(
        FilterRow<curves::Filter>("curves", "", "Curves",
                                  {TextParameter("RGB", straight), TextParameter("Red", straight),
                                   TextParameter("Green", straight), TextParameter("Blue", straight)}));
}

} // namespace Effects
