#include "ReferenceHost/Effects/GaussianRows.h"

#include <algorithm>
#include <cmath>

namespace Effects
{
namespace
{

constexpr std::size_t kResult = 0;
constexpr std::size_t kRead = 4;
constexpr std::size_t kScratch = 8;
constexpr std::size_t kFirstKept = 10;

// Below this the neighbours have less than a millionth.
constexpr double kLeastSigma = 0.19;

std::vector<float> WeightsOf(double inSigma)
{
    if (inSigma < kLeastSigma)
    {
        return {1.0F};
    }
    const auto reach = static_cast<std::size_t>(std::ceil(3.0 * inSigma));
    std::vector<double> weights(reach + 1);
    double sum = 0.0;
    for (std::size_t k = 0; k <= reach; ++k)
    {
        const double distance = static_cast<double>(k) / inSigma;
        weights[k] = std::exp(-0.5 * distance * distance);
        sum += k == 0 ? weights[k] : 2.0 * weights[k];
    }
    std::vector<float> shares(reach + 1);
    std::transform(weights.begin(), weights.end(), shares.begin(),
                   [&](double inWeight) { return static_cast<float>(inWeight / sum); });
    return shares;
}

ir::Picture Premultiplied(ir::Picture inPicture)
{
    inPicture.alpha = ir::PictureAlpha::kPremultiplied;
    return inPicture;
}

} // namespace

GaussianRows::GaussianRows(const GaussianSettings& inSettings, const ir::Picture& inPicture)
    : mSettings(inSettings)
    , mPicture(inPicture)
    , mToPremultiplied(ir::PlanFor(inPicture, Premultiplied(inPicture)))
    , mWidth(static_cast<std::size_t>(inPicture.width))
    , mAcross(WeightsOf(inSettings.sigmaX))
    , mDown(WeightsOf(inSettings.sigmaY))
    , mWide(1, mWidth + 2 * mAcross.size() + 64)
    , mRows(kFirstKept + 4 * (2 * mDown.size() - 1), mWidth + 64)
{
}

ir::FloatRow GaussianRows::Next()
{
    const std::int32_t y = mNextRow++;
    while (mNextAcross < std::min(y + ReachY() + 1, mPicture.height))
    {
        BlurAcross(mNextAcross++);
    }
    const ir::FloatRow result = {
        {mRows.Row(kResult), mRows.Row(kResult + 1), mRows.Row(kResult + 2), mRows.Row(kResult + 3)}};
    for (int component = 0; component < 4; ++component)
    {
        std::fill_n(result.c[component], mWidth, 0.0F);
        for (std::int32_t k = -ReachY(); k <= ReachY(); ++k)
        {
            const std::int32_t row = std::clamp(y + k, 0, mPicture.height - 1);
            if (row == y + k || mSettings.repeatsEdges)
            {
                ir::AccumulateRow(Kept(row).c[component], mDown[static_cast<std::size_t>(std::abs(k))], false,
                                  result.c[component], mWidth);
            }
        }
    }
    return result;
}

ir::FloatRow GaussianRows::Kept(std::int32_t inY) const noexcept
{
    const auto turn = static_cast<std::size_t>(inY) % (2 * mDown.size() - 1);
    const std::size_t first = kFirstKept + 4 * turn;
    return {{mRows.Row(first), mRows.Row(first + 1), mRows.Row(first + 2), mRows.Row(first + 3)}};
}

void GaussianRows::BlurAcross(std::int32_t inY)
{
    const ir::FloatRow read = {
        {mRows.Row(kRead), mRows.Row(kRead + 1), mRows.Row(kRead + 2), mRows.Row(kRead + 3)}};
    ir::ReadFloatRow(mPicture, inY, read, mRows.Row(kScratch));
    ir::ApplyPlan(mToPremultiplied, read, mWidth);
    const ir::FloatRow kept = Kept(inY);
    const auto reach = static_cast<std::size_t>(ReachX());
    float* wide = mWide.Row(0);
    for (int component = 0; component < 4; ++component)
    {
        const float* row = read.c[component];
        std::fill_n(wide, reach, mSettings.repeatsEdges ? row[0] : 0.0F);
        std::copy_n(row, mWidth, wide + reach);
        std::fill_n(wide + reach + mWidth, reach, mSettings.repeatsEdges ? row[mWidth - 1] : 0.0F);
        for (std::size_t at = 0; at <= 2 * reach; ++at)
        {
            const std::size_t distance = at < reach ? reach - at : at - reach;
            ir::AccumulateRow(wide + at, mAcross[distance], at == 0, kept.c[component], mWidth);
        }
    }
}

} // namespace Effects
