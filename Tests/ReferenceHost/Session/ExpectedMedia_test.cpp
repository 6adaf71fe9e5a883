#include "ReferenceHost/Session/ExpectedMedia.h"

#include "ReferenceHost/Media/MediaObject.h"
#include "ReferenceHost/Media/VideoSourceBase.h"
#include "ReferenceHost/Project/Parameter.h"
#include "Tests/Support/Fakes/FakeVideoTransition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Which frames of its media a timeline says it will show.
namespace
{

using norviktypes::TickTime;
using Ranges = std::vector<MF::TimeRange>;

const norviktypes::FrameRate kRate = norviktypes::FrameRate::FromRational(25, 1);

TickTime At(std::int64_t inFrame)
{
    return TickTime::FromFrame(inFrame, kRate);
}

MF::TimeRange Instant(std::int64_t inFrame)
{
    return {At(inFrame), At(inFrame) + TickTime(1)};
}

// Makes no frames, and remembers what it was told.
class ToldSource final : public Media::VideoSourceBase
{
public:
    ToldSource(const norviktypes::FrameRate& inRate, norviktypes::FieldType inFields)
        : VideoSourceBase(TraitsOf(inRate, inFields))
    {
    }

    void Expect(const Ranges& inTimes) override
    {
        mTold = inTimes;
        ++mCount;
    }

    bool Expects(std::int64_t inFrame) const
    {
        return std::any_of(mTold.begin(), mTold.end(),
                           [&](const MF::TimeRange& inRange) { return inRange.Contains(At(inFrame)); });
    }

    Ranges mTold;
    int mCount = 0;

protected:
    std::int32_t MakeFrame(std::int64_t, const BE::FrameDescription&, bool, MF::IVideoFrameRef&) override
    {
        return Media::kSourceStatus_MissingFrame;
    }

private:
    static Media::StreamTraits TraitsOf(const norviktypes::FrameRate& inRate, norviktypes::FieldType inFields)
    {
        Media::StreamTraits traits;
        traits.mFrameRate = inRate;
        traits.mFieldType = inFields;
        traits.mBounds = {0, 0, 16, 9};
        traits.mNativeFormats = {norviktypes::kPixelFormat_BGRA_4444_8u};
        traits.mDuration = At(1000);
        traits.mContentID = TVK::Guid(0x746f6c, 0x64);
        return traits;
    }
};

struct ToldMedia
{
    explicit ToldMedia(const norviktypes::FrameRate& inRate = kRate,
                       norviktypes::FieldType inFields = norviktypes::kFieldType_Progressive)
        : mSource(new ToldSource(inRate, inFields))
    {
        Media::MediaDescription description;
        description.mMakeSource = [source = mSource] { return BE::IVideoSourceRef(source); };
        description.mContentID = [] { return TVK::Guid(0x746f6c, 0x64); };
        mMedia = Media::CreateMediaObject(description);
    }

    ToldSource* operator->() const { return mSource.get(); }

    TVK::InterfaceRef<ToldSource> mSource;
    BE::IMediaInfoRef mMedia;
};

Project::SequenceRef NewSequence(norviktypes::FieldType inFields = norviktypes::kFieldType_Progressive)
{
    Project::SequenceSettings settings;
    settings.mFieldType = inFields;
    const Project::SequenceRef sequence = Project::Sequence::Create(settings);
    sequence->AddTrack();
    return sequence;
}

Project::ClipItem Item(const ToldMedia& inMedia, std::int64_t inStart, std::int64_t inFrames,
                       std::int64_t inFrom)
{
    Project::ClipItem item;
    item.mStart = At(inStart);
    item.mDuration = At(inFrames);
    item.mInPoint = At(inFrom);
    item.mMedia = inMedia.mMedia;
    return item;
}

Project::ParameterKey Key(std::int64_t inFrame, double inSeconds)
{
    Project::ParameterKey key;
    key.mTime = At(inFrame);
    key.mValue = inSeconds;
    return key;
}

void Add(const Project::SequenceRef& inSequence, const Project::ClipItem& inItem, std::size_t inTrack = 0)
{
    ASSERT_EQ(inSequence->AddItem(inTrack, inItem), Project::EditStatus::kOK);
}

// What is told of frame 50 of the media, which the clip shows as its first one: with its neighbours or by itself.
Ranges ToldOfOneFrame(const ToldMedia& inMedia, const std::function<void(Project::ClipItem&)>& inChange,
                      norviktypes::FieldType inSequenceFields = norviktypes::kFieldType_Progressive)
{
    const Project::SequenceRef sequence = NewSequence(inSequenceFields);
    Project::ClipItem item = Item(inMedia, 10, 20, 50);
    inChange(item);
    Add(sequence, item);
    Session::ExpectMedia(sequence, {Instant(10)});
    return inMedia->mTold;
}

const Ranges kWithNeighbours = {{At(46), At(54) + TickTime(1)}};

} // namespace

