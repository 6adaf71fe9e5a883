#include "VF/PNG.h"

#include "ReferenceHost/FrameLibrary/FramePool.h"
#include "ReferenceHost/FrameLibrary/PNGCodec.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace norviktypes;
using MF::IVideoFrameRef;
using norvik::utility::RecycledMemory;
using TestSupport::HaveEqualPixels;
using Memory = std::shared_ptr<const RecycledMemory>;

namespace
{

IVideoFrameRef NoisyFrame(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
{
    IVideoFrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, inFormat, inWidth, inHeight, {16, 15}, false, false), 0);
    TestSupport::FillWithNoise(frame, inWidth * 1000 + inHeight);
    return frame;
}

bool IsFloat(const PixelFormat& inFormat)
{
    return (inFormat.mProperties & 0x10) != 0;
}

// Noise in the bits that a format doesn't use is nothing that must come back.
void MaskUnusedBits(const IVideoFrameRef& inFrame)
{
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(inFrame, pixels));
    if (DepthOfProperties(pixels.mFormat.mProperties) != 10)
    {
        return;
    }
    const bool isPlanar = IsSubsampled(pixels.mFormat.mProperties);
    for (std::uint64_t at = 0; at < pixels.mGeometry.mTotalBytes; at += 4)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, pixels.mPixels + at, 4);
        word &= isPlanar ? 0x03FF03FFu : 0x3FFFFFFFu;
        std::memcpy(pixels.mPixels + at, &word, 4);
    }
    if (!isPlanar && pixels.mWidth % 6 != 0)
    {
        // Samples of a group beyond the last pair of pixels.
        const std::uint32_t used = (pixels.mWidth % 6 + 1) / 2 * 4;
        for (std::uint32_t line = 0; line < pixels.mHeight; ++line)
        {
            std::uint8_t* const group = pixels.Row(0, line) + pixels.mWidth / 6 * 16;
            for (std::uint32_t sample = used; sample < 12; ++sample)
            {
                std::uint32_t word = 0;
                std::memcpy(&word, group + sample / 3 * 4, 4);
                word &= ~(0x3FFu << sample % 3 * 10);
                std::memcpy(group + sample / 3 * 4, &word, 4);
            }
        }
    }
}

Memory FromBytes(const std::vector<std::uint8_t>& inBytes)
{
    const std::shared_ptr<RecycledMemory> memory = RecycledMemory::Create();
    memory->Allocate(inBytes.size());
    if (!inBytes.empty())
    {
        std::memcpy(memory->Buffer(), inBytes.data(), inBytes.size());
    }
    return memory;
}

std::vector<std::uint8_t> BytesOf(const Memory& inMemory)
{
    const auto* const bytes = static_cast<const std::uint8_t*>(inMemory->Buffer());
    return {bytes, bytes + inMemory->Size()};
}

class CollectingTarget final : public VF::IPNGRowTarget
{
public:
    explicit CollectingTarget(std::size_t inRowBytes) : mRow(inRowBytes) {}
    std::uint8_t* PlaceForRow(std::uint32_t) noexcept override { return mRow.data(); }
    void RowIsThere(std::uint32_t) noexcept override
    {
        mBytes.insert(mBytes.end(), mRow.begin(), mRow.end());
    }

    std::vector<std::uint8_t> mRow;
    std::vector<std::uint8_t> mBytes;
};

// The rows of the picture, top row first.
std::vector<std::uint8_t> RowsIn(const Memory& inMemory)
{
    const auto reader = VF::PNGReader::Open(inMemory->Buffer(), inMemory->Size());
    CollectingTarget target(VF::PNGRowBytes(reader->Header()));
    EXPECT_TRUE(reader->ReadRows(target));
    return target.mBytes;
}

std::uint32_t Crc(const std::uint8_t* inBytes, std::size_t inSize)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 0; i < inSize; ++i)
    {
        crc ^= inBytes[i];
        for (int bit = 0; bit < 8; ++bit)
        {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320u : 0);
        }
    }
    return ~crc;
}

