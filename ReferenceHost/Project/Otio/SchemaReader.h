// Objects of a document by their schemas. Inner header of this folder.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Document.h"
#include "ReferenceHost/Project/Otio/Fields.h"
#include "ReferenceHost/Project/Otio/References.h"

#include <memory>
#include <set>
#include <string>
#include <unordered_map>

namespace Otio
{

// A schema's name, old names replaced by today's, and its version.
struct SchemaName
{
    std::string mName;
    std::int64_t mVersion = 1;

    std::string Text() const;
};

class SchemaReader
{
public:
    SchemaReader(ReadContext& inContext, const JsonValue& inRoot)
        : mContext(inContext)
        , mReferences(inContext, inRoot)
    {
    }

    // The timelines below inPlace: itself, or the children of a collection.
    void ReadRoot(const Place& inPlace, std::vector<TimelineObject>& outTimelines, std::uint32_t inDepth);

private:
    using ComposableRef = std::shared_ptr<const Composable>;
    using EffectRef = std::shared_ptr<const Effect>;
    using ReferenceRef = std::shared_ptr<const MediaReference>;

    SchemaName SchemaOf(const Place& inPlace);
    void CheckVersion(const SchemaName& inSchema, const Place& inPlace);

    void ReadTimeline(const Place& inPlace, std::vector<TimelineObject>& outTimelines);
    void ReadCollection(const Place& inPlace, std::vector<TimelineObject>& outTimelines,
                        std::uint32_t inDepth);

    // Never null: what can't be read becomes a gap.
    ComposableRef ReadComposable(const Place& inPlace, std::uint32_t inDepth);
    ComposableRef ReadNewComposable(const Place& inPlace, std::uint32_t inDepth);
    void ReadItem(Fields& inFields, const SchemaName& inSchema, Composable& ioItem, std::uint32_t inDepth);
    void ReadChildren(Fields& inFields, Composable& ioParent, std::uint32_t inDepth);
    void ReadTransition(Fields& inFields, Composable& ioItem);
    void ReadUnknown(Fields& inFields, const SchemaName& inSchema, Composable& ioItem);
    void ReadClipReferences(Fields& inFields, const SchemaName& inSchema, Composable& ioClip);
    void ReadEffects(Fields& inFields, Composable& ioItem);
    EffectRef ReadEffect(const Place& inPlace, const Composable& inItem,
                         std::shared_ptr<ItemSettings>& ioDialect);
    void ReadMarkers(Fields& inFields, Composable& ioItem);

    ReferenceRef ReadReference(const Place& inPlace);
    void ReadFile(Fields& inFields, MediaReference& ioReference);
    void ReadImageSequence(Fields& inFields, MediaReference& ioReference);
    void ReadGenerator(Fields& inFields, MediaReference& ioReference);

    ReadContext& mContext;
    References mReferences;
    // Objects that may be referred to again, by their values.
    std::unordered_map<const JsonValue*, ComposableRef> mComposables;
    std::unordered_map<const JsonValue*, ReferenceRef> mMedia;
    std::set<const JsonValue*> mBeingRead; // of composables: one that contains itself would never end
};

}
