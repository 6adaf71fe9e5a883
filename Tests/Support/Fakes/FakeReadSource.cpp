#include "Tests/Support/Fakes/FakeReadSource.h"

#include "MF/PixelFormats.h"
#include "VF/VideoFrame.h"

#include <cstring>
#include <utility>

namespace TestSupport
{

namespace
{

constexpr std::uint64_t kFillBit = std::uint64_t{1} << 62;

} // namespace

FakeReadSource::~FakeReadSource()
{
    if (mDestroyFunction)
    {
        mDestroyFunction();
    }
}

std::vector<std::string> FakeReadSource::TakeNotes()
{
    const std::lock_guard lock(mNotesLock);
    return std::exchange(mNotes, {});
}

FakeReadSource::FillCall FakeReadSource::LastFill()
{
    const std::lock_guard lock(mNotesLock);
    return mLastFill;
}

void FakeReadSource::Note(const char* inWord, std::int64_t inFrame)
{
    const std::lock_guard lock(mNotesLock);
    mNotes.push_back(inWord + (" " + std::to_string(inFrame)));
}

TVK::Guid FakeReadSource::KeyOf(std::int64_t inFrame) const
{
    return mNamesFrames ? TVK::Guid(mID, static_cast<std::uint64_t>(inFrame) + 1) : TVK::Guid();
}

TVK::Guid FakeReadSource::FillKeyOf(std::int64_t inFrame) const
{
    return mNamesFrames ? TVK::Guid(mID | kFillBit, static_cast<std::uint64_t>(inFrame) + 1) : TVK::Guid();
}

std::int32_t FakeReadSource::QueryNoRef(const TVK::Guid& inID, void** outInterface) const
{
    if ((inID == BE::IAsyncVideoSource::kInterfaceID && !mIsAsync) ||
        (inID == MF::ISource::kInterfaceID && !mHasTimeAxisFace))
    {
        *outInterface = nullptr;
        return TVK::kInterfaceNotSupported;
    }
    return Extends::QueryNoRef(inID, outInterface);
}

std::int32_t FakeReadSource::Query(const TVK::Guid& inID, void** outInterface) const
{
    return Extends::Query(inID, outInterface);
}

std::int32_t FakeReadSource::GiveFrame(std::int64_t inFrame, MF::IVideoFrameRef& ioFrame)
{
    if (mReadFunction)
    {
        return mReadFunction(inFrame, ioFrame);
    }
    if (!ioFrame)
    {
        VF::CreateVideoFrame(ioFrame, MF::kPixelFormat_BGRA_4444_8u, 8, 4, {}, true, false);
    }
    std::memcpy(VF::IVideoFramePixelsRef(ioFrame)->GetPixels(), &inFrame, 4);
    return BE::kSourceStatus_OK;
}

std::int32_t FakeReadSource::GetVideoFrame(const norviktypes::TickTime& inTime, const MF::BinaryData&,
                                           const norviktypes::TickTime& inRangeStart,
                                           const norviktypes::TickTime& inRangeEnd,
                                           const MF::IVideoFrameRef& ioFrame,
                                           norviktypes::RenderQuality inQuality,
                                           norviktypes::FieldType inFieldType, bool inIsProgressive,
                                           bool inOptionA, bool inOptionB, bool inOptionC, double inScale)
{
    const std::int64_t frame = inTime.ToFrame64(mRate);
    Note("fill", frame);
    {
        const std::lock_guard lock(mNotesLock);
        mLastFill = {inRangeStart,    inRangeEnd, inQuality, inFieldType, ioFrame->GetFieldType(),
                     inIsProgressive, inOptionA,  inOptionB, inOptionC,   inScale};
    }
    MF::IVideoFrameRef filled = ioFrame;
    return GiveFrame(frame, filled);
}

std::int32_t FakeReadSource::GetRenderedFrame(const norviktypes::TickTime& inTime,
                                              const BE::FrameDescription&, const MF::BinaryData&,
                                              const norviktypes::ColorProfile&, bool inAtOnce,
                                              MF::IVideoFrameRef& outFrame)
{
    const std::int64_t frame = inTime.ToFrame64(mRate);
    Note(inAtOnce ? "at-once" : "read", frame);
    outFrame.reset();
    if (inAtOnce && !mHasAtHand)
    {
        return BE::kSourceStatus_PastEnd;
    }
    const std::int32_t status = GiveFrame(frame, outFrame);
    return inAtOnce && status >= 0 ? mAtHandStatus : status;
}

TVK::Guid FakeReadSource::GetFrameKey(const norviktypes::TickTime& inTime, const BE::FrameDescription&,
                                      const MF::BinaryData&, const norviktypes::ColorProfile&) const
{
    return KeyOf(inTime.ToFrame64(mRate));
}

TVK::Guid FakeReadSource::GetFrameKeyWithOptions(const norviktypes::TickTime& inTime,
                                                 const BE::FrameDescription&, const MF::BinaryData&,
                                                 const norviktypes::TickTime&, const norviktypes::TickTime&,
                                                 norviktypes::RenderQuality, norviktypes::FieldType, bool,
                                                 bool, bool, double) const
{
    return FillKeyOf(inTime.ToFrame64(mRate));
}

void FakeReadSource::AcquireQuietToken(std::shared_ptr<void>& outToken, bool inNoWait, bool inNoWaitForOthers,
                                       bool& outMustUnquiet)
{
    outToken.reset();
    outMustUnquiet = false;
    if (inNoWait != inNoWaitForOthers)
    {
        Note("waits by half", 0);
    }
    if (mRests && inNoWait)
    {
        outMustUnquiet = true;
        outToken = mGivesTokenAtRest ? mToken : nullptr;
        return;
    }
    if (mRests)
    {
        Note("wake", 0);
        if (mWakeFunction)
        {
            mWakeFunction();
        }
        mRests = false;
    }
    outToken = mToken;
}

std::int32_t FakeReadSource::IssueAsyncRead(const norviktypes::TickTime& inTime, const BE::FrameDescription&,
                                            const MF::BinaryData&, const norviktypes::ColorProfile&)
{
    Note("begin", inTime.ToFrame64(mRate));
    return mIssueStatus;
}

void FakeReadSource::Reserved1()
{
    Note("reserved", 1);
}

void FakeReadSource::CancelAsyncRead(const norviktypes::TickTime& inTime, const BE::FrameDescription&,
                                     const MF::BinaryData&, const norviktypes::ColorProfile&)
{
    Note("cancel", inTime.ToFrame64(mRate));
    if (mCancelFunction)
    {
        mCancelFunction();
    }
}

void FakeReadSource::Reserved2()
{
    Note("reserved", 2);
}

bool FakeReadSource::IsAsyncReadAlive(const norviktypes::TickTime& inTime, const BE::FrameDescription&,
                                      double inElapsedSeconds, const MF::BinaryData&,
                                      const norviktypes::ColorProfile&)
{
    mElapsedSeconds = inElapsedSeconds;
    Note("alive", inTime.ToFrame64(mRate));
    return mAsyncAlive;
}

} // namespace TestSupport
