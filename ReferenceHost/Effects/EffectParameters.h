// The values of an effect's parameters at one moment.
//
// A parameter that the list doesn't have, that fails or that holds what is no number has its default; numbers are
// held within the range of their description. Numbers are read from whatever type of number the parameter has.
//
// Thread-safety: belongs to one render; reads parameters that are safe by themselves.
#pragma once

#include "MF/KeyframedParameter.h"
#include "ReferenceHost/Effects/EffectDescription.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Effects
{

// Straight, 0 to 1, coded as pictures are.
struct Color
{
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
    double a = 1.0;
};

class EffectParameters
{
public:
    // inStore may be null. All are kept by address.
    EffectParameters(const EffectDescription& inDescription, const MF::KeyframeStore* inStore,
                     const norviktypes::TickTime& inTime);

    // By the place of the parameter, which the description has.
    double Number(std::size_t inIndex) const;
    bool Switch(std::size_t inIndex) const { return Number(inIndex) >= 0.5; }
    std::uint32_t Choice(std::size_t inIndex) const;
    double Percent(std::size_t inIndex) const { return Number(inIndex) / 100.0; } // 1 is 100 %
    double Radians(std::size_t inIndex) const;
    TVK::ParamPoint<double> Point(std::size_t inIndex) const;
    Color ColorOf(std::size_t inIndex) const;
    std::string Text(std::size_t inIndex) const; // UTF-8
    bool IsLayerSet(std::size_t inIndex) const;

private:
    const MF::IKeyframedParameter* Find(std::size_t inIndex) const;

    const EffectDescription& mDescription;
    const MF::KeyframeStore* mStore;
    norviktypes::TickTime mTime;
};

} // namespace Effects
