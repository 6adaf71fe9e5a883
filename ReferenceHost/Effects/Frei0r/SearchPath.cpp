#include "ReferenceHost/Effects/Frei0r/SearchPath.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string_view>
#include <sys/stat.h>

namespace Frei0r
{
namespace
{

namespace fs = std::filesystem;

using FilesByName = std::map<std::string, PluginFileName>;

std::vector<std::string> Split(std::string_view inList)
{
    std::vector<std::string> folders;
    while (!inList.empty())
    {
        const std::size_t end = std::min(inList.find(':'), inList.size());
        if (end != 0)
        {
            folders.emplace_back(inList.substr(0, end));
        }
        inList.remove_prefix(std::min(end + 1, inList.size()));
    }
    return folders;
}

void AddFile(const fs::path& inPath, FilesByName& ioFiles)
{
    struct stat facts
    {
    };
    if (inPath.extension() != ".so" || ::stat(inPath.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode))
    {
        return;
    }
    PluginFileName file;
    file.mStem = inPath.stem().string();
    file.mPath = inPath.string();
    file.mModified = static_cast<std::int64_t>(facts.st_mtim.tv_sec) * 1'000'000'000 + facts.st_mtim.tv_nsec;
    file.mBytes = static_cast<std::int64_t>(facts.st_size);
    ioFiles.emplace(file.mStem, file);
}

// In the order of their names, as that of the file system is nobody's wish.
std::vector<fs::path> EntriesOf(const fs::path& inFolder)
{
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(inFolder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
    {
        entries.push_back(entry->path());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

} // namespace

std::vector<std::string> SearchFolders()
{
    if (const char* const chosen = std::getenv("FREI0R_PATH"))
    {
        return Split(chosen);
    }
    std::vector<std::string> folders;
    const char* const home = std::getenv("HOME");
    if (home != nullptr && *home == '/')
    {
        folders.push_back(std::string(home) + "/.frei0r-1/lib");
    }
    folders.emplace_back("/usr/local/lib/frei0r-1");
    folders.emplace_back("/usr/lib/frei0r-1");
    return folders;
}

std::vector<PluginFileName> FindPluginFiles(const std::vector<std::string>& inFolders)
{
    FilesByName files;
    for (const std::string& folder : inFolders)
    {
        const std::vector<fs::path> entries = EntriesOf(folder);
        for (const fs::path& entry : entries)
        {
            AddFile(entry, files);
        }
        for (const fs::path& entry : entries)
        {
            std::error_code error;
            if (fs::is_directory(entry, error))
            {
                for (const fs::path& inner : EntriesOf(entry))
                {
                    AddFile(inner, files);
                }
            }
        }
    }
    std::vector<PluginFileName> found;
    for (auto& [stem, file] : files)
    {
        found.push_back(std::move(file));
    }
    return found;
}

} // namespace Frei0r
