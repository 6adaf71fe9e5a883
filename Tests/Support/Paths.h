#pragma once

#include <string>

// Where tests find what lies outside the program.
//
// Thread-safety: safe, but for ScratchFolder, which is for the test's own thread.
namespace TestSupport
{

// The folder of generated media: the environment's VR_TEST_MEDIA_DIR, else the one of this build.
std::string MediaFolder();

// A file of that folder.
std::string MediaPath(const std::string& inName);

// A new empty folder that is removed, with all that is in it, at the end of its life.
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& Path() const noexcept { return mPath; }
    std::string File(const std::string& inName) const { return mPath + "/" + inName; }

private:
    std::string mPath;
};

}
