#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include "ReferenceHost/Project/Otio/MediaRuns.h"

#include <gtest/gtest.h>

namespace
{

using namespace OtioTests;
using norviktypes::TickTime;
using Otio::Item;
using Otio::kNone;

using Faults = std::vector<std::string>;

const std::string kTrack = "/tracks/children/0/children/";

std::string Effects(const std::string& inEffects)
{
    return R"(,"effects":[)" + inEffects + "]";
}

// The media frame of each frame of an item.
std::vector<std::int64_t> Shown(const Read& inRead, const Item& inItem)
{
    std::vector<std::int64_t> frames;
    const std::int64_t count = (inItem.mDuration + Frames(0.999)).ToFrame64(inRead.mTimeline.mRate);
    for (std::int64_t frame = 0; frame < count; ++frame)
    {
        frames.push_back(Otio::MediaFrameAt(inItem.mRun, inItem.mDuration, inRead.mTimeline.mRate,
                                            Frames(static_cast<double>(frame))));
    }
    return frames;
}

using List = std::vector<std::int64_t>;

TEST(Timelines, PutTheChildrenOfATrackEndToEnd)
{
    const Read read(OneTrack(ClipText("10", "20") + "," + GapText("5") + "," + ClipText("0", "7")));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_EQ(read.Track().mItems.size(), 2u);
    EXPECT_EQ(read.Item(0).mStart, Frames(0));
    EXPECT_EQ(read.Item(0).mDuration, Frames(20));
    EXPECT_EQ(read.Item(0).mRun.mIn, Frames(10));
    EXPECT_EQ(read.Item(1).mStart, Frames(25));
    EXPECT_EQ(read.mTimeline.mFrameCount, 32);
    EXPECT_EQ(read.mTimeline.mMedia.size(), 1u);
    EXPECT_EQ(read.mTimeline.mFirstVideo, 0u);
}

TEST(Timelines, TakeAsLongAsTheirLongestTrackSoundIncluded)
{
    const Read read(TimelineText(StackText(TrackText(ClipText("0", "7")) + "," +
                                           R"({"OTIO_SCHEMA":"Track.1","kind":"Audio","children":[)" +
                                           GapText("30") + "]}")));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.mTimeline.mFrameCount, 30);
    EXPECT_EQ(read.mTimeline.mAudioTracks, 1u);
    EXPECT_EQ(read.mTimeline.mSequences.at(read.mTimeline.mMain).mTracks.size(), 1u);
}

TEST(Timelines, NeverAskForTheMediaOfSound)
{
    const std::string bare = R"({"OTIO_SCHEMA":"ExternalReference.1","target_url":"song.wav"})";
    const Read read(
        TimelineText(StackText(TrackText(ClipText("0", "7")) + "," +
                               R"({"OTIO_SCHEMA":"Track.1","kind":"Audio","children":[{"OTIO_SCHEMA":"Clip.2",
                      "media_references":{"DEFAULT_MEDIA":)" +
                               bare + "}}]}")));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_TRUE(read.mLocator.mAsked.empty());
    EXPECT_EQ(read.mTimeline.mMedia.size(), 1u);
}

TEST(Timelines, StartWithTheSourceRangeOfTheirStack)
{
    const Read read(TimelineText(
        StackText(TrackText(ClipText("0", "50")), R"(,"source_range":)" + RangeText("10", "20"))));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.mTimeline.mStart, Frames(10));
    EXPECT_EQ(read.mTimeline.mDuration, Frames(20));
    EXPECT_EQ(read.mTimeline.mFrameCount, 20);
    EXPECT_EQ(read.Item().mDuration, Frames(50));
}

TEST(Timelines, GlobalStartTimeChangesTheTimecodeOnly)
{
    const Read read(TimelineText(StackText(TrackText(ClipText("0", "5"))),
                                 R"(,"global_start_time":)" + TimeText("86400")));
    EXPECT_EQ(read.mTimeline.mStart, TickTime());
    EXPECT_EQ(read.mTimeline.mGlobalStart->mTime, Frames(86400));
}

