// The base of keys: filters that find how much of each pixel stays, its matte, and lessen alpha by that.
//
// A matte is found from colour that is coded for display, in every format, so that a setting means the same in all
// of them. Smoothing mixes it with its neighbours by binomial weights, one or two pixels of the rendered picture
// far. "Mask Only" shows alpha times matte in grey.
//
// Thread-safety: filters as EffectFilter; the rest belongs to one render.
#pragma once

#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Effects
{

// The rows of a picture, straight and coded for display. The picture outlives it.
class CodedRows
{
public:
    explicit CodedRows(const ir::Picture& inPicture);

    // Good, and the caller's to change, until the next is asked for.
    const ir::FloatRow& Read(std::int32_t inY);

private:
    ir::Picture mPicture;
    ir::RowPlan mPlan;
    ir::RowBuffers<float> mBuffers;
    ir::FloatRow mRow;
};

class IMatte
{
public:
    virtual ~IMatte() = default;
    // How much of each pixel stays, 0 to 1. Each row is asked for once, from the top down.
    virtual void Find(const ir::FloatRow& inRow, std::int32_t inY, std::size_t inWidth, float* outMatte) = 0;
    // Takes from the colour of a row what the key's screen has left in it.
    virtual void Clean(const ir::FloatRow&, std::size_t) const {}
};

struct Key
{
    std::unique_ptr<IMatte> matte; // empty: the picture stays as it is
    std::int32_t smoothing = 0;    // how many pixels far, 0 to 2
    bool showsMatte = false;
};

class KeyFilter : public EffectFilter
{
public:
    using EffectFilter::EffectFilter;

    bool KeepsOpaque(const MF::KeyframeStore&) const override { return false; }

protected:
    // 0 or negative.
    virtual std::int32_t Prepare(const FilterCall& inCall, const ir::Picture& inSource,
                                 Key& outKey) const = 0;

    std::int32_t Draw(const FilterCall& inCall, const ir::Picture& inSource,
                      const ir::Picture& outTarget) const final;
};

// 0 up to inCutoff, 1 beyond inThreshold, evenly between them; the other way round where the cutoff is the greater.
inline float Stretch(float inValue, float inCutoff, float inThreshold) noexcept
{
    if (inCutoff == inThreshold)
    {
        return inValue > inThreshold ? 1.0F : 0.0F;
    }
    return std::clamp((inValue - inCutoff) / (inThreshold - inCutoff), 0.0F, 1.0F);
}

} // namespace Effects
