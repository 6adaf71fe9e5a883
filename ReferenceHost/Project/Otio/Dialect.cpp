#include "ReferenceHost/Project/Otio/Metadata.h"
#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <functional>
#include <iterator>

namespace Otio
{

using norviktypes::FrameRate;
using norviktypes::TickTime;

namespace
{

// By the number that the dialect writes.
constexpr BlendMode kModes[] = {BlendMode::kNormal,     BlendMode::kPlusLighter, BlendMode::kSubtract,
                                BlendMode::kDifference, BlendMode::kMultiply,    BlendMode::kScreen,
                                BlendMode::kOverlay,    BlendMode::kHardLight,   BlendMode::kSoftLight,
                                BlendMode::kDarken,     BlendMode::kLighten,     BlendMode::kColorDodge,
                                BlendMode::kColorBurn,  BlendMode::kExclusion};

constexpr std::int64_t kComposite = 1;
constexpr std::int64_t kTransform = 2;
constexpr std::int64_t kCropping = 3;

// Shows what is inside of an outline, of which these are the corners, clockwise from the upper left.
constexpr const char* kOutline = "vrender:garbage-matte";
constexpr const char* kCorners[] = {"Point 1", "Point 5", "Point 9", "Point 13"};

using Mapping = std::function<double(double)>;

// One effect of the dialect. Most of its parameters go into settings, on top of which ours stand; cropping, which
// goes before all transforms, becomes an effect.
class DialectReader
{
public:
    DialectReader(ReadContext& inContext, const FrameRate& inRate, ItemSettings& inSettings)
        : mContext(inContext)
        , mSettings(inSettings)
        , mRate(inRate.IsCountable() ? inRate : FrameRate::FromRational(24, 1))
    {
    }

    void Read(const JsonValue& inDialect, PathID inPath)
    {
        Fields fields(mContext, inDialect, inPath);
        const std::string name = fields.Text("Effect Name");
        const std::int64_t type = fields.Integer("Type", 0, -1000000, 1000000);
        const JsonValue* const list = fields.FindArray("Parameters");
        if (!fields.Truth("Enabled", true) || list == nullptr)
        {
            return;
        }
        const PathID path = fields.PathOf("Parameters");
        for (rapidjson::SizeType index = 0; index < list->Size(); ++index)
        {
            if ((*list)[index].IsObject())
            {
                ReadParameter((*list)[index], mContext.mPaths.Index(path, index), type, name);
            }
        }
        KeepOutlineRight(mEdges);
    }