TEST(Timelines, FindTheirRateInTheCanvasTheRangeTheTimecodeAndTheFirstItem)
{
    const auto rate = [](const std::string& inMore, const std::string& inStack = "")
    {
        return Read(TimelineText(StackText(TrackText(GapText("0") + "," + ClipText("0", "5")), inStack),
                                 inMore))
            .mTimeline.mRate.GetTicks();
    };
    const std::int64_t second = norviktypes::kTicksPerSecond;
    EXPECT_EQ(rate(""), second / 24);
    EXPECT_EQ(rate(R"(,"global_start_time":)" + TimeText("0", "25")), second / 25);
    EXPECT_EQ(rate(R"(,"global_start_time":)" + TimeText("0", "25"),
                   R"(,"source_range":)" + RangeText("0", "5", "30")),
              second / 30);
    EXPECT_EQ(rate(R"(,"metadata":{"vrender":{"canvas":{"rate":[50,1]}}})",
                   R"(,"source_range":)" + RangeText("0", "5", "30")),
              second / 50);
    const Read none(OneTrack(R"({"OTIO_SCHEMA":"Clip.2","media_references":{"DEFAULT_MEDIA":
        {"OTIO_SCHEMA":"ExternalReference.1","target_url":"a"}}})"),
                    {}, {{"a", {Frames(48), {}, {}, 0, 0}}});
    EXPECT_EQ(none.Faults(), Faults{"no-rate "});
    EXPECT_EQ(none.mTimeline.mFrameCount, 48);
}

TEST(Nesting, ACompositionInATrackIsOneItem)
{
    const Read read(OneTrack(ClipText("0", "5") + "," +
                             StackText(TrackText(ClipText("0", "30")) + "," + TrackText(ClipText("50", "10")),
                                       R"(,"source_range":)" + RangeText("8", "12"))));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_EQ(read.Track().mItems.size(), 2u);
    const Item& nested = read.Item(1);
    EXPECT_EQ(nested.mStart, Frames(5));
    EXPECT_EQ(nested.mDuration, Frames(12));
    EXPECT_EQ(nested.mRun.mIn, Frames(8));
    EXPECT_FALSE(nested.mRun.mAvailable.has_value());
    ASSERT_NE(nested.mSequence, kNone);
    EXPECT_EQ(read.mTimeline.mSequences.at(nested.mSequence).mTracks.size(), 2u);
    EXPECT_EQ(read.mTimeline.mSequences.at(nested.mSequence).mDuration, Frames(30));
    EXPECT_LT(nested.mSequence, read.mTimeline.mMain);
}

TEST(Nesting, ATrackThatIsTrimmedOrChangedIsShownByAnItem)
{
    const std::string clip = ClipText("0", "30");
    const Read trimmed(
        TimelineText(StackText(TrackText(clip, R"(,"source_range":)" + RangeText("4", "10")))));
    EXPECT_NE(trimmed.Item().mSequence, kNone);
    EXPECT_EQ(trimmed.Item().mRun.mIn, Frames(4));
    EXPECT_EQ(trimmed.mTimeline.mFrameCount, 10);
    const Read whole(TimelineText(StackText(TrackText(clip, R"(,"source_range":)" + RangeText("0", "30")))));
    EXPECT_NE(whole.Item().mMedia, kNone);
    const Read faded(TimelineText(StackText(TrackText(clip, R"(,"metadata":{"vrender":{"opacity":0.5}})"))));
    EXPECT_NE(faded.Item().mSequence, kNone);
    EXPECT_EQ(faded.Item().mSettings->mOpacity->mValue, 0.5);
    const Read retimed(TimelineText(StackText(TrackText(clip, Effects(WarpText("2"))))));
    EXPECT_NE(retimed.Item().mSequence, kNone);
    EXPECT_EQ(retimed.Item().mRun.mSpeed, 2.0);
}

