#include "RenderableNodePreviewImpl.h"

#include "MF/Conversions.h"
#include "PropertyText.h"
#include "norvik/config/Contract.h"
#include "norvik/debug/Debug.h"
#include "norvik/utility/Strings.h"
#include "norviktypes/Pulldown.h"

namespace ML
{

namespace
{

using BE::PreviewStreamDescription;
using norvik::UTF8String;

constexpr const char* kFile = "Src/RenderableNodePreviewImpl";
constexpr bool kHashed = true;
constexpr bool kInformative = false;

UTF8String TextOf(const MF::BinaryData& inData)
{
    return PropertyText::OfBinary(inData.Data(), inData.Size());
}

} // namespace

RenderableNodePreviewImpl::RenderableNodePreviewImpl() : mSettings(std::make_shared<MediaNodeSettings>()) {}

void RenderableNodePreviewImpl::SetProperty(const char* inKey, const UTF8String& inValue, bool inHashed)
{
    SetCommonProperty(norvik::utility::ImmutableString::CreateStatic(inKey), inValue, inHashed);
}

void RenderableNodePreviewImpl::SetLabel(const norvik::utility::ImmutableString& inLabel)
{
    ML_INPUT_CONTRACT(IsMutable(), "mMutable", kFile, "ML::RenderableNodePreviewImpl::SetLabel", __LINE__);
    mLabel = inLabel;
}

void RenderableNodePreviewImpl::SetVideoStream(const BE::IPreviewStreamRef& inStream, bool inFlagA,
                                               bool inFlagB)
{
    ML_INPUT_CONTRACT(IsMutable(), "mMutable", kFile, "ML::RenderableNodePreviewImpl::SetVideoStream",
                      __LINE__);
    PreviewStreamDescription description;
    inStream->Describe(description);
    mStream = inStream;
    WriteMedia(description);
    WriteStream(description);
    WriteClip(description);
    ReadSettings(description);

    const BE::IVideoSourceRef source = inStream->GetVideoSource();
    const bool isDisabled =
        norvik::debug::DebugDatabase::Instance().GetBoolEntry("DisableNewMediaNodeRenderer", false);
    if (source && !description.mIsOffline && !description.mIsPending)
    {
        BuildChain(description, source);
    }
    mKeepsStreamRange = mSettings->mSource && !isDisabled && !inFlagA && !inFlagB;
    if (mKeepsStreamRange)
    {
        source->GetStartTime(mStreamRange.mStart);
        mStreamRange.mEnd = mStreamRange.mStart + inStream->GetDuration();
    }
}

void RenderableNodePreviewImpl::WriteMedia(const PreviewStreamDescription& inDescription)
{
    SetProperty("MediaNode::MediaInstanceString", PropertyText::OfWideText(inDescription.mMediaInstance),
                kHashed);
    SetProperty("MediaNode::MediaStreamGroup", PropertyText::OfUInt32(inDescription.mStreamGroup), kHashed);
    SetProperty("MediaNode::MediaIsDraft", PropertyText::OfTruth(inDescription.mIsDraft), kHashed);
    SetProperty("MediaNode::MediaIsOffline", PropertyText::OfTruth(inDescription.mIsOffline), kHashed);
    SetProperty("MediaNode::ClipID", PropertyText::OfGuid(inDescription.mClipID), kInformative);
    SetProperty("MediaNode::MediaModState", TextOf(inDescription.mModificationState), kHashed);
    SetProperty("MediaNode::MediaIsPending", PropertyText::OfTruth(inDescription.mIsPending), kHashed);
}

void RenderableNodePreviewImpl::WriteStream(const PreviewStreamDescription& inDescription)
{
    const BE::AlphaInterpretation& alpha = inDescription.mAlpha;
    SetProperty("MediaNode::StreamFrameRate", PropertyText::OfInt64(inDescription.mFrameRate.GetTicks()),
                kHashed);
    SetProperty("MediaNode::StreamAlphaType",
                PropertyText::OfInt32(MF::BEToSDKAlphaType(alpha.mType, alpha.mMatte)), kHashed);
    SetProperty("MediaNode::StreamIgnoreAlpha", PropertyText::OfTruth(alpha.mIgnore), kHashed);
    SetProperty("MediaNode::StreamInvertAlpha", PropertyText::OfTruth(alpha.mInvert), kHashed);
    SetProperty("MediaNode::StreamAlphaMatteColor",
                PropertyText::OfUInt32(static_cast<std::uint32_t>(alpha.mMatte.mValue)), kHashed);
    SetProperty("MediaNode::StreamRemovePulldown", PropertyText::OfTruth(inDescription.mRemovesPulldown),
                kHashed);
    SetProperty("MediaNode::StreamFrameWidth", PropertyText::OfInt32(inDescription.mWidth), kHashed);
    SetProperty("MediaNode::StreamFrameHeight", PropertyText::OfInt32(inDescription.mHeight), kHashed);
    SetProperty("MediaNode::StreamPixelAspectRatioNum",
                PropertyText::OfUInt32(inDescription.mPixelAspectRatio.GetNumerator()), kHashed);
    SetProperty("MediaNode::StreamPixelAspectRatioDen",
                PropertyText::OfUInt32(inDescription.mPixelAspectRatio.GetDenominator()), kHashed);
    SetProperty("MediaNode::StreamOpaqueData", TextOf(inDescription.mOpaqueData), kHashed);
    SetProperty("MediaNode::StreamFrameVidSubType", PropertyText::OfUInt32(inDescription.mVideoSubType),
                kInformative);
    SetProperty("MediaNode::StreamPullDownCadence",
                PropertyText::OfInt32(MF::NorvikToSDKPulldownCadence(inDescription.mPulldownCadence)),
                kHashed);
    SetProperty("MediaNode::StreamFieldType",
                PropertyText::OfInt32(MF::SDKToBEFieldType(inDescription.mFieldType)), kHashed);
}

void RenderableNodePreviewImpl::WriteClip(const PreviewStreamDescription& inDescription)
{
    SetProperty("MediaNode::StreamFrameBlend", PropertyText::OfTruth(inDescription.mBlendsFrames),
                kInformative);
    SetProperty("MediaNode::ClipSpeed", PropertyText::OfDouble(inDescription.mSpeed), kInformative);
    SetProperty("MediaNode::ClipBackwards", PropertyText::OfTruth(inDescription.mIsBackwards), kInformative);
    SetProperty("MediaNode::ClipScaleToFramePolicy",
                PropertyText::OfUInt32(inDescription.mScaleToFramePolicy), kHashed);
    SetProperty("MediaNode::StreamReverseFieldDominance",
                PropertyText::OfTruth(inDescription.mReversesFieldDominance), kHashed);
}

void RenderableNodePreviewImpl::ReadSettings(const PreviewStreamDescription& inDescription)
{
    MediaNodeSettings& settings = *mSettings;
    settings.mFrameRect = {0, 0, inDescription.mWidth, inDescription.mHeight};
    settings.mPixelAspectRatio = inDescription.mPixelAspectRatio;
    settings.mFieldType = inDescription.mFieldType;
    settings.mMediaRect = settings.mFrameRect;
    settings.mMediaPixelAspectRatio = inDescription.mPixelAspectRatio;
    settings.mScaleToFramePolicy = inDescription.mScaleToFramePolicy;
    settings.mIsOffline = inDescription.mIsOffline;
    settings.mIsPending = inDescription.mIsPending;
    const BE::IMediaInfoRef media = mStream->GetMedia();
    settings.mIsStill = media && media->IsStill();
    mFrameRate = inDescription.mFrameRate;
}

// Pictures that were rendered before have the speed, the blending and the order of fields of what they stand
// for in them already, so the chain only scales, removes pulldown, and finds the frame of each field.
void RenderableNodePreviewImpl::BuildChain(const PreviewStreamDescription& inDescription,
                                           const BE::IVideoSourceRef& inSource)
{
    mSettings->mStreamInfo = BE::IVideoStreamInfoRef(inSource);
    MediaChainFacts facts;
    if (inDescription.mRemovesPulldown)
    {
        facts.mPulldown = inDescription.mPulldownCadence;
    }
    if (facts.mPulldown != norviktypes::kPulldownCadence_None)
    {
        mFrameRate = norviktypes::FilmRateOfPulldown(mFrameRate);
    }
    facts.mStreamFieldType = inDescription.mFieldType;
    facts.mIsStill = mSettings->mIsStill;
    BE::AlphaInterpretation alpha = inDescription.mAlpha;
    if (alpha.mType == norviktypes::kAlphaChannel_None)
    {
        alpha.mType = inSource->GetAlphaType();
    }
    mIsOpaque = !MayBeTransparent(inSource, alpha);
    facts.mIsFilledByStream = !inSource->CanRenderFrames(inDescription.mOpaqueData);
    const norvik::WString label = norvik::utility::UTF8to16(mLabel.ToString());
    const IRenderableSourceRef base =
        facts.mIsFilledByStream
            ? CreateRenderableGetVideoSource(inSource, inDescription.mOpaqueData, norviktypes::kTime_Zero,
                                             mStream->GetDuration(), alpha.mMatte, alpha.mType, alpha.mIgnore,
                                             alpha.mInvert, false, 1.0, inDescription.mFrameRate, label)
            : CreateRenderableSource(inSource, inDescription.mOpaqueData, alpha.mType, alpha.mMatte,
                                     alpha.mIgnore, alpha.mInvert, inDescription.mFrameRate,
                                     inDescription.mFieldType, inDescription.mPixelAspectRatio,
                                     norviktypes::ColorProfile{}, label);
    mChainSteps = PlanMediaChain(facts);
    mSettings->mSource = BuildMediaChain(base, mChainSteps, facts);
}

norvik::utility::ImmutableString RenderableNodePreviewImpl::GetNodeType() const
{
    return norvik::utility::ImmutableString::CreateStatic("RenderableNodePreviewImpl");
}

std::uint32_t RenderableNodePreviewImpl::CalculateInformativeFlags() const
{
    return FlagsOfMedia(mSettings->mIsStill, mIsOpaque);
}

void RenderableNodePreviewImpl::AddOwnPrefetchesForFrame(
    const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
    std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    if (!mSettings->mIsOffline && !mSettings->mIsPending)
    {
        const IRenderableNodePrefetchProviderRef producer(GetProducerForFrame(inFrameTime, inRenderParams));
        producer->GetPrefetchesForFrame(inFrameTime, inRenderParams, ioPrefetches);
    }
}

IRenderableNodeProducerRef
RenderableNodePreviewImpl::GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                               const CutlistRenderParams& inRenderParams)
{
    return CreateMediaNodeProducer(mSettings, GetHashValue(), inFrameTime, inRenderParams);
}

MF::IRenderableNodeRef RenderableNodePreviewImpl::GetPreviewSourceNode() const
{
    return MF::IRenderableNodeRef(const_cast<RenderableNodePreviewImpl*>(this));
}

MF::IRenderableNodeRef CreatePreviewNode(const BE::IPreviewStreamRef& inStream,
                                         const norvik::utility::ImmutableString& inLabel, int, bool inFlag)
{
    const TVK::InterfaceRef<RenderableNodePreviewImpl> node(new RenderableNodePreviewImpl());
    node->SetLabel(inLabel);
    node->SetVideoStream(inStream, inFlag, false);
    node->Finalize();
    return node->AsNode();
}

} // namespace ML
