// An opaque settings blob that a stream understands and nobody else reads.
//
// Copies share the bytes, which never change. Errors: data without a size is a contract violation;
// no data may come with any size and is then a blob of none.
//
// Thread-safety: value type; shared bytes are read only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace MF
{

class BinaryData
{
public:
    BinaryData() noexcept = default;
    BinaryData(const void* inData, std::size_t inSize);

    const void* Data() const noexcept { return mBytes ? mBytes->data() : nullptr; }
    std::size_t Size() const noexcept { return mBytes ? mBytes->size() : 0; }

    // Equal bytes.
    friend bool operator==(const BinaryData& inA, const BinaryData& inB) noexcept
    {
        return inA.mBytes == inB.mBytes ||
               (inA.Size() == inB.Size() && (inA.Size() == 0 || *inA.mBytes == *inB.mBytes));
    }

private:
    std::shared_ptr<const std::vector<std::uint8_t>> mBytes;
};

} // namespace MF
