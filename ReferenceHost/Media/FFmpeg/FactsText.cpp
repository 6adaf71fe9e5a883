#include "ReferenceHost/Media/FFmpeg/FactsText.h"

#include <fmt/format.h>

namespace Media
{

const char* AlphaName(FileAlpha inAlpha)
{
    return inAlpha == FileAlpha::kNone       ? "none"
           : inAlpha == FileAlpha::kStraight ? "straight"
                                             : "premultiplied";
}

ColorFacts ColorFactsOf(const ColourDescription& inColour)
{
    return {inColour.matrixName, inColour.primariesName, inColour.transferName,
            inColour.rangeName,  inColour.sitingName,    inColour.isGuessed};
}

void NoteConversions(const ColourDescription& inColour, const Orientation& inOrientation,
                     std::vector<std::string>& ioNotes)
{
    const bool isHDR = inColour.transferName == "smpte2084" || inColour.transferName == "arib-std-b67";
    const bool isWide = inColour.primariesName == "bt2020" || inColour.primariesName == "smpte431" ||
                        inColour.primariesName == "smpte432";
    if (isHDR)
    {
        ioNotes.push_back(fmt::format("transfer {} is converted to that of bt709 by zimg, 100 cd/m2 as white",
                                      inColour.transferName));
    }
    if (isWide)
    {
        ioNotes.push_back(
            fmt::format("primaries {} are converted to those of bt709 by zimg", inColour.primariesName));
    }
    if (inOrientation.flipHorizontally)
    {
        ioNotes.emplace_back("the picture is mirrored, as the file asks");
    }
}

}
