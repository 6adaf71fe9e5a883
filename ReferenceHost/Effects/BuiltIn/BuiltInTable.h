// The families of the built-in provider: each adds its rows to the one table.
//
// Thread-safety: called once, when the provider is made.
#pragma once

#include "ML/VideoFilter.h"
#include "ML/VideoTransition.h"
#include "ReferenceHost/Effects/EffectDescription.h"

#include <string>
#include <utility>
#include <vector>

namespace Effects
{

struct BuiltIn
{
    EffectDescription mDescription;
    // The one of its kind; the other is null.
    ML::IVideoFilterRef (*mMakeFilter)(const EffectDescription&) = nullptr;
    ML::IVideoTransitionRef (*mMakeTransition)(const EffectDescription&, const ML::TransitionInfo&,
                                               const BE::ParameterListRef&) = nullptr;
};

using BuiltInTable = std::vector<BuiltIn>;

template <class Filter>
BuiltIn FilterRow(std::string inName, std::string inMatchName, std::string inTitle,
                  std::vector<ParameterDescription> inParameters)
{
    std::string id = "vrender:" + std::move(inName);
    std::string matchName = inMatchName.empty() ? id : std::move(inMatchName);
    return {{std::move(id), std::move(matchName), std::move(inTitle), EffectKind::kFilter,
             std::move(inParameters)},
            [](const EffectDescription& inDescription)
            { return ML::IVideoFilterRef(new Filter(inDescription)); },
            nullptr};
}

template <class Transition>
BuiltIn TransitionRow(std::string inName, std::string inMatchName, std::string inTitle,
                      std::vector<ParameterDescription> inParameters)
{
    std::string id = "vrender:" + std::move(inName);
    std::string matchName = inMatchName.empty() ? id : std::move(inMatchName);
    return {{std::move(id), std::move(matchName), std::move(inTitle), EffectKind::kTransition,
             std::move(inParameters)},
            nullptr,
            [](const EffectDescription& inDescription, const ML::TransitionInfo& inInfo,
               const BE::ParameterListRef& inValues)
            { return ML::IVideoTransitionRef(new Transition(inDescription, inInfo, inValues)); }};
}

void AddDissolves(BuiltInTable& ioTable);
void AddWipes(BuiltInTable& ioTable);
void AddSlides(BuiltInTable& ioTable);
void AddLumaWipe(BuiltInTable& ioTable);
void AddColorFilters(BuiltInTable& ioTable);
void AddToneFilters(BuiltInTable& ioTable);
void AddCubeFilter(BuiltInTable& ioTable);
void AddBlurFilters(BuiltInTable& ioTable);
void AddTransformFilter(BuiltInTable& ioTable);
void AddCornerPinFilter(BuiltInTable& ioTable);
void AddGarbageMatteFilter(BuiltInTable& ioTable);
void AddTimecodeFilter(BuiltInTable& ioTable);
void AddColorKeys(BuiltInTable& ioTable);
void AddMatteKeys(BuiltInTable& ioTable);

} // namespace Effects
