#include "ML/InstanceIDs.h"
#include "ML/SuiteObjects.h"
#include "TVK/Weak.h"

#include <gtest/gtest.h>

namespace
{

class Plain final : public TVK::Implements<Plain, TVKUnknown>
{
public:
    explicit Plain(bool& outGone) : mGone(outGone) {}
    ~Plain() override { mGone = true; }

private:
    bool& mGone;
};

TEST(InstanceIDs, GiveTheObjectBack)
{
    const TVK::TVKUnknownRef object(ML::CreateTimelineSuiteObject());
    const std::uint32_t id = ML::CreateUniqueCallbackInstanceID(object);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(ML::GetRefFromCallbackInstanceID(id), object);
    ML::RemoveIDFromInstanceIDMap(id);
    EXPECT_FALSE(ML::GetRefFromCallbackInstanceID(id));
}

TEST(InstanceIDs, AreNewForEveryCallAndNeverGivenAgain)
{
    const TVK::TVKUnknownRef object(ML::CreateTimelineSuiteObject());
    const std::uint32_t first = ML::CreateUniqueCallbackInstanceID(object);
    ML::RemoveIDFromInstanceIDMap(first);
    const std::uint32_t second = ML::CreateUniqueCallbackInstanceID(object);
    const std::uint32_t third = ML::CreateUniqueCallbackInstanceID(object);
    EXPECT_LT(first, second);
    EXPECT_LT(second, third);
    ML::RemoveIDFromInstanceIDMap(second);
    ML::RemoveIDFromInstanceIDMap(third);
}

TEST(InstanceIDs, NameNothingByZeroAndByNumbersThatWereNeverGiven)
{
    EXPECT_EQ(ML::CreateUniqueCallbackInstanceID({}), 0u);
    EXPECT_FALSE(ML::GetRefFromCallbackInstanceID(0));
    EXPECT_FALSE(ML::GetRefFromCallbackInstanceID(0xFFFFFFFFu));
    ML::RemoveIDFromInstanceIDMap(0xFFFFFFFFu);
}

TEST(InstanceIDs, DoNotKeepAnObjectThatCanBeHeldWeakly)
{
    TVK::TVKUnknownRef object(ML::CreateTimelineSuiteObject());
    const std::uint32_t id = ML::CreateUniqueCallbackInstanceID(object);
    object.reset();
    EXPECT_FALSE(ML::GetRefFromCallbackInstanceID(id));
    ML::RemoveIDFromInstanceIDMap(id);
}

TEST(InstanceIDs, KeepAnyOtherObjectUntilTheNumberIsRemoved)
{
    bool isGone = false;
    const std::uint32_t id = ML::CreateUniqueCallbackInstanceID(TVK::TVKUnknownRef(new Plain(isGone)));
    EXPECT_FALSE(isGone);
    EXPECT_TRUE(ML::GetRefFromCallbackInstanceID(id));
    ML::RemoveIDFromInstanceIDMap(id);
    EXPECT_TRUE(isGone);
}

TEST(TimelineSuiteObject, KeepsWhatItIsGiven)
{
    const ML::TimelineSuiteObjectRef timeline = ML::CreateTimelineSuiteObject();
    EXPECT_FALSE(timeline->GetSequence());
    EXPECT_FALSE(timeline->GetCutlistProvider());
    const TVK::TVKUnknownRef sequence(ML::CreateTimelineSuiteObject());
    timeline->SetSequence(sequence);
    timeline->SetCutlistProvider({}, norviktypes::FrameRate(1234));
    EXPECT_EQ(timeline->GetSequence(), sequence);
    EXPECT_EQ(timeline->GetFrameRate(), norviktypes::FrameRate(1234));
}

TEST(TimelineSuiteObject, LetsGoOfTheSequenceItHadBefore)
{
    bool isGone = false;
    const ML::TimelineSuiteObjectRef timeline = ML::CreateTimelineSuiteObject();
    timeline->SetSequence(TVK::TVKUnknownRef(new Plain(isGone)));
    EXPECT_FALSE(isGone);
    timeline->SetSequence({});
    EXPECT_TRUE(isGone);
}

} // namespace
