// What the tests of the disk cache share: bytes that tell their entry, and files as they stand on the disk.
#pragma once

#include "MF/DataCache.h"
#include "ReferenceHost/DiskCache/ManagedDirectory.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TestSupport
{

using CachedBytes = std::shared_ptr<const norvik::utility::RecycledMemory>;

// As many bytes, another sequence for each number; each tells what number it is of.
CachedBytes BytesOf(std::uint64_t inNumber, std::size_t inSize);
bool AreBytesOf(const CachedBytes& inBytes, std::uint64_t inNumber, std::size_t inSize);

norvik::utility::ImmutableString Text(const std::string& inText);
DiskCache::EntryName NameOf(std::uint64_t inNumber);

// The bytes of an entry of the directory, empty if there is none or a damaged one.
CachedBytes ReadOf(MF::DiskCacheManager::ManagedDirectory& inDirectory, const DiskCache::EntryName& inName);

std::string ReadFile(const std::string& inPath);
void WriteFile(const std::string& inPath, const std::string& inContent);
bool Exists(const std::string& inPath);
std::vector<std::string> FilesIn(const std::string& inFolder); // sorted, hidden ones included
unsigned ModeOf(const std::string& inPath);

} // namespace TestSupport
