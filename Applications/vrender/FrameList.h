#pragma once

#include "Applications/vrender/CommandSupport.h"

#include <memory>
#include <string>

// Frames in a row, wherever they come from: a piece of media, a timeline, or the stills of a folder in the
// order of their names, in which 9 comes before 10.
//
// Errors: ToolError; kBadData for a frame that can't be made.
//
// Thread-safety: GetFrame and Stop are safe; all else belongs to one thread, and comes before or after them.
namespace vrender
{

class FrameList
{
public:
    virtual ~FrameList() = default;

    virtual const std::string& Name() const = 0;
    // -1: without an end.
    virtual std::int64_t Count() const = 0;
    virtual PictureSize Size() const = 0;
    // More than 8 bits.
    virtual bool IsDeep() const = 0;
    // Where one frame is found: its timecode or time, or its file.
    virtual std::string NameOf(std::int64_t inFrame) const = 0;

    // The first inFrames will be asked for, each once, about in their order, in inFormat.
    virtual void Begin(std::int64_t inFrames, const norviktypes::PixelFormat& inFormat) = 0;
    virtual MF::IVideoFrameRef GetFrame(std::int64_t inFrame) = 0;
    // Who waits for a frame meets kFailed.
    virtual void Stop() noexcept = 0;

    // Whether frames so far show what stands for missing media, which is said with the list's name, or what they
    // are made of has errors.
    virtual bool SayWhatIsMissing() const = 0;
};

// inHost outlives the list.
std::unique_ptr<FrameList> OpenFrameList(const Options& inOptions, const std::string& inPath,
                                         ToolHost& ioHost);

} // namespace vrender
