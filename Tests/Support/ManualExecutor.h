#pragma once

#include "ReferenceHost/Executors/TaskLedger.h"
#include "norvik/threads/Threads.h"

#include <cstdint>
#include <mutex>
#include <set>
#include <utility>

namespace TestSupport
{

// An executor without threads, whose clock stands still. The test runs its functions and moves the clock, so
// that what depends on order and time happens the same way each time, at once.
//
// It keeps every promise of AsyncThreadedExecutor. WaitForTermination has nobody to wait for and does the
// work itself, moving the clock to what is delayed.
//
// Thread-safety: safe, though normally all is done by the test's thread.
class ManualExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    ~ManualExecutor() override;

    void Post(norvik::Function inFunction, uint32_t inDelayMilliseconds = 0) override;
    bool IsCurrentThread() const override;
    void CancelPending() override;
    void Close() override;
    void WaitForTermination() override;

    // Runs the oldest function that is due; false if there is none.
    bool RunOne();

    // Runs functions until none is due, those that they post included; how many.
    size_t RunAll();

    // Moves the clock on, and runs all that becomes due, each at its time.
    void Advance(uint32_t inMilliseconds);

    // Milliseconds since the executor was made, by its own clock.
    uint64_t Now() const;

    // Functions that wait for their delay; those that were cancelled aren't counted.
    size_t DelayedCount() const;

private:
    using Due = std::pair<uint64_t, uint64_t>; // time, number

    bool TakeDue(uint64_t inUntil, uint64_t& outNumber);

    Executors::TaskLedger mLedger;
    mutable std::mutex mMutex;
    std::set<Due> mAlarms;
    uint64_t mNow = 0;
};

} // namespace TestSupport
