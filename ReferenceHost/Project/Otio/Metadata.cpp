#include "ReferenceHost/Project/Otio/Metadata.h"

#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <initializer_list>
#include <utility>

namespace Otio
{

using norviktypes::FrameRate;
using norviktypes::kTime_Zero;
using norviktypes::TickTime;

namespace
{

constexpr std::int64_t kLargestCanvas = 16384;

class SettingsReader
{
public:
    explicit SettingsReader(ReadContext& inContext) : mContext(inContext) {}

    void CheckVersion(Fields& inOwn)
    {
        const std::int64_t version = inOwn.Integer("version", kMetadataVersion, 1, 1000000);
        if (version > kMetadataVersion)
        {
            mContext.mProblems.Warn(
                "newer-version", inOwn.PointerOf("version"),
                fmt::format("version {} of this metadata is newer than {}", version, kMetadataVersion));
        }
    }

    std::shared_ptr<ItemSettings> ReadItem(const JsonValue& inOwn, PathID inPath)
    {
        Fields own(mContext, inOwn, inPath);
        auto settings = std::make_shared<ItemSettings>();
        settings->mPath = inPath;
        CheckVersion(own);
        if (const JsonValue* const canvas = own.FindObject("canvas"))
        {
            settings->mCanvas = ReadCanvas(*canvas, own.PathOf("canvas"));
        }
        if (const JsonValue* const transform = own.FindObject("transform"))
        {
            settings->mTransform = ReadTransform(*transform, own.PathOf("transform"));
        }
        if (const JsonValue* const opacity = own.Find("opacity"))
        {
            settings->mOpacity = ReadOpacity(*opacity, own.PathOf("opacity"));
        }
        ReadWords(own, *settings);
        own.ReportUnknown("vrender");
        return settings;
    }

    std::vector<Parameter> ReadList(const JsonValue& inObject, PathID inPath)
    {
        std::vector<Parameter> parameters;
        for (const auto& member : inObject.GetObject())
        {
            const std::string_view name = TextOf(member.name);
            Parameter parameter;
            parameter.mPath = mContext.mPaths.Key(inPath, name);
            parameter.mName = name;
            if (ReadValue(member.value, parameter.mPath, parameter.mValue))
            {
                parameters.push_back(std::move(parameter));
            }
        }
        return parameters;
    }

    Scalar ReadScalar(const JsonValue& inValue, PathID inPath, double inDefault)
    {
        if (inValue.IsObject())
        {
            return ReadKeys(inValue, inPath, inDefault);
        }
        double number = inDefault;
        ReadNumber(inValue, inPath, number);
        return Scalar(number);
    }

private:
    // False, with the number left as it was, for what is no finite number.
    bool ReadNumber(const JsonValue& inValue, PathID inPath, double& ioNumber)
    {
        if (!inValue.IsNumber())
        {
            mContext.mProblems.Warn("wrong-type", mContext.Pointer(inPath),
                                    fmt::format("{} where a number is expected; ignored", KindText(inValue)));
            return false;
        }
        if (!std::isfinite(inValue.GetDouble()))
        {
            mContext.mProblems.Fail("not-finite", mContext.Pointer(inPath), "the number is not finite");
            return false;
        }
        ioNumber = inValue.GetDouble();
        return true;
    }

    Canvas ReadCanvas(const JsonValue& inCanvas, PathID inPath)
    {
        Fields fields(mContext, inCanvas, inPath);
        Canvas canvas;
        canvas.mPath = inPath;
        canvas.mWidth = static_cast<std::uint32_t>(fields.Integer("width", 0, 0, kLargestCanvas));
        canvas.mHeight = static_cast<std::uint32_t>(fields.Integer("height", 0, 0, kLargestCanvas));
        if ((canvas.mWidth == 0) != (canvas.mHeight == 0))
        {
            mContext.mProblems.Fail("out-of-range", mContext.Pointer(inPath),
                                    "a canvas needs both width and height; ignored");
            canvas.mWidth = canvas.mHeight = 0;
        }
        double ratio[2] = {1.0, 1.0};
        if (ReadRatio(fields, "par", 100000.0, ratio))
        {
            canvas.mPixelWidth = static_cast<std::uint32_t>(ratio[0]);
            canvas.mPixelHeight = static_cast<std::uint32_t>(ratio[1]);
        }
        if (ReadRatio(fields, "rate", 1000000.0, ratio))
        {
            canvas.mRate = FrameRate::FromRational(static_cast<std::int64_t>(ratio[0]),
                                                   static_cast<std::int64_t>(ratio[1]));
        }
        ReadFields(fields, canvas);
        fields.ReportUnknown("canvas");
        return canvas;
    }

