// A picture from a PNG file as one number a pixel, 0 black to 1 white: what luma wipes and mattes are told
// by.
//
// Colour becomes grey by the luma of Rec. 709, whatever its alpha; mattes may take alpha, or the luma of the
// picture over black, in its place. Over another size the map is stretched, with bilinear interpolation
// between the middles of its pixels; a map that is much larger than the picture is not averaged.
//
// Thread-safety: a map is immutable; a GrayMapFile is safe.
#pragma once

#include "ReferenceHost/Foundation/FileState.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Effects
{

// What of a pixel is its number.
enum class MapLevel : std::uint8_t
{
    kLuma,
    kLumaOverBlack,
    kAlpha, // 1 where the file has none
};

class GrayMap
{
public:
    // Null, and the reason in outError, for a file that can't be read or is no PNG of grey, RGB or RGBA.
    static std::shared_ptr<const GrayMap> Load(const std::string& inPath, MapLevel inLevel,
                                               std::string& outError);

    GrayMap(std::uint32_t inWidth, std::uint32_t inHeight, std::vector<float> inPixels);

    std::size_t Width() const noexcept { return mWidth; }
    std::size_t Height() const noexcept { return mHeight; }
    const float* Row(std::size_t inY) const noexcept { return &mPixels[inY * mWidth]; }

private:
    std::size_t mWidth;
    std::size_t mHeight;
    std::vector<float> mPixels; // row by row
};

// A map stretched over a picture of a size.
//
// Thread-safety: immutable.
class StretchedMap
{
public:
    StretchedMap(std::shared_ptr<const GrayMap> inMap, std::int32_t inWidth, std::int32_t inHeight);

    // One number for each pixel of the row.
    void ReadRow(std::int32_t inY, float* outRow) const;

private:
    // The two samples that a place lies between, and the share of the second.
    struct Between
    {
        std::size_t first;
        std::size_t second;
        float share;
    };

    static Between Locate(std::int32_t inIndex, std::int32_t inCount, std::size_t inSamples);

    std::shared_ptr<const GrayMap> mMap;
    std::int32_t mHeight;
    std::vector<Between> mColumns;
};

// The last map that a file gave. It is read again when the file was written since. A file that can't be read
// is warned of once, and is not tried again as long as it stays as it is.
class GrayMapFile
{
public:
    // Null for an empty path, and where there is no such map.
    std::shared_ptr<const GrayMap> Get(const std::string& inPath, MapLevel inLevel = MapLevel::kLuma);

private:
    std::mutex mLock;
    std::string mPath;
    Foundation::FileState mState;
    MapLevel mLevel = MapLevel::kLuma;
    std::shared_ptr<const GrayMap> mMap;
};

} // namespace Effects
