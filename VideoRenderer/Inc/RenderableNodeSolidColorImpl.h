// A node that fills its frame with a colour. It is its own producer.
//
//   TVK::InterfaceRef<ML::RenderableNodeSolidColorImpl> node(new ML::RenderableNodeSolidColorImpl());
//   node->SetBGRAColor(0xFF0000FF); // opaque blue
//   node->Finalize();
//
// Thread-safety: frozen, safe, also while it renders; mutable, for the builder alone.
#pragma once

#include "RenderableNodeCommonImpl.h"

#include <cstdint>

namespace ML
{

class RenderableNodeSolidColorImpl final
    : public TVK::Extends<RenderableNodeCommonImpl, IRenderableNodeProducerProvider, IRenderableNodeProducer>
{
public:
    // Key of the colour as a decimal number; hashed.
    static norvik::utility::ImmutableString ColorProperty();

    // Straight alpha; blue is the lowest byte. A node that was given no colour is transparent black. After
    // Finalize a contract violation.
    void SetBGRAColor(std::uint32_t inColor);

    norvik::utility::ImmutableString GetNodeType() const override;

    IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime& inFrameTime,
                                                   const CutlistRenderParams& inRenderParams) override;

    // A new frame of the params' format at render size; empty, with success, if none can be made. Negative:
    // the status of the image routines.
    std::int32_t GetFrame(const MF::FrameTime& inFrameTime, const CutlistRenderParams& inRenderParams,
                          MF::IVideoFrameRef& outFrame) override;
    // The same for all times.
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime& inFrameTime,
                      const CutlistRenderParams& inRenderParams, const TVK::Guid& inBaseHash) override;

    virtual MF::IRenderableNodeRef AsNode() { return MF::IRenderableNodeRef(this); }

private:
    std::uint32_t Color() const;
};

} // namespace ML
