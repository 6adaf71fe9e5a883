#include "ReferenceHost/Effects/Frei0r/PluginEffects.h"

#include "MF/PixelFormats.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/EffectTransition.h"
#include "ReferenceHost/Effects/Frei0r/Warning.h"

namespace Frei0r
{
namespace
{

using Effects::EffectDescription;
using Effects::EffectParameters;
using Effects::ParameterKind;

constexpr std::uint32_t kOwnBits = 8;

std::vector<Setting> SettingsOf(const EffectDescription& inDescription, const EffectParameters& inParameters)
{
    std::vector<Setting> settings(inDescription.mParameters.size());
    for (std::size_t i = 0; i < settings.size(); ++i)
    {
        Setting& setting = settings[i];
        switch (inDescription.mParameters[i].mKind)
        {
        case ParameterKind::kColor:
        {
            const Effects::Color color = inParameters.ColorOf(i);
            setting.mNumbers[0] = color.r;
            setting.mNumbers[1] = color.g;
            setting.mNumbers[2] = color.b;
            break;
        }
        case ParameterKind::kPoint:
            setting.mNumbers[0] = inParameters.Point(i).x;
            setting.mNumbers[1] = inParameters.Point(i).y;
            break;
        case ParameterKind::kText: setting.mText = inParameters.Text(i); break;
        default: setting.mNumbers[0] = inParameters.Number(i); break;
        }
    }
    return settings;
}

class PluginFilter final : public Effects::EffectFilter
{
public:
    PluginFilter(const EffectDescription& inDescription, const std::shared_ptr<Plugin>& inPlugin)
        : EffectFilter(inDescription)
        , mPlugin(inPlugin)
    {
    }

    void GetPixelFormats(const MF::IVideoFrameRef&, const norviktypes::PixelFormat& inFormat,
                         std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        outFormats = {MF::kPixelFormat_BGRA_4444_8u};
        const std::uint32_t properties = inFormat.mProperties;
        if (norviktypes::IsUncompressed(properties) &&
            norviktypes::DepthOfProperties(properties) > kOwnBits && !mPlugin->IsRoundingTold())
        {
            Warn(Description().mId + " works in 8 bits; finer pictures are rounded for it");
        }
    }
    // Many move with time by themselves, and none tells.
    bool VariesByItself() const override { return true; }
    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    std::int32_t Draw(const Effects::FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        return mPlugin->Run({inCall.render.mSequenceTime.AsSeconds(),
                             SettingsOf(Description(), inCall.parameters),
                             {inSource},
                             outTarget});
    }

private:
    const std::shared_ptr<Plugin> mPlugin;
};

class PluginTransition final : public Effects::EffectTransition
{
public:
    PluginTransition(const EffectDescription& inDescription, const ML::TransitionInfo& inInfo,
                     const BE::ParameterListRef& inParameters, const std::shared_ptr<Plugin>& inPlugin,
                     std::size_t inFader)
        : EffectTransition(inDescription, inInfo, inParameters)
        , mPlugin(inPlugin)
        , mFader(inFader)
    {
    }

    void GetPixelFormats(std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        outFormats = {MF::kPixelFormat_BGRA_4444_8u};
    }
    bool KeepsOpaque() const override { return false; }

protected:
    std::int32_t Draw(const Effects::TransitionCall& inCall) const override
    {
        std::vector<Setting> settings = SettingsOf(Description(), inCall.parameters);
        settings[mFader].mNumbers[0] = inCall.progress;
        return mPlugin->Run({inCall.seconds, std::move(settings), {inCall.from, inCall.to}, inCall.target});
    }

private:
    const std::shared_ptr<Plugin> mPlugin;
    const std::size_t mFader;
};

} // namespace

ML::IVideoFilterRef CreatePluginFilter(const EffectDescription& inDescription,
                                       const std::shared_ptr<Plugin>& inPlugin)
{
    return ML::IVideoFilterRef(new PluginFilter(inDescription, inPlugin));
}

ML::IVideoTransitionRef CreatePluginTransition(const EffectDescription& inDescription,
                                               const ML::TransitionInfo& inInfo,
                                               const BE::ParameterListRef& inParameters,
                                               const std::shared_ptr<Plugin>& inPlugin)
{
    const std::ptrdiff_t fader = inDescription.IndexOf(inPlugin->Traits().mFader);
    return fader < 0 ? ML::IVideoTransitionRef()
                     : ML::IVideoTransitionRef(new PluginTransition(
                           inDescription, inInfo, inParameters, inPlugin, static_cast<std::size_t>(fader)));
}

} // namespace Frei0r
