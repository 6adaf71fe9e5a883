// What the factory tells of a timeline that was read from a document: stretches to copy, previews laid over
// it, and both forms of it. The document goes the whole way, through reader, project and factory.

#include "CutlistFactory.h"
#include "CutlistRenderer.h"
#include "MF/PixelFormats.h"
#include "ReferenceHost/Project/Import/DocumentImport.h"
#include "ReferenceHost/Project/PreviewStream.h"
#include "Tests/Support/Fakes/FakeMediaInfo.h"
#include "Tests/Support/Fakes/FakeVideoSource.h"
#include "Tests/Support/FrameTools.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

namespace
{

using norviktypes::kPixelFormat_BGRA_4444_8u;
using norviktypes::kPixelFormat_UYVY_422_8u_601;
using norviktypes::TickTime;

constexpr norviktypes::FrameRate kRate{norviktypes::kTicksPerSecond / 25};
constexpr int kWidth = 16;
constexpr int kHeight = 8;
constexpr std::uint8_t kPreviewRed = 250;

TickTime Frames(std::int64_t inFrame)
{
    return TickTime::FromFrame(inFrame, kRate);
}

// Each frame is opaque, blue as its file says and green as its own number; compressed frames can be copied in
// one format.
class NumberedSource final : public TestSupport::FakeVideoSource
{
public:
    NumberedSource(std::uint8_t inBlue, std::uint8_t inRed)
    {
        mRate = kRate;
        mBounds = {0, 0, kWidth, kHeight};
        mDuration = Frames(200);
        mAlphaType = norviktypes::kAlphaChannel_None;
        mFrameFunction = [=](const Request& inRequest, MF::IVideoFrameRef& outFrame) -> std::int32_t
        {
            const auto green = static_cast<std::uint8_t>(inRequest.mTime.ToFrame64(kRate));
            outFrame = TestSupport::NewFilledFrame(kPixelFormat_BGRA_4444_8u, kWidth, kHeight,
                                                   {inBlue, green, inRed, 255});
            return 0;
        };
    }

    void GetSmartRenderFormats(std::vector<norviktypes::PixelFormat>& outFormats) const override
    {
        outFormats = {kPixelFormat_UYVY_422_8u_601};
    }
};

BE::IMediaInfoRef MakeMedia(const std::string& inPath, std::uint8_t inBlue, std::uint8_t inRed = 0)
{
    const TVK::InterfaceRef<TestSupport::FakeVideoSource> source(new NumberedSource(inBlue, inRed));
    auto* media = new TestSupport::FakeMediaInfo;
    media->mStream = MF::ISourceRef(source.get());
    media->mPath = norvik::utility::ImmutableString::CreateDynamic(inPath.c_str());
    media->mDuration = Frames(200);
    media->mHasModificationState = true;
    media->mModificationState = TVK::Guid(inBlue, inRed);
    return BE::IMediaInfoRef(media);
}

// Files need not hold anything: what they are is made up here.
class Opener final : public Import::IMediaOpener
{
public:
    BE::IMediaInfoRef Open(const Otio::LocatedMedia& inMedia, std::string&) override
    {
        const std::string name = inMedia.mFile.substr(inMedia.mFile.rfind('/') + 1);
        return MakeMedia("/media/" + name, static_cast<std::uint8_t>(10 * (name.front() - 'a' + 1)));
    }
};

std::string Range(int inStart, int inDuration)
{
    constexpr const char* kTime = R"({{"OTIO_SCHEMA": "RationalTime.1", "value": {}, "rate": 25}})";
    return fmt::format(
        R"("source_range": {{"OTIO_SCHEMA": "TimeRange.1", "start_time": {}, "duration": {}}})",
        fmt::format(fmt::runtime(kTime), inStart), fmt::format(fmt::runtime(kTime), inDuration));
}

std::string Clip(const std::string& inFile, int inStart, int inDuration, const std::string& inMore = "")
{
    return fmt::format(R"({{"OTIO_SCHEMA": "Clip.1", {}, "media_reference":
        {{"OTIO_SCHEMA": "ExternalReference.1", "target_url": "{}"}}{}}})",
                       Range(inStart, inDuration), inFile, inMore);
}

