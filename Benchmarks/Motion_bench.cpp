#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>

extern "C"
{
#include <libswscale/swscale.h>
}

#include "BenchPictures.h"
#include "IR/Motion.h"

// Motion of whole frames on one thread, beside the memory's own speed. Frames come from a ring that is larger
// than the caches. Bytes are those that must move: the source once, the target once, or twice where it is
// read.
namespace
{

using BenchPictures::CountBytes;
using BenchPictures::Ring;

constexpr std::size_t kRing = 8;
constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

struct Frames
{
    std::uint32_t code;
    int width;
    int height;

    int PixelBytes() const { return (code >> 8 & 7) == 1 ? 16 : (code >> 8 & 7) == 2 ? 8 : 4; }
    std::size_t Bytes() const
    {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
               static_cast<std::size_t>(PixelBytes());
    }
    IR_MotionPicture At(unsigned char* inPixels) const
    {
        return {inPixels, width * PixelBytes(), width, height, code, 0, 1, 1};
    }
};

constexpr Frames kStraight = {0x004, kWidth, kHeight};
constexpr Frames kPremultiplied = {0x008, kWidth, kHeight};
constexpr Frames kOpaque = {0x00C, kWidth, kHeight};
constexpr Frames kLargeStraight = {0x004, 2 * kWidth, 2 * kHeight};
constexpr Frames kLargePremultiplied = {0x008, 2 * kWidth, 2 * kHeight};
constexpr Frames kLargeOpaque = {0x00C, 2 * kWidth, 2 * kHeight};
constexpr Frames kLinear = {0x908, kWidth, kHeight};

struct Move
{
    double shiftX; // target pixels from the middle
    double shiftY;
    float scale;
    double rotation;
    float opacity;
    int hasPicture;
    int quality;
};

constexpr Move kIdentity = {0, 0, 1.0F, 0, 1.0F, 0, 3};
constexpr Move kShift = {100, -60, 1.0F, 0, 1.0F, 1, 3};
constexpr Move kShiftFaded = {100, -60, 1.0F, 0, 0.7F, 1, 3};
constexpr Move kSubPixel = {0.5, 0.25, 1.0F, 0, 1.0F, 0, 3};
constexpr Move kHalf = {0, 0, 0.5F, 0, 1.0F, 0, 3};
constexpr Move kThird = {0, 0, 0.37F, 0, 1.0F, 1, 3};
constexpr Move kLarger = {0, 0, 1.7F, 0, 1.0F, 0, 3};
constexpr Move kLargerBicubic = {0, 0, 1.7F, 0, 1.0F, 0, 4};
constexpr Move kTurned = {0, 0, 1.0F, 15, 1.0F, 0, 3};
constexpr Move kTurnedOver = {0, 0, 1.0F, 15, 0.7F, 1, 3};
constexpr Move kTurnedLarger = {0, 0, 1.3F, 15, 1.0F, 0, 3};
constexpr Move kTurnedSmaller = {0, 0, 0.7F, 15, 1.0F, 1, 3};
constexpr Move kTurnedHalf = {0, 0, 0.5F, 15, 0.7F, 1, 4};
constexpr Move kTurnedSmallerBicubic = {0, 0, 0.7F, 15, 1.0F, 1, 4};
constexpr Move kTurnedBicubic = {0, 0, 1.0F, 15, 1.0F, 0, 4};
constexpr Move kTurnedLanczos = {0, 0, 1.0F, 15, 1.0F, 0, 5};
constexpr Move kQuarter = {0, 0, 1.0F, 90, 1.0F, 0, 3};

IR_MotionSettings SettingsOf(const Move& inMove)
{
    IR_MotionSettings settings = {};
    settings.positionX = static_cast<float>(0.5 + inMove.shiftX / kWidth);
    settings.positionY = static_cast<float>(0.5 - inMove.shiftY / kHeight);
    settings.anchorX = settings.anchorY = 0.5F;
    settings.scaleX = settings.scaleY = inMove.scale;
    settings.rotation = inMove.rotation;
    settings.opacity = inMove.opacity;
    settings.targetHasPicture = inMove.hasPicture;
    settings.quality = inMove.quality;
    settings.highQualitySampling = 1;
    return settings;
}

void Memcpy(benchmark::State& ioState)
{
    BenchPictures::MeasureMemcpy(ioState, kRing, kStraight.Bytes());
}

void MakeFloats(Ring& ioRing, const Frames& inFrames)
{
    for (std::size_t i = 0; i < kRing && inFrames.PixelBytes() == 16; ++i)
    {
        unsigned char* frame = ioRing.Next();
        for (std::size_t j = 0; j < inFrames.Bytes(); j += 4)
        {
            const float value = static_cast<float>(frame[j]) / 255.0F;
            std::memcpy(frame + j, &value, 4);
        }
    }
}

void SetAlpha(Ring& ioRing, const Frames& inFrames)
{
    for (std::size_t i = 0; i < kRing && inFrames.PixelBytes() == 4; ++i)
    {
        unsigned char* frame = ioRing.Next();
        for (std::size_t j = 3; j < inFrames.Bytes(); j += 4)
        {
            frame[j] = 255;
        }
    }
}

void Ours(benchmark::State& ioState, const Frames& inFrom, const Frames& inTo, const Move& inMove,
          bool inIsOpaque)
{
    Ring source(kRing, inFrom.Bytes());
    Ring target(kRing, inTo.Bytes());
    MakeFloats(source, inFrom);
    MakeFloats(target, inTo);
    if (inIsOpaque)
    {
        SetAlpha(source, inFrom);
    }
    const IR_MotionSettings settings = SettingsOf(inMove);
    for (auto _ : ioState)
    {
        const IR_MotionPicture from = inFrom.At(source.Next());
        const IR_MotionPicture to = inTo.At(target.Next());
        if (IR_Motion(&from, &to, nullptr, &settings) != kIR_Success)
        {
            ioState.SkipWithError("motion failed");
        }
    }
    const std::size_t bytes = inFrom.Bytes() + inTo.Bytes() * (inMove.hasPicture != 0 && !inIsOpaque ? 2 : 1);
    CountBytes(ioState, bytes);
}

void Swscale(benchmark::State& ioState, int inFlags)
{
    Ring source(kRing, kLargeOpaque.Bytes());
    Ring target(kRing, kOpaque.Bytes());
    SwsContext* context = sws_getContext(2 * kWidth, 2 * kHeight, AV_PIX_FMT_BGRA, kWidth, kHeight,
                                         AV_PIX_FMT_BGRA, inFlags, nullptr, nullptr, nullptr);
    for (auto _ : ioState)
    {
        const unsigned char* const planes[4] = {source.Next(), nullptr, nullptr, nullptr};
        unsigned char* const targets[4] = {target.Next(), nullptr, nullptr, nullptr};
        const int strides[4] = {kWidth * 8, 0, 0, 0};
        const int targetStrides[4] = {kWidth * 4, 0, 0, 0};
        sws_scale(context, planes, strides, 0, 2 * kHeight, targets, targetStrides);
    }
    sws_freeContext(context);
    CountBytes(ioState, kLargeOpaque.Bytes() + kOpaque.Bytes());
}

}

