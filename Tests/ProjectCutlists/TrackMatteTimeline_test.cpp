// A track matte on a timeline of the host's project model, through factory, nodes and compositor: what the matte's
// track plays is what is seen of the clip, and an edit of that track is seen at once, and nowhere else.

#include "CutlistFactory.h"
#include "CutlistRenderer.h"
#include "MF/PixelFormats.h"
#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Project/EffectItem.h"
#include "ReferenceHost/Project/Sequence.h"
#include "Tests/Support/Fakes/FakeClip.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace
{

using MF::kPixelFormat_BGRA_4444_8u;
using norvik::utility::ImmutableString;
using norviktypes::TickTime;
using Project::EditStatus;
using Project::ItemID;
using TestSupport::PixelAt;

using Bytes = std::vector<std::uint8_t>;

// The matte lies at the bottom, where an opaque ground hides it.
constexpr std::size_t kMatteTrack = 0;
constexpr std::size_t kGroundTrack = 1;
constexpr std::size_t kPictureTrack = 2;
constexpr std::uint32_t kAlpha = 0;
constexpr std::uint32_t kLuma = 1;
constexpr norviktypes::FrameRate kRate{norviktypes::kTicksPerSecond / 25};
const Bytes kPicture{200, 100, 50, 255};
const Bytes kGround{0, 20, 30, 255};

TickTime Frames(std::int64_t inFrame)
{
    return TickTime::FromFrame(inFrame, kRate);
}

ML::CutlistRenderParams ParamsAt(std::int64_t inFrame)
{
    ML::CutlistRenderParams params;
    params.mFrameTime = MF::FrameTime(Frames(inFrame));
    params.mWidth = params.mSourceWidth = 16;
    params.mHeight = params.mSourceHeight = 8;
    params.mPixelFormat = kPixelFormat_BGRA_4444_8u;
    params.mFrameRate = kRate;
    return params;
}

// 16 by 8 pixels: inLeft in the left half, inRight in the right one.
TVK::InterfaceRef<TestSupport::FakeVideoSource> MakeSource(const Bytes& inLeft, const Bytes& inRight)
{
    const TVK::InterfaceRef<TestSupport::FakeVideoSource> source(new TestSupport::FakeVideoSource);
    source->mRate = kRate;
    source->mBounds = {0, 0, 16, 8};
    source->mDuration = Frames(1000);
    source->mFrameFunction = [=](const TestSupport::FakeVideoSource::Request&,
                                 MF::IVideoFrameRef& outFrame) -> std::int32_t
    {
        outFrame = TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 16, 8);
        for (std::uint32_t y = 0; y < 8; ++y)
        {
            for (std::size_t x = 0; x < 16; ++x)
            {
                std::memcpy(TestSupport::RowOf(outFrame, y) + 4 * x, x < 8 ? inLeft.data() : inRight.data(),
                            4);
            }
        }
        return 0;
    };
    return source;
}

class TrackMatteTimeline : public testing::Test
{
protected:
    TrackMatteTimeline()
    {
        TestSupport::EmptyFrameCache();
        MF::SetCutlistFactory(ML::GetCutlistFactoryInstance());
        Project::SequenceSettings settings;
        settings.mFrameRect = {0, 0, 16, 8};
        settings.mFrameRate = kRate;
        settings.mAllowsLinearCompositing = false;
        mSequence = Project::Sequence::Create(settings);
        for (const std::size_t track : {kMatteTrack, kGroundTrack, kPictureTrack})
        {
            EXPECT_EQ(mSequence->AddTrack(), track);
        }
        Add(kGroundTrack, 0, 60, kGround, kGround);
        mClip = Add(kPictureTrack, 0, 40, kPicture, kPicture);
        mMatte = Add(kMatteTrack, 10, 30, {255, 255, 255, 255}, {0, 0, 0, 0});
    }
    ~TrackMatteTimeline() override { MF::SetCutlistFactory({}); }

