// The bases of filters that the host draws itself.
//
//   class Blur final : public EffectFilter      draws a picture from a picture
//   class ProcAmp final : public PixelFilter    changes each pixel by itself, as a row of floats
//
// They work in the formats of WorkingFormats and read their parameters at the clip time of the render. A filter
// holds nothing that a render changes, so one object serves any number of renders at once.
//
// Thread-safety: safe, as long as Draw and Prepare are.
#pragma once

#include "ML/VideoFilter.h"
#include "ReferenceHost/Effects/EffectDescription.h"
#include "ReferenceHost/Effects/EffectParameters.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "TVK/Allocated.h"
#include "norviktypes/FieldType.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Effects
{

// One render as a filter sees it.
struct FilterCall
{
    const ML::VideoFilterRender& render;
    const EffectParameters& parameters;
    double scale = 1.0;  // pixels of this picture to a pixel of the full-size one
    double aspect = 1.0; // width of a pixel over its height
    norviktypes::FieldType fieldType = norviktypes::kFieldType_Progressive;

    // Its rows show two moments in turn.
    bool HasFields() const { return norviktypes::IsInterlaced(fieldType); }
};

class EffectFilter : public TVK::Implements<EffectFilter, ML::IVideoFilter>
{
public:
    // inDescription outlives the filter.
    explicit EffectFilter(const EffectDescription& inDescription);

    norvik::utility::ImmutableString GetMatchName() const override;
    void GetPixelFormats(const MF::IVideoFrameRef& inFrame, const norviktypes::PixelFormat& inFormat,
                         std::vector<norviktypes::PixelFormat>& outFormats) const override;
    bool VariesByItself() const override { return false; }
    bool HasOpaqueData() const override { return false; }
    std::int32_t GetOpaqueData(MF::BinaryData& outData) const override;
    std::uint32_t GetRuntimeInstanceID() const override { return mInstanceID; }
    bool WantsClipNames() const override { return false; }
    void GetStreamLabels(std::vector<norvik::utility::ImmutableString>& outLabels) const override;
    bool KeepsOpaque(const MF::KeyframeStore&) const override { return true; }
    // The input itself where IsIdle says so; else a new frame of its format, drawn by Draw.
    std::int32_t Render(const ML::VideoFilterRender& inRender, const MF::IVideoFrameRef& inFrame,
                        MF::IVideoFrameRef& outFrame) override;

    const EffectDescription& Description() const noexcept { return mDescription; }

protected:
    // The picture would come out as it went in.
    virtual bool IsIdle(const FilterCall&) const { return false; }
    // Both pictures are of one size and one of the working formats; outTarget's pixels are undefined. 0 or
    // negative. May throw std::bad_alloc.
    virtual std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                              const ir::Picture& outTarget) const = 0;

private:
    const EffectDescription& mDescription;
    std::uint32_t mInstanceID;
};

// What is done to the pixels of one render.
//
// Thread-safety: belongs to one render.
class IRowOperation
{
public:
    virtual ~IRowOperation() = default;
    // Straight R, G, B and A of inWidth pixels, 0 to 1, coded for display. Floats may lie outside of that.
    virtual void Apply(const ir::FloatRow& ioRow, std::int32_t inY, std::size_t inWidth) = 0;
};

// A filter of pixels by themselves. Linear pictures are coded for it and decoded again, so that a setting looks
// the same in every format.
class PixelFilter : public EffectFilter
{
public:
    using EffectFilter::EffectFilter;

protected:
    // Never null. inPicture tells the size; its pixels belong to nobody yet.
    virtual std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                                   const ir::Picture& inPicture) const = 0;

    std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const final;
};

// The number for a new filter or transition: unique in this process, never 0.
std::uint32_t NextInstanceID() noexcept;

} // namespace Effects
