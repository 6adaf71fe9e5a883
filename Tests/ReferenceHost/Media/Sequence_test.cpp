#include "ReferenceHost/FrameLibrary/PNGFile.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/Stills/SequencePattern.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "Tests/ReferenceHost/Media/CounterReader.h"
#include "Tests/ReferenceHost/Media/OpenedMedia.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/PixelMatchers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;
using norviktypes::TickTime;

namespace
{

std::int32_t Get(const BE::IVideoSourceRef& inSource, const TickTime& inTime, MF::IVideoFrameRef& outFrame,
                 bool inAtOnce = false)
{
    return FrameAt(inSource, inTime, norviktypes::kPixelFormat_BGRA_4444_8u, outFrame, inAtOnce);
}

TVK::Guid KeyAt(const BE::IVideoSourceRef& inSource, const TickTime& inTime)
{
    return inSource->GetFrameKey(inTime, BE::FrameDescription(), MF::BinaryData(),
                                 norviktypes::ColorProfile());
}

// Frame inNumber of a counter of that size, as a PNG.
void WriteCounter(const std::string& inPath, std::int64_t inNumber, const std::string& inSize = "160x96")
{
    const BE::IVideoSourceRef counter = SourceOf(OpenOrFail("counter:rate=25:size=" + inSize));
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Get(counter, TickTime::FromFrame(inNumber, norviktypes::FrameRate::FromRational(25, 1)), frame),
              0);
    std::string error;
    ASSERT_TRUE(VF::WritePNGFile(frame, inPath, error)) << error;
}

// The number that the frame at inTime shows, or -1.
std::int64_t Shown(const BE::IVideoSourceRef& inSource, const TickTime& inTime)
{
    MF::IVideoFrameRef frame;
    CounterReading reading;
    return Get(inSource, inTime, frame) == 0 && ReadCounter(frame, reading) ? std::int64_t{reading.mFrame}
                                                                            : -1;
}

TickTime At(double inSeconds)
{
    return TickTime::FromSeconds(inSeconds);
}

SequencePattern Pattern(const std::string& inText)
{
    SequencePattern pattern;
    EXPECT_TRUE(ParseSequencePattern(inText, pattern)) << inText;
    return pattern;
}

} // namespace

TEST(SequencePattern, NamesFilesAsPrintfWould)
{
    EXPECT_EQ(Pattern("shot%05d.png").FileName(7), "shot00007.png");
    EXPECT_EQ(Pattern("shot%05d.png").FileName(1234567), "shot1234567.png");
    EXPECT_EQ(Pattern("%d").FileName(42), "42");
    EXPECT_EQ(Pattern("a%01d.b").FileName(10), "a10.b");
    EXPECT_EQ(Pattern("100%%-%03d%%.png").FileName(5), "100%-005%.png");
    EXPECT_EQ(Pattern("/x/y.z/s%02d.png").Path(3), "/x/y.z/s03.png");
    EXPECT_EQ(Pattern("/s%02d.png").Path(3), "/s03.png");
    EXPECT_EQ(Pattern("s%02d.png").Path(3), "s03.png");
    EXPECT_EQ(Pattern("a%02d/b%02d.png").Path(3), "a%02d/b03.png");
}

TEST(SequencePattern, OtherTextsAreNone)
{
    for (const char* text : {"shot.png", "", "%", "%%", "50%.png", "%5d.png", "%s.png", "%05i.png",
                             "%d-%d.png", "%00d.png", "%019d.png", "%-5d.png", "a%0", "dir%05d/shot.png"})
    {
        SequencePattern pattern;
        EXPECT_FALSE(ParseSequencePattern(text, pattern)) << text;
    }
}

