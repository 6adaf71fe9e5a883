#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace
{

using namespace OtioTests;
using Otio::KeyMotion;

using Faults = std::vector<std::string>;

const std::string kClip = "/tracks/children/0/children/0";

std::string Own(const std::string& inMembers)
{
    return R"(,"metadata":{"vrender":{"version":1,)" + inMembers + "}}";
}

Read WithSettings(const std::string& inMembers)
{
    return Read(OneTrack(ClipText("0", "50", Own(inMembers))));
}

const Otio::ItemSettings& SettingsOf(const Read& inRead)
{
    return *inRead.Item().mSettings;
}

TEST(OwnMetadata, SaysTheCanvasOfATimeline)
{
    const Read read(TimelineText(
        StackText(TrackText(ClipText("0", "5"))),
        Own(R"("canvas":{"width":1280,"height":720,"par":[16,15],"rate":[24000,1001],"field":"upper"})")));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_TRUE(read.mTimeline.mCanvas.has_value());
    EXPECT_EQ(read.mTimeline.mCanvas->mWidth, 1280u);
    EXPECT_EQ(read.mTimeline.mCanvas->mHeight, 720u);
    EXPECT_EQ(read.mTimeline.mCanvas->mPixelWidth, 16u);
    EXPECT_EQ(read.mTimeline.mCanvas->mPixelHeight, 15u);
    EXPECT_EQ(read.mTimeline.mCanvas->mFields, Otio::FieldOrder::kUpperFirst);
    EXPECT_EQ(read.mTimeline.mRate, norviktypes::FrameRate::FromRational(24000, 1001));
}

TEST(OwnMetadata, SaysTheSizeOfANestedStack)
{
    const Read read(
        OneTrack(StackText(TrackText(ClipText("0", "5")), Own(R"("canvas":{"width":64,"height":48})"))));
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_EQ(read.mTimeline.mSequences.at(0).mCanvas->mWidth, 64u);
    EXPECT_FALSE(read.mTimeline.mCanvas.has_value());
}

TEST(OwnMetadata, RefusesCanvasesThatMakeNoSense)
{
    const std::string canvas = kClip + "/metadata/vrender/canvas";
    EXPECT_EQ(WithSettings(R"("canvas":{"width":16385,"height":1})").Faults(),
              (Faults{"!out-of-range " + canvas + "/width", "!out-of-range " + canvas}));
    EXPECT_EQ(WithSettings(R"("canvas":{"width":16384,"height":1})").Faults(), Faults());
    EXPECT_EQ(WithSettings(R"("canvas":{"par":[0,1]})").Faults(), Faults{"!out-of-range " + canvas + "/par"});
    EXPECT_EQ(WithSettings(R"("canvas":{"rate":[24]})").Faults(),
              Faults{"!out-of-range " + canvas + "/rate"});
    EXPECT_EQ(WithSettings(R"("canvas":{"field":"both"})").Faults(),
              Faults{"!out-of-range " + canvas + "/field"});
}

TEST(OwnMetadata, SaysWhereAPictureLies)
{
    const Read read = WithSettings(
        R"("transform":{"position":[0.25,0.75],"anchor":[0,1],"scale":[0.5,2],"rotation":30},"opacity":0.7,
           "blend":"color-dodge","retime":"blend")");
    EXPECT_EQ(read.Faults(), Faults());
    const Otio::ItemSettings& settings = SettingsOf(read);
    EXPECT_EQ(settings.mTransform->mPosition[0].mValue, 0.25);
    EXPECT_EQ(settings.mTransform->mPosition[1].mValue, 0.75);
    EXPECT_EQ(settings.mTransform->mAnchor[1].mValue, 1.0);
    EXPECT_EQ(settings.mTransform->mScale[0].mValue, 0.5);
    EXPECT_EQ(settings.mTransform->mRotation.mValue, 30.0);
    EXPECT_EQ(settings.mOpacity->mValue, 0.7);
    EXPECT_EQ(settings.mBlend, Otio::BlendMode::kColorDodge);
    EXPECT_TRUE(read.Item().mRun.mBlendsFrames);
    EXPECT_TRUE(settings.ChangesPicture());
}

TEST(OwnMetadata, ThatSaysTheDefaultsChangesNoPicture)
{
    EXPECT_FALSE(SettingsOf(WithSettings(R"("transform":{"rotation":0},"opacity":1.0,"blend":"normal")"))
                     .ChangesPicture());
    for (const char* change :
         {R"("transform":{"rotation":1})", R"("transform":{"anchor":[0,0]})", R"("opacity":0.9)",
          R"("blend":"screen")", R"("opacity":{"keys":[{"t":[0,24],"v":1},{"t":[9,24],"v":1}]})"})
    {
        EXPECT_TRUE(SettingsOf(WithSettings(change)).ChangesPicture()) << change;
    }
}

TEST(OwnMetadata, KeyframesHaveTimesValuesMotionsAndHandles)
{
    const Read read = WithSettings(R"("opacity":{"keys":[{"t":[12,24],"v":0.2,"interp":"hold"},
        {"t":[1,1],"v":0.5},{"t":[36,24],"v":1.0,"interp":"bezier","in":[-4,-0.1],"out":[4,0]}]})");
    EXPECT_EQ(read.Faults(), Faults());
    const std::vector<Otio::Key>& keys = SettingsOf(read).mOpacity->mKeys;
    ASSERT_EQ(keys.size(), 3u);
    EXPECT_EQ(keys[0].mTime, Frames(12));
    EXPECT_EQ(keys[0].mValue, 0.2);
    EXPECT_EQ(keys[0].mMotion, KeyMotion::kHold);
    EXPECT_EQ(keys[1].mTime, Frames(24));
    EXPECT_EQ(keys[1].mMotion, KeyMotion::kLinear);
    EXPECT_EQ(keys[2].mMotion, KeyMotion::kBezier);
    EXPECT_EQ(keys[2].mIn.mTime, Frames(-4));
    EXPECT_EQ(keys[2].mIn.mValue, -0.1);
    EXPECT_EQ(keys[2].mOut.mTime, Frames(4));
}

