// What clips of one piece of media have in common.
//
// Thread-safety: safe while the project is not edited.
#pragma once

#include "BE/IMediaInfo.h"

namespace BE
{

class ML_EXPORT IMasterClip : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kMasterClip;

    virtual norvik::WString GetName() const = 0;
    // The path of a file, or a text that names other media as uniquely; may be empty.
    virtual norvik::WString GetMediaInstanceString() const = 0;
};
using IMasterClipRef = TVK::InterfaceRef<IMasterClip>;

namespace MasterClipUtils
{
// Empty for an empty reference.
ML_EXPORT norvik::WString GetMediaInstanceString(const IMasterClipRef& inMasterClip);
} // namespace MasterClipUtils

} // namespace BE
