#include "ReferenceHost/FrameLibrary/PNGFile.h"
#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "Tests/ReferenceHost/Media/CounterReader.h"
#include "Tests/ReferenceHost/Media/OpenedMedia.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/PixelMatchers.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::TickTime;

namespace
{

constexpr int kThreads = 8;
const norviktypes::FrameRate kRate = norviktypes::FrameRate::FromRational(25, 1);

BE::IVideoSourceRef OpenSource(const std::string& inPath)
{
    return BE::IVideoSourceRef(OpenOrFail(inPath)->GetStream(MF::kMediaType_Video, 0));
}

MF::IVideoFrameRef Frame(const BE::IVideoSourceRef& inSource, std::int64_t inNumber,
                         const norviktypes::PixelFormat& inFormat)
{
    MF::IVideoFrameRef frame;
    FrameAt(inSource, TickTime::FromFrame(inNumber, kRate), inFormat, frame);
    return frame;
}

void OnThreads(const std::function<void(std::mt19937_64&)>& inWork)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                std::mt19937_64 random(Seed() + static_cast<std::uint64_t>(t));
                inWork(random);
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

} // namespace

TEST(StillsUnderThreads, EveryReaderOfACounterGetsItsFrame)
{
    const BE::IVideoSourceRef source = OpenSource("counter:size=160x96");
    std::atomic<int> wrong{0};
    OnThreads(
        [&](std::mt19937_64& ioRandom)
        {
            for (std::size_t i = 0; i < ScaledCount(200); ++i)
            {
                const std::int64_t number = static_cast<std::int64_t>(ioRandom() % 100000);
                CounterReading reading;
                const bool isRead = ReadCounter(
                    Frame(source, number, norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709), reading);
                wrong += isRead && reading.mFrame == number ? 0 : 1;
            }
        });
    EXPECT_EQ(wrong, 0);
}

TEST(StillsUnderThreads, ReadersOfASequenceDecodeSideBySide)
{
    const ScratchFolder scratch;
    const BE::IVideoSourceRef counter = OpenSource("counter:size=160x96");
    constexpr std::int64_t kFrames = 12;
    for (std::int64_t n = 0; n < kFrames; ++n)
    {
        std::string error;
        ASSERT_TRUE(VF::WritePNGFile(Frame(counter, n, norviktypes::kPixelFormat_BGRX_4444_8u),
                                     scratch.File("f" + std::to_string(n) + ".png"), error))
            << error;
    }
    const BE::IVideoSourceRef source = OpenSource(scratch.File("f%d.png"));
    std::atomic<int> wrong{0};
    OnThreads(
        [&](std::mt19937_64& ioRandom)
        {
            for (std::size_t i = 0; i < ScaledCount(60); ++i)
            {
                const std::int64_t number = static_cast<std::int64_t>(ioRandom() % kFrames);
                CounterReading reading;
                const bool isRead =
                    ReadCounter(Frame(source, number, norviktypes::kPixelFormat_BGRA_4444_8u), reading);
                wrong += isRead && reading.mFrame == number ? 0 : 1;
            }
        });
    EXPECT_EQ(wrong, 0);
}

TEST(StillsUnderThreads, ReadersOfAStillSeeOnePictureWhileTheCacheIsEmptiedUnderThem)
{
    const ScratchFolder scratch;
    std::string error;
    ASSERT_TRUE(VF::WritePNGFile(
        Frame(OpenSource("counter:size=160x96"), 4711, norviktypes::kPixelFormat_BGRX_4444_8u),
        scratch.File("a.png"), error))
        << error;
    const BE::IVideoSourceRef source = OpenSource(scratch.File("a.png"));
    const norviktypes::PixelFormat formats[] = {norviktypes::kPixelFormat_Any,
                                                norviktypes::kPixelFormat_BGRA_4444_16u,
                                                norviktypes::kPixelFormat_YUV_422_Planar_8u_709};
    std::atomic<int> wrong{0};
    OnThreads(
        [&](std::mt19937_64& ioRandom)
        {
            for (std::size_t i = 0; i < ScaledCount(200); ++i)
            {
                if (ioRandom() % 16 == 0)
                {
                    VF::SharedVideoFrameCache::Clear();
                }
                CounterReading reading;
                const bool isRead = ReadCounter(Frame(source, 0, formats[ioRandom() % 3]), reading);
                wrong += isRead && reading.mFrame == 4711 ? 0 : 1;
            }
        });
    EXPECT_EQ(wrong, 0);
}
