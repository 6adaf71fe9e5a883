#include "RenderableCutlistImpl.h"
#include "Tests/Support/Fakes/FakeNode.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

// The cutlist beside a plain model that keeps what plays for each single tick of a short axis.

namespace
{

using MF::FrameTime;
using MF::TimeRange;
using norviktypes::kTime_Max;
using norviktypes::kTime_Zero;
using norviktypes::TickTime;

constexpr std::int64_t kFirstTick = -50;
constexpr std::int64_t kEndTick = 450;
constexpr std::uint32_t kNodeCount = 5;

// The last two nodes never change.
bool IsStill(std::uint32_t inNode)
{
    return inNode >= kNodeCount - 2;
}

TestSupport::FakeNodeRef MakeNode(std::uint32_t inNode)
{
    return TestSupport::MakeNumberedNode(
        inNode, IsStill(inNode) ? MF::kNodeFlag_StaticParameters | MF::kNodeFlag_Still : 0);
}

struct Tick
{
    bool mPlays = false;
    std::uint32_t mNode = 0;
    std::int64_t mNodeTime = 0;

    // Whether this tick, following inBefore, goes on with what plays there.
    bool Continues(const Tick& inBefore) const
    {
        return mPlays == inBefore.mPlays &&
               (!mPlays || (mNode == inBefore.mNode && mNodeTime == inBefore.mNodeTime + 1));
    }
};

struct Piece
{
    std::int64_t mStart;
    std::int64_t mEnd;
    std::int64_t mOffset;
    std::uint32_t mNode;
};

struct Stretch
{
    std::int64_t mStart;
    std::int64_t mEnd;
    Tick mFirst;
};

class Model
{
public:
    explicit Model(std::vector<Piece> inPieces) : mTicks(static_cast<std::size_t>(kEndTick - kFirstTick))
    {
        std::stable_sort(inPieces.begin(), inPieces.end(),
                         [](const Piece& inA, const Piece& inB) { return inA.mStart < inB.mStart; });
        for (const Piece& piece : inPieces)
        {
            for (std::int64_t time = piece.mStart; time < piece.mEnd; ++time)
            {
                if (!At(time).mPlays)
                {
                    At(time) = {true, piece.mNode, piece.mOffset + time - piece.mStart};
                }
            }
        }
        for (std::int64_t time = kFirstTick; time < kEndTick; ++time)
        {
            if (At(time).mPlays && (time == kFirstTick || !At(time).Continues(At(time - 1))))
            {
                mStretches.push_back({time, time, At(time)});
            }
            if (At(time).mPlays)
            {
                mStretches.back().mEnd = time + 1;
            }
        }
    }

    Tick& At(std::int64_t inTime) { return mTicks[static_cast<std::size_t>(inTime - kFirstTick)]; }
    const std::vector<Stretch>& Stretches() const { return mStretches; }

    // What stands still around a time: a stretch of an unchanging node, or a gap. The gap ahead of all begins
    // at time zero.
    TimeRange StillRange(std::int64_t inTime)
    {
        const bool plays = At(inTime).mPlays;
        const bool isAheadOfAll = mStretches.empty() || inTime < mStretches.front().mStart;
        if (plays ? !IsStill(At(inTime).mNode) : isAheadOfAll && inTime < 0)
        {
            return {TickTime(inTime), TickTime(inTime)};
        }
        std::int64_t start = inTime;
        std::int64_t end = inTime + 1;
        while (start > kFirstTick && At(start).Continues(At(start - 1)) && !(isAheadOfAll && start == 0))
        {
            --start;
        }
        while (end < kEndTick && At(end).Continues(At(end - 1)))
        {
            ++end;
        }
        return {TickTime(start), !plays && end == kEndTick ? kTime_Max : TickTime(end)};
    }

private:
    std::vector<Tick> mTicks;
    std::vector<Stretch> mStretches;
};

class CutlistAgainstModel : public testing::Test
{
protected:
    std::int64_t Between(std::int64_t inLow, std::int64_t inHigh)
    {
        return std::uniform_int_distribution<std::int64_t>(inLow, inHigh)(mRandom);
    }

    // Few nodes and few offsets, so that pieces often continue each other.
    std::vector<Piece> RandomPieces()
    {
        std::vector<Piece> pieces(static_cast<std::size_t>(Between(0, 40)));
        for (Piece& piece : pieces)
        {
            piece.mStart = Between(kFirstTick, 400);
            piece.mEnd = piece.mStart + Between(-3, 50);
            piece.mOffset = Between(0, 3) == 0 ? Between(-100, 100) : piece.mStart;
            piece.mNode = static_cast<std::uint32_t>(Between(0, kNodeCount - 1));
        }
        return pieces;
    }

