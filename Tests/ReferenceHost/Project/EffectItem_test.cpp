#include "ReferenceHost/Project/EffectItem.h"

#include "TVK/ContractError.h"

#include <gtest/gtest.h>

namespace
{

using namespace Project;
using norviktypes::TickTime;

double NumberOf(const BE::IEffectRef& inEffect, std::size_t inIndex)
{
    MF::Keyframe<double> value;
    EXPECT_EQ((*inEffect->GetParameters())[inIndex]->GetValueAtTime(value, TickTime(), 0), 0);
    return value.mValue;
}

TEST(EffectItem, MotionHasItsParametersInTheirPlaces)
{
    MotionContent content;
    content.mPosition = CreatePoint(0.25, 0.75);
    content.mScale = CreateNumber(50.0);
    content.mRotation = CreateNumber(15.0);
    content.mAntiFlicker = CreateNumber(0.5);
    const BE::IEffectRef motion = CreateMotion(content);
    EXPECT_STREQ(motion->GetMatchName().CStr(), "VX.ZNTR Motion");
    EXPECT_STREQ(motion->GetFilter()->GetMatchName().CStr(), "VX.ZNTR Motion");
    ASSERT_EQ(motion->GetParameters()->size(), 7u);
    MF::PointKeyframe position;
    EXPECT_EQ((*motion->GetParameters())[0]->GetValueAtTime(position, TickTime(), 0), 0);
    EXPECT_EQ(position.mValue, (PointValue{0.25, 0.75}));
    EXPECT_EQ(NumberOf(motion, 1), 50.0);
    EXPECT_EQ(NumberOf(motion, 4), 15.0);
    EXPECT_EQ(NumberOf(motion, 6), 0.5);
    MF::Keyframe<bool> isUniform;
    EXPECT_EQ((*motion->GetParameters())[3]->GetValueAtTime(isUniform, TickTime(), 0), 0);
    EXPECT_TRUE(isUniform.mValue);
}

TEST(EffectItem, MotionWithAWidthOfItsOwnIsNotUniform)
{
    MotionContent content;
    content.mScale = CreateNumber(50.0);
    content.mScaleWidth = CreateNumber(80.0);
    const BE::IEffectRef motion = CreateMotion(content);
    EXPECT_EQ(NumberOf(motion, 2), 80.0);
    MF::Keyframe<bool> isUniform;
    (*motion->GetParameters())[3]->GetValueAtTime(isUniform, TickTime(), 0);
    EXPECT_FALSE(isUniform.mValue);
}

TEST(EffectItem, OpacityIsAPercentageAndABlendMode)
{
    const BE::IEffectRef opacity = CreateOpacity(CreateNumber(70.0), 5);
    EXPECT_STREQ(opacity->GetMatchName().CStr(), "VX.ZNTR Opacity");
    EXPECT_EQ(NumberOf(opacity, 0), 70.0);
    MF::Keyframe<std::uint32_t> mode;
    EXPECT_EQ((*opacity->GetParameters())[1]->GetValueAtTime(mode, TickTime(), 0), 0);
    EXPECT_EQ(mode.mValue, 5u);
    EXPECT_EQ(NumberOf(CreateOpacity({}), 0), 100.0);
}

TEST(EffectItem, MotionAndOpacityLetTracksBeneathShow)
{
    EXPECT_FALSE(CreateMotion({})->GetFilter()->KeepsOpaque({}));
    EXPECT_FALSE(CreateOpacity({})->GetFilter()->KeepsOpaque({}));
}

TEST(EffectItem, ChangesGiveAnotherEffectAndLeaveTheFirstAlone)
{
    const BE::IEffectRef before = CreateOpacity(CreateNumber(70.0));
    const BE::IEffectRef changed = WithParameter(before, 0, CreateNumber(20.0));
    const BE::IEffectRef off = WithEnabled(before, false);
    EXPECT_EQ(NumberOf(before, 0), 70.0);
    EXPECT_EQ(NumberOf(changed, 0), 20.0);
    EXPECT_TRUE(before->IsActive());
    EXPECT_FALSE(off->IsActive());
    EXPECT_THROW(WithParameter(before, 2, CreateNumber(0.0)), norvik::config::Error);
}

TEST(EffectItem, GroupsHoldEffectsAndNeedNoFilter)
{
    EffectContent group;
    group.mSubEffects = {CreateOpacity({}), CreateMotion({})};
    std::vector<BE::IEffectRef> effects;
    CreateEffect(group)->GetSubEffects()->GetEffects(effects);
    ASSERT_EQ(effects.size(), 2u);
    EXPECT_EQ(effects[0], group.mSubEffects[0]);
    EXPECT_FALSE(CreateOpacity({})->GetSubEffects());
    EXPECT_THROW(CreateEffect({}), norvik::config::Error);
}

} // namespace