TEST(OwnMetadata, EachNumberOfAPairMayMove)
{
    const Read read =
        WithSettings(R"("transform":{"position":[{"keys":[{"t":[0,24],"v":0},{"t":[9,24],"v":1}]},0.5]})");
    EXPECT_EQ(read.Faults(), Faults());
    EXPECT_TRUE(SettingsOf(read).mTransform->mPosition[0].IsAnimated());
    EXPECT_FALSE(SettingsOf(read).mTransform->mPosition[1].IsAnimated());
}

TEST(OwnMetadata, KeyframesOutOfOrderAreSortedAndOfEqualTimesTheLastCounts)
{
    const Read read = WithSettings(
        R"("opacity":{"keys":[{"t":[9,24],"v":0.9},{"t":[0,24],"v":0.1},{"t":[9,24],"v":0.3}]})");
    const std::string place = kClip + "/metadata/vrender/opacity/keys";
    EXPECT_EQ(read.Faults(), (Faults{"key-order " + place, "key-order " + place}));
    const std::vector<Otio::Key>& keys = SettingsOf(read).mOpacity->mKeys;
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0].mValue, 0.1);
    EXPECT_EQ(keys[1].mValue, 0.3);
    EXPECT_EQ(SettingsOf(read).mOpacity->mValue, 0.1);
}

TEST(OwnMetadata, BadKeyframesAreLeftOut)
{
    const std::string keys = kClip + "/metadata/vrender/opacity/keys";
    EXPECT_EQ(WithSettings(R"("opacity":{"keys":[{"v":1},{"t":[0,24]},{"t":[0,0,0],"v":1},{"t":[1,0],"v":1},7,
                               {"t":[0,24],"v":0.5}]})")
                  .Faults(),
              (Faults{"!bad-key " + keys + "/0", "!bad-key " + keys + "/1", "!bad-key " + keys + "/2",
                      "!bad-key " + keys + "/3", "!bad-key " + keys + "/4"}));
    EXPECT_EQ(WithSettings(R"("opacity":{"keys":[]})").Faults(),
              Faults{"!no-keys " + kClip + "/metadata/vrender/opacity"});
    EXPECT_EQ(WithSettings(R"("opacity":{"keys":[{"t":[0,24],"v":1,"interp":"magic"}]})").Faults(),
              Faults{"unknown-interpolation " + keys + "/0/interp"});
    EXPECT_EQ(WithSettings(R"("opacity":{"keys":[{"t":[0,24],"v":1,"in":[4,0]}]})").Faults(),
              Faults{"bad-handle " + keys + "/0"});
    EXPECT_EQ(WithSettings(R"("opacity":{"keys":[{"t":[0,24],"v":1,"in":4,"out":[1]}]})").Faults(),
              (Faults{"wrong-type " + keys + "/0/in", "!bad-handle " + keys + "/0/out"}));
}

