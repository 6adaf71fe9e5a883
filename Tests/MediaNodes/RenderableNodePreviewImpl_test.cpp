#include "RenderableNodePreviewImpl.h"

#include "ML/StaticImages.h"
#include "Tests/MediaNodes/MediaNodeTests.h"
#include "Tests/Support/ContractText.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace MediaNodeTests;
using Step = ML::MediaChainStep;
using Description = BE::PreviewStreamDescription;
using PreviewRef = TVK::InterfaceRef<ML::RenderableNodePreviewImpl>;

class FakePreview final : public TVK::Implements<FakePreview, BE::IPreviewStream>
{
public:
    Description mDescription;
    BE::IMediaInfoRef mMedia;
    TVK::InterfaceRef<TestStream> mStream{new TestStream};

    FakePreview()
    {
        mDescription.mMediaInstance = u"/previews/1.mov";
        mDescription.mFrameRate = kRate;
        mDescription.mWidth = 64;
        mDescription.mHeight = 36;
    }
    void Describe(Description& outDescription) const override { outDescription = mDescription; }
    BE::IMediaInfoRef GetMedia() const override { return mMedia; }
    BE::IVideoSourceRef GetVideoSource() const override { return mStream; }
    TickTime GetDuration() const override { return Frames(50); }
};
using FakePreviewRef = TVK::InterfaceRef<FakePreview>;

PreviewRef Build(const FakePreviewRef& inStream, bool inFlagA = false, bool inFlagB = false)
{
    const PreviewRef node(new ML::RenderableNodePreviewImpl);
    node->SetVideoStream(inStream, inFlagA, inFlagB);
    node->Finalize();
    return node;
}

template <class Change>
bool ChangesPreview(Change&& inChange)
{
    const FakePreviewRef before(new FakePreview);
    const FakePreviewRef after(new FakePreview);
    inChange(after->mDescription);
    return Build(before)->GetHashValue() != Build(after)->GetHashValue();
}

TEST(PreviewNode, SaysItsKindAndItsStream)
{
    const FakePreviewRef stream(new FakePreview);
    const PreviewRef node = Build(stream);
    EXPECT_EQ(node->GetNodeType(), ImmutableString::CreateStatic("RenderableNodePreviewImpl"));
    const BE::IPreviewNodeRef face{MF::IRenderableNodeRef(node)};
    ASSERT_TRUE(face);
    EXPECT_TRUE(face->GetPreviewSourceNode() == node);
    EXPECT_TRUE(face->GetPreviewStream() == stream);
}

TEST(PreviewNode, StreamOfNothingThrows)
{
    const PreviewRef node(new ML::RenderableNodePreviewImpl);
    EXPECT_THROW(node->SetVideoStream({}, false, false), TVK::NullInterfaceException);
}

TEST(PreviewNode, IsBuiltOnce)
{
    const FakePreviewRef stream(new FakePreview);
    const PreviewRef node = Build(stream);
    EXPECT_EQ(TestSupport::ContractText([&] { node->SetVideoStream(stream, false, false); }),
              "mMutable|Src/RenderableNodePreviewImpl|ML::RenderableNodePreviewImpl::SetVideoStream");
}

TEST(PreviewNode, SaysWhatTheStreamSays)
{
    const FakePreviewRef stream(new FakePreview);
    Description& description = stream->mDescription;
    description.mStreamGroup = 2;
    description.mIsDraft = true;
    description.mClipID = TVK::Guid("01234567-89AB-CDEF-0123-456789ABCDEF");
    description.mAlpha.mType = kAlphaChannel_Straight;
    description.mAlpha.mMatte.mValue = 7;
    description.mAlpha.mInvert = true;
    description.mPixelAspectRatio = {4, 3};
    description.mOpaqueData = MF::BinaryData("abc", 3);
    description.mModificationState = MF::BinaryData("abc", 3);
    description.mVideoSubType = 5;
    description.mFieldType = kFieldType_LowerFirst;
    description.mSpeed = 2.0;
    description.mScaleToFramePolicy = BE::kScaleToFrame_Fit;
    const PreviewRef node = Build(stream);
    const std::vector<std::pair<const char*, const char*>> expected = {
        {"MediaNode::MediaInstanceString", "/previews/1.mov"},
        {"MediaNode::MediaStreamGroup", "2"},
        {"MediaNode::MediaIsDraft", "1"},
        {"MediaNode::MediaIsOffline", "0"},
        {"MediaNode::ClipID", "01234567-89AB-CDEF-0123-456789ABCDEF"},
        {"MediaNode::StreamFrameRate", "10160640000"},
        {"MediaNode::StreamAlphaType", "1"},
        {"MediaNode::StreamIgnoreAlpha", "0"},
        {"MediaNode::StreamInvertAlpha", "1"},
        {"MediaNode::StreamAlphaMatteColor", "7"},
        {"MediaNode::StreamRemovePulldown", "0"},
        {"MediaNode::StreamFrameWidth", "64"},
        {"MediaNode::StreamFrameHeight", "36"},
        {"MediaNode::StreamPixelAspectRatioNum", "4"},
        {"MediaNode::StreamPixelAspectRatioDen", "3"},
        {"MediaNode::StreamOpaqueData", "YWJj"},
        {"MediaNode::MediaModState", "YWJj"},
        {"MediaNode::StreamFrameVidSubType", "5"},
        {"MediaNode::StreamPullDownCadence", "0"},
        {"MediaNode::StreamFieldType", "2"},
        {"MediaNode::StreamFrameBlend", "0"},
        {"MediaNode::ClipSpeed", "2"},
        {"MediaNode::ClipBackwards", "0"},
        {"MediaNode::ClipScaleToFramePolicy", "1"},
        {"MediaNode::StreamReverseFieldDominance", "0"},
        {"MediaNode::MediaIsPending", "0"},
    };
    for (const auto& [key, text] : expected)
    {
        EXPECT_EQ(Property(node, key), text) << key;
    }
    MF::NodeProperties properties;
    node->GetProperties(properties);
    EXPECT_EQ(properties.size(), expected.size());
}

