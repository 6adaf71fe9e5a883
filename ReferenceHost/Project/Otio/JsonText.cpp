#include "ReferenceHost/Project/Otio/JsonText.h"

#include "ReferenceHost/Project/Otio/Document.h"
#include "ReferenceHost/Project/Otio/Paths.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <string>
#include <system_error>
#include <vector>

namespace Otio
{

namespace
{

// Iterative, as the depth of a document is up to its writer. Numbers come as texts, because the parser's own exact
// conversion is undefined for a zero of many digits.
constexpr unsigned kParseFlags = rapidjson::kParseNanAndInfFlag | rapidjson::kParseNumbersAsStringsFlag |
                                 rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;

// What is too large for a number is infinite, what is too small is zero.
double BeyondNumbers(std::string_view inText, bool inIsNegative)
{
    const std::size_t exponent = inText.find_first_of("eE");
    const bool isSmall = exponent == std::string_view::npos ? inText.substr(0, 2) == "0."
                                                            : inText.substr(exponent + 1, 1) == "-";
    const double size = isSmall ? 0.0 : std::numeric_limits<double>::infinity();
    return inIsNegative ? -size : size;
}

// The nearest number to a text that is one in JSON, or a word for what is none.
double NumberOf(std::string_view inText)
{
    const bool isNegative = inText.substr(0, 1) == "-";
    const std::string_view size = isNegative ? inText.substr(1) : inText;
    if (size.substr(0, 1) == "N")
    {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (size.substr(0, 1) == "I")
    {
        return isNegative ? -std::numeric_limits<double>::infinity()
                          : std::numeric_limits<double>::infinity();
    }
    double number = 0.0;
    const auto [end, fault] = std::from_chars(size.data(), size.data() + size.size(), number);
    if (fault == std::errc::result_out_of_range)
    {
        return BeyondNumbers(size, isNegative);
    }
    return isNegative ? -number : number;
}

// Hands events on to a document as long as they are within the bounds, and knows where they are.
class BoundedHandler
{
public:
    using Ch = char;

    explicit BoundedHandler(rapidjson::Document& inTarget) : mTarget(inTarget) {}

    bool Null() { return CountValue() && mTarget.Null(); }
    bool Bool(bool inValue) { return CountValue() && mTarget.Bool(inValue); }
    bool Int(int inValue) { return CountValue() && mTarget.Int(inValue); }
    bool Uint(unsigned inValue) { return CountValue() && mTarget.Uint(inValue); }
    bool Int64(std::int64_t inValue) { return CountValue() && mTarget.Int64(inValue); }
    bool Uint64(std::uint64_t inValue) { return CountValue() && mTarget.Uint64(inValue); }
    bool Double(double inValue) { return CountValue() && mTarget.Double(inValue); }
    bool RawNumber(const char* inText, rapidjson::SizeType inLength, bool inCopies)
    {
        (void)inCopies; // a number holds no text
        std::int64_t whole = 0;
        const auto [end, fault] = std::from_chars(inText, inText + inLength, whole);
        const bool isWhole = fault == std::errc() && end == inText + inLength;
        return CountValue() &&
               (isWhole ? mTarget.Int64(whole) : mTarget.Double(NumberOf({inText, inLength})));
    }
    bool String(const char* inText, rapidjson::SizeType inLength, bool inCopies)
    {
        return CountValue() && mTarget.String(inText, inLength, inCopies);
    }
    bool StartObject() { return CountValue() && CountObject() && Enter(false) && mTarget.StartObject(); }
    bool Key(const char* inText, rapidjson::SizeType inLength, bool inCopies)
    {
        mFrames[mDepth - 1].mKey.assign(inText, inLength);
        return CountValue() && mTarget.Key(inText, inLength, inCopies);
    }
    bool EndObject(rapidjson::SizeType inMembers)
    {
        Leave();
        return mTarget.EndObject(inMembers);
    }
    bool StartArray() { return CountValue() && Enter(true) && mTarget.StartArray(); }
    bool EndArray(rapidjson::SizeType inElements)
    {
        Leave();
        return mTarget.EndArray(inElements);
    }

    // Empty as long as no bound was met.
    const std::string& Refusal() const noexcept { return mRefusal; }

    // Of the value that was read last, or is being read.
    std::string Pointer() const
    {
        std::string text;
        for (std::size_t depth = 0; depth < mDepth; ++depth)
        {
            const Frame& frame = mFrames[depth];
            if (frame.mIsArray)
            {
                text += fmt::format("/{}", frame.mCount - std::min<std::uint64_t>(frame.mCount, 1));
            }
            else if (!frame.mKey.empty())
            {
                text += "/" + EscapedKey(frame.mKey);
            }
        }
        return text;
    }

private:
    struct Frame
    {
        bool mIsArray = false;
        bool mIsMetadata = false;
        std::uint64_t mCount = 0; // of elements, or of values and keys
        std::string mKey;
    };

    bool Refuse(std::string inText)
    {
        mRefusal = std::move(inText);
        return false;
    }
    bool CountValue()
    {
        if (mDepth > 0)
        {
            ++mFrames[mDepth - 1].mCount;
        }
        return ++mValues <= kMostValues ||
               Refuse(fmt::format("the document has more than {} values", kMostValues));
    }
    bool CountObject()
    {
        if (IsInMetadata())
        {
            return true;
        }
        return ++mObjects <= kMostObjects ||
               Refuse(fmt::format("the document has more than {} objects", kMostObjects));
    }
    bool IsInMetadata() const
    {
        return mDepth > 0 && (mFrames[mDepth - 1].mIsMetadata ||
                              (!mFrames[mDepth - 1].mIsArray && mFrames[mDepth - 1].mKey == "metadata"));
    }
    bool Enter(bool inIsArray)
    {
        if (mDepth == kMostDepth)
        {
            return Refuse(fmt::format("the document is nested deeper than {} levels", kMostDepth));
        }
        const bool isMetadata = IsInMetadata();
        if (mFrames.size() == mDepth)
        {
            mFrames.emplace_back();
        }
        Frame& frame = mFrames[mDepth++];
        frame.mIsArray = inIsArray;
        frame.mIsMetadata = isMetadata;
        frame.mCount = 0;
        frame.mKey.clear();
        return true;
    }
    void Leave() { --mDepth; }

    rapidjson::Document& mTarget;
    std::vector<Frame> mFrames; // kept when left, so that their keys' memory is used again
    std::size_t mDepth = 0;
    std::uint64_t mValues = 0;
    std::uint64_t mObjects = 0;
    std::string mRefusal;
};

std::string PlaceText(std::string_view inText, std::size_t inOffset)
{
    const std::string_view before = inText.substr(0, std::min(inOffset, inText.size()));
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineStart = before.rfind('\n');
    const std::size_t column = before.size() - (lineStart == std::string_view::npos ? 0 : lineStart + 1) + 1;
    return fmt::format("line {}, column {}", line, column);
}

std::string_view WithoutByteOrderMark(std::string_view inText)
{
    return inText.substr(0, 3) == "\xEF\xBB\xBF" ? inText.substr(3) : inText;
}

}

bool JsonText::Parse(std::string_view inText, ProblemList& ioProblems)
{
    if (inText.size() > kMostBytes)
    {
        ioProblems.Fail("too-large", "", fmt::format("the document is longer than {} bytes", kMostBytes));
        return false;
    }
    const std::string_view text = WithoutByteOrderMark(inText);
    BoundedHandler handler(mDocument);
    rapidjson::ParseResult result;
    auto parse = [&](rapidjson::Document&)
    {
        rapidjson::Reader reader;
        rapidjson::MemoryStream bytes(text.data(), text.size());
        result = reader.Parse<kParseFlags>(bytes, handler);
        // A zero byte looks like the end of the text to the parser.
        if (!result.IsError() && bytes.Tell() < text.size())
        {
            result.Set(rapidjson::kParseErrorDocumentRootNotSingular, bytes.Tell());
        }
        return !result.IsError();
    };
    mDocument.Populate(parse);
    if (!result.IsError())
    {
        return true;
    }
    if (!handler.Refusal().empty())
    {
        ioProblems.Fail("too-large", handler.Pointer(), handler.Refusal());
        return false;
    }
    const bool isCut = result.Offset() >= text.size();
    ioProblems.Fail(isCut ? "truncated" : "malformed", handler.Pointer(),
                    fmt::format("no valid JSON at {}: {}{}", PlaceText(text, result.Offset()),
                                rapidjson::GetParseError_En(result.Code()),
                                isCut ? " The text ends there." : ""));
    return false;
}

}
