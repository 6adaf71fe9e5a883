#include "RenderFrame.h"

#include "ReferenceHost/Messaging/UIThread.h"
#include "TVK/ClassFactory.h"
#include "TVK/Stations.h"
#include "Tests/Support/ContractText.h"
#include "Tests/VideoRenderer/RenderFrameTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer.h"

#include <fmt/format.h>

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <thread>

namespace
{

using namespace TestSupport;
using norvik::utility::ImmutableString;
using norviktypes::TickTime;

Texts One(const char* inWord, std::uint32_t inID)
{
    return {fmt::format("{} {}", inWord, inID)};
}

// ---- asking without waiting ----

TEST_F(RenderFrameTest, FrameThatIsQueuedEndsWithOneNotification)
{
    EXPECT_EQ(Render(), ML::kRenderFrameQueued);
    EXPECT_FALSE(mFrame);
    EXPECT_TRUE(mClient->mTexts.empty());
    Settle();
    EXPECT_EQ(mClient->mTexts, One("completed", mID));
    EXPECT_EQ(mClient->mContexts, std::vector<std::uint64_t>{42});
    EXPECT_EQ(mClient->mTimes, std::vector<TickTime>{TickTime(5000)});
    ASSERT_EQ(mClient->mFrames.size(), 1U);
    EXPECT_TRUE(mClient->mFrames[0]);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, IDsAreThoseOfTheWholeService)
{
    Render();
    EXPECT_EQ(ML::GetNextRequestID(), mID + 1);
    EXPECT_EQ(mRenderFrame->Render(TickTime(0), mRate, Segments(), mFormats, false, 1000, 0, mFrame, nullptr),
              ML::kRenderFrameQueued);
    Settle();
}

TEST_F(RenderFrameTest, CompletionFunctionIsCalledAfterTheClient)
{
    Texts ends;
    TVK::Guid key;
    EXPECT_EQ(mRenderFrame->RenderWithCompletion(
                  TickTime(5000), mRate, Segments(), mFormats, 1000,
                  [&](MF::IVideoFrameRef inFrame, bool inCancelled, int inError)
                  {
                      EXPECT_EQ(mClient->mTexts.size(), 1U);
                      ends.push_back(
                          fmt::format("{} {} {}", static_cast<bool>(inFrame), inCancelled, inError));
                  },
                  mFrame, &mID, &key),
              ML::kRenderFrameQueued);
    EXPECT_FALSE(key.IsZero());
    Settle();
    EXPECT_EQ(ends, Texts{"true false 0"});
    EXPECT_EQ(mClient->mContexts, std::vector<std::uint64_t>{0});
}

TEST_F(RenderFrameTest, FrameInTheCacheIsGivenAtOnceAndNobodyIsTold)
{
    Render();
    Settle();
    const MF::IVideoFrameRef first = mClient->mFrames.at(0);
    mClient->mTexts.clear();
    const std::uint32_t id = mID;
    EXPECT_EQ(Render(), ML::kRenderFrameCompleted);
    EXPECT_EQ(mFrame.get(), first.get());
    EXPECT_EQ(mID, id); // no request, no id
    TVK::Guid key;
    EXPECT_EQ(RenderWithKey(key), ML::kRenderFrameCompleted);
    EXPECT_EQ(VF::SharedVideoFrameCache::RetrieveFromCache(key).get(), first.get());
    EXPECT_EQ(Render(true), ML::kRenderFrameCompleted);
    Settle();
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(mSequence->mNode->mProducer->mRenders, 1);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, WithoutFlagsTheCacheIsLeftToTheQueue)
{
    Render();
    Settle();
    mRenderFrame->SetRenderFlags(0);
    mFrame = SmallFrame(); // of an earlier call
    EXPECT_EQ(Render(), ML::kRenderFrameQueued);
    EXPECT_FALSE(mFrame);
    Settle();
    EXPECT_EQ(mClient->mTexts.size(), 2U);
    EXPECT_EQ(mClient->mFrames.at(1).get(), mClient->mFrames.at(0).get());
    EXPECT_EQ(mSequence->mNode->mProducer->mRenders, 1);
}

TEST_F(RenderFrameTest, FrameWithoutAKeyIsNotLookedFor)
{
    mSequence->mCutlist.reset();
    TVK::Guid key(1, 1);
    EXPECT_EQ(RenderWithKey(key), ML::kRenderFrameQueued);
    EXPECT_TRUE(key.IsZero());
    mFrame = SmallFrame();
    EXPECT_FALSE(IsReady());
    EXPECT_FALSE(mFrame);
    Settle();
    EXPECT_EQ(mClient->mTexts.size(), 1U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, OutOfMemoryIsAStatus)
{
    mSequence->mWhileAskedForBounds = [] { throw std::bad_alloc(); };
    EXPECT_EQ(Render(), ML::kRenderFrameOutOfMemory);
    mSequence->mWhileAskedForBounds = [] { throw std::runtime_error("of the sequence"); };
    EXPECT_EQ(Thrown([&] { Render(); }), "of the sequence");
    EXPECT_EQ(AtRest(), "");
}

// ---- waiting ----

TEST_F(RenderFrameTest, WaitingGivesTheFrameAndTellsNobody)
{
    EXPECT_EQ(RenderInAThread(), ML::kRenderFrameCompleted);
    EXPECT_TRUE(mFrame);
    EXPECT_TRUE(mClient->mTexts.empty());
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, WaitingOnARenderThreadRendersThere)
{
    std::int32_t status = 0;
    mNormal->Post([&] { status = Render(true); });
    mNormal->RunOne();
    EXPECT_EQ(status, ML::kRenderFrameCompleted);
    EXPECT_TRUE(mFrame);
}

TEST_F(RenderFrameTest, WaitingForWhatIsNotMadeFails)
{
    mSequence->mNode->mProducer->mGivesNothing = true;
    std::int32_t status = 0;
    mNormal->Post([&] { status = Render(true); });
    mNormal->RunOne();
    EXPECT_EQ(status, ML::kRenderFrameFailed);
    EXPECT_FALSE(mFrame);
}

TEST_F(RenderFrameTest, WaitingForWhatIsCancelledFails)
{
    AddRead();
    std::int32_t status = 0;
    std::thread waiting([&] { status = Render(true); });
    while (mQueue->Counts().mPrefetching == 0)
    {
        mPasses->RunAll();
        std::this_thread::yield();
    }
    mRenderFrame->CancelAllRequests();
    waiting.join();
    EXPECT_EQ(status, ML::kRenderFrameFailed);
    EXPECT_TRUE(mClient->mTexts.empty());
    Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, SignalOfAFailedWaitDoesNotEndTheNextOne)
{
    Render();
    mPasses->RunAll();
    Worker worker = TakeNext();
    mClient->mWhileTold = [](std::uint32_t) { throw std::runtime_error("of the other's client"); };
    std::string thrown;
    mNormal->Post([&] { thrown = Thrown([&] { Render(true); }); }); // has its frame, and tells the other
    mNormal->RunAll();
    EXPECT_EQ(thrown, "of the other's client");
    RenderAndReturn(worker);
    mClient->mWhileTold = {};

    mRenderFrame->SetRenderFlags(0);
    const FakePrefetchRef read = AddRead();
    EXPECT_EQ(RenderInAThread(
                  [&]
                  {
                      EXPECT_EQ(mQueue->Counts().mPrefetching, 1U);
                      read->mIsReady = true;
                  }),
              ML::kRenderFrameCompleted);
    EXPECT_TRUE(mFrame);
    EXPECT_EQ(AtRest(), "");
}

// ---- contract ----

TEST_F(RenderFrameTest, RenderChecksTimelineFormatsAndRateInOrder)
{
    MF::IRenderableCutlistProviderRef segments;
    Formats formats;
    norviktypes::FrameRate rate(-1);
    const auto broken = [&]
    {
        return ContractText(
            [&]
            { mRenderFrame->Render(TickTime(0), rate, segments, formats, false, 1000, 0, mFrame, &mID); });
    };
    const std::string where = "|Src/RenderFrame|ML::RenderFrame::Render";
    EXPECT_EQ(broken(), "inVideoSegments" + where);
    segments = Segments();
    EXPECT_EQ(broken(), "!inRequestedFormats.empty()" + where);
    formats = mFormats;
    EXPECT_EQ(broken(), "inFrameRate >= norviktypes::kFrameRate_Zero" + where);
    rate = norviktypes::kFrameRate_Zero;
    EXPECT_EQ(broken(), "nothing thrown");
    Settle();
}

TEST_F(RenderFrameTest, OtherCallsCheckTheirArguments)
{
    EXPECT_EQ(ContractText(
                  [&] {
                      mRenderFrame->IsRenderReady(TickTime(0), norviktypes::FrameRate(-1), Segments(),
                                                  mFormats, mFrame);
                  }),
              "inFrameRate >= norviktypes::kFrameRate_Zero|Src/RenderFrame|ML::RenderFrame::IsRenderReady");
    EXPECT_EQ(ContractText([&] { mRenderFrame->SetFieldType(norviktypes::kFieldType_Invalid); }),
              "inFieldType != norviktypes::kFieldType_Invalid|Src/RenderFrame|ML::RenderFrame::SetFieldType");
    const std::string where = "|Src/RenderFrame|ML::RenderFrame::SetCompletionClient";
    EXPECT_EQ(ContractText([&] { mRenderFrame->SetCompletionClient({}); }), "inClient != NULL" + where);
    EXPECT_EQ(
        ContractText([&] { mRenderFrame->SetCompletionClient(ML::IRenderFrameClientRef(mQueue.get())); }),
        "TVK::IWeakReferenceCapableRef(inClient) != NULL" + where);
}

// ---- settings ----

TEST_F(RenderFrameTest, SourceRectIsTheSequencesUnlessOneIsSet)
{
    const auto sourceOfRender = [this]
    {
        mSequence->mNode->mRenderParams.clear();
        Render();
        Settle();
        const ML::CutlistRenderParams& params = mSequence->mNode->mRenderParams.at(0);
        return fmt::format("{}x{} {}:{}", params.mSourceWidth, params.mSourceHeight,
                           params.mSourcePixelAspectRatio.GetNumerator(),
                           params.mSourcePixelAspectRatio.GetDenominator());
    };
    EXPECT_EQ(sourceOfRender(), "64x32 16:15");
    mRenderFrame->SetSourceRect(TVK::Rect{0, 0, 32, 16}, {12, 11});
    EXPECT_EQ(sourceOfRender(), "32x16 12:11");
    mRenderFrame->SetSourceRect(TVK::Rect{0, 0, 0, 0}, {1, 1});
    EXPECT_EQ(sourceOfRender(), "64x32 16:15");
    mRenderFrame->SetSourceRect(TVK::Rect{1, 0, 0, 0}, {1, 1}); // set, and no picture
    EXPECT_EQ(ContractText([&] { Render(); }),
              "inSourceRect.Height() > 0|Src/RenderFrameRequest|ML::RenderFrameRequest::RenderFrameRequest");
}

TEST_F(RenderFrameTest, SequenceWithoutPropertiesIsNoneWhenTheyAreNeeded)
{
    class Bare final : public TVK::Implements<Bare, MF::IRenderableCutlistProvider>
    {
    public:
        std::int32_t GetPrimaryCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool) override
        {
            return -1;
        }
        std::int32_t GetAlternateCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool) override
        {
            return -1;
        }
        std::int32_t GetThirdCutlist(MF::IRenderableCutlistRef&, const ImmutableString&, bool, bool) override
        {
            return -1;
        }
    };
    const MF::IRenderableCutlistProviderRef bare(new Bare);
    const auto render = [&]
    { mRenderFrame->Render(TickTime(0), mRate, bare, mFormats, false, 1000, 0, mFrame, &mID); };
    EXPECT_THROW(render(), TVK::NullInterfaceException);
    EXPECT_THROW(mRenderFrame->PrefetchMediaWithRenderParameters(TickTime(0), mRate, bare, mFormats),
                 TVK::NullInterfaceException);
    mRenderFrame->SetSourceRect(TVK::Rect{0, 0, 32, 16}, {1, 1});
    EXPECT_NO_THROW(render());
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, UnknownFieldTypeIsStoredAsProgressive)
{
    for (const auto& [set, stored] :
         {std::pair(norviktypes::kFieldType_Unknown, norviktypes::kFieldType_Progressive),
          std::pair(norviktypes::kFieldType_LowerFirst, norviktypes::kFieldType_LowerFirst),
          std::pair(norviktypes::kFieldType_UpperFirst, norviktypes::kFieldType_UpperFirst),
          std::pair(norviktypes::kFieldType_Unknown, norviktypes::kFieldType_Progressive)})
    {
        mRenderFrame->SetFieldType(set);
        mSequence->mNode->mRenderParams.clear();
        Render();
        Settle();
        EXPECT_EQ(mSequence->mNode->mRenderParams.at(0).mFieldType, stored) << set;
    }
}

