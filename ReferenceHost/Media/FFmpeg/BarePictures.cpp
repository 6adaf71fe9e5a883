#include "ReferenceHost/Media/FFmpeg/BarePictures.h"

#include "ReferenceHost/FrameLibrary/RingMemory.h"
#include "ReferenceHost/Media/FFmpeg/FFmpegTypes.h"
#include "norvik/logging/Logging.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

namespace Media
{

struct BareLayout
{
    FramePtr mShape;
    std::array<std::int64_t, 4>
        mOffsets{}; // of the planes in a packet; where there is one, mShape has its line size
    std::array<int, 4> mShiftY{};
    std::shared_ptr<const DirectReader> mReader;
    std::string mPath;
    mutable std::atomic<bool> mHasSaidThatItIsGone{false};

    // Rows of a plane that belong to those above row inRow of the picture.
    std::int64_t RowsAbove(std::size_t inPlane, int inRow) const noexcept
    {
        return -(-inRow >> mShiftY[inPlane]);
    }
    std::int64_t LineSize(std::size_t inPlane) const noexcept { return mShape->linesize[inPlane]; }
};

namespace
{

// Chroma of two lines of each field, above and below, is as far as conversions look beyond a row; and windows begin
// where both fields, and their chroma, begin anew.
constexpr int kAround = 8;
static_assert((kAround & (kAround - 1)) == 0);

constexpr int kRowsOfWindow = 64;
static_assert(kRowsOfWindow >= static_cast<int>(BarePicture::kMostRows) + 4 * kAround - 2);

// As many as are commonly mixed or laid over each other.
constexpr std::size_t kWindows = 8;

std::uint64_t NewID() noexcept
{
    static std::atomic<std::uint64_t> sLast{0};
    return ++sLast;
}

bool IsPlaneThere(const AVFrame& inPicture, std::size_t inPlane)
{
    return inPicture.data[inPlane] != nullptr;
}

// Whether the planes lie in the packet as in the picture that came of it, and fill it.
bool LieSo(const BareLayout& inLayout, const AVFrame& inPicture, const PacketRecord& inRecord)
{
    std::int64_t end = 0;
    for (std::size_t plane = 0; plane < 4; ++plane)
    {
        if (!IsPlaneThere(inPicture, plane))
        {
            continue;
        }
        const std::int64_t offset = inLayout.mOffsets[plane];
        const std::int64_t bytes = inLayout.LineSize(plane) * inLayout.RowsAbove(plane, inPicture.height);
        if (inLayout.LineSize(plane) <= 0 || offset < 0 || offset + bytes > inRecord.size ||
            !inLayout.mReader->HasBytes(inRecord, offset, bytes, inPicture.data[plane]))
        {
            return false;
        }
        end = std::max(end, offset + bytes);
    }
    return end == inRecord.size;
}

// Decoders of bare video hand on the memory of the packet, whose first bytes are those of a plane. The content says
// whether that is so.
std::shared_ptr<const BareLayout> LayoutOf(const AVFrame& inPicture, const PacketRecord& inRecord,
                                           const std::shared_ptr<const DirectReader>& inReader,
                                           const std::string& inPath)
{
    const AVPixFmtDescriptor* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inPicture.format));
    const auto layout = std::make_shared<BareLayout>();
    layout->mShape.reset(av_frame_alloc());
    if (!layout->mShape)
    {
        throw std::bad_alloc();
    }
    if (!format || !inPicture.buf[0] || inPicture.buf[1] || !inReader->Fetch(inRecord) ||
        av_frame_copy_props(layout->mShape.get(), &inPicture) < 0)
    {
        return nullptr;
    }
    layout->mReader = inReader;
    layout->mPath = inPath;
    const std::uint8_t* start = inPicture.data[0];
    for (std::size_t plane = 1; plane < 4; ++plane)
    {
        start = IsPlaneThere(inPicture, plane) ? std::min<const std::uint8_t*>(start, inPicture.data[plane])
                                               : start;
    }
    layout->mShape->format = inPicture.format;
    layout->mShape->width = inPicture.width;
    layout->mShape->height = inPicture.height;
    for (std::size_t plane = 0; plane < 4; ++plane)
    {
        if (IsPlaneThere(inPicture, plane))
        {
            layout->mShape->linesize[plane] = inPicture.linesize[plane];
            layout->mOffsets[plane] = inPicture.data[plane] - start;
            layout->mShiftY[plane] = plane == 1 || plane == 2 ? format->log2_chroma_h : 0;
        }
    }
    return LieSo(*layout, inPicture, inRecord) ? layout : nullptr;
}

} // namespace

// Rows that a thread has read of a picture.
struct BarePicture::Window
{
    std::uint64_t mPicture = 0;
    std::uint64_t mLastUse = 0;
    int mTop = 0;
    int mBottom = 0; // behind the last one
    FramePtr mRows;
    std::array<VF::RingMemory, 4> mPlanes; // which rows run through
};

