#include "Applications/vrender/OutputFile.h"

#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/Signals.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vrender
{

namespace
{

constexpr const char* kPartSuffix = ".part";
// A reader that takes nothing can't hold up an end that was asked for longer than this.
constexpr int kStalledReaderMilliseconds = 2000;
constexpr int kPollMilliseconds = 100;
// Some kernels cut a single write at 2 GiB; a smaller step also lets a signal be seen sooner.
constexpr std::size_t kLargestWrite = std::size_t{16} << 20;

ExitCode CodeOfOpenError(int inError)
{
    switch (inError)
    {
    case ENOSPC:
    case EDQUOT:
    case EIO: return ExitCode::kIOError;
    case ENOMEM:
    case ENFILE:
    case EMFILE: return ExitCode::kTryAgain;
    default: return ExitCode::kCannotCreate;
    }
}

std::string CauseOfWriteError(int inError)
{
    return inError == EPIPE ? "the reader closed the pipe" : std::strerror(inError);
}

[[noreturn]] void RefuseExisting(const std::string& inPath)
{
    throw ToolError(ExitCode::kCannotCreate, inPath + ": is there already; --overwrite replaces it");
}

bool StartsWith(const std::string& inText, const char* inStart)
{
    return inText.rfind(inStart, 0) == 0;
}

// /dev/stdout may lead to a regular file, beside whose name in /dev no part can be made.
bool IsWrittenDirectly(const std::string& inPath)
{
    if (inPath == "-" || StartsWith(inPath, "/dev/") || StartsWith(inPath, "/proc/"))
    {
        return true;
    }
    struct stat status
    {
    };
    return ::stat(inPath.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

// A link to a file stays a link: the file behind it is replaced.
std::string ResolveLink(const std::string& inPath)
{
    char* resolved = ::realpath(inPath.c_str(), nullptr);
    if (resolved == nullptr)
    {
        return inPath;
    }
    std::string result = resolved;
    std::free(resolved);
    return result;
}

bool Exists(const std::string& inPath)
{
    struct stat status
    {
    };
    return ::lstat(inPath.c_str(), &status) == 0;
}

} // namespace

void OutputFile::CheckMayCreate(const std::string& inPath, bool inOverwrite)
{
    struct stat status
    {
    };
    if (IsWrittenDirectly(inPath) || ::stat(inPath.c_str(), &status) != 0)
    {
        return;
    }
    if (S_ISDIR(status.st_mode))
    {
        throw ToolError(ExitCode::kCannotCreate, inPath + ": is a folder");
    }
    if (!inOverwrite)
    {
        RefuseExisting(inPath);
    }
}

std::unique_ptr<OutputFile> OutputFile::Open(const std::string& inPath, bool inOverwrite)
{
    CheckMayCreate(inPath, inOverwrite);
    std::unique_ptr<OutputFile> file(new OutputFile);
    file->mPath = inPath == "-" ? "standard output" : inPath;
    file->mDirect = IsWrittenDirectly(inPath);
    file->mTarget = file->mDirect ? inPath : ResolveLink(inPath);
    if (file->mDirect)
    {
        file->OpenDirect();
    }
    else
    {
        file->OpenPart(inOverwrite);
    }
    return file;
}

// Pipes are opened anew without blocking, so that a reader that has stopped reading can't keep a
// render from ending; the description that was handed down is shared with others and stays as it is.
void OutputFile::OpenDirect()
{
    mPartPath = mPath;
    const std::string path = mTarget == "-" ? "/proc/self/fd/1" : mTarget;
    struct stat status
    {
    };
    const bool isPipe = ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
    if (mTarget == "-" && !isPipe)
    {
        mDescriptor = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    }
    else
    {
        // A named pipe is waited for until somebody reads, hence no O_NONBLOCK before it is open.
        mDescriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (mDescriptor >= 0 && isPipe)
        {
            ::fcntl(mDescriptor, F_SETFL, ::fcntl(mDescriptor, F_GETFL) | O_NONBLOCK);
        }
    }
    if (mDescriptor < 0 && mTarget == "-")
    {
        // A pipe of another user may be written through the descriptor, but not opened.
        mDescriptor = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    }
    if (mDescriptor < 0)
    {
        throw ToolError(CodeOfOpenError(errno), mPath + ": can't be written: " + std::strerror(errno));
    }
}

void OutputFile::OpenPart(bool inOverwrite)
{
    mOverwrite = inOverwrite;
    mPartPath = mTarget + kPartSuffix;
    mDescriptor = ::open(mPartPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (mDescriptor < 0)
    {
        throw ToolError(CodeOfOpenError(errno), mPath + ": can't be written: " + std::strerror(errno));
    }
    if (::flock(mDescriptor, LOCK_EX | LOCK_NB) != 0)
    {
        mDone = true; // the part is somebody else's
        throw ToolError(ExitCode::kTryAgain, mPath + ": another process is writing " + mPartPath);
    }
    if (::ftruncate(mDescriptor, 0) != 0)
    {
        throw ToolError(ExitCode::kCannotCreate, mPath + ": can't be written: " + std::strerror(errno));
    }
}

OutputFile::~OutputFile()
{
    if (mDescriptor >= 0)
    {
        if (!mDirect && !mDone && !mKeep)
        {
            ::unlink(mPartPath.c_str());
        }
        ::close(mDescriptor);
    }
}

bool OutputFile::WaitUntilWritable() const noexcept
{
    int waited = 0;
    for (;;)
    {
        pollfd entry{mDescriptor, POLLOUT, 0};
        if (::poll(&entry, 1, kPollMilliseconds) > 0)
        {
            return true;
        }
        waited = signals::Pending() != 0 ? waited + kPollMilliseconds : 0;
        if (waited >= kStalledReaderMilliseconds)
        {
            return false;
        }
    }
}

int OutputFile::TryWrite(const void* inBytes, std::size_t inSize) noexcept
{
    const char* bytes = static_cast<const char*>(inBytes);
    std::size_t done = 0;
    while (mError == 0 && done < inSize)
    {
        const std::size_t step = std::min(inSize - done, kLargestWrite);
        const ssize_t count =
            mDirect ? ::write(mDescriptor, bytes + done, step)
                    : ::pwrite(mDescriptor, bytes + done, step, static_cast<off_t>(mPosition + done));
        if (count > 0)
        {
            done += static_cast<std::size_t>(count);
        }
        else if (count < 0 && errno == EAGAIN)
        {
            mError = WaitUntilWritable() ? 0 : ETIMEDOUT;
        }
        else if (count == 0 || errno != EINTR)
        {
            mError = count == 0 ? EIO : errno;
        }
    }
    mPosition += done;
    mSize = std::max(mSize, mPosition);
    return mError;
}

void OutputFile::ThrowIfFailed() const
{
    if (mError != 0)
    {
        throw ToolError(ExitCode::kIOError, mPath + ": " + CauseOfWriteError(mError));
    }
}

void OutputFile::Write(const void* inBytes, std::size_t inSize)
{
    TryWrite(inBytes, inSize);
    ThrowIfFailed();
}

void OutputFile::Commit()
{
    ThrowIfFailed();
    if (!mDirect)
    {
        // A file system may find out only now that it has no room.
        if (::fsync(mDescriptor) != 0)
        {
            mError = errno;
            ThrowIfFailed();
        }
        const unsigned flags = mOverwrite ? 0 : RENAME_NOREPLACE;
        int result = ::renameat2(AT_FDCWD, mPartPath.c_str(), AT_FDCWD, mTarget.c_str(), flags);
        if (result != 0 && errno == EINVAL && !mOverwrite && !Exists(mTarget))
        {
            result = ::rename(mPartPath.c_str(), mTarget.c_str());
        }
        if (result != 0)
        {
            const int error = errno;
            Keep();
            throw ToolError(ExitCode::kCannotCreate,
                            mPath + ": the whole output stays in " + mPartPath + ": " + std::strerror(error));
        }
    }
    mDone = true;
    const int descriptor = mDescriptor;
    mDescriptor = -1;
    if (::close(descriptor) != 0 && errno != EINTR)
    {
        mError = errno;
        ThrowIfFailed();
    }
}

void OutputFile::Keep() noexcept
{
    mKeep = true;
}

} // namespace vrender
