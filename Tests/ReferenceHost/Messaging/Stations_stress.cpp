#include "ReferenceHost/Messaging/UIThread.h"
#include "TVK/Message.h"
#include "TVK/Stations.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using norvik::utility::ImmutableString;
using TVK::MessageRef;
using TVK::StationRegistry;

namespace StationsStress
{

class Step final : public TVK::MessageImpl<Step>
{
public:
    Step(size_t inPoster, size_t inNumber) : mPoster(inPoster), mNumber(inNumber) {}

    const size_t mPoster;
    const size_t mNumber;
};

} // namespace StationsStress

namespace
{

using StationsStress::Step;

TEST(StationsStress, EachPostersMessagesArriveOnceAndInOrder)
{
    const size_t posters = 4;
    const size_t count = TestSupport::ScaledCount(20000);
    std::vector<size_t> next(posters, 0); // plain memory: only one thread may deliver
    size_t disorders = 0;
    const ImmutableString station = StationRegistry::RegisterUniqueStation();
    StationRegistry::AddListener(station, Step::StaticMessageID(),
                                 [&](const MessageRef& inMessage)
                                 {
                                     const auto* step = static_cast<Step*>(inMessage.get());
                                     disorders += next[step->mPoster]++ != step->mNumber ? 1 : 0;
                                 });
    {
        const TVK::OwnUIThread uiThread;
        std::vector<std::thread> threads;
        for (size_t poster = 0; poster < posters; ++poster)
        {
            threads.emplace_back(
                [&, poster]
                {
                    for (size_t number = 0; number < count; ++number)
                    {
                        TVK::StationUtils::PostMessageToUIThread(station,
                                                                 MessageRef(new Step(poster, number)), 0);
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    }
    StationRegistry::DisposeStation(station);
    EXPECT_EQ(disorders, 0u);
    EXPECT_EQ(next, std::vector<size_t>(posters, count));
}

TEST(StationsStress, StationsComeAndGoWhileMessagesFly)
{
    const size_t rounds = TestSupport::ScaledCount(2000);
    std::atomic<size_t> heard{0};
    const TVK::OwnUIThread uiThread;
    std::vector<std::thread> threads;
    for (size_t thread = 0; thread < 3; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                for (size_t round = 0; round < rounds; ++round)
                {
                    const ImmutableString station = StationRegistry::RegisterUniqueStation();
                    StationRegistry::AddListener(station, 0,
                                                 [&heard, station](const MessageRef&)
                                                 {
                                                     ++heard;
                                                     StationRegistry::UniqueStationID();
                                                 });
                    for (size_t number = 0; number < 4; ++number)
                    {
                        TVK::StationUtils::PostMessageToUIThread(station, MessageRef(new Step(0, number)), 0);
                    }
                    StationRegistry::DisposeStation(station);
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_LE(heard, rounds * 12);
}

} // namespace