TEST(Nesting, ARootThatIsChangedAsAWholeIsShownByAnItem)
{
    const Read read(TimelineText(
        StackText(TrackText(ClipText("0", "50")),
                  R"(,"metadata":{"vrender":{"opacity":0.5}},"source_range":)" + RangeText("10", "20"))));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_NE(read.Item().mSequence, kNone);
    EXPECT_EQ(read.Item().mRun.mIn, Frames(10));
    EXPECT_EQ(read.mTimeline.mStart, TickTime());
    EXPECT_EQ(read.mTimeline.mFrameCount, 20);
}

TEST(Nesting, ClipsInAStackAreTracksOfTheirOwn)
{
    const Read read(TimelineText(StackText(ClipText("0", "5") + "," + ClipText("10", "9"))));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.mTimeline.mFrameCount, 9);
    EXPECT_EQ(read.Track(0).mItems.at(0).mDuration, Frames(5));
    EXPECT_EQ(read.Track(1).mItems.at(0).mRun.mIn, Frames(10));
}

TEST(Disabled, ItemsKeepTheirTimeAndShowNothing)
{
    const Read read(OneTrack(ClipText("0", "5", R"(,"enabled":false)") + "," + ClipText("0", "7")));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_EQ(read.Track().mItems.size(), 1u);
    EXPECT_EQ(read.Item().mStart, Frames(5));
    const Read track(TimelineText(StackText(TrackText(ClipText("0", "9"), R"(,"enabled":false)") + "," +
                                            TrackText(ClipText("0", "5")))));
    EXPECT_EQ(track.mTimeline.mFrameCount, 9);
    EXPECT_EQ(track.mTimeline.mSequences.at(track.mTimeline.mMain).mTracks.size(), 1u);
    const Read root(TimelineText(StackText(TrackText(ClipText("0", "9")), R"(,"enabled":false)")));
    EXPECT_EQ(root.mTimeline.mFrameCount, 9);
    EXPECT_TRUE(root.Track().mItems.empty());
}

TEST(Disabled, EffectsAreSkipped)
{
    const std::string off = R"({"OTIO_SCHEMA":"Effect.1","effect_name":"vrender:levels","enabled":false})";
    const std::string warp = R"({"OTIO_SCHEMA":"LinearTimeWarp.1","time_scalar":3,"enabled":false})";
    const Read read(OneTrack(ClipText("0", "5", Effects(off + "," + warp))));
    EXPECT_EQ(read.Item().mEffects, nullptr);
    EXPECT_EQ(read.Item().mRun.mSpeed, 1.0);
}

TEST(Disabled, TransitionsAreCuts)
{
    const Read read(OneTrack(ClipText("0", "9") + "," + TransitionText("2", "2", R"(,"enabled":false)") +
                             "," + ClipText("50", "9")));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_TRUE(read.Track().mTransitions.empty());
    EXPECT_EQ(read.Item(1).mStart, Frames(9));
}

TEST(Transitions, CoverTheirOffsetsAroundTheCutAndTakeNoTime)
{
    const Read read(
        OneTrack(ClipText("10", "20") + "," + TransitionText("3", "5") + "," + ClipText("50", "20")));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_EQ(read.Track().mTransitions.size(), 1u);
    const Otio::Transition& transition = read.Track().mTransitions[0];
    EXPECT_EQ(transition.mType, "SMPTE_Dissolve");
    EXPECT_EQ(transition.mCut, Frames(20));
    EXPECT_EQ(transition.mInOffset, Frames(3));
    EXPECT_EQ(transition.mOutOffset, Frames(5));
    EXPECT_EQ(transition.mEarlier, 0u);
    EXPECT_EQ(transition.mLater, 1u);
    EXPECT_EQ(read.mTimeline.mFrameCount, 40);
}

