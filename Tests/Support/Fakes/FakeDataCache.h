// A data cache in memory whose reads are finished by the test, in the order in which they were begun.
//
// Thread-safety: one thread.
#pragma once

#include "MF/DataCache.h"

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace TestSupport
{

class FakeDataCache final : public MF::DataCache
{
public:
    using Text = std::string;

    std::map<Text, Bytes> mEntries; // by "name.tag"
    bool mAcceptsAll = false;       // reads of entries that aren't there
    std::vector<Text> mAsked;       // "name.tag" of each read
    std::vector<Text> mWritten;

    std::int32_t ReadEntry(const norvik::utility::ImmutableString& inName,
                           const norvik::utility::ImmutableString& inTag, const ReadCompletion& inCompletion,
                           TVK::TVKUnknownRef& outHandle) override
    {
        outHandle.reset();
        const Text entry = Text(inName.CStr()) + "." + inTag.CStr();
        mAsked.push_back(entry);
        if (!mAcceptsAll && mEntries.find(entry) == mEntries.end())
        {
            return MF::kDataCache_NotFound;
        }
        mReads.push_back({entry, inCompletion});
        return 0;
    }

    void WriteEntry(const norvik::utility::ImmutableString& inName,
                    const norvik::utility::ImmutableString& inTag, const Bytes& inBytes) override
    {
        const Text entry = Text(inName.CStr()) + "." + inTag.CStr();
        mWritten.push_back(entry);
        mEntries[entry] = inBytes;
    }

    std::size_t Pending() const { return mReads.size(); }

    // Ends the oldest read, with its entry's bytes if there is one, else with a failure.
    void FinishRead()
    {
        const Read read = mReads.front();
        mReads.pop_front();
        const auto found = mEntries.find(read.mEntry);
        const bool isThere = found != mEntries.end();
        read.mCompletion(isThere ? 0 : MF::kDataCache_Damaged, {}, {}, isThere ? found->second : Bytes());
    }

private:
    struct Read
    {
        Text mEntry;
        ReadCompletion mCompletion;
    };
    std::deque<Read> mReads;
};

} // namespace TestSupport
