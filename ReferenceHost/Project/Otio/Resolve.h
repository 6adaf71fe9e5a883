// From a document to a timeline whose rules are all worked out.
//
// Thread-safety: safe as far as the locator is.
#pragma once

#include "ReferenceHost/Project/Otio/Document.h"
#include "ReferenceHost/Project/Otio/MediaTable.h"
#include "ReferenceHost/Project/Otio/Options.h"
#include "ReferenceHost/Project/Otio/Timeline.h"

namespace Otio
{

// inTimeline: one of inDocument. Whatever the document says, the answer holds to what Timeline.h promises, and
// is as large as the document at most.
Timeline ResolveTimeline(const Document& inDocument, const TimelineObject& inTimeline,
                         const DocumentOptions& inOptions, IMediaLocator& inLocator, ProblemList& ioProblems);

}
