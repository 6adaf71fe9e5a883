#include "ReferenceHost/Messaging/UIThread.h"
#include "TVK/Message.h"
#include "TVK/Stations.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using norvik::utility::ImmutableString;
using TVK::InterfaceRef;
using TVK::MessageRef;
using TVK::StationRegistry;
using TVK::UIThread;
using TVK::StationUtils::PostMessageToUIThread;

// Message classes have names that are the same in every module, so they stand in no unnamed namespace.
namespace StationsTest
{

class Number final : public TVK::MessageImpl<Number>
{
public:
    explicit Number(int inNumber, std::atomic<int>* ioDestroyed = nullptr)
        : mNumber(inNumber)
        , mDestroyed(ioDestroyed)
    {
    }

    ~Number() override
    {
        if (mDestroyed != nullptr)
        {
            ++*mDestroyed;
        }
    }

    const int mNumber;

private:
    std::atomic<int>* const mDestroyed;
};

class Other final : public TVK::MessageImpl<Other>
{
};

} // namespace StationsTest

namespace
{

using StationsTest::Number;
using StationsTest::Other;

MessageRef NumberMessage(int inNumber, std::atomic<int>* ioDestroyed = nullptr)
{
    return MessageRef(new Number(inNumber, ioDestroyed));
}

class Stations : public testing::Test
{
protected:
    Stations() { Listen(mStation); }

    ~Stations() override
    {
        StationRegistry::DisposeStation(mStation);
        UIThread::Pump();
    }

    void Listen(const ImmutableString& inStation)
    {
        StationRegistry::AddListener(inStation, Number::StaticMessageID(),
                                     [this](const MessageRef& inMessage)
                                     { mHeard.push_back(static_cast<Number*>(inMessage.get())->mNumber); });
    }

