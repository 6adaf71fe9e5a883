#include "IR/Motion.h"

#include <algorithm>
#include <new>

#include "IR/BlendModes.h"
#include "ReferenceHost/ImageRoutines/MotionDraw.h"
#include "ReferenceHost/ImageRoutines/Operations.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

namespace
{

using ir::MotionPlan;
using ir::Picture;

std::int32_t PictureOf(const IR_MotionPicture& inPicture, Picture& outPicture)
{
    return ir::PictureFromCode(inPicture.pixels, inPicture.rowBytes, inPicture.width, inPicture.height,
                               inPicture.format, outPicture);
}

std::int32_t PicturesOf(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
                        Picture& outSource, Picture& outTarget)
{
    const std::int32_t status = PictureOf(inSource, outSource);
    return status != kIR_Success                       ? status
           : !ir::IsFourComponentCode(inTarget.format) ? kIR_UnknownFormat
                                                       : PictureOf(inTarget, outTarget);
}

// A source whose components don't lie together, brought to the target's kind of pixel.
class PackedSource
{
public:
    PackedSource(const Picture& inSource, const Picture& inTarget)
        : mRows(static_cast<std::size_t>(inSource.height), static_cast<std::size_t>(inSource.width) * 16)
        , mPicture(inTarget)
    {
        mPicture.width = inSource.width;
        mPicture.height = inSource.height;
        mPicture.chromaRows = inSource.height;
        mPicture.alpha = ir::PictureAlpha::kOpaque;
        mPicture.planes[0] = mRows.Row(0);
        mPicture.strides[0] = static_cast<std::ptrdiff_t>(inSource.width) * 16;
        mPicture.strides[0] = inSource.height > 1 ? mRows.Row(1) - mRows.Row(0) : mPicture.strides[0];
    }

    const Picture& View() const { return mPicture; }

private:
    ir::RowBuffers<unsigned char> mRows;
    Picture mPicture;
};

class Motion
{
public:
    Motion(const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget, const IR_Rect* inClip,
           const IR_MotionSettings& inSettings, std::uint32_t inBlendMode)
        : mSource(inSource)
        , mTarget(inTarget)
        , mClip(inClip)
        , mSettings(inSettings)
        , mCompose(ir::ComposeSettingsFor(inSettings, inBlendMode))
    {
    }

    std::int32_t Draw(const Picture& inSource, const Picture& inTarget)
    {
        if (inSource.storage == ir::Storage::kPacked4)
        {
            DrawFields(inSource, inTarget);
            return kIR_Success;
        }
        const PackedSource packed(inSource, inTarget);
        const std::int32_t status = ir::ConvertPictures(inSource, packed.View());
        if (status == kIR_Success)
        {
            DrawFields(packed.View(), inTarget);
        }
        return status;
    }

    // The rows and columns of the target that were drawn.
    const IR_Rect& Drawn() const { return mDrawn; }

private:
    void DrawFields(const Picture& inSource, const Picture& inTarget)
    {
        const bool isFieldOnField = mSource.fieldType != 0 && mTarget.fieldType != 0;
        if (!isFieldOnField)
        {
            DrawOnce(inSource, kIR_WholePicture, inTarget, mSettings.field);
            return;
        }
        for (const std::int32_t field : {kIR_UpperField, kIR_LowerField})
        {
            if (mSettings.field == kIR_WholePicture || mSettings.field == field)
            {
                // With both in the same order the field of the same moment is that of the same rows.
                const bool isSameOrder = mSource.fieldType == mTarget.fieldType;
                const std::int32_t other = field == kIR_UpperField ? kIR_LowerField : kIR_UpperField;
                DrawOnce(inSource, isSameOrder ? field : other, inTarget, field);
            }
        }
    }

    void DrawOnce(const Picture& inSource, std::int32_t inSourceField, const Picture& inTarget,
                  std::int32_t inTargetField)
    {
        MotionPlan plan = ir::PlanMotion(inSource, mSource, inSourceField, inTarget, mTarget, inTargetField,
                                         mClip, mSettings);
        plan.compose = mCompose;
        if (plan.IsInvisible())
        {
            return;
        }
        ir::DrawMotion(plan);
        const IR_Rect box = {plan.box.left, plan.TargetRow(plan.box.top), plan.box.right,
                             plan.TargetRow(plan.box.bottom - 1) + 1};
        mDrawn = mDrawn.left == mDrawn.right
                     ? box
                     : IR_Rect{std::min(mDrawn.left, box.left), std::min(mDrawn.top, box.top),
                               std::max(mDrawn.right, box.right), std::max(mDrawn.bottom, box.bottom)};
    }

    const IR_MotionPicture& mSource;
    const IR_MotionPicture& mTarget;
    const IR_Rect* mClip;
    const IR_MotionSettings& mSettings;
    ir::ComposeSettings mCompose;
    IR_Rect mDrawn = {0, 0, 0, 0};
};

std::int32_t Draw(const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget, IR_Rect* ioClip,
                  const IR_MotionSettings* inSettings, std::uint32_t inBlendMode)
{
    if (inSource == nullptr || inTarget == nullptr || inSettings == nullptr)
    {
        return kIR_NullPointer;
    }
    Picture source;
    Picture target;
    const std::int32_t status = PicturesOf(*inSource, *inTarget, source, target);
    if (status != kIR_Success)
    {
        return status;
    }
    if (!ir::CanBePlanned(*inSource, *inTarget, *inSettings, inBlendMode) || ir::Overlap(source, target))
    {
        return kIR_BadArgument;
    }
    try
    {
        Motion motion(*inSource, *inTarget, ioClip, *inSettings, inBlendMode);
        const std::int32_t drawn = motion.Draw(source, target);
        if (drawn == kIR_Success && ioClip != nullptr)
        {
            *ioClip = motion.Drawn();
        }
        return drawn;
    }
    catch (const std::bad_alloc&)
    {
        return kIR_OutOfMemory;
    }
}

}

extern "C"
{

    int32_t IR_Motion(const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget, IR_Rect* ioClip,
                      const IR_MotionSettings* inSettings)
    {
        return Draw(inSource, inTarget, ioClip, inSettings, kIR_Blend_Normal);
    }

    int32_t IR_MotionWithBlendMode(const IR_MotionPicture* inSource, const IR_MotionPicture* inTarget,
                                   IR_Rect* ioClip, const IR_MotionSettings* inSettings, uint32_t inBlendMode)
    {
        return Draw(inSource, inTarget, ioClip, inSettings, inBlendMode);
    }
}
