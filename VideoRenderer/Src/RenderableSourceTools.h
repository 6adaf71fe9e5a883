// What sources share: times of fields, asking the source inside, failing, and being made.
//
// Thread-safety: pure functions, and calls of sources, which are safe.
#pragma once

#include "RenderableSources.h"

#include <cstdint>
#include <new>
#include <utility>

namespace ML
{

inline MF::FrameTime Swapped(const MF::FrameTime& inTime) noexcept
{
    return {inTime.mSecondTime, inTime.mFirstTime};
}

// The frame that starts at inStart, with its later field a period of inFieldRate after it; progressive for
// anything that is no order of fields.
inline MF::FrameTime FrameOfFields(const norviktypes::TickTime& inStart, norviktypes::FieldType inOrder,
                                   const norviktypes::FrameRate& inFieldRate) noexcept
{
    const norviktypes::TickTime later = inStart + norviktypes::TickTime(inFieldRate.GetTicks());
    switch (inOrder)
    {
    case norviktypes::kFieldType_UpperFirst: return {inStart, later};
    case norviktypes::kFieldType_LowerFirst: return {later, inStart};
    default: return MF::FrameTime(inStart);
    }
}

// True also for a stream that leaves the order to the request.
inline bool MayBeInterlaced(norviktypes::FieldType inType) noexcept
{
    return norviktypes::IsInterlaced(inType) || inType == norviktypes::kFieldType_FromSource;
}

// What inSource makes of a request. Throws TVK::NullInterfaceException if there is no source.
inline MF::FrameTime ConformedBy(const IRenderableSourceRef& inSource, const MF::FrameTime& inTime,
                                 const CutlistRenderParams& inRenderParams)
{
    MF::FrameTime conformed;
    inSource->ConformFrameTime(inTime, inRenderParams, conformed);
    return conformed;
}

inline void ThrowIfFailed(std::int32_t inStatus)
{
    if (inStatus < 0)
    {
        throw RenderRequestException(inStatus);
    }
}

// A new source as callers hold it. No memory for it is no source.
template <class T, class... Arguments>
IRenderableSourceRef MakeSource(Arguments&&... inArguments)
{
    try
    {
        return TVK::InterfaceRef<T>(new T(std::forward<Arguments>(inArguments)...));
    }
    catch (const std::bad_alloc&)
    {
        throw TVK::NullInterfaceException();
    }
}

} // namespace ML
