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

// Media with captions has streams of this type.
inline constexpr TVK::Guid kMediaType_Captions{"5B1A6B6E-31E7-4C43-9A0E-7C8D44D6C1F2"};

// Whether the clip's media has captions; those of a nested sequence are its own clips' affair.
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
