#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/StillsSelection.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace vrender
{

namespace
{

constexpr std::int32_t kDefaultWidth = 320;
constexpr std::int64_t kDefaultCount = 20;
constexpr std::int64_t kMostCount = 100000;

// A folder that is there already is used as it is; the one above it must exist, as for every output.
void MakeFolder(const std::string& inPath)
{
    struct stat status
    {
    };
    if (::mkdir(inPath.c_str(), 0777) == 0)
    {
        return;
    }
    const int error = errno;
    const bool isFolder = error == EEXIST && ::stat(inPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    if (!isFolder)
    {
        throw ToolError(ExitCode::kCannotCreate,
                        inPath + ": can't be made: " +
                            (error == EEXIST ? "is there and is no folder" : std::strerror(error)));
    }
}

} // namespace

ExitCode RunThumbnails(const Options& inOptions)
{
    const std::int64_t count =
        inOptions.mCount.empty() ? kDefaultCount : ParseInteger("--count", inOptions.mCount, 1, kMostCount);
    RunReport report(inOptions);
    const OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kScattered, {25, 1});
    const FrameRange range = RangeOrWhole("--range", inOptions.mRange, input.mTimeline);
    const std::vector<std::int64_t> frames = FramesOfStills(inOptions, input, range, count);
    const Media::MediaFacts& facts = input.mMaterial->Facts();
    const double shape = DisplayShape(facts);
    const PictureSize size =
        ResolveSize(inOptions.mSize, {std::min(kDefaultWidth, facts.mWidth), -1}, shape, false);

    OutputDescription output = DescribeOutput(inOptions, input, size);
    output.mFrameCount = static_cast<std::int64_t>(frames.size());
    output.mPixelAspectRatio = norviktypes::kPixelAspectRatio_Square;
    output.mFieldType = norviktypes::kFieldType_Progressive;
    MakeFolder(inOptions.mOutput);
    const std::unique_ptr<FrameWriter> writer =
        CreateStillsWriter(output,
                           [&](std::int64_t inIndex) {
                               return fmt::format("{}/frame{:06}.png", inOptions.mOutput,
                                                  frames[static_cast<std::size_t>(inIndex)]);
                           });

    PipelineJob job = JobFor(input, inOptions, size, *writer, report);
    job.mFrames.mCount = output.mFrameCount;
    job.mFrames.mTimeOf = [&](std::int64_t inIndex)
    { return input.mTimeline.mFrameStart(frames[static_cast<std::size_t>(inIndex)]); };
    job.mNumberOf = [&](std::int64_t inIndex) { return frames[static_cast<std::size_t>(inIndex)]; };
    return WithWhatIsMissing(WriteFrames(job), input);
}

} // namespace vrender
