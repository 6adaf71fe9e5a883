#include "ReferenceHost/Project/Parameter.h"

#include "TVK/ContractError.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

namespace
{

using namespace Project;
using norviktypes::kTicksPerSecond;
using norviktypes::TickTime;

TickTime At(double inSeconds)
{
    return TickTime::FromSeconds(inSeconds);
}

ParameterKey Key(double inSeconds, ParameterValue inValue, std::uint32_t inIncoming = kInterpolation_Linear,
                 std::uint32_t inOutgoing = kInterpolation_Linear)
{
    ParameterKey key;
    key.mTime = At(inSeconds);
    key.mValue = std::move(inValue);
    key.mIncoming = inIncoming;
    key.mOutgoing = inOutgoing;
    return key;
}

MF::IKeyframedParameterRef Make(std::vector<ParameterKey> inKeys, std::uint32_t inControl = kControl_Number)
{
    ParameterContent content;
    content.mControl = inControl;
    content.mKeys = std::move(inKeys);
    return CreateParameter(content);
}

double NumberAt(const MF::IKeyframedParameterRef& inParameter, double inSeconds)
{
    MF::Keyframe<double> value;
    EXPECT_EQ(inParameter->GetValueAtTime(value, At(inSeconds), 0), 0);
    return value.mValue;
}

PointValue PointAt(const MF::IKeyframedParameterRef& inParameter, double inSeconds)
{
    MF::PointKeyframe value;
    EXPECT_EQ(inParameter->GetValueAtTime(value, At(inSeconds), 0), 0);
    return value.mValue;
}

TEST(Parameter, LinearKeyframesMoveEvenlyAndHoldBeyondTheirEnds)
{
    const auto parameter = Make({Key(1.0, 10.0), Key(3.0, 20.0)});
    EXPECT_EQ(NumberAt(parameter, 0.0), 10.0);
    EXPECT_EQ(NumberAt(parameter, 1.0), 10.0);
    EXPECT_DOUBLE_EQ(NumberAt(parameter, 1.5), 12.5);
    EXPECT_EQ(NumberAt(parameter, 3.0), 20.0);
    EXPECT_EQ(NumberAt(parameter, 9.0), 20.0);
}

TEST(Parameter, HoldKeepsTheValueUpToTheNextKeyframe)
{
    const auto parameter = Make({Key(0.0, 1.0, kInterpolation_Linear, kInterpolation_Hold), Key(1.0, 2.0)});
    EXPECT_EQ(NumberAt(parameter, 0.999999), 1.0);
    EXPECT_EQ(NumberAt(parameter, 1.0), 2.0);
}

// The curve of the corners (0, 0), (0.42, 0), (0.58, 1), (1, 1), whose values are well known.
TEST(Parameter, BezierFollowsSpeedAndInfluence)
{
    ParameterKey from = Key(0.0, 0.0, kInterpolation_Linear, kInterpolation_Bezier);
    ParameterKey to = Key(2.0, 100.0, kInterpolation_Bezier);
    from.mEaseOut = {0.0, 0.42};
    to.mEaseIn = {0.0, 0.42};
    const auto parameter = Make({from, to});
    EXPECT_NEAR(NumberAt(parameter, 0.5), 12.9161930, 1e-5);
    EXPECT_NEAR(NumberAt(parameter, 1.0), 50.0, 1e-9);
    EXPECT_NEAR(NumberAt(parameter, 1.5), 87.0838070, 1e-5);
}

TEST(Parameter, BezierLeavesItsKeyframeAtTheGivenSpeed)
{
    ParameterKey from = Key(0.0, 5.0, kInterpolation_Linear, kInterpolation_Bezier);
    ParameterKey to = Key(4.0, 7.0, kInterpolation_Bezier);
    from.mEaseOut = {30.0, 0.3};
    to.mEaseIn = {-12.0, 0.2};
    const auto parameter = Make({from, to});
    EXPECT_NEAR((NumberAt(parameter, 1e-4) - 5.0) / 1e-4, 30.0, 0.05);
    EXPECT_NEAR((7.0 - NumberAt(parameter, 4.0 - 1e-4)) / 1e-4, -12.0, 0.05);
}

TEST(Parameter, BezierOnOneSideOnlyAimsStraightOnTheOther)
{
    ParameterKey from = Key(0.0, 0.0, kInterpolation_Linear, kInterpolation_Bezier);
    from.mEaseOut = {10.0, 1.0 / 3.0};
    const auto parameter = Make({from, Key(1.0, 10.0)});
    for (const double time : {0.1, 0.5, 0.9})
    {
        EXPECT_NEAR(NumberAt(parameter, time), 10.0 * time, 1e-9);
    }
}

TEST(Parameter, PointsMoveStraightAndEvenlyWithoutTangents)
{
    const auto parameter = Make({Key(0.0, PointValue{0.0, 0.0}), Key(1.0, PointValue{3.0, 4.0})});
    EXPECT_NEAR(PointAt(parameter, 0.25).mX, 0.75, 1e-12);
    EXPECT_NEAR(PointAt(parameter, 0.25).mY, 1.0, 1e-12);
}

TEST(Parameter, PointsMoveEvenlyAlongTheCurveOfTheirTangents)
{
    // A quarter of a circle, to within a thousandth.
    constexpr double kCircle = 0.5522847498;
    ParameterKey from = Key(0.0, PointValue{1.0, 0.0});
    ParameterKey to = Key(1.0, PointValue{0.0, 1.0});
    from.mTangentOut = {0.0, kCircle};
    to.mTangentIn = {kCircle, 0.0};
    const auto parameter = Make({from, to});
    for (const double time : {0.0, 0.2, 0.5, 0.8, 1.0})
    {
        const PointValue point = PointAt(parameter, time);
        EXPECT_NEAR(point.mX, std::cos(time * M_PI / 2.0), 1e-3) << time;
        EXPECT_NEAR(point.mY, std::sin(time * M_PI / 2.0), 1e-3) << time;
    }
}

TEST(Parameter, EasedPointsStayOnTheirPath)
{
    ParameterKey from = Key(0.0, PointValue{0.0, 0.0}, kInterpolation_Linear, kInterpolation_Bezier);
    ParameterKey to = Key(1.0, PointValue{8.0, 6.0}, kInterpolation_Bezier);
    from.mEaseOut = {0.0, 0.42};
    to.mEaseIn = {0.0, 0.42};
    const PointValue point = PointAt(Make({from, to}), 0.25);
    EXPECT_NEAR(point.mX, 8.0 * 0.129161930, 1e-6);
    EXPECT_NEAR(point.mY, 6.0 * 0.129161930, 1e-6);
}

TEST(Parameter, EasesThatOvershootLeaveACurveAtItsEnd)
{
    ParameterKey from = Key(0.0, PointValue{1.0, 0.0}, kInterpolation_Linear, kInterpolation_Bezier);
    ParameterKey to = Key(1.0, PointValue{0.0, 1.0});
    from.mTangentOut = {0.0, 0.5522847498};
    to.mTangentIn = {0.5522847498, 0.0};
    from.mEaseOut = {-6.0, 0.4};
    const PointValue point = PointAt(Make({from, to}), 0.15);
    EXPECT_NEAR(point.mX, 1.0, 0.05);
    EXPECT_LT(point.mY, -0.1);
}

TEST(Parameter, ColoursMoveByComponentAndChoicesDoNotMove)
{
    const std::uint32_t from = TVK::ParamColor<std::uint32_t>::FromComponents(0, 100, 255, 0).mValue;
    const std::uint32_t to = TVK::ParamColor<std::uint32_t>::FromComponents(100, 100, 0, 255).mValue;
    MF::Keyframe<std::uint32_t> value;
    Make({Key(0.0, from), Key(1.0, to)}, kControl_Color)->GetValueAtTime(value, At(0.5), 0);
    EXPECT_EQ(value.mValue, TVK::ParamColor<std::uint32_t>::FromComponents(50, 100, 128, 128).mValue);
    Make({Key(0.0, from), Key(1.0, to)}, kControl_Choice)->GetValueAtTime(value, At(0.999), 0);
    EXPECT_EQ(value.mValue, from);
}

TEST(Parameter, GivesNothingToAKeyframeOfAnotherType)
{
    MF::Keyframe<bool> wrong;
    EXPECT_LT(CreateNumber(1.0)->GetValueAtTime(wrong, At(0.0), 0), 0);
    EXPECT_EQ(CreateNumber(1.0)->GetValueType(), MF::kKeyframeValueType<double>);
    EXPECT_EQ(CreateSwitch(true)->GetValueType(), MF::kKeyframeValueType<bool>);
    EXPECT_EQ(CreateChoice(3)->GetValueType(), MF::kKeyframeValueType<std::uint32_t>);
    EXPECT_EQ(CreatePoint(0.0, 1.0)->GetValueType(), MF::kKeyframeValueType_Point);
    EXPECT_EQ(CreateText("x")->GetValueType(), MF::kKeyframeValueType<norvik::WString>);
}

TEST(Parameter, FindsTheNextKeyframeAndTheOneAtATime)
{
    ParameterKey second = Key(2.0, 8.0, kInterpolation_Bezier, kInterpolation_Hold);
    second.mEaseIn = {3.0, 0.5};
    const auto parameter = Make({Key(1.0, 4.0), second});
    TickTime next;
    EXPECT_EQ(parameter->GetNextKeyframeTime(At(0.0), next), 0);
    EXPECT_EQ(next, At(1.0));
    parameter->GetNextKeyframeTime(At(1.0), next);
    EXPECT_EQ(next, At(2.0));
    parameter->GetNextKeyframeTime(At(2.0), next);
    EXPECT_EQ(next, norviktypes::kTime_Invalid);

    std::shared_ptr<MF::KeyframeBase> keyframe;
    EXPECT_LT(parameter->GetKeyframeAt(At(1.5), keyframe), 0);
    ASSERT_EQ(parameter->GetKeyframeAt(At(2.0), keyframe), 0);
    MF::Keyframe<double> expected(At(2.0), 8.0);
    expected.mInterpolationIncoming = kInterpolation_Bezier;
    expected.mInterpolationOutgoing = kInterpolation_Hold;
    expected.GetTemporalEase(MF::kfDirection_Incoming) = {3.0, 0.5};
    EXPECT_TRUE(expected.IsEqual(*keyframe));
}

TEST(Parameter, IsConstantOnlyIfNothingMoves)
{
    EXPECT_FALSE(CreateNumber(1.0)->IsKeyframed());
    EXPECT_TRUE(CreateNumber(1.0)->IsConstant());
    EXPECT_TRUE(Make({Key(0.0, 2.0), Key(1.0, 2.0)})->IsConstant());
    EXPECT_TRUE(Make({Key(0.0, 2.0), Key(1.0, 2.0)})->IsKeyframed());
    EXPECT_FALSE(Make({Key(0.0, 2.0), Key(1.0, 3.0)})->IsConstant());
    EXPECT_TRUE(Make({Key(0.0, 2.0), Key(1.0, 3.0)})->IsTimeVarying());
    ParameterKey swinging = Key(0.0, 2.0, kInterpolation_Linear, kInterpolation_Bezier);
    swinging.mEaseOut = {50.0, 0.5};
    EXPECT_FALSE(Make({swinging, Key(1.0, 2.0)})->IsConstant());
}

TEST(Parameter, TextTellsAllThatValuesDependOn)
{
    ParameterKey first = Key(0.0, PointValue{1.0, 2.0}, kInterpolation_Linear, kInterpolation_Bezier);
    first.mEaseOut = {1.0, 0.5};
    first.mTangentOut = {3.0, 4.0};
    const ParameterKey second = Key(1.0, PointValue{5.0, 6.0}, kInterpolation_Bezier);
    const auto text = [&](const auto& inChange)
    {
        std::vector<ParameterKey> keys{first, second};
        inChange(keys);
        return Make(keys, kControl_Point)->GetText();
    };
    const norvik::UTF8String plain = text([](auto&) {});
    EXPECT_EQ(plain, text([](auto&) {}));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[0].mTime += TickTime(1); }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[1].mValue = PointValue{5.0, 6.0000000001}; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[0].mOutgoing = kInterpolation_Hold; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[1].mIncoming = kInterpolation_Linear; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[0].mEaseOut.mSpeed = 2.0; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[0].mEaseOut.mInfluence = 0.6; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[1].mEaseIn.mSpeed = 2.0; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[0].mTangentOut.mX = 9.0; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys[1].mTangentIn.mY = 9.0; }));
    EXPECT_NE(plain, text([](auto& ioKeys) { ioKeys.pop_back(); }));
    EXPECT_NE(CreateNumber(1.0)->GetText(), CreateChoice(1)->GetText());
    EXPECT_NE(CreateChoice(1)->GetText(), CreateChoice(1, MF::kParameterType_Layer)->GetText());
    EXPECT_NE(CreateText("ab")->GetText(), CreateText("abc")->GetText());
}

