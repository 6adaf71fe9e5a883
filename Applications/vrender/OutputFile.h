#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// One output of the tool, from its first byte to its name.
//
// A regular file is written to PATH.part beside PATH and gets its name by Commit(), so that PATH is
// at every moment either the older output or the whole new one. '-', pipes, devices and whatever
// lies in /dev or /proc are written directly. A part is locked while it is written: of two
// processes that write the same output the second one ends with kTryAgain.
//
// Left without Commit() or Keep(), the destructor removes the part: a torn file is of no use.
//
// Failures are ToolErrors with the path and the system's cause: kCannotCreate before there is
// anything to write to, kIOError afterwards (full disk, closed pipe).
//
// Thread-safety: one thread at a time.
namespace vrender
{

class OutputFile
{
public:
    // inOverwrite: whether an older output may be replaced at Commit().
    static std::unique_ptr<OutputFile> Open(const std::string& inPath, bool inOverwrite);
    // Throws what Open would for an older output in the way, and makes nothing.
    static void CheckMayCreate(const std::string& inPath, bool inOverwrite);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const void* inBytes, std::size_t inSize);
    // The same for a caller that can't take an exception: 0, or errno, which Failure() then explains.
    int TryWrite(const void* inBytes, std::size_t inSize) noexcept;

    bool IsSeekable() const noexcept { return !mDirect; }
    // Position for the next write, from the start of the file. Only where IsSeekable().
    void Seek(std::uint64_t inPosition) noexcept { mPosition = inPosition; }
    std::uint64_t Position() const noexcept { return mPosition; }
    std::uint64_t Size() const noexcept { return mSize; }

    // Throws the error of the first write that failed, if one did.
    void ThrowIfFailed() const;

    // Writes through to the disk, closes and renames. Direct outputs are closed.
    void Commit();
    // Leaves the part where it is, for an output that was ended early.
    void Keep() noexcept;

    const std::string& Path() const noexcept { return mPath; }
    // Where the bytes stand now: PATH.part, or the path itself of a direct output.
    const std::string& PartPath() const noexcept { return mPartPath; }

private:
    OutputFile() = default;
    void OpenDirect();
    void OpenPart(bool inOverwrite);
    bool WaitUntilWritable() const noexcept;

    std::string mPath;
    std::string mTarget; // mPath behind its symbolic links
    std::string mPartPath;
    int mDescriptor = -1;
    bool mDirect = false;
    bool mOverwrite = false;
    bool mKeep = false;
    bool mDone = false;
    int mError = 0;
    std::uint64_t mPosition = 0;
    std::uint64_t mSize = 0;
};

} // namespace vrender
