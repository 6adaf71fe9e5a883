// Effects and transitions of documents as objects of this host.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "BE/Effects.h"
#include "ML/VideoTransition.h"
#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Project/Import/ParameterMaker.h"
#include "ReferenceHost/Project/Otio/Paths.h"
#include "ReferenceHost/Project/Otio/Problems.h"
#include "ReferenceHost/Project/Otio/Timeline.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Import
{

// The numbers of the tracks that the effect looks at; none of an effect that the registry doesn't know.
std::vector<std::uint32_t> LayersOf(const Effects::EffectRegistry& inRegistry, const Otio::Effect& inEffect);

class EffectMaker
{
public:
    // The path of a file that a parameter names; empty if there is none.
    using FileFinder = std::function<std::string(const std::string&)>;

    EffectMaker(const Effects::EffectRegistry& inRegistry, const Otio::PathTable& inPaths,
                FileFinder inFindFile, Otio::ProblemList& inProblems)
        : mRegistry(inRegistry)
        , mPaths(inPaths)
        , mFindFile(std::move(inFindFile))
        , mProblems(inProblems)
    {
    }

    // All effects of an item, the one that is applied last in front: Motion and Opacity from its settings, and
    // those that the registry knows. Others are left out, with a warning.
    std::vector<BE::IEffectRef> MakeEffects(const Otio::Item& inItem, const KeyAxis& inAxis);

    // A dissolve, with a warning, for a type that is unknown. Never empty.
    ML::IVideoTransitionRef MakeTransition(const Otio::Transition& inTransition,
                                           const norviktypes::FrameRate& inFrameRate);

private:
    BE::IEffectRef MakeEffect(const Otio::Effect& inEffect, const KeyAxis& inAxis);
    MF::KeyframeStore MakeParameters(const Effects::EffectDescription& inDescription,
                                     const std::vector<Otio::Parameter>& inParameters, const KeyAxis& inAxis);
    MF::IKeyframedParameterRef MakeParameter(const Effects::ParameterDescription& inDescription,
                                             const Otio::Parameter* inParameter, const KeyAxis& inAxis);
    MF::IKeyframedParameterRef FromText(const Effects::ParameterDescription& inDescription,
                                        const std::string& inText, const std::string& inPointer);
    MF::IKeyframedParameterRef FromNumbers(const Effects::ParameterDescription& inDescription,
                                           const std::vector<Otio::Scalar>& inNumbers, const KeyAxis& inAxis,
                                           const std::string& inPointer);

    const Effects::EffectRegistry& mRegistry;
    const Otio::PathTable& mPaths;
    const FileFinder mFindFile;
    Otio::ProblemList& mProblems;
};

}