TEST(Parameter, TextHasOneLineWhateverItsWordsAre)
{
    EXPECT_EQ(CreateText("a\nb;c=d")->GetText().find('\n'), norvik::UTF8String::npos);
}

TEST(Parameter, TextOfAFileTellsWhatTheFileIsLike)
{
    const TestSupport::ScratchFolder folder;
    const std::string path = folder.File("table.cube");
    const auto text = [&](std::uint32_t inControl) { return CreateText(path, inControl)->GetText(); };
    const auto write = [&](const char* inContent, int inHour)
    {
        std::ofstream(path) << inContent;
        std::filesystem::last_write_time(path,
                                         std::filesystem::file_time_type() + std::chrono::hours(inHour));
    };
    const auto none = text(kControl_File);
    write("a", 1);
    const auto first = text(kControl_File);
    EXPECT_NE(first, none);
    EXPECT_EQ(first, text(kControl_File));
    const auto word = text(kControl_Text);
    write("b", 2);
    EXPECT_NE(text(kControl_File), first) << "of one size, but written later";
    write("bb", 1);
    EXPECT_NE(text(kControl_File), first) << "of one time, but longer";
    write("c", 1);
    EXPECT_EQ(text(kControl_File), first);
    EXPECT_EQ(text(kControl_Text), word) << "words are no files";
}

