#include "ReferenceHost/Project/Otio/Metadata.h"
#include "ReferenceHost/Project/Otio/SchemaReader.h"
#include "ReferenceHost/Project/Otio/TimeValues.h"

#include <fmt/format.h>
#include <utility>

namespace Otio
{

SchemaReader::ReferenceRef SchemaReader::ReadReference(const Place& inPlace)
{
    const auto reference = std::make_shared<MediaReference>();
    reference->mPath = inPlace.mPath;
    if (!inPlace.mValue->IsObject())
    {
        mContext.mProblems.Fail("wrong-type", mContext.Pointer(inPlace.mPath),
                                "a media reference is an object; the media counts as missing");
        return reference;
    }
    const Place place = mReferences.Resolve(inPlace);
    if (place.mValue == nullptr)
    {
        return reference;
    }
    const auto known = mMedia.find(place.mValue);
    if (known != mMedia.end())
    {
        return known->second;
    }
    const SchemaName schema = SchemaOf(place);
    Fields fields(mContext, *place.mValue, place.mPath);
    reference->mName = fields.Text("name");
    reference->mAvailable = fields.RangeAt("available_range");
    for (const char* key : {"OTIO_SCHEMA", "OTIO_REF_ID", "metadata", "available_image_bounds"})
    {
        fields.Skip(key);
    }
    if (schema.mName == "ExternalReference")
    {
        ReadFile(fields, *reference);
    }
    else if (schema.mName == "ImageSequenceReference")
    {
        ReadImageSequence(fields, *reference);
    }
    else if (schema.mName == "GeneratorReference")
    {
        ReadGenerator(fields, *reference);
    }
    else if (schema.mName != "MissingReference")
    {
        mContext.mProblems.Warn("unknown-schema", mContext.Pointer(place.mPath),
                                fmt::format("{} is no known media; it counts as missing", schema.Text()));
        mMedia.emplace(place.mValue, reference);
        return reference;
    }
    fields.ReportUnknown(schema.Text());
    mMedia.emplace(place.mValue, reference);
    return reference;
}

void SchemaReader::ReadFile(Fields& inFields, MediaReference& ioReference)
{
    ioReference.mUrl = inFields.Text("target_url");
    if (ioReference.mUrl.empty())
    {
        mContext.mProblems.Fail("missing-key", mContext.Pointer(ioReference.mPath),
                                "a reference without \"target_url\"; the media counts as missing");
        return;
    }
    ioReference.mKind = MediaKind::kFile;
}

void SchemaReader::ReadImageSequence(Fields& inFields, MediaReference& ioReference)
{
    constexpr std::int64_t kLargestNumber = 1000000000000;
    ImageNumbers& images = ioReference.mImages;
    ioReference.mUrl = inFields.Text("target_url_base");
    images.mPrefix = inFields.Text("name_prefix");
    images.mSuffix = inFields.Text("name_suffix");
    images.mStart = inFields.Integer("start_frame", 1, -kLargestNumber, kLargestNumber);
    images.mStep = inFields.Integer("frame_step", 1, 1, kLargestNumber);
    images.mPadding = static_cast<std::int32_t>(inFields.Integer("frame_zero_padding", 0, 0, 64));
    ExactRate rate;
    const double number = inFields.Number("rate", 1.0);
    if (!FindExactRate(number, rate))
    {
        mContext.mProblems.Fail(
            "bad-rate", inFields.PointerOf("rate"),
            fmt::format("{} is no rate of pictures; the media counts as missing", number));
        return;
    }
    images.mRate = rate.AsFrameRate();
    images.mCount =
        ioReference.mAvailable ? CountFrames(ioReference.mAvailable->Duration(), images.ImageRate()) : 0;
    const std::string missing = inFields.Text("missing_frame_policy", "error");
    images.mMissing = missing == "hold"    ? MissingFramePolicy::kHold
                      : missing == "black" ? MissingFramePolicy::kBlack
                                           : MissingFramePolicy::kError;
    if (images.mMissing == MissingFramePolicy::kError && missing != "error")
    {
        mContext.mProblems.Warn("unknown-policy", inFields.PointerOf("missing_frame_policy"),
                                "the policy is \"error\", \"hold\" or \"black\"; error is used");
    }
    ioReference.mKind = MediaKind::kImageSequence;
}

void SchemaReader::ReadGenerator(Fields& inFields, MediaReference& ioReference)
{
    ioReference.mKind = MediaKind::kGenerator;
    ioReference.mGenerator = inFields.Text("generator_kind");
    const JsonValue* const parameters = inFields.FindObject("parameters");
    if (parameters == nullptr)
    {
        return;
    }
    const PathID path = inFields.PathOf("parameters");
    // What a host program puts beside our parameters is its own.
    if (!parameters->HasMember("Resolve_OTIO"))
    {
        ioReference.mParameters = ReadParameters(mContext, *parameters, path);
        return;
    }
    Parameter color;
    if (FindDialectColor((*parameters)["Resolve_OTIO"], color.mValue))
    {
        color.mName = "color";
        color.mPath = path;
        ioReference.mParameters.push_back(std::move(color));
    }
}

}
