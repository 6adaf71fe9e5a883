// Reading of documents in the OpenTimelineIO file format.
//
// Whatever the bytes are, reading ends with a document or with problems that say why there is none: it
// doesn't throw for bad content, doesn't recurse deeper than the bounds below, and opens no file.
//
// Thread-safety: functions are safe; a document is immutable.
#pragma once

#include "ReferenceHost/Project/Otio/Paths.h"
#include "ReferenceHost/Project/Otio/Problems.h"
#include "ReferenceHost/Project/Otio/Schema.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Otio
{

// Bounds of what is read. A document beyond one of them is refused whole.
inline constexpr std::uint64_t kMostBytes = std::uint64_t{512} << 20;
inline constexpr std::size_t kMostDepth = 512;       // arrays and objects within each other
inline constexpr std::size_t kMostObjects = 1000000; // outside of metadata
inline constexpr std::size_t kMostValues = 40000000; // of all kinds: what memory they take is bounded
// Compositions within each other, references followed.
inline constexpr std::uint32_t kMostNesting = 256;

struct Document
{
    std::vector<TimelineObject> mTimelines; // empty: nothing that could be shown
    PathTable mPaths;
};

// inText: the whole file. Problems are added to ioProblems; the document has no timelines if it can't be
// used at all.
Document ReadDocument(std::string_view inText, ProblemList& ioProblems);

// A timeline of the document, by its name, or by its index counted from 0; an empty text chooses the first.
// Null, with an error that lists the names, when there is no such timeline.
const TimelineObject* ChooseTimeline(const Document& inDocument, const std::string& inChoice,
                                     ProblemList& ioProblems);

}
