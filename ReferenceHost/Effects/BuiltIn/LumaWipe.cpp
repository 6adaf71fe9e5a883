#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EdgeMix.h"
#include "ReferenceHost/Effects/EffectTransition.h"
#include "ReferenceHost/Effects/GrayMap.h"

#include <algorithm>

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
        // One step of an 8-bit map is the sharpest edge that it can have.
        const auto softness = static_cast<float>(std::max(1.0 / 255.0, inCall.parameters.Percent(kSoftness)));
        const bool isInverted = inCall.parameters.Switch(kInvert);
        const auto progress = static_cast<float>(inCall.progress);
        const std::shared_ptr<const GrayMap> map = mFile.Get(inCall.parameters.Text(kMap));
        const EdgeMix mix(inCall.from, inCall.to, inCall.target, {});
        const std::int32_t width = inCall.target.width;
        for (std::int32_t y = 0; y < inCall.target.height; ++y)
        {
            float* to = mix.ToWeights();
            std::fill_n(to, width, progress);
            if (map)
            {
                map->ReadRow(y, width, inCall.target.height, to);
                for (std::int32_t x = 0; x < width; ++x)
                {
                    const float level = isInverted ? 1.0F - to[x] : to[x];
                    to[x] = std::clamp((progress * (1.0F + softness) - level) / softness, 0.0F, 1.0F);
                }
            }
            std::transform(to, to + width, mix.FromWeights(), [](float inTo) { return 1.0F - inTo; });
            mix.Draw(0, y, width);
        }
        return 0;
    }

private:
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
