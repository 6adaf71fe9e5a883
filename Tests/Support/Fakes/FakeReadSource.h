// A stream for tests of reading ahead: it names its frames, rests, wakes, reads by itself and fails as a test
// says, and writes down what it was asked.
//
// A frame that it gives holds its number in the first pixel, as those of FakeVideoSource do. Every call that
// comes from a render, a poll or an executor is noted by one word and the number of the frame: "read 3",
// "fill 3", "at-once 3", "begin 3", "cancel 3", "alive 3", "wake 0".
//
// Thread-safety: as FakeVideoSource; the notes and the counted switches may be used from any thread.
#pragma once

#include "Tests/Support/Fakes/FakeVideoSource.h"

#include <atomic>
#include <string>

namespace TestSupport
{

class FakeReadSource final : public TVK::Extends<FakeVideoSource, BE::IAsyncVideoSource>
{
public:
    // Gives the frame of a read, in the place of the default; the status is the stream's answer.
    using ReadFunction = std::function<std::int32_t(std::int64_t inFrame, MF::IVideoFrameRef& ioFrame)>;
    // What GetVideoFrame was called with last, beside the time.
    struct FillCall
    {
        norviktypes::TickTime mRangeStart;
        norviktypes::TickTime mRangeEnd;
        norviktypes::RenderQuality mQuality = norviktypes::kRenderQuality_Invalid;
        norviktypes::FieldType mFieldType = norviktypes::kFieldType_Invalid;
        norviktypes::FieldType mFrameFieldType = norviktypes::kFieldType_Invalid;
        bool mIsProgressive = false;
        bool mOptionA = false;
        bool mOptionB = false;
        bool mOptionC = false;
        double mScale = 0;
    };

    std::uint64_t mID = 1; // of the keys
    bool mNamesFrames = true;
    bool mIsImage = false;
    bool mHasTimeAxisFace = true;
    bool mRendersFrames = true;
    bool mIsAsync = false; // has the face
    bool mAsyncEnabled = true;
    std::int32_t mIssueStatus = 0;
    std::atomic<bool> mAsyncAlive{true};
    std::atomic<double> mElapsedSeconds{0}; // when it was last asked whether it lives
    std::atomic<bool> mHasAtHand{false};    // answers at-once requests
    std::int32_t mAtHandStatus = 0;         // with which it gives the frame then
    std::atomic<bool> mRests{false};        // until it is woken
    std::shared_ptr<void> mToken;           // given while it is awake
    bool mGivesTokenAtRest = false;         // together with the word that it rests
    ReadFunction mReadFunction;
    std::function<void()> mWakeFunction; // while it wakes
    std::function<void()> mCancelFunction;
    std::function<void()> mDestroyFunction; // in the destructor

    ~FakeReadSource() override;

    std::vector<std::string> TakeNotes();
    FillCall LastFill();
    TVK::Guid KeyOf(std::int64_t inFrame) const;
    // The key of the form with options.
    TVK::Guid FillKeyOf(std::int64_t inFrame) const;

    std::int32_t QueryNoRef(const TVK::Guid& inID, void** outInterface) const override;
    std::int32_t Query(const TVK::Guid& inID, void** outInterface) const override;

    bool IsImageSource() const override { return mIsImage; }
    bool CanRenderFrames(const MF::BinaryData&) const override { return mRendersFrames; }
    std::int32_t GetVideoFrame(const norviktypes::TickTime&, const MF::BinaryData&,
                               const norviktypes::TickTime&, const norviktypes::TickTime&,
                               const MF::IVideoFrameRef&, norviktypes::RenderQuality, norviktypes::FieldType,
                               bool, bool, bool, bool, double) override;
    std::int32_t GetRenderedFrame(const norviktypes::TickTime&, const BE::FrameDescription&,
                                  const MF::BinaryData&, const norviktypes::ColorProfile&, bool,
                                  MF::IVideoFrameRef&) override;
    TVK::Guid GetFrameKey(const norviktypes::TickTime&, const BE::FrameDescription&, const MF::BinaryData&,
                          const norviktypes::ColorProfile&) const override;
    TVK::Guid GetFrameKeyWithOptions(const norviktypes::TickTime&, const BE::FrameDescription&,
                                     const MF::BinaryData&, const norviktypes::TickTime&,
                                     const norviktypes::TickTime&, norviktypes::RenderQuality,
                                     norviktypes::FieldType, bool, bool, bool, double) const override;
    void AcquireQuietToken(std::shared_ptr<void>&, bool, bool, bool&) override;

    bool IsAsyncEnabled() const override { return mAsyncEnabled; }
    std::int32_t IssueAsyncRead(const norviktypes::TickTime&, const BE::FrameDescription&,
                                const MF::BinaryData&, const norviktypes::ColorProfile&) override;
    void Reserved1() override;
    void CancelAsyncRead(const norviktypes::TickTime&, const BE::FrameDescription&, const MF::BinaryData&,
                         const norviktypes::ColorProfile&) override;
    void Reserved2() override;
    bool IsAsyncReadAlive(const norviktypes::TickTime&, const BE::FrameDescription&, double,
                          const MF::BinaryData&, const norviktypes::ColorProfile&) override;

private:
    void Note(const char* inWord, std::int64_t inFrame);
    std::int32_t GiveFrame(std::int64_t inFrame, MF::IVideoFrameRef& ioFrame);

    std::mutex mNotesLock;
    std::vector<std::string> mNotes;
    FillCall mLastFill;
};

using FakeReadSourceRef = TVK::InterfaceRef<FakeReadSource>;

} // namespace TestSupport