    void ReadFields(Fields& inFields, Canvas& outCanvas)
    {
        const std::string word = inFields.Text("field");
        if (word == "progressive")
        {
            outCanvas.mFields = FieldOrder::kProgressive;
        }
        else if (word == "upper" || word == "lower")
        {
            outCanvas.mFields = word == "upper" ? FieldOrder::kUpperFirst : FieldOrder::kLowerFirst;
        }
        else if (!word.empty())
        {
            mContext.mProblems.Fail("out-of-range", inFields.PointerOf("field"),
                                    "fields are \"progressive\", \"upper\" or \"lower\"; ignored");
        }
    }

    // Two whole numbers above zero.
    bool ReadRatio(Fields& inFields, std::string_view inKey, double inLargest, double (&outRatio)[2])
    {
        const JsonValue* const pair = inFields.FindArray(inKey);
        if (pair == nullptr)
        {
            return false;
        }
        for (unsigned index = 0; index < 2; ++index)
        {
            const bool isNumber =
                pair->Size() == 2 && (*pair)[index].IsNumber() && std::isfinite((*pair)[index].GetDouble());
            outRatio[index] = isNumber ? (*pair)[index].GetDouble() : 0.0;
            if (outRatio[index] < 1.0 || outRatio[index] > inLargest ||
                outRatio[index] != std::floor(outRatio[index]))
            {
                mContext.mProblems.Fail("out-of-range", inFields.PointerOf(inKey),
                                        "two whole numbers above zero are expected; ignored");
                return false;
            }
        }
        return true;
    }

    Transform ReadTransform(const JsonValue& inTransform, PathID inPath)
    {
        Fields fields(mContext, inTransform, inPath);
        Transform transform;
        ReadPair(fields, "position", transform.mPosition);
        ReadPair(fields, "anchor", transform.mAnchor);
        ReadPair(fields, "scale", transform.mScale);
        if (const JsonValue* const rotation = fields.Find("rotation"))
        {
            transform.mRotation = ReadScalar(*rotation, fields.PathOf("rotation"), 0.0);
        }
        fields.ReportUnknown("transform");
        return transform;
    }

    void ReadPair(Fields& inFields, std::string_view inKey, std::array<Scalar, 2>& ioPair)
    {
        const JsonValue* const pair = inFields.FindArray(inKey);
        if (pair == nullptr)
        {
            return;
        }
        if (pair->Size() != 2)
        {
            mContext.mProblems.Fail("out-of-range", inFields.PointerOf(inKey),
                                    "two numbers are expected; ignored");
            return;
        }
        const PathID path = inFields.PathOf(inKey);
        for (unsigned index = 0; index < 2; ++index)
        {
            ioPair[index] =
                ReadScalar((*pair)[index], mContext.mPaths.Index(path, index), ioPair[index].mValue);
        }
    }

    Scalar ReadOpacity(const JsonValue& inValue, PathID inPath)
    {
        Scalar opacity = ReadScalar(inValue, inPath, 1.0);
        bool wasOutside = false;
        const auto hold = [&wasOutside](double& ioValue)
        {
            wasOutside = wasOutside || ioValue < 0.0 || ioValue > 1.0;
            ioValue = std::clamp(ioValue, 0.0, 1.0);
        };
        hold(opacity.mValue);
        for (Key& key : opacity.mKeys)
        {
            hold(key.mValue);
        }
        if (wasOutside)
        {
            mContext.mProblems.Mended("out-of-range", mContext.Pointer(inPath),
                                      "opacity goes from 0 to 1; clamped");
        }
        return opacity;
    }

    void ReadWords(Fields& inOwn, ItemSettings& outSettings)
    {
        const std::string blend = inOwn.Text("blend");
        BlendMode mode = BlendMode::kNormal;
        if (ParseBlendMode(blend, mode))
        {
            outSettings.mBlend = mode;
        }
        else if (!blend.empty())
        {
            mContext.mProblems.Warn("unknown-blend", inOwn.PointerOf("blend"),
                                    fmt::format("no blend mode is called \"{}\"; normal is used", blend));
        }
        const std::string retime = inOwn.Text("retime");
        if (retime == "nearest" || retime == "blend")
        {
            outSettings.mBlendsFrames = retime == "blend";
        }
        else if (!retime.empty())
        {
            mContext.mProblems.Warn("unknown-retime", inOwn.PointerOf("retime"),
                                    "a retime is \"nearest\" or \"blend\"; nearest is used");
        }
    }

