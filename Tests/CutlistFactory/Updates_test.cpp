#include "CutlistFactory.h"
#include "RenderableCutlistImpl.h"
#include "Tests/CutlistFactory/Timelines.h"
#include "Tests/Support/Fakes/FakeEffect.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/Scale.h"
#include "VideoRenderer/Src/CutlistFactory_Updates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{

using MF::IRenderableCutlistRef;
using MF::TimeRange;
using norviktypes::TickTime;
using Timelines::Clip;
using Timelines::Frames;
using Timelines::kRate;

using Ranges = std::vector<TimeRange>;

constexpr std::uint32_t kContained = MF::kNodeFlag_TimeContained;

struct Piece
{
    int mStart;
    int mEnd;
    std::uint32_t mNode;
    std::uint32_t mFlags = kContained;
    int mOffset = 0;
};

IRenderableCutlistRef Cutlist(const std::vector<Piece>& inPieces)
{
    const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
    for (const Piece& piece : inPieces)
    {
        cutlist->AddSegment(Frames(piece.mStart), Frames(piece.mEnd), Frames(piece.mOffset),
                            MF::IRenderableNodeRef(TestSupport::MakeNumberedNode(piece.mNode, piece.mFlags)));
    }
    cutlist->Finalize();
    return cutlist;
}

Ranges Collected(const IRenderableCutlistRef& inCutlist, int inStart, int inEnd)
{
    return ML::CollectSegmentRanges(inCutlist, {Frames(inStart), Frames(inEnd)});
}

TimeRange Range(int inStart, int inEnd)
{
    return {Frames(inStart), Frames(inEnd)};
}

TEST(SegmentRanges, OfNoChangeAreNone)
{
    const auto cutlist = Cutlist({{0, 10, 1, 0}, {10, 20, 2, 0}});
    EXPECT_TRUE(Collected(cutlist, 5, 5).empty());
    EXPECT_TRUE(Collected(cutlist, 7, 5).empty());
}

TEST(SegmentRanges, ChangeIsWidenedToTheSegmentsAtItsEnds)
{
    const auto cutlist = Cutlist({{0, 10, 1}, {10, 20, 2}, {20, 30, 3}});
    EXPECT_EQ(Collected(cutlist, 5, 15), (Ranges{Range(0, 20)}));
    EXPECT_EQ(Collected(cutlist, 10, 20), (Ranges{Range(10, 20)}));
    EXPECT_EQ(Collected(cutlist, 12, 13), (Ranges{Range(10, 20)}));
}

TEST(SegmentRanges, EndInAGapStaysWhereItIs)
{
    const auto cutlist = Cutlist({{0, 10, 1}, {20, 30, 3}});
    EXPECT_EQ(Collected(cutlist, 12, 18), (Ranges{Range(12, 18)}));
    EXPECT_EQ(Collected(cutlist, 12, 25), (Ranges{Range(12, 30)}));
    EXPECT_EQ(Collected(cutlist, 40, 50), (Ranges{Range(40, 50)}));
}

TEST(SegmentRanges, SegmentsThatLookBeyondTheirTimeAreAmongThem)
{
    const auto cutlist = Cutlist({{0, 10, 1, 0}, {10, 20, 2, kContained}, {20, 30, 3, 0}, {30, 40, 4, 0}});
    EXPECT_EQ(Collected(cutlist, 20, 25), (Ranges{Range(20, 30), Range(0, 10), Range(30, 40)}));
}

// ---- splicing ----

TEST(Splice, PieceTakesThePlaceOfItsRange)
{
    const auto base = Cutlist({{0, 10, 1}, {10, 20, 2}, {20, 30, 3}});
    const auto spliced = ML::SpliceCutlists(base, {{Range(5, 25), Cutlist({{5, 15, 8}, {15, 25, 9}})}});
    const auto expected = Cutlist({{0, 5, 1}, {5, 15, 8}, {15, 25, 9}, {25, 30, 3, kContained, 5}});
    EXPECT_EQ(Timelines::SegmentsOf(spliced), Timelines::SegmentsOf(expected));
    EXPECT_EQ(spliced->GetHashValue(), expected->GetHashValue());
}

