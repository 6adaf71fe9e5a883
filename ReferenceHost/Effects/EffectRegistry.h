// Where effects and transitions are looked up and made.
//
// Each provider has a name, the part of an id before its colon, and its descriptions. The built-in provider
// "vrender" is always there and comes first; others are added when a program starts. Descriptions live as long
// as the process.
//
// Thread-safety: safe.
#pragma once

#include "ML/VideoFilter.h"
#include "ML/VideoTransition.h"
#include "ReferenceHost/Effects/EffectDescription.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Effects
{

// A family of effects. Thread-safety: safe.
class IEffectProvider
{
public:
    virtual ~IEffectProvider() = default;

    virtual std::string GetName() const = 0;
    // May take its time on the first call, which is made when an id names the provider, a match name is of none
    // before it, or everything is listed. The answer never changes.
    virtual const std::vector<EffectDescription>& GetEffects() const = 0;
    // inDescription is one of GetEffects, of the kind that is asked for. Empty if it can't be made.
    virtual ML::IVideoFilterRef CreateFilter(const EffectDescription& inDescription) const = 0;
    virtual ML::IVideoTransitionRef CreateTransition(const EffectDescription& inDescription,
                                                     const ML::TransitionInfo& inInfo,
                                                     const BE::ParameterListRef& inParameters) const = 0;
};

class EffectRegistry
{
public:
    // With the built-in provider. Most callers want the process's own: GetEffectRegistry.
    EffectRegistry();
    ~EffectRegistry();
    EffectRegistry(const EffectRegistry&) = delete;
    EffectRegistry& operator=(const EffectRegistry&) = delete;

    // False, and nothing added, if there is one of that name.
    bool AddProvider(std::unique_ptr<IEffectProvider> inProvider);

    // By id or match name; of two with one match name the one that came first. Null if there is none.
    const EffectDescription* Find(std::string_view inName) const;
    // All, providers in the order in which they came.
    std::vector<const EffectDescription*> List() const;

    // Empty for an unknown name and for one of another kind. The object is the caller's own.
    ML::IVideoFilterRef CreateFilter(std::string_view inName) const;
    // inInfo: its match name and instance id are filled in. Start and end percent, reverse and switched sources
    // hold for every transition; all else that a transition knows is in inParameters, which may be empty or
    // shorter than the description's list: defaults stand in.
    ML::IVideoTransitionRef CreateTransition(std::string_view inName, const ML::TransitionInfo& inInfo,
                                             const BE::ParameterListRef& inParameters) const;

private:
    struct State;
    std::unique_ptr<State> mState;
};

// The registry of this process.
EffectRegistry& GetEffectRegistry();

} // namespace Effects
