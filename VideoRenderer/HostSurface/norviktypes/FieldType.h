// How the lines of a frame are spread over time.
#pragma once

#include <cstdint>

namespace norviktypes
{

enum FieldType : std::int32_t
{
    kFieldType_Invalid = -1,
    kFieldType_Progressive = 0,
    kFieldType_UpperFirst = 1,
    kFieldType_LowerFirst = 2,
    kFieldType_Unknown = 3,
    // Not an order of its own: the one of the underlying source, or of the request.
    kFieldType_FromSource = 4,
};

constexpr bool IsInterlaced(FieldType inType) noexcept
{
    return inType == kFieldType_UpperFirst || inType == kFieldType_LowerFirst;
}

} // namespace norviktypes
