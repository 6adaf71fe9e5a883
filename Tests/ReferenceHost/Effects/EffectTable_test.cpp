#include "ReferenceHost/Effects/EffectRegistry.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>

namespace
{

using Effects::ParameterDescription;
using Effects::ParameterKind;

std::string Number(double inNumber)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(10);
    text << inNumber;
    return text.str();
}

std::string RangeOf(const ParameterDescription& inParameter)
{
    switch (inParameter.mKind)
    {
    case ParameterKind::kNumber:
    case ParameterKind::kAngle:
    case ParameterKind::kPercent: return Number(inParameter.mLeast) + " to " + Number(inParameter.mMost);
    case ParameterKind::kChoice: break;
    default: return "";
    }
    std::string choices;
    for (std::size_t i = 0; i < inParameter.mChoices.size(); ++i)
    {
        choices += (i == 0 ? "" : ", ") + std::to_string(i) + " " + inParameter.mChoices[i];
    }
    return choices;
}

std::string DefaultOf(const ParameterDescription& inParameter)
{
    const Effects::ParameterValue& value = inParameter.mDefault;
    switch (inParameter.mKind)
    {
    case ParameterKind::kBool: return value.mNumber != 0.0 ? "true" : "false";
    case ParameterKind::kColor:
        return std::to_string(value.mColor.Red()) + " " + std::to_string(value.mColor.Green()) + " " +
               std::to_string(value.mColor.Blue());
    case ParameterKind::kPoint: return Number(value.mPoint.x) + " " + Number(value.mPoint.y);
    case ParameterKind::kText:
    case ParameterKind::kFile: return value.mText;
    case ParameterKind::kLayer: return "none";
    default: return Number(value.mNumber);
    }
}

std::string TableText()
{
    std::string text;
    for (const Effects::EffectDescription* effect : Effects::GetEffectRegistry().List())
    {
        if (effect->mId.rfind("vrender:", 0) != 0)
        {
            continue;
        }
        text += "\n## " + effect->mTitle + "\n\nA " + NameOf(effect->mKind) + ", `" + effect->mId + "`";
        text += effect->mMatchName != effect->mId ? ", match name \"" + effect->mMatchName + "\".\n" : ".\n";
        text += effect->mParameters.empty()
                    ? "It has no parameters.\n"
                    : "\n| Index | Parameter | Kind | Unit | Range | Default |\n|---|---|---|---|---|---|\n";
        for (std::size_t i = 0; i < effect->mParameters.size(); ++i)
        {
            const ParameterDescription& parameter = effect->mParameters[i];
            text += "| " + std::to_string(i) + " | " + parameter.mName + " | " + NameOf(parameter.mKind) +
                    " | " + parameter.mUnit + " | " + RangeOf(parameter) + " | " + DefaultOf(parameter) +
                    " |\n";
        }
    }
    return text;
}

TEST(EffectTable, OfTheDocumentationIsThatOfTheRegistry)
{
    const std::string marker = "<!-- the table -->\n";
    std::ifstream file(VR_EFFECT_DOCUMENT, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::size_t place = text.find(marker);
    ASSERT_NE(place, std::string::npos) << VR_EFFECT_DOCUMENT;
    const std::string expected = text.substr(0, place + marker.size()) + TableText();
    if (std::getenv("VR_WRITE_EFFECT_TABLE") != nullptr)
    {
        std::ofstream(VR_EFFECT_DOCUMENT, std::ios::binary) << expected;
        return;
    }
    EXPECT_TRUE(text == expected) << "run again with VR_WRITE_EFFECT_TABLE=1, and look at the difference";
}

} // namespace
