#include "PulldownPrefetcher.h"

#include "MF/PixelFormats.h"
#include "ML/SharedExecutors.h"
#include "TVK/HashValue.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/ManualExecutor.h"
#include "VideoSourcePrefetcher.h"
#include "norviktypes/Pulldown.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using namespace norviktypes;
using TestSupport::FakeReadSource;
using TestSupport::FakeReadSourceRef;
using TestSupport::NewFilledFrame;

using Notes = std::vector<std::string>;

constexpr std::int32_t kNotReady = static_cast<std::int32_t>(0xa00f0001u);

class FakeItem final : public TVK::Implements<FakeItem, ML::IRenderableNodePrefetch>
{
public:
    FakeItem(const char* inName, Notes& ioNotes) : mName(inName), mNotes(ioNotes) {}

    std::int32_t BeginPrefetch() override
    {
        mNotes.push_back("begin " + mName);
        return mStatus;
    }
    std::int32_t GetPrefetchResult(MF::IVideoFrameRef& outFrame) override
    {
        mNotes.push_back("ask " + mName);
        outFrame = mFrame;
        return mStatus;
    }
    std::int32_t CancelPrefetch() override
    {
        mNotes.push_back("cancel " + mName);
        return 0;
    }
    void GetPrefetchKey(TVK::Guid& outKey) const override { outKey = mKey; }
    bool ContinueWaitingForPrefetch(double inElapsedSeconds) override
    {
        mNotes.push_back("wait " + mName + " " + std::to_string(static_cast<int>(inElapsedSeconds)));
        return mGoesOn;
    }

    std::int32_t mStatus = 0;
    MF::IVideoFrameRef mFrame;
    TVK::Guid mKey;
    bool mGoesOn = true;

private:
    const std::string mName;
    Notes& mNotes;
};

TVK::Guid KeyOf(const char* inText)
{
    return TVK::HashValue(inText).AsGuid();
}

class MergingPrefetch : public testing::Test
{
protected:
    MergingPrefetch()
    {
        mFirst->mFrame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 4, 6, {10, 10, 10, 255});
        mSecond->mFrame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 4, 6, {20, 20, 20, 255});
    }

    MF::IVideoFrameRef Result(std::int32_t inStatus = 0)
    {
        MF::IVideoFrameRef frame;
        EXPECT_EQ(mItem->GetPrefetchResult(frame), inStatus);
        return frame;
    }

    // What the upper and the lower lines of the merged frame hold.
    std::pair<int, int> MergedLines()
    {
        const MF::IVideoFrameRef frame = Result();
        const auto at = [&](std::uint32_t inLine) { return TestSupport::RowOf(frame, inLine)[mComponent]; };
        EXPECT_EQ(at(0), at(2));
        EXPECT_EQ(at(1), at(3));
        return {at(0), at(1)};
    }

    // Planar frames whose luma is 40 in the first and 50 in the second.
    void GivePlanarFrames(std::uint32_t inHeight)
    {
        const PixelFormat format = kPixelFormat_YUV_422_Planar_8u_709;
        mFirst->mFrame = TestSupport::NewFrame(format, 16, inHeight);
        mSecond->mFrame = TestSupport::NewFrame(format, 16, inHeight);
        for (std::uint32_t line = 0; line < inHeight; ++line)
        {
            std::fill_n(TestSupport::RowOf(mFirst->mFrame, line), 16, std::uint8_t{40});
            std::fill_n(TestSupport::RowOf(mSecond->mFrame, line), 16, std::uint8_t{50});
        }
        mComponent = 2; // V U Y A
    }

    Notes mNotes;
    TVK::InterfaceRef<FakeItem> mFirst{new FakeItem("first", mNotes)};
    TVK::InterfaceRef<FakeItem> mSecond{new FakeItem("second", mNotes)};
    ML::IRenderableNodePrefetchRef mItem = ML::CreateMergingPrefetch(mFirst, mSecond);
    std::uint32_t mComponent = 0;
};

