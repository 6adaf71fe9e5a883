#include "MediaNodeProducer.h"

#include "CutlistRenderer.h"
#include "ML/StaticImages.h"
#include "TVK/HashValue.h"
#include "Tests/MediaNodes/MediaNodeTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VF/VideoFrame.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace
{

using namespace MediaNodeTests;

class FakePrefetch final : public TVK::Implements<FakePrefetch, ML::IRenderableNodePrefetch>
{
public:
    explicit FakePrefetch(const TVK::Guid& inKey) : mKey(inKey) {}
    std::int32_t BeginPrefetch() override { return 0; }
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef&) override { return 0; }
    std::int32_t CancelPrefetch() override { return 0; }
    void GetPrefetchKey(TVK::Guid& outKey) const override { outKey = mKey; }
    bool ContinueWaitingForPrefetch(double) override { return false; }

private:
    const TVK::Guid mKey;
};

// A chain that gives the frame of a test, and notes what it is asked.
class FakeChain final : public TVK::Implements<FakeChain, ML::IRenderableSource>
{
public:
    std::function<MF::FrameTime(const MF::FrameTime&)> mConform = [](const MF::FrameTime& inTime)
    { return inTime; };
    MF::IVideoFrameRef mFrame;
    std::int32_t mStatus = 0;
    std::vector<TVK::Guid> mPrefetchKeys;
    int mRenders = 0;
    MF::FrameTime mTime;
    ML::CutlistRenderParams mParams;

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams&,
                          MF::FrameTime& outTime) override
    {
        outTime = mConform(inTime);
    }
    void CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        mTime = inTime;
        mParams = inParams;
        for (const TVK::Guid& key : mPrefetchKeys)
        {
            ioItems.push_back(ML::IRenderableNodePrefetchRef(new FakePrefetch(key)));
        }
    }
    void Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                MF::IVideoFrameRef& outFrame) override
    {
        ++mRenders;
        mTime = inTime;
        mParams = inParams;
        if (mStatus < 0)
        {
            throw ML::RenderRequestException(mStatus);
        }
        outFrame = mFrame;
    }
    void GetFrameRate(FrameRate& outRate) override { outRate = kRate; }
    void GetFieldRate(FrameRate& outRate) override { outRate = kRate; }
};

constexpr TVK::Guid kNodeHash{0x11, 0x22};

class MediaNodeProducerTest : public testing::Test
{
protected:
    MediaNodeProducerTest()
    {
        mSettings->mSource = mChain;
        mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 64, 36};
        mChain->mFrame = TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 64, 36);
    }

    ML::IRenderableNodeProducerRef Producer(const MF::FrameTime& inTime,
                                            const ML::CutlistRenderParams& inParams)
    {
        return ML::CreateMediaNodeProducer(mSettings, kNodeHash, inTime, inParams);
    }
    MF::IVideoFrameRef FrameAt(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams)
    {
        MF::IVideoFrameRef frame;
        EXPECT_EQ(Producer(inTime, inParams)->GetFrame(inTime, inParams, frame), 0);
        return frame;
    }
    TVK::Guid HashAt(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                     const TVK::Guid& inBase = {})
    {
        return FrameHash(Producer(inTime, inParams), inTime, inParams, inBase);
    }
    // Of a change of the params alone.
    template <class Change>
    bool ParamsChangeHash(Change&& inChange)
    {
        ML::CutlistRenderParams params = Params(64, 36);
        const TVK::Guid before = HashAt(MF::FrameTime(Frames(3)), params);
        inChange(params);
        return HashAt(MF::FrameTime(Frames(3)), params) != before;
    }

    const TVK::InterfaceRef<FakeChain> mChain{new FakeChain};
    const std::shared_ptr<ML::MediaNodeSettings> mSettings = std::make_shared<ML::MediaNodeSettings>();
};

