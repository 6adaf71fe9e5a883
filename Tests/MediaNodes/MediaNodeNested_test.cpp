#include "ML/InstanceIDs.h"
#include "MediaNodeProducer.h"
#include "RenderableCutlistImpl.h"
#include "Tests/MediaNodes/MediaNodeTests.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/Fakes/FakeSequence.h"
#include "Tests/Support/HashedProperties.h"

#include <gtest/gtest.h>

namespace
{

using namespace MediaNodeTests;
using TestSupport::FakeProducerNode;
using TestSupport::FakeProducerNodeRef;

// Of the producer that was asked for its hash last.
std::uint32_t& NumberOfLastHash()
{
    static std::uint32_t sNumber = 0;
    return sNumber;
}

// Gives one frame, and hashes as its number and the base.
class FakeProducer final : public TVK::Implements<FakeProducer, ML::IRenderableNodeProducer>
{
public:
    explicit FakeProducer(std::uint32_t inNumber) : mNumber(inNumber) {}
    std::int32_t GetFrame(const MF::FrameTime&, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        outFrame = TestSupport::NewFilledFrame(kPixelFormat_BGRA_4444_8u, inParams.mWidth, inParams.mHeight,
                                               {static_cast<std::uint8_t>(mNumber), 0, 0, 255});
        return 0;
    }
    void GetFrameHash(TVK::Guid& outHash, const MF::FrameTime&, const ML::CutlistRenderParams&,
                      const TVK::Guid& inBase) override
    {
        NumberOfLastHash() = mNumber;
        TVK::HashValue hash(inBase);
        hash.MixU32(mNumber);
        outHash = hash.AsGuid();
    }

private:
    const std::uint32_t mNumber;
};

class FakeProvider final : public TVK::Implements<FakeProvider, MF::IRenderableCutlistProvider,
                                                  MF::ISequenceVideoProperties, BE::IVideoStreamInfo>
{
public:
    MF::IRenderableCutlistRef mFirst;
    MF::IRenderableCutlistRef mSecond;
    ImmutableString mLabel;
    std::vector<PixelFormat> mSmartFormats;

    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString& inName,
                                   bool) override
    {
        mLabel = inName;
        outCutlist = mFirst;
        return mFirst ? 0 : MF::kStatus_NoSuchEntry;
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                     bool) override
    {
        outCutlist = mSecond;
        return mSecond ? 0 : MF::kStatus_NoSuchEntry;
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool, bool) override
    {
        return MF::kStatus_NoSuchEntry;
    }
    TVK::Rect GetBounds() const override { return {0, 0, 64, 36}; }
    PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    FieldType GetFieldType() const override { return kFieldType_Progressive; }
    FrameRate GetFrameRate() const override { return kRate; }
    bool HasNoFrameGrid() const override { return false; }
    bool GetPulldown(PulldownCadence&) const override { return false; }
    void GetSmartRenderFormats(std::vector<PixelFormat>& ioFormats) const override
    {
        ioFormats = mSmartFormats;
    }
};
using FakeProviderRef = TVK::InterfaceRef<FakeProvider>;

// A clip that is a sequence itself.
class SequenceClip final : public TestSupport::FakeClip
{
public:
    TestSupport::FakeSequenceRef mItself;
    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override
    {
        return inID == BE::ISequence::kInterfaceID ? mItself->QueryNoRef(inID, outInterface)
                                                   : FakeClip::QueryNoRef(inID, outInterface);
    }
    std::int32_t Query(const TVK::Guid& inID, void** outInterface) const override
    {
        return inID == BE::ISequence::kInterfaceID ? mItself->Query(inID, outInterface)
                                                   : FakeClip::Query(inID, outInterface);
    }
};

struct Piece
{
    std::int64_t mStart;
    std::int64_t mEnd;
    std::uint32_t mFlags = MF::kNodeFlag_Opaque;
};

MF::IRenderableCutlistRef CutlistOf(const std::vector<Piece>& inPieces, std::uint32_t inNumber = 1)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist({});
    for (const Piece& piece : inPieces)
    {
        const FakeProducerNodeRef node(new FakeProducerNode("Piece", piece.mFlags));
        node->SetCommonProperty(
            ImmutableString::CreateStatic("Number"),
            std::to_string(inNumber * 100 + static_cast<std::uint32_t>(piece.mStart)).c_str(), true);
        node->mProducer = ML::IRenderableNodeProducerRef(new FakeProducer(inNumber));
        node->Finalize();
        cutlist->AddSegment(Frames(piece.mStart), Frames(piece.mEnd), Frames(0), node);
    }
    cutlist->Finalize();
    return cutlist;
}

