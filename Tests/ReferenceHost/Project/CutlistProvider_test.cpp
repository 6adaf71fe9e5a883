#include "ReferenceHost/Project/Sequence.h"
#include "Tests/ReferenceHost/Project/RecordingFactory.h"
#include "Tests/ReferenceHost/Project/SequenceScene.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{

using namespace Project;
using namespace TestSupport;
using Label = norvik::utility::ImmutableString;
using norviktypes::TickTime;

class FakePreviewStream final : public TVK::Implements<FakePreviewStream, BE::IPreviewStream>
{
public:
    void Describe(BE::PreviewStreamDescription&) const override {}
    BE::IMediaInfoRef GetMedia() const override { return {}; }
    BE::IVideoSourceRef GetVideoSource() const override { return {}; }
    TickTime GetDuration() const override { return TickTime(50); }
};

class CutlistProvider : public testing::Test
{
protected:
    CutlistProvider() { MF::SetCutlistFactory(MF::IRenderableCutlistFactoryRef(mFactory.get())); }
    ~CutlistProvider() override { MF::SetCutlistFactory({}); }

    static std::string Primary(const BE::ISequence& inSequence, bool inRefresh = true,
                               const Label& inLabel = {})
    {
        MF::IRenderableCutlistRef cutlist;
        inSequence.GetCutlistProvider()->GetPrimaryCutlist(cutlist, inLabel, inRefresh);
        return RecordingFactory::ContentOf(cutlist);
    }
    std::string Primary(bool inRefresh = true, const Label& inLabel = {}) const
    {
        return Primary(*mScene.mSequence, inRefresh, inLabel);
    }
    static std::string NamesOf(const std::vector<RecordingFactory::Call>& inCalls)
    {
        std::string names;
        for (const RecordingFactory::Call& call : inCalls)
        {
            names += (names.empty() ? "" : ", ") + call.mName;
        }
        return names;
    }

    TVK::InterfaceRef<RecordingFactory> mFactory{new RecordingFactory};
    SequenceScene mScene{2};
};

TEST_F(CutlistProvider, MakesACutlistOnceAndKeepsIt)
{
    mScene.Add(0, 100);
    EXPECT_EQ(Primary(), "[0-100@0 ][]");
    EXPECT_EQ(Primary(), "[0-100@0 ][]");
    EXPECT_EQ(NamesOf(mFactory->TakeCalls()), "sequence");
}

TEST_F(CutlistProvider, AnEditLeadsToAnUpdateOfItsRange)
{
    mScene.Add(0, 100);
    Primary();
    mFactory->TakeCalls();
    mScene.Add(100, 150);
    EXPECT_EQ(Primary(), "[0-100@0 100-150@0 ][]");
    const std::vector<RecordingFactory::Call> calls = mFactory->TakeCalls();
    ASSERT_EQ(NamesOf(calls), "update");
    EXPECT_EQ(calls[0].mRange, Ticks(100, 150));
}

TEST_F(CutlistProvider, WhoNeedsNothingNewGetsTheLastOne)
{
    mScene.Add(0, 100);
    Primary();
    mScene.Add(100, 150);
    EXPECT_EQ(Primary(false), "[0-100@0 ][]");
    EXPECT_EQ(Primary(true), "[0-100@0 100-150@0 ][]");
    EXPECT_EQ(Primary(false), "[0-100@0 100-150@0 ][]");
}

TEST_F(CutlistProvider, SeveralEditsAreUpdatedOneByOne)
{
    Primary();
    mFactory->TakeCalls();
    mScene.Add(0, 10);
    mScene.Add(1000, 1010);
    Primary();
    const std::vector<RecordingFactory::Call> calls = mFactory->TakeCalls();
    ASSERT_EQ(NamesOf(calls), "update, update");
    EXPECT_EQ(calls[0].mRange, Ticks(0, 10));
    EXPECT_EQ(calls[1].mRange, Ticks(1000, 1010));
}

TEST_F(CutlistProvider, VeryManyEditsAreUpdatedTogether)
{
    Primary();
    mFactory->TakeCalls();
    for (std::int64_t index = 0; index < 100; ++index)
    {
        mScene.Add(20 * index, 20 * index + 10);
    }
    Primary();
    const std::vector<RecordingFactory::Call> calls = mFactory->TakeCalls();
    EXPECT_LE(calls.size(), 8u);
    MF::TimeRange covered{TickTime(0), TickTime(0)};
    for (const RecordingFactory::Call& call : calls)
    {
        covered = {std::min(covered.mStart, call.mRange.mStart), std::max(covered.mEnd, call.mRange.mEnd)};
    }
    EXPECT_EQ(covered, Ticks(0, 1990));
}

