#include "TestPictures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"
#include "Tests/Support/Scale.h"

namespace TestPictures
{
namespace
{

constexpr unsigned char kGuard = 0xA5;

std::int64_t LeastRowBytes(std::uint32_t inCode, std::int32_t inWidth)
{
    const std::uint32_t layout = (inCode >> 4) & 15;
    const std::uint32_t depth = (inCode >> 8) & 7;
    const std::int64_t bytes = depth == 0 ? 1 : depth == 1 ? 4 : 2;
    switch (layout)
    {
    case 0: return inWidth * 4 * bytes;
    case 1:
    case 2: return (inWidth + 1) / 2 * 4;
    case 3: return (inWidth + 5) / 6 * 16;
    default: return (inWidth + 1) / 2 * 2 * bytes;
    }
}

std::int64_t TotalBytes(std::uint32_t inCode, std::int64_t inRowBytes, std::int32_t inHeight)
{
    const std::uint32_t layout = (inCode >> 4) & 15;
    const std::int64_t chromaRows = layout < 4 ? 0 : layout == 6 ? inHeight : (inHeight + 1) / 2;
    return inRowBytes * inHeight + inRowBytes / 2 * chromaRows * 2;
}

float RandomFloat(std::mt19937& ioRandom, bool inIsChroma)
{
    const float unit = static_cast<float>(ioRandom() & 0xFFFF) / 65535.0F;
    return inIsChroma ? unit - 0.5F : unit * 1.2F - 0.1F;
}

double RandomAlpha(std::mt19937& ioRandom)
{
    const auto draw = static_cast<std::uint32_t>(ioRandom());
    return draw % 4 == 0 ? 0.0 : draw % 4 == 1 ? 1.0 : static_cast<double>(draw >> 16) / 65535.0;
}

void RandomiseFourComponents(const ir::Picture& ioPicture, std::mt19937& ioRandom)
{
    const bool isPremultiplied = ioPicture.alpha == ir::PictureAlpha::kPremultiplied;
    ir::reference::Grid grid(ioPicture.width, ioPicture.height);
    for (auto& pixel : grid.pixels)
    {
        pixel.c[3] = RandomAlpha(ioRandom);
        for (int i = 0; i < 3; ++i)
        {
            const bool isChroma = !ioPicture.IsRGB() && i > 0;
            pixel.c[i] =
                static_cast<double>(RandomFloat(ioRandom, isChroma)) * (isPremultiplied ? pixel.c[3] : 1.0);
        }
    }
    ir::reference::WriteGrid(grid, ioPicture);
}

// The samples of one component of two pictures of one code, if they have it; chroma as it lies in memory.
template <typename Visitor>
void VisitSamples(const ir::Picture& inOne, const ir::Picture& inOther, int inComponent, Visitor inVisit)
{
    const bool isChroma = inComponent == 1 || inComponent == 2;
    if (inComponent == 3 && inOne.alpha == ir::PictureAlpha::kNone)
    {
        return;
    }
    const std::int32_t rows = isChroma && inOne.IsSubsampled() ? inOne.chromaRows : inOne.height;
    const std::int32_t width = isChroma ? inOne.ChromaWidth() : inOne.width;
    for (std::int32_t y = 0; y < rows; ++y)
    {
        for (std::int32_t x = 0; x < width; ++x)
        {
            inVisit(ir::reference::ReadPlane(inOne, inComponent, x, y),
                    ir::reference::ReadPlane(inOther, inComponent, x, y));
        }
    }
}

}

const std::vector<std::uint32_t> kCodes = {
    0x004, 0x008, 0x00C,  0x204,  0x208,  0x20C,  0x104,  0x108,  0x10C,  0x904,  0x908, 0x90C,
    0x005, 0x009, 0x00D,  0x006,  0x00A,  0x00E,  0x105,  0x109,  0x10D,  0x106,  0x10A, 0x10E,
    0x011, 0x012, 0x021,  0x022,  0x331,  0x332,  0x041,  0x042,  0x051,  0x052,  0x342, 0x352,
    0x062, 0x362, 0x1071, 0x1005, 0x1009, 0x100D, 0x1105, 0x1109, 0x110D, 0x2004, 0x2008};

std::vector<std::pair<std::uint32_t, std::uint32_t>> Pairs()
{
    const std::size_t all = kCodes.size() * kCodes.size();
    const std::size_t count = TestSupport::ScaledCount(all);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs;
    for (std::size_t i = 0; i < count; ++i)
    {
        const std::size_t index = i * all / count;
        pairs.emplace_back(kCodes[index / kCodes.size()], kCodes[index % kCodes.size()]);
    }
    return pairs;
}

Memory::Memory(std::uint32_t inCode, std::int32_t inWidth, std::int32_t inHeight,
               std::int32_t inExtraRowBytes, std::int32_t inMisalignment)
    : mCode(inCode)
    , mRowBytes(static_cast<std::int32_t>(LeastRowBytes(inCode, inWidth)) + inExtraRowBytes)
{
    const std::int64_t bytes = TotalBytes(inCode, mRowBytes, inHeight);
    mBytes.assign(static_cast<std::size_t>(bytes) + 256, kGuard);
    const auto address = reinterpret_cast<std::uintptr_t>(mBytes.data());
    mFirst = 64 + (64 - address % 64) + static_cast<std::size_t>(inMisalignment);
    if (ir::PictureFromCode(Pixels(), mRowBytes, inWidth, inHeight, inCode, mPicture) != kIR_Success)
    {
        std::fprintf(stderr, "no picture of code 0x%x, %d x %d\n", inCode, inWidth, inHeight);
        std::abort();
    }
    mIsPixel.assign(mBytes.size(), false);
    for (int plane = 0; plane < 4; ++plane)
    {
        const std::int32_t rows = plane == 1 || plane == 2 ? mPicture.chromaRows : inHeight;
        for (std::int32_t y = 0; mPicture.planes[plane] != nullptr && y < rows; ++y)
        {
            const auto at = static_cast<std::ptrdiff_t>(mPicture.Row(plane, y) - mBytes.data());
            std::fill_n(mIsPixel.begin() + at, ir::RowBytesOf(mPicture, plane), true);
        }
    }
}

Memory::Memory(const Memory& inOther)
    : mCode(inOther.mCode)
    , mRowBytes(inOther.mRowBytes)
    , mBytes(inOther.mBytes)
    , mFirst(inOther.mFirst)
    , mPicture(inOther.mPicture)
    , mIsPixel(inOther.mIsPixel)
{
    for (unsigned char*& plane : mPicture.planes)
    {
        plane = plane == nullptr ? nullptr : mBytes.data() + (plane - inOther.mBytes.data());
    }
}

void Memory::Randomise(std::mt19937& ioRandom)
{
    if (mPicture.storage == ir::Storage::kPacked4)
    {
        RandomiseFourComponents(mPicture, ioRandom);
        return;
    }
    for (int plane = 0; plane < 3; ++plane)
    {
        const std::int32_t rows = plane == 0 ? mPicture.height : mPicture.chromaRows;
        for (std::int32_t y = 0; mPicture.planes[plane] != nullptr && y < rows; ++y)
        {
            unsigned char* row = mPicture.Row(plane, y);
            for (std::ptrdiff_t i = 0; i < ir::RowBytesOf(mPicture, plane); ++i)
            {
                row[i] = static_cast<unsigned char>(ioRandom() >> 8);
                row[i] = mPicture.sample == ir::Sample::kWord && mPicture.storage == ir::Storage::kPlanar &&
                                 i % 2 == 1
                             ? static_cast<unsigned char>(row[i] & 3)
                             : row[i];
            }
        }
    }
}

void Memory::RandomiseModerately(std::mt19937& ioRandom)
{
    const bool isPremultiplied = mPicture.alpha == ir::PictureAlpha::kPremultiplied;
    ir::reference::Grid grid(mPicture.width, mPicture.height);
    for (auto& pixel : grid.pixels)
    {
        const auto unit = [&] { return static_cast<double>(ioRandom() & 0xFFFF) / 65535.0; };
        pixel.c[3] = 0.5 + 0.3 * unit();
        for (int i = 0; i < 3; ++i)
        {
            const bool isChroma = !mPicture.IsRGB() && i > 0;
            pixel.c[i] =
                (isChroma ? 0.3 * unit() - 0.15 : 0.3 + 0.3 * unit()) * (isPremultiplied ? pixel.c[3] : 1.0);
        }
    }
    ir::reference::WriteGrid(grid, mPicture);
}

bool Memory::GuardsAreWhole() const
{
    for (std::size_t i = 0; i < mBytes.size(); ++i)
    {
        if (!mIsPixel[i] && mBytes[i] != kGuard)
        {
            return false;
        }
    }
    return true;
}

std::vector<unsigned char> Memory::Packed() const
{
    std::vector<unsigned char> packed;
    for (std::size_t i = 0; i < mBytes.size(); ++i)
    {
        if (mIsPixel[i])
        {
            packed.push_back(mBytes[i]);
        }
    }
    return packed;
}

double Difference(const ir::Picture& inOne, const ir::Picture& inOther)
{
    double worst = 0.0;
    const bool isFloat = inOne.sample == ir::Sample::kFloat;
    for (int component = 0; component < 4; ++component)
    {
        const double scale = isFloat ? 1.0 : ir::RangeOf(inOne, component).scale;
        VisitSamples(inOne, inOther, component,
                     [&](double inA, double inB)
                     {
                         const double distance = std::fabs(inA - inB);
                         const double slack = isFloat ? 4e-6 * std::max(std::fabs(inA), std::fabs(inB)) : 0.0;
                         const double counted =
                             std::isnan(distance) ? 1e9 : std::max(0.0, distance - slack) * scale;
                         worst = std::max(worst, counted);
                     });
    }
    return worst;
}

double MeanDifference(const ir::Picture& inOne, const ir::Picture& inOther)
{
    double worst = 0.0;
    for (int component = 0; component < 4; ++component)
    {
        double sum = 0.0;
        double count = 0.0;
        VisitSamples(inOne, inOther, component,
                     [&](double inA, double inB)
                     {
                         sum += inB - inA;
                         count += 1.0;
                     });
        const double mean = std::fabs(sum) / std::max(count, 1.0);
        worst = std::max(worst, mean * ir::RangeOf(inOne, component).scale);
    }
    return worst;
}

std::vector<std::string> Targets()
{
    std::vector<std::string> names = ir::CpuTargets();
    const char* limit = std::getenv("VR_TEST_TARGETS");
    const std::size_t most = limit == nullptr ? names.size() : std::strtoul(limit, nullptr, 10);
    if (most >= 2 && names.size() > most)
    {
        names.erase(names.begin() + static_cast<std::ptrdiff_t>(most) - 1, names.end() - 1);
    }
    return names;
}

std::string Name(std::uint32_t inCode)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%03X", inCode);
    return text;
}

}