// A clip of the first 25 frames of a sequence that is like the outer one.
struct Nest : Scene
{
    TestSupport::FakeSequenceRef mSequence{new TestSupport::FakeSequence};
    FakeProviderRef mProvider{new FakeProvider};

    Nest()
    {
        mClip->mMedia = {};
        mClip->mVideoSource = {};
        mClip->mSequence = mSequence;
        mClip->mOutPoint = Frames(25);
        mSequence->mDuration = Frames(25);
        mSequence->mCutlistProvider = mProvider;
        SetPieces({{0, 25}});
    }
    void SetPieces(const std::vector<Piece>& inPieces)
    {
        mProvider->mFirst = CutlistOf(inPieces);
        mProvider->mSecond = CutlistOf(inPieces, 2);
    }
    bool IsOpaque() const { return (Build()->GetInformativeFlags() & MF::kNodeFlag_Opaque) != 0; }
};

TEST(NestedSequence, SaysWhatItIs)
{
    Nest nest;
    nest.mSequence->mFrameRect = {0, 0, 128, 72};
    nest.mSequence->mPixelAspectRatio = {4, 3};
    nest.mSequence->mFieldType = kFieldType_UpperFirst;
    nest.mSequence->mFrameRate = FrameRate::FromRational(24, 1);
    const NodeRef node = nest.Build();
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameWidth"), "128");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameHeight"), "72");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameRate"), "10584000000");
    EXPECT_EQ(Property(node, "MediaNode::StreamPixelAspectRatioNum"), "4");
    EXPECT_EQ(Property(node, "MediaNode::StreamPixelAspectRatioDen"), "3");
    EXPECT_EQ(Property(node, "MediaNode::StreamFieldType"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamRemovePulldown"), "0");
    EXPECT_EQ(Property(node, "MediaNode::NestedSequenceHash"),
              nest.mProvider->mFirst->GetHashValue().AsUTF8String().c_str());
    for (const char* key : {"MediaNode::ClipID", "MediaNode::MediaModState", "MediaNode::MediaIsOffline",
                            "MediaNode::StreamAlphaType", "MediaNode::SelectedMulticamTrack"})
    {
        EXPECT_EQ(Property(node, key), "absent") << key;
    }
}

TEST(NestedSequence, ChangeInItChangesTheNode)
{
    Nest nest;
    const NodeRef before = nest.Build();
    EXPECT_EQ(nest.Build()->GetHashValue(), before->GetHashValue());
    nest.SetPieces({{0, 24}});
    EXPECT_NE(nest.Build()->GetHashValue(), before->GetHashValue());
}

TEST(NestedSequence, LabelSelectsItsStream)
{
    Nest nest;
    nest.mLabel = ImmutableString::CreateStatic("captions");
    nest.Build();
    EXPECT_EQ(nest.mProvider->mLabel, nest.mLabel);
}

TEST(NestedSequence, ItsPictureComesOutOfItsCutlist)
{
    const Nest nest;
    const MF::FrameTime time{Frames(3)};
    MF::IVideoFrameRef frame;
    const auto producer = nest.Build()->GetProducerForFrame(time, Params(64, 36));
    EXPECT_EQ(producer->GetFrame(time, Params(64, 36), frame), 0);
    ASSERT_TRUE(frame);
    EXPECT_EQ(TestSupport::PixelAt(frame, 5, 5), (std::vector<std::uint8_t>{1, 0, 0, 255}));
}

TEST(NestedSequence, IsOpaqueWhereAllItsPiecesAre)
{
    Nest nest;
    EXPECT_TRUE(nest.IsOpaque());
    nest.SetPieces({{0, 10}, {10, 25}});
    EXPECT_TRUE(nest.IsOpaque());
    nest.SetPieces({{0, 10}, {10, 25, 0}});
    EXPECT_FALSE(nest.IsOpaque());
}

TEST(NestedSequence, FourPiecesMayBeOpaqueAndFiveNever)
{
    Nest nest;
    nest.SetPieces({{0, 5}, {5, 10}, {10, 15}, {15, 25}});
    EXPECT_TRUE(nest.IsOpaque());
    nest.SetPieces({{0, 5}, {5, 10}, {10, 15}, {15, 20}, {20, 25}});
    EXPECT_FALSE(nest.IsOpaque());
}

TEST(NestedSequence, GapsAreTransparent)
{
    Nest nest;
    nest.SetPieces({{0, 10}, {11, 25}});
    EXPECT_FALSE(nest.IsOpaque()) << "between pieces";
    nest.SetPieces({{1, 25}});
    EXPECT_FALSE(nest.IsOpaque()) << "ahead of the first";
    nest.SetPieces({{0, 24}});
    EXPECT_FALSE(nest.IsOpaque()) << "behind the last";
    nest.SetPieces({});
    EXPECT_FALSE(nest.IsOpaque()) << "a sequence of nothing";
    nest.SetPieces({{0, 25}});
    nest.mClip->mOutPoint = Frames(26);
    EXPECT_FALSE(nest.IsOpaque()) << "more is shown than there is";
}

TEST(NestedSequence, StillRangesAreThoseOfItsCutlist)
{
    Nest nest;
    constexpr std::uint32_t kStill = MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Still;
    nest.SetPieces({{0, 5}, {5, 15, kStill}, {15, 20}, {20, 25, kStill}});
    const NodeRef node = nest.Build();
    std::vector<MF::TimeRange> ranges;
    node->GetStillRanges(Frames(7), Frames(22), ranges);
    EXPECT_EQ(ranges, (std::vector<MF::TimeRange>{{Frames(7), Frames(15)}, {Frames(20), Frames(22)}}));
    const ML::CutlistRenderParams params = Params(64, 36);
    EXPECT_EQ(FrameHashOf(node, MF::FrameTime(Frames(6)), params),
              FrameHashOf(node, MF::FrameTime(Frames(12)), params));
    EXPECT_NE(FrameHashOf(node, MF::FrameTime(Frames(2)), params),
              FrameHashOf(node, MF::FrameTime(Frames(3)), params));
}

// The first byte of the picture at frame 3: the number of the cutlist that it comes from.
int ShownBy(const NodeRef& inNode, const ML::CutlistRenderParams& inParams)
{
    const MF::FrameTime time{Frames(3)};
    MF::IVideoFrameRef frame;
    inNode->GetProducerForFrame(time, inParams)->GetFrame(time, inParams, frame);
    return frame ? TestSupport::PixelAt(frame, 0, 0)[0] : -1;
}

TEST(NestedSequence, FramesHashWithTheCutlistThatTheyComeFrom)
{
    Nest nest;
    const NodeRef node = nest.Build();
    ML::CutlistRenderParams params = Params(64, 36);
    const TVK::Guid first = FrameHashOf(node, MF::FrameTime(Frames(3)), params);
    EXPECT_EQ(ShownBy(node, params), 1);
    params.mUseSecondCutlist = 1;
    EXPECT_NE(FrameHashOf(node, MF::FrameTime(Frames(3)), params), first);
    EXPECT_EQ(ShownBy(node, params), 2);
}

TEST(NestedSequence, CutlistsThatAreOneGiveOneFrame)
{
    Nest nest;
    nest.mProvider->mSecond = nest.mProvider->mFirst;
    const NodeRef node = nest.Build();
    ML::CutlistRenderParams params = Params(64, 36);
    const TVK::Guid first = FrameHashOf(node, MF::FrameTime(Frames(3)), params);
    params.mUseSecondCutlist = 1;
    EXPECT_EQ(FrameHashOf(node, MF::FrameTime(Frames(3)), params), first);
}

// The piece that plays in the first cutlist is hashed, or that in the second.
TEST(NestedSequence, ClipIsNamedByTheFirstCutlistAndASequenceByItselfByTheSecond)
{
    Nest nest;
    const TVK::InterfaceRef<SequenceClip> itself(new SequenceClip);
    itself->mItself = nest.mSequence;
    itself->mOutPoint = Frames(25);
    ML::CutlistRenderParams params = Params(64, 36);
    params.mUseSecondCutlist = 1;
    const auto asks = [&](const TestSupport::FakeClipRef& inClip)
    {
        Nest asked = nest;
        asked.mClip = inClip;
        const NodeRef node = asked.Build();
        NumberOfLastHash() = 0;
        FrameHashOf(node, MF::FrameTime(Frames(3)), params);
        return NumberOfLastHash();
    };
    const TestSupport::FakeClipRef itselfAsClip(itself.get());
    EXPECT_EQ(asks(nest.mClip), 1u);
    EXPECT_EQ(asks(itselfAsClip), 2u);
    params.mScaleX = params.mScaleY = 0.5;
    EXPECT_EQ(asks(itselfAsClip), 1u) << "at another size than its own";
    params.mScaleX = params.mScaleY = 1.0;
    params.mUseSecondCutlist = 0;
    EXPECT_EQ(asks(itselfAsClip), 1u);
}

TEST(NestedSequence, WithoutCutlistsItIsBlackAndStill)
{
    Nest nest;
    nest.mSequence->mCutlistProvider = {};
    EXPECT_EQ(nest.Build()->GetInformativeFlags(), 0x5Cu);
    EXPECT_TRUE(nest.Build()->GetSettings().mNoMedia);
    nest.mSequence->mCutlistProvider = nest.mProvider;
    nest.mProvider->mFirst = {};
    EXPECT_TRUE(nest.Build()->GetSettings().mNoMedia);
    EXPECT_FALSE(nest.Build()->GetSettings().mSource);
}

TEST(NestedSequence, TimelineHasANumberAsLongAsTheNodeLives)
{
    const Nest nest;
    NodeRef node = nest.Build();
    const auto id =
        static_cast<std::uint32_t>(std::stoul(Property(node, "MediaNode::SelectedMulticamTrackTimelineID")));
    const ML::TimelineSuiteObjectRef timeline(ML::GetRefFromCallbackInstanceID(id));
    ASSERT_TRUE(timeline);
    EXPECT_TRUE(timeline->GetSequence() == nest.mSequence);
    EXPECT_TRUE(timeline->GetCutlistProvider() == nest.mProvider);
    EXPECT_EQ(timeline->GetFrameRate(), kRate);
    node.reset();
    EXPECT_FALSE(ML::GetRefFromCallbackInstanceID(id));
}

TEST(NestedSequence, CopiesAreAskedOfItsProvider)
{
    Nest nest;
    MF::SmartRenderSegments segments;
    nest.Build()->GetSmartRenderSegments(Frames(1), Frames(2), kPixelFormat_BGRX_4444_8u, false, segments);
    EXPECT_TRUE(segments.empty());
    nest.mProvider->mSmartFormats = {kPixelFormat_BGRX_4444_8u};
    nest.Build()->GetSmartRenderSegments(Frames(1), Frames(2), kPixelFormat_BGRX_4444_8u, false, segments);
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_TRUE(segments.begin()->second.mMediaPath.empty());
}

// A sequence in a sequence, as deep as it is asked: its provider builds the node of the one inside when it is
// asked for its cutlist.
class DeepProvider final
    : public TVK::Implements<DeepProvider, MF::IRenderableCutlistProvider, MF::ISequenceVideoProperties>
{
public:
    DeepProvider(int inLeft, int& outDeepest) : mLeft(inLeft), mDeepest(outDeepest) {}
    std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString&,
                                   bool) override
    {
        if (!mCutlist)
        {
            mDeepest = std::min(mDeepest, mLeft);
            if (mLeft > 0)
            {
                Nest inner;
                inner.mSequence->mCutlistProvider =
                    MF::IRenderableCutlistProviderRef(new DeepProvider(mLeft - 1, mDeepest));
                mInner = inner.Build();
            }
            mCutlist = CutlistOf({{0, 25}});
        }
        outCutlist = mCutlist;
        return 0;
    }
    std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef& outCutlist, const ImmutableString& inName,
                                     bool inRefresh) override
    {
        return GetPrimaryCutlist(outCutlist, inName, inRefresh);
    }
    std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool, bool) override
    {
        return MF::kStatus_NoSuchEntry;
    }
    TVK::Rect GetBounds() const override { return {0, 0, 64, 36}; }
    PixelAspectRatio GetPixelAspectRatio() const override { return {}; }
    FieldType GetFieldType() const override { return kFieldType_Progressive; }
    FrameRate GetFrameRate() const override { return kRate; }

