#include "ReferenceHost/Effects/EffectRegistry.h"

#include "ReferenceHost/Effects/BuiltIn/BuiltInEffects.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace Effects
{
namespace
{

struct Found
{
    const IEffectProvider* provider = nullptr;
    const EffectDescription* description = nullptr;
};

Found FindIn(const IEffectProvider& inProvider, std::string_view inName,
             std::string EffectDescription::*inField)
{
    const std::vector<EffectDescription>& effects = inProvider.GetEffects();
    const auto found =
        std::find_if(effects.begin(), effects.end(),
                     [&](const EffectDescription& inEffect) { return inEffect.*inField == inName; });
    return found == effects.end() ? Found{} : Found{&inProvider, &*found};
}

} // namespace

struct EffectRegistry::State
{
    using Providers = std::vector<std::shared_ptr<const IEffectProvider>>;

    // A copy, as a provider may be slow to answer and is asked without the lock.
    Providers Copy() const
    {
        const std::lock_guard lock(mLock);
        return mProviders;
    }

    Found Find(std::string_view inName) const
    {
        const Providers providers = Copy();
        const std::string_view prefix = inName.substr(0, inName.find(':'));
        for (const auto& provider : providers)
        {
            if (prefix.size() < inName.size() && provider->GetName() == prefix)
            {
                return FindIn(*provider, inName, &EffectDescription::mId);
            }
        }
        for (const auto& provider : providers)
        {
            if (const Found found = FindIn(*provider, inName, &EffectDescription::mMatchName);
                found.description != nullptr)
            {
                return found;
            }
        }
        return {};
    }

    mutable std::mutex mLock;
    Providers mProviders;
};

EffectRegistry::EffectRegistry() : mState(std::make_unique<State>())
{
    AddProvider(CreateBuiltInProvider());
}

EffectRegistry::~EffectRegistry() = default;

bool EffectRegistry::AddProvider(std::unique_ptr<IEffectProvider> inProvider)
{
    const std::string name = inProvider->GetName();
    const std::lock_guard lock(mState->mLock);
    State::Providers& providers = mState->mProviders;
    const bool isKnown = std::any_of(providers.begin(), providers.end(),
                                     [&](const auto& inKnown) { return inKnown->GetName() == name; });
    if (!isKnown)
    {
        providers.push_back(std::move(inProvider));
    }
    return !isKnown;
}

const EffectDescription* EffectRegistry::Find(std::string_view inName) const
{
    return mState->Find(inName).description;
}

std::vector<const EffectDescription*> EffectRegistry::List() const
{
    std::vector<const EffectDescription*> all;
    for (const auto& provider : mState->Copy())
    {
        for (const EffectDescription& effect : provider->GetEffects())
        {
            all.push_back(&effect);
        }
    }
    return all;
}

ML::IVideoFilterRef EffectRegistry::CreateFilter(std::string_view inName) const
{
    const Found found = mState->Find(inName);
    const bool isOne = found.description != nullptr && IsFilter(found.description->mKind);
    return isOne ? found.provider->CreateFilter(*found.description) : ML::IVideoFilterRef();
}

ML::IVideoTransitionRef EffectRegistry::CreateTransition(std::string_view inName,
                                                         const ML::TransitionInfo& inInfo,
                                                         const BE::ParameterListRef& inParameters) const
{
    const Found found = mState->Find(inName);
    const bool isOne = found.description != nullptr && found.description->mKind == EffectKind::kTransition;
    return isOne ? found.provider->CreateTransition(*found.description, inInfo, inParameters)
                 : ML::IVideoTransitionRef();
}

EffectRegistry& GetEffectRegistry()
{
    // Never destroyed: filters that are still held at the end of the process read their descriptions.
    static EffectRegistry& sRegistry = *new EffectRegistry();
    return sRegistry;
}

} // namespace Effects
