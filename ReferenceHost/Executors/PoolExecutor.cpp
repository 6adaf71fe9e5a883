#include "norvik/threads/Threads.h"

#include "ReferenceHost/Executors/TaskLedger.h"
#include "norvik/utility/Machine.h"

#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <pthread.h>
#include <string>
#include <thread>
#include <vector>

namespace norvik::threads
{

namespace
{

namespace asio = boost::asio;

// What the threads of a pool share. They hold it, so that it outlives an executor which one of its own
// functions destroys.
//
// For each queued function there is one ticket in the context; a ticket runs the oldest function at that
// time, or nothing when functions were cancelled meanwhile.
class PoolState
{
public:
    void Run() { mContext.run(); }

    void Post(Function& ioFunction)
    {
        const uint64_t number = mLedger.Push(ioFunction);
        if (number == 0)
        {
            return;
        }
        try
        {
            IssueTicket();
        }
        catch (...)
        {
            // Who posted learns that it wasn't; nobody waits for a function without a ticket.
            if (mLedger.TakeBack(number, ioFunction))
            {
                throw;
            }
        }
    }

    void PostDelayed(Function& ioFunction, std::chrono::milliseconds inDelay)
    {
        const uint64_t number = mLedger.AddDelayed(ioFunction);
        if (number == 0)
        {
            return;
        }
        try
        {
            auto timer = std::make_unique<asio::steady_timer>(mContext, inDelay);
            const std::lock_guard<std::mutex> lock(mTimersMutex);
            asio::steady_timer& placed = *(mTimers[number] = std::move(timer));
            placed.async_wait([this, number](const boost::system::error_code&) { OnTimer(number); });
        }
        catch (...)
        {
            mLedger.DropDelayed(number);
            throw;
        }
    }

    void CancelPending()
    {
        // A timer that is destroyed early fires at once, so those of functions posted meanwhile must stay.
        const uint64_t lastCancelled = mLedger.CancelPending();
        const std::lock_guard<std::mutex> lock(mTimersMutex);
        mTimers.erase(mTimers.begin(), mTimers.upper_bound(lastCancelled));
    }

    // The threads end when they are through with the functions they are in.
    void Stop()
    {
        mWork.reset();
        mContext.stop();
    }

    Executors::TaskLedger& Ledger() { return mLedger; }

private:
    void IssueTicket()
    {
        asio::post(mContext, [this] { mLedger.RunNext(); });
    }

    void OnTimer(uint64_t inNumber)
    {
        {
            const std::lock_guard<std::mutex> lock(mTimersMutex);
            mTimers.erase(inNumber);
        }
        if (mLedger.ReleaseDelayed(inNumber))
        {
            mLedger.RunNext();
        }
    }

    asio::io_context mContext;
    asio::executor_work_guard<asio::io_context::executor_type> mWork{mContext.get_executor()};
    Executors::TaskLedger mLedger;
    std::mutex mTimersMutex;
    std::map<uint64_t, std::unique_ptr<asio::steady_timer>> mTimers;
};

void NameThisThread(const std::string& inName)
{
    constexpr size_t kLongestName = 15;
    pthread_setname_np(pthread_self(), inName.substr(0, kLongestName).c_str());
}

class PoolExecutor final : public AsyncThreadedExecutor
{
public:
    PoolExecutor(const std::string& inName, uint32_t inWidth) : mState(std::make_shared<PoolState>())
    {
        try
        {
            for (uint32_t index = 0; index < std::max(inWidth, 1u); ++index)
            {
                mThreads.emplace_back(
                    [state = mState, inName]
                    {
                        NameThisThread(inName);
                        state->Run();
                    });
            }
        }
        catch (...)
        {
            JoinThreads(); // no more threads to be had; those that started must not be left behind
            throw;
        }
    }

    ~PoolExecutor() override
    {
        mState->CancelPending();
        mState->Ledger().Close();
        JoinThreads();
    }

    void Post(Function inFunction, uint32_t inDelayMilliseconds) override
    {
        if (inDelayMilliseconds == 0)
        {
            mState->Post(inFunction);
        }
        else
        {
            mState->PostDelayed(inFunction, std::chrono::milliseconds(inDelayMilliseconds));
        }
    }

    bool IsCurrentThread() const override { return mState->Ledger().IsCurrentThread(); }

    void CancelPending() override { mState->CancelPending(); }

    void Close() override { mState->Ledger().Close(); }

    void WaitForTermination() override { mState->Ledger().WaitForTermination(); }

private:
    // A thread can't join itself: the one that destroys its own pool is let go, and ends by itself.
    void JoinThreads()
    {
        mState->Stop();
        for (std::thread& thread : mThreads)
        {
            if (thread.get_id() == std::this_thread::get_id())
            {
                thread.detach();
            }
            else
            {
                thread.join();
            }
        }
    }

    std::shared_ptr<PoolState> mState;
    std::vector<std::thread> mThreads;
};

} // namespace

AsyncExecutor::~AsyncExecutor() = default;
AsyncThreadedExecutor::~AsyncThreadedExecutor() = default;

boost::shared_ptr<AsyncThreadedExecutor> CreateThreadedExecutor(const char* inName, uint32_t inWidth)
{
    return boost::make_shared<PoolExecutor>(inName != nullptr ? inName : "", inWidth);
}

boost::shared_ptr<AsyncThreadedExecutor> CreateCPUBoundExecutor()
{
    return CreateThreadedExecutor("vr-cpu", utility::CPUCount());
}

} // namespace norvik::threads
