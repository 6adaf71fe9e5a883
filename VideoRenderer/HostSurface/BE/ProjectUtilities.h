// Services over objects of a project.
//
// Thread-safety: functions are safe; a transform under construction belongs to its builder.
#pragma once

#include "BE/IClip.h"
#include "MF/ITimeTransform.h"
#include "TVK/Allocated.h"

#include <vector>

namespace BE
{

ML_EXPORT bool ClipContainsCaptions(const IClipRef& inClip);

// Several mappings, one behind the other: the first one added is applied first. Adding ends where the
// transform is shared.
class ML_EXPORT MultiTimeTransform final : public TVK::Implements<MultiTimeTransform, MF::ITimeTransform>
{
public:
    // An empty reference is left out.
    void Add(const MF::ITimeTransformRef& inTransform);

    norviktypes::TickTime MapTime(const norviktypes::TickTime& inTime, std::uint32_t inFlag) const override;
    bool IsIdentity() const override;
    TVK::Guid GetHash() const override;

private:
    std::vector<MF::ITimeTransformRef> mStages;
};

} // namespace BE
