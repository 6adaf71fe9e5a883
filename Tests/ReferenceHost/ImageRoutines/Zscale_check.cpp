#include <cmath>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <random>

#include "ReferenceHost/ImageRoutines/Planes.h"
#include "Tests/Support/Paths.h"

// Agreement with FFmpeg's zscale filter, which is zimg through other hands: same matrices, ranges, siting and
// filter.
namespace
{

bool Runs(const std::string& inCommand)
{
    return std::system((inCommand + " >/dev/null 2>&1").c_str()) == 0;
}

bool HasZscale()
{
    static const bool sHas = Runs("ffmpeg -hide_banner -filters | grep -q ' zscale '");
    return sHas;
}

std::vector<unsigned char> ReadAll(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

struct Case
{
    const char* name;
    const char* pixelFormat;
    const char* options; // what zscale is told of its input
    ir::PlanarDescription description;
    std::int32_t targetWidth;
    std::int32_t targetHeight;
};

constexpr std::int32_t kWidth = 96;
constexpr std::int32_t kHeight = 64;

ir::PlanarDescription Described(int inBits, int inShiftX, int inShiftY, ir::Matrix inMatrix)
{
    ir::PlanarDescription description;
    description.width = kWidth;
    description.height = kHeight;
    description.bitsPerSample = inBits;
    description.chromaShiftX = inShiftX;
    description.chromaShiftY = inShiftY;
    description.matrix = inMatrix;
    return description;
}

ir::PlanarDescription With(ir::PlanarDescription inDescription, void (*inChange)(ir::PlanarDescription&))
{
    inChange(inDescription);
    return inDescription;
}

// Noise over every code for conversions at equal size. Where the order of steps may differ between two users
// of one scaler (what is enlarged first, what is clipped before it is mapped), waves of legal colours with a
// little noise.
unsigned CodeAt(const ir::PlanarDescription& inDescription, int inPlane, std::int32_t inX, std::int32_t inY,
                bool inIsNoise, std::mt19937& ioRandom)
{
    const unsigned noise = static_cast<unsigned>(ioRandom());
    if (inIsNoise)
    {
        return noise & ((1U << inDescription.bitsPerSample) - 1);
    }
    const double wave = inPlane == 0 ? 110.0 + 50.0 * std::sin(inX * 0.09) * std::cos(inY * 0.07)
                                     : 128.0 + 16.0 * std::sin(inX * 0.11 + inPlane) * std::cos(inY * 0.13);
    const unsigned grain = inPlane == 0 ? noise % 3 : 0;
    return static_cast<unsigned>((wave + grain) * (1 << (inDescription.bitsPerSample - 8)));
}

std::vector<unsigned char> MakePlanes(const ir::PlanarDescription& inDescription, bool inIsNoise,
                                      ir::PlanarPicture& outPicture)
{
    const std::int32_t sample = inDescription.bitsPerSample == 8 ? 1 : 2;
    const std::int32_t chromaWidth = kWidth >> inDescription.chromaShiftX;
    const std::int32_t chromaHeight = kHeight >> inDescription.chromaShiftY;
    std::vector<unsigned char> bytes;
    std::mt19937 random(404);
    std::size_t firsts[3] = {};
    for (int plane = 0; plane < 3; ++plane)
    {
        firsts[plane] = bytes.size();
        const std::int32_t width = plane == 0 ? kWidth : chromaWidth;
        for (std::int32_t i = 0; i < width * (plane == 0 ? kHeight : chromaHeight); ++i)
        {
            const unsigned code = CodeAt(inDescription, plane, i % width, i / width, inIsNoise, random);
            bytes.push_back(static_cast<unsigned char>(code & 0xFF));
            if (sample == 2)
            {
                bytes.push_back(static_cast<unsigned char>(code >> 8));
            }
        }
    }
    static_cast<ir::PlanarDescription&>(outPicture) = inDescription;
    for (int plane = 0; plane < 3; ++plane)
    {
        outPicture.planes[plane] = bytes.data() + firsts[plane];
        outPicture.strides[plane] = (plane == 0 ? kWidth : chromaWidth) * sample;
    }
    return bytes;
}

const std::vector<Case>& Cases()
{
    using ir::ChromaSiting;
    using ir::Matrix;
    static const std::vector<Case> sCases = {
        {"yuv420p_709", "yuv420p", "min=709:rin=limited:cin=left", Described(8, 1, 1, Matrix::k709), kWidth,
         kHeight},
        {"yuv420p_601", "yuv420p", "min=170m:rin=limited:cin=left", Described(8, 1, 1, Matrix::k601), kWidth,
         kHeight},
        {"yuv420p_full_centre", "yuv420p", "min=470bg:rin=full:cin=center",
         With(Described(8, 1, 1, Matrix::k601),
              [](ir::PlanarDescription& ioD)
              {
                  ioD.isFullRange = true;
                  ioD.siting = ChromaSiting::kCenter;
              }),
         kWidth, kHeight},
        {"yuv420p_top_left", "yuv420p", "min=709:rin=limited:cin=topleft",
         With(Described(8, 1, 1, Matrix::k709),
              [](ir::PlanarDescription& ioD) { ioD.siting = ChromaSiting::kTopLeft; }),
         kWidth, kHeight},
        {"yuv422p_709", "yuv422p", "min=709:rin=limited:cin=left", Described(8, 1, 0, Matrix::k709), kWidth,
         kHeight},
        {"yuv444p_709", "yuv444p", "min=709:rin=limited:cin=left", Described(8, 0, 0, Matrix::k709), kWidth,
         kHeight},
        {"yuv420p10_709", "yuv420p10le", "min=709:rin=limited:cin=left", Described(10, 1, 1, Matrix::k709),
         kWidth, kHeight},
        {"yuv422p10_2020", "yuv422p10le", "min=2020_ncl:rin=limited:cin=left",
         Described(10, 1, 0, Matrix::k2020NonConstant), kWidth, kHeight},
        {"yuv420p12_709", "yuv420p12le", "min=709:rin=limited:cin=left", Described(12, 1, 1, Matrix::k709),
         kWidth, kHeight},
        {"yuv420p_709_halved", "yuv420p", "min=709:rin=limited:cin=left", Described(8, 1, 1, Matrix::k709),
         kWidth / 2, kHeight / 2},
        {"yuv420p10_709_enlarged", "yuv420p10le", "min=709:rin=limited:cin=left",
         Described(10, 1, 1, Matrix::k709), kWidth * 3 / 2, kHeight * 3 / 2},
        {"yuv420p10_pq_2020", "yuv420p10le",
         "min=2020_ncl:rin=limited:cin=left:tin=smpte2084:pin=2020:t=709:p=709:m=gbr",
         With(Described(10, 1, 1, Matrix::k2020NonConstant),
              [](ir::PlanarDescription& ioD)
              {
                  ioD.transfer = ir::Transfer::kPQ;
                  ioD.primaries = ir::Primaries::k2020;
              }),
         kWidth, kHeight},
        {"yuv420p10_hlg_2020", "yuv420p10le",
         "min=2020_ncl:rin=limited:cin=left:tin=arib-std-b67:pin=2020:t=709:p=709:m=gbr",
         With(Described(10, 1, 1, Matrix::k2020NonConstant),
              [](ir::PlanarDescription& ioD)
              {
                  ioD.transfer = ir::Transfer::kHLG;
                  ioD.primaries = ir::Primaries::k2020;
              }),
         kWidth, kHeight}};
    return sCases;
}

class Zscale : public testing::TestWithParam<Case>
{
};

}

TEST_P(Zscale, GivesTheSamePicture)
{
    if (!HasZscale())
    {
        GTEST_SKIP() << "this ffmpeg has no zscale filter";
    }
    const Case& kase = GetParam();
    const TestSupport::ScratchFolder folder;
    ir::PlanarPicture picture;
    const bool isNoise = kase.targetWidth <= kWidth && kase.description.transfer == ir::Transfer::kDisplay;
    const std::vector<unsigned char> planes = MakePlanes(kase.description, isNoise, picture);
    std::ofstream(folder.File("in.raw"), std::ios::binary)
        .write(reinterpret_cast<const char*>(planes.data()), static_cast<std::streamsize>(planes.size()));
    const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
    const std::string filter = "zscale=" + std::to_string(kase.targetWidth) + ":" +
                               std::to_string(kase.targetHeight) +
                               ":f=bilinear:agamma=false:r=full:" + kase.options + ",format=gbrp";
    const std::string command = "ffmpeg -y -hide_banner -f rawvideo -pix_fmt " +
                                std::string(kase.pixelFormat) + " -s " + size + " -i '" +
                                folder.File("in.raw") + "' -vf '" + filter + "' -f rawvideo '" +
                                folder.File("out.raw") + "'";
    ASSERT_TRUE(Runs(command)) << command;
    const std::vector<unsigned char> theirs = ReadAll(folder.File("out.raw"));
    const auto pixels =
        static_cast<std::size_t>(kase.targetWidth) * static_cast<std::size_t>(kase.targetHeight);
    ASSERT_EQ(pixels * 3, theirs.size());

    std::vector<unsigned char> ours(pixels * 4);
    ASSERT_EQ(kIR_Success, ir::ConvertPlanes(picture, kIR_WholePicture, ours.data(), kase.targetWidth * 4,
                                             kase.targetWidth, kase.targetHeight, 0x00C, 3));
    int worst = 0;
    for (std::size_t i = 0; i < pixels; ++i)
    {
        worst = std::max(worst, std::abs(ours[i * 4 + 1] - theirs[i]));
        worst = std::max(worst, std::abs(ours[i * 4] - theirs[pixels + i]));
        worst = std::max(worst, std::abs(ours[i * 4 + 2] - theirs[pixels * 2 + i]));
    }
    // zscale's graph ends in bytes and rounds chroma to ten bits on the way, which steep curves make two
    // steps of.
    EXPECT_LE(worst, kase.description.transfer == ir::Transfer::kDisplay ? 1 : 2);
}

INSTANTIATE_TEST_SUITE_P(Video, Zscale, testing::ValuesIn(Cases()),
                         [](const auto& inInfo) { return std::string(inInfo.param.name); });
