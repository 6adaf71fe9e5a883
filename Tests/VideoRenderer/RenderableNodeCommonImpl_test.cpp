#include "RenderableNodeCommonImpl.h"
#include "TVK/ContractError.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/Fakes/FakeNode.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace
{

using norvik::UTF8String;
using norvik::utility::ImmutableString;
using norviktypes::TickTime;
using TestSupport::ContractText;
using TestSupport::FakeNode;
using TestSupport::FakeNodeRef;
using TestSupport::MakeFrozenNode;

ImmutableString Key(const char* inText)
{
    return ImmutableString::CreateStatic(inText);
}

FakeNodeRef NewNode()
{
    return FakeNodeRef(new FakeNode());
}

std::string HashOf(const MF::IRenderableNodeRef& inNode)
{
    return std::string(inNode->GetHashValue().AsUTF8String());
}

std::string HashWith(const MF::IRenderableNodeRef& inFirst, std::int64_t inFirstOffset,
                     const MF::IRenderableNodeRef& inSecond, std::int64_t inSecondOffset)
{
    const FakeNodeRef node = NewNode();
    node->AppendInput(inFirst, TickTime(inFirstOffset));
    node->AppendInput(inSecond, TickTime(inSecondOffset));
    node->Finalize();
    return HashOf(node);
}

// A node with all that a node can have. The key of two bytes comes last, since bytes compare unsigned.
FakeNodeRef FullNode(bool inWithOperators = true)
{
    const FakeNodeRef node = NewNode();
    node->SetCommonProperty(Key("b"), "two", true);
    node->SetCommonProperty(Key("\xC3\xA9"), "x", true);
    node->SetCommonProperty(Key("a"), "1", true);
    node->SetCommonProperty(Key("Told"), "only", false);
    node->AppendInput(MakeFrozenNode("Other"), TickTime(254016000000));
    node->AppendInput({}, TickTime(-5));
    node->AppendInput(MakeFrozenNode(), TickTime(0));
    if (inWithOperators)
    {
        node->AppendOperator(MakeFrozenNode("Operator"));
        node->AppendOperator(MakeFrozenNode("Other"));
    }
    node->Finalize();
    return node;
}

// Hashes are stored and pass between modules: these may never change. They were computed by a separate model
// of the arithmetic.
TEST(RenderableNode, HashesNeverChange)
{
    EXPECT_EQ(HashOf(MakeFrozenNode()), "7D7144E6-25C8-DF40-61D2-48B7F86AB8F2");
    EXPECT_EQ(HashOf(FullNode()), "E7780D43-344C-0E70-9B90-42F5090056BD");
    EXPECT_EQ(HashOf(FullNode(false)), "25865A46-24B9-3DC7-BB47-B1E77FB6C05E");
}

TEST(RenderableNode, HashIsMixedPartByPartInTheFixedOrder)
{
    const auto bytes = [](TVK::HashValue& ioHash, const std::string& inBytes)
    { ioHash.Mix(inBytes.data(), inBytes.size()); };
    const auto digest = [&bytes](TVK::HashValue& ioHash, const MF::IRenderableNodeRef& inNode)
    {
        std::uint8_t guid[16];
        inNode->GetHashValue().GuidToBytes(guid);
        bytes(ioHash, std::string(guid, guid + 16));
    };
    TVK::HashValue hash;
    bytes(hash, "ML::RenderableNodeCommonImpl");
    EXPECT_EQ(hash.mTotal, 28u);
    for (const auto& [key, value] : {std::pair("a", "1"), std::pair("b", "two"), std::pair("\xC3\xA9", "x")})
    {
        bytes(hash, "PropertyName::");
        bytes(hash, key);
        bytes(hash, "PropertyValue::");
        bytes(hash, value);
    }
    bytes(hash, "Input::");
    bytes(hash, std::string("\x00\x90\x88\x24\x3B\x00\x00\x00", 8)); // one second
    digest(hash, MakeFrozenNode("Other"));
    bytes(hash, "Input::");
    bytes(hash, std::string("\xFB\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8)); // -5, an input of nothing
    bytes(hash, "Input::");
    bytes(hash, std::string(8, '\0'));
    digest(hash, MakeFrozenNode());
    bytes(hash, "NodeType::");
    bytes(hash, "FakeNode");
    EXPECT_EQ(FullNode()->HashWithoutOperators(), hash.AsGuid());
    bytes(hash, "Operator::");
    digest(hash, MakeFrozenNode("Operator"));
    bytes(hash, "Operator::");
    digest(hash, MakeFrozenNode("Other"));
    EXPECT_EQ(FullNode()->GetHashValue(), hash.AsGuid());
}

TEST(RenderableNode, HashWithoutOperatorsIsThatOfTheSameNodeWithNone)
{
    EXPECT_EQ(FullNode()->HashWithoutOperators(), FullNode(false)->GetHashValue());
    EXPECT_NE(FullNode()->GetHashValue(), FullNode(false)->GetHashValue());
}

TEST(RenderableNode, BareNodesOfOneClassHashAlikeAndOfTwoClassesDiffer)
{
    EXPECT_EQ(HashOf(MakeFrozenNode("One")), HashOf(MakeFrozenNode("One")));
    EXPECT_NE(HashOf(MakeFrozenNode("One")), HashOf(MakeFrozenNode("Two")));
}

TEST(RenderableNode, EmptyValueRemovesAPropertyAndLeavesTheHashAsIfNeverSet)
{
    const FakeNodeRef node = NewNode();
    node->SetCommonProperty(Key("key"), "value", true);
    node->SetCommonProperty(Key("key"), "", true);
    UTF8String value = "untouched";
    EXPECT_EQ(node->GetProperty(Key("key"), value), MF::kStatus_NoSuchEntry);
    EXPECT_EQ(value, "untouched");
    node->Finalize();
    EXPECT_EQ(HashOf(node), HashOf(MakeFrozenNode()));
}

TEST(RenderableNode, EmptyValueRemovesAPropertyWhereverItStands)
{
    for (const bool hashed : {false, true})
    {
        const FakeNodeRef node = NewNode();
        node->SetCommonProperty(Key("key"), "told", false);
        node->SetCommonProperty(Key("key"), "hashed", true);
        node->SetCommonProperty(Key("key"), "", hashed);
        MF::NodeProperties properties;
        node->GetProperties(properties);
        EXPECT_TRUE(properties.empty());
    }
}

TEST(RenderableNode, HashedPropertyHidesAnUnhashedOneOfTheSameKey)
{
    const FakeNodeRef node = NewNode();
    node->SetCommonProperty(Key("key"), "told", false);
    node->SetCommonProperty(Key("key"), "hashed", true);
    node->SetCommonProperty(Key("other"), "also told", false);
    UTF8String value;
    EXPECT_EQ(node->GetProperty(Key("key"), value), 0);
    EXPECT_EQ(value, "hashed");
    MF::NodeProperties properties{{Key("old"), "entry"}};
    EXPECT_EQ(node->GetProperties(properties), 0);
    EXPECT_EQ(properties, (MF::NodeProperties{{Key("key"), "hashed"}, {Key("other"), "also told"}}));

    node->Finalize();
    const FakeNodeRef hashedOnly = NewNode();
    hashedOnly->SetCommonProperty(Key("key"), "hashed", true);
    hashedOnly->Finalize();
    EXPECT_EQ(HashOf(node), HashOf(hashedOnly));
}

TEST(RenderableNode, UnhashedPropertiesAreTakenUpButNeverHashed)
{
    const FakeNodeRef node = NewNode();
    node->SetCommonProperty(Key("key"), "value", false);
    node->Finalize();
    UTF8String value;
    EXPECT_EQ(node->GetProperty(Key("key"), value), 0);
    EXPECT_EQ(value, "value");
    EXPECT_EQ(HashOf(node), HashOf(MakeFrozenNode()));
}

TEST(RenderableNode, OrderAndOffsetsOfInputsAreHashed)
{
    const MF::IRenderableNodeRef one = MakeFrozenNode("One");
    const MF::IRenderableNodeRef two = MakeFrozenNode("Two");
    const std::string hash = HashWith(one, 0, two, 0);
    EXPECT_EQ(hash, HashWith(one, 0, two, 0));
    EXPECT_NE(hash, HashWith(two, 0, one, 0));
    EXPECT_NE(hash, HashWith(one, 1, two, 0));
    EXPECT_NE(hash, HashWith(one, 0, two, 1));
}

TEST(RenderableNode, InputOfNothingCountsAndHashesByItsOffset)
{
    const FakeNodeRef node = NewNode();
    node->AppendInput({}, TickTime(7));
    EXPECT_EQ(node->GetInputCount(), 1u);
    node->Finalize();
    TickTime offset;
    MF::IRenderableNodeRef input = MakeFrozenNode();
    EXPECT_EQ(node->GetNthInput(0, offset, input), 0);
    EXPECT_EQ(offset, TickTime(7));
    EXPECT_FALSE(input);
    EXPECT_NE(HashOf(node), HashOf(MakeFrozenNode()));
    const FakeNodeRef later = NewNode();
    later->AppendInput({}, TickTime(8));
    later->Finalize();
    EXPECT_NE(HashOf(node), HashOf(later));
}

TEST(RenderableNode, InputsAndOperatorsComeBackInTheOrderOfAppending)
{
    const FakeNodeRef node = FullNode();
    EXPECT_EQ(node->GetInputCount(), 3u);
    EXPECT_EQ(node->GetOperatorCount(), 2u);
    TickTime offset;
    MF::IRenderableNodeRef found;
    EXPECT_EQ(node->GetNthInput(0, offset, found), 0);
    EXPECT_EQ(offset, TickTime(254016000000));
    EXPECT_EQ(found->GetNodeType(), Key("Other"));
    EXPECT_EQ(node->GetNthOperator(0, found), 0);
    EXPECT_EQ(found->GetNodeType(), Key("Operator"));
    EXPECT_EQ(node->GetNthOperator(1, found), 0);
    EXPECT_EQ(found->GetNodeType(), Key("Other"));
}

TEST(RenderableNode, EntriesBeyondTheEndLeaveTheOutputsUntouched)
{
    const FakeNodeRef node = FullNode();
    const MF::IRenderableNodeRef kept = MakeFrozenNode();
    for (const std::uint32_t beyond : {0u, 1u, 0xFFFFFFFCu})
    {
        TickTime offset(77);
        MF::IRenderableNodeRef found = kept;
        EXPECT_EQ(node->GetNthInput(node->GetInputCount() + beyond, offset, found), MF::kStatus_NoSuchEntry);
        EXPECT_EQ(node->GetNthOperator(node->GetOperatorCount() + beyond, found), MF::kStatus_NoSuchEntry);
        EXPECT_EQ(offset, TickTime(77));
        EXPECT_EQ(found, kept);
    }
    EXPECT_EQ(MF::kStatus_NoSuchEntry, static_cast<std::int32_t>(0xA00F0001u));
}

TEST(RenderableNode, EmptyOperatorFailsFinalizeAndLeavesTheNodeMutable)
{
    const FakeNodeRef node = NewNode();
    node->AppendOperator({});
    EXPECT_THROW(node->Finalize(), TVK::NullInterfaceException);
    EXPECT_TRUE(node->IsMutable());
    EXPECT_EQ(node->GetOperatorCount(), 1u);
}

TEST(RenderableNode, FlagsAreThoseOfTheKindOnceFrozen)
{
    EXPECT_EQ(MakeFrozenNode("Flags", 0x5D)->GetInformativeFlags(), 0x5Du);
    struct Plain final : ML::RenderableNodeCommonImpl
    {
        ImmutableString GetNodeType() const override { return Key("Plain"); }
    };
    const TVK::InterfaceRef<Plain> plain(new Plain());
    plain->Finalize();
    EXPECT_EQ(plain->GetInformativeFlags(), 0u);
}

// A kind's flags may depend on the hash, which is there before they are asked for.
TEST(RenderableNode, HashIsThereWhenFlagsAreCalculated)
{
    struct Watching final : ML::RenderableNodeCommonImpl
    {
        ImmutableString GetNodeType() const override { return Key("Watching"); }
        std::uint32_t CalculateInformativeFlags() const override
        {
            mWasMutable = IsMutable();
            return HashWithoutOperators().IsZero() ? 0 : 1;
        }
        mutable bool mWasMutable = false;
    };
    const TVK::InterfaceRef<Watching> node(new Watching());
    node->Finalize();
    EXPECT_EQ(node->GetInformativeFlags(), 1u);
    EXPECT_TRUE(node->mWasMutable);
}

TEST(RenderableNode, GettersOfTheFrozenPhaseRefuseAMutableNode)
{
    const FakeNodeRef node = NewNode();
    node->AppendInput({}, TickTime(1));
    TickTime offset(3);
    MF::IRenderableNodeRef found = MakeFrozenNode();
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    const auto text = [](const char* inFunction) {
        return std::string("!mMutable|Inc/RenderableNodeCommonImpl|ML::RenderableNodeCommonImpl::") +
               inFunction;
    };
    EXPECT_EQ(ContractText([&] { node->GetHashValue(); }), text("GetHashValue"));
    EXPECT_EQ(ContractText([&] { node->GetInformativeFlags(); }), text("GetInformativeFlags"));
    EXPECT_EQ(ContractText([&] { node->GetNthInput(0, offset, found); }), text("GetNthInput"));
    EXPECT_EQ(ContractText([&] { node->GetNthInput(9, offset, found); }), text("GetNthInput"));
    EXPECT_EQ(ContractText([&] { node->GetNthOperator(0, found); }), text("GetNthOperator"));
    EXPECT_EQ(ContractText([&] { node->GetPrefetchesForFrame({}, {}, prefetches); }),
              text("GetPrefetchesForFrame"));
    EXPECT_EQ(offset, TickTime(3));
    EXPECT_TRUE(found);
    EXPECT_TRUE(node->mPrefetchedTimes.empty());

    UTF8String value;
    MF::NodeProperties properties;
    EXPECT_EQ(node->GetProperty(Key("key"), value), MF::kStatus_NoSuchEntry);
    EXPECT_EQ(node->GetProperties(properties), 0);
    EXPECT_EQ(node->GetInputCount(), 1u);
    EXPECT_EQ(node->GetOperatorCount(), 0u);
}

TEST(RenderableNode, BuildersOperationsRefuseAFrozenNodeAndChangeNothing)
{
    const FakeNodeRef node = FullNode();
    const std::string hash = HashOf(node);
    const auto text = [](const char* inFunction) {
        return std::string("mMutable|Inc/RenderableNodeCommonImpl|ML::RenderableNodeCommonImpl::") +
               inFunction;
    };
    EXPECT_EQ(ContractText([&] { node->Finalize(); }), text("Finalize"));
    EXPECT_EQ(ContractText([&] { node->SetCommonProperty(Key("a"), "", true); }), text("SetCommonProperty"));
    EXPECT_EQ(ContractText([&] { node->AppendInput({}, TickTime(0)); }), text("AppendInput"));
    EXPECT_EQ(ContractText([&] { node->AppendOperator({}); }), text("AppendOperator"));
    UTF8String value;
    EXPECT_EQ(node->GetProperty(Key("a"), value), 0);
    EXPECT_EQ(node->GetInputCount(), 3u);
    EXPECT_EQ(node->GetOperatorCount(), 2u);
    EXPECT_EQ(HashOf(node), hash);
}

// Twice as fast, ten ticks ahead; the order of the two times turns round.
class MirrorTransform final : public TVK::Implements<MirrorTransform, MF::ITimeTransform>
{
public:
    TickTime MapTime(const TickTime& inTime, std::uint32_t inFlag) const override
    {
        EXPECT_EQ(inFlag, 0u);
        return TickTime(10) - inTime * 2;
    }
    bool IsIdentity() const override { return false; }
    TVK::Guid GetHash() const override { return TVK::Guid(0, 1); }
};

TEST(RenderableNode, PrefetchesAreAskedOfInputsInTheirOwnTimeThenOfTheNode)
{
    const FakeNodeRef first = MakeFrozenNode();
    const FakeNodeRef second = MakeFrozenNode();
    const FakeNodeRef node = NewNode();
    node->AppendInput(first, TickTime(100));
    node->AppendInput({}, TickTime(0));
    node->AppendInput(second, TickTime(-30));
    node->Finalize();
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    node->GetPrefetchesForFrame({TickTime(500), TickTime(520)}, {}, prefetches);
    EXPECT_EQ(first->mPrefetchedTimes, (std::vector{MF::FrameTime(TickTime(400), TickTime(420))}));
    EXPECT_EQ(second->mPrefetchedTimes, (std::vector{MF::FrameTime(TickTime(530), TickTime(550))}));
    EXPECT_EQ(node->mPrefetchedTimes, (std::vector{MF::FrameTime(TickTime(500), TickTime(520))}));
}

TEST(RenderableNode, PrefetchTimesOfInputsGoThroughTheNodesTimeTransform)
{
    const FakeNodeRef input = MakeFrozenNode();
    const FakeNodeRef node = NewNode();
    node->AppendInput(input, TickTime(100));
    node->mTimeTransform = MF::ITimeTransformRef(new MirrorTransform());
    node->Finalize();
    std::vector<ML::IRenderableNodePrefetchRef> prefetches;
    node->GetPrefetchesForFrame({TickTime(500), TickTime(520)}, {}, prefetches);
    EXPECT_EQ(input->mPrefetchedTimes, (std::vector{MF::FrameTime(TickTime(-790), TickTime(-830))}));
    EXPECT_EQ(node->mPrefetchedTimes, (std::vector{MF::FrameTime(TickTime(500), TickTime(520))}));
}

class NamedPrefetch final : public TVK::Implements<NamedPrefetch, ML::IRenderableNodePrefetch>
{
public:
    explicit NamedPrefetch(std::uint64_t inName) : mName(inName) {}
    std::int32_t BeginPrefetch() override { return 0; }
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef&) override { return 0; }
    std::int32_t CancelPrefetch() override { return 0; }
    void GetPrefetchKey(TVK::Guid& outKey) const override { outKey = TVK::Guid(0, mName); }
    bool ContinueWaitingForPrefetch(double) override { return false; }

private:
    std::uint64_t mName;
};

// Wants one thing read, named by the width of the render and a number of its own.
class PrefetchingNode final : public ML::RenderableNodeCommonImpl
{
public:
    explicit PrefetchingNode(std::uint64_t inName) : mName(inName) {}
    ImmutableString GetNodeType() const override { return Key("PrefetchingNode"); }
    void AddOwnPrefetchesForFrame(const MF::FrameTime&, const ML::CutlistRenderParams& inParams,
                                  std::vector<ML::IRenderableNodePrefetchRef>& ioPrefetches) override
    {
        ioPrefetches.push_back(ML::IRenderableNodePrefetchRef(new NamedPrefetch(mName + inParams.mWidth)));
    }

private:
    std::uint64_t mName;
};

TEST(RenderableNode, PrefetchesOfTheWholeTreeAreAppendedInOrderForTheSameRender)
{
    using NodeRef = TVK::InterfaceRef<PrefetchingNode>;
    const NodeRef leaf(new PrefetchingNode(1));
    leaf->Finalize();
    const NodeRef middle(new PrefetchingNode(2));
    middle->AppendInput(leaf, TickTime(0));
    middle->Finalize();
    const NodeRef top(new PrefetchingNode(3));
    top->AppendInput(middle, TickTime(0));
    top->AppendInput(leaf, TickTime(5));
    top->Finalize();
    ML::CutlistRenderParams params;
    params.mWidth = 1000;
    std::vector<ML::IRenderableNodePrefetchRef> prefetches{
        ML::IRenderableNodePrefetchRef(new NamedPrefetch(9))};
    top->GetPrefetchesForFrame({}, params, prefetches);
    std::vector<std::uint64_t> names;
    for (const ML::IRenderableNodePrefetchRef& prefetch : prefetches)
    {
        TVK::Guid key;
        prefetch->GetPrefetchKey(key);
        names.push_back(key.mLo);
    }
    EXPECT_EQ(names, (std::vector<std::uint64_t>{9, 1001, 1002, 1001, 1003}));
}

TEST(RenderableNode, AnswersItsTwoFacesAndRefusesOthers)
{
    const FakeNodeRef node = MakeFrozenNode();
    EXPECT_TRUE(MF::IRenderableNodeRef(node));
    EXPECT_TRUE(ML::IRenderableNodePrefetchProviderRef(node));
    EXPECT_FALSE(ML::IRenderableNodeProducerProviderRef(node));
    void* face = &face;
    EXPECT_EQ(node->Query(ML::IRenderableNodeProducer::kInterfaceID, &face),
              static_cast<std::int32_t>(0xA00A0001u));
    EXPECT_EQ(face, nullptr);
}

TEST(RenderableNode, ProducerProviderKnowsNothingUnlessAKindDoes)
{
    struct Silent final : TVK::Implements<Silent, ML::IRenderableNodeProducerProvider>
    {
        ML::IRenderableNodeProducerRef GetProducerForFrame(const MF::FrameTime&,
                                                           const ML::CutlistRenderParams&) override
        {
            return {};
        }
    };
    const TVK::InterfaceRef<Silent> silent(new Silent());
    std::vector<MF::TimeRange> ranges;
    MF::SmartRenderSegments segments;
    silent->GetStillRanges(TickTime(0), TickTime(9), ranges);
    silent->GetSmartRenderSegments(TickTime(0), TickTime(9), {}, false, segments);
    EXPECT_TRUE(ranges.empty());
    EXPECT_TRUE(segments.empty());
    EXPECT_FALSE(silent->HasCaptions());
}

TEST(RenderableNode, GoesWithItsLastReferenceAndTakesInputsAndOperatorsAlong)
{
    struct Counted final : ML::RenderableNodeCommonImpl
    {
        explicit Counted(int& ioAlive) : mAlive(ioAlive) { ++mAlive; }
        ~Counted() override { --mAlive; }
        ImmutableString GetNodeType() const override { return Key("Counted"); }
        int& mAlive;
    };
    int alive = 0;
    {
        const TVK::InterfaceRef<Counted> top(new Counted(alive));
        for (int index = 0; index < 2; ++index)
        {
            const TVK::InterfaceRef<Counted> below(new Counted(alive));
            below->Finalize();
            index == 0 ? top->AppendInput(below, TickTime(0)) : top->AppendOperator(below);
        }
        top->Finalize();
        EXPECT_EQ(alive, 3);
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