TEST_F(MediaNodeProducerTest, AsksItsChainAtTheSizeOfThePicture)
{
    mSettings->mFrameRect = {0, 0, 32, 18};
    mSettings->mMediaRect = {0, 0, 32, 18};
    mSettings->mPixelAspectRatio = mSettings->mMediaPixelAspectRatio = {2, 1};
    ML::CutlistRenderParams params = Params(50, 40);
    params.mSourceWidth = 100;
    params.mSourceHeight = 80;
    params.mScaleX = params.mScaleY = 0.5;
    params.mRenderContext = 4;
    params.mPixelAspectRatio = params.mSourcePixelAspectRatio = {4, 3};
    FrameAt(MF::FrameTime(Frames(3)), params);

    const ML::CutlistRenderParams& asked = mChain->mParams;
    EXPECT_EQ(asked.mWidth, 24u) << "32 * 2 / (4/3) * 0.5";
    EXPECT_EQ(asked.mHeight, 9u);
    EXPECT_EQ(asked.mPixelAspectRatio, PixelAspectRatio(4, 3));
    EXPECT_EQ(asked.mSourceWidth, 32u);
    EXPECT_EQ(asked.mSourceHeight, 18u);
    EXPECT_EQ(asked.mSourcePixelAspectRatio, PixelAspectRatio(2, 1));
    EXPECT_EQ(asked.mRenderContext, ~std::uint64_t{0});
    EXPECT_EQ(asked.mScaleY, 0.5);
    EXPECT_EQ(asked.mScaleX, static_cast<double>(4.0F * 1.0F * 24.0F / (2.0F * 3.0F * 32.0F)));
}

TEST_F(MediaNodeProducerTest, AsksItsChainAtTimesOfTheMedia)
{
    mSettings->mContentStart = Frames(10);
    mChain->mConform = [](const MF::FrameTime& inTime) { return inTime + TickTime(5); };
    FrameAt({Frames(3), Frames(4)}, Params(64, 36));
    EXPECT_EQ(mChain->mParams.mFrameTime, MF::FrameTime(Frames(13), Frames(14)));
    EXPECT_EQ(mChain->mTime, MF::FrameTime(Frames(13) + TickTime(5), Frames(14) + TickTime(5)));
}

TEST_F(MediaNodeProducerTest, PictureFollowsThePolicy)
{
    mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 32, 32};
    mSettings->mScaleToFramePolicy = BE::kScaleToFrame_Fit;
    FrameAt(MF::FrameTime(Frames(0)), Params(64, 36));
    EXPECT_EQ(mChain->mParams.mWidth, 36u);
    EXPECT_EQ(mChain->mParams.mHeight, 36u);
}

TEST_F(MediaNodeProducerTest, FieldsMakeAnOddHeightEven)
{
    mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 64, 35};
    ML::CutlistRenderParams params = Params(64, 36);
    FrameAt(MF::FrameTime(Frames(0)), params);
    EXPECT_EQ(mChain->mParams.mHeight, 35u);
    params.mFieldType = kFieldType_UpperFirst;
    FrameAt(MF::FrameTime(Frames(0)), params);
    EXPECT_EQ(mChain->mParams.mHeight, 35u) << "the clip has no fields";
    mSettings->mFieldType = kFieldType_LowerFirst;
    FrameAt(MF::FrameTime(Frames(0)), params);
    EXPECT_EQ(mChain->mParams.mHeight, 36u);
    mSettings->mFieldType = kFieldType_FromSource;
    FrameAt(MF::FrameTime(Frames(0)), params);
    EXPECT_EQ(mChain->mParams.mHeight, 36u);
}

