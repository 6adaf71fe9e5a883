#include "MF/PixelFormats.h"
#include "RenderFrameRequest.h"
#include "TVK/HashValue.h"
#include "TVK/Waitable.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/QueueTests.h"

#include <gtest/gtest.h>

namespace
{

using namespace TestSupport;
using norviktypes::FrameRate;
using norviktypes::TickTime;

ML::RenderFrameRequest Full(const ML::RenderFrameSettings& inSettings, bool inSkipKey = true)
{
    return ML::RenderFrameRequest(inSettings, inSkipKey, false);
}

ML::RenderFrameSettings OfLayer(const FakeCutlistProviderRef& inProvider)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mVideoSegments = MF::IRenderableCutlistProviderRef(inProvider.get());
    return settings;
}

// ---- construction ----

TEST(RenderFrameRequest, FullFormChecksItsRectanglesAndFormatsInOrder)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mSourceRect = settings.mOutputRect = TVK::Rect{};
    settings.mRequestedFormats.clear();
    const auto broken = [&settings]
    { return ContractText([&settings] { static_cast<void>(Full(settings)); }); };
    const std::string where = "|Src/RenderFrameRequest|ML::RenderFrameRequest::RenderFrameRequest";

    EXPECT_EQ(broken(), "inSourceRect.Height() > 0" + where);
    settings.mSourceRect.bottom = 1;
    EXPECT_EQ(broken(), "inSourceRect.Width() > 0" + where);
    settings.mSourceRect.right = 1;
    EXPECT_EQ(broken(), "inOutputRect.Height() > 0" + where);
    settings.mOutputRect.bottom = 1;
    EXPECT_EQ(broken(), "inOutputRect.Width() > 0" + where);
    settings.mOutputRect.right = 1;
    EXPECT_EQ(broken(), "mRequestedFormats.size() > 0" + where);
    settings.mRequestedFormats = {MF::kPixelFormat_BGRA_4444_8u};
    EXPECT_EQ(broken(), "nothing thrown");
}

TEST(RenderFrameRequest, FormWithAProducerTakesNoClientRendererOrSelector)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    const FakeRenderFrameClientRef client(new FakeRenderFrameClient);
    settings.mClient = TVK::WeakRef<ML::IRenderFrameClient>(ML::IRenderFrameClientRef(client.get()));
    settings.mAcceleratedRenderer = ML::IAcceleratedSequenceRendererRef(new FakeAcceleratedRenderer);
    settings.mCutlistSelector = 3;
    const ML::RenderFrameRequest request(settings, TVK::TVKUnknownRef(), TVK::TVKUnknownRef(), true, false);
    EXPECT_FALSE(request.mClient);
    EXPECT_FALSE(request.mAcceleratedRenderer);
    EXPECT_EQ(request.mCutlistSelector, 0U);
    EXPECT_FALSE(request.IsPrefetchOnly());
    EXPECT_TRUE(Full(settings).mClient);
}

TEST(RenderFrameRequest, CopiesShareSlotAndClaim)
{
    const ML::RenderFrameRequest request = Full(QueueSettings(1));
    const ML::RenderFrameRequest copy = request;
    const MF::IVideoFrameRef frame = SmallFrame();
    copy.SetResultFrame(frame);
    EXPECT_EQ(request.GetResultFrame().get(), frame.get());
    EXPECT_TRUE(copy.Claim());
    EXPECT_FALSE(request.Claim());
    EXPECT_TRUE(Full(QueueSettings(1)).Claim());
}

// ---- scale ----

float Scale(int inSourceWidth, int inSourceHeight, int inOutputWidth, int inOutputHeight,
            const norviktypes::PixelAspectRatio& inSourceAspect = {},
            const norviktypes::PixelAspectRatio& inOutputAspect = {})
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mSourceRect = TVK::Rect{0, 0, inSourceWidth, inSourceHeight};
    settings.mOutputRect = TVK::Rect{0, 0, inOutputWidth, inOutputHeight};
    settings.mSourcePixelAspectRatio = inSourceAspect;
    settings.mPixelAspectRatio = inOutputAspect;
    return Full(settings).GetScale();
}

