#include "RenderableCutlistImpl.h"
#include "TVK/ContractError.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeNode.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace MF
{

void PrintTo(const TimeRange& inRange, std::ostream* outStream)
{
    *outStream << "[" << inRange.mStart.GetTicks() << ", " << inRange.mEnd.GetTicks() << ")";
}

} // namespace MF

namespace
{

using MF::FrameTime;
using MF::TimeRange;
using norvik::utility::ImmutableString;
using norviktypes::kTime_Max;
using norviktypes::kTime_Zero;
using norviktypes::TickTime;
using TestSupport::ContractText;
using TestSupport::FakeProducerNode;
using TestSupport::FakeProducerNodeRef;
using TestSupport::MakeFrozenNode;

constexpr std::uint32_t kNeverChanges = MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Still;

struct Piece
{
    std::int64_t mStart;
    std::int64_t mEnd;
    std::int64_t mOffset;
    MF::IRenderableNodeRef mNode;
};

ML::IMutableCutlistRef Build(const std::vector<Piece>& inPieces)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    for (const Piece& piece : inPieces)
    {
        cutlist->AddSegment(TickTime(piece.mStart), TickTime(piece.mEnd), TickTime(piece.mOffset),
                            piece.mNode);
    }
    cutlist->Finalize();
    return cutlist;
}

// "start-end@offset:type" of each segment.
std::string Describe(const ML::IMutableCutlistRef& inCutlist)
{
    std::string text;
    for (std::uint32_t index = 0; index < inCutlist->GetSegmentCount(); ++index)
    {
        TickTime start, end, offset;
        TVK::Guid hash;
        EXPECT_EQ(inCutlist->GetNthSegmentDescription(index, start, end, offset, hash), 0);
        MF::IRenderableNodeRef node;
        EXPECT_EQ(inCutlist->GetRenderableNodeFromHashValue(hash, node), 0);
        EXPECT_EQ(node->GetHashValue(), hash);
        text += (index ? " " : "") + std::to_string(start.GetTicks()) + "-" + std::to_string(end.GetTicks()) +
                "@" + std::to_string(offset.GetTicks()) + ":" + node->GetNodeType().CStr();
    }
    return text;
}

std::string TypeOf(const MF::IRenderableNodeRef& inNode)
{
    return inNode ? inNode->GetNodeType().CStr() : "none";
}

// "type first second" of what plays at a frame time, "none" for nothing.
std::string At(const ML::IMutableCutlistRef& inCutlist, std::int64_t inFirst, std::int64_t inSecond)
{
    MF::IRenderableNodeRef node = MakeFrozenNode("Stale");
    FrameTime time(TickTime(-777), TickTime(-778));
    EXPECT_EQ(inCutlist->FindNodeForTime({TickTime(inFirst), TickTime(inSecond)}, node, time), 0);
    if (!node)
    {
        EXPECT_EQ(time, FrameTime(TickTime(-777), TickTime(-778)));
        return "none";
    }
    return TypeOf(node) + " " + std::to_string(time.mFirstTime.GetTicks()) + " " +
           std::to_string(time.mSecondTime.GetTicks());
}

std::string InRange(const ML::IMutableCutlistRef& inCutlist, const FrameTime& inTime, const FrameTime& inEnd)
{
    MF::IRenderableNodeRef node = MakeFrozenNode("Stale");
    FrameTime time(TickTime(-777), TickTime(-778));
    EXPECT_EQ(inCutlist->FindNodeForTimeRange(inTime, inEnd, node, time), 0);
    if (!node)
    {
        EXPECT_EQ(time, FrameTime(TickTime(-777), TickTime(-778)));
        return "none";
    }
    return TypeOf(node) + " " + std::to_string(time.mFirstTime.GetTicks()) + " " +
           std::to_string(time.mSecondTime.GetTicks());
}

std::string InRange(const ML::IMutableCutlistRef& inCutlist, std::int64_t inFirst, std::int64_t inLast)
{
    return InRange(inCutlist, FrameTime(TickTime(inFirst)), FrameTime(TickTime(inLast)));
}

TEST(Cutlist, EmptyAndInvertedSegmentsAreDroppedAndTheirNodesNotKept)
{
    struct Mortal final : ML::RenderableNodeCommonImpl
    {
        explicit Mortal(bool& outIsAlive) : mIsAlive(outIsAlive) { mIsAlive = true; }
        ~Mortal() override { mIsAlive = false; }
        ImmutableString GetNodeType() const override { return ImmutableString::CreateStatic("Mortal"); }
        bool& mIsAlive;
    };
    bool isAlive = false;
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    for (const std::int64_t end : {10, 9})
    {
        const TVK::InterfaceRef<Mortal> node(new Mortal(isAlive));
        node->Finalize();
        cutlist->AddSegment(TickTime(10), TickTime(end), TickTime(0), node);
    }
    EXPECT_FALSE(isAlive);
    EXPECT_EQ(cutlist->GetSegmentCount(), 0u);
    cutlist->AddSegment(TickTime(10), TickTime(10), TickTime(0), {});
}