    bool ReadValue(const JsonValue& inValue, PathID inPath, ParameterValue& outValue)
    {
        if (inValue.IsBool())
        {
            outValue = inValue.GetBool();
            return true;
        }
        if (inValue.IsString())
        {
            outValue = std::string(TextOf(inValue));
            return true;
        }
        if (inValue.IsArray())
        {
            return ReadNumbers(inValue, inPath, outValue);
        }
        if (inValue.IsNumber() || (inValue.IsObject() && inValue.HasMember("keys")))
        {
            outValue = std::vector<Scalar>{ReadScalar(inValue, inPath, 0.0)};
            return true;
        }
        mContext.mProblems.Warn("wrong-type", mContext.Pointer(inPath),
                                fmt::format("{} is no value of a parameter; ignored", KindText(inValue)));
        return false;
    }

    bool ReadNumbers(const JsonValue& inArray, PathID inPath, ParameterValue& outValue)
    {
        if (inArray.Empty() || inArray.Size() > 4)
        {
            mContext.mProblems.Warn("wrong-type", mContext.Pointer(inPath),
                                    "a parameter has one to four numbers; ignored");
            return false;
        }
        std::vector<Scalar> numbers;
        for (rapidjson::SizeType index = 0; index < inArray.Size(); ++index)
        {
            numbers.push_back(ReadScalar(inArray[index], mContext.mPaths.Index(inPath, index), 0.0));
        }
        outValue = std::move(numbers);
        return true;
    }

    Scalar ReadKeys(const JsonValue& inObject, PathID inPath, double inDefault)
    {
        Fields fields(mContext, inObject, inPath);
        Scalar scalar(inDefault);
        const JsonValue* const list = fields.FindArray("keys");
        fields.ReportUnknown("a keyframed value");
        if (list == nullptr || list->Empty())
        {
            mContext.mProblems.Fail("no-keys", mContext.Pointer(inPath),
                                    "a keyframed value without \"keys\"; its default is used");
            return scalar;
        }
        if (list->Size() > kMostKeyframes)
        {
            mContext.mProblems.Fail(
                "too-large", mContext.Pointer(inPath, "keys"),
                fmt::format("more than {} keyframes; the default is used", kMostKeyframes));
            return scalar;
        }
        const PathID path = fields.PathOf("keys");
        scalar.mKeys.reserve(list->Size());
        for (rapidjson::SizeType index = 0; index < list->Size(); ++index)
        {
            ReadKey((*list)[index], path, index, scalar.mKeys);
        }
        PutInOrder(scalar.mKeys, path);
        scalar.mValue = scalar.mKeys.empty() ? inDefault : scalar.mKeys.front().mValue;
        return scalar;
    }

    void ReadKey(const JsonValue& inKey, PathID inList, std::size_t inIndex, std::vector<Key>& ioKeys)
    {
        const PathID path = mContext.mPaths.Index(inList, inIndex);
        if (!inKey.IsObject())
        {
            mContext.mProblems.Fail("bad-key", mContext.Pointer(path), "a keyframe is an object; left out");
            return;
        }
        Fields fields(mContext, inKey, path);
        Key key;
        FrameRate rate;
        const JsonValue* const value = fields.Find("v");
        const bool isValid =
            ReadKeyTime(fields, key.mTime, rate) && value != nullptr && ReadNumber(*value, path, key.mValue);
        ReadMotion(fields, rate, key);
        fields.ReportUnknown("a keyframe");
        if (isValid)
        {
            ioKeys.push_back(key);
            return;
        }
        mContext.mProblems.Fail("bad-key", mContext.Pointer(path),
                                "a keyframe needs a time \"t\": [value, rate] and a value \"v\"; left out");
    }

    bool ReadKeyTime(Fields& inFields, TickTime& outTime, FrameRate& outRate)
    {
        const JsonValue* const time = inFields.FindArray("t");
        return time != nullptr && time->Size() == 2 && (*time)[0].IsNumber() && (*time)[1].IsNumber() &&
               ToTicks((*time)[0].GetDouble(), (*time)[1].GetDouble(), outTime, outRate) == TimeFault::kFine;
    }

