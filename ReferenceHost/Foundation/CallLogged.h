#pragma once

#include <exception>

// Calls to what others have left here to be called: what one of them throws is logged, and is not the next one's.
//
// Thread-safety: safe.
namespace Foundation
{

// Logs to inChannel that inWho ("A listener") has failed, and why; nothing where there is no memory for it.
void LogFailure(const char* inChannel, const char* inWho, const char* inWhy) noexcept;

template <class Callable>
void CallLogged(const char* inChannel, const char* inWho, const Callable& inCall) noexcept
{
    try
    {
        inCall();
    }
    catch (const std::exception& failure)
    {
        LogFailure(inChannel, inWho, failure.what());
    }
    catch (...)
    {
        LogFailure(inChannel, inWho, "an unknown exception");
    }
}

} // namespace Foundation
