#include "MF/BinaryData.h"

#include "norvik/config/Contract.h"

namespace MF
{

BinaryData::BinaryData(const void* inData, std::size_t inSize)
{
    ML_INPUT_CONTRACT((inData == nullptr) || (inSize > 0), "(inData == NULL) || (inSize > 0)",
                      "Src/BinaryData", "MF::BinaryData::BinaryData", __LINE__);
    if (inData)
    {
        const auto* const bytes = static_cast<const std::uint8_t*>(inData);
        mBytes = std::make_shared<const std::vector<std::uint8_t>>(bytes, bytes + inSize);
    }
}

} // namespace MF