TEST(PreviewNode, StreamsOfEqualDescriptionAreOneNode)
{
    EXPECT_FALSE(ChangesPreview([](Description&) {}));
    EXPECT_FALSE(ChangesPreview([](Description& d) { d.mClipID = TVK::Guid{1, 2}; }));
    EXPECT_FALSE(ChangesPreview([](Description& d) { d.mVideoSubType = 3; }));
    EXPECT_FALSE(ChangesPreview([](Description& d) { d.mBlendsFrames = true; }));
    EXPECT_FALSE(ChangesPreview([](Description& d) { d.mSpeed = 3.0; }));
    EXPECT_FALSE(ChangesPreview([](Description& d) { d.mIsBackwards = true; }));
}

TEST(PreviewNode, WhatChangesThePictureIsHashed)
{
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mMediaInstance = u"/previews/2.mov"; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mStreamGroup = 1; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mIsDraft = true; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mIsOffline = true; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mIsPending = true; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mFrameRate = kRate * 2; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mAlpha.mType = kAlphaChannel_Premultiplied; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mAlpha.mIgnore = true; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mAlpha.mInvert = true; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mAlpha.mMatte.mValue = 1; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mRemovesPulldown = true; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mWidth = 62; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mHeight = 34; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mPixelAspectRatio = {2, 1}; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mPixelAspectRatio = {1, 2}; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mOpaqueData = MF::BinaryData("x", 1); }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mModificationState = MF::BinaryData("x", 1); }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mPulldownCadence = kPulldownCadence_WWSSW; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mFieldType = kFieldType_UpperFirst; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mScaleToFramePolicy = 1; }));
    EXPECT_TRUE(ChangesPreview([](Description& d) { d.mReversesFieldDominance = true; }));
}

TEST(PreviewNode, FlagsAreThoseOfMedia)
{
    const FakePreviewRef stream(new FakePreview);
    EXPECT_EQ(Build(stream)->GetInformativeFlags(), 0x55u);
    stream->mStream->mFormats = {kPixelFormat_BGRA_4444_8u};
    EXPECT_EQ(Build(stream)->GetInformativeFlags(), 0x54u);
    const TestSupport::FakeMediaInfoRef media(new TestSupport::FakeMediaInfo);
    media->mIsStill = true;
    stream->mMedia = media;
    EXPECT_EQ(Build(stream)->GetInformativeFlags(), 0x5Cu);
}

TEST(PreviewNode, PulldownPutsItsTimesOnTheFilm)
{
    const FakePreviewRef stream(new FakePreview);
    stream->mDescription.mFrameRate = stream->mStream->mRate = FrameRate::FromRational(30000, 1001);
    EXPECT_EQ(Build(stream)->GetFrameRate(), FrameRate(8475667200));
    stream->mDescription.mRemovesPulldown = true;
    EXPECT_EQ(Build(stream)->GetFrameRate(), FrameRate(8475667200)) << "there is no cadence";
    stream->mDescription.mPulldownCadence = kPulldownCadence_WWSSW;
    EXPECT_EQ(Build(stream)->GetFrameRate(), FrameRate(10594584000));
    EXPECT_EQ(Build(stream)->GetChainSteps().front(), Step::RemovePulldown);
    EXPECT_EQ(Property(Build(stream), "MediaNode::StreamFrameRate"), "8475667200") << "the stream's own";
}

class OldRenderer
{
public:
    OldRenderer()
    {
        norvik::debug::DebugDatabase::Instance().SetEntry("DisableNewMediaNodeRenderer", "true");
    }
    ~OldRenderer() { norvik::debug::DebugDatabase::Instance().ClearEntry("DisableNewMediaNodeRenderer"); }
};

