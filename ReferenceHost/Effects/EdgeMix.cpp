#include "ReferenceHost/Effects/EdgeMix.h"

#include "ReferenceHost/Effects/EffectFormats.h"
#include "ReferenceHost/Effects/SolidRow.h"

namespace Effects
{
namespace
{

enum class Share
{
    kFrom,
    kTo,
    kMixed,
};

Share ShareOf(float inFrom, float inTo)
{
    if (inFrom >= 1.0F)
    {
        return Share::kFrom;
    }
    return inTo >= 1.0F ? Share::kTo : Share::kMixed;
}

// Alphas become weights first, then colours are mixed by them.
void MixAlphas(float* __restrict ioFromWeights, float* __restrict ioToWeights, float* __restrict ioAlpha,
               const float* __restrict inToAlpha, std::size_t inCount)
{
    for (std::size_t x = 0; x < inCount; ++x)
    {
        const float border = 1.0F - ioFromWeights[x] - ioToWeights[x];
        const float from = ioFromWeights[x] * ioAlpha[x];
        const float to = ioToWeights[x] * inToAlpha[x];
        const float alpha = from + to + border;
        const float inverse = alpha > 1e-9F ? 1.0F / alpha : 0.0F;
        ioFromWeights[x] = from * inverse;
        ioToWeights[x] = to * inverse;
        ioAlpha[x] = alpha;
    }
}

void MixColors(const float* __restrict inFromWeights, const float* __restrict inToWeights, float inBorder,
               float* __restrict ioColor, const float* __restrict inTo, const float* __restrict inAlpha,
               std::size_t inCount)
{
    for (std::size_t x = 0; x < inCount; ++x)
    {
        const float border = inAlpha[x] > 1e-9F ? 1.0F - inFromWeights[x] - inToWeights[x] : 0.0F;
        ioColor[x] = inFromWeights[x] * ioColor[x] + inToWeights[x] * inTo[x] + border * inBorder;
    }
}

} // namespace

EdgeMix::EdgeMix(const ir::Picture& inFrom, const ir::Picture& inTo, const ir::Picture& outTarget,
                 const Color& inBorder)
    : mFrom(inFrom)
    , mTo(inTo)
    , mTarget(outTarget)
    , mRows(kRowCount, static_cast<std::size_t>(outTarget.width) + 64)
{
    const Color border = InCodingOf(inBorder, outTarget);
    mBorder[0] = static_cast<float>(border.r);
    mBorder[1] = static_cast<float>(border.g);
    mBorder[2] = static_cast<float>(border.b);
}

void EdgeMix::Draw(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const
{
    const float* from = FromWeights();
    const float* to = ToWeights();
    const std::int32_t end = inX + inWidth;
    for (std::int32_t x = inX; x < end;)
    {
        const Share share = ShareOf(from[x], to[x]);
        std::int32_t next = x + 1;
        while (next < end && ShareOf(from[next], to[next]) == share)
        {
            ++next;
        }
        switch (share)
        {
        case Share::kFrom: CopyFrom(x, inY, next - x); break;
        case Share::kTo: CopyTo(x, inY, next - x); break;
        case Share::kMixed: Mix(x, inY, next - x); break;
        }
        x = next;
    }
}

void EdgeMix::CopyFrom(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const
{
    CopyPixels(mFrom, inX, inY, mTarget, inX, inY, inWidth);
}

void EdgeMix::CopyTo(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const
{
    CopyPixels(mTo, inX, inY, mTarget, inX, inY, inWidth);
}

ir::FloatRow EdgeMix::RowsAt(std::size_t inFirst) const noexcept
{
    return {{mRows.Row(inFirst), mRows.Row(inFirst + 1), mRows.Row(inFirst + 2), mRows.Row(inFirst + 3)}};
}

void EdgeMix::Mix(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const
{
    const auto count = static_cast<std::size_t>(inWidth);
    const ir::FloatRow from = RowsAt(kFromRow);
    const ir::FloatRow to = RowsAt(kToRow);
    ir::ReadFloatRow(PartOf(mFrom, inX, inY, inWidth, 1), 0, from, mRows.Row(kScratch));
    ir::ReadFloatRow(PartOf(mTo, inX, inY, inWidth, 1), 0, to, mRows.Row(kScratch));
    float* fromWeights = FromWeights() + inX;
    float* toWeights = ToWeights() + inX;
    MixAlphas(fromWeights, toWeights, from.c[3], to.c[3], count);
    for (int component = 0; component < 3; ++component)
    {
        MixColors(fromWeights, toWeights, mBorder[component], from.c[component], to.c[component], from.c[3],
                  count);
    }
    ir::WriteFloatRow(PartOf(mTarget, inX, inY, inWidth, 1), 0, from);
}

} // namespace Effects
