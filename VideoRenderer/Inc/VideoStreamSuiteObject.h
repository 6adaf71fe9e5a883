// The clip of a media node as plug-ins reach it by number, with the field order of the sequence that it plays
// in, which a clip by itself does not know.
//
// Plug-ins hold it weakly: it is gone with its node.
//
// Thread-safety: safe.
#pragma once

#include "BE/IClip.h"
#include "ML/SuiteObjects.h"
#include "TVK/Weak.h"
#include "norviktypes/FieldType.h"

namespace ML
{

class VideoStreamWithSequenceFieldTypeSuiteObject final
    : public TVK::ImplementsWeak<VideoStreamWithSequenceFieldTypeSuiteObject, IClipSuiteObject>
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kVideoStreamSuiteObject;

    VideoStreamWithSequenceFieldTypeSuiteObject(const BE::IClipRef& inClip,
                                                norviktypes::FieldType inSequenceFieldType)
        : mClip(inClip)
        , mSequenceFieldType(inSequenceFieldType)
    {
    }

    // Answers the class's own id with the object itself, beside the interfaces.
    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override
    {
        if (inID == kInterfaceID)
        {
            *outInterface = const_cast<VideoStreamWithSequenceFieldTypeSuiteObject*>(this);
            return TVK::kStatus_OK;
        }
        return ImplementsWeak::QueryNoRef(inID, outInterface);
    }

    TVK::TVKUnknownRef GetSource() const override { return mClip->GetVideoSource(); }
    const BE::IClipRef& GetClip() const noexcept { return mClip; }
    norviktypes::FieldType GetSequenceFieldType() const noexcept { return mSequenceFieldType; }

private:
    const BE::IClipRef mClip;
    const norviktypes::FieldType mSequenceFieldType;
};

} // namespace ML