TEST_F(MediaNodeProducerTest, FrameTellsTheOrderOfItsFields)
{
    const ML::CutlistRenderParams params = Params(64, 36);
    EXPECT_EQ(FrameAt({Frames(1), Frames(2)}, params)->GetFieldType(), kFieldType_UpperFirst);
    EXPECT_EQ(FrameAt({Frames(2), Frames(1)}, params)->GetFieldType(), kFieldType_LowerFirst);
    EXPECT_EQ(FrameAt(MF::FrameTime(Frames(2)), params)->GetFieldType(), kFieldType_Progressive);
    mChain->mConform = [](const MF::FrameTime& inTime) { return MF::FrameTime(inTime.mFirstTime); };
    EXPECT_EQ(FrameAt({Frames(1), Frames(2)}, params)->GetFieldType(), kFieldType_Progressive)
        << "as the chain delivers it";
    mChain->mConform = [](const MF::FrameTime& inTime) { return inTime; };
    mSettings->mIsStill = true;
    EXPECT_EQ(FrameAt({Frames(1), Frames(2)}, params)->GetFieldType(), kFieldType_Progressive);
}

TEST_F(MediaNodeProducerTest, SharedFrameIsNotWritten)
{
    mChain->mFrame->SetFieldType(kFieldType_LowerFirst);
    mChain->mFrame->Freeze();
    const MF::IVideoFrameRef frame = FrameAt({Frames(1), Frames(2)}, Params(64, 36));
    EXPECT_EQ(frame->GetFieldType(), kFieldType_UpperFirst);
    EXPECT_EQ(mChain->mFrame->GetFieldType(), kFieldType_LowerFirst);
    EXPECT_FALSE(frame == mChain->mFrame);
}

TEST_F(MediaNodeProducerTest, FrameOfTheRightOrderIsPassedOnAsItIs)
{
    mChain->mFrame->SetFieldType(kFieldType_UpperFirst);
    mChain->mFrame->Freeze();
    EXPECT_TRUE(FrameAt({Frames(1), Frames(2)}, Params(64, 36)) == mChain->mFrame);
}

TVK::Rect BoundsOf(const MF::IVideoFrameRef& inFrame)
{
    TVK::Rect bounds;
    inFrame->GetBounds(bounds);
    return bounds;
}

TEST_F(MediaNodeProducerTest, PictureSmallerThanTheRenderKeepsItsSize)
{
    mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 32, 18};
    mChain->mFrame = TestSupport::NewFrame(kPixelFormat_BGRA_4444_8u, 32, 18);
    EXPECT_EQ(BoundsOf(FrameAt(MF::FrameTime(Frames(0)), Params(64, 36))), RectOf(0, 0, 32, 18));
}

TEST_F(MediaNodeProducerTest, FullSizeSubstituteIsScaledToThePicture)
{
    TestSupport::MakeSubstitute(mChain->mFrame);
    ML::CutlistRenderParams params = Params(50, 50);
    params.mSourceWidth = params.mSourceHeight = 100;
    params.mScaleX = params.mScaleY = 0.5;
    EXPECT_EQ(BoundsOf(FrameAt(MF::FrameTime(Frames(0)), params)), RectOf(0, 0, 32, 18))
        << "nobody outside can tell that it stands for less than the whole render";
}

TEST_F(MediaNodeProducerTest, HalfWideSubstituteForTheWholeRenderIsLeftToTheRender)
{
    mChain->mFrame = TestSupport::NewFrame(kPixelFormat_UYVY_422_8u_601, 32, 36);
    TestSupport::MakeSubstitute(mChain->mFrame);
    ML::CutlistRenderParams params = Params(16, 9);
    params.mSourceWidth = 64;
    params.mSourceHeight = 36;
    params.mScaleX = params.mScaleY = 0.25;
    EXPECT_EQ(BoundsOf(FrameAt(MF::FrameTime(Frames(0)), params)), RectOf(0, 0, 32, 36));
    params.mWidth = params.mSourceWidth = 128;
    EXPECT_EQ(BoundsOf(FrameAt(MF::FrameTime(Frames(0)), params)), RectOf(0, 0, 16, 9))
        << "the picture is not the whole render";
}

