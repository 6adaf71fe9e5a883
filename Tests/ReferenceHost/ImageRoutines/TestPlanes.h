#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ReferenceHost/ImageRoutines/Picture.h"

namespace TestPictures
{

// Planes as a decoder might hand them over, of any description that IR/ImageRoutines' own formats don't have.
class PlaneMemory
{
public:
    explicit PlaneMemory(const ir::PlanarDescription& inDescription);

    // PlanarPicture or MutablePlanarPicture.
    template <typename PictureType>
    PictureType As()
    {
        PictureType picture;
        static_cast<ir::PlanarDescription&>(picture) = mDescription;
        for (std::size_t plane = 0; plane < 4; ++plane)
        {
            picture.planes[plane] = IsPlaneThere(plane) ? mBytes[plane].data() : nullptr;
        }
        return picture;
    }

    ir::Picture View();

    // inContrast: 1 for codes over the whole range, less for as much of it about the middle.
    void Randomise(std::mt19937& ioRandom, double inContrast = 1.0);

private:
    bool IsPlaneThere(std::size_t inPlane) const;

    ir::PlanarDescription mDescription;
    std::vector<unsigned char> mBytes[4];
};

ir::PlanarDescription RandomDescription(std::mt19937& ioRandom);

std::string Told(const ir::PlanarDescription& inD);

}
