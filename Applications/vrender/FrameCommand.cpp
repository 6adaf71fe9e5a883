#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"

namespace vrender
{

ExitCode RunFrame(const Options& inOptions)
{
    const TimeExpression time = ParseTime("--time", inOptions.mTime.empty() ? "start" : inOptions.mTime);
    RunReport report(inOptions);
    const OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kScattered, {25, 1});
    const std::int64_t frame = ResolveFrame("--time", time, input.mTimeline);
    const Media::MediaFacts& facts = input.mMaterial->Facts();
    const double shape = static_cast<double>(facts.mWidth) / facts.mHeight;
    const PictureSize size = ResolveSize(inOptions.mSize, {facts.mWidth, facts.mHeight}, shape, false);

    OutputDescription output = DescribeOutput(inOptions, input, size);
    output.mFrameCount = 1;
    output.mThreads = 1;
    const bool isNull = output.mPath == "null:";
    const std::unique_ptr<FrameWriter> writer =
        isNull ? CreateWriter(output)
               : CreateStillsWriter(output, [&output](std::int64_t) { return output.mPath; });

    PipelineJob job = JobFor(input, inOptions, size, *writer, report);
    job.mFrames.mCount = 1;
    job.mFrames.mTimeOf = [&](std::int64_t) { return input.mTimeline.mFrameStart(frame); };
    job.mNumberOf = [&](std::int64_t) { return frame; };
    return WithWhatIsMissing(WriteFrames(job), input);
}

} // namespace vrender
