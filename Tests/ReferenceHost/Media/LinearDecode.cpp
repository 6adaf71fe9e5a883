#include "LinearDecode.h"

#include <cctype>
#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "Tests/Support/ChildProcess.h"

namespace MediaTests
{

std::vector<LinearFrame> DecodeLinearly(const std::string& inPath, int inStream, const std::string& inDecoder)
{
    TestSupport::ChildRequest request;
    request.words = {"ffmpeg", "-nostdin", "-v", "error", "-threads", "1"};
    if (!inDecoder.empty())
    {
        request.words.insert(request.words.end(), {"-c:v", inDecoder});
    }
    for (const char* word : {"-noautorotate", "-i"})
    {
        request.words.emplace_back(word);
    }
    request.words.push_back("file:" + inPath);
    for (const std::string& word :
         {std::string("-map"), "0:" + std::to_string(inStream), std::string("-autoscale"), std::string("0"),
          std::string("-fps_mode"), std::string("passthrough"), std::string("-enc_time_base"),
          std::string("1:1000000"), std::string("-f"), std::string("framecrc"), std::string("-")})
    {
        request.words.push_back(word);
    }
    const TestSupport::ChildResult result = TestSupport::RunChild(request);
    if (result.exitCode != 0)
    {
        throw std::runtime_error(inPath + ": " + result.Describe());
    }
    std::vector<LinearFrame> frames;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);)
    {
        long long dts = 0;
        long long pts = 0;
        long long duration = 0;
        long long size = 0;
        unsigned checksum = 0;
        if (std::sscanf(line.c_str(), "0, %lld, %lld, %lld, %lld, 0x%x", &dts, &pts, &duration, &size,
                        &checksum) == 5)
        {
            frames.push_back({pts, checksum});
        }
    }
    return frames;
}

const std::vector<std::string>& ClipNames()
{
    static const std::vector<std::string> sNames = {"h264_b.mp4",
                                                    "h264_open.ts",
                                                    "h264_ntsc.mkv",
                                                    "h264_paff_like.mp4",
                                                    "h264_444.mp4",
                                                    "h264_10.mkv",
                                                    "h264_refresh.mp4",
                                                    "h264_pyramid.mp4",
                                                    "h264_fragmented.mp4",
                                                    "h264_raw.h264",
                                                    "h264_b.avi",
                                                    "hevc.mkv",
                                                    "hevc_10.mp4",
                                                    "hevc_open.ts",
                                                    "mpeg2_interlaced.mpg",
                                                    "mpeg2_interlaced.ts",
                                                    "mpeg2_interlaced.mkv",
                                                    "mpeg2_422.mxf",
                                                    "mpeg2_raw.m2v",
                                                    "mpeg1.mpg",
                                                    "mpeg4_b.avi",
                                                    "prores.mov",
                                                    "prores_4444.mov",
                                                    "dnxhr.mov",
                                                    "mjpeg.mov",
                                                    "mjpeg.avi",
                                                    "vp8.webm",
                                                    "vp9.webm",
                                                    "vp9_alpha.webm",
                                                    "av1.mp4",
                                                    "ffv1.mkv",
                                                    "ffv1_alpha.mkv",
                                                    "ffv1_444_10.mkv",
                                                    "ffv1_gray16.mkv",
                                                    "raw_i420.avi",
                                                    "raw_uyvy.avi",
                                                    "v210.mov",
                                                    "qtrle_alpha.mov",
                                                    "utvideo.avi",
                                                    "huffyuv.avi",
                                                    "png.mov",
                                                    "animation.gif",
                                                    "vfr.mkv",
                                                    "vfr.mp4",
                                                    "negative.mkv",
                                                    "negative.mp4",
                                                    "anamorphic.mp4",
                                                    "timecode.mov",
                                                    "edit_list.mp4",
                                                    "cut_in_group.ts",
                                                    "rotated.mp4",
                                                    "cover.mp4",
                                                    "two_videos.mkv",
                                                    "paff.h264",
                                                    "paff.ts",
                                                    "paff.mkv",
                                                    "size_change.ts",
                                                    "spliced.ts",
                                                    "hdr_pq.mkv"};
    return sNames;
}

std::string DecoderFor(const std::string& inClip)
{
    return inClip == "vp9_alpha.webm" ? "libvpx-vp9" : "";
}

std::string TestName(const std::string& inClip)
{
    std::string name = inClip;
    for (char& character : name)
    {
        character = std::isalnum(static_cast<unsigned char>(character)) ? character : '_';
    }
    return name;
}

}