TEST_F(RenderFrameTest, SettingsReachTheRender)
{
    mRenderFrame->SetRenderQuality(2);
    mRenderFrame->SetDeinterlaceQuality(3);
    mRenderFrame->SetRenderSingleField(true);
    mRenderFrame->SetRenderFlags(24);
    Render();
    Settle();
    const ML::CutlistRenderParams& params = mSequence->mNode->mRenderParams.at(0);
    EXPECT_EQ(static_cast<int>(params.mRenderQuality), 2);
    EXPECT_EQ(static_cast<int>(params.mDeinterlaceQuality), 3);
    EXPECT_EQ(params.mFieldToRender, 1);
    EXPECT_EQ(params.mRenderFlags, 24U);
    EXPECT_EQ(params.mWidth, 16U);
    EXPECT_EQ(params.mHeight, 8U);
}

TEST_F(RenderFrameTest, DefaultsAreHighQualityAndTheFlagsTen)
{
    Render();
    Settle();
    const ML::CutlistRenderParams& params = mSequence->mNode->mRenderParams.at(0);
    EXPECT_EQ(params.mRenderQuality, norviktypes::kRenderQuality_High);
    EXPECT_EQ(params.mDeinterlaceQuality, norviktypes::kRenderQuality_High);
    EXPECT_EQ(params.mRenderFlags, 10U);
    EXPECT_EQ(params.mFieldType, norviktypes::kFieldType_Progressive);
    EXPECT_TRUE(mRenderFrame->SetCompositeOnBlack(false));
    EXPECT_FALSE(mRenderFrame->SetCompositeOnBlack(true));
    EXPECT_TRUE(mRenderFrame->SetCompositeOnBlack(true));
}