TEST_F(MediaNodeProducerTest, MediaThatHappensToBeHalfAsWideStandsForNothingElse)
{
    mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 32, 36};
    mSettings->mScaleToFramePolicy = BE::kScaleToFrame_Stretch;
    mChain->mFrame = TestSupport::NewFrame(kPixelFormat_UYVY_422_8u_601, 32, 36);
    TestSupport::MakeSubstitute(mChain->mFrame);
    ML::CutlistRenderParams params = Params(16, 9);
    params.mSourceWidth = 64;
    params.mSourceHeight = 36;
    EXPECT_EQ(BoundsOf(FrameAt(MF::FrameTime(Frames(0)), params)), RectOf(0, 0, 16, 9));
}

TEST_F(MediaNodeProducerTest, RenderSizeIsTheParamsOrHalfWideAndFullHeight)
{
    ML::CutlistRenderParams params = Params(16, 9);
    params.mSourceWidth = 64;
    params.mSourceHeight = 36;
    const auto has = [&](const PixelFormat& inFormat, std::uint32_t inWidth, std::uint32_t inHeight)
    { return ML::FrameHasRenderSize(TestSupport::NewFrame(inFormat, inWidth, inHeight), params); };
    EXPECT_TRUE(has(kPixelFormat_BGRA_4444_8u, 16, 9));
    EXPECT_FALSE(has(kPixelFormat_BGRA_4444_8u, 32, 36));
    EXPECT_TRUE(has(kPixelFormat_UYVY_422_8u_601, 32, 36));
    EXPECT_FALSE(has(kPixelFormat_UYVY_422_8u_601, 32, 18));
    EXPECT_FALSE(has(kPixelFormat_UYVY_422_8u_601, 64, 36));
}

TEST_F(MediaNodeProducerTest, FailureOfTheMediaIsNotHidden)
{
    mChain->mStatus = BE::kSourceStatus_BadMedia;
    MF::IVideoFrameRef frame;
    const MF::FrameTime time{Frames(1)};
    try
    {
        Producer(time, Params(64, 36))->GetFrame(time, Params(64, 36), frame);
        FAIL() << "the frame cannot be had";
    }
    catch (const ML::RenderRequestException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), BE::kSourceStatus_BadMedia);
    }
}

TEST_F(MediaNodeProducerTest, NothingThereIsNoFailure)
{
    mChain->mFrame.reset();
    EXPECT_FALSE(FrameAt(MF::FrameTime(Frames(1)), Params(64, 36)));
}

bool SamePixels(const MF::IVideoFrameRef& inA, const MF::IVideoFrameRef& inB)
{
    if (!inA || !inB || BoundsOf(inA) != BoundsOf(inB))
    {
        return false;
    }
    const TVK::Rect bounds = BoundsOf(inA);
    for (std::uint32_t y = 0; y < static_cast<std::uint32_t>(bounds.Height()); ++y)
    {
        if (std::memcmp(TestSupport::RowOf(inA, y), TestSupport::RowOf(inB, y),
                        static_cast<std::size_t>(bounds.Width()) * 4) != 0)
        {
            return false;
        }
    }
    return true;
}

TEST_F(MediaNodeProducerTest, OfflineMediaShowsItsSlate)
{
    mSettings->mSource.reset();
    mSettings->mIsOffline = true;
    const MF::IVideoFrameRef frame = FrameAt(MF::FrameTime(Frames(1)), Params(64, 36));
    EXPECT_TRUE(SamePixels(frame, ML::StaticImageFactory::LoadImage(ML::kStaticImage_Offline, 64, 36,
                                                                    kPixelFormat_BGRA_4444_8u, {})));
}

TEST_F(MediaNodeProducerTest, PendingWinsOverOffline)
{
    mSettings->mSource.reset();
    mSettings->mIsOffline = true;
    mSettings->mIsPending = true;
    const MF::IVideoFrameRef frame = FrameAt(MF::FrameTime(Frames(1)), Params(64, 36));
    EXPECT_TRUE(SamePixels(frame, ML::StaticImageFactory::LoadImage(ML::kStaticImage_Pending, 64, 36,
                                                                    kPixelFormat_BGRA_4444_8u, {})));
    EXPECT_FALSE(SamePixels(frame, ML::StaticImageFactory::LoadImage(ML::kStaticImage_Offline, 64, 36,
                                                                     kPixelFormat_BGRA_4444_8u, {})));
}

