// A node that stands for pictures rendered before.
//
// Thread-safety: safe; a face of frozen nodes.
#pragma once

#include "BE/IPreviewStream.h"
#include "MF/IRenderableNode.h"

namespace BE
{

class ML_EXPORT IPreviewNode : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kPreviewNode;

    // The node itself, for who found it by this face.
    virtual MF::IRenderableNodeRef GetPreviewSourceNode() const = 0;
    // The stream that was rendered before.
    virtual IPreviewStreamRef GetPreviewStream() const = 0;
};
using IPreviewNodeRef = TVK::InterfaceRef<IPreviewNode>;

} // namespace BE