TEST(Splice, PieceIsClippedToItsRange)
{
    const auto base = Cutlist({{0, 10, 1}});
    const auto spliced = ML::SpliceCutlists(base, {{Range(4, 6), Cutlist({{0, 10, 2}})}});
    EXPECT_EQ(
        Timelines::SegmentsOf(spliced),
        Timelines::SegmentsOf(Cutlist({{0, 4, 1}, {4, 6, 2, kContained, 4}, {6, 10, 1, kContained, 6}})));
}

TEST(Splice, NodeThatPlaysOnOverASeamIsOneSegment)
{
    const auto base = Cutlist({{0, 10, 1}, {10, 20, 2}});
    const auto spliced = ML::SpliceCutlists(base, {{Range(10, 15), Cutlist({{10, 15, 1, kContained, 10}})}});
    EXPECT_EQ(Timelines::SegmentsOf(spliced),
              Timelines::SegmentsOf(Cutlist({{0, 15, 1}, {15, 20, 2, kContained, 5}})));
}

TEST(Splice, SeveralPiecesGoInAtOnce)
{
    const auto base = Cutlist({{0, 10, 1}, {10, 20, 2}, {20, 30, 3}});
    const auto spliced = ML::SpliceCutlists(
        base, {{Range(0, 5), Cutlist({{0, 5, 7}})}, {Range(20, 40), Cutlist({{22, 40, 8}})}});
    EXPECT_EQ(
        Timelines::SegmentsOf(spliced),
        Timelines::SegmentsOf(Cutlist({{0, 5, 7}, {5, 10, 1, kContained, 5}, {10, 20, 2}, {22, 40, 8}})));
}

TEST(Splice, KeepsTheLabelOfTheBase)
{
    const auto base = ML::CreateMutableCutlist(norvik::utility::ImmutableString::CreateStatic("base"));
    base->Finalize();
    EXPECT_EQ(ML::SpliceCutlists(base, {{Range(0, 1), Cutlist({})}})->GetStreamLabel().ToString(), "base");
}

TEST(Splice, ForgetsNodesThatAreSeenNoMore)
{
    const auto base = Cutlist({{0, 10, 1}, {10, 20, 2}});
    const auto spliced = ML::SpliceCutlists(base, {{Range(0, 10), Cutlist({{0, 10, 3}})}});
    MF::IRenderableNodeRef node;
    EXPECT_EQ(spliced->GetRenderableNodeFromHashValue(Timelines::SegmentsOf(base)[0].mHash, node),
              MF::kStatus_NoSuchEntry);
    EXPECT_EQ(spliced->GetRenderableNodeFromHashValue(Timelines::SegmentsOf(base)[1].mHash, node), 0);
}

class StillSplice : public testing::Test
{
protected:
    // A cutlist of one node that stands still in the ranges, from inStart to inEnd.
    static IRenderableCutlistRef Of(const TestSupport::FakeProducerNodeRef& inNode, int inStart, int inEnd)
    {
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        cutlist->AddSegment(Frames(inStart), Frames(inEnd), Frames(0), MF::IRenderableNodeRef(inNode.get()));
        cutlist->Finalize();
        return cutlist;
    }
    static TestSupport::FakeProducerNodeRef Node(const char* inType, const Ranges& inRanges)
    {
        const TestSupport::FakeProducerNodeRef node(new TestSupport::FakeProducerNode(inType));
        node->mStillRanges = inRanges;
        node->Finalize();
        return node;
    }
    static Ranges StillOf(const IRenderableCutlistRef& inCutlist)
    {
        Ranges ranges;
        MF::IRenderableExtendedStillInfoRef(inCutlist)->GetStillRanges(norviktypes::kTime_Zero,
                                                                       norviktypes::kTime_Max, ranges);
        return ranges;
    }
};

