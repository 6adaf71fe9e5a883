#include "ReferenceHost/Session/PulldownDetection.h"

#include "VF/VideoFrame.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace Session
{

namespace
{

constexpr std::size_t kFramesOfRhythm = 5;
constexpr int kRhythms = 10; // both, from each of their frames
// A cut says nothing about the rhythm and would outweigh all that does.
constexpr double kLargestOfMedian = 4;
constexpr std::ptrdiff_t kBytesPerPixel = 4;
constexpr std::ptrdiff_t kLumaByte = 2; // of V, U, Y, A
constexpr std::int32_t kPixelStep = 2;

double Median(std::vector<double> inValues)
{
    const auto middle = inValues.begin() + static_cast<std::ptrdiff_t>(inValues.size() / 2);
    std::nth_element(inValues.begin(), middle, inValues.end());
    return *middle;
}

void Limit(FieldDifferences& ioDifferences)
{
    std::vector<double> all = ioDifferences.mOfFirst;
    all.insert(all.end(), ioDifferences.mOfSecond.begin(), ioDifferences.mOfSecond.end());
    const double most = Median(all) * kLargestOfMedian;
    for (std::vector<double>* of : {&ioDifferences.mOfFirst, &ioDifferences.mOfSecond})
    {
        for (double& difference : *of)
        {
            difference = std::min(difference, most);
        }
    }
}

struct Mean
{
    double mSum = 0;
    double mCount = 0;

    void Add(double inValue)
    {
        mSum += inValue;
        mCount += 1;
    }
    double Get() const { return mCount > 0 ? mSum / mCount : 0; }
};

// Frames of 2:3 are AA BB BC CD DD, of 2:3:3:2 AA BB BC CC DD: the first field is shown again in BC, the second
// one in DD or CC.
double ScoreOf(const FieldDifferences& inDifferences, int inRhythm)
{
    const std::size_t start = static_cast<std::size_t>(inRhythm) % kFramesOfRhythm;
    const std::size_t firstAgain = 2;
    const std::size_t secondAgain = static_cast<std::size_t>(inRhythm) < kFramesOfRhythm ? 4 : 3;
    Mean repeated;
    Mean others;
    for (std::size_t i = 0; i < inDifferences.mOfFirst.size(); ++i)
    {
        const std::size_t frame = (i + 1 + start) % kFramesOfRhythm;
        (frame == firstAgain ? repeated : others).Add(inDifferences.mOfFirst[i]);
        (frame == secondAgain ? repeated : others).Add(inDifferences.mOfSecond[i]);
    }
    return others.Get() > 0 ? 1 - repeated.Get() / others.Get() : 0;
}

// Mean difference of every second line, from inFirstLine on.
double DifferenceOf(const MF::IVideoFrameRef& inA, const MF::IVideoFrameRef& inB, std::int32_t inFirstLine)
{
    TVK::Rect bounds;
    inA->GetBounds(bounds);
    const auto* a = static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inA)->GetPixels());
    const auto* b = static_cast<const std::uint8_t*>(VF::IVideoFramePixelsRef(inB)->GetPixels());
    const std::ptrdiff_t rowBytesOfA = VF::IVideoFrameRasterRef(inA)->GetRowBytes();
    const std::ptrdiff_t rowBytesOfB = VF::IVideoFrameRasterRef(inB)->GetRowBytes();
    std::int64_t sum = 0;
    std::int64_t count = 0;
    for (std::ptrdiff_t y = inFirstLine; y < bounds.Height(); y += 2)
    {
        for (std::int32_t x = 0; x < bounds.Width(); x += kPixelStep)
        {
            const std::ptrdiff_t at = x * kBytesPerPixel + kLumaByte;
            sum += std::abs(int{a[y * rowBytesOfA + at]} - int{b[y * rowBytesOfB + at]});
            ++count;
        }
    }
    return count > 0 ? static_cast<double>(sum) / static_cast<double>(count) : 0;
}

} // namespace

PulldownFinding FindPulldown(const FieldDifferences& inDifferences)
{
    PulldownFinding best;
    if (inDifferences.mOfFirst.empty())
    {
        return best;
    }
    FieldDifferences differences = inDifferences;
    Limit(differences);
    for (int rhythm = 0; rhythm < kRhythms; ++rhythm)
    {
        const double score = ScoreOf(differences, rhythm);
        if (best.mCadence == norviktypes::kPulldownCadence_None || score > best.mScore)
        {
            best = {static_cast<norviktypes::PulldownCadence>(norviktypes::kPulldownCadence_WWSSW + rhythm),
                    score};
        }
    }
    return best;
}

double ScoreOfPulldown(const FieldDifferences& inDifferences, norviktypes::PulldownCadence inCadence)
{
    if (inDifferences.mOfFirst.empty())
    {
        return 0;
    }
    FieldDifferences differences = inDifferences;
    Limit(differences);
    return ScoreOf(differences, inCadence - norviktypes::kPulldownCadence_WWSSW);
}

bool ShowMotion(const FieldDifferences& inDifferences)
{
    Mean mean;
    for (const std::vector<double>* of : {&inDifferences.mOfFirst, &inDifferences.mOfSecond})
    {
        for (const double difference : *of)
        {
            mean.Add(difference);
        }
    }
    return mean.Get() >= kLeastMotion;
}

FieldDifferences WithFieldsSwapped(const FieldDifferences& inDifferences)
{
    return {inDifferences.mOfSecond, inDifferences.mOfFirst};
}

FieldDifferences MeasureFields(const ML::IRenderableSourceRef& inSource,
                               const ML::CutlistRenderParams& inParams, std::int64_t inFrames,
                               bool inIsUpperFirst)
{
    FieldDifferences differences;
    MF::IVideoFrameRef before;
    for (std::int64_t i = 0; i < inFrames; ++i)
    {
        ML::CutlistRenderParams params = inParams;
        // Luma alone is read: chroma may be shared by lines of both fields.
        params.mPixelFormat = norviktypes::kPixelFormat_VUYA_4444_8u_709;
        const MF::FrameTime time(norviktypes::TickTime::FromFrame(i, inParams.mFrameRate));
        inSource->ConformFrameTime(time, params, params.mFrameTime);
        MF::IVideoFrameRef frame;
        inSource->Render(params, params, frame);
        if (before)
        {
            const double upper = DifferenceOf(before, frame, 0);
            const double lower = DifferenceOf(before, frame, 1);
            differences.mOfFirst.push_back(inIsUpperFirst ? upper : lower);
            differences.mOfSecond.push_back(inIsUpperFirst ? lower : upper);
        }
        before = frame;
    }
    return differences;
}

} // namespace Session
