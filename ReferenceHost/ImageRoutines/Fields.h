#pragma once

#include <cstdint>

#include "ReferenceHost/ImageRoutines/Picture.h"

// What is done with the two fields of a picture. Sizes and formats have been checked by those who call.
//
// Thread-safety: safe; as IR/ImageRoutines.h. What needs rows of its own throws std::bad_alloc.
namespace ir
{

enum class FieldMethod : std::uint8_t
{
    kLineDoubling,
    kLineInterpolation,
    kFiltering
};

// By the quality of deinterlacing, as IR_Deinterlace tells.
FieldMethod FieldMethodFor(std::int32_t inQuality) noexcept;

// Whether chroma rows belong to both fields at once.
inline bool SharesChroma(const Picture& inPicture) noexcept
{
    return inPicture.shiftY != 0 && !inPicture.isFieldChroma;
}

// Two fields as pictures of their own, the rows of one to be made from those of the other.
struct FieldPair
{
    Picture source;
    Picture target;
    bool targetIsLower = false;
    bool sharesChroma = false; // chroma rows that don't belong to the fields are copied
    Picture copy = {};         // where the source's rows are wanted as well; no planes if nowhere
};

// Both of one format. Rows of the target that are the source's own stay.
void MakeOtherField(const FieldPair& inPair, FieldMethod inMethod);

// Rows 2 k and 2 k + 1 change places on the way; the last of an odd number stays where it is. Chroma rows that
// the fields share are copied. Those that lie in other places in one field than in the other (4:2:0 by fields) are
// three quarters of the field's nearest one and a quarter of its next.
void SwapFields(const Picture& inSource, const Picture& inTarget) noexcept;

// Each row and the rows above and below by 1, 2, 1; beyond an edge the edge row is repeated.
void SmoothRows(const Picture& inSource, const Picture& inTarget);

// The rows of one field (kIR_UpperField, kIR_LowerField); chroma rows that the fields share stay the target's.
void CopyFieldRows(const Picture& inSource, const Picture& inTarget, std::int32_t inField) noexcept;

namespace reference
{

void DeinterlacePicture(const Picture& ioPicture, bool inKeepsLower, FieldMethod inMethod);
void SmoothRows(const Picture& inSource, const Picture& inTarget);

}

}
