#include "BE/IPreviewStream.h"
#include "CutlistFactory.h"

#include "RenderableCutlistImpl.h"
#include "Tests/CutlistFactory/Timelines.h"
#include "Tests/Support/Fakes/FakeEffect.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "VideoRenderer/Src/CutlistFactory_Nested.h"

#include <gtest/gtest.h>

namespace
{

using MF::IRenderableCutlistRef;
using MF::TimeRange;
using norvik::utility::ImmutableString;
using norviktypes::TickTime;
using Timelines::Clip;
using Timelines::Frames;
using Timelines::MakeClip;
using Timelines::MakeInset;
using Timelines::MakeSequence;
using Timelines::MakeTrack;
using Timelines::Shown;

using ShownList = std::vector<Shown>;

class FakePreview final : public TVK::Implements<FakePreview, BE::IPreviewStream, MF::ISource>
{
public:
    explicit FakePreview(const char16_t* inInstance = u"/previews/1.mov")
    {
        mDescription.mMediaInstance = inInstance;
        mDescription.mIsOffline = true;
        mDescription.mIsPending = true;
        mDescription.mWidth = 64;
        mDescription.mHeight = 36;
    }
    void Describe(BE::PreviewStreamDescription& outDescription) const override
    {
        outDescription = mDescription;
    }
    BE::IMediaInfoRef GetMedia() const override { return {}; }
    BE::IVideoSourceRef GetVideoSource() const override { return {}; }
    TickTime GetDuration() const override { return Frames(50); }
    std::int32_t GetDuration(TickTime& outDuration) const override
    {
        outDuration = Frames(50);
        return 0;
    }
    std::int32_t GetStillKind(std::uint32_t& outKind) const override
    {
        outKind = MF::kSourceKind_Normal;
        return 0;
    }

private:
    BE::PreviewStreamDescription mDescription;
};
using FakePreviewRef = TVK::InterfaceRef<FakePreview>;

class CutlistFactory : public testing::Test
{
protected:
    IRenderableCutlistRef OfSequence(const TVK::TVKUnknownRef& inSequence) const
    {
        IRenderableCutlistRef cutlist;
        EXPECT_EQ(mFactory->CreateCutlistForSequence(inSequence, mLabel, cutlist), 0);
        return cutlist;
    }
    IRenderableCutlistRef OfItem(const Clip& inClip) const
    {
        IRenderableCutlistRef cutlist;
        EXPECT_EQ(mFactory->CreateCutlistForTrackItem(inClip.mItem, mLabel, cutlist), 0);
        return cutlist;
    }
    IRenderableCutlistRef OfClip(const Clip& inClip) const
    {
        IRenderableCutlistRef cutlist;
        EXPECT_EQ(mFactory->CreateCutlistForClip(inClip.mClip, cutlist), 0);
        return cutlist;
    }
    static norvik::UTF8String TypeOfOnlyInput(const IRenderableCutlistRef& inCutlist)
    {
        const auto node = Timelines::NodeOf(inCutlist, Timelines::SegmentsOf(inCutlist).at(0));
        return node->GetNodeType().ToString() + " of " +
               Timelines::NthInput(node, 0).first->GetNodeType().ToString();
    }

