#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/Json.h"
#include "ReferenceHost/Session/EffectCatalog.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace vrender
{

namespace
{

using Effects::EffectDescription;
using Effects::ParameterDescription;
using Effects::ParameterKind;

bool HasRange(ParameterKind inKind)
{
    return inKind == ParameterKind::kNumber || inKind == ParameterKind::kAngle ||
           inKind == ParameterKind::kPercent;
}

// What a value counts.
std::string UnitOf(const ParameterDescription& inParameter)
{
    switch (inParameter.mKind)
    {
    case ParameterKind::kPoint: return "fractions of the picture";
    case ParameterKind::kLayer: return "number of a track, from 0 at the bottom";
    default: return inParameter.mUnit;
    }
}

// As documents write colours.
std::string ColorText(const TVK::ParamColor<std::uint32_t>& inColor)
{
    return fmt::format("#{:02x}{:02x}{:02x}", inColor.Red(), inColor.Green(), inColor.Blue());
}

std::string ChoiceText(const ParameterDescription& inParameter)
{
    const auto choice = static_cast<std::size_t>(inParameter.mDefault.mNumber);
    return choice < inParameter.mChoices.size() ? inParameter.mChoices[choice] : "";
}

std::string DefaultText(const ParameterDescription& inParameter)
{
    const Effects::ParameterValue& value = inParameter.mDefault;
    switch (inParameter.mKind)
    {
    case ParameterKind::kBool: return value.mNumber >= 0.5 ? "true" : "false";
    case ParameterKind::kChoice: return ChoiceText(inParameter);
    case ParameterKind::kColor: return ColorText(value.mColor);
    case ParameterKind::kPoint: return fmt::format("{} {}", value.mPoint.x, value.mPoint.y);
    case ParameterKind::kText:
    case ParameterKind::kFile: return "\"" + value.mText + "\"";
    case ParameterKind::kLayer: return "none";
    case ParameterKind::kNumber:
    case ParameterKind::kAngle:
    case ParameterKind::kPercent: break;
    }
    return fmt::format("{}", value.mNumber);
}

void AddDefault(JsonWriter& ioJson, const ParameterDescription& inParameter)
{
    const Effects::ParameterValue& value = inParameter.mDefault;
    switch (inParameter.mKind)
    {
    case ParameterKind::kBool: return ioJson.Bool("default", value.mNumber >= 0.5);
    case ParameterKind::kChoice: return ioJson.Text("default", ChoiceText(inParameter));
    case ParameterKind::kColor: return ioJson.Text("default", ColorText(value.mColor));
    case ParameterKind::kPoint:
        ioJson.BeginList("default");
        ioJson.Number("", value.mPoint.x);
        ioJson.Number("", value.mPoint.y);
        return ioJson.End();
    case ParameterKind::kText:
    case ParameterKind::kFile: return ioJson.Text("default", value.mText);
    case ParameterKind::kLayer: return ioJson.Null("default");
    case ParameterKind::kNumber:
    case ParameterKind::kAngle:
    case ParameterKind::kPercent: break;
    }
    ioJson.Number("default", value.mNumber);
}

void AddParameter(JsonWriter& ioJson, std::size_t inIndex, const ParameterDescription& inParameter)
{
    ioJson.BeginObject("");
    ioJson.Integer("index", static_cast<std::int64_t>(inIndex));
    ioJson.Text("name", inParameter.mName);
    ioJson.Text("kind", Effects::NameOf(inParameter.mKind));
    if (!UnitOf(inParameter).empty())
    {
        ioJson.Text("unit", UnitOf(inParameter));
    }
    if (!inParameter.mExplanation.empty())
    {
        ioJson.Text("explanation", inParameter.mExplanation);
    }
    if (HasRange(inParameter.mKind))
    {
        ioJson.Number("least", inParameter.mLeast);
        ioJson.Number("most", inParameter.mMost);
    }
    AddDefault(ioJson, inParameter);
    if (inParameter.mKind == ParameterKind::kChoice)
    {
        ioJson.BeginList("choices");
        for (const std::string& choice : inParameter.mChoices)
        {
            ioJson.Text("", choice);
        }
        ioJson.End();
    }
    ioJson.End();
}

void AddEffect(JsonWriter& ioJson, const EffectDescription& inEffect)
{
    ioJson.Text("id", inEffect.mId);
    ioJson.Text("match_name", inEffect.mMatchName);
    ioJson.Text("title", inEffect.mTitle);
    ioJson.Text("kind", Effects::NameOf(inEffect.mKind));
    ioJson.Bool("usable", inEffect.mWhyNot.empty());
    ioJson.Bool("stateful", inEffect.mIsStateful);
    if (!inEffect.mWhyNot.empty())
    {
        ioJson.Text("why_not", inEffect.mWhyNot);
    }
    for (const auto& [word, text] : inEffect.mNotes)
    {
        ioJson.Text(word, text);
    }
    ioJson.BeginList("parameters");
    for (std::size_t index = 0; index < inEffect.mParameters.size(); ++index)
    {
        AddParameter(ioJson, index, inEffect.mParameters[index]);
    }
    ioJson.End();
}

// Plug-ins write what they like.
std::string OneLine(std::string inText)
{
    std::replace_if(
        inText.begin(), inText.end(),
        [](char inLetter) { return static_cast<unsigned char>(inLetter) < 0x20; }, ' ');
    return inText;
}

std::string TextOf(const EffectDescription& inEffect)
{
    std::string text = fmt::format("id: {}\nmatch name: {}\ntitle: {}\nkind: {}\n", inEffect.mId,
                                   inEffect.mMatchName, inEffect.mTitle, Effects::NameOf(inEffect.mKind));
    for (const auto& [word, note] : inEffect.mNotes)
    {
        text += note.empty() ? "" : fmt::format("{}: {}\n", word, note);
    }
    text += inEffect.mWhyNot.empty() ? "" : fmt::format("can't be used: {}\n", inEffect.mWhyNot);
    text += inEffect.mIsStateful ? "stateful: needs --allow-stateful, and clips at their usual speed\n" : "";
    std::size_t index = 0;
    for (const ParameterDescription& parameter : inEffect.mParameters)
    {
        text +=
            fmt::format("parameter {}: {}, {}", index++, parameter.mName, Effects::NameOf(parameter.mKind));
        text += HasRange(parameter.mKind) ? fmt::format(" {} to {}", parameter.mLeast, parameter.mMost) : "";
        text += parameter.mChoices.empty() ? "" : fmt::format(" ({})", fmt::join(parameter.mChoices, ", "));
        text += UnitOf(parameter).empty() ? "" : " " + UnitOf(parameter);
        text += fmt::format(", default {}", DefaultText(parameter));
        text +=
            parameter.mExplanation.empty() ? "\n" : fmt::format("; {}\n", OneLine(parameter.mExplanation));
    }
    return text;
}

ExitCode ListEffects(bool inAsJson)
{
    const std::vector<const EffectDescription*> effects = Session::EffectCatalog().List();
    if (inAsJson)
    {
        JsonWriter json(true);
        json.BeginList("plugins");
        for (const EffectDescription* effect : effects)
        {
            json.BeginObject("");
            AddEffect(json, *effect);
            json.End();
        }
        json.End();
        console::PrintData(json.Finish());
        return ExitCode::kDone;
    }
    std::string text;
    for (const EffectDescription* effect : effects)
    {
        text +=
            fmt::format("{:<32} {:<10} {}{}\n", effect->mId, Effects::NameOf(effect->mKind), effect->mTitle,
                        effect->mWhyNot.empty() ? "" : " (can't be used: " + effect->mWhyNot + ")");
    }
    console::PrintData(text);
    return ExitCode::kDone;
}

ExitCode ShowEffect(const std::string& inName, bool inAsJson)
{
    const EffectDescription* const effect = Session::EffectCatalog().Find(inName);
    if (effect == nullptr)
    {
        throw ToolError(ExitCode::kUsage, "plugins: no effect or transition is called '" + inName + "'");
    }
    if (!inAsJson)
    {
        console::PrintData(TextOf(*effect));
        return ExitCode::kDone;
    }
    JsonWriter json(true);
    AddEffect(json, *effect);
    console::PrintData(json.Finish());
    return ExitCode::kDone;
}

} // namespace

ExitCode RunPlugins(const Options& inOptions)
{
    const bool shows = inOptions.mAction == "show";
    if (shows == inOptions.mOther.empty())
    {
        throw ToolError(ExitCode::kUsage, shows ? "plugins show: the ID of an effect is required"
                                                : "plugins list: takes no ID; show does");
    }
    return shows ? ShowEffect(inOptions.mOther, inOptions.mJson) : ListEffects(inOptions.mJson);
}

} // namespace vrender
