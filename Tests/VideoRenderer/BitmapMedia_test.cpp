#include "BitmapMedia.h"

#include "BE/Messages.h"
#include "MF/PixelFormats.h"
#include "ReferenceHost/Messaging/UIThread.h"
#include "RenderableSources.h"
#include "TVK/ContractError.h"
#include "TVK/Stations.h"
#include "VF/VideoFrame.h"
#include "norvik/config/Contract.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace
{

MF::IVideoFrameRef MakeFrame(std::uint8_t inValue,
                             const norviktypes::PixelFormat& inFormat = MF::kPixelFormat_BGRA_4444_8u)
{
    MF::IVideoFrameRef frame;
    VF::CreateVideoFrame(frame, inFormat, 16, 8, {12, 11}, true, false);
    std::memset(VF::IVideoFramePixelsRef(frame)->GetPixels(), inValue, 16 * 4);
    frame->SetFieldType(norviktypes::kFieldType_LowerFirst);
    return frame;
}

std::uint8_t FirstByte(const MF::IVideoFrameRef& inFrame)
{
    return *static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inFrame)->GetPixels());
}

BE::IVideoSourceRef SourceOf(const BE::IMediaInfoRef& inMedia)
{
    return BE::IVideoSourceRef(inMedia->CreateSourceForStream(MF::kMediaType_Video, 0));
}

std::int32_t FrameByTime(std::uint64_t inContext, const norviktypes::TickTime inTime,
                         MF::IVideoFrameRef& outFrame)
{
    outFrame =
        MakeFrame(static_cast<std::uint8_t>(inContext + static_cast<std::uint64_t>(inTime.GetTicks())));
    return 0;
}

std::int32_t FailingCallback(std::uint64_t, const norviktypes::TickTime, MF::IVideoFrameRef&)
{
    return -77;
}

std::int32_t Read(const BE::IVideoSourceRef& inSource, std::int64_t inTicks, MF::IVideoFrameRef& outFrame)
{
    return inSource->GetRenderedFrame(norviktypes::TickTime(inTicks), {}, {}, {}, false, outFrame);
}

// Counts the change messages that were delivered in its life.
class ChangeCounter
{
public:
    ChangeCounter()
    {
        TVK::StationRegistry::RegisterStation(mStation);
        mListener = TVK::StationRegistry::AddListener(
            mStation, BE::MediaInfoChangedMessage::StaticMessageID(),
            [this](const TVK::MessageRef& inMessage)
            {
                mMedia = dynamic_cast<const BE::MediaInfoChangedMessage&>(*inMessage).GetMedia();
                ++mCount;
            });
    }
    ~ChangeCounter() { TVK::StationRegistry::DisposeStation(mStation); }

    int Delivered()
    {
        TVK::UIThread::Pump();
        return mCount;
    }
    const BE::IMediaInfoRef& Media() const { return mMedia; }

private:
    const norvik::utility::ImmutableString mStation =
        norvik::utility::ImmutableString::CreateStatic(BE::kMediaInfoStation);
    std::uint64_t mListener = 0;
    int mCount = 0;
    BE::IMediaInfoRef mMedia;
};

// What the contract that inFunction breaks says of itself.
template <class Function>
std::string ContractTextOf(const Function& inFunction)
{
    norvik::debug::ClearContractReports();
    try
    {
        inFunction();
        return "nothing thrown";
    }
    catch (const norvik::config::Error& error)
    {
        EXPECT_STREQ(error.what(), norvik::config::kInputContractViolation);
    }
    norvik::debug::ContractReport report;
    if (!norvik::debug::GetContractReport(0, report))
    {
        return "nothing reported";
    }
    return std::string(report.mCondition.c_str()) + "|" + report.mFile.c_str() + "|" +
           report.mFunction.c_str();
}

TEST(BitmapMedia, GivesItsFrameThroughTheSourceAtEveryTime)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    const BE::IVideoSourceRef source = SourceOf(media);
    for (const std::int64_t ticks : {std::int64_t{-5}, std::int64_t{0}, std::int64_t{1} << 60})
    {
        MF::IVideoFrameRef frame;
        ASSERT_EQ(Read(source, ticks, frame), 0);
        EXPECT_EQ(FirstByte(frame), 7);
    }
}

TEST(BitmapMedia, EmptyFrameIsAContractViolation)
{
    EXPECT_EQ(ContractTextOf([] { ML::CreateBitmapMedia({}, nullptr, 0, u""); }),
              "inVideoFrame != NULL|Src/BitmapMedia|ML::CreateBitmapMedia");
}

