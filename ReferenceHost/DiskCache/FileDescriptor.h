// Owns a descriptor of the system, and closes it.
//
// Thread-safety: as an int.
#pragma once

#include <utility>

#include <unistd.h>

namespace DiskCache
{

class FileDescriptor
{
public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int inDescriptor) noexcept : mDescriptor(inDescriptor) {}
    FileDescriptor(FileDescriptor&& inOther) noexcept : mDescriptor(std::exchange(inOther.mDescriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& inOther) noexcept
    {
        std::swap(mDescriptor, inOther.mDescriptor);
        return *this;
    }
    ~FileDescriptor()
    {
        if (mDescriptor >= 0)
        {
            ::close(mDescriptor);
        }
    }

    int Get() const noexcept { return mDescriptor; }
    int Release() noexcept { return std::exchange(mDescriptor, -1); }
    explicit operator bool() const noexcept { return mDescriptor >= 0; }

private:
    int mDescriptor = -1;
};

} // namespace DiskCache
