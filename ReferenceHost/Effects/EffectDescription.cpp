#include "ReferenceHost/Effects/EffectDescription.h"

#include "MF/Keyframe.h"

#include <algorithm>
#include <utility>

namespace Effects
{
namespace
{

ParameterDescription Describe(std::string inName, ParameterKind inKind)
{
    ParameterDescription parameter;
    parameter.mName = std::move(inName);
    parameter.mKind = inKind;
    return parameter;
}

} // namespace

std::int32_t ValueTypeOf(ParameterKind inKind) noexcept
{
    switch (inKind)
    {
    case ParameterKind::kBool: return MF::kKeyframeValueType<bool>;
    case ParameterKind::kChoice:
    case ParameterKind::kColor:
    case ParameterKind::kLayer: return MF::kKeyframeValueType<std::uint32_t>;
    case ParameterKind::kPoint: return MF::kKeyframeValueType_Point;
    case ParameterKind::kText:
    case ParameterKind::kFile: return MF::kKeyframeValueType<norvik::WString>;
    case ParameterKind::kNumber:
    case ParameterKind::kAngle:
    case ParameterKind::kPercent: break;
    }
    return MF::kKeyframeValueType<double>;
}

const char* NameOf(ParameterKind inKind) noexcept
{
    switch (inKind)
    {
    case ParameterKind::kNumber: return "number";
    case ParameterKind::kAngle: return "angle";
    case ParameterKind::kPercent: return "percent";
    case ParameterKind::kBool: return "bool";
    case ParameterKind::kChoice: return "choice";
    case ParameterKind::kColor: return "color";
    case ParameterKind::kPoint: return "point";
    case ParameterKind::kText: return "text";
    case ParameterKind::kFile: return "file";
    case ParameterKind::kLayer: return "layer";
    }
    return "";
}

const char* NameOf(EffectKind inKind) noexcept
{
    switch (inKind)
    {
    case EffectKind::kFilter: return "filter";
    case EffectKind::kTransition: return "transition";
    case EffectKind::kBlend: return "blend";
    case EffectKind::kGenerator: return "generator";
    }
    return "";
}

std::ptrdiff_t EffectDescription::IndexOf(std::string_view inName) const noexcept
{
    const auto found =
        std::find_if(mParameters.begin(), mParameters.end(),
                     [&](const ParameterDescription& inParameter) { return inParameter.mName == inName; });
    return found == mParameters.end() ? -1 : found - mParameters.begin();
}

ParameterDescription NumberParameter(std::string inName, std::string inUnit, double inLeast, double inMost,
                                     double inDefault)
{
    ParameterDescription parameter = Describe(std::move(inName), ParameterKind::kNumber);
    parameter.mUnit = std::move(inUnit);
    parameter.mLeast = inLeast;
    parameter.mMost = inMost;
    parameter.mDefault.mNumber = inDefault;
    return parameter;
}

ParameterDescription AngleParameter(std::string inName, double inDefault)
{
    // A hundred turns either way: spins are keyframed beyond one turn.
    ParameterDescription parameter = NumberParameter(std::move(inName), "deg", -36000.0, 36000.0, inDefault);
    parameter.mKind = ParameterKind::kAngle;
    return parameter;
}

ParameterDescription PercentParameter(std::string inName, double inLeast, double inMost, double inDefault)
{
    ParameterDescription parameter = NumberParameter(std::move(inName), "%", inLeast, inMost, inDefault);
    parameter.mKind = ParameterKind::kPercent;
    return parameter;
}

ParameterDescription BoolParameter(std::string inName, bool inDefault)
{
    ParameterDescription parameter = Describe(std::move(inName), ParameterKind::kBool);
    parameter.mDefault.mNumber = inDefault ? 1.0 : 0.0;
    return parameter;
}

ParameterDescription ChoiceParameter(std::string inName, std::vector<std::string> inChoices,
                                     std::uint32_t inDefault)
{
    ParameterDescription parameter = Describe(std::move(inName), ParameterKind::kChoice);
    parameter.mMost = static_cast<double>(inChoices.size()) - 1.0;
    parameter.mChoices = std::move(inChoices);
    parameter.mDefault.mNumber = inDefault;
    return parameter;
}

ParameterDescription ColorParameter(std::string inName, std::uint8_t inRed, std::uint8_t inGreen,
                                    std::uint8_t inBlue)
{
    ParameterDescription parameter = Describe(std::move(inName), ParameterKind::kColor);
    parameter.mDefault.mColor = TVK::ParamColor<std::uint32_t>::FromComponents(inRed, inGreen, inBlue, 255);
    return parameter;
}

ParameterDescription PointParameter(std::string inName, double inX, double inY)
{
    ParameterDescription parameter = Describe(std::move(inName), ParameterKind::kPoint);
    parameter.mDefault.mPoint = {inX, inY};
    return parameter;
}

ParameterDescription TextParameter(std::string inName, std::string inDefault)
{
    ParameterDescription parameter = Describe(std::move(inName), ParameterKind::kText);
    parameter.mDefault.mText = std::move(inDefault);
    return parameter;
}

ParameterDescription FileParameter(std::string inName)
{
    return Describe(std::move(inName), ParameterKind::kFile);
}

ParameterDescription LayerParameter(std::string inName)
{
    ParameterDescription parameter = Describe(std::move(inName), ParameterKind::kLayer);
    parameter.mMost = kNoLayer;
    parameter.mDefault.mNumber = kNoLayer;
    return parameter;
}

} // namespace Effects