TEST_F(MergingPrefetch, BeginsTheFirstThenTheSecondWhateverTheyAnswer)
{
    mFirst->mStatus = -1;
    EXPECT_EQ(mItem->BeginPrefetch(), 0);
    EXPECT_EQ(mNotes, (Notes{"begin first", "begin second"}));
}

TEST_F(MergingPrefetch, LowerLinesAreTheFirstFrames)
{
    EXPECT_EQ(MergedLines(), std::pair(20, 10));
    mItem->CancelPrefetch();
    mFirst->mFrame->SetFieldType(kFieldType_LowerFirst);
    EXPECT_EQ(MergedLines(), std::pair(20, 10));
}

TEST_F(MergingPrefetch, UpperLinesAreTheFirstFramesWhereItsUpperFieldComesFirst)
{
    mFirst->mFrame->SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(MergedLines(), std::pair(10, 20));
}

TEST_F(MergingPrefetch, PlanarFramesOfMoreThan576LinesAreExchangedWhateverTheirFields)
{
    GivePlanarFrames(576);
    EXPECT_EQ(MergedLines(), std::pair(50, 40));
    for (const FieldType type : {kFieldType_Progressive, kFieldType_UpperFirst, kFieldType_LowerFirst})
    {
        mItem->CancelPrefetch();
        GivePlanarFrames(578);
        mFirst->mFrame->SetFieldType(type);
        EXPECT_EQ(MergedLines(), std::pair(40, 50)) << type;
    }
    mItem->CancelPrefetch();
    GivePlanarFrames(576);
    mFirst->mFrame->SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(MergedLines(), std::pair(40, 50));
}

TEST_F(MergingPrefetch, PackedFramesGoByTheirFieldsAtAnyHeight)
{
    mFirst->mFrame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 4, 578, {10, 10, 10, 255});
    mSecond->mFrame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 4, 578, {20, 20, 20, 255});
    EXPECT_EQ(MergedLines(), std::pair(20, 10));
}

TEST_F(MergingPrefetch, OddHeightsAreMergedToTheLastLine)
{
    mFirst->mFrame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 4, 5, {10, 10, 10, 255});
    mSecond->mFrame = NewFilledFrame(kPixelFormat_BGRA_4444_8u, 4, 5, {20, 20, 20, 255});
    EXPECT_EQ(MergedLines(), std::pair(20, 10));
    EXPECT_EQ(TestSupport::RowOf(Result(), 4)[0], 20);
    mItem->CancelPrefetch();
    GivePlanarFrames(7);
    EXPECT_EQ(MergedLines(), std::pair(50, 40));
    EXPECT_EQ(TestSupport::RowOf(Result(), 6)[2], 50);
}

TEST_F(MergingPrefetch, FrameIsMergedOnceAndMayBeShared)
{
    const MF::IVideoFrameRef frame = Result();
    EXPECT_TRUE(frame->IsFrozen());
    EXPECT_EQ(mNotes, (Notes{"ask first", "ask second"}));
    EXPECT_TRUE(Result() == frame);
    EXPECT_EQ(mNotes.size(), 2u);
}

TEST_F(MergingPrefetch, FrameOfOpaqueFramesIsOpaque)
{
    EXPECT_TRUE(Result()->MayHaveTransparency());
    mItem->CancelPrefetch();
    mFirst->mFrame->SetAlphaType(kAlphaChannel_Opaque);
    EXPECT_TRUE(Result()->MayHaveTransparency()) << "the second frame may be transparent";
    mItem->CancelPrefetch();
    mSecond->mFrame->SetAlphaType(kAlphaChannel_Opaque);
    EXPECT_FALSE(Result()->MayHaveTransparency());
}