TEST_F(MediaNodeProducerTest, SlateOfMediaThatWasNeverSeenTakesTheWholePicture)
{
    mSettings->mSource.reset();
    mSettings->mIsOffline = true;
    mSettings->mFrameRect = {};
    EXPECT_EQ(BoundsOf(FrameAt(MF::FrameTime(Frames(1)), Params(64, 36))), RectOf(0, 0, 64, 36));
}

TEST_F(MediaNodeProducerTest, TrackWithoutAPictureIsBlack)
{
    mSettings->mSource.reset();
    mSettings->mNoMedia = true;
    EXPECT_TRUE(FrameAt(MF::FrameTime(Frames(1)), Params(64, 36)) == ML::GetBlackVideoFrame(Params(64, 36)));
}

TEST_F(MediaNodeProducerTest, NothingToReadAndNothingToSayIsNoFrame)
{
    mSettings->mSource.reset();
    EXPECT_FALSE(FrameAt(MF::FrameTime(Frames(1)), Params(64, 36)));
}

// The calls that make up the hash belong to its definition.
TEST_F(MediaNodeProducerTest, HashIsMixedCallByCall)
{
    mSettings->mContentStart = Frames(10);
    ML::CutlistRenderParams params = Params(64, 36);
    params.mPixelAspectRatio = {4, 3};
    params.mScaleX = 0.5;
    params.mScaleY = 0.25;
    params.mDeinterlaceQuality = kRenderQuality_Low;
    constexpr TVK::Guid kBase{9, 8};
    TVK::HashValue hash(kBase);
    hash.Mix("MediaNode frame hash", 20);
    hash.MixGuid(kNodeHash);
    hash.MixI64(Frames(14).GetTicks());
    hash.MixI64(Frames(13).GetTicks());
    hash.MixU32(64);
    hash.MixU32(36);
    hash.MixU32(4);
    hash.MixU32(3);
    hash.MixDouble(0.5);
    hash.MixDouble(0.25);
    hash.MixU32(kRenderQuality_High);
    hash.MixU32(kRenderQuality_Low);
    hash.Mix(&params.mPixelFormat, 8);
    hash.MixU8(0);
    hash.MixU8(1);
    EXPECT_EQ(HashAt({Frames(3), Frames(4)}, params, kBase), hash.AsGuid());
}

TEST_F(MediaNodeProducerTest, StillHashesAlikeAtAllTimes)
{
    const ML::CutlistRenderParams params = Params(64, 36);
    EXPECT_NE(HashAt(MF::FrameTime(Frames(3)), params), HashAt(MF::FrameTime(Frames(4)), params));
    mSettings->mIsStill = true;
    EXPECT_EQ(HashAt(MF::FrameTime(Frames(3)), params), HashAt(MF::FrameTime(Frames(4)), params));
}

TEST_F(MediaNodeProducerTest, HashTellsWhichFieldIsFirst)
{
    const ML::CutlistRenderParams params = Params(64, 36);
    EXPECT_NE(HashAt({Frames(3), Frames(4)}, params), HashAt({Frames(4), Frames(3)}, params));
}