TEST(RenderFrameRequest, ScaleIsTheLargerRatioForTheSameShapeAndElseTheSmaller)
{
    EXPECT_EQ(Scale(1920, 1080, 960, 540), 0.5F);
    EXPECT_EQ(Scale(1920, 1080, 962, 540), 962.0F / 1920.0F); // nearly the same shape
    EXPECT_EQ(Scale(1920, 1080, 720, 576), 720.0F / 1920.0F);
    EXPECT_EQ(Scale(720, 576, 1920, 1080), 1080.0F / 576.0F);
}

TEST(RenderFrameRequest, ScaleTakesShapesForTheSameWhichDifferByLessThanAFortieth)
{
    EXPECT_EQ(Scale(1000, 1000, 1024, 1000), 1.024F);
    EXPECT_EQ(Scale(1000, 1000, 1026, 1000), 1.0F);
    EXPECT_EQ(Scale(1000, 1000, 976, 1000), 1.0F);
    EXPECT_EQ(Scale(1000, 1000, 974, 1000), 0.974F);
}

TEST(RenderFrameRequest, ScaleOfWideStandardDefinitionTakesTheSmallerRatio)
{
    EXPECT_EQ(Scale(1920, 1080, 864, 480), 480.0F / 1080.0F);
    EXPECT_EQ(Scale(1920, 1080, 862, 480), 862.0F / 1920.0F);
    // Only that one: its neighbours are of the same shape as well, and take the larger.
    EXPECT_EQ(Scale(1922, 1080, 864, 480), 864.0F / 1922.0F);
    EXPECT_EQ(Scale(1920, 1079, 864, 480), 864.0F / 1920.0F);
    EXPECT_EQ(Scale(1920, 1080, 863, 480), 863.0F / 1920.0F);
    EXPECT_EQ(Scale(1920, 1080, 864, 481), 864.0F / 1920.0F);
}

TEST(RenderFrameRequest, ScaleCountsAPixelMoreForAnOddWidthThatSquaringMade)
{
    // 720 pixels of 15/16 are 675 square ones.
    const norviktypes::PixelAspectRatio narrow(15, 16);
    EXPECT_EQ(Scale(720, 540, 910, 720, narrow), 910.0F / 676.0F);
    EXPECT_EQ(Scale(720, 540, 911, 720, narrow), 911.0F / 675.0F); // an odd output needs none
    EXPECT_EQ(Scale(675, 540, 910, 720), 910.0F / 675.0F);         // nor does a width that was odd before
    EXPECT_EQ(Scale(720, 540, 674, 600, narrow), 674.0F / 675.0F); // nor one that is made smaller
}

// ---- format, cutlist, params ----

TEST(RenderFrameRequest, RendersInTheFirstPackedFourComponentFormat)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mRequestedFormats = {MF::kPixelFormat_UYVY_422_8u_601, MF::kPixelFormat_VUYA_4444_8u,
                                  MF::kPixelFormat_BGRA_4444_8u};
    ML::RenderFrameRequest request = Full(settings);
    EXPECT_EQ(request.SelectPixelFormat(false), MF::kPixelFormat_VUYA_4444_8u);
    // Decided once.
    request.mRequestedFormats = {MF::kPixelFormat_BGRA_4444_8u};
    EXPECT_EQ(request.SelectPixelFormat(true), MF::kPixelFormat_VUYA_4444_8u);

    settings.mRequestedFormats = {MF::kPixelFormat_UYVY_422_8u_601, MF::kPixelFormat_V210_422_10u_709};
    EXPECT_EQ(Full(settings).SelectPixelFormat(false), MF::kPixelFormat_BGRA_4444_8u);
}

TEST(RenderFrameRequest, SelectorNamesTheCutlistWhichIsAskedForOnce)
{
    const std::pair<std::uint32_t, const char*> cases[] = {{0, "first 'name' fresh"},
                                                           {1, "second 'name' fresh"},
                                                           {2, "first 'name' fresh"},
                                                           {3, "third 'name' fresh"}};
    for (const auto& [selector, text] : cases)
    {
        const FakeCutlistProviderRef provider = OneLayer();
        ML::RenderFrameSettings settings = OfLayer(provider);
        settings.mCutlistName = norvik::utility::ImmutableString::CreateStatic("name");
        settings.mCutlistSelector = selector;
        ML::RenderFrameRequest request = Full(settings);
        EXPECT_EQ(request.GetCutlist(true).get(), provider->mCutlist.get());
        request.GetCutlist(false);
        EXPECT_EQ(provider->mAsked, Texts{text});
        EXPECT_EQ(request.BuildRenderParams(true).mUseSecondCutlist, selector & 1);
    }
}

