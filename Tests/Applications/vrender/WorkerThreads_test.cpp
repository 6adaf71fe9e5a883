#include "Applications/vrender/WorkerThreads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <new>
#include <set>
#include <system_error>

using namespace vrender;

namespace
{

// Counts to 1000 on as many threads as there are, and remembers them.
class Counting
{
public:
    std::function<void()> Work()
    {
        return [this]
        {
            {
                const std::lock_guard<std::mutex> lock(mLock);
                mThreads.insert(std::this_thread::get_id());
            }
            while (mNext++ < 1000)
            {
                ++mDone;
            }
        };
    }

    std::size_t Threads() const { return mThreads.size(); }
    int Done() const { return mDone; }

private:
    std::atomic<int> mNext{0};
    std::atomic<int> mDone{0};
    std::mutex mLock; // guards mThreads
    std::set<std::thread::id> mThreads;
};

// Starts inCount threads and then fails.
template <typename Failure>
ThreadStarter FailAfter(int inCount, const Failure& inFailure)
{
    return [inCount, inFailure, started = 0](const std::function<void()>& inWork) mutable
    {
        if (started == inCount)
        {
            throw inFailure;
        }
        ++started;
        return std::thread(inWork);
    };
}

} // namespace

TEST(RunOnThreads, TakesAsManyAsAreAskedForWithTheCallers)
{
    for (const std::size_t threads : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{7}})
    {
        Counting counting;
        RunOnThreads(threads, counting.Work());
        EXPECT_EQ(counting.Threads(), std::max<std::size_t>(1, threads));
        EXPECT_EQ(counting.Done(), 1000);
    }
}

TEST(RunOnThreads, GoesOnWithFewerWhereThereAreNoMore)
{
    const std::system_error none(std::make_error_code(std::errc::resource_unavailable_try_again));
    for (int count = 0; count < 3; ++count)
    {
        Counting counting;
        RunOnThreads(8, counting.Work(), FailAfter(count, none));
        EXPECT_EQ(counting.Threads(), static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(counting.Done(), 1000);

        Counting starved;
        RunOnThreads(8, starved.Work(), FailAfter(count, std::bad_alloc()));
        EXPECT_EQ(starved.Threads(), static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(starved.Done(), 1000);
    }
}
