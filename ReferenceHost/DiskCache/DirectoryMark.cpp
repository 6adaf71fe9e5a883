#include "ReferenceHost/DiskCache/DirectoryMark.h"

#include "ReferenceHost/DiskCache/CacheEntry.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace DiskCache
{

namespace
{

// Name and beginning of the mark are those of the convention for cache directories; the rest is free.
constexpr char kUnfinishedMarkName[] = ".unfinished-mark";
constexpr std::string_view kSignature = "Signature: 8a477f597d28d172789f06886806bc55";
constexpr std::string_view kMarkText = "Signature: 8a477f597d28d172789f06886806bc55\n"
                                       "# Pictures that can be made again. This directory may be removed.\n";

std::string SystemText(int inError)
{
    return std::generic_category().message(inError);
}

// 0, or the system's number.
int MakeWithParents(const std::string& inPath)
{
    for (std::size_t slash = inPath.find('/', 1);; slash = inPath.find('/', slash + 1))
    {
        if (::mkdir(inPath.substr(0, slash).c_str(), 0700) != 0 && errno != EEXIST)
        {
            return errno;
        }
        if (slash == std::string::npos)
        {
            return 0;
        }
    }
}

bool IsMarked(int inDirectory)
{
    std::array<char, kSignature.size()> found{};
    const FileDescriptor file(
        ::openat(inDirectory, kMarkName.data(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return file && ::read(file.Get(), found.data(), found.size()) == static_cast<ssize_t>(found.size()) &&
           std::string_view(found.data(), found.size()) == kSignature;
}

// The name of one that is there, or empty. What another process has begun to write is not counted: it may be
// the mark.
std::string FileIn(int inDirectory)
{
    FileDescriptor again(::openat(inDirectory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(again ? ::fdopendir(again.Get()) : nullptr,
                                                      &::closedir);
    if (!entries)
    {
        return ".";
    }
    again.Release();
    while (const dirent* const entry = ::readdir(entries.get()))
    {
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && name.substr(0, kUnfinishedPrefix.size()) != kUnfinishedPrefix)
        {
            return std::string(name);
        }
    }
    return std::string();
}

// Two processes that mark at once write the same bytes, and either's rename gives the whole mark.
bool Mark(int inDirectory)
{
    const FileDescriptor file(
        ::openat(inDirectory, kUnfinishedMarkName, O_CREAT | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600));
    return file &&
           ::write(file.Get(), kMarkText.data(), kMarkText.size()) ==
               static_cast<ssize_t>(kMarkText.size()) &&
           ::fsync(file.Get()) == 0 &&
           (::renameat(inDirectory, kUnfinishedMarkName, inDirectory, kMarkName.data()) == 0 ||
            IsMarked(inDirectory));
}

bool BelongsToUs(int inDirectory)
{
    struct stat status = {};
    if (::fstat(inDirectory, &status) != 0 || status.st_uid != ::geteuid())
    {
        return false;
    }
    if ((status.st_mode & 077) != 0)
    {
        ::fchmod(inDirectory, 0700);
    }
    return true;
}

} // namespace

FileDescriptor OpenCacheDirectory(const std::string& inPath, std::string& outWhyNot)
{
    outWhyNot.clear();
    const int error = inPath.empty() ? ENOENT : MakeWithParents(inPath);
    FileDescriptor directory(
        error == 0 ? ::open(inPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC) : -1);
    if (!directory)
    {
        outWhyNot = fmt::format("'{}': {}", inPath, SystemText(error != 0 ? error : errno));
        return {};
    }
    const std::string file = IsMarked(directory.Get()) ? std::string() : FileIn(directory.Get());
    const bool isMarked = IsMarked(directory.Get()); // by another process, meanwhile
    if (!file.empty() && !isMarked)
    {
        outWhyNot = fmt::format("'{}': holds files ('{}') and is no cache directory", inPath, file);
    }
    else if (!BelongsToUs(directory.Get()))
    {
        outWhyNot = fmt::format("'{}': belongs to another user", inPath);
    }
    else if (!isMarked && !Mark(directory.Get()))
    {
        outWhyNot = fmt::format("'{}': {}", inPath, SystemText(errno));
    }
    return outWhyNot.empty() ? std::move(directory) : FileDescriptor();
}

} // namespace DiskCache
