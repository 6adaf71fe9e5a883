// Messages of the project model, posted to the user-interface thread.
#pragma once

#include "BE/IMediaInfo.h"
#include "TVK/Message.h"

namespace BE
{

// Station that messages about media go to.
inline constexpr const char* kMediaInfoStation = "BE.MediaInfo";

// The pictures of a piece of media changed.
class ML_EXPORT MediaInfoChangedMessage : public TVK::MessageImpl<MediaInfoChangedMessage>
{
public:
    explicit MediaInfoChangedMessage(const IMediaInfoRef& inMedia) : mMedia(inMedia) {}
    const IMediaInfoRef& GetMedia() const { return mMedia; }

private:
    IMediaInfoRef mMedia;
};

} // namespace BE
