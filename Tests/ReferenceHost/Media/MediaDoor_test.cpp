#include "BE/IMediaInfo.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "ReferenceHost/Media/Media.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

using namespace Media;
using namespace MediaTests;
using namespace TestSupport;

namespace
{

struct Answer
{
    BE::IMediaInfoRef mMedia;
    OpenError mError;

    const MediaFacts& Facts() const { return IMediaFactsRef(mMedia)->GetFacts(); }
};

Answer Open(const std::string& inPath, const OpenOptions& inOptions = OpenOptions())
{
    Answer answer;
    answer.mMedia = OpenMedia(inPath, inOptions, answer.mError);
    EXPECT_EQ(static_cast<bool>(answer.mMedia), !answer.mError) << answer.mError.mText;
    EXPECT_EQ(answer.mError.mText.find('\n'), std::string::npos);
    return answer;
}

void MakePicture(const std::string& inPath, const std::vector<std::string>& inOptions = {})
{
    std::vector<std::string> words = {"-f", "lavfi", "-i", "testsrc2=s=64x48", "-frames:v", "1"};
    words.insert(words.end(), inOptions.begin(), inOptions.end());
    words.push_back(inPath);
    RunFFmpeg(words);
}

void MakeMovie(const std::string& inPath)
{
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-frames:v", "5", "-c:v", "mpeg4", "-f", "mov",
               inPath});
}

} // namespace

TEST(MediaDoor, TellsFilesStillsSequencesAndSyntheticMediaApart)
{
    const ScratchFolder scratch;
    MakePicture(scratch.File("a1.png"));
    MakeMovie(scratch.File("a.mov"));

    const Answer still = Open(scratch.File("a1.png"));
    ASSERT_TRUE(still.mMedia);
    EXPECT_TRUE(still.mMedia->IsStill());
    EXPECT_TRUE(still.mMedia->IsFileSource());

    const Answer sequence = Open(scratch.File("a%d.png"));
    ASSERT_TRUE(sequence.mMedia);
    EXPECT_FALSE(sequence.mMedia->IsStill());
    EXPECT_EQ(sequence.Facts().mFrameCount, 1);
    EXPECT_EQ(sequence.Facts().mFrameRate, (Ratio{25, 1}));

    const Answer movie = Open(scratch.File("a.mov"));
    ASSERT_TRUE(movie.mMedia);
    EXPECT_FALSE(movie.mMedia->IsStill());
    EXPECT_EQ(movie.Facts().mFrameCount, 5);

    const Answer synthetic = Open("counter:size=64x64:duration=7");
    ASSERT_TRUE(synthetic.mMedia);
    EXPECT_FALSE(synthetic.mMedia->IsFileSource());
    EXPECT_EQ(synthetic.Facts().mFrameCount, 7);
}

TEST(MediaDoor, ContentCountsMoreThanTheName)
{
    const ScratchFolder scratch;
    MakePicture(scratch.File("a.png"));
    MakePicture(scratch.File("b.jpg"), {"-pix_fmt", "yuvj420p"});
    MakeMovie(scratch.File("c.mov"));
    std::filesystem::rename(scratch.File("a.png"), scratch.File("picture.mov"));
    std::filesystem::rename(scratch.File("b.jpg"), scratch.File("picture"));
    std::filesystem::rename(scratch.File("c.mov"), scratch.File("movie.dat"));
    EXPECT_EQ(Open(scratch.File("picture.mov")).Facts().mCodec, "png");
    EXPECT_TRUE(Open(scratch.File("picture.mov")).mMedia->IsStill());
    EXPECT_EQ(Open(scratch.File("picture")).Facts().mCodec, "mjpeg");
    EXPECT_TRUE(Open(scratch.File("picture")).mMedia->IsStill());
    EXPECT_EQ(Open(scratch.File("movie.dat")).Facts().mFrameCount, 5);
}

TEST(MediaDoor, NamesThatMeanSomethingElsewhereAreOnlyNames)
{
    const ScratchFolder scratch;
    MakePicture(scratch.File("plain.png"));
    MakeMovie(scratch.File("plain.mov"));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(scratch.Path());
    for (const char* name :
         {"-a.png", "file:a.png", "a%b.png", "100%.png", "a*.png", "a?[x]{y,z}.png", "bars:", "color:red",
          "concat:a", "Straße 日本.png", "a b.png", "crypto:x.png", "pipe:0"})
    {
        std::filesystem::copy_file("plain.png", name);
        const Answer answer = Open(name);
        EXPECT_TRUE(answer.mMedia && answer.mMedia->IsStill()) << name << ": " << answer.mError.mText;
    }
    for (const char* name : {"-a.mov", "http:a.mov", "a%03d.mov", "counter:"})
    {
        std::filesystem::copy_file("plain.mov", name);
        const Answer answer = Open(name);
        EXPECT_TRUE(answer.mMedia && answer.Facts().mFrameCount == 5) << name << ": " << answer.mError.mText;
    }
    std::filesystem::current_path(before);
}

