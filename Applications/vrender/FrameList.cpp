#include "Applications/vrender/FrameList.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>

namespace vrender
{

namespace
{

constexpr Rational kStillRate{25, 1};

class MaterialFrames final : public FrameList
{
public:
    MaterialFrames(const Options& inOptions, const std::string& inPath, ToolHost& ioHost)
        : mOptions(inOptions)
    {
        mOptions.mInput = inPath;
        mInput = OpenInputIn(ioHost, mOptions, Session::AccessPattern::kForward, kStillRate);
    }

    const std::string& Name() const override { return mOptions.mInput; }
    std::int64_t Count() const override { return Facts().mIsStill ? 1 : Facts().mFrameCount; }
    PictureSize Size() const override { return {Facts().mWidth, Facts().mHeight}; }
    bool IsDeep() const override { return Facts().mBitDepth > 8; }
    std::string NameOf(std::int64_t inFrame) const override
    {
        return LabelOfFrame(inFrame, mInput.mTimeline);
    }

    void Begin(std::int64_t inFrames, const norviktypes::PixelFormat& inFormat) override
    {
        mRequest = {static_cast<std::uint32_t>(Facts().mWidth), static_cast<std::uint32_t>(Facts().mHeight),
                    inFormat, norviktypes::kRenderQuality_High};
        FrameFeed::Settings settings = FramesOf(mInput, mOptions, mRequest, 0);
        settings.mCount = inFrames;
        settings.mTimeOf = [this](std::int64_t inFrame) { return mInput.mTimeline.mFrameStart(inFrame); };
        mFeed.emplace(settings);
    }

    MF::IVideoFrameRef GetFrame(std::int64_t inFrame) override
    {
        FrameFeed::Frame taken;
        if (!mFeed->TakeOne(inFrame, taken))
        {
            throw ToolError(ExitCode::kFailed, Name() + ": ended early");
        }
        const norviktypes::TickTime time = mInput.mTimeline.mFrameStart(inFrame);
        MF::IVideoFrameRef frame;
        try
        {
            frame = mInput.mMaterial->Render(time, mRequest, taken.mHold);
        }
        catch (const ML::RenderRequestException&)
        {
            throw ToolError(ExitCode::kBadData, mInput.mMaterial->FailureAt(time));
        }
        taken.mHold.reset();
        mFeed->Advance();
        return frame;
    }

    void Stop() noexcept override { mFeed->Stop(); }

    bool SayWhatIsMissing() const override { return vrender::SayWhatIsMissing(mInput, Name()); }

private:
    const Media::MediaFacts& Facts() const { return mInput.mMaterial->Facts(); }