TEST_F(RenderFrameTest, CutlistIsChosenByBothSwitches)
{
    const auto asked = [this](bool inFirst, bool inMask)
    {
        mRenderFrame->SetUseFirstCutlist(inFirst);
        mRenderFrame->SetSelectCutlistMask(inMask);
        mSequence->mAsked.clear();
        Render();
        Settle();
        return mSequence->mAsked.at(0);
    };
    EXPECT_EQ(asked(false, false), "third ''");
    EXPECT_EQ(asked(true, false), "first ''");
    EXPECT_EQ(asked(true, true), "first ''");
    EXPECT_EQ(asked(false, true), "second ''");
    mRenderFrame->SetCutlistName(ImmutableString::CreateStatic("right eye"));
    EXPECT_EQ(asked(true, false), "first 'right eye'");
}

TEST_F(RenderFrameTest, CutlistIsFreshForWhoWaitsOrWantsTheKey)
{
    TVK::Guid key;
    RenderWithKey(key);
    EXPECT_EQ(mSequence->mAsked.at(0), "third '' fresh");
    mSequence->mAsked.clear();
    Render();
    EXPECT_EQ(mSequence->mAsked.at(0), "third ''");
    mSequence->mAsked.clear();
    mNormal->Post([&] { Render(true); });
    mNormal->RunOne();
    EXPECT_EQ(mSequence->mAsked.at(0), "third '' fresh");
    Settle();
}

