#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"
#include "ReferenceHost/Session/HostSession.h"
#include "RenderableSources.h"
#include "Tests/ReferenceHost/Session/ServiceOfProcess.h"
#include "Tests/Support/Paths.h"
#include "VideoRenderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

// Library and host together: what is read ahead is read once, and found by the render.
namespace
{

using Items = std::vector<ML::IRenderableNodePrefetchRef>;

constexpr std::int64_t kFrames = 40;
constexpr std::int64_t kAhead = 6;
constexpr std::size_t kClients = 8;

class ReadAhead : public testing::Test
{
protected:
    static Session::HostSettings TwoThreads()
    {
        Session::HostSettings settings;
        settings.mThreads = 2;
        return settings;
    }

    explicit ReadAhead(int inDecoders = 4) : mSession(TwoThreads())
    {
        Media::FileOptions options;
        options.maximumDecoders = inDecoders;
        Media::FileError error;
        mFile = Media::MediaFile::Open(TestSupport::MediaPath("h264_b.mp4"), options, error);
        EXPECT_TRUE(mFile);
        mStream = BE::IVideoSourceRef(new Media::FFmpegVideoSource(mFile, TVK::Guid(0x5265, 0x6164)));
        mStream->GetFrameRate(mRate);
        TVK::Rect bounds;
        mStream->GetBounds(bounds);
        mParams.mWidth = static_cast<std::uint32_t>(bounds.Width());
        mParams.mHeight = static_cast<std::uint32_t>(bounds.Height());
        mParams.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        mParams.mRenderQuality = norviktypes::kRenderQuality_High;
        mStream->GetPixelAspectRatio(mParams.mPixelAspectRatio);
        mSource = ML::CreateRenderableSource(mStream, {}, norviktypes::kAlphaChannel_None, {}, false, false,
                                             mRate, norviktypes::kFieldType_Progressive,
                                             mParams.mPixelAspectRatio, {}, u"h264_b.mp4");
        VF::SharedVideoFrameCache::Clear();
        ML::VideoRenderer::Initialize();
    }
    ~ReadAhead() override
    {
        // Drops the reads that nobody waited for; the streams' items are then all gone.
        ML::VideoRenderer::Shutdown();
        SessionTests::sIsServiceDown = true;
        EXPECT_EQ(VF::SharedVideoFrameCache::GetCounters().mAnnouncedKeys, 0u);
        VF::SharedVideoFrameCache::Clear();
    }

    MF::FrameTime TimeOf(std::int64_t inFrame) const
    {
        return MF::FrameTime(norviktypes::TickTime::FromFrame(inFrame, mRate));
    }

    Items Begin(std::int64_t inFrame) const
    {
        Items items;
        mSource->CollectPrefetchItems(TimeOf(inFrame), mParams, items);
        EXPECT_EQ(items.size(), 1u);
        for (const auto& item : items)
        {
            EXPECT_GE(item->BeginPrefetch(), 0);
        }
        return items;
    }