TEST(Parameter, KeyframesOutOfOrderOrOfMixedTypesAreRefused)
{
    EXPECT_THROW(Make({Key(1.0, 1.0), Key(1.0, 2.0)}), norvik::config::Error);
    EXPECT_THROW(Make({Key(1.0, 1.0), Key(0.0, 2.0)}), norvik::config::Error);
    EXPECT_THROW(Make({Key(0.0, 1.0), Key(1.0, true)}), norvik::config::Error);
    EXPECT_THROW(CreateNumber(std::nan("")), norvik::config::Error);
    EXPECT_THROW(CreatePoint(0.0, std::numeric_limits<double>::infinity()), norvik::config::Error);
    ParameterKey wild = Key(0.0, 1.0);
    wild.mEaseIn.mInfluence = 1.5;
    EXPECT_THROW(Make({wild}), norvik::config::Error);
    ParameterContent content;
    for (std::size_t index = 0; index <= kMostKeyframes; ++index)
    {
        content.mKeys.push_back(Key(0.0, 0.0));
        content.mKeys.back().mTime = TickTime(static_cast<std::int64_t>(index));
    }
    EXPECT_FALSE(IsWellFormed(content));
    content.mKeys.pop_back();
    EXPECT_TRUE(IsWellFormed(content));
}