TEST(Cutlist, SegmentWithoutANodeThrows)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    EXPECT_THROW(cutlist->AddSegment(TickTime(0), TickTime(1), TickTime(0), {}), TVK::NullInterfaceException);
    EXPECT_EQ(cutlist->GetSegmentCount(), 0u);
}

TEST(Cutlist, SegmentOfANodeThatIsStillBeingBuiltIsRefused)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    const TestSupport::FakeNodeRef node(new TestSupport::FakeNode());
    EXPECT_EQ(ContractText([&] { cutlist->AddSegment(TickTime(0), TickTime(1), TickTime(0), node); }),
              "!mMutable|Inc/RenderableNodeCommonImpl|ML::RenderableNodeCommonImpl::GetHashValue");
    EXPECT_EQ(cutlist->GetSegmentCount(), 0u);
}

TEST(Cutlist, KeepsItsNodesAliveAndOneForEachHash)
{
    ML::IMutableCutlistRef cutlist;
    TVK::Guid hash;
    {
        const MF::IRenderableNodeRef first = MakeFrozenNode("Same");
        const MF::IRenderableNodeRef second = MakeFrozenNode("Same");
        hash = first->GetHashValue();
        cutlist = Build({{0, 10, 0, first}, {50, 60, 0, second}});
        MF::IRenderableNodeRef found;
        EXPECT_EQ(cutlist->GetRenderableNodeFromHashValue(hash, found), 0);
        EXPECT_EQ(found.get(), second.get());
    }
    MF::IRenderableNodeRef found;
    EXPECT_EQ(cutlist->GetRenderableNodeFromHashValue(hash, found), 0);
    EXPECT_EQ(TypeOf(found), "Same");
}

TEST(Cutlist, EarlierStartingSegmentWinsAnOverlap)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    EXPECT_EQ(Describe(Build({{0, 10, 0, a}, {5, 20, 0, b}})), "0-10@0:A 10-20@5:B");
    EXPECT_EQ(Describe(Build({{5, 20, 100, b}, {0, 10, 0, a}})), "0-10@0:A 10-20@105:B");
}

TEST(Cutlist, SwallowedSegmentDisappears)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    const auto c = MakeFrozenNode("C");
    EXPECT_EQ(Describe(Build({{0, 10, 0, a}, {3, 7, 0, b}, {8, 12, 0, c}})), "0-10@0:A 10-12@2:C");
    EXPECT_EQ(Describe(Build({{0, 10, 0, a}, {3, 10, 0, b}})), "0-10@0:A");
}

TEST(Cutlist, FirstAddedWinsAmongEqualStarts)
{
    std::vector<Piece> pieces;
    const auto first = MakeFrozenNode("First");
    const auto other = MakeFrozenNode("Other");
    pieces.push_back({7, 20, 0, first});
    for (int index = 0; index < 100; ++index)
    {
        pieces.push_back({7, 19, index, other});
    }
    EXPECT_EQ(Describe(Build(pieces)), "7-20@0:First");
}

TEST(Cutlist, SeamlessPiecesOfOneNodeBecomeOneSegment)
{
    const auto a = MakeFrozenNode("A");
    const auto twin = MakeFrozenNode("A");
    EXPECT_EQ(Describe(Build({{0, 10, 3, a}, {10, 25, 13, twin}, {25, 30, 28, a}})), "0-30@3:A");
    EXPECT_EQ(Describe(Build({{0, 10, 3, a}, {10, 25, 14, a}})), "0-10@3:A 10-25@14:A");
    EXPECT_EQ(Describe(Build({{0, 10, 3, a}, {11, 25, 14, a}})), "0-10@3:A 11-25@14:A");
    EXPECT_EQ(Describe(Build({{0, 10, 3, a}, {11, 25, 13, a}})), "0-10@3:A 11-25@13:A");
    EXPECT_EQ(Describe(Build({{0, 10, 3, a}, {10, 25, 13, MakeFrozenNode("B")}})), "0-10@3:A 10-25@13:B");
    // What is cut off an overlap may be just what lay in the way.
    EXPECT_EQ(Describe(Build({{0, 10, 3, a}, {6, 25, 9, a}})), "0-25@3:A");
}

