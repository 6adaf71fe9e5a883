#include "ReferenceHost/Effects/Frei0r/CallGuard.h"

namespace Frei0r
{
namespace
{

// Never freed: threads may be in it when the process ends.
locale_t PlainNumbers()
{
    static const locale_t sPlain = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return sPlain;
}

} // namespace

CallGuard::CallGuard()
{
    std::fegetenv(&mFloatingPoint);
    std::fesetenv(FE_DFL_ENV);
    // Of this thread alone; a null locale only asks.
    mLocale = ::uselocale(PlainNumbers());
}

CallGuard::~CallGuard()
{
    ::uselocale(mLocale);
    std::fesetenv(&mFloatingPoint);
}

} // namespace Frei0r