TEST(RenderFrameRequest, ParamsTellWhatTheSettingsSay)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mOutputRect = TVK::Rect{10, 20, 42, 36};
    settings.mPixelAspectRatio = norviktypes::PixelAspectRatio(16, 15);
    settings.mSourcePixelAspectRatio = norviktypes::PixelAspectRatio(64, 45);
    settings.mRenderQuality = norviktypes::kRenderQuality_Low;
    settings.mRenderContext = 77;
    settings.mRenderFlags = 10;
    settings.mPriority = 899;
    ML::RenderFrameRequest request = Full(settings);
    ML::CutlistRenderParams params = request.BuildRenderParams(false);
    EXPECT_EQ(params.mWidth, 32U);
    EXPECT_EQ(params.mHeight, 16U);
    EXPECT_EQ(params.mSourceWidth, 16U);
    EXPECT_EQ(params.mSourceHeight, 8U);
    EXPECT_TRUE(params.mPixelAspectRatio == settings.mPixelAspectRatio);
    EXPECT_TRUE(params.mSourcePixelAspectRatio == settings.mSourcePixelAspectRatio);
    EXPECT_EQ(params.mRenderQuality, norviktypes::kRenderQuality_Low);
    EXPECT_EQ(params.mDeinterlaceQuality, norviktypes::kRenderQuality_Low);
    EXPECT_EQ(params.mRenderContext, 77U);
    EXPECT_EQ(params.mRenderFlags, 42U);
    EXPECT_EQ(params.mScaleX, static_cast<double>(request.GetScale()));
    EXPECT_EQ(params.mScaleY, params.mScaleX);
    EXPECT_EQ(params.mFieldToRender, 0U);
    EXPECT_EQ(params.mFrameRate, FrameRate(1000));

    request.mDeinterlaceQuality = 5;
    request.mPriority = 900;
    params = request.BuildRenderParams(false);
    EXPECT_EQ(params.mDeinterlaceQuality, norviktypes::kRenderQuality_Max);
    EXPECT_EQ(params.mRenderFlags, 10U);
}

TEST(RenderFrameRequest, FieldTimesAreHalfAFrameApart)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mTime = TickTime(5000);
    const auto times = [&settings](norviktypes::FieldType inType)
    {
        settings.mFieldType = inType;
        return Full(settings).BuildRenderParams(false).mFrameTime;
    };
    EXPECT_EQ(times(norviktypes::kFieldType_Progressive), MF::FrameTime(TickTime(5000)));
    EXPECT_EQ(times(norviktypes::kFieldType_UpperFirst), MF::FrameTime(TickTime(5000), TickTime(5500)));
    EXPECT_EQ(times(norviktypes::kFieldType_LowerFirst), MF::FrameTime(TickTime(5500), TickTime(5000)));
    settings.mFrameRate = norviktypes::kFrameRate_Zero;
    EXPECT_EQ(times(norviktypes::kFieldType_LowerFirst), MF::FrameTime(TickTime(5000)));
}

TEST(RenderFrameRequest, SequencesOwnFieldTypeReplacesTheRequests)
{
    const FakeCutlistProviderRef provider = OneLayer();
    ML::RenderFrameSettings settings = OfLayer(provider);
    settings.mTime = TickTime(0);
    settings.mFieldType = norviktypes::kFieldType_UpperFirst;
    EXPECT_EQ(Full(settings).BuildRenderParams(false).mFieldType, norviktypes::kFieldType_UpperFirst);
    provider->mFieldType = norviktypes::kFieldType_LowerFirst;
    const ML::CutlistRenderParams params = Full(settings).BuildRenderParams(false);
    EXPECT_EQ(params.mFieldType, norviktypes::kFieldType_LowerFirst);
    EXPECT_EQ(params.mFrameTime, MF::FrameTime(TickTime(500), TickTime(0)));
}

