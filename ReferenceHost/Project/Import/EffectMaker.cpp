#include "ReferenceHost/Project/Import/EffectMaker.h"

#include "IR/BlendModes.h"
#include "ReferenceHost/Project/EffectItem.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <optional>
#include <system_error>
#include <utility>

namespace Import
{

using Effects::ParameterDescription;
using Effects::ParameterKind;
using Otio::BlendMode;
using Otio::Scalar;

namespace
{

constexpr const char* kDissolve = "vrender:cross-dissolve";

// Why there is no object of that name: what is known and can't be used tells so itself.
std::string WhyMissing(const Effects::EffectDescription* inDescription, const char* inKind,
                       const std::string& inName)
{
    return inDescription != nullptr && !inDescription->mWhyNot.empty()
               ? fmt::format("\"{}\" can't be used, as it {}", inName, inDescription->mWhyNot)
               : fmt::format("no {} is called \"{}\"", inKind, inName);
}

// By name, or by its place as a number; -1: there is none.
std::ptrdiff_t PlaceOf(const Effects::EffectDescription& inDescription, const std::string& inName)
{
    const std::ptrdiff_t named = inDescription.IndexOf(inName);
    if (named >= 0)
    {
        return named;
    }
    std::size_t place = 0;
    const char* const end = inName.data() + inName.size();
    const auto [rest, error] = std::from_chars(inName.data(), end, place);
    const bool isPlace = error == std::errc() && rest == end && place < inDescription.mParameters.size();
    return isPlace ? static_cast<std::ptrdiff_t>(place) : -1;
}

// What each parameter of the description is given, null where nothing is; of two the later one counts.
std::vector<const Otio::Parameter*> GivenTo(const Effects::EffectDescription& inDescription,
                                            const std::vector<Otio::Parameter>& inParameters)
{
    std::vector<const Otio::Parameter*> given(inDescription.mParameters.size(), nullptr);
    for (const Otio::Parameter& parameter : inParameters)
    {
        const std::ptrdiff_t index = PlaceOf(inDescription, parameter.mName);
        if (index >= 0)
        {
            given[static_cast<std::size_t>(index)] = &parameter;
        }
    }
    return given;
}

// A choice, or a track by its number.
std::optional<std::uint32_t> ChoiceIn(const std::vector<Scalar>& inNumbers)
{
    const double whole = inNumbers.size() == 1 ? std::round(inNumbers[0].mValue) : -1.0;
    return whole >= 0.0 && whole < 1e6 ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(whole))
                                       : std::nullopt;
}

bool AreChoices(const Scalar& inScalar)
{
    return std::all_of(inScalar.mKeys.begin(), inScalar.mKeys.end(),
                       [](const Otio::Key& inKey) { return ChoiceIn({Scalar(inKey.mValue)}).has_value(); });
}

std::uint32_t BlendCode(BlendMode inMode)
{
    switch (inMode)
    {
    case BlendMode::kNormal: return kIR_Blend_Normal;
    case BlendMode::kMultiply: return kIR_Blend_Multiply;
    case BlendMode::kScreen: return kIR_Blend_Screen;
    case BlendMode::kOverlay: return kIR_Blend_Overlay;
    case BlendMode::kDarken: return kIR_Blend_Darken;
    case BlendMode::kLighten: return kIR_Blend_Lighten;
    case BlendMode::kColorDodge: return kIR_Blend_ColorDodge;
    case BlendMode::kColorBurn: return kIR_Blend_ColorBurn;
    case BlendMode::kHardLight: return kIR_Blend_HardLight;
    case BlendMode::kSoftLight: return kIR_Blend_SoftLight;
    case BlendMode::kDifference: return kIR_Blend_Difference;
    case BlendMode::kExclusion: return kIR_Blend_Exclusion;
    case BlendMode::kHue: return kIR_Blend_Hue;
    case BlendMode::kSaturation: return kIR_Blend_Saturation;
    case BlendMode::kColor: return kIR_Blend_Color;
    case BlendMode::kLuminosity: return kIR_Blend_Luminosity;
    case BlendMode::kPlusLighter: return kIR_Blend_LinearDodge;
    case BlendMode::kSubtract: return kIR_Blend_Subtract;
    }
    return kIR_Blend_Normal;
}

bool AreAlike(const Scalar& inA, const Scalar& inB)
{
    return inA.mValue == inB.mValue &&
           std::equal(inA.mKeys.begin(), inA.mKeys.end(), inB.mKeys.begin(), inB.mKeys.end(),
                      [](const Otio::Key& inLeft, const Otio::Key& inRight)
                      {
                          return inLeft.mTime == inRight.mTime && inLeft.mValue == inRight.mValue &&
                                 inLeft.mMotion == inRight.mMotion && inLeft.mIn.mTime == inRight.mIn.mTime &&
                                 inLeft.mIn.mValue == inRight.mIn.mValue &&
                                 inLeft.mOut.mTime == inRight.mOut.mTime &&
                                 inLeft.mOut.mValue == inRight.mOut.mValue;
                      });
}

BE::IEffectRef MakeMotion(const Otio::Transform& inTransform, const KeyAxis& inAxis)
{
    Project::MotionContent motion;
    motion.mPosition = MakePoint(inTransform.mPosition[0], inTransform.mPosition[1], inAxis);
    motion.mAnchor = MakePoint(inTransform.mAnchor[0], inTransform.mAnchor[1], inAxis);
    motion.mScale = MakeNumber(inTransform.mScale[1], inAxis, 100.0, 3);
    if (!AreAlike(inTransform.mScale[0], inTransform.mScale[1]))
    {
        motion.mScaleWidth = MakeNumber(inTransform.mScale[0], inAxis, 100.0, 3);
    }
    motion.mRotation = MakeNumber(inTransform.mRotation, inAxis, 1.0, 2);
    return Project::CreateMotion(motion);
}

MF::IKeyframedParameterRef DefaultOf(const ParameterDescription& inDescription)
{
    const Effects::ParameterValue& value = inDescription.mDefault;
    const auto control = static_cast<std::uint32_t>(inDescription.mKind);
    switch (inDescription.mKind)
    {
    case ParameterKind::kBool: return Project::CreateSwitch(value.mNumber >= 0.5);
    case ParameterKind::kChoice:
        return Project::CreateChoice(static_cast<std::uint32_t>(std::max(value.mNumber, 0.0)));
    case ParameterKind::kColor: return Project::CreateColor(value.mColor);
    case ParameterKind::kPoint: return Project::CreatePoint(value.mPoint.x, value.mPoint.y);
    case ParameterKind::kText:
    case ParameterKind::kFile: return Project::CreateText(value.mText, control);
    case ParameterKind::kLayer: return Project::CreateChoice(Effects::kNoLayer, control);
    case ParameterKind::kNumber:
    case ParameterKind::kAngle:
    case ParameterKind::kPercent: break;
    }
    return Project::CreateNumber(value.mNumber, control);
}

}

