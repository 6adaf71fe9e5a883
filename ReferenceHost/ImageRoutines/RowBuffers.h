#pragma once

#include <cstddef>
#include <new>

#include "IR/ImageRoutines.h"

// Rows of one type in a single transient block, each 64-byte aligned and with room for a whole vector more at
// its end.
//
// Thread-safety: none; belongs to one call.
namespace ir
{

template <typename T>
class RowBuffers
{
public:
    // Throws std::bad_alloc.
    RowBuffers(std::size_t inRows, std::size_t inSamples)
        : mPitch((inSamples * sizeof(T) + kSlack + 63) / 64 * 64 / sizeof(T))
        , mBlock(static_cast<T*>(IR_AllocateTransientMemoryBlock(mPitch * sizeof(T) * inRows)))
    {
        if (mBlock == nullptr)
        {
            throw std::bad_alloc();
        }
    }
    ~RowBuffers() { IR_FreeTransientMemoryBlock(mBlock); }
    RowBuffers(const RowBuffers&) = delete;
    RowBuffers& operator=(const RowBuffers&) = delete;

    T* Row(std::size_t inIndex) const noexcept { return mBlock + inIndex * mPitch; }

private:
    // Two of the widest vectors there are: kernels may read and write up to a whole one behind the width.
    static constexpr std::size_t kSlack = 128;

    std::size_t mPitch;
    T* mBlock;
};

}