TEST(RenderFrameRequest, SingleFieldNamesWhichOneAndGoesBackToItsFrame)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mFieldType = norviktypes::kFieldType_UpperFirst;
    settings.mRenderSingleField = true;
    const auto params = [&settings](std::int64_t inTicks)
    {
        settings.mTime = TickTime(inTicks);
        return Full(settings).BuildRenderParams(false);
    };
    settings.mFrameRate = FrameRate::FromRational(25, 1);
    const std::int64_t frame = settings.mFrameRate.GetTicks();
    EXPECT_EQ(params(7 * frame).mFieldToRender, 1U);
    EXPECT_EQ(params(7 * frame).mFrameTime.mFirstTime, TickTime(7 * frame));
    EXPECT_EQ(params(7 * frame + frame / 2).mFieldToRender, 2U);
    EXPECT_EQ(params(7 * frame + frame / 2).mFrameTime.mFirstTime, TickTime(7 * frame));
    EXPECT_EQ(params(-frame / 2).mFieldToRender, 2U); // fields are counted down below zero too
    // Without a rate nothing can be counted.
    settings.mFrameRate = norviktypes::kFrameRate_Zero;
    EXPECT_EQ(params(7 * frame).mFieldToRender, 1U);
    settings.mFrameRate = norviktypes::kFrameRate_Unset;
    EXPECT_EQ(params(7 * frame).mFieldToRender, 1U);
}

TEST(RenderFrameRequest, FieldOf2997IsHalfOfItsTicks)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mFrameRate = FrameRate::FromRational(30000, 1001);
    settings.mRenderSingleField = true;
    ASSERT_EQ(settings.mFrameRate.GetTicks(), 8475667200);
    for (const std::int64_t frame : {0, 1, 1000, 107892})
    {
        settings.mTime = TickTime(frame * 8475667200);
        EXPECT_EQ(Full(settings).BuildRenderParams(false).mFieldToRender, 1U) << frame;
        settings.mTime += TickTime(4237833600);
        EXPECT_EQ(Full(settings).BuildRenderParams(false).mFieldToRender, 2U) << frame;
    }
}

// ---- key ----

TVK::Guid KeyOf(ML::RenderFrameSettings inSettings)
{
    return Full(inSettings, false).GetKey();
}

TEST(RenderFrameRequest, KeyDependsOnContentFormatsFlattenAndBothQualities)
{
    const FakeCutlistProviderRef provider = OneLayer();
    const ML::RenderFrameSettings settings = OfLayer(provider);
    const TVK::Guid key = KeyOf(settings);
    ASSERT_FALSE(key.IsZero());
    EXPECT_EQ(KeyOf(settings), key);

    ML::RenderFrameSettings other = settings;
    other.mRequestedFormats = {MF::kPixelFormat_BGRA_4444_8u, MF::kPixelFormat_UYVY_422_8u_601};
    const TVK::Guid twoFormats = KeyOf(other);
    EXPECT_NE(twoFormats, key);
    other.mRequestedFormats = {MF::kPixelFormat_UYVY_422_8u_601, MF::kPixelFormat_BGRA_4444_8u};
    EXPECT_NE(KeyOf(other), twoFormats);
    other = settings;
    other.mCompositeOnBlack = true;
    EXPECT_NE(KeyOf(other), key);
    other = settings;
    other.mRenderQuality = norviktypes::kRenderQuality_Max;
    EXPECT_NE(KeyOf(other), key);
    other = settings;
    other.mDeinterlaceQuality = 4; // the same quality, but said in another way
    EXPECT_NE(KeyOf(other), key);
    other = settings;
    other.mContext = 99;
    other.mRequestID = 99;
    EXPECT_EQ(KeyOf(other), key);
}

