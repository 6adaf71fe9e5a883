#include "MotionScenes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ReferenceHost/ImageRoutines/MotionReference.h"
#include "ReferenceHost/ImageRoutines/ReferenceSamples.h"

namespace TestPictures
{

IR_MotionSettings PlainMotion()
{
    IR_MotionSettings settings = {};
    settings.positionX = settings.positionY = settings.anchorX = settings.anchorY = 0.5F;
    settings.scaleX = settings.scaleY = settings.opacity = 1.0F;
    settings.quality = 3;
    settings.highQualitySampling = 1;
    return settings;
}

IR_MotionPicture Described(Memory& ioMemory)
{
    IR_MotionPicture picture = {};
    picture.pixels = ioMemory.Pixels();
    picture.rowBytes = ioMemory.RowBytes();
    picture.width = ioMemory.View().width;
    picture.height = ioMemory.View().height;
    picture.format = ioMemory.Code();
    picture.aspectNumerator = picture.aspectDenominator = 1;
    return picture;
}

Scene::Scene(std::uint32_t inSourceCode, std::int32_t inSourceWidth, std::int32_t inSourceHeight,
             std::uint32_t inTargetCode, std::int32_t inTargetWidth, std::int32_t inTargetHeight)
    : source(inSourceCode, inSourceWidth, inSourceHeight, 4, 4)
    , target(inTargetCode, inTargetWidth, inTargetHeight, 8, 12)
    , from(Described(source))
    , to(Described(target))
    , settings(PlainMotion())
{
}

void Scene::PutCorner(double inX, double inY)
{
    settings.anchorX = 0.0F;
    settings.anchorY = 1.0F;
    settings.positionX = static_cast<float>(inX / to.width);
    settings.positionY = static_cast<float>(1.0 - inY / to.height);
}

Memory Scene::Reference(const Memory& inTarget) const
{
    Memory copy = inTarget;
    IR_MotionPicture described = to;
    described.pixels = copy.Pixels();
    described.rowBytes = copy.RowBytes();
    ir::reference::DrawMotion(from, described, settings);
    return copy;
}

std::string Scene::Text() const
{
    char text[512];
    std::snprintf(text, sizeof text,
                  "0x%03X %dx%d fields %d on 0x%03X %dx%d fields %d, position %a %a anchor %a %a scale %a %a "
                  "rotation %.17g opacity %g flicker %g over %d field %d quality %d %d",
                  from.format, from.width, from.height, from.fieldType, to.format, to.width, to.height,
                  to.fieldType, static_cast<double>(settings.positionX),
                  static_cast<double>(settings.positionY), static_cast<double>(settings.anchorX),
                  static_cast<double>(settings.anchorY), static_cast<double>(settings.scaleX),
                  static_cast<double>(settings.scaleY), settings.rotation,
                  static_cast<double>(settings.opacity), settings.antiFlicker, settings.targetHasPicture,
                  settings.field, settings.quality, settings.highQualitySampling);
    return text;
}

double VisibleDifference(const Memory& inOne, const Memory& inOther)
{
    const ir::Picture& one = inOne.View();
    const ir::Picture& other = inOther.View();
    ir::Picture kind = one;
    kind.alpha = ir::PictureAlpha::kPremultiplied;
    double worst = 0.0;
    for (std::int32_t y = 0; y < one.height; ++y)
    {
        for (std::int32_t x = 0; x < one.width; ++x)
        {
            const ir::reference::Pixel a = ir::reference::ReadPixel(one, x, y);
            const ir::reference::Pixel b = ir::reference::ReadPixel(other, x, y);
            const ir::reference::Pixel visibleA = ir::reference::ConvertPixel(a, one, kind);
            const ir::reference::Pixel visibleB = ir::reference::ConvertPixel(b, other, kind);
            for (int c = 0; c < 4; ++c)
            {
                const double distance =
                    std::min(std::fabs(a.c[c] - b.c[c]), std::fabs(visibleA.c[c] - visibleB.c[c]));
                worst = std::isnan(distance) ? 1e9 : std::max(worst, distance * ir::RangeOf(one, c).scale);
            }
        }
    }
    return worst;
}

}
