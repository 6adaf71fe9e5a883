#include "ReferenceHost/Session/SourceChain.h"

#include "TVK/Allocated.h"
#include "VF/VideoFrame.h"
#include "norvik/utility/Strings.h"

#include <array>

namespace Session
{

namespace
{

using norviktypes::FieldType;

// The most lines of video that begins with its lower field.
constexpr std::int32_t kMostStandardLines = 576;

constexpr std::array<const char*, 11> kCadenceNames = {"none",  "WWSSW", "WSSWW", "SSWWW", "SWWWS", "WWWSS",
                                                       "WWSWW", "WSWWW", "SWWWW", "WWWWS", "WWWSW"};

FieldType Flipped(FieldType inType) noexcept
{
    switch (inType)
    {
    case norviktypes::kFieldType_UpperFirst: return norviktypes::kFieldType_LowerFirst;
    case norviktypes::kFieldType_LowerFirst: return norviktypes::kFieldType_UpperFirst;
    default: return inType;
    }
}

// Frames as they are, under another order of fields: where the file tells none, or the wrong one.
class RelabelledSource : public TVK::Implements<RelabelledSource, ML::IRenderableSource>
{
public:
    RelabelledSource(ML::IRenderableSourceRef inSource, FieldType inFieldType)
        : mSource(std::move(inSource))
        , mFieldType(inFieldType)
    {
    }

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::FrameTime& outTime) override
    {
        mSource->ConformFrameTime(inTime, inParams, outTime);
    }
    void CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        mSource->CollectPrefetchItems(inTime, inParams, ioItems);
    }
    void Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                MF::IVideoFrameRef& outFrame) override
    {
        mSource->Render(inTime, inParams, outFrame);
        if (!outFrame || outFrame->GetFieldType() == mFieldType)
        {
            return;
        }
        outFrame = VF::MakeWriteableVideoFrame(outFrame, inParams.mRenderQuality);
        if (outFrame)
        {
            outFrame->SetFieldType(mFieldType);
        }
    }
    void GetFrameRate(norviktypes::FrameRate& outRate) override { mSource->GetFrameRate(outRate); }
    void GetFieldRate(norviktypes::FrameRate& outRate) override { mSource->GetFieldRate(outRate); }

private:
    const ML::IRenderableSourceRef mSource;
    const FieldType mFieldType;
};

// The stream's own rate, fields and aspect, so that its frames are shown one for one.
ML::IRenderableSourceRef SourceOfStream(const BE::IVideoSourceRef& inStream, const std::string& inName)
{
    norviktypes::PixelAspectRatio ratio;
    inStream->GetPixelAspectRatio(ratio);
    norviktypes::FrameRate rate;
    inStream->GetFrameRate(rate);
    return ML::CreateRenderableSource(
        inStream, MF::BinaryData(nullptr, 0), inStream->GetAlphaType(), TVK::ParamColor<unsigned long>{},
        false, false, rate, inStream->GetFieldType(), ratio, norviktypes::ColorProfile{},
        norvik::utility::UTF8to16(norvik::UTF8String(inName.begin(), inName.end())));
}

FieldType OutputFieldType(FieldType inOfStream, const Conforming& inConforming) noexcept
{
    if (inConforming.mFieldType != norviktypes::kFieldType_FromSource)
    {
        return inConforming.mFieldType;
    }
    if (inConforming.mPulldown != PulldownRemoval::kNone || inConforming.mDeinterlaces)
    {
        return norviktypes::kFieldType_Progressive;
    }
    if (inConforming.mInterlacesConsecutive && !norviktypes::IsInterlaced(inOfStream))
    {
        return norviktypes::kFieldType_UpperFirst;
    }
    return inConforming.mSwapsFields ? Flipped(inOfStream) : inOfStream;
}

class ChainBuilder
{
public:
    ChainBuilder(const BE::IVideoSourceRef& inStream, const std::string& inName,
                 const Media::MediaFacts& inFacts, const Conforming& inConforming)
        : mFacts(inFacts)
        , mConforming(inConforming)
    {
        Put("stream", SourceOfStream(inStream, inName));
    }