TEST(Cutlist, MergesAndCutsAgainstWhatIsLeftNotWhatWasGiven)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    // B is swallowed by the two halves of A, which still join.
    EXPECT_EQ(Describe(Build({{0, 10, 0, a}, {2, 9, 0, b}, {10, 20, 10, a}})), "0-20@0:A");
    // The third is cut by the first although the second, which is cut too, starts nearer.
    EXPECT_EQ(Describe(Build({{0, 10, 0, a}, {1, 11, 0, b}, {2, 12, 0, a}})), "0-10@0:A 10-11@9:B 11-12@9:A");
}

TEST(Cutlist, EndOfASegmentBelongsToWhatFollows)
{
    const auto cutlist = Build({{0, 10, 100, MakeFrozenNode("A")},
                                {10, 20, 0, MakeFrozenNode("B")},
                                {30, 40, -5, MakeFrozenNode("C")}});
    EXPECT_EQ(At(cutlist, -1, -1), "none");
    EXPECT_EQ(At(cutlist, 0, 0), "A 100 100");
    EXPECT_EQ(At(cutlist, 9, 9), "A 109 109");
    EXPECT_EQ(At(cutlist, 10, 10), "B 0 0");
    EXPECT_EQ(At(cutlist, 20, 20), "none");
    EXPECT_EQ(At(cutlist, 29, 29), "none");
    EXPECT_EQ(At(cutlist, 30, 30), "C -5 -5");
    EXPECT_EQ(At(cutlist, 40, 40), "none");
    EXPECT_EQ(At(cutlist, 41, 41), "none");
}

TEST(Cutlist, EarlierFieldSelectsTheSegmentAndBothAreMapped)
{
    const auto cutlist = Build({{0, 10, 100, MakeFrozenNode("A")}, {10, 20, 0, MakeFrozenNode("B")}});
    EXPECT_EQ(At(cutlist, 9, 11), "A 109 111");
    EXPECT_EQ(At(cutlist, 11, 9), "A 111 109");
    EXPECT_EQ(At(cutlist, -1, 5), "none");
}

TEST(Cutlist, EmptyCutlistHoldsNothing)
{
    const auto cutlist = Build({});
    EXPECT_EQ(cutlist->GetSegmentCount(), 0u);
    EXPECT_EQ(At(cutlist, 0, 0), "none");
    EXPECT_EQ(InRange(cutlist, 0, 100), "none");
}

TEST(Cutlist, RangeFindsTheFirstNodeInItWithTheFirstTimeMapped)
{
    const auto cutlist = Build({{0, 10, 100, MakeFrozenNode("A")},
                                {30, 40, 0, MakeFrozenNode("B")},
                                {40, 50, 7, MakeFrozenNode("C")}});
    EXPECT_EQ(InRange(cutlist, 5, 35), "A 105 105");
    EXPECT_EQ(InRange(cutlist, 5, 6), "A 105 105");
    // From the gap: B starts behind the time asked for, which so lies before B's span.
    EXPECT_EQ(InRange(cutlist, 15, 35), "B -15 -15");
    EXPECT_EQ(InRange(cutlist, 15, 40), "B -15 -15");
    EXPECT_EQ(InRange(cutlist, 15, 45), "B -15 -15");
    EXPECT_EQ(InRange(cutlist, 15, 31), "B -15 -15");
    EXPECT_EQ(InRange(cutlist, 15, 30), "none");
    EXPECT_EQ(InRange(cutlist, 15, 20), "none");
    EXPECT_EQ(InRange(cutlist, -5, 1), "A 95 95");
    EXPECT_EQ(InRange(cutlist, -5, 0), "none");
    EXPECT_EQ(InRange(cutlist, 40, 41), "C 7 7");
}

TEST(Cutlist, RangeEndInTheClosedEndOfASegmentFindsItEvenBehindIt)
{
    const auto cutlist = Build({{0, 10, 100, MakeFrozenNode("A")}, {30, 40, 0, MakeFrozenNode("B")}});
    EXPECT_EQ(InRange(cutlist, 12, 10), "A 112 112");
    EXPECT_EQ(InRange(cutlist, 12, 11), "none");
}

TEST(Cutlist, RangeOfNoLengthFindsASegmentButAtItsVeryStart)
{
    const auto cutlist = Build({{0, 10, 100, MakeFrozenNode("A")}});
    EXPECT_EQ(InRange(cutlist, 1, 1), "A 101 101");
    EXPECT_EQ(InRange(cutlist, 0, 0), "none");
}

TEST(Cutlist, RangeUsesTheEarlierTimesOfBothFrames)
{
    const auto cutlist = Build({{0, 10, 100, MakeFrozenNode("A")}, {30, 40, 0, MakeFrozenNode("B")}});
    EXPECT_EQ(InRange(cutlist, FrameTime(TickTime(12), TickTime(9)), FrameTime(TickTime(20))), "A 112 109");
    EXPECT_EQ(InRange(cutlist, FrameTime(TickTime(12)), FrameTime(TickTime(35), TickTime(30))), "none");
}

