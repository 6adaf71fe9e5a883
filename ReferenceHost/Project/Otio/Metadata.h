// What stands in metadata because the format has no schema for it: our own keys, and a widespread dialect.
// Inner header of this folder.
//
// Thread-safety: functions belong to the reader's thread.
#pragma once

#include "ReferenceHost/Project/Otio/Fields.h"
#include "ReferenceHost/Project/Otio/Schema.h"
#include "ReferenceHost/Project/Otio/Values.h"
#include "norviktypes/FrameRate.h"

#include <memory>
#include <vector>

namespace Otio
{

// The number of the metadata format that this reader knows.
inline constexpr std::int64_t kMetadataVersion = 1;

// The object "vrender" in the "metadata" of an object; null without one. Asks inObject for its key.
const JsonValue* FindOwnMetadata(Fields& inObject, PathID& outPath);

// What inObject says of its picture, from our metadata. Null without any.
std::shared_ptr<ItemSettings> ReadItemSettings(ReadContext& inContext, Fields& inObject);

// "params" of our metadata.
std::vector<Parameter> ReadOwnParameters(ReadContext& inContext, Fields& inObject);

// The members of an object as parameters.
std::vector<Parameter> ReadParameters(ReadContext& inContext, const JsonValue& inObject, PathID inPath);

// The dialect of an effect, put into ioSettings, which is made where it is null, or, if it cuts edges off, into
// ioEffect; what has no equivalent is warned of. False, with both as they were, if the effect has no such
// metadata. inRate counts the frames of its keys; none: 24 a second.
bool ReadDialectEffect(ReadContext& inContext, const JsonValue& inEffect, PathID inPath,
                       const norviktypes::FrameRate& inRate, Effect& ioEffect,
                       std::shared_ptr<ItemSettings>& ioSettings);

// The colour that the dialect's list of effects gives a generator. False where there is none.
bool FindDialectColor(const JsonValue& inList, ParameterValue& outColor);

}
