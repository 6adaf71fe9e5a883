#include "ReferenceHost/Session/SourceChain.h"

#include "ReferenceHost/FrameLibrary/FrameGeometry.h"
#include "TVK/Allocated.h"
#include "VF/VideoFrame.h"
#include "norvik/utility/Strings.h"

#include <array>
#include <cstdint>
#include <functional>
#include <utility>

namespace Session
{

namespace
{

using norviktypes::FieldType;
using norviktypes::PixelFormat;

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

// Frames of a source that one operation has been through.
class AlteredSource : public TVK::Implements<AlteredSource, ML::IRenderableSource>
{
public:
    using Operation =
        std::function<MF::IVideoFrameRef(const MF::IVideoFrameRef&, norviktypes::RenderQuality)>;

    AlteredSource(ML::IRenderableSourceRef inSource, Operation inOperation)
        : mSource(std::move(inSource))
        , mOperation(std::move(inOperation))
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
        if (outFrame)
        {
            outFrame = mOperation(outFrame, inParams.mRenderQuality);
        }
    }
    void GetFrameRate(norviktypes::FrameRate& outRate) override { mSource->GetFrameRate(outRate); }
    void GetFieldRate(norviktypes::FrameRate& outRate) override { mSource->GetFieldRate(outRate); }

private:
    const ML::IRenderableSourceRef mSource;
    const Operation mOperation;
};

// A stream that is asked for its own planes where a link after it is asked for those that only differ from them in
// which chroma row lies where. That link knows what becomes of them.
class PlanesOfStream : public TVK::Implements<PlanesOfStream, ML::IRenderableSource>
{
public:
    PlanesOfStream(const ML::IRenderableSourceRef& inStream, const Media::MediaFacts& inFacts,
                   const PixelFormat& inOwn, const PixelFormat& inWished)
        : mStream(inStream)
        , mWidth(static_cast<std::uint32_t>(inFacts.mWidth))
        , mHeight(static_cast<std::uint32_t>(inFacts.mHeight))
        , mOwn(inOwn)
        , mWished(inWished)
    {
    }

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::FrameTime& outTime) override
    {
        mStream->ConformFrameTime(inTime, ParamsFor(inParams), outTime);
    }
    void CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        mStream->CollectPrefetchItems(inTime, ParamsFor(inParams), ioItems);
    }
    void Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                MF::IVideoFrameRef& outFrame) override
    {
        mStream->Render(inTime, ParamsFor(inParams), outFrame);
    }
    void GetFrameRate(norviktypes::FrameRate& outRate) override { mStream->GetFrameRate(outRate); }
    void GetFieldRate(norviktypes::FrameRate& outRate) override { mStream->GetFieldRate(outRate); }

private:
    // At the highest quality the link works in light, and what is scaled is not made of rows as they are.
    ML::CutlistRenderParams ParamsFor(const ML::CutlistRenderParams& inParams) const
    {
        ML::CutlistRenderParams params = inParams;
        if (params.mPixelFormat == mWished && params.mWidth == mWidth && params.mHeight == mHeight &&
            params.mRenderQuality < norviktypes::kRenderQuality_Max)
        {
            params.mPixelFormat = mOwn;
        }
        return params;
    }

    const ML::IRenderableSourceRef mStream;
    const std::uint32_t mWidth;
    const std::uint32_t mHeight;
    const PixelFormat mOwn;
    const PixelFormat mWished;
};

