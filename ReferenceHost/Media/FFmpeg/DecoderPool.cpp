#include "ReferenceHost/Media/FFmpeg/DecoderPool.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include <fmt/format.h>

namespace Media
{

namespace
{

// Frames that a forward run leaves in the cache, so that pictures recycle: of those that were asked for,
// enough for a few steps back. Others may yet be asked for, as requests of neighbouring frames overtake each
// other by as many as a host has in flight.
constexpr std::size_t kTail = 8;
constexpr std::size_t kTailNotAskedFor = 32;

// A request this far ahead of a decoder belongs to the reader that drives it.
constexpr std::int64_t kNear = 24;

// Refilling a decoder after a seek, in frames decoded.
constexpr std::int64_t kSeekFrames = 6;

// After that many requests without it, a sequential reader counts as gone; likewise for one who waits in
// vain.
constexpr std::uint64_t kPatience = 64;

// Pictures come out at most this far out of order.
constexpr std::int64_t kReorder = 24;

constexpr std::size_t kDisplacedRemembered = 16;

// The most that a decoder makes for later before it leaves a group, in pictures, and as a part of the memory.
constexpr std::int64_t kMostLeft = 24;
constexpr std::int64_t kPartForLeft = 4;

// That a frame is damaged is remembered for as long as the file, and why for so many of them.
constexpr std::size_t kMostCauses = 1000;

// The codecs whose decoders know by a picture's header that nothing refers to it, and where a packet is a
// picture: of a pair of fields in two packets the first one can't be left out alone.
bool MaySkipUnreferenced(AVCodecID inCodec, const PacketTable& inPackets)
{
    switch (inCodec)
    {
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_MPEG4: break;
    default: return false;
    }
    for (std::uint32_t packet = 0; packet < inPackets.Count(); ++packet)
    {
        if (inPackets[packet].yieldsNoFrame)
        {
            return false;
        }
    }
    return true;
}

}

DecoderPool::DecoderPool(const DecoderSetup& inSetup, const FrameIndex& inIndex, const FileOptions& inOptions)
    : mSetup(inSetup)
    , mIndex(inIndex)
    , mOptions(inOptions)
    , mNeeds(NeedsOf(*inSetup.codec, *inSetup.parameters, inIndex.packets.Count()))
    , mMaySkip(MaySkipUnreferenced(inSetup.parameters->codec_id, inIndex.packets))
{
}

DecoderPool::~DecoderPool() = default;

FrameAnswer DecoderPool::TryGet(std::int64_t inRank)
{
    const std::lock_guard<std::mutex> lock(mLock);
    if (PicturePtr picture = mCache.Find(inRank))
    {
        ++mStatistics.cacheHits;
        return Deliver(std::move(picture));
    }
    const auto damaged = mDamaged.find(inRank);
    return damaged != mDamaged.end() ? Damaged(inRank, damaged->second) : FrameAnswer();
}

void DecoderPool::Expect(const std::vector<FrameRun>& inRuns)
{
    std::shared_ptr<const ExpectedFrames> expected =
        inRuns.empty() ? nullptr : std::make_shared<const ExpectedFrames>(mIndex, inRuns);
    const std::lock_guard<std::mutex> lock(mLock);
    mExpected.swap(expected);
}

FrameAnswer DecoderPool::Get(std::int64_t inRank)
{
    if (inRank < 0 || inRank >= mIndex.Count())
    {
        return {FrameStatus::kPastEnd, nullptr, fmt::format("{}: has no frame {}", mSetup.path, inRank)};
    }
    Waiter self{inRank, nullptr, {}};
    std::unique_lock<std::mutex> lock(mLock);
    const std::uint64_t ticket = ++mRequests;
    if (mExpected && !mExpected->Contains(inRank))
    {
        mExpected = mExpected->With(inRank);
        ++mStatistics.unexpected;
    }
    for (;;)
    {
        if (mIsCancelled)
        {
            return {FrameStatus::kCancelled, nullptr, fmt::format("{}: reading was cancelled", mSetup.path)};
        }
        if (self.picture)
        {
            return Deliver(std::move(self.picture));
        }
        if (PicturePtr picture = mCache.Find(inRank))
        {
            ++mStatistics.cacheHits;
            return Deliver(std::move(picture));
        }
        const auto damaged = mDamaged.find(inRank);
        if (damaged != mDamaged.end())
        {
            return Damaged(inRank, damaged->second);
        }
        bool seeks = false;
        Slot* slot = Choose(inRank, ticket, seeks);
        if (slot && !slot->isBusy)
        {
            return DriveTo(*slot, inRank, seeks, lock);
        }
        WaitOn(slot ? slot->waiters : mIdleWaiters, self, lock);
    }
}

void DecoderPool::WaitOn(std::vector<Waiter*>& ioList, Waiter& ioSelf, std::unique_lock<std::mutex>& ioLock)
{
    ioList.push_back(&ioSelf);
    ioSelf.wake.wait(ioLock);
    ioList.erase(std::find(ioList.begin(), ioList.end(), &ioSelf));
    // Who waits for any decoder leaves one alone that others wait for. The last of these may have got its
    // picture already and go without driving, and nobody else would tell that the decoder is free.
    if (&ioList != &mIdleWaiters && ioList.empty())
    {
        for (Waiter* waiter : mIdleWaiters)
        {
            waiter->wake.notify_one();
        }
    }
}

void DecoderPool::Cancel()
{
    const std::lock_guard<std::mutex> lock(mLock);
    mIsCancelled = true;
    for (const auto& slot : mSlots)
    {
        Release(*slot);
    }
}

void DecoderPool::Rest()
{
    std::vector<std::unique_ptr<Slot>> closed; // these go after the lock
    std::list<PicturePtr> evicted;
    const std::lock_guard<std::mutex> lock(mLock);
    closed.reserve(mSlots.size()); // nothing below may throw and leave some of them empty
    const auto isIdle = [](const std::unique_ptr<Slot>& inSlot)
    { return !inSlot->isBusy && inSlot->waiters.empty(); };
    const auto idle = std::stable_partition(mSlots.begin(), mSlots.end(), std::not_fn(isIdle));
    std::move(idle, mSlots.end(), std::back_inserter(closed));
    mSlots.erase(idle, mSlots.end());
    mCache.Trim(0, evicted);
}

FileStatistics DecoderPool::Statistics() const
{
    const std::lock_guard<std::mutex> lock(mLock);
    FileStatistics statistics = mStatistics;
    statistics.decoders = mSlots.size();
    statistics.cachedBytes = mCache.Bytes();
    statistics.pictureBytes = mSetup.pool->LiveBytes();
    statistics.freshPictures = mSetup.pool->FreshBlocks();
    return statistics;
}

FrameAnswer DecoderPool::Deliver(PicturePtr inPicture)
{
    ++mStatistics.framesDelivered;
    return {FrameStatus::kOk, std::move(inPicture), {}};
}

FrameAnswer DecoderPool::Damaged(std::int64_t inRank, const std::string& inCause) const
{
    const double seconds = static_cast<double>(mIndex.frames[static_cast<std::size_t>(inRank)].startTicks) /
                           static_cast<double>(kTicksPerSecond);
    return {FrameStatus::kDamaged, nullptr,
            fmt::format("{}: frame {} at {:.3f} s can't be decoded: {}", mSetup.path, inRank, seconds,
                        inCause.empty() ? "its data is damaged or missing" : inCause)};
}

// --- who decodes

DecoderPool::Slot* DecoderPool::Choose(std::int64_t inRank, std::uint64_t inTicket, bool& outSeeks)
{
    outSeeks = false;
    Slot* slot = ChooseContinuing(inRank);
    if (!slot)
    {
        slot = ChooseSeeking(inRank, inTicket);
        outSeeks = slot != nullptr;
    }
    return slot;
}

std::int64_t DecoderPool::SeekCost(std::int64_t inRank) const
{
    const std::uint32_t key = KeyOf(inRank);
    return inRank - mIndex.FirstRankFrom(key) + kSeekFrames;
}

DecoderPool::Slot* DecoderPool::ChooseContinuing(std::int64_t inRank)
{
    const std::uint32_t key = KeyOf(inRank);
    const std::int64_t seekCost = SeekCost(inRank);
    Slot* best = nullptr;
    for (const auto& slot : mSlots)
    {
        if (slot->heading != kNoRank && KeyOf(slot->heading) == key)
        {
            return slot.get();
        }
        if (inRank < slot->nextRank || slot->startKey > key)
        {
            continue;
        }
        // What a driver passes on its way comes for nothing.
        const std::int64_t cost =
            inRank - (slot->isBusy ? std::max(slot->nextRank, slot->target) : slot->nextRank);
        const bool belongsToOther =
            (slot->isBusy || IsProtected(*slot)) && cost > kNear && !MayRunAhead(*slot, inRank);
        if (cost <= seekCost && !belongsToOther && (!best || slot->nextRank > best->nextRank))
        {
            best = slot.get();
        }
    }
    return best;
}

bool DecoderPool::IsProtected(const Slot& inSlot) const
{
    return inSlot.run >= 3 && mRequests - inSlot.lastUse <= kPatience;
}

// Whom a decoder belongs to finds what it has passed in the cache, if that was expected and there's room for it.
bool DecoderPool::MayRunAhead(const Slot& inSlot, std::int64_t inRank) const
{
    const std::int64_t place = inSlot.isBusy ? inSlot.target : std::max<std::int64_t>(0, inSlot.nextRank - 1);
    return mExpected && place < mIndex.Count() && KeyOf(place) == KeyOf(inRank) &&
           (inRank - inSlot.nextRank) * mPictureBytes <= mOptions.cacheBytes / 2;
}

bool DecoderPool::WasDisplaced(std::int64_t inRank) const
{
    return std::any_of(mDisplaced.begin(), mDisplaced.end(),
                       [&](std::int64_t inPlace) { return inRank >= inPlace && inRank - inPlace <= 8; });
}

DecoderPool::Slot* DecoderPool::ChooseSeeking(std::int64_t inRank, std::uint64_t inTicket)
{
    const bool isStarving = mRequests - inTicket > kPatience;
    Slot* oldest = nullptr;
    bool isOldestProtected = true;
    for (const auto& slot : mSlots)
    {
        if (slot->isBusy || (!slot->waiters.empty() && !isStarving))
        {
            continue;
        }
        const bool isProtected = IsProtected(*slot);
        if (!oldest || (isOldestProtected && !isProtected) ||
            (isOldestProtected == isProtected && slot->lastUse < oldest->lastUse))
        {
            oldest = slot.get();
            isOldestProtected = isProtected;
        }
    }
    if (MayAddDecoder() && (!oldest || isOldestProtected || WasDisplaced(inRank)))
    {
        mSlots.push_back(std::make_unique<Slot>());
        return mSlots.back().get();
    }
    if (oldest && oldest->cursor)
    {
        mDisplaced.push_back(oldest->nextRank);
        if (mDisplaced.size() > kDisplacedRemembered)
        {
            mDisplaced.pop_front();
        }
    }
    return oldest;
}

// Pictures may be larger than the container says.
DecoderNeeds DecoderPool::Needs() const
{
    DecoderNeeds needs = mNeeds;
    needs.pictureBytes = std::max(needs.pictureBytes, mPictureBytes);
    return needs;
}

bool DecoderPool::MayAddDecoder() const
{
    const auto decoders = static_cast<int>(mSlots.size());
    return decoders == 0 || (decoders < mOptions.maximumDecoders &&
                             DecodersFit(Needs(), decoders + 1, mSetup.threads, mOptions.cacheBytes));
}

// --- decoding

void DecoderPool::Aim(Slot& ioSlot, std::int64_t inRank, bool inSeeks, std::uint32_t inKey)
{
    ioSlot.lastUse = mRequests;
    ioSlot.target = inRank;
    const bool isStep = !inSeeks && inRank - ioSlot.nextRank <= static_cast<std::int64_t>(kTail);
    ioSlot.run = isStep ? ioSlot.run + 1 : 0;
    ioSlot.keepsTailOnly = isStep || !KeepsPassed();
    // What is expected may have changed since this frame was asked for; its picture must not be left out.
    ioSlot.expected = mExpected && mExpected->Contains(inRank) ? mExpected : nullptr;
    if (inSeeks)
    {
        ioSlot.startKey = inKey;
        ioSlot.nextRank = mIndex.FirstRankFrom(inKey);
        ioSlot.tail.clear();
        ++mStatistics.seeks;
    }
    ioSlot.keepFrom = FirstKept(ioSlot.nextRank, inRank);
}

// The first one on the way from inFrom to inRank that there's room for, and for what follows it.
std::int64_t DecoderPool::FirstKept(std::int64_t inFrom, std::int64_t inRank) const
{
    const std::int64_t fitting = mPictureBytes > 0 ? mOptions.cacheBytes / mPictureBytes : mIndex.Count();
    std::int64_t kept = KeepsPassed() ? std::max<std::int64_t>(fitting, 1) : static_cast<std::int64_t>(kTail);
    if (!mExpected)
    {
        return std::max<std::int64_t>(0, inRank - kept + 1);
    }
    std::int64_t rank = inRank;
    for (--kept; rank > inFrom && kept > 0; --rank)
    {
        kept -= mExpected->Contains(rank - 1) ? 1 : 0;
    }
    return rank;
}

// The last of the frames that are expected of the group in which a decoder stands, lie ahead of it and aren't at
// hand; kNoRank if there is none, or if they are more than are worth keeping.
std::int64_t DecoderPool::LastLeftInGroup(const Slot& inSlot) const
{
    if (!mExpected || !inSlot.cursor || inSlot.nextRank <= 0 || inSlot.nextRank >= mIndex.Count())
    {
        return kNoRank;
    }
    const std::uint32_t key = KeyOf(inSlot.nextRank - 1);
    if (key < inSlot.startKey)
    {
        return kNoRank; // nothing has come out since it was sent there
    }
    std::int64_t last = kNoRank;
    std::int64_t left = 0;
    for (std::int64_t rank = inSlot.nextRank; rank < mIndex.Count() && KeyOf(rank) == key; ++rank)
    {
        if (mExpected->Contains(rank) && !mCache.Has(rank))
        {
            last = rank;
            ++left;
        }
    }
    const bool isLittle = left <= kMostLeft && left * mPictureBytes <= mOptions.cacheBytes / kPartForLeft;
    return isLittle ? last : kNoRank;
}

// A decoder that is about to be sent elsewhere makes the rest first: coming back for it would begin from the key
// frame again.
void DecoderPool::FinishGroup(Slot& ioSlot, std::unique_lock<std::mutex>& ioLock)
{
    const std::int64_t last = LastLeftInGroup(ioSlot);
    if (last == kNoRank)
    {
        return;
    }
    Aim(ioSlot, last, false, 0);
    ioSlot.keepsTailOnly = false;
    std::string cause;
    DecodeUnlocked(ioSlot, last, false, nullptr, cause, ioLock);
}

FrameAnswer DecoderPool::DriveTo(Slot& ioSlot, std::int64_t inRank, bool inSeeks,
                                 std::unique_lock<std::mutex>& ioLock)
{
    ioSlot.isBusy = true;
    if (inSeeks)
    {
        ioSlot.heading = inRank;
        FinishGroup(ioSlot, ioLock);
        ioSlot.heading = kNoRank;
    }
    std::uint32_t key = KeyOf(inRank);
    bool seeks = inSeeks;
    PicturePtr picture;
    std::string cause;
    DriveResult result = DriveResult::kMissing;
    // A frame that doesn't come is looked for from its key frame, and from the one before that, before it is
    // given up: streams exist whose key frames aren't quite what they say.
    for (int seeksLeft = 2; result == DriveResult::kMissing; seeks = true)
    {
        if (seeks)
        {
            if (seeksLeft-- == 0)
            {
                break;
            }
            key = seeksLeft == 0 ? mIndex.KeyBefore(key) : key;
        }
        Aim(ioSlot, inRank, seeks, key);
        result = DecodeUnlocked(ioSlot, inRank, seeks, &picture, cause, ioLock);
    }
    ioSlot.isBusy = false;
    if (result == DriveResult::kFailed)
    {
        ioSlot.nextRank = mIndex.Count(); // whatever state it's in, the next one seeks
    }
    Release(ioSlot);
    switch (result)
    {
    case DriveResult::kFound: return Deliver(std::move(picture));
    case DriveResult::kCancelled:
        return {FrameStatus::kCancelled, nullptr, fmt::format("{}: reading was cancelled", mSetup.path)};
    case DriveResult::kMissing:
        mDamaged[inRank] = mDamaged.size() < kMostCauses ? cause : std::string();
        break;
    case DriveResult::kFailed: break; // may be for a while only, as out of memory or of file handles
    }
    return Damaged(inRank, cause);
}

DecoderPool::DriveResult DecoderPool::DecodeUnlocked(Slot& ioSlot, std::int64_t inRank, bool inSeeks,
                                                     PicturePtr* outPicture, std::string& outCause,
                                                     std::unique_lock<std::mutex>& ioLock)
{
    ioLock.unlock();
    DriveResult result = DriveResult::kFailed;
    try
    {
        result = Decode(ioSlot, inRank, inSeeks, outPicture, outCause);
    }
    catch (const std::bad_alloc&)
    {
        outCause = "out of memory";
    }
    ioLock.lock();
    return result;
}

// Wakes those who wait for this decoder, or for any: one of them will drive it.
void DecoderPool::Release(Slot& ioSlot)
{
    for (Waiter* waiter : ioSlot.waiters)
    {
        waiter->wake.notify_one();
    }
    for (Waiter* waiter : mIdleWaiters)
    {
        waiter->wake.notify_one();
    }
}

DecoderPool::DriveResult DecoderPool::Decode(Slot& ioSlot, std::int64_t inRank, bool inSeeks,
                                             PicturePtr* outPicture, std::string& outCause)
{
    const bool isNew = !ioSlot.cursor;
    int status = 0;
    if (isNew)
    {
        auto opened = std::make_unique<DecoderCursor>();
        status = opened->Open(mSetup);
        if (status < 0)
        {
            outCause = ErrorText(status);
            return DriveResult::kFailed;
        }
        ioSlot.cursor = std::move(opened);
    }
    DecoderCursor& cursor = *ioSlot.cursor;
    const std::uint64_t packetsBefore = cursor.PacketsRead();
    const std::uint64_t reopeningsBefore = cursor.Reopenings();
    if (status >= 0 && inSeeks && !(isNew && ioSlot.startKey == 0))
    {
        status = cursor.SeekTo(mIndex.packets, ioSlot.startKey);
    }
    if (mMaySkip)
    {
        cursor.SkipUnreferenced(mIndex.FirstPacketFor(ioSlot.keepFrom), ioSlot.expected);
    }
    std::uint64_t decoded = 0;
    DriveResult result = status < 0 ? DriveResult::kFailed : DriveResult::kMissing;
    while (status >= 0 && result == DriveResult::kMissing)
    {
        FramePtr frame(av_frame_alloc());
        std::uint32_t packet = 0;
        status = frame ? cursor.Next(&mIndex.packets, *frame, packet) : AVERROR(ENOMEM);
        if (status < 0)
        {
            break;
        }
        ++decoded;
        const std::int64_t rank = mIndex.RankOf(packet);
        if (rank < 0 || mIndex.frames[static_cast<std::size_t>(rank)].key < ioSlot.startKey)
        {
            continue; // not shown, or refers to what this decoder hasn't seen
        }
        const PicturePtr picture = Share(std::move(frame));
        std::list<PicturePtr> evicted;
        {
            const std::lock_guard<std::mutex> lock(mLock);
            Publish(ioSlot, rank, picture, evicted);
        }
        if (rank == inRank)
        {
            if (outPicture)
            {
                *outPicture = picture;
            }
            result = DriveResult::kFound;
        }
        else if (rank > inRank + kReorder)
        {
            break;
        }
    }
    outCause = status < 0 && status != AVERROR_EOF && cursor.LastProblem().empty() ? ErrorText(status)
                                                                                   : cursor.LastProblem();
    const std::lock_guard<std::mutex> lock(mLock);
    mStatistics.framesDecoded += decoded;
    mStatistics.packetsRead += cursor.PacketsRead() - packetsBefore;
    mStatistics.reopenings += cursor.Reopenings() - reopeningsBefore;
    if (status == AVERROR_EXIT || mIsCancelled)
    {
        return DriveResult::kCancelled;
    }
    return result;
}

// Decoders of bare pictures give out the packets that they were read into, which the pool of pictures knows
// nothing of; so what is shared is counted here too.
PicturePtr DecoderPool::Share(FramePtr inFrame) const
{
    const std::int64_t bytes = PictureBytes(*inFrame);
    *mSharedBytes += bytes;
    return {inFrame.release(), [counter = mSharedBytes, bytes](AVFrame* inPicture)
            {
                FrameFreer()(inPicture);
                *counter -= bytes;
            }};
}

void DecoderPool::Publish(Slot& ioSlot, std::int64_t inRank, const PicturePtr& inPicture,
                          std::list<PicturePtr>& outEvicted)
{
    ioSlot.nextRank = std::max(ioSlot.nextRank, inRank + 1);
    mPictureBytes = PictureBytes(*inPicture);
    bool isDelivered = inRank == ioSlot.target;
    for (Waiter* waiter : ioSlot.waiters)
    {
        if (waiter->rank == inRank && !waiter->picture)
        {
            waiter->picture = inPicture;
            waiter->wake.notify_one();
            isDelivered = true;
        }
    }
    Keep(ioSlot, inRank, inPicture, isDelivered, outEvicted);
}

void DecoderPool::Keep(Slot& ioSlot, std::int64_t inRank, const PicturePtr& inPicture, bool inIsDelivered,
                       std::list<PicturePtr>& outEvicted)
{
    const bool isPassed = !ioSlot.keepsTailOnly && inRank < ioSlot.keepFrom;
    const bool isUnexpected = mExpected && !mExpected->Contains(inRank) && !inIsDelivered;
    if (isPassed || isUnexpected)
    {
        return;
    }
    mCache.Insert(inRank, inPicture, inIsDelivered);
    if (ioSlot.keepsTailOnly)
    {
        ioSlot.tail.push_back(inRank);
        CutTail(ioSlot, outEvicted);
    }
    // Pictures that decoders and clients hold count against the budget, and can't be taken from them; so do
    // the decoders' own tables.
    const std::int64_t held = std::max(mSetup.pool->LiveBytes(), mSharedBytes->load());
    // Each decoder may begin another picture before the next one gets here.
    const auto decoders = static_cast<std::int64_t>(mSlots.size());
    const std::int64_t others = std::max(decoders * mPictureBytes, held - mCache.Bytes());
    const std::int64_t tables = decoders * TableBytesOfDecoder(mNeeds, mSetup.threads);
    const std::int64_t least = kLeastPicturesKept * mPictureBytes;
    mCache.Trim(std::max(mOptions.cacheBytes - others - tables, least), outEvicted);
}

void DecoderPool::CutTail(Slot& ioSlot, std::list<PicturePtr>& outEvicted)
{
    const std::size_t longest = KeepsPassed() ? kTailNotAskedFor : kTail;
    for (auto rank = ioSlot.tail.begin(); rank != ioSlot.tail.end() && ioSlot.tail.size() > kTail;)
    {
        if (!mCache.WasDelivered(*rank) && ioSlot.tail.size() <= longest)
        {
            ++rank;
            continue;
        }
        mCache.Erase(*rank, outEvicted);
        rank = ioSlot.tail.erase(rank);
    }
}

}