TEST(ExpectedMedia, APlainClipIsAskedForTheFramesOfTheTimesAndNoOthers)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Add(sequence, Item(media, 10, 20, 50));
    Session::ExpectMedia(sequence, {Instant(12), Instant(29), Instant(40)});
    EXPECT_EQ(media->mTold, (Ranges{Instant(52), Instant(69)}));
    Session::ExpectMedia(sequence, {{At(0), At(100)}});
    EXPECT_EQ(media->mTold, (Ranges{{At(50), At(70)}}));
}

TEST(ExpectedMedia, AClipIsNotAskedForTheFramesBesideItsEnds)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Add(sequence, Item(media, 10, 20, 50));
    Session::ExpectMedia(sequence, {{At(0), At(10)}, {At(30), At(40)}});
    EXPECT_EQ(media->mTold, Ranges());
    Session::ExpectMedia(sequence, {{At(0), At(10)}, Instant(12), {At(30), At(40)}});
    EXPECT_EQ(media->mTold, (Ranges{Instant(52)}));
}

TEST(ExpectedMedia, TimesThatLieInOthersAreToldOnce)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Add(sequence, Item(media, 0, 30, 0));
    Session::ExpectMedia(sequence, {Instant(20), {At(0), At(25)}, Instant(5)});
    EXPECT_EQ(media->mTold, (Ranges{{At(0), At(25)}}));
}

TEST(ExpectedMedia, FramesThatAreProcessedOrHaveFieldsAreToldWithTheirNeighbours)
{
    using Item = Project::ClipItem;
    const auto nothing = [](Item&) {};
    EXPECT_EQ(ToldOfOneFrame(ToldMedia(), nothing), (Ranges{Instant(50)}));
    EXPECT_EQ(ToldOfOneFrame(ToldMedia(), [](Item& ioItem) { ioItem.mBlendsFrames = true; }),
              kWithNeighbours);
    EXPECT_EQ(ToldOfOneFrame(ToldMedia(), [](Item& ioItem) { ioItem.mTimeMode = 1; }), kWithNeighbours);
    EXPECT_EQ(ToldOfOneFrame(ToldMedia(), [](Item& ioItem) { ioItem.mReversesFieldDominance = true; }),
              kWithNeighbours);
    EXPECT_EQ(ToldOfOneFrame(ToldMedia(),
                             [](Item& ioItem) { ioItem.mFieldOption = BE::kFieldOption_RemoveFlicker; }),
              kWithNeighbours);
    EXPECT_EQ(ToldOfOneFrame(ToldMedia(kRate, norviktypes::kFieldType_UpperFirst), nothing), kWithNeighbours);
    EXPECT_EQ(ToldOfOneFrame(ToldMedia(), nothing, norviktypes::kFieldType_LowerFirst), kWithNeighbours);
}

TEST(ExpectedMedia, ClipsOfOneMediumAreToldTogetherAndInOrder)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Add(sequence, Item(media, 0, 10, 200));
    Add(sequence, Item(media, 10, 10, 100));
    Add(sequence, Item(media, 20, 10, 105));
    Session::ExpectMedia(sequence, {{At(0), At(30)}});
    EXPECT_EQ(media->mTold, (Ranges{{At(100), At(115)}, {At(200), At(210)}}));
    EXPECT_EQ(media->mCount, 1);
}

TEST(ExpectedMedia, MediaThatShowNothingAreToldThatNobodyKnows)
{
    const ToldMedia shown;
    const ToldMedia hidden;
    const Project::SequenceRef sequence = NewSequence();
    Add(sequence, Item(shown, 0, 10, 0));
    Add(sequence, Item(hidden, 10, 10, 0));
    Session::ExpectMedia(sequence, {Instant(15)});
    Session::ExpectMedia(sequence, {Instant(5)});
    EXPECT_EQ(shown->mTold, (Ranges{Instant(5)}));
    EXPECT_TRUE(hidden->mTold.empty());
    EXPECT_EQ(hidden->mCount, 2);
}

TEST(ExpectedMedia, ABackwardClipIsToldWithItsNeighbours)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Project::ClipItem item = Item(media, 0, 20, 100);
    item.mSpeed = -1.0;
    Add(sequence, item);
    Session::ExpectMedia(sequence, {{At(0), At(20)}});
    for (const std::int64_t frame : {98, 100, 110, 119, 121})
    {
        EXPECT_TRUE(media->Expects(frame)) << frame;
    }
    EXPECT_FALSE(media->Expects(90));
    EXPECT_FALSE(media->Expects(130));
}