TEST(BitmapMedia, OtherMediaTypesAndIndicesAreContractViolations)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    const std::string prefix = "|Src/BitmapMedia|ML::`anonymous-namespace'::BitmapMedia::";
    EXPECT_EQ(ContractTextOf([&] { media->GetStream(MF::kMediaType_Audio, 0); }),
              "inType == MF::kMediaType_Video" + prefix + "GetStream");
    EXPECT_EQ(ContractTextOf([&] { media->GetStream(MF::kMediaType_Video, 1); }),
              "inIndex == 0" + prefix + "GetStream");
    EXPECT_EQ(ContractTextOf([&] { media->CreateSourceForStream(MF::kMediaType_Audio, 0); }),
              "inType == MF::kMediaType_Video" + prefix + "CreateSourceForStream");
    EXPECT_EQ(ContractTextOf([&] { media->CreateSourceForStream(MF::kMediaType_Video, 1); }),
              "inIndex == 0" + prefix + "CreateSourceForStream");
    std::vector<std::uint32_t> indices;
    EXPECT_EQ(ContractTextOf([&] { media->GetStreamGroupIndices(1, indices); }),
              "inGroupIndex == 0" + prefix + "GetStreamGroupIndices");
    norvik::WString title;
    EXPECT_EQ(ContractTextOf([&] { media->GetTitle(1, title); }), "inStreamGroup == 0" + prefix + "GetTitle");
}

TEST(BitmapMedia, HasOneVideoStreamAndNothingElse)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    EXPECT_TRUE(media->HasMediaType(MF::kMediaType_Video));
    EXPECT_FALSE(media->HasMediaType(MF::kMediaType_Audio));
    std::vector<std::uint32_t> indices;
    media->GetStreamGroupIndices(0, indices);
    EXPECT_EQ(indices, std::vector<std::uint32_t>{0});
    norvik::WString title;
    media->GetTitle(0, title);
    EXPECT_EQ(title, u"title");
    EXPECT_TRUE(media->GetStream(MF::kMediaType_Video, 0));
}

TEST(BitmapMedia, SourceAnswersAsAStillWithoutAFrameGrid)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    const BE::IVideoSourceRef source = SourceOf(media);
    norviktypes::FrameRate rate(1);
    source->GetFrameRate(rate);
    EXPECT_EQ(rate, norviktypes::kFrameRate_Zero);
    const MF::ISourceRef axis(source);
    norviktypes::TickTime duration;
    std::uint32_t kind = 0;
    EXPECT_EQ(axis->GetDuration(duration), 0);
    EXPECT_EQ(duration, norviktypes::kTime_Max);
    EXPECT_EQ(axis->GetStillKind(kind), 0);
    EXPECT_EQ(kind, 1u);
    EXPECT_EQ(source->GetStreamCount(), 1u);
    EXPECT_FALSE(source->IsDropFrame());
    EXPECT_FALSE(source->IsImageSource());
    EXPECT_TRUE(source->CanRenderFrames({}));
    norviktypes::TickTime start(5);
    source->GetStartTime(start);
    EXPECT_EQ(start, norviktypes::kTime_Zero);

    // A chain over it treats it so.
    const ML::IRenderableSourceRef chain = ML::CreateRenderableSource(
        source, {}, norviktypes::kAlphaChannel_Straight, {}, false, false,
        norviktypes::FrameRate::FromRational(25, 1), norviktypes::kFieldType_FromSource, {12, 11}, {}, {});
    norviktypes::FrameRate reported;
    chain->GetFrameRate(reported);
    EXPECT_EQ(reported, norviktypes::kFrameRate_Video1000);
}

