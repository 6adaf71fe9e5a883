// The source of a stream that fills frames: the frame is made here, unless the shared cache has it.
//
// Thread-safety: safe; immutable.
#pragma once

#include "RenderableSources.h"
#include "StreamAlpha.h"
#include "TVK/Allocated.h"
#include "VideoSourcePrefetcher.h"

namespace ML
{

class RenderableGetVideoSource final : public TVK::Implements<RenderableGetVideoSource, IRenderableSource>
{
public:
    RenderableGetVideoSource(const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
                             const norviktypes::TickTime& inStartTime, const norviktypes::TickTime& inEndTime,
                             const TVK::ParamColor<unsigned long>& inMatte, norviktypes::AlphaChannel inAlpha,
                             bool inIgnoreAlpha, bool inInvertAlpha, bool inStreamFlag, double inStreamValue,
                             const norviktypes::FrameRate& inFrameRate,
                             const norvik::WString& inPrefetchLabel);

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
    void GetFrameRate(norviktypes::FrameRate& outRate) override;
    void GetFieldRate(norviktypes::FrameRate& outRate) override;

private:
    // All that the stream is told for one frame. Read ahead and rendered, a frame has the same key.
    struct Request
    {
        norviktypes::TickTime mTime;
        BE::FrameDescription mFormat;
        VideoSourcePrefetcher::ReadParameters mParameters;
    };

    norviktypes::FrameRate FrameRateOnGrid(bool inHasGrid) const;
    norviktypes::FrameRate FieldRateOnGrid(bool inHasGrid) const;
    Request DescribeRequest(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams) const;
    TVK::Guid KeyOf(const Request& inRequest) const;
    std::int32_t Fill(const Request& inRequest, const MF::IVideoFrameRef& ioFrame) const;

    const BE::IVideoSourceRef mVideoSource;
    const MF::BinaryData mBinaryData;
    const norviktypes::TickTime mStartTime;
    const norviktypes::TickTime mEndTime;
    const StreamAlpha mAlpha;
    const bool mStreamFlag;
    const double mStreamValue;
    const norviktypes::FrameRate mFrameRate;
    const norvik::WString mPrefetchLabel;
};

} // namespace ML