    BE::IMediaInfoRef Media(const Bytes& inLeft, const Bytes& inRight)
    {
        const auto source = MakeSource(inLeft, inRight);
        auto* media = new TestSupport::FakeMediaInfo;
        media->mStream = MF::ISourceRef(source.get());
        media->mPath = ImmutableString::CreateDynamic(("/media/" + std::to_string(++mFiles)).c_str());
        media->mHasModificationState = true;
        media->mModificationState = TVK::Guid(1, static_cast<std::uint64_t>(mFiles));
        media->mDuration = Frames(1000);
        return BE::IMediaInfoRef(media);
    }
    ItemID Add(std::size_t inTrack, std::int64_t inStart, std::int64_t inEnd, const Bytes& inLeft,
               const Bytes& inRight)
    {
        Project::ClipItem item;
        item.mStart = Frames(inStart);
        item.mDuration = Frames(inEnd - inStart);
        item.mMedia = Media(inLeft, inRight);
        item.mMasterClip = BE::IMasterClipRef(new TestSupport::FakeMasterClip);
        ItemID id = 0;
        EXPECT_EQ(mSequence->AddItem(inTrack, item, &id), EditStatus::kOK);
        return id;
    }
    void AddKey(std::uint32_t inUsing, bool inIsReversed = false)
    {
        AddKeyTo(mClip, kMatteTrack, inUsing, inIsReversed);
    }
    void AddKeyTo(ItemID inItem, std::size_t inTrack, std::uint32_t inUsing = kAlpha,
                  bool inIsReversed = false)
    {
        Project::EffectContent content;
        content.mFilter = Effects::GetEffectRegistry().CreateFilter("VX.ZNTR Legacy Key Track Matte");
        content.mMatchName = content.mFilter->GetMatchName();
        content.mParameters = {
            Project::CreateChoice(static_cast<std::uint32_t>(inTrack), MF::kParameterType_Layer),
            Project::CreateChoice(inUsing), Project::CreateSwitch(inIsReversed)};
        content.mLayerIndex = 1;
        EXPECT_EQ(mSequence->AddEffect(inItem, Project::CreateEffect(content)), EditStatus::kOK);
    }

    MF::IRenderableCutlistRef Cutlist() const
    {
        MF::IRenderableCutlistRef cutlist;
        EXPECT_EQ(mSequence->GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true), 0);
        return cutlist;
    }
    MF::IVideoFrameRef Frame(std::int64_t inFrame) const
    {
        const ML::CutlistRenderParams params = ParamsAt(inFrame);
        ML::IRenderableNodeProducerRef producer;
        MF::FrameTime times;
        ML::ResolveProducerAtTime(Cutlist(), params, producer, times);
        return ML::RenderFrameFromCutlist(producer, params, times, {kPixelFormat_BGRA_4444_8u}, true);
    }
    TVK::Guid Hash(std::int64_t inFrame) const
    {
        TVK::Guid hash;
        ML::ComputeFrameHash(hash, Cutlist(), ParamsAt(inFrame), TVK::Guid());
        return hash;
    }
    // The first component in the left and in the right half: 200 is the clip, 0 the ground.
    std::pair<int, int> Seen(std::int64_t inFrame) const
    {
        const MF::IVideoFrameRef frame = Frame(inFrame);
        return frame ? std::pair<int, int>(PixelAt(frame, 3, 4)[0], PixelAt(frame, 12, 4)[0])
                     : std::pair<int, int>(-1, -1);
    }

    using Halves = std::pair<int, int>;
    Project::SequenceRef mSequence;
    ItemID mClip = 0;
    ItemID mMatte = 0;
    int mFiles = 0;
};

TEST_F(TrackMatteTimeline, ShowsTheClipWhereTheMatteIs)
{
    EXPECT_EQ(Seen(15), Halves(200, 200)) << "without a key";
    AddKey(kAlpha);
    EXPECT_EQ(Seen(15), Halves(200, 0));
    EXPECT_EQ(PixelAt(Frame(15), 3, 4), kPicture);
    EXPECT_EQ(PixelAt(Frame(15), 12, 4), kGround);
}

TEST_F(TrackMatteTimeline, ReversedShowsItWhereTheMatteIsNot)
{
    AddKey(kAlpha, true);
    EXPECT_EQ(Seen(15), Halves(0, 200));
}

TEST_F(TrackMatteTimeline, GoesByLumaOfAnOpaqueMatte)
{
    mSequence->ChangeItem(mMatte,
                          [&](Project::ClipItem& ioItem) {
                              ioItem.mMedia = Media({255, 255, 255, 255}, {51, 51, 51, 255});
                          });
    AddKey(kLuma);
    EXPECT_EQ(Seen(15), Halves(200, 40));
}

TEST_F(TrackMatteTimeline, ShowsAllOfTheClipWhereNothingPlaysOnTheMattesTrack)
{
    AddKey(kAlpha);
    EXPECT_EQ(Seen(9), Halves(200, 200));
    EXPECT_EQ(Seen(10), Halves(200, 0));
    EXPECT_EQ(Seen(29), Halves(200, 0));
    EXPECT_EQ(Seen(30), Halves(200, 200));
}

