#include "Tests/ReferenceHost/Otio/DocumentText.h"

#include <cmath>

namespace OtioTests
{

std::string TimeText(const std::string& inValue, const std::string& inRate)
{
    return R"({"OTIO_SCHEMA":"RationalTime.1","value":)" + inValue + R"(,"rate":)" + inRate + "}";
}

std::string RangeText(const std::string& inStart, const std::string& inDuration, const std::string& inRate)
{
    return R"({"OTIO_SCHEMA":"TimeRange.1","start_time":)" + TimeText(inStart, inRate) + R"(,"duration":)" +
           TimeText(inDuration, inRate) + "}";
}

std::string ReferenceText(const std::string& inUrl, const std::string& inAvailable)
{
    return R"({"OTIO_SCHEMA":"ExternalReference.1","target_url":")" + inUrl + R"(","available_range":)" +
           inAvailable + "}";
}

std::string ClipText(const std::string& inStart, const std::string& inDuration, const std::string& inMore,
                     const std::string& inReference)
{
    return R"({"OTIO_SCHEMA":"Clip.2","name":"c","source_range":)" + RangeText(inStart, inDuration) +
           R"(,"media_references":{"DEFAULT_MEDIA":)" + inReference + "}" + inMore + "}";
}

std::string GapText(const std::string& inDuration, const std::string& inMore)
{
    return R"({"OTIO_SCHEMA":"Gap.1","source_range":)" + RangeText("0", inDuration) + inMore + "}";
}

std::string TransitionText(const std::string& inIn, const std::string& inOut, const std::string& inMore)
{
    return R"({"OTIO_SCHEMA":"Transition.1","transition_type":"SMPTE_Dissolve","in_offset":)" +
           TimeText(inIn) + R"(,"out_offset":)" + TimeText(inOut) + inMore + "}";
}

std::string WarpText(const std::string& inScalar)
{
    return R"({"OTIO_SCHEMA":"LinearTimeWarp.1","time_scalar":)" + inScalar + "}";
}

std::string TrackText(const std::string& inChildren, const std::string& inMore)
{
    return R"({"OTIO_SCHEMA":"Track.1","name":"t","kind":"Video","children":[)" + inChildren + "]" + inMore +
           "}";
}

std::string StackText(const std::string& inChildren, const std::string& inMore)
{
    return R"({"OTIO_SCHEMA":"Stack.1","name":"s","children":[)" + inChildren + "]" + inMore + "}";
}

std::string TimelineText(const std::string& inTracks, const std::string& inMore)
{
    return R"({"OTIO_SCHEMA":"Timeline.1","name":"film","tracks":)" + inTracks + inMore + "}";
}

std::string OneTrack(const std::string& inChildren)
{
    return TimelineText(StackText(TrackText(inChildren)));
}

Otio::LocatedMedia FakeLocator::Locate(const Otio::MediaReference& inReference, const std::string& inPointer,
                                       Otio::ProblemList& ioProblems)
{
    Otio::LocatedMedia media;
    media.mKind = inReference.mUrl == "missing" ? Otio::MediaKind::kMissing : inReference.mKind;
    media.mFile = media.mWanted = inReference.mUrl;
    media.mImages = inReference.mImages;
    if (media.mKind == Otio::MediaKind::kMissing)
    {
        ioProblems.Warn("missing-media", inPointer, "");
    }
    return media;
}

bool FakeLocator::GetFacts(const Otio::LocatedMedia& inMedia, Otio::MediaFacts& outFacts)
{
    mAsked.push_back(inMedia.mFile);
    const auto found = mFacts.find(inMedia.mFile);
    if (found != mFacts.end())
    {
        outFacts = found->second;
    }
    return found != mFacts.end();
}

Read::Read(const std::string& inText, const Otio::DocumentOptions& inOptions,
           const std::map<std::string, Otio::MediaFacts>& inFacts)
    : mProblems(inOptions.mIsStrict)
{
    mLocator.mFacts = inFacts;
    mDocument = Otio::ReadDocument(inText, mProblems);
    const Otio::TimelineObject* const timeline =
        Otio::ChooseTimeline(mDocument, inOptions.mTimeline, mProblems);
    if (timeline != nullptr)
    {
        mTimeline = Otio::ResolveTimeline(mDocument, *timeline, inOptions, mLocator, mProblems);
    }
}

const Otio::TrackOfItems& Read::Track(std::size_t inIndex) const
{
    return mTimeline.mSequences.at(mTimeline.mMain).mTracks.at(inIndex);
}

std::vector<std::string> Read::Faults() const
{
    std::vector<std::string> faults;
    for (const Otio::Problem& problem : mProblems.Problems())
    {
        faults.push_back((problem.mSeverity == Otio::Severity::kError ? "!" : "") + problem.mKind + " " +
                         problem.mPointer);
    }
    return faults;
}

norviktypes::TickTime Frames(double inCount)
{
    return norviktypes::TickTime(std::llround(inCount * 10584000000.0));
}

}
