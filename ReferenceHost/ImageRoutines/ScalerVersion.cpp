#include "ReferenceHost/ImageRoutines/ScalerVersion.h"

#include <zimg.h>

namespace ir
{

std::string ScalerVersion()
{
    unsigned version[3] = {};
    zimg_get_version_info(&version[0], &version[1], &version[2]);
    return "zimg " + std::to_string(version[0]) + '.' + std::to_string(version[1]) + '.' +
           std::to_string(version[2]);
}

} // namespace ir