TEST(ExpectedMedia, MediaOfAnotherRateAreToldWithTheirNeighbours)
{
    const ToldMedia media(norviktypes::FrameRate::FromRational(24, 1));
    const Project::SequenceRef sequence = NewSequence();
    Add(sequence, Item(media, 0, 100, 0));
    Session::ExpectMedia(sequence, {Instant(50)});
    EXPECT_TRUE(media->Expects(48));
    EXPECT_TRUE(media->Expects(50));
    EXPECT_TRUE(media->Expects(52));
    EXPECT_FALSE(media->Expects(40));
}

TEST(ExpectedMedia, NeighboursLieAFrameApartOfWhicheverRateIsLower)
{
    for (const std::uint32_t rate : {5u, 100u})
    {
        const ToldMedia media(norviktypes::FrameRate::FromRational(rate, 1));
        const Project::SequenceRef sequence = NewSequence();
        Add(sequence, Item(media, 0, 100, 0));
        Session::ExpectMedia(sequence, {Instant(50)});
        const std::int64_t reach = rate < 25 ? 20 : 4; // in frames of the sequence
        EXPECT_EQ(media->mTold, (Ranges{{At(50 - reach), At(50 + reach) + TickTime(1)}})) << rate;
    }
}

TEST(ExpectedMedia, NothingIsToldBeyondWhatMayBeShown)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Project::ClipItem item = Item(media, 0, 20, 95);
    item.mAvailable = MF::TimeRange{At(97), At(100)};
    Add(sequence, item);
    Session::ExpectMedia(sequence, {{At(0), At(20)}});
    EXPECT_EQ(media->mTold, (Ranges{{At(97), At(100)}}));
}

TEST(ExpectedMedia, ARemappedClipMayShowAllOfItsMedium)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Project::ClipItem item = Item(media, 0, 20, 0);
    item.mTimeRemap = {Key(0, 8.0), Key(20, 2.0)};
    Add(sequence, item);
    Session::ExpectMedia(sequence, {{At(0), At(20)}});
    EXPECT_TRUE(media->Expects(0));
    EXPECT_TRUE(media->Expects(999));
    Session::ExpectMedia(sequence, {Instant(0)});
    EXPECT_TRUE(media->Expects(200)); // second 8
    EXPECT_FALSE(media->Expects(100));
}

TEST(ExpectedMedia, AHeldClipShowsOneFrame)
{
    const ToldMedia media;
    const Project::SequenceRef sequence = NewSequence();
    Project::ClipItem item = Item(media, 0, 20, 0);
    item.mHoldTime = At(300);
    Add(sequence, item);
    Session::ExpectMedia(sequence, {{At(0), At(20)}});
    EXPECT_EQ(media->mTold, (Ranges{Instant(300)}));
}

TEST(ExpectedMedia, AClipOfNoSpeedShowsItsInPoint)
{
    const ToldMedia media;
    EXPECT_EQ(ToldOfOneFrame(media, [](Project::ClipItem& ioItem) { ioItem.mSpeed = 0.0; }), kWithNeighbours);
    const Project::SequenceRef sequence = NewSequence();
    Project::ClipItem item = Item(media, 0, 20, 50);
    item.mSpeed = 0.0;
    Add(sequence, item);
    Session::ExpectMedia(sequence, {Instant(19)});
    EXPECT_EQ(media->mTold, kWithNeighbours);
}

TEST(ExpectedMedia, ATransitionShowsItsClipsBeyondTheirEnds)
{
    const ToldMedia before;
    const ToldMedia after;
    const Project::SequenceRef sequence = NewSequence();
    Add(sequence, Item(before, 0, 20, 100));
    Add(sequence, Item(after, 20, 20, 200));
    Project::TransitionItem transition;
    transition.mCut = At(20);
    transition.mInOffset = At(3);
    transition.mOutOffset = At(5);
    transition.mTransition = ML::IVideoTransitionRef(new TestSupport::FakeVideoTransition);
    ASSERT_EQ(sequence->AddTransition(0, transition), Project::EditStatus::kOK);
    Session::ExpectMedia(sequence, {Instant(17), Instant(24)});
    EXPECT_EQ(before->mTold, (Ranges{Instant(117), Instant(124)}));
    EXPECT_EQ(after->mTold, (Ranges{Instant(197), Instant(204)}));
}

TEST(ExpectedMedia, NestedSequencesShowTheirMediaAtTheTimesOfAllTheirUses)
{
    const ToldMedia media;
    const Project::SequenceRef inner = NewSequence();
    Add(inner, Item(media, 0, 50, 500));
    const Project::SequenceRef outer = NewSequence();
    outer->AddTrack();
    Project::ClipItem use = Item(media, 0, 10, 20);
    use.mMedia = {};
    use.mSequence = inner->Snapshot();
    Add(outer, use);
    use.mStart = At(5);
    use.mInPoint = At(40);
    Add(outer, use, 1);
    Session::ExpectMedia(outer, {Instant(6)});
    EXPECT_EQ(media->mTold, (Ranges{Instant(526), Instant(541)}));
}
