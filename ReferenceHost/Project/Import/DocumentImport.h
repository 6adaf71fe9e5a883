// From a document on disk to a project that can be rendered and edited.
//
// 1. The document is read, and a timeline of it is chosen and worked out (Otio).
// 2. Its media are found, and opened by the opener that the caller gives.
// 3. Sequences, tracks, clips, effects and transitions are made of it (Project).
//
// Whatever is wrong with the document ends in the list of problems; the import itself fails only where nothing
// is left to show. Media that are missing leave clips with a master clip and without media.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Effects/EffectRegistry.h"
#include "ReferenceHost/Project/Import/MediaOpener.h"
#include "ReferenceHost/Project/Otio/Document.h"
#include "ReferenceHost/Project/Otio/Options.h"
#include "ReferenceHost/Project/Otio/Problems.h"
#include "ReferenceHost/Project/Otio/Timeline.h"
#include "ReferenceHost/Project/ProjectModel.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Import
{

struct ImportOptions
{
    Otio::DocumentOptions mDocument;
    // BE::kScaleToFrame_: how pictures of other sizes are brought to the sequence's.
    std::uint32_t mScaleToFrame = BE::kScaleToFrame_Fit;
    // Of the output; 0: the document's canvas, else the first clip's media, else 1920 by 1080 with a warning.
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
};

struct ImportedTimeline
{
    Project::ProjectModel mProject;
    Project::SequenceRef mMain;
    // What was worked out: frame rate, frame count, start within mMain, timecode, markers, names of media.
    Otio::Timeline mTimeline;
    // By the index of mTimeline.mMedia; empty where media is missing.
    std::vector<BE::IMediaInfoRef> mMedia;
    // Names of all timelines of the document, by index.
    std::vector<std::string> mNames;

    bool HasMissingMedia() const;
};

// False where there is nothing to show; ioProblems then has an error. inOpener null: all media count as missing,
// which is enough to check a document.
bool ImportDocument(const std::string& inPath, const ImportOptions& inOptions, IMediaOpener* inOpener,
                    const Effects::EffectRegistry& inRegistry, Otio::ProblemList& ioProblems,
                    ImportedTimeline& outTimeline);

}
