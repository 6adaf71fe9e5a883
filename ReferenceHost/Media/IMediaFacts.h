// Host-side faces of media and of their streams: facts for display, and the reason of a failure.
//
// The library asks neither; tools of this host do.
//
// Thread-safety: safe.
#pragma once

#include "MF/TimeRange.h"
#include "ReferenceHost/Media/MediaFacts.h"
#include "TVK/InterfaceRef.h"
#include "norviktypes/TickTime.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Media
{

// A face of media (BE::IMediaInfo).
class IMediaFacts : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"8A7F1C52-5B0D-4F2C-9E55-2F0C7C2A6D11"};

    // Never changes; valid as long as the media is held.
    virtual const MediaFacts& GetFacts() const = 0;
};
using IMediaFactsRef = TVK::InterfaceRef<IMediaFacts>;

// A face of a stream (BE::IVideoSource), whose statuses are numbers only: what was wrong with its frames.
class IFrameFailure : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"C4E0B6F3-0E52-4C0A-8C6B-6C1B57B4D7A9"};

    // One line that names the media and why the frame at inTime could not be made, after a request for it
    // failed. Empty if nothing is known to be wrong with it.
    virtual std::string DescribeFailure(const norviktypes::TickTime& inTime) const = 0;

    // One line that names the media and where its fields change their order, as far as the frames that were made
    // tell. Empty where they don't.
    virtual std::string DescribeFieldChange() const = 0;
};
using IFrameFailureRef = TVK::InterfaceRef<IFrameFailure>;

// A face of a stream: which of its frames is shown when. Frames off a grid can be counted by nobody else.
class IFrameNumbers : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"5D0E3A86-7C39-4B1B-9D0C-2E8A51F6A3B4"};

    // Counted from 0; times before the first frame give 0. -1 at or past the end.
    virtual std::int64_t GetFrameNumber(const norviktypes::TickTime& inTime) const = 0;
};
using IFrameNumbersRef = TVK::InterfaceRef<IFrameNumbers>;

// A face of a stream: is told beforehand which of its frames somebody is going to ask for.
class IFrameExpectations : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"7B1D6E52-93C8-4F0E-A4B7-61F0C95D2E38"};

    // The frames shown in these ranges of media time, in any order, and no others; takes the place of what was said
    // before. No ranges: nobody knows. It only saves work: every frame can still be asked for.
    virtual void Expect(const std::vector<MF::TimeRange>& inTimes) = 0;
};
using IFrameExpectationsRef = TVK::InterfaceRef<IFrameExpectations>;

} // namespace Media