    const MF::IRenderableCutlistFactoryRef mFactory = ML::GetCutlistFactoryInstance();
    const ImmutableString mLabel = ImmutableString::CreateStatic("label");
};

TEST_F(CutlistFactory, IsOneForTheProcess)
{
    EXPECT_TRUE(ML::GetCutlistFactoryInstance() == mFactory);
}

// ---- sequences ----

TEST_F(CutlistFactory, SequenceWithoutTracksIsStillForEver)
{
    const auto cutlist = OfSequence(MakeSequence({}));
    EXPECT_EQ(cutlist->GetSegmentCount(), 0u);
    TimeRange still;
    MF::IRenderableExtendedStillInfoRef(cutlist)->GetStillRangeForTime(Frames(9), still);
    EXPECT_EQ(still, (TimeRange{norviktypes::kTime_Zero, norviktypes::kTime_Max}));
}

TEST_F(CutlistFactory, SequenceShowsItsTracksOverEachOther)
{
    const auto sequence = MakeSequence(
        {MakeTrack({MakeClip(Frames(0), Frames(20), 1)}), MakeTrack({MakeInset(Frames(5), Frames(10), 2)})});
    const auto cutlist = OfSequence(sequence);
    EXPECT_EQ(Timelines::ShownBy(cutlist), (ShownList{{0, 5, 0, 1}, {5, 10, 5, 2}, {10, 20, 10, 1}}));
    EXPECT_EQ(cutlist->GetStreamLabel().ToString(), "label");
}

TEST_F(CutlistFactory, ClipThatFillsTheFrameHidesTheTracksBeneath)
{
    const auto sequence = MakeSequence(
        {MakeTrack({MakeClip(Frames(0), Frames(20), 1)}), MakeTrack({MakeClip(Frames(5), Frames(10), 2)})});
    EXPECT_EQ(Timelines::ShownBy(OfSequence(sequence)),
              (ShownList{{0, 5, 0, 1}, {5, 10, 0, 1}, {10, 20, 10, 1}}));
}

TEST_F(CutlistFactory, DisabledTrackAddsNothing)
{
    const auto upper = MakeTrack({MakeInset(Frames(5), Frames(10), 2)});
    const auto sequence = MakeSequence({MakeTrack({MakeClip(Frames(0), Frames(20), 1)}), upper});
    upper->mIsDisabled = true;
    EXPECT_EQ(Timelines::ShownBy(OfSequence(sequence)), (ShownList{{0, 20, 0, 1}}));
}

TEST_F(CutlistFactory, MediaTimeIsThatOfTheItemEverywhere)
{
    const Clip a = MakeClip(Frames(5), Frames(20), 1, Frames(100));
    const Clip b = MakeClip(Frames(20), Frames(40), 2, Frames(200));
    const auto sequence = MakeSequence({MakeTrack({a, b})});
    const auto cutlist = OfSequence(sequence);
    for (int t = 5; t < 40; ++t)
    {
        EXPECT_EQ(Timelines::MediaTimeAt(cutlist, Frames(t)), Frames(t < 20 ? 95 + t : 180 + t)) << t;
    }
}

TEST_F(CutlistFactory, WhatIsNoSequenceIsRefusedWhereItIsUsed)
{
    IRenderableCutlistRef cutlist;
    EXPECT_THROW(mFactory->CreateCutlistForSequence({}, mLabel, cutlist), TVK::NullInterfaceException);
    EXPECT_THROW(mFactory->CreateCutlistForTrack({}, mLabel, cutlist), TVK::NullInterfaceException);
    EXPECT_THROW(mFactory->CreateCutlistForTrackItem({}, mLabel, cutlist), TVK::NullInterfaceException);
    EXPECT_THROW(mFactory->CreateCutlistForClip({}, cutlist), TVK::NullInterfaceException);
    EXPECT_THROW(mFactory->CreateCutlistForMediaContent({}, mLabel, cutlist), TVK::NullInterfaceException);
    EXPECT_THROW(mFactory->CreateCutlistForVideoStream({}, mLabel, cutlist), TVK::NullInterfaceException);
}

// A cutlist that another maker could have made.
class ForeignCutlist final : public TVK::Implements<ForeignCutlist, MF::IRenderableCutlist>
{
public:
    std::uint32_t GetSegmentCount() const override { return 0; }
    TVK::Guid GetHashValue() const override { return {}; }
    std::int32_t GetNthSegmentDescription(std::uint32_t, TickTime&, TickTime&, TickTime&,
                                          TVK::Guid&) const override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t GetRenderableNodeFromHashValue(const TVK::Guid&, MF::IRenderableNodeRef&) const override
    {
        return MF::kStatus_NoSuchEntry;
    }
    std::int32_t FindNodeForTime(const MF::FrameTime&, MF::IRenderableNodeRef&, MF::FrameTime&) const override
    {
        return 0;
    }
    std::int32_t FindNodeForTimeRange(const MF::FrameTime&, const MF::FrameTime&, MF::IRenderableNodeRef&,
                                      MF::FrameTime&) const override
    {
        return 0;
    }
    std::int32_t FindSegmentForTime(const TickTime&, std::uint32_t&, TickTime&, TickTime&, TickTime&,
                                    TVK::Guid&) const override
    {
        return MF::kStatus_NoSuchEntry;
    }
    ImmutableString GetStreamLabel() const override { return {}; }
};

TEST_F(CutlistFactory, UpdateBuildsAllWhereItCannotTellThePart)
{
    const auto sequence = MakeSequence({MakeTrack({MakeClip(Frames(0), Frames(20), 1)})});
    const auto whole = OfSequence(sequence);
    const IRenderableCutlistRef empty = OfSequence(MakeSequence({}));
    struct Case
    {
        TickTime mStart;
        TickTime mEnd;
        IRenderableCutlistRef mPrevious;
    };
    for (const Case& part :
         {Case{Frames(100), Frames(101), {}}, Case{norviktypes::kTime_Min, Frames(-5), empty},
          Case{Frames(100), norviktypes::kTime_Max, empty},
          Case{Frames(100), Frames(101), IRenderableCutlistRef(new ForeignCutlist)}})
    {
        IRenderableCutlistRef updated;
        EXPECT_EQ(mFactory->UpdateCutlistForSequence(sequence, mLabel, part.mStart, part.mEnd, part.mPrevious,
                                                     updated),
                  0);
        EXPECT_EQ(Timelines::SegmentsOf(updated), Timelines::SegmentsOf(whole));
    }
    IRenderableCutlistRef updated;
    mFactory->UpdateCutlistForSequence(sequence, mLabel, Frames(100), Frames(101), empty, updated);
    EXPECT_EQ(updated->GetSegmentCount(), 0u);
}

// ---- tracks, items, clips, streams ----

TEST_F(CutlistFactory, TrackShowsItsItemsAsTheyAre)
{
    const auto track = MakeTrack(
        {MakeClip(Frames(5), Frames(20), 1, Frames(100)), MakeClip(Frames(30), Frames(40), 2, Frames(200))});
    IRenderableCutlistRef cutlist;
    ASSERT_EQ(mFactory->CreateCutlistForTrack(track, mLabel, cutlist), 0);
    const auto segments = Timelines::SegmentsOf(cutlist);
    ASSERT_EQ(segments.size(), 2u);
    for (const Timelines::Segment& segment : segments)
    {
        const auto node = Timelines::NodeOf(cutlist, segment);
        EXPECT_EQ(node->GetNodeType().ToString(), "RenderableNodeClipImpl");
        EXPECT_EQ(Timelines::MediaTimeOf(node, segment.mNodeOffset),
                  segment.mStart == Frames(5) ? Frames(100) : Frames(200));
    }
    EXPECT_EQ(segments[1].mStart, Frames(30));
    EXPECT_EQ(segments[1].mEnd, Frames(40));
}

TEST_F(CutlistFactory, TrackKeepsMediaTimeOffTheGrid)
{
    IRenderableCutlistRef cutlist;
    ASSERT_EQ(mFactory->CreateCutlistForTrack(MakeTrack({MakeClip(Frames(5.5), Frames(20), 1, Frames(100))}),
                                              mLabel, cutlist),
              0);
    const Timelines::Segment segment = Timelines::SegmentsOf(cutlist).at(0);
    EXPECT_EQ(segment.mStart, Frames(5));
    EXPECT_EQ(Timelines::MediaTimeOf(Timelines::NodeOf(cutlist, segment), segment.mNodeOffset), Frames(99.5));
}

TEST_F(CutlistFactory, TrackUpdateBuildsAllWhereItCannotTellThePart)
{
    const auto track = MakeTrack({MakeClip(Frames(5), Frames(20), 1)});
    IRenderableCutlistRef updated;
    ASSERT_EQ(mFactory->UpdateCutlistForTrack(track, mLabel, Frames(90), Frames(91), {}, updated), 0);
    EXPECT_EQ(updated->GetSegmentCount(), 1u);
}

TEST_F(CutlistFactory, TrackItemIsSeenAtItsTimeOnTheTrack)
{
    const Clip clip = MakeClip(Frames(30), Frames(45), 1, Frames(100));
    const auto cutlist = OfItem(clip);
    const auto segments = Timelines::SegmentsOf(cutlist);
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].mStart, Frames(30));
    EXPECT_EQ(segments[0].mEnd, Frames(45));
    EXPECT_EQ(Timelines::MediaTimeAt(cutlist, Frames(33)), Frames(103));
    EXPECT_EQ(TypeOfOnlyInput(cutlist), "RenderableNodeCompositorImpl of RenderableNodeClipImpl");
    EXPECT_EQ(cutlist->GetStreamLabel().ToString(), "label");
}

