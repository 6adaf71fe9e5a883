// Edits of a project as messages: who hears them on the thread of the user interface can bring its cutlist up to date.

#include "CutlistFactory.h"
#include "ReferenceHost/Messaging/UIThread.h"
#include "ReferenceHost/Project/ProjectModel.h"
#include "ReferenceHost/Project/SequenceMessages.h"
#include "TVK/Stations.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

using namespace Project;
using norvik::utility::ImmutableString;
using norviktypes::TickTime;

const norviktypes::FrameRate kRate = norviktypes::FrameRate::FromRational(25, 1);

TickTime Frames(std::int64_t inFrame)
{
    return TickTime::FromFrame(inFrame, kRate);
}

class ProjectMessages : public testing::Test
{
protected:
    ProjectMessages()
    {
        MF::SetCutlistFactory(ML::GetCutlistFactoryInstance());
        mStation = TVK::StationRegistry::RegisterUniqueStation();
        TVK::StationRegistry::AddListener(
            mStation, SequenceChangedMessage::StaticMessageID(),
            [this](const TVK::MessageRef& inMessage)
            { mHeard.emplace_back(static_cast<const SequenceChangedMessage&>(*inMessage)); });
        mProject.SetStation(mStation);
        mSequence = AddSequence();
    }
    ~ProjectMessages() override
    {
        TVK::StationRegistry::DisposeStation(mStation);
        MF::SetCutlistFactory({});
    }

    SequenceRef AddSequence()
    {
        SequenceSettings settings;
        settings.mFrameRect = {0, 0, 64, 36};
        settings.mFrameRate = kRate;
        const SequenceRef sequence = mProject.AddSequence(settings);
        sequence->AddTrack();
        return sequence;
    }
    static ClipItem Item(std::int64_t inStart, std::int64_t inEnd)
    {
        const TVK::InterfaceRef<TestSupport::FakeVideoSource> source(new TestSupport::FakeVideoSource);
        source->mRate = kRate;
        source->mDuration = Frames(1000);
        auto* media = new TestSupport::FakeMediaInfo;
        media->mStream = MF::ISourceRef(source.get());
        media->mDuration = Frames(1000);
        ClipItem item;
        item.mStart = Frames(inStart);
        item.mDuration = Frames(inEnd - inStart);
        item.mMedia = BE::IMediaInfoRef(media);
        item.mMasterClip = BE::IMasterClipRef(new TestSupport::FakeMasterClip);
        return item;
    }
    // What was heard since the last call.
    std::vector<SequenceChange> Hear()
    {
        while (TVK::UIThread::Pump() > 0)
        {
        }
        std::vector<SequenceChange> changes;
        for (const Heard& heard : mHeard)
        {
            changes.push_back(heard.mChange);
        }
        mHeard.clear();
        return changes;
    }

    struct Heard
    {
        explicit Heard(const SequenceChangedMessage& inMessage)
            : mSequence(inMessage.GetSequence())
            , mChange(inMessage.GetChange())
        {
        }

        SequenceRef mSequence;
        SequenceChange mChange;
    };

    ImmutableString mStation;
    ProjectModel mProject;
    SequenceRef mSequence;
    std::vector<Heard> mHeard;
};

} // namespace

TEST_F(ProjectMessages, TellWhatAnEditChangedAndWhen)
{
    Hear();
    ItemID id = 0;
    ASSERT_EQ(mSequence->AddItem(0, Item(10, 20), &id), EditStatus::kOK);
    EXPECT_TRUE(mHeard.empty()) << "not before the user interface has its turn";
    const std::vector<SequenceChange> added = Hear();
    ASSERT_EQ(added.size(), 1u);
    EXPECT_EQ(added[0].mRange, (MF::TimeRange{Frames(10), Frames(20)}));
    EXPECT_FALSE(added[0].mIsOfSettings);
    ASSERT_EQ(mSequence->MoveItem(id, 0, Frames(40)), EditStatus::kOK);
    ASSERT_EQ(mSequence->AddItem(0, Item(45, 60)), EditStatus::kOverlap);
    const std::vector<SequenceChange> moved = Hear();
    ASSERT_EQ(moved.size(), 1u) << "an edit that is refused changes nothing";
    EXPECT_EQ(moved[0].mRange, (MF::TimeRange{Frames(10), Frames(50)}));
    mSequence->AddTrack();
    ASSERT_EQ(mHeard.size(), 0u);
    EXPECT_TRUE(Hear().at(0).mIsOfSettings);
}

