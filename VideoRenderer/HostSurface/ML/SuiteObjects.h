// Objects of the host that plug-ins reach by number.
//
// Thread-safety: safe.
#pragma once

#include "MF/CutlistProvider.h"
#include "TVK/Weak.h"
#include "norviktypes/FrameRate.h"

namespace ML
{

// A timeline as plug-ins see it. Can be held weakly.
class ML_EXPORT ITimelineSuiteObject : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kTimelineSuiteObject;

    virtual void SetSequence(const TVK::TVKUnknownRef& inSequence) = 0;
    virtual TVK::TVKUnknownRef GetSequence() const = 0;
    virtual void SetCutlistProvider(const MF::IRenderableCutlistProviderRef& inProvider,
                                    const norviktypes::FrameRate& inFrameRate) = 0;
    virtual MF::IRenderableCutlistProviderRef GetCutlistProvider() const = 0;
    virtual norviktypes::FrameRate GetFrameRate() const = 0;
};
using TimelineSuiteObjectRef = TVK::InterfaceRef<ITimelineSuiteObject>;

ML_EXPORT TimelineSuiteObjectRef CreateTimelineSuiteObject();

// A clip as plug-ins see it.
class ML_EXPORT IClipSuiteObject : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kClipSuiteObject;

    // What its frames are read from; empty while the media is offline.
    virtual TVK::TVKUnknownRef GetSource() const = 0;
};
using ClipSuiteObjectRef = TVK::InterfaceRef<IClipSuiteObject>;

} // namespace ML