    SourceChain Build(norviktypes::PulldownCadence inCadence)
    {
        const bool removesPulldown = mConforming.mPulldown != PulldownRemoval::kNone;
        const FieldType ofFields =
            mConforming.mReversesDominance ? Flipped(mFacts.mFieldType) : mFacts.mFieldType;
        mChain.mFieldType = OutputFieldType(ofFields, mConforming);
        if (mConforming.IsEmpty())
        {
            return mChain;
        }
        if (removesPulldown)
        {
            AddPulldownRemoval(inCadence);
        }
        else if (norviktypes::IsInterlaced(mFacts.mFieldType) && !mFacts.mIsStill)
        {
            AddFieldWork(ofFields);
        }
        AddFilters();
        AddTime();
        return mChain;
    }

private:
    void Put(const std::string& inLink, const ML::IRenderableSourceRef& inSource)
    {
        mChain.mTop = inSource;
        mChain.mLinks.push_back(inLink);
    }

    void AddPulldownRemoval(norviktypes::PulldownCadence inCadence)
    {
        const FieldType dominance = DominanceOfFilm(mFacts, mConforming.mSwapsFields);
        if (dominance != mFacts.mFieldType)
        {
            const bool isUpper = dominance == norviktypes::kFieldType_UpperFirst;
            Put(isUpper ? "label upper first" : "label lower first",
                ML::IRenderableSourceRef(new RelabelledSource(mChain.mTop, dominance)));
        }
        Put(std::string("remove pulldown ") + NameOfCadence(inCadence),
            ML::RemovePulldownFromSource(mChain.mTop, inCadence));
    }

    void AddFieldWork(FieldType inOfFields)
    {
        if (mConforming.mReversesDominance)
        {
            Put("reverse dominance", ML::ReverseFieldDominanceOfSource(mChain.mTop));
        }
        if (norviktypes::IsInterlaced(mChain.mFieldType) && mChain.mFieldType != inOfFields)
        {
            Put("exchange fields", ML::FieldReverseSource(mChain.mTop));
        }
        if (mConforming.mDeinterlaces)
        {
            Put("deinterlace", ML::DeinterlaceSource(mChain.mTop));
        }
    }

    void AddFilters()
    {
        if (mConforming.mRemovesFlicker)
        {
            Put("remove flicker", ML::RemoveFlickerFromSource(mChain.mTop));
        }
        if (mConforming.mInterlacesConsecutive && !mFacts.mIsStill)
        {
            Put("interlace consecutive frames", ML::InterlaceConsecutiveFramesFromSource(mChain.mTop));
        }
        Put("scale", ML::ScaleAndPARCorrectSource(mChain.mTop));
    }

    void AddTime()
    {
        if (mFacts.mIsStill)
        {
            return;
        }
        if (mConforming.mBlends)
        {
            Put("time blend", ML::TimeBlendSource(mChain.mTop, MF::ITimeTransformRef(), mConforming.mSpeed));
        }
        else
        {
            Put("time mix", ML::TimeMixSource(mChain.mTop));
        }
    }

    const Media::MediaFacts& mFacts;
    const Conforming& mConforming;
    SourceChain mChain;
};

} // namespace

SourceChain BuildSourceChain(const BE::IVideoSourceRef& inStream, const std::string& inName,
                             const Media::MediaFacts& inFacts, const Conforming& inConforming,
                             norviktypes::PulldownCadence inCadence)
{
    return ChainBuilder(inStream, inName, inFacts, inConforming).Build(inCadence);
}

FieldType DominanceOfFilm(const Media::MediaFacts& inFacts, bool inSwapsFields) noexcept
{
    const FieldType usual = inFacts.mHeight <= kMostStandardLines ? norviktypes::kFieldType_LowerFirst
                                                                  : norviktypes::kFieldType_UpperFirst;
    const FieldType told = norviktypes::IsInterlaced(inFacts.mFieldType) ? inFacts.mFieldType : usual;
    return inSwapsFields ? Flipped(told) : told;
}

bool NeedsPackedFilm(const Media::MediaFacts& inFacts, bool inSwapsFields) noexcept
{
    const FieldType usual = inFacts.mHeight <= kMostStandardLines ? norviktypes::kFieldType_LowerFirst
                                                                  : norviktypes::kFieldType_UpperFirst;
    return DominanceOfFilm(inFacts, inSwapsFields) != usual;
}

const char* NameOfCadence(norviktypes::PulldownCadence inCadence) noexcept
{
    const auto index = static_cast<std::size_t>(inCadence);
    return index < kCadenceNames.size() ? kCadenceNames[index] : kCadenceNames[0];
}

norviktypes::PulldownCadence CadenceOfName(const std::string& inName) noexcept
{
    for (std::size_t i = 1; i < kCadenceNames.size(); ++i)
    {
        if (inName == kCadenceNames[i])
        {
            return static_cast<norviktypes::PulldownCadence>(i);
        }
    }
    return norviktypes::kPulldownCadence_None;
}

} // namespace Session
