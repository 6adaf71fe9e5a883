#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

using namespace TestSupport;

// 4:2:0 that is deinterlaced or blended stays in its planes until it is converted, once, to what the output wants; and
// where that is 4:2:0 as well its chroma rows are those of the file.
namespace
{

constexpr std::size_t kWidth = 96;
constexpr std::size_t kHeight = 66;
constexpr std::size_t kFrames = 6;
constexpr const char* kTags =
    " -color_primaries bt709 -color_trc bt709 -colorspace bt709 -color_range tv -c:v ffv1 ";

enum class Kind
{
    kInterlaced,
    kProgressive
};

class ConformPlanes : public testing::Test
{
protected:
    std::string Clip(Kind inKind, const std::string& inFormat)
    {
        const bool hasFields = inKind == Kind::kInterlaced;
        const std::string path = mFolder.File((hasFields ? "fields_" : "frames_") + inFormat + ".mkv");
        const std::string filters =
            "format=" + inFormat + (hasFields ? ",tinterlace=interleave_top,setfield=tff" : "");
        RunFFmpeg("-y -f lavfi -i testsrc2=s=96x66:r=50 -vf " + filters + " -frames:v " +
                  std::to_string(kFrames) + kTags + (hasFields ? "-field_order tt " : "") + path);
        return path;
    }

    std::string Rendered(const std::string& inClip, const std::string& inName,
                         std::vector<std::string> inWords)
    {
        const std::string path = mFolder.File(inName);
        inWords.insert(inWords.begin(), {"render", inClip, path, "--overwrite"});
        const ChildResult result = RunTool(inWords);
        EXPECT_EQ(result.exitCode, 0) << result.Describe();
        return path;
    }

    std::string Bytes(const std::string& inClip, const std::string& inFormat,
                      std::vector<std::string> inWords)
    {
        inWords.insert(inWords.end(), {"--pix-fmt", inFormat});
        return ReadFile(Rendered(inClip, "out.raw", std::move(inWords)));
    }

    // By way of a file that holds the planes which inOptions lead to.
    std::string BytesInTwoSteps(const std::string& inClip, const std::string& inPlanes,
                                const std::string& inFormat, std::vector<std::string> inOptions)
    {
        inOptions.insert(inOptions.end(), {"--codec", "ffv1", "--pix-fmt", inPlanes});
        return Bytes(Rendered(inClip, "planes.mkv", std::move(inOptions)), inFormat, {});
    }

    // As the file has them.
    std::string Decoded(const std::string& inClip, const std::string& inFormat)
    {
        const std::string path = mFolder.File("decoded.raw");
        RunFFmpeg("-y -i " + inClip + " -f rawvideo -pix_fmt " + inFormat + " " + path);
        return ReadFile(path);
    }

private:
    const ScratchFolder mFolder;
};

// The rows of 8-bit 4:2:0, of all frames and planes.
struct Row
{
    std::size_t mFrame;
    std::size_t mNumber; // in its plane
    std::string mBytes;
};

std::vector<Row> RowsOf(const std::string& inBytes)
{
    std::vector<Row> rows;
    std::size_t at = 0;
    for (std::size_t frame = 0; at < inBytes.size(); ++frame)
    {
        for (std::size_t plane = 0; plane < 3; ++plane)
        {
            const std::size_t width = plane == 0 ? kWidth : kWidth / 2;
            for (std::size_t row = 0; row < (plane == 0 ? kHeight : kHeight / 2); ++row)
            {
                rows.push_back({frame, row, inBytes.substr(at, width)});
                at += width;
            }
        }
    }
    return rows;
}

} // namespace

TEST_F(ConformPlanes, DeinterlacedFramesHaveTheRowsOfTheFirstField)
{
    const std::string clip = Clip(Kind::kInterlaced, "yuv420p");
    const std::vector<Row> file = RowsOf(Decoded(clip, "yuv420p"));
    for (const char* quality : {"draft", "medium", "high"})
    {
        const std::vector<Row> made = RowsOf(Bytes(clip, "yuv420p", {"--deinterlace", "--quality", quality}));
        ASSERT_EQ(made.size(), file.size());
        std::size_t changed = 0;
        for (std::size_t i = 0; i < made.size(); ++i)
        {
            const bool isUpper = file[i].mNumber % 2 == 0;
            changed += made[i].mBytes != file[i].mBytes ? 1 : 0;
            EXPECT_TRUE(!isUpper || made[i].mBytes == file[i].mBytes)
                << quality << ", frame " << file[i].mFrame << ", row " << file[i].mNumber;
        }
        EXPECT_GT(changed, made.size() / 8) << "the other field's rows are made anew";
    }
}

