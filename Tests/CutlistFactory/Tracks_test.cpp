#include "Tests/CutlistFactory/Timelines.h"
#include "Tests/Support/Fakes/FakeEffect.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "VideoRenderer/Src/CutlistFactory_Tracks.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using ML::TrackItemList;
using norviktypes::TickTime;
using Timelines::Clip;
using Timelines::Frames;
using Timelines::InFrames;
using Timelines::kRate;
using Timelines::MakeClip;
using Timelines::MakeTrack;

// Where records are seen, in frames.
using Seen = std::vector<std::pair<double, double>>;

class Tracks : public testing::Test
{
protected:
    ML::TrackContext Context(const MF::TimeRange& inRange = ML::kAllTimes) const
    {
        ML::TrackContext context;
        context.mFrameRate = kRate;
        context.mSequence = mSequence;
        context.mTrackIndex = 3;
        context.mRange = inRange;
        return context;
    }
    TrackItemList Items(const std::vector<Clip>& inClips, const MF::TimeRange& inRange = ML::kAllTimes) const
    {
        return ML::BuildTrackItems(Context(inRange), MakeTrack(inClips));
    }
    Seen SeenOn(const std::vector<Clip>& inClips, const MF::TimeRange& inRange = ML::kAllTimes) const
    {
        Seen seen;
        for (const ML::TrackItemRecord& record : Items(inClips, inRange))
        {
            seen.emplace_back(InFrames(record.mEffectiveStart), InFrames(record.mEffectiveEnd));
        }
        return seen;
    }
    // The media time that a record shows at a time of the track.
    static TickTime MediaTime(const ML::TrackItemRecord& inRecord, const TickTime& inTime)
    {
        return Timelines::MediaTimeOf(inRecord.mNode, inTime - inRecord.mStart + inRecord.mInputOffset);
    }
    // The same for a side of a transition's record.
    static TickTime MediaTimeOfSide(const ML::TrackItemRecord& inRecord, std::uint32_t inSide,
                                    const TickTime& inTime)
    {
        const auto [node, offset] = Timelines::NthInput(inRecord.mNode, inSide);
        return Timelines::MediaTimeOf(node, inTime - inRecord.mStart + inRecord.mInputOffset - offset);
    }

    TVK::TVKUnknownRef mSequence{Timelines::MakeSequence({})};
};

TEST_F(Tracks, DisabledTrackShowsNothing)
{
    const auto track = MakeTrack({MakeClip(Frames(0), Frames(10), 1)});
    EXPECT_EQ(ML::BuildTrackItems(Context(), track).size(), 1u);
    track->mIsDisabled = true;
    EXPECT_TRUE(ML::BuildTrackItems(Context(), track).empty());
}

// Only the items of a track, none of its other faces.
class BareTrack final : public TVK::Implements<BareTrack, BE::ITrack>
{
public:
    explicit BareTrack(const TestSupport::FakeTrackRef& inTrack) : mTrack(inTrack) {}
    void GetItems(std::vector<BE::ITrackItemRef>& outItems) const override { mTrack->GetItems(outItems); }
    void GetItemsInSpan(const TickTime& inStart, const TickTime& inEnd,
                        std::vector<BE::ITrackItemRef>& outItems) const override
    {
        mTrack->GetItemsInSpan(inStart, inEnd, outItems);
    }
    std::uint64_t GetIndex() const override { return 0; }

private:
    TestSupport::FakeTrackRef mTrack;
};

TEST_F(Tracks, TrackThatCannotBeDisabledIsOn)
{
    const BE::ITrackRef track(new BareTrack(MakeTrack({MakeClip(Frames(0), Frames(10), 1)})));
    EXPECT_EQ(ML::BuildTrackItems(Context(), track).size(), 1u);
}

TEST_F(Tracks, RateIsThatOfTheObjectOrATick)
{
    const auto track = MakeTrack({});
    EXPECT_EQ(ML::FrameRateOf(track), kRate);
    EXPECT_EQ(ML::FrameRateOf(BE::ITrackRef(new BareTrack(track))), norviktypes::FrameRate(1));
    EXPECT_EQ(ML::FrameRateOf({}), norviktypes::FrameRate(1));
    track->mFrameRate = norviktypes::kFrameRate_Zero;
    EXPECT_EQ(ML::FrameRateOf(track), norviktypes::FrameRate(1));
}