std::uint32_t BigEndian(const std::uint8_t* inBytes)
{
    return static_cast<std::uint32_t>(inBytes[0]) << 24 | static_cast<std::uint32_t>(inBytes[1]) << 16 |
           static_cast<std::uint32_t>(inBytes[2]) << 8 | inBytes[3];
}

void PutBigEndian(std::uint8_t* outBytes, std::uint32_t inValue)
{
    for (int i = 0; i < 4; ++i)
    {
        outBytes[i] = static_cast<std::uint8_t>(inValue >> (24 - 8 * i));
    }
}

// Replaces inFrom by inTo, of the same length, and mends the checksum of the chunk that holds it.
std::vector<std::uint8_t> Forged(std::vector<std::uint8_t> inBytes, const std::string& inFrom,
                                 const std::string& inTo)
{
    for (std::size_t at = 8; at + 12 <= inBytes.size();)
    {
        const std::size_t length = BigEndian(inBytes.data() + at);
        const auto begin = inBytes.begin() + static_cast<std::ptrdiff_t>(at + 8);
        const auto end = begin + static_cast<std::ptrdiff_t>(length);
        const auto found = std::search(begin, end, inFrom.begin(), inFrom.end());
        if (found != end)
        {
            std::copy(inTo.begin(), inTo.end(), found);
            PutBigEndian(inBytes.data() + at + 8 + length, Crc(inBytes.data() + at + 4, length + 4));
            return inBytes;
        }
        at += length + 12;
    }
    ADD_FAILURE() << "nothing to forge: " << inFrom;
    return inBytes;
}

} // namespace

TEST(PNG, EachFormatOf8To16BitsComesBackExactly)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        for (const auto& [width, height] : {std::pair{64u, 32u}, {61u, 31u}, {1u, 1u}, {6u, 2u}, {50u, 3u}})
        {
            if (IsFloat(row.mFormat))
            {
                continue;
            }
            SCOPED_TRACE(std::string(row.mText) + " " + std::to_string(width));
            const IVideoFrameRef frame = NoisyFrame(row.mFormat, width, height);
            MaskUnusedBits(frame);
            frame->Freeze();
            const Memory bytes = VF::CompressPNG(frame);
            ASSERT_TRUE(bytes);
            const IVideoFrameRef back = VF::DecompressPNG(bytes);
            ASSERT_TRUE(back);
            EXPECT_TRUE(HaveEqualPixels(back, frame));
            EXPECT_FALSE(back->IsFrozen());
        }
    }
}

// Such pictures are kept without what is the same in each pixel.
TEST(PNG, WhoseLastByteIsSetComesBackExactlyAndTakesLess)
{
    std::size_t formats = 0;
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        if (!IsPackedFourComponent(row.mFormat.mProperties) ||
            DepthOfProperties(row.mFormat.mProperties) != 8)
        {
            continue;
        }
        SCOPED_TRACE(row.mText);
        ++formats;
        const IVideoFrameRef frame = NoisyFrame(row.mFormat, 61, 31);
        VF::FramePixels pixels;
        ASSERT_TRUE(VF::GetFramePixels(frame, pixels));
        for (std::uint32_t y = 0; y < 31; ++y)
        {
            for (std::size_t x = 0; x < 61; ++x)
            {
                pixels.Row(0, y)[4 * x + 3] = 0xFF;
            }
        }
        const std::vector<std::uint8_t> bytes = BytesOf(VF::CompressPNG(frame));
        EXPECT_EQ(bytes[25], 2) << "RGB";
        const IVideoFrameRef back = VF::DecompressPNG(FromBytes(bytes));
        ASSERT_TRUE(back);
        EXPECT_TRUE(HaveEqualPixels(back, frame));
        pixels.Row(0, 30)[4 * 60 + 3] = 0xFE; // and one pixel that isn't so
        const std::vector<std::uint8_t> more = BytesOf(VF::CompressPNG(frame));
        EXPECT_EQ(more[25], 6) << "RGBA";
        EXPECT_GT(more.size(), bytes.size());
        const IVideoFrameRef moreBack = VF::DecompressPNG(FromBytes(more));
        ASSERT_TRUE(moreBack);
        EXPECT_TRUE(HaveEqualPixels(moreBack, frame));
    }
    EXPECT_GT(formats, 3u);
}

