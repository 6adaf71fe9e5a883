#include "VF/SharedVideoFrameCache.h"

#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "norvik/utility/Machine.h"

#include <algorithm>

namespace VF
{

namespace
{

// Beyond this, more frames hardly ever come back before the project has changed.
constexpr std::uint64_t kLargestDefaultBudget = std::uint64_t{4} << 30;

} // namespace

FrameCache& ProcessFrameCache()
{
    // Never destroyed: frames may be released by threads that outlive static objects.
    static FrameCache* const sCache =
        new FrameCache(std::min(norvik::utility::TotalPhysicalMemory() / 3, kLargestDefaultBudget));
    return *sCache;
}

namespace SharedVideoFrameCache
{

MF::IVideoFrameRef RetrieveFromCache(const TVK::Guid& inKey)
{
    return ProcessFrameCache().Retrieve(inKey);
}

void InsertIntoCache(const MF::IVideoFrameRef& inFrame, const TVK::Guid& inKey, std::int32_t inPriority)
{
    ProcessFrameCache().Insert(inFrame, inKey, inPriority);
}

void RegisterDependencyOnFrame(const TVK::Guid& inKey)
{
    ProcessFrameCache().AddDependency(inKey);
}

void UnregisterDependencyOnFrame(const TVK::Guid& inKey)
{
    ProcessFrameCache().RemoveDependency(inKey);
}

void SetNotificationFunction(const std::function<void()>& inFunction)
{
    ProcessFrameCache().SetNotification(inFunction);
}

void SetBudget(std::uint64_t inBytes)
{
    ProcessFrameCache().SetBudget(inBytes);
}

FrameCacheCounters GetCounters()
{
    return ProcessFrameCache().GetCounters();
}

void Clear()
{
    ProcessFrameCache().Clear();
}

} // namespace SharedVideoFrameCache
} // namespace VF
