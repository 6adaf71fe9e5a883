#include "FieldOperations.h"

#include "FrameConforming.h"
#include "FrameImage.h"
#include "IR/ImageRoutines.h"
#include "PlanarFields.h"

namespace ML
{

namespace
{

bool IsPlanar(const MF::IVideoFrameRef& inFrame)
{
    return norviktypes::IsSubsampled(FormatOfFrame(inFrame).mProperties);
}

bool HaveEqualSizes(const FrameImage& inA, const FrameImage& inB)
{
    return inA.mWidth == inB.mWidth && inA.mHeight == inB.mHeight;
}

std::int32_t SelectorOf(bool inIsLower)
{
    return inIsLower ? kIR_LowerField : kIR_UpperField;
}

// Pictures that cannot be scaled leave the target as it is.
void Scale(const FrameImage& inSource, std::int32_t inSourceField, const FrameImage& inTarget,
           norviktypes::RenderQuality inQuality)
{
    IR_ScaleConvert(inSource.mPixels, inSource.mRowBytes, inSource.mWidth, inSource.mHeight, inSource.mCode,
                    inSourceField, inTarget.mPixels, inTarget.mRowBytes, inTarget.mWidth, inTarget.mHeight,
                    inTarget.mCode, kIR_WholePicture, inQuality);
}

// inSource has the size of inTarget.
void MoveField(const FrameImage& inSource, bool inSourceIsLower, const FrameImage& inTarget,
               const CutlistRenderParams& inParams)
{
    IR_DeinterlaceCopy(inSource.mPixels, inSource.mRowBytes, inSource.mCode, inTarget.mPixels,
                       inTarget.mRowBytes, inTarget.mCode, inTarget.mWidth, inTarget.mHeight,
                       inSourceIsLower ? 1 : 0, inParams.mDeinterlaceQuality);
}

// Lines of one field, one below the other, seen as that field of a picture of inHeight lines: with half of
// the row bytes, every second line of that picture is one of them. The other field's would lie outside,
// and nobody looks at them.
FrameImage SeenAsField(const FrameImage& inLines, bool inIsLower, std::int32_t inHeight)
{
    FrameImage field = inLines;
    field.mHeight = inHeight;
    field.mRowBytes = inLines.mRowBytes / 2;
    if (inLines.FieldStartsOnSecondRow(inIsLower))
    {
        field.mPixels -= field.mRowBytes;
    }
    return field;
}

// A frame for the lines of one field of inTarget, in the target's format.
MF::IVideoFrameRef CreateFieldFrame(const MF::IVideoFrameRef& inTarget, bool inIsLower,
                                    const CutlistRenderParams& inParams)
{
    const TVK::Rect bounds = BoundsOfFrame(inTarget);
    const std::int32_t lines = (bounds.Height() + (inIsLower ? 0 : 1)) / 2;
    CutlistRenderParams params = inParams;
    params.mPixelFormat = FormatOfFrame(inTarget);
    params.mWidth = static_cast<std::uint32_t>(bounds.Width());
    params.mHeight = static_cast<std::uint32_t>(lines) * 2;
    return CreateHalfHeightFrame(params, false, false);
}

// Two or four times the lines: every field is complete in what is asked for.
bool IsDecimated(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams)
{
    const auto height = static_cast<std::uint32_t>(BoundsOfFrame(inFrame).Height());
    return IsPlanar(inFrame) && (height == inParams.mHeight * 2 || height == inParams.mHeight * 4);
}

// Whether the lines of the field would have to be copied before the others are made in place.
bool IsCopiedAtItsSize(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inParams,
                       bool inForceCopy)
{
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    return (inForceCopy || inFrame->IsFrozen()) && !IsPlanar(inFrame) &&
           static_cast<std::uint32_t>(bounds.Width()) == inParams.mWidth &&
           static_cast<std::uint32_t>(bounds.Height()) == inParams.mHeight;
}

// The lines that stay and those between them go to the new frame together.
MF::IVideoFrameRef DeinterlacedCopy(const MF::IVideoFrameRef& inFrame,
                                    norviktypes::RenderQuality inDeinterlaceQuality, bool inUseLowerField,
                                    const CutlistRenderParams& inParams)
{
    MF::IVideoFrameRef copy = CreateConformedFrame(inParams, inFrame, false, false);
    if (copy)
    {
        copy->SetFieldType(norviktypes::kFieldType_Progressive);
        if (!inFrame->MayHaveTransparency())
        {
            copy->SetAlphaType(inFrame->GetAlphaType());
        }
        const FrameImage from = ImageOfFrame(inFrame);
        const FrameImage to = ImageOfFrame(copy);
        const std::int32_t status =
            IR_DeinterlaceInto(from.mPixels, from.mRowBytes, from.mCode, to.mPixels, to.mRowBytes, to.mCode,
                               to.mWidth, to.mHeight, inUseLowerField ? 1 : 0, inDeinterlaceQuality);
        if (status < 0)
        {
            copy.reset(); // nothing has been written to it
        }
    }
    return copy;
}

MF::IVideoFrameRef FieldAtRenderSize(const MF::IVideoFrameRef& inFrame, bool inUseLowerField,
                                     const CutlistRenderParams& inParams)
{
    MF::IVideoFrameRef frame = CreateRenderSizeFrame(inParams, false, false);
    if (frame)
    {
        frame->SetFieldType(norviktypes::kFieldType_Progressive);
        ScaleFieldToFrame(inFrame, frame, inUseLowerField, inParams);
    }
    return frame;
}

} // namespace

void CopyField(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget, bool inUseLowerField,
               const CutlistRenderParams& inParams)
{
    const FrameImage source = ImageOfFrame(inSource);
    const FrameImage target = ImageOfFrame(inTarget).Field(inUseLowerField);
    if (IsPlanar(inSource))
    {
        Scale(source, SelectorOf(inUseLowerField), target, inParams.mRenderQuality);
    }
    else
    {
        Scale(source.Field(inUseLowerField), kIR_WholePicture, target, inParams.mRenderQuality);
    }
}

void CopyFieldToOtherParity(const MF::IVideoFrameRef& inSource, bool inSourceIsLower,
                            const MF::IVideoFrameRef& inTarget, bool inTargetIsLower,
                            const CutlistRenderParams& inParams)
{
    if (inSourceIsLower == inTargetIsLower)
    {
        CopyField(inSource, inTarget, inTargetIsLower, inParams);
        return;
    }
    const FrameImage source = ImageOfFrame(inSource);
    const FrameImage target = ImageOfFrame(inTarget);
    if (!IsPlanar(inSource) && HaveEqualSizes(source, target))
    {
        MoveField(source, inSourceIsLower, target, inParams);
        return;
    }
    const MF::IVideoFrameRef lines = CreateFieldFrame(inTarget, inSourceIsLower, inParams);
    ScaleFieldToFrame(inSource, lines, inSourceIsLower, inParams);
    MoveField(SeenAsField(ImageOfFrame(lines), inSourceIsLower, target.mHeight), inSourceIsLower, target,
              inParams);
}

void ScaleFieldToFrame(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                       bool inUseLowerField, const CutlistRenderParams& inParams)
{
    Scale(ImageOfFrame(inSource), SelectorOf(inUseLowerField), ImageOfFrame(inTarget),
          inParams.mRenderQuality);
}

MF::IVideoFrameRef DeinterlaceFrame(const MF::IVideoFrameRef& inFrame,
                                    norviktypes::RenderQuality inDeinterlaceQuality, bool inUseLowerField,
                                    const CutlistRenderParams& inParams, bool inForceCopy)
{
    if (IsDecimated(inFrame, inParams))
    {
        return FieldAtRenderSize(inFrame, inUseLowerField, inParams);
    }
    if (HasRowsForOneMoment(inFrame, inParams))
    {
        return DeinterlacedPlanes(inFrame, inDeinterlaceQuality, inUseLowerField, inParams);
    }
    if (IsCopiedAtItsSize(inFrame, inParams, inForceCopy))
    {
        return DeinterlacedCopy(inFrame, inDeinterlaceQuality, inUseLowerField, inParams);
    }
    MF::IVideoFrameRef frame = MakeWriteableAtRenderSize(inFrame, inParams, inUseLowerField, inForceCopy);
    if (frame)
    {
        const FrameImage image = ImageOfFrame(frame);
        IR_Deinterlace(image.mPixels, image.mRowBytes, image.mCode, image.mWidth, image.mHeight,
                       inUseLowerField ? 1 : 0, inDeinterlaceQuality);
        frame->SetFieldType(norviktypes::kFieldType_Progressive);
    }
    return frame;
}

MF::IVideoFrameRef InterleaveFrames(const MF::FrameTime& inTimes, const CutlistRenderParams& inParams,
                                    const MF::IVideoFrameRef& inFrameA, const MF::FrameTime& inTimesA,
                                    const MF::IVideoFrameRef& inFrameB, const MF::FrameTime& inTimesB)
{
    const bool useLowerOfA = inTimesA.mSecondTime == inTimes.mSecondTime;
    const bool useLowerOfB = inTimesB.mFirstTime != inTimes.mFirstTime;
    const MF::IVideoFrameRef& model = inFrameA ? inFrameA : inFrameB;
    const CutlistRenderParams params = ParamsAtSizeMeantBy(model, inParams);
    if (inTimes.mFirstTime == inTimes.mSecondTime && inFrameA == inFrameB)
    {
        return DeinterlaceFrame(inFrameA, params.mDeinterlaceQuality, useLowerOfA, params, false);
    }

    const bool isIncomplete = !inFrameA || !inFrameB;
    if (!isIncomplete && useLowerOfA && !useLowerOfB && HaveRowsForFields(inFrameA, inFrameB, params))
    {
        const MF::IVideoFrameRef planes = WovenPlanes(inFrameA, inFrameB, params);
        if (planes)
        {
            planes->SetFieldType(inTimes.Order());
        }
        return planes;
    }
    const MF::IVideoFrameRef woven = CreateConformedFrame(params, model, isIncomplete, isIncomplete);
    if (!woven)
    {
        return woven;
    }
    woven->SetFieldType(inTimes.Order());
    if (inFrameA)
    {
        CopyFieldToOtherParity(inFrameA, useLowerOfA, woven, true, params);
    }
    if (inFrameB)
    {
        CopyFieldToOtherParity(inFrameB, useLowerOfB, woven, false, params);
    }
    return woven;
}

} // namespace ML
