#include "MF/DataCache.h"
#include "Tests/Support/FailingMemory.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Paths.h"
#include "Tests/VideoRenderer/PrefetchTests.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer/Src/VideoSourcePrefetcher_DiskCache.h"
#include "norvik/logging/Logging.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <string>

namespace
{

using namespace ML::VideoSourcePrefetcher;
using norvik::utility::ImmutableString;
using TestSupport::FailingMemory;
using TestSupport::FakeReadSourceRef;

// The host's own disk cache, and memory that runs out on the thread of the test, which does all of the library's
// work here.
class PrefetcherMemory : public TestSupport::PrefetchTest
{
protected:
    PrefetcherMemory() : mSource(NewSource())
    {
        norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Off);
        OpenCache();
    }
    ~PrefetcherMemory() override
    {
        CloseDiskCache();
        norvik::logging::SetLogThreshold(norvik::logging::kLogLevel_Warning);
    }

    void OpenCache()
    {
        std::shared_ptr<MF::DiskCacheManager::ManagedDirectory> directory;
        mCache = MF::CreateDataCacheInFilesystemAndManageDirectory(
            ImmutableString::CreateDynamic(mScratch.File("cache").c_str()), directory, false);
        UseDiskCache(mCache);
    }
    // Finishes what is written, and begins anew with what is there.
    void ReopenCache()
    {
        CloseDiskCache();
        mCache.reset();
        OpenCache();
    }

    // Runs inWork for one frame after the other with another one of its allocations failing, until none does.
    // inCheck is told the frame when there is memory again.
    void FailAtEach(const std::function<void(std::int64_t inFrame)>& inPrepare,
                    const std::function<void(std::int64_t inFrame)>& inWork,
                    const std::function<void(std::int64_t inFrame)>& inCheck)
    {
        std::int64_t frame = 0;
        for (const bool forEver : {false, true})
        {
            long count = 0;
            do
            {
                ++frame;
                inPrepare(frame);
                FailingMemory::FailAt(++count, forEver);
                try
                {
                    inWork(frame);
                }
                catch (const std::bad_alloc&)
                {
                    // Told to who asked; what it left behind is what matters.
                }
                FailingMemory::Stop();
                ASSERT_LT(count, 1000);
                inCheck(frame);
            } while (FailingMemory::sHasFailed && !HasFailure());
            EXPECT_GT(count, 5);
        }
        mTried = frame;
    }

    // Whether the disk has the frame; what it has is the frame itself.
    bool IsKept(std::int64_t inFrame)
    {
        TestSupport::EmptyFrameCache();
        if (!BeginDiskCacheRead(mSource->KeyOf(inFrame), [](std::int32_t) { ADD_FAILURE() << "damaged"; }))
        {
            return false;
        }
        ReopenCache(); // finishes the read
        const MF::IVideoFrameRef frame =
            VF::SharedVideoFrameCache::RetrieveFromCache(mSource->KeyOf(inFrame));
        EXPECT_TRUE(frame);
        EXPECT_EQ(frame ? NumberOf(frame) : -1, inFrame);
        return static_cast<bool>(frame);
    }

    const TestSupport::ScratchFolder mScratch;
    const FakeReadSourceRef mSource;
    std::shared_ptr<MF::DataCache> mCache;
    ML::IRenderableNodePrefetchRef mItem;
    std::int64_t mTried = 0;
};

TEST_F(PrefetcherMemory, FrameIsDeliveredWhateverAllocationOfItsWritingFails)
{
    FailAtEach(
        [this](std::int64_t inFrame)
        {
            mItem = NewItem(mSource, inFrame, kPrefetchFlag_DiskCache);
            mItem->BeginPrefetch();
            mVideo->RunAll();
        },
        [this](std::int64_t inFrame)
        {
            MF::IVideoFrameRef frame;
            EXPECT_EQ(mItem->GetPrefetchResult(frame), 0);
            EXPECT_EQ(NumberOf(frame), inFrame);
            mRender->RunAll();
        },
        [this](std::int64_t)
        {
            mItem->CancelPrefetch();
            mItem.reset();
            EXPECT_EQ(TestSupport::AnnouncedKeys(), 0U);
            EXPECT_EQ(GetTableSizes().mHoldersOfKeys, 0U);
        });
    ReopenCache();
    std::int64_t kept = 0;
    for (std::int64_t frame = 1; frame <= mTried; ++frame)
    {
        kept += IsKept(frame) ? 1 : 0;
    }
    EXPECT_GE(kept, 2) << "those for which there was memory";
    EXPECT_LT(kept, mTried);
}

} // namespace
