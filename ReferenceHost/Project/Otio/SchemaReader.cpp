#include "ReferenceHost/Project/Otio/SchemaReader.h"

#include "ReferenceHost/Project/Otio/Metadata.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <initializer_list>
#include <utility>

namespace Otio
{

namespace
{

// Schemas, the newest version of each that this reader knows, and the keys without which they say nothing.
struct KnownSchema
{
    std::string_view mName;
    std::int64_t mVersion;
    std::initializer_list<const char*> mNeeded;
};

const KnownSchema kSchemas[] = {
    {"Timeline", 1, {"tracks"}},
    {"Stack", 1, {"children"}},
    {"Track", 1, {"children"}},
    {"Clip", 2, {}},
    {"Gap", 1, {}},
    {"Transition", 1, {"in_offset", "out_offset"}},
    {"Effect", 1, {}},
    {"LinearTimeWarp", 1, {"time_scalar"}},
    {"FreezeFrame", 1, {}},
    {"TimeEffect", 1, {}},
    {"ExternalReference", 1, {"target_url"}},
    {"ImageSequenceReference", 1, {"name_prefix", "rate"}},
    {"GeneratorReference", 1, {"generator_kind"}},
    {"MissingReference", 1, {}},
    {"Marker", 3, {}},
    {"SerializableCollection", 1, {"children"}},
};

const KnownSchema* FindSchema(std::string_view inName)
{
    const auto* const found =
        std::find_if(std::begin(kSchemas), std::end(kSchemas),
                     [&](const KnownSchema& inKnown) { return inKnown.mName == inName; });
    return found == std::end(kSchemas) ? nullptr : found;
}

std::string_view TodaysName(std::string_view inName)
{
    return inName == "Sequence"                  ? "Track"
           : inName == "Filler"                  ? "Gap"
           : inName == "SerializeableCollection" ? "SerializableCollection"
                                                 : inName;
}

template <class T>
void TakeWhereUnset(std::optional<T>& ioOurs, const std::optional<T>& inOther)
{
    if (!ioOurs)
    {
        ioOurs = inOther;
    }
}

}

std::string SchemaName::Text() const
{
    return mName.empty() ? std::string("an object without schema") : fmt::format("{}.{}", mName, mVersion);
}

SchemaName SchemaReader::SchemaOf(const Place& inPlace)
{
    SchemaName schema;
    const auto member = inPlace.mValue->FindMember("OTIO_SCHEMA");
    if (member == inPlace.mValue->MemberEnd() || !member->value.IsString())
    {
        return schema;
    }
    const std::string_view text = TextOf(member->value);
    const std::size_t dot = text.rfind('.');
    schema.mName = TodaysName(text.substr(0, dot));
    if (dot != std::string_view::npos)
    {
        const auto [end, fault] =
            std::from_chars(text.data() + dot + 1, text.data() + text.size(), schema.mVersion);
        if (fault != std::errc() || end != text.data() + text.size() || schema.mVersion < 1)
        {
            mContext.mProblems.Warn("bad-version", mContext.Pointer(inPlace.mPath, "OTIO_SCHEMA"),
                                    "a schema is \"Name.version\"; version 1 is assumed");
            schema.mVersion = 1;
        }
    }
    CheckVersion(schema, inPlace);
    return schema;
}

void SchemaReader::CheckVersion(const SchemaName& inSchema, const Place& inPlace)
{
    const KnownSchema* const known = FindSchema(inSchema.mName);
    if (known == nullptr || inSchema.mVersion <= known->mVersion)
    {
        return;
    }
    mContext.mProblems.Warn(
        "newer-version", mContext.Pointer(inPlace.mPath, "OTIO_SCHEMA"),
        fmt::format("{} is newer than version {}, as which it is read", inSchema.Text(), known->mVersion));
    for (const char* key : known->mNeeded)
    {
        if (!inPlace.mValue->HasMember(key))
        {
            mContext.mProblems.Fail("missing-key", mContext.Pointer(inPlace.mPath),
                                    fmt::format("{} has no \"{}\"", inSchema.Text(), key));
        }
    }
}

void SchemaReader::ReadRoot(const Place& inPlace, std::vector<TimelineObject>& outTimelines,
                            std::uint32_t inDepth)
{
    const Place place = inPlace.mValue->IsObject() ? mReferences.Resolve(inPlace) : inPlace;
    if (place.mValue == nullptr)
    {
        return;
    }
    const SchemaName schema = place.mValue->IsObject() ? SchemaOf(place) : SchemaName();
    if (schema.mName == "Timeline")
    {
        ReadTimeline(place, outTimelines);
    }
    else if (schema.mName == "SerializableCollection")
    {
        ReadCollection(place, outTimelines, inDepth);
    }
    else if (schema.mName == "Stack" || schema.mName == "Track" || schema.mName == "Clip" ||
             schema.mName == "Gap")
    {
        TimelineObject timeline;
        timeline.mPath = place.mPath;
        timeline.mRoot = ReadComposable(place, 0);
        timeline.mName = timeline.mRoot->mName;
        outTimelines.push_back(std::move(timeline));
    }
    else
    {
        mContext.mProblems.Fail("no-timeline", mContext.Pointer(place.mPath),
                                fmt::format("{} is no timeline", place.mValue->IsObject()
                                                                     ? schema.Text()
                                                                     : KindText(*place.mValue)));
    }
}

void SchemaReader::ReadCollection(const Place& inPlace, std::vector<TimelineObject>& outTimelines,
                                  std::uint32_t inDepth)
{
    if (inDepth == kMostNesting)
    {
        mContext.mProblems.Fail("too-deep", mContext.Pointer(inPlace.mPath),
                                "collections within collections");
        return;
    }
    Fields fields(mContext, *inPlace.mValue, inPlace.mPath);
    fields.Text("name");
    const JsonValue* const children = fields.FindArray("children");
    const PathID path = fields.PathOf("children");
    for (rapidjson::SizeType index = 0; children != nullptr && index < children->Size(); ++index)
    {
        ReadRoot({&(*children)[index], mContext.mPaths.Index(path, index)}, outTimelines, inDepth + 1);
    }
    for (const char* key : {"OTIO_SCHEMA", "OTIO_REF_ID", "metadata"})
    {
        fields.Skip(key);
    }
    fields.ReportUnknown("SerializableCollection.1");
}

void SchemaReader::ReadTimeline(const Place& inPlace, std::vector<TimelineObject>& outTimelines)
{
    Fields fields(mContext, *inPlace.mValue, inPlace.mPath);
    TimelineObject timeline;
    timeline.mPath = inPlace.mPath;
    timeline.mName = fields.Text("name");
    timeline.mGlobalStart = fields.TimeAt("global_start_time");
    timeline.mSettings = ReadItemSettings(mContext, fields);
    if (timeline.mSettings != nullptr && timeline.mSettings->ChangesPicture())
    {
        mContext.mProblems.Warn("not-here", mContext.Pointer(timeline.mSettings->mPath),
                                "of a timeline only the canvas counts; say the rest of its stack");
    }
    const JsonValue* const tracks = fields.FindObject("tracks");
    for (const char* key : {"OTIO_SCHEMA", "OTIO_REF_ID", "metadata"})
    {
        fields.Skip(key);
    }
    fields.ReportUnknown("Timeline.1");
    if (tracks == nullptr)
    {
        mContext.mProblems.Fail("missing-key", mContext.Pointer(inPlace.mPath),
                                "a timeline needs \"tracks\"");
        return;
    }
    timeline.mRoot = ReadComposable({tracks, fields.PathOf("tracks")}, 0);
    outTimelines.push_back(std::move(timeline));
}

SchemaReader::ComposableRef SchemaReader::ReadComposable(const Place& inPlace, std::uint32_t inDepth)
{
    const auto gap = std::make_shared<Composable>();
    gap->mPath = inPlace.mPath;
    if (!inPlace.mValue->IsObject())
    {
        mContext.mProblems.Fail(
            "wrong-type", mContext.Pointer(inPlace.mPath),
            fmt::format("{} where an object is expected; left out", KindText(*inPlace.mValue)));
        return gap;
    }
    const Place place = mReferences.Resolve(inPlace);
    if (place.mValue == nullptr)
    {
        return gap;
    }
    const auto known = mComposables.find(place.mValue);
    if (known != mComposables.end())
    {
        return known->second;
    }
    if (mBeingRead.count(place.mValue) != 0)
    {
        mContext.mProblems.Fail("cycle", mContext.Pointer(inPlace.mPath),
                                "refers to an object that it is a part of; left out");
        return gap;
    }
    if (inDepth > kMostNesting)
    {
        mContext.mProblems.Fail(
            "too-deep", mContext.Pointer(inPlace.mPath),
            fmt::format("more than {} compositions within each other; left out", kMostNesting));
        return gap;
    }
    const bool mayBeReferredTo = HasReferenceID(*place.mValue);
    if (mayBeReferredTo)
    {
        mBeingRead.insert(place.mValue);
    }
    ComposableRef read = ReadNewComposable(place, inDepth);
    if (mayBeReferredTo)
    {
        mBeingRead.erase(place.mValue);
        mComposables.emplace(place.mValue, read);
    }
    return read;
}

SchemaReader::ComposableRef SchemaReader::ReadNewComposable(const Place& inPlace, std::uint32_t inDepth)
{
    const auto item = std::make_shared<Composable>();
    item->mPath = inPlace.mPath;
    const SchemaName schema = SchemaOf(inPlace);
    Fields fields(mContext, *inPlace.mValue, inPlace.mPath);
    for (const char* key : {"OTIO_SCHEMA", "OTIO_REF_ID", "metadata"})
    {
        fields.Skip(key);
    }
    item->mName = fields.Text("name");
    item->mIsEnabled = fields.Truth("enabled", true);
    if (schema.mName == "Transition")
    {
        item->mKind = ObjectKind::kTransition;
        ReadTransition(fields, *item);
    }
    else if (schema.mName == "Clip" || schema.mName == "Gap" || schema.mName == "Track" ||
             schema.mName == "Stack")
    {
        ReadItem(fields, schema, *item, inDepth);
    }
    else
    {
        ReadUnknown(fields, schema, *item);
        return item;
    }
    fields.ReportUnknown(schema.Text());
    return item;
}

void SchemaReader::ReadUnknown(Fields& inFields, const SchemaName& inSchema, Composable& ioItem)
{
    ioItem.mSourceRange = inFields.RangeAt("source_range");
    mContext.mProblems.Warn("unknown-schema", mContext.Pointer(ioItem.mPath),
                            fmt::format("{} is unknown; shown as a gap{}", inSchema.Text(),
                                        ioItem.mSourceRange ? "" : " without duration"));
}

void SchemaReader::ReadItem(Fields& inFields, const SchemaName& inSchema, Composable& ioItem,
                            std::uint32_t inDepth)
{
    ioItem.mSourceRange = inFields.RangeAt("source_range");
    ioItem.mSettings = ReadItemSettings(mContext, inFields);
    ReadEffects(inFields, ioItem);
    ReadMarkers(inFields, ioItem);
    inFields.Skip("color"); // of the item in a panel
    if (inSchema.mName == "Clip")
    {
        ioItem.mKind = ObjectKind::kClip;
        ReadClipReferences(inFields, inSchema, ioItem);
    }
    else if (inSchema.mName != "Gap")
    {
        ioItem.mKind = inSchema.mName == "Track" ? ObjectKind::kTrack : ObjectKind::kStack;
        if (ioItem.mKind == ObjectKind::kTrack)
        {
            const std::string kind = inFields.Text("kind", "Video");
            ioItem.mTrackKind = kind == "Video"   ? TrackKind::kVideo
                                : kind == "Audio" ? TrackKind::kAudio
                                                  : TrackKind::kOther;
            if (ioItem.mTrackKind == TrackKind::kOther)
            {
                mContext.mProblems.Warn("unknown-track-kind", inFields.PointerOf("kind"),
                                        fmt::format("a track of kind \"{}\" is not shown", kind));
            }
        }
        ReadChildren(inFields, ioItem, inDepth);
    }
}

void SchemaReader::ReadChildren(Fields& inFields, Composable& ioParent, std::uint32_t inDepth)
{
    const JsonValue* const children = inFields.FindArray("children");
    const PathID path = inFields.PathOf("children");
    std::uint32_t height = 0;
    for (rapidjson::SizeType index = 0; children != nullptr && index < children->Size(); ++index)
    {
        ComposableRef child =
            ReadComposable({&(*children)[index], mContext.mPaths.Index(path, index)}, inDepth + 1);
        // Objects that were read before bring depth with them that no recursion has met.
        if (child->mHeight >= kMostNesting)
        {
            mContext.mProblems.Fail(
                "too-deep", mContext.Pointer(child->mPath),
                fmt::format("more than {} compositions within each other; left out", kMostNesting));
            const auto gap = std::make_shared<Composable>();
            gap->mPath = child->mPath;
            child = gap;
        }
        height = std::max(height, child->mHeight);
        ioParent.mChildren.push_back(std::move(child));
    }
    ioParent.mHeight = height + 1;
}

void SchemaReader::ReadTransition(Fields& inFields, Composable& ioItem)
{
    TransitionFields& transition = ioItem.mTransition;
    transition.mType = inFields.Text("transition_type");
    transition.mInOffset = inFields.TimeAt("in_offset").value_or(Time()).mTime;
    transition.mOutOffset = inFields.TimeAt("out_offset").value_or(Time()).mTime;
    transition.mParameters = ReadOwnParameters(mContext, inFields);
}

void SchemaReader::ReadClipReferences(Fields& inFields, const SchemaName& inSchema, Composable& ioClip)
{
    ioClip.mActiveKey = "DEFAULT_MEDIA";
    if (inSchema.mVersion == 1)
    {
        if (const JsonValue* const reference = inFields.FindObject("media_reference"))
        {
            ioClip.mReferences.push_back(
                {ioClip.mActiveKey, ReadReference({reference, inFields.PathOf("media_reference")})});
        }
        return;
    }
    ioClip.mActiveKey = inFields.Text("active_media_reference_key", ioClip.mActiveKey);
    const JsonValue* const references = inFields.FindObject("media_references");
    if (references == nullptr)
    {
        return;
    }
    const PathID path = inFields.PathOf("media_references");
    for (const auto& member : references->GetObject())
    {
        const std::string_view key = TextOf(member.name);
        if (!member.value.IsNull())
        {
            ioClip.mReferences.push_back(
                {std::string(key), ReadReference({&member.value, mContext.mPaths.Key(path, key)})});
        }
    }
}

void SchemaReader::ReadEffects(Fields& inFields, Composable& ioItem)
{
    const JsonValue* const effects = inFields.FindArray("effects");
    if (effects == nullptr)
    {
        return;
    }
    std::shared_ptr<ItemSettings> dialect;
    const PathID path = inFields.PathOf("effects");
    for (rapidjson::SizeType index = 0; index < effects->Size(); ++index)
    {
        EffectRef effect =
            ReadEffect({&(*effects)[index], mContext.mPaths.Index(path, index)}, ioItem, dialect);
        if (effect != nullptr)
        {
            ioItem.mEffects.push_back(std::move(effect));
        }
    }
    if (dialect != nullptr)
    {
        const auto settings = ioItem.mSettings == nullptr ? std::make_shared<ItemSettings>(*dialect)
                                                          : std::make_shared<ItemSettings>(*ioItem.mSettings);
        TakeWhereUnset(settings->mTransform, dialect->mTransform);
        TakeWhereUnset(settings->mOpacity, dialect->mOpacity);
        TakeWhereUnset(settings->mBlend, dialect->mBlend);
        ioItem.mSettings = settings;
    }
}

SchemaReader::EffectRef SchemaReader::ReadEffect(const Place& inPlace, const Composable& inItem,
                                                 std::shared_ptr<ItemSettings>& ioDialect)
{
    if (!inPlace.mValue->IsObject())
    {
        mContext.mProblems.Fail("wrong-type", mContext.Pointer(inPlace.mPath),
                                "an effect is an object; left out");
        return nullptr;
    }
    const Place place = mReferences.Resolve(inPlace);
    if (place.mValue == nullptr)
    {
        return nullptr;
    }
    const SchemaName schema = SchemaOf(place);
    Fields fields(mContext, *place.mValue, place.mPath);
    const auto effect = std::make_shared<Effect>();
    effect->mPath = inPlace.mPath;
    effect->mName = fields.Text("name");
    effect->mEffectName = fields.Text("effect_name");
    effect->mIsEnabled = fields.Truth("enabled", true);
    for (const char* key : {"OTIO_SCHEMA", "OTIO_REF_ID", "metadata"})
    {
        fields.Skip(key);
    }
    if (schema.mName == "LinearTimeWarp" || schema.mName == "FreezeFrame")
    {
        effect->mKind = EffectKind::kTimeWarp;
        effect->mScalar = fields.Number("time_scalar", schema.mName == "FreezeFrame" ? 0.0 : 1.0);
        effect->mScalar = schema.mName == "FreezeFrame" ? 0.0 : effect->mScalar;
    }
    else if (schema.mName == "TimeEffect")
    {
        effect->mKind = EffectKind::kTimeWarp;
        mContext.mProblems.Warn("unknown-retime", mContext.Pointer(inPlace.mPath),
                                "a time effect of an unknown kind; played at its usual speed");
    }
    else if (schema.mName != "Effect")
    {
        mContext.mProblems.Warn("unknown-schema", mContext.Pointer(inPlace.mPath),
                                fmt::format("{} is no known effect; left out", schema.Text()));
        return nullptr;
    }
    else if (!effect->mIsEnabled ||
             !ReadDialectEffect(mContext, *place.mValue, place.mPath,
                                inItem.mSourceRange ? inItem.mSourceRange->mDuration.mRate
                                                    : norviktypes::FrameRate(),
                                *effect, ioDialect))
    {
        effect->mParameters = ReadOwnParameters(mContext, fields);
    }
    fields.ReportUnknown(schema.Text());
    return effect;
}

void SchemaReader::ReadMarkers(Fields& inFields, Composable& ioItem)
{
    const JsonValue* const markers = inFields.FindArray("markers");
    const PathID path = inFields.PathOf("markers");
    for (rapidjson::SizeType index = 0; markers != nullptr && index < markers->Size(); ++index)
    {
        Place place{&(*markers)[index], mContext.mPaths.Index(path, index)};
        place = place.mValue->IsObject() ? mReferences.Resolve(place) : Place();
        if (place.mValue == nullptr)
        {
            mContext.mProblems.Warn("wrong-type", mContext.Pointer(path), "a marker is an object; left out");
            continue;
        }
        Fields fields(mContext, *place.mValue, place.mPath);
        Marker marker;
        marker.mPath = place.mPath;
        marker.mName = fields.Text("name");
        const JsonValue* const color = fields.Find("color"); // a word, or from version 3 on an object
        marker.mColor = color != nullptr && color->IsString() ? std::string(TextOf(*color)) : std::string();
        marker.mComment = fields.Text("comment");
        marker.mRange = fields.RangeAt("marked_range").value_or(Range());
        ioItem.mMarkers.push_back(std::move(marker));
    }
}

}
