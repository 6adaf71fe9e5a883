#include "ReferenceHost/Effects/Frei0r/PluginProvider.h"

#include "ReferenceHost/Effects/Frei0r/PluginEffects.h"
#include "ReferenceHost/Effects/Frei0r/Scan.h"
#include "ReferenceHost/Effects/Frei0r/SearchPath.h"
#include "ReferenceHost/Effects/Frei0r/Warning.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace Frei0r
{
namespace
{

using Effects::EffectDescription;
using Effects::EffectKind;
using Effects::ParameterDescription;

std::uint8_t ByteOf(double inNumber)
{
    return static_cast<std::uint8_t>(std::clamp(inNumber, 0.0, 1.0) * 255.0 + 0.5);
}

ParameterDescription Describe(const ParameterFacts& inFacts)
{
    const double number = inFacts.mNumbers[0];
    switch (inFacts.mType)
    {
    case ParameterType::kBool: return Effects::BoolParameter(inFacts.mName, number >= 0.5);
    case ParameterType::kColor:
        return Effects::ColorParameter(inFacts.mName, ByteOf(number), ByteOf(inFacts.mNumbers[1]),
                                       ByteOf(inFacts.mNumbers[2]));
    case ParameterType::kPosition: return Effects::PointParameter(inFacts.mName, number, inFacts.mNumbers[1]);
    case ParameterType::kString: return Effects::TextParameter(inFacts.mName, inFacts.mText);
    case ParameterType::kDouble: break;
    }
    // A few plug-ins begin beyond the range that all should keep to.
    return Effects::NumberParameter(inFacts.mName, "", std::min(0.0, number), std::max(1.0, number), number);
}

const char* NameOf(PluginType inType)
{
    switch (inType)
    {
    case PluginType::kFilter: return "filter";
    case PluginType::kSource: return "source";
    case PluginType::kMixer2: return "mixer of two";
    case PluginType::kMixer3: return "mixer of three";
    }
    return "";
}

bool HasFader(const PluginFacts& inFacts, const PluginTraits& inTraits)
{
    return inFacts.mType == PluginType::kMixer2 && !inTraits.mFader.empty() &&
           std::any_of(inFacts.mParameters.begin(), inFacts.mParameters.end(),
                       [&](const ParameterFacts& inParameter) {
                           return inParameter.mName == inTraits.mFader &&
                                  inParameter.mType == ParameterType::kDouble;
                       });
}

EffectKind KindOf(const PluginFacts& inFacts, bool inHasFader)
{
    switch (inFacts.mType)
    {
    case PluginType::kFilter: return EffectKind::kFilter;
    case PluginType::kSource: return EffectKind::kGenerator;
    case PluginType::kMixer2:
    case PluginType::kMixer3: break;
    }
    return inHasFader ? EffectKind::kTransition : EffectKind::kBlend;
}

std::string WhyNot(const PluginFacts& inFacts, const PluginTraits& inTraits,
                   const ProviderSettings& inSettings)
{
    if (!inFacts.mWhyNot.empty())
    {
        return inFacts.mWhyNot;
    }
    if (inFacts.mType == PluginType::kMixer3)
    {
        return "mixes three pictures, and an effect looks at one other track";
    }
    if (inTraits.mCrashes && !inSettings.mSandbox)
    {
        return "crashes with some of its parameters, and is not run in a process of its own";
    }
    if (!inTraits.mIsStateful || inSettings.mAllowsStateful)
    {
        return "";
    }
    return "depends on earlier frames or on chance, and frames are made in any order";
}

// Its name is no parameter's.
ParameterDescription TrackParameter(const std::vector<ParameterDescription>& inOthers)
{
    std::string name = "Track";
    while (std::any_of(inOthers.begin(), inOthers.end(),
                       [&](const ParameterDescription& inOther) { return inOther.mName == name; }))
    {
        name += " beneath";
    }
    return Effects::LayerParameter(name);
}

EffectDescription Describe(const ScannedPlugin& inPlugin, const PluginTraits& inTraits,
                           const ProviderSettings& inSettings)
{
    const PluginFacts& facts = inPlugin.mFacts;
    EffectDescription description;
    description.mId = "frei0r:" + inPlugin.mFile.mStem;
    description.mMatchName = description.mId;
    description.mTitle = facts.mName.empty() ? inPlugin.mFile.mStem : facts.mName;
    description.mKind = KindOf(facts, HasFader(facts, inTraits));
    description.mWhyNot = WhyNot(facts, inTraits, inSettings);
    description.mIsStateful = facts.mWhyNot.empty() && inTraits.mIsStateful;
    for (const ParameterFacts& parameter : facts.mParameters)
    {
        description.mParameters.push_back(Describe(parameter));
        description.mParameters.back().mExplanation = parameter.mExplanation;
    }
    if (description.mKind == EffectKind::kBlend && facts.mType == PluginType::kMixer2)
    {
        description.mParameters.push_back(TrackParameter(description.mParameters));
    }
    description.mNotes.emplace_back("file", inPlugin.mFile.mPath);
    if (facts.mName.empty())
    {
        return description;
    }
    description.mNotes.emplace_back("type", NameOf(facts.mType));
    description.mNotes.emplace_back("version", std::to_string(facts.mMajorVersion) + "." +
                                                   std::to_string(facts.mMinorVersion));
    description.mNotes.emplace_back("author", facts.mAuthor);
    description.mNotes.emplace_back("explanation", facts.mExplanation);
    return description;
}

class PluginProvider final : public Effects::IEffectProvider
{
public:
    explicit PluginProvider(ProviderSettings inSettings) : mSettings(std::move(inSettings)) {}

    std::string GetName() const override { return "frei0r"; }

    const std::vector<EffectDescription>& GetEffects() const override
    {
        std::call_once(mOnce, [this] { Look(); });
        return mEffects;
    }

    ML::IVideoFilterRef CreateFilter(const EffectDescription& inDescription) const override
    {
        const std::shared_ptr<Plugin> plugin = PluginFor(inDescription);
        return plugin ? CreatePluginFilter(inDescription, plugin) : ML::IVideoFilterRef();
    }

    ML::IVideoTransitionRef CreateTransition(const EffectDescription& inDescription,
                                             const ML::TransitionInfo& inInfo,
                                             const BE::ParameterListRef& inParameters) const override
    {
        const std::shared_ptr<Plugin> plugin = PluginFor(inDescription);
        return plugin ? CreatePluginTransition(inDescription, inInfo, inParameters, plugin)
                      : ML::IVideoTransitionRef();
    }

private:
    void Look() const
    {
        TraitTable traits;
        const char* const more = std::getenv("VR_FREI0R_TRAITS");
        if (more != nullptr && !traits.AddFile(more))
        {
            Warn(std::string(more) + ", named by VR_FREI0R_TRAITS, cannot be read");
        }
        const std::vector<std::string> folders =
            mSettings.mFolders.empty() ? SearchFolders() : mSettings.mFolders;
        for (ScannedPlugin& scanned : ScanPlugins(FindPluginFiles(folders), mSettings.mCacheFile))
        {
            const PluginTraits known = traits.Of(scanned.mFile.mStem);
            mEffects.push_back(Describe(scanned, known, mSettings));
            mPlugins.push_back(std::make_shared<Plugin>(std::move(scanned), known, mSettings.mSandbox));
        }
    }

    // Null for one that can't be used.
    std::shared_ptr<Plugin> PluginFor(const EffectDescription& inDescription) const
    {
        const auto place = static_cast<std::size_t>(&inDescription - GetEffects().data());
        const std::shared_ptr<Plugin> plugin = inDescription.mWhyNot.empty() ? mPlugins.at(place) : nullptr;
        return plugin && plugin->Load() ? plugin : nullptr;
    }

    const ProviderSettings mSettings;
    mutable std::once_flag mOnce;
    mutable std::vector<EffectDescription> mEffects;
    mutable std::vector<std::shared_ptr<Plugin>> mPlugins; // at the same places
};

} // namespace

std::unique_ptr<Effects::IEffectProvider> CreatePluginProvider(ProviderSettings inSettings)
{
    return std::make_unique<PluginProvider>(std::move(inSettings));
}

} // namespace Frei0r