TEST_F(MediaNodeProducerTest, HashCoversWhatTheFrameGoesBy)
{
    EXPECT_FALSE(ParamsChangeHash([](auto&) {}));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mWidth = 63; }));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mHeight = 35; }));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mPixelAspectRatio = {2, 2}; }));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mScaleX = 0.5; }));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mScaleY = 0.5; }));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mRenderQuality = kRenderQuality_Max; }));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mDeinterlaceQuality = kRenderQuality_Max; }));
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mPixelFormat = kPixelFormat_BGRA_4444_32f; }));
    EXPECT_FALSE(ParamsChangeHash([](auto& p) { p.mRenderFlags = ML::kRenderFlag_CacheAlways; }));
    EXPECT_FALSE(ParamsChangeHash([](auto& p) { p.mRenderContext = 1; }));
    EXPECT_FALSE(ParamsChangeHash([](auto& p) { p.mFrameRate = kRate * 2; })) << "nothing is blended";
    EXPECT_FALSE(ParamsChangeHash([](auto& p) { p.mFieldToRender = 1; }))
        << "at this quality fields are woven";
}

TEST_F(MediaNodeProducerTest, HashTellsAnEmptyChain)
{
    const TVK::Guid withSource = HashAt(MF::FrameTime(Frames(3)), Params(64, 36));
    mSettings->mSource.reset();
    EXPECT_NE(HashAt(MF::FrameTime(Frames(3)), Params(64, 36)), withSource);
}

TEST_F(MediaNodeProducerTest, HashTellsDeinterlacingByTime)
{
    const auto hash = [&](std::uint32_t inMode, bool inDeinterlaces)
    {
        mSettings->mClipTimeMode = inMode;
        mSettings->mDeinterlaceOnTimeMode = inDeinterlaces;
        return HashAt(MF::FrameTime(Frames(3)), Params(64, 36));
    };
    EXPECT_EQ(hash(0, false), hash(1, false));
    EXPECT_EQ(hash(0, false), hash(0, true));
    EXPECT_NE(hash(0, false), hash(2, true));
}

TEST_F(MediaNodeProducerTest, BlendHashesHowLongAFrameOfTheOutputLasts)
{
    mSettings->mFrameBlend = true;
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mFrameRate = kRate * 2; }));
}

TEST_F(MediaNodeProducerTest, SingleFieldAtLowQualityIsAFrameOfItsOwn)
{
    std::set<std::string> hashes;
    for (const std::uint32_t field : {0u, 1u, 2u})
    {
        ML::CutlistRenderParams params = Params(64, 36);
        params.mRenderQuality = kRenderQuality_Low;
        params.mFieldToRender = field;
        hashes.insert(HashAt({Frames(3), Frames(4)}, params).AsUTF8String().c_str());
    }
    EXPECT_EQ(hashes.size(), 3u);
}

TEST_F(MediaNodeProducerTest, PictureMadeEvenForFieldsHashesApartFromTheOther)
{
    mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 64, 35};
    mSettings->mFieldType = kFieldType_UpperFirst;
    EXPECT_TRUE(ParamsChangeHash([](auto& p) { p.mFieldType = kFieldType_UpperFirst; }));
    mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 64, 36};
    EXPECT_FALSE(ParamsChangeHash([](auto& p) { p.mFieldType = kFieldType_UpperFirst; }));
}

TEST_F(MediaNodeProducerTest, PrefetchesAreHashedWhereFramesDependOnThem)
{
    const TVK::InterfaceRef<TestStream> stream(new TestStream);
    mSettings->mStreamInfo = stream;
    const auto hash = [&](const std::vector<TVK::Guid>& inKeys)
    {
        mChain->mPrefetchKeys = inKeys;
        return HashAt(MF::FrameTime(Frames(3)), Params(64, 36));
    };
    EXPECT_EQ(hash({TVK::Guid{1, 1}}), hash({TVK::Guid{2, 2}}));
    stream->mDependsOnPrefetches = true;
    EXPECT_NE(hash({TVK::Guid{1, 1}}), hash({TVK::Guid{2, 2}}));
    EXPECT_NE(hash({TVK::Guid{1, 1}}), hash({TVK::Guid{1, 1}, TVK::Guid{2, 2}}));
}