BENCHMARK(Memcpy)->Unit(benchmark::kMillisecond);
#define VR_MOTION(inFrom, inTo, inMove) \
    BENCHMARK_CAPTURE(Ours, inFrom##_to_##inTo##_##inMove, inFrom, inTo, inMove, false) \
        ->Unit(benchmark::kMillisecond)
#define VR_OPAQUE(inFrom, inTo, inMove) \
    BENCHMARK_CAPTURE(Ours, inFrom##_to_##inTo##_##inMove##_all_opaque, inFrom, inTo, inMove, true) \
        ->Unit(benchmark::kMillisecond)

VR_MOTION(kStraight, kStraight, kIdentity);
VR_MOTION(kOpaque, kOpaque, kShift);
VR_MOTION(kPremultiplied, kPremultiplied, kShiftFaded);
VR_MOTION(kStraight, kStraight, kShiftFaded);
VR_OPAQUE(kStraight, kStraight, kSubPixel);
VR_OPAQUE(kStraight, kStraight, kTurned);
VR_MOTION(kStraight, kStraight, kTurned);
VR_MOTION(kPremultiplied, kPremultiplied, kTurned);
VR_MOTION(kOpaque, kOpaque, kTurned);
VR_MOTION(kPremultiplied, kPremultiplied, kTurnedOver);
VR_MOTION(kStraight, kStraight, kTurnedOver);
VR_OPAQUE(kStraight, kStraight, kTurnedLarger);
VR_OPAQUE(kStraight, kStraight, kTurnedSmaller);
VR_OPAQUE(kStraight, kStraight, kTurnedSmallerBicubic);
VR_MOTION(kOpaque, kOpaque, kTurnedHalf);
VR_MOTION(kStraight, kStraight, kTurnedHalf);
VR_OPAQUE(kStraight, kStraight, kTurnedBicubic);
VR_OPAQUE(kStraight, kStraight, kTurnedLanczos);
VR_OPAQUE(kStraight, kStraight, kQuarter);
VR_MOTION(kLargePremultiplied, kPremultiplied, kHalf);
VR_MOTION(kLargeOpaque, kOpaque, kHalf);
VR_OPAQUE(kLargeStraight, kStraight, kHalf);
BENCHMARK_CAPTURE(Swscale, area_2160_to_1080, SWS_AREA)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Swscale, fast_bilinear_2160_to_1080, SWS_FAST_BILINEAR)->Unit(benchmark::kMillisecond);
VR_OPAQUE(kLargeStraight, kStraight, kThird);
VR_OPAQUE(kStraight, kStraight, kThird);
VR_OPAQUE(kStraight, kStraight, kLarger);
VR_OPAQUE(kStraight, kStraight, kLargerBicubic);
VR_MOTION(kLinear, kLinear, kShiftFaded);
VR_MOTION(kLinear, kLinear, kTurned);
VR_MOTION(kLinear, kLinear, kTurnedLanczos);
VR_MOTION(kLinear, kLinear, kLarger);
VR_MOTION(kLinear, kLinear, kHalf);
