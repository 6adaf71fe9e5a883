#include "VideoRenderer/Src/IncomingBuffer.h"

#include <boost/smart_ptr/weak_ptr.hpp>

#include <gtest/gtest.h>

#include <numeric>

namespace
{

using IDs = std::vector<std::uint32_t>;

void Push(ML::IncomingBuffer& ioBuffer, std::uint32_t inID)
{
    ML::RenderFrameRequest request;
    request.mRequestID = inID;
    ML::RequestNode node = ML::MakeRequestNode(std::move(request));
    ioBuffer.Push(node);
    EXPECT_TRUE(node.empty());
}

void PushRange(ML::IncomingBuffer& ioBuffer, std::uint32_t inFirst, std::uint32_t inCount)
{
    for (std::uint32_t i = 0; i < inCount; ++i)
    {
        Push(ioBuffer, inFirst + i);
    }
}

IDs Pull(ML::IncomingBuffer& ioBuffer, std::uint64_t inLimit)
{
    ML::RequestStation pulled;
    ioBuffer.Pull(inLimit, pulled);
    IDs ids;
    for (const auto& [order, queued] : pulled)
    {
        ids.push_back(queued.mRequest.mRequestID);
    }
    return ids;
}

TEST(IncomingBuffer, GivesOneLessThanTheLimitAndTwoLessWhenTheSidesAreExchanged)
{
    ML::IncomingBuffer buffer;
    PushRange(buffer, 1, 10);
    EXPECT_EQ(Pull(buffer, 5), (IDs{1, 2, 3}));
    EXPECT_EQ(Pull(buffer, 5), (IDs{4, 5, 6, 7}));
    PushRange(buffer, 11, 3);
    // Three are left on this side; the look at the other costs one.
    EXPECT_EQ(Pull(buffer, 6), (IDs{8, 9, 10, 11}));
    EXPECT_EQ(buffer.Count(), 2U);
}

TEST(IncomingBuffer, SmallLimitsGiveNothing)
{
    ML::IncomingBuffer buffer;
    PushRange(buffer, 1, 3);
    for (const std::uint64_t limit : {0U, 1U, 2U})
    {
        EXPECT_EQ(Pull(buffer, limit), IDs());
    }
    EXPECT_EQ(Pull(buffer, 3), IDs{1});
    EXPECT_EQ(Pull(buffer, 2), IDs{2});
    EXPECT_EQ(Pull(buffer, 1), IDs());
}

TEST(IncomingBuffer, NegativeLimitIsNone)
{
    ML::IncomingBuffer buffer;
    PushRange(buffer, 1, 3);
    EXPECT_EQ(Pull(buffer, static_cast<std::uint64_t>(std::int64_t{-2})), (IDs{1, 2, 3}));
    EXPECT_TRUE(buffer.IsEmpty());
}

TEST(IncomingBuffer, TakesBothSidesAndManyBlocks)
{
    ML::IncomingBuffer buffer;
    PushRange(buffer, 1, 1000);
    IDs got = Pull(buffer, 300);
    PushRange(buffer, 1001, 1000);
    const IDs rest = Pull(buffer, ML::IncomingBuffer::kNoLimit);
    got.insert(got.end(), rest.begin(), rest.end());
    IDs expected(2000);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(got, expected);
    EXPECT_TRUE(buffer.IsEmpty());
    // The blocks are used again.
    PushRange(buffer, 1, 700);
    EXPECT_EQ(Pull(buffer, ML::IncomingBuffer::kNoLimit).size(), 700U);
}

TEST(IncomingBuffer, WhatIsGivenBackComesBehindWhatIsThere)
{
    ML::IncomingBuffer buffer;
    PushRange(buffer, 1, 2);
    ML::RequestStation pulled;
    buffer.Pull(ML::IncomingBuffer::kNoLimit, pulled);
    Push(buffer, 3);
    while (!pulled.empty())
    {
        buffer.GiveBack(ML::TakeFirst(pulled));
    }
    EXPECT_EQ(Pull(buffer, ML::IncomingBuffer::kNoLimit), (IDs{3, 1, 2}));
}

TEST(IncomingBuffer, DrainedSlotHoldsNothingOfItsRequest)
{
    ML::IncomingBuffer buffer;
    ML::RenderFrameRequest request;
    const boost::weak_ptr<ML::RequestResult> result = request.GetResult();
    ML::RequestNode node = ML::MakeRequestNode(std::move(request));
    buffer.Push(node);
    Pull(buffer, ML::IncomingBuffer::kNoLimit);
    EXPECT_TRUE(result.expired());
}

} // namespace
