#include "ReferenceHost/Media/FilePart.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace Media
{

namespace
{

// No path that this host makes has it: two of these say no more than one.
constexpr std::string_view kMark = "//";

// A number and the letter behind it, which is taken off, too.
bool TakeNumber(std::string_view& ioText, char inEnd, std::int64_t& outNumber)
{
    const auto [stop, fault] = std::from_chars(ioText.data(), ioText.data() + ioText.size(), outNumber);
    const auto length = static_cast<std::size_t>(stop - ioText.data());
    if (fault != std::errc() || outNumber < 0 || length == ioText.size() || *stop != inEnd)
    {
        return false;
    }
    ioText.remove_prefix(length + 1);
    return true;
}

bool NamesPart(const std::string& inText, FilePart& outPart)
{
    const std::size_t mark = inText.find(kMark, 1);
    if (mark == std::string::npos)
    {
        return false;
    }
    std::string_view rest = std::string_view(inText).substr(mark + kMark.size());
    outPart.mPath = inText.substr(0, mark);
    return TakeNumber(rest, '+', outPart.mOffset) && TakeNumber(rest, '/', outPart.mSize);
}

} // namespace

std::string TextOfPart(const FilePart& inPart, const std::string& inName)
{
    std::string path = inPart.mPath;
    for (std::size_t twice = path.find(kMark, 1); twice != std::string::npos; twice = path.find(kMark, 1))
    {
        path.erase(twice, 1);
    }
    return fmt::format("{}{}{}+{}/{}", path, kMark, inPart.mOffset, inPart.mSize, inName);
}

FilePart ParseFilePart(const std::string& inText)
{
    FilePart part;
    struct stat facts = {};
    const bool isPart = NamesPart(inText, part) && ::stat(inText.c_str(), &facts) != 0;
    return isPart ? part : FilePart{inText};
}

bool StatFilePart(const std::string& inText, struct stat& outFacts)
{
    const FilePart part = ParseFilePart(inText);
    if (::stat(part.mPath.c_str(), &outFacts) != 0)
    {
        return false;
    }
    if (part.mSize < 0)
    {
        return true;
    }
    if (!S_ISREG(outFacts.st_mode) || part.mOffset > outFacts.st_size ||
        part.mSize > outFacts.st_size - part.mOffset)
    {
        errno = ENODATA;
        return false;
    }
    outFacts.st_size = part.mSize;
    return true;
}

OpenedPart::~OpenedPart()
{
    if (mFile >= 0)
    {
        ::close(mFile);
    }
}

bool OpenedPart::Open(const std::string& inText)
{
    struct stat facts = {};
    if (!StatFilePart(inText, facts))
    {
        return false;
    }
    const FilePart part = ParseFilePart(inText);
    mFile = ::open(part.mPath.c_str(), O_RDONLY | O_CLOEXEC);
    mOffset = part.mOffset;
    mSize = S_ISREG(facts.st_mode) ? facts.st_size : -1;
    mEnd = part.mSize < 0 ? mEnd : part.mSize;
    return mFile >= 0;
}

std::ptrdiff_t OpenedPart::Read(void* outBytes, std::size_t inCount, std::int64_t inPosition) const
{
    return ReadWith(0, outBytes, inCount, inPosition);
}

std::ptrdiff_t OpenedPart::ReadFromMemory(void* outBytes, std::size_t inCount, std::int64_t inPosition) const
{
    return ReadWith(RWF_NOWAIT, outBytes, inCount, inPosition);
}

void OpenedPart::ReadAhead(std::int64_t inPosition, std::int64_t inCount) const noexcept
{
    ::posix_fadvise(mFile, static_cast<::off_t>(mOffset + inPosition), static_cast<::off_t>(inCount),
                    POSIX_FADV_WILLNEED);
}

std::ptrdiff_t OpenedPart::ReadWith(int inFlags, void* outBytes, std::size_t inCount,
                                    std::int64_t inPosition) const
{
    if (inPosition < 0 || inPosition >= mEnd)
    {
        errno = inPosition < 0 ? EINVAL : errno;
        return inPosition < 0 ? -1 : 0;
    }
    const auto left = static_cast<std::uint64_t>(mEnd - inPosition);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(inCount, left));
    const auto position = static_cast<::off_t>(mOffset + inPosition);
    const ::iovec target{outBytes, count};
    return inFlags == 0 ? ::pread(mFile, outBytes, count, position)
                        : ::preadv2(mFile, &target, 1, position, inFlags);
}

} // namespace Media
