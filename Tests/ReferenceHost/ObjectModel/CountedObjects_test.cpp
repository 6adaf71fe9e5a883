#include "TVK/Allocated.h"
#include "TVK/ContractError.h"
#include "TVK/InterfaceRef.h"
#include "TVK/Weak.h"
#include "norvik/config/Contract.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using TVK::Guid;
using TVK::InterfaceRef;

struct IFirst : TVK::TVKUnknown
{
    static constexpr Guid kInterfaceID{"10000000-0000-0000-0000-000000000001"};
    virtual int First() = 0;
};

struct ISecond : TVK::TVKUnknown
{
    static constexpr Guid kInterfaceID{"10000000-0000-0000-0000-000000000002"};
    virtual int Second() = 0;
};

struct ISecondExtended : ISecond
{
    using InterfaceBase = ISecond;
    static constexpr Guid kInterfaceID{"10000000-0000-0000-0000-000000000003"};
    virtual int SecondExtended() = 0;
};

struct IThird : TVK::TVKUnknown
{
    static constexpr Guid kInterfaceID{"10000000-0000-0000-0000-000000000004"};
    virtual int Third() = 0;
};

int sAlive = 0;

class Counted : public TVK::Implements<Counted, IFirst, ISecondExtended>
{
public:
    Counted() { ++sAlive; }

    ~Counted() override { --sAlive; }

    int First() override { return 1; }

    int Second() override { return 2; }

    int SecondExtended() override { return 22; }
};

class Derived final : public TVK::Extends<Counted, IThird>
{
public:
    int Third() override { return 3 + mBallast[0]; }

private:
    char mBallast[300] = {}; // of another size than the base, which must free it
};

class Weakly final : public TVK::ImplementsWeak<Weakly, IFirst>
{
public:
    ~Weakly() override { mDuringDestruction.Resolve(); }

    int First() override { return 7; }

    TVK::WeakRef<IFirst> mDuringDestruction;
};

TEST(Implements, LastReleaseDestroys)
{
    {
        InterfaceRef<IFirst> first(new Counted);
        EXPECT_EQ(sAlive, 1);
        const InterfaceRef<IFirst> copy = first;
        first.reset();
        EXPECT_EQ(sAlive, 1);
        EXPECT_EQ(copy->First(), 1);
    }
    EXPECT_EQ(sAlive, 0);
}

TEST(Implements, CountsReferencesOverAllFaces)
{
    InterfaceRef<ISecond> second;
    {
        const InterfaceRef<IFirst> first(new Counted);
        second = InterfaceRef<ISecond>(first);
        EXPECT_EQ(first->AddRef(), 3u);
        EXPECT_EQ(second->Release(), 2u);
    }
    EXPECT_EQ(sAlive, 1);
    EXPECT_EQ(second->Second(), 2);
    second.reset();
    EXPECT_EQ(sAlive, 0);
}

TEST(Implements, AnswersForEachInterfaceAndForExtendedOnesBase)
{
    const InterfaceRef<IFirst> first(new Counted);
    EXPECT_EQ(InterfaceRef<ISecond>(first)->Second(), 2);
    EXPECT_EQ(InterfaceRef<ISecondExtended>(first)->SecondExtended(), 22);
    EXPECT_EQ(InterfaceRef<IFirst>(InterfaceRef<ISecond>(first))->First(), 1);
}

TEST(Implements, UnknownInterfaceGivesStatusAndNull)
{
    const InterfaceRef<IFirst> first(new Counted);
    void* face = &sAlive;
    EXPECT_EQ(first->Query(IThird::kInterfaceID, &face), static_cast<std::int32_t>(0xa00a0001u));
    EXPECT_EQ(face, nullptr);
    face = &sAlive;
    EXPECT_EQ(first->QueryNoRef(IThird::kInterfaceID, &face), TVK::kInterfaceNotSupported);
    EXPECT_EQ(face, nullptr);
    EXPECT_FALSE(InterfaceRef<IThird>(first));
}

TEST(Implements, QueryAddsAReferenceAndQueryNoRefDoesNot)
{
    const InterfaceRef<IFirst> first(new Counted);
    void* face = nullptr;
    EXPECT_EQ(first->QueryNoRef(ISecond::kInterfaceID, &face), 0);
    EXPECT_EQ(first->AddRef(), 2u);
    EXPECT_EQ(first->Query(ISecond::kInterfaceID, &face), 0);
    EXPECT_EQ(first->AddRef(), 4u);
    for (int extra = 0; extra < 3; ++extra)
    {
        first->Release();
    }
}