// Keys are stored in caches that outlive the process.
TEST(RenderFrameRequest, KeyIsTheHashOfTheContentWithTheParametersMixedIn)
{
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mRequestedFormats = {MF::kPixelFormat_UYVY_422_8u_601, MF::kPixelFormat_BGRA_4444_8u};
    settings.mCompositeOnBlack = true;
    settings.mRenderQuality = norviktypes::kRenderQuality_Low;
    settings.mDeinterlaceQuality = 4;
    const FakeProducerRef producer(new FakeProducer(7));
    const ML::RenderFrameRequest request(settings, TVK::TVKUnknownRef(producer.get()), TVK::TVKUnknownRef(),
                                         false, false);
    TVK::Guid content;
    producer->GetFrameHash(content, MF::FrameTime(), ML::CutlistRenderParams(), TVK::Guid());
    TVK::HashValue key(content);
    key.Mix("Hash Including Render Params", 28);
    for (const norviktypes::PixelFormat& format : settings.mRequestedFormats)
    {
        key.Mix(&format, 8);
    }
    key.MixU8(1);
    key.MixU32(norviktypes::kRenderQuality_Low);
    key.MixU32(4);
    EXPECT_EQ(request.GetKey(), key.AsGuid());
}

TEST(RenderFrameRequest, DifferentTimesShareAKeyWhereTheContentIsTheSame)
{
    const FakeCutlistProviderRef provider = OneLayer();
    ML::RenderFrameSettings settings = OfLayer(provider);
    settings.mTime = TickTime(2000000);
    const TVK::Guid gap = KeyOf(settings);
    ASSERT_FALSE(gap.IsZero());
    settings.mTime = TickTime(3000000);
    EXPECT_EQ(KeyOf(settings), gap);
}

TEST(RenderFrameRequest, WithoutAHashTheKeyStaysAsItWas)
{
    EXPECT_TRUE(KeyOf(QueueSettings(1)).IsZero());
    const FakeProducerRef producer(new FakeProducer(0));
    ML::RenderFrameRequest request = QueueRequest(1, producer);
    request.ComputeKey(true);
    EXPECT_TRUE(request.GetKey().IsZero());
}

TEST(RenderFrameRequest, ProducerMustBeOne)
{
    ML::RenderFrameRequest request(QueueSettings(1), TVK::TVKUnknownRef(OneLayer()), TVK::TVKUnknownRef(),
                                   true, false);
    EXPECT_THROW(request.ComputeKey(true), TVK::NullInterfaceException);
}

TEST(RenderFrameRequest, SkippedKeyIsComputedLater)
{
    const FakeCutlistProviderRef provider = OneLayer();
    ML::RenderFrameRequest request = Full(OfLayer(provider), true);
    EXPECT_TRUE(request.GetKey().IsZero());
    EXPECT_TRUE(provider->mAsked.empty());
    request.ComputeKey(true);
    EXPECT_EQ(request.GetKey(), KeyOf(OfLayer(provider)));
    EXPECT_EQ(provider->mAsked, (Texts{"first '' fresh", "first ''"}));
}

// ---- reads ----

TEST(RenderFrameRequest, BeginsGivenItemsOnceAndDropsThoseThatFail)
{
    const FakePrefetchRef fine(new FakePrefetch);
    const FakePrefetchRef failing(new FakePrefetch);
    failing->mBeginStatus = -1;
    ML::RenderFrameRequest request(TickTime(1), Items{failing, fine}, 9);
    EXPECT_EQ(request.PrefetchItemCount(), 0U);
    request.StartPrefetch();
    request.StartPrefetch();
    EXPECT_EQ(fine->mBegun, 1);
    EXPECT_EQ(failing->mBegun, 1);
    EXPECT_EQ(request.PrefetchItemCount(), 1U);
    EXPECT_FALSE(request.IsPrefetchReady());
    fine->mIsReady = true;
    EXPECT_TRUE(request.IsPrefetchReady());
}

TEST(RenderFrameRequest, SingleItemIsItsOwnProvider)
{
    const FakePrefetchRef read(new FakePrefetch);
    ML::RenderFrameRequest request(TickTime(1), TVK::TVKUnknownRef(read.get()), 9);
    request.StartPrefetch();
    EXPECT_EQ(read->mBegun, 1);
    EXPECT_TRUE(request.IsPrefetchOnly());
}

