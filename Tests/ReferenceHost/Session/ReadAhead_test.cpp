#include "ReferenceHost/FrameLibrary/SharedVideoFrameCacheControl.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegVideoSource.h"
#include "ReferenceHost/Session/HostSession.h"
#include "RenderableSources.h"
#include "Tests/Support/Paths.h"
#include "VideoRenderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

// Library and host together: what is read ahead is read once, and found by the render.
namespace
{

using Items = std::vector<ML::IRenderableNodePrefetchRef>;

constexpr std::int64_t kFrames = 40;
constexpr std::int64_t kAhead = 6;

class ReadAhead : public testing::Test
{
protected:
    static Session::HostSettings TwoThreads()
    {
        Session::HostSettings settings;
        settings.mThreads = 2;
        return settings;
    }

    ReadAhead() : mSession(TwoThreads())
    {
        Media::FileError error;
        mFile = Media::MediaFile::Open(TestSupport::MediaPath("h264_b.mp4"), Media::FileOptions(), error);
        EXPECT_TRUE(mFile);
        const BE::IVideoSourceRef stream(new Media::FFmpegVideoSource(mFile, TVK::Guid(0x5265, 0x6164)));
        stream->GetFrameRate(mRate);
        TVK::Rect bounds;
        stream->GetBounds(bounds);
        mParams.mWidth = static_cast<std::uint32_t>(bounds.Width());
        mParams.mHeight = static_cast<std::uint32_t>(bounds.Height());
        mParams.mPixelFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
        mParams.mRenderQuality = norviktypes::kRenderQuality_High;
        stream->GetPixelAspectRatio(mParams.mPixelAspectRatio);
        mSource = ML::CreateRenderableSource(stream, {}, norviktypes::kAlphaChannel_None, {}, false, false,
                                             mRate, norviktypes::kFieldType_Progressive,
                                             mParams.mPixelAspectRatio, {}, u"h264_b.mp4");
        VF::SharedVideoFrameCache::Clear();
        ML::VideoRenderer::Initialize();
    }
    ~ReadAhead() override
    {
        // Drops the reads that nobody waited for; the streams' items are then all gone.
        ML::VideoRenderer::Shutdown();
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
        const auto start = std::chrono::steady_clock::now();
        while (inItems.front()->GetPrefetchResult(frame) < 0)
        {
            if (std::chrono::steady_clock::now() - start > std::chrono::seconds(60))
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

    const Session::HostSession mSession;
    std::shared_ptr<Media::MediaFile> mFile;
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

TEST_F(ReadAhead, TimePastTheEndEndsTheItemWithoutAFrame)
{
    const Items items = Begin(1000000);
    EXPECT_FALSE(WaitFor(items));
}

} // namespace
