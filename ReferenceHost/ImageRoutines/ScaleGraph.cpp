#include "ReferenceHost/ImageRoutines/ScaleGraph.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <list>
#include <mutex>
#include <new>

namespace ir
{
namespace
{

constexpr std::size_t kAlignment = 64;

// A timeline has a handful of sizes and formats, each a graph of some hundred kilobytes.
constexpr std::size_t kKeptGraphs = 48;

// Runs at a time are as many as there are rendering threads; what waits beyond that is only memory.
constexpr std::size_t kKeptWorkspaces = 8;

bool IsSame(double inOne, double inOther) noexcept
{
    return inOne == inOther || (std::isnan(inOne) && std::isnan(inOther));
}

bool IsSame(const zimg_image_format& inOne, const zimg_image_format& inOther) noexcept
{
    const auto& one = inOne.active_region;
    const auto& other = inOther.active_region;
    return inOne.width == inOther.width && inOne.height == inOther.height &&
           inOne.pixel_type == inOther.pixel_type && inOne.subsample_w == inOther.subsample_w &&
           inOne.subsample_h == inOther.subsample_h && inOne.color_family == inOther.color_family &&
           inOne.matrix_coefficients == inOther.matrix_coefficients &&
           inOne.transfer_characteristics == inOther.transfer_characteristics &&
           inOne.color_primaries == inOther.color_primaries && inOne.depth == inOther.depth &&
           inOne.pixel_range == inOther.pixel_range && inOne.chroma_location == inOther.chroma_location &&
           inOne.alpha == inOther.alpha && IsSame(one.left, other.left) && IsSame(one.top, other.top) &&
           IsSame(one.width, other.width) && IsSame(one.height, other.height);
}

bool IsSame(const GraphKey& inOne, const GraphKey& inOther) noexcept
{
    return IsSame(inOne.source, inOther.source) && IsSame(inOne.target, inOther.target) &&
           inOne.filter == inOther.filter && inOne.chromaFilter == inOther.chromaFilter &&
           inOne.cpu == inOther.cpu;
}

zimg_filter_graph* Build(const GraphKey& inKey)
{
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.resample_filter = inKey.filter;
    params.resample_filter_uv = inKey.chromaFilter;
    if (inKey.filter == ZIMG_RESIZE_BICUBIC)
    {
        params.filter_param_a = 0.0;
        params.filter_param_b = 0.5;
    }
    if (inKey.chromaFilter == ZIMG_RESIZE_BICUBIC)
    {
        params.filter_param_a_uv = 0.0;
        params.filter_param_b_uv = 0.5;
    }
    params.cpu_type = static_cast<zimg_cpu_type_e>(inKey.cpu);
    return zimg_filter_graph_build(&inKey.source, &inKey.target, &params);
}

RowRing LayOut(const zimg_image_format& inFormat, unsigned inBuffering)
{
    static constexpr std::size_t kBytes[] = {1, 2, 2, 4};
    RowRing ring = {};
    const bool isGrey = inFormat.color_family == ZIMG_COLOR_GREY;
    for (int plane = 0; plane < 4; ++plane)
    {
        const bool isChroma = plane == 1 || plane == 2;
        if ((isChroma && isGrey) || (plane == 3 && inFormat.alpha == ZIMG_ALPHA_NONE))
        {
            continue;
        }
        const unsigned shiftX = isChroma ? inFormat.subsample_w : 0;
        const unsigned shiftY = isChroma ? inFormat.subsample_h : 0;
        const std::size_t width = (inFormat.width >> shiftX) * kBytes[inFormat.pixel_type];
        // Kernels read and write whole vectors, up to two behind a row's end; one line more keeps rows whose
        // width is a power of two from falling on the same sets of the cache.
        const std::size_t stride = (width + 3 * kAlignment - 1) / kAlignment * kAlignment + kAlignment;
        const unsigned height = inFormat.height >> shiftY;
        const bool isWhole = inBuffering >= inFormat.height;
        const unsigned rows = isWhole ? height : std::bit_ceil(std::max(1U, inBuffering >> shiftY));
        ring.strides[plane] = static_cast<std::ptrdiff_t>(stride);
        ring.masks[plane] = isWhole || rows >= height ? ZIMG_BUFFER_MAX : rows - 1;
        ring.planes[plane] =
            reinterpret_cast<unsigned char*>(ring.bytes); // an offset until a run lays it in memory
        ring.bytes += stride * std::min(rows, height);
    }
    return ring;
}

RowRing Placed(const RowRing& inRing, unsigned char* inBase)
{
    RowRing ring = inRing;
    for (int plane = 0; plane < 4; ++plane)
    {
        ring.planes[plane] =
            ring.strides[plane] == 0 ? nullptr : inBase + reinterpret_cast<std::size_t>(inRing.planes[plane]);
    }
    return ring;
}

// The graphs used last, most recent first.
//
// Thread-safety: safe; mLock guards the list.
class GraphCache
{
public:
    std::shared_ptr<ScaleGraph> Find(const GraphKey& inKey)
    {
        std::lock_guard lock(mLock);
        const auto found = std::find_if(mEntries.begin(), mEntries.end(),
                                        [&](const Entry& inEntry) { return IsSame(inEntry.key, inKey); });
        if (found == mEntries.end())
        {
            return nullptr;
        }
        mEntries.splice(mEntries.begin(), mEntries, found);
        return found->graph;
    }

