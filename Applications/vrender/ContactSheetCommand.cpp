#include "Applications/vrender/CommandSupport.h"
#include "Applications/vrender/Commands.h"
#include "Applications/vrender/Console.h"
#include "Applications/vrender/StillsSelection.h"
#include "Applications/vrender/WorkerThreads.h"
#include "ReferenceHost/Session/Pictures.h"
#include "VF/VideoFrame.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <utility>

namespace vrender
{

namespace
{

constexpr std::int32_t kDefaultWidth = 320;
constexpr std::int64_t kDefaultCount = 20;
constexpr std::int64_t kDefaultColumns = 5;
constexpr std::int64_t kMostPictures = 10000;
constexpr std::int32_t kMargin = 8;             // round each picture, pixels
constexpr std::int32_t kWidthOfLabelStep = 160; // picture pixels for each enlargement of the letters
constexpr std::int32_t kLabelGap = 3;           // between a picture and its time

// Where the pictures of a sheet stand.
struct Grid
{
    PictureSize mPicture;
    std::int32_t mColumns = 1;
    std::int32_t mRows = 1;
    std::int32_t mLabelScale = 1;

    std::int32_t CellWidth() const { return mPicture.mWidth + kMargin; }
    std::int32_t CellHeight() const
    {
        return mPicture.mHeight + kLabelGap + Session::LabelHeight(mLabelScale) + kMargin;
    }
    PictureSize Sheet() const { return {mColumns * CellWidth() + kMargin, mRows * CellHeight() + kMargin}; }
};

Grid MakeGrid(const PictureSize& inPicture, std::size_t inPictures, std::int64_t inColumns)
{
    Grid grid;
    grid.mPicture = inPicture;
    const auto pictures = static_cast<std::int32_t>(inPictures);
    grid.mColumns = std::min(static_cast<std::int32_t>(inColumns), pictures);
    grid.mRows = (pictures + grid.mColumns - 1) / grid.mColumns;
    grid.mLabelScale = std::max(1, inPicture.mWidth / kWidthOfLabelStep);
    return grid;
}

void CheckSheet(std::int32_t inStatus, const PictureSize& inSize)
{
    if (inStatus == VF::kFrameStatus_BadArgument)
    {
        throw ToolError(
            ExitCode::kUsage,
            fmt::format("a sheet of {}x{} pixels is too large; fewer or smaller pictures (--count, "
                        "--columns, --size) make it fit",
                        inSize.mWidth, inSize.mHeight));
    }
    if (inStatus < 0)
    {
        throw ToolError(ExitCode::kTryAgain, "out of memory");
    }
}

MF::IVideoFrameRef NewSheet(const PictureSize& inSize)
{
    MF::IVideoFrameRef sheet;
    CheckSheet(VF::CreateVideoFrame(sheet, norviktypes::kPixelFormat_BGRX_4444_8u,
                                    static_cast<std::uint32_t>(inSize.mWidth),
                                    static_cast<std::uint32_t>(inSize.mHeight),
                                    norviktypes::kPixelAspectRatio_Square, true, false),
               inSize);
    return sheet;
}

// Renders the pictures and puts each into its own cell, so that workers never meet on the sheet.
class SheetPainter
{
public:
    SheetPainter(const OpenInput& inInput, const Options& inOptions, RunReport& ioReport, const Grid& inGrid,
                 const std::vector<std::int64_t>& inFrames)
        : mInput(inInput)
        , mGrid(inGrid)
        , mFrames(inFrames)
        , mRequest{static_cast<std::uint32_t>(inGrid.mPicture.mWidth),
                   static_cast<std::uint32_t>(inGrid.mPicture.mHeight),
                   norviktypes::kPixelFormat_BGRX_4444_8u, ParseQuality(inOptions.mQuality)}
        , mSheet(NewSheet(inGrid.Sheet()))
        , mFeed(FrameSettings(inOptions, ioReport))
    {
    }

    // Frames that couldn't be made leave their cell black; their causes are told of.
    std::int64_t Paint();
    const MF::IVideoFrameRef& Sheet() const { return mSheet; }

private:
    void Work();
    FrameFeed::Settings FrameSettings(const Options& inOptions, RunReport& ioReport) const;
    void PaintCell(const FrameFeed::Frame& inFrame);

