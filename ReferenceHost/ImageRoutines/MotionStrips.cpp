#include "ReferenceHost/ImageRoutines/MotionStrips.h"

#include <algorithm>
#include <cmath>

#include "ReferenceHost/ImageRoutines/MotionDraw.h"
#include "ReferenceHost/ImageRoutines/MotionLayer.h"
#include "ReferenceHost/ImageRoutines/MotionTiles.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace ir
{
namespace
{

// Rows of the target that are drawn at once: with those of the source they stay in the second-level cache.
constexpr std::int32_t kStripRows = 16;

// A picture of which nothing but its shape is known yet.
bool ShapeOf(const IR_MotionPicture& inPicture, Picture& outShape)
{
    static constexpr std::uint8_t kNoPixels = 0;
    return PictureFromCode(&kNoPixels, inPicture.rowBytes, inPicture.width, inPicture.height,
                           inPicture.format, outShape) == kIR_Success &&
           outShape.storage == Storage::kPacked4;
}

void PutRows(const std::uint8_t* inPixels, std::ptrdiff_t inRowBytes, std::int32_t inCount,
             Picture& ioPicture)
{
    ioPicture.planes[0] = const_cast<std::uint8_t*>(inPixels); // of a source nothing is written
    ioPicture.strides[0] = inRowBytes;
    ioPicture.height = ioPicture.chromaRows = inCount;
}

}

MotionStrips::MotionStrips(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                           const IR_MotionSettings& inSettings, std::uint32_t inBlendMode)
{
    Picture source;
    Picture target;
    const bool areFields = (inSource.fieldType != 0 && inTarget.fieldType != 0) || inSettings.field != 0;
    if (areFields || !CanBePlanned(inSource, inTarget, inSettings, inBlendMode) ||
        !ShapeOf(inSource, source) || !ShapeOf(inTarget, target))
    {
        return;
    }
    mPlan = PlanMotion(source, inSource, kIR_WholePicture, target, inTarget, kIR_WholePicture, nullptr,
                       inSettings);
    mPlan.compose = ComposeSettingsFor(inSettings, inBlendMode);
    mWay = WayOf(inSource.format, inTarget.format);
}

MotionStrips::Way MotionStrips::WayOf(std::uint32_t inSourceCode, std::uint32_t inTargetCode) const
{
    if (mPlan.IsInvisible())
    {
        return Way::kNothing;
    }
    const bool isFromTop =
        IR_IsOriginBottomLeft(inSourceCode) == 0 && IR_IsOriginBottomLeft(inTargetCode) == 0;
    if (!isFromTop)
    {
        return Way::kNone;
    }
    return IsNormal(mPlan.compose) && IsDrawnRowByRow(mPlan) ? Way::kRowByRow
           : TakesTurnedHalves(mPlan)                        ? Way::kTurned
                                                             : Way::kNone;
}

bool MotionStrips::KeepsWholeAlpha() const noexcept
{
    return mWay == Way::kNothing || (IsNormal(mPlan.compose) && mPlan.compose.targetHasPicture);
}

std::int32_t MotionStrips::Draw(const IPictureRows& inSource, std::int32_t inFirst, std::int32_t inCount,
                                std::uint8_t* ioPixels, std::ptrdiff_t inRowBytes) const
{
    if (mWay == Way::kRowByRow)
    {
        return DrawRows(inSource, inFirst, inCount, ioPixels, inRowBytes);
    }
    if (mWay == Way::kTurned)
    {
        MotionPlan plan = mPlan;
        PutRows(ioPixels, inRowBytes, mPlan.target.height, plan.target);
        return DrawTurnedHalves(plan, inSource) ? kIR_Success : kIR_OutOfMemory;
    }
    return kIR_Success;
}

// Each strip is a motion of pictures of its own, that begins at the first row of both.
std::int32_t MotionStrips::DrawRows(const IPictureRows& inSource, std::int32_t inFirst, std::int32_t inCount,
                                    std::uint8_t* ioPixels, std::ptrdiff_t inRowBytes) const
{
    const auto rowsOfRow = static_cast<std::int32_t>(mPlan.v.alongY);
    const auto firstOfPicture = static_cast<std::int32_t>(std::lround(mPlan.v.start));
    const std::ptrdiff_t sourceBytes = RowBytesOf(mPlan.source, 0);
    const RowBuffers<std::uint8_t> space(static_cast<std::size_t>(kStripRows * rowsOfRow),
                                         static_cast<std::size_t>(sourceBytes));
    const std::int32_t end = std::min(inFirst + inCount, mPlan.box.bottom);
    MotionPlan plan = mPlan;
    plan.v.start = 0.0;
    for (std::int32_t row = std::max(inFirst, mPlan.box.top); row < end; row += kStripRows)
    {
        const std::int32_t rows = std::min(kStripRows, end - row);
        std::ptrdiff_t rowBytes = space.Row(1) - space.Row(0);
        const std::uint8_t* pixels =
            inSource.Rows(firstOfPicture + row * rowsOfRow, rows * rowsOfRow, space.Row(0), rowBytes);
        if (pixels == nullptr)
        {
            return kIR_OutOfMemory;
        }
        PutRows(pixels, rowBytes, rows * rowsOfRow, plan.source);
        PutRows(ioPixels + (row - inFirst) * inRowBytes, inRowBytes, rows, plan.target);
        plan.v.count = plan.source.height;
        plan.box.top = 0;
        plan.box.bottom = rows;
        DrawMotion(plan);
    }
    return kIR_Success;
}

}
