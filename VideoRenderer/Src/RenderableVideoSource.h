// The source at the heart of a chain: one media stream.
//
// It conforms times to the stream's grid and field order, asks the stream for the frame, and makes its
// alpha and pixel aspect what the creator said they are. All fields are set once at creation.
//
// Thread-safety: safe; immutable, and frames are written only after they were made writeable, since
// one from the stream may be shared with a cache.
#pragma once

#include "RenderableSources.h"
#include "StreamAlpha.h"
#include "TVK/Allocated.h"

namespace ML
{

class RenderableVideoSource final : public TVK::Implements<RenderableVideoSource, IRenderableSource>
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableVideoSource;

    RenderableVideoSource(const BE::IVideoSourceRef& inSource, const MF::BinaryData& inBinaryData,
                          norviktypes::AlphaChannel inAlpha, const TVK::ParamColor<unsigned long>& inMatte,
                          bool inIgnoreAlpha, bool inInvertAlpha, const norviktypes::FrameRate& inFrameRate,
                          norviktypes::FieldType inFieldType,
                          const norviktypes::PixelAspectRatio& inPixelAspectRatio,
                          const norviktypes::ColorProfile& inColorProfile,
                          const norvik::WString& inPrefetchLabel);

    // Answers the class's own id with the object itself, beside the interfaces.
    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override;

    void ConformFrameTime(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
    void GetFrameRate(norviktypes::FrameRate& outRate) override;
    void GetFieldRate(norviktypes::FrameRate& outRate) override;

private:
    struct Request
    {
        norviktypes::TickTime mTime;
        BE::FrameDescription mFormat;
    };

    Request DescribeRequest(const MF::FrameTime& inTime, const CutlistRenderParams& inRenderParams) const;
    norviktypes::FrameRate FrameRateOnGrid(bool inHasGrid) const;
    norviktypes::FrameRate FieldRateOnGrid(bool inHasGrid) const;
    norviktypes::FieldType OrderOfFrame(const MF::FrameTime& inTime) const;
    void ConformPixelAspectRatio(MF::IVideoFrameRef& ioFrame,
                                 const CutlistRenderParams& inRenderParams) const;

    const BE::IVideoSourceRef mVideoSource;
    const MF::BinaryData mBinaryData;
    const StreamAlpha mAlpha;
    const norviktypes::FrameRate mFrameRate;
    const norviktypes::FieldType mFieldType;
    const norviktypes::FieldType mStreamFieldType;
    const norviktypes::PixelAspectRatio mPixelAspectRatio;
    const norviktypes::ColorProfile mColorProfile;
    const norvik::WString mPrefetchLabel;
};

} // namespace ML
