#pragma once

#include <exception>
#include <utility>

namespace ML
{

// Lets a list of things all be done although some of them throw; the first exception goes on afterwards.
//
// Thread-safety: used by one thread.
class FirstException
{
public:
    // In a handler: keeps the exception if it is the first.
    void Keep() noexcept
    {
        if (!mException)
        {
            mException = std::current_exception();
        }
    }

    template <class Call>
    void Guard(Call&& inCall) noexcept
    {
        try
        {
            std::forward<Call>(inCall)();
        }
        catch (...)
        {
            Keep();
        }
    }

    void Rethrow() const
    {
        if (mException)
        {
            std::rethrow_exception(mException);
        }
    }

private:
    std::exception_ptr mException;
};

} // namespace ML
