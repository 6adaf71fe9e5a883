#pragma once

#include <cstdint>
#include <vector>

namespace Media
{

// Which packets of a stream came out of a decoder. As many questions are asked as there are packets, hundreds of
// thousands behind one key frame, so that each must be answered without a search.
//
// Thread-safety: safe once made.
class OrdinalSet
{
public:
    // inOrdinals: in any order, also repeatedly.
    explicit OrdinalSet(const std::vector<std::uint32_t>& inOrdinals)
    {
        for (const std::uint32_t ordinal : inOrdinals)
        {
            if (ordinal >= mIsIn.size())
            {
                mIsIn.resize(ordinal + std::size_t{1});
            }
            mIsIn[ordinal] = true;
        }
    }

    bool Contains(std::uint32_t inOrdinal) const { return inOrdinal < mIsIn.size() && mIsIn[inOrdinal]; }

private:
    std::vector<bool> mIsIn;
};

}
