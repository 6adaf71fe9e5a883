#include "VideoSourcePrefetcher.h"

#include "MF/ISource.h"
#include "ML/SharedExecutors.h"
#include "RenderFrameClient.h"
#include "TVK/Allocated.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoSourcePrefetcher_DiskCache.h"
#include "VideoSourcePrefetcher_Reads.h"
#include "VideoSourcePrefetcher_Register.h"
#include "VideoSourcePrefetcher_Resting.h"
#include "VideoSourcePrefetcher_TimeOut.h"
#include "VideoSourcePrefetcher_Wake.h"

#include <atomic>
#include <memory>
#include <optional>
#include <utility>

namespace ML::VideoSourcePrefetcher
{

namespace
{

constexpr std::int32_t kNotReady = kRenderFramePrefetchFailed;

// One frame that is read ahead.
//
//   state               told by                       left by
//   created             nothing                       BeginPrefetch
//   frame in hand       mFrame                        CancelPrefetch
//   reading disk cache  mDiskCacheReadPending         the frame in the shared cache; or the time-out of
//                                                     the queue, if it never comes
//   waiting for stream  mWaitingForUnquiet            GetPrefetchResult, once it is awake; CancelPrefetch
//   read issued         mPrefetchRegistered           GetPrefetchResult, CancelPrefetch
//   dead                mSource empty                 nothing: it has no frame, and says so
//
// A read that is queued or running holds a reference to the item that issued it, so an item may outlive its
// request; the read lets go of it when it ends or is taken back.
//
// Thread-safety: driven by one thread at a time; mHolder and mDiskCacheStatus are written by others.
class MediaPrefetcher final : public TVK::Implements<MediaPrefetcher, IRenderableNodePrefetch>
{
public:
    struct Wanted
    {
        BE::FrameDescription mFormat;
        norviktypes::TickTime mTime;
        MF::BinaryData mSettings;
        norviktypes::ColorProfile mColorProfile;
        norvik::WString mMediaName; // for the log
        ReadParameters mParameters;
    };

    // inKey: zero if the stream cannot name the frame.
    MediaPrefetcher(const BE::IVideoSourceRef& inSource, BE::IAsyncVideoSourceRef inAsyncSource,
                    Wanted inWanted, const TVK::Guid& inKey, std::uint32_t inFlags);
    ~MediaPrefetcher() override;

    std::int32_t BeginPrefetch() override;
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) override;
    std::int32_t CancelPrefetch() override;
    void GetPrefetchKey(TVK::Guid& outKey) const override { outKey = mKey; }
    bool ContinueWaitingForPrefetch(double inElapsedSeconds) override;

private:
    bool UsesDiskCache() const { return (mFlags & kPrefetchFlag_DiskCache) != 0 && !mIsStill; }
    void RegisterDependency();
    void UnregisterDependency();
    void LookIntoSharedCache();
    void KeepFrame(const MF::IVideoFrameRef& inFrame);

    bool BeginReadFromDiskCache();
    std::int32_t BeginAgainWithoutDiskCache();
    void WaitForStream();
    bool StopWaitingForStream(bool inOnlyIfAwake);

    std::int32_t IssuePrefetch();
    std::int32_t JoinOrIssueRead();
    std::int32_t IssueRead();
    void QueueRead(const ReadParameters& inParameters);
    void OnReadFailed(const TVK::Guid& inKey, std::uint64_t inRegistration, std::int32_t inStatus);
    void Die();
    void GiveUpRead();
    void TakeBackRead();
    void LetGo();
    void UnregisterPrefetch();

    MF::IVideoFrameRef AskAtOnce();

