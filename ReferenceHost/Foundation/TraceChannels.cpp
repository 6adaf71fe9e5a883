#include "norvik/debug/Debug.h"

#include "ReferenceHost/Foundation/LogOutput.h"

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace norvik::debug
{

namespace
{

struct Channels
{
    std::mutex mMutex;
    std::map<std::string, int, std::less<>> mLevels;
    std::atomic<size_t> mEnabledCount{0}; // tells without the lock that all channels are off
    std::atomic<uint32_t> mChangeCount{0};
};

Channels& TheChannels()
{
    static Channels* const sChannels = new Channels;
    return *sChannels;
}

} // namespace

bool TraceEnabled(const char* inChannel, int inLevel)
{
    Channels& channels = TheChannels();
    if (inChannel == nullptr || channels.mEnabledCount.load(std::memory_order_acquire) == 0)
    {
        return false;
    }
    const std::lock_guard<std::mutex> lock(channels.mMutex);
    const auto found = channels.mLevels.find(std::string_view(inChannel));
    return found != channels.mLevels.end() && inLevel <= found->second;
}

void Trace(const char* inChannel, int inLevel, const UTF8String& inText)
{
    if (!TraceEnabled(inChannel, inLevel))
    {
        return;
    }
    const auto message = boost::make_shared<logging::LogMessage>();
    message->mLevel = logging::kLogLevel_Detail;
    message->mChannel = utility::ImmutableString::CreateDynamic(inChannel);
    message->mText = inText;
    logging::EmitRecord(message);
}

uint32_t TraceChangeCount()
{
    return TheChannels().mChangeCount.load(std::memory_order_acquire);
}

void SetTraceLevel(const char* inChannel, int inLevel)
{
    Channels& channels = TheChannels();
    const std::lock_guard<std::mutex> lock(channels.mMutex);
    if (inLevel > 0)
    {
        channels.mLevels[inChannel] = inLevel;
    }
    else
    {
        channels.mLevels.erase(inChannel);
    }
    channels.mEnabledCount.store(channels.mLevels.size(), std::memory_order_release);
    channels.mChangeCount.fetch_add(1, std::memory_order_acq_rel);
}

} // namespace norvik::debug