TEST(Transitions, AtTheEndsOfATrackFadeAndAddTheirOffsets)
{
    const Read read(
        OneTrack(TransitionText("3", "2") + "," + ClipText("10", "20") + "," + TransitionText("4", "5")));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.mTimeline.mFrameCount, 28);
    EXPECT_EQ(read.Item().mStart, Frames(3));
    ASSERT_EQ(read.Track().mTransitions.size(), 2u);
    EXPECT_EQ(read.Track().mTransitions[0].mEarlier, kNone);
    EXPECT_EQ(read.Track().mTransitions[0].mLater, 0u);
    EXPECT_EQ(read.Track().mTransitions[0].mCut, Frames(3));
    EXPECT_EQ(read.Track().mTransitions[1].mEarlier, 0u);
    EXPECT_EQ(read.Track().mTransitions[1].mLater, kNone);
    EXPECT_EQ(read.Track().mTransitions[1].mCut, Frames(23));
}

TEST(Transitions, BesideGapsAndDisabledItemsFadeToTransparent)
{
    const Read gap(OneTrack(ClipText("0", "9") + "," + TransitionText("2", "2") + "," + GapText("9")));
    EXPECT_EQ(gap.Faults(), Faults());
    EXPECT_EQ(gap.Track().mTransitions.at(0).mLater, kNone);
    const Read off(OneTrack(ClipText("0", "9", R"(,"enabled":false)") + "," + TransitionText("2", "2") + "," +
                            ClipText("50", "9")));
    EXPECT_EQ(off.Track().mTransitions.at(0).mEarlier, kNone);
    EXPECT_EQ(off.Track().mTransitions.at(0).mLater, 0u);
    const Read nothing(OneTrack(GapText("9") + "," + TransitionText("2", "2") + "," + GapText("9")));
    EXPECT_EQ(nothing.Faults(), Faults{"empty-transition " + kTrack + "1"});
}

TEST(Transitions, LongerThanTheirNeighboursAreShortened)
{
    const Read read(
        OneTrack(ClipText("10", "4") + "," + TransitionText("6", "9") + "," + ClipText("50", "5")));
    EXPECT_EQ(read.Faults(), (Faults{"long-transition " + kTrack + "1/in_offset",
                                     "long-transition " + kTrack + "1/out_offset"}));
    EXPECT_EQ(read.Track().mTransitions.at(0).mInOffset, Frames(4));
    EXPECT_EQ(read.Track().mTransitions.at(0).mOutOffset, Frames(5));
}

TEST(Transitions, ThatOverlapAreShortened)
{
    const Read read(OneTrack(ClipText("10", "20") + "," + TransitionText("5", "6") + "," +
                             ClipText("50", "10") + "," + TransitionText("7", "5") + "," +
                             ClipText("60", "20")));
    EXPECT_EQ(read.Faults(), Faults{"overlapping-transitions " + kTrack + "3/in_offset"});
    EXPECT_EQ(read.Track().mTransitions.at(0).mOutOffset, Frames(6));
    EXPECT_EQ(read.Track().mTransitions.at(1).mInOffset, Frames(4));
}

TEST(Transitions, NextToEachOtherAreOne)
{
    const Read read(OneTrack(ClipText("10", "20") + "," + TransitionText("1", "1") + "," +
                             TransitionText("2", "2") + "," + ClipText("50", "10")));
    EXPECT_EQ(read.Faults(), Faults{"adjacent-transitions " + kTrack + "2"});
    ASSERT_EQ(read.Track().mTransitions.size(), 1u);
    EXPECT_EQ(read.Track().mTransitions[0].mInOffset, Frames(1));
}

