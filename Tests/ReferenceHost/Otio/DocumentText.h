// Small documents as text, and a world without files for them.
#pragma once

#include "ReferenceHost/Project/Otio/Document.h"
#include "ReferenceHost/Project/Otio/Resolve.h"

#include <map>
#include <string>
#include <vector>

namespace OtioTests
{

// JSON of objects; inMore is put behind their own members and begins with a comma where it isn't empty.
std::string TimeText(const std::string& inValue, const std::string& inRate = "24");
std::string RangeText(const std::string& inStart, const std::string& inDuration,
                      const std::string& inRate = "24");
// Media of 100 frames that begin at 0.
std::string ReferenceText(const std::string& inUrl = "a.mov",
                          const std::string& inAvailable = RangeText("0", "100"));
std::string ClipText(const std::string& inStart, const std::string& inDuration,
                     const std::string& inMore = "", const std::string& inReference = ReferenceText());
std::string GapText(const std::string& inDuration, const std::string& inMore = "");
std::string TransitionText(const std::string& inIn, const std::string& inOut, const std::string& inMore = "");
std::string WarpText(const std::string& inScalar);
std::string TrackText(const std::string& inChildren, const std::string& inMore = "");
std::string StackText(const std::string& inChildren, const std::string& inMore = "");
std::string TimelineText(const std::string& inTracks, const std::string& inMore = "");
// A timeline of one track.
std::string OneTrack(const std::string& inChildren);

// Finds every file but those called "missing"; knows of media what a test says.
class FakeLocator final : public Otio::IMediaLocator
{
public:
    Otio::LocatedMedia Locate(const Otio::MediaReference& inReference, const std::string& inPointer,
                              Otio::ProblemList& ioProblems) override;
    bool GetFacts(const Otio::LocatedMedia& inMedia, Otio::MediaFacts& outFacts) override;

    std::map<std::string, Otio::MediaFacts> mFacts; // by URL
    std::vector<std::string> mAsked;
};

// A document all the way to its timeline.
struct Read
{
    explicit Read(const std::string& inText, const Otio::DocumentOptions& inOptions = {},
                  const std::map<std::string, Otio::MediaFacts>& inFacts = {});

    const Otio::TrackOfItems& Track(std::size_t inIndex = 0) const;
    const Otio::Item& Item(std::size_t inIndex = 0) const { return Track().mItems.at(inIndex); }
    // "kind pointer" of each problem, errors with a "!" in front.
    std::vector<std::string> Faults() const;

    FakeLocator mLocator;
    Otio::ProblemList mProblems;
    Otio::Document mDocument;
    Otio::Timeline mTimeline;
};

// Frames at 24 a second.
norviktypes::TickTime Frames(double inCount);

}