TEST_F(CutlistProvider, AnEditWhileACutlistIsMadeIsInTheNextOne)
{
    mScene.Add(0, 100);
    mFactory->DuringNext([this] { mScene.Add(100, 150); });
    EXPECT_EQ(Primary(), "[0-100@0 ][]");
    EXPECT_EQ(Primary(), "[0-100@0 100-150@0 ][]");
    mScene.Add(200, 250);
    mFactory->DuringNext([this] { mScene.Add(300, 350); });
    EXPECT_EQ(Primary(), "[0-100@0 100-150@0 200-250@0 ][]");
    EXPECT_EQ(Primary(), "[0-100@0 100-150@0 200-250@0 300-350@0 ][]");
}

TEST_F(CutlistProvider, AnOlderCutlistNeverReplacesANewerOne)
{
    mScene.Add(0, 100);
    Primary();
    mScene.Add(100, 150);
    mFactory->DuringNext(
        [this]
        {
            mScene.Add(200, 250);
            EXPECT_EQ(Primary(), "[0-100@0 100-150@0 200-250@0 ][]");
        });
    EXPECT_EQ(Primary(), "[0-100@0 100-150@0 ][]");
    EXPECT_EQ(Primary(false), "[0-100@0 100-150@0 200-250@0 ][]");
}

TEST_F(CutlistProvider, ChangedSettingsMakeItAnew)
{
    mScene.Add(0, 100);
    Primary();
    mFactory->TakeCalls();
    SequenceSettings settings = TenTickSettings();
    settings.mFrameRect = {0, 0, 64, 48};
    mScene.mSequence->SetSettings(settings);
    Primary();
    EXPECT_EQ(NamesOf(mFactory->TakeCalls()), "sequence");
}

TEST_F(CutlistProvider, EveryStreamLabelHasItsOwn)
{
    mScene.Add(0, 100);
    Primary();
    Primary(true, Label::CreateStatic("left"));
    Primary(true, Label::CreateStatic("left"));
    const std::vector<RecordingFactory::Call> calls = mFactory->TakeCalls();
    ASSERT_EQ(NamesOf(calls), "sequence, sequence");
    EXPECT_EQ(calls[1].mLabel, "left");
}

TEST_F(CutlistProvider, TracksHaveTheirOwnAndOnlyTheirEditsCount)
{
    mScene.Add(0, 100, 0, 0);
    MF::IRenderableCutlistRef cutlist;
    const auto ofTrack = [&](std::uint64_t inTrack)
    {
        mScene.mSequence->GetTrackCutlistProvider(inTrack)->GetPrimaryCutlist(cutlist, {}, true);
        return RecordingFactory::ContentOf(cutlist);
    };
    EXPECT_EQ(ofTrack(0), "0-100@0 ");
    EXPECT_EQ(ofTrack(1), "");
    mFactory->TakeCalls();
    mScene.Add(100, 150, 0, 1);
    EXPECT_EQ(ofTrack(0), "0-100@0 ");
    EXPECT_EQ(ofTrack(1), "100-150@0 ");
    EXPECT_EQ(NamesOf(mFactory->TakeCalls()), "update track");
    EXPECT_FALSE(mScene.mSequence->GetTrackCutlistProvider(2));
}

TEST_F(CutlistProvider, AChangedNestedSequenceIsUpdatedWhereItIsShown)
{
    SequenceScene inner;
    mScene.AddNested(inner.mSequence, 100, 200);
    Primary();
    mFactory->TakeCalls();
    inner.Add(0, 10);
    EXPECT_EQ(Primary(), "[100-200@0{[0-10@0 ]} ][]");
    const std::vector<RecordingFactory::Call> calls = mFactory->TakeCalls();
    ASSERT_EQ(NamesOf(calls), "update, update"); // the inner one's while the outer one was made
    EXPECT_EQ(calls[0].mRange, Ticks(0, 10));
    EXPECT_EQ(calls[1].mRange, Ticks(100, 200));
}

