#pragma once

#include "Platform.h"
#include "TVK/Allocated.h"
#include "TVK/InterfaceRef.h"

#include <atomic>
#include <cstdint>
#include <memory>

// References that don't keep their object alive.
//
// Thread-safety: resolving is safe against the last release on another thread: it gives a counted reference,
// or an empty one once the count has reached zero, never an object that is being destroyed.
namespace TVK
{

// Stands for an object that may be gone.
class ML_EXPORT IWeakReference : public TVKUnknown
{
public:
    static constexpr Guid kInterfaceID = InterfaceIDs::kWeakReference;

    // The object, or an empty reference after it died.
    virtual InterfaceRef<TVKUnknown> Resolve() const = 0;
};

using IWeakReferenceRef = InterfaceRef<IWeakReference>;

// Face of objects that can be held weakly.
class ML_EXPORT IWeakReferenceCapable : public TVKUnknown
{
public:
    static constexpr Guid kInterfaceID = InterfaceIDs::kWeakReferenceCapable;

    // Always the same one for an object. Throws std::bad_alloc.
    virtual InterfaceRef<IWeakReference> GetWeakReference() const = 0;
};

using IWeakReferenceCapableRef = InterfaceRef<IWeakReferenceCapable>;

// The weak reference of one object. The object holds one count, holders of the weak reference the others.
class ML_EXPORT WeakReferenceBroker final : public Implements<WeakReferenceBroker, IWeakReference>
{
public:
    WeakReferenceBroker();
    ~WeakReferenceBroker() override;

    // Tells the broker its object and the object's count, once. Contract: "inObject != NULL",
    // "mObject == NULL".
    void SetObject(TVKUnknown* inObject, ReferenceCount* inReferences);

    // Called after the last release, before the object's destructors: from now on Resolve gives nothing.
    void ObjectDied() noexcept;

    InterfaceRef<TVKUnknown> Resolve() const override;

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

// The weak references of an object of class Counted, which has IWeakReferenceCapable among its interfaces. The
// broker is made when somebody first asks for it.
template <class Counted>
class HasWeakReference : public Counted
{
public:
    using Counted::Counted;

    InterfaceRef<IWeakReference> GetWeakReference() const override
    {
        WeakReferenceBroker* broker = mBroker.load(std::memory_order_acquire);
        if (broker == nullptr)
        {
            broker = MakeBroker();
        }
        return InterfaceRef<IWeakReference>(broker);
    }

protected:
    HasWeakReference() = default;

    ~HasWeakReference() override
    {
        if (WeakReferenceBroker* broker = mBroker.load(std::memory_order_acquire))
        {
            broker->ObjectDied();
            broker->Release();
        }
    }

    void BeforeDestruction() const noexcept override
    {
        if (WeakReferenceBroker* broker = mBroker.load(std::memory_order_acquire))
        {
            broker->ObjectDied();
        }
    }

private:
    WeakReferenceBroker* MakeBroker() const
    {
        InterfaceRef<WeakReferenceBroker> made(new WeakReferenceBroker);
        void* canonical = nullptr;
        this->QueryNoRef(TVKUnknown::kInterfaceID, &canonical);
        made->SetObject(static_cast<TVKUnknown*>(canonical), &this->References());
        WeakReferenceBroker* expected = nullptr;
        if (mBroker.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel))
        {
            made->AddRef();
            return made.get();
        }
        return expected; // another thread was first
    }

    mutable std::atomic<WeakReferenceBroker*> mBroker{nullptr};
};

// Implements and Extends for classes that can be held weakly; IWeakReferenceCapable is added to the interfaces.
template <class T, class... Interfaces>
class ImplementsWeak : public HasWeakReference<Implements<T, Interfaces..., IWeakReferenceCapable>>
{
protected:
    ImplementsWeak() = default;
    ~ImplementsWeak() override = default;
};

template <class Base, class... Interfaces>
class ExtendsWeak : public HasWeakReference<Extends<Base, Interfaces..., IWeakReferenceCapable>>
{
protected:
    ExtendsWeak() = default;
    ~ExtendsWeak() override = default;
};

// A weak reference to interface T, as a value. Empty when made from an empty reference or from an object that
// can't be held weakly.
//
// Thread-safety: as InterfaceRef.
template <class T>
class WeakRef
{
public:
    WeakRef() noexcept = default;

    WeakRef(const InterfaceRef<T>& inObject)
    {
        if (const IWeakReferenceCapableRef capable = IWeakReferenceCapableRef(inObject))
        {
            mReference = capable->GetWeakReference();
        }
    }

    // The object, or an empty reference.
    InterfaceRef<T> Resolve() const
    {
        return mReference ? InterfaceRef<T>(mReference->Resolve()) : InterfaceRef<T>();
    }

    void reset() noexcept { mReference.reset(); }

    // Whether there was an object to begin with; it may be gone.
    explicit operator bool() const noexcept { return static_cast<bool>(mReference); }

private:
    IWeakReferenceRef mReference;
};

} // namespace TVK