TEST(PreviewNode, KeepsTheRangeOfTheStreamUnlessToldNotTo)
{
    const FakePreviewRef stream(new FakePreview);
    EXPECT_TRUE(Build(stream)->KeepsStreamRange());
    EXPECT_EQ(Build(stream)->GetStreamRange(), (MF::TimeRange{Frames(0), Frames(50)}));
    EXPECT_FALSE(Build(stream, true, false)->KeepsStreamRange());
    EXPECT_FALSE(Build(stream, false, true)->KeepsStreamRange());
    const OldRenderer old;
    EXPECT_FALSE(Build(stream)->KeepsStreamRange());
}

TEST(PreviewNode, PathsShowTheSamePicture)
{
    const FakePreviewRef stream(new FakePreview);
    const MF::FrameTime time{Frames(7)};
    const TVK::Guid hash = FrameHashOf(Build(stream), time, Params(64, 36));
    const OldRenderer old;
    EXPECT_EQ(FrameHashOf(Build(stream), time, Params(64, 36)), hash);
}

TEST(PreviewNode, GivesTheStreamsFrames)
{
    const FakePreviewRef stream(new FakePreview);
    const PreviewRef node = Build(stream);
    const MF::FrameTime time{Frames(7)};
    MF::IVideoFrameRef frame;
    node->GetProducerForFrame(time, Params(64, 36))->GetFrame(time, Params(64, 36), frame);
    ASSERT_TRUE(frame);
    EXPECT_EQ(stream->mStream->TakeRequests().back().mTime, Frames(7));
}

TEST(PreviewNode, StreamOfMediaThatNobodyKnowsMoves)
{
    const FakePreviewRef stream(new FakePreview);
    stream->mMedia.reset();
    const PreviewRef node = Build(stream);
    EXPECT_EQ(node->GetInformativeFlags() & MF::kNodeFlag_Still, 0u);
    for (const std::int64_t number : {7, 8})
    {
        const MF::FrameTime time{Frames(number)};
        MF::IVideoFrameRef frame;
        EXPECT_EQ(node->GetProducerForFrame(time, Params(64, 36))->GetFrame(time, Params(64, 36), frame), 0);
        EXPECT_EQ(stream->mStream->TakeRequests().back().mTime, Frames(number));
    }
}

TEST(PreviewNode, StillRunsAtAllTimes)
{
    const FakePreviewRef stream(new FakePreview);
    const TestSupport::FakeMediaInfoRef media(new TestSupport::FakeMediaInfo);
    media->mIsStill = true;
    stream->mMedia = media;
    const PreviewRef node = Build(stream);
    EXPECT_EQ(FrameHashOf(node, MF::FrameTime(Frames(7)), Params(64, 36)),
              FrameHashOf(node, MF::FrameTime(Frames(8)), Params(64, 36)));
    EXPECT_EQ(node->GetChainSteps(), ML::MediaChainSteps{Step::ScaleAndCorrectPixelAspect});
}

TEST(PreviewNode, OfflineOrPendingStreamShowsItsSlate)
{
    for (const bool isPending : {false, true})
    {
        const FakePreviewRef stream(new FakePreview);
        stream->mDescription.mIsOffline = !isPending;
        stream->mDescription.mIsPending = isPending;
        const PreviewRef node = Build(stream);
        const MF::FrameTime time{Frames(7)};
        MF::IVideoFrameRef frame;
        node->GetProducerForFrame(time, Params(64, 36))->GetFrame(time, Params(64, 36), frame);
        EXPECT_TRUE(frame);
        EXPECT_TRUE(stream->mStream->TakeRequests().empty());
        std::vector<ML::IRenderableNodePrefetchRef> items;
        node->GetPrefetchesForFrame(time, Params(64, 36), items);
        EXPECT_TRUE(items.empty());
    }
}

TEST(PreviewNode, StreamThatCannotRenderIsFilled)
{
    const FakePreviewRef stream(new FakePreview);
    stream->mDescription.mFieldType = kFieldType_UpperFirst;
    stream->mStream->mCanRender = false;
    EXPECT_EQ(Build(stream)->GetChainSteps(),
              (ML::MediaChainSteps{Step::ScaleAndCorrectPixelAspect, Step::TimeMix}));
}

TEST(PreviewNode, HelperHandsOutAFrozenNodeThatIsTheSameOnAnyTrack)
{
    const FakePreviewRef stream(new FakePreview);
    const auto hash = [&](const char* inLabel, int inTrack)
    {
        return ML::CreatePreviewNode(stream, ImmutableString::CreateStatic(inLabel), inTrack, true)
            ->GetHashValue();
    };
    EXPECT_EQ(hash("", -1), Build(stream)->GetHashValue());
    EXPECT_EQ(hash("proxy", 3), hash("", -1));
}

} // namespace
