// Producers of the nodes that show media: media nodes and previews.
//
// All that a frame needs was settled when the node was built; a producer shares that record with its node and
// adds what belongs to its frame. Times that it is asked for are the node's; the media's lie mContentStart
// after them.
//
// Frames of a chain of sources come at the size of the picture on the output, which is often not the render
// size. Failures of the media come out as the chain throws them.
//
// Thread-safety: the record is frozen and shared; a producer is used by one thread at a time.
#pragma once

#include "BE/IClip.h"
#include "BE/IMediaDescription.h"
#include "MF/IRenderableCutlist.h"
#include "RenderableNodeProducer.h"
#include "RenderableSources.h"
#include "TVK/ParamTypes.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ML
{

struct MediaNodeSettings
{
    BE::IClipRef mClip;           // empty for a preview
    IRenderableSourceRef mSource; // empty where there is nothing to read
    BE::IVideoStreamInfoRef mStreamInfo;

    TVK::Rect mFrameRect; // of the clip
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    TVK::Rect mMediaRect; // of the frames that the stream gives
    norviktypes::PixelAspectRatio mMediaPixelAspectRatio;
    std::uint32_t mScaleToFramePolicy = 0;

    norviktypes::TickTime mInPoint;
    norviktypes::TickTime mOutPoint;
    norviktypes::TickTime mContentStart;
    std::uint32_t mClipTimeMode = 0;
    bool mDeinterlaceOnTimeMode = false;
    bool mReverseFieldDominance = false;
    std::uint32_t mFieldOption = 0;
    bool mFrameBlend = false;
    double mSpeed = 1.0; // negative: backwards
    MF::ITimeTransformRef mTimeTransform;

    bool mIsStill = false;
    bool mIsOffline = false;
    bool mIsPending = false;
    bool mFlipDominanceForCompare = false;
    bool mNoMedia = false; // a sequence, or the chosen track of a multi-camera source, that has no cutlist
    bool mIsMulticam = false;
    std::uint32_t mSelectedTrack = 0;

    bool mIsSequenceOfClip = false; // a sequence that a clip shows; false also for a sequence by itself
    MF::IRenderableCutlistRef mFullCutlist; // of a nested sequence
    MF::IRenderableCutlistRef mRenderCutlist;
    std::vector<MF::TimeRange> mStillRanges; // sorted, in node time
};
using MediaNodeSettingsRef = std::shared_ptr<const MediaNodeSettings>;

// inNodeHash names the node in the hashes of its frames.
IRenderableNodeProducerRef CreateMediaNodeProducer(const MediaNodeSettingsRef& inSettings,
                                                   const TVK::Guid& inNodeHash,
                                                   const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams);

// Of nodes that show media.
constexpr std::uint32_t FlagsOfMedia(bool inIsStill, bool inIsOpaque) noexcept
{
    return MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Extendable | MF::kNodeFlag_TimeContained |
           (inIsStill ? MF::kNodeFlag_Still : 0u) | (inIsOpaque ? MF::kNodeFlag_Opaque : 0u);
}

// Whether frames of the stream, read with this alpha, may let through what lies beneath: where it has alpha that
// counts, and a format to deliver it in. Streams convert to formats with alpha also where they have none.
bool MayBeTransparent(const BE::IVideoSourceRef& inStream, const BE::AlphaInterpretation& inAlpha);

// The rectangle of the picture in a render.
TVK::Rect ScaledRectInRender(const MediaNodeSettings& inSettings, const CutlistRenderParams& inRenderParams);

// True for a frame of the render size, and for a packed 4:2:2 frame of the full height and half the full width
// that stands for it.
bool FrameHasRenderSize(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams);

} // namespace ML
