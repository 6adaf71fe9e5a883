// A source that paints into every line when and where it is from, and remembers what it was asked.
//
// Each line of a frame holds three values, side by side in bands of luma: the number of its moment, its parity,
// and its number in the picture. All are levels that survive conversion between formats and can be averaged, so
// that a line that was made of others tells of which.
//
// Moments are counted in fields: frame n of an interlaced source has 2n and 2n + 1, in the order of its fields;
// frame n of a progressive one has n. Set the public fields before the first request.
//
// Thread-safety: requests from any thread.
#pragma once

#include "RenderableSources.h"
#include "TVK/Allocated.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace TestSupport
{

inline constexpr std::uint32_t kPaintedSourceWidth = 24;

// The levels of one line.
struct LineLevels
{
    double mMoment = 0;
    double mParity = 0;
    double mLine = 0;
};

// What line inLine of a moment looks like. Levels of several lines can be averaged.
LineLevels LevelsOf(std::int64_t inMoment, std::uint32_t inLine);
LineLevels Mix(const LineLevels& inA, double inWeightOfA, const LineLevels& inB);
LineLevels ReadLevels(const MF::IVideoFrameRef& inFrame, std::uint32_t inLine);
// Paints the lines of one field of a frame: 0 upper, 1 lower, 2 both.
void PaintLevels(const MF::IVideoFrameRef& inFrame, std::int64_t inMoment, std::uint32_t inField);

class PaintedSource final : public TVK::Implements<PaintedSource, ML::IRenderableSource>
{
public:
    norviktypes::FrameRate mRate = norviktypes::FrameRate::FromRational(25, 1);
    // kFieldType_FromSource answers each request in its own order.
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive;
    norviktypes::PixelFormat mFormat = norviktypes::kPixelFormat_BGRA_4444_8u;
    std::uint32_t mWidth = kPaintedSourceWidth;
    std::uint32_t mHeight = 8;
    norviktypes::PixelAspectRatio mPixelAspectRatio;
    bool mFreezes = true; // as a frame that lies in a cache
    bool mIsEmpty = false;
    std::int32_t mStatus = 0; // thrown if negative
    // What a render gives instead of a painted frame.
    std::function<MF::IVideoFrameRef(const MF::FrameTime&)> mFrameFunction;

    std::vector<MF::FrameTime> TakeRenders();
    std::vector<MF::FrameTime> TakeConforms();
    std::vector<MF::FrameTime> TakeCollects();
    // Params of the last render.
    ML::CutlistRenderParams LastParams();

    // The time of a field or a frame.
    norviktypes::TickTime Moment(std::int64_t inNumber) const;

    void ConformFrameTime(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inRenderParams,
                          MF::FrameTime& outTime) override;
    void CollectPrefetchItems(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inRenderParams,
                              std::vector<ML::IRenderableNodePrefetchRef>& ioItems) override;
    void Render(const MF::FrameTime& inTime, const ML::CutlistRenderParams& inRenderParams,
                MF::IVideoFrameRef& outFrame) override;
    void GetFrameRate(norviktypes::FrameRate& outRate) override;
    void GetFieldRate(norviktypes::FrameRate& outRate) override;

private:
    MF::IVideoFrameRef Paint(const MF::FrameTime& inTime) const;

    std::mutex mLock;
    std::vector<MF::FrameTime> mRenders;
    std::vector<MF::FrameTime> mConforms;
    std::vector<MF::FrameTime> mCollects;
    ML::CutlistRenderParams mLastParams;
};
using PaintedSourceRef = TVK::InterfaceRef<PaintedSource>;

} // namespace TestSupport
