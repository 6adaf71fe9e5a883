#include "BE/Backend.h"

#include "ReferenceHost/DiskCache/CacheDirectory.h"
#include "ReferenceHost/Foundation/Mutex.h"
#include "TVK/Allocated.h"
#include "norvik/utility/Strings.h"

#include <cstdlib>

namespace DiskCache
{

namespace
{

constexpr char kFolder[] = "VideoRenderer";

struct ChosenDirectory
{
    Foundation::Mutex mMutex;
    std::string mPath VR_GUARDED_BY(mMutex);
};

ChosenDirectory& Chosen()
{
    static auto* const sChosen = new ChosenDirectory; // asked at any time until the process ends
    return *sChosen;
}

} // namespace

std::string UsualCacheDirectory()
{
    const char* const caches = std::getenv("XDG_CACHE_HOME");
    if (caches != nullptr && caches[0] == '/')
    {
        return std::string(caches) + '/' + kFolder;
    }
    const char* const home = std::getenv("HOME");
    return home != nullptr && home[0] == '/' ? std::string(home) + "/.cache/" + kFolder : std::string();
}

void SetCacheDirectory(const std::string& inPath)
{
    ChosenDirectory& chosen = Chosen();
    const Foundation::MutexLock lock(chosen.mMutex);
    chosen.mPath = inPath;
}

std::string GetCacheDirectory()
{
    ChosenDirectory& chosen = Chosen();
    const Foundation::MutexLock lock(chosen.mMutex);
    return chosen.mPath.empty() ? UsualCacheDirectory() : chosen.mPath;
}

} // namespace DiskCache

namespace BE
{

namespace
{

constexpr std::int32_t kNoDirectory = static_cast<std::int32_t>(0xa00b0003u);

class Backend final : public TVK::Implements<Backend, IDirectories>
{
public:
    std::int32_t GetCacheDirectory(norvik::WString& outPath) override
    {
        const std::string path = DiskCache::GetCacheDirectory();
        const norvik::UTF8String narrow(path.begin(), path.end());
        outPath = norvik::utility::UTF8to16(narrow);
        // A path that isn't UTF-8 would come back as another one.
        if (path.empty() || norvik::utility::UTF16to8(outPath) != narrow)
        {
            outPath.clear();
            return kNoDirectory;
        }
        return TVK::kStatus_OK;
    }
};

} // namespace

TVK::TVKUnknownRef GetBackend()
{
    static auto* const sBackend = new TVK::InterfaceRef<IDirectories>(new Backend); // as long as the process
    return TVK::TVKUnknownRef(*sBackend);
}

} // namespace BE
