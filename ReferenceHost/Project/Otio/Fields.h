// The members of one JSON object, read by type. Inner header of this folder.
//
// Keys that nobody asked for are reported in the end, so that nothing of a document is passed over in silence.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/JsonText.h"
#include "ReferenceHost/Project/Otio/Paths.h"
#include "ReferenceHost/Project/Otio/Problems.h"
#include "ReferenceHost/Project/Otio/Schema.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Otio
{

struct ReadContext
{
    PathTable& mPaths;
    ProblemList& mProblems;

    std::string Pointer(PathID inPath) const { return mPaths.Text(inPath); }
    std::string Pointer(PathID inPath, std::string_view inKey) const
    {
        return mPaths.Text(inPath) + "/" + EscapedKey(inKey);
    }
};

// The text of a JSON string.
std::string_view TextOf(const JsonValue& inText);

// What a value is, in words: "a number", "an object".
const char* KindText(const JsonValue& inValue);

class Fields
{
public:
    // inObject: an object.
    Fields(ReadContext& inContext, const JsonValue& inObject, PathID inPath);

    PathID Path() const noexcept { return mPath; }
    PathID PathOf(std::string_view inKey) const { return mContext.mPaths.Key(mPath, inKey); }
    std::string PointerOf(std::string_view inKey) const { return mContext.Pointer(mPath, inKey); }
    const JsonValue& Object() const noexcept { return mObject; }
    ReadContext& Context() const noexcept { return mContext; }

    // Null for a key that is missing, or whose value is null.
    const JsonValue* Find(std::string_view inKey);
    // Null, with a warning, for a value of another type, too.
    const JsonValue* FindObject(std::string_view inKey);
    const JsonValue* FindArray(std::string_view inKey);

    // A value of another type is warned of, and counts as missing; so do numbers that aren't finite.
    double Number(std::string_view inKey, double inDefault);
    std::int64_t Integer(std::string_view inKey, std::int64_t inDefault, std::int64_t inLowest,
                         std::int64_t inHighest);
    std::string Text(std::string_view inKey, std::string_view inDefault = {});
    bool Truth(std::string_view inKey, bool inDefault);

    // Faults of a time are errors; the time is then zero.
    std::optional<Time> TimeAt(std::string_view inKey);
    std::optional<Range> RangeAt(std::string_view inKey);

    // Marks a key as known without reading it.
    void Skip(std::string_view inKey) { mKnown.push_back(inKey); }
    // Warns of each key that was not asked for; inWhat: "Clip.2".
    void ReportUnknown(std::string_view inWhat) const;

private:
    void WarnOfType(std::string_view inKey, const JsonValue& inValue, const char* inExpected);
    Time ReadTime(const JsonValue& inValue, PathID inPath);

    ReadContext& mContext;
    const JsonValue& mObject;
    const PathID mPath;
    std::vector<std::string_view> mKnown;
};

}