    BE::IVideoSourceRef mSource;
    BE::IAsyncVideoSourceRef mAsyncSource;
    const Wanted mWanted;
    const bool mIsStill;
    TVK::Guid mKey;
    bool mDependencyRegistered = false;
    bool mPrefetchRegistered = false;
    bool mWaitingForUnquiet = false;
    bool mDiskCacheReadPending = false;
    MF::IVideoFrameRef mFrame;
    std::shared_ptr<void> mQuietToken;
    std::uint32_t mFlags;
    std::uint64_t mRegistration = 0;
    ReadHolder mHolder;
    // Kept for who looks at an item in a debugger: a failed read of the disk cache ends nothing by itself.
    std::atomic<std::int32_t> mDiskCacheStatus{0};
};

// A stream that reads by itself, if it wants to at the moment.
BE::IAsyncVideoSourceRef AsyncFaceOf(const BE::IVideoSourceRef& inSource)
{
    BE::IAsyncVideoSourceRef async(inSource);
    if (async && !async->IsAsyncEnabled())
    {
        async.reset();
    }
    return async;
}

bool IsStill(const BE::IVideoSourceRef& inSource)
{
    if (inSource->IsImageSource())
    {
        return true;
    }
    std::uint32_t kind = MF::kSourceKind_Normal;
    MF::ISourceRef(inSource)->GetStillKind(kind);
    return kind == MF::kSourceKind_Still;
}

MediaPrefetcher::MediaPrefetcher(const BE::IVideoSourceRef& inSource, BE::IAsyncVideoSourceRef inAsyncSource,
                                 Wanted inWanted, const TVK::Guid& inKey, std::uint32_t inFlags)
    : mSource(inSource)
    , mAsyncSource(std::move(inAsyncSource))
    , mWanted(std::move(inWanted))
    , mIsStill(IsStill(inSource))
    , mKey(inKey)
    , mFlags(inFlags)
{
}

MediaPrefetcher::~MediaPrefetcher()
{
    try
    {
        MediaPrefetcher::CancelPrefetch();
    }
    catch (...)
    {
        // The stream threw; what was registered has been given back all the same.
    }
}

std::int32_t MediaPrefetcher::BeginPrefetch()
{
    if (mIsStill || (mFlags & kPrefetchFlag_DiskCache) != 0)
    {
        RegisterDependency();
        LookIntoSharedCache();
        if (mFrame)
        {
            return TVK::kStatus_OK;
        }
    }
    if (BeginReadFromDiskCache())
    {
        return TVK::kStatus_OK;
    }

    bool mustUnquiet = false;
    mSource->AcquireQuietToken(mQuietToken, true, true, mustUnquiet);
    mustUnquiet = mustUnquiet && !mQuietToken;
    if (!mIsStill)
    {
        RegisterDependency();
        if (!mustUnquiet)
        {
            LookIntoSharedCache();
        }
    }
    if (mustUnquiet)
    {
        WaitForStream();
        return TVK::kStatus_OK;
    }
    return mFrame ? TVK::kStatus_OK : IssuePrefetch();
}

std::int32_t MediaPrefetcher::GetPrefetchResult(MF::IVideoFrameRef& outFrame)
{
    outFrame.reset();
    if (mDiskCacheReadPending && mHolder.Status() < 0)
    {
        return BeginAgainWithoutDiskCache();
    }
    if (mWaitingForUnquiet)
    {
        if (!StopWaitingForStream(true))
        {
            return kNotReady;
        }
        // Somebody else may have had the frame read meanwhile.
        LookIntoSharedCache();
        if (!mFrame && IssuePrefetch() < 0)
        {
            return TVK::kStatus_OK;
        }
    }
    if (mFrame)
    {
        outFrame = mFrame;
        mQuietToken.reset();
        return TVK::kStatus_OK;
    }

    if (!mAsyncSource || mDiskCacheReadPending)
    {
        LookIntoSharedCache();
        outFrame = mFrame;
    }
    if (!outFrame)
    {
        outFrame = AskAtOnce();
    }
    // Without a key, nobody but the stream has the frame: it is handed out by the next call, which finds it
    // in hand.
    const bool isShared = outFrame && !mKey.IsZero();
    if (!isShared && mHolder.Status() >= 0 && mSource)
    {
        return kNotReady;
    }
    if (isShared && !mDiskCacheReadPending && UsesDiskCache())
    {
        PostDiskCacheWrite(outFrame, mKey);
    }
    UnregisterPrefetch();
    mQuietToken.reset();
    return TVK::kStatus_OK;
}

std::int32_t MediaPrefetcher::CancelPrefetch()
{
    if (mWaitingForUnquiet)
    {
        StopWaitingForStream(false);
    }
    try
    {
        GiveUpRead();
    }
    catch (...)
    {
        LetGo();
        throw;
    }
    LetGo();
    return TVK::kStatus_OK;
}

bool MediaPrefetcher::ContinueWaitingForPrefetch(double inElapsedSeconds)
{
    if (mWaitingForUnquiet)
    {
        return true;
    }
    if (!mPrefetchRegistered)
    {
        return false;
    }
    MF::IVideoFrameRef frame;
    if (GetPrefetchResult(frame) >= 0)
    {
        return false;
    }
    if (!mAsyncSource || mAsyncSource->IsAsyncReadAlive(mWanted.mTime, mWanted.mFormat, inElapsedSeconds,
                                                        mWanted.mSettings, mWanted.mColorProfile))
    {
        return true;
    }
    ReportAsyncTimeOut(mWanted.mMediaName, mWanted.mTime, mSource);
    mAsyncSource.reset();
    // From the stream's own face, in the simplest form.
    QueueRead(ReadParameters());
    return true;
}

// Announces interest in the frame, so that the cache keeps it; once.
void MediaPrefetcher::RegisterDependency()
{
    if (!mDependencyRegistered && !mKey.IsZero())
    {
        VF::SharedVideoFrameCache::RegisterDependencyOnFrame(mKey);
        mDependencyRegistered = true;
    }
}

void MediaPrefetcher::UnregisterDependency()
{
    if (mDependencyRegistered)
    {
        mDependencyRegistered = false;
        VF::SharedVideoFrameCache::UnregisterDependencyOnFrame(mKey);
    }
}

void MediaPrefetcher::LookIntoSharedCache()
{
    if (!mKey.IsZero() && !mFrame)
    {
        KeepFrame(VF::SharedVideoFrameCache::RetrieveFromCache(mKey));
    }
}

void MediaPrefetcher::KeepFrame(const MF::IVideoFrameRef& inFrame)
{
    mFrame = inFrame;
    mHolder.SetHasFrame(static_cast<bool>(mFrame));
}

bool MediaPrefetcher::BeginReadFromDiskCache()
{
    if (!UsesDiskCache() || mKey.IsZero() || !DiskCacheIsOpen())
    {
        return false;
    }
    const TVK::InterfaceRef<MediaPrefetcher> self(this);
    mDiskCacheReadPending = BeginDiskCacheRead(mKey,
                                               [self](std::int32_t inStatus)
                                               {
                                                   if (inStatus < 0)
                                                   {
                                                       self->mDiskCacheStatus = inStatus;
                                                       WakeRenderQueue();
                                                   }
                                               });
    return mDiskCacheReadPending;
}

std::int32_t MediaPrefetcher::BeginAgainWithoutDiskCache()
{
    mDiskCacheReadPending = false;
    mFlags &= ~kPrefetchFlag_DiskCache;
    return BeginPrefetch() < 0 ? TVK::kStatus_OK : kNotReady;
}

void MediaPrefetcher::WaitForStream()
{
    if (!mWaitingForUnquiet)
    {
        RestingSources::Instance().Register(mSource);
        mWaitingForUnquiet = true;
    }
}

// Takes the token over, if the stream is awake by now.
bool MediaPrefetcher::StopWaitingForStream(bool inOnlyIfAwake)
{
    const bool isOut = RestingSources::Instance().Unregister(mSource.get(), inOnlyIfAwake, mQuietToken);
    mWaitingForUnquiet = !isOut && inOnlyIfAwake;
    return isOut;
}

std::int32_t MediaPrefetcher::IssuePrefetch()
{
    if (mKey.IsZero() || mPrefetchRegistered)
    {
        return TVK::kStatus_OK;
    }
    const std::int32_t status = JoinOrIssueRead();
    if (status < 0)
    {
        Die();
    }
    return status;
}

// Under one lock, so that nobody joins a read that could not be issued.
std::int32_t MediaPrefetcher::JoinOrIssueRead()
{
    PrefetchRegister& shared = PrefetchRegister::Instance();
    const norvik::threads::ScopedLock lock(shared.mMutex, "IssuePrefetch");
    const PrefetchRegister::Joined joined = shared.Join(mKey, mHolder);
    mRegistration = joined.mRegistration;
    std::int32_t status = TVK::kStatus_OK;
    try
    {
        status = joined.mIsFirst ? IssueRead() : TVK::kStatus_OK;
    }
    catch (...)
    {
        shared.Leave(mKey, mHolder);
        throw;
    }
    if (status < 0)
    {
        shared.Leave(mKey, mHolder);
    }
    mPrefetchRegistered = status >= 0;
    return status;
}

std::int32_t MediaPrefetcher::IssueRead()
{
    if (mAsyncSource)
    {
        return mAsyncSource->IssueAsyncRead(mWanted.mTime, mWanted.mFormat, mWanted.mSettings,
                                            mWanted.mColorProfile);
    }
    QueueRead(mWanted.mParameters);
    return TVK::kStatus_OK;
}

void MediaPrefetcher::QueueRead(const ReadParameters& inParameters)
{
    const TVK::InterfaceRef<MediaPrefetcher> self(this);
    const ReadCompletion completion = [self, key = mKey, registration = mRegistration](std::int32_t inStatus)
    { self->OnReadFailed(key, registration, inStatus); };
    Prefetch(mWanted.mTime, mSource, mWanted.mFormat, mWanted.mSettings, mWanted.mColorProfile, mKey,
             completion, inParameters);
}

// On the thread that read, or took the read back. Those who joined the read have no other way to hear of its
// end; when it was taken back, all of them have left.
void MediaPrefetcher::OnReadFailed(const TVK::Guid& inKey, std::uint64_t inRegistration,
                                   std::int32_t inStatus)
{
    const bool isAwaited = mHolder.Fail(inStatus);
    const bool isAwaitedByOthers = inStatus != kReadStatus_Cancelled &&
                                   PrefetchRegister::Instance().Fail(inKey, inRegistration, inStatus);
    if (isAwaited || isAwaitedByOthers)
    {
        WakeRenderQueue();
    }
}

// The stream could not even begin: from now on this item answers that it has no frame.
void MediaPrefetcher::Die()
{
    if (mWaitingForUnquiet)
    {
        StopWaitingForStream(false);
    }
    LetGo();
    mKey = TVK::Guid();
    mAsyncSource.reset();
    mSource.reset();
}

void MediaPrefetcher::GiveUpRead()
{
    if (mFrame)
    {
        // What still reads, reads for others.
        KeepFrame(nullptr);
        UnregisterPrefetch();
    }
    else if (mKey.IsZero() || mPrefetchRegistered)
    {
        TakeBackRead();
    }
}

void MediaPrefetcher::LetGo()
{
    mQuietToken.reset();
    UnregisterDependency();
}

void MediaPrefetcher::TakeBackRead()
{
    std::optional<QueuedRead> takenBack; // told and destroyed after the unlock
    {
        PrefetchRegister& shared = PrefetchRegister::Instance();
        const norvik::threads::ScopedLock lock(shared.mMutex, "CancelPrefetch");
        const bool isLast = mPrefetchRegistered && shared.Leave(mKey, mHolder);
        mPrefetchRegistered = false;
        if (mAsyncSource && (isLast || mKey.IsZero()))
        {
            mAsyncSource->CancelAsyncRead(mWanted.mTime, mWanted.mFormat, mWanted.mSettings,
                                          mWanted.mColorProfile);
        }
        else if (isLast && sVideoSourcePrefetcherQueue && sImageSourcePrefetcherQueue)
        {
            takenBack = ReadQueue::Instance().TakeByKey(mSource.get(), mKey);
        }
    }
    if (takenBack && takenBack->mCompletion)
    {
        takenBack->mCompletion(kReadStatus_Cancelled);
    }
}

void MediaPrefetcher::UnregisterPrefetch()
{
    if (mPrefetchRegistered)
    {
        PrefetchRegister& shared = PrefetchRegister::Instance();
        const norvik::threads::ScopedLock lock(shared.mMutex, "UnregisterPrefetch");
        shared.Leave(mKey, mHolder);
        mPrefetchRegistered = false;
    }
}

// The frame, if the stream has it at hand.
MF::IVideoFrameRef MediaPrefetcher::AskAtOnce()
{
    MF::IVideoFrameRef frame;
    if (!mSource || mDiskCacheReadPending || !mSource->CanRenderFrames(mWanted.mSettings))
    {
        return frame;
    }
    const std::int32_t status = mSource->GetRenderedFrame(mWanted.mTime, mWanted.mFormat, mWanted.mSettings,
                                                          mWanted.mColorProfile, true, frame);
    if (status < 0 || !frame)
    {
        return nullptr;
    }
    if (!mKey.IsZero() && (!mAsyncSource || !VF::SharedVideoFrameCache::RetrieveFromCache(mKey)))
    {
        VF::SharedVideoFrameCache::InsertIntoCache(frame, mKey, kReadFramePriority);
    }
    KeepFrame(frame);
    return frame;
}

} // namespace