TEST_F(CutlistFactory, TrackItemBelongsToNoSequence)
{
    const Clip clip = MakeClip(Frames(30), Frames(45), 1);
    const auto cutlist = OfItem(clip);
    const auto node =
        Timelines::NthInput(Timelines::NodeOf(cutlist, Timelines::SegmentsOf(cutlist)[0]), 0).first;
    norvik::UTF8String value;
    EXPECT_EQ(node->GetProperty(ImmutableString::CreateStatic("ClipNode::AllowLinearCompositing"), value),
              MF::kStatus_NoSuchEntry);
}

TEST_F(CutlistFactory, ClipIsSeenFromZeroForItsDuration)
{
    Clip clip = MakeClip(Frames(30), Frames(45), 1, Frames(100));
    const auto cutlist = OfClip(clip);
    const auto segments = Timelines::SegmentsOf(cutlist);
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].mStart, norviktypes::kTime_Zero);
    EXPECT_EQ(segments[0].mEnd, Frames(15));
    EXPECT_EQ(segments[0].mNodeOffset, norviktypes::kTime_Zero);
    EXPECT_EQ(TypeOfOnlyInput(cutlist), "RenderableNodeCompositorImpl of RenderableNodeMediaImpl");
    EXPECT_TRUE(cutlist->GetStreamLabel().empty());
}

TEST_F(CutlistFactory, ClipByItselfIsNotMutedAndConformedToNothing)
{
    const auto cutlist = OfClip(MakeClip(Frames(30), Frames(45), 1));
    const auto stack = Timelines::NodeOf(cutlist, Timelines::SegmentsOf(cutlist).at(0));
    const auto said = [media = Timelines::NthInput(stack, 0).first](const char* inKey)
    {
        norvik::UTF8String value;
        media->GetProperty(ImmutableString::CreateStatic(inKey), value);
        return value;
    };
    EXPECT_EQ(said("MediaNode::TrackItemIsMuted"), "0");
    EXPECT_EQ(said("MediaNode::SequenceFieldType"), "-1");
}

TEST_F(CutlistFactory, StillClipIsSeenToTheEndOfTime)
{
    const auto segments = Timelines::SegmentsOf(OfClip(Timelines::MakeStill(Frames(30), Frames(45), 1)));
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].mStart, norviktypes::kTime_Zero);
    EXPECT_EQ(segments[0].mEnd, norviktypes::kTime_Max);
}

