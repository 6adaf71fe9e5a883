#include <algorithm>
#include <cstring>
#include <vector>

#include "ReferenceHost/ImageRoutines/ComposeBytes.h"

namespace ir::reference
{
namespace
{

constexpr std::uint32_t kAll = 65535;
constexpr int kPlaces = 4;
constexpr int kAlpha = 3;

std::uint32_t High(std::uint32_t inOne, std::uint32_t inOther)
{
    return (inOne * inOther) >> 16;
}

std::uint32_t Limited(std::uint32_t inSum)
{
    return std::min(inSum, kAll);
}

std::uint32_t Less(std::uint32_t inFrom, std::uint32_t inAmount)
{
    return inFrom > inAmount ? inFrom - inAmount : 0;
}

// A code with eight bits behind the point as a share.
std::uint32_t ShareOf(std::uint32_t inCode)
{
    return inCode + (inCode >> 8);
}

struct Pixel4
{
    std::uint32_t c[kPlaces]; // codes with eight bits behind the point
};

Pixel4 Load(const std::uint8_t* inPixel)
{
    Pixel4 pixel = {};
    for (int i = 0; i < kPlaces; ++i)
    {
        pixel.c[i] = static_cast<std::uint32_t>(inPixel[i]) << 8;
    }
    return pixel;
}

Pixel4 Split(std::uint32_t inPixel)
{
    std::uint8_t bytes[4];
    std::memcpy(bytes, &inPixel, 4);
    return Load(bytes);
}

std::uint8_t Rounded(std::uint32_t inCode)
{
    return static_cast<std::uint8_t>(Limited(inCode + 128) >> 8);
}

void Store(const Pixel4& inPixel, std::uint8_t* outPixel)
{
    for (int i = 0; i < kPlaces; ++i)
    {
        outPixel[i] = Rounded(inPixel.c[i]);
    }
}

std::uint32_t Decode(std::uint32_t inCode)
{
    const std::uint32_t x = ShareOf(inCode);
    std::uint32_t sum = curve::kDecode[3];
    sum = curve::kDecode[2] + High(x, sum);
    sum = curve::kDecode[1] + High(x, sum);
    sum = Limited(curve::kDecode[0] + High(x, sum));
    return x < curve::kCodedFoot ? High(x, curve::kFootSlope) : sum;
}

std::uint32_t Encode(std::uint32_t inLinear)
{
    if (inLinear < curve::kLinearFoot)
    {
        return inLinear * 2 + High(inLinear, curve::kFootRise);
    }
    std::uint32_t mantissa = inLinear;
    static constexpr std::uint16_t kShrinks[3] = {curve::kShrink4, curve::kShrink2, curve::kShrink1};
    static constexpr std::uint32_t kShifts[3] = {4, 2, 1};
    bool isShifted[3];
    for (int i = 0; i < 3; ++i)
    {
        isShifted[i] = mantissa < (65536U >> kShifts[i]);
        mantissa = isShifted[i] ? mantissa << kShifts[i] : mantissa;
    }
    const std::uint32_t t = (mantissa << 1) & kAll;
    std::uint32_t sum = curve::kEncode[2] - High(t, curve::kEncode[3]);
    sum = curve::kEncode[1] - High(t, sum);
    sum = curve::kEncode[0] + High(t, sum);
    for (int i = 0; i < 3; ++i)
    {
        sum = isShifted[i] ? High(sum, kShrinks[i]) : sum;
    }
    return sum - curve::kEncodeDrop;
}

// The alphas of two straight pixels, and what they come to.
struct Weighed
{
    std::uint32_t share; // of the source in the result's colour
    std::uint32_t alpha; // a code
    float toSource;      // what premultiplied source and target colour are multiplied by
    float toTarget;
};

Weighed Weigh(std::uint32_t inSourceAlpha, std::uint32_t inShare, std::uint32_t inTargetAlpha)
{
    const float opacity = static_cast<float>(inShare) * (1.0F / 65535.0F);
    const float source = static_cast<float>(inSourceAlpha) * opacity;
    const float seen = static_cast<float>(inTargetAlpha) * (1.0F - source * (1.0F / 255.0F));
    const float alpha = source + seen;
    const float inverse = 65535.0F / std::max(alpha, kLeastAlpha);
    return {static_cast<std::uint32_t>(source * inverse + 0.5F), static_cast<std::uint32_t>(alpha + 0.5F),
            opacity * inverse * (255.0F / 65535.0F), seen * inverse * (1.0F / 65535.0F)};
}

// One pixel on another.
class Meeting
{
public:
    Meeting(const ByteLayers& inLayers, const std::uint8_t* inSource, std::uint32_t inCoverage,
            const std::uint8_t* inTarget)
        : mLayers(inLayers)
        , mBlack(Split(inLayers.black))
        , mSource(Load(inSource))
        , mTarget(inLayers.targetIsEmpty ? mBlack : Load(inTarget))
        , mShare(High(inLayers.opacity, inCoverage * 257))
    {
        const bool isOpaque = !inLayers.targetIsStraight && !inLayers.targetIsPremultiplied;
        mSource.c[kAlpha] = inLayers.sourceIsOpaque ? 65280 : mSource.c[kAlpha];
        mTarget.c[kAlpha] = isOpaque ? 65280 : mTarget.c[kAlpha];
    }

