#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/FrameList.h"
#include "Applications/vrender/Json.h"
#include "Applications/vrender/PictureDifference.h"
#include "Applications/vrender/WorkerThreads.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace vrender
{

namespace
{

// A difference beyond a whole step is possible with floats.
constexpr double kLargestLimit = 1e9;
constexpr std::int64_t kNoFrame = -1;

// What is still taken for equal.
struct Limits
{
    std::optional<double> mMostDifference; // steps of 8 bits
    std::optional<double> mLeastPSNR;      // of each frame, decibels

    bool Holds(const PictureDifference& inDifference) const
    {
        return (!mMostDifference || inDifference.mLargest <= *mMostDifference) &&
               (!mLeastPSNR || inDifference.PSNR() >= *mLeastPSNR);
    }
};

Limits LimitsOf(const Options& inOptions)
{
    Limits limits;
    if (!inOptions.mMaxDiff.empty())
    {
        limits.mMostDifference = ParseNumber("--max-diff", inOptions.mMaxDiff, 0, kLargestLimit);
    }
    if (!inOptions.mMinPSNR.empty())
    {
        limits.mLeastPSNR = ParseNumber("--min-psnr", inOptions.mMinPSNR, 0, kLargestLimit);
    }
    if (!limits.mMostDifference && !limits.mLeastPSNR)
    {
        limits.mMostDifference = 0;
    }
    return limits;
}

// What was found, of all frames that both have.
struct Finding
{
    std::int64_t mFrames = 0;
    std::int64_t mDiffering = 0; // at all
    std::int64_t mBeyond = 0;    // the limits
    std::int64_t mFirstDiffering = kNoFrame;
    std::int64_t mFirstBeyond = kNoFrame;
    std::int64_t mWorst = kNoFrame; // the frame of the lowest PSNR
    PictureDifference mSum;
    double mLeastPSNR = std::numeric_limits<double>::infinity();

    void Add(std::int64_t inFrame, const PictureDifference& inDifference, const Limits& inLimits)
    {
        ++mFrames;
        mSum.Add(inDifference);
        if (inDifference.mLargest > 0)
        {
            ++mDiffering;
            mFirstDiffering = mFirstDiffering < 0 ? inFrame : std::min(mFirstDiffering, inFrame);
        }
        if (!inLimits.Holds(inDifference))
        {
            ++mBeyond;
            mFirstBeyond = mFirstBeyond < 0 ? inFrame : std::min(mFirstBeyond, inFrame);
        }
        const double psnr = inDifference.PSNR();
        // Of equal ones the first, in whatever order they come.
        if (mWorst < 0 || psnr < mLeastPSNR || (psnr == mLeastPSNR && inFrame < mWorst))
        {
            mLeastPSNR = psnr;
            mWorst = inFrame;
        }
    }
};

// Both lists side by side, on all threads.
class Comparison
{
public:
    Comparison(FrameList& ioFirst, FrameList& ioSecond, std::int64_t inFrames, const Limits& inLimits)
        : mFirst(ioFirst)
        , mSecond(ioSecond)
        , mFrames(inFrames)
        , mLimits(inLimits)
    {
    }

    Finding Run(std::uint32_t inThreads)
    {
        RunOnThreads(std::max<std::size_t>(1, inThreads), [this] { Work(); });
        if (mCause)
        {
            std::rethrow_exception(mCause);
        }
        return mFinding;
    }

private:
    void Work();
    bool Next(std::int64_t& outFrame);

    FrameList& mFirst;
    FrameList& mSecond;
    const std::int64_t mFrames;
    const Limits mLimits;

    std::mutex mMutex; // guards all that follows
    std::int64_t mNext = 0;
    Finding mFinding;
    std::exception_ptr mCause;
};

bool Comparison::Next(std::int64_t& outFrame)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mCause || mNext >= mFrames)
    {
        return false;
    }
    outFrame = mNext++;
    return true;
}

void Comparison::Work()
{
    try
    {
        for (std::int64_t frame = 0; Next(frame);)
        {
            const MF::IVideoFrameRef first = mFirst.GetFrame(frame);
            const MF::IVideoFrameRef second = mSecond.GetFrame(frame);
            const PictureDifference difference = ComparePictures(first, second);
            const std::lock_guard<std::mutex> lock(mMutex);
            mFinding.Add(frame, difference, mLimits);
        }
    }
    catch (...)
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mCause = mCause ? mCause : std::current_exception();
        }
        // Those that wait for a frame end with another cause, later than this.
        mFirst.Stop();
        mSecond.Stop();
    }
}

// Why they can't be laid side by side; empty: they can.
std::string WhyUnlike(const FrameList& inFirst, const FrameList& inSecond)
{
    const PictureSize first = inFirst.Size();
    const PictureSize second = inSecond.Size();
    if (first.mWidth == second.mWidth && first.mHeight == second.mHeight)
    {
        return std::string();
    }
    return fmt::format("the pictures differ in size: {}x{} and {}x{}", first.mWidth, first.mHeight,
                       second.mWidth, second.mHeight);
}

// What has no end is as long as the other one.
bool AreAsLong(const FrameList& inFirst, const FrameList& inSecond)
{
    return inFirst.Count() == inSecond.Count() || inFirst.Count() < 0 || inSecond.Count() < 0;
}

std::string FramesText(std::int64_t inFrames)
{
    return inFrames < 0 ? "without an end" : fmt::format("{} frame{}", inFrames, inFrames == 1 ? "" : "s");
}

std::string Decibels(double inPSNR)
{
    return std::isinf(inPSNR) ? "infinite" : fmt::format("{:.2f} dB", inPSNR);
}

