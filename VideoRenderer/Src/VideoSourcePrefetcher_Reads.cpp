#include "VideoSourcePrefetcher_Reads.h"

#include "ML/SharedExecutors.h"
#include "RenderFrameClient.h"
#include "RenderableSources.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"
#include "norvik/config/Contract.h"

#include <algorithm>
#include <new>
#include <type_traits>
#include <utility>

namespace ML::VideoSourcePrefetcher
{

namespace
{

// A heap is re-ordered without a way back; nothing of a read may throw while it moves.
static_assert(std::is_nothrow_move_constructible_v<QueuedRead>);
static_assert(std::is_nothrow_move_assignable_v<QueuedRead>);

bool IsLater(const QueuedRead& inA, const QueuedRead& inB)
{
    return inB.mTime < inA.mTime;
}

std::int32_t StatusOfCurrentException()
{
    try
    {
        throw;
    }
    catch (const RenderRequestException& exception)
    {
        return exception.GetStatus();
    }
    catch (const std::bad_alloc&)
    {
        return kRenderFrameOutOfMemory;
    }
    catch (...)
    {
        return kRenderFrameFailed;
    }
}

std::int32_t FillFrame(const QueuedRead& inRead, MF::IVideoFrameRef& outFrame)
{
    const ReadParameters& parameters = inRead.mParameters;
    const TVK::Rect& bounds = inRead.mFormat.mBounds;
    const std::int32_t status = VF::CreateVideoFrame(
        outFrame, inRead.mFormat.mPixelFormat, static_cast<std::uint32_t>(bounds.Width()),
        static_cast<std::uint32_t>(bounds.Height()), inRead.mFormat.mPixelAspectRatio, false, false);
    if (status < 0)
    {
        return status;
    }
    outFrame->SetFieldType(parameters.mFieldType);
    return inRead.mSource->GetVideoFrame(
        inRead.mTime, inRead.mSettings, parameters.mRangeStart, parameters.mRangeEnd, outFrame,
        parameters.mQuality, parameters.mFieldType, !norviktypes::IsInterlaced(parameters.mFieldType),
        parameters.mOptionA, parameters.mOptionB, parameters.mOptionC, parameters.mScale);
}

std::int32_t ReadIntoCache(const QueuedRead& inRead)
{
    MF::IVideoFrameRef frame;
    const std::int32_t status =
        inRead.mSource->CanRenderFrames(inRead.mSettings)
            ? inRead.mSource->GetRenderedFrame(inRead.mTime, inRead.mFormat, inRead.mSettings,
                                               inRead.mColorProfile, false, frame)
            : FillFrame(inRead, frame);
    // Without a key nobody looks for the frame: it is read for the stream's own memory.
    if (status < 0 || inRead.mKey.IsZero())
    {
        return status;
    }
    if (!frame)
    {
        // Those who wait for the cache would wait for ever.
        return kRenderFrameFailed;
    }
    VF::SharedVideoFrameCache::InsertIntoCache(frame, inRead.mKey, kReadFramePriority);
    return status;
}

void TellFailure(const QueuedRead& inRead, std::int32_t inStatus)
{
    if (inStatus < 0 && inRead.mCompletion)
    {
        inRead.mCompletion(inStatus);
    }
}

} // namespace

ReadQueue& ReadQueue::Instance()
{
    static ReadQueue* const sPendingPrefetches = new ReadQueue;
    return *sPendingPrefetches;
}

void ReadQueue::Add(QueuedRead inRead)
{
    const BE::IVideoSourceRef source = inRead.mSource;
    const auto& executor =
        source->IsImageSource() ? sImageSourcePrefetcherQueue : sVideoSourcePrefetcherQueue;
    norvik::Function job = [source] { RunEarliestRead(source); };

    const norvik::threads::ScopedLock lock(mMutex, "Prefetch");
    if (mIsStopped)
    {
        return;
    }
    const auto entry = mHeaps.try_emplace(source.get()).first;
    Heap& heap = entry->second;
    try
    {
        // What may throw comes first. The job waits for this lock before it looks for its read.
        if (heap.size() == heap.capacity())
        {
            heap.reserve(std::max<std::size_t>(4, 2 * heap.size()));
        }
        executor->Post(job);
    }
    catch (...)
    {
        if (heap.empty())
        {
            mHeaps.erase(entry);
        }
        throw;
    }
    heap.push_back(std::move(inRead));
    std::push_heap(heap.begin(), heap.end(), IsLater);
}

std::optional<QueuedRead> ReadQueue::TakeEarliest(BE::IVideoSource* inSource)
{
    const norvik::threads::ScopedLock lock(mMutex, "PrefetchWorker");
    const auto entry = mHeaps.find(inSource);
    if (entry == mHeaps.end())
    {
        return std::nullopt;
    }
    Heap& heap = entry->second;
    std::pop_heap(heap.begin(), heap.end(), IsLater);
    std::optional<QueuedRead> read(std::move(heap.back()));
    heap.pop_back();
    if (heap.empty())
    {
        mHeaps.erase(entry);
    }
    return read;
}

std::optional<QueuedRead> ReadQueue::TakeByKey(BE::IVideoSource* inSource, const TVK::Guid& inKey)
{
    const norvik::threads::ScopedLock lock(mMutex, "RemovePrefetch");
    const auto entry = mHeaps.find(inSource);
    if (entry == mHeaps.end())
    {
        return std::nullopt;
    }
    Heap& heap = entry->second;
    const auto found = std::find_if(heap.begin(), heap.end(),
                                    [&](const QueuedRead& inRead) { return inRead.mKey == inKey; });
    if (found == heap.end())
    {
        return std::nullopt;
    }
    std::optional<QueuedRead> read(std::move(*found));
    if (found != heap.end() - 1)
    {
        *found = std::move(heap.back());
    }
    heap.pop_back();
    std::make_heap(heap.begin(), heap.end(), IsLater);
    if (heap.empty())
    {
        mHeaps.erase(entry);
    }
    return read;
}

void ReadQueue::Stop()
{
    Heaps dropped; // destroyed after the unlock: streams and items go with it
    {
        const norvik::threads::ScopedLock lock(mMutex, "StopPrefetchers");
        mIsStopped = true;
        dropped.swap(mHeaps);
    }
}

void ReadQueue::Start()
{
    const norvik::threads::ScopedLock lock(mMutex, "StartPrefetchers");
    mIsStopped = false;
}

std::size_t ReadQueue::Size()
{
    const norvik::threads::ScopedLock lock(mMutex, "GetTableSizes");
    std::size_t size = 0;
    for (const auto& [source, heap] : mHeaps)
    {
        size += heap.size();
    }
    return size;
}

void RunEarliestRead(const BE::IVideoSourceRef& inSource)
{
    const std::optional<QueuedRead> read = ReadQueue::Instance().TakeEarliest(inSource.get());
    if (!read)
    {
        return;
    }
    std::int32_t status = kRenderFrameFailed;
    try
    {
        status = ReadIntoCache(*read);
    }
    catch (...)
    {
        TellFailure(*read, StatusOfCurrentException());
        throw;
    }
    TellFailure(*read, status);
}

void Prefetch(const norviktypes::TickTime& inTime, const BE::IVideoSourceRef& inSource,
              const BE::FrameDescription& inFormat, const MF::BinaryData& inSettings,
              const norviktypes::ColorProfile& inColorProfile, const TVK::Guid& inKey,
              const ReadCompletion& inCompletion, const ReadParameters& inParameters)
{
    ML_INPUT_CONTRACT(sVideoSourcePrefetcherQueue && sImageSourcePrefetcherQueue,
                      "sVideoSourcePrefetcherQueue != NULL && sImageSourcePrefetcherQueue != NULL",
                      "Src/VideoSourcePrefetcher", "ML::VideoSourcePrefetcher::Prefetch", __LINE__);
    ReadQueue::Instance().Add(QueuedRead{inTime, inSource, inFormat, inSettings, inColorProfile, inKey,
                                         inCompletion, inParameters});
}

} // namespace ML::VideoSourcePrefetcher
