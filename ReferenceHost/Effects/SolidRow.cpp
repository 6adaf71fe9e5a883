#include "ReferenceHost/Effects/SolidRow.h"

#include "ReferenceHost/ImageRoutines/Colour.h"
#include "ReferenceHost/ImageRoutines/FloatRows.h"

#include <algorithm>

namespace Effects
{

SolidRow::SolidRow(const Color& inColor, const ir::Picture& inAlike)
    : mRow(1, static_cast<std::size_t>(inAlike.width) * 4)
    , mPicture(inAlike)
{
    mPicture.planes[0] = reinterpret_cast<unsigned char*>(mRow.Row(0));
    mPicture.strides[0] = 0;
    const ir::RowBuffers<float> rows(4, static_cast<std::size_t>(inAlike.width) + 64);
    const ir::FloatRow row = {{rows.Row(0), rows.Row(1), rows.Row(2), rows.Row(3)}};
    const Color color = InCodingOf(inColor, inAlike);
    const double components[4] = {color.r, color.g, color.b, color.a};
    for (int component = 0; component < 4; ++component)
    {
        std::fill_n(row.c[component], inAlike.width, static_cast<float>(components[component]));
    }
    ir::WriteFloatRow(mPicture, 0, row);
}

Color InCodingOf(const Color& inColor, const ir::Picture& inPicture)
{
    if (inPicture.transfer != ir::Transfer::kLinear)
    {
        return inColor;
    }
    return {ir::DecodeCurve(inColor.r), ir::DecodeCurve(inColor.g), ir::DecodeCurve(inColor.b), inColor.a};
}

} // namespace Effects