TEST_F(RenderFrameTest, SettingsChangedLaterDoNotTouchWhatWasAskedFor)
{
    Render();
    mRenderFrame->SetOutputRect(TVK::Rect{0, 0, 32, 16}, {1, 1});
    mRenderFrame->SetUseFirstCutlist(true);
    Settle();
    for (const ML::CutlistRenderParams& params : mSequence->mNode->mRenderParams)
    {
        EXPECT_EQ(params.mWidth, 16U);
    }
    EXPECT_EQ(mSequence->mAsked, Texts(mSequence->mAsked.size(), "third ''"));
}

TEST_F(RenderFrameTest, AcceleratedRendererIsExchangedAndOfferedTheFrame)
{
    const FakeAcceleratedRendererRef renderer(new FakeAcceleratedRenderer);
    ML::IAcceleratedSequenceRendererRef previous;
    mRenderFrame->ExchangeAcceleratedRenderer(previous, ML::IAcceleratedSequenceRendererRef(renderer.get()));
    EXPECT_FALSE(previous);
    Render();
    ASSERT_EQ(renderer->mRequests.size(), 1U);
    EXPECT_EQ(renderer->mRequests[0].mRequestID, mID);
    EXPECT_EQ(renderer->mRequests[0].mWidth, 16U);
    EXPECT_TRUE(renderer->mRequests[0].mCompositeOnBlack);
    mRenderFrame->ExchangeAcceleratedRenderer(previous, {});
    EXPECT_EQ(previous.get(), renderer.get());
    mRenderFrame->CancelAllRequests();
    EXPECT_EQ(mClient->mTexts, One("cancelled", mID));
    Settle();
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, KeyIsThatOfTheFirstCutlist)
{
    TVK::Guid key;
    mRenderFrame->GetRenderKey(key, TickTime(5000), mRate, Segments(), mFormats);
    ASSERT_FALSE(mSequence->mAsked.empty());
    EXPECT_EQ(mSequence->mAsked, Texts(mSequence->mAsked.size(), "first '' fresh"));
    EXPECT_EQ(mSequence->mNode->mRenderParams.at(0).mRenderFlags, 10U) << "not as of low priority";
    mRenderFrame->SetUseFirstCutlist(true);
    TVK::Guid rendered;
    RenderWithKey(rendered);
    EXPECT_EQ(key, rendered);
    Settle();
}

