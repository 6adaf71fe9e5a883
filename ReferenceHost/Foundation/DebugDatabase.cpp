#include "norvik/debug/Debug.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

extern char** environ;

namespace norvik::debug
{

namespace
{

constexpr std::string_view kEnvironmentPrefix = "VR_SETTING_";

using Entries = std::map<std::string, UTF8String, std::less<>>;

std::string EnvironmentName(std::string_view inKey)
{
    std::string name(kEnvironmentPrefix);
    for (const char character : inKey)
    {
        const bool plain = (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
                           (character >= 'a' && character <= 'z');
        name.push_back(plain ? character : '_');
    }
    return name;
}

std::string_view Trimmed(std::string_view inText)
{
    constexpr std::string_view kBlanks = " \t\r";
    const size_t first = inText.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
    {
        return {};
    }
    return inText.substr(first, inText.find_last_not_of(kBlanks) - first + 1);
}

// False if the line says nothing that can be understood.
bool ReadLine(std::string_view inLine, Entries& ioEntries)
{
    const std::string_view line = Trimmed(inLine);
    if (line.empty() || line.front() == '#')
    {
        return true;
    }
    const size_t equals = line.find('=');
    const std::string_view key = Trimmed(line.substr(0, equals));
    if (equals == std::string_view::npos || key.empty())
    {
        return false;
    }
    ioEntries[std::string(key)] = UTF8String(Trimmed(line.substr(equals + 1)));
    return true;
}

const UTF8String* Find(const Entries& inEntries, std::string_view inKey)
{
    const auto found = inEntries.find(inKey);
    return found != inEntries.end() ? &found->second : nullptr;
}

} // namespace

struct DebugDatabase::Impl
{
    // The text of the highest rank, or null. The mutex is held.
    const UTF8String* FindLocked(std::string_view inKey) const
    {
        if (const UTF8String* text = Find(mCommandLine, inKey))
        {
            return text;
        }
        if (const UTF8String* text = Find(mEnvironment, EnvironmentName(inKey)))
        {
            return text;
        }
        return Find(mFile, inKey);
    }

    mutable std::mutex mMutex;
    Entries mCommandLine;
    Entries mEnvironment; // by the name of the variable
    Entries mFile;
};

DebugDatabase::DebugDatabase() : mImpl(std::make_unique<Impl>())
{
    ReadEnvironment();
}

DebugDatabase::~DebugDatabase() = default;

DebugDatabase& DebugDatabase::Instance()
{
    static DebugDatabase* const sInstance = new DebugDatabase;
    return *sInstance;
}

UTF8String DebugDatabase::GetEntry(const char* inKey, const UTF8String& inDefault) const
{
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    const UTF8String* text = mImpl->FindLocked(inKey);
    return text != nullptr ? *text : inDefault;
}

bool DebugDatabase::GetBoolEntry(const char* inKey, bool inDefault) const
{
    return GetEntry(inKey, inDefault ? "true" : "false") == "true";
}

void DebugDatabase::SetEntry(const char* inKey, const UTF8String& inText)
{
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    mImpl->mCommandLine[inKey] = inText;
}

void DebugDatabase::ClearEntry(const char* inKey)
{
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    mImpl->mCommandLine.erase(inKey);
}

bool DebugDatabase::LoadFile(const UTF8String& inPath, UTF8String& outError)
{
    std::ifstream file(inPath.c_str());
    if (!file)
    {
        outError = fmt::format("{}: {}", std::string_view(inPath), std::strerror(errno)).c_str();
        return false;
    }
    Entries entries;
    int number = 0;
    for (std::string line; std::getline(file, line);)
    {
        ++number;
        if (!ReadLine(line, entries))
        {
            outError = fmt::format("{}:{}: expected key=value", std::string_view(inPath), number).c_str();
            return false;
        }
    }
    if (file.bad())
    {
        outError = fmt::format("{}: cannot be read", std::string_view(inPath)).c_str();
        return false;
    }
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    mImpl->mFile.swap(entries);
    return true;
}

void DebugDatabase::ReadEnvironment()
{
    Entries entries;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable)
    {
        const std::string_view text(*variable);
        const size_t equals = text.find('=');
        if (equals != std::string_view::npos &&
            text.substr(0, kEnvironmentPrefix.size()) == kEnvironmentPrefix)
        {
            entries[std::string(text.substr(0, equals))] = UTF8String(text.substr(equals + 1));
        }
    }
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    mImpl->mEnvironment.swap(entries);
}

} // namespace norvik::debug
