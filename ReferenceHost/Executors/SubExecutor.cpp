#include "norvik/threads/Threads.h"

#include "ReferenceHost/Executors/TaskLedger.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>

namespace norvik::threads
{

namespace
{

// The part of a sub-executor that its functions on the parent need. They hold it, so that a sub-executor may
// go while one of its functions runs.
//
// Its functions reach the parent one at a time, each by a ticket; there are never more tickets than the
// width. A ticket that finds more work is posted again instead of going on, so that the parent stays fair to
// others.
class SubState : public std::enable_shared_from_this<SubState>
{
public:
    SubState(const boost::shared_ptr<AsyncThreadedExecutor>& inParent, uint32_t inWidth)
        : mParent(inParent)
        , mWidth(std::max(inWidth, 1u))
    {
    }

    void Post(Function& ioFunction)
    {
        const uint64_t number = mLedger.Push(ioFunction);
        if (number == 0 || !TakeRoomForTicket() || TryToIssueTicket())
        {
            return;
        }
        // Others may have pushed meanwhile and rely on this ticket.
        const bool isOurs = mLedger.TakeBack(number, ioFunction);
        OnTicketUsed();
        if (isOurs)
        {
            throw std::bad_alloc();
        }
    }

    void PostDelayed(Function& ioFunction, uint32_t inDelayMilliseconds)
    {
        const uint64_t number = mLedger.AddDelayed(ioFunction);
        if (number == 0)
        {
            return;
        }
        try
        {
            const auto alarm = std::make_shared<Alarm>(weak_from_this(), number);
            mParent->Post([alarm] { alarm->Ring(); }, inDelayMilliseconds);
        }
        catch (...)
        {
            mLedger.DropDelayed(number);
            throw;
        }
    }

    Executors::TaskLedger& Ledger() { return mLedger; }

private:
    // Leave to run one function on the parent. Destroyed unused, the parent has dropped it.
    class Ticket
    {
    public:
        explicit Ticket(std::shared_ptr<SubState> inState) : mState(std::move(inState)) {}

        ~Ticket()
        {
            if (mState)
            {
                mState->OnTicketLost();
            }
        }

        void Run()
        {
            const std::shared_ptr<SubState> state = std::move(mState);
            mState.reset();
            state->mLedger.RunNext();
            state->OnTicketUsed();
        }

        // It was never with the parent.
        void Void() noexcept { mState.reset(); }

        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

    private:
        std::shared_ptr<SubState> mState;
    };

    // The end of a delay. It doesn't keep the sub-executor alive: that may go before, with its parent.
    class Alarm
    {
    public:
        Alarm(std::weak_ptr<SubState> inState, uint64_t inNumber)
            : mState(std::move(inState))
            , mNumber(inNumber)
        {
        }

        ~Alarm()
        {
            if (const std::shared_ptr<SubState> state = mState.lock())
            {
                state->mLedger.DropDelayed(mNumber);
            }
        }

        void Ring()
        {
            const std::shared_ptr<SubState> state = mState.lock();
            if (state && state->mLedger.ReleaseDelayed(mNumber) && state->TakeRoomForTicket() &&
                !state->TryToIssueTicket())
            {
                state->OnTicketUsed();
            }
        }

        Alarm(const Alarm&) = delete;
        Alarm& operator=(const Alarm&) = delete;

    private:
        std::weak_ptr<SubState> mState;
        uint64_t mNumber;
    };

    bool TakeRoomForTicket()
    {
        const std::lock_guard<std::mutex> lock(mTicketMutex);
        if (mTickets >= mWidth)
        {
            return false;
        }
        ++mTickets;
        return true;
    }

    // False if there is no memory for it; its room is still taken then.
    bool TryToIssueTicket() noexcept
    {
        std::shared_ptr<Ticket> ticket;
        try
        {
            ticket = std::make_shared<Ticket>(shared_from_this());
            mParent->Post([ticket] { ticket->Run(); });
            return true;
        }
        catch (...)
        {
            if (ticket)
            {
                ticket->Void();
            }
            return false;
        }
    }

    // Whether the queue is empty is asked under the lock under which the ticket is given back: what is pushed
    // after the question finds room for a ticket of its own. Without memory for a way through the parent the
    // next function runs here.
    void OnTicketUsed()
    {
        for (;;)
        {
            {
                const std::lock_guard<std::mutex> lock(mTicketMutex);
                if (!mLedger.HasQueued())
                {
                    --mTickets;
                    return;
                }
            }
            if (TryToIssueTicket())
            {
                return;
            }
            mLedger.RunNext();
        }
    }

    // The parent takes no more work, so what has no ticket will never run.
    void OnTicketLost()
    {
        {
            const std::lock_guard<std::mutex> lock(mTicketMutex);
            if (--mTickets > 0)
            {
                return;
            }
        }
        mLedger.CancelPending();
    }

    const boost::shared_ptr<AsyncThreadedExecutor> mParent;
    const uint32_t mWidth;
    Executors::TaskLedger mLedger;
    std::mutex mTicketMutex;
    uint32_t mTickets = 0;
};

class SubExecutor final : public AsyncThreadedExecutor
{
public:
    SubExecutor(const boost::shared_ptr<AsyncThreadedExecutor>& inParent, uint32_t inWidth)
        : mState(std::make_shared<SubState>(inParent, inWidth))
    {
    }

    ~SubExecutor() override
    {
        mState->Ledger().CancelPending();
        mState->Ledger().Close();
        mState->Ledger().WaitForTermination();
    }

    void Post(Function inFunction, uint32_t inDelayMilliseconds) override
    {
        if (inDelayMilliseconds == 0)
        {
            mState->Post(inFunction);
        }
        else
        {
            mState->PostDelayed(inFunction, inDelayMilliseconds);
        }
    }

    bool IsCurrentThread() const override { return mState->Ledger().IsCurrentThread(); }

    void CancelPending() override { mState->Ledger().CancelPending(); }

    void Close() override { mState->Ledger().Close(); }

    void WaitForTermination() override { mState->Ledger().WaitForTermination(); }

private:
    std::shared_ptr<SubState> mState;
};

} // namespace

boost::shared_ptr<AsyncThreadedExecutor>
CreateSubExecutor(const boost::shared_ptr<AsyncThreadedExecutor>& inParent, uint32_t inWidth)
{
    return boost::make_shared<SubExecutor>(inParent, inWidth);
}

} // namespace norvik::threads