TEST_F(TrackMatteTimeline, ShowsTheMatteAtItsOwnPlace)
{
    AddKey(kAlpha);
    Project::MotionContent motion;
    motion.mPosition = Project::CreatePoint(1.0, 0.5);
    mSequence->AddEffect(mMatte, Project::CreateMotion(motion));
    EXPECT_EQ(Seen(15), Halves(0, 200)) << "half a picture to the right";
}

TEST_F(TrackMatteTimeline, ShowsAnEditOfTheMattesMedia)
{
    AddKey(kAlpha);
    EXPECT_EQ(Seen(15), Halves(200, 0));
    mSequence->ChangeItem(mMatte,
                          [&](Project::ClipItem& ioItem) {
                              ioItem.mMedia = Media({0, 0, 0, 0}, {9, 9, 9, 255});
                          });
    EXPECT_EQ(Seen(15), Halves(0, 200));
}

TEST_F(TrackMatteTimeline, ShowsAnEditOfTheMattesEffects)
{
    AddKey(kAlpha);
    EXPECT_EQ(Seen(15), Halves(200, 0));
    mSequence->AddEffect(mMatte, Project::CreateOpacity(Project::CreateNumber(0.0)));
    EXPECT_NE(Seen(15), Halves(200, 0));
}

TEST_F(TrackMatteTimeline, ShowsEditsOfTheMattesTimes)
{
    AddKey(kAlpha);
    EXPECT_EQ(Seen(35), Halves(200, 200));
    ASSERT_EQ(mSequence->TrimItem(mMatte, Frames(20), Frames(38)), EditStatus::kOK);
    EXPECT_EQ(Seen(15), Halves(200, 200));
    EXPECT_EQ(Seen(35), Halves(200, 0));
    ASSERT_EQ(mSequence->MoveItem(mMatte, kMatteTrack, Frames(0)), EditStatus::kOK);
    EXPECT_EQ(Seen(15), Halves(200, 0));
    EXPECT_EQ(Seen(35), Halves(200, 200));
    ASSERT_EQ(mSequence->RemoveItem(mMatte), EditStatus::kOK);
    EXPECT_EQ(Seen(15), Halves(200, 200));
}

TEST_F(TrackMatteTimeline, TakesTheMatteOfATrackThatIsOff)
{
    AddKey(kAlpha);
    ASSERT_EQ(mSequence->SetTrackEnabled(kMatteTrack, false), EditStatus::kOK);
    EXPECT_EQ(Seen(15), Halves(200, 0));
    EXPECT_EQ(Seen(35), Halves(200, 200));
    ASSERT_EQ(mSequence->SetTrackEnabled(kGroundTrack, false), EditStatus::kOK);
    // Nothing is beneath any more, not even the matte.
    EXPECT_EQ(PixelAt(Frame(15), 3, 4), kPicture);
    EXPECT_EQ(PixelAt(Frame(15), 12, 4)[3], 0);
}

TEST_F(TrackMatteTimeline, TakesNothingOfAClipThatIsOff)
{
    AddKey(kAlpha);
    ASSERT_EQ(mSequence->ChangeItem(mMatte, [](Project::ClipItem& ioItem) { ioItem.mIsEnabled = false; }),
              EditStatus::kOK);
    EXPECT_EQ(Seen(15), Halves(200, 200));
}

// A matte of the whole picture from 10 to 30, which is matted itself by what lies on a track above all others.
class MatteOfAMatte : public TrackMatteTimeline
{
protected:
    MatteOfAMatte()
    {
        mSequence->ChangeItem(mMatte,
                              [&](Project::ClipItem& ioItem) { ioItem.mMedia = Media(kWhite, kWhite); });
        EXPECT_EQ(mSequence->AddTrack(), kInnerTrack);
        EXPECT_EQ(mSequence->SetTrackEnabled(kInnerTrack, false), EditStatus::kOK);
        mInner = Add(kInnerTrack, 0, 40, kWhite, kNothing);
        AddKey(kAlpha);
    }

    static constexpr std::size_t kInnerTrack = 3;
    const Bytes kWhite{255, 255, 255, 255};
    const Bytes kNothing{0, 0, 0, 0};
    ItemID mInner = 0;
};

