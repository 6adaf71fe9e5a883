#include "ReferenceHost/Effects/KeyFilter.h"

#include "ReferenceHost/Effects/EffectFormats.h"

namespace Effects
{
namespace
{

constexpr std::int32_t kMostSmoothing = 2;
constexpr std::int32_t kMostRows = 2 * kMostSmoothing + 1;
constexpr float kWeights[kMostSmoothing + 1][kMostRows] = {
    {1.0F}, {0.25F, 0.5F, 0.25F}, {0.0625F, 0.25F, 0.375F, 0.25F, 0.0625F}};

ir::Picture CodedLike(const ir::Picture& inPicture)
{
    ir::Picture coded = inPicture;
    coded.transfer = ir::Transfer::kDisplay;
    return coded;
}

// The rows of a smoothed matte: each is found once and kept while a row near it wants it.
class SmoothRows
{
public:
    SmoothRows(IMatte& ioMatte, std::int32_t inReach, const ir::Picture& inPicture)
        : mMatte(ioMatte)
        , mReach(inReach)
        , mWidth(inPicture.width)
        , mHeight(inPicture.height)
        , mRows(inPicture)
        , mBuffers(kMostRows + 2, static_cast<std::size_t>(inPicture.width) + 64)
    {
    }

    // To be asked from the top down.
    const float* Read(std::int32_t inY)
    {
        while (mFound < std::min(inY + mReach + 1, mHeight))
        {
            FindRow(mFound++);
        }
        float* sum = mBuffers.Row(kMostRows + 1);
        const auto count = static_cast<std::size_t>(mWidth);
        for (std::int32_t i = -mReach; i <= mReach; ++i)
        {
            const std::int32_t y = std::clamp(inY + i, 0, mHeight - 1);
            ir::AccumulateRow(RowOf(y), kWeights[mReach][i + mReach], i == -mReach, sum, count);
        }
        return sum;
    }

private:
    float* RowOf(std::int32_t inY) { return mBuffers.Row(static_cast<std::size_t>(inY % kMostRows)); }

    void FindRow(std::int32_t inY)
    {
        float* found = mBuffers.Row(kMostRows);
        mMatte.Find(mRows.Read(inY), inY, static_cast<std::size_t>(mWidth), found);
        float* row = RowOf(inY);
        for (std::int32_t x = 0; x < mWidth; ++x)
        {
            float sum = 0.0F;
            for (std::int32_t i = -mReach; i <= mReach; ++i)
            {
                sum += kWeights[mReach][i + mReach] * found[std::clamp(x + i, 0, mWidth - 1)];
            }
            row[x] = sum;
        }
    }

    IMatte& mMatte;
    const std::int32_t mReach;
    const std::int32_t mWidth;
    const std::int32_t mHeight;
    CodedRows mRows;
    ir::RowBuffers<float> mBuffers;
    std::int32_t mFound = 0; // rows, from the top
};

void ShowMatte(const ir::FloatRow& ioRow, std::size_t inWidth)
{
    for (int component = 0; component < 3; ++component)
    {
        std::copy_n(ioRow.c[3], inWidth, ioRow.c[component]);
    }
    std::fill_n(ioRow.c[3], inWidth, 1.0F);
}

void ApplyMatte(const Key& inKey, const float* inMatte, const ir::FloatRow& ioRow, std::size_t inWidth)
{
    inKey.matte->Clean(ioRow, inWidth);
    for (std::size_t x = 0; x < inWidth; ++x)
    {
        ioRow.c[3][x] *= inMatte[x];
    }
    if (inKey.showsMatte)
    {
        ShowMatte(ioRow, inWidth);
    }
}

void CopyPicture(const ir::Picture& inSource, const ir::Picture& outTarget)
{
    for (std::int32_t y = 0; y < inSource.height; ++y)
    {
        CopyPixels(inSource, 0, y, outTarget, 0, y, inSource.width);
    }
}

} // namespace

CodedRows::CodedRows(const ir::Picture& inPicture)
    : mPicture(inPicture)
    , mPlan(ir::PlanFor(inPicture, CodedLike(inPicture)))
    , mBuffers(6, static_cast<std::size_t>(inPicture.width) + 64)
    , mRow{{mBuffers.Row(0), mBuffers.Row(1), mBuffers.Row(2), mBuffers.Row(3)}}
{
}

const ir::FloatRow& CodedRows::Read(std::int32_t inY)
{
    ir::ReadFloatRow(mPicture, inY, mRow, mBuffers.Row(4));
    ir::ApplyPlan(mPlan, mRow, static_cast<std::size_t>(mPicture.width));
    return mRow;
}

std::int32_t KeyFilter::Draw(const FilterCall& inCall, const ir::Picture& inSource,
                             const ir::Picture& outTarget) const
{
    Key key;
    const std::int32_t status = Prepare(inCall, inSource, key);
    if (status < 0)
    {
        return status;
    }
    if (!key.matte)
    {
        CopyPicture(inSource, outTarget);
        return status;
    }
    const auto width = static_cast<std::size_t>(inSource.width);
    const ir::RowPlan fromCoded = ir::PlanFor(CodedLike(inSource), outTarget);
    CodedRows rows(inSource);
    std::vector<float> sharp(width);
    std::unique_ptr<SmoothRows> smooth;
    if (key.smoothing > 0)
    {
        smooth = std::make_unique<SmoothRows>(*key.matte, key.smoothing, inSource);
    }
    for (std::int32_t y = 0; y < inSource.height; ++y)
    {
        const ir::FloatRow& row = rows.Read(y);
        if (!smooth)
        {
            key.matte->Find(row, y, width, sharp.data());
        }
        ApplyMatte(key, smooth ? smooth->Read(y) : sharp.data(), row, width);
        ir::ApplyPlan(fromCoded, row, width);
        ir::WriteFloatRow(outTarget, y, row);
    }
    return 0;
}

} // namespace Effects