std::vector<std::uint32_t> LayersOf(const Effects::EffectRegistry& inRegistry, const Otio::Effect& inEffect)
{
    std::vector<std::uint32_t> tracks;
    const Effects::EffectDescription* const description = inRegistry.Find(inEffect.mEffectName);
    if (description == nullptr)
    {
        return tracks;
    }
    const std::vector<const Otio::Parameter*> given = GivenTo(*description, inEffect.mParameters);
    for (std::size_t index = 0; index < given.size(); ++index)
    {
        const auto* const numbers =
            given[index] == nullptr ? nullptr : std::get_if<std::vector<Scalar>>(&given[index]->mValue);
        const bool isLayer = description->mParameters[index].mKind == ParameterKind::kLayer;
        if (const auto track = isLayer && numbers != nullptr ? ChoiceIn(*numbers) : std::nullopt)
        {
            tracks.push_back(*track);
        }
    }
    return tracks;
}

std::vector<BE::IEffectRef> EffectMaker::MakeEffects(const Otio::Item& inItem, const KeyAxis& inAxis)
{
    std::vector<BE::IEffectRef> effects;
    if (inItem.mSettings != nullptr && inItem.mSettings->ChangesPicture())
    {
        const Otio::ItemSettings& settings = *inItem.mSettings;
        if (settings.mTransform)
        {
            effects.push_back(MakeMotion(*settings.mTransform, inAxis));
        }
        if (settings.mOpacity || settings.mBlend)
        {
            effects.push_back(
                Project::CreateOpacity(MakeNumber(settings.mOpacity.value_or(Scalar(1.0)), inAxis, 100.0, 3),
                                       BlendCode(settings.mBlend.value_or(BlendMode::kNormal))));
        }
    }
    if (inItem.mEffects == nullptr)
    {
        return effects;
    }
    for (auto effect = inItem.mEffects->rbegin(); effect != inItem.mEffects->rend(); ++effect)
    {
        if (BE::IEffectRef made = MakeEffect(**effect, inAxis))
        {
            effects.push_back(std::move(made));
        }
    }
    return effects;
}

