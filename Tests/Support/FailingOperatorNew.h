// The program's operator new, replaced by one that fails when FailingMemory says so. Included by one source of an
// executable.
//
// Thread-safety: safe.
#pragma once

#include "Tests/Support/FailingMemory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

void* operator new(std::size_t inSize, const std::nothrow_t&) noexcept
{
    return TestSupport::FailingMemory::FailsNow() ? nullptr : std::malloc(inSize == 0 ? 1 : inSize);
}

void* operator new(std::size_t inSize)
{
    void* const block = operator new(inSize, std::nothrow);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    return block;
}

// Inlined, they look to the compiler like memory that is freed in another way than it was got.
[[gnu::noinline]] void operator delete(void* inBlock) noexcept
{
    std::free(inBlock);
}

[[gnu::noinline]] void operator delete(void* inBlock, std::size_t) noexcept
{
    std::free(inBlock);
}

[[gnu::noinline]] void operator delete(void* inBlock, const std::nothrow_t&) noexcept
{
    std::free(inBlock);
}