TEST(MediaDoor, EachFailureHasItsKindAndNamesTheInput)
{
    const ScratchFolder scratch;
    const auto fails = [&](const std::string& inPath, OpenErrorKind inKind)
    {
        const Answer answer = Open(inPath);
        EXPECT_FALSE(answer.mMedia) << inPath;
        EXPECT_EQ(static_cast<int>(answer.mError.mKind), static_cast<int>(inKind)) << answer.mError.mText;
        EXPECT_NE(answer.mError.mText.find(inPath), std::string::npos) << answer.mError.mText;
    };
    fails(scratch.File("none.mov"), OpenErrorKind::kNoInput);
    fails(scratch.File("none/none.png"), OpenErrorKind::kNoInput);
    fails(scratch.Path(), OpenErrorKind::kBadData);
    std::ofstream(scratch.File("empty.png")).flush();
    fails(scratch.File("empty.png"), OpenErrorKind::kBadData);
    std::ofstream(scratch.File("text.png")) << "This is no picture, whatever its name says.";
    fails(scratch.File("text.png"), OpenErrorKind::kBadData);
    std::ofstream(scratch.File("text.mov")) << "This is no movie, whatever its name says.";
    fails(scratch.File("text.mov"), OpenErrorKind::kBadData);
    RunFFmpeg({"-f", "lavfi", "-i", "sine", "-t", "0.2", scratch.File("tone.wav")});
    fails(scratch.File("tone.wav"), OpenErrorKind::kNotVideo);
    fails("bars:size=1x", OpenErrorKind::kBadUsage);
    fails("color:mauve", OpenErrorKind::kBadUsage);
    fails("", OpenErrorKind::kBadUsage);
}

TEST(MediaDoor, AnErrorOfBeforeIsForgottenOnSuccess)
{
    OpenError error{OpenErrorKind::kIOError, "old"};
    EXPECT_TRUE(OpenMedia("bars:", OpenOptions(), error));
    EXPECT_FALSE(error);
    EXPECT_EQ(error.mText, "");
}

TEST(MediaDoor, MediaOfOneStreamHaveNoOther)
{
    const ScratchFolder scratch;
    MakePicture(scratch.File("a1.png"));
    OpenOptions options;
    options.mStreamIndex = 0;
    EXPECT_TRUE(Open(scratch.File("a1.png"), options).mMedia);
    options.mStreamIndex = 1;
    for (const std::string& path : {scratch.File("a1.png"), scratch.File("a%d.png"), std::string("bars:")})
    {
        const Answer answer = Open(path, options);
        EXPECT_FALSE(answer.mMedia);
        EXPECT_EQ(answer.mError.mKind, OpenErrorKind::kNotVideo);
        EXPECT_NE(answer.mError.mText.find("no stream 1"), std::string::npos) << answer.mError.mText;
    }
}

TEST(MediaDoor, FactsOfAStillAreItsOwn)
{
    const ScratchFolder scratch;
    MakePicture(scratch.File("a.jpg"), {"-pix_fmt", "yuvj420p"});
    const Answer answer = Open(scratch.File("a.jpg"));
    ASSERT_TRUE(answer.mMedia);
    const MediaFacts& facts = answer.Facts();
    EXPECT_EQ(facts.mCodec, "mjpeg");
    EXPECT_EQ(facts.mCodedFormat, "yuvj420p");
    EXPECT_EQ(facts.mNativeFormat, "YUV_420_Center_Frame_8u_601_Full");
    EXPECT_EQ(facts.mColor.mRange, "pc");
    EXPECT_EQ(facts.mFrameRate, (Ratio{0, 0}));
    EXPECT_EQ(facts.mFrameCount, 1);
    EXPECT_EQ(facts.mDuration, norviktypes::kTime_Max);
    EXPECT_FALSE(facts.mHasFrameGrid);
    EXPECT_FALSE(facts.mHasAudio);
    ASSERT_EQ(facts.mStreams.size(), 1u);
    EXPECT_EQ(facts.mStreams[0].mDescription, "64x48");
}

TEST(MediaDoor, PixelAspectOfAStillIsKept)
{
    const ScratchFolder scratch;
    MakePicture(scratch.File("a.png"), {"-vf", "setsar=16/11"});
    const Answer answer = Open(scratch.File("a.png"));
    ASSERT_TRUE(answer.mMedia);
    const BE::IVideoSourceRef source(answer.mMedia->GetStream(MF::kMediaType_Video, 0));
    norviktypes::PixelAspectRatio ratio;
    source->GetPixelAspectRatio(ratio);
    // PNG tells it in whole pixels a unit, so it comes back nearly.
    EXPECT_NEAR(ratio.AsDouble(), 16.0 / 11.0, 0.001);
}
