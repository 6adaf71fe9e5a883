#include "Tests/Applications/vrender/FieldClip.h"

#include "Tests/Applications/vrender/RunTool.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

namespace TestSupport
{

namespace
{

constexpr int kFirstMoment = 32;
constexpr int kFirstLine = 40;
constexpr int kGrey = 128;

int MomentOf(const FieldClip& inClip, int inFrame, int inLine)
{
    const bool isUpper = inLine % 2 == 0;
    const bool isLater = (inClip.mFields == ClipFields::kUpperFirst && !isUpper) ||
                         (inClip.mFields == ClipFields::kLowerFirst && isUpper);
    return 2 * inFrame + (isLater ? 1 : 0);
}

void AddLine(std::string& ioBytes, int inValue, int inWidth)
{
    ioBytes.append(static_cast<std::size_t>(inWidth), static_cast<char>(inValue));
}

// The planes of a frame: width and lines of its chroma.
struct Chroma
{
    int mWidth;
    int mLines;
};

Chroma ChromaOf(const FieldClip& inClip)
{
    return inClip.mSharesChroma ? Chroma{kFieldClipWidth / 2, (inClip.mHeight + 1) / 2}
                                : Chroma{kFieldClipWidth, inClip.mHeight};
}

std::string Picture(const FieldClip& inClip, int inFrame)
{
    const Chroma chroma = ChromaOf(inClip);
    std::string bytes;
    for (int y = 0; y < inClip.mHeight; ++y)
    {
        AddLine(bytes, kFirstMoment + kFieldStep * MomentOf(inClip, inFrame, y), kFieldClipWidth);
    }
    for (int y = 0; y < chroma.mLines; ++y)
    {
        AddLine(bytes, kFirstLine + kFieldStep * y, chroma.mWidth);
    }
    AddLine(bytes, kGrey, chroma.mWidth * chroma.mLines);
    return bytes;
}

// The one value of a line.
int ValueOf(const std::string& inBytes, std::size_t inOffset, int inWidth)
{
    const std::string line = inBytes.substr(inOffset, static_cast<std::size_t>(inWidth));
    EXPECT_EQ(line.find_first_not_of(line[0]), std::string::npos) << "a line of several colours";
    return static_cast<unsigned char>(line[0]);
}

FieldFrame ReadFrame(const FieldClip& inClip, const std::string& inBytes, std::size_t inOffset)
{
    const Chroma chroma = ChromaOf(inClip);
    const auto luma = static_cast<std::size_t>(kFieldClipWidth * inClip.mHeight);
    FieldFrame frame(static_cast<std::size_t>(inClip.mHeight));
    for (std::size_t y = 0; y < frame.size(); ++y)
    {
        frame[y].mMoment = ValueOf(inBytes, inOffset + y * kFieldClipWidth, kFieldClipWidth) - kFirstMoment;
    }
    for (std::size_t y = 0; y < static_cast<std::size_t>(chroma.mLines); ++y)
    {
        const std::size_t at = inOffset + luma + y * static_cast<std::size_t>(chroma.mWidth);
        frame[y].mLine = ValueOf(inBytes, at, chroma.mWidth) - kFirstLine;
    }
    return frame;
}

} // namespace

void WriteFieldClip(const std::string& inPath, const FieldClip& inClip)
{
    const char order = inClip.mFields == ClipFields::kUpperFirst   ? 't'
                       : inClip.mFields == ClipFields::kLowerFirst ? 'b'
                                                                   : 'p';
    std::string bytes = fmt::format("YUV4MPEG2 W{} H{} F25:1 I{} A1:1 C{}\n", kFieldClipWidth, inClip.mHeight,
                                    order, inClip.mSharesChroma ? "420mpeg2" : "444");
    for (int frame = 0; frame < inClip.mFrames; ++frame)
    {
        bytes += "FRAME\n" + Picture(inClip, frame);
    }
    WriteFile(inPath, bytes);
}

std::vector<FieldFrame> FramesOfFieldClip(const FieldClip& inClip, const std::vector<std::string>& inOptions)
{
    const ScratchFolder folder;
    const std::string clip = folder.File("clip.y4m");
    const std::string raw = folder.File("out.raw");
    WriteFieldClip(clip, inClip);
    std::vector<std::string> words = {"render", clip, raw, "--pix-fmt",
                                      inClip.mSharesChroma ? "yuv420p" : "yuv444p"};
    words.insert(words.end(), inOptions.begin(), inOptions.end());
    const ChildResult result = RunTool(words);
    EXPECT_EQ(result.exitCode, 0) << result.Describe();
    const std::string bytes = ReadFile(raw);
    const std::size_t frameBytes = Picture(inClip, 0).size();
    EXPECT_EQ(bytes.size() % frameBytes, 0u);
    std::vector<FieldFrame> frames;
    for (std::size_t at = 0; at + frameBytes <= bytes.size(); at += frameBytes)
    {
        frames.push_back(ReadFrame(inClip, bytes, at));
    }
    return frames;
}

} // namespace TestSupport
