#include "TVK/InterfaceRef.h"

#include "TVK/Allocated.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <utility>

namespace
{

class IFirst : public TVK::TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"0D3A7E5A-61A2-4B43-9E0C-0B8F4C4D8C01"};
    virtual int First() const = 0;
};

class ISecond : public TVK::TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"0D3A7E5A-61A2-4B43-9E0C-0B8F4C4D8C02"};
    virtual int Second() const = 0;
};

class IAbsent : public TVK::TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID{"0D3A7E5A-61A2-4B43-9E0C-0B8F4C4D8C03"};
};

class Object final : public TVK::Implements<Object, IFirst, ISecond>
{
public:
    explicit Object(int& ioLiving) : mLiving(ioLiving) { ++mLiving; }
    ~Object() override { --mLiving; }
    int First() const override { return 1; }
    int Second() const override { return 2; }

private:
    int& mLiving;
};

// Gives no canonical pointer.
class Faceless final : public TVK::Implements<Faceless, IFirst>
{
public:
    int First() const override { return 1; }
    std::int32_t QueryNoRef(const TVK::Guid&, void** outInterface) const override
    {
        *outInterface = nullptr;
        return TVK::kInterfaceNotSupported;
    }
};

std::uint32_t CountOf(const TVK::TVKUnknown& inObject)
{
    inObject.AddRef();
    return inObject.Release();
}

using FirstRef = TVK::InterfaceRef<IFirst>;
using SecondRef = TVK::InterfaceRef<ISecond>;

} // namespace

TEST(InterfaceRef, LastReferenceDestroysTheObject)
{
    int living = 0;
    {
        const FirstRef first(new Object(living));
        const FirstRef copy = first;
        EXPECT_EQ(living, 1);
        EXPECT_EQ(CountOf(*first), 2u);
    }
    EXPECT_EQ(living, 0);
}

TEST(InterfaceRef, MovingLeavesTheCountAndTheSourceEmpty)
{
    int living = 0;
    FirstRef first(new Object(living));
    const FirstRef moved = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_EQ(CountOf(*moved), 1u);
}

TEST(InterfaceRef, AssignmentReleasesTheOld)
{
    int living = 0;
    FirstRef first(new Object(living));
    first = FirstRef(new Object(living));
    EXPECT_EQ(living, 1);
    FirstRef& alias = first;
    first = alias;
    EXPECT_EQ(living, 1);
    first = nullptr;
    EXPECT_EQ(living, 0);
}

TEST(InterfaceRef, OtherFaceIsAskedFor)
{
    int living = 0;
    const FirstRef first(new Object(living));
    const SecondRef second(first);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->Second(), 2);
    EXPECT_EQ(CountOf(*first), 2u);
    const TVK::InterfaceRef<IAbsent> absent(first);
    EXPECT_FALSE(absent);
    EXPECT_EQ(CountOf(*first), 2u);
    EXPECT_FALSE(SecondRef(FirstRef()));
}

TEST(InterfaceRef, EmptyReferenceThrowsWhenUsed)
{
    const FirstRef empty;
    EXPECT_THROW(empty->First(), TVK::NullInterfaceException);
    EXPECT_THROW(static_cast<void>(*empty), TVK::NullInterfaceException);
    try
    {
        empty->First();
    }
    catch (const TVK::Exception& exception)
    {
        EXPECT_STREQ(exception.what(), "A NULL interface pointer has been dereferenced.");
    }
}

TEST(InterfaceRef, FacesOfOneObjectAreEqual)
{
    int living = 0;
    const FirstRef first(new Object(living));
    const SecondRef second(first);
    const FirstRef other(new Object(living));
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first == other);
    EXPECT_TRUE(first != other);
    EXPECT_FALSE(first == FirstRef());
    EXPECT_TRUE(FirstRef() == SecondRef());
    EXPECT_TRUE(FirstRef() == nullptr);
    EXPECT_TRUE(first != nullptr);
    EXPECT_EQ(CountOf(*first), 2u) << "comparing adds no reference";
}

TEST(InterfaceRef, ObjectWithoutCanonicalPointerCannotBeCompared)
{
    int living = 0;
    const FirstRef faceless(new Faceless);
    const FirstRef other(new Object(living));
    EXPECT_THROW(static_cast<void>(faceless == other), TVK::IllegalComparisonException);
    EXPECT_TRUE(faceless == faceless) << "one pointer needs no question";
    try
    {
        static_cast<void>(other == faceless);
        ADD_FAILURE();
    }
    catch (const TVK::Exception& exception)
    {
        EXPECT_STREQ(exception.what(),
                     "A comparison of two refs has failed because we are unable to convert one of "
                     "them to TVKUnknown.");
    }
}

TEST(InterfaceRef, UnknownFaceIsTheSameFromEachFace)
{
    int living = 0;
    const FirstRef first(new Object(living));
    const SecondRef second(first);
    void* fromFirst = nullptr;
    void* fromSecond = nullptr;
    EXPECT_EQ(first->QueryNoRef(TVK::TVKUnknown::kInterfaceID, &fromFirst), 0);
    EXPECT_EQ(second->QueryNoRef(TVK::TVKUnknown::kInterfaceID, &fromSecond), 0);
    EXPECT_EQ(fromFirst, fromSecond);
}

TEST(InterfaceRef, FailedQueryGivesNoPointerAndItsStatus)
{
    int living = 0;
    const FirstRef first(new Object(living));
    void* face = &living;
    EXPECT_EQ(first->Query(IAbsent::kInterfaceID, &face), static_cast<std::int32_t>(0xa00a0001u));
    EXPECT_EQ(face, nullptr);
}

TEST(InterfaceRef, OrderIsByAddress)
{
    int living = 0;
    std::map<FirstRef, int> numbers;
    const FirstRef a(new Object(living));
    const FirstRef b(new Object(living));
    numbers[a] = 1;
    numbers[b] = 2;
    EXPECT_EQ(numbers[a], 1);
    EXPECT_EQ(numbers.size(), 2u);
}

namespace
{

// Asks for the reference that holds it while that is being reset.
class Returning final : public TVK::Implements<Returning, IFirst>
{
public:
    explicit Returning(FirstRef& inHolder) : mHolder(inHolder) {}
    ~Returning() override { EXPECT_FALSE(mHolder); }
    int First() const override { return 1; }

private:
    FirstRef& mHolder;
};

} // namespace

TEST(InterfaceRef, ResetEmptiesBeforeItReleases)
{
    FirstRef holder;
    holder = FirstRef(new Returning(holder));
    holder.reset();
    EXPECT_FALSE(holder);
}
