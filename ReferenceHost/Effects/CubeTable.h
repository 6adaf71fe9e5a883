// A colour table in the format of .cube files, one- or three-dimensional.
//
// Read: comments, TITLE, LUT_1D_SIZE (2 to 65536), LUT_3D_SIZE (2 to 256), DOMAIN_MIN and DOMAIN_MAX, and rows of
// three numbers, red fastest. Between entries a three-dimensional table is interpolated over tetrahedra, a
// one-dimensional one along its line; outside of the domain the nearest place of it counts.
//
// Thread-safety: immutable once loaded; a CubeFile is safe.
#pragma once

#include "ReferenceHost/Foundation/FileState.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Effects
{

class CubeTable
{
public:
    // Null, and the reason with its line in outError.
    static std::shared_ptr<const CubeTable> Load(const std::string& inPath, std::string& outError);
    static std::shared_ptr<const CubeTable> Parse(const std::string& inText, std::string& outError);

    void LookUp(const float (&inColor)[3], float (&outColor)[3]) const;

private:
    struct Reader;

    void LookUp1D(const float (&inPlace)[3], float (&outColor)[3]) const;
    void LookUp3D(const float (&inPlace)[3], float (&outColor)[3]) const;

    std::size_t mSize = 0;
    bool mIs3D = false;
    float mLeast[3] = {0.0F, 0.0F, 0.0F};
    float mMost[3] = {1.0F, 1.0F, 1.0F};
    std::vector<float> mEntries; // three for each
};

// The last table that a file gave. It is read again when the file was written since. A file that can't be read is
// warned of once, and is not tried again as long as it stays as it is.
class CubeFile
{
public:
    // Null for an empty path, and where there is no such table.
    std::shared_ptr<const CubeTable> Get(const std::string& inPath);

private:
    std::mutex mLock;
    std::string mPath;
    Foundation::FileState mState;
    std::shared_ptr<const CubeTable> mTable;
};

} // namespace Effects
