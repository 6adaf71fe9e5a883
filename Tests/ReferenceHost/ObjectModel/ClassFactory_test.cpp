#include "TVK/Allocated.h"
#include "TVK/ClassFactory.h"

#include <gtest/gtest.h>

namespace
{

using TVK::ClassFactory;
using TVK::Guid;
using TVK::InterfaceRef;

struct INumber : TVK::TVKUnknown
{
    static constexpr Guid kInterfaceID{"20000000-0000-0000-0000-000000000001"};
    virtual int Get() = 0;
};

template <int kNumber>
class Number final : public TVK::Implements<Number<kNumber>, INumber>
{
public:
    static InterfaceRef<TVKUnknown> Create() { return InterfaceRef<INumber>(new Number); }

    int Get() override { return kNumber; }
};

constexpr Guid kNumberClassID{"20000000-0000-0000-0000-0000000000AA"};

Guid NumberClassID()
{
    return kNumberClassID;
}

class ClassFactoryTest : public testing::Test
{
protected:
    ~ClassFactoryTest() override { ClassFactory::UnregisterTVKClass(kNumberClassID); }
};

TEST_F(ClassFactoryTest, MakesANewInstanceEachTime)
{
    EXPECT_EQ(ClassFactory::RegisterTVKClass(kNumberClassID, "kNumberClassID", "Number", &Number<1>::Create,
                                             &NumberClassID),
              0);
    const InterfaceRef<INumber> first(TVK::CreateClassInstanceRef(kNumberClassID));
    const InterfaceRef<INumber> second(TVK::CreateClassInstanceRef(kNumberClassID));
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->Get(), 1);
    EXPECT_FALSE(first == second);
}

TEST_F(ClassFactoryTest, GivesNothingForAnUnknownClass)
{
    EXPECT_FALSE(TVK::CreateClassInstanceRef(kNumberClassID));
    EXPECT_FALSE(TVK::CreateClassInstanceRef(Guid()));
}

TEST_F(ClassFactoryTest, RegisteringAgainReplaces)
{
    ClassFactory::RegisterTVKClass(kNumberClassID, "kNumberClassID", "Number", &Number<1>::Create,
                                   &NumberClassID);
    EXPECT_EQ(ClassFactory::RegisterTVKClass(kNumberClassID, "kNumberClassID", "Number", &Number<2>::Create,
                                             &NumberClassID),
              0);
    EXPECT_EQ(InterfaceRef<INumber>(TVK::CreateClassInstanceRef(kNumberClassID))->Get(), 2);
}

TEST_F(ClassFactoryTest, RefusesAZeroIDAndAMissingFunction)
{
    EXPECT_LT(ClassFactory::RegisterTVKClass(Guid(), "", "", &Number<1>::Create, &NumberClassID), 0);
    EXPECT_LT(ClassFactory::RegisterTVKClass(kNumberClassID, "", "", nullptr, nullptr), 0);
    EXPECT_FALSE(TVK::CreateClassInstanceRef(kNumberClassID));
}

TEST_F(ClassFactoryTest, ForgetsAnUnregisteredClass)
{
    ClassFactory::RegisterTVKClass(kNumberClassID, nullptr, nullptr, &Number<1>::Create, nullptr);
    ClassFactory::UnregisterTVKClass(kNumberClassID);
    EXPECT_FALSE(TVK::CreateClassInstanceRef(kNumberClassID));
}

} // namespace
