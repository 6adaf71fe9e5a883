#include "MediaSourceChain.h"

#include "BE/IClip.h"

#include <gtest/gtest.h>

namespace
{

using namespace norviktypes;
using Step = ML::MediaChainStep;
using Steps = ML::MediaChainSteps;

// Fields in the order of the sequence, at the sequence's height.
ML::MediaChainFacts Interlaced()
{
    ML::MediaChainFacts facts;
    facts.mStreamFieldType = kFieldType_UpperFirst;
    facts.mSequenceFieldType = kFieldType_UpperFirst;
    facts.mOutputHeight = facts.mClipHeight = 480;
    return facts;
}

TEST(MediaSourceChain, PlainStreamIsScaledAndMixed)
{
    EXPECT_EQ(ML::PlanMediaChain({}), (Steps{Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, BlendTakesThePlaceOfTheMix)
{
    ML::MediaChainFacts facts;
    facts.mBlendsFrames = true;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ScaleAndCorrectPixelAspect, Step::TimeBlend}));
}

TEST(MediaSourceChain, StillHasNeitherBlendNorMixNorFields)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mIsStill = true;
    facts.mBlendsFrames = true;
    facts.mReversesFieldDominance = true;
    facts.mFieldOption = BE::kFieldOption_Deinterlace;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ScaleAndCorrectPixelAspect}));
    facts.mFieldOption = BE::kFieldOption_InterlaceConsecutive;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ScaleAndCorrectPixelAspect}));
    facts.mFieldOption = BE::kFieldOption_RemoveFlicker;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::RemoveFlicker, Step::ScaleAndCorrectPixelAspect}));
}

TEST(MediaSourceChain, PulldownIsRemovedInsteadOfAllElseOnFields)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mPulldown = kPulldownCadence_WWSSW;
    facts.mReversesFieldDominance = true;
    facts.mFieldOption = BE::kFieldOption_Deinterlace;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::RemovePulldown, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, OtherFieldOrderIsReversed)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mStreamFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::FieldReverse, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
    facts.mSequenceFieldType = kFieldType_Progressive;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, ReversedDominanceThatFitsThenIsNotReversedAgain)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mStreamFieldType = kFieldType_LowerFirst;
    facts.mReversesFieldDominance = true;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::ReverseFieldDominance, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, ReversedDominanceThatDoesNotFitIsReversedAgain)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mReversesFieldDominance = true;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ReverseFieldDominance, Step::FieldReverse,
                                                Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, ComparingFlipsTheOrderWithoutAStepOfItsOwn)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mFlipsDominanceForCompare = true;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::FieldReverse, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
    facts.mReversesFieldDominance = true;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::ReverseFieldDominance, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, FieldsOfAPictureMadeLowerAreLeftToTheScaler)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mStreamFieldType = kFieldType_LowerFirst;
    facts.mScaleToFramePolicy = BE::kScaleToFrame_Fit;
    EXPECT_EQ(ML::PlanMediaChain(facts).front(), Step::FieldReverse) << "as high as the sequence";
    facts.mClipHeight = 481;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
    facts.mScaleToFramePolicy = BE::kScaleToFrame_None;
    EXPECT_EQ(ML::PlanMediaChain(facts).front(), Step::FieldReverse) << "its size is its own";
}

TEST(MediaSourceChain, FieldsAreReversedBeforeTheyAreDeinterlaced)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mStreamFieldType = kFieldType_LowerFirst;
    facts.mFieldOption = BE::kFieldOption_Deinterlace;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::FieldReverse, Step::Deinterlace,
                                                Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, TimeModeDeinterlacesToo)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mDeinterlacesOnTimeMode = true;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::Deinterlace, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
    facts.mStreamFieldType = kFieldType_Progressive;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, FlickerAndConsecutiveFramesComeBeforeTheScaler)
{
    ML::MediaChainFacts facts;
    facts.mFieldOption = BE::kFieldOption_RemoveFlicker;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::RemoveFlicker, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
    facts.mFieldOption = BE::kFieldOption_InterlaceConsecutive;
    EXPECT_EQ(ML::PlanMediaChain(facts),
              (Steps{Step::InterlaceConsecutive, Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, StreamThatFillsFramesKeepsItsFields)
{
    ML::MediaChainFacts facts = Interlaced();
    facts.mIsFilledByStream = true;
    facts.mStreamFieldType = kFieldType_LowerFirst;
    facts.mPulldown = kPulldownCadence_WWSSW;
    facts.mFieldOption = BE::kFieldOption_Deinterlace;
    EXPECT_EQ(ML::PlanMediaChain(facts), (Steps{Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(MediaSourceChain, NothingToBeginWithThrows)
{
    EXPECT_THROW(ML::BuildMediaChain({}, {Step::TimeMix}, {}), TVK::NullInterfaceException);
}

} // namespace
