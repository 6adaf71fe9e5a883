// A counted reference to an interface.
//
// Ownership: each non-empty reference owns one count. Errors: dereferencing an empty one throws
// NullInterfaceException; making one from a reference to another interface asks the object for the
// wanted face and is empty when it has none.
//
// Thread-safety: as a pointer: one reference is used by one thread at a time, copies by any.
#pragma once

#include "TVK/Exceptions.h"
#include "TVK/TVKUnknown.h"

#include <cstddef>
#include <functional>
#include <utility>

namespace TVK
{

template <class T>
class InterfaceRef
{
public:
    constexpr InterfaceRef() noexcept = default;
    constexpr InterfaceRef(std::nullptr_t) noexcept {}
    InterfaceRef(T* inPointer) : mPointer(inPointer)
    {
        if (mPointer)
        {
            mPointer->AddRef();
        }
    }
    InterfaceRef(const InterfaceRef& inOther) : InterfaceRef(inOther.mPointer) {}
    InterfaceRef(InterfaceRef&& inOther) noexcept : mPointer(std::exchange(inOther.mPointer, nullptr)) {}
    template <class U>
    InterfaceRef(const InterfaceRef<U>& inOther)
    {
        void* face = nullptr;
        if (inOther && inOther.get()->Query(T::kInterfaceID, &face) >= 0)
        {
            mPointer = static_cast<T*>(face);
        }
    }
    ~InterfaceRef() { reset(); }

    InterfaceRef& operator=(InterfaceRef inOther) noexcept
    {
        std::swap(mPointer, inOther.mPointer);
        return *this;
    }

    // The field is emptied before the release: a destructor that comes back here finds it empty.
    void reset() noexcept
    {
        if (T* old = std::exchange(mPointer, nullptr))
        {
            old->Release();
        }
    }

    T* get() const noexcept { return mPointer; }
    T* operator->() const { return CheckedPointer(); }
    T& operator*() const { return *CheckedPointer(); }
    explicit operator bool() const noexcept { return mPointer != nullptr; }

    // By address, for ordered containers.
    friend bool operator<(const InterfaceRef& inA, const InterfaceRef& inB) noexcept
    {
        return std::less<T*>()(inA.mPointer, inB.mPointer);
    }

private:
    T* CheckedPointer() const
    {
        if (!mPointer)
        {
            throw NullInterfaceException();
        }
        return mPointer;
    }

    T* mPointer = nullptr;
};

using TVKUnknownRef = InterfaceRef<TVKUnknown>;

namespace detail
{
// The one address that stands for the object. Throws IllegalComparisonException if it gives none.
template <class T>
const void* CanonicalPointer(const InterfaceRef<T>& inRef)
{
    void* unknown = nullptr;
    if (inRef.get()->QueryNoRef(TVKUnknown::kInterfaceID, &unknown) < 0 || !unknown)
    {
        throw IllegalComparisonException();
    }
    return unknown;
}
} // namespace detail

// Equal when both are faces of one object, or both empty.
template <class T, class U>
bool operator==(const InterfaceRef<T>& inA, const InterfaceRef<U>& inB)
{
    if (!inA || !inB)
    {
        return !inA && !inB;
    }
    return static_cast<const void*>(inA.get()) == static_cast<const void*>(inB.get()) ||
           detail::CanonicalPointer(inA) == detail::CanonicalPointer(inB);
}

template <class T>
bool operator==(const InterfaceRef<T>& inA, std::nullptr_t) noexcept
{
    return !inA;
}

} // namespace TVK
