#include "ReferenceHost/Project/Import/DocumentImport.h"

#include "ReferenceHost/Project/EffectItem.h"
#include "ReferenceHost/Project/Import/ParameterMaker.h"
#include "ReferenceHost/Project/Otio/MediaRuns.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace
{

using norviktypes::FrameRate;
using norviktypes::TickTime;

using Faults = std::vector<std::string>;

const FrameRate k24 = FrameRate::FromRational(24, 1);

TickTime Frames(double inCount)
{
    return TickTime(std::llround(inCount * static_cast<double>(k24.GetTicks())));
}

std::string RangeText(double inStart, double inDuration)
{
    const auto time = [](double inValue)
    { return R"({"OTIO_SCHEMA":"RationalTime.1","rate":24,"value":)" + std::to_string(inValue) + "}"; };
    return R"({"OTIO_SCHEMA":"TimeRange.1","start_time":)" + time(inStart) + R"(,"duration":)" +
           time(inDuration) + "}";
}

const std::string kCounter =
    R"({"OTIO_SCHEMA":"GeneratorReference.1","name":"counter","generator_kind":"vrender:counter","parameters":
        {"size":"64x48","rate":"24","duration":"100"}})";
const std::string kMissing = R"({"OTIO_SCHEMA":"ExternalReference.1","name":"gone","target_url":"gone.mov"})";

std::string ClipText(double inStart, double inDuration, const std::string& inMore = "",
                     const std::string& inReference = kCounter)
{
    return R"({"OTIO_SCHEMA":"Clip.2","name":"clip","source_range":)" + RangeText(inStart, inDuration) +
           R"(,"media_references":{"DEFAULT_MEDIA":)" + inReference + "}" + inMore + "}";
}

std::string Warp(double inScalar)
{
    return R"(,"effects":[{"OTIO_SCHEMA":"LinearTimeWarp.1","time_scalar":)" + std::to_string(inScalar) +
           "}]";
}

std::string EffectText(const std::string& inName, const std::string& inParameters)
{
    return R"(,"effects":[{"OTIO_SCHEMA":"Effect.1","effect_name":")" + inName +
           R"(","metadata":{"vrender":{"params":{)" + inParameters + "}}}}]";
}

std::string Settings(const std::string& inMembers)
{
    return R"(,"metadata":{"vrender":{)" + inMembers + "}}";
}

std::string TransitionText(const std::string& inType)
{
    const std::string offset = R"({"OTIO_SCHEMA":"RationalTime.1","rate":24,"value":3})";
    return R"({"OTIO_SCHEMA":"Transition.1","transition_type":")" + inType + R"(","in_offset":)" + offset +
           R"(,"out_offset":)" + offset + "}";
}