    void Insert(const GraphKey& inKey, const std::shared_ptr<ScaleGraph>& inGraph)
    {
        std::list<Entry> dropped;
        std::lock_guard lock(mLock);
        mEntries.push_front({inKey, inGraph});
        if (mEntries.size() > kKeptGraphs)
        {
            dropped.splice(dropped.begin(), mEntries, std::prev(mEntries.end()));
        }
    }

private:
    struct Entry
    {
        GraphKey key;
        std::shared_ptr<ScaleGraph> graph;
    };

    std::mutex mLock;
    std::list<Entry> mEntries;
};

GraphCache& SharedCache()
{
    static auto* sCache = new GraphCache; // threads may scale while static objects go
    return *sCache;
}

}

ScaleWorkspace::ScaleWorkspace(std::size_t inBytes)
    : mBytes(static_cast<unsigned char*>(
          std::aligned_alloc(kAlignment, (inBytes + kAlignment - 1) / kAlignment * kAlignment)))
{
    if (mBytes == nullptr)
    {
        throw std::bad_alloc();
    }
}

ScaleWorkspace::~ScaleWorkspace()
{
    std::free(mBytes);
}

struct ScaleGraph::Pool
{
    std::mutex lock;
    std::vector<std::unique_ptr<ScaleWorkspace>> workspaces;
};

ScaleGraph::ScaleGraph(const GraphKey& inKey, zimg_filter_graph* inGraph)
    : mGraph(inGraph)
    , mTemporaryBytes(0)
    , mPool(std::make_unique<Pool>())
{
    unsigned inputRows = 0;
    unsigned outputRows = 0;
    zimg_filter_graph_get_input_buffering(mGraph, &inputRows);
    zimg_filter_graph_get_output_buffering(mGraph, &outputRows);
    zimg_filter_graph_get_tmp_size(mGraph, &mTemporaryBytes);
    mInput = LayOut(inKey.source, inputRows);
    mOutput = LayOut(inKey.target, outputRows);
}

ScaleGraph::~ScaleGraph()
{
    zimg_filter_graph_free(mGraph);
}

ScaleGraph::Run ScaleGraph::Begin()
{
    Run run = {};
    {
        std::lock_guard lock(mPool->lock);
        if (!mPool->workspaces.empty())
        {
            run.workspace = std::move(mPool->workspaces.back());
            mPool->workspaces.pop_back();
        }
    }
    if (run.workspace == nullptr)
    {
        run.workspace =
            std::make_unique<ScaleWorkspace>(mInput.bytes + mOutput.bytes + mTemporaryBytes + kAlignment);
    }
    unsigned char* base = run.workspace->Bytes();
    run.input = Placed(mInput, base);
    run.output = Placed(mOutput, base + mInput.bytes);
    run.temporary = base + mInput.bytes + mOutput.bytes;
    return run;
}

void ScaleGraph::End(Run&& inRun)
{
    std::lock_guard lock(mPool->lock);
    if (mPool->workspaces.size() < kKeptWorkspaces)
    {
        mPool->workspaces.push_back(std::move(inRun.workspace));
    }
}

std::shared_ptr<ScaleGraph> ScaleGraph::Find(const GraphKey& inKey)
{
    if (auto cached = SharedCache().Find(inKey))
    {
        return cached;
    }
    zimg_filter_graph* graph = Build(inKey);
    if (graph == nullptr)
    {
        return nullptr;
    }
    const std::shared_ptr<ScaleGraph> made(new ScaleGraph(inKey, graph));
    SharedCache().Insert(inKey, made);
    return made;
}

}