    Options mOptions;
    OpenInput mInput;
    Session::RenderRequest mRequest;
    std::optional<FrameFeed> mFeed;
};

// "shot9.png" before "shot10.png".
bool ComesBefore(const std::string& inA, const std::string& inB)
{
    const auto isDigit = [](char inChar) { return std::isdigit(static_cast<unsigned char>(inChar)) != 0; };
    const auto number = [&](const std::string& inText, std::size_t& ioAt)
    {
        while (ioAt < inText.size() && inText[ioAt] == '0')
        {
            ++ioAt;
        }
        const std::size_t begin = ioAt;
        while (ioAt < inText.size() && isDigit(inText[ioAt]))
        {
            ++ioAt;
        }
        return inText.substr(begin, ioAt - begin);
    };
    std::size_t a = 0;
    std::size_t b = 0;
    while (a < inA.size() && b < inB.size())
    {
        if (isDigit(inA[a]) && isDigit(inB[b]))
        {
            const std::string first = number(inA, a);
            const std::string second = number(inB, b);
            if (first != second)
            {
                return first.size() != second.size() ? first.size() < second.size() : first < second;
            }
            continue;
        }
        if (inA[a] != inB[b])
        {
            return inA[a] < inB[b];
        }
        ++a;
        ++b;
    }
    const std::size_t leftOfA = inA.size() - a;
    const std::size_t leftOfB = inB.size() - b;
    return leftOfA != leftOfB ? leftOfA < leftOfB : inA < inB;
}

// Files that don't begin with a dot.
std::vector<std::string> FilesOf(const std::string& inFolder)
{
    std::vector<std::string> names;
    DIR* const folder = ::opendir(inFolder.c_str());
    if (folder == nullptr)
    {
        throw ToolError(ExitCode::kNoInput, inFolder + ": " + std::strerror(errno));
    }
    for (const dirent* entry = ::readdir(folder); entry != nullptr; entry = ::readdir(folder))
    {
        struct stat status = {};
        const std::string path = inFolder + "/" + entry->d_name;
        if (entry->d_name[0] != '.' && ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        {
            names.emplace_back(entry->d_name);
        }
    }
    ::closedir(folder);
    std::sort(names.begin(), names.end(), ComesBefore);
    return names;
}

class FolderFrames final : public FrameList
{
public:
    explicit FolderFrames(std::string inPath) : mPath(std::move(inPath)), mNames(FilesOf(mPath))
    {
        if (mNames.empty())
        {
            throw ToolError(ExitCode::kBadData, mPath + ": holds no pictures");
        }
        const std::unique_ptr<Session::Clip> first = Open(0);
        const Media::MediaFacts& facts = first->Facts();
        mSize = {facts.mWidth, facts.mHeight};
        mIsDeep = facts.mBitDepth > 8;
    }

    const std::string& Name() const override { return mPath; }
    std::int64_t Count() const override { return static_cast<std::int64_t>(mNames.size()); }
    PictureSize Size() const override { return mSize; }
    bool IsDeep() const override { return mIsDeep; }
    std::string NameOf(std::int64_t inFrame) const override
    {
        return mNames[static_cast<std::size_t>(inFrame)];
    }
    void Begin(std::int64_t, const norviktypes::PixelFormat& inFormat) override { mFormat = inFormat; }

    MF::IVideoFrameRef GetFrame(std::int64_t inFrame) override
    {
        const std::unique_ptr<Session::Clip> still = Open(inFrame);
        const Media::MediaFacts& facts = still->Facts();
        if (facts.mWidth != mSize.mWidth || facts.mHeight != mSize.mHeight)
        {
            throw ToolError(ExitCode::kBadData,
                            mPath + "/" + NameOf(inFrame) + ": has another size than " + NameOf(0));
        }
        try
        {
            return still->Render(norviktypes::kTime_Zero, {static_cast<std::uint32_t>(facts.mWidth),
                                                           static_cast<std::uint32_t>(facts.mHeight), mFormat,
                                                           norviktypes::kRenderQuality_High});
        }
        catch (const ML::RenderRequestException&)
        {
            throw ToolError(ExitCode::kBadData, still->FailureAt(norviktypes::kTime_Zero));
        }
    }

    void Stop() noexcept override {}
    bool SayWhatIsMissing() const override { return false; }

private:
    std::unique_ptr<Session::Clip> Open(std::int64_t inFrame) const
    {
        Session::ClipOptions options;
        options.mKeepsLeadIn = false;
        Media::OpenError error;
        std::unique_ptr<Session::Clip> still =
            Session::Clip::Open(mPath + "/" + NameOf(inFrame), options, error);
        if (!still)
        {
            throw ToolError(CodeOf(error.mKind), error.mText);
        }
        if (!still->Facts().mIsStill)
        {
            throw ToolError(ExitCode::kBadData, mPath + "/" + NameOf(inFrame) + ": is no still");
        }
        return still;
    }

    const std::string mPath;
    const std::vector<std::string> mNames;
    PictureSize mSize;
    bool mIsDeep = false;
    norviktypes::PixelFormat mFormat;
};

bool IsFolder(const std::string& inPath)
{
    struct stat status = {};
    return ::stat(inPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

std::unique_ptr<FrameList> OpenFrameList(const Options& inOptions, const std::string& inPath,
                                         ToolHost& ioHost)
{
    if (IsFolder(inPath))
    {
        return std::make_unique<FolderFrames>(inPath);
    }
    return std::make_unique<MaterialFrames>(inOptions, inPath, ioHost);
}

} // namespace vrender
