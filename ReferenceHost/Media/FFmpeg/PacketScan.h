#pragma once

#include <string>

#include "ReferenceHost/Media/FFmpeg/MediaInput.h"
#include "ReferenceHost/Media/FFmpeg/PacketTable.h"

namespace Media
{

struct PacketScan
{
    PacketTable packets;
    bool endedEarly = false; // the last packets are damaged or missing
    std::string cause;       // of that
};

// Lists the packets of the selected stream, reading all of them from where inInput stands (its start).
// inHasContent: false for a hollow input. inInput is left at its end.
PacketScan ScanPackets(MediaInput& inInput, const AVCodecParameters& inParameters, bool inHasContent);

}
