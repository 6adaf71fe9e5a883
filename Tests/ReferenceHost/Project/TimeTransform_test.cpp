#include "BE/ProjectUtilities.h"
#include "MF/ITimeTransform.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using MF::CreateTimeTransform;
using norviktypes::kTime_Max;
using norviktypes::kTime_Min;
using norviktypes::kTime_Zero;
using norviktypes::TickTime;

TEST(TimeTransform, MapsByStartSpeedAndOffset)
{
    const MF::ITimeTransformRef transform =
        CreateTimeTransform(TickTime(1000), 2.5, TickTime(99), TickTime(10));
    EXPECT_EQ(transform->MapTime(TickTime(10), 0), TickTime(1000));
    EXPECT_EQ(transform->MapTime(TickTime(14), 0), TickTime(1010));
    EXPECT_EQ(transform->MapTime(TickTime(6), 0), TickTime(990));
}

TEST(TimeTransform, RoundsToTheNearestTick)
{
    const MF::ITimeTransformRef third = CreateTimeTransform(kTime_Zero, 1.0 / 3.0, TickTime(99), kTime_Zero);
    EXPECT_EQ(third->MapTime(TickTime(5), 0), TickTime(2));
    EXPECT_EQ(third->MapTime(TickTime(4), 0), TickTime(1));
    EXPECT_EQ(third->MapTime(TickTime(-5), 0), TickTime(-2));
}

TEST(TimeTransform, ClampsNothingWithinTheAxis)
{
    const MF::ITimeTransformRef transform = CreateTimeTransform(TickTime(7), 1.0, TickTime(1), kTime_Zero);
    EXPECT_EQ(transform->MapTime(TickTime(-1000), 0), TickTime(-993));
    EXPECT_EQ(transform->MapTime(kTime_Max, 0), kTime_Max + TickTime(7));
    EXPECT_EQ(transform->MapTime(kTime_Min, 0), kTime_Min + TickTime(7));
}

TEST(TimeTransform, KeepsEveryTickAtPlainSpeedHoweverFarTheTime)
{
    const TickTime far((std::int64_t{1} << 60) + 1);
    EXPECT_EQ(CreateTimeTransform(kTime_Zero, 1.0, kTime_Zero, TickTime(2))->MapTime(far, 0),
              far - TickTime(2));
    EXPECT_EQ(CreateTimeTransform(kTime_Zero, -1.0, kTime_Zero, kTime_Zero)->MapTime(far, 0), -far);
}

TEST(TimeTransform, StaysAddableForSpeedsBeyondReason)
{
    const TickTime end =
        CreateTimeTransform(kTime_Zero, 1e300, kTime_Zero, kTime_Zero)->MapTime(kTime_Max, 0);
    EXPECT_EQ(end, TickTime(std::int64_t{1} << 62));
    EXPECT_EQ(CreateTimeTransform(TickTime(5), std::nan(""), kTime_Zero, kTime_Zero)->MapTime(kTime_Max, 0),
              TickTime(5));
}

TEST(TimeTransform, IsTheIdentityOnlyIfEveryTimeMapsToItself)
{
    EXPECT_TRUE(CreateTimeTransform(TickTime(5), 1.0, TickTime(9), TickTime(5))->IsIdentity());
    EXPECT_FALSE(CreateTimeTransform(TickTime(5), 1.0, TickTime(9), TickTime(4))->IsIdentity());
    EXPECT_FALSE(CreateTimeTransform(kTime_Zero, 2.0, TickTime(9), kTime_Zero)->IsIdentity());
}

TEST(TimeTransform, HashTellsEveryArgument)
{
    const auto hash = [](std::int64_t inStart, double inSpeed, std::int64_t inDuration, std::int64_t inOffset)
    {
        return CreateTimeTransform(TickTime(inStart), inSpeed, TickTime(inDuration), TickTime(inOffset))
            ->GetHash();
    };
    EXPECT_EQ(hash(1, 2.0, 3, 4), hash(1, 2.0, 3, 4));
    EXPECT_NE(hash(1, 2.0, 3, 4), hash(9, 2.0, 3, 4));
    EXPECT_NE(hash(1, 2.0, 3, 4), hash(1, 9.0, 3, 4));
    EXPECT_NE(hash(1, 2.0, 3, 4), hash(1, 2.0, 9, 4));
    EXPECT_NE(hash(1, 2.0, 3, 4), hash(1, 2.0, 3, 9));
}

TVK::InterfaceRef<BE::MultiTimeTransform> MakeMulti()
{
    return new BE::MultiTimeTransform;
}

TEST(MultiTimeTransform, AppliesTheFirstOneAddedFirst)
{
    const auto multi = MakeMulti();
    multi->Add(CreateTimeTransform(TickTime(10), 1.0, kTime_Zero, kTime_Zero));
    multi->Add(CreateTimeTransform(kTime_Zero, 3.0, kTime_Zero, kTime_Zero));
    EXPECT_EQ(multi->MapTime(TickTime(1), 0), TickTime(33));
}

TEST(MultiTimeTransform, LeavesOutEmptyReferences)
{
    const auto multi = MakeMulti();
    multi->Add({});
    EXPECT_TRUE(multi->IsIdentity());
    EXPECT_EQ(multi->MapTime(TickTime(8), 0), TickTime(8));
    EXPECT_EQ(multi->GetHash(), MakeMulti()->GetHash());
}

TEST(MultiTimeTransform, IsTheIdentityIfAllOfItsStagesAre)
{
    const auto multi = MakeMulti();
    multi->Add(CreateTimeTransform(kTime_Zero, 1.0, kTime_Zero, kTime_Zero));
    EXPECT_TRUE(multi->IsIdentity());
    multi->Add(CreateTimeTransform(kTime_Zero, 2.0, kTime_Zero, kTime_Zero));
    EXPECT_FALSE(multi->IsIdentity());
}

TEST(MultiTimeTransform, HashTellsStagesAndTheirOrder)
{
    const MF::ITimeTransformRef first = CreateTimeTransform(TickTime(10), 1.0, kTime_Zero, kTime_Zero);
    const MF::ITimeTransformRef second = CreateTimeTransform(kTime_Zero, 3.0, kTime_Zero, kTime_Zero);
    const auto forward = MakeMulti();
    forward->Add(first);
    forward->Add(second);
    const auto backward = MakeMulti();
    backward->Add(second);
    backward->Add(first);
    EXPECT_NE(forward->GetHash(), backward->GetHash());
    EXPECT_NE(forward->GetHash(), MakeMulti()->GetHash());
}

} // namespace