std::string Gap(int inDuration)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "Gap.1", {}}})", Range(0, inDuration));
}

std::string Track(const std::vector<std::string>& inChildren)
{
    return fmt::format(R"({{"OTIO_SCHEMA": "Track.1", "kind": "Video", "children": [{}]}})",
                       fmt::join(inChildren, ", "));
}

const std::string kInset = R"(, "metadata": {"vrender": {"version": 1, "transform": {"scale": [0.5, 0.5]}}})";
const std::string kTwice = R"(, "effects": [{"OTIO_SCHEMA": "LinearTimeWarp.1", "time_scalar": 2}])";
const std::string kProcAmp =
    R"(, "effects": [{"OTIO_SCHEMA": "Effect.1", "effect_name": "vrender:procamp"}])";

// From frame 0: a cut, from 20 a gap, from 25 a nested stack, from 35 a cut with an effect, from 45 one at
// twice its speed; and over the last frames of the first cut an inset.
std::string Document()
{
    const std::string nested = fmt::format(R"({{"OTIO_SCHEMA": "Stack.1", {}, "children": [{}]}})",
                                           Range(2, 10), Track({Clip("b.mov", 40, 6), Clip("c.mov", 70, 6)}));
    return fmt::format(
        R"({{"OTIO_SCHEMA": "Timeline.1",
             "metadata": {{"vrender": {{"version": 1, "canvas": {{"width": {}, "height": {}, "rate": [25, 1]}}}}}},
             "tracks": {{"OTIO_SCHEMA": "Stack.1", "children": [{}, {}]}}}})",
        kWidth, kHeight,
        Track({Clip("a.mov", 10, 20), Gap(5), nested, Clip("d.mov", 5, 10, kProcAmp),
               Clip("d.mov", 30, 10, kTwice)}),
        Track({Gap(12), Clip("e.mov", 90, 8, kInset)}));
}

class DocumentCutlists : public testing::Test
{
protected:
    DocumentCutlists()
    {
        TestSupport::EmptyFrameCache();
        MF::SetCutlistFactory(ML::GetCutlistFactoryInstance());
        for (const char* file : {"a.mov", "b.mov", "c.mov", "d.mov", "e.mov"})
        {
            std::ofstream(mFolder.File(file)) << "made up";
        }
        std::ofstream(mFolder.File("edit.otio")) << Document();
        Otio::ProblemList problems;
        EXPECT_TRUE(Import::ImportDocument(mFolder.File("edit.otio"), {}, &mOpener,
                                           Effects::GetEffectRegistry(), problems, mTimeline));
        EXPECT_EQ(problems.ErrorCount() + problems.WarningCount(), 0u);
    }
    ~DocumentCutlists() override { MF::SetCutlistFactory({}); }

    const Project::Sequence& Main() const { return *mTimeline.mMain; }

    MF::IRenderableCutlistRef Plain() const
    {
        MF::IRenderableCutlistRef cutlist;
        EXPECT_EQ(Main().GetCutlistProvider()->GetAlternateCutlist(cutlist, {}, true), 0);
        return cutlist;
    }

    // Both forms of the tracks inTracks, each made anew.
    void MakeBoth(const std::vector<std::uint64_t>& inTracks = {}, bool inHasEffects = true)
    {
        mFull = {};
        mSegments = {};
        EXPECT_EQ(MF::GetCutlistFactory()->CreateCutlistsForSequence(
                      mFull, mSegments, {}, TVK::TVKUnknownRef(Main().Snapshot()), inTracks, mOverlays, true,
                      inHasEffects, mPreview),
                  0);
    }

    const TestSupport::ScratchFolder mFolder;
    Opener mOpener;
    Import::ImportedTimeline mTimeline;
    MF::CutlistOverlays mOverlays;
    MF::IRenderableCutlistRef mFull;
    MF::IRenderableCutlistRef mSegments;
    MF::IRenderableCutlistRef mPreview;
};