TEST(OwnMetadata, UnknownWordsAndKeysAreNamed)
{
    const std::string own = kClip + "/metadata/vrender";
    EXPECT_EQ(WithSettings(R"("blend":"soggy","retime":"fancy","glow":1,"transform":{"skew":1})").Faults(),
              (Faults{"unknown-key " + own + "/transform/skew", "unknown-blend " + own + "/blend",
                      "unknown-retime " + own + "/retime", "unknown-key " + own + "/glow"}));
    EXPECT_EQ(Read(OneTrack(ClipText("0", "5", R"(,"metadata":{"vrender":{"version":2}})"))).Faults(),
              Faults{"newer-version " + own + "/version"});
}

TEST(OwnMetadata, NumbersThatAreNoneAreNamed)
{
    const std::string own = kClip + "/metadata/vrender";
    EXPECT_EQ(WithSettings(R"("opacity":NaN)").Faults(), Faults{"!not-finite " + own + "/opacity"});
    EXPECT_EQ(WithSettings(R"("opacity":"full")").Faults(), Faults{"wrong-type " + own + "/opacity"});
    EXPECT_EQ(WithSettings(R"("opacity":1.5)").Faults(), Faults{"out-of-range " + own + "/opacity"});
    EXPECT_EQ(SettingsOf(WithSettings(R"("opacity":1.5)")).mOpacity->mValue, 1.0);
    EXPECT_EQ(WithSettings(R"("transform":{"scale":[1]})").Faults(),
              Faults{"!out-of-range " + own + "/transform/scale"});
}

TEST(OwnMetadata, EffectsAndTransitionsHaveParameters)
{
    const Read read(
        OneTrack(ClipText("0", "5",
                          R"(,"effects":[{"OTIO_SCHEMA":"Effect.1","effect_name":"vrender:levels")" +
                              Own(R"("params":{"Amount":0.5,"On":true,"Name":"x","Place":[0.1,0.2],
                                   "Moving":{"keys":[{"t":[0,24],"v":0},{"t":[4,24],"v":1}]},"Odd":{"a":1}})") +
                              "}]") +
                 "," + TransitionText("2", "2", Own(R"("params":{"Edge":3})")) + "," + ClipText("50", "5")));
    EXPECT_EQ(read.Faults(), Faults{"wrong-type " + kClip + "/effects/0/metadata/vrender/params/Odd"});
    const Otio::Effect& effect = *read.Item().mEffects->at(0);
    EXPECT_EQ(effect.mEffectName, "vrender:levels");
    ASSERT_EQ(effect.mParameters.size(), 5u);
    EXPECT_EQ(std::get<std::vector<Otio::Scalar>>(effect.mParameters[0].mValue)[0].mValue, 0.5);
    EXPECT_TRUE(std::get<bool>(effect.mParameters[1].mValue));
    EXPECT_EQ(std::get<std::string>(effect.mParameters[2].mValue), "x");
    EXPECT_EQ(std::get<std::vector<Otio::Scalar>>(effect.mParameters[3].mValue).size(), 2u);
    EXPECT_TRUE(std::get<std::vector<Otio::Scalar>>(effect.mParameters[4].mValue)[0].IsAnimated());
    EXPECT_EQ(read.Track().mTransitions.at(0).mParameters.at(0).mName, "Edge");
}

