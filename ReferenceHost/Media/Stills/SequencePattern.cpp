#include "ReferenceHost/Media/Stills/SequencePattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>

#include <dirent.h>

namespace Media
{

namespace
{

// More digits than any number of frames has, and few enough for 63 bits.
constexpr std::int32_t kMostDigits = 18;

struct FolderCloser
{
    void operator()(DIR* inFolder) const noexcept { ::closedir(inFolder); }
};

// Reads %d or %0Nd at ioAt, which is at the percent sign, and moves behind it.
bool ReadPlaceholder(std::string_view inText, std::size_t& ioAt, std::int32_t& outDigits)
{
    const std::size_t letter = inText.find_first_not_of("0123456789", ioAt + 1);
    if (letter == std::string_view::npos || inText[letter] != 'd')
    {
        return false;
    }
    const std::string_view width = inText.substr(ioAt + 1, letter - ioAt - 1);
    outDigits = 0;
    if (!width.empty())
    {
        const auto [stop, fault] = std::from_chars(width.data(), width.data() + width.size(), outDigits);
        // A width without the zero pads with blanks, which no file name has.
        if (fault != std::errc() || width.front() != '0' || outDigits < 1 || outDigits > kMostDigits)
        {
            return false;
        }
    }
    ioAt = letter + 1;
    return true;
}

// The number in a name, if it is one that the pattern makes.
bool NumberOfName(const SequencePattern& inPattern, std::string_view inName, std::int64_t& outNumber)
{
    const std::size_t around = inPattern.mPrefix.size() + inPattern.mSuffix.size();
    if (inName.size() <= around || inName.substr(0, inPattern.mPrefix.size()) != inPattern.mPrefix ||
        inName.substr(inName.size() - inPattern.mSuffix.size()) != inPattern.mSuffix)
    {
        return false;
    }
    const std::string_view digits = inName.substr(inPattern.mPrefix.size(), inName.size() - around);
    if (digits.size() > static_cast<std::size_t>(kMostDigits) ||
        digits.find_first_not_of("0123456789") != std::string_view::npos)
    {
        return false;
    }
    std::from_chars(digits.data(), digits.data() + digits.size(), outNumber);
    return inPattern.FileName(outNumber) == inName;
}

} // namespace

std::string SequencePattern::FileName(std::int64_t inNumber) const
{
    return fmt::format("{}{:0{}d}{}", mPrefix, inNumber, std::max(1, mDigits), mSuffix);
}

std::string SequencePattern::Path(std::int64_t inNumber) const
{
    return mFolder == "." ? FileName(inNumber) : (mFolder == "/" ? "/" : mFolder + "/") + FileName(inNumber);
}

bool ParseSequencePattern(const std::string& inText, SequencePattern& outPattern)
{
    const std::size_t slash = inText.rfind('/');
    const std::string_view name = std::string_view(inText).substr(slash == std::string::npos ? 0 : slash + 1);
    SequencePattern pattern;
    pattern.mFolder = slash == std::string::npos ? "." : slash == 0 ? "/" : inText.substr(0, slash);
    bool hasNumber = false;
    for (std::size_t at = 0; at < name.size();)
    {
        if (name[at] != '%')
        {
            (hasNumber ? pattern.mSuffix : pattern.mPrefix) += name[at++];
        }
        else if (at + 1 < name.size() && name[at + 1] == '%')
        {
            (hasNumber ? pattern.mSuffix : pattern.mPrefix) += '%';
            at += 2;
        }
        else if (hasNumber || !ReadPlaceholder(name, at, pattern.mDigits))
        {
            return false;
        }
        else
        {
            hasNumber = true;
        }
    }
    if (hasNumber)
    {
        outPattern = pattern;
    }
    return hasNumber;
}

bool ListSequence(const SequencePattern& inPattern, std::vector<std::int64_t>& outNumbers)
{
    outNumbers.clear();
    const std::unique_ptr<DIR, FolderCloser> folder(::opendir(inPattern.mFolder.c_str()));
    if (!folder)
    {
        return false;
    }
    while (const dirent* entry = ::readdir(folder.get()))
    {
        std::int64_t number = 0;
        if (NumberOfName(inPattern, entry->d_name, number))
        {
            outNumbers.push_back(number);
        }
    }
    std::sort(outNumbers.begin(), outNumbers.end());
    return true;
}

bool ListSequence(const SequencePattern& inPattern, const NamedFiles& inFiles,
                  std::vector<std::int64_t>& outNumbers)
{
    outNumbers.clear();
    for (const auto& [name, path] : inFiles)
    {
        std::int64_t number = 0;
        if (NumberOfName(inPattern, name, number))
        {
            outNumbers.push_back(number);
        }
    }
    std::sort(outNumbers.begin(), outNumbers.end());
    return true;
}

} // namespace Media
