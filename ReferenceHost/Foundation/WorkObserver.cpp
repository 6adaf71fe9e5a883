#include "ReferenceHost/Foundation/WorkObserver.h"

#include "Platform.h"

namespace Foundation
{

namespace detail
{

std::atomic<IWorkObserver*> sWorkObserver{nullptr};

} // namespace detail

void SetWorkObserver(IWorkObserver* inObserver) noexcept
{
    detail::sWorkObserver.store(inObserver, std::memory_order_release);
}

const char* WorkName(WorkKind inKind) noexcept
{
    switch (inKind)
    {
    case WorkKind::kRead: return "read";
    case WorkKind::kDecode: return "decode";
    case WorkKind::kConvert: return "convert";
    case WorkKind::kRender: return "render";
    case WorkKind::kLayOut: return "lay out";
    case WorkKind::kWrite: return "write";
    case WorkKind::kFetch: return "fetch";
    case WorkKind::kKeep: return "keep";
    }
    return "?";
}

void WorkSpan::Begin(WorkKind inKind, std::int64_t inNumber) noexcept
{
    mWork.mKind = inKind;
    mWork.mHasFailed = true;
    mWork.mNumber = inNumber;
    mWork.mBegin = os::PerformanceCounter();
}

void WorkSpan::End() noexcept
{
    mWork.mEnd = os::PerformanceCounter();
    mObserver->OnWork(mWork);
}

} // namespace Foundation