    Pixel4 Result() const
    {
        const bool isWhole = !mLayers.targetIsStraight || AlphaOf(mTarget) == 255;
        Pixel4 result = mLayers.isLinear                ? InLinearLight()
                        : !isWhole                      ? OnStraight()
                        : mLayers.sourceIsPremultiplied ? PremultipliedOnWhole()
                                                        : StraightOnWhole();
        if (!mLayers.targetIsStraight && !mLayers.targetIsPremultiplied)
        {
            result.c[kAlpha] = 65280;
        }
        return result;
    }

private:
    std::uint32_t AlphaOf(const Pixel4& inPixel) const { return inPixel.c[kAlpha] >> 8; }

    Weighed Alphas() const { return Weigh(AlphaOf(mSource), mShare, AlphaOf(mTarget)); }

    // Onto premultiplied and opaque pixels: of straight codes the black goes out by itself, s as + b (1 - as).
    Pixel4 StraightOnWhole() const
    {
        const std::uint32_t share = High(AlphaOf(mSource) * 257, mShare);
        Pixel4 straight = mSource;
        straight.c[kAlpha] = 65280;
        Pixel4 sum = {};
        for (int i = 0; i < kPlaces; ++i)
        {
            sum.c[i] = High(straight.c[i], share) + High(mTarget.c[i], kAll - share);
        }
        return sum;
    }

    // Black counts where neither is: s o + b (1 - as) - black o (1 - Sa).
    Pixel4 PremultipliedOnWhole() const
    {
        const std::uint32_t bare = High((255 - AlphaOf(mSource)) * 257, mShare);
        const std::uint32_t rest = kAll - ShareOf(High(mSource.c[kAlpha], mShare));
        Pixel4 sum = {};
        for (int i = 0; i < kPlaces; ++i)
        {
            const std::uint32_t source = High(mSource.c[i], mShare);
            const std::uint32_t target = High(mTarget.c[i], rest);
            const std::uint32_t black = High(mBlack.c[i], bare) >> 1;
            sum.c[i] = mLayers.black == 0 ? Limited(source + target)
                                          : std::min(Less((source >> 1) + (target >> 1), black), 32640U) * 2;
        }
        return sum;
    }

    Pixel4 OnStraight() const
    {
        return mLayers.sourceIsPremultiplied ? PremultipliedOnStraight() : StraightOnStraight();
    }

    Pixel4 StraightOnStraight() const
    {
        const Weighed weighed = Alphas();
        Pixel4 result = mBlack;
        for (int i = 0; i < kAlpha && weighed.alpha != 0; ++i)
        {
            result.c[i] = High(mSource.c[i], weighed.share) + High(mTarget.c[i], kAll - weighed.share);
        }
        result.c[kAlpha] = weighed.alpha << 8;
        return result;
    }

    Pixel4 PremultipliedOnStraight() const
    {
        const Weighed weighed = Alphas();
        Pixel4 result = mBlack;
        for (int i = 0; i < kAlpha && weighed.alpha != 0; ++i)
        {
            const auto black = static_cast<float>(mBlack.c[i] >> 8);
            const float source = (static_cast<float>(mSource.c[i] >> 8) - black) * weighed.toSource;
            const float target = (static_cast<float>(mTarget.c[i] >> 8) - black) * weighed.toTarget;
            const float code = source + target + (black + 0.5F);
            result.c[i] = static_cast<std::uint32_t>(std::min(std::max(code, 0.0F), 255.5F)) << 8;
        }
        result.c[kAlpha] = weighed.alpha << 8;
        return result;
    }

    // Straight codes of a premultiplied pixel.
    static Pixel4 Divided(const Pixel4& inPixel)
    {
        Pixel4 result = inPixel;
        const std::uint32_t alpha = inPixel.c[kAlpha] >> 8;
        const float factor = alpha == 0 ? 0.0F : 65280.0F / static_cast<float>(alpha);
        for (int i = 0; i < kAlpha; ++i)
        {
            const float code = static_cast<float>(inPixel.c[i] >> 8) * factor + 0.5F;
            result.c[i] = static_cast<std::uint32_t>(std::min(code, 65280.0F));
        }
        return result;
    }

