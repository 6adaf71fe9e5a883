// Where the text of a document comes from: a file .otio, or a bundle that brings its media along - an archive
// .otioz, or a folder .otiod with the same content.
//
// Media of an archive lies in it as it is, uncompressed, and is read there: nothing is unpacked, so an entry's
// name is never used as a path. In a folder, links that lead out of it are not followed.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Problems.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

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
};

}
