// The media object of this host: one video stream, its facts, and how to make a source for it.
//
// Files, stills, sequences and synthetic media differ in their streams only; all of them are this object
// around a function that makes a stream.
//
// Thread-safety: safe, if the functions that it is given are.
#pragma once

#include "BE/IMediaInfo.h"
#include "ReferenceHost/Media/MediaFacts.h"

#include <functional>
#include <string>

namespace Media
{

struct MediaDescription
{
    std::string mName; // what a user calls it: the last part of a path
    std::string mPath; // path or synthetic text
    bool mIsFile = true;
    norviktypes::TickTime mStartTimecode;
    MediaFacts mFacts;
    // A new source of the stream at each call. Never empty.
    std::function<BE::IVideoSourceRef()> mMakeSource;
    // Digest of the content as it is at the time of the call.
    std::function<TVK::Guid()> mContentID;
};

// Answers IMediaFacts too.
BE::IMediaInfoRef CreateMediaObject(MediaDescription inDescription);

} // namespace Media
