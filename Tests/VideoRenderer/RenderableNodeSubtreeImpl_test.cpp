#include "RenderableNodeSubtreeImpl.h"

#include "CutlistRenderer.h"
#include "RenderableNodeParameters.h"
#include "TVK/Allocated.h"
#include "TVK/HashValue.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/VideoRenderer/RenderParams.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

using MF::FrameTime;
using norviktypes::TickTime;

constexpr norviktypes::PixelFormat kBGRA = norviktypes::kPixelFormat_BGRA_4444_8u;

FrameTime Times(std::int64_t inFirst, std::int64_t inSecond)
{
    return {TickTime(inFirst), TickTime(inSecond)};
}

// A chain that gives one frame, and remembers what it was asked. It is its own producer.
class Chain : public TVK::Implements<Chain, ML::IRenderableNodeProducerProvider, ML::IRenderableNodeProducer>
{
public:
    ML::IRenderableNodeProducerRef GetProducerForFrame(const FrameTime& inTime,
                                                       const ML::CutlistRenderParams& inParams) override
    {
        mProviderTimes.push_back(inTime);
        mParams.push_back(inParams);
        return mHasProducer ? AsProducer() : ML::IRenderableNodeProducerRef();
    }
    std::int32_t GetFrame(const FrameTime& inTime, const ML::CutlistRenderParams& inParams,
                          MF::IVideoFrameRef& outFrame) override
    {
        mFrameTimes.push_back(inTime);
        mParams.push_back(inParams);
        outFrame = mFrame;
        return mStatus;
    }
    void GetFrameHash(TVK::Guid& outHash, const FrameTime& inTime, const ML::CutlistRenderParams&,
                      const TVK::Guid& inBase) override
    {
        TVK::HashValue hash(inBase);
        hash.MixI64(inTime.mFirstTime.GetTicks());
        outHash = hash.AsGuid();
    }

    bool mHasProducer = true;
    std::int32_t mStatus = 0;
    MF::IVideoFrameRef mFrame;

    std::vector<FrameTime> mProviderTimes;
    std::vector<FrameTime> mFrameTimes;
    std::vector<ML::CutlistRenderParams> mParams;
};

// A chain that also says how its picture lies: upper and lower field by their opacities.
class PlacedChain final : public TVK::Extends<Chain, ML::IRenderableNodeIntrinsicParameterProvider>
{
public:
    std::int32_t GetIntrinsicParameters(const TickTime& inTime, const ML::CutlistRenderParams& inParams,
                                        ML::NodeIntrinsicParameters& outRecord) override
    {
        outRecord.opacity = mIntrinsicTimes.empty() ? mFirstOpacity : mSecondOpacity;
        mIntrinsicTimes.push_back(inTime);
        mParams.push_back(inParams);
        return mIntrinsicStatus;
    }

    float mFirstOpacity = 1.0f;
    float mSecondOpacity = 1.0f;
    std::int32_t mIntrinsicStatus = 0;
    std::vector<TickTime> mIntrinsicTimes;
};

class SubTree : public testing::Test
{
protected:
    SubTree() { TestSupport::EmptyFrameCache(); }
    ~SubTree() override { TestSupport::EmptyFrameCache(); }

    template <class C>
    TVK::InterfaceRef<C> MakeChain()
    {
        const TVK::InterfaceRef<C> chain(new C());
        chain->mFrame = TestSupport::NewFilledFrame(kBGRA, 8, 4, {10, 20, 30, 255});
        return chain;
    }

    static ML::CutlistRenderParams Params(const FrameTime& inTime)
    {
        ML::CutlistRenderParams params = RenderParams(8, 4);
        params.mFrameTime = inTime;
        return params;
    }

    // Stale where RenderFrame left it alone.
    static MF::IVideoFrameRef Render(const ML::SubTreeRenderRef& inSubTree, std::int64_t inTime,
                                     bool inBlackIfEmpty = false)
    {
        MF::IVideoFrameRef frame = TestSupport::NewFrame(kBGRA, 1, 1);
        inSubTree->RenderFrame(TickTime(inTime), frame, inBlackIfEmpty);
        return frame;
    }
};