TEST_F(MergingPrefetch, HasNoResultWithoutBothFrames)
{
    for (FakeItem* item : {mFirst.get(), mSecond.get()})
    {
        item->mStatus = kNotReady;
        EXPECT_FALSE(Result(kNotReady));
        item->mStatus = 0;
        const MF::IVideoFrameRef given = std::exchange(item->mFrame, {});
        EXPECT_FALSE(Result(kNotReady)) << "finished, with no frame";
        item->mFrame = given;
    }
    EXPECT_TRUE(Result());
}

TEST_F(MergingPrefetch, CancellingForgetsTheFrame)
{
    EXPECT_TRUE(Result());
    mNotes.clear();
    EXPECT_EQ(mItem->CancelPrefetch(), 0);
    EXPECT_EQ(mNotes, (Notes{"cancel first", "cancel second"}));
    mFirst->mFrame.reset();
    EXPECT_FALSE(Result(kNotReady));
}

TEST_F(MergingPrefetch, KeyIsMadeOfBothKeysInTheirOrder)
{
    mFirst->mKey = KeyOf("a");
    mSecond->mKey = KeyOf("b");
    TVK::HashValue hash;
    hash.Mix("PulldownPrefetcher", 18);
    hash.MixGuid(KeyOf("a"));
    hash.MixGuid(KeyOf("b"));
    TVK::Guid key;
    mItem->GetPrefetchKey(key);
    EXPECT_EQ(key, hash.AsGuid());
    TVK::Guid exchanged;
    ML::CreateMergingPrefetch(mSecond, mFirst)->GetPrefetchKey(exchanged);
    EXPECT_NE(key, exchanged);
    Result();
    TVK::Guid later;
    mItem->GetPrefetchKey(later);
    EXPECT_EQ(key, later);
}

TEST_F(MergingPrefetch, FrameOfOneWithoutAKeyHasNone)
{
    mFirst->mKey = KeyOf("a");
    TVK::Guid key = KeyOf("c");
    mItem->GetPrefetchKey(key);
    EXPECT_EQ(key, TVK::Guid());
    std::swap(mFirst->mKey, mSecond->mKey);
    mItem->GetPrefetchKey(key);
    EXPECT_EQ(key, TVK::Guid());
}

TEST_F(MergingPrefetch, WaitsWhileBothGoOn)
{
    EXPECT_TRUE(mItem->ContinueWaitingForPrefetch(3));
    EXPECT_EQ(mNotes, (Notes{"wait first 3", "wait second 3"}));
    mSecond->mGoesOn = false;
    EXPECT_FALSE(mItem->ContinueWaitingForPrefetch(4));
    mFirst->mGoesOn = false;
    mNotes.clear();
    EXPECT_FALSE(mItem->ContinueWaitingForPrefetch(5));
    EXPECT_EQ(mNotes, Notes{"wait first 5"});
}

// The items of a stream in memory, read by an executor without threads.
class PulldownPrefetch : public testing::Test
{
protected:
    PulldownPrefetch()
    {
        TestSupport::EmptyFrameCache();
        ML::sVideoSourcePrefetcherQueue = mExecutor;
        ML::sImageSourcePrefetcherQueue = mExecutor;
        ML::VideoSourcePrefetcher::StartPrefetchers();
        mStream->mRate = kVideo;
        mStream->mPulldown = kPulldownCadence_WWSSW;
    }
    ~PulldownPrefetch() override
    {
        ML::VideoSourcePrefetcher::StopPrefetchers();
        ML::sVideoSourcePrefetcherQueue.reset();
        ML::sImageSourcePrefetcherQueue.reset();
        TestSupport::EmptyFrameCache();
    }

    ML::IRenderableNodePrefetchRef Make(const TickTime& inTime, const FrameRate& inMediaRate = kVideo)
    {
        BE::FrameDescription format;
        format.mPixelFormat = MF::kPixelFormat_BGRA_4444_8u;
        format.mBounds = {0, 0, 8, 4};
        return ML::CreatePulldownPrefetch(BE::IVideoSourceRef(mStream), inMediaRate, format, inTime, {}, {},
                                          u"media");
    }

