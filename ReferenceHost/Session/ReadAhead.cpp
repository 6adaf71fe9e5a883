#include "ReferenceHost/Session/ReadAhead.h"

#include "TVK/Allocated.h"
#include "VF/SharedVideoFrameCache.h"
#include "VideoRenderer.h"

#include <memory>
#include <utility>
#include <vector>

namespace Session
{

namespace
{

// Dependencies on the frames that were read: from the order to the render they are not to leave the cache,
// however small that is.
class PinnedFrames
{
public:
    PinnedFrames() = default;
    PinnedFrames(const PinnedFrames&) = delete;
    PinnedFrames& operator=(const PinnedFrames&) = delete;
    ~PinnedFrames()
    {
        for (const TVK::Guid& key : mKeys)
        {
            VF::SharedVideoFrameCache::UnregisterDependencyOnFrame(key);
        }
    }

    void Add(const TVK::Guid& inKey)
    {
        mKeys.push_back(inKey);
        VF::SharedVideoFrameCache::RegisterDependencyOnFrame(inKey);
    }

private:
    std::vector<TVK::Guid> mKeys;
};

// Has a source's media read, and leaves the rendering to who ordered it.
class ReadOnlySource final : public TVK::Implements<ReadOnlySource, ML::IRenderableSource>
{
public:
    explicit ReadOnlySource(ML::IRenderableSourceRef inSource)
        : mSource(std::move(inSource))
        , mPinned(std::make_shared<PinnedFrames>())
    {
    }

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override
    {
        mSource->ConformFrameTime(inTime, inRenderParams, outTime);
    }

    void CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inRenderParams,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override
    {
        const std::size_t first = ioItems.size();
        mSource->CollectPrefetchItems(inTime, inRenderParams, ioItems);
        for (std::size_t i = first; i < ioItems.size(); ++i)
        {
            TVK::Guid key;
            ioItems[i]->GetPrefetchKey(key);
            mPinned->Add(key);
        }
    }

    void Render(const MF::FrameTime&, const ML::CutlistRenderParams&, MF::IVideoFrameRef& outFrame) override
    {
        outFrame.reset();
    }

    void GetFrameRate(norviktypes::FrameRate& outRate) override { mSource->GetFrameRate(outRate); }
    void GetFieldRate(norviktypes::FrameRate& outRate) override { mSource->GetFieldRate(outRate); }

    ReadHold Pinned() const { return mPinned; }

private:
    const ML::IRenderableSourceRef mSource;
    const std::shared_ptr<PinnedFrames> mPinned;
};

} // namespace

OrderID OrderRead(const ML::IRenderableSourceRef& inSource, const ML::CutlistRenderParams& inParams,
                  const ReadAnswer& inAnswer)
{
    const OrderID id = ML::GetNextRequestID();
    const TVK::InterfaceRef<ReadOnlySource> source(new ReadOnlySource(inSource));
    ML::InitiateRender(source, inParams, inParams, id,
                       [hold = source->Pinned(),
                        inAnswer](const MF::IVideoFrameRef&, unsigned, const ML::IRenderableSourceRef&,
                                  bool inIsCancelled, int) { inAnswer(hold, inIsCancelled); });
    return id;
}

} // namespace Session
