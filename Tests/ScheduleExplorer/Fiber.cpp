#include "Tests/ScheduleExplorer/Fiber.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <utility>

#if defined(__SANITIZE_ADDRESS__)
extern "C" void __sanitizer_start_switch_fiber(void** outFakeStack, const void* inStack, std::size_t inBytes);
extern "C" void __sanitizer_finish_switch_fiber(void* inFakeStack, const void** outStack,
                                                std::size_t* outBytes);
#endif

namespace ScheduleExplorer
{

namespace
{

constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kStackBytes = std::size_t{1} << 20;

// The fiber that handed over last.
Fiber* sFrom = nullptr;

} // namespace

Fiber::Fiber() = default;

Fiber::Fiber(std::function<void()> inBody) : mBody(std::move(inBody)), mStackBytes(kStackBytes)
{
    mMapping = mmap(nullptr, kStackBytes + kPageBytes, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mMapping == MAP_FAILED || mprotect(mMapping, kPageBytes, PROT_NONE) != 0)
    {
        std::abort();
    }
    mStack = static_cast<char*>(mMapping) + kPageBytes;
    getcontext(&mContext);
    mContext.uc_stack.ss_sp = static_cast<char*>(mMapping) + kPageBytes;
    mContext.uc_stack.ss_size = kStackBytes;
    const auto self = reinterpret_cast<std::uintptr_t>(this);
    makecontext(&mContext, reinterpret_cast<void (*)()>(&Fiber::Enter), 2,
                static_cast<unsigned int>(self >> 32), static_cast<unsigned int>(self));
}

Fiber::~Fiber()
{
    if (mMapping != nullptr)
    {
        munmap(mMapping, kStackBytes + kPageBytes);
    }
}

void Fiber::Enter(unsigned int inHigh, unsigned int inLow)
{
    const std::uintptr_t self = (std::uintptr_t{inHigh} << 32) | inLow;
    Fiber& fiber = *reinterpret_cast<Fiber*>(self);
    fiber.Arrive();
    fiber.mBody();
    std::abort();
}

void Fiber::SwitchTo(Fiber& ioNext)
{
    Leave(ioNext);
    swapcontext(&mContext, &ioNext.mContext);
    Arrive();
}

// Handlers that run meanwhile on another stack must not be taken for ours.
void Fiber::Leave(Fiber& ioNext)
{
    auto* const exceptions = reinterpret_cast<char*>(abi::__cxa_get_globals());
    std::memcpy(&mExceptions, exceptions, sizeof(mExceptions));
    std::memcpy(exceptions, &ioNext.mExceptions, sizeof(mExceptions));
    sFrom = this;
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_start_switch_fiber(&mFakeStack, ioNext.mStack, ioNext.mStackBytes);
#endif
}

// The stack of the thread of the system itself is learned from the first one that comes from there.
void Fiber::Arrive()
{
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_finish_switch_fiber(mFakeStack, &sFrom->mStack, &sFrom->mStackBytes);
#endif
}

} // namespace ScheduleExplorer
