#include "ReferenceHost/Project/ClipTimes.h"

#include "BE/ProjectUtilities.h"
#include "ReferenceHost/Project/ClipObject.h"
#include "ReferenceHost/Project/EffectItem.h"
#include "ReferenceHost/Project/MasterClip.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

namespace
{

using namespace Project;
using norviktypes::FrameRate;
using norviktypes::TickTime;

const FrameRate kRate25 = FrameRate::FromRational(25, 1);
const FrameRate kRate24 = FrameRate::FromRational(24000, 1001);
const FrameRate kRate30 = FrameRate::FromRational(30000, 1001);

BE::IMediaInfoRef MakeMedia(const FrameRate& inRate,
                            norviktypes::FieldType inFieldType = norviktypes::kFieldType_Progressive)
{
    const TVK::InterfaceRef<TestSupport::FakeVideoSource> source(new TestSupport::FakeVideoSource);
    source->mRate = inRate;
    source->mFieldType = inFieldType;
    auto* media = new TestSupport::FakeMediaInfo;
    media->mStream = MF::ISourceRef(source.get());
    return BE::IMediaInfoRef(media);
}

struct Scene
{
    FrameRate mSequenceRate = kRate25;
    FrameRate mMediaRate = kRate25;
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    double mSpeed = 1.0;
    std::int64_t mSource = 0; // source start in media frames
    std::int64_t mFrames = 10;
    std::int64_t mFirstAvailable = 0;
    std::int64_t mLastAvailable = 1000000;
    TickTime mHandleBefore;
    TickTime mHandleAfter;
};

ClipItem ItemOf(const Scene& inScene)
{
    ClipItem item;
    item.mMedia = MakeMedia(inScene.mMediaRate, inScene.mFieldType);
    item.mDuration = TickTime::FromFrame(inScene.mFrames, inScene.mSequenceRate);
    item.mInPoint = TickTime::FromFrame(inScene.mSource, inScene.mMediaRate);
    item.mSpeed = inScene.mSpeed;
    item.mAvailable = MF::TimeRange{TickTime::FromFrame(inScene.mFirstAvailable, inScene.mMediaRate),
                                    TickTime::FromFrame(inScene.mLastAvailable + 1, inScene.mMediaRate)};
    return item;
}

BE::IClipRef ClipOf(const ClipItem& inItem, const Scene& inScene)
{
    ClipSurroundings around;
    around.mRate = inScene.mSequenceRate;
    around.mHandleBefore = inScene.mHandleBefore;
    around.mHandleAfter = inScene.mHandleAfter;
    return CreateClip(std::make_shared<const ClipItem>(inItem), around);
}

// The time at which a render asks the media, as it maps the times of a clip.
TickTime ShownTime(const BE::IClipRef& inClip, const TickTime& inItemTime)
{
    TickTime hold;
    bool holdsEffects = false;
    inClip->GetFrameHold(hold, holdsEffects);
    if (hold != norviktypes::kTime_Max)
    {
        return hold;
    }
    TickTime start = inClip->GetInPoint();
    if (inClip->IsBackwards())
    {
        FrameRate rate;
        inClip->GetVideoSource()->GetFrameRate(rate);
        rate = norviktypes::IsInterlaced(inClip->GetFieldType()) ? rate * 2 : rate;
        start = inClip->GetOutPoint() - TickTime(rate.GetTicks());
    }
    const TVK::InterfaceRef<BE::MultiTimeTransform> transform(new BE::MultiTimeTransform);
    transform->Add(MF::CreateTimeTransform(start,
                                           inClip->IsBackwards() ? -inClip->GetSpeed() : inClip->GetSpeed(),
                                           inClip->GetDuration() - TickTime(1), TickTime()));
    if (const BE::ITimeRemapParameterRef remap = inClip->GetTimeRemapParameter())
    {
        transform->Add(remap->GetTransform());
    }
    return transform->MapTime(inItemTime, 0);
}

std::int64_t ShownFrame(const BE::IClipRef& inClip, const Scene& inScene, std::int64_t inFrame)
{
    return ShownTime(inClip, TickTime::FromFrame(inFrame, inScene.mSequenceRate))
        .ToFrame64(inScene.mMediaRate);
}

// The rule in whole numbers and doubles, for media on the grid of the sequence.
std::int64_t RuledFrame(const Scene& inScene, std::int64_t inFrame)
{
    const double source = static_cast<double>(inScene.mSource);
    const double first =
        source + std::ceil(-inScene.mSpeed * static_cast<double>(inScene.mFrames - 1) - 1e-9);
    const double exact = inScene.mSpeed < 0.0
                             ? std::floor(first + inScene.mSpeed * static_cast<double>(inFrame) + 1e-9)
                             : std::floor(source + inScene.mSpeed * static_cast<double>(inFrame) + 1e-6);
    return std::clamp(static_cast<std::int64_t>(exact), inScene.mFirstAvailable, inScene.mLastAvailable);
}

TEST(ClipTimes, EverySpeedShowsTheFramesOfTheRule)
{
    for (const double speed : {1.0,  2.0,  0.5,  0.25, 1.0 / 3.0, 0.1,        0.3,  0.7,  1.1,  1.5,  2.4,
                               3.75, 10.0, -1.0, -0.5, -2.0,      -1.0 / 3.0, -0.1, -0.3, -1.1, -2.4, -7.0})
    {
        Scene scene;
        scene.mSpeed = speed;
        scene.mSource = 86400;
        scene.mFrames = 211;
        const BE::IClipRef clip = ClipOf(ItemOf(scene), scene);
        for (std::int64_t frame = 0; frame < scene.mFrames; ++frame)
        {
            ASSERT_EQ(ShownFrame(clip, scene, frame), RuledFrame(scene, frame))
                << speed << " frame " << frame;
        }
    }
}

TEST(ClipTimes, FramesOutsideOfWhatIsAvailableShowTheNearestOne)
{
    for (const double speed : {1.0, 2.0, 0.5, -1.0, -1.5})
    {
        Scene scene;
        scene.mSpeed = speed;
        scene.mSource = 5;
        scene.mFrames = 40;
        scene.mFirstAvailable = 10;
        scene.mLastAvailable = 20;
        const BE::IClipRef clip = ClipOf(ItemOf(scene), scene);
        for (std::int64_t frame = 0; frame < scene.mFrames; ++frame)
        {
            ASSERT_EQ(ShownFrame(clip, scene, frame), RuledFrame(scene, frame))
                << speed << " frame " << frame;
        }
    }
}

TEST(ClipTimes, BackwardsPlayEndsOnTheInPoint)
{
    Scene scene;
    scene.mSpeed = -1.0;
    scene.mSource = 100;
    const BE::IClipRef clip = ClipOf(ItemOf(scene), scene);
    EXPECT_EQ(ShownFrame(clip, scene, 0), 109);
    EXPECT_EQ(ShownFrame(clip, scene, 9), 100);
    EXPECT_TRUE(clip->IsBackwards());
    EXPECT_EQ(clip->GetSpeed(), 1.0);
}

TEST(ClipTimes, BackwardsPlayOfMediaWithFieldsBeginsOnTheSameFrame)
{
    Scene scene;
    scene.mSpeed = -1.0;
    scene.mSource = 100;
    scene.mFieldType = norviktypes::kFieldType_UpperFirst;
    const BE::IClipRef clip = ClipOf(ItemOf(scene), scene);
    EXPECT_EQ(ShownFrame(clip, scene, 0), 109);
    EXPECT_EQ(ShownFrame(clip, scene, 9), 100);
}

TEST(ClipTimes, MediaOfAnotherRateIsShownByTime)
{
    Scene scene;
    scene.mSequenceRate = kRate30;
    scene.mMediaRate = kRate24;
    scene.mFrames = 50;
    const BE::IClipRef clip = ClipOf(ItemOf(scene), scene);
    for (std::int64_t frame = 0; frame < scene.mFrames; ++frame)
    {
        ASSERT_EQ(ShownFrame(clip, scene, frame), frame * 4 / 5) << frame;
    }
}

TEST(ClipTimes, BackwardsMediaOfAnotherRateEndsOnTheInPointToo)
{
    Scene scene;
    scene.mSequenceRate = kRate30;
    scene.mMediaRate = kRate24;
    scene.mFrames = 6; // five steps of four fifths of a frame
    scene.mSpeed = -1.0;
    scene.mSource = 24;
    const BE::IClipRef clip = ClipOf(ItemOf(scene), scene);
    EXPECT_EQ(ShownFrame(clip, scene, 0), 28);
    EXPECT_EQ(ShownFrame(clip, scene, 5), 24);
}

TEST(ClipTimes, SpeedZeroHoldsTheInPointAndLetsEffectsMove)
{
    Scene scene;
    scene.mSpeed = 0.0;
    scene.mSource = 7;
    const ClipItem item = ItemOf(scene);
    const BE::IClipRef clip = ClipOf(item, scene);
    EXPECT_EQ(ShownFrame(clip, scene, 0), 7);
    EXPECT_EQ(ShownFrame(clip, scene, 9), 7);
    EXPECT_EQ(clip->GetSpeed(), 1.0);
    TickTime hold;
    bool holdsEffects = true;
    clip->GetFrameHold(hold, holdsEffects);
    EXPECT_FALSE(holdsEffects);
    EXPECT_EQ(ToMediaTime(item, TickTime::FromFrame(3, kRate25), kRate25), TickTime::FromFrame(10, kRate25));
}

TEST(ClipTimes, HoldShowsItsTimeAndTellsOfEffects)
{
    Scene scene;
    ClipItem item = ItemOf(scene);
    bool holdsEffects = true;
    TickTime hold;
    ClipOf(item, scene)->GetFrameHold(hold, holdsEffects);
    EXPECT_EQ(hold, norviktypes::kTime_Max);
    EXPECT_FALSE(holdsEffects);
    item.mHoldTime = TickTime::FromFrame(4, kRate25);
    item.mHoldsEffects = true;
    const BE::IClipRef clip = ClipOf(item, scene);
    clip->GetFrameHold(hold, holdsEffects);
    EXPECT_EQ(hold.ToFrame64(kRate25), 4);
    EXPECT_TRUE(holdsEffects);
}

TEST(ClipTimes, PlainClipsAreNotRemapped)
{
    Scene scene;
    scene.mSource = 3;
    EXPECT_FALSE(ClipOf(ItemOf(scene), scene)->GetTimeRemapParameter());
    scene.mLastAvailable = 12;
    EXPECT_FALSE(ClipOf(ItemOf(scene), scene)->GetTimeRemapParameter());
    scene.mLastAvailable = 11;
    EXPECT_TRUE(ClipOf(ItemOf(scene), scene)->GetTimeRemapParameter());
}

TEST(ClipTimes, HandlesBeyondTheMediaAreHeldAsWell)
{
    Scene scene;
    scene.mSource = 3;
    scene.mLastAvailable = 12;
    scene.mHandleAfter = TickTime::FromFrame(2, kRate25);
    const BE::IClipRef clip = ClipOf(ItemOf(scene), scene);
    EXPECT_EQ(ShownFrame(clip, scene, 11), 12);
    scene.mHandleAfter = TickTime();
    scene.mHandleBefore = TickTime::FromFrame(4, kRate25);
    EXPECT_EQ(ShownFrame(ClipOf(ItemOf(scene), scene), scene, -4), 0);
}

TEST(ClipTimes, AnInPointThatFallsShortOfItsFrameMeansThatFrame)
{
    Scene scene;
    ClipItem item = ItemOf(scene);
    for (const double speed : {1.0, 2.0, 0.5, 0.0})
    {
        item.mSpeed = speed;
        item.mInPoint = TickTime::FromFrame(11, kRate25) - TickTime(3000);
        EXPECT_EQ(ShownFrame(ClipOf(item, scene), scene, 0), 11) << speed;
    }
    item.mSpeed = 1.0;
    item.mInPoint = TickTime::FromFrame(11, kRate25) - TickTime(30000);
    EXPECT_EQ(ShownFrame(ClipOf(item, scene), scene, 0), 10);
}

TEST(ClipTimes, RemapFollowsItsKeyframes)
{
    Scene scene;
    scene.mSource = 50;
    ClipItem item = ItemOf(scene);
    ParameterKey from;
    from.mTime = TickTime();
    from.mValue = 2.0;
    ParameterKey to;
    to.mTime = TickTime::FromFrame(10, kRate25);
    to.mValue = 1.0;
    item.mTimeRemap = {from, to};
    const BE::IClipRef clip = ClipOf(item, scene);
    EXPECT_EQ(ShownFrame(clip, scene, 0), 50);
    EXPECT_EQ(ShownFrame(clip, scene, 5), 37);
    EXPECT_EQ(ShownFrame(clip, scene, 10), 25);
    EXPECT_EQ(clip->GetTimeRemapParameter()->GetKeyframes().size(), 1u);
    EXPECT_TRUE(clip->GetTimeTransform());
    EXPECT_EQ(ToMediaTime(item, TickTime::FromFrame(5, kRate25), kRate25), TickTime::FromSeconds(1.5));
}

TEST(ClipTimes, RemapTextTellsWhatItMaps)
{
    Scene scene;
    scene.mSpeed = 2.0;
    const auto text = [&] { return ClipOf(ItemOf(scene), scene)->GetTimeRemapParameter()->GetHashText(); };
    const norvik::UTF8String plain = text();
    EXPECT_EQ(plain, text());
    scene.mFirstAvailable = 1;
    EXPECT_NE(plain, text());
    scene.mFirstAvailable = 0;
    scene.mLastAvailable -= 1;
    EXPECT_NE(plain, text());
    scene.mLastAvailable += 1;
    scene.mMediaRate = kRate24;
    EXPECT_NE(plain, text());
}

TEST(ClipTimes, MediaTimeOfKeyframesFollowsTheDirection)
{
    Scene scene;
    scene.mSpeed = -2.0;
    scene.mSource = 10;
    const ClipItem item = ItemOf(scene);
    EXPECT_EQ(ToMediaTime(item, TickTime(), kRate25), TickTime::FromFrame(28, kRate25));
    EXPECT_EQ(ToMediaTime(item, TickTime::FromFrame(9, kRate25), kRate25), TickTime::FromFrame(10, kRate25));
}

TEST(ClipObject, OfflineClipsHaveASizeAndNoStream)
{
    ClipItem item;
    item.mDuration = TickTime(1000);
    ClipSurroundings around;
    around.mRate = kRate25;
    around.mFrameRect = {0, 0, 320, 200};
    const BE::IClipRef clip = CreateClip(std::make_shared<const ClipItem>(item), around);
    EXPECT_FALSE(clip->GetVideoSource());
    EXPECT_EQ(clip->GetFrameRect(), around.mFrameRect);
}

TEST(ClipObject, OfflineClipsHaveMediaThatTellsItsNameAndThatItIsNotThere)
{
    ClipItem item;
    item.mDuration = TickTime(1000);
    item.mMasterClip = CreateMasterClip("clip", "/media/clip.mov");
    const BE::IMediaInfoRef media = CreateClip(std::make_shared<const ClipItem>(item), {})->GetMedia();
    ASSERT_TRUE(media);
    EXPECT_EQ(media->GetAvailability(), BE::MediaAvailability::kOffline);
    EXPECT_EQ(media->GetName(), u"clip");
    EXPECT_STREQ(media->GetPath().CStr(), "/media/clip.mov");
    EXPECT_FALSE(media->GetStream(BE::kMediaType_Video, 0));
}

TEST(ClipObject, ContentIDChangesWithWhatIsShown)
{
    Scene scene;
    const ClipItem plain = ItemOf(scene);
    const auto id = [&](const auto& inChange)
    {
        ClipItem item = plain;
        inChange(item);
        return ClipOf(item, scene)->GetContentID();
    };
    const TVK::Guid same = id([](ClipItem&) {});
    EXPECT_EQ(same, id([](ClipItem& ioItem) { ioItem.mStart = TickTime(77); }));
    EXPECT_NE(same, id([](ClipItem& ioItem) { ioItem.mInPoint += TickTime::FromFrame(1, kRate25); }));
    EXPECT_NE(same, id([](ClipItem& ioItem) { ioItem.mSpeed = 1.5; }));
    EXPECT_NE(same, id([](ClipItem& ioItem) { ioItem.mHoldTime = TickTime(5); }));
    EXPECT_NE(same,
              id([](ClipItem& ioItem) { ioItem.mEffects.push_back(CreateOpacity(CreateNumber(50.0))); }));
    EXPECT_NE(id([](ClipItem& ioItem) { ioItem.mEffects.push_back(CreateOpacity(CreateNumber(50.0))); }),
              id([](ClipItem& ioItem) { ioItem.mEffects.push_back(CreateOpacity(CreateNumber(60.0))); }));
    EXPECT_NE(same, id(
                        [](ClipItem& ioItem)
                        {
                            auto* media = new TestSupport::FakeMediaInfo;
                            media->mContentHash = "changed";
                            ioItem.mMedia = BE::IMediaInfoRef(media);
                            ioItem.mMediaRate = kRate25;
                        }));
}

} // namespace