TEST_F(Tracks, RecordsTellTrackGroupAndItem)
{
    const Clip clip = MakeClip(Frames(0), Frames(10), 1);
    clip.mItem->mGroupID = 9;
    const auto items = Items({clip});
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].mTrackIndex, 3u);
    EXPECT_EQ(items[0].mGroupID, 9u);
    EXPECT_TRUE(items[0].mItem == clip.mItem);
    EXPECT_EQ(items[0].mNode->GetNodeType().ToString(), "RenderableNodeClipImpl");
}

TEST_F(Tracks, ItemsOfOtherKindsAreNotShown)
{
    const Clip other = MakeClip(Frames(0), Frames(10), 1);
    other.mItem->mKind = BE::kTrackItemKind_Clip + 1;
    const Clip adjustment = MakeClip(Frames(10), Frames(20), 1);
    adjustment.mItem->mIsAdjustment = true;
    EXPECT_TRUE(Items({other, adjustment}).empty());
}

TEST_F(Tracks, ItemsAreSeenOnTheGrid)
{
    EXPECT_EQ(SeenOn({MakeClip(Frames(0.25), Frames(9.5), 1), MakeClip(Frames(9.5), Frames(12.75), 2)}),
              (Seen{{0, 10}, {9, 13}}));
}

TEST_F(Tracks, GridDoesNotMoveMediaTime)
{
    const auto items = Items({MakeClip(Frames(0.25), Frames(9.5), 1, Frames(100))});
    EXPECT_EQ(MediaTime(items[0], Frames(5)), Frames(104.75));
}

TEST_F(Tracks, MediaTimeFollowsSpeedAndDirection)
{
    const Clip fast = MakeClip(Frames(10), Frames(20), 1, Frames(100));
    fast.mClip->mSpeed = 2.0;
    EXPECT_EQ(MediaTime(Items({fast})[0], Frames(13)), Frames(106));
    const Clip plain = MakeClip(Frames(10), Frames(20), 1, Frames(100));
    EXPECT_EQ(MediaTime(Items({plain})[0], Frames(13)), Frames(103));
    const Clip bound = MakeClip(Frames(10), Frames(20), 1, Frames(100));
    const TestSupport::FakeEffectRef effect(new TestSupport::FakeEffect);
    effect->mFilter = ML::IVideoFilterRef(new TestSupport::FakeVideoFilter);
    effect->mDependsOnClipRange = true;
    bound.mItem->mEffects = TestSupport::MakeEffectChain({BE::IEffectRef(effect)});
    const auto items = Items({bound});
    EXPECT_EQ(items[0].mNode->GetInformativeFlags() & MF::kNodeFlag_Extendable, 0u);
    EXPECT_EQ(MediaTime(items[0], Frames(13)), Frames(103));
}

TEST_F(Tracks, ClipIsSeenNoLongerThanItLies)
{
    const Clip clip = MakeClip(Frames(10), Frames(20), 1);
    clip.mClip->mStart = Frames(12);
    clip.mClip->mDuration = Frames(5);
    EXPECT_EQ(SeenOn({clip}), (Seen{{12, 17}}));
    EXPECT_EQ(MediaTime(Items({clip})[0], Frames(13)), Frames(3));
}

TEST_F(Tracks, ItemBehindTheEndOfItsMediaIsSeenForNoTime)
{
    const Clip clip = MakeClip(Frames(10), Frames(20), 1);
    clip.mClip->mStart = Frames(0);
    clip.mClip->mDuration = Frames(5);
    const auto record = ML::BuildItemNode(Context(), BE::ITrackItemRef(clip.mItem), false);
    EXPECT_EQ(record.mEffectiveEnd, Frames(5));
    EXPECT_EQ(record.mEffectiveStart, record.mEffectiveEnd);
    EXPECT_TRUE(Items({clip}).empty());
}

TEST_F(Tracks, StreamLabelReachesTheMedia)
{
    ML::TrackContext context = Context();
    context.mStreamLabel = norvik::utility::ImmutableString::CreateStatic("left eye");
    const auto items = ML::BuildTrackItems(context, MakeTrack({MakeClip(Frames(0), Frames(10), 1)}));
    norvik::UTF8String label;
    Timelines::NthInput(items.at(0).mNode, 0)
        .first->GetProperty(norvik::utility::ImmutableString::CreateStatic("MediaNode::MediaStreamLabel"),
                            label);
    EXPECT_EQ(label, "left eye");
}