// "0..12 of a.mov from 10" for each stretch.
std::vector<std::string> Copied(const MF::IRenderableCutlistRef& inCutlist,
                                const norviktypes::PixelFormat& inFormat = kPixelFormat_UYVY_422_8u_601,
                                int inStart = 0, int inEnd = 100)
{
    MF::SmartRenderSegments found;
    MF::ISmartRenderSegmentInfoRef(inCutlist)->GetSmartRenderSegments(Frames(inStart), Frames(inEnd),
                                                                      inFormat, false, found);
    std::vector<std::string> texts;
    for (const auto& [start, segment] : found)
    {
        EXPECT_EQ(start, segment.mStart);
        EXPECT_EQ(segment.mEnd - segment.mStart, segment.mMediaEnd - segment.mMediaStart);
        EXPECT_EQ(segment.mMediaLastTime, Frames(200));
        const std::string path(segment.mMediaPath.begin(), segment.mMediaPath.end());
        texts.push_back(fmt::format("{}..{} of {} from {}", start.ToFrame64(kRate),
                                    segment.mEnd.ToFrame64(kRate), path.substr(path.rfind('/') + 1),
                                    segment.mMediaStart.ToFrame64(kRate)));
    }
    return texts;
}

// Blue, green and red in the corner, where no inset reaches, and in the middle; no numbers where nothing is
// made.
std::vector<int> PixelsAt(const MF::IRenderableCutlistRef& inCutlist, std::int64_t inFrame)
{
    ML::CutlistRenderParams params;
    params.mFrameTime = MF::FrameTime(Frames(inFrame));
    params.mWidth = params.mSourceWidth = kWidth;
    params.mHeight = params.mSourceHeight = kHeight;
    params.mPixelFormat = kPixelFormat_BGRA_4444_8u;
    params.mFrameRate = kRate;
    ML::IRenderableNodeProducerRef producer;
    MF::FrameTime times;
    EXPECT_EQ(ML::ResolveProducerAtTime(inCutlist, params, producer, times), 0);
    const MF::IVideoFrameRef frame =
        ML::RenderFrameFromCutlist(producer, params, times, {kPixelFormat_BGRA_4444_8u}, true);
    std::vector<int> components;
    for (const std::uint32_t x : {0u, 8u})
    {
        const std::vector<std::uint8_t> pixel =
            frame ? TestSupport::PixelAt(frame, x, x / 2) : std::vector<std::uint8_t>();
        components.insert(components.end(), pixel.begin(), pixel.end());
    }
    return components;
}

std::vector<int> OneColor(int inBlue, int inGreen, int inRed, int inAlpha = 255)
{
    return {inBlue, inGreen, inRed, inAlpha, inBlue, inGreen, inRed, inAlpha};
}

std::vector<std::string> SegmentsOf(const MF::IRenderableCutlistRef& inCutlist)
{
    std::vector<std::string> segments;
    for (std::uint32_t index = 0; index < inCutlist->GetSegmentCount(); ++index)
    {
        TickTime start;
        TickTime end;
        TickTime offset;
        TVK::Guid hash;
        inCutlist->GetNthSegmentDescription(index, start, end, offset, hash);
        segments.push_back(fmt::format("{}..{} {} {}", start.ToFrame64(kRate), end.ToFrame64(kRate),
                                       offset.GetTicks(), hash.AsUTF8String()));
    }
    return segments;
}

TVK::Guid NodeAt(const MF::IRenderableCutlistRef& inCutlist, std::int64_t inFrame, TickTime& outNodeTime)
{
    std::uint32_t index = 0;
    TickTime start;
    TickTime end;
    TickTime offset;
    TVK::Guid hash;
    EXPECT_EQ(inCutlist->FindSegmentForTime(Frames(inFrame), index, start, end, offset, hash), 0);
    outNodeTime = offset + Frames(inFrame) - start;
    return hash;
}

