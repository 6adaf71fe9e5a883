// What all nodes have in common: properties, inputs, operators, and the hash over them.
//
// A node lives in two phases. While it is mutable its builder sets properties and appends inputs and
// operators; Finalize computes hash and flags, and from then on nothing changes. The order in which a hash is
// mixed is fixed for all kinds of nodes, since hashes pass between modules and are stored:
//
//   1. the name of this class
//   2. the hashed properties, in the order of their keys: names and values
//   3. the inputs, in the order in which they were appended: offset, and hash unless the input is nothing
//   4. the name of the node's kind
//   5. the operators' hashes, in the order in which they were appended
//
// A kind that wants more in its hash says it by properties.
//
// Ownership: holds references to inputs and operators. Errors: what belongs to the other phase is a contract
// violation and changes nothing; a missing entry is MF::kStatus_NoSuchEntry with the outputs untouched.
//
// Thread-safety: frozen, safe without a lock; mutable, for the builder alone.
#pragma once

#include "MF/IRenderableNode.h"
#include "MF/ITimeTransform.h"
#include "RenderableNodeProducer.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace ML
{

class RenderableNodeCommonImpl
    : public TVK::Implements<RenderableNodeCommonImpl, MF::IRenderableNode, IRenderableNodePrefetchProvider>
{
public:
    TVK::Guid GetHashValue() const override;
    std::uint32_t GetInformativeFlags() const override;
    // A hashed property hides an unhashed one of the same key.
    std::int32_t GetProperties(MF::NodeProperties& outProperties) const override;
    std::int32_t GetProperty(const norvik::utility::ImmutableString& inKey,
                             norvik::UTF8String& outValue) const override;
    std::uint32_t GetInputCount() const override;
    std::int32_t GetNthInput(std::uint32_t inIndex, norviktypes::TickTime& outOffset,
                             MF::IRenderableNodeRef& outNode) const override;
    std::uint32_t GetOperatorCount() const override;
    std::int32_t GetNthOperator(std::uint32_t inIndex, MF::IRenderableNodeRef& outOperator) const override;

    // Asks the inputs, each in its own time, then AddOwnPrefetchesForFrame.
    void GetPrefetchesForFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                               std::vector<IRenderableNodePrefetchRef>& ioPrefetches) override;

    virtual void HashNodeType(TVK::HashValue& ioHash) const;
    // Asked by Finalize when the hash is there and the node is still mutable. 0 unless a kind knows better.
    virtual std::uint32_t CalculateInformativeFlags() const;
    virtual void AddOwnPrefetchesForFrame(const MF::FrameTime& inFrameTime,
                                          const CutlistRenderParams& inRenderParams,
                                          std::vector<IRenderableNodePrefetchRef>& ioPrefetches);
    // From this node's time, less the input's offset, to the input's. Empty: they are the same.
    virtual MF::ITimeTransformRef GetTimeTransform() const;
    // Freezes the node. Whoever overrides it to set up state of its own calls this one last. An empty
    // operator throws TVK::NullInterfaceException, and the node stays mutable.
    virtual void Finalize();

    // inHashed: whether the property takes part in the hash; others only inform. An empty value removes the
    // key, hashed or not. A key may stand among both.
    void SetCommonProperty(const norvik::utility::ImmutableString& inKey, const norvik::UTF8String& inValue,
                           bool inHashed);
    // inNode may be empty: an input of nothing, which counts.
    void AppendInput(const MF::IRenderableNodeRef& inNode, const norviktypes::TickTime& inOffset);
    void AppendOperator(const MF::IRenderableNodeRef& inOperator);

protected:
    using Input = std::pair<MF::IRenderableNodeRef, norviktypes::TickTime>;

    RenderableNodeCommonImpl() = default;
    ~RenderableNodeCommonImpl() override = default;

    // What one input wants ready, in its own time.
    void GetPrefetchesOfInput(std::size_t inIndex, const MF::FrameTime& inFrameTime,
                              const CutlistRenderParams& inRenderParams,
                              std::vector<IRenderableNodePrefetchRef>& ioPrefetches);

    bool IsMutable() const noexcept { return mMutable; }
    const std::vector<Input>& Inputs() const noexcept { return mInputs; }
    const std::vector<MF::IRenderableNodeRef>& Operators() const noexcept { return mOperators; }
    // The digest as it was before the operators were mixed: names what comes up the chain to the first one.
    const TVK::Guid& HashWithoutOperators() const noexcept { return mHashWithoutOperators; }

private:
    MF::NodeProperties mHashedProperties;
    MF::NodeProperties mUnhashedProperties;
    bool mMutable = true;
    TVK::Guid mHashValue;
    TVK::Guid mHashWithoutOperators;
    std::uint32_t mInformativeFlags = 0;
    std::vector<Input> mInputs;
    std::vector<MF::IRenderableNodeRef> mOperators;
};

} // namespace ML
