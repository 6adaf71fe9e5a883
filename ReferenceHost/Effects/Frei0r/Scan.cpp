#include "ReferenceHost/Effects/Frei0r/Scan.h"

#include "ReferenceHost/Effects/Frei0r/PluginFile.h"
#include "ReferenceHost/Effects/Frei0r/ProcessManners.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Frei0r
{
namespace
{

// Raised whenever the text or what is read of a plug-in changes.
constexpr std::string_view kCacheTitle = "frei0r plug-ins, 1\n";

bool WriteAll(int inFile, std::string_view inText)
{
    while (!inText.empty())
    {
        const ssize_t written = ::write(inFile, inText.data(), inText.size());
        if (written < 0 && errno != EINTR)
        {
            return false;
        }
        inText.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

PluginFacts Probe(const std::string& inPath)
{
    PluginFacts facts;
    const std::unique_ptr<PluginFile> file = PluginFile::Load(inPath, facts.mWhyNot);
    return file ? file->ReadFacts() : facts;
}

[[noreturn]] void RunChild(const std::vector<PluginFileName>& inFiles, std::size_t inFirst, int inPipe)
{
    BecomePluginProcess(inPipe);
    bool isHeard = true;
    for (std::size_t i = inFirst; i < inFiles.size() && isHeard; ++i)
    {
        isHeard = WriteAll(inPipe, TextOf({inFiles[i], Probe(inFiles[i].mPath)}));
    }
    ::_exit(0);
}

std::string HowItEnded(int inStatus)
{
    if (WIFSIGNALED(inStatus))
    {
        const char* const name = ::sigdescr_np(WTERMSIG(inStatus));
        return std::string("crashes when it is loaded: ") + (name == nullptr ? "unknown signal" : name);
    }
    return "ends the process that loads it";
}

class Child
{
public:
    // Throws nothing; a child that can't be made is one that says nothing.
    Child(const std::vector<PluginFileName>& inFiles, std::size_t inFirst)
    {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        {
            return;
        }
        mProcess = ::fork();
        if (mProcess == 0)
        {
            ::close(ends[0]);
            RunChild(inFiles, inFirst, ends[1]);
        }
        ::close(ends[1]);
        mPipe = ends[0];
    }
    ~Child()
    {
        if (mPipe >= 0)
        {
            ::close(mPipe);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Adds what it says until it ends or keeps silent for too long; how it ended, empty if by itself.
    std::string Listen(int inSeconds, std::vector<ScannedPlugin>& ioPlugins)
    {
        if (mProcess <= 0)
        {
            return "could not be looked at: no process can be made";
        }
        const bool isSilent = !Read(inSeconds, ioPlugins);
        if (isSilent)
        {
            ::kill(mProcess, SIGKILL);
        }
        int status = 0;
        while (::waitpid(mProcess, &status, 0) < 0 && errno == EINTR)
        {
        }
        const bool isDone = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        return isSilent ? "hangs when it is loaded" : isDone ? "" : HowItEnded(status);
    }

private:
    // False: silent for too long.
    bool Read(int inSeconds, std::vector<ScannedPlugin>& ioPlugins)
    {
        std::string text;
        std::array<char, 4096> block{};
        while (true)
        {
            pollfd waiting = {mPipe, POLLIN, 0};
            const int ready = ::poll(&waiting, 1, inSeconds * 1000);
            const ssize_t count = ready > 0 ? ::read(mPipe, block.data(), block.size()) : ready;
            if (count < 0 && errno == EINTR)
            {
                continue;
            }
            if (ready == 0 || count <= 0)
            {
                return ready != 0;
            }
            text.append(block.data(), static_cast<std::size_t>(count));
            std::string_view rest = text;
            ScannedPlugin plugin;
            while (ReadPlugin(rest, plugin))
            {
                ioPlugins.push_back(plugin);
            }
            text.erase(0, text.size() - rest.size());
        }
    }

    int mPipe = -1;
    pid_t mProcess = -1;
};

std::map<std::string, ScannedPlugin> ReadCache(const std::string& inCacheFile)
{
    std::map<std::string, ScannedPlugin> known;
    std::ifstream file(inCacheFile, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::string_view rest = text;
    if (rest.substr(0, kCacheTitle.size()) != kCacheTitle)
    {
        return known;
    }
    rest.remove_prefix(kCacheTitle.size());
    ScannedPlugin plugin;
    while (ReadPlugin(rest, plugin))
    {
        known[plugin.mFile.mPath] = plugin;
    }
    return known;
}

// Under a name of its own first, so that nobody reads half of it.
void WriteCache(const std::string& inCacheFile, const std::vector<ScannedPlugin>& inPlugins)
{
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(inCacheFile).parent_path(), error);
    std::string name = inCacheFile + ".XXXXXX";
    const int file = ::mkstemp(name.data());
    if (file < 0)
    {
        return;
    }
    std::string text(kCacheTitle);
    for (const ScannedPlugin& plugin : inPlugins)
    {
        text += TextOf(plugin);
    }
    const bool isWritten = WriteAll(file, text);
    if (::close(file) != 0 || !isWritten || std::rename(name.c_str(), inCacheFile.c_str()) != 0)
    {
        ::unlink(name.c_str());
    }
}

} // namespace

std::vector<ScannedPlugin> ProbePlugins(const std::vector<PluginFileName>& inFiles, int inSeconds)
{
    std::vector<ScannedPlugin> plugins;
    while (plugins.size() < inFiles.size())
    {
        Child child(inFiles, plugins.size());
        std::string ending = child.Listen(inSeconds, plugins);
        if (plugins.size() < inFiles.size())
        {
            ScannedPlugin lost;
            lost.mFile = inFiles[plugins.size()];
            lost.mFacts.mWhyNot = ending.empty() ? "ends the process that loads it" : std::move(ending);
            plugins.push_back(std::move(lost));
        }
    }
    return plugins;
}

std::vector<ScannedPlugin> ScanPlugins(const std::vector<PluginFileName>& inFiles,
                                       const std::string& inCacheFile)
{
    const auto known = inCacheFile.empty() ? std::map<std::string, ScannedPlugin>() : ReadCache(inCacheFile);
    std::vector<PluginFileName> unknown;
    for (const PluginFileName& file : inFiles)
    {
        const auto entry = known.find(file.mPath);
        if (entry == known.end() || entry->second.mFile != file)
        {
            unknown.push_back(file);
        }
    }
    const std::vector<ScannedPlugin> probed = ProbePlugins(unknown);
    std::vector<ScannedPlugin> plugins;
    auto next = probed.begin();
    for (const PluginFileName& file : inFiles)
    {
        const bool isProbed = next != probed.end() && next->mFile == file;
        plugins.push_back(isProbed ? *next++ : known.at(file.mPath));
    }
    if (!inCacheFile.empty() && (!probed.empty() || known.size() != inFiles.size()))
    {
        WriteCache(inCacheFile, plugins);
    }
    return plugins;
}

} // namespace Frei0r