TEST(Parameter, GivesBackWhatItWasMadeOf)
{
    ParameterContent content;
    ASSERT_TRUE(GetParameterContent(Make({Key(1.0, 4.0), Key(2.0, 5.0)}), content));
    ASSERT_EQ(content.mKeys.size(), 2u);
    EXPECT_EQ(content.mKeys[1].mTime, At(2.0));
    EXPECT_EQ(std::get<double>(content.mKeys[1].mValue), 5.0);
}

TEST(EaseOfHandle, TellsTheSlopeAndReachOfAHandle)
{
    EXPECT_EQ(EaseOfHandle(At(1.0), 5.0, At(4.0)), (MF::TemporalEase{5.0, 0.25}));
    EXPECT_EQ(EaseOfHandle(At(-1.0), -5.0, At(4.0)), (MF::TemporalEase{5.0, 0.25}));
    EXPECT_EQ(EaseOfHandle(At(8.0), 16.0, At(4.0)), (MF::TemporalEase{2.0, 1.0}));
    EXPECT_EQ(EaseOfHandle(At(0.0), 5.0, At(4.0)), MF::TemporalEase());
}

std::vector<ParameterKey> Lively()
{
    std::vector<ParameterKey> keys{Key(0.0, 1.0, kInterpolation_Linear, kInterpolation_Bezier),
                                   Key(1.0, 9.0, kInterpolation_Bezier, kInterpolation_Hold), Key(3.0, 4.0),
                                   Key(4.0, 2.0)};
    keys[0].mEaseOut = {20.0, 0.4};
    keys[1].mEaseIn = {-3.0, 0.7};
    return keys;
}

