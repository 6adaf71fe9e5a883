#include "ReferenceHost/Media/FileIdentity.h"

#include "ReferenceHost/Media/FilePart.h"
#include "TVK/HashValue.h"

#include <cstdlib>
#include <memory>

#include <sys/stat.h>

namespace Media
{

FileIdentity IdentifyFile(const std::string& inPath)
{
    FileIdentity identity;
    struct stat status = {};
    if (!StatFilePart(inPath, status))
    {
        return identity;
    }
    identity.mExists = true;
    identity.mIsDirectory = S_ISDIR(status.st_mode);
    identity.mSize = static_cast<std::uint64_t>(status.st_size);
    identity.mModifiedNanoseconds =
        static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    return identity;
}

std::string AbsolutePath(const std::string& inPath)
{
    const FilePart part = ParseFilePart(inPath);
    const std::unique_ptr<char, decltype(&std::free)> absolute(::realpath(part.mPath.c_str(), nullptr),
                                                               &std::free);
    // The text of a part goes on behind the path of its file.
    return absolute ? absolute.get() + inPath.substr(part.mPath.size()) : inPath;
}

TVK::Guid ContentIDOfFile(const std::string& inPath, const std::string& inDetail)
{
    const std::string path = AbsolutePath(inPath);
    const FileIdentity identity = IdentifyFile(inPath);
    TVK::HashValue hash("Media::File");
    hash.MixU64(path.size());
    hash.Mix(path.data(), path.size());
    hash.MixU64(identity.mSize);
    hash.MixI64(identity.mModifiedNanoseconds);
    hash.MixU64(inDetail.size());
    hash.Mix(inDetail.data(), inDetail.size());
    return hash.AsGuid();
}

} // namespace Media
