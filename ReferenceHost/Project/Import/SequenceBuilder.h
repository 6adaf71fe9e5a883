// Sequences of a project, made of the sequences of a timeline.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Import/DocumentImport.h"
#include "ReferenceHost/Project/Import/EffectMaker.h"

#include <map>
#include <string>
#include <vector>

namespace Import
{

class SequenceBuilder
{
public:
    // ioTimeline: mTimeline and mMedia are filled; its project is filled here.
    SequenceBuilder(const ImportOptions& inOptions, const Otio::PathTable& inPaths, EffectMaker& inEffects,
                    Otio::ProblemList& inProblems, ImportedTimeline& ioTimeline)
        : mOptions(inOptions)
        , mPaths(inPaths)
        , mEffects(inEffects)
        , mProblems(inProblems)
        , mTarget(ioTimeline)
    {
    }

    // False if there is no main sequence.
    bool Build();

private:
    Project::SequenceSettings MainSettings();
    void ApplyCanvas(const Otio::Canvas& inCanvas, bool inHasOwnSize,
                     Project::SequenceSettings& ioSettings) const;
    bool SizeOfFirstVideo(Project::SequenceSettings& ioSettings) const;
    Project::SequenceRef BuildSequence(const Otio::SequenceOfTracks& inSequence,
                                       const Project::SequenceSettings& inSettings);
    void BuildTrack(const Otio::TrackOfItems& inTrack, Project::Sequence& ioSequence);
    Project::ClipItem MakeClip(const Otio::Item& inItem, const Project::Sequence& inSequence);
    void SetMedia(const Otio::Item& inItem, Project::ClipItem& ioClip);
    void SetPlainColor(bool inIsClear, const Project::Sequence& inSequence, Project::ClipItem& ioClip);

    const ImportOptions& mOptions;
    const Otio::PathTable& mPaths;
    EffectMaker& mEffects;
    Otio::ProblemList& mProblems;
    ImportedTimeline& mTarget;
    std::vector<Project::SequenceRef> mSequences; // by the index of the timeline's
    std::map<std::string, BE::IMediaInfoRef>
        mPlainColors; // where a document has black, and for gaps with effects
};

}
