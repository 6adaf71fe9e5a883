#include "ReferenceHost/Project/ItemList.h"

#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

namespace
{

using namespace Project;
using norviktypes::TickTime;

TrackItemRef MakeItem(ItemID inID, std::int64_t inStart, std::int64_t inEnd)
{
    auto content = std::make_shared<ClipItem>();
    content->mStart = TickTime(inStart);
    content->mDuration = TickTime(inEnd - inStart);
    return TrackItemRef(new TrackItemObject(inID, content, {}, {}, {}));
}

std::vector<ItemID> IDsOf(const ItemList& inList)
{
    std::vector<ItemID> ids;
    for (auto place = inList.Begin(); !inList.IsEnd(place); place = inList.Next(place))
    {
        ids.push_back(inList.At(place)->GetID());
    }
    return ids;
}

TEST(ItemList, FindsTheFirstItemThatEndsBehindATime)
{
    ItemList list;
    EXPECT_TRUE(list.IsEnd(list.FirstEndingBehind(TickTime(0))));
    for (std::int64_t index = 0; index < 1000; ++index)
    {
        list.Insert(list.End(), MakeItem(static_cast<ItemID>(index), 10 * index, 10 * index + 5));
    }
    for (std::int64_t index = 0; index < 1000; ++index)
    {
        const auto id = [&](std::int64_t inTime)
        { return list.At(list.FirstEndingBehind(TickTime(inTime)))->GetID(); };
        EXPECT_EQ(id(10 * index), static_cast<ItemID>(index));
        EXPECT_EQ(id(10 * index + 4), static_cast<ItemID>(index));
        EXPECT_EQ(id(10 * index - 5), static_cast<ItemID>(index));
    }
    EXPECT_TRUE(list.IsEnd(list.FirstEndingBehind(TickTime(9995))));
}

TEST(ItemList, WalksBothWays)
{
    ItemList list;
    for (std::int64_t index = 0; index < 300; ++index)
    {
        list.Insert(list.End(), MakeItem(static_cast<ItemID>(index), index, index + 1));
    }
    auto place = list.End();
    for (std::size_t index = 300; index-- > 0;)
    {
        place = list.Previous(place);
        EXPECT_EQ(list.At(place)->GetID(), index);
    }
    EXPECT_EQ(place, list.Begin());
}

TEST(ItemList, HoldsWhatAVectorWouldAndCopiesNeverChange)
{
    std::mt19937_64 random(TestSupport::Seed());
    ItemList list;
    std::vector<ItemID> expected;
    std::vector<std::pair<ItemList, std::vector<ItemID>>> copies;
    ItemID next = 1;
    const std::size_t count = TestSupport::ScaledCount(4000);
    for (std::size_t step = 0; step < count; ++step)
    {
        const std::size_t index = expected.empty() ? 0 : random() % expected.size();
        auto place = list.Begin();
        for (std::size_t skipped = 0; skipped < index; ++skipped)
        {
            place = list.Next(place);
        }
        const std::uint64_t what = random() % 8;
        const auto at = expected.begin() + static_cast<std::ptrdiff_t>(index);
        if (expected.empty() || what < 4)
        {
            list.Insert(expected.empty() ? list.End() : place, MakeItem(next, 0, 1));
            expected.insert(at, next++);
        }
        else if (what < 6)
        {
            list.Remove(place);
            expected.erase(at);
        }
        else
        {
            list.Replace(place, MakeItem(next, 0, 1));
            *at = next++;
        }
        if (random() % 64 == 0)
        {
            copies.emplace_back(list, expected);
            list.Share();
        }
        ASSERT_EQ(list.Size(), expected.size());
    }
    EXPECT_EQ(IDsOf(list), expected);
    for (const auto& [copy, ids] : copies)
    {
        ASSERT_EQ(IDsOf(copy), ids);
    }
}

} // namespace
