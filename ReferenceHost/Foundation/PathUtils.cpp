#include "TVK/PathUtils.h"

namespace TVK::PathUtils
{

namespace
{

constexpr char16_t kSeparators[] = u"/\\";

} // namespace

norvik::WString AddTrailingSlash(const norvik::WString& inPath)
{
    if (inPath.empty() || inPath.back() == kSeparators[0] || inPath.back() == kSeparators[1])
    {
        return inPath;
    }
    return inPath + kSeparators[0];
}

norvik::WString GetFilePart(const norvik::WString& inPath)
{
    const size_t last = inPath.find_last_of(kSeparators);
    return last == norvik::WString::npos ? inPath : inPath.substr(last + 1);
}

norvik::WString GetFullFilePart(const norvik::WString& inPath)
{
    return GetFilePart(inPath);
}

} // namespace TVK::PathUtils
