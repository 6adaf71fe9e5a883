#include "ReferenceHost/Foundation/FileState.h"

#include <sys/stat.h>

namespace Foundation
{

FileState LookAtFile(const std::string& inPath)
{
    struct stat facts = {};
    if (inPath.empty() || ::stat(inPath.c_str(), &facts) != 0)
    {
        return {};
    }
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    return {static_cast<std::int64_t>(facts.st_mtim.tv_sec) * kNanoseconds + facts.st_mtim.tv_nsec,
            static_cast<std::int64_t>(facts.st_size)};
}

} // namespace Foundation
