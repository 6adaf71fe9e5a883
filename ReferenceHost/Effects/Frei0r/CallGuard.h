// The surroundings of a call into a plug-in: the floating-point unit as a program finds it at its start, and
// numbers in text with a point. What the plug-in leaves behind is taken back at the end.
//
// Thread-safety: belongs to one thread.
#pragma once

#include <cfenv>
#include <clocale>

namespace Frei0r
{

class CallGuard
{
public:
    CallGuard();
    ~CallGuard();
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;

private:
    std::fenv_t mFloatingPoint;
    locale_t mLocale;
};

} // namespace Frei0r
