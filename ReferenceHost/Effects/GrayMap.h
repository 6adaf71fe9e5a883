// A picture from a PNG file as one number a pixel, 0 black to 1 white: what luma wipes and mattes are told by.
//
// Colour becomes grey by the luma of Rec. 709. Over another size the map is stretched, with bilinear interpolation
// between the middles of its pixels; a map that is much larger than the picture is not averaged.
//
// Thread-safety: a map is immutable; a GrayMapFile is safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Effects
{

class GrayMap
{
public:
    // Null, and the reason in outError, for a file that can't be read or is no PNG of grey, RGB or RGBA.
    static std::shared_ptr<const GrayMap> Load(const std::string& inPath, std::string& outError);

    GrayMap(std::uint32_t inWidth, std::uint32_t inHeight, std::vector<float> inPixels);

    // A row of the map stretched over a picture of that size.
    void ReadRow(std::int32_t inY, std::int32_t inWidth, std::int32_t inHeight, float* outRow) const;

private:
    std::size_t mWidth;
    std::size_t mHeight;
    std::vector<float> mPixels; // row by row
};

// The last map that a file gave. A file that can't be read is warned of once, and is not tried again.
class GrayMapFile
{
public:
    // Null for an empty path, and where there is no such map.
    std::shared_ptr<const GrayMap> Get(const std::string& inPath);

private:
    std::mutex mLock;
    std::string mPath;
    std::shared_ptr<const GrayMap> mMap;
};

} // namespace Effects
