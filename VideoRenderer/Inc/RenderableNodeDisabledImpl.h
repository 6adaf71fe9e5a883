// A branch of the graph that is switched off: it reports like its input and renders nothing.
//
// It keeps the branch in the graph, so that whoever walks it sees what is there, and offers no producer, so
// that its time is black. Its hash differs from the input's: what shows black is not what shows the picture.
//
// Thread-safety: frozen, safe; mutable, for the builder alone.
#pragma once

#include "RenderableNodeCommonImpl.h"

namespace ML
{

class RenderableNodeDisabledImpl final : public RenderableNodeCommonImpl
{
public:
    norvik::utility::ImmutableString GetNodeType() const override;
    // Those of the first input; 0 without one. An input of nothing throws TVK::NullInterfaceException.
    std::uint32_t CalculateInformativeFlags() const override;

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }
};

} // namespace ML
