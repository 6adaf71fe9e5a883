#include "ReferenceHost/Project/MasterClip.h"

#include "TVK/Allocated.h"
#include "norvik/utility/Strings.h"

#include <utility>

namespace Project
{

namespace
{

class MasterClip final : public TVK::Implements<MasterClip, BE::IMasterClip>
{
public:
    MasterClip(norvik::WString inName, norvik::WString inMediaInstance)
        : mName(std::move(inName))
        , mMediaInstance(std::move(inMediaInstance))
    {
    }

    norvik::WString GetName() const override { return mName; }
    norvik::WString GetMediaInstanceString() const override { return mMediaInstance; }

private:
    const norvik::WString mName;
    const norvik::WString mMediaInstance;
};

norvik::WString Wide(std::string_view inText)
{
    return norvik::utility::UTF8to16(norvik::UTF8String(inText.data(), inText.size()));
}

} // namespace

BE::IMasterClipRef CreateMasterClip(std::string_view inName, std::string_view inMediaInstance)
{
    return new MasterClip(Wide(inName), Wide(inMediaInstance));
}

BE::IMasterClipRef CreateMasterClip(const BE::IMediaInfoRef& inMedia)
{
    return new MasterClip(inMedia->GetName(), Wide(inMedia->GetPath().CStr()));
}

} // namespace Project
