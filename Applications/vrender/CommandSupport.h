#pragma once

#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/Options.h"
#include "Applications/vrender/RenderPipeline.h"
#include "Applications/vrender/TimeExpression.h"
#include "Applications/vrender/Writers.h"
#include "ReferenceHost/Session/Clip.h"
#include "ReferenceHost/Session/HostSession.h"
#include "ReferenceHost/Session/RenderService.h"
#include "ReferenceHost/Session/TimelineFile.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// What the commands have in common: the host, the input, its times, and the description of an output.
//
// Thread-safety: main thread.
namespace vrender
{

// What all inputs of a command live in. Copies are of the same host, which goes with the last of them.
struct ToolHost
{
    std::shared_ptr<Session::HostSession> mSession;
    std::shared_ptr<Session::RenderService> mService; // null until something is to be rendered
    std::uint64_t mInputs = 1;                        // that share its memory
};

// An input with the host that it lives in.
struct OpenInput
{
    std::shared_ptr<Session::HostSession> mHost; // outlives the material
    std::unique_ptr<Session::Material> mMaterial;
    const Session::Clip* mClip = nullptr; // the material, if it is media
    // The document of a timeline, and its timeline, which is the material then.
    std::shared_ptr<const Session::OpenedTimeline> mDocument;
    const Session::Timeline* mSequence = nullptr;
    Timeline mTimeline;
    // Ends before the material; null where nothing is rendered.
    std::shared_ptr<Session::RenderService> mService;
    std::uint64_t mWindowBytes = 0; // its share for frames in flight
};

ToolHost OpenHost(const Options& inOptions, Session::AccessPattern inPattern, std::uint64_t inInputs = 1);

// Starts the service of the host where the command renders.
OpenInput OpenInputIn(ToolHost& ioHost, const Options& inOptions, Session::AccessPattern inPattern,
                      const Rational& inStillRate);

// In a host of its own. inStillRate: frames a second that an input without a rate of its own is given.
OpenInput OpenInputOf(const Options& inOptions, Session::AccessPattern inPattern,
                      const Rational& inStillRate);

// What the options say of documents. Throws ToolError (kUsage).
Session::TimelineOptions TimelineOptionsOf(const Options& inOptions, const ToolHost& inHost,
                                           Session::AccessPattern inPattern);

// Whether frames so far show something else in place of missing media, which is said, or the document has errors.
// inName: what the line begins with where there is more than one input.
bool SayWhatIsMissing(const OpenInput& inInput, const std::string& inName = {});

// inCode, or kDoneWithSubstitutes where all went well but frames show something else in place of missing media, or a
// document with errors.
ExitCode WithWhatIsMissing(ExitCode inCode, const OpenInput& inInput);

// How the tool ends when media can't be opened.
ExitCode CodeOf(Media::OpenErrorKind inKind);

// The timecode of a frame where there is one, else the time since the first frame.
std::string LabelOfFrame(std::int64_t inFrame, const Timeline& inTimeline);

// The size for --size, or inDefault; a side of -1 follows from the other one and inShape.
PictureSize ResolveSize(const std::string& inText, const PictureSize& inDefault, double inShape, bool inEven);

// Pixel aspect that keeps the shape of the picture at another size.
norviktypes::PixelAspectRatio AspectAtSize(const Media::MediaFacts& inFacts, const PictureSize& inSize);
// Width over height of the picture as it is shown, with square pixels.
double DisplayShape(const Media::MediaFacts& inFacts);

// All that the input decides about an output of inSize; the rest is the command's.
OutputDescription DescribeOutput(const Options& inOptions, const OpenInput& inInput,
                                 const PictureSize& inSize);

// The request that fits inWriter.
Session::RenderRequest RequestFor(const FrameWriter& inWriter, const Options& inOptions,
                                  const PictureSize& inSize);

// The frames that may be in flight within the share of memory that is theirs. inLaidOutBytes: that the writer
// takes for each besides.
std::int64_t WindowOf(const OpenInput& inInput, const Session::RenderRequest& inRequest,
                      std::uint64_t inLaidOutBytes);

// What every list of frames has in common: all but how many there are, when they are shown and how they are
// numbered.
FrameFeed::Settings FramesOf(const OpenInput& inInput, const Options& inOptions,
                             const Session::RenderRequest& inRequest, std::uint64_t inLaidOutBytes);
PipelineJob JobFor(const OpenInput& inInput, const Options& inOptions, const PictureSize& inSize,
                   FrameWriter& inWriter, RunReport& ioReport);

// Numbers of the frames that thumbnails and contact sheets show: --at, --every, or inCount of them.
std::vector<std::int64_t> FramesOfStills(const Options& inOptions, const OpenInput& inInput,
                                         const FrameRange& inRange, std::int64_t inCount);

// Writes a list of frames as stills or a movie and ends it properly: commits it when it is whole, keeps
// the part after a signal and names it, and throws kBadData when not one frame could be made.
ExitCode WriteFrames(PipelineJob& ioJob);

} // namespace vrender
