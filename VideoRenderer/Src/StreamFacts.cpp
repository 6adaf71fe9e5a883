#include "StreamFacts.h"

#include "MF/ISource.h"

namespace ML
{

bool HasNoFrameGrid(const BE::IVideoSourceRef& inSource)
{
    norviktypes::FrameRate rate;
    inSource->GetFrameRate(rate);
    if (rate == norviktypes::kFrameRate_Zero)
    {
        return true;
    }
    const BE::IVideoStreamInfoRef info(inSource);
    return info && info->HasNoFrameGrid();
}

bool IsStillStream(const BE::IVideoSourceRef& inSource)
{
    if (!inSource)
    {
        throw TVK::NullInterfaceException();
    }
    const MF::ISourceRef source(inSource);
    std::uint32_t kind = MF::kSourceKind_Normal;
    return source && source->GetStillKind(kind) >= 0 && kind == MF::kSourceKind_Still;
}

} // namespace ML