TEST_F(CutlistProvider, FailuresArePassedOnAndTriedAgain)
{
    mScene.Add(0, 100);
    mFactory->FailNext(-5);
    MF::IRenderableCutlistRef cutlist;
    EXPECT_EQ(mScene.mSequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true), -5);
    EXPECT_FALSE(cutlist);
    EXPECT_EQ(Primary(), "[0-100@0 ][]");
    mScene.Add(100, 150);
    mFactory->FailNext(-5);
    EXPECT_EQ(Primary(), "nothing");
    EXPECT_EQ(Primary(), "[0-100@0 100-150@0 ][]");
}

TEST_F(CutlistProvider, FailsWithoutAFactoryAndWithoutItsSequence)
{
    MF::IRenderableCutlistRef cutlist;
    MF::IRenderableCutlistProviderRef provider;
    {
        const SequenceRef sequence = Sequence::Create(TenTickSettings());
        provider = sequence->GetCutlistProvider();
        MF::SetCutlistFactory({});
        EXPECT_LT(provider->GetPrimaryCutlist(cutlist, {}, true), 0);
        MF::SetCutlistFactory(MF::IRenderableCutlistFactoryRef(mFactory.get()));
        EXPECT_EQ(provider->GetPrimaryCutlist(cutlist, {}, true), 0);
    }
    EXPECT_LT(provider->GetPrimaryCutlist(cutlist, {}, true), 0);
    EXPECT_FALSE(cutlist);
}

TEST_F(CutlistProvider, TellsThePictureOfItsSequence)
{
    const MF::ISequenceVideoPropertiesRef properties(mScene.mSequence->GetCutlistProvider());
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->GetBounds(), mScene.mSequence->GetFrameRect());
    EXPECT_EQ(properties->GetFrameRate(), norviktypes::FrameRate(10));
    EXPECT_EQ(properties->GetFieldType(), norviktypes::kFieldType_Progressive);
}

TEST_F(CutlistProvider, PreviewsLieOverTheFirstCutlistOnly)
{
    mScene.Add(0, 300);
    EXPECT_FALSE(mScene.mSequence->AddPreview(TickTime(50), BE::IPreviewStreamRef(new FakePreviewStream)));
    ASSERT_TRUE(mScene.mSequence->AddPreview(TickTime(120), BE::IPreviewStreamRef(new FakePreviewStream)));
    EXPECT_EQ(Primary(), "over [0-300@0 ][]");
    EXPECT_EQ(Primary(), "over [0-300@0 ][]");
    EXPECT_EQ(NamesOf(mFactory->TakeCalls()), "sequence, overlay");
    const MF::CutlistOverlays overlays = mFactory->TakeOverlays();
    ASSERT_EQ(overlays.size(), 1u);
    ASSERT_EQ(overlays.begin()->second.size(), 1u);
    EXPECT_EQ(overlays.begin()->second[0].mStart, TickTime(50));
    EXPECT_EQ(overlays.begin()->second[0].mEnd, TickTime(100));
    MF::IRenderableCutlistRef cutlist;
    mScene.mSequence->GetCutlistProvider()->GetAlternateCutlist(cutlist, {}, true);
    EXPECT_EQ(RecordingFactory::ContentOf(cutlist), "[0-300@0 ][]");
    mScene.mSequence->RemovePreviews();
    EXPECT_EQ(Primary(), "[0-300@0 ][]");
}

TEST_F(CutlistProvider, PreviewsEndWithTheirSegment)
{
    mScene.Add(0, 300);
    mScene.mSequence->AddPreview(TickTime(180), BE::IPreviewStreamRef(new FakePreviewStream));
    Primary();
    const MF::CutlistOverlay overlay = mFactory->TakeOverlays().begin()->second.at(0);
    EXPECT_EQ(overlay.mStart, TickTime(110));
    EXPECT_EQ(overlay.mEnd, TickTime(130));
}

TEST_F(CutlistProvider, TheThirdCutlistIsMadeOfTheFullOneAndKept)
{
    mScene.Add(0, 100);
    MF::IRenderableCutlistRef cutlist;
    const MF::IRenderableCutlistProviderRef provider = mScene.mSequence->GetCutlistProvider();
    EXPECT_EQ(provider->GetThirdCutlist(cutlist, {}, true, false), 0);
    EXPECT_EQ(RecordingFactory::ContentOf(cutlist), "flat [0-100@0 ][]");
    EXPECT_EQ(provider->GetThirdCutlist(cutlist, {}, true, false), 0);
    EXPECT_EQ(NamesOf(mFactory->TakeCalls()), "sequence, segments");
    mScene.Add(100, 150);
    provider->GetThirdCutlist(cutlist, {}, true, false);
    EXPECT_EQ(RecordingFactory::ContentOf(cutlist), "flat [0-100@0 100-150@0 ][]");
}

