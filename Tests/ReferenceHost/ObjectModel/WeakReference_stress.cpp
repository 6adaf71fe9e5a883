#include "TVK/Weak.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace
{

using TVK::Guid;
using TVK::InterfaceRef;

struct IMarked : TVK::TVKUnknown
{
    static constexpr Guid kInterfaceID{"30000000-0000-0000-0000-000000000001"};
    virtual int Mark() const = 0;
};

constexpr int kLiving = 12345;

class Marked final : public TVK::ImplementsWeak<Marked, IMarked>
{
public:
    explicit Marked(std::atomic<int>& ioDestroyed) : mDestroyed(ioDestroyed) {}

    ~Marked() override
    {
        mMark = 0; // plain memory: a resolver that gets the dying object is seen by the sanitizer too
        ++mDestroyed;
    }

    int Mark() const override { return mMark; }

private:
    std::atomic<int>& mDestroyed;
    int mMark = kLiving;
};

TEST(WeakReferenceStress, ResolvingAgainstTheLastReleaseGivesALivingObjectOrNone)
{
    const size_t rounds = TestSupport::ScaledCount(4000);
    std::atomic<int> destroyed{0};
    std::atomic<int> dead{0};
    std::atomic<size_t> resolved{0};
    std::atomic<size_t> turn{0};
    std::atomic<int> ready{0};
    TVK::WeakRef<IMarked> weak;
    const int resolvers = 3;

    std::vector<std::thread> threads;
    for (int index = 0; index < resolvers; ++index)
    {
        threads.emplace_back(
            [&]
            {
                for (size_t round = 1; round <= rounds; ++round)
                {
                    while (turn.load(std::memory_order_acquire) < round)
                    {
                        std::this_thread::yield();
                    }
                    for (bool found = true; found;)
                    {
                        const InterfaceRef<IMarked> object = weak.Resolve();
                        found = static_cast<bool>(object);
                        dead += found && object->Mark() != kLiving ? 1 : 0;
                        resolved += found ? 1 : 0;
                    }
                    ++ready;
                }
            });
    }
    for (size_t round = 1; round <= rounds; ++round)
    {
        InterfaceRef<IMarked> object(new Marked(destroyed));
        weak = TVK::WeakRef<IMarked>(object);
        turn.store(round, std::memory_order_release);
        if (round % 2 == 0)
        {
            std::this_thread::yield();
        }
        object.reset();
        while (ready.load() < resolvers)
        {
            std::this_thread::yield();
        }
        ready = 0;
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(dead, 0);
    EXPECT_EQ(static_cast<size_t>(destroyed), rounds) << "each object dies once";
    EXPECT_GT(resolved, 0u) << "the race was never run";
}

TEST(WeakReferenceStress, OneBrokerWhoeverAsksFirst)
{
    const size_t rounds = TestSupport::ScaledCount(3000);
    std::atomic<int> destroyed{0};
    int different = 0;
    for (size_t round = 0; round < rounds; ++round)
    {
        const InterfaceRef<IMarked> object(new Marked(destroyed));
        TVK::IWeakReferenceRef references[2];
        std::thread other([&] { references[0] = TVK::IWeakReferenceCapableRef(object)->GetWeakReference(); });
        references[1] = TVK::IWeakReferenceCapableRef(object)->GetWeakReference();
        other.join();
        different += references[0] == references[1] ? 0 : 1;
    }
    EXPECT_EQ(different, 0);
    EXPECT_EQ(static_cast<size_t>(destroyed), rounds);
}

} // namespace