TEST(PNG, BytesThatAreSetInWordsAreNoComponent)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_16u, 16, 2);
    VF::FramePixels pixels;
    ASSERT_TRUE(VF::GetFramePixels(frame, pixels));
    for (std::size_t x = 0; x < 16; ++x)
    {
        pixels.Row(0, 0)[4 * x + 3] = 0xFF;
        pixels.Row(0, 1)[4 * x + 3] = 0xFF;
    }
    const IVideoFrameRef back = VF::DecompressPNG(VF::CompressPNG(frame));
    ASSERT_TRUE(back);
    EXPECT_TRUE(HaveEqualPixels(back, frame));
}

TEST(PNG, FloatFormatsAreRefused)
{
    for (const PixelFormatRow& row : kPixelFormatTable)
    {
        if (IsFloat(row.mFormat))
        {
            EXPECT_FALSE(VF::CompressPNG(NoisyFrame(row.mFormat, 8, 8))) << row.mText;
        }
    }
}

TEST(PNG, WhatThePictureLacksComesBack)
{
    const IVideoFrameRef frame = NoisyFrame(kPixelFormat_BGRA_4444_8u, 16, 16);
    frame->SetPixelAspectRatio({4294967295u, 2});
    frame->SetFieldType(kFieldType_LowerFirst);
    frame->SetAlphaType(kAlphaChannel_Premultiplied);
    frame->SetOrigin({-7, 2147483647});
    frame->SetContentRect({-1, 2, 30, -2147483647});
    const IVideoFrameRef back = VF::DecompressPNG(VF::CompressPNG(frame));
    ASSERT_TRUE(back);
    PixelAspectRatio ratio;
    back->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, PixelAspectRatio(4294967295u, 2));
    EXPECT_EQ(back->GetFieldType(), kFieldType_LowerFirst);
    EXPECT_EQ(back->GetAlphaType(), kAlphaChannel_Premultiplied);
    TVK::Point origin;
    back->GetOrigin(origin);
    EXPECT_EQ(origin, (TVK::Point{-7, 2147483647}));
    TVK::Rect content;
    ASSERT_TRUE(back->GetContentRect(content));
    EXPECT_EQ(content, (TVK::Rect{-1, 2, 30, -2147483647}));
}

TEST(PNG, FrameWithoutContentRectComesBackWithoutOne)
{
    const IVideoFrameRef back =
        VF::DecompressPNG(VF::CompressPNG(NoisyFrame(kPixelFormat_BGRX_4444_8u, 16, 16)));
    ASSERT_TRUE(back);
    TVK::Rect content;
    EXPECT_FALSE(back->GetContentRect(content));
    EXPECT_EQ(back->GetAlphaType(), kAlphaChannel_Opaque);
    TVK::Point origin;
    back->GetOrigin(origin);
    EXPECT_EQ(origin, (TVK::Point{-1, -1}));
}

TEST(PNG, BytesArePNG)
{
    const std::vector<std::uint8_t> bytes =
        BytesOf(VF::CompressPNG(NoisyFrame(kPixelFormat_BGRA_4444_16u, 9, 5)));
    const std::uint8_t signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    ASSERT_GT(bytes.size(), 33u);
    EXPECT_TRUE(std::equal(std::begin(signature), std::end(signature), bytes.begin()));
    EXPECT_EQ(BigEndian(bytes.data() + 16), 9u);
    EXPECT_EQ(BigEndian(bytes.data() + 20), 5u);
    EXPECT_EQ(bytes[24], 16) << "bits";
    EXPECT_EQ(bytes[25], 6) << "RGBA";
}

