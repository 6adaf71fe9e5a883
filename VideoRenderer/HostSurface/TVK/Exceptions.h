#pragma once

#include "Platform.h"

#include <exception>

namespace TVK
{

// Root of all exceptions of host and library. Each says its text by what(); texts are fixed, since callers
// compare and log them.
//
// Thread-safety: values.
class ML_EXPORT Exception : public std::exception
{
public:
    Exception() noexcept = default;
    Exception(const Exception&) noexcept = default;
    Exception& operator=(const Exception&) noexcept = default;
    ~Exception() override;

    const char* what() const noexcept override;
};

// An empty InterfaceRef was dereferenced.
class ML_EXPORT NullInterfaceException : public Exception
{
public:
    ~NullInterfaceException() override;
    const char* what() const noexcept override;
};

// An interface or class was asked for that nobody registered.
class ML_EXPORT InterfaceNotFoundException : public Exception
{
public:
    ~InterfaceNotFoundException() override;
    const char* what() const noexcept override;
};

// Two references were compared, and one object has no canonical pointer to compare by.
class ML_EXPORT IllegalComparisonException : public Exception
{
public:
    ~IllegalComparisonException() override;
    const char* what() const noexcept override;
};

} // namespace TVK