    // The reads that an item asks for.
    Notes ReadsOf(const ML::IRenderableNodePrefetchRef& inItem)
    {
        inItem->BeginPrefetch();
        mExecutor->RunAll();
        MF::IVideoFrameRef frame;
        EXPECT_EQ(inItem->GetPrefetchResult(frame), 0);
        EXPECT_TRUE(frame);
        inItem->CancelPrefetch();
        TestSupport::EmptyFrameCache();
        return mStream->TakeNotes();
    }

    static constexpr FrameRate kVideo = FrameRate::FromRational(30000, 1001);
    static constexpr FrameRate kFilm = FilmRateOfPulldown(kVideo);

    FakeReadSourceRef mStream{new FakeReadSource};
    boost::shared_ptr<TestSupport::ManualExecutor> mExecutor =
        boost::make_shared<TestSupport::ManualExecutor>();
};

TEST_F(PulldownPrefetch, WholeFilmFrameIsOneRead)
{
    EXPECT_EQ(ReadsOf(Make(TickTime::FromFrame(1, kFilm))), Notes{"read 1"});
    EXPECT_EQ(ReadsOf(Make(TickTime::FromFrame(7, kFilm))), Notes{"read 9"});
}

TEST_F(PulldownPrefetch, FilmFrameAcrossTwoFramesIsTwoReads)
{
    EXPECT_EQ(ReadsOf(Make(TickTime::FromFrame(2, kFilm))), (Notes{"read 2", "read 3"}));
}

TEST_F(PulldownPrefetch, FrameWhosePartnerLiesAtTheTimeGivenIsReadAlone)
{
    mStream->mPulldown = kPulldownCadence_SSWWW;
    EXPECT_EQ(ReadsOf(Make(TickTime(0))), Notes{"read 1"});
    EXPECT_EQ(ReadsOf(Make(TickTime(1))), (Notes{"read 0", "read 1"}));
}

TEST_F(PulldownPrefetch, LaterFrameIsTheFirst)
{
    TVK::HashValue hash("PulldownPrefetcher");
    hash.MixGuid(mStream->KeyOf(3));
    hash.MixGuid(mStream->KeyOf(2));
    TVK::Guid key;
    Make(TickTime::FromFrame(2, kFilm))->GetPrefetchKey(key);
    EXPECT_EQ(key, hash.AsGuid());
}

TEST_F(PulldownPrefetch, StreamWithoutPulldownIsReadAtTheTime)
{
    mStream->mPulldown = kPulldownCadence_None;
    EXPECT_EQ(ReadsOf(Make(TickTime::FromFrame(2, kVideo))), Notes{"read 2"});
}

TEST_F(PulldownPrefetch, FramesOfTheMediaAreTheStreamsOneForOne)
{
    const FrameRate media = FrameRate::FromRational(25, 1);
    EXPECT_EQ(ReadsOf(Make(TickTime::FromFrame(2, media), media)), (Notes{"read 2", "read 3"}));
    EXPECT_EQ(ReadsOf(Make(TickTime::FromFrame(4, kFilm), kFilm)), Notes{"read 5"});
    mStream->mPulldown = kPulldownCadence_None;
    EXPECT_EQ(ReadsOf(Make(TickTime::FromFrame(7, media), media)), Notes{"read 7"});
}

TEST_F(PulldownPrefetch, StreamThatIsNotReadHasNoItem)
{
    mStream->mRendersFrames = false;
    EXPECT_FALSE(Make(TickTime::FromFrame(1, kFilm)));
    EXPECT_FALSE(Make(TickTime::FromFrame(2, kFilm)));
    EXPECT_THROW(ML::CreatePulldownPrefetch({}, kVideo, {}, {}, {}, {}, {}), TVK::NullInterfaceException);
}

} // namespace