TEST_F(StillSplice, RangesOfWhatIsNotTouchedAreNotAskedForAgain)
{
    const auto first = Node("First", {Range(2, 4)});
    const auto second = Node("Second", {Range(1, 3)});
    const auto base = ML::SpliceCutlists(Of(first, 0, 10), {{Range(20, 30), Of(second, 20, 30)}});
    EXPECT_EQ(StillOf(base),
              (Ranges{Range(2, 4), Range(10, 20), Range(21, 23), {Frames(30), norviktypes::kTime_Max}}));
    first->mStillQuestions.clear();
    second->mStillQuestions.clear();
    const auto third = Node("Third", {});
    const auto spliced = ML::SpliceCutlists(base, {{Range(12, 16), Of(third, 12, 16)}});
    EXPECT_TRUE(first->mStillQuestions.empty());
    EXPECT_TRUE(second->mStillQuestions.empty());
    EXPECT_EQ(
        StillOf(spliced),
        (Ranges{
            Range(2, 4), Range(10, 12), Range(16, 20), Range(21, 23), {Frames(30), norviktypes::kTime_Max}}));
}

TEST_F(StillSplice, RangesOfASegmentThatIsCutAreAskedForAnew)
{
    const auto first = Node("First", {Range(2, 4)});
    const auto base = Of(first, 0, 10);
    first->mStillQuestions.clear();
    ML::SpliceCutlists(base, {{Range(8, 10), Cutlist({})}});
    EXPECT_EQ(first->mStillQuestions, (Ranges{Range(0, 8)}));
}

TEST_F(StillSplice, RangesOfSegmentsThatBecomeOneAreAskedForAnew)
{
    const auto first = Node("First", {Range(2, 4)});
    const auto base = Of(first, 0, 10);
    const ML::IMutableCutlistRef piece = ML::CreateMutableCutlist();
    piece->AddSegment(Frames(10), Frames(15), Frames(10), MF::IRenderableNodeRef(first.get()));
    piece->Finalize();
    first->mStillQuestions.clear();
    const auto spliced = ML::SpliceCutlists(base, {{Range(10, 15), piece}});
    EXPECT_EQ(spliced->GetSegmentCount(), 1u);
    EXPECT_EQ(first->mStillQuestions, (Ranges{Range(0, 15)}));
}

// ---- the walk over ranges ----

TEST(UpdateCutlist, FailingRangeEndsTheWalkWithWhatWasBuilt)
{
    const auto previous = Cutlist({{0, 10, 1, 0}, {10, 20, 2, 0}, {20, 30, 3, 0}});
    IRenderableCutlistRef updated;
    int calls = 0;
    const auto build = [&calls](const TimeRange& inRange, IRenderableCutlistRef& outPiece)
    {
        outPiece = Cutlist({{0, 30, 9}});
        return ++calls == 3 || inRange.mStart >= Frames(20) ? -5 : 0;
    };
    EXPECT_EQ(ML::UpdateCutlist(previous, kRate, Range(12, 13), build, updated), -5);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(Timelines::SegmentsOf(updated), Timelines::SegmentsOf(Cutlist({{0, 20, 9}, {20, 30, 3, 0}})));
}

TEST(UpdateCutlist, NothingIsBuiltBehindARangeThatFailed)
{
    const auto previous = Cutlist({{0, 10, 1, 0}, {10, 20, 2, 0}, {20, 30, 3, 0}});
    IRenderableCutlistRef updated;
    int calls = 0;
    const auto build = [&calls](const TimeRange&, IRenderableCutlistRef& outPiece)
    {
        outPiece = Cutlist({{10, 20, 9}});
        return ++calls == 2 ? -5 : 0;
    };
    EXPECT_EQ(ML::UpdateCutlist(previous, kRate, Range(12, 13), build, updated), -5);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(Timelines::SegmentsOf(updated),
              Timelines::SegmentsOf(Cutlist({{0, 10, 1, 0}, {10, 20, 9}, {20, 30, 3, 0}})));
}

