#include "BE/ProjectUtilities.h"

#include "BE/IMasterClip.h"
#include "TVK/HashValue.h"

namespace BE
{

bool ClipContainsCaptions(const IClipRef& inClip)
{
    const IMediaInfoRef media = inClip ? inClip->GetMedia() : IMediaInfoRef();
    return media && media->HasMediaType(kMediaType_Captions);
}

norvik::WString MasterClipUtils::GetMediaInstanceString(const IMasterClipRef& inMasterClip)
{
    return inMasterClip ? inMasterClip->GetMediaInstanceString() : norvik::WString();
}

void MultiTimeTransform::Add(const MF::ITimeTransformRef& inTransform)
{
    if (inTransform)
    {
        mStages.push_back(inTransform);
    }
}

norviktypes::TickTime MultiTimeTransform::MapTime(const norviktypes::TickTime& inTime,
                                                  std::uint32_t inFlag) const
{
    norviktypes::TickTime time = inTime;
    for (const MF::ITimeTransformRef& stage : mStages)
    {
        time = stage->MapTime(time, inFlag);
    }
    return time;
}

bool MultiTimeTransform::IsIdentity() const
{
    for (const MF::ITimeTransformRef& stage : mStages)
    {
        if (!stage->IsIdentity())
        {
            return false;
        }
    }
    return true;
}

TVK::Guid MultiTimeTransform::GetHash() const
{
    TVK::HashValue hash("BE::MultiTimeTransform");
    hash.MixU64(mStages.size());
    for (const MF::ITimeTransformRef& stage : mStages)
    {
        hash.MixGuid(stage->GetHash());
    }
    return hash.AsGuid();
}

} // namespace BE
