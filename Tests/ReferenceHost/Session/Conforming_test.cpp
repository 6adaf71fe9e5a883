#include "ReferenceHost/Session/OutputTimes.h"
#include "ReferenceHost/Session/PulldownDetection.h"
#include "ReferenceHost/Session/SourceChain.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Session;
using norviktypes::FrameRate;
using norviktypes::TickTime;

namespace
{

const FrameRate k25 = FrameRate::FromRational(25, 1);
const FrameRate k50 = FrameRate::FromRational(50, 1);

TickTime At(std::int64_t inFrame, const FrameRate& inRate)
{
    return TickTime::FromFrame(inFrame, inRate);
}

TickTime Length(const FrameRate& inRate)
{
    return TickTime(inRate.GetTicks());
}

// Fields shown again where the pattern has them, on top of some noise.
FieldDifferences Telecined(std::size_t inStart, bool inIsAdvanced, double inNoise)
{
    FieldDifferences differences;
    for (std::size_t i = 1; i < 30; ++i)
    {
        const std::size_t frame = (i + inStart) % 5;
        const double motion = 5 + static_cast<double>(i * 7 % 4);
        differences.mOfFirst.push_back(frame == 2 ? inNoise : motion);
        differences.mOfSecond.push_back(frame == (inIsAdvanced ? 3u : 4u) ? inNoise : motion);
    }
    return differences;
}

} // namespace

TEST(OutputTimes, ForwardsIsTimesTheSpeed)
{
    const OutputTimes times(At(10, k25), k25, k25, k25, 2, false);
    EXPECT_EQ(times.FrameCount(), 5);
    EXPECT_EQ(times.ToChain(At(3, k25), Length(k25)), At(6, k25));
}

TEST(OutputTimes, BackwardsIsForwardsReversed)
{
    for (const double speed : {0.5, 1.0, 2.0, 2.5})
    {
        const OutputTimes forwards(At(10, k25), k25, k25, k25, speed, false);
        const OutputTimes backwards(At(10, k25), k25, k25, k25, -speed, false);
        const std::int64_t count = forwards.FrameCount();
        ASSERT_EQ(backwards.FrameCount(), count);
        for (std::int64_t n = 0; n < count; ++n)
        {
            EXPECT_EQ(backwards.ToChain(At(n, k25), Length(k25)),
                      forwards.ToChain(At(count - 1 - n, k25), Length(k25)))
                << "speed " << speed << ", frame " << n;
        }
    }
}

TEST(OutputTimes, FieldsGoBackwardsAsWell)
{
    const OutputTimes times(At(10, k25), k25, k50, k25, -1, false);
    EXPECT_EQ(times.ToChain(TickTime(0), Length(k50)), At(19, k50));
    EXPECT_EQ(times.ToChain(Length(k50), Length(k50)), At(18, k50));
}

TEST(OutputTimes, FramesOfUnevenTicksStayOnTheGrid)
{
    // Neither rate has a whole number of ticks; two of these frames are a tick more than one of those.
    const FrameRate k46 = FrameRate::FromRational(46, 1);
    const FrameRate k23 = FrameRate::FromRational(23, 1);
    ASSERT_NE(k46.GetTicks() * 2, k23.GetTicks());
    const OutputTimes times(At(4600, k46), k46, k46, k23, 1, false);
    EXPECT_EQ(times.FrameCount(), 2300);
    for (std::int64_t n = 0; n < 2300; ++n)
    {
        ASSERT_EQ(times.ToChain(At(n, k23), Length(k23)), At(2 * n, k46)) << n;
    }
}

TEST(OutputTimes, BlendsEndWithTheChain)
{
    const OutputTimes dissolve(At(10, k25), k25, k25, k25, 0.5, true);
    EXPECT_EQ(dissolve.ToChain(At(17, k25), Length(k25)), At(17, k50));
    EXPECT_EQ(dissolve.ToChain(At(19, k25), Length(k25)), At(9, k25));
    const OutputTimes mean(At(10, k25), k25, k25, k25, 3, true);
    EXPECT_EQ(mean.FrameCount(), 4);
    EXPECT_EQ(mean.ToChain(At(3, k25), Length(k25)), At(7, k25));
    EXPECT_EQ(mean.FramesForOne(), 3);
}

TEST(OutputTimes, WithoutAnEndThereIsNoCount)
{
    const OutputTimes times(norviktypes::kTime_Max, k25, k25, k25, 2, true);
    EXPECT_EQ(times.FrameCount(), -1);
    EXPECT_EQ(times.ToChain(At(1000, k25), Length(k25)), At(2000, k25));
}

