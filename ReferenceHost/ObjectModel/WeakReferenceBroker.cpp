#include "TVK/Weak.h"

#include "norvik/config/Contract.h"

#include <mutex>

namespace TVK
{

namespace
{

constexpr char kFile[] = "ReferenceHost/ObjectModel/WeakReferenceBroker";
constexpr char kSetObject[] = "TVK::WeakReferenceBroker::SetObject";

} // namespace

// The lock keeps the object's memory alive during TryAdd: ObjectDied waits for it, and the object is
// destroyed only after that. The count itself decides who comes first, a resolver or the last release.
struct WeakReferenceBroker::Impl
{
    mutable std::mutex mMutex;
    TVKUnknown* mObject = nullptr;
    ReferenceCount* mReferences = nullptr;
};

WeakReferenceBroker::WeakReferenceBroker() : mImpl(std::make_unique<Impl>()) {}

WeakReferenceBroker::~WeakReferenceBroker() = default;

void WeakReferenceBroker::SetObject(TVKUnknown* inObject, ReferenceCount* inReferences)
{
    ML_INPUT_CONTRACT(inObject != nullptr, "inObject != NULL", kFile, kSetObject, __LINE__);
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    ML_INPUT_CONTRACT(mImpl->mObject == nullptr, "mObject == NULL", kFile, kSetObject, __LINE__);
    mImpl->mObject = inObject;
    mImpl->mReferences = inReferences;
}

void WeakReferenceBroker::ObjectDied() noexcept
{
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    mImpl->mObject = nullptr;
    mImpl->mReferences = nullptr;
}

InterfaceRef<TVKUnknown> WeakReferenceBroker::Resolve() const
{
    TVKUnknown* object = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mImpl->mMutex);
        if (mImpl->mObject == nullptr || !mImpl->mReferences->TryAdd())
        {
            return {};
        }
        object = mImpl->mObject;
    }
    // The reference takes a count of its own; the one of TryAdd has done its work.
    InterfaceRef<TVKUnknown> result(object);
    object->Release();
    return result;
}

} // namespace TVK