TEST_F(CutlistFactory, StreamIsSeenFromZeroForItsDuration)
{
    IRenderableCutlistRef cutlist;
    ASSERT_EQ(mFactory->CreateCutlistForVideoStream(FakePreviewRef(new FakePreview), mLabel, cutlist), 0);
    EXPECT_EQ(Timelines::ShownBy(cutlist), (ShownList{{0, 50, 0, 1}}));
    EXPECT_EQ(TypeOfOnlyInput(cutlist), "RenderableNodeCompositorImpl of RenderableNodePreviewImpl");
    EXPECT_EQ(cutlist->GetStreamLabel().ToString(), "label");
}

TEST_F(CutlistFactory, MediaContentIsSeenByItsVideoStream)
{
    const TestSupport::FakeMediaInfoRef media(new TestSupport::FakeMediaInfo);
    media->mStream = MF::ISourceRef(FakePreviewRef(new FakePreview));
    IRenderableCutlistRef ofContent;
    ASSERT_EQ(mFactory->CreateCutlistForMediaContent(media, mLabel, ofContent), 0);
    IRenderableCutlistRef ofStream;
    mFactory->CreateCutlistForVideoStream(media->mStream, mLabel, ofStream);
    EXPECT_EQ(Timelines::SegmentsOf(ofContent), Timelines::SegmentsOf(ofStream));
}

TEST_F(CutlistFactory, MediaContentIsSeenByWhatItsStreamSays)
{
    const TestSupport::FakeMediaInfoRef media(new TestSupport::FakeMediaInfo);
    const TVK::InterfaceRef<TestSupport::FakeVideoSource> stream(new TestSupport::FakeVideoSource);
    stream->mDuration = Frames(40);
    stream->mBounds = {0, 0, 32, 18};
    media->mAvailability = BE::MediaAvailability::kPending;
    media->mStream = stream;
    media->mVideoSubType = 17;
    media->mStreamGroup = 4;
    media->mAlpha.mIgnore = true;
    media->mHasPulldownRemoval = true;
    media->mOpaqueData = MF::BinaryData("abc", 3);
    stream->mFieldType = norviktypes::kFieldType_LowerFirst;
    IRenderableCutlistRef cutlist;
    ASSERT_EQ(mFactory->CreateCutlistForMediaContent(media, mLabel, cutlist), 0);
    EXPECT_EQ(Timelines::ShownBy(cutlist), (ShownList{{0, 40, 0, 1}}));
    const auto stack = Timelines::NodeOf(cutlist, Timelines::SegmentsOf(cutlist)[0]);
    const auto node = Timelines::NthInput(stack, 0).first;
    const auto property = [&node](const char* inKey)
    {
        norvik::UTF8String value;
        node->GetProperty(ImmutableString::CreateStatic(inKey), value);
        return value;
    };
    EXPECT_EQ(property("MediaNode::StreamFrameWidth"), "32");
    EXPECT_EQ(property("MediaNode::StreamFrameHeight"), "18");
    EXPECT_EQ(property("MediaNode::MediaIsOffline"), "1");
    EXPECT_EQ(property("MediaNode::MediaIsPending"), "1");
    EXPECT_EQ(property("MediaNode::StreamFrameVidSubType"), "17");
    EXPECT_EQ(property("MediaNode::MediaInstanceString"), "/media/clip.mov");
    EXPECT_EQ(property("MediaNode::MediaStreamGroup"), "4");
    EXPECT_EQ(property("MediaNode::StreamIgnoreAlpha"), "1");
    EXPECT_EQ(property("MediaNode::StreamRemovePulldown"), "1");
    EXPECT_NE(property("MediaNode::StreamOpaqueData"), "");
    EXPECT_EQ(property("MediaNode::StreamFieldType"), "2");
}

TEST_F(CutlistFactory, MediaContentWithoutAStreamIsSeenForTheDurationOfTheMedia)
{
    const TestSupport::FakeMediaInfoRef media(new TestSupport::FakeMediaInfo);
    media->mDuration = Frames(33);
    IRenderableCutlistRef cutlist;
    ASSERT_EQ(mFactory->CreateCutlistForMediaContent(media, mLabel, cutlist), 0);
    EXPECT_EQ(Timelines::ShownBy(cutlist), (ShownList{{0, 33, 0, 1}}));
}

// ---- overlays ----

