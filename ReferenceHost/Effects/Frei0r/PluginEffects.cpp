#include "ReferenceHost/Effects/Frei0r/PluginEffects.h"

#include "MF/PixelFormats.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/EffectFormats.h"
#include "ReferenceHost/Effects/EffectTransition.h"
#include "ReferenceHost/Effects/Frei0r/Warning.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <new>

namespace Frei0r
{
namespace
{

using Effects::EffectDescription;
using Effects::EffectParameters;
using Effects::ParameterKind;

constexpr std::uint32_t kOwnBits = 8;

bool IsOpaque(const MF::IVideoFrameRef& inFrame)
{
    return inFrame->GetAlphaType() == norviktypes::kAlphaChannel_Opaque;
}

// inCount: of the plug-in's own, which come first.
std::vector<Setting> SettingsOf(const EffectDescription& inDescription, const EffectParameters& inParameters,
                                std::size_t inCount)
{
    std::vector<Setting> settings(inCount);
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

// The base of plug-ins that draw a picture of an item.
class PluginDrawing : public Effects::EffectFilter
{
public:
    PluginDrawing(const EffectDescription& inDescription, const std::shared_ptr<Plugin>& inPlugin)
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
    Plugin& Own() const { return *mPlugin; }
    std::size_t OwnParameters() const { return mPlugin->Scanned().mFacts.mParameters.size(); }

    PluginCall CallOf(const Effects::FilterCall& inCall, const ir::Picture& inTarget) const
    {
        PluginCall call;
        call.mSeconds = inCall.render.mSequenceTime.AsSeconds();
        call.mSettings = SettingsOf(Description(), inCall.parameters, OwnParameters());
        call.mTarget = inTarget;
        return call;
    }

private:
    const std::shared_ptr<Plugin> mPlugin;
};

class PluginFilter final : public PluginDrawing
{
public:
    using PluginDrawing::PluginDrawing;

protected:
    std::int32_t Draw(const Effects::FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        PluginCall call = CallOf(inCall, outTarget);
        call.mInputs = {{inSource}};
        return Own().Run(call);
    }
};

class PluginSource final : public PluginDrawing
{
public:
    using PluginDrawing::PluginDrawing;

protected:
    std::int32_t Draw(const Effects::FilterCall& inCall, const ir::Picture&,
                      const ir::Picture& outTarget) const override
    {
        return Own().Run(CallOf(inCall, outTarget));
    }
};

// The track's picture lies beneath, as the first one.
class PluginMixer final : public PluginDrawing
{
public:
    using PluginDrawing::PluginDrawing;

protected:
    bool IsIdle(const Effects::FilterCall& inCall) const override
    {
        return !inCall.render.mLayers || !inCall.parameters.IsLayerSet(OwnParameters());
    }

    std::int32_t Draw(const Effects::FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        MF::IVideoFrameRef layer;
        std::int32_t status =
            inCall.render.mLayers->RenderLayer(static_cast<std::uint32_t>(OwnParameters()), layer);
        ir::Picture lower;
        status = status < 0 || !layer ? status : Effects::PictureOf(layer, lower);
        if (status < 0)
        {
            return status;
        }
        if (!layer)
        {
            for (std::int32_t y = 0; y < inSource.height; ++y)
            {
                Effects::CopyPixels(inSource, 0, y, outTarget, 0, y, inSource.width);
            }
            return status;
        }
        if (!Effects::AreAlike(lower, inSource))
        {
            return VF::kFrameStatus_BadArgument;
        }
        PluginCall call = CallOf(inCall, outTarget);
        call.mInputs = {{lower, IsOpaque(layer)}, {inSource}};
        return Own().Run(call);
    }
};

// Frames are counted from the first one of the item. What transitions show before it is drawn each by itself.
class StatefulFilter final : public PluginDrawing
{
public:
    using PluginDrawing::PluginDrawing;

    // A number of its own, as what it draws may depend on chance too: nothing of it is found in a cache by
    // another run, or by another object of this one.
    bool HasOpaqueData() const override { return true; }
    std::int32_t GetOpaqueData(MF::BinaryData& outData) const override
    {
        outData = MF::BinaryData(&mOwnNumber, sizeof(mOwnNumber));
        return 0;
    }

    std::int32_t Render(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                        MF::IVideoFrameRef& outFrame) override
    {
        const std::lock_guard lock(mLock);
        try
        {
            return RenderInOrder(inRender, inFrame, outFrame);
        }
        catch (const std::bad_alloc&)
        {
            return VF::kFrameStatus_OutOfMemory;
        }
    }

protected:
    std::int32_t Draw(const Effects::FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        PluginCall call = CallOf(inCall, outTarget);
        if (Own().Scanned().mFacts.mType == PluginType::kFilter)
        {
            call.mInputs = {{inSource}};
        }
        return mHistory->Run(call);
    }

private:
    struct Drawn
    {
        std::int64_t mFrame = 0;
        MF::IVideoFrameRef mPicture;
    };
    // Of frames that are asked for at about the same time on several threads, the later may come first.
    static constexpr std::size_t kMostDrawn = 8;

    // What frames must have in common to belong to one history. Parts of a clip that was cut share its
    // filter, and so does a clip with the one that it was before an edit of parameters.
    struct Kind
    {
        std::int32_t mWidth = 0;
        std::int32_t mHeight = 0;
        std::uint32_t mQuality = 0;
        norviktypes::FrameRate mRate;
        norviktypes::TickTime mStart;
        MF::KeyframeStore mParameters;

        friend bool operator==(const Kind&, const Kind&) = default;
    };

    static Kind KindOf(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame)
    {
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        return {bounds.Width(),
                bounds.Height(),
                inRender.mInfo != nullptr ? inRender.mInfo->quality : 0,
                inRender.mFrameRate,
                inRender.mEffectStart,
                inRender.mParameters != nullptr ? *inRender.mParameters : MF::KeyframeStore()};
    }

    // Both times are of the media. That of the sequence stands still where a transition shows what lies in
    // front of the item, and only counts from where an item is first seen that begins before its media.
    static std::int64_t FrameOfItem(const ML::VideoFilterRender& inRender)
    {
        const norviktypes::TickTime time = std::min(inRender.mClipTime, inRender.mSequenceTime);
        return (time - inRender.mEffectStart).ToFrame64(inRender.mFrameRate);
    }

    std::int32_t RenderInOrder(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                               MF::IVideoFrameRef& outFrame)
    {
        const std::int64_t wanted = FrameOfItem(inRender);
        const Kind kind = KindOf(inRender, inFrame);
        if (kind == mKind)
        {
            const auto known = std::find_if(mDrawn.begin(), mDrawn.end(),
                                            [&](const Drawn& inDrawn) { return inDrawn.mFrame == wanted; });
            if (known != mDrawn.end())
            {
                outFrame = known->mPicture;
                return 0;
            }
        }
        if (!mHistory || kind != mKind || wanted < mNext || wanted < 0)
        {
            Begin(kind, std::min<std::int64_t>(wanted, 0));
        }
        std::int32_t status = mHistory ? 0 : VF::kFrameStatus_BadArgument;
        while (status >= 0 && mNext <= wanted)
        {
            status = DrawNext(inRender, inFrame, wanted - mNext, outFrame);
        }
        if (status < 0 || wanted < 0)
        {
            // What it has seen is not known, or nothing of the item.
            mHistory.reset();
        }
        return status;
    }

    void Begin(const Kind& inKind, std::int64_t inFirst)
    {
        mHistory = Own().MakeHistory(inKind.mWidth, inKind.mHeight);
        mKind = inKind;
        mNext = inFirst;
        mDrawn.clear();
    }

    // The frame that lies inBefore frames before the wanted one, of which inFrame is the input.
    std::int32_t DrawNext(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                          std::int64_t inBefore, MF::IVideoFrameRef& outFrame)
    {
        ML::VideoFilterRender render = inRender;
        const auto distance = norviktypes::TickTime::FromFrame(inBefore, inRender.mFrameRate);
        render.mFrame -= inBefore;
        render.mClipTime = render.mClipTime - distance;
        render.mSequenceTime = render.mSequenceTime - distance;
        MF::IVideoFrameRef input = inFrame;
        std::int32_t status = inBefore > 0 ? FetchInput(render, inFrame, input) : 0;
        status = status < 0 ? status : EffectFilter::Render(render, input, outFrame);
        if (status >= 0)
        {
            mDrawn.push_back({mNext, outFrame});
            ++mNext;
            if (mDrawn.size() > kMostDrawn)
            {
                mDrawn.pop_front();
            }
        }
        return status;
    }

    // In the way in which the render brings frames to the filter.
    static std::int32_t FetchInput(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inLike,
                                   MF::IVideoFrameRef& outInput)
    {
        MF::IVideoFrameRef fetched;
        if (inRender.mSubTree)
        {
            inRender.mSubTree->RenderFrame(inRender.mClipTime, fetched, true);
        }
        MF::IVideoFrameRef input;
        if (!fetched || inLike->CreateCompatibleFrame(input) < 0)
        {
            return VF::kFrameStatus_BadArgument;
        }
        input->SetFieldType(fetched->GetFieldType());
        const auto quality = inRender.mInfo != nullptr
                                 ? static_cast<norviktypes::RenderQuality>(inRender.mInfo->quality)
                                 : norviktypes::kRenderQuality_High;
        const std::int32_t status = VF::VideoFrameManipulators::CopyFrame(fetched, input, quality);
        outInput = input;
        return status;
    }

    const TVK::Guid mOwnNumber = TVK::Guid::CreateUnique();
    std::mutex mLock; // for all that follows
    std::unique_ptr<IPluginHistory> mHistory;
    Kind mKind;
    std::int64_t mNext = 0; // the frame that the history sees next
    std::deque<Drawn> mDrawn;
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
        PluginCall call;
        call.mSeconds = inCall.seconds;
        call.mSettings = SettingsOf(Description(), inCall.parameters, Description().mParameters.size());
        call.mSettings[mFader].mNumbers[0] = inCall.progress;
        call.mInputs = {{inCall.from}, {inCall.to}};
        call.mTarget = inCall.target;
        return mPlugin->Run(call);
    }

private:
    const std::shared_ptr<Plugin> mPlugin;
    const std::size_t mFader;
};

} // namespace

ML::IVideoFilterRef CreatePluginFilter(const EffectDescription& inDescription,
                                       const std::shared_ptr<Plugin>& inPlugin)
{
    const PluginType type = inPlugin->Scanned().mFacts.mType;
    if (inPlugin->Traits().mIsStateful && type <= PluginType::kSource)
    {
        return ML::IVideoFilterRef(new StatefulFilter(inDescription, inPlugin));
    }
    switch (type)
    {
    case PluginType::kFilter: return ML::IVideoFilterRef(new PluginFilter(inDescription, inPlugin));
    case PluginType::kSource: return ML::IVideoFilterRef(new PluginSource(inDescription, inPlugin));
    case PluginType::kMixer2: return ML::IVideoFilterRef(new PluginMixer(inDescription, inPlugin));
    case PluginType::kMixer3: break;
    }
    return {};
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