// A scaler gives fields an even number of lines, so that both are equal. Frames of an odd height that nobody wants in
// another size would be scaled to one line more and back: they pass by it as they are.
class ScalerOfOddHeight : public TVK::Implements<ScalerOfOddHeight, ML::IRenderableSource>
{
public:
    ScalerOfOddHeight(const ML::IRenderableSourceRef& inSource, const Media::MediaFacts& inFacts)
        : mSource(inSource)
        , mScaler(ML::ScaleAndPARCorrectSource(inSource))
        , mWidth(static_cast<std::uint32_t>(inFacts.mWidth))
        , mHeight(static_cast<std::uint32_t>(inFacts.mHeight))
        , mAspect(inFacts.mPixelAspectRatio)
    {
    }

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::FrameTime& outTime) override
    {
        mScaler->ConformFrameTime(inTime, inParams, outTime);
    }
    void CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        mScaler->CollectPrefetchItems(inTime, inParams, ioItems);
    }
    void Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                MF::IVideoFrameRef& outFrame) override
    {
        MF::FrameTime conformed;
        mSource->ConformFrameTime(inTime, inParams, conformed);
        const bool isOfSize =
            inParams.mWidth == mWidth && inParams.mHeight == mHeight && inParams.mPixelAspectRatio == mAspect;
        if (isOfSize && conformed.Order() == inTime.Order())
        {
            mSource->Render(conformed, inParams, outFrame);
            return;
        }
        mScaler->Render(inTime, inParams, outFrame);
    }
    void GetFrameRate(norviktypes::FrameRate& outRate) override { mSource->GetFrameRate(outRate); }
    void GetFieldRate(norviktypes::FrameRate& outRate) override { mSource->GetFieldRate(outRate); }

private:
    const ML::IRenderableSourceRef mSource;
    const ML::IRenderableSourceRef mScaler;
    const std::uint32_t mWidth;
    const std::uint32_t mHeight;
    const norviktypes::PixelAspectRatio mAspect;
};

// The frame as it is, under another order of fields: where the file tells none, or the wrong one.
MF::IVideoFrameRef WithFieldType(const MF::IVideoFrameRef& inFrame, FieldType inFieldType,
                                 norviktypes::RenderQuality inQuality)
{
    if (inFrame->GetFieldType() == inFieldType)
    {
        return inFrame;
    }
    MF::IVideoFrameRef frame = VF::MakeWriteableVideoFrame(inFrame, inQuality);
    if (frame)
    {
        frame->SetFieldType(inFieldType);
    }
    return frame;
}

// 4:2:0, whatever it says of its chroma, and the packed 4:2:2 that holds its fields apart.
struct ChromaFormats
{
    norviktypes::PixelFormat mOfFrames;
    norviktypes::PixelFormat mOfFields;
    norviktypes::PixelFormat mPacked;
};
constexpr std::array<ChromaFormats, 2> kChromaFormats = {
    {{norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_601,
      norviktypes::kPixelFormat_YUV_420_MPEG2_Field_8u_601, norviktypes::kPixelFormat_UYVY_422_8u_601},
     {norviktypes::kPixelFormat_YUV_420_MPEG2_Frame_8u_709,
      norviktypes::kPixelFormat_YUV_420_MPEG2_Field_8u_709, norviktypes::kPixelFormat_UYVY_422_8u_709}}};

// The row that inFormat is of; null: it is of none.
const ChromaFormats* FormatsOf(const norviktypes::PixelFormat& inFormat) noexcept
{
    for (const ChromaFormats& row : kChromaFormats)
    {
        if (inFormat == row.mOfFrames || inFormat == row.mOfFields || inFormat == row.mPacked)
        {
            return &row;
        }
    }
    return nullptr;
}

// The bytes of a frame.
struct Planes
{
    explicit Planes(const MF::IVideoFrameRef& inFrame)
    {
        TVK::Rect bounds;
        inFrame->GetBounds(bounds);
        mWidth = static_cast<std::uint32_t>(bounds.Width());
        mHeight = static_cast<std::uint32_t>(bounds.Height());
        inFrame->GetPixelFormat(mFormat);
        mBytes = static_cast<std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
        const auto rowBytes = static_cast<std::uint64_t>(VF::IVideoFrameRasterRef(inFrame)->GetRowBytes());
        if (!VF::GetFrameGeometry(mFormat, rowBytes, mWidth, mHeight, mGeometry))
        {
            throw ML::RenderRequestException(VF::kFrameStatus_BadArgument);
        }
    }

    std::uint8_t* Line(std::size_t inPlane, std::uint32_t inLine) const
    {
        const VF::FramePlane& plane = mGeometry.mPlanes[inPlane];
        return mBytes + plane.mOffset + inLine * plane.mRowBytes;
    }

