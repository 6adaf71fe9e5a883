#include "MF/DataCache.h"

#include "ReferenceHost/DiskCache/ManagedDirectory.h"
#include "ReferenceHost/Foundation/WorkObserver.h"
#include "norvik/debug/Debug.h"
#include "norvik/logging/Logging.h"
#include "norvik/threads/Threads.h"
#include "norvik/utility/Machine.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <new>
#include <string>
#include <utility>

namespace MF
{

namespace
{

using DiskCache::EntryName;
using DiskCache::OpenedEntry;
using DiskCacheManager::ManagedDirectory;
using norvik::threads::AsyncThreadedExecutor;
using norvik::utility::ImmutableString;

// Completions decompress pictures, which is worth some threads; more of them only make the disk seek.
constexpr std::uint32_t kMostReaders = 4;

// Bytes that wait for a slow disk, in memory. What comes above is left out: it can be made again.
constexpr std::uint64_t kMostPendingBytes = std::uint64_t{64} << 20;

// In megabytes, under this setting; some thousand pictures of full high definition.
constexpr char kLimitSetting[] = "DiskCache.LimitMegabytes";
constexpr std::uint64_t kUsualLimitMegabytes = 2048;

std::uint64_t LimitFromSettings()
{
    const norvik::UTF8String text = norvik::debug::DebugDatabase::Instance().GetEntry(kLimitSetting, {});
    std::uint64_t megabytes = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), megabytes);
    const bool isNumber =
        error == std::errc() && end == text.data() + text.size() && megabytes <= (UINT64_MAX >> 20);
    return (isNumber ? megabytes : kUsualLimitMegabytes) << 20;
}

EntryName NameOf(const ImmutableString& inName, const ImmutableString& inTag)
{
    return {std::string(inName.View()), std::string(inTag.View())};
}

// A cache without entries looks like any other to who asks it.
void SayWhyNot(const ManagedDirectory& inDirectory)
{
    if (!inDirectory.WhyNot().empty())
    {
        const std::string text = "No disk cache in " + inDirectory.WhyNot();
        norvik::logging::LogText(norvik::logging::kLogLevel_Warning, "DiskCache", text.c_str());
    }
}

// Counts bytes as pending for as long as it lives.
class PendingBytes
{
public:
    using Counter = std::shared_ptr<std::atomic<std::uint64_t>>;

    PendingBytes(Counter inCounter, std::uint64_t inBytes) : mCounter(std::move(inCounter)), mBytes(inBytes)
    {
        mIsTooMuch = mCounter->fetch_add(mBytes) + mBytes > kMostPendingBytes;
    }
    ~PendingBytes() { mCounter->fetch_sub(mBytes); }
    PendingBytes(const PendingBytes&) = delete;
    PendingBytes& operator=(const PendingBytes&) = delete;

    bool IsTooMuch() const noexcept { return mIsTooMuch; }

private:
    const Counter mCounter;
    const std::uint64_t mBytes;
    bool mIsTooMuch = false;
};

// What is posted holds all it needs, so that the cache may go in one of its own completions.
struct ReadJob
{
    std::shared_ptr<ManagedDirectory> mDirectory;
    std::shared_ptr<OpenedEntry> mEntry;
    ImmutableString mName;
    ImmutableString mTag;
    DataCache::ReadCompletion mCompletion;

    void operator()() const
    {
        Foundation::WorkSpan span(Foundation::WorkKind::kFetch);
        DataCache::Bytes bytes;
        std::int32_t status = TVK::kStatus_OK;
        try
        {
            bytes = mEntry->Read();
            if (!bytes)
            {
                mDirectory->Drop(NameOf(mName, mTag));
                status = kDataCache_Damaged;
            }
        }
        catch (const std::bad_alloc&)
        {
            status = kDataCache_NotFound;
        }
        if (status >= 0)
        {
            span.Succeed();
        }
        mCompletion(status, mName, mTag, bytes);
    }
};