TEST(SequencePattern, OnlyFilesThatItWouldNameBelongToIt)
{
    const ScratchFolder scratch;
    for (const char* name :
         {"s0007.png", "s0010.png", "s12345.png", "s7.png", "s00007.png", "s0x07.png", "s0008.jpg",
          "as0009.png", "s0011.png~", "s-001.png", "s.png", "s99999999999999999999.png"})
    {
        std::ofstream(scratch.File(name)) << "x";
    }
    std::vector<std::int64_t> numbers;
    ASSERT_TRUE(ListSequence(Pattern(scratch.File("s%04d.png")), numbers));
    EXPECT_EQ(numbers, (std::vector<std::int64_t>{7, 10, 12345}));
    ASSERT_TRUE(ListSequence(Pattern(scratch.File("s%d.png")), numbers));
    EXPECT_EQ(numbers, (std::vector<std::int64_t>{7, 12345}));
    EXPECT_FALSE(ListSequence(Pattern(scratch.File("none/s%d.png")), numbers));
}

TEST(Sequence, EachFileIsAFrameFromTheLowestNumberOn)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {98, 99, 100, 101, 102})
    {
        WriteCounter(scratch.File("f" + std::to_string(n) + ".png"), n);
    }
    const BE::IMediaInfoRef media = OpenOrFail(scratch.File("f%d.png"));
    ASSERT_TRUE(media);
    const BE::IVideoSourceRef source = SourceOf(media);
    for (std::int64_t n = 0; n < 5; ++n)
    {
        EXPECT_EQ(Shown(source, At(0.04 * static_cast<double>(n))), 98 + n);
        EXPECT_EQ(Shown(source, At(0.04 * static_cast<double>(n) + 0.0399)), 98 + n);
    }
    EXPECT_EQ(Shown(source, At(-3.0)), 98);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(source, At(0.2), frame), BE::kSourceStatus_PastEnd);
    EXPECT_FALSE(frame);
}

TEST(Sequence, HasAGridOfTwentyFiveOrOfTheRateThatIsGiven)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {0, 1, 2})
    {
        WriteCounter(scratch.File("f00" + std::to_string(n) + ".png"), n);
    }
    OpenOptions options;
    for (const auto& [rate, ratio] :
         {std::pair{norviktypes::FrameRate(), Ratio{25, 1}},
          std::pair{norviktypes::FrameRate::FromRational(30000, 1001), Ratio{30000, 1001}},
          std::pair{norviktypes::FrameRate::FromRational(1, 2), Ratio{1, 2}}})
    {
        options.mSequenceRate = rate;
        const BE::IMediaInfoRef media = OpenOrFail(scratch.File("f%03d.png"), options);
        const BE::IVideoSourceRef source = SourceOf(media);
        const norviktypes::FrameRate expected =
            norviktypes::FrameRate::FromRational(ratio.mNumerator, ratio.mDenominator);
        norviktypes::FrameRate reported;
        source->GetFrameRate(reported);
        EXPECT_EQ(reported, expected);
        EXPECT_FALSE(BE::IVideoStreamInfoRef(source)->HasNoFrameGrid());
        EXPECT_FALSE(source->IsImageSource());
        TickTime duration;
        MF::ISourceRef(source)->GetDuration(duration);
        EXPECT_EQ(duration, TickTime::FromFrame(3, expected));
        EXPECT_EQ(Shown(source, TickTime::FromFrame(2, expected)), 2);
        const MediaFacts& facts = IMediaFactsRef(media)->GetFacts();
        EXPECT_EQ(facts.mFrameRate, ratio);
        EXPECT_EQ(facts.mFrameCount, 3);
        EXPECT_FALSE(facts.mIsStill);
        EXPECT_TRUE(facts.mHasFrameGrid);
        EXPECT_FALSE(media->IsStill());
        EXPECT_EQ(facts.mCodec, "png");
    }
}

