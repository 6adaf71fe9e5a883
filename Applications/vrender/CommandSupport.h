#pragma once

#include "Applications/vrender/ExitCodes.h"
#include "Applications/vrender/Options.h"
#include "Applications/vrender/RenderPipeline.h"
#include "Applications/vrender/TimeExpression.h"
#include "Applications/vrender/Writers.h"
#include "ReferenceHost/Session/Clip.h"
#include "ReferenceHost/Session/HostSession.h"

#include <memory>
#include <string>

// What the commands have in common: the host, the input, its times, and the description of an output.
//
// Thread-safety: main thread.
namespace vrender
{

// An input with the host that it lives in.
struct OpenInput
{
    std::unique_ptr<Session::HostSession> mHost; // outlives the clip
    std::unique_ptr<Session::Clip> mClip;
    Timeline mTimeline;
    std::unique_ptr<Session::RenderService> mService; // ends before the clip; null where nothing is rendered
};

// inStillRate: frames a second that an input without a rate of its own is given.
OpenInput OpenInputOf(const Options& inOptions, Session::AccessPattern inPattern,
                      const Rational& inStillRate);

// The size for --size, or inDefault; a side of -1 follows from the other one and inShape.
PictureSize ResolveSize(const std::string& inText, const PictureSize& inDefault, double inShape, bool inEven);

// Pixel aspect that keeps the shape of the clip's picture at another size.
norviktypes::PixelAspectRatio AspectAtSize(const Media::MediaFacts& inFacts, const PictureSize& inSize);
// Width over height of the picture as it is shown, with square pixels.
double DisplayShape(const Media::MediaFacts& inFacts);

// All that the clip decides about an output of inSize; the rest is the command's.
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

// Writes a list of frames as stills or a movie and ends it properly: commits it when it is whole, keeps
// the part after a signal and names it, and throws kBadData when not one frame could be made.
ExitCode WriteFrames(PipelineJob& ioJob);

} // namespace vrender
