#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstring>

#include "RenderableSources.h"
#include "TVK/Allocated.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

// Decorators of sources on whole frames of 1080 lines, one thread: the source inside gives frozen frames from a
// ring that is larger than the caches, as a decoder's are, and the result is let go before the next one, so that
// its memory is used again. The copy of a frame that the others are held against does the same.
//
// Named by format: a copy of 4:2:0 moves 1.5 bytes a pixel, while a woven or reversed 4:2:0 frame comes out in
// four components, of 4 bytes, unless its planes are wished for.
namespace
{

using namespace norviktypes;

constexpr std::uint32_t kWidth = 1920;
constexpr std::uint32_t kHeight = 1080;
constexpr std::size_t kRing = 8;
const FrameRate kRate = FrameRate::FromRational(25, 1);

const PixelFormat kFormats[] = {kPixelFormat_BGRA_4444_8u, kPixelFormat_YUV_420_MPEG2_Frame_8u_709,
                                kPixelFormat_YUV_420_MPEG2_Field_8u_709};

// Of all planes, with the padding of rows.
std::size_t BytesOf(const MF::IVideoFrameRef& inFrame)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    const auto luma = static_cast<std::size_t>(VF::IVideoFrameRasterRef(inFrame)->GetRowBytes()) *
                      static_cast<std::size_t>(bounds.Height());
    return IsSubsampled(format.mProperties) ? luma * 3 / 2 : luma;
}

std::uint8_t* PixelsOf(const MF::IVideoFrameRef& inFrame)
{
    return static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
}

// Repeats one piece of noise, as more would take longer than the measuring. Opaque where there is an alpha.
void FillWithNoise(const MF::IVideoFrameRef& inFrame, std::uint32_t inSeed)
{
    std::uint8_t piece[99996];
    std::uint32_t state = inSeed;
    for (std::size_t at = 0; at < sizeof(piece); ++at)
    {
        state = state * 1664525U + 1013904223U;
        piece[at] = at % 4 == 3 ? 255 : static_cast<std::uint8_t>(state >> 24);
    }
    const std::size_t bytes = BytesOf(inFrame);
    for (std::size_t at = 0; at < bytes; at += sizeof(piece))
    {
        std::memcpy(PixelsOf(inFrame) + at, piece, std::min(sizeof(piece), bytes - at));
    }
}

class RingSource final : public TVK::Implements<RingSource, ML::IRenderableSource>
{
public:
    RingSource(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight,
               FieldType inFieldType)
        : mFieldType(inFieldType)
    {
        for (std::size_t n = 0; n < kRing; ++n)
        {
            MF::IVideoFrameRef frame;
            VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, {}, false, false);
            FillWithNoise(frame, static_cast<std::uint32_t>(n));
            frame->SetFieldType(inFieldType);
            frame->Freeze();
            mFrames.push_back(frame);
        }
    }

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                          MF::FrameTime& outTime) override
    {
        const TickTime start = inTime.Earlier().AlignToFrame(kRate);
        const bool hasFields = mFieldType != kFieldType_Progressive;
        outTime = {start, hasFields ? start + TickTime(kRate.GetTicks() / 2) : start};
    }
    void CollectPrefetchItems(const MF::FrameTime&, const ML::CutlistRenderParams&,
                              std::vector<ML::IRenderableNodePrefetchRef>&) override
    {
    }
    void Render(const MF::FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef& outFrame) override
    {
        outFrame = mFrames[mNext++ % kRing];
    }
    void GetFrameRate(FrameRate& outRate) override { outRate = kRate; }
    void GetFieldRate(FrameRate& outRate) override
    {
        outRate = mFieldType == kFieldType_Progressive ? kRate : kRate * 2;
    }

private:
    const FieldType mFieldType;
    std::vector<MF::IVideoFrameRef> mFrames;
    std::size_t mNext = 0;
};

ML::IRenderableSourceRef NewRing(const PixelFormat& inFormat, FieldType inFieldType,
                                 std::uint32_t inScale = 1)
{
    return ML::IRenderableSourceRef(TVK::InterfaceRef<RingSource>(
        new RingSource(inFormat, kWidth * inScale, kHeight * inScale, inFieldType)));
}