TEST(RenderFrameRequest, ProviderIsAskedAtTheTimeOfTheProducer)
{
    const TVK::InterfaceRef<FakePrefetchProvider> provider(new FakePrefetchProvider);
    ML::RenderFrameSettings settings = QueueSettings(1);
    settings.mTime = TickTime(5000);
    settings.mFieldType = norviktypes::kFieldType_LowerFirst;
    ML::RenderFrameRequest request(settings, TVK::TVKUnknownRef(), TVK::TVKUnknownRef(provider.get()), true,
                                   false);
    request.StartPrefetch();
    ML::RenderFrameRequest only(TickTime(77), TVK::TVKUnknownRef(provider.get()), 9);
    only.StartPrefetch();
    ASSERT_EQ(provider->mAskedTimes.size(), 2U);
    EXPECT_EQ(provider->mAskedTimes.at(0), MF::FrameTime(TickTime(5500), TickTime(5000)));
    EXPECT_EQ(provider->mAskedTimes.at(1), MF::FrameTime(TickTime(77)));
}

TEST(RenderFrameRequest, EmptyItemThrows)
{
    ML::RenderFrameRequest request(TickTime(1), Items{ML::IRenderableNodePrefetchRef()}, 9);
    EXPECT_THROW(request.StartPrefetch(), TVK::NullInterfaceException);
}

TEST(RenderFrameRequest, EmptyItemThrowsWhenItIsCancelled)
{
    const TVK::InterfaceRef<FakePrefetchProvider> provider(new FakePrefetchProvider);
    provider->mItems = {ML::IRenderableNodePrefetchRef()};
    ML::RenderFrameRequest request(TickTime(1), TVK::TVKUnknownRef(provider.get()), 9);
    EXPECT_THROW(request.CancelPrefetchItems(), TVK::NullInterfaceException);
}

TEST(RenderFrameRequest, IsReadyWhenAllItsItemsAreAndWorksWhileOneDoes)
{
    const FakePrefetchRef first(new FakePrefetch);
    const FakePrefetchRef second(new FakePrefetch);
    ML::RenderFrameRequest request(TickTime(1), Items{first, second}, 9);
    EXPECT_TRUE(request.IsPrefetchReady());
    EXPECT_FALSE(request.HasPrefetchItemStillWorking(16.0));
    request.StartPrefetch();
    first->mIsReady = true;
    EXPECT_FALSE(request.IsPrefetchReady());
    second->mIsReady = true;
    EXPECT_TRUE(request.IsPrefetchReady());
    first->mIsReady = false;
    EXPECT_FALSE(request.IsPrefetchReady());
    second->mIsWorking = true;
    EXPECT_TRUE(request.HasPrefetchItemStillWorking(16.0));
    first->mIsWorking = true;
    second->mIsWorking = false;
    EXPECT_TRUE(request.HasPrefetchItemStillWorking(17.0));
    EXPECT_EQ(second->mAskedToWait, (std::vector<double>{16.0, 17.0}));
}

TEST(RenderFrameRequest, CancelsWhatItBegan)
{
    const FakePrefetchRef read(new FakePrefetch);
    ML::RenderFrameRequest request = QueueRequest(1, FakeProducerRef(new FakeProducer(1)), {read});
    request.CancelPrefetchItems();
    EXPECT_EQ(read->mCancelled, 0);
    request.StartPrefetch();
    request.CancelPrefetchItems();
    request.CancelPrefetchItems();
    EXPECT_EQ(read->mCancelled, 1);
    EXPECT_EQ(request.PrefetchItemCount(), 0U);
}

TEST(RenderFrameRequest, PrefetchOnlyRequestThatBeganNothingCancelsWhatItsFrameWouldRead)
{
    const FakePrefetchRef read(new FakePrefetch);
    ML::RenderFrameRequest request = QueueRequest(1, FakeProducerRef(new FakeProducer(1)), {read});
    request.SetPrefetchOnly();
    request.CancelPrefetchItems();
    EXPECT_EQ(read->mCancelled, 1);
}

