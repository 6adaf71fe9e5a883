// What an effect or transition says of itself before anybody makes one.
//
// An effect is found by its id, "provider:name" ("vrender:gaussian-blur"), or by its match name, which documents
// and hashes carry and which never changes. A parameter is known by its place in the list, counted from 0, or by
// its name. Places and names are written into documents: new parameters go to the end.
//
// Thread-safety: values.
#pragma once

#include "TVK/ParamTypes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Effects
{

enum class EffectKind : std::uint8_t
{
    kFilter,     // one picture into another
    kTransition, // from one picture to another, driven by progress
    kBlend,      // the picture with that of a track, driven by parameters
    kGenerator,  // a picture out of nothing, in the place of the one that it is given
};

// Whether it is applied to an item.
constexpr bool IsFilter(EffectKind inKind) noexcept
{
    return inKind != EffectKind::kTransition;
}

// The kind of control. The numbers are those of MF::IKeyframedParameter::GetType.
enum class ParameterKind : std::uint32_t
{
    kNumber = 1,
    kAngle = 2, // degrees
    kPercent = 3,
    kBool = 4,
    kChoice = 5, // a place in mChoices
    kColor = 6,
    kPoint = 7, // fractions of the picture, x to the right, y down
    kText = 8,
    kFile = 9,   // a path
    kLayer = 13, // a track of the sequence
};

// A value of any kind: what the kind does not use stays as it is here.
struct ParameterValue
{
    double mNumber = 0.0; // of numbers, angles, percents, bools (0 or 1) and choices
    TVK::ParamPoint<double> mPoint;
    TVK::ParamColor<std::uint32_t> mColor;
    std::string mText; // of texts and files, UTF-8

    friend bool operator==(const ParameterValue&, const ParameterValue&) = default;
};

// No track: what a layer parameter holds that is not set.
inline constexpr std::uint32_t kNoLayer = 0xFFFFFFFF;

struct ParameterDescription
{
    std::string mName;
    ParameterKind mKind = ParameterKind::kNumber;
    std::string mUnit; // "px" of the full-size picture, "deg", "%", or nothing
    double mLeast = 0.0;
    double mMost = 1.0; // both of numbers, angles, percents and choices; values beyond are held at the ends
    ParameterValue mDefault;
    std::vector<std::string> mChoices;
    std::string mExplanation; // for people; may be empty
};

// The type of value that a parameter of this kind has, as MF::KeyframeBase::GetValueType tells it: double, bool,
// unsigned 32-bit (choices, layers, and colours as TVK::ParamColor packs them), point or wide text.
std::int32_t ValueTypeOf(ParameterKind inKind) noexcept;

// The word that documents and listings use for a kind.
const char* NameOf(ParameterKind inKind) noexcept;
const char* NameOf(EffectKind inKind) noexcept;

struct EffectDescription
{
    std::string mId;        // provider:name
    std::string mMatchName; // the id where there is no other
    std::string mTitle;     // for people
    EffectKind mKind = EffectKind::kFilter;
    std::vector<ParameterDescription> mParameters;
    // Why nobody can make one here, for people; empty where it can be made.
    std::string mWhyNot = {};
    // Its picture depends on earlier frames of the item or on chance. It needs an item at its usual speed.
    bool mIsStateful = false;
    // What else listings tell: a word and a text.
    std::vector<std::pair<std::string, std::string>> mNotes = {};

    // The place of the parameter of that name, or -1.
    std::ptrdiff_t IndexOf(std::string_view inName) const noexcept;
};

// Parameters as tables write them.
ParameterDescription NumberParameter(std::string inName, std::string inUnit, double inLeast, double inMost,
                                     double inDefault);
ParameterDescription AngleParameter(std::string inName, double inDefault);
ParameterDescription PercentParameter(std::string inName, double inLeast, double inMost, double inDefault);
ParameterDescription BoolParameter(std::string inName, bool inDefault);
ParameterDescription ChoiceParameter(std::string inName, std::vector<std::string> inChoices,
                                     std::uint32_t inDefault);
ParameterDescription ColorParameter(std::string inName, std::uint8_t inRed, std::uint8_t inGreen,
                                    std::uint8_t inBlue);
ParameterDescription PointParameter(std::string inName, double inX, double inY);
ParameterDescription TextParameter(std::string inName, std::string inDefault);
ParameterDescription FileParameter(std::string inName);
ParameterDescription LayerParameter(std::string inName);

} // namespace Effects
