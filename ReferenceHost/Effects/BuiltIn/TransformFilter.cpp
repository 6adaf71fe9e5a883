#include "IR/Motion.h"
#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Effects/PinnedPicture.h"

#include <cmath>
#include <cstring>

namespace Effects
{
namespace
{

constexpr std::size_t kAnchor = 0;
constexpr std::size_t kPosition = 1;
constexpr std::size_t kUniform = 2;
constexpr std::size_t kScaleHeight = 3;
constexpr std::size_t kScaleWidth = 4;
constexpr std::size_t kRotation = 5;
constexpr std::size_t kOpacity = 6;
constexpr std::size_t kSkew = 7;
constexpr std::size_t kSkewAxis = 8;

// Beyond it a picture is a line.
constexpr double kMostSkew = 85.0;

void Clear(const ir::Picture& outPicture)
{
    for (std::int32_t y = 0; y < outPicture.height; ++y)
    {
        std::memset(outPicture.Row(0, y), 0, static_cast<std::size_t>(ir::RowBytesOf(outPicture, 0)));
    }
}

// Where the middle of things goes: scaled, skewed along an axis, turned, and brought to its place. x to the
// right, y down, in pixels of the picture.
class Movement
{
public:
    Movement(const FilterCall& inCall, const ir::Picture& inPicture) : mAspect(inCall.aspect)
    {
        const EffectParameters& parameters = inCall.parameters;
        const TVK::ParamPoint<double> anchor = parameters.Point(kAnchor);
        const TVK::ParamPoint<double> position = parameters.Point(kPosition);
        mAnchor = {anchor.x * inPicture.width, anchor.y * inPicture.height};
        mPosition = {position.x * inPicture.width, position.y * inPicture.height};
        mHeight = parameters.Percent(kScaleHeight);
        mWidth = parameters.Switch(kUniform) ? mHeight : parameters.Percent(kScaleWidth);
        mRotation = parameters.Radians(kRotation);
        mLean = std::tan(parameters.Radians(kSkew));
        mAxis = parameters.Radians(kSkewAxis);
    }

    TVK::ParamPoint<double> Of(double inX, double inY) const
    {
        const double x = (inX - mAnchor.x) * mWidth * mAspect;
        const double y = (inY - mAnchor.y) * mHeight;
        // What lies above the axis goes along it, what lies below goes back.
        const double along = mLean * (x * std::sin(mAxis) - y * std::cos(mAxis));
        const double leaningX = x + along * std::cos(mAxis);
        const double leaningY = y + along * std::sin(mAxis);
        const double turnedX = leaningX * std::cos(mRotation) - leaningY * std::sin(mRotation);
        const double turnedY = leaningX * std::sin(mRotation) + leaningY * std::cos(mRotation);
        return {mPosition.x + turnedX / mAspect, mPosition.y + turnedY};
    }

private:
    double mAspect;
    TVK::ParamPoint<double> mAnchor;
    TVK::ParamPoint<double> mPosition;
    double mHeight;
    double mWidth;
    double mRotation;
    double mLean;
    double mAxis;
};

// The picture moved, scaled, turned and faded, over nothing: by IR_Motion, and where it leans by its corners.
class TransformFilter final : public EffectFilter
{
public:
    using EffectFilter::EffectFilter;

    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const override
    {
        if (inCall.parameters.Number(kSkew) != 0.0)
        {
            DrawLeaning(inCall, inSource, outTarget);
            return 0;
        }
        Clear(outTarget);
        const IR_MotionPicture source = MotionPictureOf(inSource, inCall);
        const IR_MotionPicture target = MotionPictureOf(outTarget, inCall);
        const IR_MotionSettings settings = SettingsOf(inCall);
        return IR_Motion(&source, &target, nullptr, &settings);
    }

private:
    static void DrawLeaning(const FilterCall& inCall, const ir::Picture& inSource,
                            const ir::Picture& outTarget)
    {
        const Movement movement(inCall, inSource);
        const double width = inSource.width;
        const double height = inSource.height;
        const TVK::ParamPoint<double> corners[4] = {movement.Of(0.0, 0.0), movement.Of(width, 0.0),
                                                    movement.Of(0.0, height), movement.Of(width, height)};
        DrawPinned(inSource, QuadMapping(corners, width, height),
                   static_cast<float>(inCall.parameters.Percent(kOpacity)), inCall.HasFields(), outTarget);
    }

