// What a timeline wants to know of a piece of media beyond its streams; an optional face of BE::IMediaInfo.
// Media without it answers as the defaults here do.
//
// Thread-safety: safe.
#pragma once

#include "BE/IMediaInfo.h"
#include "MF/TimeRange.h"
#include "TVK/ParamTypes.h"

#include <cstdint>

namespace BE
{

// How the alpha of a stream is to be understood.
struct AlphaInterpretation
{
    norviktypes::AlphaChannel mType = norviktypes::kAlphaChannel_None;
    bool mIgnore = false;
    bool mInvert = false;
    TVK::ParamColor<unsigned long> mMatte;
};

class ML_EXPORT IMediaDescription : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kMediaDescription;

    // Which reader the media goes through.
    virtual norvik::UTF8String GetImplementationID() const { return {}; }
    virtual std::uint32_t GetStreamGroup() const { return 0; }
    // False for media that has no modification state of its own. The state changes with the content, and no two
    // pieces of media share one: it is what names them in hashes.
    virtual bool GetModificationState(TVK::Guid&) const { return false; }
    // The part of the media that counts as its content, where not all of it does.
    virtual bool GetContentRange(MF::TimeRange&) const { return false; }
    virtual bool IsRollCrawl() const { return false; }
    virtual bool IsContinuousTime() const { return false; }
    // A file that is still being written.
    virtual bool IsGrowing() const { return false; }
    virtual bool HasPulldownRemoval() const { return false; }
    // kPulldownCadence_None where the media has none.
    virtual norviktypes::PulldownCadence GetPulldownCadence() const
    {
        return norviktypes::kPulldownCadence_None;
    }
    // With pulldown removed the media is progressive whatever its stream says.
    virtual bool IsProgressiveWithPulldownRemoved() const { return false; }
    virtual AlphaInterpretation GetAlpha() const { return {}; }
    // Settings that every request to the stream carries.
    virtual MF::BinaryData GetOpaqueData() const { return {}; }
    virtual std::uint32_t GetVideoSubType() const { return 0; }
    virtual norviktypes::TickTime GetFirstTime() const { return norviktypes::kTime_Zero; }
    virtual norviktypes::TickTime GetDuration() const { return norviktypes::kTime_Zero; }
};
using IMediaDescriptionRef = TVK::InterfaceRef<IMediaDescription>;

} // namespace BE