TEST(Sequence, MissingNumberIsOneFrameThatCannotBeRead)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {1, 2, 4})
    {
        WriteCounter(scratch.File("f" + std::to_string(n) + ".png"), n);
    }
    const BE::IMediaInfoRef media = OpenOrFail(scratch.File("f%d.png"));
    const BE::IVideoSourceRef source = SourceOf(media);
    EXPECT_EQ(IMediaFactsRef(media)->GetFacts().mFrameCount, 4);
    EXPECT_EQ(Shown(source, At(0.04)), 2);
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(source, At(0.08), frame), kSourceStatus_MissingFrame);
    EXPECT_LT(kSourceStatus_MissingFrame, 0);
    EXPECT_FALSE(frame);
    const std::string reason = IFrameFailureRef(source)->DescribeFailure(At(0.08));
    EXPECT_NE(reason.find(scratch.File("f3.png")), std::string::npos) << reason;
    EXPECT_NE(reason.find("frame 2"), std::string::npos) << reason;
    EXPECT_EQ(IFrameFailureRef(source)->DescribeFailure(At(0.04)), "");
    EXPECT_EQ(Shown(source, At(0.12)), 4);
    bool isNoted = false;
    for (const std::string& note : IMediaFactsRef(media)->GetFacts().mNotes)
    {
        isNoted = isNoted || note.find("1 of the numbers") != std::string::npos;
    }
    EXPECT_TRUE(isNoted);
}

TEST(Sequence, DamagedFileIsOneFrameThatCannotBeRead)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {1, 2, 3, 4})
    {
        WriteCounter(scratch.File("f" + std::to_string(n) + ".png"), n);
    }
    std::filesystem::resize_file(scratch.File("f2.png"), 200);
    std::ofstream(scratch.File("f3.png")) << "no picture at all";
    const BE::IVideoSourceRef source = SourceOf(OpenOrFail(scratch.File("f%d.png")));
    MF::IVideoFrameRef frame;
    for (const double seconds : {0.04, 0.08})
    {
        EXPECT_EQ(Get(source, At(seconds), frame), BE::kSourceStatus_BadMedia);
        EXPECT_FALSE(frame);
    }
    const std::string reason = IFrameFailureRef(source)->DescribeFailure(At(0.04));
    EXPECT_NE(reason.find(scratch.File("f2.png")), std::string::npos) << reason;
    EXPECT_EQ(Shown(source, At(0.0)), 1);
    EXPECT_EQ(Shown(source, At(0.12)), 4);
    EXPECT_EQ(IFrameFailureRef(source)->DescribeFailure(At(0.12)), "");
}

TEST(Sequence, FileThatVanishesLaterIsReported)
{
    const ScratchFolder scratch;
    WriteCounter(scratch.File("f1.png"), 1);
    WriteCounter(scratch.File("f2.png"), 2);
    const BE::IVideoSourceRef source = SourceOf(OpenOrFail(scratch.File("f%d.png")));
    std::filesystem::remove(scratch.File("f2.png"));
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(source, At(0.04), frame), BE::kSourceStatus_BadMedia);
    const std::string reason = IFrameFailureRef(source)->DescribeFailure(At(0.04));
    EXPECT_NE(reason.find("No such file"), std::string::npos) << reason;
}

TEST(Sequence, LaterFilesOfAnotherSizeAreScaledToTheFirst)
{
    const ScratchFolder scratch;
    WriteCounter(scratch.File("f1.png"), 1, "160x96");
    WriteCounter(scratch.File("f2.png"), 2, "320x192");
    WriteCounter(scratch.File("f3.png"), 3, "120x120");
    const BE::IVideoSourceRef source = SourceOf(OpenOrFail(scratch.File("f%d.png")));
    for (const std::int64_t n : {0, 1, 2})
    {
        MF::IVideoFrameRef frame;
        ASSERT_EQ(Get(source, At(0.04 * static_cast<double>(n)), frame), 0);
        TVK::Rect bounds;
        frame->GetBounds(bounds);
        EXPECT_EQ(bounds, (TVK::Rect{0, 0, 160, 96}));
        EXPECT_EQ(Shown(source, At(0.04 * static_cast<double>(n))), n + 1);
    }
}