TEST_F(Tracks, ClipThatIsBoundToItsItemIsSeenInAllOfIt)
{
    const Clip clip = MakeClip(Frames(10), Frames(20), 1, Frames(100));
    clip.mClip->mStart = Frames(12);
    clip.mClip->mDuration = Frames(5);
    clip.mClip->mIsBackwards = true;
    EXPECT_EQ(SeenOn({clip}), (Seen{{10, 20}}));
}

TEST_F(Tracks, GeneratedMediaGoOnForEver)
{
    const Clip clip = MakeClip(Frames(10), Frames(20), 1);
    clip.mClip->mStart = Frames(12);
    clip.mClip->mDuration = Frames(5);
    const TVK::InterfaceRef<TestSupport::FakeVideoSource> source(new TestSupport::FakeVideoSource);
    source->mKind = MF::kSourceKind_Unbounded;
    clip.mClip->mVideoSource = source;
    EXPECT_EQ(SeenOn({clip}), (Seen{{10, 20}}));
}

TEST_F(Tracks, StillHasNoPlaceInTime)
{
    const auto items = Items({Timelines::MakeStill(Frames(10), Frames(20), 1)});
    EXPECT_EQ(items[0].mStart, norviktypes::kTime_Min);
    EXPECT_EQ(items[0].mEnd, norviktypes::kTime_Max);
    EXPECT_EQ(items[0].mEffectiveStart, Frames(10));
    EXPECT_EQ(items[0].mEffectiveEnd, Frames(20));
}

TEST_F(Tracks, StillCutInTwoIsOneNodeEverywhere)
{
    const auto items = Items(
        {Timelines::MakeStill(Frames(10), Frames(20), 1), Timelines::MakeStill(Frames(20), Frames(40), 1)});
    const auto cutlist = ML::BuildTrackCutlist(items, {}, ML::kAllTimes);
    EXPECT_EQ(cutlist->GetSegmentCount(), 1u);
}

// ---- transitions ----

TEST_F(Tracks, TransitionIsSeenInPlaceOfItsClips)
{
    const Clip a = MakeClip(Frames(0), Frames(10), 1);
    const Clip b = MakeClip(Frames(10), Frames(20), 2);
    Join(a, b, Timelines::MakeTransitionItem(Frames(8), Frames(13)));
    const auto items = Items({a, b});
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(SeenOn({a, b}), (Seen{{0, 8}, {8, 13}, {13, 20}}));
    EXPECT_EQ(items[1].mNode->GetNodeType().ToString(), "RenderableNodeTransitionImpl");
    EXPECT_EQ(items[1].mStart, Frames(8));
    EXPECT_EQ(items[1].mInputOffset, norviktypes::kTime_Zero);
    EXPECT_EQ(items[1].mTrackIndex, 3u);
}

TEST_F(Tracks, TransitionShowsMediaBeyondTheCut)
{
    for (const bool isBound : {false, true})
    {
        const Clip a = MakeClip(Frames(0), Frames(10), 1, Frames(50));
        const Clip b = MakeClip(Frames(10), Frames(20), 2, Frames(70));
        a.mClip->mNeedsLowerTracks = isBound;
        if (isBound)
        {
            for (const Clip& clip : {a, b})
            {
                const TestSupport::FakeEffectRef effect(new TestSupport::FakeEffect);
                effect->mFilter = ML::IVideoFilterRef(new TestSupport::FakeVideoFilter);
                effect->mDependsOnClipRange = true;
                clip.mItem->mEffects = TestSupport::MakeEffectChain({BE::IEffectRef(effect)});
            }
        }
        Join(a, b, Timelines::MakeTransitionItem(Frames(8), Frames(13)));
        const auto items = Items({a, b});
        ASSERT_EQ(items.size(), 3u);
        for (int t = 8; t < 13; ++t)
        {
            EXPECT_EQ(MediaTimeOfSide(items[1], 0, Frames(t)), Frames(50 + t)) << isBound;
            EXPECT_EQ(MediaTimeOfSide(items[1], 1, Frames(t)), Frames(70 + t - 10)) << isBound;
        }
        EXPECT_EQ(MediaTime(items[0], Frames(3)), Frames(53)) << isBound;
        EXPECT_EQ(MediaTime(items[2], Frames(15)), Frames(75)) << isBound;
    }
}

