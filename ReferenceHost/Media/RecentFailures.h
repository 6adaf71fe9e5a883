#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

namespace Media
{

// Why frames couldn't be made, for whoever asks afterwards. Frames are made on many threads and their causes
// asked for a little later, so that more than the last one is remembered; of thousands the earliest are
// forgotten.
//
// Thread-safety: safe.
class RecentFailures
{
public:
    void Remember(std::int64_t inFrame, std::string inText)
    {
        const std::lock_guard<std::mutex> lock(mLock);
        for (auto& [frame, text] : mFailures)
        {
            if (frame == inFrame)
            {
                text = std::move(inText);
                return;
            }
        }
        if (mFailures.size() == kMost)
        {
            mFailures.pop_front();
        }
        mFailures.emplace_back(inFrame, std::move(inText));
    }

    // Empty if nothing is remembered of that frame.
    std::string TextOf(std::int64_t inFrame) const
    {
        const std::lock_guard<std::mutex> lock(mLock);
        for (const auto& [frame, text] : mFailures)
        {
            if (frame == inFrame)
            {
                return text;
            }
        }
        return std::string();
    }

private:
    // More than there are threads that may have failed and not asked yet.
    static constexpr std::size_t kMost = 1024;

    mutable std::mutex mLock; // guards mFailures
    std::deque<std::pair<std::int64_t, std::string>> mFailures;
};

}