TEST(BitmapMedia, SourceAnswersWithTheAttributesOfTheFrame)
{
    const BE::IMediaInfoRef media =
        ML::CreateBitmapMedia(MakeFrame(7, MF::kPixelFormat_BGRP_4444_8u), nullptr, 0, u"title");
    const BE::IVideoSourceRef source = SourceOf(media);
    TVK::Rect bounds;
    source->GetBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8}));
    source->GetMaxBounds(bounds);
    EXPECT_EQ(bounds, (TVK::Rect{0, 0, 16, 8}));
    norviktypes::PixelAspectRatio ratio;
    source->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, norviktypes::PixelAspectRatio(12, 11));
    EXPECT_EQ(source->GetFieldType(), norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(source->GetFieldTypeForTime({}), norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(source->GetAlphaType(), norviktypes::kAlphaChannel_Premultiplied);
    std::vector<norviktypes::PixelFormat> formats;
    source->GetNativePixelFormat(formats);
    EXPECT_EQ(formats, std::vector{MF::kPixelFormat_BGRA_4444_8u});

    BE::FrameDescription format;
    norviktypes::TickTime time(3);
    source->NormalizeFormat(time, format, {});
    EXPECT_EQ(time.GetTicks(), 3);
    EXPECT_EQ(format.mBounds, (TVK::Rect{0, 0, 16, 8}));
    EXPECT_EQ(format.mPixelFormat, MF::kPixelFormat_BGRP_4444_8u);
    EXPECT_EQ(format.mAlphaType, norviktypes::kAlphaChannel_Any);
    EXPECT_EQ(format.mPixelAspectRatio, norviktypes::PixelAspectRatio(12, 11));
    EXPECT_EQ(format.mFieldType, norviktypes::kFieldType_LowerFirst);
}

TEST(BitmapMedia, MediaWithoutAFrameGivesZeroValues)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    ML::IBitmapMediaRef(media)->SetFrame({});
    const BE::IVideoSourceRef source = SourceOf(media);
    TVK::Rect bounds{1, 2, 3, 4};
    source->GetBounds(bounds);
    EXPECT_EQ(bounds, TVK::Rect{});
    EXPECT_EQ(source->GetFieldType(), norviktypes::kFieldType_Progressive);
    EXPECT_EQ(source->GetAlphaType(), norviktypes::kAlphaChannel_None);
    norviktypes::PixelAspectRatio ratio{3, 4};
    source->GetPixelAspectRatio(ratio);
    EXPECT_EQ(ratio, norviktypes::PixelAspectRatio());
}

TEST(BitmapMedia, KeyIsTheSourcesIDForEveryTimeAndNewForEverySource)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    const BE::IVideoSourceRef source = SourceOf(media);
    TVK::Guid id;
    source->GetSourceID(id);
    EXPECT_NE(id, TVK::Guid());
    EXPECT_EQ(source->GetFrameKey(norviktypes::TickTime(1), {}, {}, {}), id);
    EXPECT_EQ(source->GetFrameKey(norviktypes::TickTime(2), {}, {}, {}), id);
    EXPECT_EQ(source->GetFrameKeyInternal(norviktypes::TickTime(2), {}, {}, {}), id);
    EXPECT_EQ(source->GetFrameKeyWithOptions({}, {}, {}, {}, {}, norviktypes::kRenderQuality_High,
                                             norviktypes::kFieldType_Progressive, false, false, false, 1.0),
              TVK::Guid());
    EXPECT_NE(SourceOf(media)->GetFrameKey({}, {}, {}, {}), id);
}

TEST(BitmapMedia, CachedFrameIsRefusedAndCleared)
{
    const BE::IVideoSourceRef source = SourceOf(ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title"));
    MF::IVideoFrameRef frame = MakeFrame(1);
    EXPECT_EQ(source->GetCachedFrame({}, {}, {}, {}, frame), -1);
    EXPECT_FALSE(frame);
}

TEST(BitmapMedia, NeverSleeps)
{
    const BE::IVideoSourceRef source = SourceOf(ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title"));
    auto token = std::shared_ptr<void>(std::make_shared<int>(1));
    bool mustUnquiet = true;
    source->AcquireQuietToken(token, false, false, mustUnquiet);
    EXPECT_FALSE(token);
    EXPECT_FALSE(mustUnquiet);
}

TEST(BitmapMedia, VideoFrameIsCopiedIntoTheGivenOne)
{
    const BE::IVideoSourceRef source = SourceOf(ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title"));
    MF::IVideoFrameRef target = MakeFrame(1);
    EXPECT_EQ(source->GetVideoFrame({}, {}, {}, {}, target, norviktypes::kRenderQuality_High,
                                    norviktypes::kFieldType_Progressive, true, false, false, false, 1.0),
              0);
    EXPECT_EQ(FirstByte(target), 7);
}

TEST(BitmapMedia, CallbackGetsContextAndTimeAndItsStatusIsPassedOn)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), &FrameByTime, 100, u"title");
    const BE::IVideoSourceRef source = SourceOf(media);
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Read(source, 5, frame), 0);
    EXPECT_EQ(FirstByte(frame), 105);

    ML::IBitmapMediaRef(media)->SetFrameCallback(&FailingCallback, 0);
    EXPECT_EQ(Read(source, 5, frame), -77);
    EXPECT_EQ(source->GetVideoFrame({}, {}, {}, {}, MakeFrame(1), norviktypes::kRenderQuality_High,
                                    norviktypes::kFieldType_Progressive, true, false, false, false, 1.0),
              -77);
}