TEST_F(DocumentCutlists, CutsOfMediaThatFitsCanBeCopied)
{
    // Not where an inset lies over them, nor with an effect or another speed, nor a sequence as a whole.
    EXPECT_EQ(Copied(Plain()), std::vector<std::string>{"0..12 of a.mov from 10"});
    EXPECT_TRUE(Copied(Plain(), kPixelFormat_BGRA_4444_8u).empty());
    EXPECT_EQ(Copied(Plain(), kPixelFormat_UYVY_422_8u_601, 3, 8),
              std::vector<std::string>{"3..8 of a.mov from 13"});
}

TEST_F(DocumentCutlists, CutsInNestedStacksCanBeCopiedWhereTheseAreTakenApart)
{
    MF::IRenderableCutlistRef apart;
    ASSERT_EQ(Main().GetCutlistProvider()->GetThirdCutlist(apart, {}, true, false), 0);
    EXPECT_EQ(Copied(apart), (std::vector<std::string>{"0..12 of a.mov from 10", "25..29 of b.mov from 42",
                                                       "29..35 of c.mov from 70"}));
}

TEST_F(DocumentCutlists, CopiesEndWithTheEditThatChangesThePicture)
{
    const Project::ItemID id = mTimeline.mMain->FindItem(0, Frames(5));
    mTimeline.mMain->SetSpeed(id, 0.5);
    EXPECT_TRUE(Copied(Plain()).empty());
    mTimeline.mMain->SetSpeed(id, 1.0);
    EXPECT_EQ(Copied(Plain()).size(), 1u);
}

TEST_F(DocumentCutlists, PreviewsLieOverWhatTheyWereRenderedFrom)
{
    const MF::IRenderableCutlistRef plain = Plain();
    MF::IRenderableCutlistRef overlaid;
    ASSERT_EQ(MF::GetCutlistFactory()->OverlayCutlist(plain, mOverlays, overlaid), 0);
    EXPECT_TRUE(overlaid == plain);

    // Over frames 26 to 29 of the nested stack.
    TickTime nodeTime;
    const TVK::Guid node = NodeAt(plain, 26, nodeTime);
    mOverlays[node].push_back(
        {nodeTime, nodeTime + Frames(4), 0, 0,
         Project::CreatePreviewStream(MakeMedia("/previews/nested.mov", 200, kPreviewRed))});
    ASSERT_EQ(MF::GetCutlistFactory()->OverlayCutlist(plain, mOverlays, overlaid), 0);
    EXPECT_EQ(overlaid->GetSegmentCount(), plain->GetSegmentCount() + 2);
    EXPECT_EQ(PixelsAt(plain, 26), OneColor(20, 43, 0));
    for (std::int64_t frame = 0; frame < 55; ++frame)
    {
        const bool isPreview = frame >= 26 && frame < 30;
        const auto number = static_cast<int>(frame - 26);
        EXPECT_EQ(PixelsAt(overlaid, frame),
                  isPreview ? OneColor(200, number, kPreviewRed) : PixelsAt(plain, frame))
            << frame;
    }
    EXPECT_EQ(SegmentsOf(Plain()), SegmentsOf(plain)) << "the sequence's own is as it was";
}

TEST_F(DocumentCutlists, PreviewsOfAnEditedStretchAreShownNoMore)
{
    const auto preview = Project::CreatePreviewStream(MakeMedia("/previews/cut.mov", 200, kPreviewRed));
    ASSERT_TRUE(mTimeline.mMain->AddPreview(Frames(38), preview));
    const auto primary = [&]
    {
        MF::IRenderableCutlistRef cutlist;
        EXPECT_EQ(Main().GetCutlistProvider()->GetPrimaryCutlist(cutlist, {}, true), 0);
        return cutlist;
    };
    EXPECT_EQ(PixelsAt(primary(), 37)[2], 0);
    EXPECT_EQ(PixelsAt(primary(), 38), OneColor(200, 0, kPreviewRed));
    EXPECT_EQ(PixelsAt(primary(), 44), OneColor(200, 6, kPreviewRed));
    EXPECT_EQ(PixelsAt(primary(), 45)[2], 0);
    const Project::ItemID id = mTimeline.mMain->FindItem(0, Frames(38));
    mTimeline.mMain->RemoveEffect(id, 0);
    EXPECT_EQ(PixelsAt(primary(), 38), OneColor(40, 8, 0));
}

