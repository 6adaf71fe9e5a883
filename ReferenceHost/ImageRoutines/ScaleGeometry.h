#pragma once

#include <cstdint>

#include "IR/ImageRoutines.h"

// Which place of a source a target's place shows, along one axis.
//
// Places are continuous: sample k covers k to k + 1 and has its middle at k + 0.5. Of a field only its own
// rows count as samples.
//
// Thread-safety: values and pure functions; safe.
namespace ir
{

struct AxisMap
{
    double start; // the source's place at the target's place 0
    double step;  // source samples for one target sample

    double At(double inTargetPlace) const noexcept { return start + step * inTargetPlace; }
};

enum class ScaleFilter : std::uint8_t
{
    kBilinear,
    kBicubic,
    kLanczos
};

ScaleFilter FilterOf(std::int32_t inQuality) noexcept;

// From a filter's middle to its end, in samples of the source or, where it is reduced, of the target.
double SupportOf(ScaleFilter inFilter) noexcept;

// A sample's index beyond an edge, mirrored about the edge.
std::int32_t Mirrored(std::int32_t inIndex, std::int32_t inCount) noexcept;

// Luma samples along one axis that the scaler is given. It takes whole groups of 1 << inShift only; a side
// that isn't made of them gets as many samples more, in mirrored order, as the filter reaches: then the
// picture's own edge is what the filter is mirrored about, and the scaler's further out is never seen.
// inStep: source samples a target sample.
std::int32_t PaddedSide(std::int32_t inSide, std::int32_t inShift, double inStep,
                        ScaleFilter inFilter) noexcept;

// Rows of a picture of inHeight rows that belong to inField; all for kIR_WholePicture.
std::int32_t RowsOfField(std::int32_t inHeight, std::int32_t inField) noexcept;

// Heights are of whole pictures. For a target field the map is from rows of the field, unless the source is
// whole: then it is from rows of the whole target, of which the field's are kept.
AxisMap MapRows(std::int32_t inSourceHeight, std::int32_t inSourceField, std::int32_t inTargetHeight,
                std::int32_t inTargetField) noexcept;

// Whether each row that is written shows one row of the source and nothing of its neighbours, in order, at
// equal width.
bool CopiesRows(std::int32_t inSourceWidth, std::int32_t inSourceHeight, std::int32_t inSourceField,
                std::int32_t inTargetWidth, std::int32_t inTargetHeight, std::int32_t inTargetField) noexcept;

}
