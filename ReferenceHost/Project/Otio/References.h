// Objects that a document holds once and refers to from several places. Inner header of this folder.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Fields.h"

#include <string>
#include <unordered_map>

namespace Otio
{

// A value and where it stands.
struct Place
{
    const JsonValue* mValue = nullptr;
    PathID mPath = kRootPath;
};

class References
{
public:
    References(ReadContext& inContext, const JsonValue& inRoot) : mContext(inContext), mRoot(inRoot) {}

    // The object that is meant: inPlace itself, unless it is a reference to another one. A null value, with
    // an error, for a reference to what is not there; references to references end after a few.
    Place Resolve(const Place& inPlace);

private:
    void FindAll();

    ReadContext& mContext;
    const JsonValue& mRoot;
    bool mIsIndexed = false;
    std::unordered_map<std::string, Place> mByID;
};

// True if an object has the key that makes it an object to be referred to.
bool HasReferenceID(const JsonValue& inObject);

}
