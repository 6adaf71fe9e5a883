// The base of transitions that the host draws itself.
//
// Progress runs from the start percent to the end percent, 0 to 100 unless told otherwise: frame i of N is i / N of
// the way, and one frame alone is halfway. Reverse runs the same motion backwards between the same two pictures;
// switched sources exchange the pictures. Both hold for every transition.
//
// The colour of straight pixels counts by its alpha wherever pictures are mixed.
//
// Thread-safety: safe, as long as Draw is.
#pragma once

#include "ML/VideoTransition.h"
#include "ReferenceHost/Effects/EffectDescription.h"
#include "ReferenceHost/Effects/EffectParameters.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <vector>

namespace Effects
{

// One render as a transition sees it. All pictures are of one size and one of the working formats.
struct TransitionCall
{
    double progress = 0.0; // 0: from alone, 1: to alone
    const EffectParameters& parameters;
    double scale = 1.0;  // pixels of this picture to a pixel of the full-size one
    double aspect = 1.0; // width of a pixel over its height
    const ir::Picture& from;
    const ir::Picture& to;
    const ir::Picture& target;    // its pixels are undefined
    double seconds = 0.0;         // since the start of the transition
    std::int32_t wholeHeight = 0; // of the pictures that these are rows of
};

class EffectTransition : public TVK::Implements<EffectTransition, ML::IVideoTransition>
{
public:
    // inDescription outlives the transition; inParameters may be null.
    EffectTransition(const EffectDescription& inDescription, const ML::TransitionInfo& inInfo,
                     const BE::ParameterListRef& inParameters);

    void GetInfo(ML::TransitionInfo& outInfo) const override { outInfo = mInfo; }
    bool KeepsOpaque() const override { return true; }
    void GetPixelFormats(std::vector<norviktypes::PixelFormat>& outFormats) const override;
    BE::ParameterListRef GetParameters() const override { return mParameters; }
    std::int32_t Render(const ML::VideoTransitionRender& inRender, const MF::IVideoFrameRef& ioFrame,
                        const MF::IVideoFrameRef& inB, const MF::IVideoFrameRef& inA) override;

    const EffectDescription& Description() const noexcept { return mDescription; }

protected:
    // 0 or negative. May throw std::bad_alloc.
    virtual std::int32_t Draw(const TransitionCall& inCall) const = 0;

    // Whether each row of the result shows nothing but the same row of the two pictures. Pictures that are still to
    // be made are then made a few rows at a time, which are mixed while they are in the caches.
    virtual bool DrawsRowByRow() const { return false; }

    // Whether a pixel is whole by its alpha, to the last bit of an integer, where those of both pictures are. What is
    // known of the pictures is then known of the result, and nobody need look through it.
    virtual bool KeepsWholeAlpha() const { return false; }

private:
    bool WillBeWhole(const MF::IVideoFrame& inTarget, const MF::IVideoFrameRef& inB,
                     const MF::IVideoFrameRef& inA) const;
    std::int32_t RenderPictures(const ML::VideoTransitionRender& inRender, const MF::IVideoFrameRef& ioFrame,
                                const MF::IVideoFrameRef& inB, const MF::IVideoFrameRef& inA) const;

    const EffectDescription& mDescription;
    ML::TransitionInfo mInfo;
    BE::ParameterListRef mParameters;
};

// How far a transition is at the moment of a render, 0 to 1, before percents and reversal. Where there is no rate to
// count frames by, the share of its time that has passed.
double ProgressOf(const ML::VideoTransitionRender& inRender) noexcept;

} // namespace Effects