TEST(PulldownDetection, EveryPhaseOfBothRhythmsIsFound)
{
    for (const bool isAdvanced : {false, true})
    {
        for (std::size_t start = 0; start < 5; ++start)
        {
            for (const double noise : {0.0, 1.0})
            {
                const PulldownFinding finding = FindPulldown(Telecined(start, isAdvanced, noise));
                EXPECT_EQ(finding.mCadence, static_cast<int>(start) + (isAdvanced ? 6 : 1));
                EXPECT_GE(finding.mScore, kLeastPulldownScore);
            }
        }
    }
}

TEST(PulldownDetection, FieldsInTheOtherOrderAreNotBelieved)
{
    const FieldDifferences swapped = WithFieldsSwapped(Telecined(1, false, 0));
    EXPECT_LT(FindPulldown(swapped).mScore, kLeastPulldownScore);
    EXPECT_EQ(FindPulldown(WithFieldsSwapped(swapped)).mCadence, norviktypes::kPulldownCadence_WSSWW);
}

TEST(PulldownDetection, ACutDoesNotHideTheRhythm)
{
    FieldDifferences differences = Telecined(0, false, 0);
    differences.mOfFirst[1] = 200; // there the first field would be shown again
    differences.mOfSecond[1] = 200;
    const PulldownFinding finding = FindPulldown(differences);
    EXPECT_EQ(finding.mCadence, norviktypes::kPulldownCadence_WWSSW);
    EXPECT_GE(finding.mScore, kLeastPulldownScore);
}

TEST(PulldownDetection, MotionWithoutRepetitionScoresLow)
{
    FieldDifferences differences = Telecined(0, false, 6);
    EXPECT_LT(FindPulldown(differences).mScore, 0.3);
    EXPECT_EQ(FindPulldown(FieldDifferences{std::vector<double>(29, 0), std::vector<double>(29, 0)}).mScore,
              0);
    EXPECT_EQ(FindPulldown(FieldDifferences()).mScore, 0);
}

TEST(PulldownDetection, EachCadenceHasItsOwnScore)
{
    for (const bool isAdvanced : {false, true})
    {
        const FieldDifferences differences = Telecined(2, isAdvanced, 0);
        const int right = 3 + (isAdvanced ? 5 : 0);
        for (int cadence = norviktypes::kPulldownCadence_WWSSW;
             cadence <= norviktypes::kPulldownCadence_WWWSW; ++cadence)
        {
            const double score =
                ScoreOfPulldown(differences, static_cast<norviktypes::PulldownCadence>(cadence));
            EXPECT_EQ(score >= kLeastPulldownScore, cadence == right) << cadence << " scores " << score;
        }
        EXPECT_EQ(FindPulldown(differences).mScore,
                  ScoreOfPulldown(differences, static_cast<norviktypes::PulldownCadence>(right)));
    }
    EXPECT_EQ(ScoreOfPulldown(FieldDifferences(), norviktypes::kPulldownCadence_WWSSW), 0);
}

TEST(PulldownDetection, NoiseIsNoMotion)
{
    EXPECT_TRUE(ShowMotion(Telecined(0, false, 0)));
    EXPECT_TRUE(ShowMotion({{2}, {2}}));
    EXPECT_FALSE(ShowMotion({{1.9}, {1.9}}));
    EXPECT_FALSE(ShowMotion(FieldDifferences()));
}

TEST(SourceChain, FilmGoesByTheStreamsFieldsOrByItsHeight)
{
    Media::MediaFacts facts;
    facts.mHeight = 576;
    EXPECT_EQ(DominanceOfFilm(facts, false), norviktypes::kFieldType_LowerFirst);
    EXPECT_FALSE(NeedsPackedFilm(facts, false));
    EXPECT_EQ(DominanceOfFilm(facts, true), norviktypes::kFieldType_UpperFirst);
    EXPECT_TRUE(NeedsPackedFilm(facts, true));
    facts.mHeight = 578;
    EXPECT_EQ(DominanceOfFilm(facts, false), norviktypes::kFieldType_UpperFirst);
    facts.mFieldType = norviktypes::kFieldType_LowerFirst;
    EXPECT_EQ(DominanceOfFilm(facts, false), norviktypes::kFieldType_LowerFirst);
    EXPECT_TRUE(NeedsPackedFilm(facts, false));
    EXPECT_FALSE(NeedsPackedFilm(facts, true));
}

TEST(SourceChain, CadencesHaveNames)
{
    for (int cadence = 1; cadence <= 10; ++cadence)
    {
        const auto value = static_cast<norviktypes::PulldownCadence>(cadence);
        EXPECT_EQ(CadenceOfName(NameOfCadence(value)), value);
    }
    EXPECT_EQ(CadenceOfName("none"), norviktypes::kPulldownCadence_None);
    EXPECT_EQ(CadenceOfName("WWWWW"), norviktypes::kPulldownCadence_None);
}