struct WriteJob
{
    std::shared_ptr<ManagedDirectory> mDirectory;
    EntryName mName;
    DataCache::Bytes mBytes;
    std::shared_ptr<PendingBytes> mPending;

    void operator()() const
    {
        Foundation::WorkSpan span(Foundation::WorkKind::kKeep);
        mDirectory->Store(mName, *mBytes);
        span.Succeed();
    }
};

struct LookJob
{
    std::shared_ptr<ManagedDirectory> mDirectory;
    std::shared_ptr<std::atomic<bool>> mIsPosted;

    void operator()() const
    {
        try
        {
            mDirectory->Look();
        }
        catch (const std::bad_alloc&)
        {
        }
        *mIsPosted = false;
    }
};

class FilesystemDataCache final : public DataCache
{
public:
    explicit FilesystemDataCache(std::shared_ptr<ManagedDirectory> inDirectory)
        : mDirectory(std::move(inDirectory))
        , mReader(norvik::threads::CreateThreadedExecutor(
              "DiskCacheRead", std::min(norvik::utility::CPUCount(), kMostReaders)))
        , mWriter(norvik::threads::CreateThreadedExecutor("DiskCacheWrite", 1))
    {
    }

    // Readers first: a completion may still write.
    ~FilesystemDataCache() override
    {
        for (const auto& executor : {mReader, mWriter})
        {
            executor->Close();
            executor->WaitForTermination();
        }
    }

    std::int32_t ReadEntry(const ImmutableString& inName, const ImmutableString& inTag,
                           const ReadCompletion& inCompletion, TVK::TVKUnknownRef& outHandle) override
    {
        outHandle.reset();
        try
        {
            const auto entry = std::make_shared<OpenedEntry>();
            if (!mDirectory->OpenEntry(NameOf(inName, inTag), *entry))
            {
                LookIfDue();
                return kDataCache_NotFound;
            }
            mReader->Post(ReadJob{mDirectory, entry, inName, inTag, inCompletion});
            return TVK::kStatus_OK;
        }
        catch (const std::bad_alloc&)
        {
            return kDataCache_NotFound;
        }
    }

    void WriteEntry(const ImmutableString& inName, const ImmutableString& inTag,
                    const Bytes& inBytes) override
    {
        if (!inBytes)
        {
            return;
        }
        try
        {
            const auto pending = std::make_shared<PendingBytes>(mPendingBytes, inBytes->Size());
            if (!pending->IsTooMuch())
            {
                mWriter->Post(WriteJob{mDirectory, NameOf(inName, inTag), inBytes, pending});
            }
        }
        catch (const std::bad_alloc&)
        {
        }
    }

private:
    void LookIfDue()
    {
        if (mDirectory->ShouldLook() && !mIsLookPosted->exchange(true))
        {
            mWriter->Post(LookJob{mDirectory, mIsLookPosted});
        }
    }

    const std::shared_ptr<ManagedDirectory> mDirectory;
    const PendingBytes::Counter mPendingBytes = std::make_shared<std::atomic<std::uint64_t>>(0);
    const std::shared_ptr<std::atomic<bool>> mIsLookPosted = std::make_shared<std::atomic<bool>>(false);
    const boost::shared_ptr<AsyncThreadedExecutor> mReader;
    const boost::shared_ptr<AsyncThreadedExecutor> mWriter;
};

} // namespace

DataCache::~DataCache() = default;

std::shared_ptr<DataCache>
CreateDataCacheInFilesystemAndManageDirectory(const ImmutableString& inPath,
                                              std::shared_ptr<ManagedDirectory>& ioDirectory, bool inClear)
{
    if (!ioDirectory)
    {
        ioDirectory = ManagedDirectory::Open(std::string(inPath.View()), LimitFromSettings(), inClear);
        SayWhyNot(*ioDirectory);
    }
    else if (inClear)
    {
        ioDirectory->Clear();
    }
    return std::make_shared<FilesystemDataCache>(ioDirectory);
}

} // namespace MF
