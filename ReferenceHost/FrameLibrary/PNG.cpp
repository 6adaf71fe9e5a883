#include "VF/PNG.h"

#include "ReferenceHost/FrameLibrary/PNGCodec.h"
#include "ReferenceHost/FrameLibrary/StackedPlanes.h"
#include "ReferenceHost/FrameLibrary/VideoFrame.h"
#include "VF/VideoFrame.h"

#include <fmt/format.h>

#include <charconv>
#include <cstring>
#include <string_view>

namespace VF
{

namespace
{

using norvik::utility::RecycledMemory;
using norviktypes::PixelFormat;

// A cache must not be slower than what it spares.
constexpr int kCacheCompressionLevel = 0;

constexpr char kFormatKeyword[] = "Frame format";
constexpr char kSizeKeyword[] = "Frame size";
constexpr char kAspectKeyword[] = "Pixel aspect";
constexpr char kTypesKeyword[] = "Field and alpha type";
constexpr char kOriginKeyword[] = "Origin";
constexpr char kContentKeyword[] = "Content";

// What a frame is beside its samples.
struct FrameNotes
{
    PixelFormat mFormat = norviktypes::kPixelFormat_Invalid;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    norviktypes::PixelAspectRatio mRatio;
    norviktypes::FieldType mField = norviktypes::kFieldType_Progressive;
    norviktypes::AlphaChannel mAlpha = norviktypes::kAlphaChannel_None;
    TVK::Point mOrigin;
    bool mHasContent = false;
    TVK::Rect mContent;
};

bool IsBottomUp(const PixelFormat& inFormat) noexcept
{
    return norviktypes::IsPackedFourComponent(inFormat.mProperties) && (inFormat.mProperties & 0x2000) != 0;
}

bool CanBeStored(const PixelFormat& inFormat) noexcept
{
    return IsFrameFormat(inFormat) && norviktypes::DepthOfProperties(inFormat.mProperties) <= 16;
}

// Four components go as they stand in memory, the top row of the picture first.
class FourComponentRows final : public IPNGRowSource, public IPNGRowTarget
{
public:
    explicit FourComponentRows(const FramePixels& inPixels) noexcept : mPixels(inPixels) {}
    const std::uint8_t* GetRow(std::uint32_t inY) noexcept override { return PlaceForRow(inY); }
    std::uint8_t* PlaceForRow(std::uint32_t inY) noexcept override
    {
        return mPixels.Row(0, IsBottomUp(mPixels.mFormat) ? mPixels.mHeight - 1 - inY : inY);
    }
    void RowIsThere(std::uint32_t) noexcept override {}

private:
    const FramePixels& mPixels;
};

PNGHeader HeaderFor(const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
{
    if (!norviktypes::IsPackedFourComponent(inFormat.mProperties))
    {
        return StackedPlanes::HeaderOf(inFormat, inWidth, inHeight);
    }
    PNGHeader header;
    header.mWidth = inWidth;
    header.mHeight = inHeight;
    header.mBits = norviktypes::DepthOfProperties(inFormat.mProperties);
    header.mSamples = PNGSamples::RGBA;
    return header;
}

FrameNotes NotesOf(const MF::IVideoFrameRef& inFrame, const FramePixels& inPixels)
{
    FrameNotes notes;
    notes.mFormat = inPixels.mFormat;
    notes.mWidth = inPixels.mWidth;
    notes.mHeight = inPixels.mHeight;
    inFrame->GetPixelAspectRatio(notes.mRatio);
    notes.mField = inFrame->GetFieldType();
    notes.mAlpha = inFrame->GetAlphaType();
    inFrame->GetOrigin(notes.mOrigin);
    notes.mHasContent = inFrame->GetContentRect(notes.mContent);
    return notes;
}

void AppendTexts(const FrameNotes& inNotes, PNGHeader& ioHeader)
{
    auto& texts = ioHeader.mTexts;
    texts.emplace_back(kFormatKeyword, norviktypes::PixelFormatText(inNotes.mFormat));
    texts.emplace_back(kSizeKeyword, fmt::format("{} {}", inNotes.mWidth, inNotes.mHeight));
    texts.emplace_back(kAspectKeyword,
                       fmt::format("{} {}", inNotes.mRatio.GetNumerator(), inNotes.mRatio.GetDenominator()));
    texts.emplace_back(kTypesKeyword, fmt::format("{} {}", static_cast<int>(inNotes.mField),
                                                  static_cast<int>(inNotes.mAlpha)));
    texts.emplace_back(kOriginKeyword, fmt::format("{} {}", inNotes.mOrigin.x, inNotes.mOrigin.y));
    if (inNotes.mHasContent)
    {
        const TVK::Rect& content = inNotes.mContent;
        texts.emplace_back(kContentKeyword, fmt::format("{} {} {} {}", content.left, content.top,
                                                        content.right, content.bottom));
    }
}

// Numbers with one blank between them, and nothing else.
template <class... Numbers>
bool ParseNumbers(std::string_view inText, Numbers&... outNumbers)
{
    const char* at = inText.data();
    const char* const end = at + inText.size();
    bool isFirst = true;
    const auto parseOne = [&](auto& number)
    {
        if (!isFirst && (at == end || *at++ != ' '))
        {
            return false;
        }
        isFirst = false;
        const auto [next, error] = std::from_chars(at, end, number);
        at = next;
        return error == std::errc();
    };
    return (parseOne(outNumbers) && ...) && at == end;
}

const std::string* FindText(const PNGHeader& inHeader, const char* inKeyword)
{
    for (const auto& [keyword, text] : inHeader.mTexts)
    {
        if (keyword == inKeyword)
        {
            return &text;
        }
    }
    return nullptr;
}

template <class... Numbers>
bool ReadNumbers(const PNGHeader& inHeader, const char* inKeyword, Numbers&... outNumbers)
{
    const std::string* const text = FindText(inHeader, inKeyword);
    return text && ParseNumbers(*text, outNumbers...);
}

bool ReadTypes(const PNGHeader& inHeader, FrameNotes& outNotes)
{
    std::int32_t field = 0;
    std::int32_t alpha = 0;
    if (!ReadNumbers(inHeader, kTypesKeyword, field, alpha) || field < norviktypes::kFieldType_Invalid ||
        field > norviktypes::kFieldType_FromSource || alpha < norviktypes::kAlphaChannel_None ||
        alpha > norviktypes::kAlphaChannel_Any)
    {
        return false;
    }
    outNotes.mField = static_cast<norviktypes::FieldType>(field);
    outNotes.mAlpha = static_cast<norviktypes::AlphaChannel>(alpha);
    return true;
}

bool ReadContent(const PNGHeader& inHeader, FrameNotes& outNotes)
{
    outNotes.mHasContent = FindText(inHeader, kContentKeyword) != nullptr;
    TVK::Rect& content = outNotes.mContent;
    return !outNotes.mHasContent ||
           ReadNumbers(inHeader, kContentKeyword, content.left, content.top, content.right, content.bottom);
}

bool ReadNotes(const PNGHeader& inHeader, FrameNotes& outNotes)
{
    const std::string* const format = FindText(inHeader, kFormatKeyword);
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 0;
    const bool areRead = format && norviktypes::PixelFormatFromText(format->c_str(), outNotes.mFormat) &&
                         ReadNumbers(inHeader, kSizeKeyword, outNotes.mWidth, outNotes.mHeight) &&
                         ReadNumbers(inHeader, kAspectKeyword, numerator, denominator) &&
                         ReadNumbers(inHeader, kOriginKeyword, outNotes.mOrigin.x, outNotes.mOrigin.y) &&
                         ReadTypes(inHeader, outNotes) && ReadContent(inHeader, outNotes);
    outNotes.mRatio = norviktypes::PixelAspectRatio(numerator, denominator);
    return areRead;
}

bool IsOfBytes(const PNGHeader& inHeader)
{
    return inHeader.mSamples == PNGSamples::RGBA && inHeader.mBits == 8;
}

// Whether the picture is the one that the notes tell of.
bool Fits(const PNGHeader& inHeader, const FrameNotes& inNotes)
{
    if (!CanBeStored(inNotes.mFormat) || inNotes.mWidth > kMaximumFrameSide ||
        inNotes.mHeight > kMaximumFrameSide)
    {
        return false;
    }
    const PNGHeader expected = HeaderFor(inNotes.mFormat, inNotes.mWidth, inNotes.mHeight);
    const bool hasItsSamples = inHeader.mSamples == expected.mSamples ||
                               (inHeader.mSamples == PNGSamples::RGB && IsOfBytes(expected));
    return inHeader.mWidth == expected.mWidth && inHeader.mHeight == expected.mHeight &&
           inHeader.mBits == expected.mBits && hasItsSamples;
}

bool ReadPixels(PNGReader& ioReader, const FramePixels& inPixels)
{
    if (norviktypes::IsPackedFourComponent(inPixels.mFormat.mProperties))
    {
        FourComponentRows rows(inPixels);
        return ioReader.ReadRows(rows);
    }
    // Samples of v210 are put into their words one kind after the other.
    std::memset(inPixels.mPixels, 0, inPixels.mGeometry.mTotalBytes);
    StackedPlanes planes(inPixels);
    return ioReader.ReadRows(planes);
}

void ApplyNotes(const FrameNotes& inNotes, const MF::IVideoFrameRef& inFrame)
{
    inFrame->SetFieldType(inNotes.mField);
    inFrame->SetAlphaType(inNotes.mAlpha);
    inFrame->SetOrigin(inNotes.mOrigin);
    if (inNotes.mHasContent)
    {
        inFrame->SetContentRect(inNotes.mContent);
    }
}

bool Encode(const PNGHeader& inHeader, const FramePixels& inPixels, std::vector<std::uint8_t>& outBytes)
{
    if (norviktypes::IsPackedFourComponent(inPixels.mFormat.mProperties))
    {
        FourComponentRows rows(inPixels);
        return EncodePNG(inHeader, rows, outBytes);
    }
    StackedPlanes planes(inPixels);
    return EncodePNG(inHeader, planes, outBytes);
}

} // namespace

std::shared_ptr<const RecycledMemory> CompressPNG(const MF::IVideoFrameRef& inFrame)
{
    FramePixels pixels;
    if (!GetFramePixels(inFrame, pixels) || !CanBeStored(pixels.mFormat))
    {
        return nullptr;
    }
    PNGHeader header = HeaderFor(pixels.mFormat, pixels.mWidth, pixels.mHeight);
    header.mCompressionLevel = kCacheCompressionLevel;
    if (IsOfBytes(header) && HasWholeAlpha(pixels))
    {
        // As the alpha of opaque pictures: it need not be kept.
        header.mSamples = PNGSamples::RGB;
    }
    AppendTexts(NotesOf(inFrame, pixels), header);
    std::vector<std::uint8_t> bytes;
    if (!Encode(header, pixels, bytes))
    {
        return nullptr;
    }
    const std::shared_ptr<RecycledMemory> result = RecycledMemory::Create();
    result->Allocate(bytes.size());
    std::memcpy(result->Buffer(), bytes.data(), bytes.size());
    return result;
}

MF::IVideoFrameRef DecompressPNG(const std::shared_ptr<const RecycledMemory>& inBytes)
{
    if (!inBytes || inBytes->Size() == 0)
    {
        return {};
    }
    const std::unique_ptr<PNGReader> reader = PNGReader::Open(inBytes->Buffer(), inBytes->Size());
    FrameNotes notes;
    if (!reader || !ReadNotes(reader->Header(), notes) || !Fits(reader->Header(), notes) ||
        !reader->CanHoldPicture())
    {
        return {};
    }
    MF::IVideoFrameRef frame;
    FramePixels pixels;
    if (CreateVideoFrame(frame, notes.mFormat, notes.mWidth, notes.mHeight, notes.mRatio, false, false) < 0 ||
        !GetFramePixels(frame, pixels) || !ReadPixels(*reader, pixels))
    {
        return {};
    }
    ApplyNotes(notes, frame);
    return frame;
}

} // namespace VF
