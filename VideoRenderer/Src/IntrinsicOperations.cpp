#include "IntrinsicOperations.h"

#include "FrameConforming.h"
#include "FrameImage.h"
#include "IR/Motion.h"
#include "RenderableSources.h"
#include "VF/VideoFrame.h"
#include "VF/VideoFrameManipulators.h"
#include "norvik/config/Contract.h"
#include "norviktypes/PixelFormat.h"

#include <cstdlib>

namespace ML
{

namespace
{

using norviktypes::kRenderQuality_Max;
using norviktypes::kRenderQuality_Medium;

// Two four-component formats that differ in these bits only (alpha kind, linear light) meet without a
// conversion of the lower frame: the image routines bring the source to the target's coding.
constexpr std::uint32_t kBitsThatMayDiffer = 0x1380;
constexpr std::uint32_t kToneStraight = 0x80;
constexpr std::uint32_t kToneOtherBits = 0x300;
constexpr std::uint32_t kKindCompressed = 0x80000;
constexpr std::uint32_t kKindUncompressed = 0x40000;

// In a code of the image routines: alpha is not read.
constexpr std::uint32_t kOpaqueCodeBits = 12;

constexpr TVK::Rect kNothing{0, 0, 0, 0};
constexpr TVK::Point kNoOrigin{-1, -1};

// One frame on its way onto another.
struct Drawing
{
    const MF::IVideoFrameRef& mFrame;
    const MF::IVideoFrameRef& mTarget;
    const CutlistRenderParams& mParams;
    bool mHadLower; // the target holds a picture that is to stay
};

std::int32_t Interlaced(norviktypes::FieldType inType)
{
    return norviktypes::IsInterlaced(inType) ? inType : norviktypes::kFieldType_Progressive;
}

// But for the pixels, which need not be there yet.
IR_MotionPicture MotionPictureOf(const MF::IVideoFrameRef& inFrame, norviktypes::FieldType inFieldType)
{
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    const bool isSquare = ratio.GetNumerator() == 0 || ratio.GetDenominator() == 0;
    return {nullptr,
            VF::IVideoFrameRasterRef(inFrame)->GetRowBytes(),
            bounds.Width(),
            bounds.Height(),
            VF::BEPixelFormatToIRPixelFormat(FormatOfFrame(inFrame)),
            Interlaced(inFieldType),
            isSquare ? 1 : ratio.GetNumerator(),
            isSquare ? 1 : ratio.GetDenominator()};
}

// What a stream said about its alpha counts for more than what its pixels hold there.
void IgnoreAlphaThatDoesNotCount(const MF::IVideoFrameRef& inFrame, IR_MotionPicture& ioPicture)
{
    const norviktypes::AlphaChannel type = inFrame->GetAlphaType();
    const bool isIgnored =
        type == norviktypes::kAlphaChannel_None || type == norviktypes::kAlphaChannel_Opaque;
    if (isIgnored && norviktypes::IsPackedFourComponent(FormatOfFrame(inFrame).mProperties))
    {
        ioPicture.format |= kOpaqueCodeBits;
    }
}

// The order in which the target's fields are drawn. A single field of a progressive output keeps the order
// of its source until it's taken out of the finished frame.
norviktypes::FieldType FieldTypeOfTarget(const Drawing& inDrawing)
{
    const norviktypes::FieldType source = inDrawing.mFrame->GetFieldType();
    const bool followsSource = inDrawing.mParams.mFieldType == norviktypes::kFieldType_Progressive &&
                               norviktypes::IsInterlaced(source) && inDrawing.mParams.mFieldToRender != 0;
    if (followsSource)
    {
        inDrawing.mTarget->SetFieldType(source);
        return source;
    }
    return inDrawing.mParams.mFieldType;
}

// An anchor that was set on a picture of another size keeps its distance from the middle.
void RecentreAnchor(const NodeIntrinsicParameters& inIntrinsics, std::int32_t inWidth, std::int32_t inHeight,
                    IR_MotionSettings& ioSettings)
{
    if (inIntrinsics.sourceWidth == 0 && inIntrinsics.sourceHeight == 0)
    {
        return;
    }
    const auto width = static_cast<float>(inWidth);
    const auto height = static_cast<float>(inHeight);
    const float dx = width - static_cast<float>(inIntrinsics.sourceWidth);
    const float dy = height - static_cast<float>(inIntrinsics.sourceHeight);
    ioSettings.anchorX += (dx * 0.5f - dx * ioSettings.anchorX) / width;
    ioSettings.anchorY += (dy * 0.5f - dy * ioSettings.anchorY) / height;
}

// Without an origin the picture lies around the middle of the output, and where the two heights differ by an
// odd number it would lie between two lines.
void PlaceByOrigin(const Drawing& inDrawing, norviktypes::FieldType inTargetField, std::int32_t inWidth,
                   std::int32_t inHeight, IR_MotionSettings& ioSettings)
{
    const auto width = static_cast<float>(inWidth);
    const auto height = static_cast<float>(inHeight);
    const auto renderHeight = static_cast<std::int32_t>(inDrawing.mParams.mHeight);
    TVK::Point origin;
    inDrawing.mFrame->GetOrigin(origin);
    if (origin != kNoOrigin)
    {
        const auto halfWidth = static_cast<float>(inDrawing.mParams.mWidth) * 0.5f;
        const auto halfHeight = static_cast<float>(inDrawing.mParams.mHeight) * 0.5f;
        ioSettings.anchorX += (halfWidth + static_cast<float>(origin.x)) / width - 0.5f;
        ioSettings.anchorY -= (halfHeight + static_cast<float>(origin.y)) / height - 0.5f;
    }
    else if ((inHeight - renderHeight) % 2 != 0 && !norviktypes::IsInterlaced(inTargetField))
    {
        ioSettings.anchorY -= 0.5f / height;
    }
}

bool IsBlended(const Drawing& inDrawing, const NodeIntrinsicParameters& inIntrinsics)
{
    return inDrawing.mHadLower && inIntrinsics.blendMode != kBlendMode_Normal;
}

IR_MotionSettings SettingsFor(const Drawing& inDrawing, const NodeIntrinsicParameters& inIntrinsics,
                              norviktypes::FieldType inTargetField, std::int32_t inField)
{
    IR_MotionSettings settings{};
    settings.positionX = inIntrinsics.positionX;
    settings.positionY = inIntrinsics.positionY;
    settings.anchorX = inIntrinsics.anchorX;
    settings.anchorY = inIntrinsics.anchorY;
    settings.scaleX = inIntrinsics.scaleX;
    settings.scaleY = inIntrinsics.scaleY;
    settings.rotation = inIntrinsics.rotation;
    settings.antiFlicker = inIntrinsics.antiFlicker;
    settings.opacity = IsBlended(inDrawing, inIntrinsics) ? inIntrinsics.blendOpacity : inIntrinsics.opacity;
    settings.targetHasPicture = inDrawing.mHadLower ? 1 : 0;
    settings.field = inField;
    settings.quality = inDrawing.mParams.mRenderQuality;
    settings.highQualitySampling = inIntrinsics.highQualitySampling;

    const TVK::Rect bounds = BoundsOfFrame(inDrawing.mFrame);
    RecentreAnchor(inIntrinsics, bounds.Width(), bounds.Height(), settings);
    PlaceByOrigin(inDrawing, inTargetField, bounds.Width(), bounds.Height(), settings);
    if (inIntrinsics.scanlineOffset != 0)
    {
        settings.positionY +=
            static_cast<float>(inIntrinsics.scanlineOffset) / static_cast<float>(inDrawing.mParams.mHeight);
    }
    return settings;
}

// False where the routine must be called with all pixels.
bool DrawLate(const Drawing& inDrawing, const NodeIntrinsicParameters& inIntrinsics,
              const IR_MotionPicture& inSource, const IR_MotionPicture& inTarget,
              const IR_MotionSettings& inSettings)
{
    std::int32_t status = VF::kFrameStatus_OK;
    const std::uint32_t mode =
        IsBlended(inDrawing, inIntrinsics) ? inIntrinsics.blendMode : kBlendMode_Normal;
    const bool isDrawn = VF::VideoFrameManipulators::DrawFrameLate(
        inDrawing.mFrame, inSource, inDrawing.mTarget, inTarget, inSettings, mode, status);
    if (isDrawn && status < 0)
    {
        throw RenderRequestException(status);
    }
    return isDrawn;
}

std::int32_t Draw(const Drawing& inDrawing, const NodeIntrinsicParameters& inIntrinsics,
                  norviktypes::FieldType inTargetField, std::int32_t inField, IR_Rect* ioClip)
{
    IR_MotionPicture source = MotionPictureOf(inDrawing.mFrame, inDrawing.mFrame->GetFieldType());
    IgnoreAlphaThatDoesNotCount(inDrawing.mFrame, source);
    IR_MotionPicture target = MotionPictureOf(inDrawing.mTarget, inTargetField);
    const IR_MotionSettings settings = SettingsFor(inDrawing, inIntrinsics, inTargetField, inField);
    if (!ioClip && DrawLate(inDrawing, inIntrinsics, source, target, settings))
    {
        return kIR_Success;
    }
    source.pixels = ImageOfFrame(inDrawing.mFrame).mPixels;
    target.pixels = ImageOfFrame(inDrawing.mTarget).mPixels;
    return IsBlended(inDrawing, inIntrinsics)
               ? IR_MotionWithBlendMode(&source, &target, ioClip, &settings, inIntrinsics.blendMode)
               : IR_Motion(&source, &target, ioClip, &settings);
}

// A target that doesn't know where its picture ends can't learn it from one more drawing.
void GrowContentRect(const MF::IVideoFrameRef& inTarget, const IR_Rect& inDrawn)
{
    TVK::Rect content;
    if (inTarget->GetContentRect(content))
    {
        inTarget->SetContentRect(
            TVK::Union(content, TVK::Rect{inDrawn.left, inDrawn.top, inDrawn.right, inDrawn.bottom}));
    }
}

bool ApplyIntrinsicMotion(const Drawing& inDrawing, const NodeIntrinsicParameters& inIntrinsics,
                          std::int32_t inField)
{
    // Told also by a frame that turns out to hold nothing: what is drawn over it has the same fields.
    const norviktypes::FieldType targetField = FieldTypeOfTarget(inDrawing);
    TVK::Rect content;
    const bool isClipped =
        inDrawing.mFrame->GetContentRect(content) && content != BoundsOfFrame(inDrawing.mFrame);
    if (!isClipped)
    {
        const bool isDrawn = Draw(inDrawing, inIntrinsics, targetField, inField, nullptr) == kIR_Success;
        inDrawing.mTarget->ClearContentRect();
        return isDrawn;
    }
    if (content == kNothing)
    {
        return true;
    }
    IR_Rect clip{content.left, content.top, content.right, content.bottom};
    const bool isDrawn = Draw(inDrawing, inIntrinsics, targetField, inField, &clip) == kIR_Success;
    if (isDrawn)
    {
        GrowContentRect(inDrawing.mTarget, clip);
    }
    return isDrawn;
}

bool ApplyIntrinsicsPerField(const Drawing& inDrawing, const NodeIntrinsicParameters& inFirst,
                             const NodeIntrinsicParameters& inSecond)
{
    const bool isOnePass =
        SameIntrinsics(inFirst, inSecond) || (!inDrawing.mHadLower && SameGeometry(inFirst, inSecond));
    if (isOnePass)
    {
        return ApplyIntrinsicMotion(inDrawing, inFirst, kIR_WholePicture);
    }
    return ApplyIntrinsicMotion(inDrawing, inFirst, kIR_UpperField) &&
           ApplyIntrinsicMotion(inDrawing, inSecond, kIR_LowerField);
}

bool IsKnownToBeEmpty(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect content;
    return inFrame->GetContentRect(content) && content == kNothing;
}

bool MeetWithoutConversion(const MF::IVideoFrameRef& inFrame, const MF::IVideoFrameRef& inLower,
                           norviktypes::RenderQuality inQuality)
{
    const std::uint32_t frame =
        norviktypes::Select4444PixelFormat(FormatOfFrame(inFrame), inQuality).mProperties;
    const std::uint32_t lower =
        norviktypes::Select4444PixelFormat(FormatOfFrame(inLower), inQuality).mProperties;
    return inQuality < kRenderQuality_Max && ((frame ^ lower) & ~kBitsThatMayDiffer) == 0;
}

// The lower frame in a coding that the frame can be laid over, its pixels at render size.
MF::IVideoFrameRef PrepareLowerFrame(const MF::IVideoFrameRef& inFrame, const MF::IVideoFrameRef& inLower,
                                     const CutlistRenderParams& inParams)
{
    const MF::IVideoFrameRef converted = MeetWithoutConversion(inFrame, inLower, inParams.mRenderQuality)
                                             ? inLower
                                             : ConformFrameToFormat(inParams, inLower, inParams.mPixelFormat);
    MF::IVideoFrameRef addressable = MakeAddressableAtRenderSize(converted, inParams);
    if (!addressable)
    {
        throw TVK::NullInterfaceException(); // drawing on without it would lose what lies beneath
    }
    return addressable;
}

// Pixels are laid over pixels that have four components; a packed 4:2:2 frame is copied into one first.
bool CanBeDrawnInto(const MF::IVideoFrameRef& inLower, const MF::IVideoFrameRef& inFrame)
{
    return !inLower->IsFrozen() && inLower.get() != inFrame.get() &&
           norviktypes::IsPackedFourComponent(FormatOfFrame(inLower).mProperties);
}

// A target needs alpha of its own, so that more can be laid beneath it later.
norviktypes::PixelFormat FormatOfTarget(const MF::IVideoFrameRef& inFrame,
                                        norviktypes::RenderQuality inQuality)
{
    return FormatWithAlpha(norviktypes::Select4444PixelFormat(FormatOfFrame(inFrame), inQuality));
}

// A cleared target is known to hold nothing; a copy holds what the lower frame does.
bool FillTarget(const MF::IVideoFrameRef& inTarget, const MF::IVideoFrameRef& inLower, bool inIsCopiedLate,
                norviktypes::RenderQuality inQuality)
{
    if (!inLower)
    {
        inTarget->SetContentRect(kNothing);
        return true;
    }
    TVK::Rect content;
    if (inLower->GetContentRect(content) && BoundsOfFrame(inLower) == BoundsOfFrame(inTarget))
    {
        inTarget->SetContentRect(content);
    }
    return inIsCopiedLate || VF::VideoFrameManipulators::CopyFrame(inLower, inTarget, inQuality) >= 0;
}

MF::IVideoFrameRef CreateTarget(const MF::IVideoFrameRef& inFrame, const MF::IVideoFrameRef& inLower,
                                const CutlistRenderParams& inParams)
{
    CutlistRenderParams params = inParams;
    params.mPixelFormat = FormatOfTarget(inFrame, inParams.mRenderQuality);
    const bool isCleared = !inLower;
    MF::IVideoFrameRef target;
    if (inLower)
    {
        target = VF::VideoFrameManipulators::CopyFrameLate(inLower, params.mPixelFormat, params.mWidth,
                                                           params.mHeight, params.mPixelAspectRatio);
    }
    const bool isCopiedLate = static_cast<bool>(target);
    if (!isCopiedLate)
    {
        target = CreateRenderSizeFrame(params, isCleared, isCleared);
    }
    if (!target)
    {
        return target;
    }
    const bool isFieldOfProgressive = !norviktypes::IsInterlaced(inFrame->GetFieldType()) &&
                                      inParams.mFieldToRender != 0 &&
                                      inParams.mRenderQuality < kRenderQuality_Medium;
    target->SetFieldType(isFieldOfProgressive ? norviktypes::kFieldType_Progressive : inParams.mFieldType);
    return FillTarget(target, inLower, isCopiedLate, inParams.mRenderQuality) ? target : MF::IVideoFrameRef();
}

bool HasFieldsOfOutput(const MF::IVideoFrameRef& inFrame, const CutlistRenderParams& inRenderParams)
{
    const norviktypes::FieldType type = inFrame->GetFieldType();
    if (inRenderParams.mRenderQuality < kRenderQuality_Medium || type == inRenderParams.mFieldType)
    {
        return true;
    }
    return inRenderParams.mFieldToRender != 0 && type != norviktypes::kFieldType_Progressive &&
           inRenderParams.mFieldType == norviktypes::kFieldType_Progressive;
}

} // namespace

norviktypes::PixelFormat FormatWithAlpha(const norviktypes::PixelFormat& inFormat)
{
    const std::uint32_t tone = norviktypes::ToneOfProperties(inFormat.mProperties);
    if (tone != norviktypes::kAlphaChannel_None && tone != norviktypes::kAlphaChannel_Opaque)
    {
        return inFormat;
    }
    const std::uint32_t properties = (inFormat.mProperties & ~kToneOtherBits) | kToneStraight;
    const std::uint32_t name = norviktypes::GuessNameForProperties(properties);
    if (name == norviktypes::kPixelFormatName_Unknown)
    {
        return norviktypes::kPixelFormat_Invalid;
    }
    return name == 0 ? norviktypes::kPixelFormat_Any
                     : norviktypes::PixelFormat{name, (properties & ~kKindCompressed) | kKindUncompressed};
}

bool FrameAlreadyConformsToOutput(const MF::IVideoFrameRef& inFrame,
                                  const CutlistRenderParams& inRenderParams)
{
    TVK::Point origin;
    inFrame->GetOrigin(origin);
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    if (!HasFieldsOfOutput(inFrame, inRenderParams) || origin != kNoOrigin ||
        ratio != inRenderParams.mPixelAspectRatio)
    {
        return false;
    }
    const TVK::Rect renderSize{0, 0, static_cast<std::int32_t>(inRenderParams.mWidth),
                               static_cast<std::int32_t>(inRenderParams.mHeight)};
    const TVK::Rect fullSize{0, 0, static_cast<std::int32_t>(inRenderParams.mSourceWidth),
                             static_cast<std::int32_t>(inRenderParams.mSourceHeight)};
    const TVK::Rect bounds = BoundsOfFrame(inFrame);
    return bounds == renderSize || (inFrame->SupportsTargetBounds(renderSize) && bounds == fullSize);
}

MF::IVideoFrameRef PerformIntrinsicOperations(const MF::IVideoFrameRef& inFrame,
                                              const NodeIntrinsicParameters& inFirstField,
                                              const NodeIntrinsicParameters& inSecondField,
                                              const MF::IVideoFrameRef& inLowerFrame,
                                              const CutlistRenderParams& inRenderParams)
{
    ML_INPUT_CONTRACT(inFrame, "inFrame", "Src/CutlistRenderer", "ML::PerformIntrinsicOperations", __LINE__);
    ML_INPUT_CONTRACT(!inLowerFrame || FrameAlreadyConformsToOutput(inLowerFrame, inRenderParams),
                      "!inLowerFrame || FrameAlreadyConformsToOutput(inLowerFrame, inRenderParams)",
                      "Src/CutlistRenderer", "ML::PerformIntrinsicOperations", __LINE__);

    CutlistRenderParams params = inRenderParams;
    MF::IVideoFrameRef frame = inFrame;
    if (params.mRenderQuality >= kRenderQuality_Max)
    {
        params.mPixelFormat = norviktypes::kPixelFormat_BGRP_4444_32f_Linear;
        frame = ConformFrameToFormat(params, frame, params.mPixelFormat);
    }
    frame = MakeAddressableAtRenderSize(frame, params);

    MF::IVideoFrameRef target;
    const bool hadLower = static_cast<bool>(inLowerFrame);
    if (hadLower)
    {
        if (IsKnownToBeEmpty(frame))
        {
            return inLowerFrame;
        }
        const MF::IVideoFrameRef lower = PrepareLowerFrame(frame, inLowerFrame, params);
        target = CanBeDrawnInto(lower, frame) ? lower : CreateTarget(frame, lower, params);
    }
    else
    {
        target = CreateTarget(frame, {}, params);
    }
    if (!target || !ApplyIntrinsicsPerField({frame, target, params, hadLower}, inFirstField, inSecondField))
    {
        return {};
    }
    return target;
}

MF::IVideoFrameRef ApplyIntrinsicsIfNeeded(const MF::IVideoFrameRef& inFrame,
                                           const NodeIntrinsicParameters& inFirstField,
                                           const NodeIntrinsicParameters& inSecondField,
                                           const CutlistRenderParams& inRenderParams)
{
    if (SameGeometry(inFirstField, inSecondField) &&
        SameGeometry(inFirstField, kDefaultIntrinsicParameters) &&
        FrameAlreadyConformsToOutput(inFrame, inRenderParams))
    {
        return inFrame;
    }
    const auto overNothing = [](NodeIntrinsicParameters intrinsics)
    {
        intrinsics.blendMode = kBlendMode_Normal;
        intrinsics.blendOpacity = 1.0f;
        intrinsics.highQualitySampling = 0;
        return intrinsics;
    };
    return PerformIntrinsicOperations(inFrame, overNothing(inFirstField), overNothing(inSecondField), {},
                                      inRenderParams);
}

MF::IVideoFrameRef FlattenFrameOnBlack(const MF::IVideoFrameRef& inFrame,
                                       norviktypes::RenderQuality inQuality)
{
    const bool isFlat = !inFrame || inFrame->GetAlphaType() != norviktypes::kAlphaChannel_Straight ||
                        !inFrame->MayHaveTransparency();
    if (isFlat)
    {
        return inFrame;
    }
    const MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inQuality);
    const FrameImage image = ImageOfFrame(frame);
    const std::int32_t status =
        IR_CompositeToBlack(image.mPixels, image.mRowBytes, image.mCode, image.mPixels, image.mRowBytes,
                            image.mCode, image.mWidth, image.mHeight, 1.0f, inQuality);
    if (status == kIR_Success)
    {
        frame->SetAlphaType(norviktypes::kAlphaChannel_Opaque);
        frame->ClearContentRect();
    }
    return frame;
}

} // namespace ML