BE::IEffectRef EffectMaker::MakeEffect(const Otio::Effect& inEffect, const KeyAxis& inAxis)
{
    const Effects::EffectDescription* const description = mRegistry.Find(inEffect.mEffectName);
    Project::EffectContent content;
    if (description != nullptr && Effects::IsFilter(description->mKind))
    {
        content.mFilter = mRegistry.CreateFilter(inEffect.mEffectName);
    }
    if (description != nullptr && description->mIsStateful && (!content.mFilter || inAxis.mSlope != 1.0))
    {
        // An error: without it the picture is not what the document asks for, though all is there to make it.
        mProblems.Fail(content.mFilter ? "stateful-speed" : "stateful-effect", mPaths.Text(inEffect.mPath),
                       content.mFilter
                           ? fmt::format("\"{}\" depends on earlier frames and needs an item at its usual "
                                         "speed; left out",
                                         inEffect.mEffectName)
                           : WhyMissing(description, "effect", inEffect.mEffectName) + "; left out");
        return {};
    }
    if (!content.mFilter)
    {
        mProblems.Warn("unknown-effect", mPaths.Text(inEffect.mPath),
                       WhyMissing(description, "effect", inEffect.mEffectName) + "; left out");
        return {};
    }
    content.mMatchName = content.mFilter->GetMatchName();
    content.mParameters = MakeParameters(*description, inEffect.mParameters, inAxis);
    const auto layer = std::find_if(description->mParameters.begin(), description->mParameters.end(),
                                    [](const ParameterDescription& inParameter)
                                    { return inParameter.mKind == ParameterKind::kLayer; });
    if (layer != description->mParameters.end())
    {
        content.mLayerIndex = static_cast<std::uint32_t>(layer - description->mParameters.begin()) + 1;
    }
    return Project::CreateEffect(std::move(content));
}

ML::IVideoTransitionRef EffectMaker::MakeTransition(const Otio::Transition& inTransition,
                                                    const norviktypes::FrameRate& inFrameRate)
{
    const bool isDissolve = inTransition.mType == "SMPTE_Dissolve";
    const Effects::EffectDescription* description =
        isDissolve ? mRegistry.Find(kDissolve) : mRegistry.Find(inTransition.mType);
    if (description == nullptr || description->mKind != Effects::EffectKind::kTransition ||
        !description->mWhyNot.empty())
    {
        mProblems.Warn("unknown-transition", mPaths.Text(inTransition.mPath),
                       WhyMissing(description, "transition", inTransition.mType) + "; a dissolve is shown");
        description = mRegistry.Find(kDissolve);
    }
    ML::TransitionInfo info;
    info.mDuration = inTransition.mInOffset + inTransition.mOutOffset;
    KeyAxis axis;
    axis.mFrameRate = inFrameRate;
    axis.mDuration = info.mDuration;
    auto parameters = std::make_shared<const MF::KeyframeStore>(
        MakeParameters(*description, inTransition.mParameters, axis));
    return mRegistry.CreateTransition(description->mId, info, parameters);
}

MF::KeyframeStore EffectMaker::MakeParameters(const Effects::EffectDescription& inDescription,
                                              const std::vector<Otio::Parameter>& inParameters,
                                              const KeyAxis& inAxis)
{
    for (const Otio::Parameter& parameter : inParameters)
    {
        if (PlaceOf(inDescription, parameter.mName) < 0)
        {
            mProblems.Warn(
                "unknown-parameter", mPaths.Text(parameter.mPath),
                fmt::format("{} has no parameter \"{}\"; ignored", inDescription.mId, parameter.mName));
        }
    }
    const std::vector<const Otio::Parameter*> given = GivenTo(inDescription, inParameters);
    MF::KeyframeStore store;
    for (std::size_t index = 0; index < given.size(); ++index)
    {
        store.push_back(MakeParameter(inDescription.mParameters[index], given[index], inAxis));
    }
    return store;
}

