#include "ScaledFrameRect.h"

#include "BE/IClip.h"

#include <gtest/gtest.h>

namespace
{

using norviktypes::PixelAspectRatio;
using TVK::Rect;

Rect RectOf(std::int32_t inLeft, std::int32_t inTop, std::int32_t inRight, std::int32_t inBottom)
{
    return {inLeft, inTop, inRight, inBottom};
}

struct Question
{
    Rect mFrame{0, 0, 100, 50};
    PixelAspectRatio mFrameRatio;
    std::uint32_t mPolicy = BE::kScaleToFrame_None;
    double mScaleX = 1.0;
    double mScaleY = 1.0;
    Rect mOutput{0, 0, 200, 200};
    PixelAspectRatio mOutputRatio;
    Rect mDest{0, 0, 200, 200};
    PixelAspectRatio mDestRatio;
    bool mPairs = false;

    Rect Answer() const
    {
        Rect rect;
        ML::ComputeScaledFrameRect(mFrame, mFrameRatio, mPolicy, mScaleX, mScaleY, mOutput, mOutputRatio,
                                   mDest, mDestRatio, mPairs, rect);
        return rect;
    }
};

TEST(ScaledFrameRect, OwnSizeFollowsTheScaleOfTheRender)
{
    Question question;
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 100, 50));
    question.mScaleX = 0.5;
    question.mScaleY = 0.25;
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 50, 13)) << "12.5 is rounded up";
}

TEST(ScaledFrameRect, OwnSizeKeepsWhereTheClipBegins)
{
    Question question;
    question.mFrame = {10, 20, 110, 70};
    EXPECT_EQ(question.Answer(), RectOf(10, 20, 110, 70));
}

TEST(ScaledFrameRect, OwnSizeIsMeasuredInPixelsOfTheOutput)
{
    Question question;
    question.mFrameRatio = {2, 1};
    EXPECT_EQ(question.Answer().Width(), 200);
    question.mDestRatio = {2, 1};
    EXPECT_EQ(question.Answer().Width(), 100);
    question.mFrameRatio = {1, 1};
    EXPECT_EQ(question.Answer().Width(), 50);
}

TEST(ScaledFrameRect, OddWidthBelowBothBecomesEvenOnAnEvenOutput)
{
    Question question;
    question.mScaleX = 0.51;
    EXPECT_EQ(question.Answer().Width(), 52);
    question.mDest = {0, 0, 201, 200};
    EXPECT_EQ(question.Answer().Width(), 51) << "the output's width is odd";
    question.mDest = {0, 0, 50, 200};
    EXPECT_EQ(question.Answer().Width(), 51) << "not below the output's width";
    question.mDest = {0, 0, 200, 200};
    question.mFrame = {0, 0, 51, 50};
    question.mScaleX = 1.0;
    EXPECT_EQ(question.Answer().Width(), 51) << "not below the clip's width";
}

TEST(ScaledFrameRect, FitTakesTheSmallerRatioAndFillTheLarger)
{
    Question question;
    question.mPolicy = BE::kScaleToFrame_Fit;
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 200, 100));
    question.mPolicy = BE::kScaleToFrame_Fill;
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 400, 200));
}

TEST(ScaledFrameRect, FitScalesWithTheRender)
{
    Question question;
    question.mPolicy = BE::kScaleToFrame_Fit;
    question.mScaleX = question.mScaleY = 0.5;
    question.mDest = {0, 0, 100, 100};
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 100, 50));
}

TEST(ScaledFrameRect, FitComparesShapesNotNumbersOfPixels)
{
    Question question;
    question.mPolicy = BE::kScaleToFrame_Fit;
    question.mFrame = {0, 0, 100, 100};
    question.mFrameRatio = {2, 1};
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 200, 100)) << "twice as wide as high on square pixels";
    question.mDestRatio = question.mOutputRatio = {2, 1};
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 200, 200));
}

TEST(ScaledFrameRect, StretchTakesWhatIsRendered)
{
    Question question;
    question.mPolicy = BE::kScaleToFrame_Stretch;
    question.mDest = {3, 4, 77, 55};
    EXPECT_EQ(question.Answer(), RectOf(3, 4, 77, 55));
}

TEST(ScaledFrameRect, NeverNarrowerThanTwoNorLowerThanOne)
{
    Question question;
    question.mScaleX = question.mScaleY = 0.0001;
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 2, 1));
    question.mPolicy = BE::kScaleToFrame_Stretch;
    question.mDest = {};
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 2, 1));
}

TEST(ScaledFrameRect, PairedLinesMakeAnOddHeightEven)
{
    Question question;
    question.mScaleY = 0.25;
    question.mPairs = true;
    EXPECT_EQ(question.Answer().Height(), 14);
    question.mScaleY = 0.24;
    EXPECT_EQ(question.Answer().Height(), 12);
    question.mScaleY = 0.001;
    EXPECT_EQ(question.Answer().Height(), 2) << "the one line that is left has a pair too";
}

TEST(ScaledFrameRect, NothingToDivideByIsNoCrash)
{
    for (const std::uint32_t policy : {BE::kScaleToFrame_None, BE::kScaleToFrame_Fit, BE::kScaleToFrame_Fill})
    {
        Question question;
        question.mPolicy = policy;
        question.mFrame = {};
        question.mFrameRatio = {0, 0};
        question.mDestRatio = {0, 0};
        question.mOutput = {};
        EXPECT_GE(question.Answer().Width(), 2);
        EXPECT_GE(question.Answer().Height(), 1);
    }
}

TEST(ScaledFrameRect, HugeScalesStayIntegers)
{
    Question question;
    question.mScaleX = 1e300;
    question.mScaleY = 1e300;
    EXPECT_EQ(question.Answer(), RectOf(0, 0, 1 << 24, 1 << 24));
}

} // namespace
