#include "ML/InstanceIDs.h"

#include "TVK/Weak.h"

#include <mutex>
#include <unordered_map>

namespace ML
{

namespace
{

// One of the two is set.
struct Entry
{
    TVK::IWeakReferenceRef mWeak;
    TVK::TVKUnknownRef mStrong;
};

struct InstanceIDMap
{
    std::mutex mLock; // guards both members; nothing is called and nothing destroyed while it is held
    std::uint32_t mLast = 0;
    std::unordered_map<std::uint32_t, Entry> mEntries;
};

// Never destroyed, as modules give back their numbers while the process ends.
InstanceIDMap& Map()
{
    static InstanceIDMap* const sMap = new InstanceIDMap;
    return *sMap;
}

Entry MakeEntry(const TVK::TVKUnknownRef& inObject)
{
    if (const TVK::IWeakReferenceCapableRef capable = TVK::IWeakReferenceCapableRef(inObject))
    {
        return {capable->GetWeakReference(), {}};
    }
    return {{}, inObject};
}

} // namespace

std::uint32_t CreateUniqueCallbackInstanceID(const TVK::TVKUnknownRef& inObject)
{
    if (!inObject)
    {
        return 0;
    }
    Entry entry = MakeEntry(inObject);
    InstanceIDMap& map = Map();
    const std::lock_guard<std::mutex> lock(map.mLock);
    const std::uint32_t id = ++map.mLast;
    map.mEntries.emplace(id, std::move(entry));
    return id;
}

TVK::TVKUnknownRef GetRefFromCallbackInstanceID(std::uint32_t inID)
{
    Entry entry;
    {
        InstanceIDMap& map = Map();
        const std::lock_guard<std::mutex> lock(map.mLock);
        const auto found = map.mEntries.find(inID);
        if (found == map.mEntries.end())
        {
            return {};
        }
        entry = found->second;
    }
    return entry.mWeak ? entry.mWeak->Resolve() : entry.mStrong;
}

void RemoveIDFromInstanceIDMap(std::uint32_t inID)
{
    decltype(InstanceIDMap::mEntries)::node_type removed;
    InstanceIDMap& map = Map();
    const std::lock_guard<std::mutex> lock(map.mLock);
    removed = map.mEntries.extract(inID);
}

} // namespace ML