TEST(Transitions, WithNegativeOrNoOffsetsAreMended)
{
    const Read negative(
        OneTrack(ClipText("10", "9") + "," + TransitionText("-1", "2") + "," + ClipText("50", "9")));
    EXPECT_EQ(negative.Faults(), Faults{"negative-offset " + kTrack + "1/in_offset"});
    EXPECT_EQ(negative.Track().mTransitions.at(0).mInOffset, TickTime());
    const Read trailing(OneTrack(ClipText("10", "9") + "," + TransitionText("2", "-3")));
    EXPECT_EQ(trailing.Faults(), Faults{"negative-offset " + kTrack + "1/out_offset"});
    EXPECT_EQ(trailing.mTimeline.mFrameCount, 9);
    const Read none(
        OneTrack(ClipText("10", "9") + "," + TransitionText("0", "0") + "," + ClipText("50", "9")));
    EXPECT_EQ(none.Faults(), Faults{"empty-transition " + kTrack + "1"});
    const Read stack(TimelineText(StackText(ClipText("0", "9") + "," + TransitionText("1", "1"))));
    EXPECT_EQ(stack.Faults(), Faults{"misplaced-transition /tracks/children/1"});
}

TEST(Transitions, ThatBreakRulesAreErrorsIfThatIsWanted)
{
    Otio::DocumentOptions options;
    options.mIsStrict = true;
    const Read read(
        OneTrack(ClipText("10", "4") + "," + TransitionText("6", "0") + "," + ClipText("50", "5")), options);
    EXPECT_EQ(read.Faults(), Faults{"!long-transition " + kTrack + "1/in_offset"});
}

TEST(Transitions, WithoutMediaForTheirHandlesAreNamed)
{
    const Read read(
        OneTrack(ClipText("90", "10") + "," + TransitionText("2", "2") + "," + ClipText("50", "9")));
    EXPECT_EQ(read.Faults(), Faults{"short-handles " + kTrack + "0"});
    const Read lead(
        OneTrack(ClipText("50", "9") + "," + TransitionText("2", "2") + "," + ClipText("1", "9")));
    EXPECT_EQ(lead.Faults(), Faults{"short-handles " + kTrack + "2"});
}

TEST(Retimes, KeepTheDurationAndScaleTheMedia)
{
    const Read fast(OneTrack(ClipText("10", "5", Effects(WarpText("2")))));
    EXPECT_EQ(fast.Item().mDuration, Frames(5));
    EXPECT_EQ(Shown(fast, fast.Item()), (List{10, 12, 14, 16, 18}));
    const Read back(OneTrack(ClipText("10", "4", Effects(WarpText("-1.5")))));
    EXPECT_EQ(Shown(back, back.Item()), (List{15, 13, 12, 10}));
    const Read freeze(OneTrack(ClipText("10", "3", Effects(R"({"OTIO_SCHEMA":"FreezeFrame.1"})"))));
    EXPECT_EQ(Shown(freeze, freeze.Item()), (List{10, 10, 10}));
}

TEST(Retimes, OfOneItemMultiply)
{
    const Read read(OneTrack(ClipText("10", "5", Effects(WarpText("-2") + "," + WarpText("-0.5")))));
    EXPECT_EQ(read.Item().mRun.mSpeed, 1.0);
    const Read frozen(OneTrack(ClipText(
        "10", "5", Effects(WarpText("-2") + R"(,{"OTIO_SCHEMA":"FreezeFrame.1","time_scalar":5})"))));
    EXPECT_EQ(frozen.Item().mRun.mSpeed, 0.0);
}

TEST(Retimes, OffTheEndOfTheMediaAreHeldWithAWarning)
{
    const Read read(OneTrack(ClipText("95", "5", Effects(WarpText("2")))));
    EXPECT_EQ(read.Faults(), Faults{"out-of-media " + kTrack + "0"});
    EXPECT_EQ(Shown(read, read.Item()), (List{95, 97, 99, 99, 99}));
    const Read fits(OneTrack(ClipText("91", "5", Effects(WarpText("2")))));
    EXPECT_EQ(fits.Faults(), Faults());
}

TEST(MediaTimes, CountFromTheAvailableRange)
{
    const Read read(OneTrack(ClipText("86410", "20", "", ReferenceText("a.mov", RangeText("86400", "100")))));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.Item().mRun.mIn, Frames(10));
    EXPECT_EQ(read.Item().mRun.mAvailable->mEnd, Frames(100));
    EXPECT_TRUE(read.mLocator.mAsked.empty());
}