    const OpenInput& mInput;
    const Grid mGrid;
    const std::vector<std::int64_t>& mFrames;
    const Session::RenderRequest mRequest;
    const MF::IVideoFrameRef mSheet;
    std::atomic<std::int64_t> mFailures{0};
    std::mutex mMutex; // guards mCause
    std::exception_ptr mCause;
    FrameFeed mFeed;
};

FrameFeed::Settings SheetPainter::FrameSettings(const Options& inOptions, RunReport& ioReport) const
{
    FrameFeed::Settings frames = FramesOf(mInput, inOptions, mRequest, 0);
    frames.mReport = &ioReport;
    frames.mCount = static_cast<std::int64_t>(mFrames.size());
    frames.mTimeOf = [this](std::int64_t inCell)
    { return mInput.mTimeline.mFrameStart(mFrames[static_cast<std::size_t>(inCell)]); };
    return frames;
}

std::int64_t SheetPainter::Paint()
{
    RunOnThreads(std::min(std::size_t{mInput.mHost->Threads()}, mFrames.size()), [this] { Work(); });
    if (mCause)
    {
        std::rethrow_exception(mCause);
    }
    return mFailures;
}

void SheetPainter::Work()
{
    try
    {
        FrameFeed::Frame frame;
        while (mFeed.Take(frame))
        {
            PaintCell(frame);
            frame.mHold.reset();
            mFeed.Advance();
        }
    }
    catch (...)
    {
        mFeed.Stop();
        const std::lock_guard<std::mutex> lock(mMutex);
        mCause = std::current_exception();
    }
}

void SheetPainter::PaintCell(const FrameFeed::Frame& inFrame)
{
    const auto cell = static_cast<std::int32_t>(inFrame.mIndex);
    const std::int64_t number = mFrames[static_cast<std::size_t>(inFrame.mIndex)];
    const std::int32_t left = kMargin + cell % mGrid.mColumns * mGrid.CellWidth();
    const std::int32_t top = kMargin + cell / mGrid.mColumns * mGrid.CellHeight();
    const norviktypes::TickTime time = mInput.mTimeline.mFrameStart(number);
    try
    {
        Foundation::WorkSpan span(Foundation::WorkKind::kRender, number);
        Session::PlacePicture(mInput.mMaterial->Render(time, mRequest, inFrame.mHold), mSheet, left, top);
        span.Succeed();
    }
    catch (const ML::RenderRequestException&)
    {
        ++mFailures;
        console::Say(mInput.mMaterial->FailureAt(time) + "; its place stays black");
    }
    const std::string label = LabelOfFrame(number, mInput.mTimeline);
    const std::int32_t width = Session::LabelWidth(label, mGrid.mLabelScale);
    Session::DrawLabel(mSheet, left + std::max(0, (mGrid.mPicture.mWidth - width) / 2),
                       top + mGrid.mPicture.mHeight + kLabelGap, mGrid.mLabelScale, label);
}

} // namespace

ExitCode RunContactSheet(const Options& inOptions)
{
    const std::int64_t count = inOptions.mCount.empty()
                                   ? kDefaultCount
                                   : ParseInteger("--count", inOptions.mCount, 1, kMostPictures);
    const std::int64_t columns = inOptions.mColumns.empty()
                                     ? kDefaultColumns
                                     : ParseInteger("--columns", inOptions.mColumns, 1, kMostPictures);
    RunReport report(inOptions);
    const OpenInput input = OpenInputOf(inOptions, Session::AccessPattern::kScattered, {25, 1});
    const FrameRange range = RangeOrWhole("--range", inOptions.mRange, input.mTimeline);
    const std::vector<std::int64_t> frames = FramesOfStills(inOptions, input, range, count);
    const Media::MediaFacts& facts = input.mMaterial->Facts();
    const PictureSize size =
        ResolveSize(inOptions.mSize, {std::min(kDefaultWidth, facts.mWidth), -1}, DisplayShape(facts), false);
    const Grid grid = MakeGrid(size, frames.size(), columns);

    OutputDescription output = DescribeOutput(inOptions, input, grid.Sheet());
    output.mSourcePixelFormat = "bgr0";
    output.mHasAlpha = false;
    output.mPixelAspectRatio = norviktypes::kPixelAspectRatio_Square;
    output.mFieldType = norviktypes::kFieldType_Progressive;
    output.mFrameCount = 1;
    output.mThreads = 1;
    SheetPainter painter(input, inOptions, report, grid, frames);
    const std::unique_ptr<FrameWriter> writer =
        CreateStillsWriter(output, [&output](std::int64_t) { return output.mPath; });

    const std::int64_t failures = painter.Paint();
    if (failures == static_cast<std::int64_t>(frames.size()))
    {
        throw ToolError(ExitCode::kBadData, inOptions.mInput + ": no frame could be made");
    }
    MF::IVideoFrameRef sheet;
    CheckSheet(Session::ShapePicture(painter.Sheet(), RequestFor(*writer, inOptions, grid.Sheet()), sheet),
               grid.Sheet());
    {
        Foundation::WorkSpan span(Foundation::WorkKind::kWrite);
        writer->Write(writer->Prepare(sheet));
        span.Succeed();
    }
    writer->Finish();
    writer->Commit();
    return WithWhatIsMissing(failures == 0 ? ExitCode::kDone : ExitCode::kDoneWithSubstitutes, input);
}

} // namespace vrender
