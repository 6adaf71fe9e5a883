#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/DecoderBudget.h"
#include "ReferenceHost/Media/FFmpeg/DecoderCursor.h"
#include "ReferenceHost/Media/FFmpeg/ExpectedFrames.h"
#include "ReferenceHost/Media/FFmpeg/FrameIndex.h"
#include "ReferenceHost/Media/FFmpeg/MediaFile.h"
#include "ReferenceHost/Media/FFmpeg/PictureCache.h"

namespace Media
{

// The decoders of one file and the pictures they have made: who decodes what, when, on whose thread.
//
// A decoder is driven by one requesting thread at a time, outside of the lock; every picture that comes out
// is published under it: to those who wait for it, and to the cache. A thread that finds its frame on the way
// of a driven decoder joins it, and is woken with the picture or to take over the driving. A decoder that
// others have joined, or that a sequential reader uses, isn't sent elsewhere while there's another way.
//
// Lock: mLock guards everything but the cursors, which belong to the thread that set isBusy. Nothing is
// decoded, opened or destroyed under it.
//
// Thread-safety: safe. inIndex and the setup's parameters must outlive it.
class DecoderPool
{
public:
    DecoderPool(const DecoderSetup& inSetup, const FrameIndex& inIndex, const FileOptions& inOptions);
    ~DecoderPool();

    FrameAnswer Get(std::int64_t inRank);
    FrameAnswer TryGet(std::int64_t inRank);
    void Expect(const std::vector<FrameRun>& inRuns);
    void Cancel();

    // Lets go what nobody waits for: pictures, and decoders with what they have read. Whoever asks for a frame next
    // opens one anew.
    void Rest();

    FileStatistics Statistics() const;

private:
    static constexpr std::int64_t kNoRank = -1;

    struct Waiter
    {
        std::int64_t rank;
        PicturePtr picture;
        std::condition_variable wake;
    };

    struct Slot
    {
        std::unique_ptr<DecoderCursor> cursor; // null: to be opened by its first driver
        bool isBusy = false;
        std::int64_t nextRank = 0;      // the first frame that hasn't come out
        std::uint32_t startKey = 0;     // frames that start from an earlier key packet don't come out right
        std::int64_t target = 0;        // of the driver
        std::int64_t heading = kNoRank; // where the driver goes once it has finished the group
        std::int64_t keepFrom = 0;      // pictures before this rank aren't worth keeping
        std::shared_ptr<const ExpectedFrames> expected; // by its driver; null: all
        bool keepsTailOnly = false;
        std::uint32_t run = 0;         // requests that went on from one another
        std::uint64_t lastUse = 0;     // number of the request
        std::deque<std::int64_t> tail; // cached ranks of a forward run
        std::vector<Waiter*> waiters;
    };

    enum class DriveResult
    {
        kFound,
        kMissing,
        kCancelled,
        kFailed
    };

    Slot* Choose(std::int64_t inRank, std::uint64_t inTicket, bool& outSeeks);
    Slot* ChooseContinuing(std::int64_t inRank);
    Slot* ChooseSeeking(std::int64_t inRank, std::uint64_t inTicket);
    bool MayAddDecoder() const;
    DecoderNeeds Needs() const;
    bool IsProtected(const Slot& inSlot) const;
    bool MayRunAhead(const Slot& inSlot, std::int64_t inRank) const;
    bool WasDisplaced(std::int64_t inRank) const;
    std::int64_t SeekCost(std::int64_t inRank) const;
    std::uint32_t KeyOf(std::int64_t inRank) const
    {
        return mIndex.frames[static_cast<std::size_t>(inRank)].key;
    }

    void WaitOn(std::vector<Waiter*>& ioList, Waiter& ioSelf, std::unique_lock<std::mutex>& ioLock);
    FrameAnswer DriveTo(Slot& ioSlot, std::int64_t inRank, bool inSeeks,
                        std::unique_lock<std::mutex>& ioLock);
    void FinishGroup(Slot& ioSlot, std::unique_lock<std::mutex>& ioLock);
    std::int64_t LastLeftInGroup(const Slot& inSlot) const;
    void Aim(Slot& ioSlot, std::int64_t inRank, bool inSeeks, std::uint32_t inKey);
    bool KeepsPassed() const { return mOptions.keepsLeadIn || mExpected; }
    std::int64_t FirstKept(std::int64_t inFrom, std::int64_t inRank) const;
    DriveResult DecodeUnlocked(Slot& ioSlot, std::int64_t inRank, bool inSeeks, PicturePtr* outPicture,
                               std::string& outCause, std::unique_lock<std::mutex>& ioLock);
    DriveResult Decode(Slot& ioSlot, std::int64_t inRank, bool inSeeks, PicturePtr* outPicture,
                       std::string& outCause);
    PicturePtr Share(FramePtr inFrame) const;
    void Publish(Slot& ioSlot, std::int64_t inRank, const PicturePtr& inPicture,
                 std::list<PicturePtr>& outEvicted);
    void Keep(Slot& ioSlot, std::int64_t inRank, const PicturePtr& inPicture, bool inIsDelivered,
              std::list<PicturePtr>& outEvicted);
    void CutTail(Slot& ioSlot, std::list<PicturePtr>& outEvicted);
    void Release(Slot& ioSlot);
    FrameAnswer Deliver(PicturePtr inPicture);
    FrameAnswer Damaged(std::int64_t inRank, const std::string& inCause) const;

    const DecoderSetup mSetup;
    const FrameIndex& mIndex;
    const FileOptions mOptions;
    const DecoderNeeds mNeeds; // by what the container says
    const bool mMaySkip;       // pictures without successors may be left out of a lead-in

    mutable std::mutex mLock;
    std::vector<std::unique_ptr<Slot>> mSlots;
    std::vector<Waiter*> mIdleWaiters;               // every decoder is busy elsewhere
    std::deque<std::int64_t> mDisplaced;             // where readers stood whose decoder was sent elsewhere
    std::shared_ptr<const ExpectedFrames> mExpected; // null: nobody has said
    std::unordered_map<std::int64_t, std::string> mDamaged; // cause by rank, if known
    PictureCache mCache;
    std::int64_t mPictureBytes = 0; // of the last picture
    // Of pictures in the cache and in clients' hands, which may outlive the pool.
    const std::shared_ptr<std::atomic<std::int64_t>> mSharedBytes =
        std::make_shared<std::atomic<std::int64_t>>(0);
    std::uint64_t mRequests = 0;
    bool mIsCancelled = false;
    FileStatistics mStatistics;
};

}