class Overlays : public CutlistFactory
{
protected:
    static MF::IRenderableNodeRef Node(std::uint32_t inNumber, std::uint32_t inFlags = 0)
    {
        return MF::IRenderableNodeRef(TestSupport::MakeNumberedNode(inNumber, inFlags));
    }
    static IRenderableCutlistRef OfNode(const MF::IRenderableNodeRef& inNode, const TickTime& inStart,
                                        const TickTime& inEnd, const TickTime& inOffset = {})
    {
        const ML::IMutableCutlistRef cutlist =
            ML::CreateMutableCutlist(ImmutableString::CreateStatic("base"));
        cutlist->AddSegment(inStart, inEnd, inOffset, inNode);
        cutlist->Finalize();
        return cutlist;
    }
    IRenderableCutlistRef Overlaid(const IRenderableCutlistRef& inCutlist) const
    {
        IRenderableCutlistRef result;
        EXPECT_EQ(mFactory->OverlayCutlist(inCutlist, mOverlays, result), 0);
        return result;
    }
    void Add(const TVK::Guid& inHash, const TickTime& inStart, const TickTime& inEnd,
             const TVK::TVKUnknownRef& inSubject)
    {
        mOverlays[inHash].push_back({inStart, inEnd, 0, 0, inSubject});
    }
    // Segments in frames with the number of the node among mKnown, from 0.
    std::vector<std::string> Texts(const IRenderableCutlistRef& inCutlist) const
    {
        std::vector<std::string> texts;
        for (const Timelines::Segment& segment : Timelines::SegmentsOf(inCutlist))
        {
            std::string name = "?";
            for (std::size_t i = 0; i < mKnown.size(); ++i)
            {
                name = mKnown[i]->GetHashValue() == segment.mHash ? std::to_string(i) : name;
            }
            const auto inFrames = [](const TickTime& inTime)
            { return std::to_string(static_cast<int>(Timelines::InFrames(inTime))); };
            texts.push_back(inFrames(segment.mStart) + ".." + inFrames(segment.mEnd) + " " + name + " at " +
                            inFrames(segment.mNodeOffset));
        }
        return texts;
    }
    using Lines = std::vector<std::string>;

    MF::CutlistOverlays mOverlays;
    std::vector<MF::IRenderableNodeRef> mKnown{Node(100), Node(101), Node(102)};
};

TEST_F(Overlays, NoneLeaveTheCutlistItself)
{
    const auto cutlist = OfNode(mKnown[0], Frames(0), Frames(10));
    EXPECT_TRUE(Overlaid(cutlist) == cutlist);
    Add(TVK::Guid(1, 2), Frames(0), Frames(10), mKnown[1]);
    EXPECT_TRUE(Overlaid(cutlist) == cutlist);
}

TEST_F(Overlays, OfANodeLieOverItsTime)
{
    Add(mKnown[0]->GetHashValue(), Frames(12), Frames(15), mKnown[1]);
    const auto overlaid = Overlaid(OfNode(mKnown[0], Frames(0), Frames(10), Frames(10)));
    EXPECT_EQ(Texts(overlaid), (Lines{"0..2 0 at 10", "2..5 1 at 0", "5..10 0 at 15"}));
    EXPECT_EQ(overlaid->GetStreamLabel().ToString(), "base");
}

TEST_F(Overlays, OfANodeAreCutToItsSegment)
{
    Add(mKnown[0]->GetHashValue(), Frames(5), Frames(12), mKnown[1]);
    Add(mKnown[0]->GetHashValue(), Frames(18), Frames(30), mKnown[2]);
    EXPECT_EQ(Texts(Overlaid(OfNode(mKnown[0], Frames(0), Frames(10), Frames(10)))),
              (Lines{"0..2 1 at 5", "2..8 0 at 12", "8..10 2 at 0"}));
}

TEST_F(Overlays, OfTheCutlistLieOnItsOwnAxis)
{
    const auto cutlist = OfNode(mKnown[0], Frames(5), Frames(10), Frames(77));
    Add(cutlist->GetHashValue(), Frames(3), Frames(7), mKnown[1]);
    EXPECT_EQ(Texts(Overlaid(cutlist)), (Lines{"3..7 1 at 0", "7..10 0 at 79"}));
}

TEST_F(Overlays, OfNodesComeBeforeThoseOfTheCutlist)
{
    const auto cutlist = OfNode(mKnown[0], Frames(0), Frames(10));
    Add(cutlist->GetHashValue(), Frames(0), Frames(8), mKnown[1]);
    Add(mKnown[0]->GetHashValue(), Frames(2), Frames(4), mKnown[2]);
    EXPECT_EQ(Texts(Overlaid(cutlist)), (Lines{"0..2 1 at 0", "2..4 2 at 0", "4..8 1 at 4", "8..10 0 at 8"}));
}

TEST_F(Overlays, PreviewStreamIsShownByANode)
{
    const auto cutlist = OfNode(mKnown[0], Frames(0), Frames(10));
    Add(mKnown[0]->GetHashValue(), Frames(0), Frames(10), FakePreviewRef(new FakePreview));
    EXPECT_EQ(TypeOfOnlyInput(Overlaid(cutlist)),
              "RenderableNodeCompositorImpl of RenderableNodePreviewImpl");
}

TEST_F(Overlays, SubjectThatIsNeitherNodeNorStreamIsLeftOut)
{
    const auto cutlist = OfNode(mKnown[0], Frames(0), Frames(10));
    Add(mKnown[0]->GetHashValue(), Frames(0), Frames(10), MakeTrack({}));
    EXPECT_EQ(Texts(Overlaid(cutlist)), (Lines{"0..10 0 at 0"}));
}

