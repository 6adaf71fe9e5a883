#include "Applications/vrender/WorkerThreads.h"

#include <new>
#include <system_error>
#include <vector>

namespace vrender
{

namespace
{

std::thread StartThread(const std::function<void()>& inWork)
{
    return std::thread(inWork);
}

} // namespace

void RunOnThreads(std::size_t inThreads, const std::function<void()>& inWork, const ThreadStarter& inStart)
{
    std::vector<std::thread> workers;
    try
    {
        while (workers.size() + 1 < inThreads)
        {
            // Room first: a thread that runs must not be lost.
            workers.reserve(workers.size() + 1);
            workers.push_back(inStart ? inStart(inWork) : StartThread(inWork));
        }
    }
    catch (const std::system_error&)
    {
    }
    catch (const std::bad_alloc&)
    {
    }
    inWork();
    for (std::thread& worker : workers)
    {
        worker.join();
    }
}

} // namespace vrender