TEST(OwnMetadata, OfATimelineThatWouldChangeAPictureIsNamed)
{
    EXPECT_EQ(Read(OneTrack(GapText("5", Own(R"("opacity":0.5)")))).Faults(), Faults{});
    EXPECT_EQ(Read(TimelineText(StackText(TrackText(ClipText("0", "5"))), Own(R"("opacity":0.5)"))).Faults(),
              Faults{"not-here /metadata/vrender"});
}

std::string Dialect(const std::string& inName, int inType, const std::string& inParameters,
                    const std::string& inMore = "")
{
    return R"({"OTIO_SCHEMA":"Effect.1","effect_name":"Resolve Effect","metadata":{"Resolve_OTIO":{"Effect Name":")" +
           inName + R"(","Enabled":true,"Type":)" + std::to_string(inType) + R"(,"Parameters":[)" +
           inParameters + "]" + inMore + "}}}";
}

std::string DialectParameter(const std::string& inID, const std::string& inValue, const std::string& inUsual,
                             const std::string& inKeys = "{}")
{
    return R"({"Parameter ID":")" + inID + R"(","Parameter Value":)" + inValue +
           R"(,"Default Parameter Value":)" + inUsual + R"(,"Key Frames":)" + inKeys +
           R"(,"Variant Type":"Double"})";
}

Read WithDialect(const std::string& inEffects, const std::string& inMore = "")
{
    return Read(OneTrack(ClipText("0", "50", R"(,"effects":[)" + inEffects + "]" + inMore)));
}

TEST(Dialect, TransformAndCompositeBecomeSettings)
{
    const Read read = WithDialect(Dialect("Transform", 2,
                                          DialectParameter("transformationZoomX", "0.5", "1.0") + "," +
                                              DialectParameter("transformationZoomY", "0.25", "1.0") + "," +
                                              DialectParameter("transformationPan", "0.1", "0.0") + "," +
                                              DialectParameter("transformationTilt", "0.2", "0.0") + "," +
                                              DialectParameter("transformationRotationAngle", "15", "0.0")) +
                                  "," +
                                  Dialect("Composite", 1,
                                          DialectParameter("opacity", "70", "100.0") + "," +
                                              DialectParameter("composite mode", "5", "0")));
    EXPECT_EQ(read.Faults(), Faults());
    const Otio::ItemSettings& settings = SettingsOf(read);
    EXPECT_EQ(settings.mTransform->mScale[0].mValue, 0.5);
    EXPECT_EQ(settings.mTransform->mScale[1].mValue, 0.25);
    EXPECT_DOUBLE_EQ(settings.mTransform->mPosition[0].mValue, 0.6);
    EXPECT_DOUBLE_EQ(settings.mTransform->mPosition[1].mValue, 0.3);
    EXPECT_EQ(settings.mTransform->mRotation.mValue, -15.0);
    EXPECT_DOUBLE_EQ(settings.mOpacity->mValue, 0.7);
    EXPECT_EQ(settings.mBlend, Otio::BlendMode::kScreen);
    EXPECT_EQ(read.Item().mEffects, nullptr);
}

TEST(Dialect, KeyframesCountFramesOfTheItem)
{
    const Read read = WithDialect(
        Dialect("Composite", 1,
                DialectParameter("opacity", "100", "100",
                                 R"({"12":{"Value":0},"0":{"Value":50,"Variant Type":"Double"}})")));
    EXPECT_EQ(read.Faults(), Faults());
    const std::vector<Otio::Key>& keys = SettingsOf(read).mOpacity->mKeys;
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0].mTime, Frames(0));
    EXPECT_DOUBLE_EQ(keys[0].mValue, 0.5);
    EXPECT_EQ(keys[1].mTime, Frames(12));
    EXPECT_EQ(keys[1].mValue, 0.0);
}

