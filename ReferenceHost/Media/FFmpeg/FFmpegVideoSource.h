#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ReferenceHost/Media/FFmpeg/FieldOrders.h"
#include "ReferenceHost/Media/FFmpeg/MediaFile.h"
#include "ReferenceHost/Media/FFmpeg/PictureMapping.h"
#include "ReferenceHost/Media/RecentFailures.h"
#include "ReferenceHost/Media/VideoSourceBase.h"

namespace Media
{

// The rows of the format table that a file is best read as: without loss first, then four components.
std::vector<norviktypes::PixelFormat> NativeFormatsOf(const FileFacts& inFacts);

norviktypes::FieldType FieldTypeOf(const FileFacts& inFacts);

// Size and pixel aspect as shown: after the turn that the file asks for.
TVK::Rect ShownBounds(const FileFacts& inFacts);
norviktypes::PixelAspectRatio ShownPixelAspect(const FileFacts& inFacts);

// A video stream of a file as the library sees it.
//
// A frame is decoded by the shared MediaFile and converted once, from the decoder's planes to the pixels that
// were asked for, scaled on the way where they are fewer. Pictures that the file asks to be turned are turned
// here, so that bounds, pixel aspect and pixels are those of the upright picture. Bare pictures stay in
// the file until somebody looks at the frame.
//
// A stream whose bare pictures have all been in the system's memory lately reads by itself, as there is nothing to
// read: no thread is woken for it. Once one is missing, or must be decoded for another size or format, it refuses,
// and the threads that read ahead have their turn again. The frame that was refused is read when it is rendered.
//
// Thread-safety: safe; a request decodes and converts on the calling thread.
class FFmpegVideoSource final : public TVK::Extends<VideoSourceBase, BE::IAsyncVideoSource>
{
public:
    // inContentID: differs for every version of the file and for every stream.
    FFmpegVideoSource(std::shared_ptr<MediaFile> inFile, const TVK::Guid& inContentID);

    std::string DescribeFailure(const norviktypes::TickTime& inTime) const override;
    std::string DescribeFieldChange() const override;
    void Expect(const std::vector<MF::TimeRange>& inTimes) override;

    // BE::IAsyncVideoSource
    bool IsAsyncEnabled() const override;
    std::int32_t IssueAsyncRead(const norviktypes::TickTime& inTime, const BE::FrameDescription& inFormat,
                                const MF::BinaryData& inSettings,
                                const norviktypes::ColorProfile& inProfile) override;
    void Reserved1() override {}
    void CancelAsyncRead(const norviktypes::TickTime&, const BE::FrameDescription&, const MF::BinaryData&,
                         const norviktypes::ColorProfile&) override
    {
    }
    void Reserved2() override {}
    bool IsAsyncReadAlive(const norviktypes::TickTime&, const BE::FrameDescription&, double,
                          const MF::BinaryData&, const norviktypes::ColorProfile&) override
    {
        return false; // what was issued was there
    }

protected:
    std::int64_t FrameIndexAt(const norviktypes::TickTime& inTime) const override;
    std::int32_t MakeFrame(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool inAtOnce,
                           MF::IVideoFrameRef& outFrame) override;

private:
    bool MakeFrameInFile(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool inAtOnce,
                         MF::IVideoFrameRef& outFrame);
    BarePicturePtr FindInFile(std::int64_t inIndex, const BE::FrameDescription& inFormat, bool inAtOnce,
                              MF::IVideoFrameRef& outFrame);
    bool IsInMemory(const BarePicture& inPicture);
    PictureTraits TraitsOf(const AVFrame& inPicture) const;

    std::atomic<int> mFoundInMemory{0};             // bare pictures, one after the other
    std::atomic<std::int64_t> mLookedFor{kNoFrame}; // the last one that was there when its read was issued
    const std::shared_ptr<MediaFile> mFile;
    RecentFailures mFailures;
    FieldOrders mFieldOrders;
};

}
