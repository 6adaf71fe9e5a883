#include "VideoSourcePrefetcher_Register.h"

#include <algorithm>

namespace ML::VideoSourcePrefetcher
{

PrefetchRegister& PrefetchRegister::Instance()
{
    static PrefetchRegister* const sRegisteredPrefetches = new PrefetchRegister;
    return *sRegisteredPrefetches;
}

PrefetchRegister::Joined PrefetchRegister::Join(const TVK::Guid& inKey, ReadHolder& inHolder)
{
    const auto [entry, isFirst] = mEntries.try_emplace(inKey);
    try
    {
        entry->second.mHolders.push_back(&inHolder);
    }
    catch (...)
    {
        if (isFirst)
        {
            mEntries.erase(entry);
        }
        throw;
    }
    if (isFirst)
    {
        entry->second.mRegistration = ++mRegistrations;
    }
    return {isFirst, entry->second.mRegistration};
}

bool PrefetchRegister::Leave(const TVK::Guid& inKey, const ReadHolder& inHolder) noexcept
{
    const auto entry = mEntries.find(inKey);
    if (entry == mEntries.end())
    {
        return false;
    }
    std::vector<ReadHolder*>& holders = entry->second.mHolders;
    const auto found = std::find(holders.begin(), holders.end(), &inHolder);
    if (found == holders.end())
    {
        return false;
    }
    holders.erase(found);
    if (!holders.empty())
    {
        return false;
    }
    mEntries.erase(entry);
    return true;
}

bool PrefetchRegister::Fail(const TVK::Guid& inKey, std::uint64_t inRegistration, std::int32_t inStatus)
{
    const norvik::threads::ScopedLock lock(mMutex, "FailPrefetch");
    const auto entry = mEntries.find(inKey);
    if (entry == mEntries.end() || entry->second.mRegistration != inRegistration)
    {
        return false;
    }
    bool isAwaited = false;
    for (ReadHolder* holder : entry->second.mHolders)
    {
        isAwaited = holder->Fail(inStatus) || isAwaited;
    }
    mEntries.erase(entry);
    return isAwaited;
}

void PrefetchRegister::Count(std::size_t& outKeys, std::size_t& outHolders)
{
    const norvik::threads::ScopedLock lock(mMutex, "GetTableSizes");
    outKeys = mEntries.size();
    outHolders = 0;
    for (const auto& [key, entry] : mEntries)
    {
        outHolders += entry.mHolders.size();
    }
}

} // namespace ML::VideoSourcePrefetcher