std::int32_t CallbackWithRemarks(std::uint64_t, const norviktypes::TickTime, MF::IVideoFrameRef& outFrame)
{
    outFrame = MakeFrame(9);
    return 5;
}

TEST(BitmapMedia, SuccessWithARemarkIsPassedOnWithTheCopiedFrame)
{
    const BE::IVideoSourceRef source =
        SourceOf(ML::CreateBitmapMedia(MakeFrame(7), &CallbackWithRemarks, 0, u"title"));
    const MF::IVideoFrameRef target = MakeFrame(1);
    EXPECT_EQ(source->GetVideoFrame({}, {}, {}, {}, target, norviktypes::kRenderQuality_High,
                                    norviktypes::kFieldType_Progressive, true, false, false, false, 1.0),
              5);
    EXPECT_EQ(FirstByte(target), 9);
}

TEST(BitmapMedia, QueriesGoByTheFrameWhateverTheCallback)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), &FailingCallback, 0, u"title");
    TVK::Rect bounds;
    SourceOf(media)->GetBounds(bounds);
    EXPECT_EQ(bounds.Width(), 16);
}

TEST(BitmapMedia, NullCallbackFallsBackToTheFrameWithoutAMessage)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), &FrameByTime, 100, u"title");
    ChangeCounter changes;
    ML::IBitmapMediaRef(media)->SetFrameCallback(nullptr, 12345);
    EXPECT_EQ(changes.Delivered(), 0);
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Read(SourceOf(media), 5, frame), 0);
    EXPECT_EQ(FirstByte(frame), 7);
}

TEST(BitmapMedia, NewFrameAndNewCallbackArePostedOnce)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    ChangeCounter changes;
    ML::IBitmapMediaRef(media)->SetFrame(MakeFrame(9));
    EXPECT_EQ(changes.Delivered(), 1);
    EXPECT_TRUE(changes.Media() == media);
    ML::IBitmapMediaRef(media)->SetFrameCallback(&FrameByTime, 0);
    EXPECT_EQ(changes.Delivered(), 2);
}

TEST(BitmapMedia, ContentHashChangesOnlyWithTheFrame)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    const norvik::UTF8String first = media->GetContentHash();
    EXPECT_EQ(first, media->GetContentHash());
    EXPECT_EQ(first, media->GetPath().ToString() + "0");
    ML::IBitmapMediaRef(media)->SetFrame(MakeFrame(9));
    EXPECT_NE(first, media->GetContentHash());
}

TEST(BitmapMedia, ContentHashOfACallbackMediaNeverRepeats)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), &FrameByTime, 0, u"title");
    EXPECT_NE(media->GetContentHash(), media->GetContentHash());
}

TEST(BitmapMedia, CloneHasTheSameCallbackAndContext)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), &FrameByTime, 100, u"title");
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Read(SourceOf(media->Clone()), 5, frame), 0);
    EXPECT_EQ(FirstByte(frame), 105);
}

TEST(BitmapMedia, CloneHasTheSameFrameAndAnIdentityOfItsOwn)
{
    const BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    const BE::IMediaInfoRef clone = media->Clone();
    EXPECT_NE(clone->GetPath(), media->GetPath());
    EXPECT_EQ(clone->GetName(), u"title");
    ML::IBitmapMediaRef(media)->SetFrame(MakeFrame(9));
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Read(SourceOf(clone), 0, frame), 0);
    EXPECT_EQ(FirstByte(frame), 7);
}

TEST(BitmapMedia, SourceKeepsItsMediaAlive)
{
    BE::IMediaInfoRef media = ML::CreateBitmapMedia(MakeFrame(7), nullptr, 0, u"title");
    const BE::IVideoSourceRef source = SourceOf(media);
    media.reset();
    MF::IVideoFrameRef frame;
    ASSERT_EQ(Read(source, 0, frame), 0);
    EXPECT_EQ(FirstByte(frame), 7);
}

} // namespace
