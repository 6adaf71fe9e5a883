// What a project of many clips costs to build, to edit, and to take a snapshot and a cutlist of after an edit.
//
// Clips are offline and have Motion and Opacity, so that the project is measured and no codec.
#include "CutlistFactory.h"
#include "ReferenceHost/Project/EffectItem.h"
#include "ReferenceHost/Project/MasterClip.h"
#include "ReferenceHost/Project/Sequence.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace
{

using namespace Project;
using norviktypes::TickTime;

constexpr std::int64_t kClipLength = 25;

TickTime Frames(std::int64_t inFrame)
{
    return TickTime::FromFrame(inFrame, norviktypes::FrameRate::FromRational(25, 1));
}

SequenceRef MakeProject(std::int64_t inClips)
{
    const SequenceRef sequence = Sequence::Create({});
    sequence->AddTrack();
    for (std::int64_t index = 0; index < inClips; ++index)
    {
        ClipItem item;
        item.mStart = Frames(index * kClipLength);
        item.mDuration = Frames(kClipLength);
        item.mInPoint = Frames(index);
        item.mMasterClip = CreateMasterClip("clip", "/media/" + std::to_string(index) + ".mov");
        item.mEffects = {CreateMotion({}), CreateOpacity(CreateNumber(50.0))};
        sequence->AddItem(0, item);
    }
    return sequence;
}

void Build(benchmark::State& ioState)
{
    for (auto step : ioState)
    {
        benchmark::DoNotOptimize(MakeProject(ioState.range(0)));
    }
}
BENCHMARK(Build)->Arg(10000)->Unit(benchmark::kMillisecond);

void EditAndSnapshot(benchmark::State& ioState)
{
    const SequenceRef sequence = MakeProject(ioState.range(0));
    const ItemID id = sequence->FindItem(0, Frames(ioState.range(0) / 2 * kClipLength));
    double opacity = 0.0;
    for (auto step : ioState)
    {
        sequence->SetEffectParameter(id, 1, 0, CreateNumber(opacity));
        opacity = opacity < 100.0 ? opacity + 1.0 : 0.0;
        benchmark::DoNotOptimize(sequence->Snapshot());
    }
}
BENCHMARK(EditAndSnapshot)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);

void EditAndCutlist(benchmark::State& ioState)
{
    MF::SetCutlistFactory(ML::GetCutlistFactoryInstance());
    const SequenceRef sequence = MakeProject(ioState.range(0));
    const ItemID id = sequence->FindItem(0, Frames(ioState.range(0) / 2 * kClipLength));
    MF::IRenderableCutlistRef cutlist;
    sequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true);
    double opacity = 0.0;
    for (auto step : ioState)
    {
        sequence->SetEffectParameter(id, 1, 0, CreateNumber(opacity));
        opacity = opacity < 100.0 ? opacity + 1.0 : 0.0;
        sequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true);
    }
    MF::SetCutlistFactory({});
}
BENCHMARK(EditAndCutlist)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);

void OpenAndCutlist(benchmark::State& ioState)
{
    MF::SetCutlistFactory(ML::GetCutlistFactoryInstance());
    for (auto step : ioState)
    {
        const SequenceRef sequence = MakeProject(ioState.range(0));
        MF::IRenderableCutlistRef cutlist;
        sequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true);
        benchmark::DoNotOptimize(cutlist);
    }
    MF::SetCutlistFactory({});
}
BENCHMARK(OpenAndCutlist)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
