#include "BE/Backend.h"

#include "ReferenceHost/DiskCache/CacheDirectory.h"
#include "norvik/utility/Strings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace
{

// An environment variable, put back at the end.
class Variable
{
public:
    explicit Variable(const char* inName) : mName(inName)
    {
        if (const char* const text = std::getenv(inName))
        {
            mBefore = text;
        }
    }
    ~Variable() { Set(mBefore ? mBefore->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    void Set(const char* inText) const { inText != nullptr ? ::setenv(mName, inText, 1) : ::unsetenv(mName); }

private:
    const char* const mName;
    std::optional<std::string> mBefore;
};

class BackendTest : public testing::Test
{
protected:
    ~BackendTest() override { DiskCache::SetCacheDirectory({}); }

    // What the backend answers, or "none".
    static std::string Answer()
    {
        const BE::IDirectoriesRef directories = BE::IDirectoriesRef(BE::GetBackend());
        norvik::WString path = u"before";
        if (directories->GetCacheDirectory(path) < 0)
        {
            return path.empty() ? "none" : "a path, and none";
        }
        const norvik::UTF8String text = norvik::utility::UTF16to8(path);
        return {text.begin(), text.end()};
    }

    const Variable mHome{"HOME"};
    const Variable mCaches{"XDG_CACHE_HOME"};
};

} // namespace

TEST_F(BackendTest, IsOneObject)
{
    EXPECT_TRUE(BE::GetBackend() == BE::GetBackend());
}

TEST_F(BackendTest, CachesAreWhereTheUserKeepsThem)
{
    mHome.Set("/home/somebody");
    mCaches.Set(nullptr);
    EXPECT_EQ(Answer(), "/home/somebody/.cache/VideoRenderer");
    mCaches.Set("/var/caches");
    EXPECT_EQ(Answer(), "/var/caches/VideoRenderer");
    mCaches.Set("not/absolute");
    EXPECT_EQ(Answer(), "/home/somebody/.cache/VideoRenderer");
}

TEST_F(BackendTest, WithoutAHomeThereIsNone)
{
    mCaches.Set(nullptr);
    for (const char* const home : {static_cast<const char*>(nullptr), "", "relative"})
    {
        mHome.Set(home);
        EXPECT_EQ(Answer(), "none");
    }
}

TEST_F(BackendTest, ChosenDirectoryWins)
{
    mHome.Set("/home/somebody");
    mCaches.Set(nullptr);
    DiskCache::SetCacheDirectory("/elsewhere/\xc3\xa4");
    EXPECT_EQ(Answer(), "/elsewhere/\xc3\xa4");
    DiskCache::SetCacheDirectory({});
    EXPECT_EQ(Answer(), "/home/somebody/.cache/VideoRenderer");
}

TEST_F(BackendTest, PathThatIsNoTextIsNone)
{
    DiskCache::SetCacheDirectory("/elsewhere/\xff");
    EXPECT_EQ(Answer(), "none");
}