TEST(Cutlist, RangeBehindTheLastSegmentFindsNothing)
{
    const auto cutlist = Build({{0, 10, 0, MakeFrozenNode("A")}});
    EXPECT_EQ(InRange(cutlist, 10, 20), "none");
    EXPECT_EQ(InRange(cutlist, 50, 60), "none");
}

struct Found
{
    std::int32_t mStatus;
    std::uint32_t mIndex = 77;
    TickTime mStart{1}, mEnd{2}, mOffset{3};
    TVK::Guid mHash{4, 5};

    friend bool operator==(const Found&, const Found&) = default;
};

Found SegmentAt(const ML::IMutableCutlistRef& inCutlist, std::int64_t inTime)
{
    Found found;
    found.mStatus = inCutlist->FindSegmentForTime(TickTime(inTime), found.mIndex, found.mStart, found.mEnd,
                                                  found.mOffset, found.mHash);
    return found;
}

TEST(Cutlist, SegmentOfATimeIsDescribed)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    const auto cutlist = Build({{0, 10, 100, a}, {10, 20, 0, b}});
    EXPECT_EQ(SegmentAt(cutlist, 9),
              (Found{0, 0, TickTime(0), TickTime(10), TickTime(100), a->GetHashValue()}));
    EXPECT_EQ(SegmentAt(cutlist, 10),
              (Found{0, 1, TickTime(10), TickTime(20), TickTime(0), b->GetHashValue()}));
}

TEST(Cutlist, GapsAreDescribedByTheirNeighbours)
{
    const auto cutlist = Build({{5, 10, 0, MakeFrozenNode("A")}, {30, 40, 0, MakeFrozenNode("B")}});
    const auto gap = [](TickTime inStart, TickTime inEnd)
    { return Found{MF::kStatus_NoSuchEntry, 0xFFFFFFFFu, inStart, inEnd, kTime_Zero, TVK::Guid()}; };
    EXPECT_EQ(SegmentAt(cutlist, 3), gap(kTime_Zero, TickTime(5)));
    EXPECT_EQ(SegmentAt(cutlist, 10), gap(TickTime(10), TickTime(30)));
    EXPECT_EQ(SegmentAt(cutlist, 29), gap(TickTime(10), TickTime(30)));
    EXPECT_EQ(SegmentAt(cutlist, 40), gap(TickTime(40), kTime_Max));
    EXPECT_EQ(SegmentAt(Build({}), 9), gap(kTime_Zero, kTime_Max));
}

TEST(Cutlist, UnknownIndexAndHashLeaveTheOutputsUntouched)
{
    const auto cutlist = Build({{0, 10, 0, MakeFrozenNode("A")}});
    for (const std::uint32_t index : {1u, 2u, MF::kNoSegment})
    {
        TickTime start(1), end(2), offset(3);
        TVK::Guid hash(4, 5);
        EXPECT_EQ(cutlist->GetNthSegmentDescription(index, start, end, offset, hash),
                  MF::kStatus_NoSuchEntry);
        EXPECT_EQ(start, TickTime(1));
        EXPECT_EQ(end, TickTime(2));
        EXPECT_EQ(offset, TickTime(3));
        EXPECT_EQ(hash, TVK::Guid(4, 5));
    }
    const MF::IRenderableNodeRef kept = MakeFrozenNode("Kept");
    MF::IRenderableNodeRef node = kept;
    EXPECT_EQ(cutlist->GetRenderableNodeFromHashValue(TVK::Guid(1, 2), node), MF::kStatus_NoSuchEntry);
    EXPECT_EQ(node.get(), kept.get());
}

// Hashes are stored: these may never change. They were computed by a separate model of the arithmetic.
TEST(Cutlist, HashesNeverChange)
{
    const auto hash = [](const ML::IMutableCutlistRef& inCutlist)
    { return std::string(inCutlist->GetHashValue().AsUTF8String()); };
    EXPECT_EQ(hash(Build({})), "028379D0-017C-95FF-EDB4-F76ECB6F655F");
    EXPECT_EQ(hash(Build({{200, 300, 0, MakeFrozenNode("Other")}, {-10, 100, 5, MakeFrozenNode()}})),
              "5DDDD52B-DC12-16A4-5642-296D3219E126");
}

