// A piece of media of the project: an imported file, or pictures made in memory.
//
// Thread-safety: safe.
#pragma once

#include "BE/IVideoSource.h"
#include "MF/ISource.h"
#include "norvik/utility/Strings.h"

#include <cstdint>
#include <vector>

namespace BE
{

using MF::kMediaType_Video;

enum class MediaAvailability : std::uint32_t
{
    kOffline = 0,
    kPending = 1, // offline for now, on its way
    kOnline = 2,
};

class IMediaInfo;
using IMediaInfoRef = TVK::InterfaceRef<IMediaInfo>;

class ML_EXPORT IMediaInfo : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kMediaInfo;

    virtual MediaAvailability GetAvailability() const = 0;
    virtual bool HasMediaType(const TVK::Guid& inType) const = 0;

    // The stream inIndex of a type: one object for all who ask, where the media keeps one. Empty, or a
    // contract violation, for an index that is not there.
    virtual MF::ISourceRef GetStream(const TVK::Guid& inType, std::uint32_t inIndex) = 0;
    // A source of its own for the caller.
    virtual MF::ISourceRef CreateSourceForStream(const TVK::Guid& inType, std::uint32_t inIndex) = 0;
    // The streams of a group, by index.
    virtual void GetStreamGroupIndices(std::uint32_t inGroupIndex,
                                       std::vector<std::uint32_t>& outIndices) const = 0;
    virtual void GetTitle(std::uint32_t inStreamGroup, norvik::WString& outTitle) const = 0;

    virtual norvik::WString GetName() const = 0;
    // A path for a file; for other media a text that names it as uniquely.
    virtual norvik::utility::ImmutableString GetPath() const = 0;
    virtual bool IsFileSource() const = 0;
    virtual bool IsStill() const = 0;
    // Frames of the time axis before time zero in the media's own timecode; 0 if it carries none.
    virtual norviktypes::TickTime GetStartTimecode() const = 0;
    virtual norviktypes::ColorProfile GetColorProfile() const = 0;
    // Changes whenever the content does.
    virtual norvik::UTF8String GetContentHash() = 0;
    virtual IMediaInfoRef Clone() = 0;
};

} // namespace BE
