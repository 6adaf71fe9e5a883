#pragma once

#include "norvik/threads/Threads.h"

#include <cstdint>
#include <string>

#include <boost/shared_ptr.hpp>

namespace Executors
{

// What a thread that is woken does to one that computes on the processor it wants.
enum class OnWaking : std::int32_t
{
    kInterrupt, // as far as the system finds it fair
    kWait // until that one sleeps or has had its turn, some milliseconds, where no other processor is free
};

// As norvik::threads::CreateThreadedExecutor. Threads that only prepare what others are to do must not interrupt those:
// who renders loses his caches each time, and has work for longer than the wait. Where the process has been given
// another scheduling policy than the usual one, its threads keep that.
//
// Thread-safety: safe.
boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>
CreatePool(const std::string& inName, std::uint32_t inWidth, OnWaking inOnWaking);

} // namespace Executors
