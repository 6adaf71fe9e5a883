#include "IR/ImageRoutines.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <cstring>
#include <limits>

namespace VF
{

namespace
{

using norviktypes::AlphaChannel;

// The alpha bits of a code of the image routines.
constexpr std::uint32_t kCodeAlphaBits = 0xC;
constexpr std::uint32_t kCodeStraight = 0x4;

constexpr std::size_t kAlphaIndex = 3;

template <class T>
struct Opaque
{
    static constexpr T kValue = std::numeric_limits<T>::max();
};
template <>
struct Opaque<float>
{
    static constexpr float kValue = 1.0f;
};

template <class T>
void SetAlpha(const FramePixels& inFrame) noexcept
{
    for (std::uint32_t y = 0; y < inFrame.mHeight; ++y)
    {
        T* const row = reinterpret_cast<T*>(inFrame.Row(0, y));
        for (std::uint32_t x = 0; x < inFrame.mWidth; ++x)
        {
            row[4 * x + kAlphaIndex] = Opaque<T>::kValue;
        }
    }
}

template <class T>
void InvertAlphaOf(const FramePixels& inFrame) noexcept
{
    for (std::uint32_t y = 0; y < inFrame.mHeight; ++y)
    {
        T* const row = reinterpret_cast<T*>(inFrame.Row(0, y));
        for (std::uint32_t x = 0; x < inFrame.mWidth; ++x)
        {
            T& alpha = row[4 * x + kAlphaIndex];
            alpha = static_cast<T>(Opaque<T>::kValue - alpha);
        }
    }
}

template <class T>
bool IsAlphaWholeIn(const T* inRow, std::uint32_t inWidth) noexcept
{
    bool isWhole = true;
    for (std::uint32_t x = 0; x < inWidth; ++x)
    {
        isWhole &= inRow[4 * x + kAlphaIndex] == Opaque<T>::kValue;
    }
    return isWhole;
}

// What all pixels have in common, which compilers find many at a time.
bool IsAlphaWholeIn(const std::uint8_t* inRow, std::uint32_t inWidth) noexcept
{
    std::uint32_t common = 0xFFFFFFFFU;
    for (std::uint32_t x = 0; x < inWidth; ++x)
    {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, inRow + std::size_t{4} * x, sizeof pixel);
        common &= pixel;
    }
    return reinterpret_cast<const std::uint8_t*>(&common)[kAlphaIndex] == Opaque<std::uint8_t>::kValue;
}

// Row by row, as most that isn't whole is so near the top.
template <class T>
bool IsAlphaWhole(const FramePixels& inFrame) noexcept
{
    std::uint32_t y = 0;
    while (y < inFrame.mHeight &&
           IsAlphaWholeIn(reinterpret_cast<const T*>(inFrame.Row(0, y)), inFrame.mWidth))
    {
        ++y;
    }
    return y == inFrame.mHeight;
}

using AlphaOperation = void (*)(const FramePixels&);

// The form of an operation for the depth of a frame.
AlphaOperation ForDepth(const FramePixels& inFrame, AlphaOperation in8, AlphaOperation in16,
                        AlphaOperation inFloat)
{
    switch (norviktypes::DepthOfProperties(inFrame.mFormat.mProperties))
    {
    case 8: return in8;
    case 16: return in16;
    default: return inFloat;
    }
}

std::int32_t ConvertInPlace(const FramePixels& inFrame, std::uint32_t inFrom, std::uint32_t inTo)
{
    const std::int32_t result =
        IR_Convert(inFrame.mPixels, inFrame.mRowBytes, inFrom, inFrame.mPixels, inFrame.mRowBytes, inTo,
                   static_cast<std::int32_t>(inFrame.mWidth), static_cast<std::int32_t>(inFrame.mHeight),
                   norviktypes::kRenderQuality_High);
    return result < 0 ? kFrameStatus_BadArgument : kFrameStatus_OK;
}

// Does inOperation to the straight form of a frame and leaves the frame in its own form.
std::int32_t ChangeStraightAlpha(const FramePixels& inFrame, AlphaOperation inOperation)
{
    const std::uint32_t code = BEToIRPixelFormat(inFrame.mFormat);
    const std::uint32_t straight = (code & ~kCodeAlphaBits) | kCodeStraight;
    const bool isPremultiplied = norviktypes::ToneOfProperties(inFrame.mFormat.mProperties) ==
                                 norviktypes::kAlphaChannel_Premultiplied;
    if (isPremultiplied && ConvertInPlace(inFrame, code, straight) < 0)
    {
        return kFrameStatus_BadArgument;
    }
    inOperation(inFrame);
    return isPremultiplied ? ConvertInPlace(inFrame, straight, code) : kFrameStatus_OK;
}

} // namespace

bool HasWholeAlpha(const FramePixels& inPixels) noexcept
{
    switch (norviktypes::DepthOfProperties(inPixels.mFormat.mProperties))
    {
    case 8: return IsAlphaWhole<std::uint8_t>(inPixels);
    case 16: return IsAlphaWhole<std::uint16_t>(inPixels);
    default: return IsAlphaWhole<float>(inPixels);
    }
}

namespace VideoFrameManipulators
{

std::int32_t OpaqueAlpha(const MF::IVideoFrameRef& inFrame)
{
    FramePixels pixels;
    if (inFrame->IsFrozen() || !GetFramePixels(inFrame, pixels))
    {
        return kFrameStatus_BadArgument;
    }
    if (!norviktypes::IsPackedFourComponent(pixels.mFormat.mProperties))
    {
        return kFrameStatus_OK;
    }
    const AlphaOperation operation =
        ForDepth(pixels, SetAlpha<std::uint8_t>, SetAlpha<std::uint16_t>, SetAlpha<float>);
    const std::int32_t status = ChangeStraightAlpha(pixels, operation);
    if (status >= 0)
    {
        inFrame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
    }
    return status;
}

std::int32_t InvertAlpha(const MF::IVideoFrameRef& inFrame)
{
    FramePixels pixels;
    if (inFrame->IsFrozen() || !GetFramePixels(inFrame, pixels))
    {
        return kFrameStatus_BadArgument;
    }
    const auto type = static_cast<AlphaChannel>(norviktypes::ToneOfProperties(pixels.mFormat.mProperties));
    if (type != norviktypes::kAlphaChannel_Straight && type != norviktypes::kAlphaChannel_Premultiplied)
    {
        return kFrameStatus_OK;
    }
    const AlphaOperation operation =
        ForDepth(pixels, InvertAlphaOf<std::uint8_t>, InvertAlphaOf<std::uint16_t>, InvertAlphaOf<float>);
    const std::int32_t status = ChangeStraightAlpha(pixels, operation);
    if (status >= 0)
    {
        inFrame->SetAlphaType(type);
    }
    return status;
}

} // namespace VideoFrameManipulators

} // namespace VF
