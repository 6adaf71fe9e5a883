// Writes a strip of six moments of the moving layers as PNG, for the documentation and for the eye.
//
//   layer_strip QUALITY FILE
//
// QUALITY is that of a render, 1 to 5; at 5 layers are composited in linear light.
#include "CutlistRenderer.h"
#include "Tests/Support/Layers/MovingLayers.h"
#include "VF/PNG.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace
{

constexpr std::uint32_t kMoments = 6;
constexpr std::uint32_t kWidth = 112;
constexpr std::uint32_t kHeight = 84;
constexpr std::uint32_t kGap = 4;
constexpr norviktypes::PixelFormat kFormat = norviktypes::kPixelFormat_BGRA_4444_8u;

ML::CutlistRenderParams ParamsAt(std::uint32_t inMoment, norviktypes::RenderQuality inQuality)
{
    ML::CutlistRenderParams params;
    params.mFrameTime = MF::FrameTime(norviktypes::TickTime::FromSeconds(inMoment / double{kMoments}));
    params.mWidth = params.mSourceWidth = kWidth;
    params.mHeight = params.mSourceHeight = kHeight;
    params.mPixelFormat = kFormat;
    params.mRenderQuality = inQuality;
    return params;
}

// Converted from linear light where the render gave that.
MF::IVideoFrameRef RenderMoment(const MF::IRenderableCutlistRef& inCutlist,
                                const ML::CutlistRenderParams& inParams)
{
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime times;
    ML::ResolveProducerAtTime(inCutlist, inParams, producer, times);
    return ML::RenderFrameFromCutlist(producer, inParams, times, {kFormat}, false);
}

void CopyToStrip(const MF::IVideoFrameRef& inFrame, const MF::IVideoFrameRef& inStrip, std::uint32_t inMoment)
{
    const auto* source = static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
    auto* target = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(inStrip)->GetPixels()) +
                   std::size_t{inMoment} * (kWidth + kGap) * 4;
    for (std::uint32_t y = 0; y < kHeight; ++y)
    {
        std::memcpy(target, source, kWidth * 4);
        source += VF::IVideoFrameRasterRef(inFrame)->GetRowBytes();
        target += VF::IVideoFrameRasterRef(inStrip)->GetRowBytes();
    }
}

MF::IVideoFrameRef RenderStrip(norviktypes::RenderQuality inQuality)
{
    const MF::IRenderableCutlistRef cutlist = TestSupport::CreateMovingLayers();
    MF::IVideoFrameRef strip;
    VF::CreateVideoFrame(strip, kFormat, kMoments * (kWidth + kGap) - kGap, kHeight, {}, true, true);
    for (std::uint32_t moment = 0; moment < kMoments; ++moment)
    {
        const MF::IVideoFrameRef frame = RenderMoment(cutlist, ParamsAt(moment, inQuality));
        if (!frame || !strip)
        {
            return {};
        }
        CopyToStrip(frame, strip, moment);
    }
    return strip;
}

bool WriteFile(const char* inPath, const norvik::utility::RecycledMemory& inBytes)
{
    std::ofstream file(inPath, std::ios::binary);
    file.write(static_cast<const char*>(inBytes.Buffer()), static_cast<std::streamsize>(inBytes.Size()));
    return static_cast<bool>(file.flush());
}

} // namespace

int main(int inCount, char** inArguments)
{
    if (inCount != 3)
    {
        std::fputs("layer_strip QUALITY FILE\n", stderr);
        return 2;
    }
    const auto quality = static_cast<norviktypes::RenderQuality>(std::atoi(inArguments[1]));
    const MF::IVideoFrameRef strip = RenderStrip(quality);
    const auto bytes = strip ? VF::CompressPNG(strip) : nullptr;
    if (!bytes || !WriteFile(inArguments[2], *bytes))
    {
        std::fputs("layer_strip: no picture was written\n", stderr);
        return 1;
    }
    return 0;
}
