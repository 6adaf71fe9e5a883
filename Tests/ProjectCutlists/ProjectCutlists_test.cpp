// Projects of this host under the library's own factory.
#include "CutlistFactory.h"
#include "ReferenceHost/Project/EffectItem.h"
#include "ReferenceHost/Project/PreviewStream.h"
#include "ReferenceHost/Project/Sequence.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/Fakes/FakeVideoTransition.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{

using namespace Project;
using norviktypes::FrameRate;
using norviktypes::TickTime;

const FrameRate kRate = FrameRate::FromRational(25, 1);

TickTime Frames(std::int64_t inFrame)
{
    return TickTime::FromFrame(inFrame, kRate);
}

BE::IMediaInfoRef MakeMedia(const char* inPath, bool inHasAlpha)
{
    const TVK::InterfaceRef<TestSupport::FakeVideoSource> source(new TestSupport::FakeVideoSource);
    source->mRate = kRate;
    source->mDuration = Frames(1000);
    source->mAlphaType = inHasAlpha ? norviktypes::kAlphaChannel_Straight : norviktypes::kAlphaChannel_None;
    auto* media = new TestSupport::FakeMediaInfo;
    media->mStream = MF::ISourceRef(source.get());
    media->mPath = norvik::utility::ImmutableString::CreateDynamic(inPath);
    media->mDuration = Frames(1000);
    return BE::IMediaInfoRef(media);
}

class ProjectCutlists : public testing::Test
{
protected:
    ProjectCutlists()
    {
        MF::SetCutlistFactory(ML::GetCutlistFactoryInstance());
        SequenceSettings settings;
        settings.mFrameRect = {0, 0, 64, 36};
        settings.mFrameRate = kRate;
        for (SequenceRef* sequence : {&mOuter, &mInner})
        {
            *sequence = Sequence::Create(settings);
            (*sequence)->AddTrack();
            (*sequence)->AddTrack();
            (*sequence)->AddTrack();
        }
    }
    ~ProjectCutlists() override { MF::SetCutlistFactory({}); }

    ClipItem Item(std::int64_t inStart, std::int64_t inEnd)
    {
        ClipItem item;
        item.mStart = Frames(inStart);
        item.mDuration = Frames(inEnd - inStart);
        item.mInPoint = Frames(Below(200));
        item.mMedia = mMedia[static_cast<std::size_t>(Below(2))];
        item.mMasterClip = mMaster;
        return item;
    }

    std::int64_t Below(std::int64_t inEnd)
    {
        return static_cast<std::int64_t>(mRandom() % static_cast<std::uint64_t>(inEnd));
    }

    void EditOnce(const SequenceRef& inSequence);
    void ChangeItem(const SequenceRef& inSequence, ItemID inID);
    void AddTransition(const SequenceRef& inSequence, std::size_t inTrack, ItemID inID);

    std::mt19937_64 mRandom{TestSupport::Seed()};
    const BE::IMediaInfoRef mMedia[2] = {MakeMedia("/media/opaque.mov", false),
                                         MakeMedia("/media/alpha.mov", true)};
    const BE::IMasterClipRef mMaster{new TestSupport::FakeMasterClip};
    SequenceRef mOuter;
    SequenceRef mInner;
};

void ProjectCutlists::AddTransition(const SequenceRef& inSequence, std::size_t inTrack, ItemID inID)
{
    ClipItem item;
    inSequence->GetItem(inID, item);
    TransitionItem transition;
    transition.mCut = Below(2) == 0 ? item.mStart : item.GetEnd();
    transition.mInOffset = Frames(Below(4));
    transition.mOutOffset = Frames(Below(4));
    auto* picture = new TestSupport::FakeVideoTransition;
    picture->mKeepsOpaque = Below(2) == 0;
    transition.mTransition = ML::IVideoTransitionRef(picture);
    inSequence->AddTransition(inTrack, transition);
}

