#include "ReferenceHost/Effects/Frei0r/Sandbox.h"

#include "ReferenceHost/Effects/Frei0r/ProcessManners.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Frei0r
{
namespace
{

constexpr char kDone = 'd';
constexpr std::size_t kLongestText = std::size_t{1} << 20;

class Descriptor
{
public:
    explicit Descriptor(int inNumber = -1) : mNumber(inNumber) {}
    ~Descriptor()
    {
        if (mNumber >= 0)
        {
            ::close(mNumber);
        }
    }
    Descriptor(Descriptor&& inOther) noexcept : mNumber(std::exchange(inOther.mNumber, -1)) {}
    Descriptor& operator=(Descriptor&& inOther) noexcept
    {
        std::swap(mNumber, inOther.mNumber);
        return *this;
    }

    int Get() const { return mNumber; }

private:
    int mNumber;
};

bool SendAll(int inSocket, std::string_view inBytes)
{
    while (!inBytes.empty())
    {
        const ssize_t sent = ::send(inSocket, inBytes.data(), inBytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR)
        {
            return false;
        }
        inBytes.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
    return true;
}

bool ReceiveAll(int inSocket, void* outBytes, std::size_t inCount)
{
    auto* next = static_cast<char*>(outBytes);
    while (inCount > 0)
    {
        const ssize_t received = ::recv(inSocket, next, inCount, 0);
        if (received == 0 || (received < 0 && errno != EINTR))
        {
            return false;
        }
        next += received < 0 ? 0 : received;
        inCount -= received < 0 ? 0 : static_cast<std::size_t>(received);
    }
    return true;
}

template <class T>
void Append(std::string& ioBytes, const T& inValue)
{
    ioBytes.append(reinterpret_cast<const char*>(&inValue), sizeof(inValue));
}

template <class T>
bool Receive(int inSocket, T& outValue)
{
    return ReceiveAll(inSocket, &outValue, sizeof(outValue));
}

// Memory for the pictures of an instance, which the process of the plug-in has too.
class SharedPictures
{
public:
    SharedPictures(int inFile, std::size_t inBytes) : mBytes(inBytes)
    {
        void* const memory = ::mmap(nullptr, inBytes, PROT_READ | PROT_WRITE, MAP_SHARED, inFile, 0);
        mMemory = memory == MAP_FAILED ? nullptr : static_cast<unsigned char*>(memory);
    }
    ~SharedPictures()
    {
        if (mMemory != nullptr)
        {
            ::munmap(mMemory, mBytes);
        }
    }
    SharedPictures(const SharedPictures&) = delete;
    SharedPictures& operator=(const SharedPictures&) = delete;

    unsigned char* Get() const { return mMemory; }

private:
    std::size_t mBytes;
    unsigned char* mMemory;
};

// What the keeper is asked for; the text of the plug-in follows.
struct Request
{
    InstanceShape mShape;
    unsigned mSeconds = 0;
};

std::size_t AllBytes(const InstanceShape& inShape)
{
    return (inShape.mInputs + 1) * inShape.PictureBytes();
}

// The two files that come with a request.
union PassedFiles
{
    cmsghdr mHeader; // for its alignment
    std::array<char, CMSG_SPACE(2 * sizeof(int))> mBytes;
};

msghdr MessageOf(iovec& ioText, PassedFiles& ioFiles)
{
    msghdr message{};
    message.msg_iov = &ioText;
    message.msg_iovlen = 1;
    message.msg_control = ioFiles.mBytes.data();
    message.msg_controllen = ioFiles.mBytes.size();
    return message;
}

bool SendRequest(int inKeeper, std::string& ioText, const std::array<int, 2>& inFiles)
{
    iovec text = {ioText.data(), ioText.size()};
    PassedFiles files{};
    msghdr message = MessageOf(text, files);
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(inFiles));
    std::memcpy(CMSG_DATA(header), inFiles.data(), sizeof(inFiles));
    ssize_t sent = -1;
    do
    {
        sent = ::sendmsg(inKeeper, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(ioText.size());
}

// False where nobody asks any more.
bool ReceiveRequest(int inSocket, std::string& outText, Descriptor& outMemory, Descriptor& outInstance)
{
    outText.resize(kLongestText);
    iovec text = {outText.data(), outText.size()};
    PassedFiles files{};
    msghdr message = MessageOf(text, files);
    ssize_t received = -1;
    do
    {
        received = ::recvmsg(inSocket, &message, 0);
    } while (received < 0 && errno == EINTR);
    const cmsghdr* const header = received > 0 ? CMSG_FIRSTHDR(&message) : nullptr;
    if (header == nullptr || header->cmsg_len != CMSG_LEN(2 * sizeof(int)))
    {
        return false;
    }
    std::array<int, 2> numbers{};
    std::memcpy(numbers.data(), CMSG_DATA(header), sizeof(numbers));
    outMemory = Descriptor(numbers[0]);
    outInstance = Descriptor(numbers[1]);
    outText.resize(static_cast<std::size_t>(received));
    return true;
}

bool ReceiveSettings(int inSocket, double& outSeconds, std::vector<Setting>& ioSettings)
{
    if (!Receive(inSocket, outSeconds))
    {
        return false;
    }
    for (Setting& setting : ioSettings)
    {
        std::size_t length = 0;
        if (!Receive(inSocket, setting.mNumbers) || !Receive(inSocket, length) || length > kLongestText)
        {
            return false;
        }
        setting.mText.resize(length);
        if (!ReceiveAll(inSocket, setting.mText.data(), length))
        {
            return false;
        }
    }
    return true;
}

bool IsWhatItWas(const PluginFile& inFile, const PluginFacts& inFacts)
{
    return inFile.Info().parameterCount == static_cast<int>(inFacts.mParameters.size()) &&
           inFile.Info().pluginType == static_cast<int>(inFacts.mType) &&
           inFile.Info().colorModel == static_cast<int>(inFacts.mColorModel);
}

// The process of an instance, until nobody wants it any more. An alarm that goes off in a call ends it.
void ServeInstance(const Request& inRequest, const ScannedPlugin& inPlugin, int inMemory, int inSocket)
{
    ::alarm(inRequest.mSeconds);
    const SharedPictures pictures(inMemory, AllBytes(inRequest.mShape));
    std::string whyNot;
    const auto file = PluginFile::Load(inPlugin.mFile.mPath, whyNot);
    if (!file || pictures.Get() == nullptr || !IsWhatItWas(*file, inPlugin.mFacts))
    {
        return;
    }
    const Instance instance = file->mConstruct(static_cast<unsigned>(inRequest.mShape.mWidth),
                                               static_cast<unsigned>(inRequest.mShape.mHeight));
    double seconds = 0.0;
    std::vector<Setting> settings(inPlugin.mFacts.mParameters.size());
    while (instance != nullptr && SendAll(inSocket, std::string_view(&kDone, 1)))
    {
        ::alarm(0);
        if (!ReceiveSettings(inSocket, seconds, settings))
        {
            return;
        }
        ::alarm(inRequest.mSeconds);
        CallPlugin(*file, instance, inPlugin.mFacts, inRequest.mShape, seconds, settings, pictures.Get());
    }
}

[[noreturn]] void RunKeeper(int inSocket)
{
    BecomePluginProcess(inSocket);
    // Nobody waits for the processes of instances.
    std::signal(SIGCHLD, SIG_IGN);
    std::string text;
    while (true)
    {
        Descriptor memory;
        Descriptor instance;
        if (!ReceiveRequest(inSocket, text, memory, instance))
        {
            ::_exit(0);
        }
        if (::fork() != 0)
        {
            continue;
        }
        ::close(inSocket);
        std::signal(SIGCHLD, SIG_DFL);
        Request request;
        std::string_view rest = text;
        ScannedPlugin plugin;
        if (rest.size() >= sizeof(request))
        {
            std::memcpy(&request, rest.data(), sizeof(request));
            rest.remove_prefix(sizeof(request));
            if (ReadPlugin(rest, plugin))
            {
                ServeInstance(request, plugin, memory.Get(), instance.Get());
            }
        }
        ::_exit(0);
    }
}

class SandboxInstance final : public IInstance
{
public:
    SandboxInstance(const InstanceShape& inShape, const Descriptor& inMemory, Descriptor inSocket)
        : mShape(inShape)
        , mPictures(inMemory.Get(), AllBytes(inShape))
        , mSocket(std::move(inSocket))
    {
    }

    bool IsReady() const
    {
        char answer = 0;
        return mPictures.Get() != nullptr && ReceiveAll(mSocket.Get(), &answer, 1) && answer == kDone;
    }

    std::uint32_t* Input(std::size_t inIndex) override
    {
        return reinterpret_cast<std::uint32_t*>(mPictures.Get() + inIndex * mShape.PictureBytes());
    }
    const std::uint32_t* Output() const override
    {
        return reinterpret_cast<const std::uint32_t*>(mPictures.Get() +
                                                      mShape.mInputs * mShape.PictureBytes());
    }
    bool Draw(double inSeconds, const std::vector<Setting>& inSettings) override
    {
        std::string bytes;
        Append(bytes, inSeconds);
        for (const Setting& setting : inSettings)
        {
            Append(bytes, setting.mNumbers);
            Append(bytes, setting.mText.size());
            bytes += setting.mText;
        }
        return SendAll(mSocket.Get(), bytes) && IsReady();
    }

private:
    const InstanceShape mShape;
    const SharedPictures mPictures;
    const Descriptor mSocket;
};

} // namespace

Sandbox::Sandbox(unsigned inSeconds) : mSeconds(inSeconds)
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
    {
        return;
    }
    const pid_t keeper = ::fork();
    if (keeper == 0)
    {
        ::close(ends[0]);
        RunKeeper(ends[1]);
    }
    ::close(ends[1]);
    mKeeper = ends[0];
    mProcess = keeper;
}

Sandbox::~Sandbox()
{
    if (mKeeper >= 0)
    {
        ::close(mKeeper);
    }
    while (mProcess > 0 && ::waitpid(mProcess, nullptr, 0) < 0 && errno == EINTR)
    {
    }
}

std::unique_ptr<IInstance> Sandbox::MakeInstance(const ScannedPlugin& inPlugin, const InstanceShape& inShape)
{
    const Descriptor memory(::memfd_create("frei0r", MFD_CLOEXEC));
    std::array<int, 2> ends{-1, -1};
    if (memory.Get() < 0 || ::ftruncate(memory.Get(), static_cast<off_t>(AllBytes(inShape))) != 0 ||
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
    {
        return nullptr;
    }
    Descriptor own(ends[0]);
    Descriptor other(ends[1]);
    Request request;
    request.mShape = inShape;
    request.mSeconds = mSeconds;
    std::string text;
    Append(text, request);
    text += TextOf(inPlugin);
    {
        const std::lock_guard lock(mLock);
        if (mKeeper < 0 || text.size() > kLongestText ||
            !SendRequest(mKeeper, text, {memory.Get(), other.Get()}))
        {
            return nullptr;
        }
    }
    // The plug-in's process has the only other end now, so that its death is heard of.
    other = Descriptor();
    auto instance = std::make_unique<SandboxInstance>(inShape, memory, std::move(own));
    return instance->IsReady() ? std::move(instance) : nullptr;
}

} // namespace Frei0r
