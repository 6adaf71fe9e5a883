#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// What a media file says about one of its video streams, in plain types; colour goes by FFmpeg's names.
//
// Thread-safety: plain values.
namespace Media
{

inline constexpr std::int64_t kTicksPerSecond = 254016000000;

// Limits on hostile files, checked before a picture is allocated.
inline constexpr int kMaximumSide = 16384;
inline constexpr std::int64_t kMaximumFrameBytes = std::int64_t{512} << 20;

struct Rational
{
    std::int64_t num = 0;
    std::int64_t den = 1;

    friend bool operator==(const Rational&, const Rational&) = default;
};

enum class FieldOrder : std::uint8_t
{
    kUnknown,
    kProgressive,
    kUpperFirst,
    kLowerFirst
};

enum class FileAlpha : std::uint8_t
{
    kNone,
    kStraight,
    kPremultiplied
};

// A turn of the picture on display: first flipped, then turned clockwise.
struct Orientation
{
    int clockwiseDegrees = 0; // 0, 90, 180 or 270
    bool flipHorizontally = false;

    bool SwapsSides() const noexcept { return clockwiseDegrees == 90 || clockwiseDegrees == 270; }
    bool IsIdentity() const noexcept { return clockwiseDegrees == 0 && !flipHorizontally; }
};

// The values are FFmpeg's AVCOL_* and AVCHROMA_LOC_* numbers; what the file leaves open is filled by size and
// format: up to 576 lines Rec.601, above Rec.709, narrow range but for the JPEG formats.
struct ColourDescription
{
    int matrix = 2;
    int primaries = 2;
    int transfer = 2;
    int range = 0;
    int siting = 0;
    bool isGuessed = false; // the matrix wasn't in the file
    std::string matrixName, primariesName, transferName, rangeName, sitingName;
};

struct StreamEntry
{
    int index = 0;
    std::string type; // "video", "audio", "subtitle", "data", "attachment"
    std::string codec;
    std::string description; // size, or rate and channels
    bool isAttachedPicture = false;
    bool isDefault = false;
};

struct FileFacts
{
    std::string path;
    std::string container, containerLongName;
    std::string codec, codecLongName, profile;
    std::string pixelFormatName;
    int pixelFormat = -1; // AVPixelFormat of the decoder
    int codecID = 0;      // AVCodecID

    int streamIndex = 0;              // of the stream that is read
    std::vector<StreamEntry> streams; // of all kinds
    bool hasAudio = false;
    bool isStill = false; // the container holds a single picture

    int width = 0; // as coded; before Orientation
    int height = 0;
    Orientation orientation;
    Rational pixelAspect{1, 1}; // before Orientation
    FieldOrder fieldOrder = FieldOrder::kUnknown;
    ColourDescription colour;
    int bitDepth = 8;
    FileAlpha alpha = FileAlpha::kNone;

    bool hasFrameGrid = false; // frame n is shown at n / frameRate
    Rational frameRate;        // the mean where there's no grid
    std::int64_t frameCount = 0;
    std::int64_t durationTicks = 0;
    double startSeconds = 0; // the file's own time of the first frame

    std::string startTimecode; // empty: none
    bool isDropFrame = false;

    // Of the file, then of the stream; a name that both have stands as "stream:name" for the stream's.
    std::vector<std::pair<std::string, std::string>> tags;
    std::vector<std::string> notes; // what was found odd, one sentence each
};

enum class FileErrorKind : std::uint8_t
{
    kNoInput,
    kBadData,
    kNotVideo,
    kCodecMissing,
    kTooLarge,
    kIOError
};

// One line for a person; names the file and the cause.
struct FileError
{
    FileErrorKind kind = FileErrorKind::kBadData;
    std::string text;
};

}