std::string TextOf(const FrameList& inFirst, const FrameList& inSecond, const Finding& inFinding,
                   const std::string& inUnlike, bool inAreEqual)
{
    std::string text =
        fmt::format("A:                   {}, {}\nB:                   {}, {}\n", inFirst.Name(),
                    FramesText(inFirst.Count()), inSecond.Name(), FramesText(inSecond.Count()));
    if (inUnlike.empty())
    {
        text += fmt::format("compared:            {}\n", FramesText(inFinding.mFrames));
        text +=
            fmt::format("PSNR:                {}, the lowest {} in frame {}\n",
                        Decibels(inFinding.mSum.PSNR()), Decibels(inFinding.mLeastPSNR), inFinding.mWorst);
        text += fmt::format("largest difference:  {:.6g} of 255\n", inFinding.mSum.mLargest);
        text += inFinding.mDiffering == 0
                    ? std::string("differing:           none\n")
                    : fmt::format("differing:           {}, the first is {} ({})\n",
                                  FramesText(inFinding.mDiffering), inFinding.mFirstDiffering,
                                  inFirst.NameOf(inFinding.mFirstDiffering));
        text += inFinding.mBeyond == 0 ? std::string()
                                       : fmt::format("beyond the limits:   {}, the first is {}\n",
                                                     FramesText(inFinding.mBeyond), inFinding.mFirstBeyond);
    }
    else
    {
        text += inUnlike + "\n";
    }
    text += AreAsLong(inFirst, inSecond) ? "" : "the lengths differ\n";
    return text + (inAreEqual ? "equal within the limits\n" : "different\n");
}

void AddFrameNumber(JsonWriter& ioJson, const char* inName, std::int64_t inFrame)
{
    if (inFrame < 0)
    {
        ioJson.Null(inName);
        return;
    }
    ioJson.Integer(inName, inFrame);
}

void AddList(JsonWriter& ioJson, const char* inName, const FrameList& inList)
{
    ioJson.BeginObject(inName);
    ioJson.Text("name", inList.Name());
    AddFrameNumber(ioJson, "frames", inList.Count());
    ioJson.Integer("width", inList.Size().mWidth);
    ioJson.Integer("height", inList.Size().mHeight);
    ioJson.End();
}

// Infinite PSNR, of pictures that are the same or that were not compared, is null.
std::string JsonOf(const FrameList& inFirst, const FrameList& inSecond, const Finding& inFinding,
                   const std::string& inUnlike, bool inAreEqual)
{
    JsonWriter json(true);
    AddList(json, "a", inFirst);
    AddList(json, "b", inSecond);
    json.Bool("equal", inAreEqual);
    json.Bool("same_length", AreAsLong(inFirst, inSecond));
    json.Bool("same_size", inUnlike.empty());
    json.Integer("frames", inFinding.mFrames);
    json.Number("psnr", inFinding.mSum.PSNR());
    json.Number("lowest_psnr", inFinding.mLeastPSNR);
    AddFrameNumber(json, "lowest_psnr_frame", inFinding.mWorst);
    json.Number("largest_difference", inFinding.mSum.mLargest);
    json.Integer("differing", inFinding.mDiffering);
    AddFrameNumber(json, "first_differing", inFinding.mFirstDiffering);
    json.Integer("beyond_limits", inFinding.mBeyond);
    AddFrameNumber(json, "first_beyond_limits", inFinding.mFirstBeyond);
    return json.Finish();
}

std::int64_t FramesOfBoth(const FrameList& inFirst, const FrameList& inSecond)
{
    if (inFirst.Count() < 0 && inSecond.Count() < 0)
    {
        throw ToolError(ExitCode::kUsage,
                        inFirst.Name() + " and " + inSecond.Name() +
                            " are both without an end; how many frames are to be compared?");
    }
    return inFirst.Count() < 0    ? inSecond.Count()
           : inSecond.Count() < 0 ? inFirst.Count()
                                  : std::min(inFirst.Count(), inSecond.Count());
}

} // namespace

ExitCode RunCompare(const Options& inOptions)
{
    const Limits limits = LimitsOf(inOptions);
    ToolHost host = OpenHost(inOptions, Session::AccessPattern::kForward, 2);
    const std::unique_ptr<FrameList> first = OpenFrameList(inOptions, inOptions.mInput, host);
    const std::unique_ptr<FrameList> second = OpenFrameList(inOptions, inOptions.mOther, host);
    const std::int64_t frames = FramesOfBoth(*first, *second);
    const std::string unlike = WhyUnlike(*first, *second);
    Finding finding;
    if (unlike.empty())
    {
        const norviktypes::PixelFormat format = first->IsDeep() || second->IsDeep()
                                                    ? norviktypes::kPixelFormat_BGRA_4444_32f
                                                    : norviktypes::kPixelFormat_BGRA_4444_8u;
        first->Begin(frames, format);
        second->Begin(frames, format);
        finding = Comparison(*first, *second, frames, limits).Run(host.mSession->Threads());
    }
    const bool areEqual = unlike.empty() && AreAsLong(*first, *second) && finding.mBeyond == 0;
    console::PrintData(inOptions.mJson ? JsonOf(*first, *second, finding, unlike, areEqual)
                                       : TextOf(*first, *second, finding, unlike, areEqual));
    // A card may be why they differ, so both are told of in any case.
    const bool hasMissing[] = {first->SayWhatIsMissing(), second->SayWhatIsMissing()};
    if (!areEqual)
    {
        return ExitCode::kFailed;
    }
    return hasMissing[0] || hasMissing[1] ? ExitCode::kDoneWithSubstitutes : ExitCode::kDone;
}

} // namespace vrender
