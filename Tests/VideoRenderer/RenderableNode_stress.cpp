#include "RenderableCutlistImpl.h"
#include "RenderableNodeDisabledImpl.h"
#include "RenderableNodeSolidColorImpl.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using norvik::utility::ImmutableString;
using norviktypes::TickTime;

constexpr int kThreads = 6;
constexpr std::int64_t kEnd = 1000;

std::atomic<int> sNodesAlive{0};

// Shows nothing, but knows of still ranges and copyable stretches, and wants one prefetch (an empty one).
class BusyNode final : public TVK::Extends<ML::RenderableNodeCommonImpl, ML::IRenderableNodeProducerProvider>
{
public:
    BusyNode() { ++sNodesAlive; }
    ~BusyNode() override { --sNodesAlive; }
    ImmutableString GetNodeType() const override { return ImmutableString::CreateStatic("BusyNode"); }
    std::uint32_t CalculateInformativeFlags() const override { return MF::kNodeFlag_Still; }
    void AddOwnPrefetchesForFrame(const MF::FrameTime&, const ML::CutlistRenderParams&,
                                  std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches) override
    {
        ioPrefetches.emplace_back();
    }
    ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime&,
                                                       const ML::CutlistRenderParams&) override
    {
        return {};
    }
    void GetStillRanges(const TickTime& inStart, const TickTime&,
                        std::vector<MF::TimeRange>& ioRanges) override
    {
        ioRanges.push_back({inStart, inStart + TickTime(1)});
    }
    void GetSmartRenderSegments(const TickTime& inStart, const TickTime& inEnd,
                                const norviktypes::PixelFormat&, bool,
                                MF::SmartRenderSegments& ioSegments) override
    {
        MF::SmartRenderSegment segment;
        segment.mStart = inStart;
        segment.mEnd = inEnd;
        ioSegments.emplace(inStart, segment);
    }
};

// A chain of nodes with properties and operators, each over the one before.
MF::IRenderableNodeRef BuildTree(int inSeed)
{
    TVK::InterfaceRef<ML::RenderableNodeSolidColorImpl> leaf(new ML::RenderableNodeSolidColorImpl());
    leaf->SetBGRAColor(static_cast<std::uint32_t>(inSeed));
    leaf->Finalize();
    MF::IRenderableNodeRef below(leaf);
    for (int level = 0; level < 4; ++level)
    {
        const TVK::InterfaceRef<BusyNode> node(new BusyNode());
        const std::string number = std::to_string(level);
        node->SetCommonProperty(ImmutableString::CreateDynamic("Level"), norvik::UTF8String(number), true);
        node->SetCommonProperty(ImmutableString::CreateDynamic("Told"), "text", false);
        node->AppendInput(below, TickTime(level));
        node->AppendOperator(below);
        node->Finalize();
        below = node;
    }
    return below;
}

MF::IRenderableCutlistRef BuildCutlist()
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist(ImmutableString::CreateDynamic("label"));
    for (std::int64_t start = 0; start < kEnd; start += 10)
    {
        cutlist->AddSegment(TickTime(start), TickTime(start + 8), TickTime(0),
                            BuildTree(static_cast<int>(start % 70)));
    }
    cutlist->Finalize();
    return cutlist;
}

// All that a render reads of a cutlist and of the node at a time, as one number.
TVK::Guid ReadEverything(const MF::IRenderableCutlistRef& inCutlist, std::int64_t inTime)
{
    TVK::HashValue hash(inCutlist->GetHashValue());
    hash.MixText(inCutlist->GetStreamLabel());
    std::vector<MF::TimeRange> ranges;
    const MF::IRenderableExtendedStillInfoRef stills(inCutlist);
    stills->GetStillRanges(TickTime(inTime), TickTime(inTime + 50), ranges);
    hash.MixU64(ranges.size());
    MF::SmartRenderSegments segments;
    MF::ISmartRenderSegmentInfoRef(inCutlist)->GetSmartRenderSegments(TickTime(inTime), TickTime(inTime + 50),
                                                                      {}, false, segments);
    hash.MixU64(segments.size());

    MF::IRenderableNodeRef node;
    MF::FrameTime nodeTime;
    inCutlist->FindNodeForTimeRange(MF::FrameTime(TickTime(inTime)), MF::FrameTime(TickTime(inTime + 20)),
                                    node, nodeTime);
    while (node)
    {
        hash.MixGuid(node->GetHashValue());
        hash.MixU32(node->GetInformativeFlags());
        hash.MixText(node->GetNodeType());
        MF::NodeProperties properties;
        node->GetProperties(properties);
        hash.MixU64(properties.size());
        std::vector<ML::IRenderableNodePrefetchRef> prefetches;
        ML::IRenderableNodePrefetchProviderRef(node)->GetPrefetchesForFrame(nodeTime, {}, prefetches);
        hash.MixU64(prefetches.size());
        if (const ML::IRenderableNodeProducerRef producer{node})
        {
            TVK::Guid frameHash;
            producer->GetFrameHash(frameHash, nodeTime, {}, {});
            hash.MixGuid(frameHash);
        }
        TickTime offset;
        MF::IRenderableNodeRef next;
        node->GetNthOperator(0, next);
        node->GetNthInput(0, offset, next);
        hash.MixI64(offset.GetTicks());
        node = std::exchange(next, {});
    }
    return hash.AsGuid();
}

TEST(FrozenGraphStress, ManyReadersSeeOneGraph)
{
    const MF::IRenderableCutlistRef cutlist = BuildCutlist();
    std::vector<TVK::Guid> expected;
    for (std::int64_t time = 0; time < kEnd; ++time)
    {
        expected.push_back(ReadEverything(cutlist, time));
    }
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                std::mt19937_64 random(TestSupport::Seed() + static_cast<std::uint64_t>(thread));
                for (std::size_t round = 0; round < TestSupport::ScaledCount(20000); ++round)
                {
                    const std::uint64_t time = random() % expected.size();
                    wrong += ReadEverything(cutlist, static_cast<std::int64_t>(time)) != expected[time];
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

// Each thread drops its reference when it likes; whoever is last takes the graph down.
TEST(FrozenGraphStress, LastReaderDestroysTheGraph)
{
    for (std::size_t round = 0; round < TestSupport::ScaledCount(200); ++round)
    {
        MF::IRenderableCutlistRef cutlist = BuildCutlist();
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread)
        {
            threads.emplace_back(
                [mine = cutlist, thread]() mutable
                {
                    MF::IRenderableNodeRef node;
                    MF::FrameTime time;
                    mine->FindNodeForTime(MF::FrameTime(TickTime(10 * thread)), node, time);
                    mine.reset();
                    node->GetHashValue();
                });
        }
        cutlist.reset();
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        ASSERT_EQ(sNodesAlive, 0) << round;
    }
}

} // namespace