TEST_F(SubTree, WithoutAChainThereIsNothingOrBlack)
{
    const ML::CutlistRenderParams params = Params(Times(0, 0));
    const ML::SubTreeRenderRef subTree = ML::CreateSubTreeRender(params, {}, Times(0, 0), TickTime(0));
    EXPECT_FALSE(Render(subTree, 5, false));
    const MF::IVideoFrameRef black = Render(subTree, 5, true);
    ASSERT_TRUE(black);
    EXPECT_EQ(black, ML::GetBlackVideoFrame(params));
}

TEST_F(SubTree, AsksTheChainInItsTimeAndMovesTheRenderAlong)
{
    const auto chain = MakeChain<Chain>();
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(1000, 1020)), chain, Times(500, 520), TickTime(-7));
    EXPECT_EQ(Render(subTree, 560), chain->mFrame);
    EXPECT_EQ(chain->mProviderTimes, (std::vector{Times(567, 587)}));
    EXPECT_EQ(chain->mFrameTimes, (std::vector{Times(567, 587)}));
    ASSERT_EQ(chain->mParams.size(), 2u);
    EXPECT_EQ(chain->mParams[0].mFrameTime, Times(1060, 1080));
    EXPECT_EQ(chain->mParams[1].mFrameTime, Times(1060, 1080));
    EXPECT_EQ(chain->mParams[0].mWidth, 8u);
}

TEST_F(SubTree, FieldOrderAndDistanceStayHoweverFarTheRequest)
{
    struct Case
    {
        FrameTime mRender;
        FrameTime mChain;
        FrameTime mMoved;
    };
    constexpr std::int64_t kFrame = 40;
    for (const Case& one : {Case{Times(1000, 1020), Times(500 - 3 * kFrame, 520 - 3 * kFrame),
                                 Times(1000 - 3 * kFrame, 1020 - 3 * kFrame)},
                            Case{Times(1020, 1000), Times(520 - 3 * kFrame, 500 - 3 * kFrame),
                                 Times(1020 - 3 * kFrame, 1000 - 3 * kFrame)},
                            Case{Times(1000, 1000), Times(500 - 3 * kFrame, 500 - 3 * kFrame),
                                 Times(1000 - 3 * kFrame, 1000 - 3 * kFrame)}})
    {
        const auto chain = MakeChain<Chain>();
        const ML::SubTreeRenderRef subTree =
            ML::CreateSubTreeRender(Params(one.mRender), chain, Times(500, 520), TickTime(0));
        Render(subTree, 500 - 3 * kFrame);
        EXPECT_EQ(chain->mProviderTimes.front(), one.mChain);
        EXPECT_EQ(chain->mProviderTimes.front().Order(), one.mRender.Order());
        EXPECT_EQ(chain->mParams.front().mFrameTime, one.mMoved);
    }
}

TEST_F(SubTree, EachRequestStartsFromTheRenderItWasMadeFor)
{
    const auto chain = MakeChain<Chain>();
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(1000, 1000)), chain, Times(500, 500), TickTime(0));
    Render(subTree, 510);
    Render(subTree, 490);
    EXPECT_EQ(chain->mProviderTimes, (std::vector{Times(510, 510), Times(490, 490)}));
    EXPECT_EQ(chain->mParams.back().mFrameTime, Times(990, 990));
}

TEST_F(SubTree, FrameIsCachedForTheNextWhoAsks)
{
    const auto chain = MakeChain<Chain>();
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(0, 0)), chain, Times(0, 0), TickTime(0));
    const MF::IVideoFrameRef first = Render(subTree, 5);
    EXPECT_TRUE(first->IsFrozen());
    EXPECT_EQ(Render(subTree, 5), first);
    EXPECT_EQ(chain->mFrameTimes.size(), 1u);
}

