// What a node tells of itself beside its picture: how it lies on the output, its keyframes, its time.
//
// Thread-safety: the record is a value; the interfaces are faces of frozen nodes and safe.
#pragma once

#include "CutlistRenderParams.h"
#include "MF/ITimeTransform.h"
#include "MF/KeyframedParameter.h"

#include <cstddef>
#include <cstdint>

namespace ML
{

inline constexpr std::uint32_t kBlendMode_Normal = 18;

// How a picture lies on the output, for one field. Fractions grow to the right and upwards.
//
// The bytes up to and with blendMode, blendOpacity and highQualitySampling are mixed into hashes as they
// stand, so the layout is fixed and the gaps are fields that are always zero.
struct NodeIntrinsicParameters
{
    float positionX = 0.5f; // where the anchor lands, as a fraction of the output
    float positionY = 0.5f;
    float anchorX = 0.5f; // as a fraction of the picture
    float anchorY = 0.5f;
    float scaleX = 1.0f;
    float scaleY = 1.0f;
    double rotation = 0.0; // degrees
    float opacity = 1.0f;  // where the blend mode is normal or nothing lies beneath
    std::uint32_t zeroBehindOpacity = 0;
    double antiFlicker = 0.0;        // 0..1
    std::int32_t scanlineOffset = 0; // output lines
    std::int32_t sourceWidth = 0;    // the size for which the anchor was set; 0, 0: the picture's own
    std::int32_t sourceHeight = 0;
    std::uint32_t zeroBehindSize = 0;
    std::uint32_t blendMode = kBlendMode_Normal;
    float blendOpacity = 1.0f; // where the blend mode isn't normal and something lies beneath
    std::uint8_t highQualitySampling = 1;
};
static_assert(offsetof(NodeIntrinsicParameters, rotation) == 24);
static_assert(offsetof(NodeIntrinsicParameters, opacity) == 32);
static_assert(offsetof(NodeIntrinsicParameters, zeroBehindOpacity) == 36);
static_assert(offsetof(NodeIntrinsicParameters, antiFlicker) == 40);
static_assert(offsetof(NodeIntrinsicParameters, scanlineOffset) == 48);
static_assert(offsetof(NodeIntrinsicParameters, sourceWidth) == 52);
static_assert(offsetof(NodeIntrinsicParameters, zeroBehindSize) == 60);
static_assert(offsetof(NodeIntrinsicParameters, blendMode) == 64);
static_assert(offsetof(NodeIntrinsicParameters, blendOpacity) == 68);
static_assert(offsetof(NodeIntrinsicParameters, highQualitySampling) == 72);

inline constexpr NodeIntrinsicParameters kDefaultIntrinsicParameters{};

// Exact, field by field. The scanline offset takes no part.
constexpr bool SameGeometry(const NodeIntrinsicParameters& inA, const NodeIntrinsicParameters& inB) noexcept
{
    return inA.positionX == inB.positionX && inA.positionY == inB.positionY && inA.anchorX == inB.anchorX &&
           inA.anchorY == inB.anchorY && inA.scaleX == inB.scaleX && inA.scaleY == inB.scaleY &&
           inA.rotation == inB.rotation && inA.opacity == inB.opacity && inA.antiFlicker == inB.antiFlicker &&
           inA.sourceWidth == inB.sourceWidth && inA.sourceHeight == inB.sourceHeight;
}

// The same, and the same way of blending.
constexpr bool SameIntrinsics(const NodeIntrinsicParameters& inA, const NodeIntrinsicParameters& inB) noexcept
{
    return SameGeometry(inA, inB) && inA.blendMode == inB.blendMode && inA.blendOpacity == inB.blendOpacity &&
           inA.highQualitySampling == inB.highQualitySampling;
}

class IRenderableNodeIntrinsicParameterProvider : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableNodeIntrinsicParameterProvider;

    // The record of the field at inTime. Negative on failure, when callers take the defaults.
    virtual std::int32_t GetIntrinsicParameters(const norviktypes::TickTime& inTime,
                                                const CutlistRenderParams& inRenderParams,
                                                NodeIntrinsicParameters& outParameters) = 0;
};
using IRenderableNodeIntrinsicParameterProviderRef =
    TVK::InterfaceRef<IRenderableNodeIntrinsicParameterProvider>;

class IRenderableKeyframeOwner : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableKeyframeOwner;

    // Valid as long as the owner lives.
    virtual const MF::KeyframeStore& GetKeyframes() = 0;
};
using IRenderableKeyframeOwnerRef = TVK::InterfaceRef<IRenderableKeyframeOwner>;

class IRenderableTimeTransformOwner : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableTimeTransformOwner;

    // Empty if the owner's time runs as its inputs' does.
    virtual void GetTimeTransform(MF::ITimeTransformRef& outTransform) = 0;
};
using IRenderableTimeTransformOwnerRef = TVK::InterfaceRef<IRenderableTimeTransformOwner>;

} // namespace ML