    // Leaves ioEffect as it is where nothing is cut off.
    void GiveCropping(PathID inPath, Effect& ioEffect) const
    {
        if (!mIsCropped)
        {
            return;
        }
        const auto& [left, top, right, bottom] = mEdges;
        const std::vector<Scalar> corners[] = {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
        ioEffect.mKind = EffectKind::kPicture;
        ioEffect.mEffectName = kOutline;
        ioEffect.mIsOnMedia = true;
        for (std::size_t corner = 0; corner < std::size(corners); ++corner)
        {
            ioEffect.mParameters.push_back({inPath, kCorners[corner], corners[corner]});
        }
    }

private:
    // Left and top edge from the upper left corner, right and bottom edge too.
    using Edges = std::array<Scalar, 4>;

    // Edges that have passed each other leave nothing, and don't turn the outline inside out.
    static void KeepOutlineRight(Edges& ioEdges)
    {
        for (const std::size_t first : {0u, 1u})
        {
            ioEdges[first + 2] = NotBelow(ioEdges[first + 2], ioEdges[first]);
        }
    }

    // The larger of the two at every time. It has keyframes at theirs, and where one goes past the other.
    static Scalar NotBelow(const Scalar& inScalar, const Scalar& inLimit)
    {
        std::vector<TickTime> times;
        for (const Scalar* scalar : {&inScalar, &inLimit})
        {
            for (const Key& key : scalar->mKeys)
            {
                times.push_back(key.mTime);
            }
        }
        Scalar larger(std::max(inScalar.mValue, inLimit.mValue));
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
        for (std::size_t index = 0; index < times.size(); ++index)
        {
            if (index > 0)
            {
                AddCrossing(inScalar, inLimit, times[index - 1], times[index], larger);
            }
            AddLarger(inScalar, inLimit, times[index], larger);
        }
        larger.mValue = larger.mKeys.empty() ? larger.mValue : larger.mKeys.front().mValue;
        return larger;
    }

    static void AddCrossing(const Scalar& inA, const Scalar& inB, const TickTime& inFrom,
                            const TickTime& inTo, Scalar& ioLarger)
    {
        const double before = ValueAt(inA, inFrom) - ValueAt(inB, inFrom);
        const double behind = ValueAt(inA, inTo) - ValueAt(inB, inTo);
        if (before * behind >= 0.0)
        {
            return;
        }
        const TickTime place = inFrom + Scaled(inTo - inFrom, before / (before - behind));
        if (place > inFrom && place < inTo)
        {
            AddLarger(inA, inB, place, ioLarger);
        }
    }

    static void AddLarger(const Scalar& inA, const Scalar& inB, const TickTime& inTime, Scalar& ioLarger)
    {
        Key key;
        key.mTime = inTime;
        key.mValue = std::max(ValueAt(inA, inTime), ValueAt(inB, inTime));
        ioLarger.mKeys.push_back(key);
    }

    // Keyframes of the dialect go straight.
    static double ValueAt(const Scalar& inScalar, const TickTime& inTime)
    {
        const std::vector<Key>& keys = inScalar.mKeys;
        const auto behind =
            std::upper_bound(keys.begin(), keys.end(), inTime,
                             [](const TickTime& inA, const Key& inB) { return inA < inB.mTime; });
        if (keys.empty() || behind == keys.begin() || behind == keys.end())
        {
            return keys.empty()           ? inScalar.mValue
                   : behind == keys.end() ? keys.back().mValue
                                          : keys[0].mValue;
        }
        const Key& before = *(behind - 1);
        const double part = (inTime - before.mTime) / (behind->mTime - before.mTime);
        return before.mValue + (behind->mValue - before.mValue) * part;
    }

    void ReadParameter(const JsonValue& inParameter, PathID inPath, std::int64_t inType,
                       const std::string& inEffect)
    {
        Fields fields(mContext, inParameter, inPath);
        const std::string id = fields.Text("Parameter ID");
        const JsonValue* const value = fields.Find("Parameter Value");
        const JsonValue* const keys = fields.FindObject("Key Frames");
        const JsonValue* const usual = fields.Find("Default Parameter Value");
        const bool isMoving = keys != nullptr && keys->MemberCount() > 0;
        if (!isMoving && (value == nullptr || (usual != nullptr && *value == *usual)))
        {
            return;
        }
        const bool isKnown = (inType == kTransform && ReadTransform(id, fields, value, keys)) ||
                             (inType == kComposite && ReadComposite(id, fields, value, keys)) ||
                             (inType == kCropping && ReadCropping(id, fields, value, keys));
        if (!isKnown)
        {
            mContext.mProblems.Warn(
                "unknown-effect", mContext.Pointer(inPath),
                fmt::format("\"{}\" of the effect \"{}\" has no equivalent; ignored", id, inEffect));
        }
    }

    bool ReadTransform(const std::string& inID, Fields& inFields, const JsonValue* inValue,
                       const JsonValue* inKeys)
    {
        Transform transform = mSettings.mTransform.value_or(Transform());
        const auto read = [&](Scalar& outScalar, const Mapping& inMapping)
        {
            outScalar = ReadScalar(inFields, inValue, inKeys, inMapping);
            mSettings.mTransform = transform;
            return true;
        };
        if (inID == "transformationZoomX" || inID == "transformationZoomY")
        {
            return read(transform.mScale[inID.back() == 'X' ? 0 : 1], [](double inZoom) { return inZoom; });
        }
        if (inID == "transformationPan")
        {
            return read(transform.mPosition[0], [](double inPan) { return 0.5 + inPan; });
        }
        // The dialect's second axis points up, and its angles turn the other way round.
        if (inID == "transformationTilt")
        {
            return read(transform.mPosition[1], [](double inTilt) { return 0.5 - inTilt; });
        }
        if (inID == "transformationRotationAngle")
        {
            return read(transform.mRotation, [](double inAngle) { return -inAngle; });
        }
        return false;
    }

    bool ReadComposite(const std::string& inID, Fields& inFields, const JsonValue* inValue,
                       const JsonValue* inKeys)
    {
        if (inID == "opacity")
        {
            mSettings.mOpacity =
                ReadScalar(inFields, inValue, inKeys,
                           [](double inPercent) { return std::clamp(inPercent / 100.0, 0.0, 1.0); });
            return true;
        }
        if (inID != "composite mode" && inID != "compositeMode")
        {
            return false;
        }
        if (inValue != nullptr && inValue->IsInt() && inValue->GetInt() >= 0 &&
            inValue->GetInt() < static_cast<int>(std::size(kModes)))
        {
            mSettings.mBlend = kModes[inValue->GetInt()];
            return true;
        }
        mContext.mProblems.Warn("unknown-blend", mContext.Pointer(inFields.Path()),
                                "a composite mode without equivalent; normal is used");
        return true;
    }

    bool ReadCropping(const std::string& inID, Fields& inFields, const JsonValue* inValue,
                      const JsonValue* inKeys)
    {
        constexpr const char* kEdges[] = {"cropLeft", "cropTop", "cropRight", "cropBottom"};
        const auto* const edge = std::find(std::begin(kEdges), std::end(kEdges), inID);
        if (edge == std::end(kEdges))
        {
            return false;
        }
        const auto index = static_cast<std::size_t>(edge - std::begin(kEdges));
        mIsCropped = true;
        mEdges[index] = ReadScalar(inFields, inValue, inKeys,
                                   [index](double inPart)
                                   {
                                       const double part = std::clamp(inPart, 0.0, 1.0);
                                       return index < 2 ? part : 1.0 - part;
                                   });
        return true;
    }

    Scalar ReadScalar(Fields& inFields, const JsonValue* inValue, const JsonValue* inKeys,
                      const Mapping& inMapping)
    {
        Scalar scalar;
        if (inValue != nullptr && IsFinite(*inValue))
        {
            scalar.mValue = inMapping(inValue->GetDouble());
        }
        else if (inValue != nullptr || inKeys == nullptr)
        {
            mContext.mProblems.Fail("not-finite", inFields.PointerOf("Parameter Value"),
                                    "a finite number is expected");
            scalar.mValue = inMapping(0.0);
        }
        if (inKeys != nullptr)
        {
            ReadKeys(*inKeys, inFields.PathOf("Key Frames"), inMapping, scalar);
        }
        return scalar;
    }

    void ReadKeys(const JsonValue& inKeys, PathID inPath, const Mapping& inMapping, Scalar& ioScalar)
    {
        if (inKeys.MemberCount() > kMostKeyframes)
        {
            mContext.mProblems.Fail("too-large", mContext.Pointer(inPath),
                                    fmt::format("more than {} keyframes; ignored", kMostKeyframes));
            return;
        }
        for (const auto& member : inKeys.GetObject())
        {
            Key key;
            if (!ReadKey(member.name, member.value, inMapping, key))
            {
                mContext.mProblems.Fail("bad-key", mContext.Pointer(inPath, TextOf(member.name)),
                                        "a keyframe needs a frame and a \"Value\"; left out");
                continue;
            }
            ioScalar.mKeys.push_back(key);
        }
        const auto isEarlier = [](const Key& inA, const Key& inB) { return inA.mTime < inB.mTime; };
        std::stable_sort(ioScalar.mKeys.begin(), ioScalar.mKeys.end(), isEarlier);
        const auto isSame = [](const Key& inA, const Key& inB) { return inA.mTime == inB.mTime; };
        ioScalar.mKeys.erase(std::unique(ioScalar.mKeys.begin(), ioScalar.mKeys.end(), isSame),
                             ioScalar.mKeys.end());
        if (!ioScalar.mKeys.empty())
        {
            ioScalar.mValue = ioScalar.mKeys.front().mValue;
        }
    }

    bool ReadKey(const JsonValue& inFrame, const JsonValue& inKey, const Mapping& inMapping,
                 Key& outKey) const
    {
        const std::string_view frame = TextOf(inFrame);
        std::int64_t number = 0;
        const auto [end, fault] = std::from_chars(frame.data(), frame.data() + frame.size(), number);
        const JsonValue* value = &inKey;
        if (inKey.IsObject())
        {
            const auto found = inKey.FindMember("Value");
            value = found == inKey.MemberEnd() ? nullptr : &found->value;
        }
        if (fault != std::errc() || end != frame.data() + frame.size() || value == nullptr ||
            !IsFinite(*value) || std::abs(static_cast<double>(number)) > 1e9)
        {
            return false;
        }
        outKey.mTime = Scaled(TickTime(mRate.GetTicks()), static_cast<double>(number));
        outKey.mValue = inMapping(value->GetDouble());
        return true;
    }

    static bool IsFinite(const JsonValue& inValue)
    {
        return inValue.IsNumber() && std::isfinite(inValue.GetDouble());
    }

    ReadContext& mContext;
    ItemSettings& mSettings;
    const FrameRate mRate;
    bool mIsCropped = false;
    Edges mEdges{Scalar(0.0), Scalar(0.0), Scalar(1.0), Scalar(1.0)}; // in parts of the picture
};

}

bool ReadDialectEffect(ReadContext& inContext, const JsonValue& inEffect, PathID inPath,
                       const FrameRate& inRate, Effect& ioEffect, std::shared_ptr<ItemSettings>& ioSettings)
{
    const auto metadata = inEffect.FindMember("metadata");
    if (metadata == inEffect.MemberEnd() || !metadata->value.IsObject())
    {
        return false;
    }
    const auto dialect = metadata->value.FindMember("Resolve_OTIO");
    if (dialect == metadata->value.MemberEnd() || !dialect->value.IsObject())
    {
        return false;
    }
    const PathID path = inContext.mPaths.Key(inContext.mPaths.Key(inPath, "metadata"), "Resolve_OTIO");
    if (ioSettings == nullptr)
    {
        ioSettings = std::make_shared<ItemSettings>();
        ioSettings->mPath = path;
    }
    ioEffect.mKind = EffectKind::kSettings;
    DialectReader reader(inContext, inRate, *ioSettings);
    reader.Read(dialect->value, path);
    reader.GiveCropping(path, ioEffect);
    return true;
}

bool FindDialectColor(const JsonValue& inList, ParameterValue& outColor)
{
    if (!inList.IsArray())
    {
        return false;
    }
    for (const JsonValue& effect : inList.GetArray())
    {
        const bool hasList =
            effect.IsObject() && effect.HasMember("Parameters") && effect["Parameters"].IsArray();
        for (rapidjson::SizeType index = 0; hasList && index < effect["Parameters"].Size(); ++index)
        {
            const JsonValue& parameter = effect["Parameters"][index];
            const bool isColor = parameter.IsObject() && parameter.HasMember("Parameter ID") &&
                                 parameter["Parameter ID"] == "color" &&
                                 parameter.HasMember("Parameter Value") &&
                                 parameter["Parameter Value"].IsString();
            if (isColor)
            {
                outColor = std::string(TextOf(parameter["Parameter Value"]));
                return true;
            }
        }
    }
    return false;
}

}
