#include "TVK/Exceptions.h"

#include "TVK/ContractError.h"

// Destructors stand here so that each exception's type information exists once, in this library.

namespace TVK
{

Exception::~Exception() = default;

const char* Exception::what() const noexcept
{
    return "An exception has occurred.";
}

NullInterfaceException::~NullInterfaceException() = default;

const char* NullInterfaceException::what() const noexcept
{
    return "A NULL interface pointer has been dereferenced.";
}

InterfaceNotFoundException::~InterfaceNotFoundException() = default;

const char* InterfaceNotFoundException::what() const noexcept
{
    return "The requested interface has not been registered.";
}

IllegalComparisonException::~IllegalComparisonException() = default;

const char* IllegalComparisonException::what() const noexcept
{
    return "A comparison of two refs has failed because we are unable to convert one of them to TVKUnknown.";
}

} // namespace TVK

namespace norvik::config
{

// Shared, so that copying an exception in flight can't throw.
struct Error::Content
{
    int mLevel = 0;
    std::string mMessage;
    std::vector<std::string> mReplacements;
};

Error::Error(int inLevel, const char* inMessage, std::initializer_list<std::string> inReplacements)
    : mContent(
          std::make_shared<Content>(Content{inLevel, inMessage != nullptr ? inMessage : "", inReplacements}))
{
}

Error::Error(const Error&) noexcept = default;
Error& Error::operator=(const Error&) noexcept = default;
Error::~Error() = default;

const char* Error::what() const noexcept
{
    return mContent->mMessage.c_str();
}

int Error::Level() const noexcept
{
    return mContent->mLevel;
}

const std::vector<std::string>& Error::Replacements() const noexcept
{
    return mContent->mReplacements;
}

} // namespace norvik::config
