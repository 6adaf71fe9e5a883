#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/GaussianRows.h"

namespace Effects
{
namespace
{

ir::RowPlan ToStraight(const ir::Picture& inPicture)
{
    ir::Picture premultiplied = inPicture;
    premultiplied.alpha = ir::PictureAlpha::kPremultiplied;
    return ir::PlanFor(premultiplied, inPicture);
}

namespace blur
{

constexpr std::size_t kSigma = 0;
constexpr std::size_t kDimensions = 1;
constexpr std::size_t kRepeatsEdges = 2;

// What the choice of dimensions leaves out.
constexpr std::uint32_t kAcrossOnly = 1;
constexpr std::uint32_t kDownOnly = 2;

class Filter final : public EffectFilter
{
public:
    using EffectFilter::EffectFilter;

    // With repeated edges, for good.
    bool KeepsOpaque(const MF::KeyframeStore& inParameters) const override
    {
        const EffectParameters parameters(Description(), &inParameters, norviktypes::kTime_Zero);
        const bool isSet = inParameters.size() > kRepeatsEdges && inParameters[kRepeatsEdges];
        return parameters.Switch(kRepeatsEdges) && (!isSet || inParameters[kRepeatsEdges]->IsConstant());
    }

protected:
    bool IsIdle(const FilterCall& inCall) const override { return inCall.parameters.Number(kSigma) == 0.0; }

    std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        const double sigma = inCall.parameters.Number(kSigma) * inCall.scale;
        const std::uint32_t dimensions = inCall.parameters.Choice(kDimensions);
        GaussianRows rows({dimensions == kDownOnly ? 0.0 : sigma / inCall.aspect,
                           dimensions == kAcrossOnly ? 0.0 : sigma, inCall.parameters.Switch(kRepeatsEdges)},
                          inSource);
        const ir::RowPlan toStraight = ToStraight(outTarget);
        for (std::int32_t y = 0; y < outTarget.height; ++y)
        {
            const ir::FloatRow row = rows.Next();
            ir::ApplyPlan(toStraight, row, static_cast<std::size_t>(outTarget.width));
            ir::WriteFloatRow(outTarget, y, row);
        }
        return 0;
    }
};

} // namespace blur

namespace sharpen
{

constexpr std::size_t kAmount = 0;
constexpr std::size_t kSigma = 1;

// The picture and as much again of what a blur takes from it; alpha stays.
class Filter final : public EffectFilter
{
public:
    using EffectFilter::EffectFilter;

protected:
    bool IsIdle(const FilterCall& inCall) const override { return inCall.parameters.Number(kAmount) == 0.0; }

    std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        const auto amount = static_cast<float>(inCall.parameters.Percent(kAmount));
        const double sigma = inCall.parameters.Number(kSigma) * inCall.scale;
        const auto width = static_cast<std::size_t>(outTarget.width);
        GaussianRows rows({sigma / inCall.aspect, sigma, true}, inSource);
        const ir::RowBuffers<float> buffers(6, width + 64);
        const ir::FloatRow straight = {{buffers.Row(0), buffers.Row(1), buffers.Row(2), buffers.Row(3)}};
        const ir::RowPlan toStraight = ToStraight(outTarget);
        for (std::int32_t y = 0; y < outTarget.height; ++y)
        {
            const ir::FloatRow blurred = rows.Next();
            ir::ApplyPlan(toStraight, blurred, width);
            ir::ReadFloatRow(inSource, y, straight, buffers.Row(4));
            for (int component = 0; component < 3; ++component)
            {
                ir::AccumulateRow(straight.c[component], amount, false, straight.c[component], width);
                ir::AccumulateRow(blurred.c[component], -amount, false, straight.c[component], width);
            }
            ir::WriteFloatRow(outTarget, y, straight);
        }
        return 0;
    }
};

} // namespace sharpen

} // namespace

void AddBlurFilters(BuiltInTable& ioTable)
{
    ioTable.push_back(
        FilterRow<blur::Filter>("gaussian-blur", "", "Gaussian Blur",
                                {NumberParameter("Sigma", "px", 0.0, 200.0, 4.0),
                                 ChoiceParameter("Dimensions", {"both", "horizontal", "vertical"}, 0),
                                 BoolParameter("Repeat Edges", true)}));
    ioTable.push_back(FilterRow<sharpen::Filter>(
        "sharpen", "", "Sharpen",
        {PercentParameter("Amount", 0, 500, 100), NumberParameter("Sigma", "px", 0.0, 100.0, 1.0)}));
}

} // namespace Effects
