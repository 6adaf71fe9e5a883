#pragma once

#include "Platform.h"
#include "norvik/utility/StringTypes.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace norvik::utility
{

// A shared, immutable, eight-bit string; copies share the text. Null and "" are both empty(), but only null
// is IsNull().
//
// Thread-safety: a value; texts are shared between threads and counted atomically.
class ImmutableString
{
public:
    constexpr ImmutableString() noexcept = default;

    ImmutableString(const ImmutableString& inOther) noexcept
        : mText(inOther.mText)
        , mSize(inOther.mSize)
        , mCount(inOther.mCount)
    {
        if (mCount != nullptr)
        {
            mCount->fetch_add(1, std::memory_order_relaxed);
        }
    }

    ImmutableString(ImmutableString&& inOther) noexcept { Swap(inOther); }

    ImmutableString& operator=(const ImmutableString& inOther) noexcept
    {
        ImmutableString(inOther).Swap(*this);
        return *this;
    }

    ImmutableString& operator=(ImmutableString&& inOther) noexcept
    {
        ImmutableString(std::move(inOther)).Swap(*this);
        return *this;
    }

    ~ImmutableString()
    {
        if (mCount != nullptr)
        {
            ReleaseText();
        }
    }

    // Holds the address of inText, which must outlive every copy: literals. A null pointer gives null.
    ML_EXPORT static ImmutableString CreateStatic(const char* inText);

    // Hold a copy. A null pointer gives null; wide text becomes UTF-8.
    ML_EXPORT static ImmutableString CreateDynamic(const char* inText, size_t inSize);
    ML_EXPORT static ImmutableString CreateDynamic(const char* inText);
    ML_EXPORT static ImmutableString CreateDynamic(const UTF8String& inText);
    ML_EXPORT static ImmutableString CreateDynamic(const WString& inText);

    // Below, equal or above zero: bytes as unsigned numbers, then the length. Depends on no locale, since
    // the order of property maps is the order in which their entries are hashed. Null equals "".
    ML_EXPORT int Compare(const ImmutableString& inOther) const noexcept;

    // The text with its NUL, never a null pointer; valid as long as a copy of the string lives.
    const char* CStr() const noexcept { return mText; }

    // Bytes without the NUL.
    size_t Size() const noexcept { return mSize; }

    std::string_view View() const noexcept { return {mText, mSize}; }

    UTF8String ToString() const { return UTF8String(mText, mSize); }

    bool IsNull() const noexcept { return mText == kNullText; }

    bool empty() const noexcept { return mSize == 0; }

    friend bool operator==(const ImmutableString& inLeft, const ImmutableString& inRight) noexcept
    {
        return inLeft.View() == inRight.View();
    }

    friend bool operator!=(const ImmutableString& inLeft, const ImmutableString& inRight) noexcept
    {
        return !(inLeft == inRight);
    }

    friend bool operator<(const ImmutableString& inLeft, const ImmutableString& inRight) noexcept
    {
        return inLeft.Compare(inRight) < 0;
    }

    ML_EXPORT static const ImmutableString sNullString;

private:
    // One address in all modules tells null from "".
    ML_EXPORT static const char kNullText[1];

    ML_EXPORT void ReleaseText() noexcept;

    void Swap(ImmutableString& ioOther) noexcept
    {
        std::swap(mText, ioOther.mText);
        std::swap(mSize, ioOther.mSize);
        std::swap(mCount, ioOther.mCount);
    }

    const char* mText = kNullText;
    size_t mSize = 0;
    std::atomic<int32_t>* mCount = nullptr; // precedes a copied text; null for static text
};

// Conversions. A lone surrogate and each longest ill-formed part of a sequence become one U+FFFD; nothing
// throws but std::bad_alloc.
ML_EXPORT UTF8String UTF16to8(const WString& inText);
ML_EXPORT WString UTF8to16(const UTF8String& inText);

// Each byte becomes one unit; a byte above 127 becomes U+FFFD. Null gives an empty string.
ML_EXPORT WString AsciiToUTF16(const char* inText);

// The text in the multi-byte form of the platform, which here is UTF-8: the bytes unchanged.
ML_EXPORT std::string ToMultiByte(const ImmutableString& inText);

} // namespace norvik::utility

template <>
struct std::hash<norvik::utility::ImmutableString>
{
    size_t operator()(const norvik::utility::ImmutableString& inText) const noexcept
    {
        return std::hash<std::string_view>()(inText.View());
    }
};
