#include "ReferenceHost/Project/Otio/References.h"

#include <fmt/format.h>
#include <vector>

namespace Otio
{

namespace
{

constexpr const char* kIDKey = "OTIO_REF_ID";
constexpr int kLongestChain = 8;

bool IsReference(const JsonValue& inValue)
{
    if (!inValue.IsObject())
    {
        return false;
    }
    const auto schema = inValue.FindMember("OTIO_SCHEMA");
    return schema != inValue.MemberEnd() && schema->value.IsString() &&
           TextOf(schema->value).substr(0, 21) == "SerializableObjectRef";
}

// A container on the way down, with the number of its next element.
struct Step
{
    const JsonValue* mValue = nullptr;
    PathID mPath = kRootPath;
    rapidjson::SizeType mNext = 0;
};

}

bool HasReferenceID(const JsonValue& inObject)
{
    return inObject.HasMember(kIDKey);
}

Place References::Resolve(const Place& inPlace)
{
    Place place = inPlace;
    for (int links = 0; links < kLongestChain && IsReference(*place.mValue); ++links)
    {
        Fields fields(mContext, *place.mValue, place.mPath);
        const std::string id = fields.Text("id");
        FindAll();
        const auto found = mByID.find(id);
        if (found == mByID.end())
        {
            mContext.mProblems.Fail("unknown-reference", mContext.Pointer(place.mPath),
                                    fmt::format("no object of the document has the id \"{}\"", id));
            return {};
        }
        place = found->second;
    }
    if (IsReference(*place.mValue))
    {
        mContext.mProblems.Fail("unknown-reference", mContext.Pointer(inPlace.mPath),
                                "a reference that leads to references only");
        return {};
    }
    return place;
}

void References::FindAll()
{
    if (mIsIndexed)
    {
        return;
    }
    mIsIndexed = true;
    std::vector<Step> steps{{&mRoot, kRootPath, 0}};
    while (!steps.empty())
    {
        Step& step = steps.back();
        const JsonValue& value = *step.mValue;
        const rapidjson::SizeType count = value.IsObject()  ? value.MemberCount()
                                          : value.IsArray() ? value.Size()
                                                            : 0;
        if (step.mNext == count)
        {
            steps.pop_back();
            continue;
        }
        const rapidjson::SizeType index = step.mNext++;
        const JsonValue& child = value.IsObject() ? (value.MemberBegin() + index)->value : value[index];
        if (!child.IsObject() && !child.IsArray())
        {
            continue;
        }
        const PathID path = value.IsObject()
                                ? mContext.mPaths.Key(step.mPath, TextOf((value.MemberBegin() + index)->name))
                                : mContext.mPaths.Index(step.mPath, index);
        if (child.IsObject() && child.HasMember(kIDKey) && child[kIDKey].IsString())
        {
            mByID.try_emplace(std::string(TextOf(child[kIDKey])), Place{&child, path});
        }
        steps.push_back({&child, path, 0});
    }
}

}
