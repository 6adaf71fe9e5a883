#include "Tests/ReferenceHost/DiskCache/CacheTests.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <sys/stat.h>

namespace TestSupport
{

namespace
{

unsigned char ByteOf(std::uint64_t inNumber, std::size_t inAt) noexcept
{
    return static_cast<unsigned char>((inNumber * 2654435761u + inAt * 40503u) >> 7);
}

} // namespace

CachedBytes BytesOf(std::uint64_t inNumber, std::size_t inSize)
{
    const auto bytes = norvik::utility::RecycledMemory::Create();
    bytes->Allocate(inSize);
    auto* const at = static_cast<unsigned char*>(bytes->Buffer());
    for (std::size_t i = 0; i < inSize; ++i)
    {
        at[i] = ByteOf(inNumber, i);
    }
    return bytes;
}

bool AreBytesOf(const CachedBytes& inBytes, std::uint64_t inNumber, std::size_t inSize)
{
    const CachedBytes expected = BytesOf(inNumber, inSize);
    return inBytes && inBytes->Size() == inSize &&
           std::memcmp(inBytes->Buffer(), expected->Buffer(), inSize) == 0;
}

norvik::utility::ImmutableString Text(const std::string& inText)
{
    return norvik::utility::ImmutableString::CreateDynamic(inText.data(), inText.size());
}

DiskCache::EntryName NameOf(std::uint64_t inNumber)
{
    return {"entry-" + std::to_string(inNumber), "png"};
}

CachedBytes ReadOf(MF::DiskCacheManager::ManagedDirectory& inDirectory, const DiskCache::EntryName& inName)
{
    DiskCache::OpenedEntry entry;
    return inDirectory.OpenEntry(inName, entry) ? entry.Read() : nullptr;
}

std::string ReadFile(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& inPath, const std::string& inContent)
{
    std::ofstream file(inPath, std::ios::binary);
    file << inContent;
    if (!file.flush())
    {
        throw std::runtime_error("can't write " + inPath);
    }
}

bool Exists(const std::string& inPath)
{
    struct stat status = {};
    return ::lstat(inPath.c_str(), &status) == 0;
}

std::vector<std::string> FilesIn(const std::string& inFolder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(inFolder))
    {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

unsigned ModeOf(const std::string& inPath)
{
    struct stat status = {};
    return ::stat(inPath.c_str(), &status) == 0 ? status.st_mode & 07777u : 0u;
}

} // namespace TestSupport
