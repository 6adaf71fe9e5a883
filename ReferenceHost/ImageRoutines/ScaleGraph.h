#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>
#include <zimg.h>

// Scaling and colour conversion of planes by zimg: graphs that are built once and used by any thread.
//
// A graph is the plan of one conversion (both formats, filter, processor); building one costs milliseconds,
// running it needs only memory. The cache keeps the graphs that were used last, and with each graph the
// working memory of the runs that have ended, so that a steady render neither builds nor allocates.
//
// Thread-safety: safe; one lock for the cache, one a graph for its workspaces, neither held while a graph is
// built or runs.
namespace ir
{

// What makes two conversions the same. Compared member by member.
struct GraphKey
{
    zimg_image_format source;
    zimg_image_format target;
    zimg_resample_filter_e filter;
    zimg_resample_filter_e chromaFilter;
    int cpu;
};

// Memory of one run: rows before and after the graph, and the graph's own.
class ScaleWorkspace
{
public:
    explicit ScaleWorkspace(std::size_t inBytes);
    ~ScaleWorkspace();
    ScaleWorkspace(const ScaleWorkspace&) = delete;
    ScaleWorkspace& operator=(const ScaleWorkspace&) = delete;

    unsigned char* Bytes() const noexcept { return mBytes; }

private:
    unsigned char* mBytes;
};

// Rows of up to four planes in a ring of a power of two of rows (or all rows of the picture).
struct RowRing
{
    unsigned char* planes[4];
    std::ptrdiff_t strides[4];
    unsigned masks[4];
    std::size_t bytes; // in all

    unsigned char* Row(int inPlane, unsigned inRow) const noexcept
    {
        return planes[inPlane] + static_cast<std::ptrdiff_t>(inRow & masks[inPlane]) * strides[inPlane];
    }
};

class ScaleGraph
{
public:
    ~ScaleGraph();

    const zimg_filter_graph* Graph() const noexcept { return mGraph; }

    // A workspace with the rings laid out in it. Throws std::bad_alloc.
    struct Run
    {
        std::unique_ptr<ScaleWorkspace> workspace;
        RowRing input;
        RowRing output;
        void* temporary;
    };
    Run Begin();
    void End(Run&& inRun);

    // The graph for a key, from the cache or built. Null if zimg can't make it.
    static std::shared_ptr<ScaleGraph> Find(const GraphKey& inKey);

private:
    struct Pool;

    ScaleGraph(const GraphKey& inKey, zimg_filter_graph* inGraph);

    zimg_filter_graph* mGraph;
    RowRing mInput;
    RowRing mOutput;
    std::size_t mTemporaryBytes;
    std::unique_ptr<Pool> mPool;
};

}