std::string OneTrack(const std::string& inChildren, const std::string& inMore = "")
{
    return R"({"OTIO_SCHEMA":"Timeline.1","name":"film","tracks":{"OTIO_SCHEMA":"Stack.1","children":[
        {"OTIO_SCHEMA":"Track.1","kind":"Video","children":[)" +
           inChildren + "]}]}" + inMore + "}";
}

class Opener final : public Import::IMediaOpener
{
public:
    BE::IMediaInfoRef Open(const Otio::LocatedMedia& inMedia, std::string& outError) override
    {
        ++mCalls;
        return Import::OpenLocatedMedia(inMedia, {}, outError);
    }

    int mCalls = 0;
};

struct Imported
{
    explicit Imported(const std::string& inText, const Import::ImportOptions& inOptions = {})
    {
        const std::string path = (std::filesystem::temp_directory_path() /
                                  ("import-" + std::to_string(::getpid()) + "-" +
                                   testing::UnitTest::GetInstance()->current_test_info()->name() + ".otio"))
                                     .string();
        std::ofstream(path, std::ios::binary) << inText;
        mIsDone = Import::ImportDocument(path, inOptions, &mOpener, Effects::GetEffectRegistry(), mProblems,
                                         mTimeline);
        std::filesystem::remove(path);
    }

    // Those of the main sequence's first track.
    Project::ClipItem Item(std::size_t inIndex = 0) const
    {
        Project::ClipItem item;
        EXPECT_TRUE(mTimeline.mMain->GetItem(mTimeline.mMain->GetItems(0).at(inIndex), item));
        return item;
    }

    Faults Kinds() const
    {
        Faults kinds;
        for (const Otio::Problem& problem : mProblems.Problems())
        {
            kinds.push_back((problem.mSeverity == Otio::Severity::kError ? "!" : "") + problem.mKind);
        }
        return kinds;
    }

    Opener mOpener;
    Otio::ProblemList mProblems;
    Import::ImportedTimeline mTimeline;
    bool mIsDone = false;
};

const std::string kCanvas = Settings(R"("canvas":{"width":320,"height":240})");

double NumberAt(const BE::IEffectRef& inEffect, std::size_t inParameter, const TickTime& inTime)
{
    MF::Keyframe<double> value;
    EXPECT_EQ(inEffect->GetParameters()->at(inParameter)->GetValueAtTime(value, inTime, 0), 0);
    return value.mValue;
}

MF::PointKeyframe::Point PointAt(const BE::IEffectRef& inEffect, std::size_t inParameter,
                                 const TickTime& inTime)
{
    MF::PointKeyframe value;
    EXPECT_EQ(inEffect->GetParameters()->at(inParameter)->GetValueAtTime(value, inTime, 0), 0);
    return value.mValue;
}

TEST(DocumentImport, MakesASequenceOfATimeline)
{
    const Imported imported(OneTrack(ClipText(10, 20) + "," + ClipText(40, 5), kCanvas));
    ASSERT_TRUE(imported.mIsDone);
    EXPECT_EQ(imported.Kinds(), Faults());
    EXPECT_EQ(imported.mTimeline.mMain->GetFrameRate(), k24);
    EXPECT_EQ(imported.mTimeline.mMain->GetFrameRect().right, 320);
    EXPECT_EQ(imported.mTimeline.mMain->GetFrameRect().bottom, 240);
    EXPECT_EQ(imported.mTimeline.mMain->GetDuration(), Frames(25));
    EXPECT_EQ(imported.mTimeline.mNames, Faults{"film"});
    const Project::ClipItem item = imported.Item(1);
    EXPECT_EQ(item.mStart, Frames(20));
    EXPECT_EQ(item.mDuration, Frames(5));
    EXPECT_EQ(item.mInPoint, Frames(40));
    EXPECT_EQ(item.mSpeed, 1.0);
    EXPECT_TRUE(item.mMedia);
    EXPECT_EQ(item.mScaleToFrame, BE::kScaleToFrame_Fit);
    EXPECT_TRUE(item.mEffects.empty());
}

TEST(DocumentImport, OpensEachMediumOnce)
{
    const Imported imported(OneTrack(ClipText(10, 20) + "," + ClipText(40, 5), kCanvas));
    EXPECT_EQ(imported.mOpener.mCalls, 1);
    EXPECT_EQ(imported.Item(0).mMasterClip, imported.Item(1).mMasterClip);
}

TEST(DocumentImport, KeepsClipsOfMissingMediaWithTheirNames)
{
    const Imported imported(OneTrack(ClipText(0, 20, "", kMissing), kCanvas));
    ASSERT_TRUE(imported.mIsDone);
    EXPECT_EQ(imported.Kinds(), Faults{"missing-media"});
    EXPECT_TRUE(imported.mTimeline.HasMissingMedia());
    EXPECT_FALSE(imported.Item().mMedia);
    ASSERT_TRUE(imported.Item().mMasterClip);
    EXPECT_EQ(norvik::utility::UTF16to8(imported.Item().mMasterClip->GetName()), "gone");
}

TEST(DocumentImport, TakesTheSizeFromOptionCanvasOrNothing)
{
    Import::ImportOptions options;
    options.mWidth = 128;
    options.mHeight = 96;
    EXPECT_EQ(Imported(OneTrack(ClipText(0, 5), kCanvas), options).mTimeline.mMain->GetFrameRect().right,
              128);
    const Imported none(OneTrack(ClipText(0, 5)));
    EXPECT_EQ(none.Kinds(), Faults{"no-size"});
    EXPECT_EQ(none.mTimeline.mMain->GetFrameRect().right, 1920);
}

TEST(DocumentImport, NestsSequences)
{
    const Imported imported(
        OneTrack(R"({"OTIO_SCHEMA":"Stack.1","name":"inner","source_range":)" + RangeText(4, 8) +
                     R"(,"children":[{"OTIO_SCHEMA":"Track.1","children":[)" + ClipText(10, 20) + "]}]}",
                 kCanvas));
    ASSERT_TRUE(imported.mIsDone);
    EXPECT_EQ(imported.Kinds(), Faults());
    EXPECT_TRUE(imported.Item().mSequence);
    EXPECT_EQ(imported.Item().mInPoint, Frames(4));
    EXPECT_EQ(imported.mTimeline.mProject.GetSequences().size(), 2u);
    EXPECT_EQ(imported.mTimeline.mProject.GetMainSequence(), imported.mTimeline.mMain);
}

TEST(DocumentImport, RetimesLikeTheRules)
{
    for (const double speed : {2.0, 0.5, 1.5, 1.0 / 3.0, -1.0, -0.5, -1.5, 0.0})
    {
        const Imported imported(OneTrack(ClipText(30, 12, Warp(speed)), kCanvas));
        ASSERT_TRUE(imported.mIsDone);
        const Project::ClipItem item = imported.Item();
        EXPECT_EQ(item.mDuration, Frames(12));
        Otio::MediaRun run = imported.mTimeline.mTimeline.mSequences.at(0).mTracks.at(0).mItems.at(0).mRun;
        run.mRate = k24;
        for (int frame = 0; frame < 12 && speed != 0.0; ++frame)
        {
            const TickTime media = Project::ToMediaTime(item, Frames(frame), k24) + TickTime(10584);
            EXPECT_EQ(media.ToFrame64(k24), Otio::MediaFrameAt(run, item.mDuration, k24, Frames(frame)))
                << speed << " " << frame;
        }
        EXPECT_EQ(item.mInPoint, Frames(30));
        EXPECT_NEAR(item.mSpeed, speed, 1e-6);
    }
}

TEST(DocumentImport, ShowsBlackWhereThatIsWanted)
{
    const std::string file =
        R"({"OTIO_SCHEMA":"ExternalReference.1","target_url":"gone.mov","available_range":)" +
        RangeText(0, 10) + "}";
    Import::ImportOptions options;
    options.mDocument.mOutOfRange = Otio::OutOfRange::kBlack;
    const Imported imported(OneTrack(ClipText(5, 20, "", file), kCanvas), options);
    ASSERT_EQ(imported.mTimeline.mMain->GetItems(0).size(), 2u);
    EXPECT_FALSE(imported.Item(0).mMedia);
    EXPECT_TRUE(imported.Item(1).mMedia);
    EXPECT_EQ(imported.Item(1).mStart, Frames(5));
    EXPECT_EQ(Import::FactsOf(imported.Item(1).mMedia).mWidth, 320u) << "all of the canvas is black";
    EXPECT_EQ(Import::FactsOf(imported.Item(1).mMedia).mHeight, 240u);
}

std::string GapText(double inDuration, const std::string& inMore = "")
{
    return R"({"OTIO_SCHEMA":"Gap.1","source_range":)" + RangeText(0, inDuration) + inMore + "}";
}

TEST(DocumentImport, GapsHaveEffectsAndSettings)
{
    const std::string burn = EffectText("vrender:timecode", "");
    const Imported imported(
        OneTrack(ClipText(0, 5) + "," + GapText(10, burn) + "," + ClipText(0, 5), kCanvas));
    EXPECT_EQ(imported.Kinds(), Faults());
    ASSERT_EQ(imported.mTimeline.mMain->GetItems(0).size(), 3u);
    EXPECT_EQ(imported.Item(1).mStart, Frames(5));
    EXPECT_EQ(imported.Item(1).mDuration, Frames(10));
    EXPECT_EQ(imported.Item(1).mEffects.size(), 1u);
    EXPECT_EQ(Import::FactsOf(imported.Item(1).mMedia).mWidth, 320u);
    const Imported plain(OneTrack(
        ClipText(0, 5) + "," + GapText(10, Settings(R"("opacity":0.5,"blend":"multiply")")), kCanvas));
    EXPECT_EQ(plain.Kinds(), Faults());
    EXPECT_EQ(plain.mTimeline.mMain->GetItems(0).size(), 1u) << "nothing, however it is shown, is nothing";
}

TEST(DocumentImport, PlacesPicturesByMotionAndOpacity)
{
    const Imported imported(OneTrack(
        ClipText(
            0, 50,
            Settings(R"("transform":{"position":[0.25,0.75],"scale":[0.5,0.4],"rotation":30},"opacity":0.7,
                             "blend":"multiply")")),
        kCanvas));
    ASSERT_EQ(imported.Kinds(), Faults());
    const std::vector<BE::IEffectRef> effects = imported.Item().mEffects;
    ASSERT_EQ(effects.size(), 2u);
    EXPECT_EQ(std::string(effects[0]->GetMatchName().ToString().c_str()), Project::kMatchName_Motion);
    EXPECT_EQ(PointAt(effects[0], 0, TickTime()).mX, 0.25);
    EXPECT_EQ(PointAt(effects[0], 0, TickTime()).mY, 0.75);
    EXPECT_EQ(NumberAt(effects[0], 1, TickTime()), 40.0);
    EXPECT_EQ(NumberAt(effects[0], 2, TickTime()), 50.0);
    EXPECT_EQ(NumberAt(effects[0], 4, TickTime()), 30.0);
    EXPECT_EQ(std::string(effects[1]->GetMatchName().ToString().c_str()), Project::kMatchName_Opacity);
    EXPECT_DOUBLE_EQ(NumberAt(effects[1], 0, TickTime()), 70.0);
    MF::Keyframe<std::uint32_t> blend;
    EXPECT_EQ(effects[1]->GetParameters()->at(1)->GetValueAtTime(blend, TickTime(), 0), 0);
    EXPECT_EQ(blend.mValue, 17u);
}

const std::string kFade = R"("opacity":{"keys":[{"t":[0,24],"v":0},{"t":[10,24],"v":1}]})";

TEST(DocumentImport, PutsKeyframesOntoTheMediasAxis)
{
    const Imported plain(OneTrack(ClipText(30, 20, Settings(kFade)), kCanvas));
    EXPECT_DOUBLE_EQ(NumberAt(plain.Item().mEffects.at(0), 0, Frames(30)), 0.0);
    EXPECT_DOUBLE_EQ(NumberAt(plain.Item().mEffects.at(0), 0, Frames(35)), 50.0);
    const Imported fast(OneTrack(ClipText(30, 20, Settings(kFade) + Warp(2)), kCanvas));
    EXPECT_DOUBLE_EQ(NumberAt(fast.Item().mEffects.at(0), 0, Frames(40)), 50.0);
    const Imported back(OneTrack(ClipText(30, 20, Settings(kFade) + Warp(-1)), kCanvas));
    EXPECT_DOUBLE_EQ(NumberAt(back.Item().mEffects.at(0), 0, Frames(49)), 0.0);
    EXPECT_DOUBLE_EQ(NumberAt(back.Item().mEffects.at(0), 0, Frames(44)), 50.0);
    const Imported held(OneTrack(ClipText(30, 20, Settings(kFade) + Warp(0)), kCanvas));
    EXPECT_DOUBLE_EQ(
        NumberAt(held.Item().mEffects.at(0), 0, Project::ToMediaTime(held.Item(), Frames(5), k24)), 50.0);
}

TEST(DocumentImport, PartsBesideBlackHaveTheKeyframesOfTheWhole)
{
    const std::string file =
        R"({"OTIO_SCHEMA":"ExternalReference.1","target_url":"gone.mov","available_range":)" +
        RangeText(0, 10) + "}";
    Import::ImportOptions options;
    options.mDocument.mOutOfRange = Otio::OutOfRange::kBlack;
    const Imported imported(OneTrack(ClipText(-5, 20, Settings(kFade), file), kCanvas), options);
    ASSERT_EQ(imported.mTimeline.mMain->GetItems(0).size(), 3u);
    for (const std::size_t part : {0u, 1u, 2u})
    {
        const Project::ClipItem item = imported.Item(part);
        const TickTime begin = Project::ToMediaTime(item, TickTime(), k24);
        EXPECT_NEAR(NumberAt(item.mEffects.at(0), 0, begin), 50.0 * static_cast<double>(part), 1e-9) << part;
    }
}

TEST(DocumentImport, CurvesFollowTheirHandles)
{
    const auto at = [](const std::string& inKeys, double inFrame)
    {
        const Imported imported(
            OneTrack(ClipText(0, 40, Settings(R"("opacity":{"keys":[)" + inKeys + "]}")), kCanvas));
        return NumberAt(imported.Item().mEffects.at(0), 0, Frames(inFrame));
    };
    // Flat handles: slow at both ends, in the middle at half of the way.
    const std::string flat =
        R"({"t":[0,24],"v":0,"interp":"bezier","out":[5,0]},{"t":[10,24],"v":1,"in":[-5,0]})";
    EXPECT_NEAR(at(flat, 5), 50.0, 1e-6);
    EXPECT_LT(at(flat, 2), 12.0);
    EXPECT_GT(at(flat, 8), 88.0);
    // Without handles: straight.
    const std::string straight = R"({"t":[0,24],"v":0,"interp":"bezier"},{"t":[10,24],"v":1})";
    EXPECT_NEAR(at(straight, 2), 20.0, 1e-6);
    const std::string hold = R"({"t":[0,24],"v":0.25,"interp":"hold"},{"t":[10,24],"v":1})";
    EXPECT_NEAR(at(hold, 9), 25.0, 1e-9);
    EXPECT_NEAR(at(hold, 10), 100.0, 1e-9);
}

TEST(DocumentImport, PointsWhosePartsMoveApartAreRightAtEachFrame)
{
    const Imported imported(OneTrack(
        ClipText(10, 40,
                 Settings(R"("transform":{"position":[{"keys":[{"t":[0,24],"v":0},{"t":[20,24],"v":1}]},
            {"keys":[{"t":[5,24],"v":0,"interp":"hold"},{"t":[15,24],"v":1}]}]})")),
        kCanvas));
    const BE::IEffectRef motion = imported.Item().mEffects.at(0);
    for (int frame = 0; frame <= 20; ++frame)
    {
        EXPECT_NEAR(PointAt(motion, 0, Frames(10 + frame)).mX, frame / 20.0, 1e-9) << frame;
        EXPECT_NEAR(PointAt(motion, 0, Frames(10 + frame)).mY, frame < 15 ? 0.0 : 1.0, 1e-9) << frame;
    }
}

TEST(DocumentImport, MakesEffectsThatTheRegistryKnows)
{
    const Effects::EffectDescription* const blur = Effects::GetEffectRegistry().Find("vrender:gaussian-blur");
    ASSERT_NE(blur, nullptr);
    const Effects::ParameterDescription& first = blur->mParameters.at(0);
    const Imported imported(OneTrack(
        ClipText(0, 20, EffectText(blur->mId, "\"" + first.mName + R"(":3,"Nonsense":1)")), kCanvas));
    EXPECT_EQ(imported.Kinds(), Faults{"unknown-parameter"});
    const std::vector<BE::IEffectRef> effects = imported.Item().mEffects;
    ASSERT_EQ(effects.size(), 1u);
    EXPECT_EQ(std::string(effects[0]->GetMatchName().ToString().c_str()), blur->mMatchName);
    EXPECT_EQ(effects[0]->GetParameters()->size(), blur->mParameters.size());
    EXPECT_EQ(NumberAt(effects[0], 0, TickTime()), 3.0);
}

std::string TrackText(const std::string& inChildren, bool inIsEnabled = true)
{
    return R"({"OTIO_SCHEMA":"Track.1","kind":"Video","enabled":)" +
           std::string(inIsEnabled ? "true" : "false") + R"(,"children":[)" + inChildren + "]}";
}

std::string Tracks(const std::string& inTracks)
{
    return R"({"OTIO_SCHEMA":"Timeline.1","tracks":{"OTIO_SCHEMA":"Stack.1","children":[)" + inTracks + "]}" +
           kCanvas + "}";
}

std::string MattedBy(const std::string& inTrack)
{
    return ClipText(0, 20, EffectText("vrender:track-matte-key", R"("Matte":)" + inTrack));
}

using Counts = std::vector<std::size_t>;

Counts ItemsOfTracks(const Imported& inImported)
{
    Counts counts;
    for (std::size_t track = 0; track < inImported.mTimeline.mMain->GetTrackCount(); ++track)
    {
        counts.push_back(inImported.mTimeline.mMain->GetItems(track).size());
    }
    return counts;
}

TEST(DisabledTracks, AreThereOnlyWhereAnEffectLooksAtThem)
{
    const std::string gone = TrackText(ClipText(0, 20, "", kMissing), false);
    const std::string matte = TrackText(ClipText(0, 20) + "," + ClipText(20, 20), false);
    const Imported imported(Tracks(gone + "," + matte + "," + TrackText(MattedBy("1"))));
    EXPECT_EQ(imported.Kinds(), Faults());
    EXPECT_FALSE(imported.mTimeline.HasMissingMedia());
    EXPECT_EQ(ItemsOfTracks(imported), (Counts{0, 2, 1})) << "numbers stay what they are in the document";
    const Imported without(Tracks(gone + "," + matte + "," + TrackText(ClipText(0, 20))));
    EXPECT_EQ(ItemsOfTracks(without), Counts{1});
}

TEST(DisabledTracks, AreThereForThoseThatAreThereForOthers)
{
    const std::string spare = TrackText(ClipText(0, 20), false);
    const Imported chain(
        Tracks(spare + "," + TrackText(MattedBy("0"), false) + "," + spare + "," + TrackText(MattedBy("1"))));
    EXPECT_EQ(ItemsOfTracks(chain), (Counts{1, 1, 0, 1}));
    const Imported alone(
        Tracks(spare + "," + TrackText(MattedBy("0"), false) + "," + TrackText(ClipText(0, 20))));
    EXPECT_EQ(ItemsOfTracks(alone), Counts{1}) << "what isn't seen looks at nothing";
}

TEST(DisabledTracks, OfMissingMediaAreMissedWhereTheyAreLookedAt)
{
    const Imported imported(
        Tracks(TrackText(ClipText(0, 20, "", kMissing), false) + "," + TrackText(MattedBy("0"))));
    EXPECT_EQ(imported.Kinds(), Faults{"missing-media"});
    EXPECT_TRUE(imported.mTimeline.HasMissingMedia());
}

TEST(DisabledTracks, AreNotForNumbersThatAreNone)
{
    for (const char* const number : {"7", "-1", "\"zero\"", "[0,0]"})
    {
        const Imported imported(
            Tracks(TrackText(ClipText(0, 20), false) + "," + TrackText(MattedBy(number))));
        const Counts counts = ItemsOfTracks(imported);
        EXPECT_EQ(counts.back(), 1u) << number;
        EXPECT_EQ(counts.size() == 2 ? counts.front() : 0, 0u) << number;
    }
}

const std::string kSteps = R"({"keys":[{"t":[0,24],"v":0},{"t":[10,24],"v":1}]})";

TEST(DocumentImport, ChoicesAndSwitchesHoldEachKeyframeUpToTheNext)
{
    const Imported imported(
        OneTrack(ClipText(5, 20,
                          EffectText("vrender:difference-matte-key",
                                     R"("Smoothing":)" + kSteps + R"(,"Mask Only":)" + kSteps)),
                 kCanvas));
    EXPECT_EQ(imported.Kinds(), Faults());
    const BE::ParameterListRef parameters = imported.Item().mEffects.at(0)->GetParameters();
    for (const double frame : {0.0, 9.0, 10.0, 19.0})
    {
        MF::Keyframe<std::uint32_t> smoothing;
        MF::Keyframe<bool> isMaskOnly;
        EXPECT_EQ(parameters->at(3)->GetValueAtTime(smoothing, Frames(5 + frame), 0), 0);
        EXPECT_EQ(parameters->at(4)->GetValueAtTime(isMaskOnly, Frames(5 + frame), 0), 0);
        EXPECT_EQ(smoothing.mValue, frame < 10.0 ? 0u : 1u) << frame;
        EXPECT_EQ(isMaskOnly.mValue, frame >= 10.0) << frame;
    }
}

TEST(DocumentImport, WarnsOfATrackThatIsKeyed)
{
    const Imported imported(Tracks(TrackText(ClipText(0, 20), false) + "," +
                                   TrackText(ClipText(0, 20), false) + "," + TrackText(MattedBy(kSteps))));
    EXPECT_EQ(imported.Kinds(), Faults{"keyed-track"});
    EXPECT_EQ(ItemsOfTracks(imported), (Counts{1, 0, 1}));
}

TEST(DocumentImport, LeavesOutEffectsThatNobodyKnows)
{
    const Imported imported(OneTrack(ClipText(0, 20, EffectText("acme:sparkle", "")), kCanvas));
    EXPECT_EQ(imported.Kinds(), Faults{"unknown-effect"});
    EXPECT_EQ(imported.mProblems.Problems()[0].mPointer, "/tracks/children/0/children/0/effects/0");
    EXPECT_TRUE(imported.Item().mEffects.empty());
}

TEST(DocumentImport, AppliesEffectsInTheOrderOfTheList)
{
    const std::string two =
        R"(,"effects":[{"OTIO_SCHEMA":"Effect.1","effect_name":"vrender:gaussian-blur"},
                       {"OTIO_SCHEMA":"Effect.1","effect_name":"vrender:levels"}])";
    const Imported imported(OneTrack(ClipText(0, 20, two), kCanvas));
    ASSERT_EQ(imported.Kinds(), Faults());
    const std::vector<BE::IEffectRef> effects = imported.Item().mEffects;
    ASSERT_EQ(effects.size(), 2u);
    EXPECT_EQ(effects[0]->GetMatchName().ToString().c_str(),
              Effects::GetEffectRegistry().Find("vrender:levels")->mMatchName);
}

TEST(DocumentImport, MakesTransitionsAndDissolvesInPlaceOfUnknownOnes)
{
    const auto match = [](const std::string& inType, const Faults& inKinds)
    {
        const Imported imported(
            OneTrack(ClipText(10, 20) + "," + TransitionText(inType) + "," + ClipText(50, 20), kCanvas));
        EXPECT_EQ(imported.Kinds(), inKinds) << inType;
        const BE::ITrackRef track(imported.mTimeline.mMain->GetVideoTrack(0));
        std::vector<BE::ITrackItemRef> items;
        track->GetItems(items);
        const BE::ITransitionItemRef transition = items.at(0)->GetTransition(true);
        EXPECT_TRUE(transition);
        EXPECT_EQ(transition->GetStart(), Frames(17));
        EXPECT_EQ(transition->GetEnd(), Frames(23));
        ML::TransitionInfo info;
        transition->GetTransition()->GetInfo(info);
        EXPECT_EQ(info.mDuration, Frames(6));
        return std::string(info.mMatchName.ToString().c_str());
    };
    const std::string dissolve = Effects::GetEffectRegistry().Find("vrender:cross-dissolve")->mMatchName;
    const std::string dip = Effects::GetEffectRegistry().Find("vrender:dip-to-color")->mMatchName;
    EXPECT_EQ(match("SMPTE_Dissolve", {}), dissolve);
    EXPECT_EQ(match("vrender:dip-to-color", {}), dip);
    EXPECT_EQ(match("Star_Wipe", {"unknown-transition"}), dissolve);
    EXPECT_EQ(match("vrender:gaussian-blur", {"unknown-transition"}), dissolve);
}

TEST(DocumentImport, PlacesCroppingOnTheMediasPicture)
{
    const std::string cropping =
        R"(,"effects":[{"OTIO_SCHEMA":"Effect.1","effect_name":"","metadata":{"Resolve_OTIO":{"Type":3,"Parameters":[
            {"Parameter ID":"cropLeft","Parameter Value":0.25,"Key Frames":{"0":{"Value":0.25},"12":{"Value":0.5}}},
            {"Parameter ID":"cropBottom","Parameter Value":0.5}]}}}])";
    // A picture of 64 by 48, fitted into one of 320 by 120, covers half of its width.
    const Imported imported(
        OneTrack(ClipText(0, 50, cropping), Settings(R"("canvas":{"width":320,"height":120})")));
    EXPECT_EQ(imported.Kinds(), Faults());
    const Project::ClipItem item = imported.Item();
    ASSERT_EQ(item.mEffects.size(), 1u);
    const auto corner = [&](std::size_t inParameter, double inFrame)
    {
        const MF::PointKeyframe::Point point = PointAt(item.mEffects[0], inParameter, Frames(inFrame));
        return std::pair<double, double>(point.mX, point.mY);
    };
    using Corner = std::pair<double, double>;
    EXPECT_EQ(corner(0, 0), Corner(0.375, 0.0));
    EXPECT_EQ(corner(0, 12), Corner(0.5, 0.0));
    EXPECT_EQ(corner(4, 0), Corner(0.75, 0.0));
    EXPECT_EQ(corner(8, 0), Corner(0.75, 0.5));
    EXPECT_EQ(corner(12, 12), Corner(0.5, 0.5));
}