    norviktypes::PixelFormat mFormat;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    std::uint8_t* mBytes = nullptr;
    VF::FrameGeometry mGeometry;
};

MF::IVideoFrameRef FrameLike(const MF::IVideoFrameRef& inFrame, const norviktypes::PixelFormat& inFormat)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    norviktypes::PixelAspectRatio ratio;
    inFrame->GetPixelAspectRatio(ratio);
    MF::IVideoFrameRef frame;
    if (VF::CreateVideoFrame(frame, inFormat, static_cast<std::uint32_t>(bounds.Width()),
                             static_cast<std::uint32_t>(bounds.Height()), ratio, false, false) < 0)
    {
        throw ML::RenderRequestException(VF::kFrameStatus_OutOfMemory);
    }
    frame->SetFieldType(inFrame->GetFieldType());
    frame->SetAlphaType(inFrame->GetAlphaType());
    return frame;
}

// Each line gets the chroma line of its own field, so that lines of the two fields share none. Every second
// chroma line of video is of one field, even where the file tells that it was made of whole frames.
MF::IVideoFrameRef WithChromaOfFields(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality)
{
    const Planes from(inFrame);
    const ChromaFormats* const formats = FormatsOf(from.mFormat);
    if (formats == nullptr || from.mFormat == formats->mPacked)
    {
        return inFrame;
    }
    const MF::IVideoFrameRef packed = FrameLike(inFrame, formats->mPacked);
    const Planes to(packed);
    const std::uint32_t chromaLines = from.mGeometry.mPlanes[1].mLines;
    for (std::uint32_t y = 0; y < from.mHeight; ++y)
    {
        std::uint32_t chroma = y / 4 * 2 + y % 2;
        chroma = chroma < chromaLines ? chroma : chroma >= 2 ? chroma - 2 : 0;
        const std::uint8_t* luma = from.Line(0, y);
        const std::uint8_t* u = from.Line(1, chroma);
        const std::uint8_t* v = from.Line(2, chroma);
        std::uint8_t* out = to.Line(0, y);
        for (std::uint32_t x = 0; x < from.mWidth; x += 2)
        {
            out[2 * x] = u[x / 2];
            out[2 * x + 1] = luma[x];
            out[2 * x + 2] = v[x / 2];
            out[2 * x + 3] = luma[x + 1 < from.mWidth ? x + 1 : x];
        }
    }
    return packed;
}

// The reverse of it, for a frame whose fields are of one moment.
MF::IVideoFrameRef WithChromaOfFrames(const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality)
{
    const Planes from(inFrame);
    const ChromaFormats* const formats = FormatsOf(from.mFormat);
    if (formats == nullptr || from.mFormat != formats->mPacked)
    {
        return inFrame;
    }
    const MF::IVideoFrameRef planar = FrameLike(inFrame, formats->mOfFrames);
    const Planes to(planar);
    for (std::uint32_t y = 0; y < from.mHeight; ++y)
    {
        const std::uint8_t* in = from.Line(0, y);
        std::uint8_t* luma = to.Line(0, y);
        for (std::uint32_t x = 0; x < from.mWidth; ++x)
        {
            luma[x] = in[2 * x + 1];
        }
    }
    for (std::uint32_t y = 0; y < to.mGeometry.mPlanes[1].mLines; ++y)
    {
        const std::uint32_t line = y / 2 * 4 + y % 2;
        const std::uint8_t* in = from.Line(0, line < from.mHeight ? line : from.mHeight - 1);
        std::uint8_t* u = to.Line(1, y);
        std::uint8_t* v = to.Line(2, y);
        for (std::uint32_t x = 0; x < from.mWidth; x += 2)
        {
            u[x / 2] = in[2 * x];
            v[x / 2] = in[2 * x + 2];
        }
    }
    return planar;
}