TEST(Implements, HasOneCanonicalPointerFromAllFaces)
{
    const InterfaceRef<IFirst> first(new Derived);
    const InterfaceRef<ISecond> second(first);
    const InterfaceRef<IThird> third(first);
    const InterfaceRef<IFirst> other(new Derived);
    EXPECT_EQ(InterfaceRef<TVKUnknown>(first).get(), InterfaceRef<TVKUnknown>(second).get());
    EXPECT_EQ(InterfaceRef<TVKUnknown>(first).get(), InterfaceRef<TVKUnknown>(third).get());
    EXPECT_TRUE(first == third);
    EXPECT_FALSE(third == other);
}

TEST(Extends, AddsFacesAndSharesTheCount)
{
    {
        const InterfaceRef<IThird> third(new Derived);
        InterfaceRef<ISecond> second(third);
        EXPECT_EQ(second->Second() + third->Third(), 5);
        EXPECT_EQ(third->AddRef(), 3u);
        EXPECT_EQ(second->Release(), 2u);
        EXPECT_EQ(sAlive, 1);
    }
    EXPECT_EQ(sAlive, 0);
}

TEST(WeakReference, ResolvesWhileTheObjectLives)
{
    InterfaceRef<IFirst> object(new Weakly);
    const TVK::WeakRef<IFirst> weak(object);
    EXPECT_TRUE(weak);
    EXPECT_EQ(weak.Resolve()->First(), 7);
    EXPECT_TRUE(weak.Resolve() == object);
    EXPECT_EQ(object->AddRef(), 2u) << "resolving must leave no count behind";
    object->Release();
    object.reset();
    EXPECT_FALSE(weak.Resolve());
    EXPECT_TRUE(weak);
}

TEST(WeakReference, GivesNothingDuringDestruction)
{
    auto* raw = new Weakly;
    InterfaceRef<IFirst> object(raw);
    raw->mDuringDestruction = TVK::WeakRef<IFirst>(object);
    object.reset(); // resolving from the destructor must not revive the object, nor destroy it twice
}

TEST(WeakReference, IsTheSameForAnObject)
{
    const InterfaceRef<IFirst> object(new Weakly);
    const TVK::IWeakReferenceCapableRef capable(object);
    EXPECT_TRUE(capable->GetWeakReference() == capable->GetWeakReference());
}

TEST(WeakReference, IsEmptyForEmptyAndIncapableObjects)
{
    EXPECT_FALSE(TVK::WeakRef<IFirst>(InterfaceRef<IFirst>()));
    EXPECT_FALSE(TVK::WeakRef<IFirst>(InterfaceRef<IFirst>(new Counted)));
    EXPECT_FALSE(TVK::WeakRef<IFirst>().Resolve());
}

TEST(WeakReference, BrokerTakesOneObjectOnly)
{
    const InterfaceRef<TVK::WeakReferenceBroker> broker(new TVK::WeakReferenceBroker);
    const InterfaceRef<IFirst> object(new Weakly);
    TVK::ReferenceCount count;
    norvik::debug::ClearContractReports();
    EXPECT_THROW(broker->SetObject(nullptr, &count), norvik::config::Error);
    broker->SetObject(object.get(), &count);
    EXPECT_THROW(broker->SetObject(object.get(), &count), norvik::config::Error);

    norvik::debug::ContractReport report;
    ASSERT_TRUE(norvik::debug::GetContractReport(0, report));
    EXPECT_EQ(report.mCondition, "mObject == NULL");
    ASSERT_TRUE(norvik::debug::GetContractReport(1, report));
    EXPECT_EQ(report.mCondition, "inObject != NULL");
    broker->ObjectDied();
}

TEST(ReferenceCount, TryAddFailsOnlyAtZero)
{
    TVK::ReferenceCount count;
    EXPECT_FALSE(count.TryAdd());
    EXPECT_EQ(count.Add(), 1u);
    EXPECT_TRUE(count.TryAdd());
    EXPECT_EQ(count.Drop(), 1u);
    EXPECT_EQ(count.Drop(), 0u);
    EXPECT_FALSE(count.TryAdd());
}

} // namespace