TEST(Dialect, AllModesHaveTheirNumber)
{
    const Otio::BlendMode modes[] = {
        Otio::BlendMode::kNormal,     Otio::BlendMode::kPlusLighter, Otio::BlendMode::kSubtract,
        Otio::BlendMode::kDifference, Otio::BlendMode::kMultiply,    Otio::BlendMode::kScreen,
        Otio::BlendMode::kOverlay,    Otio::BlendMode::kHardLight,   Otio::BlendMode::kSoftLight,
        Otio::BlendMode::kDarken,     Otio::BlendMode::kLighten,     Otio::BlendMode::kColorDodge,
        Otio::BlendMode::kColorBurn,  Otio::BlendMode::kExclusion};
    for (int number = 0; number < 14; ++number)
    {
        const Read read = WithDialect(
            Dialect("Composite", 1, DialectParameter("composite mode", std::to_string(number), "-1")));
        EXPECT_EQ(SettingsOf(read).mBlend, modes[number]) << number;
    }
    const Read beyond = WithDialect(Dialect("Composite", 1, DialectParameter("composite mode", "14", "0")));
    EXPECT_EQ(beyond.Faults(),
              Faults{"unknown-blend " + kClip + "/effects/0/metadata/Resolve_OTIO/Parameters/0"});
}

TEST(Dialect, OurOwnMetadataGoesFirst)
{
    const Read read = WithDialect(Dialect("Composite", 1,
                                          DialectParameter("opacity", "70", "100") + "," +
                                              DialectParameter("composite mode", "5", "0")),
                                  Own(R"("opacity":0.25)"));
    EXPECT_EQ(SettingsOf(read).mOpacity->mValue, 0.25);
    EXPECT_EQ(SettingsOf(read).mBlend, Otio::BlendMode::kScreen);
}

TEST(Dialect, WhatHasNoEquivalentIsNamedUnlessItIsAtItsDefault)
{
    EXPECT_EQ(WithDialect(Dialect("Cropping", 3, DialectParameter("cropLeft", "0.0", "0.0"))).Faults(),
              Faults());
    EXPECT_EQ(WithDialect(Dialect("Cropping", 3, "")).Faults(), Faults());
    EXPECT_EQ(WithDialect(Dialect("Cropping", 3, DialectParameter("cropSoftness", "0.1", "0.0"))).Faults(),
              Faults{"unknown-effect " + kClip + "/effects/0/metadata/Resolve_OTIO/Parameters/0"});
    EXPECT_EQ(WithDialect(Dialect("Lens", 5, DialectParameter("distortion", "0.1", "0.0"))).Faults(),
              Faults{"unknown-effect " + kClip + "/effects/0/metadata/Resolve_OTIO/Parameters/0"});
}

// The four corners of what is left, each as "x y", from the upper left one clockwise.
std::vector<std::string> Corners(const Read& inRead)
{
    std::vector<std::string> corners;
    for (const Otio::Parameter& point : inRead.Item().mEffects->at(0)->mParameters)
    {
        std::string text = point.mName + ":";
        for (const Otio::Scalar& part : std::get<std::vector<Otio::Scalar>>(point.mValue))
        {
            text += fmt::format(" {:g}", part.mValue);
        }
        corners.push_back(text);
    }
    return corners;
}

TEST(Dialect, CroppingLeavesARectangle)
{
    const Read read = WithDialect(Dialect(
        "Cropping", 3,
        DialectParameter("cropLeft", "0.1", "0.0") + "," + DialectParameter("cropRight", "0.2", "0.0") + "," +
            DialectParameter("cropTop", "0.25", "0.0") + "," + DialectParameter("cropBottom", "0.5", "0.0")));
    EXPECT_EQ(read.Faults(), Faults());
    ASSERT_NE(read.Item().mEffects, nullptr);
    EXPECT_EQ(read.Item().mEffects->at(0)->mEffectName, "vrender:garbage-matte");
    EXPECT_EQ(Corners(read), (std::vector<std::string>{"Point 1: 0.1 0.25", "Point 5: 0.8 0.25",
                                                       "Point 9: 0.8 0.5", "Point 13: 0.1 0.5"}));
    EXPECT_FALSE(read.Item().mSettings->ChangesPicture());
    EXPECT_EQ(WithDialect(Dialect("Cropping", 3, "")).Item().mEffects, nullptr);
}