    ImmutableString mStation = StationRegistry::RegisterUniqueStation();
    std::vector<int> mHeard;
};

TEST(Message, IDIsTheHashOfTheTypesName)
{
    EXPECT_EQ(TVK::HashMessageTypeNameToMessageID(""), 0x811C9DC5u);
    EXPECT_EQ(TVK::HashMessageTypeNameToMessageID("a"), 0xE40C292Cu);
    EXPECT_EQ(TVK::HashMessageTypeNameToMessageID("foobar"), 0xBF9CF968u);
    EXPECT_EQ(Number::StaticMessageID(), TVK::HashMessageTypeNameToMessageID("N12StationsTest6NumberE"));
    EXPECT_NE(Number::StaticMessageID(), Other::StaticMessageID());
    EXPECT_EQ(NumberMessage(1)->GetMessageID(), Number::StaticMessageID());
}

TEST_F(Stations, IDsAreUnique)
{
    std::set<ImmutableString> seen;
    for (int index = 0; index < 100; ++index)
    {
        EXPECT_TRUE(seen.insert(StationRegistry::UniqueStationID()).second);
    }
    EXPECT_FALSE(seen.begin()->empty());
}

TEST_F(Stations, DeliversAfterThePostHasReturnedInOrderOfPosting)
{
    const ImmutableString second = StationRegistry::RegisterUniqueStation();
    Listen(second);
    for (int index = 0; index < 10; ++index)
    {
        PostMessageToUIThread(index % 2 == 0 ? mStation : second, NumberMessage(index), 0);
    }
    EXPECT_TRUE(mHeard.empty());
    EXPECT_EQ(UIThread::Pump(), 10u);
    EXPECT_EQ(mHeard, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(UIThread::Pump(), 0u);
    StationRegistry::DisposeStation(second);
}

TEST_F(Stations, ListenerHearsOnlyItsClassOfMessage)
{
    int all = 0;
    StationRegistry::AddListener(mStation, 0, [&](const MessageRef&) { ++all; });
    PostMessageToUIThread(mStation, MessageRef(new Other), 0);
    PostMessageToUIThread(mStation, NumberMessage(5), 0);
    UIThread::Pump();
    EXPECT_EQ(mHeard, std::vector<int>{5});
    EXPECT_EQ(all, 2);
}

TEST_F(Stations, PostFromAListenerIsDeliveredByTheNextPump)
{
    StationRegistry::AddListener(mStation, Number::StaticMessageID(),
                                 [&](const MessageRef& inMessage)
                                 {
                                     const int number = static_cast<Number*>(inMessage.get())->mNumber;
                                     if (number < 3)
                                     {
                                         PostMessageToUIThread(mStation, NumberMessage(number + 1), 0);
                                     }
                                 });
    PostMessageToUIThread(mStation, NumberMessage(1), 0);
    UIThread::Pump();
    EXPECT_EQ(mHeard, std::vector<int>{1});
    UIThread::Pump();
    UIThread::Pump();
    EXPECT_EQ(mHeard, (std::vector<int>{1, 2, 3}));
}

TEST_F(Stations, DisposeDropsUndeliveredMessages)
{
    std::atomic<int> destroyed{0};
    const ImmutableString kept = StationRegistry::RegisterUniqueStation();
    Listen(kept);
    PostMessageToUIThread(mStation, NumberMessage(1, &destroyed), 0);
    PostMessageToUIThread(kept, NumberMessage(2), 0);
    PostMessageToUIThread(mStation, NumberMessage(3, &destroyed), 0);
    StationRegistry::DisposeStation(mStation);
    EXPECT_EQ(destroyed, 2);
    UIThread::Pump();
    EXPECT_EQ(mHeard, std::vector<int>{2});
    StationRegistry::DisposeStation(kept);
}

TEST_F(Stations, DisposeWithinAListenerSilencesTheOthers)
{
    StationRegistry::DisposeStation(mStation);
    StationRegistry::RegisterStation(mStation);
    StationRegistry::AddListener(mStation, 0,
                                 [&](const MessageRef&) { StationRegistry::DisposeStation(mStation); });
    Listen(mStation);
    PostMessageToUIThread(mStation, NumberMessage(1), 0);
    UIThread::Pump();
    EXPECT_TRUE(mHeard.empty());
}

TEST_F(Stations, MessagesForAnEarlierStationOfTheSameIDAreNotDelivered)
{
    PostMessageToUIThread(mStation, NumberMessage(1), 0);
    StationRegistry::DisposeStation(mStation);
    StationRegistry::RegisterStation(mStation);
    Listen(mStation);
    PostMessageToUIThread(mStation, NumberMessage(2), 0);
    UIThread::Pump();
    EXPECT_EQ(mHeard, std::vector<int>{2});
}

TEST_F(Stations, DropsWhatNobodyCanHear)
{
    std::atomic<int> destroyed{0};
    PostMessageToUIThread(StationRegistry::UniqueStationID(), NumberMessage(1, &destroyed), 0);
    PostMessageToUIThread(ImmutableString(), NumberMessage(1, &destroyed), 0);
    PostMessageToUIThread(mStation, MessageRef(), 0);
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(UIThread::Pump(), 0u);
    EXPECT_EQ(StationRegistry::AddListener(StationRegistry::UniqueStationID(), 0, {}), 0u);
    StationRegistry::RegisterStation(ImmutableString());
    EXPECT_EQ(StationRegistry::AddListener(ImmutableString(), 0, {}), 0u);
    StationRegistry::DisposeStation(StationRegistry::UniqueStationID());
}

TEST_F(Stations, RemovedListenerHearsNothing)
{
    int heard = 0;
    const uint64_t id = StationRegistry::AddListener(mStation, 0, [&](const MessageRef&) { ++heard; });
    EXPECT_NE(id, 0u);
    PostMessageToUIThread(mStation, NumberMessage(1), 0);
    StationRegistry::RemoveListener(id);
    StationRegistry::RemoveListener(id);
    UIThread::Pump();
    EXPECT_EQ(heard, 0);
    EXPECT_EQ(mHeard.size(), 1u);
}

TEST_F(Stations, FailingListenerKeepsNobodyFromHearing)
{
    StationRegistry::DisposeStation(mStation);
    StationRegistry::RegisterStation(mStation);
    StationRegistry::AddListener(mStation, 0, [](const MessageRef&) { throw std::runtime_error("deaf"); });
    Listen(mStation);
    PostMessageToUIThread(mStation, NumberMessage(1), 0);
    EXPECT_EQ(UIThread::Pump(), 1u);
    EXPECT_EQ(mHeard, std::vector<int>{1});
}

std::atomic<int> sCompanionsMade{0};
std::atomic<int> sCompanionsGone{0};

InterfaceRef<TVKUnknown> MakeCompanion()
{
    ++sCompanionsMade;
    return NumberMessage(0, &sCompanionsGone);
}

TEST_F(Stations, CompanionIsMadeForTheFirstMessageAndGoesWithTheStation)
{
    sCompanionsMade = 0;
    sCompanionsGone = 0;
    const ImmutableString station = StationRegistry::RegisterUniqueStation(&MakeCompanion);
    UIThread::Pump();
    EXPECT_EQ(sCompanionsMade, 0);
    PostMessageToUIThread(station, NumberMessage(1), 0);
    PostMessageToUIThread(station, NumberMessage(2), 0);
    EXPECT_EQ(sCompanionsMade, 0);
    UIThread::Pump();
    EXPECT_EQ(sCompanionsMade, 1);
    EXPECT_EQ(sCompanionsGone, 0);
    StationRegistry::DisposeStation(station);
    EXPECT_EQ(sCompanionsGone, 1);
}

TEST_F(Stations, ListenerMayPumpAndAnotherThreadMayNot)
{
    size_t nested = 0;
    size_t foreign = 99;
    StationRegistry::AddListener(mStation, Other::StaticMessageID(),
                                 [&](const MessageRef&)
                                 {
                                     EXPECT_TRUE(UIThread::IsCurrent());
                                     std::thread([&] { foreign = UIThread::Pump(); }).join();
                                     nested = UIThread::Pump();
                                 });
    PostMessageToUIThread(mStation, MessageRef(new Other), 0);
    PostMessageToUIThread(mStation, NumberMessage(1), 0);
    EXPECT_EQ(UIThread::Pump(), 1u);
    EXPECT_EQ(nested, 1u);
    EXPECT_EQ(foreign, 0u);
    EXPECT_FALSE(UIThread::IsCurrent());
    EXPECT_EQ(mHeard, std::vector<int>{1});
}

TEST_F(Stations, OwnThreadDeliversAndEndsWithNothingLeft)
{
    std::set<std::thread::id> threads;
    StationRegistry::AddListener(mStation, 0,
                                 [&](const MessageRef&) { threads.insert(std::this_thread::get_id()); });
    {
        const TVK::OwnUIThread thread;
        for (int index = 0; index < 100; ++index)
        {
            PostMessageToUIThread(mStation, NumberMessage(index), 0);
        }
    }
    EXPECT_EQ(mHeard.size(), 100u);
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);
}

TEST_F(Stations, RunDeliversWhatWasPostedBeforeQuit)
{
    StationRegistry::AddListener(mStation, Other::StaticMessageID(),
                                 [&](const MessageRef&)
                                 {
                                     PostMessageToUIThread(mStation, NumberMessage(1), 0);
                                     UIThread::Quit();
                                 });
    PostMessageToUIThread(mStation, MessageRef(new Other), 0);
    UIThread::Run();
    EXPECT_EQ(mHeard, std::vector<int>{1});
}

TEST_F(Stations, HostIsWokenForEachPost)
{
    std::atomic<int> woken{0};
    UIThread::SetWakeFunction([&] { ++woken; });
    PostMessageToUIThread(mStation, NumberMessage(1), 0);
    PostMessageToUIThread(mStation, NumberMessage(2), 0);
    UIThread::SetWakeFunction({});
    PostMessageToUIThread(mStation, NumberMessage(3), 0);
    EXPECT_EQ(woken, 2);
    EXPECT_TRUE(UIThread::WaitForMessage(0));
    UIThread::Pump();
    EXPECT_FALSE(UIThread::WaitForMessage(1));
}

} // namespace
