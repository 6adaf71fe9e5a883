#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Writers.h"

namespace vrender
{

// The build hands over the versions it found, so that no header of a part has to be read here.
std::string VersionNumber()
{
    return VRENDER_VERSION;
}

std::string VersionText()
{
    std::string text = "vrender " + VersionNumber() + "\n\nMade with:\n";
    text += "  Boost " VRENDER_BOOST_VERSION "      Boost Software License 1.0\n";
    text += "  fmt " VRENDER_FMT_VERSION "          MIT\n";
    text += "  spdlog " VRENDER_SPDLOG_VERSION "      MIT\n";
    text += "  Highway " VRENDER_HIGHWAY_VERSION "      Apache-2.0 or BSD-3-Clause\n";
    text += "  zimg " VRENDER_ZIMG_VERSION "         WTFPL\n";
    text += "  libpng " VRENDER_PNG_VERSION "      libpng License 2.0\n";
    text += "  CLI11 " VRENDER_CLI11_VERSION "        BSD-3-Clause\n";
    text += "  FFmpeg " + FFmpegVersion() + "  " + FFmpegLicence() + "\n";
    return text;
}

} // namespace vrender
