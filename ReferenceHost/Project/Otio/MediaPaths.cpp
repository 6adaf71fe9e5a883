#include "ReferenceHost/Project/Otio/MediaPaths.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>
#include <utility>

namespace Otio
{

namespace
{

// Folders with more than this below them are searched in part: a media folder may be a whole disk.
constexpr std::size_t kMostListedFiles = 1000000;

bool IsLetter(char inLetter)
{
    return std::isalpha(static_cast<unsigned char>(inLetter)) != 0;
}

int HexDigit(char inLetter)
{
    return inLetter >= '0' && inLetter <= '9'   ? inLetter - '0'
           : inLetter >= 'a' && inLetter <= 'f' ? inLetter - 'a' + 10
           : inLetter >= 'A' && inLetter <= 'F' ? inLetter - 'A' + 10
                                                : -1;
}

bool HasDrive(std::string_view inPath)
{
    return inPath.size() >= 2 && IsLetter(inPath[0]) && inPath[1] == ':' &&
           (inPath.size() == 2 || inPath[2] == '/' || inPath[2] == '\\');
}

bool IsSameWord(std::string_view inA, std::string_view inB)
{
    return std::equal(inA.begin(), inA.end(), inB.begin(), inB.end(),
                      [](char inLeft, char inRight)
                      {
                          return std::tolower(static_cast<unsigned char>(inLeft)) ==
                                 std::tolower(static_cast<unsigned char>(inRight));
                      });
}

// The length of "scheme:" in front; 0 without one. A single letter is a drive.
std::size_t SchemeLength(std::string_view inText)
{
    std::size_t length = 0;
    while (length < inText.size() &&
           (IsLetter(inText[length]) ||
            (length > 0 && (std::isdigit(static_cast<unsigned char>(inText[length])) ||
                            inText[length] == '+' || inText[length] == '-' || inText[length] == '.'))))
    {
        ++length;
    }
    return length >= 2 && length < inText.size() && inText[length] == ':' ? length + 1 : 0;
}

// Paths of drives and servers with one kind of separator. Elsewhere "\" is a letter like others.
std::string WithSlashes(std::string_view inPath)
{
    std::string path(inPath);
    if (HasDrive(path) || path.substr(0, 2) == "\\\\")
    {
        std::replace(path.begin(), path.end(), '\\', '/');
    }
    return path;
}

void ReadFileUrl(std::string_view inRest, MediaUrl& outUrl)
{
    if (inRest.substr(0, 2) == "//")
    {
        const std::string_view behind = inRest.substr(2);
        const std::size_t hostEnd = std::min(behind.find('/'), behind.size());
        const std::string_view host = behind.substr(0, hostEnd);
        if (HasDrive(host)) // file://C:/...
        {
            outUrl.mPath = WithSlashes(behind);
            return;
        }
        inRest = behind.substr(hostEnd);
        if (!host.empty() && !IsSameWord(host, "localhost"))
        {
            outUrl.mUnknownHost = host;
        }
    }
    if (inRest.size() > 2 && inRest[0] == '/' && HasDrive(inRest.substr(1)))
    {
        inRest.remove_prefix(1); // file:///C:/...
    }
    outUrl.mPath = WithSlashes(inRest);
}

bool ExistsOnDisk(const std::string& inPath)
{
    std::error_code fault;
    return std::filesystem::exists(inPath, fault);
}

std::vector<PathMapping> LongestFirst(std::vector<PathMapping> inMappings)
{
    for (PathMapping& mapping : inMappings)
    {
        mapping.mFrom = WithSlashes(mapping.mFrom);
    }
    std::stable_sort(inMappings.begin(), inMappings.end(),
                     [](const PathMapping& inA, const PathMapping& inB)
                     { return inA.mFrom.size() > inB.mFrom.size(); });
    return inMappings;
}

}

std::string DecodePercents(std::string_view inText)
{
    std::string text;
    for (std::size_t index = 0; index < inText.size(); ++index)
    {
        const int high = inText[index] == '%' && index + 2 < inText.size() ? HexDigit(inText[index + 1]) : -1;
        const int low = high >= 0 ? HexDigit(inText[index + 2]) : -1;
        const int byte = low >= 0 ? high * 16 + low : 0;
        if (byte == 0)
        {
            text += inText[index];
            continue;
        }
        text += static_cast<char>(static_cast<unsigned char>(byte));
        index += 2;
    }
    return text;
}

MediaUrl ParseMediaUrl(std::string_view inText)
{
    MediaUrl url;
    const std::size_t scheme = SchemeLength(inText);
    if (scheme > 0 && IsSameWord(inText.substr(0, scheme), "file:"))
    {
        ReadFileUrl(inText.substr(scheme), url);
    }
    else if (scheme > 0 && inText.substr(scheme, 2) == "//")
    {
        url.mIsNetwork = true;
        url.mPath = inText;
    }
    else
    {
        url.mPath = WithSlashes(inText);
    }
    url.mIsRelative =
        !url.mIsNetwork && !url.mPath.empty() && url.mPath.front() != '/' && !HasDrive(url.mPath);
    return url;
}

std::string BaseName(std::string_view inPath)
{
    while (!inPath.empty() && (inPath.back() == '/' || inPath.back() == '\\'))
    {
        inPath.remove_suffix(1);
    }
    return std::string(inPath.substr(inPath.find_last_of("/\\") + 1));
}

bool StaysInside(std::string_view inRelativePath)
{
    if (inRelativePath.empty() || inRelativePath.front() == '/' || inRelativePath.front() == '\\' ||
        HasDrive(inRelativePath) || inRelativePath.find('\0') != std::string_view::npos)
    {
        return false;
    }
    while (!inRelativePath.empty())
    {
        const std::size_t end = std::min(inRelativePath.find_first_of("/\\"), inRelativePath.size());
        if (inRelativePath.substr(0, end) == "..")
        {
            return false;
        }
        inRelativePath.remove_prefix(std::min(end + 1, inRelativePath.size()));
    }
    return true;
}

MediaPaths::MediaPaths(const DocumentOptions& inOptions, std::string inDocumentFolder, bool inIsConfined)
    : MediaPaths(inOptions, std::move(inDocumentFolder), inIsConfined, ExistsOnDisk)
{
}

MediaPaths::MediaPaths(const DocumentOptions& inOptions, std::string inDocumentFolder, bool inIsConfined,
                       ExistsFunction inExists)
    : mMappings(LongestFirst(inOptions.mPathMappings))
    , mFolders(inOptions.mMediaFolders)
    , mDocumentFolder(std::move(inDocumentFolder))
    , mIsConfined(inIsConfined)
    , mExists(std::move(inExists))
{
}

FoundFile MediaPaths::Find(std::string_view inUrl, bool inIsFolder)
{
    const MediaUrl url = ParseMediaUrl(inUrl);
    FoundFile found;
    if (url.mIsNetwork)
    {
        found.mNote = "is not on this machine, and the network is not asked";
    }
    else
    {
        for (const std::string& path : Candidates(url))
        {
            if (mExists(path))
            {
                found.mPath = path;
                found.mNote = url.mUnknownHost.empty()
                                  ? std::string()
                                  : fmt::format("names the machine \"{}\"; taken as a path of this one",
                                                url.mUnknownHost);
                return found;
            }
        }
    }
    const std::string name = BaseName(url.mPath);
    for (const std::string& candidate : {DecodePercents(name), name})
    {
        found.mPath = candidate.empty() ? std::string() : FindByName(candidate, inIsFolder);
        if (!found.mPath.empty())
        {
            found.mNote.clear();
            return found;
        }
    }
    if (found.mNote.empty())
    {
        found.mNote = "is not there";
    }
    return found;
}

std::vector<std::string> MediaPaths::Candidates(const MediaUrl& inUrl) const
{
    std::vector<std::string> candidates;
    std::string raw = inUrl.mPath;
    if (!inUrl.mUnknownHost.empty())
    {
        // A server's share can be mapped by its own name.
        raw = "//" + inUrl.mUnknownHost + raw;
    }
    for (const std::string& path : {DecodePercents(raw), raw})
    {
        bool isMapped = false;
        const std::string mapped = Mapped(path, isMapped);
        if (isMapped)
        {
            candidates.push_back(mapped);
        }
        if (inUrl.mIsRelative)
        {
            if (!mIsConfined || (StaysInside(path) && !mDocumentFolder.empty()))
            {
                candidates.push_back(mDocumentFolder.empty() ? path : mDocumentFolder + "/" + path);
            }
        }
        else if (!mIsConfined)
        {
            candidates.push_back(inUrl.mUnknownHost.empty() ? path
                                                            : path.substr(2 + inUrl.mUnknownHost.size()));
        }
    }
    return candidates;
}

std::string MediaPaths::Mapped(const std::string& inPath, bool& outIsMapped) const
{
    for (const PathMapping& mapping : mMappings)
    {
        const std::string& from = mapping.mFrom;
        const bool begins = !from.empty() && inPath.compare(0, from.size(), from) == 0;
        // "/a" is no beginning of "/ab".
        const bool isWhole = begins && (inPath.size() == from.size() || from.back() == '/' ||
                                        inPath[from.size()] == '/' || mapping.mTo.empty());
        if (isWhole)
        {
            outIsMapped = true;
            return mapping.mTo + inPath.substr(from.size());
        }
    }
    return {};
}

std::string MediaPaths::FindByName(const std::string& inName, bool inIsFolder)
{
    ListFolders();
    const auto found = mByName.find((inIsFolder ? "/" : "") + inName);
    return found == mByName.end() ? std::string() : found->second;
}

void MediaPaths::ListFolders()
{
    if (mIsListed)
    {
        return;
    }
    mIsListed = true;
    std::size_t listed = 0;
    for (const std::string& folder : mFolders)
    {
        std::error_code fault;
        std::filesystem::recursive_directory_iterator entry(
            folder, std::filesystem::directory_options::skip_permission_denied, fault);
        std::map<std::string, std::string> names;
        while (!fault && entry != std::filesystem::recursive_directory_iterator() &&
               ++listed <= kMostListedFiles)
        {
            std::error_code ignored;
            const std::string key =
                (entry->is_directory(ignored) ? "/" : "") + entry->path().filename().string();
            // Of equal names the first path in order of the alphabet, so that the choice never varies.
            const std::string path = entry->path().string();
            const auto [place, isNew] = names.try_emplace(key, path);
            if (!isNew && path < place->second)
            {
                place->second = path;
            }
            entry.increment(fault);
        }
        mByName.merge(names); // folders that were given first go first
    }
}

}
