#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// The disk cache as its owner sees it: the frames that earlier runs have left, to be listed, checked and
// removed.
//
// A cache directory belongs to the program: it has the mark of one. In any other directory nothing is done. What
// somebody put into a cache directory under a name of his own is told of and left alone.
//
// Thread-safety: one thread; other processes may use the directory meanwhile.
namespace Session
{

// The directory that a host uses for inChosen, the usual one if that is empty. Empty if there is no usual one,
// as neither XDG_CACHE_HOME nor HOME is an absolute path.
std::string StoredFramesDirectory(const std::string& inChosen);

struct StoredFrame
{
    std::string mName; // of its file
    std::uint64_t mBytes = 0;
    std::int64_t mUsedSeconds = 0; // when it was of use last, since the epoch
};

class StoredFrames
{
public:
    // Makes no directory where there is none: that is a cache without frames.
    explicit StoredFrames(std::string inDirectory);
    ~StoredFrames();
    StoredFrames(const StoredFrames&) = delete;
    StoredFrames& operator=(const StoredFrames&) = delete;

    const std::string& Directory() const noexcept { return mPath; }
    // One line if there is a directory and it can't be used as a cache; there are no frames then.
    const std::string& WhyNot() const noexcept { return mWhyNot; }

    // The one used longest ago first.
    std::vector<StoredFrame> List() const;
    // Names of what lies in the directory and isn't the cache's.
    std::vector<std::string> Strangers() const;

    // Reads every frame; gives those that are damaged, which it has removed.
    std::vector<StoredFrame> Verify();

    // Removes all frames; how many there were.
    std::size_t Clear();

private:
    class Impl;

    const std::string mPath;
    std::string mWhyNot;
    std::unique_ptr<Impl> mImpl; // empty where there is no directory
};

} // namespace Session
