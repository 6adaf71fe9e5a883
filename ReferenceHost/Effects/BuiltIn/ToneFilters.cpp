#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/CurvePoints.h"
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
    ToneOperation(std::array<ToneFunction, 3> inFunctions, const ir::Picture& inPicture)
        : mCurves(std::move(inFunctions), inPicture)
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

// The numbers of one set.
struct Levels
{
    double inBlack;
    double inWhite;
    double gamma;
    double outBlack;
    double outWhite;

    double operator()(double inValue) const
    {
        const double range = std::max(inWhite - inBlack, 1e-6);
        const double place = std::clamp((inValue - inBlack) / range, 0.0, 1.0);
        return outBlack + (outWhite - outBlack) * (gamma == 1.0 ? place : std::pow(place, 1.0 / gamma));
    }
};

Levels Read(const EffectParameters& inParameters, std::size_t inSet)
{
    const std::size_t first = inSet * kCount;
    return {inParameters.Percent(first), inParameters.Percent(first + 1), inParameters.Number(first + 2),
            inParameters.Percent(first + 3), inParameters.Percent(first + 4)};
}

class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                           const ir::Picture& inPicture) const override
    {
        std::array<ToneFunction, 3> functions;
        const Levels all = Read(inCall.parameters, 0);
        for (std::size_t component = 0; component < 3; ++component)
        {
            const Levels own = Read(inCall.parameters, 1 + component);
            functions[component] = [=](double inValue) { return all(own(inValue)); };
        }
        return std::make_unique<ToneOperation>(std::move(functions), inPicture);
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
        std::array<ToneFunction, 3> functions;
        const CurvePoints all(inCall.parameters.Text(0));
        for (std::size_t component = 0; component < 3; ++component)
        {
            const CurvePoints own(inCall.parameters.Text(1 + component));
            functions[component] = [=](double inValue) { return all.At(own.At(inValue)); };
        }
        return std::make_unique<ToneOperation>(std::move(functions), inPicture);
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