TEST_F(MatteOfAMatte, IsMatted)
{
    EXPECT_EQ(Seen(15), Halves(200, 200));
    AddKeyTo(mMatte, kInnerTrack);
    EXPECT_EQ(Seen(15), Halves(200, 0));
    EXPECT_EQ(Seen(5), Halves(200, 200)) << "no matte yet";
    EXPECT_EQ(Seen(35), Halves(200, 200)) << "nor any more";
}

TEST_F(MatteOfAMatte, ShowsEditsOfTheInnerMatte)
{
    AddKeyTo(mMatte, kInnerTrack);
    EXPECT_EQ(Seen(15), Halves(200, 0));
    mSequence->ChangeItem(mInner,
                          [&](Project::ClipItem& ioItem) { ioItem.mMedia = Media(kNothing, kWhite); });
    EXPECT_EQ(Seen(15), Halves(0, 200));
    mSequence->RemoveItem(mInner);
    EXPECT_EQ(Seen(15), Halves(200, 200));
}

TEST_F(MatteOfAMatte, IsTakenOfATrackThatIsOff)
{
    AddKeyTo(mMatte, kInnerTrack);
    ASSERT_EQ(mSequence->SetTrackEnabled(kMatteTrack, false), EditStatus::kOK);
    EXPECT_EQ(Seen(15), Halves(200, 0));
}

TEST_F(MatteOfAMatte, IsCutWhereItsOwnMatteIs)
{
    AddKeyTo(mMatte, kInnerTrack);
    ASSERT_EQ(mSequence->TrimItem(mInner, Frames(0), Frames(20)), EditStatus::kOK);
    EXPECT_EQ(Seen(19), Halves(200, 0));
    EXPECT_EQ(Seen(20), Halves(200, 200));
}

TEST_F(MatteOfAMatte, KeepsItsHashWhereAnEditIsNotSeen)
{
    AddKeyTo(mMatte, kInnerTrack);
    const TVK::Guid before = Hash(15);
    const ItemID beyond = Add(kInnerTrack, 45, 50, kNothing, kWhite);
    EXPECT_EQ(Hash(15), before);
    ASSERT_EQ(mSequence->MoveItem(beyond, kInnerTrack, Frames(50)), EditStatus::kOK);
    EXPECT_EQ(Hash(15), before);
    mSequence->ChangeItem(mInner,
                          [&](Project::ClipItem& ioItem) { ioItem.mMedia = Media(kNothing, kWhite); });
    EXPECT_NE(Hash(15), before);
}

TEST_F(MatteOfAMatte, DependsOnNothingBeyondWhatItIsLookedAtFor)
{
    AddKeyTo(mMatte, kInnerTrack);
    ASSERT_EQ(mSequence->SetTrackEnabled(kMatteTrack, false), EditStatus::kOK);
    ASSERT_EQ(mSequence->TrimItem(mClip, Frames(0), Frames(15)), EditStatus::kOK);
    ASSERT_EQ(mSequence->TrimItem(mInner, Frames(0), Frames(20)), EditStatus::kOK);
    const TVK::Guid before = Hash(12);
    // Within the matte, but behind the clip.
    Add(kInnerTrack, 20, 40, kNothing, kWhite);
    EXPECT_EQ(Hash(12), before);
    ASSERT_EQ(mSequence->TrimItem(mInner, Frames(0), Frames(13)), EditStatus::kOK);
    Add(kInnerTrack, 13, 20, kNothing, kWhite);
    EXPECT_NE(Hash(12), before);
}

TEST_F(MatteOfAMatte, EndsWhereTracksLookAtEachOther)
{
    // The clip's matte is matted by the clip, in which the matte shows nothing again: all of it is seen.
    AddKeyTo(mMatte, kPictureTrack);
    mSequence->ChangeItem(mClip,
                          [&](Project::ClipItem& ioItem) { ioItem.mMedia = Media(kPicture, kNothing); });
    EXPECT_EQ(Seen(15), Halves(200, 0));
    // Three in a circle.
    mSequence->RemoveEffect(mMatte, 0);
    AddKeyTo(mMatte, kInnerTrack);
    AddKeyTo(mInner, kPictureTrack);
    EXPECT_EQ(Seen(15), Halves(200, 0));
}

