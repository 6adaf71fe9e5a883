#include "MediaSourceChain.h"

#include "BE/IClip.h"

namespace ML
{

namespace
{

using norviktypes::FieldType;
using norviktypes::IsInterlaced;

FieldType Flipped(FieldType inType) noexcept
{
    switch (inType)
    {
    case norviktypes::kFieldType_UpperFirst: return norviktypes::kFieldType_LowerFirst;
    case norviktypes::kFieldType_LowerFirst: return norviktypes::kFieldType_UpperFirst;
    default: return inType;
    }
}

// A picture that is made lower has its fields scaled apart by the scaler, which orders them as well.
bool ReversesFields(const MediaChainFacts& inFacts, FieldType inType)
{
    const bool keepsLines =
        inFacts.mScaleToFramePolicy == BE::kScaleToFrame_None || inFacts.mOutputHeight >= inFacts.mClipHeight;
    return inType != inFacts.mSequenceFieldType && IsInterlaced(inFacts.mSequenceFieldType) && keepsLines;
}

void PlanFields(const MediaChainFacts& inFacts, MediaChainSteps& ioSteps)
{
    if (inFacts.mPulldown != norviktypes::kPulldownCadence_None)
    {
        ioSteps.push_back(MediaChainStep::RemovePulldown);
        return;
    }
    if (!IsInterlaced(inFacts.mStreamFieldType) || inFacts.mIsStill)
    {
        return;
    }
    FieldType type = inFacts.mStreamFieldType;
    if (inFacts.mReversesFieldDominance)
    {
        ioSteps.push_back(MediaChainStep::ReverseFieldDominance);
        type = Flipped(type);
    }
    if (inFacts.mFlipsDominanceForCompare)
    {
        type = Flipped(type);
    }
    if (ReversesFields(inFacts, type))
    {
        ioSteps.push_back(MediaChainStep::FieldReverse);
    }
    if (inFacts.mFieldOption == BE::kFieldOption_Deinterlace || inFacts.mDeinterlacesOnTimeMode)
    {
        ioSteps.push_back(MediaChainStep::Deinterlace);
    }
}

} // namespace

MediaChainSteps PlanMediaChain(const MediaChainFacts& inFacts)
{
    MediaChainSteps steps;
    if (!inFacts.mIsFilledByStream)
    {
        PlanFields(inFacts, steps);
    }
    if (inFacts.mFieldOption == BE::kFieldOption_RemoveFlicker)
    {
        steps.push_back(MediaChainStep::RemoveFlicker);
    }
    if (inFacts.mFieldOption == BE::kFieldOption_InterlaceConsecutive && !inFacts.mIsStill)
    {
        steps.push_back(MediaChainStep::InterlaceConsecutive);
    }
    steps.push_back(MediaChainStep::ScaleAndCorrectPixelAspect);
    if (!inFacts.mIsStill)
    {
        steps.push_back(inFacts.mBlendsFrames ? MediaChainStep::TimeBlend : MediaChainStep::TimeMix);
    }
    return steps;
}

IRenderableSourceRef BuildMediaChain(const IRenderableSourceRef& inBase, const MediaChainSteps& inSteps,
                                     const MediaChainFacts& inFacts)
{
    if (!inBase)
    {
        throw TVK::NullInterfaceException();
    }
    IRenderableSourceRef top = inBase;
    for (const MediaChainStep step : inSteps)
    {
        switch (step)
        {
        case MediaChainStep::RemovePulldown: top = RemovePulldownFromSource(top, inFacts.mPulldown); break;
        case MediaChainStep::ReverseFieldDominance: top = ReverseFieldDominanceOfSource(top); break;
        case MediaChainStep::FieldReverse: top = FieldReverseSource(top); break;
        case MediaChainStep::Deinterlace: top = DeinterlaceSource(top); break;
        case MediaChainStep::RemoveFlicker: top = RemoveFlickerFromSource(top); break;
        case MediaChainStep::InterlaceConsecutive: top = InterlaceConsecutiveFramesFromSource(top); break;
        case MediaChainStep::ScaleAndCorrectPixelAspect: top = ScaleAndPARCorrectSource(top); break;
        case MediaChainStep::TimeBlend:
            top = TimeBlendSource(top, inFacts.mTimeTransform, inFacts.mSpeed);
            break;
        case MediaChainStep::TimeMix: top = TimeMixSource(top); break;
        }
    }
    return top;
}

} // namespace ML