TEST(Cutlist, HashIsMixedSegmentBySegmentAsTheyCameOut)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    const auto cutlist = Build({{5, 20, 0, b}, {0, 10, -1, a}});
    const auto bytes = [](TVK::HashValue& ioHash, const std::string& inBytes)
    { ioHash.Mix(inBytes.data(), inBytes.size()); };
    const auto number = [&bytes](TVK::HashValue& ioHash, char inLow, char inHigh) {
        bytes(ioHash, std::string{inLow, inHigh, inHigh, inHigh, inHigh, inHigh, inHigh, inHigh});
    };
    const auto digest = [&bytes](TVK::HashValue& ioHash, const MF::IRenderableNodeRef& inNode)
    {
        std::uint8_t guid[16];
        inNode->GetHashValue().GuidToBytes(guid);
        bytes(ioHash, std::string(guid, guid + 16));
    };
    TVK::HashValue hash;
    bytes(hash, "Hash value for ML::RenderableCutlistImpl");
    EXPECT_EQ(hash.mTotal, 40u);
    number(hash, 0, 0);
    number(hash, 10, 0);
    number(hash, '\xFF', '\xFF');
    digest(hash, a);
    number(hash, 10, 0);
    number(hash, 20, 0);
    number(hash, 5, 0);
    digest(hash, b);
    EXPECT_EQ(cutlist->GetHashValue(), hash.AsGuid());
}

TEST(Cutlist, HashSeesWhatPlaysNotHowItWasAddedNorTheLabel)
{
    const auto a = MakeFrozenNode("A");
    const auto b = MakeFrozenNode("B");
    const TVK::Guid hash = Build({{0, 10, 0, a}, {10, 20, 0, b}})->GetHashValue();
    EXPECT_EQ(Build({{10, 20, 0, b}, {5, 10, 5, a}, {0, 5, 0, a}})->GetHashValue(), hash);
    EXPECT_NE(Build({{0, 10, 0, a}, {10, 21, 0, b}})->GetHashValue(), hash);
    EXPECT_NE(Build({{0, 10, 0, a}, {10, 20, 1, b}})->GetHashValue(), hash);
    EXPECT_NE(Build({{0, 10, 0, a}, {10, 20, 0, a}})->GetHashValue(), hash);

    const auto labelled = ML::CreateMutableCutlist(ImmutableString::CreateStatic("left"));
    EXPECT_EQ(labelled->GetStreamLabel(), ImmutableString::CreateStatic("left"));
    labelled->AddSegment(TickTime(0), TickTime(10), TickTime(0), a);
    labelled->AddSegment(TickTime(10), TickTime(20), TickTime(0), b);
    ML::SetCutlistStreamLabel(labelled, ImmutableString::CreateStatic("right"));
    labelled->Finalize();
    EXPECT_EQ(labelled->GetHashValue(), hash);
    EXPECT_EQ(labelled->GetStreamLabel(), ImmutableString::CreateStatic("right"));
}

std::vector<TimeRange> StillRanges(const ML::IMutableCutlistRef& inCutlist, TickTime inStart = kTime_Zero,
                                   TickTime inEnd = kTime_Max)
{
    std::vector<TimeRange> ranges;
    MF::IRenderableExtendedStillInfoRef(inCutlist)->GetStillRanges(inStart, inEnd, ranges);
    return ranges;
}

TimeRange Range(std::int64_t inStart, std::int64_t inEnd)
{
    return {TickTime(inStart), TickTime(inEnd)};
}

TimeRange StillRangeAt(const ML::IMutableCutlistRef& inCutlist, std::int64_t inTime)
{
    TimeRange range = Range(-1, -2);
    EXPECT_EQ(MF::IRenderableExtendedStillInfoRef(inCutlist)->GetStillRangeForTime(TickTime(inTime), range),
              0);
    return range;
}

FakeProducerNodeRef MakeProducerNode(const std::vector<TimeRange>& inStillRanges)
{
    const FakeProducerNodeRef node(new FakeProducerNode("Producing"));
    node->mStillRanges = inStillRanges;
    node->Finalize();
    return node;
}

TEST(Cutlist, EmptyCutlistIsStillForEver)
{
    EXPECT_EQ(StillRanges(Build({})), (std::vector{TimeRange{kTime_Zero, kTime_Max}}));
}

TEST(Cutlist, GapsAndUnchangingNodesAreStill)
{
    const auto still = MakeFrozenNode("Still", kNeverChanges);
    const auto moving = MakeFrozenNode("Moving", MF::kNodeFlag_Still);
    const auto animated = MakeFrozenNode("Animated", MF::kNodeFlag_StaticParameters);
    const auto cutlist =
        Build({{10, 20, 0, moving}, {20, 30, 500, still}, {40, 50, 0, animated}, {50, 60, 0, still}});
    EXPECT_EQ(StillRanges(cutlist), (std::vector{Range(0, 10), Range(20, 30), Range(30, 40), Range(50, 60),
                                                 TimeRange{TickTime(60), kTime_Max}}));
}