TEST_F(Overlays, LongestOneIsRepeatedOverAStill)
{
    mKnown[0] = Node(100, MF::kNodeFlag_Still);
    Add(mKnown[0]->GetHashValue(), Frames(0), Frames(25), mKnown[1]);
    Add(mKnown[0]->GetHashValue(), Frames(30), Frames(40), mKnown[2]);
    EXPECT_EQ(Texts(Overlaid(OfNode(mKnown[0], Frames(100), Frames(160), Frames(5)))),
              (Lines{"100..125 1 at 0", "125..150 1 at 0", "150..160 1 at 0"}));
}

TEST_F(Overlays, OneOfLessThanASecondIsAddedOnceOverAStill)
{
    mKnown[0] = Node(100, MF::kNodeFlag_Still);
    Add(mKnown[0]->GetHashValue(), Frames(0), Frames(25) - TickTime(1), mKnown[1]);
    EXPECT_EQ(Overlaid(OfNode(mKnown[0], Frames(100), Frames(160)))->GetSegmentCount(), 2u);
    mOverlays.clear();
    Add(mKnown[0]->GetHashValue(), Frames(0), Frames(12.5), mKnown[1]);
    EXPECT_EQ(Overlaid(OfNode(mKnown[0], Frames(100), Frames(160)))->GetSegmentCount(), 2u);
}

TEST_F(Overlays, RepetitionOverAnEndlessStillComesToAnEnd)
{
    mKnown[0] = Node(100, MF::kNodeFlag_Still);
    Add(mKnown[0]->GetHashValue(), Frames(0), Frames(25), mKnown[1]);
    EXPECT_EQ(Overlaid(OfNode(mKnown[0], norviktypes::kTime_Zero, norviktypes::kTime_Max))->GetSegmentCount(),
              100001u);
}

// ---- both forms of a sequence ----

class PlainRemap final : public TVK::Implements<PlainRemap, BE::ITimeRemapParameter>
{
public:
    explicit PlainRemap(bool inIsEnabled) : mIsEnabled(inIsEnabled) {}

    bool IsEnabled() const override { return mIsEnabled; }
    MF::ITimeTransformRef GetTransform() const override
    {
        return MF::CreateTimeTransform(TickTime(), 1.0, Frames(100), TickTime());
    }
    norvik::UTF8String GetHashText() const override { return "plain"; }
    const MF::KeyframeStore& GetKeyframes() const override { return mKeyframes; }

private:
    const bool mIsEnabled;
    const MF::KeyframeStore mKeyframes;
};

class BothForms : public CutlistFactory
{
protected:
    // A clip of a sequence: from inStart to inEnd what that shows from inInPoint on.
    static Clip Nested(const TVK::TVKUnknownRef& inSequence, int inStart, int inEnd, int inInPoint)
    {
        Clip clip = MakeInset(Frames(inStart), Frames(inEnd), 77, Frames(inInPoint));
        clip.mClip->mMedia.reset();
        clip.mClip->mSequence = inSequence;
        return clip;
    }
    void Create(const TVK::TVKUnknownRef& inSequence, const std::vector<std::uint64_t>& inTracks = {},
                bool inIncludeEffects = true)
    {
        EXPECT_EQ(mFactory->CreateCutlistsForSequence(mFull, mSegments, mLabel, inSequence, inTracks,
                                                      mOverlays, true, inIncludeEffects, mPreview),
                  0);
    }
    static void AddEffect(const Clip& inClip)
    {
        const TestSupport::FakeEffectRef effect(new TestSupport::FakeEffect);
        effect->mFilter = ML::IVideoFilterRef(new TestSupport::FakeVideoFilter);
        inClip.mItem->mEffects = TestSupport::MakeEffectChain({BE::IEffectRef(effect)});
    }

    // Ten frames each, from frame 0.
    const TestSupport::FakeSequenceRef mInner =
        MakeSequence({MakeTrack({MakeInset(Frames(0), Frames(10), 1), MakeInset(Frames(10), Frames(20), 2)}),
                      MakeTrack({MakeInset(Frames(5), Frames(15), 3)})});
    MF::CutlistOverlays mOverlays;
    IRenderableCutlistRef mFull;
    IRenderableCutlistRef mSegments;
    IRenderableCutlistRef mPreview;
};

TEST_F(BothForms, FullOneIsThatOfTheSequence)
{
    const auto sequence = MakeSequence({MakeTrack({Nested(mInner, 100, 120, 0)})});
    Create(sequence);
    EXPECT_EQ(Timelines::SegmentsOf(mFull), Timelines::SegmentsOf(OfSequence(sequence)));
    EXPECT_EQ(mFull->GetSegmentCount(), 1u);
}