TEST(PNG, NothingGivesNoFrame)
{
    EXPECT_FALSE(VF::DecompressPNG(nullptr));
    EXPECT_FALSE(VF::DecompressPNG(RecycledMemory::Create()));
    EXPECT_FALSE(VF::DecompressPNG(FromBytes({0x89})));
    EXPECT_FALSE(VF::DecompressPNG(FromBytes(std::vector<std::uint8_t>(1000, 0x50))));
    EXPECT_THROW(VF::CompressPNG({}), TVK::NullInterfaceException);
}

TEST(PNG, EachTornPictureGivesNoFrame)
{
    const std::vector<std::uint8_t> whole =
        BytesOf(VF::CompressPNG(NoisyFrame(kPixelFormat_BGRA_4444_8u, 13, 7)));
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        const auto end = whole.begin() + static_cast<std::ptrdiff_t>(length);
        ASSERT_FALSE(VF::DecompressPNG(FromBytes({whole.begin(), end}))) << length << " of " << whole.size();
    }
    EXPECT_TRUE(VF::DecompressPNG(FromBytes(whole)));
}

TEST(PNG, EachFlippedBitGivesNoFrame)
{
    for (const PixelFormat& format : {kPixelFormat_BGRA_4444_8u, kPixelFormat_YUV_420_MPEG2_Frame_10u_709})
    {
        const std::vector<std::uint8_t> whole = BytesOf(VF::CompressPNG(NoisyFrame(format, 8, 4)));
        const std::size_t step = 8 * whole.size() / TestSupport::ScaledCount(8 * whole.size());
        for (std::size_t bit = 0; bit < 8 * whole.size(); bit += step)
        {
            std::vector<std::uint8_t> bytes = whole;
            bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ 1u << bit % 8);
            ASSERT_FALSE(VF::DecompressPNG(FromBytes(bytes))) << "byte " << bit / 8 << " bit " << bit % 8;
        }
    }
}

TEST(PNG, RandomDamageNeverGivesAnotherFrame)
{
    std::mt19937_64 random(TestSupport::Seed());
    const std::vector<std::uint8_t> whole =
        BytesOf(VF::CompressPNG(NoisyFrame(kPixelFormat_UYVY_422_8u_601, 33, 9)));
    const std::size_t count = TestSupport::ScaledCount(3000);
    for (std::size_t i = 0; i < count; ++i)
    {
        std::vector<std::uint8_t> bytes = whole;
        const std::size_t first = random() % bytes.size();
        const std::size_t length = random() % 64 + 1;
        switch (random() % 3)
        {
        case 0:
            bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(first),
                        bytes.begin() + static_cast<std::ptrdiff_t>(std::min(first + length, bytes.size())));
            break;
        case 1:
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(first), length,
                         static_cast<std::uint8_t>(random()));
            break;
        default:
            for (std::size_t at = first; at < std::min(first + length, bytes.size()); ++at)
            {
                bytes[at] = static_cast<std::uint8_t>(random());
            }
        }
        if (bytes != whole)
        {
            ASSERT_FALSE(VF::DecompressPNG(FromBytes(bytes))) << i;
        }
    }
}

TEST(PNG, PictureOfAnotherWriterGivesNoFrame)
{
    const std::vector<std::uint8_t> whole =
        BytesOf(VF::CompressPNG(NoisyFrame(kPixelFormat_BGRA_4444_8u, 8, 4)));
    ASSERT_TRUE(VF::DecompressPNG(FromBytes(whole)));
    for (const char* keyword :
         {"Frame format", "Frame size", "Pixel aspect", "Field and alpha type", "Origin"})
    {
        std::string other = keyword;
        other[0] = 'X';
        EXPECT_FALSE(VF::DecompressPNG(FromBytes(Forged(whole, keyword, other)))) << keyword;
    }
}