TEST(Cutlist, NoGapLiesBeforeTimeZeroNorBehindTheEndOfTheAxis)
{
    const auto moving = MakeFrozenNode("Moving");
    const auto cutlist = Build({{-20, -10, 0, moving}, {-5, kTime_Max.GetTicks(), 0, moving}});
    EXPECT_EQ(StillRanges(cutlist, norviktypes::kTime_Min), (std::vector{Range(-10, -5)}));
}

TEST(Cutlist, NodesAreAskedForStillRangesInTheirOwnTime)
{
    const auto node = MakeProducerNode({Range(1002, 1004), Range(1006, 1010)});
    const auto cutlist = Build({{100, 110, 1000, node}});
    EXPECT_EQ(node->mStillQuestions, (std::vector{Range(1000, 1010)}));
    EXPECT_EQ(StillRanges(cutlist), (std::vector{Range(0, 100), Range(102, 104), Range(106, 110),
                                                 TimeRange{TickTime(110), kTime_Max}}));
}

TEST(Cutlist, UnchangingNodesAreNotAskedForStillRanges)
{
    const FakeProducerNodeRef node(new FakeProducerNode("Producing", kNeverChanges));
    node->mStillRanges = {Range(1, 2)};
    node->Finalize();
    EXPECT_EQ(StillRanges(Build({{0, 10, 0, node}})),
              (std::vector{Range(0, 10), TimeRange{TickTime(10), kTime_Max}}));
    EXPECT_TRUE(node->mStillQuestions.empty());
}

TEST(Cutlist, StillRangesAreClippedAndAppended)
{
    const auto still = MakeFrozenNode("Still", kNeverChanges);
    const auto moving = MakeFrozenNode("Moving");
    const auto cutlist = Build({{0, 10, 0, still}, {10, 20, 0, moving}, {20, 30, 0, still}});
    EXPECT_EQ(StillRanges(cutlist, TickTime(5), TickTime(25)), (std::vector{Range(5, 10), Range(20, 25)}));
    EXPECT_EQ(StillRanges(cutlist, TickTime(10), TickTime(20)), (std::vector<TimeRange>{}));
    EXPECT_EQ(StillRanges(cutlist, TickTime(9), TickTime(21)), (std::vector{Range(9, 10), Range(20, 21)}));
    EXPECT_EQ(StillRanges(cutlist, TickTime(20), TickTime(20)), (std::vector<TimeRange>{}));
    EXPECT_EQ(StillRanges(cutlist, TickTime(29), TickTime(35)), (std::vector{Range(29, 30), Range(30, 35)}));
    std::vector<TimeRange> ranges{Range(7, 7)};
    MF::IRenderableExtendedStillInfoRef(cutlist)->GetStillRanges(TickTime(5), TickTime(8), ranges);
    EXPECT_EQ(ranges, (std::vector{Range(7, 7), Range(5, 8)}));
}

TEST(Cutlist, StillRangeOfATimeIsTheWholeRangeOrTheTimeItself)
{
    const auto still = MakeFrozenNode("Still", kNeverChanges);
    const auto moving = MakeFrozenNode("Moving");
    const auto cutlist = Build({{0, 10, 0, still}, {10, 20, 0, moving}, {20, 30, 0, still}});
    EXPECT_EQ(StillRangeAt(cutlist, 0), Range(0, 10));
    EXPECT_EQ(StillRangeAt(cutlist, 9), Range(0, 10));
    EXPECT_EQ(StillRangeAt(cutlist, 10), Range(10, 10));
    EXPECT_EQ(StillRangeAt(cutlist, 19), Range(19, 19));
    EXPECT_EQ(StillRangeAt(cutlist, 20), Range(20, 30));
    EXPECT_EQ(StillRangeAt(cutlist, 30), (TimeRange{TickTime(30), kTime_Max}));
    EXPECT_EQ(StillRangeAt(cutlist, -5), Range(-5, -5));
    EXPECT_EQ(StillRangeAt(cutlist, kTime_Max.GetTicks()), (TimeRange{kTime_Max, kTime_Max}));
    const auto early = Build({{-20, -10, 0, still}});
    EXPECT_EQ(StillRangeAt(early, -20), Range(-20, -10));
    EXPECT_EQ(StillRangeAt(early, -11), Range(-20, -10));
}

TEST(Cutlist, MutableCutlistHasNoStillRangesYet)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    EXPECT_EQ(StillRangeAt(cutlist, 5), Range(5, 5));
    EXPECT_TRUE(StillRanges(cutlist).empty());
}

MF::SmartRenderSegment SmartSegment(std::int64_t inStart, std::int64_t inEnd)
{
    MF::SmartRenderSegment segment;
    segment.mClipInstanceID = 42;
    segment.mStart = TickTime(inStart);
    segment.mEnd = TickTime(inEnd);
    segment.mMediaStart = TickTime(inStart + 7000);
    segment.mMediaEnd = TickTime(inEnd + 7000);
    segment.mMediaPath = u"file";
    segment.mMediaFirstTime = TickTime(1);
    segment.mMediaLastTime = TickTime(99999);
    return segment;
}