TEST_F(RenderFrameTest, ReadinessIsToldFromTheCacheAndStartsNothing)
{
    AddRead();
    EXPECT_FALSE(IsReady());
    EXPECT_FALSE(mFrame);
    EXPECT_EQ(mSequence->mAsked.at(0), "third ''");
    EXPECT_EQ(mSequence->mNode->mRenderParams.at(0).mRenderFlags, 10U) << "not as of low priority";
    EXPECT_EQ(AtRest(), "");
    mSequence->mNode->mItems.clear();
    Render();
    Settle();
    mRenderFrame->SetRenderFlags(0); // which keeps a render from looking
    EXPECT_TRUE(IsReady());
    EXPECT_EQ(mFrame.get(), mClient->mFrames.at(0).get());
    EXPECT_EQ(mSequence->mNode->mProducer->mRenders, 1);
}

TEST_F(RenderFrameTest, StatusIsAlwaysCompletedAndTwoCallsDoNothing)
{
    EXPECT_EQ(mRenderFrame->GetStatus(), ML::kRenderFrameCompleted);
    AddRead();
    Prefetch();
    Render();
    const ML::RenderFrameQueueCounts before = mQueue->Counts();
    mRenderFrame->Reserved();
    mRenderFrame->CancelPrefetchMedia(Segments());
    mRenderFrame->CancelPrefetchMedia({});
    EXPECT_EQ(mQueue->Counts().mIncoming, before.mIncoming);
    EXPECT_EQ(mRenderFrame->GetStatus(), ML::kRenderFrameCompleted);
    mRenderFrame->CancelAllRequests();
    Settle();
}

// ---- ends ----

