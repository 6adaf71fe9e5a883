// What the tests of reading ahead share: executors without threads, a count of wake-ups, and a look at the end
// whether everything was given back.
#pragma once

#include "ML/SharedExecutors.h"
#include "RenderFrameClient.h"
#include "Tests/Support/Fakes/FakeReadSource.h"
#include "Tests/Support/ManualExecutor.h"
#include "VideoSourcePrefetcher.h"
#include "norvik/logging/Logging.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

namespace TestSupport
{

using Notes = std::vector<std::string>;

inline constexpr std::int32_t kNotReady = ML::kRenderFramePrefetchFailed;

// An executor that has no memory for what is posted to it.
class FullExecutor final : public norvik::threads::AsyncThreadedExecutor
{
public:
    void Post(norvik::Function, std::uint32_t) override { throw std::bad_alloc(); }
    bool IsCurrentThread() const override { return false; }
    void CancelPending() override {}
    void Close() override {}
    void WaitForTermination() override {}
};

// Collects what is logged and traced, in the place of the error stream.
class LogCatcher
{
public:
    LogCatcher();
    ~LogCatcher();

    std::vector<norvik::logging::LogMessage> mMessages;
};

class PrefetchTest : public testing::Test
{
protected:
    PrefetchTest();
    ~PrefetchTest() override;

    // The source of a test with this number; its keys differ from those of the others.
    static FakeReadSourceRef NewSource(std::uint64_t inID = 1);

    static norviktypes::TickTime TimeOf(std::int64_t inFrame);
    static BE::FrameDescription Format();

    static ML::IRenderableNodePrefetchRef NewItem(const FakeReadSourceRef& inSource, std::int64_t inFrame,
                                                  std::uint32_t inFlags = 0);
    static ML::IRenderableNodePrefetchRef
    NewFillItem(const FakeReadSourceRef& inSource, std::int64_t inFrame,
                const ML::VideoSourcePrefetcher::ReadParameters& in = {}, std::uint32_t inFlags = 0);

    // One of NewItem, begun.
    static ML::IRenderableNodePrefetchRef Begin(const FakeReadSourceRef& inSource, std::int64_t inFrame,
                                                std::uint32_t inFlags = 0);

    // Queues a read of a frame under its key, without an item.
    static void Read(const FakeReadSourceRef& inSource, std::int64_t inFrame,
                     const ML::VideoSourcePrefetcher::ReadCompletion& inCompletion = {});

    // The status of an item; the frame's number goes to mFrameNumber, -1 for none.
    std::int32_t Ask(const ML::IRenderableNodePrefetchRef& inItem);

    // No thread holds a lock of the library.
    static bool HoldsNoLock();

    static std::int64_t NumberOf(const MF::IVideoFrameRef& inFrame);
    static bool IsCached(const TVK::Guid& inKey);

    boost::shared_ptr<ManualExecutor> mVideo;
    boost::shared_ptr<ManualExecutor> mImage;
    boost::shared_ptr<ManualExecutor> mRender;
    int mWakeUps = 0;
    MF::IVideoFrameRef mFrame;
    std::int64_t mFrameNumber = -1;
};

} // namespace TestSupport