void ProjectCutlists::ChangeItem(const SequenceRef& inSequence, ItemID inID)
{
    constexpr double kSpeeds[] = {1.0, 1.0, 2.0, 0.5, -1.0, 0.0};
    switch (Below(5))
    {
    case 0: inSequence->SetSpeed(inID, kSpeeds[Below(6)]); break;
    case 1: inSequence->AddEffect(inID, CreateOpacity(CreateNumber(static_cast<double>(Below(101))))); break;
    case 2: inSequence->SetEffectParameter(inID, 0, 0, CreateNumber(static_cast<double>(Below(101)))); break;
    case 3: inSequence->RemoveEffect(inID, 0); break;
    default: inSequence->SetItemEnabled(inID, Below(2) == 0); break;
    }
}

void ProjectCutlists::EditOnce(const SequenceRef& inSequence)
{
    const std::size_t track = static_cast<std::size_t>(Below(3));
    const std::vector<ItemID> ids = inSequence->GetItems(track);
    const ItemID id =
        ids.empty() ? 0 : ids[static_cast<std::size_t>(Below(static_cast<std::int64_t>(ids.size())))];
    const std::int64_t start = Below(300);
    switch (Below(12))
    {
    case 0:
    case 1:
    case 2: inSequence->AddItem(track, Item(start, start + 1 + Below(40))); break;
    case 3: inSequence->RemoveItem(id); break;
    case 4: inSequence->MoveItem(id, static_cast<std::size_t>(Below(3)), Frames(start)); break;
    case 5: inSequence->TrimItem(id, Frames(start), Frames(start + 1 + Below(30))); break;
    case 6: inSequence->SplitItem(id, Frames(start)); break;
    case 7: inSequence->ShiftItems(track, Frames(start), Frames(Below(11) - 5)); break;
    case 8:
    case 9: AddTransition(inSequence, track, id); break;
    case 10: inSequence->SetTrackEnabled(track, Below(4) != 0); break;
    default: ChangeItem(inSequence, id); break;
    }
}

std::vector<std::string> SegmentsOf(const MF::IRenderableCutlistRef& inCutlist)
{
    std::vector<std::string> segments;
    for (std::uint32_t index = 0; index < inCutlist->GetSegmentCount(); ++index)
    {
        TickTime start;
        TickTime end;
        TickTime offset;
        TVK::Guid hash;
        inCutlist->GetNthSegmentDescription(index, start, end, offset, hash);
        segments.push_back(std::to_string(start.GetTicks()) + "-" + std::to_string(end.GetTicks()) + "@" +
                           std::to_string(offset.GetTicks()) + " " + hash.AsUTF8String().c_str());
    }
    return segments;
}

MF::IRenderableCutlistRef Updated(const SequenceRef& inSequence)
{
    MF::IRenderableCutlistRef cutlist;
    EXPECT_EQ(inSequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true), 0);
    return cutlist;
}

MF::IRenderableCutlistRef MadeAnew(const SequenceRef& inSequence)
{
    MF::IRenderableCutlistRef cutlist;
    ML::GetCutlistFactoryInstance()->CreateCutlistForSequence(TVK::TVKUnknownRef(inSequence->Snapshot()), {},
                                                              cutlist);
    return cutlist;
}

TEST_F(ProjectCutlists, AfterAnyEditsTheCutlistIsAsIfMadeAnew)
{
    ClipItem nested = Item(320, 360);
    nested.mMedia = {};
    nested.mSequence = BE::ISequenceRef(mInner.get());
    ASSERT_EQ(mOuter->AddItem(1, nested), EditStatus::kOK);
    const std::size_t count = TestSupport::ScaledCount(1500);
    for (std::size_t step = 0; step < count; ++step)
    {
        EditOnce(Below(4) == 0 ? mInner : mOuter);
        if (Below(2) == 0)
        {
            ASSERT_EQ(SegmentsOf(Updated(mOuter)), SegmentsOf(MadeAnew(mOuter))) << "step " << step;
        }
    }
}