TEST(Dialect, CroppingOfAllLeavesNothing)
{
    const Read read = WithDialect(Dialect("Cropping", 3,
                                          DialectParameter("cropLeft", "0.7", "0.0") + "," +
                                              DialectParameter("cropRight", "0.6", "0.0")));
    EXPECT_EQ(Corners(read), (std::vector<std::string>{"Point 1: 0.7 0", "Point 5: 0.7 0", "Point 9: 0.7 1",
                                                       "Point 13: 0.7 1"}));
    EXPECT_EQ(Corners(WithDialect(Dialect("Cropping", 3, DialectParameter("cropTop", "7", "0.0")))).at(0),
              "Point 1: 0 1");
}

TEST(Dialect, CroppingMovesByKeyframes)
{
    const Read read = WithDialect(Dialect(
        "Cropping", 3, DialectParameter("cropRight", "0", "0.0", R"({"0":{"Value":0},"12":{"Value":0.5}})")));
    const auto& parts =
        std::get<std::vector<Otio::Scalar>>(read.Item().mEffects->at(0)->mParameters.at(1).mValue);
    ASSERT_EQ(parts.at(0).mKeys.size(), 2u);
    EXPECT_EQ(parts.at(0).mKeys[0].mValue, 1.0);
    EXPECT_EQ(parts.at(0).mKeys[1].mValue, 0.5);
    EXPECT_EQ(parts.at(0).mKeys[1].mTime, Frames(12));
}

TEST(Dialect, CroppedEdgesThatPassEachOtherLeaveNothing)
{
    const std::string closing = R"({"0":{"Value":0},"8":{"Value":0.8}})";
    const auto far = [](const Read& inRead, std::size_t inCorner, std::size_t inPart)
    {
        std::vector<std::pair<double, double>> keys;
        const auto& parts = std::get<std::vector<Otio::Scalar>>(
            inRead.Item().mEffects->at(0)->mParameters.at(inCorner).mValue);
        for (const Otio::Key& key : parts.at(inPart).mKeys)
        {
            keys.emplace_back(key.mTime / Frames(1), std::round(key.mValue * 1e6) / 1e6);
        }
        return keys;
    };
    using Keys = std::vector<std::pair<double, double>>;
    const Read both = WithDialect(Dialect("Cropping", 3,
                                          DialectParameter("cropLeft", "0", "0.0", closing) + "," +
                                              DialectParameter("cropRight", "0", "0.0", closing)));
    EXPECT_EQ(far(both, 0, 0), (Keys{{0, 0}, {8, 0.8}}));
    EXPECT_EQ(far(both, 1, 0), (Keys{{0, 1}, {5, 0.5}, {8, 0.8}}));
    // One that stands, and keyframes at different times.
    const Read one = WithDialect(Dialect("Cropping", 3,
                                         DialectParameter("cropTop", "0.6", "0.0") + "," +
                                             DialectParameter("cropBottom", "0", "0.0", closing)));
    EXPECT_EQ(far(one, 2, 1), (Keys{{0, 1}, {4, 0.6}, {8, 0.6}}));
    const Read apart = WithDialect(
        Dialect("Cropping", 3,
                DialectParameter("cropLeft", "0", "0.0", R"({"2":{"Value":0},"4":{"Value":1}})") + "," +
                    DialectParameter("cropRight", "0", "0.0", R"({"0":{"Value":0.5},"8":{"Value":0.5}})")));
    EXPECT_EQ(far(apart, 1, 0), (Keys{{0, 0.5}, {2, 0.5}, {3, 0.5}, {4, 1}, {8, 1}}));
}

TEST(Dialect, GivesGeneratorsTheirColour)
{
    const Read read(OneTrack(ClipText(
        "0", "5", "",
        R"({"OTIO_SCHEMA":"GeneratorReference.1","generator_kind":"Solid Color","parameters":{"Resolve_OTIO":[
            {"Effect Name":"Solid Color","Parameters":[{"Parameter ID":"color","Parameter Value":"#ff8000"}]}]}})")));
    EXPECT_EQ(read.Faults(), Faults());
    const Otio::MediaReference& reference =
        *read.mDocument.mTimelines[0].mRoot->mChildren[0]->mChildren[0]->mReferences[0].mReference;
    EXPECT_EQ(std::get<std::string>(reference.mParameters.at(0).mValue), "#ff8000");
}

}
