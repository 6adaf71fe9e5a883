// A node of the graph that a timeline becomes before it is rendered.
//
// A node is described by properties, inputs with the times at which they lie, and operators (effects). It is
// built once, frozen, and never changes after that; its hash, which covers all three, names what it shows.
// Nodes of equal hashes are interchangeable. Frames are not asked of a node but of what it hands out.
//
// Ownership: a node holds references to its inputs and operators. Errors: kStatus_NoSuchEntry for a key or an
// index that isn't there, with the outputs untouched; asking a node that is still being built for what only a
// frozen one knows is a contract violation.
//
// Thread-safety: a frozen node is safe and takes no lock; one that is being built belongs to its builder.
#pragma once

#include "TVK/InterfaceRef.h"
#include "norvik/utility/Strings.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <map>

namespace MF
{

// No such index, key or hash.
inline constexpr std::int32_t kStatus_NoSuchEntry = static_cast<std::int32_t>(0xa00f0001u);

// What a node says about its picture, as bits.
inline constexpr std::uint32_t kNodeFlag_Opaque = 0x01;           // covers the whole output
inline constexpr std::uint32_t kNodeFlag_Empty = 0x02;            // shows nothing
inline constexpr std::uint32_t kNodeFlag_StaticParameters = 0x04; // parameters do not change with time
inline constexpr std::uint32_t kNodeFlag_Still = 0x08;            // the picture does not change with time
inline constexpr std::uint32_t kNodeFlag_Extendable = 0x10;       // can be shown outside of its item's range
inline constexpr std::uint32_t kNodeFlag_TimeContained = 0x40;    // needs nothing beyond its own time span
inline constexpr std::uint32_t kNodeFlag_NeedsLowerTracks = 0x80; // opaque or not, hides no track below

// In the order of keys by ImmutableString::Compare, which is the order in which they are hashed.
using NodeProperties = std::map<norvik::utility::ImmutableString, norvik::UTF8String>;

class IRenderableNode;
using IRenderableNodeRef = TVK::InterfaceRef<IRenderableNode>;

class ML_EXPORT IRenderableNode : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNode;

    // Of a frozen node. Covers operators too.
    virtual TVK::Guid GetHashValue() const = 0;
    // The name of the node's kind, the same for all nodes of a class.
    virtual norvik::utility::ImmutableString GetNodeType() const = 0;
    // kNodeFlag_ bits, of a frozen node.
    virtual std::uint32_t GetInformativeFlags() const = 0;
    // Replaces outProperties by all properties. Always 0.
    virtual std::int32_t GetProperties(NodeProperties& outProperties) const = 0;
    virtual std::int32_t GetProperty(const norvik::utility::ImmutableString& inKey,
                                     norvik::UTF8String& outValue) const = 0;
    virtual std::uint32_t GetInputCount() const = 0;
    // Of a frozen node. outOffset: the time of this node at which the input's time is zero. outNode may come
    // back empty: an input of nothing.
    virtual std::int32_t GetNthInput(std::uint32_t inIndex, norviktypes::TickTime& outOffset,
                                     IRenderableNodeRef& outNode) const = 0;
    virtual std::uint32_t GetOperatorCount() const = 0;
    // Of a frozen node.
    virtual std::int32_t GetNthOperator(std::uint32_t inIndex, IRenderableNodeRef& outOperator) const = 0;
};

} // namespace MF