TEST_F(BothForms, SegmentsShowTheItemsOfNestedSequences)
{
    Create(MakeSequence({MakeTrack({Nested(mInner, 100, 113, 4)})}));
    const auto shown = Timelines::ShownBy(mSegments);
    ASSERT_EQ(shown.size(), 4u);
    const double starts[] = {100, 101, 106, 111};
    const std::uint32_t inputs[] = {1, 2, 2, 1};
    for (std::size_t i = 0; i < 4; ++i)
    {
        EXPECT_EQ(shown[i].mStart, starts[i]);
        EXPECT_EQ(shown[i].mInputs, inputs[i]);
    }
    EXPECT_EQ(shown[3].mEnd, 113);
    for (int t = 100; t < 113; ++t)
    {
        EXPECT_EQ(Timelines::MediaTimeAt(mSegments, Frames(t)), Frames(t < 106 ? t - 96 : t - 106)) << t;
    }
}

TEST_F(BothForms, NestedSequencesAreTakenApartAtAllDepths)
{
    const auto middle = MakeSequence({MakeTrack({Nested(mInner, 50, 60, 10)})});
    Create(MakeSequence({MakeTrack({Nested(middle, 100, 110, 50)})}));
    EXPECT_EQ(Timelines::MediaTimeAt(mSegments, Frames(107)), Frames(7));
    EXPECT_EQ(TypeOfOnlyInput(mSegments), "RenderableNodeCompositorImpl of RenderableNodeClipImpl");
    EXPECT_GT(mSegments->GetSegmentCount(), 1u);
}

TEST_F(BothForms, NestedItemsOffTheGridKeepMediaTime)
{
    const auto inner = MakeSequence({MakeTrack({MakeInset(Frames(0), Frames(10), 1)})});
    Clip clip = Nested(inner, 100, 110, 0);
    clip.mClip->mInPoint = Frames(0.25);
    Create(MakeSequence({MakeTrack({clip})}));
    EXPECT_EQ(Timelines::MediaTimeAt(mSegments, Frames(104)), Frames(4.25));
}

TEST_F(BothForms, SequenceWithinItselfComesToAnEnd)
{
    const auto sequence = MakeSequence({});
    sequence->mTracks.emplace_back(MakeTrack({Nested(sequence, 0, 10, 0)}));
    Create(sequence);
    EXPECT_EQ(mSegments->GetSegmentCount(), 1u);
    sequence->mTracks.clear(); // who holds itself would stay
}

TEST_F(BothForms, SequenceOnManyTracksOfItselfStaysAsItIs)
{
    const auto sequence = MakeSequence({});
    const auto between = MakeSequence({MakeTrack({Nested(sequence, 0, 10, 0)})});
    for (int i = 0; i < 3; ++i)
    {
        sequence->mTracks.emplace_back(MakeTrack({Nested(between, 0, 10, 0)}));
    }
    Create(sequence);
    EXPECT_EQ(Timelines::ShownBy(mSegments), (ShownList{{0, 10, 0, 3}}));
    sequence->mTracks.clear(); // who holds itself would stay
}

TEST_F(BothForms, ClipsOnBothSidesOfANestedOneStayOnTheirTrack)
{
    Create(MakeSequence({MakeTrack({MakeClip(Frames(90), Frames(100), 8), Nested(mInner, 100, 120, 0),
                                    Nested(mInner, 120, 140, 0), MakeClip(Frames(140), Frames(150), 9)})}));
    const auto shown = Timelines::ShownBy(mSegments);
    ASSERT_EQ(shown.size(), 10u);
    EXPECT_EQ(shown[0], (Shown{90, 100, 0, 1}));
    EXPECT_EQ(shown[9], (Shown{140, 150, 0, 1}));
    const auto segments = Timelines::SegmentsOf(mSegments);
    for (std::size_t i = 1; i < 5; ++i)
    {
        EXPECT_EQ(segments[i].mHash, segments[i + 4].mHash) << i;
    }
}

TEST_F(BothForms, ClipWhoseTimeRunsOtherwiseStaysWhole)
{
    Clip fast = Nested(mInner, 0, 10, 0);
    fast.mClip->mSpeed = 2.0;
    Clip backwards = Nested(mInner, 10, 20, 0);
    backwards.mClip->mIsBackwards = true;
    Clip held = Nested(mInner, 20, 30, 0);
    held.mClip->mFrameHold = Frames(3);
    Clip remapped = Nested(mInner, 30, 40, 0);
    remapped.mClip->mTimeRemap = new PlainRemap(true);
    Create(MakeSequence({MakeTrack({fast, backwards, held, remapped})}));
    EXPECT_EQ(mSegments->GetSegmentCount(), 4u);
    mSegments.reset();
    remapped.mClip->mTimeRemap = new PlainRemap(false);
    Create(MakeSequence({MakeTrack({remapped})}));
    EXPECT_EQ(mSegments->GetSegmentCount(), 2u);
}

TEST_F(BothForms, ItemsTakeTrackAndGroupOfTheClipThatShowsThem)
{
    const Clip clip = Nested(mInner, 100, 110, 0);
    clip.mItem->mGroupID = 6;
    ML::TrackContext context;
    context.mFrameRate = Timelines::kRate;
    context.mSequence = MakeSequence({MakeTrack({}), MakeTrack({clip})});
    std::size_t items = 0;
    for (const ML::TrackItemList& list :
         ML::ExpandNestedSequences(context, ML::BuildSequenceTrackLists(context)))
    {
        for (const ML::TrackItemRecord& record : list)
        {
            ++items;
            EXPECT_EQ(record.mTrackIndex, 1u);
            EXPECT_EQ(record.mGroupID, 6u);
        }
    }
    EXPECT_EQ(items, 2u);
}

