#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/CubeTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"

#include <utility>

namespace Effects
{
namespace
{

constexpr std::size_t kFile = 0;
constexpr std::size_t kMix = 1;

class Operation final : public IRowOperation
{
public:
    Operation(std::shared_ptr<const CubeTable> inTable, double inMix)
        : mTable(std::move(inTable))
        , mMix(static_cast<float>(inMix))
    {
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t, std::size_t inWidth) override
    {
        // The file may have gone since somebody asked for it.
        for (std::size_t x = 0; x < inWidth && mTable; ++x)
        {
            const float color[3] = {ioRow.c[0][x], ioRow.c[1][x], ioRow.c[2][x]};
            float found[3];
            mTable->LookUp(color, found);
            for (int component = 0; component < 3; ++component)
            {
                ioRow.c[component][x] = color[component] + mMix * (found[component] - color[component]);
            }
        }
    }

private:
    std::shared_ptr<const CubeTable> mTable;
    float mMix;
};

// Without a table that can be read the picture passes as it is.
class Filter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

protected:
    bool IsIdle(const FilterCall& inCall) const override
    {
        return inCall.parameters.Number(kMix) == 0.0 || !mFile.Get(inCall.parameters.Text(kFile));
    }
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall, const ir::Picture&) const override
    {
        return std::make_unique<Operation>(mFile.Get(inCall.parameters.Text(kFile)),
                                           inCall.parameters.Percent(kMix));
    }

private:
    mutable CubeFile mFile;
};

} // namespace

void AddCubeFilter(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<Filter>("lut", "", "3D LUT",
                                        {FileParameter("File"), PercentParameter("Mix", 0, 100, 100)}));
}

} // namespace Effects
