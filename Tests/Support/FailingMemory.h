// Memory that runs out when a test says so, at one allocation of the test's thread or from there on.
//
// Works where one source of the executable includes FailingOperatorNew.h. What asks for memory in another way than
// by operator new does so as ever.
//
// Thread-safety: each thread has allocations of its own to fail.
#pragma once

#include <utility>

namespace TestSupport
{

struct FailingMemory
{
    static inline thread_local long sLeft = -1; // the last of so many fails; below zero none does
    static inline thread_local bool sFailsForEver = false;
    static inline thread_local bool sHasFailed = false;

    // The allocation of this number fails, counted from now on from 1.
    static void FailAt(long inNumber, bool inAndAllAfterIt) noexcept
    {
        sHasFailed = false;
        sFailsForEver = inAndAllAfterIt;
        sLeft = inNumber;
    }
    // There is memory again. Gives what is to be handed to Resume.
    static long Stop() noexcept { return std::exchange(sLeft, -1); }
    static void Resume(long inLeft) noexcept { sLeft = inLeft; }

    static bool FailsNow() noexcept
    {
        if (sLeft < 0 || --sLeft > 0)
        {
            return false;
        }
        sLeft = sFailsForEver ? 1 : -1;
        sHasFailed = true;
        return true;
    }
};

} // namespace TestSupport
