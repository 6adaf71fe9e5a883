#include "VideoSourcePrefetcher_Resting.h"

#include "ML/SharedExecutors.h"
#include "VideoSourcePrefetcher_Wake.h"
#include "norvik/config/Contract.h"

#include <utility>

namespace ML::VideoSourcePrefetcher
{

RestingSources& RestingSources::Instance()
{
    static RestingSources* const sSourcesToUnquiet = new RestingSources;
    return *sSourcesToUnquiet;
}

void RestingSources::Register(const BE::IVideoSourceRef& inSource)
{
    ML_INPUT_CONTRACT(sImageSourcePrefetcherQueue, "sImageSourcePrefetcherQueue != NULL",
                      "Src/VideoSourcePrefetcher", "ML::VideoSourcePrefetcher::RegisterSourceToUnquiet",
                      __LINE__);
    {
        const norvik::threads::ScopedLock lock(mMutex, "RegisterSourceToUnquiet");
        if (++mWaiting[inSource.get()].mCount != 1)
        {
            return;
        }
    }
    try
    {
        sImageSourcePrefetcherQueue->Post([this, inSource] { Wake(inSource); });
    }
    catch (...)
    {
        std::shared_ptr<void> none;
        Unregister(inSource.get(), false, none);
        throw;
    }
}

bool RestingSources::Unregister(BE::IVideoSource* inSource, bool inOnlyIfAwake,
                                std::shared_ptr<void>& outToken)
{
    std::shared_ptr<void> token; // what it replaces is released after the unlock
    {
        const norvik::threads::ScopedLock lock(mMutex, "UnregisterSourceToUnquiet");
        const auto entry = mWaiting.find(inSource);
        if (entry == mWaiting.end() || (inOnlyIfAwake && !entry->second.mIsAwake))
        {
            return false;
        }
        token = entry->second.mToken;
        if (--entry->second.mCount == 0)
        {
            mWaiting.erase(entry);
        }
    }
    outToken.swap(token);
    return true;
}

std::size_t RestingSources::Size()
{
    const norvik::threads::ScopedLock lock(mMutex, "GetTableSizes");
    return mWaiting.size();
}

void RestingSources::Wake(const BE::IVideoSourceRef& inSource)
{
    {
        const norvik::threads::ScopedLock lock(mMutex, "UnquietSource");
        if (mWaiting.find(inSource.get()) == mWaiting.end())
        {
            return;
        }
    }
    std::shared_ptr<void> token;
    bool mustUnquiet = false;
    try
    {
        inSource->AcquireQuietToken(token, false, false, mustUnquiet);
    }
    catch (...)
    {
        // Nobody else would end the wait: the items go on without a token, and their reads tell the cause.
        if (MarkAwake(inSource.get(), nullptr))
        {
            WakeRenderQueue();
        }
        throw;
    }
    if (MarkAwake(inSource.get(), std::move(token)))
    {
        WakeRenderQueue();
    }
}

bool RestingSources::MarkAwake(BE::IVideoSource* inSource, std::shared_ptr<void> inToken)
{
    const norvik::threads::ScopedLock lock(mMutex, "UnquietSource2");
    const auto entry = mWaiting.find(inSource);
    if (entry == mWaiting.end())
    {
        return false;
    }
    entry->second.mIsAwake = true;
    entry->second.mToken.swap(inToken); // an older token goes with the argument, after the unlock
    return true;
}

} // namespace ML::VideoSourcePrefetcher
