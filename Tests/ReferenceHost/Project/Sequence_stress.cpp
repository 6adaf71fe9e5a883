#include "ReferenceHost/Project/Sequence.h"
#include "Tests/ReferenceHost/Project/RecordingFactory.h"
#include "Tests/ReferenceHost/Project/SequenceScene.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{

using namespace Project;
using namespace TestSupport;
using norviktypes::TickTime;

void EditOnce(const SequenceScene& inScene, std::mt19937_64& ioRandom)
{
    const SequenceRef& sequence = inScene.mSequence;
    const std::vector<ItemID> ids = sequence->GetItems(0);
    const ItemID id = ids.empty() ? 0 : ids[ioRandom() % ids.size()];
    const std::int64_t time = static_cast<std::int64_t>(ioRandom() % 2000);
    switch (ioRandom() % 6)
    {
    case 0:
    case 1: sequence->AddItem(0, ItemFrom(time, time + 20)); break;
    case 2: sequence->RemoveItem(id); break;
    case 3: sequence->SplitItem(id, TickTime(time)); break;
    case 4: sequence->ShiftItems(0, TickTime(time), TickTime(10)); break;
    default: sequence->SetSpeed(id, ioRandom() % 2 == 0 ? 2.0 : -1.0); break;
    }
}

bool IsInOrder(const BE::ISequenceRef& inSnapshot)
{
    std::vector<BE::ITrackItemRef> items;
    BE::ITrackRef(BE::ITrackListRef(inSnapshot)->GetVideoTrack(0))->GetItems(items);
    TickTime end = norviktypes::kTime_Min;
    for (const BE::ITrackItemRef& item : items)
    {
        if (item->GetStart() < end)
        {
            return false;
        }
        end = item->GetEnd();
    }
    return true;
}

// What a render thread does: takes snapshots and cutlists, and walks them.
void Read(const SequenceRef& inSequence, const std::atomic<bool>& inIsDone, std::atomic<std::size_t>& ioReads,
          std::atomic<bool>& outIsGood)
{
    while (!inIsDone.load())
    {
        ++ioReads;
        MF::IRenderableCutlistRef cutlist;
        const bool hasCutlist = inSequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true) >= 0;
        const bool hasTrack =
            inSequence->GetTrackCutlistProvider(0)->GetAlternateCutlist(cutlist, {}, true) >= 0;
        if (!hasCutlist || !hasTrack || !IsInOrder(inSequence->Snapshot()))
        {
            outIsGood.store(false);
        }
    }
}

TEST(SequenceStress, RendersReadWhileTheTimelineIsEdited)
{
    const TVK::InterfaceRef<RecordingFactory> factory(new RecordingFactory);
    MF::SetCutlistFactory(MF::IRenderableCutlistFactoryRef(factory.get()));
    std::mt19937_64 random(Seed());
    SequenceScene outer;
    SequenceScene inner;
    for (std::int64_t index = 0; index < 3; ++index)
    {
        outer.AddNested(inner.mSequence, 10000 + 100 * index, 10050 + 100 * index);
    }
    std::atomic<bool> isDone{false};
    std::atomic<bool> isGood{true};
    std::atomic<std::size_t> reads{0};
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 3; ++reader)
    {
        readers.emplace_back(Read, outer.mSequence, std::cref(isDone), std::ref(reads), std::ref(isGood));
    }
    // Until both sides have done enough, whoever got the processor.
    const std::size_t count = ScaledCount(2000);
    for (std::size_t step = 0; step < count || reads.load() < count; ++step)
    {
        EditOnce(random() % 2 == 0 ? outer : inner, random);
    }
    isDone.store(true);
    for (std::thread& reader : readers)
    {
        reader.join();
    }
    EXPECT_TRUE(isGood.load());
    MF::IRenderableCutlistRef cutlist;
    outer.mSequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true);
    EXPECT_EQ(RecordingFactory::ContentOf(cutlist),
              RecordingFactory::TextOfSequence(TVK::TVKUnknownRef(outer.mSequence->Snapshot())));
    MF::SetCutlistFactory({});
}

TEST(SequenceStress, ProvidersOutliveTheirSequence)
{
    const TVK::InterfaceRef<RecordingFactory> factory(new RecordingFactory);
    MF::SetCutlistFactory(MF::IRenderableCutlistFactoryRef(factory.get()));
    const std::size_t count = ScaledCount(200);
    for (std::size_t step = 0; step < count; ++step)
    {
        SequenceRef sequence = Sequence::Create(TenTickSettings());
        sequence->AddTrack();
        sequence->AddItem(0, ItemFrom(0, 10));
        const MF::IRenderableCutlistProviderRef provider = sequence->GetCutlistProvider();
        std::thread reader(
            [&provider]
            {
                MF::IRenderableCutlistRef cutlist;
                while (provider->GetPrimaryCutlist(cutlist, {}, true) >= 0)
                {
                }
            });
        sequence->AddItem(0, ItemFrom(10, 20));
        sequence.reset();
        reader.join();
    }
    MF::SetCutlistFactory({});
}

} // namespace
