#include "ReferenceHost/Executors/SharedExecutors.h"

#include "ML/SharedExecutors.h"
#include "norvik/utility/Machine.h"

#include <algorithm>

namespace ML
{

boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sNormalPriorityRenderQueue;
boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sLowPriorityRenderQueue;
boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sVideoSourcePrefetcherQueue;
boost::shared_ptr<norvik::threads::AsyncThreadedExecutor> sImageSourcePrefetcherQueue;

} // namespace ML

namespace Executors
{

namespace
{

using ExecutorPtr = boost::shared_ptr<norvik::threads::AsyncThreadedExecutor>;

void CreateIfMissing(ExecutorPtr& ioExecutor, const char* inName, uint32_t inWidth)
{
    if (!ioExecutor)
    {
        ioExecutor = norvik::threads::CreateThreadedExecutor(inName, inWidth);
    }
}

} // namespace

void CreateSharedExecutors()
{
    const uint32_t processors = norvik::utility::CPUCount();
    CreateIfMissing(ML::sNormalPriorityRenderQueue, "vr-render", processors);
    CreateIfMissing(ML::sLowPriorityRenderQueue, "vr-render-low", std::max(1u, processors / 2));
    CreateIfMissing(ML::sVideoSourcePrefetcherQueue, "vr-read-video", std::max(2u, processors / 2));
    CreateIfMissing(ML::sImageSourcePrefetcherQueue, "vr-read-image", 2);
}

// Renders wait for reads, so the readers stop last. All are closed before the first is let go: what one still
// runs may post to another.
void StopSharedExecutors()
{
    ExecutorPtr* const executors[] = {&ML::sNormalPriorityRenderQueue, &ML::sLowPriorityRenderQueue,
                                      &ML::sVideoSourcePrefetcherQueue, &ML::sImageSourcePrefetcherQueue};
    for (ExecutorPtr* executor : executors)
    {
        if (*executor)
        {
            (*executor)->CancelPending();
            (*executor)->Close();
            (*executor)->WaitForTermination();
        }
    }
    for (ExecutorPtr* executor : executors)
    {
        executor->reset();
    }
}

} // namespace Executors