TEST_F(BothForms, SequencesAreTakenApartSixtyFourDeep)
{
    const auto segmentsOf = [this](int inDepth)
    {
        TestSupport::FakeSequenceRef sequence = mInner;
        for (int i = 0; i < inDepth; ++i)
        {
            sequence = MakeSequence({MakeTrack({Nested(sequence, 0, 20, 0)})});
        }
        mSegments.reset();
        Create(sequence);
        return mSegments->GetSegmentCount();
    };
    EXPECT_EQ(segmentsOf(64), 4u);
    EXPECT_EQ(segmentsOf(65), 1u);
}

TEST_F(BothForms, ClipOfASequenceWhoseEffectsLookAtOtherTracksStaysWhole)
{
    const auto segmentsWith = [this](const MF::IKeyframedParameterRef& inParameter)
    {
        const TestSupport::FakeEffectRef effect(new TestSupport::FakeEffect);
        effect->mFilter = ML::IVideoFilterRef(new TestSupport::FakeVideoFilter);
        effect->mParameters = {inParameter};
        const Clip inner = MakeInset(Frames(0), Frames(5), 1);
        inner.mItem->mEffects = TestSupport::MakeEffectChain({BE::IEffectRef(effect)});
        const auto nested =
            MakeSequence({MakeTrack({inner, MakeInset(Frames(5), Frames(20), 2)}), MakeTrack({}, 1)});
        mSegments.reset();
        Create(MakeSequence({MakeTrack({Nested(nested, 100, 120, 0)})}));
        return mSegments->GetSegmentCount();
    };
    EXPECT_EQ(segmentsWith(MF::IKeyframedParameterRef(TestSupport::MakeNumberParameter(1.0))), 2u);
    EXPECT_EQ(segmentsWith(MF::IKeyframedParameterRef(TestSupport::MakeLayerParameter(1))), 1u);
}

TEST_F(BothForms, ClipWithEffectsStaysWholeUnlessEffectsAreLeftOut)
{
    const Clip clip = Nested(mInner, 0, 20, 0);
    AddEffect(clip);
    const auto sequence = MakeSequence({MakeTrack({clip})});
    Create(sequence);
    EXPECT_EQ(mSegments->GetSegmentCount(), 1u);
    mSegments.reset();
    Create(sequence, {}, false);
    EXPECT_EQ(mSegments->GetSegmentCount(), 4u);
}

TEST_F(BothForms, EffectsAreLeftOutOfSegmentsOnly)
{
    const Clip clip = MakeClip(Frames(0), Frames(10), 1);
    AddEffect(clip);
    Create(MakeSequence({MakeTrack({clip})}), {}, false);
    const auto operators = [](const IRenderableCutlistRef& inCutlist)
    {
        const auto stack = Timelines::NodeOf(inCutlist, Timelines::SegmentsOf(inCutlist).at(0));
        return Timelines::NthInput(stack, 0).first->GetOperatorCount();
    };
    EXPECT_EQ(operators(mFull), 1u);
    EXPECT_EQ(operators(mSegments), 0u);
}

TEST_F(BothForms, OnlyTheTracksThatAreNamedAreTaken)
{
    Create(MakeSequence({MakeTrack({MakeClip(Frames(0), Frames(10), 1)}),
                         MakeTrack({MakeInset(Frames(20), Frames(30), 2)})}),
           {1});
    for (const IRenderableCutlistRef& cutlist : {mFull, mSegments})
    {
        EXPECT_EQ(Timelines::ShownBy(cutlist), (ShownList{{20, 30, 0, 1}}));
    }
}

TEST_F(BothForms, FormThatIsThereIsKept)
{
    const auto sequence = MakeSequence({MakeTrack({MakeClip(Frames(0), Frames(10), 1)})});
    const IRenderableCutlistRef full = mFull = OfSequence(MakeSequence({}));
    Create(sequence);
    EXPECT_TRUE(mFull == full);
    EXPECT_EQ(mSegments->GetSegmentCount(), 1u);
    const IRenderableCutlistRef segments = mSegments;
    mFull.reset();
    Create(sequence);
    EXPECT_TRUE(mSegments == segments);
    EXPECT_EQ(mFull->GetSegmentCount(), 1u);
}

TEST_F(BothForms, PreviewIsTheFullOneWithItsOverlays)
{
    const auto sequence = MakeSequence({MakeTrack({MakeClip(Frames(0), Frames(10), 1)})});
    Create(sequence);
    EXPECT_TRUE(mPreview == mFull);
    const auto node = TestSupport::MakeNumberedNode(5);
    mOverlays[mFull->GetHashValue()].push_back({Frames(2), Frames(4), 0, 0, node});
    Create(sequence);
    EXPECT_EQ(mPreview->GetSegmentCount(), 3u);
}

} // namespace