TEST(MediaTimes, CountFromTheMediasTimecodeWhereTheDocumentSaysNoRange)
{
    const std::string open =
        R"({"OTIO_SCHEMA":"ExternalReference.1","target_url":"a.mov","available_range":null})";
    const std::map<std::string, Otio::MediaFacts> facts = {
        {"a.mov", {Frames(200), Frames(1000), norviktypes::FrameRate::FromRational(24, 1), 64, 48}}};
    const Read above(OneTrack(ClipText("1010", "20", "", open)), {}, facts);
    EXPECT_EQ(above.Faults(), Faults());
    EXPECT_EQ(above.Item().mRun.mIn, Frames(10));
    EXPECT_EQ(above.Item().mRun.mAvailable->mEnd, Frames(200));
    const Read at(OneTrack(ClipText("1000", "20", "", open)), {}, facts);
    EXPECT_EQ(at.Item().mRun.mIn, Frames(0));
    const Read below(OneTrack(ClipText("30", "20", "", open)), {}, facts);
    EXPECT_EQ(below.Item().mRun.mIn, Frames(30));
}

TEST(MediaTimes, OfAClipWithoutRangeAreAllOfTheMedia)
{
    const std::string bare = R"({"OTIO_SCHEMA":"Clip.2","media_references":{"DEFAULT_MEDIA":)";
    const Read available(OneTrack(bare + ReferenceText("a.mov", RangeText("86400", "30")) + "}}"));
    EXPECT_EQ(available.mTimeline.mFrameCount, 30);
    EXPECT_EQ(available.Item().mRun.mIn, Frames(0));
    const Read asked(OneTrack(bare + R"({"OTIO_SCHEMA":"ExternalReference.1","target_url":"a.mov"}}})"), {},
                     {{"a.mov", {Frames(40), Frames(7), norviktypes::FrameRate::FromRational(24, 1), 0, 0}}});
    EXPECT_EQ(asked.Item().mDuration, Frames(40));
    EXPECT_EQ(asked.Item().mRun.mIn, Frames(0));
    EXPECT_EQ(asked.mLocator.mAsked.size(), 1u);
}

TEST(MediaTimes, OfImagesAreAFrameForEachStep)
{
    const Read read(OneTrack(ClipText(
        "0", "20", "",
        R"({"OTIO_SCHEMA":"ImageSequenceReference.1","target_url_base":"file:///f","name_prefix":"p","name_suffix":".png",
            "start_frame":101,"frame_step":2,"rate":24,"frame_zero_padding":4,"available_range":)" +
            RangeText("0", "50") + "}")));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.Item().mRun.mRate, norviktypes::FrameRate::FromRational(12, 1));
    const Otio::ImageNumbers& images = read.mTimeline.mMedia.at(0).mImages;
    EXPECT_EQ(images.mStart, 101);
    EXPECT_EQ(images.mStep, 2);
    EXPECT_EQ(images.mPadding, 4);
}

TEST(MediaTimes, OfAStillHaveNoEnd)
{
    const Read read(OneTrack(ClipText("0", "50", "", ReferenceText("card.png", RangeText("0", "1")))), {},
                    {{"card.png", {}}});
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_FALSE(read.Item().mRun.mAvailable.has_value());
}

TEST(MediaTimes, AnotherReferenceMayBePreferred)
{
    const std::string clip = R"({"OTIO_SCHEMA":"Clip.2","source_range":)" + RangeText("0", "5") +
                             R"(,"media_references":{"DEFAULT_MEDIA":)" + ReferenceText("full.mov") +
                             R"(,"proxy":)" + ReferenceText("small.mov") + "}}";
    Otio::DocumentOptions options;
    EXPECT_EQ(Read(OneTrack(clip), options).mTimeline.mMedia.at(0).mFile, "full.mov");
    options.mMediaKey = "proxy";
    EXPECT_EQ(Read(OneTrack(clip), options).mTimeline.mMedia.at(0).mFile, "small.mov");
    options.mMediaKey = "none";
    EXPECT_EQ(Read(OneTrack(clip), options).mTimeline.mMedia.at(0).mFile, "full.mov");
}

