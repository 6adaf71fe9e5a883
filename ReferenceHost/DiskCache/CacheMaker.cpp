#include "ReferenceHost/DiskCache/CacheMaker.h"

#include <atomic>

namespace DiskCache
{

namespace
{

std::atomic<Maker>& Current() noexcept
{
    static std::atomic<Maker> sCurrent{MakerOfText({})};
    return sCurrent;
}

} // namespace

void SetMaker(std::string_view inVersions) noexcept
{
    Current() = MakerOfText(inVersions);
}

Maker GetMaker() noexcept
{
    return Current();
}

} // namespace DiskCache