// 4:2:0 as inFormat is, with a chroma row for two lines of a frame or, where there are fields, of one field. Other
// formats as they are.
PixelFormat WithChromaRowsFor(FieldType inFieldType, const PixelFormat& inFormat) noexcept
{
    constexpr std::uint32_t kOfFields = 0x20000;
    PixelFormat format = inFormat;
    format.mProperties = norviktypes::IsInterlaced(inFieldType) ? inFormat.mProperties | kOfFields
                                                                : inFormat.mProperties & ~kOfFields;
    format.mName = norviktypes::GuessNameForProperties(format.mProperties);
    const bool is420 = norviktypes::IsSubsampled(inFormat.mProperties) &&
                       format.mName != norviktypes::kPixelFormatName_Unknown;
    return is420 ? format : inFormat;
}

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
        std::vector<norviktypes::PixelFormat> formats;
        inStream->GetNativePixelFormat(formats);
        mNativeFormat = formats.empty() ? norviktypes::kPixelFormat_Any : formats.front();
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
        TakePlanes();
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

    void PutOperation(const std::string& inLink, const AlteredSource::Operation& inOperation)
    {
        Put(inLink, ML::IRenderableSourceRef(new AlteredSource(mChain.mTop, inOperation)));
    }

    // Chroma that is smoothed over lines or changes its field is better off in four components, and so are fields of
    // successive frames, which have half of its rows.
    void TakePlanes()
    {
        const bool hasFields = norviktypes::IsInterlaced(mFacts.mFieldType);
        const bool deinterlaces = mConforming.mDeinterlaces && hasFields;
        const bool removesPulldown = mConforming.mPulldown != PulldownRemoval::kNone;
        const bool isTurned = mFacts.mRotation != 0;
        if (mFacts.mIsStill || isTurned || removesPulldown ||
            !norviktypes::IsSubsampled(mNativeFormat.mProperties))
        {
            return;
        }
        const PixelFormat made = WithChromaRowsFor(mChain.mFieldType, mNativeFormat);
        const bool isProgressive = !norviktypes::IsInterlaced(mChain.mFieldType);
        const bool changesRows =
            deinterlaces ? isProgressive : mConforming.mInterlacesConsecutive && !hasFields;
        if (changesRows && made != mNativeFormat)
        {
            mChain.mTop =
                ML::IRenderableSourceRef(new PlanesOfStream(mChain.mTop, mFacts, mNativeFormat, made));
        }
        if (isProgressive && (deinterlaces || (mConforming.mBlends && !hasFields)) &&
            !mConforming.mRemovesFlicker && !mConforming.mInterlacesConsecutive)
        {
            mChain.mPlanes = made;
            mChain.mMixesPlanes = mConforming.mBlends;
        }
    }

    void AddPulldownRemoval(norviktypes::PulldownCadence inCadence)
    {
        const FieldType dominance = DominanceOfFilm(mFacts, mConforming.mSwapsFields);
        if (dominance != mFacts.mFieldType)
        {
            const bool isUpper = dominance == norviktypes::kFieldType_UpperFirst;
            PutOperation(isUpper ? "label upper first" : "label lower first",
                         [dominance](const MF::IVideoFrameRef& inFrame, norviktypes::RenderQuality inQuality)
                         { return WithFieldType(inFrame, dominance, inQuality); });
        }
        const ChromaFormats* const formats = FormatsOf(mNativeFormat);
        const bool hasSharedChroma = formats != nullptr && mNativeFormat != formats->mPacked;
        if (hasSharedChroma)
        {
            mChain.mFilmFormat = mNativeFormat;
            PutOperation("part chroma of fields", &WithChromaOfFields);
        }
        Put(std::string("remove pulldown ") + NameOfCadence(inCadence),
            ML::RemovePulldownFromSource(mChain.mTop, inCadence));
        if (hasSharedChroma)
        {
            PutOperation("join chroma of fields", &WithChromaOfFrames);
        }
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
        Put("scale", mFacts.mHeight % 2 == 0
                         ? ML::ScaleAndPARCorrectSource(mChain.mTop)
                         : ML::IRenderableSourceRef(new ScalerOfOddHeight(mChain.mTop, mFacts)));
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
    norviktypes::PixelFormat mNativeFormat;
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