ML::CutlistRenderParams ParamsFor(const PixelFormat& inFormat, RenderQuality inQuality)
{
    ML::CutlistRenderParams params;
    params.mWidth = params.mSourceWidth = kWidth;
    params.mHeight = params.mSourceHeight = kHeight;
    params.mPixelFormat =
        IsSubsampled(inFormat.mProperties) ? kPixelFormat_VUYX_4444_8u_709 : kPixelFormat_BGRA_4444_8u;
    params.mRenderQuality = params.mDeinterlaceQuality = inQuality;
    return params;
}

MF::FrameTime FieldsOfFrame(std::int64_t inFrame)
{
    const TickTime start = TickTime::FromFrame(inFrame, kRate);
    return {start, start + TickTime(kRate.GetTicks() / 2)};
}

void Measure(benchmark::State& ioState, const ML::IRenderableSourceRef& inSource, const MF::FrameTime& inTime,
             const ML::CutlistRenderParams& inParams)
{
    for (auto _ : ioState)
    {
        MF::IVideoFrameRef frame;
        inSource->Render(inTime, inParams, frame);
        if (!frame)
        {
            ioState.SkipWithError("no frame");
            return;
        }
        benchmark::DoNotOptimize(PixelsOf(frame));
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

using Factory = ML::IRenderableSourceRef (*)(const ML::IRenderableSourceRef&);

void Copy(benchmark::State& ioState)
{
    const auto ring = NewRing(kFormats[ioState.range(0)], kFieldType_Progressive);
    for (auto _ : ioState)
    {
        MF::IVideoFrameRef frame;
        ring->Render({}, {}, frame);
        MF::IVideoFrameRef copy;
        frame->CreateCompatibleFrame(copy);
        std::memcpy(PixelsOf(copy), PixelsOf(frame), BytesOf(frame));
        benchmark::DoNotOptimize(PixelsOf(copy));
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

// What planar frames become where their rows are worked on, without any work on fields.
void Convert(benchmark::State& ioState)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    const auto ring = NewRing(format, kFieldType_Progressive);
    for (auto _ : ioState)
    {
        MF::IVideoFrameRef frame;
        ring->Render({}, {}, frame);
        MF::IVideoFrameRef target;
        VF::CreateVideoFrame(target, kPixelFormat_VUYX_4444_8u_709, kWidth, kHeight, {}, false, false);
        VF::VideoFrameManipulators::CopyFrame(frame, target, kRenderQuality_High);
        benchmark::DoNotOptimize(PixelsOf(target));
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

// The lines themselves, in the frame's own format.
void SwapFields(benchmark::State& ioState)
{
    const auto ring = NewRing(kFormats[ioState.range(0)], kFieldType_UpperFirst);
    for (auto _ : ioState)
    {
        MF::IVideoFrameRef frame;
        ring->Render({}, {}, frame);
        MF::IVideoFrameRef swapped;
        frame->CreateCompatibleFrame(swapped);
        VF::VideoFrameManipulators::SwapFields(frame, swapped);
        benchmark::DoNotOptimize(PixelsOf(swapped));
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

void InterlaceConsecutive(benchmark::State& ioState)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    Measure(ioState, ML::InterlaceConsecutiveFramesFromSource(NewRing(format, kFieldType_Progressive)),
            FieldsOfFrame(3), ParamsFor(format, kRenderQuality_High));
}

// For a client that wishes for planes: rows are copied plane by plane.
ML::CutlistRenderParams ParamsForPlanes(const PixelFormat& inFormat)
{
    ML::CutlistRenderParams params = ParamsFor(inFormat, kRenderQuality_High);
    params.mPixelFormat = inFormat;
    return params;
}

void InterlaceConsecutivePlanes(benchmark::State& ioState)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    Measure(ioState, ML::InterlaceConsecutiveFramesFromSource(NewRing(format, kFieldType_Progressive)),
            FieldsOfFrame(3), ParamsForPlanes(kPixelFormat_YUV_420_MPEG2_Field_8u_709));
}

void FieldReversePlanes(benchmark::State& ioState)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    Measure(ioState, ML::FieldReverseSource(NewRing(format, kFieldType_UpperFirst)), FieldsOfFrame(3),
            ParamsForPlanes(format));
}

void OnFields(benchmark::State& ioState, Factory inMake, RenderQuality inQuality)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    Measure(ioState, inMake(NewRing(format, kFieldType_UpperFirst)), FieldsOfFrame(3),
            ParamsFor(format, inQuality));
}

void FieldReverse(benchmark::State& ioState)
{
    OnFields(ioState, &ML::FieldReverseSource, kRenderQuality_High);
}

void ReverseDominance(benchmark::State& ioState)
{
    OnFields(ioState, &ML::ReverseFieldDominanceOfSource, kRenderQuality_High);
}

void RemoveFlicker(benchmark::State& ioState)
{
    OnFields(ioState, &ML::RemoveFlickerFromSource, kRenderQuality_High);
}

void DeinterlaceByLines(benchmark::State& ioState)
{
    OnFields(ioState, &ML::DeinterlaceSource, kRenderQuality_Medium);
}

void DeinterlaceByEdges(benchmark::State& ioState)
{
    OnFields(ioState, &ML::DeinterlaceSource, kRenderQuality_High);
}

void ScaleToHalf(benchmark::State& ioState)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    const bool hasFields = ioState.range(1) != 0;
    const FieldType type = hasFields ? kFieldType_UpperFirst : kFieldType_Progressive;
    Measure(ioState, ML::ScaleAndPARCorrectSource(NewRing(format, type, 2)),
            hasFields ? FieldsOfFrame(3) : MF::FrameTime(FieldsOfFrame(3).mFirstTime),
            ParamsFor(format, kRenderQuality_Medium));
}

// At twice the speed a frame is made of two, and at half of it every second one.
void Blend(benchmark::State& ioState, double inSpeed, const TickTime& inTime)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    ML::CutlistRenderParams params = ParamsFor(format, kRenderQuality_High);
    params.mFrameRate = kRate;
    Measure(ioState, ML::TimeBlendSource(NewRing(format, kFieldType_Progressive), {}, inSpeed),
            MF::FrameTime(inTime), params);
}

void BlendFast(benchmark::State& ioState)
{
    Blend(ioState, 2.0, FieldsOfFrame(4).mFirstTime);
}

void BlendSlow(benchmark::State& ioState)
{
    Blend(ioState, 0.5, FieldsOfFrame(4).mSecondTime);
}

// Four film frames by turns, of which one lies on two frames of video.
void RemovePulldown(benchmark::State& ioState)
{
    const PixelFormat& format = kFormats[ioState.range(0)];
    const auto source =
        ML::RemovePulldownFromSource(NewRing(format, kFieldType_UpperFirst), kPulldownCadence_WWSSW);
    FrameRate rate;
    source->GetFrameRate(rate);
    const ML::CutlistRenderParams params = ParamsFor(format, kRenderQuality_High);
    std::int64_t number = 0;
    for (auto _ : ioState)
    {
        MF::IVideoFrameRef frame;
        source->Render(MF::FrameTime(TickTime::FromFrame(number++ % 4, rate)), params, frame);
        benchmark::DoNotOptimize(PixelsOf(frame));
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

BENCHMARK(Copy)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(Convert)->DenseRange(1, 2)->UseRealTime();
BENCHMARK(SwapFields)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(InterlaceConsecutive)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(FieldReverse)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(InterlaceConsecutivePlanes)->DenseRange(1, 2)->UseRealTime();
BENCHMARK(FieldReversePlanes)->DenseRange(1, 2)->UseRealTime();
BENCHMARK(ReverseDominance)->DenseRange(0, 0)->UseRealTime();
BENCHMARK(RemoveFlicker)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(DeinterlaceByLines)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(DeinterlaceByEdges)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(BlendFast)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(BlendSlow)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(RemovePulldown)->DenseRange(0, 2)->UseRealTime();
BENCHMARK(ScaleToHalf)->ArgsProduct({{0, 1, 2}, {0, 1}})->UseRealTime();

}