TEST_F(RenderFrameTest, CancellingOneLeavesTheOthers)
{
    const FakePrefetchRef read = AddRead();
    Render();
    const std::uint32_t cancelled = mID;
    Render(false, 7000);
    Settle();
    mRenderFrame->CancelRequest(cancelled);
    EXPECT_EQ(mClient->mTexts, One("cancelled", cancelled));
    read->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts.back(), One("completed", mID).front());
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, LettingGoCancelsAndTellsTheClientThere)
{
    AddRead();
    Render();
    Settle();
    EXPECT_EQ(mQueue->Counts().mPrefetching, 1U);
    mRenderFrame.reset();
    EXPECT_EQ(mClient->mTexts, One("cancelled", mID));
    Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, ClientThatOwnedTheObjectIsPastHearing)
{
    class Owner final : public TVK::ImplementsWeak<Owner, ML::IRenderFrameClient>
    {
    public:
        explicit Owner(int& ioCalls) : mCalls(ioCalls) {}
        void RenderFrameCompleted(std::uint64_t, std::uint32_t, const TickTime&, MF::IVideoFrameRef,
                                  std::int32_t) override
        {
            ++mCalls;
        }
        void RenderFrameCancelled(std::uint64_t, std::uint32_t, const TickTime&) override { ++mCalls; }
        void RenderFrameError(std::uint64_t, std::uint32_t, const TickTime&, std::int32_t) override
        {
            ++mCalls;
        }
        ML::IRenderFrameRef mOwned;

    private:
        int& mCalls;
    };
    AddRead();
    int calls = 0;
    TVK::InterfaceRef<Owner> owner(new Owner(calls));
    mRenderFrame->SetCompletionClient(ML::IRenderFrameClientRef(owner.get()));
    Render();
    Settle();
    owner->mOwned = mRenderFrame;
    mRenderFrame.reset();
    owner.reset();
    EXPECT_EQ(calls, 0);
    Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, MayBeLetGoInItsOwnCallback)
{
    const FakePrefetchRef read = AddRead();
    Render();
    const std::uint32_t first = mID;
    mClient->mWhileTold = [this](std::uint32_t) { mRenderFrame.reset(); };
    Settle();
    read->mIsReady = true;
    Advance(5);
    Settle();
    EXPECT_EQ(mClient->mTexts, One("completed", first));
    EXPECT_FALSE(mRenderFrame);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, MayBeAskedAgainFromItsCallback)
{
    mRenderFrame->SetRenderFlags(0);
    std::int32_t again = 0;
    mClient->mWhileTold = [&](std::uint32_t)
    {
        mClient->mWhileTold = {};
        again = Render(false, 9000);
    };
    Render();
    Settle();
    EXPECT_EQ(again, ML::kRenderFrameQueued);
    EXPECT_EQ(mClient->mTexts.size(), 2U);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, ThrowingClientDoesNotStopLettingGo)
{
    AddRead();
    Render();
    Render(false, 7000);
    Settle();
    mClient->mWhileTold = [](std::uint32_t) { throw 1; };
    mRenderFrame.reset();
    EXPECT_EQ(mClient->mTexts.size(), 2U);
    mClient->mWhileTold = {};
    Advance(5);
    EXPECT_EQ(AtRest(), "");
}

TEST_F(RenderFrameTest, WithoutAClientMessagesComeToItsOwnStation)
{
    const ML::IRenderFrameRef other(new ML::RenderFrame);
    ImmutableString station;
    ImmutableString otherStation;
    mRenderFrame->GetStationID(station);
    other->GetStationID(otherStation);
    EXPECT_FALSE(station.empty());
    EXPECT_NE(station, otherStation);
    int messages = 0;
    ASSERT_NE(TVK::StationRegistry::AddListener(station, 0, [&](const TVK::MessageRef&) { ++messages; }), 0U);
    mClient.reset();
    Render();
    Settle();
    TVK::UIThread::Pump();
    EXPECT_EQ(messages, 1);
    mRenderFrame.reset();
    EXPECT_EQ(TVK::StationRegistry::AddListener(station, 0, [](const TVK::MessageRef&) {}), 0U);
}

// Once in a process, so in one of its own.
class RenderFrameClassDeathTest : public RenderFrameTest
{
protected:
    RenderFrameClassDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(RenderFrameClassDeathTest, IsMadeByTheClassFactoryWhileTheServiceIsUp)
{
    EXPECT_EXIT(
        {
            const bool isNotThereBefore = !TVK::CreateClassInstanceRef(ML::kRenderFrameClassID);
            ML::VideoRenderer::Initialize();
            const ML::IRenderFrameRef made = ML::IRenderFrameRef(
                TVK::CreateClassInstanceRef(TVK::Guid("6593E8B4-4082-48a4-A816-D02043C80893")));
            std::_Exit(
                isNotThereBefore && made && ML::GetRenderFrameClassID() == ML::kRenderFrameClassID ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(RenderFrameClassDeathTest, AfterTheEndOfTheServiceNothingIsRendered)
{
    EXPECT_EXIT(
        {
            ML::VideoRenderer::Initialize();
            ML::VideoRenderer::Shutdown();
            const std::int32_t status = Render();
            Settle();
            const bool isQuiet = mClient->mTexts.empty();
            mRenderFrame.reset();
            std::_Exit(status == ML::kRenderFrameQueued && isQuiet &&
                               mSequence->mNode->mProducer->mRenders == 0 &&
                               mClient->mTexts == One("cancelled", mID)
                           ? 0
                           : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
