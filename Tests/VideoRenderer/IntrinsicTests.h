// What the tests of intrinsic operations have in common.
#pragma once

#include "IntrinsicOperations.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/VideoRenderer/RenderParams.h"

namespace IntrinsicTests
{

using namespace norviktypes;
using ML::NodeIntrinsicParameters;
using TestSupport::NewFilledFrame;
using TestSupport::NewFrame;

inline constexpr PixelFormat kBGRA = kPixelFormat_BGRA_4444_8u;
inline constexpr NodeIntrinsicParameters kDefaults;

inline PixelFormat FormatOf(const MF::IVideoFrameRef& inFrame)
{
    PixelFormat format;
    inFrame->GetPixelFormat(format);
    return format;
}

inline MF::IVideoFrameRef Noise(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight,
                                std::uint64_t inSeed = 1)
{
    const MF::IVideoFrameRef frame = NewFrame(inFormat, inWidth, inHeight);
    TestSupport::FillWithNoise(frame, inSeed);
    return frame;
}

inline MF::IVideoFrameRef DrawOnNothing(const MF::IVideoFrameRef& inFrame,
                                        const NodeIntrinsicParameters& inIntrinsics,
                                        const ML::CutlistRenderParams& inParams)
{
    return ML::PerformIntrinsicOperations(inFrame, inIntrinsics, inIntrinsics, {}, inParams);
}

inline MF::IVideoFrameRef DrawOver(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inFrame,
                                   const NodeIntrinsicParameters& inIntrinsics,
                                   const ML::CutlistRenderParams& inParams)
{
    return ML::PerformIntrinsicOperations(inFrame, inIntrinsics, inIntrinsics, inLower, inParams);
}

} // namespace IntrinsicTests
