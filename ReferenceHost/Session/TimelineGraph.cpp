#include "ReferenceHost/Session/TimelineGraph.h"

#include "MF/IRenderableCutlist.h"
#include "MF/IRenderableNode.h"
#include "norvik/utility/Guid.h"

#include <fmt/format.h>

#include <map>

namespace Session
{

using norviktypes::TickTime;

namespace
{

struct FlagName
{
    std::uint32_t mFlag;
    const char* mName;
};

constexpr FlagName kFlagNames[] = {
    {MF::kNodeFlag_Opaque, "opaque"},
    {MF::kNodeFlag_Empty, "empty"},
    {MF::kNodeFlag_StaticParameters, "static-parameters"},
    {MF::kNodeFlag_Still, "still"},
    {MF::kNodeFlag_Extendable, "extendable"},
    {MF::kNodeFlag_TimeContained, "time-contained"},
    {MF::kNodeFlag_NeedsLowerTracks, "needs-lower-tracks"},
};

std::string TextOf(const TVK::Guid& inGuid)
{
    std::uint8_t bytes[16];
    inGuid.GuidToBytes(bytes);
    std::string text;
    for (const std::uint8_t byte : bytes)
    {
        text += fmt::format("{:02x}", static_cast<unsigned>(byte));
    }
    return text;
}

std::vector<std::string> NamesOf(std::uint32_t inFlags)
{
    std::vector<std::string> names;
    for (const FlagName& flag : kFlagNames)
    {
        if ((inFlags & flag.mFlag) != 0)
        {
            names.emplace_back(flag.mName);
        }
    }
    return names;
}

class GraphReader
{
public:
    explicit GraphReader(TimelineGraph& ioGraph) : mGraph(ioGraph) {}

    // Nodes refer to no node above them, so the way down ends.
    std::size_t Read(const MF::IRenderableNodeRef& inNode)
    {
        if (!inNode)
        {
            return kNoGraphNode;
        }
        const std::string hash = TextOf(inNode->GetHashValue());
        const auto [place, isNew] = mPlaces.emplace(hash, mGraph.mNodes.size());
        const std::size_t index = place->second;
        if (isNew)
        {
            mGraph.mNodes.push_back(Describe(*inNode, hash));
            ReadBelow(*inNode, index);
        }
        return index;
    }

private:
    static GraphNode Describe(const MF::IRenderableNode& inNode, const std::string& inHash)
    {
        GraphNode node;
        node.mHash = inHash;
        node.mType = inNode.GetNodeType().ToString();
        node.mFlags = inNode.GetInformativeFlags();
        node.mFlagNames = NamesOf(node.mFlags);
        MF::NodeProperties properties;
        inNode.GetProperties(properties);
        for (const auto& [key, value] : properties)
        {
            node.mProperties.emplace_back(key.ToString(), value);
        }
        return node;
    }

    // The list may grow meanwhile.
    void ReadBelow(const MF::IRenderableNode& inNode, std::size_t inIndex)
    {
        for (std::uint32_t i = 0; i < inNode.GetInputCount(); ++i)
        {
            GraphInput input;
            MF::IRenderableNodeRef node;
            inNode.GetNthInput(i, input.mOffset, node);
            input.mNode = Read(node);
            mGraph.mNodes[inIndex].mInputs.push_back(input);
        }
        for (std::uint32_t i = 0; i < inNode.GetOperatorCount(); ++i)
        {
            MF::IRenderableNodeRef node;
            inNode.GetNthOperator(i, node);
            const std::size_t place = Read(node);
            mGraph.mNodes[inIndex].mOperators.push_back(place);
        }
    }

    TimelineGraph& mGraph;
    std::map<std::string, std::size_t> mPlaces; // by hash
};

void ReadSegment(const MF::IRenderableCutlistRef& inCutlist, std::uint32_t inIndex, const TickTime& inOrigin,
                 GraphReader& ioReader, TimelineGraph& ioGraph)
{
    GraphSegment segment;
    segment.mIndex = inIndex;
    TVK::Guid hash;
    inCutlist->GetNthSegmentDescription(inIndex, segment.mStart, segment.mEnd, segment.mNodeOffset, hash);
    segment.mStart = segment.mStart - inOrigin;
    segment.mEnd = segment.mEnd - inOrigin;
    MF::IRenderableNodeRef node;
    inCutlist->GetRenderableNodeFromHashValue(hash, node);
    segment.mNode = ioReader.Read(node);
    ioGraph.mSegments.push_back(segment);
}

} // namespace

std::optional<TimelineGraph> ReadTimelineGraph(const Timeline& inTimeline,
                                               const std::optional<TickTime>& inTime)
{
    MF::IRenderableCutlistRef cutlist;
    inTimeline.GetSequence()->GetCutlistProvider()->GetThirdCutlist(cutlist, {}, false, false);
    if (!cutlist)
    {
        return std::nullopt;
    }
    TimelineGraph graph;
    graph.mHash = TextOf(cutlist->GetHashValue());
    graph.mSegmentCount = cutlist->GetSegmentCount();
    std::uint32_t first = 0;
    std::uint32_t end = cutlist->GetSegmentCount();
    if (inTime)
    {
        TickTime start, stop, offset;
        TVK::Guid hash;
        const bool plays =
            cutlist->FindSegmentForTime(inTimeline.Start() + *inTime, first, start, stop, offset, hash) >= 0;
        first = plays ? first : 0;
        end = plays ? first + 1 : 0;
    }
    GraphReader reader(graph);
    for (std::uint32_t i = first; i < end; ++i)
    {
        ReadSegment(cutlist, i, inTimeline.Start(), reader, graph);
    }
    return graph;
}

} // namespace Session