TEST_F(MatteOfAMatte, TracksMayBeEachOthersMattesAtDifferentTimes)
{
    mSequence->ChangeItem(mMatte,
                          [&](Project::ClipItem& ioItem) { ioItem.mMedia = Media(kWhite, kNothing); });
    const ItemID later = Add(kMatteTrack, 40, 50, kPicture, kPicture);
    AddKeyTo(later, kPictureTrack);
    Add(kPictureTrack, 40, 50, kNothing, kWhite);
    mSequence->SetTrackEnabled(kGroundTrack, false);
    EXPECT_EQ(PixelAt(Frame(15), 3, 4)[0], 200);
    EXPECT_EQ(PixelAt(Frame(15), 12, 4)[3], 0) << "cut by the matte's track";
    EXPECT_EQ(PixelAt(Frame(45), 3, 4)[3], 0) << "cut by the picture's track";
    EXPECT_EQ(PixelAt(Frame(45), 12, 4), kWhite);
}

// Each clip of the tracks that are off looks at all other tracks: there are as many ways from one to the others as
// orders of the tracks.
TEST_F(MatteOfAMatte, EndsInAnyTangle)
{
    constexpr std::size_t kTracks = 14;
    while (mSequence->GetTrackCount() < kTracks)
    {
        const std::size_t track = mSequence->AddTrack();
        Add(track, 10, 12, kWhite, kWhite);
        mSequence->SetTrackEnabled(track, false);
    }
    mSequence->SetTrackEnabled(kMatteTrack, false);
    for (std::size_t track = 0; track < kTracks; ++track)
    {
        const ItemID item = track == kPictureTrack ? 0 : mSequence->FindItem(track, Frames(11));
        for (std::size_t other = 0; item != 0 && other < kTracks; ++other)
        {
            AddKeyTo(item, other);
        }
    }
    EXPECT_EQ(Seen(15).first, 200);
    EXPECT_EQ(Seen(35), Halves(200, 200));
}

// The cutlist of each is built within that of the one before it, for which a thread has only so much stack.
TEST_F(MatteOfAMatte, FollowsARowOfMattesToItsLimit)
{
    constexpr std::size_t kTracks = 100;
    AddKeyTo(mMatte, kInnerTrack);
    std::vector<ItemID> row{mInner};
    for (std::size_t track = mSequence->GetTrackCount(); track < kTracks; ++track)
    {
        mSequence->AddTrack();
        mSequence->SetTrackEnabled(track, false);
        AddKeyTo(row.back(), track);
        row.push_back(Add(track, 10, 30, kWhite, kWhite));
    }
    const auto change = [&](std::size_t inPlace)
    {
        mSequence->ChangeItem(row[inPlace],
                              [&](Project::ClipItem& ioItem) { ioItem.mMedia = Media(kNothing, kWhite); });
    };
    const TVK::Guid before = Hash(15);
    change(80);
    EXPECT_EQ(Hash(15), before);
    change(40);
    EXPECT_NE(Hash(15), before);
}

TEST_F(TrackMatteTimeline, EditOfTheMatteChangesHashesOfTheFramesThatShowIt)
{
    AddKey(kAlpha);
    Add(kPictureTrack, 40, 60, kPicture, kPicture);
    Add(kMatteTrack, 30, 60, {1, 1, 1, 255}, {2, 2, 2, 0});
    std::vector<TVK::Guid> before;
    for (std::int64_t frame = 0; frame < 60; ++frame)
    {
        before.push_back(Hash(frame));
    }
    mSequence->ChangeItem(mMatte,
                          [&](Project::ClipItem& ioItem) {
                              ioItem.mMedia = Media({0, 0, 0, 0}, {9, 9, 9, 255});
                          });
    for (std::int64_t frame = 0; frame < 60; ++frame)
    {
        const bool isChanged = Hash(frame) != before[static_cast<std::size_t>(frame)];
        if (frame >= 10 && frame < 30)
        {
            EXPECT_TRUE(isChanged) << "frame " << frame;
        }
        EXPECT_FALSE(isChanged && frame >= 40) << "a clip that doesn't look at it, at " << frame;
    }
}

TEST_F(TrackMatteTimeline, PrefetchesTheMattesPictureToo)
{
    std::vector<ML::IRenderableNodePrefetchRef> without;
    ML::PrefetchFromCutlist(Cutlist(), ParamsAt(15), without);
    AddKey(kAlpha);
    std::vector<ML::IRenderableNodePrefetchRef> with;
    ML::PrefetchFromCutlist(Cutlist(), ParamsAt(15), with);
    EXPECT_EQ(with.size(), without.size() + 1);
}

} // namespace
