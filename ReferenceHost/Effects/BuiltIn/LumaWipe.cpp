#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EdgeMix.h"
#include "ReferenceHost/Effects/EffectTransition.h"
#include "ReferenceHost/Effects/GrayMap.h"

#include <algorithm>
#include <optional>

namespace Effects
{
namespace
{

constexpr std::size_t kMap = 0;
constexpr std::size_t kSoftness = 1;
constexpr std::size_t kInvert = 2;

// The incoming picture shows first where a map is dark. Without a map all of it goes over at once: a dissolve.
class LumaWipe final : public EffectTransition
{
public:
    using EffectTransition::EffectTransition;

protected:
    std::int32_t Draw(const TransitionCall& inCall) const override
    {
        const std::optional<StretchedMap> map = MapFor(inCall);
        const EdgeMix mix(inCall.from, inCall.to, inCall.target, {});
        const std::int32_t width = inCall.target.width;
        for (std::int32_t y = 0; y < inCall.target.height; ++y)
        {
            float* to = mix.ToWeights();
            std::fill_n(to, width, static_cast<float>(inCall.progress));
            if (map)
            {
                map->ReadRow(y, to);
                TurnIntoShares(inCall, to);
            }
            std::transform(to, to + width, mix.FromWeights(), [](float inTo) { return 1.0F - inTo; });
            mix.Draw(0, y, width);
        }
        return 0;
    }

private:
    std::optional<StretchedMap> MapFor(const TransitionCall& inCall) const
    {
        const std::shared_ptr<const GrayMap> map = mFile.Get(inCall.parameters.Text(kMap));
        return map ? std::make_optional<StretchedMap>(map, inCall.target.width, inCall.target.height)
                   : std::nullopt;
    }

    // Levels of the map into shares of the incoming picture.
    static void TurnIntoShares(const TransitionCall& inCall, float* ioLevels)
    {
        // One step of an 8-bit map is the sharpest edge that it can have.
        const auto softness = static_cast<float>(std::max(1.0 / 255.0, inCall.parameters.Percent(kSoftness)));
        const bool isInverted = inCall.parameters.Switch(kInvert);
        const float reached = static_cast<float>(inCall.progress) * (1.0F + softness);
        for (std::int32_t x = 0; x < inCall.target.width; ++x)
        {
            const float level = isInverted ? 1.0F - ioLevels[x] : ioLevels[x];
            ioLevels[x] = std::clamp((reached - level) / softness, 0.0F, 1.0F);
        }
    }

    mutable GrayMapFile mFile;
};

} // namespace

void AddLumaWipe(BuiltInTable& ioTable)
{
    ioTable.push_back(TransitionRow<LumaWipe>(
        "luma-wipe", "", "Luma Wipe",
        {FileParameter("Map"), PercentParameter("Softness", 0, 100, 10), BoolParameter("Invert", false)}));
}

} // namespace Effects
