#include "BlendedFrames.h"

#include "FieldOperations.h"
#include "FrameConforming.h"
#include "FrameImage.h"
#include "IR/ImageRoutines.h"
#include "PlanarFields.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>
#include <utility>

namespace ML
{

namespace
{

// The lines of one picture that are blended at a time, as a picture.
FrameImage LinesOf(const FrameImage& inImage, BlendedLines inLines)
{
    return inLines == BlendedLines::All ? inImage : inImage.Field(inLines == BlendedLines::Lower);
}

// inFrame scaled to the target and in its format; empty if that cannot be made.
MF::IVideoFrameRef CopyLike(const MF::IVideoFrameRef& inTarget, const MF::IVideoFrameRef& inFrame,
                            norviktypes::RenderQuality inQuality)
{
    MF::IVideoFrameRef copy;
    if (inTarget->CreateCompatibleFrame(copy) < 0)
    {
        return {};
    }
    copy->SetFieldType(norviktypes::kFieldType_Progressive);
    const std::int32_t status =
        VF::VideoFrameManipulators::CopyFrameWithFields(inFrame, copy, inQuality, kIR_WholePicture);
    return status < 0 ? MF::IVideoFrameRef() : copy;
}

} // namespace

BlendedFrames::BlendedFrames(const IRenderableSourceRef& inSource, const CutlistRenderParams& inRenderParams,
                             bool inHasFields)
    : mSource(inSource)
    , mParams(inRenderParams)
    , mHasFields(inHasFields)
{
}

void BlendedFrames::Render(const std::set<MF::SampleKey>& inKeys)
{
    std::map<std::pair<norviktypes::TickTime, norviktypes::TickTime>, MF::IVideoFrameRef> rendered;
    std::int32_t statusPastEnd = 0;
    for (const MF::SampleKey& key : inKeys)
    {
        MF::FrameTime time;
        mSource->ConformFrameTime(MF::FrameTime(key.first), mParams, time);
        const auto [entry, isNew] = rendered.try_emplace({time.mFirstTime, time.mSecondTime});
        if (isNew)
        {
            entry->second = RenderFrame(time, statusPastEnd);
        }
        Image image = entry->second ? MakeImage(entry->second, key.second) : Image();
        if (image.mFrame)
        {
            mImages.emplace(key, std::move(image));
        }
    }
    mIsComplete = mImages.size() == inKeys.size();
    if (mImages.empty() && statusPastEnd < 0)
    {
        throw RenderRequestException(statusPastEnd);
    }
}

MF::IVideoFrameRef BlendedFrames::RenderFrame(const MF::FrameTime& inTime, std::int32_t& ioStatus) const
{
    MF::IVideoFrameRef frame;
    try
    {
        mSource->Render(inTime, mParams, frame);
    }
    catch (const RenderRequestException& exception)
    {
        if (exception.GetStatus() != BE::kSourceStatus_PastEnd)
        {
            throw;
        }
        ioStatus = exception.GetStatus();
        frame.reset();
    }
    return frame;
}

BlendedFrames::Image BlendedFrames::MakeImage(const MF::IVideoFrameRef& inFrame,
                                              norviktypes::FieldType inField) const
{
    CutlistRenderParams params = ParamsAtSizeMeantBy(inFrame, mParams);
    const bool isLower = inField == norviktypes::kFieldType_LowerFirst;
    const bool hasFields = norviktypes::IsInterlaced(inFrame->GetFieldType());
    if (hasFields && !norviktypes::IsSubsampled(FormatOfFrame(inFrame).mProperties))
    {
        // A copy, as the same frame may serve the other field as well.
        return {DeinterlaceFrame(inFrame, mParams.mDeinterlaceQuality, isLower, params, true),
                params.mHeight};
    }
    // The format that is blended, at once: a wildcard is no format to convert to, and a packed one with less
    // chroma would only cost some of it.
    params.mPixelFormat = FormatOfConformedFrame(mParams, inFrame);
    if (hasFields)
    {
        return MakeImageOfPlanarField(inFrame, isLower, params);
    }
    if (!mHasFields && HasWishedPlanes(inFrame, mParams))
    {
        return {inFrame, params.mHeight};
    }
    CutlistRenderParams renderParams = mParams;
    renderParams.mPixelFormat = params.mPixelFormat;
    return {MakeAddressableAtRenderSize(inFrame, renderParams), params.mHeight};
}

BlendedFrames::Image BlendedFrames::MakeImageOfPlanarField(const MF::IVideoFrameRef& inFrame, bool inIsLower,
                                                           const CutlistRenderParams& inParams) const
{
    // The upper field of an odd height has a line more than half of them.
    CutlistRenderParams params = inParams;
    params.mHeight += inIsLower ? 0 : inParams.mHeight % 2;
    Image image;
    image.mPictureHeight = inParams.mHeight;
    image.mIsOneField = mHasFields && params.mHeight > 1;
    image.mFrame = image.mIsOneField ? CreateHalfHeightFrame(params, false, false)
                                     : CreateRenderSizeFrame(inParams, false, false);
    if (image.mFrame)
    {
        ScaleFieldToFrame(inFrame, image.mFrame, inIsLower, inParams);
    }
    return image;
}

MF::IVideoFrameRef BlendedFrames::CreateTarget() const
{
    if (mImages.empty())
    {
        return CreateConformedFrame(mParams, {}, false, false);
    }
    const Image& first = mImages.begin()->second;
    CutlistRenderParams params = mParams;
    params.mWidth = static_cast<std::uint32_t>(BoundsOfFrame(first.mFrame).Width());
    params.mHeight = first.mPictureHeight;
    first.mFrame->GetPixelAspectRatio(params.mPixelAspectRatio);
    if (norviktypes::IsSubsampled(FormatOfFrame(first.mFrame).mProperties))
    {
        // Planes that the client wishes for are summed plane by plane.
        return CreateRenderSizeFrame(params, false, false);
    }
    const MF::IVideoFrameRef target = CreateConformedFrame(params, first.mFrame, false, false);
    if (target && target->MayHaveTransparency() && AreAllOpaque())
    {
        target->SetAlphaType(first.mFrame->GetAlphaType());
    }
    return target;
}

bool BlendedFrames::AreAllOpaque() const
{
    return mIsComplete &&
           std::none_of(mImages.begin(), mImages.end(),
                        [](const auto& inEntry) { return inEntry.second.mFrame->MayHaveTransparency(); });
}

BlendedFrames::Terms BlendedFrames::TermsOf(const MF::WeightedSamples& inSamples,
                                            const MF::IVideoFrameRef& inTarget, BlendedLines inLines) const
{
    const FrameImage target = LinesOf(ImageOfFrame(inTarget), inLines);
    Terms terms;
    for (const MF::WeightedSample& sample : inSamples)
    {
        const auto found = mImages.find(sample.first);
        if (found == mImages.end())
        {
            continue;
        }
        // The lines of a field that lie one below the other are all of that frame; only of whole pictures
        // every second one is taken.
        MF::IVideoFrameRef frame = found->second.mFrame;
        FrameImage image = ImageOfFrame(frame);
        image = found->second.mIsOneField ? image : LinesOf(image, inLines);
        if (image.mWidth != target.mWidth || image.mHeight != target.mHeight)
        {
            // A stream may change its size, and the blend goes by the size of its first frame.
            frame = CopyLike(inTarget, frame, mParams.mRenderQuality);
            if (!frame)
            {
                continue;
            }
            image = LinesOf(ImageOfFrame(frame), inLines);
        }
        terms.mFrames.push_back(frame);
        terms.mPixels.push_back(image.mPixels);
        terms.mRowBytes.push_back(image.mRowBytes);
        terms.mFormats.push_back(image.mCode);
        terms.mWeights.push_back(sample.second);
    }
    return terms;
}

void BlendedFrames::Accumulate(const MF::WeightedSamples& inSamples, const MF::IVideoFrameRef& inTarget,
                               BlendedLines inLines) const
{
    const Terms terms = TermsOf(inSamples, inTarget, inLines);
    const FrameImage target = LinesOf(ImageOfFrame(inTarget), inLines);
    IR_Accumulate(terms.mPixels.data(), terms.mRowBytes.data(), terms.mFormats.data(), terms.mWeights.data(),
                  static_cast<std::int32_t>(terms.mFrames.size()), target.mPixels, target.mRowBytes,
                  target.mHeight, target.mWidth, target.mCode, mParams.mRenderQuality);
}

void BlendedFrames::Dissolve(const MF::WeightedSamples& inSamples, const MF::IVideoFrameRef& inTarget,
                             BlendedLines inLines) const
{
    const Terms terms = TermsOf(inSamples, inTarget, inLines);
    // The weights of linear floats are those of a sum; and what is missing has none to dissolve with.
    if (mParams.mRenderQuality >= norviktypes::kRenderQuality_Max || terms.mFrames.size() != 2)
    {
        Accumulate(inSamples, inTarget, inLines);
        return;
    }
    const FrameImage target = LinesOf(ImageOfFrame(inTarget), inLines);
    IR_CrossDissolve(terms.mPixels[0], terms.mRowBytes[0], terms.mFormats[0], terms.mPixels[1],
                     terms.mRowBytes[1], terms.mFormats[1], target.mPixels, target.mRowBytes, target.mCode,
                     target.mWidth, target.mHeight, static_cast<float>(terms.mWeights[1]),
                     mParams.mRenderQuality);
}

} // namespace ML