TEST(RenderFrameRequest, ReadsBeginOnAFreshCutlistAndAreCancelledOnTheLastOne)
{
    const FakeCutlistProviderRef provider = OneLayer();
    ML::RenderFrameRequest request = Full(OfLayer(provider));
    request.StartPrefetch();
    EXPECT_EQ(provider->mAsked, Texts{"first '' fresh"});
    ML::RenderFrameRequest other = Full(OfLayer(provider));
    other.SetPrefetchOnly();
    other.CancelPrefetchItems();
    EXPECT_EQ(provider->mAsked, (Texts{"first '' fresh", "first ''"}));
}

TEST(RenderFrameRequest, FirstItemsFrameIsTheResult)
{
    const FakePrefetchRef read(new FakePrefetch);
    read->mIsReady = true;
    read->mFrame = SmallFrame();
    ML::RenderFrameRequest request(TickTime(1), Items{read, FakePrefetchRef(new FakePrefetch)}, 9);
    EXPECT_FALSE(request.GetFirstPrefetchResult());
    request.StartPrefetch();
    EXPECT_EQ(request.GetFirstPrefetchResult().get(), read->mFrame.get());
}

// Who finds a copy like that may tell the maker, and must not be able to make the frame.
TEST(RenderFrameRequest, CopyOfItsEndTellsTheSamePeopleAndHoldsNothingOfThePicture)
{
    const FakeRenderFrameClientRef client(new FakeRenderFrameClient);
    const FakeProducerRef producer(new FakeProducer(1));
    const FakePrefetchRef read(new FakePrefetch);
    TVK::WaitableObject signal;
    ML::RenderFrameRequest request = QueueRequest(3, producer, {read});
    request.mStationID = norvik::utility::ImmutableString::CreateStatic("station");
    request.mClient = TVK::WeakRef<ML::IRenderFrameClient>(ML::IRenderFrameClientRef(client.get()));
    request.mCaller = 70;
    request.SetCompletionSignal(&signal);
    request.SetCompletionFunction([](const MF::IVideoFrameRef&, bool, int) {});
    request.ComputeKey(true);
    request.StartPrefetch();

    ML::RenderFrameRequest copy = request.CopyOfItsEnd();
    EXPECT_EQ(copy.mRequestID, 3U);
    EXPECT_EQ(copy.mContext, request.mContext);
    EXPECT_EQ(copy.mTime, request.mTime);
    EXPECT_EQ(copy.mPriority, request.mPriority);
    EXPECT_EQ(copy.mCaller, 70U);
    EXPECT_EQ(copy.mStationID, request.mStationID);
    EXPECT_EQ(copy.mClient.Resolve().get(), static_cast<ML::IRenderFrameClient*>(client.get()));
    EXPECT_EQ(copy.GetCompletionSignal(), &signal);
    EXPECT_EQ(copy.GetCompletionFunction(), request.GetCompletionFunction());
    EXPECT_EQ(copy.GetKey(), request.GetKey());
    EXPECT_EQ(copy.GetResult(), request.GetResult());
    EXPECT_EQ(copy.PrefetchItemCount(), 0U);
    copy.CancelPrefetchItems();
    EXPECT_EQ(read->mCancelled, 0);
    EXPECT_FALSE(copy.Render(MF::kPixelFormat_BGRA_4444_8u));
    EXPECT_EQ(producer->mRenders, 0);
}

// ---- accelerated ----

