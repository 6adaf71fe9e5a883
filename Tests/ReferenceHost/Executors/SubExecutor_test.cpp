#include "Tests/Support/ManualExecutor.h"
#include "norvik/threads/Threads.h"

#include <boost/smart_ptr/weak_ptr.hpp>
#include <gtest/gtest.h>

#include <vector>

// What a sub-executor promises with regard to its parent, on a parent that the test drives by hand.

namespace
{

using norvik::threads::CreateSubExecutor;

class SubExecutor : public testing::Test
{
protected:
    boost::shared_ptr<TestSupport::ManualExecutor> mParent =
        boost::make_shared<TestSupport::ManualExecutor>();
    std::vector<int> mRan;

    norvik::Function Note(int inNumber)
    {
        return [this, inNumber] { mRan.push_back(inNumber); };
    }
};

TEST_F(SubExecutor, HandsItsParentNoMoreFunctionsThanItsWidth)
{
    const auto sub = CreateSubExecutor(mParent, 2);
    for (int index = 0; index < 5; ++index)
    {
        sub->Post(Note(index));
    }
    mParent->Post(Note(100));
    mParent->RunAll();
    EXPECT_EQ(mRan, (std::vector<int>{0, 1, 100, 2, 3, 4})) << "another's function gets its turn in between";
}

TEST_F(SubExecutor, IsTheCurrentThreadTogetherWithItsParent)
{
    const auto sub = CreateSubExecutor(mParent, 1);
    const auto sibling = CreateSubExecutor(mParent, 1);
    sub->Post(
        [&]
        {
            EXPECT_TRUE(sub->IsCurrentThread());
            EXPECT_TRUE(mParent->IsCurrentThread());
            EXPECT_FALSE(sibling->IsCurrentThread());
            mRan.push_back(1);
        });
    mParent->Post([&] { EXPECT_FALSE(sub->IsCurrentThread()); });
    mParent->RunAll();
    EXPECT_EQ(mRan.size(), 1u);
}

TEST_F(SubExecutor, DropsItsFunctionsWhenTheParentDropsThem)
{
    const auto sub = CreateSubExecutor(mParent, 1);
    for (int index = 0; index < 3; ++index)
    {
        sub->Post(Note(index));
    }
    mParent->CancelPending();
    mParent->RunAll();
    EXPECT_TRUE(mRan.empty());
    sub->WaitForTermination(); // would hang if a function were still counted

    sub->Post(Note(7));
    mParent->RunAll();
    EXPECT_EQ(mRan, std::vector<int>{7}) << "a cancelled parent still works";
}

TEST_F(SubExecutor, DropsDelayedFunctionsWhenTheParentDropsThem)
{
    const auto sub = CreateSubExecutor(mParent, 1);
    sub->Post(Note(1), 10);
    mParent->CancelPending();
    mParent->Advance(20);
    sub->WaitForTermination();
    EXPECT_TRUE(mRan.empty());
}

TEST_F(SubExecutor, DropsFunctionsOnAClosedParent)
{
    const auto sub = CreateSubExecutor(mParent, 1);
    mParent->Close();
    sub->Post(Note(1));
    sub->Post(Note(2), 5);
    sub->WaitForTermination();
    EXPECT_TRUE(mRan.empty());
}

TEST_F(SubExecutor, CancelsOnlyItsOwnFunctions)
{
    const auto sub = CreateSubExecutor(mParent, 1);
    sub->Post(Note(1));
    mParent->Post(Note(2));
    sub->CancelPending();
    mParent->RunAll();
    EXPECT_EQ(mRan, std::vector<int>{2});
}

TEST_F(SubExecutor, DelayedFunctionHoldsNeitherSubExecutorNorParent)
{
    const boost::weak_ptr<TestSupport::ManualExecutor> parent = mParent;
    auto sub = CreateSubExecutor(mParent, 1);
    sub->Post(Note(1), 60000);
    mParent.reset();
    EXPECT_FALSE(parent.expired());
    sub.reset();
    EXPECT_TRUE(parent.expired());
}

TEST_F(SubExecutor, MayGoWhileOneOfItsFunctionsRuns)
{
    auto sub = CreateSubExecutor(mParent, 1);
    sub->Post(
        [&]
        {
            sub.reset();
            mRan.push_back(1);
        });
    sub->Post(Note(2));
    mParent->RunAll();
    EXPECT_EQ(mRan, std::vector<int>{1});
}

TEST_F(SubExecutor, DelayedFunctionsRunInOrderOfTheirTimes)
{
    const auto sub = CreateSubExecutor(mParent, 1);
    sub->Post(Note(3), 30);
    sub->Post(Note(1), 10);
    sub->Post(Note(2), 20);
    mParent->Advance(19);
    EXPECT_EQ(mRan, std::vector<int>{1});
    mParent->Advance(11);
    EXPECT_EQ(mRan, (std::vector<int>{1, 2, 3}));
}

} // namespace