TEST(UpdateCutlist, RangesThatFollowEachOtherAreBuiltAsOne)
{
    const auto previous =
        Cutlist({{0, 10, 1, 0}, {10, 20, 2, 0}, {20, 30, 3}, {30, 40, 4}, {50, 60, 5, 0}, {60, 70, 6, 0}});
    IRenderableCutlistRef updated;
    Ranges built;
    const auto build = [&built](const TimeRange& inRange, IRenderableCutlistRef& outPiece)
    {
        built.push_back(inRange);
        outPiece = Cutlist({});
        return 0;
    };
    ML::UpdateCutlist(previous, kRate, Range(32, 33), build, updated);
    EXPECT_EQ(built, (Ranges{Range(30, 40), Range(0, 20), Range(50, 70)}));
    EXPECT_EQ(Timelines::SegmentsOf(updated), Timelines::SegmentsOf(Cutlist({{20, 30, 3}})));
}

TEST(UpdateCutlist, OfNoChangeIsThePreviousOne)
{
    const auto previous = Cutlist({{0, 10, 1, 0}});
    IRenderableCutlistRef updated;
    const auto build = [](const TimeRange&, IRenderableCutlistRef&) { return -1; };
    for (const double time : {5.0, 5.25})
    {
        EXPECT_EQ(ML::UpdateCutlist(previous, kRate, {Frames(time), Frames(time)}, build, updated), 0)
            << time;
        EXPECT_TRUE(updated == previous);
    }
}

TEST(UpdateCutlist, ChangeWithinAFrameTakesTheWholeFrame)
{
    const auto previous = Cutlist({});
    IRenderableCutlistRef updated;
    Ranges built;
    const auto build = [&built](const TimeRange& inRange, IRenderableCutlistRef& outPiece)
    {
        built.push_back(inRange);
        outPiece = Cutlist({});
        return 0;
    };
    ML::UpdateCutlist(previous, kRate, {Frames(5.25), Frames(7.5)}, build, updated);
    EXPECT_EQ(built, (Ranges{Range(5, 8)}));
}

// ---- against a rebuild ----

// A timeline that is edited at random, by somebody who tells what each edit changed.
class RandomTimeline
{
public:
    RandomTimeline(std::uint64_t inSeed, std::size_t inTracks) : mRandom(inSeed), mTracks(inTracks)
    {
        for (std::size_t i = 0; i < inTracks; ++i)
        {
            mFakes.push_back(Timelines::MakeTrack({}, i));
        }
        mSequence = Timelines::MakeSequence(mFakes);
        for (std::vector<Clip>& track : mTracks)
        {
            int time = Below(30);
            while (time < kLength)
            {
                const int end = time + 1 + Below(40);
                track.push_back(MakeAny(Frames(time), Frames(end)));
                time = end + (Below(3) == 0 ? Below(25) : 0);
            }
        }
        Publish();
    }

    TVK::TVKUnknownRef Sequence() const { return mSequence; }
    TVK::TVKUnknownRef Track(std::size_t inIndex) const { return mFakes[inIndex]; }

    // One edit; the time that it changed.
    TimeRange Edit(std::size_t& outTrack)
    {
        outTrack = static_cast<std::size_t>(Below(static_cast<int>(mTracks.size())));
        std::vector<Clip>& track = mTracks[outTrack];
        TimeRange changed{norviktypes::kTime_Max, norviktypes::kTime_Min};
        const std::size_t place =
            track.empty() ? 0 : static_cast<std::size_t>(Below(static_cast<int>(track.size())));
        switch (track.empty() ? 0 : Below(8))
        {
        case 0: Insert(track, changed); break;
        case 1: Remove(track, place, changed); break;
        case 2: Trim(track, place, changed); break;
        case 3: Split(track, place, changed); break;
        case 4: ToggleTransition(track, place, changed); break;
        case 5: ToggleFade(track, place, changed); break;
        default: Alter(track, place, changed); break;
        }
        Publish();
        return changed;
    }

private:
    static constexpr int kLength = 400;

    int Below(int inLimit) { return static_cast<int>(mRandom() % static_cast<std::uint64_t>(inLimit)); }

