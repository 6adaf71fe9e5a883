#include "ReferenceHost/Effects/EffectFilter.h"

#include "ReferenceHost/Effects/EffectFormats.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"
#include "VF/VideoFrame.h"

#include <atomic>
#include <new>

namespace Effects
{
namespace
{

double ScaleOf(const ML::EffectRenderInfo* inInfo)
{
    const bool isTold = inInfo != nullptr && inInfo->isUnset == 0 && inInfo->downsampleFactor > 0.0F;
    return isTold ? static_cast<double>(inInfo->downsampleFactor) : 1.0;
}

double AspectOf(const MF::IVideoFrame& inFrame)
{
    norviktypes::PixelAspectRatio ratio;
    inFrame.GetPixelAspectRatio(ratio);
    const bool isTold = ratio.GetNumerator() != 0 && ratio.GetDenominator() != 0;
    return isTold ? static_cast<double>(ratio.GetNumerator()) / ratio.GetDenominator() : 1.0;
}

} // namespace

std::uint32_t NextInstanceID() noexcept
{
    static std::atomic<std::uint32_t> sNext{1};
    return sNext.fetch_add(1, std::memory_order_relaxed);
}

EffectFilter::EffectFilter(const EffectDescription& inDescription)
    : mDescription(inDescription)
    , mInstanceID(NextInstanceID())
{
}

norvik::utility::ImmutableString EffectFilter::GetMatchName() const
{
    return norvik::utility::ImmutableString::CreateDynamic(mDescription.mMatchName.c_str());
}

void EffectFilter::GetPixelFormats(const MF::IVideoFrameRef&, const norviktypes::PixelFormat&,
                                   std::vector<norviktypes::PixelFormat>& outFormats) const
{
    outFormats = WorkingFormats();
}

std::int32_t EffectFilter::GetOpaqueData(MF::BinaryData&) const
{
    return VF::kFrameStatus_BadArgument;
}

void EffectFilter::GetStreamLabels(std::vector<norvik::utility::ImmutableString>& outLabels) const
{
    outLabels.clear();
}

std::int32_t EffectFilter::Render(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                                  MF::IVideoFrameRef& outFrame)
{
    const EffectParameters parameters(mDescription, inRender.mParameters, inRender.mClipTime);
    const FilterCall call = {inRender, parameters, ScaleOf(inRender.mInfo), AspectOf(*inFrame),
                             inFrame->GetFieldType()};
    if (IsIdle(call))
    {
        outFrame = inFrame;
        return 0;
    }
    MF::IVideoFrameRef frame;
    ir::Picture source;
    ir::Picture target;
    std::int32_t status = inFrame->CreateCompatibleFrame(frame);
    status = status < 0 ? status : PictureOf(inFrame, source);
    status = status < 0 ? status : PictureOf(frame, target);
    try
    {
        status = status < 0 ? status : Draw(call, source, target);
    }
    catch (const std::bad_alloc&)
    {
        status = VF::kFrameStatus_OutOfMemory;
    }
    if (status < 0)
    {
        return status;
    }
    const bool keepsOpaque = KeepsOpaque(inRender.mParameters ? *inRender.mParameters : MF::KeyframeStore());
    if (!keepsOpaque && frame->GetAlphaType() == norviktypes::kAlphaChannel_Opaque)
    {
        frame->SetAlphaType(norviktypes::kAlphaChannel_Straight);
    }
    outFrame = frame;
    return status;
}

std::int32_t PixelFilter::Draw(const FilterCall& inCall, const ir::Picture& inSource,
                               const ir::Picture& outTarget) const
{
    const auto operation = Prepare(inCall, inSource);
    const auto width = static_cast<std::size_t>(inSource.width);
    const ir::RowBuffers<float> rows(6, width + 64);
    const ir::FloatRow row = {{rows.Row(0), rows.Row(1), rows.Row(2), rows.Row(3)}};
    ir::Picture coded = inSource;
    coded.transfer = ir::Transfer::kDisplay;
    const ir::RowPlan toCoded = ir::PlanFor(inSource, coded);
    const ir::RowPlan fromCoded = ir::PlanFor(coded, outTarget);
    for (std::int32_t y = 0; y < inSource.height; ++y)
    {
        ir::ReadFloatRow(inSource, y, row, rows.Row(4));
        ir::ApplyPlan(toCoded, row, width);
        operation->Apply(row, y, width);
        ir::ApplyPlan(fromCoded, row, width);
        ir::WriteFloatRow(outTarget, y, row);
    }
    return 0;
}

} // namespace Effects
