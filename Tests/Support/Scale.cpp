#include "Tests/Support/Scale.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace TestSupport
{

namespace
{

constexpr std::uint64_t kUsualSeed = 20011;

double ReadScale()
{
    const char* const text = std::getenv("VR_TEST_SCALE");
    if (text == nullptr)
    {
        return 1.0;
    }
    char* end = nullptr;
    const double scale = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(scale > 0.0))
    {
        std::fprintf(stderr, "VR_TEST_SCALE is not a positive number: '%s'\n", text);
        std::abort();
    }
    return scale;
}

std::uint64_t ReadSeed()
{
    const char* const text = std::getenv("VR_TEST_SEED");
    const std::uint64_t seed = text != nullptr ? std::strtoull(text, nullptr, 0) : kUsualSeed;
    std::printf("seed %" PRIu64 " (VR_TEST_SEED)\n", seed);
    return seed;
}

}

std::size_t ScaledCount(std::size_t inCount)
{
    return static_cast<std::size_t>(std::max(1.0, std::round(static_cast<double>(inCount) * ReadScale())));
}

std::uint64_t Seed()
{
    static const std::uint64_t sSeed = ReadSeed();
    return sSeed;
}

}
