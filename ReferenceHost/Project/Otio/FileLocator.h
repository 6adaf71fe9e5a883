// Finds the media of a document among the files of this machine; what the media is, it lets another tell.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Bundle.h"
#include "ReferenceHost/Project/Otio/MediaPaths.h"
#include "ReferenceHost/Project/Otio/MediaTable.h"

#include <functional>
#include <string>

namespace Otio
{

// The text of a synthetic medium for a generator: "bars:", "color:#ff0000"; empty for kinds that are unknown.
std::string GeneratorText(const MediaReference& inReference);

class FileLocator final : public IMediaLocator
{
public:
    // As IMediaLocator::GetFacts; empty: nothing is ever known of any media.
    using FactsFunction = std::function<bool(const LocatedMedia&, MediaFacts&)>;

    // inBundle: the opened document, which outlives the locator.
    FileLocator(const DocumentOptions& inOptions, const Bundle& inBundle, FactsFunction inFacts);

    LocatedMedia Locate(const MediaReference& inReference, const std::string& inPointer,
                        ProblemList& ioProblems) override;
    bool GetFacts(const LocatedMedia& inMedia, MediaFacts& outFacts) override;

private:
    void FindFile(const MediaReference& inReference, const std::string& inPointer, LocatedMedia& ioMedia,
                  ProblemList& ioProblems);
    bool FindInArchive(const MediaReference& inReference, LocatedMedia& ioMedia) const;

    const Bundle& mBundle;
    MediaPaths mPaths;
    const FactsFunction mFacts;
};

}