MF::SmartRenderSegments SmartSegments(const ML::IMutableCutlistRef& inCutlist, std::int64_t inStart,
                                      std::int64_t inEnd)
{
    MF::SmartRenderSegments segments;
    MF::ISmartRenderSegmentInfoRef(inCutlist)->GetSmartRenderSegments(
        TickTime(inStart), TickTime(inEnd), norviktypes::kPixelFormat_BGRA_4444_8u, true, segments);
    return segments;
}

TEST(Cutlist, CopyableStretchesAreAskedForAndGivenBackOnTheRightAxis)
{
    const FakeProducerNodeRef node(new FakeProducerNode("Producing"));
    node->mSmartSegments = {{TickTime(1002), SmartSegment(1002, 1004)},
                            {TickTime(1006), SmartSegment(1006, 1010)}};
    node->Finalize();
    const auto cutlist = Build({{100, 110, 1000, node}});
    const MF::SmartRenderSegments segments = SmartSegments(cutlist, 103, 500);
    ASSERT_EQ(node->mSmartQuestions.size(), 1u);
    EXPECT_EQ(node->mSmartQuestions[0].mRange, Range(1003, 1010));
    EXPECT_EQ(node->mSmartQuestions[0].mFormat, norviktypes::kPixelFormat_BGRA_4444_8u);
    EXPECT_TRUE(node->mSmartQuestions[0].mIsPreview);

    MF::SmartRenderSegment first = SmartSegment(1002, 1004);
    first.mStart = TickTime(102);
    first.mEnd = TickTime(104);
    MF::SmartRenderSegment second = SmartSegment(1006, 1010);
    second.mStart = TickTime(106);
    second.mEnd = TickTime(110);
    EXPECT_EQ(segments, (MF::SmartRenderSegments{{TickTime(102), first}, {TickTime(106), second}}));
}

TEST(Cutlist, EachNodeIsAskedWithAFreshMapAndOnlyForItsOwnPart)
{
    const FakeProducerNodeRef early(new FakeProducerNode("Early"));
    early->mSmartSegments = {{TickTime(0), SmartSegment(0, 10)}};
    early->Finalize();
    const FakeProducerNodeRef late(new FakeProducerNode("Late"));
    late->mSmartSegments = {{TickTime(0), SmartSegment(0, 10)}};
    late->Finalize();
    const auto cutlist = Build({{0, 10, 0, early}, {10, 20, 0, MakeFrozenNode("Silent")}, {20, 30, 0, late}});
    EXPECT_EQ(SmartSegments(cutlist, 0, 1000).size(), 2u);
    ASSERT_EQ(late->mSmartQuestions.size(), 1u);
    EXPECT_EQ(late->mSmartQuestions[0].mRange, Range(0, 10));
    EXPECT_EQ(late->mSmartQuestions[0].mEntriesBefore, 0u);
    EXPECT_EQ(SmartSegments(cutlist, 5, 20).size(), 1u);
    EXPECT_EQ(late->mSmartQuestions.size(), 1u);
}

TEST(Cutlist, CopyableStretchesAreGivenWhileSegmentsAreStillAdded)
{
    const FakeProducerNodeRef late(new FakeProducerNode("Late"));
    late->mSmartSegments = {{TickTime(0), SmartSegment(0, 10)}};
    late->Finalize();
    const FakeProducerNodeRef early(new FakeProducerNode("Early"));
    early->mSmartSegments = {{TickTime(0), SmartSegment(0, 10)}};
    early->Finalize();
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    cutlist->AddSegment(TickTime(200), TickTime(210), TickTime(0), late);
    cutlist->AddSegment(TickTime(100), TickTime(110), TickTime(0), early);
    const MF::SmartRenderSegments segments = SmartSegments(cutlist, 104, 500);
    ASSERT_EQ(segments.size(), 2u);
    EXPECT_EQ(segments.begin()->first, TickTime(100));
    EXPECT_EQ(segments.rbegin()->first, TickTime(200));
    ASSERT_EQ(early->mSmartQuestions.size(), 1u);
    EXPECT_EQ(early->mSmartQuestions[0].mRange, Range(4, 10));
}

TEST(Cutlist, EntryThatIsThereAlreadyStays)
{
    const FakeProducerNodeRef node(new FakeProducerNode("Producing"));
    node->mSmartSegments = {{TickTime(5), SmartSegment(5, 10)}};
    node->Finalize();
    const auto cutlist = Build({{0, 10, 0, node}});
    MF::SmartRenderSegments segments{{TickTime(5), SmartSegment(5, 6)}};
    MF::ISmartRenderSegmentInfoRef(cutlist)->GetSmartRenderSegments(TickTime(0), TickTime(10), {}, false,
                                                                    segments);
    EXPECT_EQ(segments, (MF::SmartRenderSegments{{TickTime(5), SmartSegment(5, 6)}}));
}