    Pixel4 InLinearLight() const
    {
        const Weighed weighed = Alphas();
        const Pixel4 source = mLayers.sourceIsPremultiplied ? Divided(mSource) : mSource;
        const Pixel4 target = mLayers.targetIsPremultiplied ? Divided(mTarget) : mTarget;
        Pixel4 result = mBlack;
        for (int i = 0; i < kAlpha && weighed.alpha != 0; ++i)
        {
            const std::uint32_t light =
                High(Decode(source.c[i]), weighed.share) + High(Decode(target.c[i]), kAll - weighed.share);
            const std::uint32_t code = Encode(light) * 2;
            result.c[i] = mLayers.targetIsPremultiplied ? High(code, weighed.alpha * 257) : code;
        }
        result.c[kAlpha] = weighed.alpha << 8;
        return result;
    }

    const ByteLayers& mLayers;
    Pixel4 mBlack;
    Pixel4 mSource;
    Pixel4 mTarget;
    std::uint32_t mShare;
};

// The shares that alphas give rows, of 65535.
std::vector<std::uint32_t> SharesByAlpha(const ByteMix& inMix, const std::vector<float>& inParts,
                                         float inWhole)
{
    const float inverse = inWhole == 0.0F ? 0.0F : 65535.0F / inWhole;
    std::vector<std::uint32_t> shares(inMix.count);
    for (std::size_t row = 0; row < inMix.count; ++row)
    {
        shares[row] = static_cast<std::uint32_t>(inParts[row] * inverse + 0.5F);
    }
    if (inMix.count == 2)
    {
        shares[0] = kAll - shares[1];
    }
    return shares;
}

void MixStraightPixel(const ByteMix& inMix, const std::uint8_t* const* inRows, std::size_t inAt,
                      std::uint8_t* outPixel)
{
    std::vector<float> parts(inMix.count);
    float whole = 0.0F;
    for (std::size_t row = 0; row < inMix.count; ++row)
    {
        const std::uint32_t alpha = inRows[row][inAt + kAlpha] | (inMix.alwaysSet[row] >> 24);
        parts[row] = static_cast<float>(static_cast<std::int32_t>(alpha * inMix.shares[row]));
        whole += parts[row];
    }
    const std::vector<std::uint32_t> shares = SharesByAlpha(inMix, parts, whole);
    Pixel4 sum = {};
    for (std::size_t row = 0; row < inMix.count; ++row)
    {
        const Pixel4 pixel = Load(inRows[row] + inAt);
        for (int i = 0; i < kAlpha; ++i)
        {
            sum.c[i] = Limited(sum.c[i] + High(pixel.c[i], shares[row]));
        }
    }
    const float code = std::min(whole * (1.0F / 65535.0F), 255.0F) + 0.5F;
    const auto alpha = static_cast<std::uint32_t>(code);
    for (int i = 0; i < kAlpha; ++i)
    {
        sum.c[i] = Limited(sum.c[i] + static_cast<std::uint32_t>(inMix.count / 2));
    }
    sum = alpha == 0 ? Split(inMix.black) : sum;
    sum.c[kAlpha] = alpha << 8;
    Store(sum, outPixel);
}

std::uint8_t MixedByte(const ByteMix& inMix, const std::uint8_t* const* inRows, std::size_t inAt)
{
    std::uint32_t sum = 0;
    for (std::size_t row = 0; row < inMix.count; ++row)
    {
        const std::uint32_t set = inMix.alwaysSet[row] >> (inAt % 4 * 8);
        const std::uint32_t byte = (inRows[row][inAt] | set) & 255;
        sum = Limited(sum + High(byte << 8, inMix.shares[row]));
    }
    const std::uint32_t byte = Rounded(Limited(sum + static_cast<std::uint32_t>(inMix.count / 2)));
    return static_cast<std::uint8_t>(byte | (inMix.targetSet >> (inAt % 4 * 8)));
}

}

void ComposeBytes(const ByteLayers& inLayers, const std::uint8_t* inSource, const std::uint8_t* inCoverage,
                  std::uint8_t* ioTarget, std::size_t inCount)
{
    for (std::size_t i = 0; i < inCount; ++i)
    {
        const std::uint32_t coverage = inCoverage == nullptr ? 255 : inCoverage[i];
        Store(Meeting(inLayers, inSource + i * 4, coverage, ioTarget + i * 4).Result(), ioTarget + i * 4);
    }
}

void MixBytes(const ByteMix& inMix, const std::uint8_t* const* inRows, std::uint8_t* outTarget,
              std::size_t inBytes)
{
    for (std::size_t at = 0; inMix.isStraight && at < inBytes; at += 4)
    {
        MixStraightPixel(inMix, inRows, at, outTarget + at);
    }
    for (std::size_t at = 0; !inMix.isStraight && at < inBytes; ++at)
    {
        outTarget[at] = MixedByte(inMix, inRows, at);
    }
}

}
