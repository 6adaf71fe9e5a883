// How media of documents are opened, and what they tell of themselves.
//
// Thread-safety: functions are safe; openers belong to the thread that imports.
#pragma once

#include "BE/IMediaInfo.h"
#include "ReferenceHost/Media/Media.h"
#include "ReferenceHost/Project/Otio/Timeline.h"

#include <string>

namespace Import
{

// Whoever opens media: it knows caches, threads and options.
class IMediaOpener
{
public:
    virtual ~IMediaOpener() = default;

    // Called once for each medium that the document shows. Empty, with the reason in one line, for what can't
    // be opened.
    virtual BE::IMediaInfoRef Open(const Otio::LocatedMedia& inMedia, std::string& outError) = 0;
};

// The text by which this host opens a medium: a path, a numbered sequence, a synthetic medium.
std::string OpeningText(const Otio::LocatedMedia& inMedia);

// By this host's own door, with inOptions but for rate and frames of sequences, which the document says.
BE::IMediaInfoRef OpenLocatedMedia(const Otio::LocatedMedia& inMedia, const Media::OpenOptions& inOptions,
                                   std::string& outError);

// Of the first video stream; all zero for media without one.
Otio::MediaFacts FactsOf(const BE::IMediaInfoRef& inMedia);

}