private:
    const int mLeft;
    int& mDeepest;
    MF::IRenderableCutlistRef mCutlist;
    NodeRef mInner;
};

int DeepestOf(int inSequences)
{
    int left = inSequences;
    Nest nest;
    nest.mSequence->mCutlistProvider =
        MF::IRenderableCutlistProviderRef(new DeepProvider(inSequences - 1, left));
    nest.Build();
    return left;
}

TEST(NestedSequence, SixtyFourDeepIsTheEnd)
{
    EXPECT_EQ(DeepestOf(64), 0);
    EXPECT_EQ(DeepestOf(65), 1) << "the innermost one is left out";
    EXPECT_EQ(DeepestOf(64), 0) << "the count goes back";
}

// Three cameras on tracks 0 to 2.
struct Wall : Nest
{
    std::vector<FakeProviderRef> mCameras;

    Wall()
    {
        mSequence->mIsMulticamSource = true;
        for (std::uint32_t camera = 0; camera < 3; ++camera)
        {
            mCameras.emplace_back(new FakeProvider);
            mCameras.back()->mFirst = mCameras.back()->mSecond = CutlistOf({{0, 25}}, 11 + camera);
            mSequence->mTrackCutlistProviders.emplace_back(mCameras.back());
        }
    }
    int Shown() const
    {
        const MF::FrameTime time{Frames(3)};
        MF::IVideoFrameRef frame;
        Build()->GetProducerForFrame(time, Params(64, 36))->GetFrame(time, Params(64, 36), frame);
        return frame ? TestSupport::PixelAt(frame, 0, 0)[0] : -1;
    }
};

