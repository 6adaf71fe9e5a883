// Stretches of a row where one picture goes over into another, with a border of one colour between.
//
// Thread-safety: an object belongs to one render.
#pragma once

#include "ReferenceHost/Effects/EffectParameters.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"
#include "ReferenceHost/ImageRoutines/Picture.h"
#include "ReferenceHost/ImageRoutines/RowBuffers.h"

#include <cstdint>

namespace Effects
{

class EdgeMix
{
public:
    // All pictures are of one kind and size and outlive the object. inBorder is coded for display. Throws
    // std::bad_alloc.
    EdgeMix(const ir::Picture& inFrom, const ir::Picture& inTo, const ir::Picture& outTarget,
            const Color& inBorder);

    // Weights of the two pictures for all pixels of a row, 0 to 1, to be filled before Draw; what they leave of 1
    // is the border's.
    float* FromWeights() const noexcept { return mRows.Row(kFromWeights); }
    float* ToWeights() const noexcept { return mRows.Row(kToWeights); }

    // Pixels inX to inX + inWidth - 1 of a row by these weights: stretches of one picture alone are copied.
    void Draw(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const;

    void CopyFrom(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const;
    void CopyTo(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const;

private:
    static constexpr std::size_t kFromWeights = 0;
    static constexpr std::size_t kToWeights = 1;
    static constexpr std::size_t kFromRow = 2;
    static constexpr std::size_t kToRow = 6;
    static constexpr std::size_t kScratch = 10;
    static constexpr std::size_t kRowCount = 12;

    ir::FloatRow RowsAt(std::size_t inFirst) const noexcept;
    void Mix(std::int32_t inX, std::int32_t inY, std::int32_t inWidth) const;

    const ir::Picture& mFrom;
    const ir::Picture& mTo;
    const ir::Picture& mTarget;
    float mBorder[3];
    ir::RowBuffers<float> mRows;
};

} // namespace Effects