TEST_F(ProjectCutlists, AnEditElsewhereLeavesNodesAsTheyAre)
{
    for (std::int64_t index = 0; index < 20; ++index)
    {
        mOuter->AddItem(0, Item(10 * index, 10 * index + 10));
    }
    const std::vector<std::string> before = SegmentsOf(Updated(mOuter));
    ASSERT_EQ(before.size(), 20u);
    mOuter->AddEffect(mOuter->FindItem(0, Frames(55)), CreateOpacity(CreateNumber(50.0)));
    const std::vector<std::string> after = SegmentsOf(Updated(mOuter));
    ASSERT_EQ(after.size(), 20u);
    for (std::size_t index = 0; index < before.size(); ++index)
    {
        EXPECT_EQ(before[index] == after[index], index != 5) << index;
    }
}

// The leaf below whatever stands at that time.
std::string NodeTypeAt(const MF::IRenderableCutlistRef& inCutlist, std::int64_t inFrame)
{
    MF::IRenderableNodeRef node;
    MF::FrameTime nodeTime;
    inCutlist->FindNodeForTime(MF::FrameTime(Frames(inFrame)), node, nodeTime);
    while (node && node->GetInputCount() > 0)
    {
        const MF::IRenderableNodeRef outer = node;
        TickTime offset;
        outer->GetNthInput(0, offset, node);
    }
    return node ? node->GetNodeType().CStr() : "nothing";
}

TEST_F(ProjectCutlists, PreviewsAreShownUntilWhatTheyShowHasChanged)
{
    mOuter->AddItem(0, Item(0, 100));
    const std::string live = NodeTypeAt(Updated(mOuter), 50);
    ASSERT_TRUE(mOuter->AddPreview(Frames(40), CreatePreviewStream(MakeMedia("/previews/40.mov", false))));
    const std::string preview = NodeTypeAt(Updated(mOuter), 50);
    EXPECT_NE(preview, live);
    EXPECT_EQ(NodeTypeAt(Updated(mOuter), 39), live);
    EXPECT_EQ(NodeTypeAt(Updated(mOuter), 40), preview);
    EXPECT_EQ(NodeTypeAt(Updated(mOuter), 99), preview);

    const ItemID id = mOuter->FindItem(0, Frames(50));
    mOuter->AddEffect(id, CreateOpacity(CreateNumber(50.0)));
    EXPECT_EQ(NodeTypeAt(Updated(mOuter), 50), live);
    mOuter->RemoveEffect(id, 0);
    EXPECT_EQ(NodeTypeAt(Updated(mOuter), 50), preview);

    MF::IRenderableCutlistRef cutlist;
    mOuter->GetCutlistProvider()->GetAlternateCutlist(cutlist, {}, true);
    EXPECT_EQ(NodeTypeAt(cutlist, 50), live);
    mOuter->RemovePreviews();
    EXPECT_EQ(NodeTypeAt(Updated(mOuter), 50), live);
}

TEST_F(ProjectCutlists, OfflineClipsHaveNodesToo)
{
    ClipItem item = Item(0, 10);
    item.mMedia = {};
    mOuter->AddItem(0, item);
    EXPECT_EQ(SegmentsOf(Updated(mOuter)).size(), 1u);
}

TEST_F(ProjectCutlists, ASequenceLetsGoOfItsNodesWhenItGoes)
{
    TVK::WeakRef<BE::ISequence> weak;
    {
        const SequenceRef sequence = Sequence::Create(mOuter->GetSettings());
        weak = TVK::WeakRef<BE::ISequence>(BE::ISequenceRef(sequence.get()));
        sequence->AddTrack();
        sequence->AddItem(0, Item(0, 10));
        ClipItem nested = Item(10, 20);
        nested.mMedia = {};
        nested.mSequence = BE::ISequenceRef(mInner.get());
        sequence->AddItem(0, nested);
        EXPECT_EQ(SegmentsOf(Updated(sequence)).size(), 2u);
    }
    EXPECT_FALSE(weak.Resolve());
}

} // namespace