TEST(Sequence, NothingIsDecodedAtOnce)
{
    const ScratchFolder scratch;
    WriteCounter(scratch.File("f1.png"), 1);
    const BE::IVideoSourceRef source = SourceOf(OpenOrFail(scratch.File("f%d.png")));
    MF::IVideoFrameRef frame;
    EXPECT_EQ(Get(source, TickTime(), frame, true), kSourceStatus_NotAtHand);
    EXPECT_FALSE(frame);
}

TEST(Sequence, KeysFollowEveryFile)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {1, 2, 3})
    {
        WriteCounter(scratch.File("f" + std::to_string(n) + ".png"), n);
    }
    const std::string name = scratch.File("f%d.png");
    const BE::IMediaInfoRef media = OpenOrFail(name);
    const norvik::UTF8String hash = media->GetContentHash();
    const TVK::Guid first = KeyAt(SourceOf(media), TickTime());
    EXPECT_NE(first, TVK::Guid());
    EXPECT_NE(KeyAt(SourceOf(media), At(0.04)), first);
    EXPECT_EQ(KeyAt(SourceOf(media), At(0.03)), first);
    EXPECT_EQ(KeyAt(SourceOf(OpenOrFail(name)), TickTime()), first);
    std::filesystem::last_write_time(scratch.File("f1.png"),
                                     std::filesystem::last_write_time(scratch.File("f1.png")) +
                                         std::chrono::seconds(2));
    EXPECT_NE(KeyAt(SourceOf(OpenOrFail(name)), TickTime()), first);
    EXPECT_NE(media->GetContentHash(), hash);
}

TEST(Sequence, FileOfThatVeryNameWins)
{
    const ScratchFolder scratch;
    WriteCounter(scratch.File("f1.png"), 1);
    WriteCounter(scratch.File("f%d.png"), 77);
    const BE::IMediaInfoRef media = OpenOrFail(scratch.File("f%d.png"));
    ASSERT_TRUE(media);
    EXPECT_TRUE(media->IsStill());
    EXPECT_EQ(Shown(SourceOf(media), TickTime()), 77);
}

TEST(Sequence, NoFileOfSuchANameIsNoInput)
{
    const ScratchFolder scratch;
    OpenError error;
    EXPECT_FALSE(OpenMedia(scratch.File("f%04d.png"), OpenOptions(), error));
    EXPECT_EQ(error.mKind, OpenErrorKind::kNoInput);
    EXPECT_NE(error.mText.find("f0001.png"), std::string::npos) << error.mText;
    EXPECT_FALSE(OpenMedia(scratch.File("none/f%04d.png"), OpenOptions(), error));
    EXPECT_EQ(error.mKind, OpenErrorKind::kNoInput);
}

TEST(Sequence, UnreadableFirstFileAndEndlessRangesAreRefused)
{
    const ScratchFolder scratch;
    std::ofstream(scratch.File("f1.png")) << "no picture at all";
    OpenError error;
    EXPECT_FALSE(OpenMedia(scratch.File("f%d.png"), OpenOptions(), error));
    EXPECT_EQ(error.mKind, OpenErrorKind::kBadData);
    EXPECT_NE(error.mText.find("f1.png"), std::string::npos) << error.mText;

    WriteCounter(scratch.File("g1.png"), 1);
    WriteCounter(scratch.File("g999999999999999999.png"), 2);
    EXPECT_FALSE(OpenMedia(scratch.File("g%d.png"), OpenOptions(), error));
    EXPECT_EQ(error.mKind, OpenErrorKind::kBadUsage);
    EXPECT_NE(error.mText.find("time axis"), std::string::npos) << error.mText;
}