BarePicture::BarePicture(std::shared_ptr<const BareLayout> inLayout, const PacketRecord& inRecord,
                         std::int64_t inNumber)
    : mLayout(std::move(inLayout))
    , mRecord(inRecord)
    , mNumber(inNumber)
    , mID(NewID())
{
}

const AVFrame& BarePicture::Shape() const noexcept
{
    return *mLayout->mShape;
}

bool BarePicture::Fetch() const
{
    return mLayout->mReader->Fetch(mRecord);
}

bool BarePicture::IsFetched() const
{
    return mLayout->mReader->IsFetched(mRecord);
}

BarePicture::Window& BarePicture::WindowOfThread() const
{
    static thread_local std::array<Window, kWindows> sWindows;
    static thread_local std::uint64_t sUses = 0;
    Window* found = &sWindows[0];
    for (Window& window : sWindows)
    {
        if (window.mPicture == mID)
        {
            found = &window;
            break;
        }
        found = window.mLastUse < found->mLastUse ? &window : found;
    }
    found->mLastUse = ++sUses;
    return *found;
}

const AVFrame* BarePicture::ReadRows(int inFirst, int inCount, int& outTop) const
{
    const int height = Shape().height;
    const int last = inFirst + inCount + kAround - 1;
    const int top = std::max(0, inFirst / kAround * kAround - kAround);
    const int bottom = std::min(height, last / kAround * kAround + kAround);
    Window& window = WindowOfThread();
    const bool isThere = window.mPicture == mID && window.mTop <= top && bottom <= window.mBottom;
    if (!isThere && !Fill(window, top, std::min(height, top + kRowsOfWindow)))
    {
        SayThatItIsGone();
        return nullptr;
    }
    outTop = window.mTop;
    return window.mRows.get();
}

// Whoever goes down the picture finds the last rows there already.
bool BarePicture::Fill(Window& ioWindow, int inTop, int inBottom) const
{
    const AVFrame& shape = Shape();
    const bool goesOn = ioWindow.mPicture == mID && ioWindow.mTop <= inTop && inTop < ioWindow.mBottom;
    const int from = goesOn ? ioWindow.mBottom : inTop;
    ioWindow.mPicture = 0;
    if (!ioWindow.mRows)
    {
        ioWindow.mRows.reset(av_frame_alloc());
    }
    if (!ioWindow.mRows)
    {
        throw std::bad_alloc();
    }
    ioWindow.mRows->format = shape.format;
    ioWindow.mRows->width = shape.width;
    ioWindow.mRows->height = inBottom - inTop;
    for (std::size_t plane = 0; plane < 4; ++plane)
    {
        if (!FillPlane(ioWindow, plane, inTop, inBottom, from))
        {
            return false;
        }
    }
    ioWindow.mPicture = mID;
    ioWindow.mTop = inTop;
    ioWindow.mBottom = inBottom;
    return true;
}

// Reads from row inFrom on; what is above it is there.
bool BarePicture::FillPlane(Window& ioWindow, std::size_t inPlane, int inTop, int inBottom, int inFrom) const
{
    const BareLayout& layout = *mLayout;
    VF::RingMemory& ring = ioWindow.mPlanes[inPlane];
    const std::int64_t lineSize = layout.LineSize(inPlane);
    const auto placeOf = [&](int inRow) { return layout.RowsAbove(inPlane, inRow) * lineSize; };
    ioWindow.mRows->data[inPlane] = nullptr;
    ioWindow.mRows->linesize[inPlane] = static_cast<int>(lineSize);
    if (lineSize == 0)
    {
        return true;
    }
    ring.Reserve(static_cast<std::size_t>(placeOf(kRowsOfWindow)));
    ioWindow.mRows->data[inPlane] = ring.At(static_cast<std::uint64_t>(placeOf(inTop)));
    return layout.mReader->ReadBytes(mRecord, layout.mOffsets[inPlane] + placeOf(inFrom),
                                     placeOf(inBottom) - placeOf(inFrom),
                                     ring.At(static_cast<std::uint64_t>(placeOf(inFrom))));
}

void BarePicture::SayThatItIsGone() const
{
    const int error = errno;
    if (!mLayout->mHasSaidThatItIsGone.exchange(true))
    {
        const std::string text = fmt::format("{}: frame {} can't be read any more: {}", mLayout->mPath,
                                             mNumber, std::generic_category().message(error));
        norvik::logging::LogText(norvik::logging::kLogLevel_Error, "Media", text.c_str());
    }
}

void BarePictures::LearnFrom(const AVFrame& inPicture, const PacketRecord& inRecord,
                             const std::shared_ptr<const DirectReader>& inReader, const std::string& inPath)
{
    mLayout = inReader ? LayoutOf(inPicture, inRecord, inReader, inPath) : nullptr;
    mHasLearned = true;
}

BarePicturePtr BarePictures::Find(const PacketRecord& inRecord, std::int64_t inNumber) const
{
    return AreKnown() && !inRecord.isCorrupt
               ? std::make_shared<const BarePicture>(mLayout, inRecord, inNumber)
               : nullptr;
}

} // namespace Media