TEST_F(SubTree, ChainThatShowsNothingAtATimeIsBlackAndOneThatFailsIsEmpty)
{
    const auto chain = MakeChain<PlacedChain>();
    chain->mHasProducer = false;
    const ML::CutlistRenderParams params = Params(Times(0, 0));
    const ML::SubTreeRenderRef subTree = ML::CreateSubTreeRender(params, chain, Times(0, 0), TickTime(0));
    EXPECT_EQ(Render(subTree, 5), ML::GetBlackVideoFrame(params));
    chain->mHasProducer = true;
    chain->mStatus = -1;
    chain->mIntrinsicTimes.clear();
    EXPECT_FALSE(Render(subTree, 5, true));
    EXPECT_TRUE(chain->mIntrinsicTimes.empty());
}

TEST_F(SubTree, DefaultPlaceLeavesTheFrameUntouched)
{
    const auto chain = MakeChain<PlacedChain>();
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(0, 0)), chain, Times(0, 0), TickTime(0));
    EXPECT_EQ(Render(subTree, 5), chain->mFrame);
}

TEST_F(SubTree, PlaceIsAskedForBothFieldsInTheChainsTime)
{
    const auto chain = MakeChain<PlacedChain>();
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(1020, 1000)), chain, Times(500, 500), TickTime(-7));
    Render(subTree, 560);
    EXPECT_EQ(chain->mIntrinsicTimes, (std::vector{TickTime(587), TickTime(567)}));
    EXPECT_EQ(chain->mParams.back().mFrameTime, Times(1080, 1060));
}

TEST_F(SubTree, PlaceIsAskedForInTheMovedRender)
{
    const auto chain = MakeChain<PlacedChain>();
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(1000, 1000)), chain, Times(500, 500), TickTime(0));
    Render(subTree, 540);
    ASSERT_EQ(chain->mIntrinsicTimes.size(), 2u);
    ASSERT_GE(chain->mParams.size(), 2u);
    for (std::size_t call = chain->mParams.size() - 2; call < chain->mParams.size(); ++call)
    {
        EXPECT_EQ(chain->mParams[call].mFrameTime, Times(1040, 1040));
    }
}

TEST_F(SubTree, FrameKeepsTheFormatThatTheChainHasItIn)
{
    const auto chain = MakeChain<Chain>();
    chain->mFrame =
        TestSupport::NewFilledFrame(norviktypes::kPixelFormat_VUYA_4444_8u_709, 8, 4, {128, 128, 60, 255});
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(0, 0)), chain, Times(0, 0), TickTime(0));
    EXPECT_EQ(Render(subTree, 5), chain->mFrame);
}

TEST_F(SubTree, EachFieldIsDrawnWithItsOwnPlace)
{
    const auto chain = MakeChain<PlacedChain>();
    chain->mSecondOpacity = 0.0f;
    ML::CutlistRenderParams params = Params(Times(0, 20));
    params.mFieldType = norviktypes::kFieldType_UpperFirst;
    const MF::IVideoFrameRef frame =
        Render(ML::CreateSubTreeRender(params, chain, Times(0, 20), TickTime(0)), 0);
    ASSERT_TRUE(frame);
    for (std::uint32_t row = 0; row < 4; ++row)
    {
        EXPECT_EQ(TestSupport::PixelAt(frame, 4, row)[3], row % 2 == 0 ? 255 : 0) << row;
    }
}

TEST_F(SubTree, FailingPlaceIsTheDefaultWhateverWasWritten)
{
    const auto chain = MakeChain<PlacedChain>();
    chain->mFirstOpacity = chain->mSecondOpacity = 0.0f;
    chain->mIntrinsicStatus = -1;
    const ML::SubTreeRenderRef subTree =
        ML::CreateSubTreeRender(Params(Times(0, 0)), chain, Times(0, 0), TickTime(0));
    EXPECT_EQ(Render(subTree, 5), chain->mFrame);
    EXPECT_EQ(chain->mIntrinsicTimes.size(), 2u);
}

TEST_F(SubTree, KeepsItsChainAlive)
{
    ML::SubTreeRenderRef subTree;
    {
        const auto chain = MakeChain<Chain>();
        subTree = ML::CreateSubTreeRender(Params(Times(0, 0)), chain, Times(0, 0), TickTime(0));
    }
    EXPECT_TRUE(Render(subTree, 5));
}

} // namespace
