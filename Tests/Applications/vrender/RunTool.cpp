#include "Tests/Applications/vrender/RunTool.h"

#include "Tests/Support/Paths.h"

#include <algorithm>
#include <dirent.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>

namespace TestSupport
{

namespace
{

std::vector<std::string> Words(const std::string& inText)
{
    std::istringstream stream(inText);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
    {
        words.push_back(word);
    }
    return words;
}

// Files that live as long as the process.
const ScratchFolder& SharedFolder()
{
    static const ScratchFolder sFolder;
    return sFolder;
}

std::string MakeMovie(const std::string& inName, const std::string& inSource)
{
    const std::string path = SharedFolder().File(inName);
    RunFFmpeg("-f lavfi -i " + inSource +
              " -pix_fmt yuv420p -c:v libx264 -preset veryfast -g 25 -colorspace bt709 "
              "-color_primaries bt709 -color_trc bt709 -color_range tv " +
              path);
    return path;
}

ChildRequest RequestOf(std::vector<std::string> inWords)
{
    ChildRequest request;
    request.words = std::move(inWords);
    request.words.insert(request.words.begin(), VRENDER_PATH);
    request.environment = {{"XDG_CACHE_HOME", SharedFolder().File("cache")}};
    return request;
}

// Plug-ins are looked at in a child of vrender, and the allocators of sanitizers do not let go of their locks in
// a child: it hangs where another thread was at one. This command has a single thread, and what it sees is kept.
void LookAtPlugins()
{
#ifdef VR_SANITIZED
    static const ChildResult sResult = RunChild(RequestOf({"plugins", "list"}));
#endif
}

} // namespace

ChildRequest ToolRequest(std::vector<std::string> inWords)
{
    LookAtPlugins();
    return RequestOf(std::move(inWords));
}

ChildResult RunTool(std::vector<std::string> inWords)
{
    return RunChild(ToolRequest(std::move(inWords)));
}

void RunFFmpeg(const std::string& inArguments)
{
    ChildRequest request;
    request.words = Words("ffmpeg -hide_banner -nostdin -y -v error -bitexact " + inArguments);
    const ChildResult result = RunChild(request);
    if (result.exitCode != 0)
    {
        throw std::runtime_error("ffmpeg " + inArguments + ": " + result.Describe());
    }
}

std::string Probe(const std::string& inPath, const std::string& inEntries)
{
    ChildRequest request;
    request.words = {"ffprobe",       "-v",
                     "error",         "-select_streams",
                     "v:0",           "-count_frames",
                     "-show_entries", inEntries,
                     "-of",           "default=noprint_wrappers=1",
                     inPath};
    const ChildResult result = RunChild(request);
    if (result.exitCode != 0)
    {
        throw std::runtime_error("ffprobe " + inPath + ": " + result.Describe());
    }
    return result.out;
}

std::vector<std::string> FrameSums(const std::string& inPath, const std::string& inPixelFormat)
{
    ChildRequest request;
    request.words = {"ffmpeg",      "-hide_banner", "-nostdin", "-v",     "error",       "-i",
                     inPath,        "-map",         "0:v:0",    "-vsync", "passthrough", "-pix_fmt",
                     inPixelFormat, "-f",           "framemd5", "-"};
    const ChildResult result = RunChild(request);
    if (result.exitCode != 0)
    {
        throw std::runtime_error("ffmpeg framemd5 " + inPath + ": " + result.Describe());
    }
    std::vector<std::string> sums;
    for (const std::string& line : Lines(result.out))
    {
        if (!line.empty() && line[0] != '#')
        {
            sums.push_back(Words(line).back());
        }
    }
    return sums;
}

std::vector<std::string> SumsOf(const std::string& inOutput)
{
    std::vector<std::string> sums;
    for (const std::string& line : Lines(inOutput))
    {
        const std::vector<std::string> words = Words(line);
        if (words.size() == 3 && words[0] == "frame")
        {
            sums.push_back(words[2]);
        }
    }
    return sums;
}

std::vector<std::string> Lines(const std::string& inText)
{
    std::istringstream stream(inText);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

std::string ReadFile(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void WriteFile(const std::string& inPath, const std::string& inBytes)
{
    std::ofstream(inPath, std::ios::binary) << inBytes;
}

bool FileExists(const std::string& inPath)
{
    struct stat status
    {
    };
    return ::lstat(inPath.c_str(), &status) == 0;
}

std::vector<std::string> FolderNames(const std::string& inPath)
{
    std::vector<std::string> names;
    DIR* folder = ::opendir(inPath.c_str());
    for (dirent* entry = folder == nullptr ? nullptr : ::readdir(folder); entry != nullptr;
         entry = ::readdir(folder))
    {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
        {
            names.push_back(name);
        }
    }
    if (folder != nullptr)
    {
        ::closedir(folder);
    }
    std::sort(names.begin(), names.end());
    return names;
}

const std::string& SmallMovie()
{
    static const std::string sPath = MakeMovie("small.mp4", "testsrc2=size=160x90:rate=25:duration=2");
    return sPath;
}

const std::string& LongMovie()
{
    static const std::string sPath = MakeMovie("long.mp4", "testsrc2=size=640x360:rate=25:duration=24");
    return sPath;
}

} // namespace TestSupport
