// Gets frames of media decoded before a render needs them.
//
// A prefetch item stands for one frame of one stream. It never hands its frame to the render: the frame
// goes into the shared frame cache under the stream's own key, where every item of that key and the render
// itself find it, so that any number of requests for a frame cost one read.
//
// How an item reads:
//   1. The shared cache is asked first, and again once the stream is known to be awake.
//   2. An item that may use the disk cache, of a stream with a time axis and a key, reads that.
//   3. A stream that rests is woken first, on the executor for stills, since that may block.
//   4. The first item of a key reads, the others join it. A stream with the asynchronous face is asked to
//      read by itself, any other is read on the executors for movies and for stills; there, each stream's
//      reads run in the order of their times, whatever order they came in.
//   5. The last item of a key to be cancelled takes back a read that has not started.
//   6. A read that fails tells the items that joined it; they then finish without a frame, and the render
//      asks the stream itself.
//
// A stream that cannot name its frames (a zero key) is never read ahead: its items wait until the stream
// has the frame at hand.
//
// Locks, in this order: the register of reads; then the queue of reads, or the table of resting streams.
// The render queue is woken, and items and streams are released, with none of them held.
//
// Thread-safety: safe. Items are driven by one thread at a time each.
#pragma once

#include "BE/IVideoSource.h"
#include "RenderableNodePrefetch.h"
#include "norvik/utility/StringTypes.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace ML::VideoSourcePrefetcher
{

// What the completion of a read is told that was taken back before it started.
inline constexpr std::int32_t kReadStatus_Cancelled = static_cast<std::int32_t>(0xa00f0007u);

// Flag of an item: it may read from the disk cache and write to it. Other flags are carried.
inline constexpr std::uint32_t kPrefetchFlag_DiskCache = 32;

// An item for a frame as the stream's GetRenderedFrame gives it. Empty for an empty stream, and for one that
// neither renders frames with these settings nor reads by itself.
// inMediaName is for the log. Throws TVK::NullInterfaceException for a stream without a time axis face.
IRenderableNodePrefetchRef CreateMediaPrefetcher(const BE::IVideoSourceRef& inSource,
                                                 const BE::FrameDescription& inFormat,
                                                 const norviktypes::TickTime& inTime,
                                                 const MF::BinaryData& inSettings,
                                                 const norviktypes::ColorProfile& inColorProfile,
                                                 const norvik::WString& inMediaName, std::uint32_t inFlags);

// What a read by GetVideoFrame is given beyond time and settings; the stream knows what the options mean.
struct ReadParameters
{
    norviktypes::TickTime mRangeStart;
    norviktypes::TickTime mRangeEnd;
    norviktypes::RenderQuality mQuality = norviktypes::kRenderQuality_High;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    bool mOptionA = false;
    bool mOptionB = false;
    bool mOptionC = false;
    double mScale = 1.0;
};

// An item for a frame as the stream's GetVideoFrame fills it, under the key of these parameters. Empty for an
// empty stream, and for one that renders frames with these settings: that one takes the other form.
IRenderableNodePrefetchRef
CreateParameterizedMediaPrefetcher(const BE::IVideoSourceRef& inSource, const BE::FrameDescription& inFormat,
                                   const norviktypes::TickTime& inTime, const MF::BinaryData& inSettings,
                                   const norviktypes::ColorProfile& inColorProfile,
                                   const norvik::WString& inMediaName, const ReadParameters& inParameters,
                                   std::uint32_t inFlags);

// Told of a read that failed or was taken back, with its negative status; never of one that succeeded, which
// the shared cache tells. Runs on the reading thread, or on the one that took the read back, with no lock
// held.
using ReadCompletion = std::function<void(std::int32_t inStatus)>;

// Queues a read on the executors. Its frame goes into the shared cache under inKey; a zero key reads for
// nothing but the stream's own memory. inCompletion may be empty: then nobody learns of a failure.
// Breaks its contract if one of the two executors is missing; throws TVK::NullInterfaceException for an empty
// stream.
void Prefetch(const norviktypes::TickTime& inTime, const BE::IVideoSourceRef& inSource,
              const BE::FrameDescription& inFormat, const MF::BinaryData& inSettings,
              const norviktypes::ColorProfile& inColorProfile, const TVK::Guid& inKey,
              const ReadCompletion& inCompletion, const ReadParameters& inParameters);

// Sets the disk cache up, if the setting "ML.EnableDiskCache" is exactly "true" and the host has a directory
// for it. Called when the library starts, with no request about.
void StartPrefetchers();

// Drops reads that have not started, without telling anybody; ends the two executors, waiting for what
// runs; lets go of the disk cache. Called when the render queue has ended.
void StopPrefetchers();

// What the process-wide tables hold; all zero when nothing is read ahead.
struct TableSizes
{
    std::size_t mQueuedReads = 0;
    std::size_t mKeysBeingRead = 0;
    std::size_t mHoldersOfKeys = 0;
    std::size_t mRestingStreams = 0;
};
TableSizes GetTableSizes();

} // namespace ML::VideoSourcePrefetcher