TEST(SequenceFrames, CountFromANumberInSteps)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {1, 2, 3, 5, 6, 7, 9, 11})
    {
        WriteCounter(scratch.File("f" + std::to_string(n) + ".png"), n);
    }
    OpenOptions options;
    options.mSequenceFrames.mFirst = 3;
    options.mSequenceFrames.mStep = 2;
    const BE::IMediaInfoRef media = OpenOrFail(scratch.File("f%d.png"), options);
    const BE::IVideoSourceRef source = SourceOf(media);
    EXPECT_EQ(IMediaFactsRef(media)->GetFacts().mFrameCount, 5);
    for (std::int64_t frame = 0; frame < 5; ++frame)
    {
        EXPECT_EQ(Shown(source, At(0.04 * static_cast<double>(frame))), 3 + 2 * frame);
    }
    options.mSequenceFrames.mCount = 2;
    EXPECT_EQ(IMediaFactsRef(OpenOrFail(scratch.File("f%d.png"), options))->GetFacts().mFrameCount, 2);
    options.mSequenceFrames.mFirst = 12;
    OpenError error;
    EXPECT_FALSE(OpenMedia(scratch.File("f%d.png"), options, error));
    EXPECT_EQ(error.mKind, OpenErrorKind::kNoInput);
    EXPECT_NE(error.mText.find("f12.png"), std::string::npos) << error.mText;
}

TEST(SequenceFrames, WithoutAFileFailHoldOrAreBlack)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {11, 12, 15})
    {
        WriteCounter(scratch.File("f" + std::to_string(n) + ".png"), n);
    }
    constexpr std::int64_t kMissing = -1;
    const auto shown = [&](MissingFiles inMissing)
    {
        OpenOptions options;
        options.mSequenceFrames = {10, 1, 8, inMissing};
        const BE::IVideoSourceRef source = SourceOf(OpenOrFail(scratch.File("f%d.png"), options));
        std::vector<std::int64_t> numbers;
        for (std::int64_t frame = 0; frame < 8; ++frame)
        {
            numbers.push_back(Shown(source, At(0.04 * static_cast<double>(frame))));
        }
        return numbers;
    };
    const std::vector<std::int64_t> gaps{kMissing, 11, 12, kMissing, kMissing, 15, kMissing, kMissing};
    EXPECT_EQ(shown(MissingFiles::kFail), gaps);
    EXPECT_EQ(shown(MissingFiles::kBlack), gaps) << "black is no number";
    EXPECT_EQ(shown(MissingFiles::kHold), (std::vector<std::int64_t>{11, 11, 12, 12, 12, 15, 15, 15}));

    OpenOptions options;
    options.mSequenceFrames = {10, 1, 8, MissingFiles::kBlack};
    const BE::IVideoSourceRef source = SourceOf(OpenOrFail(scratch.File("f%d.png"), options));
    MF::IVideoFrameRef frame;
    BE::FrameDescription bgra;
    bgra.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    ASSERT_EQ(source->GetRenderedFrame(At(0.12), bgra, {}, {}, false, frame), 0);
    EXPECT_EQ(TestSupport::PixelAt(frame, 80, 48), (std::vector<std::uint8_t>{0, 0, 0, 255}));
    EXPECT_EQ(IFrameFailureRef(source)->DescribeFailure(At(0.12)), "");
    EXPECT_EQ(Get(source, At(0.32), frame), BE::kSourceStatus_PastEnd);
}

TEST(SequenceFrames, OfAnotherChoiceAreOtherMedia)
{
    const ScratchFolder scratch;
    for (const std::int64_t n : {1, 2, 3, 4})
    {
        WriteCounter(scratch.File("f" + std::to_string(n) + ".png"), n);
    }
    std::vector<TVK::Guid> keys;
    for (const SequenceFrames& frames :
         {SequenceFrames{}, SequenceFrames{2, 1, 0, MissingFiles::kFail},
          SequenceFrames{{}, 2, 0, MissingFiles::kFail}, SequenceFrames{{}, 1, 3, MissingFiles::kFail},
          SequenceFrames{{}, 1, 0, MissingFiles::kHold}, SequenceFrames{{}, 1, 0, MissingFiles::kBlack}})
    {
        OpenOptions options;
        options.mSequenceFrames = frames;
        const TVK::Guid key = KeyAt(SourceOf(OpenOrFail(scratch.File("f%d.png"), options)), TickTime());
        EXPECT_EQ(std::count(keys.begin(), keys.end(), key), 0) << keys.size();
        keys.push_back(key);
    }
}