Otio::DocumentOptions Policy(Otio::OutOfRange inPolicy)
{
    Otio::DocumentOptions options;
    options.mOutOfRange = inPolicy;
    return options;
}

TEST(OutOfRange, HoldsTheNearestFrame)
{
    const Read read(OneTrack(ClipText("-2", "4") + "," + ClipText("98", "4")));
    EXPECT_EQ(read.Faults(), (Faults{"out-of-media " + kTrack + "0", "out-of-media " + kTrack + "1"}));
    EXPECT_EQ(Shown(read, read.Item(0)), (List{0, 0, 0, 1}));
    EXPECT_EQ(Shown(read, read.Item(1)), (List{98, 99, 99, 99}));
}

TEST(OutOfRange, IsAnErrorIfThatIsWanted)
{
    const Read read(OneTrack(ClipText("98", "4")), Policy(Otio::OutOfRange::kError));
    EXPECT_EQ(read.Faults(), Faults{"!out-of-media " + kTrack + "0"});
    EXPECT_EQ(Shown(read, read.Item()), (List{98, 99, 99, 99}));
}

TEST(OutOfRange, IsBlackIfThatIsWanted)
{
    const Otio::DocumentOptions black = Policy(Otio::OutOfRange::kBlack);
    const Read tail(OneTrack(ClipText("98", "4")), black);
    ASSERT_EQ(tail.Track().mItems.size(), 2u);
    EXPECT_EQ(Shown(tail, tail.Item(0)), (List{98, 99}));
    EXPECT_TRUE(tail.Item(1).IsBlack());
    EXPECT_EQ(tail.Item(1).mStart, Frames(2));
    EXPECT_EQ(tail.Item(1).mDuration, Frames(2));
    const Read both(OneTrack(ClipText("-3", "110")), black);
    ASSERT_EQ(both.Track().mItems.size(), 3u);
    EXPECT_TRUE(both.Item(0).IsBlack());
    EXPECT_EQ(both.Item(1).mStart, Frames(3));
    EXPECT_EQ(both.Item(1).mDuration, Frames(100));
    EXPECT_EQ(both.Item(1).mRun.mIn, Frames(0));
    EXPECT_TRUE(both.Item(2).IsBlack());
    const Read all(OneTrack(ClipText("300", "9")), black);
    ASSERT_EQ(all.Track().mItems.size(), 1u);
    EXPECT_TRUE(all.Item().IsBlack());
}

TEST(OutOfRange, BlackPartsOfRetimedItemsLeaveTheRestAsItWas)
{
    const Otio::DocumentOptions black = Policy(Otio::OutOfRange::kBlack);
    for (const char* scalar : {"2", "0.5", "-1", "-1.5", "-3"})
    {
        for (const char* start : {"-7", "90"})
        {
            const std::string text = OneTrack(ClipText(start, "24", Effects(WarpText(scalar))));
            const Read whole(text);
            const Read parts(text, black);
            const List expected = Shown(whole, whole.Item());
            const Read open(OneTrack(ClipText(start, "24", Effects(WarpText(scalar)),
                                              ReferenceText("a.mov", RangeText("-1000", "5000")))));
            const List unheld = Shown(open, open.Item());
            for (const Item& item : parts.Track().mItems)
            {
                const std::int64_t first = item.mStart.ToFrame64(parts.mTimeline.mRate);
                const List shown = Shown(parts, item);
                for (std::size_t frame = 0; frame < shown.size(); ++frame)
                {
                    const std::size_t at = static_cast<std::size_t>(first) + frame;
                    const std::int64_t media = unheld[at] - 1000;
                    EXPECT_EQ(item.IsBlack(), media < 0 || media > 99) << scalar << " " << start << " " << at;
                    if (!item.IsBlack())
                    {
                        EXPECT_EQ(shown[frame], expected[at]) << scalar << " " << start << " " << at;
                    }
                }
            }
        }
    }
}

