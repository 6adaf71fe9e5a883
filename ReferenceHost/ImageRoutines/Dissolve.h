#pragma once

#include <cstdint>

// Which pixels of a dissolve show the source: a matter of their place alone, so that a picture dissolves in
// the same way in every strip, on every thread and in every run.
//
// The threshold of a place is a number of 24 bits, scrambled so that neighbours have nothing in common and
// every share of a picture is spread over all of it.
//
// Thread-safety: pure functions; safe.
namespace ir
{

// 0 to 2^24 - 1.
inline std::uint32_t DissolveThreshold(std::int32_t inX, std::int32_t inY) noexcept
{
    // Products with odd numbers and shifted differences lose nothing, so that a row never repeats a value of
    // all 32 bits.
    std::uint32_t bits = static_cast<std::uint32_t>(inX) * 0x9E3779B1U;
    bits ^= static_cast<std::uint32_t>(inY) * 0x85EBCA77U;
    bits ^= bits >> 15;
    bits *= 0x2C1B3C6DU;
    bits ^= bits >> 12;
    bits *= 0x297A2D39U;
    bits ^= bits >> 15;
    return bits >> 8;
}

inline bool IsDissolvedToSource(float inAlpha, std::int32_t inX, std::int32_t inY) noexcept
{
    return static_cast<float>(DissolveThreshold(inX, inY)) < inAlpha * 16777216.0F;
}

}