MF::IKeyframedParameterRef EffectMaker::MakeParameter(const ParameterDescription& inDescription,
                                                      const Otio::Parameter* inParameter,
                                                      const KeyAxis& inAxis)
{
    if (inParameter == nullptr)
    {
        return DefaultOf(inDescription);
    }
    const std::string pointer = mPaths.Text(inParameter->mPath);
    MF::IKeyframedParameterRef made;
    if (const auto* const isOn = std::get_if<bool>(&inParameter->mValue))
    {
        made = inDescription.mKind == ParameterKind::kBool ? Project::CreateSwitch(*isOn)
                                                           : MF::IKeyframedParameterRef();
    }
    else if (const auto* const text = std::get_if<std::string>(&inParameter->mValue))
    {
        made = FromText(inDescription, *text, pointer);
    }
    else
    {
        made =
            FromNumbers(inDescription, std::get<std::vector<Scalar>>(inParameter->mValue), inAxis, pointer);
    }
    if (!made)
    {
        mProblems.Warn("wrong-type", pointer,
                       fmt::format("no value for a parameter of kind {}; its default is used",
                                   Effects::NameOf(inDescription.mKind)));
        return DefaultOf(inDescription);
    }
    return made;
}

MF::IKeyframedParameterRef EffectMaker::FromText(const ParameterDescription& inDescription,
                                                 const std::string& inText, const std::string& inPointer)
{
    const auto control = static_cast<std::uint32_t>(inDescription.mKind);
    TVK::ParamColor<std::uint32_t> color;
    if (inDescription.mKind == ParameterKind::kText)
    {
        return Project::CreateText(inText);
    }
    if (inDescription.mKind == ParameterKind::kFile)
    {
        const std::string path = inText.empty() ? std::string() : mFindFile(inText);
        if (path.empty() && !inText.empty())
        {
            mProblems.Warn("missing-media", inPointer, fmt::format("\"{}\" is not there", inText));
        }
        return Project::CreateText(path, control);
    }
    if (inDescription.mKind == ParameterKind::kColor && ParseColor(inText, color))
    {
        return Project::CreateColor(color);
    }
    const auto choice = std::find(inDescription.mChoices.begin(), inDescription.mChoices.end(), inText);
    if (inDescription.mKind == ParameterKind::kChoice && choice != inDescription.mChoices.end())
    {
        return Project::CreateChoice(static_cast<std::uint32_t>(choice - inDescription.mChoices.begin()));
    }
    return {};
}

MF::IKeyframedParameterRef EffectMaker::FromNumbers(const ParameterDescription& inDescription,
                                                    const std::vector<Scalar>& inNumbers,
                                                    const KeyAxis& inAxis, const std::string& inPointer)
{
    const auto control = static_cast<std::uint32_t>(inDescription.mKind);
    const bool isOne = inNumbers.size() == 1;
    const std::optional<std::uint32_t> choice = ChoiceIn(inNumbers);
    switch (inDescription.mKind)
    {
    case ParameterKind::kNumber:
    case ParameterKind::kAngle:
    case ParameterKind::kPercent:
        return isOne ? MakeNumber(inNumbers[0], inAxis, 1.0, control) : MF::IKeyframedParameterRef();
    case ParameterKind::kChoice:
        return choice && AreChoices(inNumbers[0]) ? MakeSteps(inNumbers[0], inAxis, control)
                                                  : MF::IKeyframedParameterRef();
    case ParameterKind::kLayer:
        if (choice && inNumbers[0].IsAnimated())
        {
            mProblems.Warn("keyed-track", inPointer,
                           "an effect looks at one track from beginning to end; the first one is used");
        }
        return choice ? Project::CreateChoice(*choice, control) : MF::IKeyframedParameterRef();
    case ParameterKind::kBool:
        return isOne ? MakeSteps(inNumbers[0], inAxis, control) : MF::IKeyframedParameterRef();
    case ParameterKind::kPoint:
        return inNumbers.size() == 2 ? MakePoint(inNumbers[0], inNumbers[1], inAxis)
                                     : MF::IKeyframedParameterRef();
    case ParameterKind::kColor:
        return inNumbers.size() >= 3 ? MakeColor(inNumbers, inAxis) : MF::IKeyframedParameterRef();
    case ParameterKind::kText:
    case ParameterKind::kFile: break;
    }
    return {};
}

}