    Clip MakeAny(const TickTime& inStart, const TickTime& inEnd)
    {
        const auto media = static_cast<std::uint32_t>(Below(4));
        const TickTime in = Frames(Below(3) * 10);
        Clip clip = Below(5) == 0   ? Timelines::MakeStill(inStart, inEnd, media + 10)
                    : Below(2) == 0 ? Timelines::MakeClip(inStart, inEnd, media, in)
                                    : Timelines::MakeInset(inStart, inEnd, media, in);
        Decorate(clip);
        return clip;
    }

    void Decorate(const Clip& inClip)
    {
        inClip.mItem->mGroupID = static_cast<std::uint32_t>(std::max(0, Below(6) - 3));
        inClip.mClip->mNeedsLowerTracks = Below(6) == 0;
        inClip.mClip->mSpeed = Below(5) == 0 ? 1.5 : 1.0;
        inClip.mClip->mIsBackwards = Below(7) == 0;
        inClip.mItem->mEffects.reset();
        if (Below(8) == 0)
        {
            Timelines::AddMatte(inClip, static_cast<std::uint32_t>(Below(4)));
            return;
        }
        if (Below(4) != 0)
        {
            return;
        }
        const TestSupport::FakeEffectRef effect(new TestSupport::FakeEffect);
        effect->mFilter = ML::IVideoFilterRef(new TestSupport::FakeVideoFilter);
        effect->mDependsOnClipRange = Below(3) == 0;
        inClip.mItem->mEffects = TestSupport::MakeEffectChain({BE::IEffectRef(effect)});
    }

    // What is seen of the item, its transitions and fades among it, and of its neighbours where these show it.
    static void Include(const std::vector<Clip>& inTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        const Clip& clip = inTrack[inPlace];
        ioChanged.mStart = std::min(ioChanged.mStart, clip.mItem->mStart);
        ioChanged.mEnd = std::max(ioChanged.mEnd, clip.mItem->mEnd);
        for (const bool atEnd : {false, true})
        {
            if (const BE::ITransitionItemRef transition = clip.mItem->GetTransition(atEnd))
            {
                ioChanged.mStart = std::min(ioChanged.mStart, transition->GetStart());
                ioChanged.mEnd = std::max(ioChanged.mEnd, transition->GetEnd());
            }
        }
    }

    // Transitions of the item go, and with them what they did to its neighbours.
    static void DropTransitions(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        Include(ioTrack, inPlace, ioChanged);
        if (inPlace > 0 && ioTrack[inPlace].mItem->mTransitionAtStart)
        {
            Include(ioTrack, inPlace - 1, ioChanged);
            ioTrack[inPlace - 1].mItem->mTransitionAtEnd.reset();
        }
        if (inPlace + 1 < ioTrack.size() && ioTrack[inPlace].mItem->mTransitionAtEnd)
        {
            Include(ioTrack, inPlace + 1, ioChanged);
            ioTrack[inPlace + 1].mItem->mTransitionAtStart.reset();
        }
        ioTrack[inPlace].mItem->mTransitionAtStart.reset();
        ioTrack[inPlace].mItem->mTransitionAtEnd.reset();
    }

    void Insert(std::vector<Clip>& ioTrack, TimeRange& ioChanged)
    {
        const int start = Below(kLength);
        const int end = start + 1 + Below(30);
        for (std::size_t i = ioTrack.size(); i-- > 0;)
        {
            if (ioTrack[i].mItem->mStart < Frames(end) && Frames(start) < ioTrack[i].mItem->mEnd)
            {
                Remove(ioTrack, i, ioChanged);
            }
        }
        const auto place =
            std::find_if(ioTrack.begin(), ioTrack.end(),
                         [start](const Clip& inClip) { return inClip.mItem->mStart >= Frames(start); });
        const auto index = static_cast<std::size_t>(place - ioTrack.begin());
        ioTrack.insert(place, MakeAny(Frames(start), Frames(end)));
        Include(ioTrack, index, ioChanged);
        IncludeFadesAround(ioTrack, index, ioChanged);
    }

    // A fade into a gap ends where the next item begins, so that it changes with that one.
    static void IncludeFadesAround(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        if (inPlace > 0)
        {
            Include(ioTrack, inPlace - 1, ioChanged);
        }
        if (inPlace + 1 < ioTrack.size())
        {
            Include(ioTrack, inPlace + 1, ioChanged);
        }
    }

