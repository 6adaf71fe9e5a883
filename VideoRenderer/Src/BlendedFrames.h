// The frames of a source that are blended into one.
//
// A blend goes in three steps:
//   1. Render has the source render what the samples show, each frame once, and makes of each frame what a
//      sample needs: a frame without fields serves as it is, of one with fields the own field is taken.
//   2. CreateTarget makes the frame for the result, like the frame of the earliest sample.
//   3. Accumulate or Dissolve writes the whole target, or one field of it.
// A sample whose frame the source did not deliver is left out of the sum, and its weight with it.
//
// Ownership: the frames live as long as this object, which belongs to one render.
//
// Thread-safety: used by one thread.
#pragma once

#include "MF/SampleWeights.h"
#include "RenderableSources.h"

#include <map>
#include <set>
#include <vector>

namespace ML
{

enum class BlendedLines
{
    All,
    Upper,
    Lower,
};

class BlendedFrames
{
public:
    // inHasFields: the result is written field by field.
    BlendedFrames(const IRenderableSourceRef& inSource, const CutlistRenderParams& inRenderParams,
                  bool inHasFields);

    // Called once. Throws what the source throws; but a frame past the source's end counts as not delivered,
    // unless nothing else is delivered either.
    void Render(const std::set<MF::SampleKey>& inKeys);

    // At the size of the frames, or of the params if there is none; planar where the frames are and the params ask
    // for just these planes, else four components. Undefined pixels; empty if it cannot be made.
    MF::IVideoFrameRef CreateTarget() const;

    // The weighted sum of the samples that are there; black, clear where there is alpha, if there is none.
    void Accumulate(const MF::WeightedSamples& inSamples, const MF::IVideoFrameRef& inTarget,
                    BlendedLines inLines) const;
    // The same for the two samples around a time, or the one that it lies on.
    void Dissolve(const MF::WeightedSamples& inSamples, const MF::IVideoFrameRef& inTarget,
                  BlendedLines inLines) const;

private:
    struct Image
    {
        MF::IVideoFrameRef mFrame;
        std::uint32_t mPictureHeight = 0;
        bool mIsOneField = false; // the frame has nothing but the lines of a field
    };
    // What is summed: parallel arrays, as the image routines take them, and the frames that keep them alive.
    struct Terms
    {
        std::vector<MF::IVideoFrameRef> mFrames;
        std::vector<const void*> mPixels;
        std::vector<std::int32_t> mRowBytes;
        std::vector<std::uint32_t> mFormats;
        std::vector<double> mWeights;
    };

    MF::IVideoFrameRef RenderFrame(const MF::FrameTime& inTime, std::int32_t& ioStatus) const;
    Image MakeImage(const MF::IVideoFrameRef& inFrame, norviktypes::FieldType inField) const;
    Image MakeImageOfPlanarField(const MF::IVideoFrameRef& inFrame, bool inIsLower,
                                 const CutlistRenderParams& inParams) const;
    bool AreAllOpaque() const;
    Terms TermsOf(const MF::WeightedSamples& inSamples, const MF::IVideoFrameRef& inTarget,
                  BlendedLines inLines) const;

    const IRenderableSourceRef mSource;
    const CutlistRenderParams mParams;
    const bool mHasFields;
    std::map<MF::SampleKey, Image> mImages;
    bool mIsComplete = false; // no sample is missing
};

} // namespace ML