TEST(DocumentImport, EndsWithAnErrorWhereThereIsNothingToShow)
{
    const Imported broken("{");
    EXPECT_FALSE(broken.mIsDone);
    EXPECT_TRUE(broken.mProblems.HasErrors());
    const Imported empty(OneTrack(""));
    EXPECT_FALSE(empty.mIsDone);
    EXPECT_TRUE(empty.mProblems.HasErrors());
}

TEST(ColourTexts, HaveThreeSixOrEightDigits)
{
    TVK::ParamColor<std::uint32_t> color;
    ASSERT_TRUE(Import::ParseColor("#f80", color));
    EXPECT_EQ(color, (TVK::ParamColor<std::uint32_t>::FromComponents(255, 136, 0, 255)));
    ASSERT_TRUE(Import::ParseColor("#01020304", color));
    EXPECT_EQ(color, (TVK::ParamColor<std::uint32_t>::FromComponents(1, 2, 3, 4)));
    for (const char* text : {"", "#", "f80", "#f8", "#ggg", "#1234567", "red"})
    {
        EXPECT_FALSE(Import::ParseColor(text, color)) << text;
    }
}

TEST(ImageSequences, AreOpenedByTheirPattern)
{
    Otio::LocatedMedia media;
    media.mKind = Otio::MediaKind::kImageSequence;
    media.mFile = "/a/frames";
    media.mImages.mPrefix = "100%.";
    media.mImages.mSuffix = ".png";
    media.mImages.mPadding = 4;
    EXPECT_EQ(Import::OpeningText(media), "/a/frames/100%%.%04d.png");
    media.mFile += "/";
    media.mImages.mPadding = 0;
    EXPECT_EQ(Import::OpeningText(media), "/a/frames/100%%.%d.png");
}

}