TEST(MapKeyTimes, ShowsTheSameValuesAtMappedTimes)
{
    for (const double slope : {1.0, 0.5, 2.0, -1.0, -3.0})
    {
        ParameterContent content;
        content.mKeys = Lively();
        const auto plain = CreateParameter(content);
        const auto mapped = CreateParameter(MapKeyTimes(content, slope, At(7.0)));
        for (const double time : {-1.0, 0.0, 0.25, 0.5, 1.0, 1.5, 2.9, 3.0, 3.5, 4.0, 5.0})
        {
            EXPECT_NEAR(NumberAt(mapped, 7.0 + slope * time), NumberAt(plain, time), 1e-6)
                << slope << " " << time;
        }
    }
}

TEST(MapKeyTimes, TurnsThePathOfPointsAround)
{
    ParameterContent content;
    content.mKeys = {Key(0.0, PointValue{0.0, 0.0}, kInterpolation_Linear, kInterpolation_Bezier),
                     Key(1.0, PointValue{10.0, 0.0}, kInterpolation_Bezier)};
    content.mKeys[0].mTangentOut = {2.0, 5.0};
    content.mKeys[0].mEaseOut = {1.0, 0.5};
    content.mKeys[1].mTangentIn = {-1.0, -3.0};
    content.mKeys[1].mEaseIn = {4.0, 0.25};
    const auto plain = CreateParameter(content);
    const auto mapped = CreateParameter(MapKeyTimes(content, -2.0, At(3.0)));
    for (const double time : {0.0, 0.1, 0.4, 0.8, 1.0})
    {
        EXPECT_NEAR(PointAt(mapped, 3.0 - 2.0 * time).mX, PointAt(plain, time).mX, 1e-3);
        EXPECT_NEAR(PointAt(mapped, 3.0 - 2.0 * time).mY, PointAt(plain, time).mY, 1e-3);
    }
}

} // namespace