TEST(PNG, NotesThatDoNotFitThePictureGiveNoFrame)
{
    const std::vector<std::uint8_t> whole =
        BytesOf(VF::CompressPNG(NoisyFrame(kPixelFormat_BGRA_4444_8u, 80, 40)));
    const std::pair<const char*, const char*> forgeries[] = {{"80 40", "80 41"},
                                                             {"80 40", "40 80"},
                                                             {"80 40", "80x40"},
                                                             {"80 40", "80 -1"},
                                                             {"80 40", " 8040"},
                                                             {"80 40", "80 4 "},
                                                             {"80 40", "0 040"},
                                                             {"BGRA_4444_8u", "UYVY_422_8u_"},
                                                             {"BGRA_4444_8u", "BGRQ_4444_8u"},
                                                             {"BGRA_4444_8u", "VUYA_4444_8U"},
                                                             {"-1 -1", "-1 --"},
                                                             {"-1 -1", "-1 1x"},
                                                             {"0 1", "9 1"},
                                                             {"0 1", "0 9"}};
    for (const auto& [from, to] : forgeries)
    {
        EXPECT_FALSE(VF::DecompressPNG(FromBytes(Forged(whole, from, to)))) << from << " to " << to;
    }
    EXPECT_TRUE(VF::DecompressPNG(FromBytes(Forged(whole, "BGRA_4444_8u", "VUYA_4444_8u")))) << "which fits";
}

TEST(PNG, BottomUpFrameIsAnUprightPicture)
{
    IVideoFrameRef turned;
    const IVideoFrameRef upright = NoisyFrame(kPixelFormat_BGRA_4444_8u, 13, 7);
    ASSERT_EQ(VF::CreateVideoFrame(turned, kPixelFormat_BGRA_4444_8u_BottomUp, 13, 7, {1, 1}, false, false),
              0);
    ASSERT_EQ(VF::VideoFrameManipulators::CopyFrame(upright, turned, kRenderQuality_High), 0);
    EXPECT_EQ(RowsIn(VF::CompressPNG(turned)), RowsIn(VF::CompressPNG(upright)));
}

TEST(PNG, PictureWithMoreDataThanItSaysGivesNoFrame)
{
    std::vector<std::uint8_t> bytes = BytesOf(VF::CompressPNG(NoisyFrame(kPixelFormat_BGRA_4444_8u, 80, 40)));
    PutBigEndian(bytes.data() + 20, 39);
    PutBigEndian(bytes.data() + 29, Crc(bytes.data() + 12, 17));
    EXPECT_FALSE(VF::DecompressPNG(FromBytes(Forged(bytes, "80 40", "80 39"))));
}

TEST(PNG, SmallFileThatClaimsAHugePictureIsRefusedWithoutMemory)
{
    IVideoFrameRef frame;
    ASSERT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 1000, 1000, {1, 1}, true, true), 0);
    std::vector<std::uint8_t> bytes = BytesOf(VF::CompressPNG(frame));
    ASSERT_TRUE(VF::DecompressPNG(FromBytes(bytes)));
    PutBigEndian(bytes.data() + 16, 9999);
    PutBigEndian(bytes.data() + 20, 9999);
    PutBigEndian(bytes.data() + 29, Crc(bytes.data() + 12, 17));
    const std::vector<std::uint8_t> huge = Forged(bytes, "1000 1000", "9999 9999");
    const auto asked = []
    {
        const VF::FramePoolCounters counters = VF::FramePool::Instance().GetCounters();
        return counters.mAllocations + counters.mReuses;
    };
    const std::uint64_t before = asked();
    EXPECT_FALSE(VF::DecompressPNG(FromBytes(huge)));
    EXPECT_EQ(asked(), before);
}
