#include "ReferenceHost/Media/MediaObject.h"

#include "BE/IMediaDescription.h"
#include "ReferenceHost/Media/IMediaFacts.h"
#include "TVK/Allocated.h"

#include <memory>
#include <mutex>
#include <utility>

namespace Media
{

namespace
{

norvik::UTF8String ToUTF8String(const std::string& inText)
{
    return norvik::UTF8String(inText.data(), inText.size());
}

class MediaObject final
    : public TVK::Implements<MediaObject, BE::IMediaInfo, BE::IMediaDescription, IMediaFacts>
{
public:
    explicit MediaObject(std::shared_ptr<const MediaDescription> inDescription)
        : mDescription(std::move(inDescription))
    {
    }

    const MediaFacts& GetFacts() const override { return mDescription->mFacts; }

    BE::MediaAvailability GetAvailability() const override { return BE::MediaAvailability::kOnline; }
    bool HasMediaType(const TVK::Guid& inType) const override { return inType == MF::kMediaType_Video; }

    MF::ISourceRef GetStream(const TVK::Guid& inType, std::uint32_t inIndex) override
    {
        if (!HasMediaType(inType) || inIndex != 0)
        {
            return nullptr;
        }
        const std::lock_guard<std::mutex> lock(mStreamLock);
        if (!mStream)
        {
            mStream = MF::ISourceRef(mDescription->mMakeSource());
        }
        return mStream;
    }

    MF::ISourceRef CreateSourceForStream(const TVK::Guid& inType, std::uint32_t inIndex) override
    {
        return HasMediaType(inType) && inIndex == 0 ? MF::ISourceRef(mDescription->mMakeSource()) : nullptr;
    }

    void GetStreamGroupIndices(std::uint32_t inGroupIndex,
                               std::vector<std::uint32_t>& outIndices) const override
    {
        outIndices.assign(inGroupIndex == 0 ? 1 : 0, 0);
    }

    void GetTitle(std::uint32_t, norvik::WString& outTitle) const override { outTitle = GetName(); }

    norvik::WString GetName() const override
    {
        return norvik::utility::UTF8to16(ToUTF8String(mDescription->mName));
    }

    norvik::utility::ImmutableString GetPath() const override
    {
        return norvik::utility::ImmutableString::CreateDynamic(mDescription->mPath.c_str());
    }

    bool IsFileSource() const override { return mDescription->mIsFile; }
    bool IsStill() const override { return mDescription->mFacts.mIsStill; }
    norviktypes::TickTime GetStartTimecode() const override { return mDescription->mStartTimecode; }
    norviktypes::ColorProfile GetColorProfile() const override { return norviktypes::ColorProfile(); }
    norvik::UTF8String GetContentHash() override { return mDescription->mContentID().AsUTF8String(); }
    norvik::UTF8String GetImplementationID() const override
    {
        return ToUTF8String(mDescription->mFacts.mCodec);
    }
    // What its one stream was when it was made, as the frames of that stream are named.
    bool GetModificationState(TVK::Guid& outState) const override
    {
        const BE::IVideoSourceRef stream(const_cast<MediaObject*>(this)->GetStream(MF::kMediaType_Video, 0));
        stream->GetSourceID(outState);
        return true;
    }
    norviktypes::TickTime GetDuration() const override { return mDescription->mFacts.mDuration; }
    BE::IMediaInfoRef Clone() override { return new MediaObject(mDescription); }

private:
    const std::shared_ptr<const MediaDescription> mDescription;
    std::mutex mStreamLock; // guards mStream; held while the one stream is made
    MF::ISourceRef mStream;
};

} // namespace

BE::IMediaInfoRef CreateMediaObject(MediaDescription inDescription)
{
    return new MediaObject(std::make_shared<const MediaDescription>(std::move(inDescription)));
}

} // namespace Media
