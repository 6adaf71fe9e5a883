// Streams that rest, without files and decoders, and the items that wait until they are awake.
//
// The first item to wait for a stream posts its waking to the executor for stills, whatever the stream is,
// since waking may block. All items that waited share the token that keeps the stream awake.
//
// Thread-safety: safe.
#pragma once

#include "BE/IVideoSource.h"
#include "norvik/threads/Threads.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

namespace ML::VideoSourcePrefetcher
{

class RestingSources
{
public:
    static RestingSources& Instance();

    // Adds an item that waits, and posts the waking if it is the first one.
    void Register(const BE::IVideoSourceRef& inSource) VR_EXCLUDES(mMutex);

    // Takes one waiting item out, with the token if there is one by now. inOnlyIfAwake: only if the stream is
    // awake. False, and nothing done, if nobody waits for the stream, or if that condition fails.
    bool Unregister(BE::IVideoSource* inSource, bool inOnlyIfAwake, std::shared_ptr<void>& outToken)
        VR_EXCLUDES(mMutex);

    std::size_t Size() VR_EXCLUDES(mMutex);

private:
    struct Waiting
    {
        bool mIsAwake = false;
        std::shared_ptr<void> mToken;
        std::uint32_t mCount = 0;
    };

    // Blocks for as long as the stream takes to wake. Does nothing if nobody waits any more.
    void Wake(const BE::IVideoSourceRef& inSource) VR_EXCLUDES(mMutex);
    // False if nobody waits any more; then the token is not kept.
    bool MarkAwake(BE::IVideoSource* inSource, std::shared_ptr<void> inToken) VR_EXCLUDES(mMutex);

    // Follows the register of reads.
    norvik::threads::RecursiveMutex mMutex;
    std::map<BE::IVideoSource*, Waiting> mWaiting VR_GUARDED_BY(mMutex);
};

} // namespace ML::VideoSourcePrefetcher
