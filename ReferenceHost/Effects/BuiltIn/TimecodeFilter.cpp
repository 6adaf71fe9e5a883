#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"
#include "ReferenceHost/Effects/EffectFilter.h"
#include "ReferenceHost/Foundation/BitmapFont.h"
#include "ReferenceHost/Foundation/Timecode.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace Effects
{
namespace
{

constexpr std::size_t kPosition = 0;
constexpr std::size_t kSize = 1;
constexpr std::size_t kBoxOpacity = 2;
constexpr std::size_t kFormat = 3;
constexpr std::size_t kSource = 4;
constexpr std::size_t kFirstFrame = 5;

constexpr std::uint32_t kFormat_Frames = 1;
constexpr std::uint32_t kSource_Sequence = 1;

Foundation::TimecodeRate TimecodeRateOf(const norviktypes::FrameRate& inRate)
{
    const std::int64_t divisor = std::gcd(norviktypes::kTicksPerSecond, inRate.GetTicks());
    const std::int64_t frames = norviktypes::kTicksPerSecond / divisor;
    const std::int64_t seconds = inRate.GetTicks() / divisor;
    if (std::max(frames, seconds) > std::numeric_limits<int>::max())
    {
        return {std::max(1, static_cast<int>(std::lround(inRate.AsFramesPerSecond()))), 1};
    }
    return {static_cast<int>(frames), static_cast<int>(seconds)};
}

std::string TextOf(const FilterCall& inCall)
{
    const ML::VideoFilterRender& render = inCall.render;
    const bool isOfSequence = inCall.parameters.Choice(kSource) == kSource_Sequence;
    const norviktypes::TickTime time = isOfSequence ? render.mSequenceTime : render.mClipTime;
    const std::int64_t frame =
        time.ToFrame64(render.mFrameRate) + std::llround(inCall.parameters.Number(kFirstFrame));
    if (inCall.parameters.Choice(kFormat) == kFormat_Frames || !render.mFrameRate.IsCountable())
    {
        return std::to_string(frame);
    }
    return Foundation::FormatTimecode(frame, TimecodeRateOf(render.mFrameRate), true);
}

// White text in a black box, laid over the picture.
class Operation final : public IRowOperation
{
public:
    Operation(const FilterCall& inCall, const ir::Picture& inPicture)
        : mBoxOpacity(static_cast<float>(inCall.parameters.Percent(kBoxOpacity)))
    {
        const double line = inCall.parameters.Percent(kSize) * inPicture.height;
        const int dot = std::max(1, static_cast<int>(std::lround(line / Foundation::kGlyphCellHeight)));
        const std::string text = TextOf(inCall);
        // A dot's margin above and two at the left; the cells have as much at the other sides.
        mWidth = Foundation::TextWidth(text, dot) + 3 * dot;
        mHeight = Foundation::TextHeight(text, dot) + 2 * dot;
        mInk.resize(static_cast<std::size_t>(mWidth) * static_cast<std::size_t>(mHeight));
        Foundation::DrawText({mInk.data(), mWidth, mHeight, mWidth}, 2 * dot, 2 * dot, text, dot);
        const TVK::ParamPoint<double> position = inCall.parameters.Point(kPosition);
        mLeft = CornerOf(position.x, inPicture.width, mWidth);
        mTop = CornerOf(position.y, inPicture.height, mHeight);
    }

    void Apply(const ir::FloatRow& ioRow, std::int32_t inY, std::size_t inWidth) override
    {
        if (inY < mTop || inY >= mTop + mHeight)
        {
            return;
        }
        const std::size_t line = static_cast<std::size_t>(inY - mTop) * static_cast<std::size_t>(mWidth);
        const int end = std::min(mLeft + mWidth, static_cast<int>(inWidth));
        for (int x = std::max(0, mLeft); x < end; ++x)
        {
            const bool isInk = mInk[line + static_cast<std::size_t>(x - mLeft)] != 0;
            LayOver(ioRow, static_cast<std::size_t>(x), isInk ? 1.0F : 0.0F, isInk ? 1.0F : mBoxOpacity);
        }
    }

private:
    // The box's middle on the place; far outside is as good as just outside.
    static int CornerOf(double inPlace, std::int32_t inSize, int inBox)
    {
        return static_cast<int>(std::lround(std::clamp(inPlace, -4.0, 5.0) * inSize - inBox / 2.0));
    }

    static void LayOver(const ir::FloatRow& ioRow, std::size_t inX, float inColor, float inOpacity)
    {
        const float behind = ioRow.c[3][inX] * (1.0F - inOpacity);
        const float alpha = inOpacity + behind;
        for (int component = 0; component < 3 && alpha > 0.0F; ++component)
        {
            float& color = ioRow.c[component][inX];
            color = (inOpacity * inColor + behind * color) / alpha;
        }
        ioRow.c[3][inX] = alpha;
    }

    float mBoxOpacity;
    int mWidth = 0;
    int mHeight = 0;
    int mLeft = 0;
    int mTop = 0;
    std::vector<std::uint8_t> mInk;
};

class TimecodeFilter final : public PixelFilter
{
public:
    using PixelFilter::PixelFilter;

    bool VariesByItself() const override { return true; }

protected:
    std::unique_ptr<IRowOperation> Prepare(const FilterCall& inCall,
                                           const ir::Picture& inPicture) const override
    {
        return std::make_unique<Operation>(inCall, inPicture);
    }
};

} // namespace

void AddTimecodeFilter(BuiltInTable& ioTable)
{
    ioTable.push_back(FilterRow<TimecodeFilter>(
        "timecode", "VX.ZNTR Kest Timecode", "Timecode",
        {PointParameter("Position", 0.5, 0.9), PercentParameter("Size", 1, 100, 8),
         PercentParameter("Box Opacity", 0, 100, 60), ChoiceParameter("Format", {"timecode", "frames"}, 0),
         ChoiceParameter("Source", {"clip", "sequence"}, 0),
         NumberParameter("First Frame", "frames", -10000000, 10000000, 0)}));
}

} // namespace Effects