TEST_F(ProjectMessages, ComeFromEachSequenceThatShowsTheChange)
{
    const SequenceRef outer = AddSequence();
    ASSERT_EQ(mSequence->AddItem(0, Item(0, 10)), EditStatus::kOK);
    ClipItem nested = Item(100, 105);
    nested.mMedia.reset();
    nested.mSequence = BE::ISequenceRef(mSequence.get());
    ASSERT_EQ(outer->AddItem(0, nested), EditStatus::kOK);
    Hear();
    ASSERT_EQ(mSequence->AddItem(0, Item(10, 20)), EditStatus::kOK);
    while (TVK::UIThread::Pump() > 0)
    {
    }
    ASSERT_EQ(mHeard.size(), 2u);
    EXPECT_EQ(mHeard[0].mSequence, mSequence);
    EXPECT_EQ(mHeard[1].mSequence, outer);
    EXPECT_EQ(mHeard[1].mChange.mRange, (MF::TimeRange{Frames(100), Frames(105)}));
}

TEST_F(ProjectMessages, LeadToCutlistsThatAreUpToDate)
{
    ItemID id = 0;
    ASSERT_EQ(mSequence->AddItem(0, Item(0, 50), &id), EditStatus::kOK);
    ASSERT_EQ(mSequence->AddItem(0, Item(60, 90)), EditStatus::kOK);
    Hear();
    const MF::IRenderableCutlistFactoryRef factory = MF::GetCutlistFactory();
    MF::IRenderableCutlistRef cutlist;
    ASSERT_EQ(factory->CreateCutlistForSequence(mSequence->Snapshot(), {}, cutlist), 0);
    const TVK::Guid before = cutlist->GetHashValue();
    ASSERT_EQ(mSequence->TrimItem(id, Frames(5), Frames(30)), EditStatus::kOK);
    ASSERT_EQ(mSequence->AddItem(0, Item(30, 40)), EditStatus::kOK);
    while (TVK::UIThread::Pump() > 0)
    {
    }
    for (const Heard& heard : mHeard)
    {
        MF::IRenderableCutlistRef updated;
        ASSERT_EQ(factory->UpdateCutlistForSequence(heard.mSequence->Snapshot(), {},
                                                    heard.mChange.mRange.mStart, heard.mChange.mRange.mEnd,
                                                    cutlist, updated),
                  0);
        cutlist = updated;
    }
    MF::IRenderableCutlistRef anew;
    ASSERT_EQ(factory->CreateCutlistForSequence(mSequence->Snapshot(), {}, anew), 0);
    EXPECT_EQ(cutlist->GetHashValue(), anew->GetHashValue());
    EXPECT_NE(cutlist->GetHashValue(), before);
}

TEST_F(ProjectMessages, EndWithTheStation)
{
    Hear();
    mProject.SetStation({});
    ASSERT_EQ(mSequence->AddItem(0, Item(0, 10)), EditStatus::kOK);
    EXPECT_TRUE(Hear().empty());
    mProject.SetStation(mStation);
    mProject.SetStation(mStation);
    ASSERT_EQ(mSequence->AddItem(0, Item(10, 20)), EditStatus::kOK);
    EXPECT_EQ(Hear().size(), 1u) << "once, however often the station is told";
    TVK::StationRegistry::DisposeStation(mStation);
    ASSERT_EQ(mSequence->AddItem(0, Item(20, 30)), EditStatus::kOK);
    EXPECT_TRUE(Hear().empty());
}