std::string Text(const char* inCondition, const char* inFunction)
{
    return std::string(inCondition) +
           "|Src/RenderableCutlistImpl|ML::`anonymous-namespace'::MutableCutlist::" + inFunction;
}

TEST(Cutlist, GettersOfTheFrozenPhaseRefuseAMutableCutlist)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    TickTime start, end, offset;
    TVK::Guid hash;
    std::uint32_t index = 0;
    MF::IRenderableNodeRef node;
    FrameTime time;
    EXPECT_EQ(ContractText([&] { cutlist->GetHashValue(); }), Text("!mMutable", "GetHashValue"));
    EXPECT_EQ(ContractText([&] { cutlist->GetNthSegmentDescription(0, start, end, offset, hash); }),
              Text("!mMutable", "GetNthSegmentDescription"));
    EXPECT_EQ(ContractText([&] { cutlist->GetRenderableNodeFromHashValue(hash, node); }),
              Text("!mMutable", "GetRenderableNodeFromHashValue"));
    EXPECT_EQ(ContractText([&] { cutlist->FindNodeForTime({}, node, time); }),
              Text("!mMutable", "FindNodeForTime"));
    EXPECT_EQ(ContractText([&] { cutlist->FindNodeForTimeRange({}, {}, node, time); }),
              Text("!mMutable", "FindNodeForTimeRange"));
    EXPECT_EQ(ContractText([&] { cutlist->FindSegmentForTime({}, index, start, end, offset, hash); }),
              Text("!mMutable", "FindSegmentForTime"));
    EXPECT_EQ(cutlist->GetSegmentCount(), 0u);
    EXPECT_TRUE(cutlist->GetStreamLabel().empty());
    EXPECT_TRUE(SmartSegments(cutlist, 0, 10).empty());
}

TEST(Cutlist, BuildersOperationsRefuseAFrozenCutlistAndChangeNothing)
{
    const auto node = MakeFrozenNode("A");
    const auto cutlist = Build({{0, 10, 0, node}});
    EXPECT_EQ(ContractText([&] { cutlist->Finalize(); }), Text("mMutable", "Finalize"));
    EXPECT_EQ(
        ContractText([&] { ML::SetCutlistStreamLabel(cutlist, ImmutableString::CreateStatic("late")); }),
        Text("mMutable", "SetStreamLabel"));
    EXPECT_EQ(ContractText([&] { cutlist->AddSegment(TickTime(20), TickTime(30), TickTime(0), node); }),
              Text("mMutable", "AddSegment"));
    EXPECT_EQ(Describe(cutlist), "0-10@0:A");
    EXPECT_TRUE(cutlist->GetStreamLabel().empty());
}

TEST(Cutlist, AnswersItsFacesAsOneObject)
{
    const ML::IMutableCutlistRef cutlist = Build({});
    const MF::IRenderableCutlistRef plain(cutlist);
    EXPECT_TRUE(plain);
    EXPECT_EQ(TVK::TVKUnknownRef(cutlist).get(), TVK::TVKUnknownRef(plain).get());
    EXPECT_EQ(TVK::TVKUnknownRef(cutlist).get(),
              TVK::TVKUnknownRef(MF::IRenderableExtendedStillInfoRef(cutlist)).get());
    EXPECT_EQ(TVK::TVKUnknownRef(cutlist).get(),
              TVK::TVKUnknownRef(MF::ISmartRenderSegmentInfoRef(cutlist)).get());
    EXPECT_FALSE(MF::IRenderableNodeRef(cutlist));
}

TEST(Cutlist, TimesReachToBothEndsOfTheAxis)
{
    const std::int64_t low = norviktypes::kTime_Min.GetTicks();
    const std::int64_t high = kTime_Max.GetTicks();
    const auto node = MakeProducerNode({});
    const auto cutlist = Build({{low, high, low, node}, {0, high, high, MakeFrozenNode("Hidden")}});
    EXPECT_EQ(Describe(cutlist),
              std::to_string(low) + "-" + std::to_string(high) + "@" + std::to_string(low) + ":Producing");
    EXPECT_EQ(node->mStillQuestions, (std::vector{Range(low, high)}));
    EXPECT_EQ(At(cutlist, high - 1, high - 1),
              "Producing " + std::to_string(high - 1) + " " + std::to_string(high - 1));
    EXPECT_EQ(At(cutlist, high, high), "none");
    EXPECT_TRUE(StillRanges(cutlist, norviktypes::kTime_Min, kTime_Max).empty());
}

} // namespace
