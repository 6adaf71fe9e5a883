#include "norvik/utility/Strings.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace norvik::utility
{

namespace
{

// Bytes of a copied text's block: its count, the text, the NUL.
size_t BlockSize(size_t inTextSize)
{
    return sizeof(std::atomic<int32_t>) + inTextSize + 1;
}

} // namespace

const char ImmutableString::kNullText[1] = {'\0'};
constinit const ImmutableString ImmutableString::sNullString;

ImmutableString ImmutableString::CreateStatic(const char* inText)
{
    ImmutableString result;
    if (inText != nullptr)
    {
        result.mText = inText;
        result.mSize = std::strlen(inText);
    }
    return result;
}

ImmutableString ImmutableString::CreateDynamic(const char* inText, size_t inSize)
{
    ImmutableString result;
    if (inText == nullptr)
    {
        return result;
    }
    void* block = SmallBlockAllocator::Allocate(BlockSize(inSize));
    result.mCount = new (block) std::atomic<int32_t>(1);
    char* text = static_cast<char*>(block) + sizeof(std::atomic<int32_t>);
    std::memcpy(text, inText, inSize);
    text[inSize] = '\0';
    result.mText = text;
    result.mSize = inSize;
    return result;
}

ImmutableString ImmutableString::CreateDynamic(const char* inText)
{
    return CreateDynamic(inText, inText != nullptr ? std::strlen(inText) : 0);
}

ImmutableString ImmutableString::CreateDynamic(const UTF8String& inText)
{
    return CreateDynamic(inText.data(), inText.size());
}

ImmutableString ImmutableString::CreateDynamic(const WString& inText)
{
    return CreateDynamic(UTF16to8(inText));
}

int ImmutableString::Compare(const ImmutableString& inOther) const noexcept
{
    const int order = std::memcmp(mText, inOther.mText, std::min(mSize, inOther.mSize));
    if (order != 0)
    {
        return order;
    }
    return mSize == inOther.mSize ? 0 : (mSize < inOther.mSize ? -1 : 1);
}

void ImmutableString::ReleaseText() noexcept
{
    if (mCount->fetch_sub(1, std::memory_order_acq_rel) == 1)
    {
        SmallBlockAllocator::Dispose(mCount, BlockSize(mSize));
    }
}

} // namespace norvik::utility
