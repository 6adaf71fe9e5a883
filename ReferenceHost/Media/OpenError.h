// Why media could not be opened.
//
// Thread-safety: value type.
#pragma once

#include <cstdint>
#include <string>

namespace Media
{

enum class OpenErrorKind : std::uint8_t
{
    kNone,
    kNoInput,      // there is nothing at that path
    kBadData,      // not media, or damaged beyond use
    kNotVideo,     // media, but without a picture
    kCodecMissing, // media that this build has no decoder for
    kTooLarge,     // a picture beyond the limits of a frame
    kIOError,      // the system refused to read
    kBadUsage,     // the name or an option makes no sense
};

// mText is one line for a user; it names the input and the cause.
struct OpenError
{
    OpenErrorKind mKind = OpenErrorKind::kNone;
    std::string mText;

    explicit operator bool() const noexcept { return mKind != OpenErrorKind::kNone; }
};

} // namespace Media
