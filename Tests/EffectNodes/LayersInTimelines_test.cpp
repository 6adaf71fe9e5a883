// Layers in cutlists that the factory makes and updates: whatever is edited on the tracks that effects look at,
// what an update gives shows what a build of the whole would show.

#include "CutlistFactory.h"
#include "CutlistRenderer.h"
#include "Tests/CutlistFactory/Timelines.h"
#include "Tests/EffectNodes/EffectNodeTests.h"
#include "Tests/Support/Fakes/FakeEffect.h"
#include "Tests/Support/Fakes/FakeKeyframedParameter.h"
#include "Tests/Support/Fakes/FakeVideoFilter.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{

using EffectNodeTests::FakeCutlistProvider;
using EffectNodeTests::FakeCutlistProviderRef;
using EffectNodeTests::ImmutableString;
using EffectNodeTests::ParamsAt;
using MF::IRenderableCutlistRef;
using norviktypes::TickTime;
using Timelines::Clip;
using Timelines::Frames;

constexpr int kTracks = 3;
constexpr int kLength = 120;

// Three tracks without gaps, whose clips look at each other's tracks, and providers that build a track
// when they are asked for it.
class Project
{
public:
    explicit Project(std::uint64_t inSeed) : mRandom(inSeed)
    {
        for (int index = 0; index < kTracks; ++index)
        {
            mTracks.push_back(Timelines::MakeTrack({}, static_cast<std::uint64_t>(index)));
        }
        mSequence = Timelines::MakeSequence(mTracks);
        for (int index = 0; index < kTracks; ++index)
        {
            for (int start = 0; start < kLength;)
            {
                const int end = start + 5 + Below(20);
                AddClip(index, start, end);
                start = end;
            }
            const FakeCutlistProviderRef provider(new FakeCutlistProvider());
            provider->mWhileAsked = [provider = provider.get(), index, this]
            {
                ML::GetCutlistFactoryInstance()->CreateCutlistForTrack(
                    TVK::TVKUnknownRef(mTracks[static_cast<std::size_t>(index)]), {}, provider->mCutlist);
            };
            mSequence->mTrackCutlistProviders.emplace_back(provider);
        }
    }

    IRenderableCutlistRef Build() const
    {
        IRenderableCutlistRef cutlist;
        EXPECT_EQ(ML::GetCutlistFactoryInstance()->CreateCutlistForSequence(Sequence(), {}, cutlist), 0);
        return cutlist;
    }
    IRenderableCutlistRef Update(const IRenderableCutlistRef& inPrevious, const MF::TimeRange& inRange) const
    {
        IRenderableCutlistRef cutlist;
        EXPECT_EQ(ML::GetCutlistFactoryInstance()->UpdateCutlistForSequence(
                      Sequence(), {}, inRange.mStart, inRange.mEnd, inPrevious, cutlist),
                  0);
        return cutlist;
    }

    // Changes the effect, or the media, of one clip, or takes it away and back; the time that it changed.
    MF::TimeRange Edit()
    {
        auto& items = mTracks[static_cast<std::size_t>(Below(kTracks))]->mItems;
        const BE::ITrackItemRef item = items[static_cast<std::size_t>(Below(static_cast<int>(items.size())))];
        auto& changed = static_cast<TestSupport::FakeTrackItem&>(*item);
        if (Below(2) == 0)
        {
            Decorate(changed);
        }
        else
        {
            changed.mClip = Timelines::MakeInset(changed.mStart, changed.mEnd,
                                                 static_cast<std::uint32_t>(Below(5)), Frames(Below(3)))
                                .mItem->mClip;
        }
        return {changed.mStart, changed.mEnd};
    }

    // The time in which anything is seen that is seen, or may be looked at, within inRange.
    MF::TimeRange TimeOfNeighbours(const MF::TimeRange& inRange) const
    {
        MF::TimeRange around = inRange;
        for (const TestSupport::FakeTrackRef& track : mTracks)
        {
            std::vector<BE::ITrackItemRef> items;
            track->GetItemsInSpan(inRange.mStart, inRange.mEnd, items);
            for (const BE::ITrackItemRef& item : items)
            {
                around.mStart = std::min(around.mStart, item->GetStart());
                around.mEnd = std::max(around.mEnd, item->GetEnd());
            }
        }
        return around;
    }

private:
    int Below(int inLimit) { return static_cast<int>(mRandom() % static_cast<std::uint64_t>(inLimit)); }

