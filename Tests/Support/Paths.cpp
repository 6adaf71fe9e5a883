#include "Tests/Support/Paths.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace TestSupport
{

std::string MediaFolder()
{
    const char* const fromEnvironment = std::getenv("VR_TEST_MEDIA_DIR");
    return fromEnvironment != nullptr ? fromEnvironment : VR_TEST_MEDIA_DIR;
}

std::string MediaPath(const std::string& inName)
{
    return MediaFolder() + "/" + inName;
}

ScratchFolder::ScratchFolder()
    : mPath((std::filesystem::temp_directory_path() / "videorenderer-test-XXXXXX").string())
{
    if (mkdtemp(mPath.data()) == nullptr)
    {
        throw std::runtime_error("no scratch folder at " + mPath);
    }
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

}
