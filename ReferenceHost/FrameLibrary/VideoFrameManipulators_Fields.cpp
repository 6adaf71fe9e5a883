#include "IR/ImageRoutines.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "ReferenceHost/ImageRoutines/Fields.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>

namespace VF::VideoFrameManipulators
{

namespace
{

// The most lines of video that begins with its lower field.
constexpr std::uint32_t kMostStandardLines = 576;

bool GetPicture(const MF::IVideoFrameRef& inFrame, FramePixels& outPixels, ir::Picture& outPicture)
{
    return GetFramePixels(inFrame, outPixels) &&
           ir::PictureFromCode(outPixels.mPixels, outPixels.mRowBytes,
                               static_cast<std::int32_t>(outPixels.mWidth),
                               static_cast<std::int32_t>(outPixels.mHeight),
                               BEToIRPixelFormat(outPixels.mFormat), outPicture) == kIR_Success;
}

// Two frames of one format and size that share no memory, the second of which may be written.
bool GetPictures(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget,
                 ir::Picture& outSource, ir::Picture& outTarget)
{
    FramePixels source;
    FramePixels target;
    return GetPicture(inSource, source, outSource) && GetPicture(inTarget, target, outTarget) &&
           !inTarget->IsFrozen() && source.mFormat == target.mFormat && source.mWidth == target.mWidth &&
           source.mHeight == target.mHeight && !ir::Overlap(outSource, outTarget);
}

// A frame that begins with its lower field ends with the upper one.
std::int32_t FieldOfPrevious(const MF::IVideoFrameRef& inCurrent, const ir::Picture& inPicture)
{
    const norviktypes::FieldType type = inCurrent->GetFieldType();
    if (norviktypes::IsInterlaced(type))
    {
        return type == norviktypes::kFieldType_LowerFirst ? kIR_UpperField : kIR_LowerField;
    }
    return inPicture.height <= static_cast<std::int32_t>(kMostStandardLines) ? kIR_UpperField
                                                                             : kIR_LowerField;
}

void MergeAttributes(const MF::IVideoFrameRef& inPrevious, const MF::IVideoFrameRef& ioCurrent)
{
    if (inPrevious->MayHaveTransparency() && !ioCurrent->MayHaveTransparency())
    {
        ioCurrent->SetAlphaType(inPrevious->GetAlphaType());
    }
    TVK::Rect previous;
    TVK::Rect current;
    if (!ioCurrent->GetContentRect(current))
    {
        return;
    }
    if (!inPrevious->GetContentRect(previous))
    {
        ioCurrent->ClearContentRect();
        return;
    }
    const auto isEmpty = [](const TVK::Rect& inRect)
    { return inRect.left >= inRect.right || inRect.top >= inRect.bottom; };
    if (!isEmpty(previous))
    {
        const TVK::Rect joined = {std::min(previous.left, current.left), std::min(previous.top, current.top),
                                  std::max(previous.right, current.right),
                                  std::max(previous.bottom, current.bottom)};
        ioCurrent->SetContentRect(isEmpty(current) ? previous : joined);
    }
}

} // namespace

std::int32_t SwapFields(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget)
{
    ir::Picture source;
    ir::Picture target;
    if (!GetPictures(inSource, inTarget, source, target))
    {
        return kFrameStatus_BadArgument;
    }
    ir::SwapFields(source, target);
    inTarget->SetAlphaType(inSource->GetAlphaType());
    return kFrameStatus_OK;
}

std::int32_t VerticalConvolve(const MF::IVideoFrameRef& inSource, const MF::IVideoFrameRef& inTarget)
{
    ir::Picture source;
    ir::Picture target;
    if (!GetPictures(inSource, inTarget, source, target))
    {
        return kFrameStatus_BadArgument;
    }
    ir::SmoothRows(source, target);
    inTarget->SetAlphaType(inSource->GetAlphaType());
    return kFrameStatus_OK;
}

std::int32_t MergePulldownFrames(const MF::IVideoFrameRef& inPrevious, const MF::IVideoFrameRef& ioCurrent)
{
    ir::Picture previous;
    ir::Picture current;
    if (!GetPictures(inPrevious, ioCurrent, previous, current))
    {
        return kFrameStatus_BadArgument;
    }
    ir::CopyFieldRows(previous, current, FieldOfPrevious(ioCurrent, current));
    MergeAttributes(inPrevious, ioCurrent);
    return kFrameStatus_OK;
}

} // namespace VF::VideoFrameManipulators