TEST(MulticamSource, ShowsTheChosenTrack)
{
    Wall wall;
    EXPECT_EQ(wall.Shown(), 11);
    wall.mClip->mSelectedMulticamTrack = 2;
    EXPECT_EQ(wall.Shown(), 13);
}

TEST(MulticamSource, TheOrderOfCamerasNamesTheTrack)
{
    Wall wall;
    wall.mClip->mCameraOrder = {2, 0};
    EXPECT_EQ(wall.Shown(), 13);
    wall.mClip->mSelectedMulticamTrack = 1;
    EXPECT_EQ(wall.Shown(), 11);
    wall.mClip->mSelectedMulticamTrack = 2;
    EXPECT_EQ(wall.Shown(), 13) << "outside of the order a track is itself";
}

TEST(MulticamSource, SaysTrackAndOrder)
{
    Wall wall;
    wall.mClip->mSelectedMulticamTrack = 1;
    EXPECT_EQ(Property(wall.Build(), "MediaNode::MulticamCameraOrder"), "absent");
    const TVK::Guid before = wall.Build()->GetHashValue();
    wall.mClip->mCameraOrder = {2, 1, 0};
    const NodeRef node = wall.Build();
    EXPECT_EQ(Property(node, "MediaNode::SelectedMulticamTrack"), "1");
    EXPECT_EQ(Property(node, "MediaNode::MulticamCameraOrder"), "2,1,0");
    EXPECT_NE(node->GetHashValue(), before);
}