TEST_F(DocumentCutlists, BothFormsShowTheSamePictures)
{
    MakeBoth();
    EXPECT_EQ(SegmentsOf(mFull), SegmentsOf(Plain()));
    EXPECT_EQ(mSegments->GetSegmentCount(), mFull->GetSegmentCount() + 1)
        << "two clips in place of the stack";
    EXPECT_TRUE(mPreview == mFull);
    EXPECT_EQ(PixelsAt(mFull, 3), OneColor(10, 13, 0));
    EXPECT_EQ(PixelsAt(mFull, 13), (std::vector<int>{10, 23, 0, 255, 50, 91, 0, 255}));
    EXPECT_EQ(PixelsAt(mFull, 30), OneColor(30, 71, 0));
    EXPECT_EQ(PixelsAt(mFull, 50), OneColor(40, 40, 0));
    for (std::int64_t frame = 0; frame < 56; ++frame)
    {
        EXPECT_EQ(PixelsAt(mSegments, frame), PixelsAt(mFull, frame)) << frame;
    }
}

TEST_F(DocumentCutlists, BothFormsTakeTheTracksAndOverlaysThatAreGiven)
{
    MakeBoth({1});
    EXPECT_EQ(PixelsAt(mFull, 13)[4], 50);
    EXPECT_EQ(PixelsAt(mFull, 3), PixelsAt(mFull, 23)) << "nothing plays there";
    EXPECT_EQ(SegmentsOf(mSegments), SegmentsOf(mFull)) << "nothing is nested there";

    TickTime nodeTime;
    const TVK::Guid node = NodeAt(Plain(), 46, nodeTime);
    mOverlays[node].push_back(
        {nodeTime, nodeTime + Frames(2), 0, 0,
         Project::CreatePreviewStream(MakeMedia("/previews/last.mov", 200, kPreviewRed))});
    MakeBoth({0});
    EXPECT_EQ(PixelsAt(mFull, 13), OneColor(10, 23, 0)) << "without the inset";
    EXPECT_EQ(PixelsAt(mPreview, 47), OneColor(200, 1, kPreviewRed));
    EXPECT_EQ(PixelsAt(mFull, 47), OneColor(40, 34, 0));
}

TEST_F(DocumentCutlists, FormsThatAreThereAreKept)
{
    MakeBoth();
    const MF::IRenderableCutlistRef full = mFull;
    const MF::IRenderableCutlistRef segments = mSegments;
    EXPECT_EQ(MF::GetCutlistFactory()->CreateCutlistsForSequence(
                  mFull, mSegments, {}, TVK::TVKUnknownRef(Main().Snapshot()), {}, {}, true, true, mPreview),
              0);
    EXPECT_TRUE(mFull == full);
    EXPECT_TRUE(mSegments == segments);
}

TEST_F(DocumentCutlists, SegmentsWithoutEffectsShowWhatIsBelowThem)
{
    MakeBoth({}, false);
    TickTime time;
    MF::IRenderableNodeRef node;
    MF::FrameTime nodeTime;
    const auto operators = [&](const MF::IRenderableCutlistRef& inCutlist)
    {
        inCutlist->FindNodeForTime(MF::FrameTime(Frames(38)), node, nodeTime);
        std::uint32_t count = 0;
        while (node)
        {
            count += node->GetOperatorCount();
            const MF::IRenderableNodeRef outer = node;
            node = {};
            if (outer->GetInputCount() > 0)
            {
                outer->GetNthInput(0, time, node);
            }
        }
        return count;
    };
    EXPECT_EQ(operators(mFull), 1u);
    EXPECT_EQ(operators(mSegments), 0u);
}

} // namespace
