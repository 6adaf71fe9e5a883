// What a synthetic medium shows, and the text form of it that stands where a path may stand.
//
//   bars:size=1920x1080:rate=25:duration=10s
//   color:red                                     also #rgb, #rrggbb and #rrggbbaa
//   color:#20408080:size=640x360
//   counter:size=720x576:rate=25:fields=upper:par=64/45:duration=250
//
// Everything after the kind may be left out. size: pixels. rate: frames a second, whole or as a ratio.
// fields: progressive, upper or lower, naming the field that is shown first. par: width of a pixel over its
// height. duration: seconds (10s, 2.5s) or frames (250); without it the medium has no end.
//
// Thread-safety: pure functions and a value type.
#pragma once

#include "ReferenceHost/Media/MediaFacts.h"
#include "TVK/ParamTypes.h"
#include "norviktypes/FieldType.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/PixelAspectRatio.h"

#include <cstdint>
#include <string>

namespace Media
{

enum class SyntheticKind : std::uint8_t
{
    kBars,
    kColor,
    kCounter,
};

inline constexpr std::int64_t kWithoutEnd = -1;

struct SyntheticSettings
{
    SyntheticKind mKind = SyntheticKind::kBars;
    std::int32_t mWidth = 1920;
    std::int32_t mHeight = 1080;
    Ratio mRate{25, 1};
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    std::int64_t mFrameCount = kWithoutEnd;
    TVK::ParamColor<std::uint32_t> mColor; // of kColor

    norviktypes::FrameRate FrameRate() const noexcept
    {
        return norviktypes::FrameRate::FromRational(mRate.mNumerator, mRate.mDenominator);
    }
};

// True for a text that begins with one of the kinds and a colon.
bool IsSyntheticText(const std::string& inText);

// False, with one line that names the text and the fault in outError, for what makes no sense.
bool ParseSyntheticText(const std::string& inText, SyntheticSettings& outSettings, std::string& outError);

// The text with every setting in it; equal settings give equal texts.
std::string SyntheticText(const SyntheticSettings& inSettings);

} // namespace Media