TEST(MulticamSource, IsToldApartByTrackAndOrder)
{
    Wall wall;
    wall.mClip->mCameraOrder = {2, 1, 0};
    const std::set<std::string> keys = TestSupport::HashedKeys([&] { return wall.BuildUnfrozen(); });
    EXPECT_EQ(keys.count("MediaNode::SelectedMulticamTrack"), 1u);
    EXPECT_EQ(keys.count("MediaNode::MulticamCameraOrder"), 1u);
    EXPECT_EQ(keys.count("MediaNode::NestedSequenceHash"), 1u);
    EXPECT_EQ(keys.count("MediaNode::StreamRemovePulldown"), 1u);
    EXPECT_EQ(keys.count("MediaNode::SelectedMulticamTrackTimelineID"), 0u);
}

TEST(MulticamSource, TrackThatIsNotThereIsBlackAndStill)
{
    Wall wall;
    wall.mClip->mSelectedMulticamTrack = 7;
    const NodeRef node = wall.Build();
    EXPECT_EQ(node->GetInformativeFlags(), 0x5Cu);
    EXPECT_EQ(wall.Shown(), 0);
    EXPECT_EQ(Property(node, "MediaNode::NestedSequenceHash"), "absent");
    wall.mClip->mSelectedMulticamTrack = 0;
    wall.mClip->mCameraOrder = {9};
    EXPECT_TRUE(wall.Build()->GetSettings().mNoMedia);
}

} // namespace
