#include "ReferenceHost/ImageRoutines/ComposeRows.h"

#include <vector>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/ComposeReference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace ir
{

bool IsBlendMode(std::uint32_t inMode) noexcept
{
    return inMode < kIR_Blend_Count;
}

void ComposeByteRow(const std::uint8_t* inPremultiplied, const std::uint8_t* inCoverage,
                    const ComposeSettings& inSettings, const Picture& ioTarget, std::int32_t inX,
                    std::int32_t inY, std::int32_t inCount)
{
    const auto count = static_cast<std::size_t>(inCount);
    std::vector<float> pixels(count * 4);
    std::vector<float> coverage(count, 1.0F);
    for (std::size_t i = 0; i < count; ++i)
    {
        for (int c = 0; c < 4; ++c)
        {
            const ComponentRange range = RangeOf(ioTarget, c);
            const std::size_t at = i * 4 + static_cast<std::size_t>(kPackedPlace[c]);
            pixels[at] = static_cast<float>((inPremultiplied[at] - range.offset) / range.scale);
        }
        coverage[i] = inCoverage == nullptr ? 1.0F : static_cast<float>(inCoverage[i]) / 255.0F;
    }
    ComposeFloatRow(pixels.data(), coverage.data(), inSettings, ioTarget, inX, inY, inCount);
}

void ComposeFloatRow(const float* inPremultiplied, const float* inCoverage, const ComposeSettings& inSettings,
                     const Picture& ioTarget, std::int32_t inX, std::int32_t inY, std::int32_t inCount)
{
    for (std::int32_t i = 0; i < inCount; ++i)
    {
        const float* place = inPremultiplied + static_cast<std::ptrdiff_t>(i) * 4;
        const double share = static_cast<double>(inSettings.opacity) *
                             (inCoverage == nullptr ? 1.0 : static_cast<double>(inCoverage[i]));
        reference::Pixel source;
        for (int c = 0; c < 4; ++c)
        {
            source.c[c] = static_cast<double>(place[kPackedPlace[c]]) * share;
        }
        const reference::Pixel backdrop = reference::ReadPixel(ioTarget, inX + i, inY);
        const reference::Pixel result =
            reference::ComposePixel(source, backdrop, ioTarget, inSettings, inX + i, inY);
        for (int c = 0; c < 4; ++c)
        {
            const double value = c == 3 && !ioTarget.HasAlpha() ? 1.0 : result.c[c];
            reference::WritePlane(ioTarget, c, inX + i, inY, value);
        }
    }
}

}
