// A colour profile: its name and its bytes, which are shared and never change.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace norviktypes
{

struct ColorProfile
{
    std::string mName;
    std::shared_ptr<const std::vector<std::uint8_t>> mData;
};

// Equal names and equal bytes.
inline bool operator==(const ColorProfile& inA, const ColorProfile& inB)
{
    const bool sameData = inA.mData == inB.mData || (inA.mData && inB.mData && *inA.mData == *inB.mData);
    return sameData && inA.mName == inB.mName;
}

} // namespace norviktypes
