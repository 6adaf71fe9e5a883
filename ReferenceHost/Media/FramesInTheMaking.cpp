#include "ReferenceHost/Media/FramesInTheMaking.h"

#include "BE/IVideoSource.h"
#include "ReferenceHost/FrameLibrary/FrameCache.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "VF/SharedVideoFrameCache.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace Media
{

namespace
{

// Announced frames stay longer than those that a stream keeps for itself.
constexpr std::int32_t kAnnouncedPriority = 10;

// One frame that a thread is making; its fields are guarded by the lock of the table.
struct Making
{
    std::condition_variable mEnded;
    std::size_t mWaiting = 0;
    bool mHasEnded = false;
    // Without a result those who waited make the frame themselves.
    bool mHasResult = false;
    std::int32_t mStatus = BE::kSourceStatus_OK;
    MF::IVideoFrameRef mFrame;
};
using MakingPtr = std::shared_ptr<Making>;

class Table
{
public:
    static Table& Instance()
    {
        // Never destroyed: streams may be read by threads that outlive static objects.
        static Table* const sTable = new Table;
        return *sTable;
    }

    // The making of a key that is under way; or null, and from now on it is under way by the caller, who ends
    // it with End or Abandon.
    MakingPtr FindOrBegin(const TVK::Guid& inKey, bool inWaits)
    {
        const std::lock_guard<std::mutex> lock(mLock);
        MakingPtr& making = mMakings[inKey];
        if (making)
        {
            making->mWaiting += inWaits ? 1 : 0;
            return making;
        }
        try
        {
            making = std::make_shared<Making>();
        }
        catch (...)
        {
            mMakings.erase(inKey);
            throw;
        }
        return nullptr;
    }

    // False: without a result.
    bool Wait(const MakingPtr& inMaking, std::int32_t& outStatus, MF::IVideoFrameRef& outFrame)
    {
        std::unique_lock<std::mutex> lock(mLock);
        inMaking->mEnded.wait(lock, [&] { return inMaking->mHasEnded; });
        outStatus = inMaking->mStatus;
        outFrame = inMaking->mFrame;
        return inMaking->mHasResult;
    }

    // Nobody may write to the frame any more if others wait for it.
    void End(const TVK::Guid& inKey, std::int32_t inStatus, const MF::IVideoFrameRef& inFrame)
    {
        const std::lock_guard<std::mutex> lock(mLock);
        const MakingPtr making = TakeLocked(inKey);
        if (making->mWaiting > 0 && inFrame)
        {
            inFrame->Freeze();
        }
        making->mHasResult = inStatus != kSourceStatus_NotAtHand;
        making->mStatus = inStatus;
        making->mFrame = inFrame;
    }

    MakingCounts Counts()
    {
        const std::lock_guard<std::mutex> lock(mLock);
        MakingCounts counts;
        counts.mFrames = mMakings.size();
        for (const auto& [key, making] : mMakings)
        {
            counts.mWaiting += making->mWaiting;
        }
        return counts;
    }

    void Abandon(const TVK::Guid& inKey) noexcept
    {
        const std::lock_guard<std::mutex> lock(mLock);
        TakeLocked(inKey);
    }

private:
    // Those who wait go on when the lock is free.
    MakingPtr TakeLocked(const TVK::Guid& inKey) noexcept
    {
        const auto found = mMakings.find(inKey);
        MakingPtr making = found->second;
        mMakings.erase(found);
        making->mHasEnded = true;
        making->mEnded.notify_all();
        return making;
    }

    std::mutex mLock;
    std::unordered_map<TVK::Guid, MakingPtr> mMakings;
};

// On the thread that is the frame's maker now.
std::int32_t MakeForAll(const TVK::Guid& inKey, const FrameMaker& inMaker, MF::IVideoFrameRef& outFrame)
{
    // The one who made it last may have put it there after this thread looked.
    outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(inKey);
    if (outFrame)
    {
        return BE::kSourceStatus_OK;
    }
    const std::int32_t status = inMaker(outFrame);
    if (status >= 0 && VF::ProcessFrameCache().HasDependency(inKey))
    {
        VF::SharedVideoFrameCache::InsertIntoCache(outFrame, inKey, kAnnouncedPriority);
    }
    return status;
}

} // namespace

std::int32_t ShareFrame(const TVK::Guid& inKey, bool inAtOnce, const FrameMaker& inMaker,
                        MF::IVideoFrameRef& outFrame)
{
    Table& table = Table::Instance();
    std::int32_t status = kSourceStatus_NotAtHand;
    for (;;)
    {
        outFrame = VF::SharedVideoFrameCache::RetrieveFromCache(inKey);
        if (outFrame)
        {
            return BE::kSourceStatus_OK;
        }
        const MakingPtr others = table.FindOrBegin(inKey, !inAtOnce);
        if (!others)
        {
            break;
        }
        if (inAtOnce || table.Wait(others, status, outFrame))
        {
            return status;
        }
    }
    try
    {
        status = MakeForAll(inKey, inMaker, outFrame);
    }
    catch (...)
    {
        table.Abandon(inKey);
        throw;
    }
    table.End(inKey, status, outFrame);
    return status;
}

MakingCounts FramesInTheMaking()
{
    return Table::Instance().Counts();
}

} // namespace Media
