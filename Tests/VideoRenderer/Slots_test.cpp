// Modules that were built apart meet in the tables of virtual functions, so an interface's operations keep
// their order. A pointer to a virtual function holds the function's place in that table.

#include "BE/IVideoSource.h"
#include "RenderFrame.h"
#include "RenderFrameClient.h"
#include "RenderableNodePrefetch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace
{

using Slots = std::vector<std::size_t>;

template <class Operation>
std::size_t SlotOf(Operation inOperation)
{
    std::uintptr_t words[2];
    static_assert(sizeof inOperation == sizeof words);
    std::memcpy(words, &inOperation, sizeof words);
    return words[0] / sizeof(void*);
}

template <class... Operations>
Slots SlotsOf(Operations... inOperations)
{
    return {SlotOf(inOperations)...};
}

Slots Consecutive(std::size_t inFirst, std::size_t inCount)
{
    Slots slots;
    for (std::size_t i = 0; i < inCount; ++i)
    {
        slots.push_back(inFirst + i);
    }
    return slots;
}

// Behind those of every interface.
const std::size_t kFirstOwn = SlotOf(&TVKUnknown::QueryNoRef) + 1;

} // namespace

TEST(Slots, EveryInterfaceBeginsWithCountsDestructorAndQueries)
{
    // A destructor takes two places: one destroys, the other gives the memory back as well.
    EXPECT_EQ(SlotsOf(&TVKUnknown::AddRef, &TVKUnknown::Release, &TVKUnknown::Query, &TVKUnknown::QueryNoRef),
              (Slots{0, 1, 4, 5}));
}

TEST(Slots, RenderFrameKeepsItsOrder)
{
    using ML::IRenderFrame;
    EXPECT_EQ(SlotsOf(&IRenderFrame::RenderWithCompletion, &IRenderFrame::Render, &IRenderFrame::GetRenderKey,
                      &IRenderFrame::IsRenderReady, &IRenderFrame::PrefetchMedia,
                      &IRenderFrame::PrefetchMediaWithRenderParameters,
                      &IRenderFrame::CancelPrefetchMediaWithRenderParameters,
                      &IRenderFrame::CancelPrefetchMedia, &IRenderFrame::IsPrefetchedMediaReady,
                      &IRenderFrame::CancelAllRequests, &IRenderFrame::CancelRequest,
                      &IRenderFrame::SetRenderQuality, &IRenderFrame::SetDeinterlaceQuality,
                      &IRenderFrame::SetOutputRect, &IRenderFrame::SetSourceRect, &IRenderFrame::SetFieldType,
                      &IRenderFrame::SetRenderSingleField, &IRenderFrame::GetStatus,
                      &IRenderFrame::SetRenderFlags, &IRenderFrame::Reserved,
                      &IRenderFrame::SetCompositeOnBlack, &IRenderFrame::GetStationID,
                      &IRenderFrame::SetCompletionClient, &IRenderFrame::SetUseFirstCutlist,
                      &IRenderFrame::SetSelectCutlistMask, &IRenderFrame::SetRenderContext,
                      &IRenderFrame::ExchangeAcceleratedRenderer, &IRenderFrame::SetCutlistName),
              Consecutive(kFirstOwn, 28));
}

TEST(Slots, RenderFrameClientKeepsItsOrder)
{
    using ML::IRenderFrameClient;
    EXPECT_EQ(SlotsOf(&IRenderFrameClient::RenderFrameCompleted, &IRenderFrameClient::RenderFrameCancelled,
                      &IRenderFrameClient::RenderFrameError),
              Consecutive(kFirstOwn, 3));
}

TEST(Slots, PrefetchItemKeepsItsOrder)
{
    using ML::IRenderableNodePrefetch;
    EXPECT_EQ(SlotsOf(&IRenderableNodePrefetch::BeginPrefetch, &IRenderableNodePrefetch::GetPrefetchResult,
                      &IRenderableNodePrefetch::CancelPrefetch, &IRenderableNodePrefetch::GetPrefetchKey,
                      &IRenderableNodePrefetch::ContinueWaitingForPrefetch),
              Consecutive(kFirstOwn, 5));
}

TEST(Slots, AsynchronousSourceKeepsItsOrder)
{
    using BE::IAsyncVideoSource;
    EXPECT_EQ(SlotsOf(&IAsyncVideoSource::IsAsyncEnabled, &IAsyncVideoSource::IssueAsyncRead,
                      &IAsyncVideoSource::Reserved1, &IAsyncVideoSource::CancelAsyncRead,
                      &IAsyncVideoSource::Reserved2, &IAsyncVideoSource::IsAsyncReadAlive),
              Consecutive(kFirstOwn, 6));
}
