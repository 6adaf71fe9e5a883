#include "ReferenceHost/Project/OfflineMedia.h"

#include "TVK/Allocated.h"

namespace Project
{

namespace
{

class OfflineMedia final : public TVK::Implements<OfflineMedia, BE::IMediaInfo>
{
public:
    explicit OfflineMedia(const BE::IMasterClipRef& inMasterClip) : mMasterClip(inMasterClip) {}

    BE::MediaAvailability GetAvailability() const override { return BE::MediaAvailability::kOffline; }
    bool HasMediaType(const TVK::Guid&) const override { return false; }
    MF::ISourceRef GetStream(const TVK::Guid&, std::uint32_t) override { return {}; }
    MF::ISourceRef CreateSourceForStream(const TVK::Guid&, std::uint32_t) override { return {}; }
    void GetStreamGroupIndices(std::uint32_t, std::vector<std::uint32_t>& outIndices) const override
    {
        outIndices.clear();
    }
    void GetTitle(std::uint32_t, norvik::WString& outTitle) const override { outTitle = GetName(); }

    norvik::WString GetName() const override
    {
        return mMasterClip ? mMasterClip->GetName() : norvik::WString();
    }
    norvik::utility::ImmutableString GetPath() const override
    {
        return norvik::utility::ImmutableString::CreateDynamic(
            BE::MasterClipUtils::GetMediaInstanceString(mMasterClip));
    }
    bool IsFileSource() const override { return false; }
    bool IsStill() const override { return false; }
    norviktypes::TickTime GetStartTimecode() const override { return {}; }
    norviktypes::ColorProfile GetColorProfile() const override { return {}; }
    norvik::UTF8String GetContentHash() override { return {}; }
    BE::IMediaInfoRef Clone() override { return BE::IMediaInfoRef(new OfflineMedia(mMasterClip)); }

private:
    const BE::IMasterClipRef mMasterClip;
};

} // namespace

BE::IMediaInfoRef CreateOfflineMedia(const BE::IMasterClipRef& inMasterClip)
{
    return BE::IMediaInfoRef(new OfflineMedia(inMasterClip));
}

} // namespace Project
