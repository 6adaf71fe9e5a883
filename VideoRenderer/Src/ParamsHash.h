// Parts of renders as hashes take them: each is one call of so many bytes.
//
// Thread-safety: pure functions.
#pragma once

#include "CutlistRenderParams.h"
#include "RenderableNodeParameters.h"
#include "TVK/HashValue.h"

#include <cstdint>

namespace ML
{

// Sixteen bytes, the first time first.
inline void MixFrameTime(TVK::HashValue& ioHash, const MF::FrameTime& inTime)
{
    const std::uint64_t ticks[2] = {static_cast<std::uint64_t>(inTime.mFirstTime.GetTicks()),
                                    static_cast<std::uint64_t>(inTime.mSecondTime.GetTicks())};
    std::uint8_t bytes[16];
    for (int index = 0; index < 16; ++index)
    {
        bytes[index] = static_cast<std::uint8_t>(ticks[index / 8] >> (8 * (index % 8)));
    }
    ioHash.Mix(bytes, sizeof(bytes));
}

// Eight bytes.
inline void MixPair(TVK::HashValue& ioHash, std::uint32_t inFirst, std::uint32_t inSecond)
{
    ioHash.MixU64(inFirst | static_cast<std::uint64_t>(inSecond) << 32);
}

inline void MixPixelFormat(TVK::HashValue& ioHash, const norviktypes::PixelFormat& inFormat)
{
    MixPair(ioHash, inFormat.mName, inFormat.mProperties);
}

// The geometry of a record: its first 64 bytes.
inline void MixGeometry(TVK::HashValue& ioHash, const NodeIntrinsicParameters& inRecord)
{
    ioHash.Mix(&inRecord, offsetof(NodeIntrinsicParameters, blendMode));
}

} // namespace ML