    void ReadMotion(Fields& inFields, const FrameRate& inRate, Key& ioKey)
    {
        const std::string word = inFields.Text("interp", "linear");
        if (word == "hold")
        {
            ioKey.mMotion = KeyMotion::kHold;
        }
        else if (word == "bezier")
        {
            ioKey.mMotion = KeyMotion::kBezier;
        }
        else if (word != "linear")
        {
            mContext.mProblems.Warn("unknown-interpolation", inFields.PointerOf("interp"),
                                    "interpolation is \"hold\", \"linear\" or \"bezier\"; linear is used");
        }
        ioKey.mIn = ReadHandle(inFields, "in", inRate);
        ioKey.mOut = ReadHandle(inFields, "out", inRate);
        if (ioKey.mIn.mTime > kTime_Zero || ioKey.mOut.mTime < kTime_Zero)
        {
            mContext.mProblems.Mended("bad-handle", mContext.Pointer(inFields.Path()),
                                      "a handle that points the wrong way in time; taken as none");
            ioKey.mIn = ioKey.mIn.mTime > kTime_Zero ? KeyHandle() : ioKey.mIn;
            ioKey.mOut = ioKey.mOut.mTime < kTime_Zero ? KeyHandle() : ioKey.mOut;
        }
    }

    KeyHandle ReadHandle(Fields& inFields, std::string_view inName, const FrameRate& inRate)
    {
        KeyHandle handle;
        const JsonValue* const pair = inFields.FindArray(inName);
        if (pair == nullptr)
        {
            return handle;
        }
        const bool isPair = pair->Size() == 2 && (*pair)[0].IsNumber() && (*pair)[1].IsNumber() &&
                            std::isfinite((*pair)[0].GetDouble()) && std::isfinite((*pair)[1].GetDouble());
        if (!isPair)
        {
            mContext.mProblems.Fail("bad-handle", inFields.PointerOf(inName),
                                    "a handle is [frames, value]; taken as none");
            return handle;
        }
        handle.mTime = Scaled(TickTime(inRate.IsCountable() ? inRate.GetTicks() : 0), (*pair)[0].GetDouble());
        handle.mValue = (*pair)[1].GetDouble();
        return handle;
    }

    void PutInOrder(std::vector<Key>& ioKeys, PathID inPath)
    {
        const auto isEarlier = [](const Key& inA, const Key& inB) { return inA.mTime < inB.mTime; };
        if (!std::is_sorted(ioKeys.begin(), ioKeys.end(), isEarlier))
        {
            mContext.mProblems.Mended("key-order", mContext.Pointer(inPath),
                                      "keyframes are not in order of time; sorted");
            std::stable_sort(ioKeys.begin(), ioKeys.end(), isEarlier);
        }
        // Of several at one time the last one that was written counts.
        std::vector<Key> unique;
        for (const Key& key : ioKeys)
        {
            if (!unique.empty() && unique.back().mTime == key.mTime)
            {
                unique.back() = key;
                continue;
            }
            unique.push_back(key);
        }
        if (unique.size() != ioKeys.size())
        {
            mContext.mProblems.Mended("key-order", mContext.Pointer(inPath),
                                      "several keyframes at one time; the last one counts");
            ioKeys = std::move(unique);
        }
    }

    ReadContext& mContext;
};

}

const JsonValue* FindOwnMetadata(Fields& inObject, PathID& outPath)
{
    const JsonValue* const metadata = inObject.FindObject("metadata");
    if (metadata == nullptr || !metadata->HasMember("vrender"))
    {
        return nullptr;
    }
    // The other keys of the metadata belong to others, whoever they are.
    ReadContext& context = inObject.Context();
    Fields fields(context, *metadata, inObject.PathOf("metadata"));
    const JsonValue* const own = fields.FindObject("vrender");
    outPath = own == nullptr ? kRootPath : fields.PathOf("vrender");
    return own;
}

std::shared_ptr<ItemSettings> ReadItemSettings(ReadContext& inContext, Fields& inObject)
{
    PathID path = kRootPath;
    const JsonValue* const own = FindOwnMetadata(inObject, path);
    return own == nullptr ? nullptr : SettingsReader(inContext).ReadItem(*own, path);
}

std::vector<Parameter> ReadOwnParameters(ReadContext& inContext, Fields& inObject)
{
    PathID path = kRootPath;
    const JsonValue* const own = FindOwnMetadata(inObject, path);
    if (own == nullptr)
    {
        return {};
    }
    SettingsReader reader(inContext);
    Fields fields(inContext, *own, path);
    reader.CheckVersion(fields);
    const JsonValue* const parameters = fields.FindObject("params");
    fields.ReportUnknown("vrender");
    return parameters == nullptr ? std::vector<Parameter>()
                                 : reader.ReadList(*parameters, fields.PathOf("params"));
}

std::vector<Parameter> ReadParameters(ReadContext& inContext, const JsonValue& inObject, PathID inPath)
{
    return SettingsReader(inContext).ReadList(inObject, inPath);
}

}