TEST_F(Tracks, TransitionHasNodesThatReachBeyondTheMedia)
{
    const Clip a = MakeClip(Frames(0), Frames(10), 1, Frames(50));
    const Clip b = MakeClip(Frames(10), Frames(20), 2, Frames(70));
    a.mMedia->mDuration = Frames(61);
    Join(a, b, Timelines::MakeTransitionItem(Frames(8), Frames(13)));
    const auto items = Items({a, b});
    const auto endOf = [](const MF::IRenderableNodeRef& inNode)
    {
        norvik::UTF8String value;
        inNode->GetProperty(
            norvik::utility::ImmutableString::CreateStatic("ClipNode::EffectiveTrackItemEndAsTicks"), value);
        return value;
    };
    EXPECT_EQ(endOf(items[0].mNode), std::to_string(Frames(11).GetTicks()).c_str());
    EXPECT_EQ(endOf(Timelines::NthInput(items[1].mNode, 0).first),
              std::to_string(Frames(13).GetTicks()).c_str());
}

TEST_F(Tracks, TransitionOffTheGridKeepsMediaTime)
{
    const Clip a = MakeClip(Frames(0.5), Frames(10.5), 1, Frames(50));
    const Clip b = MakeClip(Frames(10.5), Frames(20), 2, Frames(70));
    Join(a, b, Timelines::MakeTransitionItem(Frames(8.25), Frames(12.75)));
    const auto items = Items({a, b});
    EXPECT_EQ(SeenOn({a, b}), (Seen{{0, 8}, {8, 13}, {13, 20}}));
    EXPECT_EQ(MediaTimeOfSide(items[1], 0, Frames(9)), Frames(58.5));
    EXPECT_EQ(MediaTimeOfSide(items[1], 1, Frames(9)), Frames(68.5));
}

TEST_F(Tracks, SameTransitionAtTwoPlacesIsOneNode)
{
    const auto transitionAt = [this](int inShift)
    {
        const Clip a = MakeClip(Frames(inShift), Frames(inShift + 10), 1, Frames(50));
        const Clip b = MakeClip(Frames(inShift + 10), Frames(inShift + 20), 2, Frames(70));
        Join(a, b, Timelines::MakeTransitionItem(Frames(inShift + 8), Frames(inShift + 13)));
        return Items({a, b})[1].mNode->GetHashValue();
    };
    EXPECT_EQ(transitionAt(0), transitionAt(100));
}

TEST_F(Tracks, StillOnASideOfATransitionHasNoOffset)
{
    const Clip a = Timelines::MakeStill(Frames(0), Frames(10), 1);
    const Clip b = MakeClip(Frames(10), Frames(20), 2, Frames(70));
    Join(a, b, Timelines::MakeTransitionItem(Frames(8), Frames(13)));
    EXPECT_EQ(Timelines::NthInput(Items({a, b})[1].mNode, 0).second, norviktypes::kTime_Zero);
}

TEST_F(Tracks, FadeInAndOutHaveOneSide)
{
    const Clip a = MakeClip(Frames(10), Frames(20), 1);
    a.mItem->mTransitionAtStart = Timelines::MakeTransitionItem(Frames(8), Frames(12));
    a.mItem->mTransitionAtEnd = Timelines::MakeTransitionItem(Frames(18), Frames(23));
    const auto items = Items({a});
    EXPECT_EQ(SeenOn({a}), (Seen{{8, 12}, {12, 18}, {18, 23}}));
    ASSERT_EQ(items.size(), 3u);
    EXPECT_FALSE(Timelines::NthInput(items[0].mNode, 0).first);
    EXPECT_TRUE(Timelines::NthInput(items[0].mNode, 1).first);
    EXPECT_TRUE(Timelines::NthInput(items[2].mNode, 0).first);
    EXPECT_FALSE(Timelines::NthInput(items[2].mNode, 1).first);
}

TEST_F(Tracks, FadesEndAtTheNextItem)
{
    const Clip a = MakeClip(Frames(0), Frames(10), 1);
    const Clip b = MakeClip(Frames(12), Frames(20), 2);
    a.mItem->mTransitionAtEnd = Timelines::MakeTransitionItem(Frames(8), Frames(15));
    EXPECT_EQ(SeenOn({a, b}), (Seen{{0, 8}, {8, 12}, {12, 20}}));
    a.mItem->mTransitionAtEnd.reset();
    b.mItem->mTransitionAtStart = Timelines::MakeTransitionItem(Frames(7), Frames(15));
    EXPECT_EQ(SeenOn({a, b}), (Seen{{0, 10}, {10, 15}, {15, 20}}));
}

