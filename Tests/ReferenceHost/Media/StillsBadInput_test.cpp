#include "ReferenceHost/Media/VideoSourceBase.h"
#include "Tests/ReferenceHost/Media/OpenedMedia.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::TickTime;

namespace
{

// A PNG of noise whose header says another size.
void WriteWithHeader(const std::string& inPath, std::uint32_t inWidth, std::uint32_t inHeight)
{
    EncodeNoise(inPath);
    Bytes bytes = ReadBytes(inPath);
    for (std::size_t i = 0; i < 4; ++i)
    {
        bytes[16 + i] = static_cast<std::uint8_t>(inWidth >> (24 - 8 * i));
        bytes[20 + i] = static_cast<std::uint8_t>(inHeight >> (24 - 8 * i));
    }
    // The checksum of type and contents, so that only the size is wrong.
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 12; i < 29; ++i)
    {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
        {
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
        }
    }
    for (std::size_t i = 0; i < 4; ++i)
    {
        bytes[29 + i] = static_cast<std::uint8_t>(~crc >> (24 - 8 * i));
    }
    WriteBytes(inPath, bytes);
}

} // namespace

TEST(Stills, TornPicturesAreRefusedWithNameAndCause)
{
    const ScratchFolder scratch;
    const struct
    {
        const char* mFile;
        const char* mFormat;
        std::size_t mBytes;
    } files[] = {{"a.png", "rgb24", 3},      {"a.tif", "rgb24", 3}, {"a.dpx", "rgb24", 3},
                 {"a.exr", "gbrpf32le", 12}, {"a.bmp", "bgr24", 3}, {"a.jpg", "yuvj444p", 3},
                 {"a.ppm", "rgb24", 3},      {"a.sgi", "rgb24", 3}, {"a.tga", "bgr24", 3}};
    for (const auto& file : files)
    {
        const std::string whole = scratch.File(file.mFile);
        EncodeNoise(whole, file.mFormat, file.mBytes);
        const Bytes bytes = ReadBytes(whole);
        const std::string torn = scratch.File(std::string("torn-") + file.mFile);
        for (const std::size_t kept : {bytes.size() / 2, bytes.size() / 10, std::size_t{30}})
        {
            WriteBytes(torn, Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(kept)));
            OpenError error;
            EXPECT_FALSE(OpenMedia(torn, OpenOptions(), error)) << torn << " of " << kept;
            EXPECT_EQ(error.mKind, OpenErrorKind::kBadData) << error.mText;
            EXPECT_NE(error.mText.find(torn), std::string::npos) << error.mText;
            EXPECT_EQ(error.mText.find('\n'), std::string::npos);
        }
    }
}

TEST(Stills, PicturesBeyondTheLimitsAreRefusedByTheirHeader)
{
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    for (const auto& [width, height] :
         {std::pair{40000u, 40000u}, std::pair{16385u, 10u}, std::pair{10u, 16385u},
          std::pair{16000u, 16384u}, std::pair{0x7FFFFFFFu, 0x7FFFFFFFu}})
    {
        WriteWithHeader(path, width, height);
        OpenError error;
        EXPECT_FALSE(OpenMedia(path, OpenOptions(), error));
        EXPECT_EQ(error.mKind, OpenErrorKind::kTooLarge) << error.mText;
        EXPECT_NE(error.mText.find("too large"), std::string::npos) << error.mText;
        EXPECT_NE(error.mText.find(path), std::string::npos) << error.mText;
    }
}

TEST(Stills, LaterFileOfASequenceKeepsTheSameLimits)
{
    const ScratchFolder scratch;
    EncodeNoise(scratch.File("a1.png"));
    WriteWithHeader(scratch.File("a2.png"), 20000, 1000);
    const BE::IMediaInfoRef media = OpenOrFail(scratch.File("a%d.png"));
    const BE::IVideoSourceRef source = SourceOf(media);
    const TickTime second = TickTime::FromSeconds(0.04);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(FrameAt(source, second, norviktypes::kPixelFormat_Any, frame), BE::kSourceStatus_BadMedia);
    const std::string reason = IFrameFailureRef(source)->DescribeFailure(second);
    EXPECT_NE(reason.find("a2.png: the picture is too large"), std::string::npos) << reason;
}

TEST(Stills, SmallPictureThatMakesAHugeFrameIsRefused)
{
    // One bit a pixel is 20 MB, and its frame of four bytes a pixel 640 MB.
    constexpr int kSides[2] = {16000, 10000};
    const ScratchFolder scratch;
    const std::string path = scratch.File("a.png");
    EncodeStill(Bytes(std::size_t{kSides[0]} / 8 * kSides[1], 0), "monob", kSides[0], kSides[1], {}, path);
    OpenError error;
    EXPECT_FALSE(OpenMedia(path, OpenOptions(), error));
    EXPECT_EQ(error.mKind, OpenErrorKind::kTooLarge) << error.mText;
    EXPECT_NE(error.mText.find("16000x10000"), std::string::npos) << error.mText;
}
