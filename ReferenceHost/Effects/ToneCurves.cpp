#include "ReferenceHost/Effects/ToneCurves.h"

#include <algorithm>
#include <utility>

namespace Effects
{
namespace
{

std::vector<float> TableOf(const ToneFunction& inFunction, ir::Sample inSample)
{
    const std::size_t most = inSample == ir::Sample::kByte ? 255 : 65535;
    std::vector<float> table(most + 1);
    for (std::size_t code = 0; code <= most; ++code)
    {
        table[code] = static_cast<float>(inFunction(static_cast<double>(code) / static_cast<double>(most)));
    }
    return table;
}

void LookUp(const std::vector<float>& inTable, float* ioRow, std::size_t inWidth)
{
    const auto most = static_cast<float>(inTable.size() - 1);
    for (std::size_t x = 0; x < inWidth; ++x)
    {
        ioRow[x] = inTable[static_cast<std::size_t>(std::clamp(ioRow[x], 0.0F, 1.0F) * most + 0.5F)];
    }
}

} // namespace

ToneCurves::ToneCurves(std::array<ToneFunction, 3> inFunctions, const ir::Picture& inPicture)
    : mFunctions(std::move(inFunctions))
{
    for (std::size_t component = 0; component < 3; ++component)
    {
        if (mFunctions[component] && inPicture.sample != ir::Sample::kFloat)
        {
            mTables[component] = TableOf(mFunctions[component], inPicture.sample);
        }
    }
}

void ToneCurves::Apply(const ir::FloatRow& ioRow, std::size_t inWidth) const
{
    for (std::size_t component = 0; component < 3; ++component)
    {
        float* row = ioRow.c[component];
        if (!mTables[component].empty())
        {
            LookUp(mTables[component], row, inWidth);
        }
        else if (mFunctions[component])
        {
            std::transform(row, row + inWidth, row,
                           [&](float inValue) {
                               return static_cast<float>(mFunctions[component](static_cast<double>(inValue)));
                           });
        }
    }
}

} // namespace Effects
