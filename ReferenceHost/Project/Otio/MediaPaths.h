// From the texts by which documents name their media to files.
//
// A document comes from another machine: paths are those of its disks, drive letters, servers, with parts
// escaped or not. What is tried, in this order, each as it is and with %XX resolved (resolved first):
//
// 1. the path, on this machine or through the mapping with the longest fitting beginning; a relative one
//    lies beside the document
// 2. a file of the same name in one of the media folders, or in any folder below them
//
// Other machines are never asked: a URL of a network scheme is no media.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Options.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Otio
{

// A text as the parts that matter here.
struct MediaUrl
{
    bool mIsNetwork = false;  // a scheme other than file
    std::string mUnknownHost; // of a file URL
    std::string mPath;        // without scheme and host; drives as "C:/"; servers' shares as "//server/"
    bool mIsRelative = false;
};

MediaUrl ParseMediaUrl(std::string_view inText);

// %XX as bytes; what is no such escape, and zero bytes, stay as they are.
std::string DecodePercents(std::string_view inText);

// The last part of a path, "/" and "\" both taken as separators.
std::string BaseName(std::string_view inPath);

// True if a relative path stays in its folder: no "..", not absolute, no drive, no zero byte.
bool StaysInside(std::string_view inRelativePath);

struct FoundFile
{
    std::string mPath; // empty: not found
    std::string mNote; // why not, or what is doubtful of it; may be empty
};

class MediaPaths
{
public:
    using ExistsFunction = std::function<bool(const std::string&)>;

    // inDocumentFolder: relative paths start there. inIsConfined: nothing outside of it is found, but by
    // mappings and media folders, as documents that bring their media along need nothing else.
    MediaPaths(const DocumentOptions& inOptions, std::string inDocumentFolder, bool inIsConfined = false);
    // For files that are not on a disk.
    MediaPaths(const DocumentOptions& inOptions, std::string inDocumentFolder, bool inIsConfined,
               ExistsFunction inExists);

    // A file, or with inIsFolder a folder.
    FoundFile Find(std::string_view inUrl, bool inIsFolder);

private:
    std::string Mapped(const std::string& inPath, bool& outIsMapped) const;
    std::vector<std::string> Candidates(const MediaUrl& inUrl) const;
    std::string FindByName(const std::string& inName, bool inIsFolder);
    void ListFolders();

    const std::vector<PathMapping> mMappings; // the longest first
    const std::vector<std::string> mFolders;
    const std::string mDocumentFolder;
    const bool mIsConfined;
    const ExistsFunction mExists;
    bool mIsListed = false;
    std::map<std::string, std::string> mByName; // files and folders below mFolders
};

}
