#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Brings the host up around the library, and down again.
//
// While a session lives, processor count, memory and SIMD target are what it was given, and the
// executors that host and library share are running. Sessions don't overlap.
//
// Thread-safety: made and destroyed by the main thread, while nothing else uses host or library.
namespace Session
{

// How frames will be asked for, which decides where memory is of use.
enum class AccessPattern
{
    kForward,  // one after the other: many frames in flight, few kept
    kScattered // here and there: decoded neighbours are worth keeping
};

struct HostSettings
{
    std::uint32_t mThreads = 0; // of decoders, pools and executors alike; 0: one a processor
    std::uint64_t mMemoryBytes =
        0; // for frames and caches together; 0: a quarter of the machine's, at most 4 GiB
    AccessPattern mPattern = AccessPattern::kForward;
    std::string mCpuTarget; // SIMD target of the kernels; empty: the best one

    // Where frames that are asked for at low urgency are kept for later runs: a directory that is made where it
    // is missing, the user's usual one if the text is empty. Nothing is kept if there is no text.
    std::optional<std::string> mDiskCache;
};

// What the parts of a process may hold, of one sum: together they are no more than all of it.
struct MemoryShares
{
    std::uint64_t mTotalBytes = 0;
    std::uint64_t mWindowBytes = 0;   // rendered frames in flight, and buffers of frames that lie idle
    std::uint64_t mPicturesBytes = 0; // decoded pictures, for all open files together
    std::uint64_t mCacheBytes = 0;    // the cache of frames that all streams share
};

class HostSession
{
public:
    // Throws std::invalid_argument with one line of text for a target that this machine hasn't got.
    explicit HostSession(const HostSettings& inSettings);
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    std::uint32_t Threads() const noexcept { return mThreads; }
    const MemoryShares& Shares() const noexcept { return mShares; }

    // SIMD targets that kernels can run on here, the best one first.
    static std::vector<std::string> CpuTargets();

private:
    std::uint32_t mThreads;
    MemoryShares mShares;
};

} // namespace Session