TEST_F(ConformPlanes, ConsecutiveFramesGiveTheirRowsToTheFields)
{
    const std::string clip = Clip(Kind::kProgressive, "yuv420p");
    const std::vector<Row> file = RowsOf(Decoded(clip, "yuv420p"));
    const std::vector<Row> made = RowsOf(Bytes(clip, "yuv420p", {"--interlace-consecutive"}));
    ASSERT_EQ(made.size(), file.size() / 2);
    const std::size_t rowsOfFrame = file.size() / kFrames;
    for (std::size_t i = 0; i < made.size(); ++i)
    {
        const std::size_t frame = 2 * made[i].mFrame + made[i].mNumber % 2;
        EXPECT_EQ(made[i].mBytes, file[frame * rowsOfFrame + i % rowsOfFrame].mBytes)
            << "frame " << made[i].mFrame << ", row " << made[i].mNumber;
    }
}

TEST_F(ConformPlanes, DeinterlacedFramesAreConvertedWhenTheyAreMade)
{
    struct Case
    {
        const char* mPlanes;
        const char* mWished;
        const char* mQuality;
    };
    for (const Case& each : {Case{"yuv420p", "bgra", "medium"}, Case{"yuv420p", "bgra", "high"},
                             Case{"yuv420p", "yuv444p", "high"}, Case{"yuv420p", "bgra64le", "medium"},
                             Case{"yuv422p", "bgra", "high"}, Case{"yuv420p10le", "bgra", "high"},
                             Case{"yuv422p10le", "bgra64le", "medium"}})
    {
        const std::string clip = Clip(Kind::kInterlaced, each.mPlanes);
        const std::vector<std::string> options = {"--deinterlace", "--quality", each.mQuality};
        const std::string bytes = Bytes(clip, each.mWished, options);
        EXPECT_FALSE(bytes.empty());
        EXPECT_TRUE(bytes == BytesInTwoSteps(clip, each.mPlanes, each.mWished, options))
            << each.mPlanes << " to " << each.mWished << ", " << each.mQuality;
    }
}

TEST_F(ConformPlanes, BlendedFramesAreConvertedWhenTheyAreMade)
{
    const std::vector<std::string> options = {"--speed", "0.4", "--blend"};
    for (const Kind kind : {Kind::kProgressive, Kind::kInterlaced})
    {
        std::vector<std::string> words = options;
        if (kind == Kind::kInterlaced)
        {
            words.emplace_back("--deinterlace");
        }
        const std::string clip = Clip(kind, "yuv420p");
        EXPECT_TRUE(Bytes(clip, "bgra", words) == BytesInTwoSteps(clip, "yuv420p", "bgra", words));
        // More bits hold more of a mean than the planes do.
        EXPECT_FALSE(Bytes(clip, "bgra64le", words) == BytesInTwoSteps(clip, "yuv420p", "bgra64le", words));
    }
}

TEST_F(ConformPlanes, WorkInLightIsNotDoneInPlanes)
{
    const std::string clip = Clip(Kind::kInterlaced, "yuv420p");
    const std::vector<std::string> best = {"--deinterlace", "--quality", "max"};
    EXPECT_FALSE(Bytes(clip, "bgra", best) ==
                 BytesInTwoSteps(clip, "yuv420p", "bgra", {"--deinterlace", "--quality", "high"}));
    const std::vector<std::string> usual = {"--deinterlace", "--quality", "medium"};
    EXPECT_FALSE(Bytes(clip, "gbrpf32le", usual) == BytesInTwoSteps(clip, "yuv420p", "gbrpf32le", usual));
}

TEST_F(ConformPlanes, ScaledFramesAreOfTheirSize)
{
    const std::string clip = Clip(Kind::kInterlaced, "yuv420p");
    EXPECT_EQ(Bytes(clip, "yuv420p", {"--deinterlace", "--size", "48x34"}).size(), kFrames * 48 * 34 * 3 / 2);
    EXPECT_EQ(Bytes(clip, "bgra", {"--deinterlace", "--size", "48x34"}).size(), kFrames * 48 * 34 * 4);
}

TEST_F(ConformPlanes, SameFramesWithAnyNumberOfThreadsAndACacheThatIsColdOrHot)
{
    const std::string clip = Clip(Kind::kInterlaced, "yuv420p");
    const ScratchFolder folder;
    for (const char* format : {"bgra", "yuv420p"})
    {
        const auto sums = [&](const std::vector<std::string>& inWords)
        {
            std::vector<std::string> words = {"render",    clip,   "null:",        "--checksum",
                                              "--pix-fmt", format, "--deinterlace"};
            words.insert(words.end(), inWords.begin(), inWords.end());
            const ChildResult result = RunTool(words);
            EXPECT_EQ(result.exitCode, 0) << result.Describe();
            return SumsOf(result.out);
        };
        const std::vector<std::string> expected = sums({"--threads", "1"});
        ASSERT_EQ(expected.size(), kFrames);
        EXPECT_EQ(sums({"--threads", "2"}), expected);
        EXPECT_EQ(sums({"--threads", "4"}), expected);
        const std::string cache = folder.File(format);
        EXPECT_EQ(sums({"--disk-cache", cache, "--threads", "2"}), expected) << "cold";
        EXPECT_EQ(sums({"--disk-cache", cache, "--threads", "2"}), expected) << "hot";
    }
}