    // Display and linear light differ by the code alone.
    static std::uint32_t CodeOf(const ir::Picture& inPicture)
    {
        constexpr std::uint32_t kCodes[3] = {0x004, 0x204, 0x104};
        constexpr std::uint32_t kLinearFloat = 0x904;
        return inPicture.transfer == ir::Transfer::kLinear ? kLinearFloat
                                                           : kCodes[static_cast<int>(inPicture.sample)];
    }

    static IR_MotionPicture MotionPictureOf(const ir::Picture& inPicture, const FilterCall& inCall)
    {
        // Fractions finer than this are not told by any document.
        constexpr double kDenominator = 1 << 20;
        IR_MotionPicture picture{};
        picture.pixels = inPicture.planes[0];
        picture.rowBytes = static_cast<std::int32_t>(inPicture.strides[0]);
        picture.width = inPicture.width;
        picture.height = inPicture.height;
        picture.format = CodeOf(inPicture);
        picture.fieldType = inCall.HasFields() ? static_cast<std::int32_t>(inCall.fieldType) : 0;
        picture.aspectNumerator = static_cast<std::uint32_t>(std::lround(inCall.aspect * kDenominator));
        picture.aspectDenominator = static_cast<std::uint32_t>(kDenominator);
        return picture;
    }

    // The picture's fractions count downwards, those of the routine upwards.
    static IR_MotionSettings SettingsOf(const FilterCall& inCall)
    {
        const EffectParameters& parameters = inCall.parameters;
        const TVK::ParamPoint<double> anchor = parameters.Point(kAnchor);
        const TVK::ParamPoint<double> position = parameters.Point(kPosition);
        const double height = parameters.Percent(kScaleHeight);
        const double width = parameters.Switch(kUniform) ? height : parameters.Percent(kScaleWidth);
        IR_MotionSettings settings{};
        settings.positionX = static_cast<float>(position.x);
        settings.positionY = static_cast<float>(1.0 - position.y);
        settings.anchorX = static_cast<float>(anchor.x);
        settings.anchorY = static_cast<float>(1.0 - anchor.y);
        settings.scaleX = static_cast<float>(width);
        settings.scaleY = static_cast<float>(height);
        settings.rotation = parameters.Number(kRotation);
        settings.opacity = static_cast<float>(parameters.Percent(kOpacity));
        settings.field = kIR_WholePicture;
        settings.quality =
            inCall.render.mInfo != nullptr ? static_cast<std::int32_t>(inCall.render.mInfo->quality) : 4;
        settings.highQualitySampling = 1;
        return settings;
    }
};

ParameterDescription SkewParameter()
{
    ParameterDescription parameter = AngleParameter("Skew", 0);
    parameter.mLeast = -kMostSkew;
    parameter.mMost = kMostSkew;
    return parameter;
}

} // namespace

void AddTransformFilter(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<TransformFilter>(
        "transform", "VX.ZNTR Geometry", "Transform",
        {PointParameter("Anchor Point", 0.5, 0.5), PointParameter("Position", 0.5, 0.5),
         BoolParameter("Uniform Scale", true), PercentParameter("Scale Height", -1000, 1000, 100),
         PercentParameter("Scale Width", -1000, 1000, 100), AngleParameter("Rotation", 0),
         PercentParameter("Opacity", 0, 100, 100), SkewParameter(), AngleParameter("Skew Axis", 0)}));
}

} // namespace Effects
