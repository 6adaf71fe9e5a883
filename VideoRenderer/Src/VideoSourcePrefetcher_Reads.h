// Reads that wait for an executor, and the work that does them.
//
// Each read is queued under its stream, and one job is posted for it. A job is not tied to the read that
// caused it: it takes the read of the earliest time of its stream at the moment it runs, so that whoever
// plays on does not starve the frame that is needed next. Streams have no order among each other. A read that
// was taken back leaves its job behind, which then finds one read less, or none.
//
// Thread-safety: safe.
#pragma once

#include "VideoSourcePrefetcher.h"
#include "norvik/threads/Threads.h"

#include <map>
#include <optional>
#include <vector>

namespace ML::VideoSourcePrefetcher
{

// What is read ahead stays longer in the shared cache than frames that nobody announced.
inline constexpr std::int32_t kReadFramePriority = 10;

struct QueuedRead
{
    norviktypes::TickTime mTime;
    BE::IVideoSourceRef mSource;
    BE::FrameDescription mFormat;
    MF::BinaryData mSettings;
    norviktypes::ColorProfile mColorProfile;
    TVK::Guid mKey;
    ReadCompletion mCompletion;
    ReadParameters mParameters;
};

class ReadQueue
{
public:
    static ReadQueue& Instance();

    // Queues the read and posts a job for it, both or none. After Stop: nothing, without a word.
    void Add(QueuedRead inRead) VR_EXCLUDES(mMutex);

    // Takes out the read of the earliest time, or the first one found with a key; none if there is none.
    // The caller destroys it, holding no lock.
    std::optional<QueuedRead> TakeEarliest(BE::IVideoSource* inSource) VR_EXCLUDES(mMutex);
    std::optional<QueuedRead> TakeByKey(BE::IVideoSource* inSource, const TVK::Guid& inKey)
        VR_EXCLUDES(mMutex);

    // Drops what is queued and takes no more, until Start.
    void Stop() VR_EXCLUDES(mMutex);
    void Start() VR_EXCLUDES(mMutex);

    std::size_t Size() VR_EXCLUDES(mMutex);

private:
    // A heap with the earliest time on top, for each stream with reads queued; never empty.
    using Heap = std::vector<QueuedRead>;
    using Heaps = std::map<BE::IVideoSource*, Heap>;

    // Follows the register of reads and is followed by the locks within an executor.
    norvik::threads::RecursiveMutex mMutex;
    Heaps mHeaps VR_GUARDED_BY(mMutex);
    bool mIsStopped VR_GUARDED_BY(mMutex) = false;
};

// Does the earliest read of a stream, if there is one, on the calling thread.
//
// A frame goes into the shared cache; a failure goes to the completion. An exception of the stream is a
// failure too: its completion is told a status for it, and then it passes on.
void RunEarliestRead(const BE::IVideoSourceRef& inSource);

} // namespace ML::VideoSourcePrefetcher