    ML::IMutableCutlistRef BuildCutlist(const std::vector<Piece>& inPieces)
    {
        const ML::IMutableCutlistRef cutlist = ML::CreateMutableCutlist();
        for (const Piece& piece : inPieces)
        {
            cutlist->AddSegment(TickTime(piece.mStart), TickTime(piece.mEnd), TickTime(piece.mOffset),
                                MakeNode(piece.mNode));
        }
        cutlist->Finalize();
        return cutlist;
    }

    // Calls inCheck with cutlists and models until inCount lookups were made.
    template <class Check>
    void ForLookups(std::size_t inCount, const Check& inCheck)
    {
        constexpr std::size_t kLookupsPerCutlist = 1000;
        for (std::size_t done = 0; done < TestSupport::ScaledCount(inCount) && !HasFailure();
             done += kLookupsPerCutlist)
        {
            const std::vector<Piece> pieces = RandomPieces();
            const ML::IMutableCutlistRef cutlist = BuildCutlist(pieces);
            Model model(pieces);
            for (std::size_t lookup = 0; lookup < kLookupsPerCutlist && !HasFailure(); ++lookup)
            {
                inCheck(cutlist, model);
            }
        }
    }

    std::mt19937_64 mRandom{TestSupport::Seed()};
    std::vector<TVK::Guid> mHashes = []
    {
        std::vector<TVK::Guid> hashes;
        for (std::uint32_t node = 0; node < kNodeCount; ++node)
        {
            hashes.push_back(MakeNode(node)->GetHashValue());
        }
        return hashes;
    }();
};

TEST_F(CutlistAgainstModel, SegmentsAreTheLongestStretchesOfWhatPlays)
{
    ForLookups(1000 * 1000,
               [this](const ML::IMutableCutlistRef& inCutlist, Model& inModel)
               {
                   ASSERT_EQ(inCutlist->GetSegmentCount(), inModel.Stretches().size());
                   if (inModel.Stretches().empty())
                   {
                       return;
                   }
                   const auto index = static_cast<std::size_t>(
                       Between(0, static_cast<std::int64_t>(inModel.Stretches().size()) - 1));
                   const Stretch& stretch = inModel.Stretches()[index];
                   TickTime start, end, offset;
                   TVK::Guid hash;
                   inCutlist->GetNthSegmentDescription(static_cast<std::uint32_t>(index), start, end, offset,
                                                       hash);
                   ASSERT_EQ(start.GetTicks(), stretch.mStart);
                   ASSERT_EQ(end.GetTicks(), stretch.mEnd);
                   ASSERT_EQ(offset.GetTicks(), stretch.mFirst.mNodeTime);
                   ASSERT_EQ(hash, mHashes[stretch.mFirst.mNode]);
               });
}

TEST_F(CutlistAgainstModel, EveryTickPlaysWhatTheModelSays)
{
    ForLookups(1000 * 1000,
               [this](const ML::IMutableCutlistRef& inCutlist, Model& inModel)
               {
                   const std::int64_t time = Between(kFirstTick, kEndTick - 1);
                   const std::int64_t apart = Between(0, 20);
                   const bool upperFirst = Between(0, 1) == 0;
                   const FrameTime asked(TickTime(upperFirst ? time : time + apart),
                                         TickTime(upperFirst ? time + apart : time));
                   FrameTime found;
                   MF::IRenderableNodeRef node;
                   ASSERT_EQ(inCutlist->FindNodeForTime(asked, node, found), 0);
                   const Tick& tick = inModel.At(time);
                   ASSERT_EQ(static_cast<bool>(node), tick.mPlays);
                   if (node)
                   {
                       ASSERT_EQ(node->GetHashValue(), mHashes[tick.mNode]);
                       ASSERT_EQ(found, asked + TickTime(tick.mNodeTime - time));
                   }
               });
}

TEST_F(CutlistAgainstModel, RangesFindTheFirstStretchThatTheyReach)
{
    ForLookups(
        1000 * 1000,
        [this](const ML::IMutableCutlistRef& inCutlist, Model& inModel)
        {
            const std::int64_t time = Between(kFirstTick, kEndTick - 1);
            const std::int64_t end = time + Between(1, 60);
            FrameTime found;
            MF::IRenderableNodeRef node;
            const FrameTime asked{TickTime(time)};
            ASSERT_EQ(inCutlist->FindNodeForTimeRange(asked, FrameTime(TickTime(end)), node, found), 0);
            const auto stretch = std::find_if(inModel.Stretches().begin(), inModel.Stretches().end(),
                                              [&](const Stretch& inStretch)
                                              { return inStretch.mEnd > time && inStretch.mStart < end; });
            ASSERT_EQ(static_cast<bool>(node), stretch != inModel.Stretches().end());
            if (node)
            {
                ASSERT_EQ(node->GetHashValue(), mHashes[stretch->mFirst.mNode]);
                ASSERT_EQ(found, asked + TickTime(stretch->mFirst.mNodeTime - stretch->mStart));
            }
        });
}

TEST_F(CutlistAgainstModel, SegmentsAndGapsOfATimeAreBoundedAsTheModelSays)
{
    ForLookups(1000 * 1000,
               [this](const ML::IMutableCutlistRef& inCutlist, Model& inModel)
               {
                   const std::int64_t time = Between(kFirstTick, kEndTick - 1);
                   std::uint32_t index = 0;
                   TickTime start, end, offset;
                   TVK::Guid hash;
                   const std::int32_t status =
                       inCutlist->FindSegmentForTime(TickTime(time), index, start, end, offset, hash);
                   const std::vector<Stretch>& stretches = inModel.Stretches();
                   const auto next =
                       std::find_if(stretches.begin(), stretches.end(),
                                    [&](const Stretch& inStretch) { return inStretch.mEnd > time; });
                   if (next != stretches.end() && next->mStart <= time)
                   {
                       ASSERT_EQ(status, 0);
                       ASSERT_EQ(index, static_cast<std::uint32_t>(next - stretches.begin()));
                       ASSERT_EQ(start.GetTicks(), next->mStart);
                       ASSERT_EQ(end.GetTicks(), next->mEnd);
                       ASSERT_EQ(offset.GetTicks(), next->mFirst.mNodeTime);
                       ASSERT_EQ(hash, mHashes[next->mFirst.mNode]);
                       return;
                   }
                   ASSERT_EQ(status, MF::kStatus_NoSuchEntry);
                   ASSERT_EQ(index, MF::kNoSegment);
                   ASSERT_EQ(start, next == stretches.begin() ? kTime_Zero : TickTime((next - 1)->mEnd));
                   ASSERT_EQ(end, next == stretches.end() ? kTime_Max : TickTime(next->mStart));
               });
}

TEST_F(CutlistAgainstModel, StillRangesAreTheModelsPieceByPiece)
{
    ForLookups(1000 * 1000,
               [this](const ML::IMutableCutlistRef& inCutlist, Model& inModel)
               {
                   const std::int64_t time = Between(kFirstTick, kEndTick - 1);
                   TimeRange range;
                   const MF::IRenderableExtendedStillInfoRef info(inCutlist);
                   info->GetStillRangeForTime(TickTime(time), range);
                   ASSERT_EQ(range, inModel.StillRange(time)) << time;
               });
    ForLookups(10 * 1000,
               [this](const ML::IMutableCutlistRef& inCutlist, Model& inModel)
               {
                   const std::int64_t start = Between(kFirstTick, kEndTick - 1);
                   const std::int64_t end = Between(start, kEndTick - 1);
                   std::vector<TimeRange> expected;
                   for (std::int64_t time = start; time < end;)
                   {
                       const TimeRange still = inModel.StillRange(time);
                       const std::int64_t stop =
                           still.Contains(TickTime(time)) ? std::min(still.mEnd.GetTicks(), end) : time + 1;
                       if (still.Contains(TickTime(time)))
                       {
                           expected.push_back({TickTime(time), TickTime(stop)});
                       }
                       time = stop;
                   }
                   std::vector<TimeRange> ranges;
                   const MF::IRenderableExtendedStillInfoRef info(inCutlist);
                   info->GetStillRanges(TickTime(start), TickTime(end), ranges);
                   ASSERT_EQ(ranges, expected);
               });
}

TEST_F(CutlistAgainstModel, HashNamesWhatPlays)
{
    for (std::size_t round = 0; round < TestSupport::ScaledCount(1000) && !HasFailure(); ++round)
    {
        std::vector<Piece> pieces = RandomPieces();
        const TVK::Guid hash = BuildCutlist(pieces)->GetHashValue();
        // Its stretches, added in any order, are the same cutlist.
        std::vector<Piece> stretches;
        const Model model(pieces);
        for (const Stretch& stretch : model.Stretches())
        {
            stretches.push_back(
                {stretch.mStart, stretch.mEnd, stretch.mFirst.mNodeTime, stretch.mFirst.mNode});
        }
        std::shuffle(stretches.begin(), stretches.end(), mRandom);
        ASSERT_EQ(BuildCutlist(stretches)->GetHashValue(), hash);
        if (!stretches.empty())
        {
            stretches.front().mOffset += 1000;
            ASSERT_NE(BuildCutlist(stretches)->GetHashValue(), hash);
        }
    }
}

} // namespace
