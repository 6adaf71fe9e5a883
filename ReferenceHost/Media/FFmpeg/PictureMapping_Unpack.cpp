#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "ReferenceHost/Media/FFmpeg/PictureMapping.h"
#include "ReferenceHost/Media/FFmpeg/PixelLayout.h"

#include <algorithm>
#include <bit>
#include <cstring>

extern "C"
{
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace Media
{

namespace
{

// Codes of the image routines: straight BGRA and opaque BGRX, and the bits of a premultiplied and a linear
// one.
constexpr std::uint32_t kCode_BGRA_8u = 0x004;
constexpr std::uint32_t kCode_BGRA_16u = 0x204;
constexpr std::uint32_t kCodeAlphaMask = 0x00C;
constexpr std::uint32_t kCodePremultiplied = 0x008;
constexpr std::uint32_t kCodeOpaque = 0x00C;

constexpr std::size_t kRowAlignment = 64;

// A half-precision number's value: exact, since every one of them is a float.
float HalfToFloat(std::uint16_t inHalf)
{
    const std::uint32_t sign = static_cast<std::uint32_t>(inHalf & 0x8000u) << 16;
    const std::uint32_t exponent = inHalf >> 10 & 0x1Fu;
    const std::uint32_t mantissa = inHalf & 0x3FFu;
    if (exponent == 0)
    {
        const float value = static_cast<float>(mantissa) * 0x1p-24f;
        return sign != 0 ? -value : value;
    }
    const std::uint32_t wide = exponent == 31 ? 255u : exponent + 112u;
    return std::bit_cast<float>(sign | wide << 23 | mantissa << 13);
}

std::size_t AlignUp(std::size_t inBytes)
{
    return (inBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

} // namespace

void SourcePicture::DescribeBlock(const void* inPixels, std::int32_t inRowBytes, bool inIsDeep)
{
    const std::uint32_t straight = inIsDeep ? kCode_BGRA_16u : kCode_BGRA_8u;
    const std::uint32_t alpha = mPlanes.alpha == ir::AlphaKind::kNone       ? kCodeOpaque
                                : mPlanes.alpha == ir::AlphaKind::kStraight ? straight & kCodeAlphaMask
                                                                            : kCodePremultiplied;
    mBlock = inPixels;
    mBlockRowBytes = inRowBytes;
    mBlockFormat = (straight & ~kCodeAlphaMask) | alpha;
}

void* SourcePicture::AllocateBlock(std::size_t inBytesPerPixel)
{
    const std::size_t rowBytes = AlignUp(static_cast<std::size_t>(mPlanes.width) * inBytesPerPixel);
    mMemory = VF::FramePool::Instance().Acquire(rowBytes * static_cast<std::size_t>(mPlanes.height));
    DescribeBlock(mMemory.Data(), static_cast<std::int32_t>(rowBytes), inBytesPerPixel == 8);
    return mMemory.Data();
}

namespace
{

// Where R, G, B and A of a packed pixel lie, in samples; alpha -1 where there is none.
struct PackedOrder
{
    int mSamples = 0;
    int mPlaces[4] = {0, 0, 0, -1};
};

template <class Sample>
Sample Load(const Sample* inSample, bool inIsForeignOrder)
{
    Sample value = 0;
    std::memcpy(&value, inSample, sizeof(value));
    if constexpr (sizeof(Sample) == 2)
    {
        return inIsForeignOrder ? static_cast<Sample>(value << 8 | value >> 8) : value;
    }
    return value;
}

template <class Sample>
void ReorderRow(const Sample* inRow, const PackedOrder& inOrder, bool inIsForeignOrder, int inWidth,
                Sample* outRow)
{
    for (int x = 0; x < inWidth; ++x, inRow += inOrder.mSamples, outRow += 4)
    {
        outRow[0] = Load(inRow + inOrder.mPlaces[2], inIsForeignOrder);
        outRow[1] = Load(inRow + inOrder.mPlaces[1], inIsForeignOrder);
        outRow[2] = Load(inRow + inOrder.mPlaces[0], inIsForeignOrder);
        outRow[3] = inOrder.mPlaces[3] < 0 ? static_cast<Sample>(~Sample{0})
                                           : Load(inRow + inOrder.mPlaces[3], inIsForeignOrder);
    }
}

template <class Sample>
void ReorderPicture(const AVFrame& inFrame, const PackedOrder& inOrder, bool inIsForeignOrder, void* outBlock,
                    std::int32_t inRowBytes)
{
    for (int y = 0; y < inFrame.height; ++y)
    {
        const std::ptrdiff_t row = y;
        ReorderRow(reinterpret_cast<const Sample*>(inFrame.data[0] + row * inFrame.linesize[0]), inOrder,
                   inIsForeignOrder, inFrame.width,
                   reinterpret_cast<Sample*>(static_cast<std::uint8_t*>(outBlock) + row * inRowBytes));
    }
}

} // namespace

// Packed RGB of whole bytes or 16-bit words, which is what most stills decode to.
bool SourcePicture::UnpackRGB(const AVFrame& inFrame)
{
    const AVPixFmtDescriptor& descriptor = *DescriptorOf(inFrame.format);
    const int depth = descriptor.comp[0].depth;
    if (!(descriptor.flags & AV_PIX_FMT_FLAG_RGB) || (depth != 8 && depth != 16) ||
        descriptor.nb_components < 3 ||
        (descriptor.flags & (AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BITSTREAM)) !=
            0 ||
        mPlanes.transfer != ir::Transfer::kDisplay || mPlanes.primaries != ir::Primaries::k709)
    {
        return false;
    }
    const int bytes = depth / 8;
    PackedOrder order;
    order.mSamples = descriptor.comp[0].step / bytes;
    for (int c = 0; c < descriptor.nb_components; ++c)
    {
        if (descriptor.comp[c].depth != depth || descriptor.comp[c].shift != 0)
        {
            return false;
        }
        order.mPlaces[c] = descriptor.comp[c].offset / bytes;
    }
    if (inFrame.format == AV_PIX_FMT_BGRA || inFrame.format == AV_PIX_FMT_BGR0)
    {
        DescribeBlock(inFrame.data[0], inFrame.linesize[0], false);
        return true;
    }
    void* const block = AllocateBlock(static_cast<std::size_t>(bytes) * 4);
    if (!block)
    {
        return false;
    }
    const bool isForeignOrder = (descriptor.flags & AV_PIX_FMT_FLAG_BE) != 0;
    bytes == 1 ? ReorderPicture<std::uint8_t>(inFrame, order, false, block, mBlockRowBytes)
               : ReorderPicture<std::uint16_t>(inFrame, order, isForeignOrder, block, mBlockRowBytes);
    return true;
}

bool SourcePicture::UnpackPalette(const AVFrame& inFrame)
{
    // The entries of a palette are words of A, R, G, B, so that in memory they are BGRA already.
    auto* const block = static_cast<std::uint8_t*>(AllocateBlock(4));
    if (!block || !inFrame.data[1])
    {
        return false;
    }
    for (int y = 0; y < inFrame.height; ++y)
    {
        const std::uint8_t* indices = inFrame.data[0] + static_cast<std::ptrdiff_t>(y) * inFrame.linesize[0];
        std::uint8_t* row = block + static_cast<std::ptrdiff_t>(y) * mBlockRowBytes;
        for (int x = 0; x < inFrame.width; ++x)
        {
            std::memcpy(row + std::ptrdiff_t{4} * x, inFrame.data[1] + std::ptrdiff_t{4} * indices[x], 4);
        }
    }
    return true;
}

bool SourcePicture::AllocatePlanes(int inBytesPerSample, int inComponents)
{
    std::size_t offsets[4] = {0, 0, 0, 0};
    std::size_t total = 0;
    for (int c = 0; c < inComponents; ++c)
    {
        const int plane = PlaneOfComponent(mPlanes, c);
        const bool isChroma = !mPlanes.isRGB && !mPlanes.isGray && (plane == 1 || plane == 2);
        const int shiftX = isChroma ? mPlanes.chromaShiftX : 0;
        const int shiftY = isChroma ? mPlanes.chromaShiftY : 0;
        const int width = -(-mPlanes.width >> shiftX);
        const int height = -(-mPlanes.height >> shiftY);
        const std::size_t rowBytes =
            AlignUp(static_cast<std::size_t>(width) * static_cast<std::size_t>(inBytesPerSample));
        mPlanes.strides[plane] = static_cast<std::ptrdiff_t>(rowBytes);
        offsets[plane] = total;
        total += rowBytes * static_cast<std::size_t>(height);
    }
    mMemory = VF::FramePool::Instance().Acquire(total);
    for (int plane = 0; plane < 4 && mMemory; ++plane)
    {
        mPlanes.planes[plane] = mPlanes.strides[plane] != 0
                                    ? static_cast<std::uint8_t*>(mMemory.Data()) + offsets[plane]
                                    : nullptr;
    }
    return static_cast<bool>(mMemory);
}

namespace
{

// Values of a component brought to inBits: 5 of 5 bits is 255 of 8, and in between to the nearest.
void WidenRow(std::uint16_t* ioValues, int inCount, int inDepth, int inBits)
{
    const std::uint32_t from = (1u << inDepth) - 1;
    const std::uint32_t to = (1u << inBits) - 1;
    for (int x = 0; x < inCount; ++x)
    {
        ioValues[x] = static_cast<std::uint16_t>((ioValues[x] * to + from / 2) / from);
    }
}

void StoreRow(const std::uint16_t* inValues, int inCount, int inBits, void* outRow)
{
    if (inBits > 8)
    {
        std::memcpy(outRow, inValues, static_cast<std::size_t>(inCount) * 2);
        return;
    }
    auto* bytes = static_cast<std::uint8_t*>(outRow);
    for (int x = 0; x < inCount; ++x)
    {
        bytes[x] = static_cast<std::uint8_t>(inValues[x]);
    }
}

// Reads row inY of component inComponent, whatever its place, shift and byte order.
template <class Element>
void ReadComponentRow(const AVFrame& inFrame, const AVPixFmtDescriptor& inDescriptor, int inComponent,
                      int inY, int inCount, Element* outValues)
{
    const std::uint8_t* data[4] = {inFrame.data[0], inFrame.data[1], inFrame.data[2], inFrame.data[3]};
    const int strides[4] = {inFrame.linesize[0], inFrame.linesize[1], inFrame.linesize[2],
                            inFrame.linesize[3]};
    av_read_image_line2(outValues, data, strides, &inDescriptor, 0, inY, inComponent, inCount, 0,
                        sizeof(Element));
}

void ReadFloatRow(const AVFrame& inFrame, const AVPixFmtDescriptor& inDescriptor, int inComponent, int inY,
                  int inCount, std::uint32_t* outValues)
{
    ReadComponentRow(inFrame, inDescriptor, inComponent, inY, inCount, outValues);
    if (inDescriptor.comp[inComponent].depth == 16)
    {
        for (int x = 0; x < inCount; ++x)
        {
            outValues[x] =
                std::bit_cast<std::uint32_t>(HalfToFloat(static_cast<std::uint16_t>(outValues[x])));
        }
    }
}

void InvertRow(std::uint16_t* ioValues, int inCount)
{
    for (int x = 0; x < inCount; ++x)
    {
        ioValues[x] ^= 1;
    }
}

} // namespace

// Every other format: component by component, into planes of at least 8 bits.
bool SourcePicture::UnpackComponents(const AVFrame& inFrame)
{
    const AVPixFmtDescriptor& descriptor = *DescriptorOf(inFrame.format);
    const int bits = std::max(8, DeepestComponent(descriptor));
    mPlanes.layout = ir::PlaneLayout::kPlanar;
    mPlanes.isFloat = (descriptor.flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    mPlanes.isMSBAligned = false;
    mPlanes.bitsPerSample = mPlanes.isFloat ? 32 : bits;
    const int bytes = mPlanes.isFloat ? 4 : bits > 8 ? 2 : 1;
    if ((!mPlanes.isFloat && bits > 16) || !AllocatePlanes(bytes, descriptor.nb_components))
    {
        return false;
    }
    const VF::FrameBufferRef scratch =
        VF::FramePool::Instance().Acquire(static_cast<std::size_t>(inFrame.width) * sizeof(std::uint32_t));
    if (!scratch)
    {
        return false;
    }
    for (int c = 0; c < descriptor.nb_components; ++c)
    {
        const int plane = PlaneOfComponent(mPlanes, c);
        const bool isChroma = !mPlanes.isRGB && !mPlanes.isGray && (c == 1 || c == 2);
        const int count = isChroma ? -(-inFrame.width >> mPlanes.chromaShiftX) : inFrame.width;
        const int lines = isChroma ? -(-inFrame.height >> mPlanes.chromaShiftY) : inFrame.height;
        for (int y = 0; y < lines; ++y)
        {
            void* row = static_cast<std::uint8_t*>(const_cast<void*>(mPlanes.planes[plane])) +
                        y * mPlanes.strides[plane];
            if (mPlanes.isFloat)
            {
                ReadFloatRow(inFrame, descriptor, c, y, count, static_cast<std::uint32_t*>(row));
                continue;
            }
            auto* const values = static_cast<std::uint16_t*>(scratch.Data());
            ReadComponentRow(inFrame, descriptor, c, y, count, values);
            if (inFrame.format == AV_PIX_FMT_MONOWHITE)
            {
                InvertRow(values, count);
            }
            if (descriptor.comp[c].depth != bits)
            {
                WidenRow(values, count, descriptor.comp[c].depth, bits);
            }
            StoreRow(values, count, bits, row);
        }
    }
    return true;
}

// The one format whose luma doesn't lie at equal steps: U Y Y V Y Y for four pixels.
bool SourcePicture::UnpackUneven(const AVFrame& inFrame)
{
    constexpr int kGroupBytes = 6;
    constexpr int kLumaPlaces[4] = {1, 2, 4, 5};
    mPlanes.layout = ir::PlaneLayout::kPlanar;
    mPlanes.bitsPerSample = 8;
    if (!AllocatePlanes(1, 3))
    {
        return false;
    }
    const auto rowOf = [this](int inPlane, int inY)
    {
        return static_cast<std::uint8_t*>(const_cast<void*>(mPlanes.planes[inPlane])) +
               inY * mPlanes.strides[inPlane];
    };
    for (int y = 0; y < inFrame.height; ++y)
    {
        const std::uint8_t* from = inFrame.data[0] + static_cast<std::ptrdiff_t>(y) * inFrame.linesize[0];
        for (int x = 0; x < inFrame.width; ++x)
        {
            rowOf(0, y)[x] = from[x / 4 * kGroupBytes + kLumaPlaces[x % 4]];
        }
        for (int group = 0; group * 4 < inFrame.width; ++group)
        {
            // The last group may end with its first pixel, before its V.
            const bool isWhole = (group + 1) * kGroupBytes <= inFrame.linesize[0] || group == 0;
            rowOf(1, y)[group] = from[group * kGroupBytes];
            rowOf(2, y)[group] = from[(isWhole ? group : group - 1) * kGroupBytes + 3];
        }
    }
    return true;
}

// The colours between the dots of a sensor are made up by FFmpeg's own scaler.
bool SourcePicture::UnpackMosaic(const AVFrame& inFrame)
{
    const bool isDeep = DeepestComponent(*DescriptorOf(inFrame.format)) > 8;
    const AVPixelFormat unpacked = isDeep ? AV_PIX_FMT_RGB48LE : AV_PIX_FMT_RGB24;
    const FramePtr picture(av_frame_alloc());
    if (!picture)
    {
        return false;
    }
    picture->format = unpacked;
    picture->width = inFrame.width;
    picture->height = inFrame.height;
    SwsContext* scaler = sws_getContext(
        inFrame.width, inFrame.height, static_cast<AVPixelFormat>(inFrame.format), inFrame.width,
        inFrame.height, unpacked, SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    const bool isDone = scaler && av_frame_get_buffer(picture.get(), 0) >= 0 &&
                        sws_scale(scaler, inFrame.data, inFrame.linesize, 0, inFrame.height, picture->data,
                                  picture->linesize) == inFrame.height;
    sws_freeContext(scaler);
    return isDone && (UnpackRGB(*picture) || UnpackComponents(*picture));
}

} // namespace Media
