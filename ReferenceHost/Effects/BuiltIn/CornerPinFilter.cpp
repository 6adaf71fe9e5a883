#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/PinnedPicture.h"

namespace Effects
{
namespace
{

// The picture stretched so that its corners come to lie on four points, as if it were a board in space.
class CornerPinFilter final : public EffectFilter
{
public:
    using EffectFilter::EffectFilter;

    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        TVK::ParamPoint<double> corners[4];
        for (std::size_t corner = 0; corner < 4; ++corner)
        {
            const TVK::ParamPoint<double> point = inCall.parameters.Point(corner);
            corners[corner] = {point.x * inSource.width, point.y * inSource.height};
        }
        const QuadMapping mapping(corners, inSource.width, inSource.height);
        DrawPinned(inSource, mapping, 1.0F, inCall.HasFields(), outTarget);
        return 0;
    }
};

} // namespace

void AddCornerPinFilter(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<CornerPinFilter>(
        "corner-pin", "VX.ZNTR Corner Pin", "Corner Pin",
        {PointParameter("Upper Left", 0, 0), PointParameter("Upper Right", 1, 0),
         PointParameter("Lower Left", 0, 1), PointParameter("Lower Right", 1, 1)}));
}

} // namespace Effects