    TVK::TVKUnknownRef Sequence() const { return TVK::TVKUnknownRef(BE::ISequenceRef(mSequence)); }

    void AddClip(int inTrack, int inStart, int inEnd)
    {
        const Clip clip =
            Timelines::MakeInset(Frames(inStart), Frames(inEnd), static_cast<std::uint32_t>(Below(5)));
        Decorate(*clip.mItem);
        mTracks[static_cast<std::size_t>(inTrack)]->mItems.emplace_back(clip.mItem);
    }

    // An effect that looks at one of the tracks, its own among them, or at none; or no effect.
    void Decorate(TestSupport::FakeTrackItem& ioItem)
    {
        const int track = Below(kTracks + 2);
        if (track > kTracks)
        {
            ioItem.mEffects.reset();
            return;
        }
        const TestSupport::FakeEffectRef effect(new TestSupport::FakeEffect);
        effect->mFilter = ML::IVideoFilterRef(mFilter);
        effect->mParameters = {MF::IKeyframedParameterRef(TestSupport::MakeLayerParameter(
                                   track == kTracks ? MF::kLayer_NotSet : static_cast<std::uint32_t>(track))),
                               MF::IKeyframedParameterRef(TestSupport::MakeNumberParameter(Below(3)))};
        ioItem.mEffects = BE::IEffectChainRef(TestSupport::MakeEffectChain({BE::IEffectRef(effect)}));
    }

    std::mt19937_64 mRandom;
    TestSupport::FakeVideoFilterRef mFilter{new TestSupport::FakeVideoFilter()};
    std::vector<TestSupport::FakeTrackRef> mTracks;
    TestSupport::FakeSequenceRef mSequence;
};

std::vector<TVK::Guid> FrameHashes(const IRenderableCutlistRef& inCutlist)
{
    std::vector<TVK::Guid> hashes(kLength);
    for (std::size_t frame = 0; frame < hashes.size(); ++frame)
    {
        ML::ComputeFrameHash(hashes[frame], inCutlist, ParamsAt(static_cast<std::int64_t>(frame)),
                             TVK::Guid());
    }
    return hashes;
}

TEST(LayersInTimelines, UpdateShowsWhatABuildShows)
{
    Project project(TestSupport::Seed());
    IRenderableCutlistRef updated = project.Build();
    for (std::size_t round = 0; round < TestSupport::ScaledCount(100); ++round)
    {
        SCOPED_TRACE("round " + std::to_string(round));
        updated = project.Update(updated, project.Edit());
        const IRenderableCutlistRef built = project.Build();
        ASSERT_EQ(updated->GetHashValue(), built->GetHashValue());
        ASSERT_EQ(FrameHashes(updated), FrameHashes(built));
    }
}

TEST(LayersInTimelines, EditChangesOnlyFramesOfWhatIsSeenWithIt)
{
    Project project(TestSupport::Seed() + 1);
    IRenderableCutlistRef cutlist = project.Build();
    std::vector<TVK::Guid> before = FrameHashes(cutlist);
    std::size_t changes = 0;
    for (std::size_t round = 0; round < TestSupport::ScaledCount(100); ++round)
    {
        SCOPED_TRACE("round " + std::to_string(round));
        const MF::TimeRange range = project.Edit();
        const MF::TimeRange around = project.TimeOfNeighbours(range);
        cutlist = project.Update(cutlist, range);
        const std::vector<TVK::Guid> after = FrameHashes(cutlist);
        for (std::size_t frame = 0; frame < after.size(); ++frame)
        {
            const bool isChanged = after[frame] != before[frame];
            changes += isChanged ? 1 : 0;
            EXPECT_TRUE(!isChanged || around.Contains(Frames(static_cast<std::int64_t>(frame))))
                << "frame " << frame;
        }
        before = after;
    }
    EXPECT_GT(changes, 0u);
}

} // namespace
