// Where the text of a document comes from: a file .otio, or a bundle that brings its media along - an archive
// .otioz, or a folder .otiod with the same content.
//
// Media of an archive lies in it as it is, uncompressed, and is read there; what is packed all the same can be
// unpacked to a file that the caller opens, so that an entry's name is never used as a path. In a folder, links that
// lead out of it are not followed.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Problems.h"
#include "ReferenceHost/Project/Otio/Timeline.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Otio
{

enum class BundleKind : std::uint8_t
{
    kPlainFile,
    kFolder,
    kArchive,
};

// A part of a file.
struct FilePart
{
    std::uint64_t mOffset = 0;
    std::uint64_t mSize = 0;
};

class Bundle
{
public:
    // Reads the text of the document at inPath. False, with an error, if it can't be read, or is too large.
    bool Open(const std::string& inPath, ProblemList& ioProblems);

    const std::string& Text() const noexcept { return mText; }
    BundleKind Kind() const noexcept { return mKind; }
    // Relative paths of the document start here; of an archive "".
    const std::string& Folder() const noexcept { return mFolder; }
    // The archive itself.
    const std::string& Path() const noexcept { return mPath; }

    // The media inName of an archive. False if it has none of that name that is stored as it is.
    bool FindEntry(std::string_view inName, FilePart& outPart) const;
    // Whether an archive has media inName that is packed.
    bool HasPackedEntry(std::string_view inName) const;
    // Media in the folder inFolder of an archive, stored as it is, whose name begins and ends so.
    std::vector<NamedPart> FindEntries(const std::string& inFolder, std::string_view inPrefix,
                                       std::string_view inSuffix) const;

    // True for a path within the folder of a bundle that doesn't lead out of it by links; always true elsewhere.
    bool IsInside(const std::string& inPath) const;

private:
    bool OpenArchive(ProblemList& ioProblems);
    bool ReadTextFile(const std::string& inPath, ProblemList& ioProblems);

    std::string mPath;
    std::string mFolder;
    std::string mText;
    BundleKind mKind = BundleKind::kPlainFile;
    std::map<std::string, FilePart, std::less<>> mEntries;
    std::set<std::string, std::less<>> mPacked;
};

// More than that is no medium that anybody packs, and may be meant to fill a disk.
inline constexpr std::uint64_t kMostUnpackedBytes = std::uint64_t{8} << 30;

// Unpacks the media inName of the archive inPath to the file inFile. False with a reason.
bool UnpackEntry(const std::string& inPath, const std::string& inName, int inFile, std::string& outError);

}