TEST(RenderFrameRequest, TellsTheAcceleratedRendererWhatItNeeds)
{
    const FakeAcceleratedRendererRef renderer(new FakeAcceleratedRenderer);
    ML::RenderFrameSettings settings = QueueSettings(4);
    settings.mAcceleratedRenderer = ML::IAcceleratedSequenceRendererRef(renderer.get());
    settings.mOutputRect = TVK::Rect{0, 0, 20, 10};
    settings.mPixelAspectRatio = norviktypes::PixelAspectRatio(16, 15);
    settings.mRenderQuality = norviktypes::kRenderQuality_Low;
    settings.mCompositeOnBlack = true;
    settings.mRenderSingleField = true;
    ML::RenderFrameRequest request = Full(settings);
    EXPECT_EQ(request.SubmitToAcceleratedRenderer(ML::IRenderFrameClientRef()), 0);
    const ML::AcceleratedRenderRequest& asked = renderer->mRequests.at(0);
    EXPECT_EQ(asked.mTime, settings.mTime);
    EXPECT_EQ(asked.mWidth, 20U);
    EXPECT_EQ(asked.mHeight, 10U);
    EXPECT_TRUE(asked.mPixelAspectRatio == settings.mPixelAspectRatio);
    EXPECT_EQ(asked.mPixelFormats, settings.mRequestedFormats);
    EXPECT_EQ(asked.mQuality, norviktypes::kRenderQuality_Low);
    EXPECT_FALSE(asked.mPrefetchOnly);
    EXPECT_TRUE(asked.mCompositeOnBlack);
    EXPECT_FALSE(asked.mRenderProgressive);
    EXPECT_EQ(asked.mClientData, 0U);
    EXPECT_EQ(asked.mRequestID, 4U);
    EXPECT_EQ(asked.mExtras.mMode, -1);
    EXPECT_EQ(asked.mExtras.mFirst, 1.0);
    EXPECT_EQ(asked.mExtras.mSecond, 0.0);
    request.SetPrefetchOnly();
    request.mRenderSingleField = false;
    EXPECT_EQ(request.SubmitToAcceleratedRenderer(ML::IRenderFrameClientRef()), 0);
    EXPECT_TRUE(renderer->mRequests.at(1).mPrefetchOnly);
    EXPECT_TRUE(renderer->mRequests.at(1).mRenderProgressive);

    request.CancelAcceleratedRender();
    EXPECT_EQ(renderer->mCancelled, std::vector<std::uint32_t>{4});
    renderer->mStatus = -1;
    EXPECT_EQ(request.SubmitToAcceleratedRenderer(ML::IRenderFrameClientRef()), -1);
    EXPECT_FALSE(request.mAcceleratedRenderer);
    EXPECT_THROW(request.SubmitToAcceleratedRenderer(ML::IRenderFrameClientRef()),
                 TVK::NullInterfaceException);
}

TEST(RenderFrameRequest, CancelsNoAcceleratedRenderWithoutAnID)
{
    const FakeAcceleratedRendererRef renderer(new FakeAcceleratedRenderer);
    ML::RenderFrameSettings settings = QueueSettings(0);
    settings.mAcceleratedRenderer = ML::IAcceleratedSequenceRendererRef(renderer.get());
    Full(settings).CancelAcceleratedRender();
    EXPECT_TRUE(renderer->mCancelled.empty());
}

// ---- render ----

TEST(RenderFrameRequest, RenderNeedsAFormatAndAKey)
{
    const std::string where = "|Src/RenderFrameRequest|ML::RenderFrameRequest::Render";
    ML::RenderFrameRequest request = Full(QueueSettings(1));
    EXPECT_EQ(ContractText([&] { request.Render(MF::kPixelFormat_Invalid); }),
              "inPixelFormat != MF::kPixelFormat_Invalid" + where);
    EXPECT_EQ(ContractText([&] { request.Render(MF::kPixelFormat_BGRA_4444_8u); }),
              "mKey != TVK::Guid()" + where);
}

TEST(RenderFrameRequest, RendersItsCutlistAndFlattensOnBlack)
{
    const FakeCutlistProviderRef provider = OneLayer();
    ML::RenderFrameSettings settings = OfLayer(provider);
    MF::IVideoFrameRef frame = Full(settings, false).Render(MF::kPixelFormat_BGRA_4444_8u);
    ASSERT_TRUE(frame);
    EXPECT_EQ(PixelAt(frame, 3, 3), (std::vector<std::uint8_t>{100, 100, 100, 128}));
    settings.mCompositeOnBlack = true;
    frame = Full(settings, false).Render(MF::kPixelFormat_BGRA_4444_8u);
    ASSERT_TRUE(frame);
    EXPECT_EQ(PixelAt(frame, 3, 3), (std::vector<std::uint8_t>{50, 50, 50, 255}));
}

TEST(RenderFrameRequest, GapRendersNothing)
{
    const FakeCutlistProviderRef provider = OneLayer();
    ML::RenderFrameSettings settings = OfLayer(provider);
    settings.mTime = TickTime(2000000);
    EXPECT_FALSE(Full(settings, false).Render(MF::kPixelFormat_BGRA_4444_8u));
}

} // namespace