TEST(OutOfRange, BlackLeavesTransitionsTheirWholeItem)
{
    // With three, two and one frames beside the cut: first black ones, then some of the media.
    for (const char* start : {"99", "98", "97", "-1", "-2", "-3"})
    {
        const Read read(
            OneTrack(ClipText(start, "4") + "," + TransitionText("3", "0") + "," + ClipText("50", "9")),
            Policy(Otio::OutOfRange::kBlack));
        ASSERT_EQ(read.mProblems.Problems().size(), 1u);
        EXPECT_EQ(read.mProblems.Problems()[0].mText,
                  start == std::string("99") || start == std::string("-1")
                      ? "shows more than the media has; black there"
                      : "shows more than the media has; the nearest frame is held");
        const Otio::Transition& transition = read.Track().mTransitions.at(0);
        ASSERT_NE(transition.mEarlier, kNone);
        EXPECT_GE(read.Item(transition.mEarlier).mDuration, transition.mInOffset) << start;
        EXPECT_EQ(read.Item(transition.mEarlier).End(), transition.mCut);
    }
    for (const char* start : {"-3", "-2", "-1", "97", "98", "99"})
    {
        const Read read(
            OneTrack(ClipText("50", "9") + "," + TransitionText("0", "3") + "," + ClipText(start, "9")),
            Policy(Otio::OutOfRange::kBlack));
        const Otio::Transition& transition = read.Track().mTransitions.at(0);
        ASSERT_NE(transition.mLater, kNone);
        EXPECT_GE(read.Item(transition.mLater).mDuration, transition.mOutOffset) << start;
        EXPECT_EQ(read.Item(transition.mLater).mStart, transition.mCut);
    }
}

TEST(OutOfRange, BlackEndsWhereItsItemEndsWhateverIsShownBehindIt)
{
    // The transition takes one frame of the item, and shows it for three more.
    const Read read(
        OneTrack(ClipText("98", "4") + "," + TransitionText("1", "3") + "," + ClipText("50", "9")),
        Policy(Otio::OutOfRange::kBlack));
    ASSERT_EQ(read.Track().mItems.size(), 3u);
    EXPECT_TRUE(read.Item(1).IsBlack());
    EXPECT_EQ(read.Track().mTransitions.at(0).mEarlier, 1u);
}

TEST(Markers, AreFoundOnTheAxisOfTheTimeline)
{
    const auto marker = [](const std::string& inName, const std::string& inTime)
    {
        return R"({"OTIO_SCHEMA":"Marker.2","name":")" + inName +
               R"(","color":"RED","comment":"c","marked_range":)" + RangeText(inTime, "2") + "}";
    };
    const Read read(TimelineText(StackText(
        TrackText(
            GapText("5") + "," +
                ClipText("20", "10",
                         R"(,"markers":[)" + marker("clip", "23") + "," + marker("outside", "30") + "]"),
            R"(,"markers":[)" + marker("track", "7") + "]"),
        R"(,"source_range":)" + RangeText("2", "23") + R"(,"markers":[)" + marker("stack", "3") + "]")));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_EQ(read.mTimeline.mMarkers.size(), 3u);
    EXPECT_EQ(read.mTimeline.mMarkers[0].mName, "stack");
    EXPECT_EQ(read.mTimeline.mMarkers[0].mTime, Frames(1));
    EXPECT_EQ(read.mTimeline.mMarkers[0].mDuration, Frames(2));
    EXPECT_EQ(read.mTimeline.mMarkers[0].mColor, "RED");
    EXPECT_EQ(read.mTimeline.mMarkers[1].mName, "track");
    EXPECT_EQ(read.mTimeline.mMarkers[1].mTime, Frames(5));
    EXPECT_EQ(read.mTimeline.mMarkers[2].mName, "clip");
    EXPECT_EQ(read.mTimeline.mMarkers[2].mTime, Frames(6));
}

}
