#include "RenderableNodeTransitionImpl.h"

#include "PropertyText.h"
#include "RenderableNodeEffectImpl.h"

namespace ML
{

namespace
{

using norvik::UTF8String;
using norvik::utility::ImmutableString;

UTF8String OfPoint(const TVK::ParamPoint<double>& inPoint)
{
    return PropertyText::OfDouble(inPoint.x) + "," + PropertyText::OfDouble(inPoint.y);
}

} // namespace

MF::IRenderableNodeRef CreateTransitionNode(const BE::ITransitionItemRef& inItem,
                                            const MF::IRenderableNodeRef& inNodeA,
                                            const norviktypes::TickTime& inOffsetA,
                                            const MF::IRenderableNodeRef& inNodeB,
                                            const norviktypes::TickTime& inOffsetB)
{
    const TVK::InterfaceRef<RenderableNodeTransitionImpl> node(new RenderableNodeTransitionImpl());
    node->Initialize(inItem);
    node->AppendInput(inNodeA, inOffsetA);
    node->AppendInput(inNodeB, inOffsetB);
    node->Finalize();
    return node->AsNode();
}

// Items share a transition, and its pictures depend on how long it lasts: so the length is the item's. The
// place on the track is left out, for the same transition elsewhere to be the same node.
void RenderableNodeTransitionImpl::Initialize(const BE::ITransitionItemRef& inItem)
{
    mTransition = inItem->GetTransition();
    mTransition->GetInfo(mInfo);
    mParameters = mTransition->GetParameters();
    if (!mParameters)
    {
        throw TVK::NullInterfaceException();
    }
    mStart = norviktypes::kTime_Zero;
    mEnd = inItem->GetEnd() - inItem->GetStart();
    mInfo.mDuration = mEnd - mStart;
    SetTransitionProperties();
}

void RenderableNodeTransitionImpl::SetTransitionProperties()
{
    const auto set = [this](const char* inKey, const UTF8String& inValue, bool inHashed = true)
    { SetCommonProperty(ImmutableString::CreateStatic(inKey), inValue, inHashed); };
    set("TransitionNode::TransitionMatchName", mInfo.mMatchName.ToString());
    set("TransitionNode::TransitionOpaqueData",
        PropertyText::OfBinary(mInfo.mOpaqueData.Data(), mInfo.mOpaqueData.Size()));
    set("TransitionNode::TransitionStartPosition", OfPoint(mInfo.mStartPosition));
    set("TransitionNode::TransitionEndPosition", OfPoint(mInfo.mEndPosition));
    set("TransitionNode::TransitionCenterPosition", OfPoint(mInfo.mCenterPosition));
    set("TransitionNode::TransitionStartPercent", PropertyText::OfDouble(mInfo.mStartPercent));
    set("TransitionNode::TransitionEndPercent", PropertyText::OfDouble(mInfo.mEndPercent));
    set("TransitionNode::TransitionBorderWidth", PropertyText::OfDouble(mInfo.mBorderWidth));
    set("TransitionNode::TransitionBorderColor", PropertyText::OfUInt32(mInfo.mBorderColor.mValue));
    set("TransitionNode::TransitionSwitchSources", PropertyText::OfTruth(mInfo.mSwitchSources));
    set("TransitionNode::TransitionReverse", PropertyText::OfTruth(mInfo.mReverse));
    set("TransitionNode::TransitionDirection", PropertyText::OfUInt32(mInfo.mDirection));
    set("TransitionNode::TransitionAntiAliasQuality", PropertyText::OfUInt32(mInfo.mAntiAliasQuality));
    set("TransitionNode::TransitionDuration", PropertyText::OfTime(mInfo.mDuration));
    set("TransitionNode::RuntimeInstanceID", PropertyText::OfUInt32(mInfo.mRuntimeInstanceID), false);
    set("TransitionNode::TransitionParams", TextOfParameterList(*mParameters));
}

ImmutableString RenderableNodeTransitionImpl::GetNodeType() const
{
    return ImmutableString::CreateStatic("RenderableNodeTransitionImpl");
}

// A picture that is half nothing is never opaque, however its other half is.
std::uint32_t RenderableNodeTransitionImpl::CalculateInformativeFlags() const
{
    const std::uint32_t own = MF::kNodeFlag_StaticParameters | MF::kNodeFlag_TimeContained;
    std::uint32_t flags = mTransition->KeepsOpaque() ? own | MF::kNodeFlag_Opaque : own;
    for (const auto& [node, offset] : Inputs())
    {
        flags &= node ? node->GetInformativeFlags() : ~MF::kNodeFlag_Opaque;
    }
    return flags;
}

const MF::KeyframeStore& RenderableNodeTransitionImpl::GetKeyframes()
{
    return *mParameters;
}

TVK::InterfaceRef<TransitionNodeProducer>
RenderableNodeTransitionImpl::MakeProducer(const MF::FrameTime& inFrameTime,
                                           const CutlistRenderParams& inRenderParams)
{
    TVK::InterfaceRef<TransitionNodeProducer> producer(new TransitionNodeProducer());
    producer->SetInputs(Inputs(), inFrameTime, inRenderParams);
    producer->SetTransition(mTransition, mStart, mEnd, GetHashValue());
    return producer;
}

IRenderableNodeProducerRef
RenderableNodeTransitionImpl::GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                  const CutlistRenderParams& inRenderParams)
{
    return MakeProducer(inFrameTime, inRenderParams)->AsProducer();
}

IRenderableNodeProducerRef RenderableNodeTransitionImpl::GetProducerForFramesAndTime(
    const MF::IVideoFrameRef& inFrameA, const MF::IVideoFrameRef& inFrameB, const MF::FrameTime& inFrameTime,
    const CutlistRenderParams& inParams)
{
    const auto producer = MakeProducer(inFrameTime, inParams);
    producer->SetPresetFrames(inFrameA, inFrameB);
    return producer->AsProducer();
}

} // namespace ML
