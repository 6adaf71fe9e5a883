// What a frame of a test's node depends on beside the node.
//
// Thread-safety: safe on distinct hashes.
#pragma once

#include "CutlistRenderParams.h"
#include "TVK/HashValue.h"

namespace TestSupport
{

inline void MixRenderParams(TVK::HashValue& ioHash, const MF::FrameTime& inTime,
                            const ML::CutlistRenderParams& inParams)
{
    ioHash.MixI64(inTime.mFirstTime.GetTicks());
    ioHash.MixI64(inTime.mSecondTime.GetTicks());
    ioHash.MixU32(inParams.mWidth);
    ioHash.MixU32(inParams.mHeight);
    ioHash.MixU32(inParams.mPixelAspectRatio.GetNumerator());
    ioHash.MixU32(inParams.mPixelAspectRatio.GetDenominator());
    ioHash.MixU32(inParams.mPixelFormat.mName);
    ioHash.MixU32(inParams.mPixelFormat.mProperties);
    ioHash.MixI32(inParams.mRenderQuality);
    ioHash.MixI32(inParams.mDeinterlaceQuality);
    ioHash.MixI32(inParams.mFieldType);
    ioHash.MixU32(inParams.mFieldToRender);
}

} // namespace TestSupport