TEST_F(Tracks, TransitionLongerThanItsClipsEndsWithThem)
{
    const Clip a = MakeClip(Frames(5), Frames(10), 1);
    const Clip b = MakeClip(Frames(10), Frames(15), 2);
    Join(a, b, Timelines::MakeTransitionItem(Frames(0), Frames(30)));
    EXPECT_EQ(SeenOn({a, b}), (Seen{{5, 15}}));
}

TEST_F(Tracks, OverlappingTransitionsFollowEachOther)
{
    const Clip a = MakeClip(Frames(0), Frames(10), 1);
    const Clip b = MakeClip(Frames(10), Frames(12), 2);
    const Clip c = MakeClip(Frames(12), Frames(30), 3);
    Join(a, b, Timelines::MakeTransitionItem(Frames(8), Frames(12)));
    Join(b, c, Timelines::MakeTransitionItem(Frames(10), Frames(14)));
    EXPECT_EQ(SeenOn({a, b, c}), (Seen{{0, 8}, {8, 12}, {10, 14}, {14, 30}}));
}

// ---- ranges ----

TEST_F(Tracks, RangeTakesWhatIsSeenInIt)
{
    const std::vector<Clip> clips{MakeClip(Frames(0), Frames(10), 1), MakeClip(Frames(10), Frames(20), 2),
                                  MakeClip(Frames(20), Frames(30), 3)};
    EXPECT_EQ(SeenOn(clips, {Frames(10), Frames(20)}), (Seen{{10, 20}}));
    EXPECT_EQ(SeenOn(clips, {Frames(9), Frames(11)}), (Seen{{0, 10}, {10, 20}}));
    EXPECT_TRUE(SeenOn(clips, {Frames(30), Frames(40)}).empty());
}

TEST_F(Tracks, TransitionInTheRangeBringsBothItsClips)
{
    const Clip a = MakeClip(Frames(0), Frames(10), 1);
    const Clip b = MakeClip(Frames(10), Frames(20), 2);
    Join(a, b, Timelines::MakeTransitionItem(Frames(8), Frames(13)));
    const auto whole = Items({a, b});
    for (const MF::TimeRange& range : {MF::TimeRange{Frames(8), Frames(10)}, {Frames(10), Frames(13)}})
    {
        const auto part = Items({a, b}, range);
        ASSERT_EQ(part.size(), 1u);
        EXPECT_EQ(part[0].mNode->GetHashValue(), whole[1].mNode->GetHashValue());
    }
}

TEST_F(Tracks, FadeIntoAGapIsFoundFromTheGap)
{
    const Clip a = MakeClip(Frames(0), Frames(10), 1);
    const Clip b = MakeClip(Frames(100000), Frames(100020), 2);
    a.mItem->mTransitionAtEnd = Timelines::MakeTransitionItem(Frames(8), Frames(40000));
    b.mItem->mTransitionAtStart = Timelines::MakeTransitionItem(Frames(60000), Frames(100003));
    EXPECT_EQ(SeenOn({a, b}, {Frames(39000), Frames(39001)}), (Seen{{8, 40000}}));
    EXPECT_EQ(SeenOn({a, b}, {Frames(60000), Frames(60001)}), (Seen{{60000, 100003}}));
    EXPECT_TRUE(SeenOn({a, b}, {Frames(50000), Frames(50001)}).empty());
}

TEST_F(Tracks, RangeAsksForItsOwnItemsOnly)
{
    std::vector<Clip> clips;
    for (int i = 0; i < 1000; ++i)
    {
        clips.push_back(MakeClip(Frames(i * 10), Frames(i * 10 + 10), 1));
    }
    const auto track = MakeTrack(clips);
    ML::BuildTrackItems(Context({Frames(5000), Frames(5020)}), track);
    EXPECT_LE(track->mItemsGiven, 4u);
}

TEST_F(Tracks, WalkOfTracksEndsAtWhatIsNone)
{
    const auto sequence = Timelines::MakeSequence({MakeTrack({MakeClip(Frames(0), Frames(10), 1)})});
    sequence->mTracks.emplace_back(Timelines::MakeSequence({}));
    sequence->mTracks.emplace_back(MakeTrack({MakeClip(Frames(0), Frames(10), 1)}));
    ML::TrackContext context = Context();
    context.mSequence = sequence;
    const auto lists = ML::BuildSequenceTrackLists(context);
    ASSERT_EQ(lists.size(), 3u);
    EXPECT_EQ(lists[0].size(), 1u);
    EXPECT_EQ(lists[0][0].mTrackIndex, 0u);
    EXPECT_TRUE(lists[1].empty());
    EXPECT_TRUE(lists[2].empty());
}

} // namespace
