#include "ReferenceHost/Media/Media.h"

#include "ReferenceHost/Media/FFmpeg/FFmpegMedia.h"
#include "ReferenceHost/Media/FFmpeg/StillDecoder.h"
#include "ReferenceHost/Media/FileIdentity.h"
#include "ReferenceHost/Media/Stills/SequenceMedia.h"
#include "ReferenceHost/Media/Stills/StillMedia.h"
#include "ReferenceHost/Media/Synthetic/SyntheticMedia.h"

#include <fmt/format.h>

#include <vector>

namespace Media
{

namespace
{

BE::IMediaInfoRef OpenSynthetic(const std::string& inText, OpenError& outError)
{
    SyntheticSettings settings;
    std::string fault;
    if (!ParseSyntheticText(inText, settings, fault))
    {
        outError = {OpenErrorKind::kBadUsage, fault};
        return nullptr;
    }
    return CreateSyntheticMedia(settings);
}

BE::IMediaInfoRef OpenSequence(const std::string& inText, const SequencePattern& inPattern,
                               const OpenOptions& inOptions, OpenError& outError)
{
    std::vector<std::int64_t> numbers;
    const bool isListed = inOptions.mSequenceFrames.mFiles
                              ? ListSequence(inPattern, *inOptions.mSequenceFrames.mFiles, numbers)
                              : ListSequence(inPattern, numbers);
    if (!isListed || numbers.empty())
    {
        outError = {OpenErrorKind::kNoInput,
                    fmt::format("{}: no file has a name such as {}", inText, inPattern.FileName(1))};
        return nullptr;
    }
    return OpenSequenceMedia(inText, inPattern, numbers, inOptions, outError);
}

// Stills, sequences and synthetic media are a single stream, number 0.
bool HasStream(const std::string& inPath, const OpenOptions& inOptions, OpenError& outError)
{
    if (inOptions.mStreamIndex > 0)
    {
        outError = {OpenErrorKind::kNotVideo,
                    fmt::format("{}: has no stream {}", inPath, inOptions.mStreamIndex)};
    }
    return inOptions.mStreamIndex <= 0;
}

BE::IMediaInfoRef OpenNamed(const std::string& inPath, const OpenOptions& inOptions, OpenError& outError)
{
    SequencePattern pattern;
    const bool isSynthetic = IsSyntheticText(inPath);
    if (!isSynthetic && !ParseSequencePattern(inPath, pattern))
    {
        return OpenFFmpegMedia(inPath, inOptions, outError);
    }
    if (!HasStream(inPath, inOptions, outError))
    {
        return nullptr;
    }
    return isSynthetic ? OpenSynthetic(inPath, outError) : OpenSequence(inPath, pattern, inOptions, outError);
}

} // namespace

BE::IMediaInfoRef OpenMedia(const std::string& inPath, const OpenOptions& inOptions, OpenError& outError)
{
    outError = OpenError();
    if (inPath.empty())
    {
        outError = {OpenErrorKind::kBadUsage, "an empty name is no input"};
        return nullptr;
    }
    if (!IdentifyFile(inPath).mExists)
    {
        return OpenNamed(inPath, inOptions, outError);
    }
    if (IsStillFile(inPath))
    {
        return HasStream(inPath, inOptions, outError) ? OpenStillMedia(inPath, outError) : nullptr;
    }
    return OpenFFmpegMedia(inPath, inOptions, outError);
}

} // namespace Media
