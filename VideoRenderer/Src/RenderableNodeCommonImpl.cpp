#include "RenderableNodeCommonImpl.h"

#include "norvik/config/Contract.h"

#include <cstddef>

namespace ML
{

namespace
{

// The name under which users of the library know these checks.
constexpr const char* kFile = "Inc/RenderableNodeCommonImpl";

void CheckFrozen(bool inMutable, const char* inFunction)
{
    ML_INPUT_CONTRACT(!inMutable, "!mMutable", kFile, inFunction, __LINE__);
}

void CheckMutable(bool inMutable, const char* inFunction)
{
    ML_INPUT_CONTRACT(inMutable, "mMutable", kFile, inFunction, __LINE__);
}

} // namespace

TVK::Guid RenderableNodeCommonImpl::GetHashValue() const
{
    CheckFrozen(mMutable, "ML::RenderableNodeCommonImpl::GetHashValue");
    return mHashValue;
}

std::uint32_t RenderableNodeCommonImpl::GetInformativeFlags() const
{
    CheckFrozen(mMutable, "ML::RenderableNodeCommonImpl::GetInformativeFlags");
    return mInformativeFlags;
}

std::int32_t RenderableNodeCommonImpl::GetProperties(MF::NodeProperties& outProperties) const
{
    outProperties = mHashedProperties;
    outProperties.insert(mUnhashedProperties.begin(), mUnhashedProperties.end());
    return TVK::kStatus_OK;
}

std::int32_t RenderableNodeCommonImpl::GetProperty(const norvik::utility::ImmutableString& inKey,
                                                   norvik::UTF8String& outValue) const
{
    for (const MF::NodeProperties* properties : {&mHashedProperties, &mUnhashedProperties})
    {
        if (const auto entry = properties->find(inKey); entry != properties->end())
        {
            outValue = entry->second;
            return TVK::kStatus_OK;
        }
    }
    return MF::kStatus_NoSuchEntry;
}

std::uint32_t RenderableNodeCommonImpl::GetInputCount() const
{
    return static_cast<std::uint32_t>(mInputs.size());
}

std::int32_t RenderableNodeCommonImpl::GetNthInput(std::uint32_t inIndex, norviktypes::TickTime& outOffset,
                                                   MF::IRenderableNodeRef& outNode) const
{
    CheckFrozen(mMutable, "ML::RenderableNodeCommonImpl::GetNthInput");
    if (inIndex >= mInputs.size())
    {
        return MF::kStatus_NoSuchEntry;
    }
    outNode = mInputs[inIndex].first;
    outOffset = mInputs[inIndex].second;
    return TVK::kStatus_OK;
}

std::uint32_t RenderableNodeCommonImpl::GetOperatorCount() const
{
    return static_cast<std::uint32_t>(mOperators.size());
}

std::int32_t RenderableNodeCommonImpl::GetNthOperator(std::uint32_t inIndex,
                                                      MF::IRenderableNodeRef& outOperator) const
{
    CheckFrozen(mMutable, "ML::RenderableNodeCommonImpl::GetNthOperator");
    if (inIndex >= mOperators.size())
    {
        return MF::kStatus_NoSuchEntry;
    }
    outOperator = mOperators[inIndex];
    return TVK::kStatus_OK;
}

void RenderableNodeCommonImpl::GetPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                                     const CutlistRenderParams& inRenderParams,
                                                     std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    CheckFrozen(mMutable, "ML::RenderableNodeCommonImpl::GetPrefetchesForFrame");
    for (std::size_t i = 0; i < mInputs.size(); ++i)
    {
        GetPrefetchesOfInput(i, inFrameTime, inRenderParams, ioPrefetches);
    }
    AddOwnPrefetchesForFrame(inFrameTime, inRenderParams, ioPrefetches);
}

void RenderableNodeCommonImpl::GetPrefetchesOfInput(std::size_t inIndex, const MF::FrameTime& inFrameTime,
                                                    const CutlistRenderParams& inRenderParams,
                                                    std::vector<IRenderableNodePrefetchRef>& ioPrefetches)
{
    const auto& [node, offset] = mInputs[inIndex];
    const IRenderableNodePrefetchProviderRef provider(node);
    if (!provider)
    {
        return;
    }
    MF::FrameTime inputTime = inFrameTime - offset;
    if (const MF::ITimeTransformRef transform = GetTimeTransform())
    {
        inputTime = {transform->MapTime(inputTime.mFirstTime, 0),
                     transform->MapTime(inputTime.mSecondTime, 0)};
    }
    provider->GetPrefetchesForFrame(inputTime, inRenderParams, ioPrefetches);
}

void RenderableNodeCommonImpl::HashNodeType(TVK::HashValue& ioHash) const
{
    ioHash.MixText("NodeType::");
    ioHash.MixText(GetNodeType());
}

std::uint32_t RenderableNodeCommonImpl::CalculateInformativeFlags() const
{
    return 0;
}

void RenderableNodeCommonImpl::AddOwnPrefetchesForFrame(const MF::FrameTime&, const CutlistRenderParams&,
                                                        std::vector<IRenderableNodePrefetchRef>&)
{
}

MF::ITimeTransformRef RenderableNodeCommonImpl::GetTimeTransform() const
{
    return {};
}

// Each part is mixed by a call of its own, from where it lies: the calls are part of the hash.
void RenderableNodeCommonImpl::Finalize()
{
    CheckMutable(mMutable, "ML::RenderableNodeCommonImpl::Finalize");
    TVK::HashValue hash("ML::RenderableNodeCommonImpl");
    for (const auto& [key, value] : mHashedProperties)
    {
        hash.MixText("PropertyName::");
        hash.MixText(key);
        hash.MixText("PropertyValue::");
        hash.MixText(value);
    }
    for (const auto& [node, offset] : mInputs)
    {
        hash.MixText("Input::");
        hash.MixI64(offset.GetTicks());
        if (node)
        {
            hash.MixGuid(node->GetHashValue());
        }
    }
    HashNodeType(hash);
    mHashWithoutOperators = hash.AsGuid();
    for (const MF::IRenderableNodeRef& node : mOperators)
    {
        hash.MixText("Operator::");
        hash.MixGuid(node->GetHashValue());
    }
    mHashValue = hash.AsGuid();
    mInformativeFlags = CalculateInformativeFlags();
    mMutable = false;
}

void RenderableNodeCommonImpl::SetCommonProperty(const norvik::utility::ImmutableString& inKey,
                                                 const norvik::UTF8String& inValue, bool inHashed)
{
    CheckMutable(mMutable, "ML::RenderableNodeCommonImpl::SetCommonProperty");
    if (inValue.empty())
    {
        mHashedProperties.erase(inKey);
        mUnhashedProperties.erase(inKey);
        return;
    }
    (inHashed ? mHashedProperties : mUnhashedProperties)[inKey] = inValue;
}

void RenderableNodeCommonImpl::AppendInput(const MF::IRenderableNodeRef& inNode,
                                           const norviktypes::TickTime& inOffset)
{
    CheckMutable(mMutable, "ML::RenderableNodeCommonImpl::AppendInput");
    mInputs.emplace_back(inNode, inOffset);
}

void RenderableNodeCommonImpl::AppendOperator(const MF::IRenderableNodeRef& inOperator)
{
    CheckMutable(mMutable, "ML::RenderableNodeCommonImpl::AppendOperator");
    mOperators.push_back(inOperator);
}

} // namespace ML