TEST_F(MediaNodeProducerTest, PrefetchAsksAsTheFrameDoes)
{
    mSettings->mContentStart = Frames(10);
    mSettings->mFrameRect = mSettings->mMediaRect = {0, 0, 32, 18};
    mChain->mConform = [](const MF::FrameTime& inTime) { return inTime + TickTime(5); };
    mChain->mPrefetchKeys = {TVK::Guid{1, 1}};
    const MF::FrameTime time{Frames(3)};
    const ML::IRenderableNodePrefetchProviderRef provider(Producer(time, Params(64, 36)));
    ASSERT_TRUE(provider);
    std::vector<ML::IRenderableNodePrefetchRef> items;
    provider->GetPrefetchesForFrame(time, Params(64, 36), items);
    EXPECT_EQ(items.size(), 1u);
    EXPECT_EQ(mChain->mTime, MF::FrameTime(Frames(13) + TickTime(5)));
    EXPECT_EQ(mChain->mParams.mFrameTime, MF::FrameTime(Frames(13)));
    EXPECT_EQ(mChain->mParams.mWidth, 32u);
    mSettings->mSource.reset();
    items.clear();
    ML::IRenderableNodePrefetchProviderRef(Producer(time, Params(64, 36)))
        ->GetPrefetchesForFrame(time, Params(64, 36), items);
    EXPECT_TRUE(items.empty());
}

TEST_F(MediaNodeProducerTest, PendingMediaIsLookedForAgain)
{
    const Scene scene;
    mSettings->mClip = scene.mClip;
    HashAt(MF::FrameTime(Frames(1)), Params(64, 36));
    EXPECT_EQ(scene.mStream->mRefreshes, 0) << "it is there";
    mSettings->mIsPending = true;
    HashAt(MF::FrameTime(Frames(1)), Params(64, 36));
    EXPECT_EQ(scene.mStream->mRefreshes, 1);
    ML::CutlistRenderParams low = Params(64, 36);
    low.mRenderFlags = ML::kRenderFlag_LowPriority;
    HashAt(MF::FrameTime(Frames(1)), low);
    EXPECT_EQ(scene.mStream->mRefreshes, 1) << "nobody waits for a frame of low priority";
    scene.mClip->mVideoSource = {};
    EXPECT_NO_THROW(HashAt(MF::FrameTime(Frames(1)), Params(64, 36)));
}

class HeldRange : public MediaNodeProducerTest
{
protected:
    HeldRange() { mSettings->mStillRanges = {{Frames(0), Frames(2)}, {Frames(10), Frames(20)}}; }

    MF::FrameTime AskedAt(const MF::FrameTime& inTime)
    {
        FrameAt(inTime, Params(64, 36));
        return mChain->mParams.mFrameTime;
    }
    std::int64_t FrameAskedAt(std::int64_t inFrame)
    {
        return AskedAt(MF::FrameTime(Frames(inFrame))).mFirstTime.ToFrame64(kRate);
    }
};

TEST_F(HeldRange, AllButTheLastTwoFramesAskForTheFirst)
{
    EXPECT_EQ(FrameAskedAt(9), 9);
    EXPECT_EQ(FrameAskedAt(10), 10);
    EXPECT_EQ(FrameAskedAt(11), 10);
    EXPECT_EQ(FrameAskedAt(17), 10);
    EXPECT_EQ(FrameAskedAt(18), 18);
    EXPECT_EQ(FrameAskedAt(19), 19);
    EXPECT_EQ(FrameAskedAt(20), 20);
    EXPECT_EQ(FrameAskedAt(1), 1) << "a range of two frames is all end";
}

TEST_F(HeldRange, FramesOfItHashAlike)
{
    const ML::CutlistRenderParams params = Params(64, 36);
    EXPECT_EQ(HashAt(MF::FrameTime(Frames(10)), params), HashAt(MF::FrameTime(Frames(17)), params));
    EXPECT_NE(HashAt(MF::FrameTime(Frames(10)), params), HashAt(MF::FrameTime(Frames(18)), params));
}

