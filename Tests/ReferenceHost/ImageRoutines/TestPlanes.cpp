#include "TestPlanes.h"

#include <gtest/gtest.h>

#include "IR/ImageRoutines.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace TestPictures
{

PlaneMemory::PlaneMemory(const ir::PlanarDescription& inDescription) : mDescription(inDescription)
{
    const std::size_t sample = inDescription.isFloat ? 4 : inDescription.bitsPerSample == 8 ? 1 : 2;
    const auto wide = static_cast<std::size_t>(inDescription.width) + 9;
    for (std::size_t plane = 0; plane < 4; ++plane)
    {
        mBytes[plane].assign(wide * sample * 4 * static_cast<std::size_t>(inDescription.height), 0xA5);
        mDescription.strides[plane] = static_cast<std::ptrdiff_t>(wide * sample * 4);
    }
}

ir::Picture PlaneMemory::View()
{
    const auto picture = As<ir::PlanarPicture>();
    ir::Picture view;
    EXPECT_EQ(kIR_Success, ir::PictureFromPlanes(picture, picture.planes, view));
    return view;
}

void PlaneMemory::Randomise(std::mt19937& ioRandom, double inContrast)
{
    const ir::Picture view = View();
    for (int component = 0; component < 4; ++component)
    {
        const bool isChroma = component == 1 || component == 2;
        if ((isChroma && view.isGray) || (component == 3 && !view.HasAlpha()))
        {
            continue;
        }
        for (std::int32_t y = 0; y < (isChroma ? view.chromaRows : view.height); ++y)
        {
            for (std::int32_t x = 0; x < (isChroma ? view.ChromaWidth() : view.width); ++x)
            {
                const double unit = static_cast<double>(ioRandom() & 0xFFFF) / 65535.0;
                const double middle = isChroma && !view.IsRGB() ? 0.0 : 0.5;
                ir::reference::WritePlane(view, component, x, y, middle + (unit - 0.5) * inContrast);
            }
        }
    }
}

bool PlaneMemory::IsPlaneThere(std::size_t inPlane) const
{
    switch (inPlane)
    {
    case 0: return true;
    case 3: return mDescription.alpha != ir::AlphaKind::kNone;
    default:
        return !mDescription.isGray &&
               (mDescription.layout == ir::PlaneLayout::kPlanar ||
                (mDescription.layout == ir::PlaneLayout::kSemiPlanar && inPlane == 1));
    }
}

ir::PlanarDescription RandomDescription(std::mt19937& ioRandom)
{
    const auto pick = [&](std::uint32_t inCount) { return static_cast<std::int32_t>(ioRandom() % inCount); };
    ir::PlanarDescription description;
    description.width = 1 + pick(70);
    description.height = 1 + pick(12);
    description.isFloat = pick(8) == 0;
    description.bitsPerSample = pick(3) == 0 ? 8 : 8 + pick(9);
    description.isMSBAligned = !description.isFloat && description.bitsPerSample > 8 && pick(3) == 0;
    description.isFullRange = pick(2) == 0;
    description.alpha = static_cast<ir::AlphaKind>(pick(3));
    const int kind = pick(6);
    description.isRGB = kind == 0;
    description.isGray = kind == 1;
    if (description.isRGB || description.isGray)
    {
        return description;
    }
    static constexpr ir::Matrix kMatrices[] = {
        ir::Matrix::k601,  ir::Matrix::k709, ir::Matrix::k2020NonConstant,
        ir::Matrix::k240M, ir::Matrix::kFCC, ir::Matrix::kYCgCo};
    description.matrix = kMatrices[pick(6)];
    description.chromaShiftX = pick(3);
    description.chromaShiftY = description.chromaShiftX == 2 ? 0 : pick(2);
    description.siting = static_cast<ir::ChromaSiting>(pick(6));
    description.isInterlaced = pick(2) == 0;
    if (kind == 2 && !description.isFloat)
    {
        description.layout = ir::PlaneLayout::kSemiPlanar;
    }
    if (kind == 3)
    {
        description.layout = pick(2) == 0 ? ir::PlaneLayout::kPackedYUYV : ir::PlaneLayout::kPackedUYVY;
        description.bitsPerSample = 8;
        description.isFloat = description.isMSBAligned = false;
        description.chromaShiftX = 1;
        description.chromaShiftY = 0;
        description.alpha = ir::AlphaKind::kNone;
    }
    return description;
}

std::string Told(const ir::PlanarDescription& inD)
{
    return std::to_string(inD.width) + " x " + std::to_string(inD.height) + " layout " +
           std::to_string(static_cast<int>(inD.layout)) + " bits " + std::to_string(inD.bitsPerSample) +
           " shifts " + std::to_string(inD.chromaShiftX) + std::to_string(inD.chromaShiftY) + " siting " +
           std::to_string(static_cast<int>(inD.siting)) + (inD.isRGB ? " rgb" : "") +
           (inD.isGray ? " grey" : "") + (inD.isFloat ? " float" : "") + (inD.isMSBAligned ? " msb" : "") +
           (inD.isInterlaced ? " fields" : "") + (inD.isFullRange ? " full" : "") + " matrix " +
           std::to_string(static_cast<int>(inD.matrix)) + " alpha " +
           std::to_string(static_cast<int>(inD.alpha));
}

}