    static void Remove(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        IncludeFadesAround(ioTrack, inPlace, ioChanged);
        DropTransitions(ioTrack, inPlace, ioChanged);
        ioTrack.erase(ioTrack.begin() + static_cast<std::ptrdiff_t>(inPlace));
    }

    static void SetSpan(const Clip& inClip, const TickTime& inStart, const TickTime& inEnd)
    {
        inClip.mItem->mStart = inClip.mClip->mStart = inStart;
        inClip.mItem->mEnd = inClip.mClip->mEnd = inEnd;
        inClip.mClip->mDuration = inEnd - inStart;
        inClip.mClip->mOutPoint = inClip.mClip->mInPoint + (inEnd - inStart);
    }

    void Trim(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        IncludeFadesAround(ioTrack, inPlace, ioChanged);
        DropTransitions(ioTrack, inPlace, ioChanged);
        const Clip& clip = ioTrack[inPlace];
        const TickTime cut(static_cast<std::int64_t>(
            mRandom() % static_cast<std::uint64_t>((clip.mItem->mEnd - clip.mItem->mStart).GetTicks())));
        if (Below(2) == 0)
        {
            clip.mClip->mInPoint += cut;
            SetSpan(clip, clip.mItem->mStart + cut, clip.mItem->mEnd);
        }
        else
        {
            SetSpan(clip, clip.mItem->mStart, clip.mItem->mEnd - cut);
        }
    }

    void Split(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        IncludeFadesAround(ioTrack, inPlace, ioChanged);
        DropTransitions(ioTrack, inPlace, ioChanged);
        const Clip left = ioTrack[inPlace];
        const TickTime start = left.mItem->mStart;
        const TickTime end = left.mItem->mEnd;
        const TickTime middle = start + (end - start) / 2u;
        if (middle <= start)
        {
            return;
        }
        SetSpan(left, start, middle);
        ioTrack.insert(ioTrack.begin() + static_cast<std::ptrdiff_t>(inPlace) + 1, MakeAny(middle, end));
    }

    void ToggleTransition(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        if (inPlace + 1 >= ioTrack.size() ||
            ioTrack[inPlace].mItem->mEnd < ioTrack[inPlace + 1].mItem->mStart)
        {
            return;
        }
        Include(ioTrack, inPlace, ioChanged);
        Include(ioTrack, inPlace + 1, ioChanged);
        TestSupport::FakeTransitionItemRef transition;
        if (!ioTrack[inPlace].mItem->mTransitionAtEnd)
        {
            const TickTime cut = ioTrack[inPlace].mItem->mEnd;
            transition = Timelines::MakeTransitionItem(cut - Frames(Below(6)), cut + Frames(1 + Below(6)),
                                                       Below(2) == 0);
        }
        Join(ioTrack[inPlace], ioTrack[inPlace + 1], transition);
        Include(ioTrack, inPlace, ioChanged);
        Include(ioTrack, inPlace + 1, ioChanged);
    }

    // A transition to nothing, at an end where no other item is.
    void ToggleFade(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        if (inPlace + 1 < ioTrack.size() &&
            ioTrack[inPlace].mItem->mEnd >= ioTrack[inPlace + 1].mItem->mStart)
        {
            return;
        }
        Include(ioTrack, inPlace, ioChanged);
        BE::ITransitionItemRef& fade = ioTrack[inPlace].mItem->mTransitionAtEnd;
        const TickTime end = ioTrack[inPlace].mItem->mEnd;
        fade = fade ? BE::ITransitionItemRef()
                    : BE::ITransitionItemRef(
                          Timelines::MakeTransitionItem(end - Frames(Below(4)), end + Frames(1 + Below(20))));
        Include(ioTrack, inPlace, ioChanged);
    }

    void Alter(std::vector<Clip>& ioTrack, std::size_t inPlace, TimeRange& ioChanged)
    {
        Include(ioTrack, inPlace, ioChanged);
        Decorate(ioTrack[inPlace]);
    }

