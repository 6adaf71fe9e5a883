// The media of a timeline, each once. Also the face by which the outer world finds and knows them.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Options.h"
#include "ReferenceHost/Project/Otio/Problems.h"
#include "ReferenceHost/Project/Otio/Timeline.h"

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Otio
{

// What a reader asks of the world outside of the document. Whoever implements it opens media; the reader
// does not.
class IMediaLocator
{
public:
    virtual ~IMediaLocator() = default;

    // Where the media is; kind kMissing, with a problem at inPointer, for what can't be found.
    virtual LocatedMedia Locate(const MediaReference& inReference, const std::string& inPointer,
                                ProblemList& ioProblems) = 0;

    // False for media that can't be opened, which then counts as missing. Called at most once for each medium, and only where a document
    // leaves open what it tells.
    virtual bool GetFacts(const LocatedMedia& inMedia, MediaFacts& outFacts) = 0;
};

class MediaTable
{
public:
    // inWantedKey: of the references to prefer; empty: the active ones.
    MediaTable(const PathTable& inPaths, const std::string& inWantedKey, IMediaLocator& inLocator,
               ProblemList& inProblems)
        : mPaths(inPaths)
        , mWantedKey(inWantedKey)
        , mLocator(inLocator)
        , mProblems(inProblems)
    {
    }

    // The reference of a clip that counts; null if the clip has neither the wanted nor the active one.
    const MediaReference* Reference(const Composable& inClip);

    // Index of the medium; null references, too, have one: missing media.
    std::size_t Find(const Composable& inClip, const MediaReference* inReference);

    // Null while the media is missing, or can't be opened.
    const MediaFacts* Facts(std::size_t inMedia);

    const LocatedMedia& At(std::size_t inMedia) const { return mMedia[inMedia]; }
    std::vector<LocatedMedia> Take() { return std::move(mMedia); }

private:
    const PathTable& mPaths;
    const std::string& mWantedKey;
    IMediaLocator& mLocator;
    ProblemList& mProblems;
    std::vector<LocatedMedia> mMedia;
    std::vector<std::optional<MediaFacts>> mFacts;
    std::vector<bool> mWasAsked;
    // A document may refer to a clip of many references as often as it likes.
    std::unordered_map<const Composable*, const MediaReference*> mReferences;
    std::unordered_map<const MediaReference*, std::size_t> mByReference;
    std::map<std::string, std::size_t> mByText;
};

}
