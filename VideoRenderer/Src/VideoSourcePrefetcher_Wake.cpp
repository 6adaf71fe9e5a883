#include "VideoSourcePrefetcher_Wake.h"

#include "RenderFrameQueue.h"

namespace ML::VideoSourcePrefetcher
{

namespace
{

std::function<void()>& WakeFunction()
{
    static auto* const sFunction = new std::function<void()>;
    return *sFunction;
}

} // namespace

void WakeRenderQueue() noexcept
{
    try
    {
        const std::function<void()>& function = WakeFunction();
        function ? function() : RenderFrameQueue::ScheduleImmediatePoll();
    }
    catch (...)
    {
        // The next look by the clock is a few milliseconds away.
    }
}

void SetWakeFunction(const std::function<void()>& inFunction)
{
    WakeFunction() = inFunction;
}

} // namespace ML::VideoSourcePrefetcher