IRenderableNodePrefetchRef CreateMediaPrefetcher(const BE::IVideoSourceRef& inSource,
                                                 const BE::FrameDescription& inFormat,
                                                 const norviktypes::TickTime& inTime,
                                                 const MF::BinaryData& inSettings,
                                                 const norviktypes::ColorProfile& inColorProfile,
                                                 const norvik::WString& inMediaName, std::uint32_t inFlags)
{
    if (!inSource)
    {
        return nullptr;
    }
    BE::IAsyncVideoSourceRef async = AsyncFaceOf(inSource);
    const bool rendersFrames = inSource->CanRenderFrames(inSettings);
    if (!rendersFrames && !async)
    {
        return nullptr;
    }
    const TVK::Guid key =
        rendersFrames ? inSource->GetFrameKey(inTime, inFormat, inSettings, inColorProfile) : TVK::Guid();
    return new MediaPrefetcher(inSource, std::move(async),
                               {inFormat, inTime, inSettings, inColorProfile, inMediaName, {}}, key, inFlags);
}

IRenderableNodePrefetchRef
CreateParameterizedMediaPrefetcher(const BE::IVideoSourceRef& inSource, const BE::FrameDescription& inFormat,
                                   const norviktypes::TickTime& inTime, const MF::BinaryData& inSettings,
                                   const norviktypes::ColorProfile& inColorProfile,
                                   const norvik::WString& inMediaName, const ReadParameters& inParameters,
                                   std::uint32_t inFlags)
{
    if (!inSource || inSource->CanRenderFrames(inSettings))
    {
        return nullptr;
    }
    const TVK::Guid key = inSource->GetFrameKeyWithOptions(
        inTime, inFormat, inSettings, inParameters.mRangeStart, inParameters.mRangeEnd, inParameters.mQuality,
        inParameters.mFieldType, inParameters.mOptionA, inParameters.mOptionB, inParameters.mOptionC,
        inParameters.mScale);
    return new MediaPrefetcher(inSource, AsyncFaceOf(inSource),
                               {inFormat, inTime, inSettings, inColorProfile, inMediaName, inParameters}, key,
                               inFlags);
}

void StartPrefetchers()
{
    ReadQueue::Instance().Start();
    OpenDiskCache();
}

void StopPrefetchers()
{
    ReadQueue::Instance().Stop();
    for (const auto& executor : {sVideoSourcePrefetcherQueue, sImageSourcePrefetcherQueue})
    {
        if (executor)
        {
            executor->Close();
            executor->WaitForTermination();
        }
    }
    CloseDiskCache();
}

TableSizes GetTableSizes()
{
    TableSizes sizes;
    sizes.mQueuedReads = ReadQueue::Instance().Size();
    PrefetchRegister::Instance().Count(sizes.mKeysBeingRead, sizes.mHoldersOfKeys);
    sizes.mRestingStreams = RestingSources::Instance().Size();
    return sizes;
}

} // namespace ML::VideoSourcePrefetcher
