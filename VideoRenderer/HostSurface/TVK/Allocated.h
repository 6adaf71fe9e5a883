#pragma once

#include "Platform.h"
#include "TVK/QueryTable.h"
#include "TVK/TVKUnknown.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

// The bases of counted objects.
//
//   class Foo final : public TVK::Implements<Foo, IFoo, IBar> { ... };     the usual class
//   class Bar : public TVK::Extends<Foo, IExtra> { ... };                  a derived class, one face more
//   class Odd : public IFoo, public TVK::Allocated<Odd> { ... };           only the memory
//
// Thread-safety: counting and querying are safe; objects are destroyed on the thread of their last release.
namespace TVK
{

// Where small objects get their memory. Thread-safety: safe.
class Allocator
{
public:
    // Throws std::bad_alloc.
    ML_EXPORT static void* Allocate(size_t inSize);
    // inSize as given to Allocate.
    ML_EXPORT static void Dispose(void* inBlock, size_t inSize) noexcept;
};

// Second base of small objects: new and delete of the class, and of classes derived from it, go through
// Allocator.
template <class T>
class Allocated
{
public:
    static void* operator new(size_t inSize)
    {
        static_assert(alignof(T) <= alignof(std::max_align_t), "over-aligned objects need their own memory");
        return Allocator::Allocate(inSize);
    }

    static void* operator new(size_t, void* inPlace) noexcept { return inPlace; }

    static void operator delete(void* inBlock, size_t inSize) noexcept
    {
        Allocator::Dispose(inBlock, inSize);
    }

protected:
    ~Allocated() = default;
};

// The count of one object. Starts at zero; the first reference makes it live.
class ReferenceCount
{
public:
    // The count after the call.
    std::uint32_t Add() noexcept { return mCount.fetch_add(1, std::memory_order_relaxed) + 1; }

    // The count after the call. At 0 the caller destroys the object, and sees all that other holders wrote.
    std::uint32_t Drop() noexcept { return mCount.fetch_sub(1, std::memory_order_acq_rel) - 1; }

    // Adds one unless the count is zero, that is, unless the last reference is gone.
    bool TryAdd() noexcept
    {
        std::uint32_t count = mCount.load(std::memory_order_relaxed);
        while (count != 0)
        {
            if (mCount.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel,
                                             std::memory_order_relaxed))
            {
                return true;
            }
        }
        return false;
    }

private:
    std::atomic<std::uint32_t> mCount{0};
};

// Counting, querying and memory for a class T with the listed interfaces. T adds the interfaces' own
// operations; it overrides QueryNoRef if it has faces that aren't bases.
template <class T, class... Interfaces>
class Implements : public Interfaces..., public Allocated<T>
{
public:
    std::uint32_t AddRef() const override { return mReferences.Add(); }

    std::uint32_t Release() const override
    {
        const std::uint32_t left = mReferences.Drop();
        if (left == 0)
        {
            BeforeDestruction();
            delete this;
        }
        return left;
    }

    std::int32_t Query(const Guid& inID, void** outInterface) const override
    {
        const std::int32_t status = QueryNoRef(inID, outInterface);
        if (status >= 0)
        {
            AddRef();
        }
        return status;
    }

    std::int32_t QueryNoRef(const Guid& inID, void** outInterface) const override
    {
        return QueryInterfaces<Interfaces...>(this, inID, outInterface);
    }

    Implements(const Implements&) = delete;
    Implements& operator=(const Implements&) = delete;

protected:
    Implements() = default;
    ~Implements() override = default;

    // Called once, after the last release and before any destructor.
    virtual void BeforeDestruction() const noexcept {}

    ReferenceCount& References() const noexcept { return mReferences; }

private:
    mutable ReferenceCount mReferences;
};

// A class derived from an Implements class, with further interfaces. Base keeps count and canonical pointer.
template <class Base, class... Interfaces>
class Extends : public Base, public Interfaces...
{
public:
    using Base::Base;

    std::uint32_t AddRef() const override { return Base::AddRef(); }

    std::uint32_t Release() const override { return Base::Release(); }

    std::int32_t Query(const Guid& inID, void** outInterface) const override
    {
        return Base::Query(inID, outInterface);
    }

    std::int32_t QueryNoRef(const Guid& inID, void** outInterface) const override
    {
        const std::int32_t status = Base::QueryNoRef(inID, outInterface);
        return status >= 0 ? status : QueryInterfaces<Interfaces...>(this, inID, outInterface);
    }

protected:
    ~Extends() override = default;
};

} // namespace TVK