// One random edit of a sequence on a small grid; most of them are refused.
class RandomEditor
{
public:
    explicit RandomEditor(std::mt19937_64& ioRandom) : mRandom(ioRandom) {}

    void Edit(const SequenceScene& inScene)
    {
        const SequenceRef& sequence = inScene.mSequence;
        const std::size_t track = mRandom() % sequence->GetTrackCount();
        const std::vector<ItemID> ids = sequence->GetItems(track);
        const ItemID id = ids.empty() ? 0 : ids[mRandom() % ids.size()];
        const std::int64_t time = Time();
        switch (mRandom() % 10)
        {
        case 0:
        case 1:
        case 2: sequence->AddItem(track, ItemFrom(time, time + 10 + Time() / 10)); break;
        case 3: sequence->RemoveItem(id); break;
        case 4: sequence->MoveItem(id, mRandom() % sequence->GetTrackCount(), TickTime(time)); break;
        case 5: sequence->TrimItem(id, TickTime(time), TickTime(time + 30)); break;
        case 6: sequence->SplitItem(id, TickTime(time)); break;
        case 7: sequence->ShiftItems(track, TickTime(time), TickTime(Time() - 500)); break;
        case 8: sequence->SetItemEnabled(id, mRandom() % 2 == 0); break;
        default: AddTransition(inScene, track, id); break;
        }
    }

private:
    std::int64_t Time() { return static_cast<std::int64_t>(mRandom() % 100) * 10; }

    void AddTransition(const SequenceScene& inScene, std::size_t inTrack, ItemID inID)
    {
        TransitionItem transition;
        transition.mCut = inScene.Get(inID).GetEnd();
        transition.mInOffset = TickTime(static_cast<std::int64_t>(mRandom() % 3) * 5);
        transition.mOutOffset = TickTime(static_cast<std::int64_t>(mRandom() % 3) * 5);
        transition.mTransition = ML::IVideoTransitionRef(new FakeVideoTransition);
        inScene.mSequence->AddTransition(inTrack, transition);
    }

    std::mt19937_64& mRandom;
};

// The factory here makes everything anew each time, so a range that was forgotten shows up as a cutlist that
// wasn't asked for at all.
TEST_F(CutlistProvider, AfterAnyEditsTheCutlistIsThatOfTheSequenceAsItIs)
{
    std::mt19937_64 random(TestSupport::Seed());
    SequenceScene inner(2);
    mScene.AddNested(inner.mSequence, 2000, 2100);
    RandomEditor editor(random);
    const std::size_t count = TestSupport::ScaledCount(3000);
    for (std::size_t step = 0; step < count; ++step)
    {
        editor.Edit(random() % 3 == 0 ? inner : mScene);
        if (random() % 2 == 0)
        {
            const std::string expected =
                RecordingFactory::TextOfSequence(TVK::TVKUnknownRef(mScene.mSequence->Snapshot()));
            ASSERT_EQ(Primary(), expected) << step;
        }
    }
}

// Items of a track never overlap, transitions lie at cuts and are seen from both sides.
TEST_F(CutlistProvider, AnyEditsLeaveTracksInOrder)
{
    std::mt19937_64 random(TestSupport::Seed());
    RandomEditor editor(random);
    const std::size_t count = TestSupport::ScaledCount(3000);
    for (std::size_t step = 0; step < count; ++step)
    {
        editor.Edit(mScene);
        const std::uint32_t track = static_cast<std::uint32_t>(random() % 2);
        const std::vector<BE::ITrackItemRef> items = mScene.Seen(track);
        for (std::size_t index = 0; index < items.size(); ++index)
        {
            ASSERT_LT(items[index]->GetStart(), items[index]->GetEnd());
            const BE::ITransitionItemRef atEnd = items[index]->GetTransition(true);
            ASSERT_TRUE(!atEnd || (atEnd->GetStart() >= items[index]->GetStart() &&
                                   atEnd->GetStart() <= items[index]->GetEnd()));
            if (index + 1 < items.size())
            {
                ASSERT_LE(items[index]->GetEnd(), items[index + 1]->GetStart());
                const bool isCut = items[index]->GetEnd() == items[index + 1]->GetStart();
                ASSERT_TRUE(!isCut || atEnd == items[index + 1]->GetTransition(false)) << step;
            }
        }
    }
}

} // namespace
