#include "ReferenceHost/Session/StoredFrames.h"

#include "ReferenceHost/DiskCache/CacheDirectory.h"
#include "ReferenceHost/DiskCache/ManagedDirectory.h"

#include <utility>

#include <sys/stat.h>

namespace Session
{

namespace
{

using MF::DiskCacheManager::EntryFacts;
using MF::DiskCacheManager::ManagedDirectory;

// The library's folder in the host's cache directory.
constexpr char kFolder[] = "ThumbnailCache";
constexpr std::int64_t kNanoseconds = 1'000'000'000; // in a second

bool IsThere(const std::string& inPath)
{
    struct stat status = {};
    return ::lstat(inPath.c_str(), &status) == 0;
}

std::vector<StoredFrame> FramesOf(const std::vector<EntryFacts>& inEntries)
{
    std::vector<StoredFrame> frames;
    frames.reserve(inEntries.size());
    for (const EntryFacts& entry : inEntries)
    {
        frames.push_back({entry.mName.FileName(), entry.mFileBytes, entry.mUsedNanoseconds / kNanoseconds});
    }
    return frames;
}

} // namespace

std::string StoredFramesDirectory(const std::string& inChosen)
{
    const std::string root = inChosen.empty() ? DiskCache::UsualCacheDirectory() : inChosen;
    return root.empty() ? root : root + (root.back() == '/' ? "" : "/") + kFolder;
}

class StoredFrames::Impl
{
public:
    // Nothing is added, so there is no limit.
    explicit Impl(const std::string& inPath)
        : mDirectory(ManagedDirectory::Open(inPath, std::uint64_t{1} << 62, false))
    {
    }

    const std::shared_ptr<ManagedDirectory> mDirectory;
};

StoredFrames::StoredFrames(std::string inDirectory) : mPath(std::move(inDirectory))
{
    if (IsThere(mPath))
    {
        mImpl = std::make_unique<Impl>(mPath);
        mWhyNot = mImpl->mDirectory->WhyNot();
    }
}

StoredFrames::~StoredFrames() = default;

std::vector<StoredFrame> StoredFrames::List() const
{
    return mImpl ? FramesOf(mImpl->mDirectory->List()) : std::vector<StoredFrame>();
}

std::vector<std::string> StoredFrames::Strangers() const
{
    return mImpl ? mImpl->mDirectory->Strangers() : std::vector<std::string>();
}

std::vector<StoredFrame> StoredFrames::Verify()
{
    return mImpl ? FramesOf(mImpl->mDirectory->Verify()) : std::vector<StoredFrame>();
}

std::size_t StoredFrames::Clear()
{
    return mImpl ? mImpl->mDirectory->Clear() : 0;
}

} // namespace Session