TEST_F(HeldRange, BackwardsTheLastTwoAreTheFirst)
{
    mSettings->mSpeed = -1.0;
    EXPECT_EQ(FrameAskedAt(19), 10);
    EXPECT_EQ(FrameAskedAt(12), 10);
    EXPECT_EQ(FrameAskedAt(11), 11);
    mSettings->mSpeed = 0.0;
    EXPECT_EQ(FrameAskedAt(11), 10) << "standing still it never comes to an end";
}

TEST_F(HeldRange, SpeedMakesTheLastTwoFramesLonger)
{
    mSettings->mSpeed = 2.0;
    EXPECT_EQ(FrameAskedAt(15), 10);
    EXPECT_EQ(FrameAskedAt(16), 16);
    mSettings->mSpeed = 0.5;
    EXPECT_EQ(FrameAskedAt(18), 10);
    EXPECT_EQ(FrameAskedAt(19), 19);
}

TEST_F(HeldRange, FieldsStayAsFarApartAndInOrder)
{
    const TickTime field = TickTime(kRate.GetTicks() / 2);
    EXPECT_EQ(AskedAt({Frames(15), Frames(15) + field}), MF::FrameTime(Frames(10), Frames(10) + field));
    EXPECT_EQ(AskedAt({Frames(15) + field, Frames(15)}), MF::FrameTime(Frames(10) + field, Frames(10)));
}

TEST_F(HeldRange, FieldsOfAHeldFrameAreOfOneMoment)
{
    const TickTime field = TickTime(kRate.GetTicks() / 2);
    const ML::CutlistRenderParams params = Params(64, 36);
    EXPECT_EQ(FrameAt({Frames(15), Frames(15) + field}, params)->GetFieldType(), kFieldType_Progressive);
    EXPECT_EQ(FrameAt({Frames(19), Frames(19) + field}, params)->GetFieldType(), kFieldType_UpperFirst);
}

TEST_F(HeldRange, FieldsThatAreHeldHashApartFromThoseOfTheMomentItself)
{
    const TickTime field = TickTime(kRate.GetTicks() / 2);
    const ML::CutlistRenderParams params = Params(64, 36);
    const MF::FrameTime first{Frames(10), Frames(10) + field};
    const TVK::Guid held = HashAt(first, params);
    EXPECT_EQ(HashAt({Frames(15), Frames(15) + field}, params), held);
    EXPECT_EQ(FrameAt(first, params)->GetFieldType(), kFieldType_Progressive);
    // The other speed makes all of the range its end.
    mSettings->mSpeed = 100.0;
    EXPECT_NE(HashAt(first, params), held);
    EXPECT_EQ(FrameAt(first, params)->GetFieldType(), kFieldType_UpperFirst);
    const TVK::Guid whole = HashAt(MF::FrameTime(Frames(10)), params);
    mSettings->mSpeed = 1.0;
    EXPECT_EQ(HashAt(MF::FrameTime(Frames(10)), params), whole) << "without fields it is one picture";
}

TEST_F(HeldRange, RangesCountFromTheContent)
{
    mSettings->mContentStart = Frames(100);
    EXPECT_EQ(FrameAskedAt(15), 110);
    EXPECT_EQ(FrameAskedAt(18), 118);
}

TEST_F(HeldRange, NoSpeedAndNoRateLeaveTheTimeAxis)
{
    for (const double speed : {1e300, -1e300})
    {
        mSettings->mSpeed = speed;
        EXPECT_EQ(FrameAskedAt(15), 15);
    }
    mSettings->mSpeed = 1.0;
    ML::CutlistRenderParams params = Params(64, 36);
    params.mFrameRate = kFrameRate_Unset;
    FrameAt(MF::FrameTime(Frames(15)), params);
    EXPECT_EQ(mChain->mParams.mFrameTime, MF::FrameTime(Frames(15)));
}

TEST_F(HeldRange, StillNeedsNoHold)
{
    mSettings->mIsStill = true;
    EXPECT_EQ(FrameAskedAt(15), 15);
}

} // namespace
