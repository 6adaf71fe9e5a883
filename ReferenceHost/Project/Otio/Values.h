// Values that effects, transitions and the placement of a picture have in documents: fixed, or keyframed.
//
// Thread-safety: value types.
#pragma once

#include "ReferenceHost/Project/Otio/Paths.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/TickTime.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Otio
{

// Keyframes of one parameter, the keys of all of its numbers together.
inline constexpr std::size_t kMostKeyframes = 1000000;

// How a value moves from a keyframe to the next one.
enum class KeyMotion : std::uint8_t
{
    kHold,
    kLinear,
    kBezier,
};

// A handle of a Bezier curve, measured from its keyframe.
struct KeyHandle
{
    norviktypes::TickTime mTime; // incoming ones are not above zero, outgoing ones not below
    double mValue = 0.0;
};

struct Key
{
    norviktypes::TickTime mTime; // in the item's own time: 0 is its first frame
    double mValue = 0.0;
    KeyMotion mMotion = KeyMotion::kLinear;
    KeyHandle mIn;
    KeyHandle mOut;
};

// A number that may move. With keys, which are in strict order of time, mValue is that of the first.
struct Scalar
{
    Scalar() = default;
    Scalar(double inValue) : mValue(inValue) {}

    bool IsAnimated() const noexcept { return mKeys.size() > 1; }

    double mValue = 0.0;
    std::vector<Key> mKeys;
};

// A switch, a text, or one or more numbers: a point and a colour are several.
using ParameterValue = std::variant<bool, std::string, std::vector<Scalar>>;

struct Parameter
{
    PathID mPath = kRootPath;
    std::string mName;
    ParameterValue mValue;
};

// The words of the W3C compositing standard, and one more that a dialect has.
enum class BlendMode : std::uint8_t
{
    kNormal,
    kMultiply,
    kScreen,
    kOverlay,
    kDarken,
    kLighten,
    kColorDodge,
    kColorBurn,
    kHardLight,
    kSoftLight,
    kDifference,
    kExclusion,
    kHue,
    kSaturation,
    kColor,
    kLuminosity,
    kPlusLighter,
    kSubtract,
};

const char* BlendModeWord(BlendMode inMode);
bool ParseBlendMode(const std::string& inWord, BlendMode& outMode);

// Places are fractions of the canvas, x to the right and y down; the anchor's are fractions of the picture.
struct Transform
{
    std::array<Scalar, 2> mPosition{Scalar(0.5), Scalar(0.5)}; // where the anchor comes to lie
    std::array<Scalar, 2> mAnchor{Scalar(0.5), Scalar(0.5)};
    std::array<Scalar, 2> mScale{Scalar(1.0), Scalar(1.0)}; // 1: as the picture was fitted
    Scalar mRotation;                                       // degrees, clockwise
};

enum class FieldOrder : std::uint8_t
{
    kProgressive,
    kUpperFirst,
    kLowerFirst,
};

struct Canvas
{
    PathID mPath = kRootPath;
    std::uint32_t mWidth = 0; // 0: not said
    std::uint32_t mHeight = 0;
    std::uint32_t mPixelWidth = 1; // of the shape of a pixel
    std::uint32_t mPixelHeight = 1;
    norviktypes::FrameRate mRate; // none: not said
    std::optional<FieldOrder> mFields;
};

// What is said of the picture of an item beyond its place in time.
struct ItemSettings
{
    PathID mPath = kRootPath;
    std::optional<Canvas> mCanvas;
    std::optional<Transform> mTransform;
    std::optional<Scalar> mOpacity; // 0 to 1
    std::optional<BlendMode> mBlend;
    std::optional<bool> mBlendsFrames; // of a retime

    // True if the picture of the item is drawn otherwise than without settings.
    bool ChangesPicture() const noexcept;
};

}
