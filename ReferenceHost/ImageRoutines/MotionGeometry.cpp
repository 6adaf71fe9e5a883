#include "ReferenceHost/ImageRoutines/MotionGeometry.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "ReferenceHost/ImageRoutines/MotionFilter.h"

namespace ir
{
namespace
{

constexpr double kPi = 3.14159265358979323846;

// Parts of a target pixel that the place of the source's corner is told in.
constexpr double kPlaceUnits = 512.0;

// A picture that is drawn smaller than this part of a pixel leaves no trace even in a float.
constexpr double kLeastCover = 1.0 / 65536.0;

// What rounding may add to or take from a place: pixels that are covered less than this are not, and those
// that lack less are wholly covered.
constexpr double kMargin = 1e-8;

struct Turn
{
    double cosine;
    double sine;
};

Turn TurnOf(double inDegrees)
{
    const double rest = std::fmod(inDegrees, 360.0);
    const double degrees = rest < 0.0 ? rest + 360.0 : rest;
    const double quarters = degrees / 90.0;
    if (quarters == std::floor(quarters))
    {
        static constexpr Turn kQuarters[4] = {{1.0, 0.0}, {0.0, 1.0}, {-1.0, 0.0}, {0.0, -1.0}};
        return kQuarters[static_cast<int>(quarters) % 4];
    }
    return {std::cos(degrees * kPi / 180.0), std::sin(degrees * kPi / 180.0)};
}

// Target pixels of the frame from source pixels of the frame.
struct Forward
{
    double xu, xv, yu, yv; // what one source pixel along u or v adds to x and y
    double x0, y0;         // where the source's corner lies
};

Forward ForwardOf(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                  const IR_MotionSettings& inSettings)
{
    const double sourceAspect = static_cast<double>(inSource.aspectNumerator) / inSource.aspectDenominator;
    const double targetAspect = static_cast<double>(inTarget.aspectNumerator) / inTarget.aspectDenominator;
    // One quotient of products, so that equal aspects leave a size exactly as it is.
    const double aspects = (static_cast<double>(inSource.aspectNumerator) * inTarget.aspectDenominator) /
                           (static_cast<double>(inSource.aspectDenominator) * inTarget.aspectNumerator);
    const double scaleX = inSettings.scaleX;
    const double scaleY = inSettings.scaleY;
    const Turn turn = TurnOf(inSettings.rotation);
    Forward forward = {scaleX * aspects * turn.cosine,
                       -scaleY * turn.sine / targetAspect,
                       scaleX * sourceAspect * turn.sine,
                       scaleY * turn.cosine,
                       0.0,
                       0.0};
    const double anchorU = static_cast<double>(inSettings.anchorX) * inSource.width;
    const double anchorV = (1.0 - static_cast<double>(inSettings.anchorY)) * inSource.height;
    const double x = static_cast<double>(inSettings.positionX) * inTarget.width;
    const double y = (1.0 - static_cast<double>(inSettings.positionY)) * inTarget.height;
    const double cornerX = x - forward.xu * anchorU - forward.xv * anchorV;
    const double cornerY = y - forward.yu * anchorU - forward.yv * anchorV;
    forward.x0 = std::floor(cornerX * kPlaceUnits + 0.5) / kPlaceUnits;
    forward.y0 = std::floor(cornerY * kPlaceUnits + 0.5) / kPlaceUnits;
    return forward;
}

// inLine: the height of a target pixel in lines of the frame.
void SetWidths(MotionAxis& ioAxis, double inLine, double inAntiFlicker)
{
    ioAxis.coverWidth = std::hypot(ioAxis.alongX, ioAxis.alongY * inLine);
    ioAxis.filterWidth = std::hypot(ioAxis.alongX, ioAxis.alongY * inLine * (1.0 + inAntiFlicker));
}

// From rows of the frame to rows of a field, on the target's side.
void CountFieldRows(MotionAxis& ioAxis, std::int32_t inField)
{
    ioAxis.start += ioAxis.alongY * (inField == kIR_LowerField ? 0.5 : -0.5);
    ioAxis.alongY *= 2.0;
}

// The same on the source's side.
void CountSourceFieldRows(MotionAxis& ioRows, std::int32_t inField)
{
    ioRows.start = (ioRows.start + (inField == kIR_LowerField ? -0.5 : 0.5)) / 2.0;
    for (double* number : {&ioRows.alongX, &ioRows.alongY, &ioRows.coverWidth, &ioRows.filterWidth})
    {
        *number /= 2.0;
    }
}

void SetAxes(MotionPlan& ioPlan, const Forward& inForward, std::int32_t inSourceField,
             std::int32_t inTargetField, double inAntiFlicker)
{
    const double determinant = inForward.xu * inForward.yv - inForward.xv * inForward.yu;
    ioPlan.u.alongX = inForward.yv / determinant;
    ioPlan.u.alongY = -inForward.xv / determinant;
    ioPlan.v.alongX = -inForward.yu / determinant;
    ioPlan.v.alongY = inForward.xu / determinant;
    for (MotionAxis* axis : {&ioPlan.u, &ioPlan.v})
    {
        axis->start = -(axis->alongX * inForward.x0 + axis->alongY * inForward.y0);
        SetWidths(*axis, inSourceField == kIR_WholePicture ? 1.0 : 2.0, inAntiFlicker);
        if (inTargetField != kIR_WholePicture)
        {
            CountFieldRows(*axis, inTargetField);
        }
    }
    if (inSourceField != kIR_WholePicture)
    {
        CountSourceFieldRows(ioPlan.v, inSourceField);
    }
}

// The source's rectangle that can be seen, in source pixels.
struct Region
{
    double left, top, right, bottom;
};

IR_Rect ClipInField(const IR_Rect& inClip, std::int32_t inField)
{
    const std::int32_t parity = inField == kIR_LowerField ? 1 : 0;
    return {inClip.left, (inClip.top - parity + 1) >> 1, inClip.right, (inClip.bottom - parity + 1) >> 1};
}

IR_Rect Limited(const IR_Rect& inClip, const Picture& inPicture)
{
    return {std::clamp(inClip.left, 0, inPicture.width), std::clamp(inClip.top, 0, inPicture.height),
            std::clamp(inClip.right, 0, inPicture.width), std::clamp(inClip.bottom, 0, inPicture.height)};
}

void CropSource(MotionPlan& ioPlan, const IR_Rect& inClip)
{
    ioPlan.source = Part(ioPlan.source, inClip.left, inClip.top, inClip.right, inClip.bottom);
    ioPlan.u.start -= inClip.left;
    ioPlan.v.start -= inClip.top;
}

// How far from a place the filter looks, in source pixels.
double ReachOf(const MotionPlan& inPlan, const MotionAxis& inAxis)
{
    const double block = BlockSize(inPlan, inAxis);
    const MotionFilter filter = FilterFor(inPlan.filter, inAxis.filterWidth);
    return (FilterLength(filter, inAxis.filterWidth / block) / 2.0 + 1.0) * block;
}

Region RegionOf(const MotionPlan& inPlan, const IR_Rect* inHolds)
{
    Region region = {0.0, 0.0, static_cast<double>(inPlan.u.count), static_cast<double>(inPlan.v.count)};
    if (inHolds != nullptr)
    {
        const double reachU = ReachOf(inPlan, inPlan.u);
        const double reachV = ReachOf(inPlan, inPlan.v);
        region = {std::max(region.left, inHolds->left - reachU), std::max(region.top, inHolds->top - reachV),
                  std::min(region.right, inHolds->right + reachU),
                  std::min(region.bottom, inHolds->bottom + reachV)};
    }
    return region;
}

std::int32_t LimitedTo(double inValue, std::int32_t inMost)
{
    return static_cast<std::int32_t>(std::clamp(inValue, 0.0, static_cast<double>(inMost)));
}

// The box round the region as it lies on the target, with what its edges cover.
MotionBox BoxOf(const MotionPlan& inPlan, const Region& inRegion, std::int32_t inColumns, std::int32_t inRows)
{
    const MotionAxis& u = inPlan.u;
    const MotionAxis& v = inPlan.v;
    const double determinant = u.alongX * v.alongY - u.alongY * v.alongX;
    double left = inColumns;
    double right = 0.0;
    double top = inRows;
    double bottom = 0.0;
    for (int corner = 0; corner < 4; ++corner)
    {
        const double du =
            (corner & 1 ? inRegion.right + u.coverWidth / 2.0 : inRegion.left - u.coverWidth / 2.0) - u.start;
        const double dv =
            (corner & 2 ? inRegion.bottom + v.coverWidth / 2.0 : inRegion.top - v.coverWidth / 2.0) - v.start;
        const double x = (du * v.alongY - dv * u.alongY) / determinant;
        const double y = (dv * u.alongX - du * v.alongX) / determinant;
        left = std::min(left, x);
        right = std::max(right, x);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
    }
    // A pixel is in if its middle lies between.
    return {LimitedTo(std::ceil(left - 0.5 + kMargin), inColumns),
            LimitedTo(std::ceil(top - 0.5 + kMargin), inRows),
            LimitedTo(std::floor(right + 0.5 - kMargin), inColumns),
            LimitedTo(std::floor(bottom + 0.5 - kMargin), inRows)};
}

bool LeavesATrace(const MotionAxis& inAxis)
{
    return inAxis.count > 0 && inAxis.coverWidth * kLeastCover < inAxis.count;
}

double Overlap(const MotionAxis& inAxis, double inPlace)
{
    const double half = inAxis.coverWidth / 2.0;
    const double inside =
        std::min(inPlace + half, static_cast<double>(inAxis.count)) - std::max(inPlace - half, 0.0);
    const double part = inside / inAxis.coverWidth;
    return part > 1.0 - 2.0 * kMargin ? 1.0 : std::max(part, 0.0);
}

// Columns whose place along an axis lies between inLow and inHigh.
void Narrow(const MotionAxis& inAxis, double inY, double inLow, double inHigh, double& ioFirst,
            double& ioLast)
{
    const double start = inAxis.At(0.5, inY);
    if (inAxis.alongX == 0.0)
    {
        if (start < inLow || start > inHigh)
        {
            ioLast = ioFirst;
        }
        return;
    }
    const double one = (inLow - start) / inAxis.alongX;
    const double other = (inHigh - start) / inAxis.alongX;
    ioFirst = std::max(ioFirst, std::ceil(std::min(one, other)));
    ioLast = std::min(ioLast, std::floor(std::max(one, other)) + 1.0);
}

// inGrowth: 1 for the source with what its edges cover, -1 for the part of it that its edges don't reach.
MotionSpan ColumnsWithin(const MotionPlan& inPlan, std::int32_t inRow, double inGrowth)
{
    double first = inPlan.box.left;
    double last = inPlan.box.right;
    for (const MotionAxis* axis : {&inPlan.u, &inPlan.v})
    {
        const double growth = axis->coverWidth * (0.5 * inGrowth - kMargin * inGrowth);
        Narrow(*axis, inRow + 0.5, -growth, axis->count + growth, first, last);
    }
    return first >= last ? MotionSpan{inPlan.box.left, inPlan.box.left}
                         : MotionSpan{static_cast<std::int32_t>(first), static_cast<std::int32_t>(last)};
}

bool IsWhole(double inNumber)
{
    return inNumber == std::floor(inNumber) && std::fabs(inNumber) <= 2.0;
}

bool HitsMiddles(const MotionAxis& inAxis)
{
    const double place = inAxis.At(0.5, 0.5) - 0.5;
    return place == std::floor(place) && IsWhole(inAxis.alongX) && IsWhole(inAxis.alongY) &&
           inAxis.coverWidth == 1.0 && inAxis.filterWidth == 1.0;
}

bool IsSelector(std::int32_t inNumber)
{
    return inNumber >= 0 && inNumber <= 2;
}

bool AreFinite(const IR_MotionSettings& inSettings)
{
    const double numbers[] = {inSettings.positionX, inSettings.positionY, inSettings.anchorX,
                              inSettings.anchorY,   inSettings.scaleX,    inSettings.scaleY,
                              inSettings.rotation,  inSettings.opacity,   inSettings.antiFlicker};
    return std::all_of(std::begin(numbers), std::end(numbers),
                       [](double inNumber) { return std::isfinite(inNumber); });
}

bool IsTold(const IR_MotionPicture& inPicture)
{
    return inPicture.aspectNumerator != 0 && inPicture.aspectDenominator != 0 &&
           IsSelector(inPicture.fieldType);
}

}

bool MotionPlan::IsLattice() const noexcept
{
    return HitsMiddles(u) && HitsMiddles(v);
}

MotionFilter MotionFilterOf(const IR_MotionSettings& inSettings) noexcept
{
    if (inSettings.quality <= 3 || inSettings.highQualitySampling == 0)
    {
        return MotionFilter::kArea;
    }
    return inSettings.quality == 4 ? MotionFilter::kBicubic : MotionFilter::kLanczos;
}

MotionSpan CoveredColumns(const MotionPlan& inPlan, std::int32_t inRow) noexcept
{
    return ColumnsWithin(inPlan, inRow, 1.0);
}

MotionSpan FullColumns(const MotionPlan& inPlan, std::int32_t inRow) noexcept
{
    MotionSpan span = ColumnsWithin(inPlan, inRow, -1.0);
    // What rounding let in at an end is found where it counts.
    while (!span.IsEmpty() && CoverageAt(inPlan, span.first, inRow) < 1.0)
    {
        ++span.first;
    }
    while (!span.IsEmpty() && CoverageAt(inPlan, span.last - 1, inRow) < 1.0)
    {
        --span.last;
    }
    return span;
}

Picture Part(const Picture& inPicture, std::int32_t inLeft, std::int32_t inTop, std::int32_t inRight,
             std::int32_t inBottom) noexcept
{
    Picture part = inPicture;
    part.planes[0] = inPicture.Row(0, inTop) + PatternBytes(inPicture, 0) * inLeft;
    part.width = inRight - inLeft;
    part.height = inBottom - inTop;
    part.chromaRows = part.height;
    return part;
}

double CoverageAt(const MotionPlan& inPlan, std::int32_t inColumn, std::int32_t inRow) noexcept
{
    const double x = inColumn + 0.5;
    const double y = inRow + 0.5;
    return Overlap(inPlan.u, inPlan.u.At(x, y)) * Overlap(inPlan.v, inPlan.v.At(x, y));
}

bool CanBePlanned(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                  const IR_MotionSettings& inSettings, std::uint32_t inBlendMode) noexcept
{
    return AreFinite(inSettings) && IsTold(inSource) && IsTold(inTarget) && IsSelector(inSettings.field) &&
           IsBlendMode(inBlendMode);
}

ComposeSettings ComposeSettingsFor(const IR_MotionSettings& inSettings, std::uint32_t inBlendMode) noexcept
{
    return {std::clamp(inSettings.opacity, 0.0F, 1.0F), inBlendMode, inSettings.targetHasPicture != 0};
}

MotionPlan PlanMotion(const Picture& inSource, const IR_MotionPicture& inSourceDescription,
                      std::int32_t inSourceField, const Picture& inTarget,
                      const IR_MotionPicture& inTargetDescription, std::int32_t inTargetField,
                      const IR_Rect* inClip, const IR_MotionSettings& inSettings)
{
    MotionPlan plan;
    const Forward forward = ForwardOf(inSourceDescription, inTargetDescription, inSettings);
    const bool isFieldOfOneRow = (inSourceField == kIR_LowerField && inSource.height < 2) ||
                                 (inTargetField == kIR_LowerField && inTarget.height < 2);
    if (inSettings.scaleX == 0.0F || inSettings.scaleY == 0.0F || isFieldOfOneRow)
    {
        return plan;
    }
    plan.source = inSourceField == kIR_WholePicture ? inSource : FieldOf(inSource, inSourceField);
    plan.target = inTarget;
    plan.firstRow = inTargetField == kIR_LowerField ? 1 : 0;
    plan.rowStep = inTargetField == kIR_WholePicture ? 1 : 2;
    plan.filter = MotionFilterOf(inSettings);
    SetAxes(plan, forward, inSourceField, inTargetField, std::clamp(inSettings.antiFlicker, 0.0, 1.0));

    IR_Rect holds = {0, 0, plan.source.width, plan.source.height};
    if (inClip != nullptr)
    {
        holds = Limited(inSourceField == kIR_WholePicture ? *inClip : ClipInField(*inClip, inSourceField),
                        plan.source);
        if (holds.left >= holds.right || holds.top >= holds.bottom)
        {
            return plan;
        }
        if (!inSource.HasAlpha())
        {
            CropSource(plan, holds);
        }
    }
    plan.u.count = plan.source.width;
    plan.v.count = plan.source.height;
    for (MotionAxis* axis : {&plan.u, &plan.v})
    {
        axis->filterWidth = std::clamp(axis->filterWidth, 1.0, kMostWidths * std::max(axis->count, 1));
    }
    if (LeavesATrace(plan.u) && LeavesATrace(plan.v))
    {
        const std::int32_t rows = (inTarget.height - plan.firstRow + plan.rowStep - 1) / plan.rowStep;
        const bool isHint = inClip != nullptr && inSource.HasAlpha();
        plan.box = BoxOf(plan, RegionOf(plan, isHint ? &holds : nullptr), inTarget.width, rows);
    }
    return plan;
}

}