    // As the render queue asks for it.
    static MF::IVideoFrameRef WaitFor(const Items& inItems)
    {
        MF::IVideoFrameRef frame;
        for (int looks = 0; inItems.front()->GetPrefetchResult(frame) < 0; ++looks)
        {
            if (looks == 60000)
            {
                ADD_FAILURE() << "the frame never came";
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return frame;
    }

    MF::IVideoFrameRef Render(std::int64_t inFrame) const
    {
        MF::IVideoFrameRef frame;
        mSource->Render(TimeOf(inFrame), mParams, frame);
        return frame;
    }

    std::uint64_t FramesMade() const { return mFile->Statistics().framesDelivered; }

    // As many clients at once, each with its own order of all frames; inClient does one frame of one client.
    static void WithClients(bool inAtRandom, const std::function<void(std::size_t, std::int64_t)>& inClient)
    {
        std::vector<std::thread> clients;
        for (std::size_t client = 0; client < kClients; ++client)
        {
            clients.emplace_back(
                [&inClient, inAtRandom, client]
                {
                    std::vector<std::int64_t> frames(kFrames);
                    std::iota(frames.begin(), frames.end(), 0);
                    if (inAtRandom)
                    {
                        std::shuffle(frames.begin(), frames.end(), std::minstd_rand(7 + client));
                    }
                    for (const std::int64_t frame : frames)
                    {
                        inClient(client, frame);
                    }
                });
        }
        for (std::thread& client : clients)
        {
            client.join();
        }
    }

    const Session::HostSession mSession;
    std::shared_ptr<Media::MediaFile> mFile;
    BE::IVideoSourceRef mStream;
    norviktypes::FrameRate mRate;
    ML::CutlistRenderParams mParams{};
    ML::IRenderableSourceRef mSource;
};

TEST_F(ReadAhead, FrameThatIsReadAheadIsDecodedAndConvertedOnce)
{
    std::vector<Items> begun;
    for (std::int64_t n = 0; n < kFrames; ++n)
    {
        while (static_cast<std::int64_t>(begun.size()) < std::min(kFrames, n + kAhead))
        {
            begun.push_back(Begin(static_cast<std::int64_t>(begun.size())));
        }
        const MF::IVideoFrameRef read = WaitFor(begun[static_cast<std::size_t>(n)]);
        ASSERT_TRUE(read);
        EXPECT_EQ(Render(n), read) << "the render finds the very frame";
        begun[static_cast<std::size_t>(n)].clear();
    }
    EXPECT_EQ(FramesMade(), static_cast<std::uint64_t>(kFrames));
}

TEST_F(ReadAhead, RenderThatDoesNotWaitJoinsTheRead)
{
    for (std::int64_t n = 0; n < kFrames; ++n)
    {
        const Items items = Begin(n);
        const MF::IVideoFrameRef rendered = Render(n);
        EXPECT_EQ(WaitFor(items), rendered);
    }
    EXPECT_EQ(FramesMade(), static_cast<std::uint64_t>(kFrames));
}

TEST_F(ReadAhead, FrameThatIsNotReadAheadIsMadeOnceForItsRender)
{
    for (std::int64_t n = 0; n < kFrames; ++n)
    {
        EXPECT_FALSE(Render(n)->IsFrozen());
    }
    EXPECT_EQ(FramesMade(), static_cast<std::uint64_t>(kFrames));
    EXPECT_EQ(VF::SharedVideoFrameCache::GetCounters().mFrames, 0u);
}

TEST_F(ReadAhead, TwoWhoReadTheSameFramesAheadShareThem)
{
    for (std::int64_t n = 0; n < kFrames; ++n)
    {
        const Items first = Begin(n);
        const Items second = Begin(n);
        EXPECT_EQ(WaitFor(first), WaitFor(second));
        EXPECT_EQ(Render(n), Render(n));
    }
    EXPECT_EQ(FramesMade(), static_cast<std::uint64_t>(kFrames));
}

// In order or at random; with one decoder, or with several, of which one may decode what another has on its way.
struct Access
{
    const char* mName;
    bool mIsAtRandom;
    int mDecoders;
};

class ManyClients : public ReadAhead, public testing::WithParamInterface<Access>
{
protected:
    ManyClients() : ReadAhead(GetParam().mDecoders) {}
};

TEST_P(ManyClients, HaveEachFrameMadeOnce)
{
    std::array<std::atomic<MF::IVideoFrame*>, kFrames> made{};
    WithClients(GetParam().mIsAtRandom,
                [&](std::size_t inClient, std::int64_t inFrame)
                {
                    const Items items = Begin(inFrame);
                    // Some wait for what they had read ahead, others ask for the frame right away.
                    const MF::IVideoFrameRef frame = inClient % 2 == 0 ? WaitFor(items) : Render(inFrame);
                    ASSERT_TRUE(frame);
                    MF::IVideoFrame* others = nullptr;
                    if (!made[static_cast<std::size_t>(inFrame)].compare_exchange_strong(others, frame.get()))
                    {
                        EXPECT_EQ(frame.get(), others) << inFrame;
                    }
                });
    EXPECT_EQ(FramesMade(), static_cast<std::uint64_t>(kFrames));
    if (GetParam().mDecoders == 1)
    {
        EXPECT_EQ(mFile->Statistics().framesDecoded, static_cast<std::uint64_t>(kFrames));
    }
}

TEST_P(ManyClients, WhoAskAtOnceHaveNothingDecoded)
{
    WithClients(
        GetParam().mIsAtRandom,
        [&](std::size_t, std::int64_t inFrame)
        {
            MF::IVideoFrameRef frame;
            BE::FrameDescription format;
            format.mPixelFormat = mParams.mPixelFormat;
            EXPECT_LT(mStream->GetRenderedFrame(TimeOf(inFrame).mFirstTime, format, {}, {}, true, frame), 0);
            EXPECT_FALSE(frame);
        });
    EXPECT_EQ(FramesMade(), 0U);
    EXPECT_EQ(mFile->Statistics().framesDecoded, 0U);
}

INSTANTIATE_TEST_SUITE_P(Clip, ManyClients,
                         testing::Values(Access{"InOrder", false, 4}, Access{"AtRandom", true, 4},
                                         Access{"InOrderOneDecoder", false, 1},
                                         Access{"AtRandomOneDecoder", true, 1}),
                         [](const auto& inInfo) { return inInfo.param.mName; });

TEST_F(ReadAhead, TimePastTheEndEndsTheItemWithoutAFrame)
{
    const Items items = Begin(1000000);
    EXPECT_FALSE(WaitFor(items));
}

} // namespace
