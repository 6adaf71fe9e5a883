#include "ReferenceHost/Effects/GrayMap.h"

#include "ReferenceHost/FrameLibrary/PNGCodec.h"
#include "ReferenceHost/ImageRoutines/Colour.h"
#include "norvik/logging/Logging.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

namespace Effects
{
namespace
{

class GrayRows final : public VF::IPNGRowTarget
{
public:
    GrayRows(const VF::PNGHeader& inHeader, MapLevel inLevel)
        : mHeader(inHeader)
        , mLevel(inLevel)
        , mRow(VF::PNGRowBytes(inHeader))
    {
        mPixels.reserve(std::size_t{inHeader.mWidth} * inHeader.mHeight);
    }

    std::uint8_t* PlaceForRow(std::uint32_t) noexcept override { return mRow.data(); }

    void RowIsThere(std::uint32_t) noexcept override
    {
        for (std::size_t x = 0; x < mHeader.mWidth; ++x)
        {
            mPixels.push_back(static_cast<float>(PixelAt(x)));
        }
    }

    std::vector<float> TakePixels() { return std::move(mPixels); }

private:
    double PixelAt(std::size_t inX) const
    {
        const double alpha = mHeader.mSamples == VF::PNGSamples::RGBA ? SampleAt(4 * inX + 3) : 1.0;
        switch (mLevel)
        {
        case MapLevel::kAlpha: return alpha;
        case MapLevel::kLumaOverBlack: return alpha * LumaAt(inX);
        case MapLevel::kLuma: break;
        }
        return LumaAt(inX);
    }

    // Samples of a pixel: one of grey, else B, G and R and a fourth.
    double LumaAt(std::size_t inX) const
    {
        if (mHeader.mSamples == VF::PNGSamples::Gray)
        {
            return SampleAt(inX);
        }
        return ir::kGrayWeights[0] * SampleAt(4 * inX + 2) + ir::kGrayWeights[1] * SampleAt(4 * inX + 1) +
               ir::kGrayWeights[2] * SampleAt(4 * inX);
    }

    double SampleAt(std::size_t inIndex) const
    {
        if (mHeader.mBits == 8)
        {
            return mRow[inIndex] / 255.0;
        }
        std::uint16_t word = 0;
        std::memcpy(&word, &mRow[2 * inIndex], sizeof(word));
        return word / 65535.0;
    }

    VF::PNGHeader mHeader;
    MapLevel mLevel;
    std::vector<std::uint8_t> mRow;
    std::vector<float> mPixels;
};

} // namespace

GrayMap::GrayMap(std::uint32_t inWidth, std::uint32_t inHeight, std::vector<float> inPixels)
    : mWidth(inWidth)
    , mHeight(inHeight)
    , mPixels(std::move(inPixels))
{
}

std::shared_ptr<const GrayMap> GrayMap::Load(const std::string& inPath, MapLevel inLevel,
                                             std::string& outError)
{
    std::ifstream file(inPath, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const auto reader = file ? VF::PNGReader::Open(bytes.data(), bytes.size()) : nullptr;
    if (reader == nullptr || !reader->CanHoldPicture())
    {
        outError = inPath + (file ? ": no PNG picture" : ": can't be read");
        return nullptr;
    }
    GrayRows rows(reader->Header(), inLevel);
    if (!reader->ReadRows(rows))
    {
        outError = inPath + ": a damaged PNG picture";
        return nullptr;
    }
    return std::make_shared<GrayMap>(reader->Header().mWidth, reader->Header().mHeight, rows.TakePixels());
}

StretchedMap::StretchedMap(std::shared_ptr<const GrayMap> inMap, std::int32_t inWidth, std::int32_t inHeight)
    : mMap(std::move(inMap))
    , mHeight(inHeight)
{
    for (std::int32_t x = 0; x < inWidth; ++x)
    {
        mColumns.push_back(Locate(x, inWidth, mMap->Width()));
    }
}

void StretchedMap::ReadRow(std::int32_t inY, float* outRow) const
{
    const Between rows = Locate(inY, mHeight, mMap->Height());
    const float* upper = mMap->Row(rows.first);
    const float* lower = mMap->Row(rows.second);
    for (const Between& column : mColumns)
    {
        const float left = upper[column.first] + (lower[column.first] - upper[column.first]) * rows.share;
        const float right = upper[column.second] + (lower[column.second] - upper[column.second]) * rows.share;
        *outRow++ = left + (right - left) * column.share;
    }
}

StretchedMap::Between StretchedMap::Locate(std::int32_t inIndex, std::int32_t inCount, std::size_t inSamples)
{
    const double place = (inIndex + 0.5) * static_cast<double>(inSamples) / inCount - 0.5;
    const double held = std::clamp(place, 0.0, static_cast<double>(inSamples) - 1.0);
    const auto first = static_cast<std::size_t>(held);
    return {first, std::min(first + 1, inSamples - 1), static_cast<float>(held - static_cast<double>(first))};
}

std::shared_ptr<const GrayMap> GrayMapFile::Get(const std::string& inPath, MapLevel inLevel)
{
    const std::lock_guard lock(mLock);
    const Foundation::FileState state = Foundation::LookAtFile(inPath);
    if (inPath != mPath || inLevel != mLevel || state != mState)
    {
        std::string error;
        mPath = inPath;
        mState = state;
        mLevel = inLevel;
        mMap = inPath.empty() ? nullptr : GrayMap::Load(inPath, inLevel, error);
        if (!error.empty())
        {
            norvik::logging::LogText(norvik::logging::kLogLevel_Warning, "effects", error.c_str());
        }
    }
    return mMap;
}

} // namespace Effects