    // Every edit makes new objects of what it touches; the rest is as it was.
    void Publish()
    {
        for (std::size_t i = 0; i < mTracks.size(); ++i)
        {
            mFakes[i]->mItems.clear();
            for (const Clip& clip : mTracks[i])
            {
                mFakes[i]->mItems.emplace_back(clip.mItem.get());
            }
        }
    }

    std::mt19937_64 mRandom;
    std::vector<std::vector<Clip>> mTracks;
    std::vector<TestSupport::FakeTrackRef> mFakes;
    TestSupport::FakeSequenceRef mSequence;
};

void ExpectSame(const IRenderableCutlistRef& inUpdated, const IRenderableCutlistRef& inRebuilt)
{
    ASSERT_EQ(Timelines::ShownBy(inUpdated), Timelines::ShownBy(inRebuilt));
    ASSERT_EQ(Timelines::SegmentsOf(inUpdated), Timelines::SegmentsOf(inRebuilt));
    ASSERT_EQ(inUpdated->GetHashValue(), inRebuilt->GetHashValue());
    Ranges updated;
    Ranges rebuilt;
    MF::IRenderableExtendedStillInfoRef(inUpdated)->GetStillRanges(norviktypes::kTime_Zero,
                                                                   norviktypes::kTime_Max, updated);
    MF::IRenderableExtendedStillInfoRef(inRebuilt)->GetStillRanges(norviktypes::kTime_Zero,
                                                                   norviktypes::kTime_Max, rebuilt);
    ASSERT_EQ(updated, rebuilt);
}

TEST(UpdateCutlist, OfASequenceEqualsARebuild)
{
    const auto factory = ML::GetCutlistFactoryInstance();
    const std::size_t timelines = TestSupport::ScaledCount(50);
    for (std::size_t i = 0; i < timelines; ++i)
    {
        RandomTimeline timeline(TestSupport::Seed() + i, 1 + i % 4);
        IRenderableCutlistRef cutlist;
        ASSERT_EQ(factory->CreateCutlistForSequence(timeline.Sequence(), {}, cutlist), 0);
        for (int edit = 0; edit < 200; ++edit)
        {
            SCOPED_TRACE("timeline " + std::to_string(i) + ", edit " + std::to_string(edit));
            std::size_t track = 0;
            const TimeRange changed = timeline.Edit(track);
            ASSERT_EQ(factory->UpdateCutlistForSequence(timeline.Sequence(), {}, changed.mStart, changed.mEnd,
                                                        cutlist, cutlist),
                      0);
            IRenderableCutlistRef rebuilt;
            ASSERT_EQ(factory->CreateCutlistForSequence(timeline.Sequence(), {}, rebuilt), 0);
            ASSERT_NO_FATAL_FAILURE(ExpectSame(cutlist, rebuilt));
        }
    }
}

TEST(UpdateCutlist, OfATrackEqualsARebuild)
{
    const auto factory = ML::GetCutlistFactoryInstance();
    const std::size_t timelines = TestSupport::ScaledCount(10);
    for (std::size_t i = 0; i < timelines; ++i)
    {
        RandomTimeline timeline(TestSupport::Seed() + 1000 + i, 1);
        IRenderableCutlistRef cutlist;
        ASSERT_EQ(factory->CreateCutlistForTrack(timeline.Track(0), {}, cutlist), 0);
        for (int edit = 0; edit < 200; ++edit)
        {
            SCOPED_TRACE("timeline " + std::to_string(i) + ", edit " + std::to_string(edit));
            std::size_t track = 0;
            const TimeRange changed = timeline.Edit(track);
            ASSERT_EQ(factory->UpdateCutlistForTrack(timeline.Track(0), {}, changed.mStart, changed.mEnd,
                                                     cutlist, cutlist),
                      0);
            IRenderableCutlistRef rebuilt;
            ASSERT_EQ(factory->CreateCutlistForTrack(timeline.Track(0), {}, rebuilt), 0);
            ASSERT_NO_FATAL_FAILURE(ExpectSame(cutlist, rebuilt));
        }
    }
}

} // namespace
