#include "RenderableNodeMediaImpl.h"

#include "BE/Utilities.h"
#include "MF/Conversions.h"
#include "ML/InstanceIDs.h"
#include "Tests/MediaNodes/MediaNodeTests.h"
#include "Tests/Support/ContractText.h"
#include "Tests/Support/HashedProperties.h"
#include "norvik/debug/Debug.h"
#include "norvik/utility/Strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace
{

using namespace MediaNodeTests;
using Step = ML::MediaChainStep;

bool Has(const NodeRef& inNode, Step inStep)
{
    const ML::MediaChainSteps& steps = inNode->GetChainSteps();
    return std::find(steps.begin(), steps.end(), inStep) != steps.end();
}

class IdentityTransform final : public TVK::Implements<IdentityTransform, MF::ITimeTransform>
{
public:
    bool mIsIdentity = true;
    TickTime MapTime(const TickTime& inTime, std::uint32_t) const override { return inTime; }
    bool IsIdentity() const override { return mIsIdentity; }
    TVK::Guid GetHash() const override { return TVK::Guid{1, 2}; }
};

TEST(MediaNode, SaysItsKind)
{
    EXPECT_EQ(Scene().Build()->GetNodeType(), ImmutableString::CreateStatic("RenderableNodeMediaImpl"));
}

TEST(MediaNode, ClipOfNothingThrows)
{
    const NodeRef node(new ML::RenderableNodeMediaImpl);
    EXPECT_THROW(node->SetVideoClip({}, {}, false, kFieldType_Invalid, {}, {}, {}, false),
                 TVK::NullInterfaceException);
    EXPECT_THROW(ML::CreateMediaNode({}, {}, false, kFieldType_Invalid, {}, {}, {}),
                 TVK::NullInterfaceException);
}

TEST(MediaNode, ClipWithNeitherMediaNorSequenceThrows)
{
    Scene scene;
    scene.mClip->mMedia = {};
    EXPECT_THROW(scene.Build(), TVK::NullInterfaceException);
}

TEST(MediaNode, IsBuiltOnce)
{
    const Scene scene;
    const NodeRef node = scene.Build();
    EXPECT_EQ(TestSupport::ContractText(
                  [&] { node->SetVideoClip(scene.mClip, {}, false, kFieldType_Invalid, {}, {}, {}, false); }),
              "mMutable|Src/RenderableNodeMediaImpl|ML::RenderableNodeMediaImpl::SetVideoClip");
}

TEST(MediaNode, SameClipOfSameSettingsIsOneNode)
{
    const Scene scene;
    EXPECT_EQ(scene.Build()->GetHashValue(), scene.Build()->GetHashValue());
    EXPECT_FALSE(ChangesHash([](Scene&) {})) << "two clips that say the same";
}

TEST(MediaNode, SaysWhatItReadOfPlainMedia)
{
    Scene scene;
    scene.mLabel = ImmutableString::CreateStatic("proxy");
    scene.mMedia->mStreamGroup = 3;
    scene.mMedia->mStartTimecode = TickTime(77);
    scene.mMedia->mVideoSubType = 42;
    scene.mMedia->mAlpha.mInvert = true;
    scene.mMedia->mOpaqueData = MF::BinaryData("abc", 3);
    scene.mClip->mInPoint = Frames(2);
    scene.mClip->mOutPoint = Frames(9);
    scene.mClip->mSpeed = 0.5;
    scene.mClip->mIsBackwards = true;
    const NodeRef node = scene.Build();
    EXPECT_EQ(Property(node, "MediaNode::MediaInstanceString"), "/media/clip.mov");
    EXPECT_EQ(Property(node, "MediaNode::MediaModState"), "/media/clip.mov");
    EXPECT_EQ(Property(node, "MediaNode::ImplementationID"), "reader");
    EXPECT_EQ(Property(node, "MediaNode::MediaStreamGroup"), "3");
    EXPECT_EQ(Property(node, "MediaNode::MediaStreamLabel"), "proxy");
    EXPECT_EQ(Property(node, "MediaNode::MediaIsDraft"), "0");
    EXPECT_EQ(Property(node, "MediaNode::MediaIsOffline"), "0");
    EXPECT_EQ(Property(node, "MediaNode::MediaIsPending"), "0");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameRate"), "10160640000");
    EXPECT_EQ(Property(node, "MediaNode::StreamAlphaType"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamIgnoreAlpha"), "0");
    EXPECT_EQ(Property(node, "MediaNode::StreamInvertAlpha"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamRemovePulldown"), "0");
    EXPECT_EQ(Property(node, "MediaNode::StartTimecodeOffset"), "77");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameWidth"), "64");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameHeight"), "36");
    EXPECT_EQ(Property(node, "MediaNode::StreamPixelAspectRatioNum"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamPixelAspectRatioDen"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamFieldType"), "0");
    EXPECT_EQ(Property(node, "MediaNode::StreamOpaqueData"), "YWJj");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameVidSubType"), "42");
    EXPECT_EQ(Property(node, "MediaNode::kVideoSegmentProperty_Media_StreamIsContinuousTime"), "false");
    EXPECT_EQ(Property(node, "MediaNode::TrackItemIsMuted"), "0");
    EXPECT_EQ(Property(node, "MediaNode::ClipSpeed"), "0.5");
    EXPECT_EQ(Property(node, "MediaNode::ClipBackwards"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameBlend"), "0");
    EXPECT_EQ(Property(node, "MediaNode::ClipScaleToFramePolicy"), "0");
    EXPECT_EQ(Property(node, "MediaNode::StreamReverseFieldDominance"), "0");
    EXPECT_EQ(Property(node, "MediaNode::DeinterlaceAlways"), "0");
    EXPECT_EQ(Property(node, "MediaNode::RemoveFlicker"), "0");
    EXPECT_EQ(Property(node, "MediaNode::InterlaceConsecutiveFrames"), "0");
    EXPECT_EQ(Property(node, "MediaNode::InPointMediaTimeAsTicks"), std::to_string(Frames(2).GetTicks()));
    EXPECT_EQ(Property(node, "MediaNode::OutPointMediaTimeAsTicks"), std::to_string(Frames(9).GetTicks()));
}

TEST(MediaNode, SaysNothingOfWhatIsNotThere)
{
    const NodeRef node = Scene().Build();
    for (const char* key :
         {"MediaNode::MediaStreamLabel", "MediaNode::ContentStart", "MediaNode::ContentEnd",
          "MediaNode::StreamAlphaMatteColor", "MediaNode::StreamOpaqueData",
          "MediaNode::SelectedColorProfileName", "MediaNode::SelectedColorProfileData",
          "MediaNode::StreamPullDownCadence", "MediaNode::StreamIsRollCrawl", "MediaNode::RollCrawlDuration",
          "MediaNode::SelectedMulticamTrack", "MediaNode::MulticamCameraOrder",
          "MediaNode::SelectedMulticamTrackTimelineID", "MediaNode::NestedSequenceHash",
          "MediaNode::SequenceFieldType", "MediaNode::ScanlineOffsetToImproveVerticalCentering",
          "MediaNode::FrameBlendSpeed"})
    {
        EXPECT_EQ(Property(node, key), "absent") << key;
    }
}

TEST(MediaNode, WhatOnlyInformsIsNotHashed)
{
    EXPECT_FALSE(ChangesHash([](Scene& s) { s.mMedia->mImplementationID = "other"; }));
    EXPECT_FALSE(ChangesHash([](Scene& s) { s.mMedia->mVideoSubType = 9; }));
    EXPECT_FALSE(ChangesHash([](Scene& s) { s.mMedia->mIsContinuousTime = true; }));
    EXPECT_FALSE(ChangesHash([](Scene& s) { s.mClip->mSpeed = 2.0; }));
    EXPECT_FALSE(ChangesHash([](Scene& s) { s.mClip->mIsBackwards = true; }));
    EXPECT_FALSE(ChangesHash([](Scene& s) { s.mClip->mInPoint = Frames(1); }));
    EXPECT_FALSE(ChangesHash([](Scene& s) { s.mClip->mOutPoint = Frames(1); }));
}

TEST(MediaNode, WhatChangesThePictureIsHashed)
{
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMaster->mMediaInstance = u"/media/other.mov"; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mStreamGroup = 1; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mLabel = ImmutableString::CreateStatic("proxy"); }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mAvailability = BE::MediaAvailability::kOffline; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mAvailability = BE::MediaAvailability::kPending; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mStream->mRate = FrameRate::FromRational(24, 1); }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mAlpha.mType = kAlphaChannel_Premultiplied; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mAlpha.mIgnore = true; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mAlpha.mInvert = true; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mStartTimecode = TickTime(1); }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.SetSize(62, 36); }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.SetSize(64, 34); }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mClip->mPixelAspectRatio = {2, 1}; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mClip->mPixelAspectRatio = {2, 2}; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mStream->mFieldType = kFieldType_UpperFirst; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mOpaqueData = MF::BinaryData("x", 1); }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mColorProfile.mName = "wide"; }));
    EXPECT_TRUE(ChangesHash(
        [](Scene& s) { s.mMedia->mColorProfile.mData = std::make_shared<std::vector<std::uint8_t>>(3); }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mPulldownCadence = kPulldownCadence_WWSSW; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mHasPulldownRemoval = true; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mMedia->mHasContentRange = true; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mIsMuted = true; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mFieldType = kFieldType_UpperFirst; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mClip->mBlendsFrames = true; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mClip->mReversesFieldDominance = true; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mClip->mFieldOption = BE::kFieldOption_Deinterlace; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mClip->mFieldOption = BE::kFieldOption_RemoveFlicker; }));
    EXPECT_TRUE(ChangesHash([](Scene& s) { s.mClip->mFieldOption = BE::kFieldOption_InterlaceConsecutive; }));
}

// Media that says of itself all that there is to say.
TEST(MediaNode, HashIsOfThesePropertiesAndNoOthers)
{
    Scene scene;
    scene.mLabel = ImmutableString::CreateStatic("left");
    scene.mRect = {0, 0, 720, 480};
    scene.SetSize(720, 486);
    scene.mFieldType = kFieldType_LowerFirst;
    TestSupport::FakeMediaInfo& media = *scene.mMedia;
    media.mIsContinuousTime = true;
    media.mHasContentRange = true;
    media.mContentRange = {Frames(10), Frames(90)};
    media.mAlpha.mType = kAlphaChannel_Premultiplied;
    media.mHasPulldownRemoval = true;
    media.mPulldownCadence = norviktypes::kPulldownCadence_WWSSW;
    media.mIsRollCrawl = true;
    media.mOpaqueData = MF::BinaryData("abc", 3);
    media.mColorProfile.mName = "wide";
    media.mColorProfile.mData = std::make_shared<std::vector<std::uint8_t>>(3);
    const std::set<std::string> expected = {
        "MediaNode::ClipScaleToFramePolicy",
        "MediaNode::ContentEnd",
        "MediaNode::ContentStart",
        "MediaNode::DeinterlaceAlways",
        "MediaNode::InterlaceConsecutiveFrames",
        "MediaNode::MediaIsDraft",
        "MediaNode::MediaIsOffline",
        "MediaNode::MediaIsPending",
        "MediaNode::MediaModState",
        "MediaNode::MediaStreamGroup",
        "MediaNode::MediaStreamLabel",
        "MediaNode::RemoveFlicker",
        "MediaNode::RollCrawlDuration",
        "MediaNode::RollCrawlStart",
        "MediaNode::ScanlineOffsetToImproveVerticalCentering",
        "MediaNode::SelectedColorProfileData",
        "MediaNode::SelectedColorProfileName",
        "MediaNode::SequenceFieldType",
        "MediaNode::StartTimecodeOffset",
        "MediaNode::StreamAlphaMatteColor",
        "MediaNode::StreamAlphaType",
        "MediaNode::StreamFieldType",
        "MediaNode::StreamFrameBlend",
        "MediaNode::StreamFrameHeight",
        "MediaNode::StreamFrameRate",
        "MediaNode::StreamFrameWidth",
        "MediaNode::StreamIgnoreAlpha",
        "MediaNode::StreamInvertAlpha",
        "MediaNode::StreamIsRollCrawl",
        "MediaNode::StreamOpaqueData",
        "MediaNode::StreamPixelAspectRatioDen",
        "MediaNode::StreamPixelAspectRatioNum",
        "MediaNode::StreamPullDownCadence",
        "MediaNode::StreamRemovePulldown",
        "MediaNode::StreamReverseFieldDominance",
        "MediaNode::TrackItemIsMuted",
    };
    EXPECT_EQ(TestSupport::HashedKeys([&] { return scene.BuildUnfrozen(); }), expected);
}

TEST(MediaNode, PolicyIsHashedWhereItMeansSomething)
{
    Scene none;
    none.SetSize(32, 18);
    Scene fit = none;
    fit.mClip = TestSupport::FakeClipRef(new TestSupport::FakeClip);
    fit.mClip->mMedia = none.mMedia;
    fit.mClip->mMasterClip = none.mMaster;
    fit.mClip->mVideoSource = none.mStream;
    fit.mClip->mFrameRect = none.mClip->mFrameRect;
    fit.mClip->mScaleToFramePolicy = BE::kScaleToFrame_Fit;
    EXPECT_NE(none.Build()->GetHashValue(), fit.Build()->GetHashValue());
    EXPECT_EQ(Property(fit.Build(), "MediaNode::ClipScaleToFramePolicy"), "1");
}

TEST(MediaNode, ClipLikeItsSequenceNeedsNoPolicyAndIsScaledAllTheSame)
{
    Scene scene;
    scene.mClip->mScaleToFramePolicy = BE::kScaleToFrame_Fill;
    const NodeRef node = scene.Build();
    EXPECT_EQ(Property(node, "MediaNode::ClipScaleToFramePolicy"), "0");
    EXPECT_TRUE(Has(node, Step::ScaleAndCorrectPixelAspect));
    scene.mClip->mPixelAspectRatio = {4, 3};
    EXPECT_EQ(Property(scene.Build(), "MediaNode::ClipScaleToFramePolicy"), "2") << "pixels of another shape";
}

TEST(MediaNode, MatteIsSaidOfPremultipliedAlphaOnly)
{
    Scene scene;
    scene.mMedia->mAlpha.mMatte = TVK::ParamColor<unsigned long>::FromComponents(1, 2, 3, 0);
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamAlphaMatteColor"), "absent");
    scene.mMedia->mAlpha.mType = kAlphaChannel_Premultiplied;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamAlphaMatteColor"),
              std::to_string(1 + (2 << 8) + (3 << 16)));
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamAlphaType"),
              std::to_string(MF::BEToSDKAlphaType(kAlphaChannel_Premultiplied, scene.mMedia->mAlpha.mMatte)));
}

TEST(MediaNode, AlphaThatNobodyTellsIsTheStreams)
{
    Scene scene;
    scene.mMedia->mAlpha.mType = kAlphaChannel_None;
    scene.mStream->mAlphaType = kAlphaChannel_Premultiplied;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamAlphaType"), "2");
}

TEST(MediaNode, StateOfItsOwnStandsForTheFile)
{
    Scene scene;
    scene.mMedia->mHasModificationState = true;
    scene.mMedia->mModificationState = TVK::Guid("01234567-89AB-CDEF-0123-456789ABCDEF");
    const NodeRef node = scene.Build();
    std::string wide;
    for (const char letter : std::string("01234567-89AB-CDEF-0123-456789ABCDEF"))
    {
        wide += {letter, '\0'};
    }
    EXPECT_EQ(Property(node, "MediaNode::MediaModState"),
              BE::EncodeBinaryDataToUTF8String(wide.data(), wide.size()).c_str());
    scene.mMaster->mMediaInstance = u"/media/moved.mov";
    EXPECT_EQ(scene.Build()->GetHashValue(), node->GetHashValue())
        << "a file that was moved is the same file";
}

TEST(MediaNode, MediaInMemoryGoesByItsContent)
{
    Scene scene;
    scene.mMedia->mIsFileSource = false;
    const NodeRef node = scene.Build();
    EXPECT_NE(Property(node, "MediaNode::MediaModState"), "/media/clip.mov");
    scene.mMedia->mContentHash = "changed";
    EXPECT_NE(scene.Build()->GetHashValue(), node->GetHashValue());
}

TEST(MediaNode, ClipsWithoutAMasterClipAreToldApartByTheirFiles)
{
    Scene scene;
    scene.mClip->mMasterClip = {};
    EXPECT_EQ(Property(scene.Build(), "MediaNode::MediaModState"), "/media/clip.mov");
    scene.mMedia->mPath = {};
    const NodeRef node = scene.Build();
    EXPECT_NE(Property(node, "MediaNode::MediaModState"), "absent");
    scene.mMedia->mContentHash = "other";
    EXPECT_NE(scene.Build()->GetHashValue(), node->GetHashValue());
}

TEST(MediaNode, ColourProfileIsSaidByNameAndBytes)
{
    Scene scene;
    scene.mMedia->mColorProfile.mName = "wide";
    scene.mMedia->mColorProfile.mData = std::make_shared<std::vector<std::uint8_t>>();
    EXPECT_EQ(Property(scene.Build(), "MediaNode::SelectedColorProfileName"), "wide");
    EXPECT_EQ(Property(scene.Build(), "MediaNode::SelectedColorProfileData"), "absent")
        << "a profile of no size";
    scene.mMedia->mColorProfile.mData =
        std::make_shared<std::vector<std::uint8_t>>(std::vector<std::uint8_t>{'a', 'b', 'c'});
    EXPECT_EQ(Property(scene.Build(), "MediaNode::SelectedColorProfileData"), "YWJj");
}

TEST(MediaNode, ContentThatIsTrimmedMovesThePoints)
{
    Scene scene;
    scene.mMedia->mHasContentRange = true;
    scene.mMedia->mContentRange = {Frames(10), Frames(30)};
    scene.mClip->mInPoint = Frames(1);
    scene.mClip->mOutPoint = Frames(5);
    const NodeRef node = scene.Build();
    EXPECT_EQ(Property(node, "MediaNode::ContentStart"), std::to_string(Frames(10).GetTicks()));
    EXPECT_EQ(Property(node, "MediaNode::ContentEnd"), std::to_string(Frames(30).GetTicks()));
    EXPECT_EQ(Property(node, "MediaNode::InPointMediaTimeAsTicks"), std::to_string(Frames(11).GetTicks()));
    EXPECT_EQ(Property(node, "MediaNode::OutPointMediaTimeAsTicks"), std::to_string(Frames(15).GetTicks()));
}

TEST(MediaNode, RollSaysWhichPartOfItPlays)
{
    Scene scene;
    scene.mMedia->mIsRollCrawl = true;
    scene.mClip->mInPoint = Frames(2);
    scene.mClip->mOutPoint = Frames(9);
    const NodeRef node = scene.Build();
    EXPECT_EQ(Property(node, "MediaNode::StreamIsRollCrawl"), "1");
    EXPECT_EQ(Property(node, "MediaNode::RollCrawlDuration"), std::to_string(Frames(7).GetTicks()));
    scene.mClip->mInPoint = Frames(3);
    scene.mClip->mOutPoint = Frames(10);
    EXPECT_NE(scene.Build()->GetHashValue(), node->GetHashValue()) << "another part of the same length";
}

TEST(MediaNode, PulldownMakesFilmOfTheStream)
{
    Scene scene;
    scene.mStream->mRate = FrameRate::FromRational(30000, 1001);
    scene.SetFieldType(kFieldType_LowerFirst);
    scene.mMedia->mPulldownCadence = kPulldownCadence_SSWWW;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamPullDownCadence"), "3");
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamRemovePulldown"), "0");
    EXPECT_FALSE(Has(scene.Build(), Step::RemovePulldown)) << "a cadence alone removes nothing";

    scene.mMedia->mHasPulldownRemoval = true;
    const NodeRef node = scene.Build();
    EXPECT_EQ(Property(node, "MediaNode::StreamRemovePulldown"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameRate"), "10594584000");
    EXPECT_EQ(Property(node, "MediaNode::StreamFieldType"), "2");
    EXPECT_TRUE(Has(node, Step::RemovePulldown));
    FrameRate rate;
    node->GetSettings().mSource->GetFrameRate(rate);
    EXPECT_EQ(rate, FrameRate(10594584000)) << "the chain begins at five fourths of it";
    scene.mMedia->mIsProgressiveWithPulldownRemoved = true;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamFieldType"), "0");
    scene.mMedia->mAvailability = BE::MediaAvailability::kOffline;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamFieldType"), "2")
        << "offline media is not looked into";
}

TEST(MediaNode, OfflineMediaIsNoFailure)
{
    Scene scene;
    scene.mMedia->mAvailability = BE::MediaAvailability::kOffline;
    const NodeRef node = scene.Build();
    EXPECT_FALSE(node->GetSettings().mSource);
    EXPECT_EQ(Property(node, "MediaNode::MediaIsOffline"), "1");
    EXPECT_EQ(Property(node, "MediaNode::MediaIsPending"), "0");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameRate"), "0");
}

TEST(MediaNode, ClipWithoutAStreamCountsAsOffline)
{
    Scene scene;
    scene.mClip->mVideoSource = {};
    const NodeRef node = scene.Build();
    EXPECT_FALSE(node->GetSettings().mSource);
    EXPECT_EQ(Property(node, "MediaNode::MediaIsOffline"), "1");
    EXPECT_EQ(Property(node, "MediaNode::StreamFrameWidth"), "64") << "the clip knows";
}

TEST(MediaNode, InstanceTextIsHashedOnlyWhileMediaIsPending)
{
    const auto hash = [](BE::MediaAvailability inState, const char16_t* inInstance)
    {
        Scene scene;
        scene.mMedia->mHasModificationState = true;
        scene.mMedia->mModificationState = TVK::Guid{7, 7};
        scene.mMedia->mAvailability = inState;
        scene.mMaster->mMediaInstance = inInstance;
        return scene.Build()->GetHashValue();
    };
    using State = BE::MediaAvailability;
    EXPECT_EQ(hash(State::kOnline, u"a"), hash(State::kOnline, u"b"));
    EXPECT_EQ(hash(State::kOffline, u"a"), hash(State::kOffline, u"b"));
    EXPECT_NE(hash(State::kPending, u"a"), hash(State::kPending, u"b"));
}

TEST(MediaNode, FlagsTellStillAndOpaque)
{
    Scene scene;
    EXPECT_EQ(scene.Build()->GetInformativeFlags(), 0x55u);
    scene.mMedia->mIsStill = true;
    EXPECT_EQ(scene.Build()->GetInformativeFlags(), 0x5Du);
    scene.mStream->mFormats = {kPixelFormat_BGRA_4444_8u};
    EXPECT_EQ(scene.Build()->GetInformativeFlags(), 0x5Cu);
    scene.mMedia->mIsStill = false;
    EXPECT_EQ(scene.Build()->GetInformativeFlags(), 0x54u);
}

TEST(MediaNode, AlphaThatCountsMakesItTransparent)
{
    Scene scene;
    const auto isOpaque = [&] { return (scene.Build()->GetInformativeFlags() & MF::kNodeFlag_Opaque) != 0; };
    scene.mStream->mFormats = {kPixelFormat_BGRX_4444_8u, kPixelFormat_BGRP_4444_8u};
    EXPECT_FALSE(isOpaque()) << "one format with alpha is enough";
    scene.mStream->mFormats = {kPixelFormat_Any};
    EXPECT_FALSE(isOpaque());
    scene.mMedia->mAlpha.mIgnore = true;
    EXPECT_TRUE(isOpaque());
    scene.mMedia->mAlpha.mIgnore = false;
    scene.mMedia->mAlpha.mType = kAlphaChannel_Opaque;
    EXPECT_TRUE(isOpaque()) << "a stream without alpha converts to formats that have it";
}

TEST(MediaNode, PictureSmallerThanTheSequenceIsNotOpaque)
{
    Scene scene;
    const auto isOpaque = [&] { return (scene.Build()->GetInformativeFlags() & MF::kNodeFlag_Opaque) != 0; };
    scene.SetSize(62, 36);
    EXPECT_FALSE(isOpaque());
    scene.SetSize(64, 34);
    EXPECT_FALSE(isOpaque());
    scene.SetSize(66, 38);
    EXPECT_TRUE(isOpaque());
    scene.SetSize(32, 32);
    scene.mClip->mScaleToFramePolicy = BE::kScaleToFrame_Fit;
    EXPECT_FALSE(isOpaque());
    scene.mClip->mScaleToFramePolicy = BE::kScaleToFrame_Fill;
    EXPECT_TRUE(isOpaque());
    scene.mClip->mScaleToFramePolicy = BE::kScaleToFrame_None;
    scene.mRect = {};
    EXPECT_TRUE(isOpaque()) << "there is no sequence to cover";
}

TEST(MediaNode, BlendIsForMovingPicturesAtPlainTimes)
{
    Scene scene;
    scene.mClip->mBlendsFrames = true;
    EXPECT_TRUE(Has(scene.Build(), Step::TimeBlend));
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamFrameBlend"), "1");
    scene.mClip->mTimeMode = 1;
    EXPECT_TRUE(Has(scene.Build(), Step::TimeMix));
    EXPECT_EQ(Property(scene.Build(), "MediaNode::StreamFrameBlend"), "0");
    scene.mClip->mTimeMode = 0;
    scene.mMedia->mIsStill = true;
    EXPECT_FALSE(Has(scene.Build(), Step::TimeMix));
    EXPECT_FALSE(Has(scene.Build(), Step::TimeBlend));
}

TEST(MediaNode, SpeedIsHashedWhereFramesAreBlended)
{
    const auto hash = [](double inSpeed, bool inBackwards)
    {
        Scene scene;
        scene.mClip->mBlendsFrames = true;
        scene.mClip->mSpeed = inSpeed;
        scene.mClip->mIsBackwards = inBackwards;
        return scene.Build()->GetHashValue();
    };
    EXPECT_NE(hash(1.0, false), hash(2.0, false));
    EXPECT_NE(hash(2.0, true), hash(2.0, false));
    EXPECT_EQ(hash(2.0, false), hash(2.0, false));
}

TEST(MediaNode, TimeModeDeinterlacesFieldsWhereTheClipWants)
{
    Scene scene;
    scene.SetFieldType(kFieldType_UpperFirst);
    scene.mFieldType = kFieldType_UpperFirst;
    scene.mClip->mDeinterlacesOnTimeMode = true;
    EXPECT_FALSE(Has(scene.Build(), Step::Deinterlace));
    scene.mClip->mTimeMode = 2;
    EXPECT_TRUE(Has(scene.Build(), Step::Deinterlace));
    scene.mClip->mDeinterlacesOnTimeMode = false;
    EXPECT_FALSE(Has(scene.Build(), Step::Deinterlace));
}

TEST(MediaNode, IdentityIsNoTimeTransform)
{
    Scene scene;
    const TVK::InterfaceRef<IdentityTransform> transform(new IdentityTransform);
    scene.mClip->mTimeTransform = transform;
    EXPECT_FALSE(scene.Build()->GetSettings().mTimeTransform);
    transform->mIsIdentity = false;
    EXPECT_TRUE(scene.Build()->GetSettings().mTimeTransform);
}

TEST(MediaNode, StreamThatCannotRenderIsFilled)
{
    Scene scene;
    scene.SetFieldType(kFieldType_LowerFirst);
    scene.mFieldType = kFieldType_UpperFirst;
    EXPECT_TRUE(Has(scene.Build(), Step::FieldReverse));
    scene.mStream->mCanRender = false;
    EXPECT_FALSE(Has(scene.Build(), Step::FieldReverse));
    EXPECT_TRUE(scene.Build()->GetSettings().mSource);
}

TEST(MediaNode, FieldOrderIsHashedWhereTheClipConformsToAnother)
{
    Scene scene;
    scene.mFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::SequenceFieldType"), "2");
    scene.mClip->mConformFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::SequenceFieldType"), "absent");
    scene.mFieldType = kFieldType_Invalid;
    EXPECT_EQ(Property(scene.Build(), "MediaNode::SequenceFieldType"), "-1");
}

struct Centring
{
    std::int32_t mHeight;
    std::int32_t mOffset;
    bool mIsNegative;
};

TEST(MediaNode, CentringKeepsFieldsOnTheirLines)
{
    // 487 has its lines paired, and is 488 high.
    for (const Centring& expected :
         {Centring{487, 0, true}, Centring{486, 1, true}, Centring{484, 0, true}, Centring{482, 1, true},
          Centring{480, 0, false}, Centring{478, -1, false}, Centring{476, 0, false},
          Centring{474, -1, false}})
    {
        Scene scene;
        scene.mRect = {0, 0, 720, 480};
        scene.SetSize(720, expected.mHeight);
        scene.SetFieldType(kFieldType_LowerFirst);
        scene.mFieldType = kFieldType_LowerFirst;
        const NodeRef node = scene.Build();
        EXPECT_EQ(node->GetScanlineOffset(), expected.mOffset) << expected.mHeight;
        EXPECT_EQ(node->IsScanlineOffsetNegative(), expected.mIsNegative) << expected.mHeight;
        EXPECT_EQ(Property(node, "MediaNode::ScanlineOffsetToImproveVerticalCentering"),
                  expected.mOffset == 0 ? "absent" : std::to_string(expected.mOffset));
    }
}

TEST(MediaNode, AnOddHeightThatIsNotPairedIsCentredByWholeLines)
{
    Scene scene;
    scene.mRect = {0, 0, 720, 480};
    scene.SetSize(720, 487);
    scene.mFieldType = kFieldType_LowerFirst;
    scene.mClip->mConformFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(scene.Build()->GetScanlineOffset(), 1);
}

TEST(MediaNode, LinesOfAClipThatTakesItsFieldsFromTheSourceArePaired)
{
    Scene scene;
    scene.mRect = {0, 0, 720, 480};
    scene.SetSize(720, 485);
    scene.mFieldType = kFieldType_LowerFirst;
    scene.mClip->mConformFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(scene.Build()->GetScanlineOffset(), 0);
    scene.mClip->mFieldType = kFieldType_FromSource;
    EXPECT_EQ(scene.Build()->GetScanlineOffset(), 1) << "486 lines";
}

TEST(MediaNode, CentringIsForFieldsOfTheSequencesOrder)
{
    Scene scene;
    scene.mRect = {0, 0, 720, 480};
    scene.SetSize(720, 486);
    scene.SetFieldType(kFieldType_UpperFirst);
    scene.mFieldType = kFieldType_LowerFirst;
    EXPECT_EQ(scene.Build()->GetScanlineOffset(), 0);
    scene.mMedia->mIsContinuousTime = true;
    EXPECT_EQ(scene.Build()->GetScanlineOffset(), 1);
    EXPECT_EQ(Property(scene.Build(), "MediaNode::kVideoSegmentProperty_Media_StreamIsContinuousTime"),
              "true");
    scene.mMedia->mIsContinuousTime = false;
    scene.mClip->mConformFieldType = kFieldType_FromSource;
    EXPECT_EQ(scene.Build()->GetScanlineOffset(), 1);
    scene.mFieldType = kFieldType_Progressive;
    EXPECT_EQ(scene.Build()->GetScanlineOffset(), 0);
    EXPECT_FALSE(scene.Build()->IsScanlineOffsetNegative());
}

TEST(MediaNode, GeometryIsAFaceOfTheNode)
{
    Scene scene;
    scene.SetSize(32, 18);
    scene.mClip->mScaleToFramePolicy = BE::kScaleToFrame_Fit;
    const MF::IRenderableNodeRef node = scene.Build();
    const ML::IRenderableMediaGeometryRef geometry(node);
    ASSERT_TRUE(geometry);
    EXPECT_EQ(geometry->GetScaledFrameRect(Params(64, 36)), RectOf(0, 0, 64, 36));
    ML::CutlistRenderParams half = Params(64, 36);
    half.mWidth = 32;
    half.mHeight = 18;
    half.mScaleX = half.mScaleY = 0.5;
    EXPECT_EQ(geometry->GetScaledFrameRect(half), RectOf(0, 0, 32, 18));
}

TEST(MediaNode, PlugInsReachTheClipByItsNumberAsLongAsTheNodeLives)
{
    Scene scene;
    scene.mFieldType = kFieldType_UpperFirst;
    NodeRef node = scene.Build();
    const auto id = static_cast<std::uint32_t>(std::stoul(Property(node, "MediaNode::ClipID")));
    const TVK::TVKUnknownRef object = ML::GetRefFromCallbackInstanceID(id);
    const ML::ClipSuiteObjectRef clip(object);
    ASSERT_TRUE(clip);
    EXPECT_TRUE(clip->GetSource() == scene.mStream);
    const TVK::InterfaceRef<ML::VideoStreamWithSequenceFieldTypeSuiteObject> own(object);
    EXPECT_EQ(own->GetSequenceFieldType(), kFieldType_UpperFirst);
    EXPECT_TRUE(own->GetClip() == scene.mClip);
    node.reset();
    EXPECT_FALSE(ML::GetRefFromCallbackInstanceID(id)) << "also where somebody holds on to it";
}

TEST(MediaNode, PlugInsDoNotKeepTheClip)
{
    const Scene scene;
    NodeRef node = scene.Build();
    const auto id = static_cast<std::uint32_t>(std::stoul(Property(node, "MediaNode::ClipID")));
    const TVK::WeakRef<TVKUnknown> weak{ML::GetRefFromCallbackInstanceID(id)};
    EXPECT_TRUE(weak.Resolve());
    node.reset();
    EXPECT_FALSE(weak.Resolve());
}

// Gives the setting for the length of a test.
class Comparing
{
public:
    Comparing() { norvik::debug::DebugDatabase::Instance().SetEntry("CompareMediaNodeRenderers", "true"); }
    ~Comparing() { norvik::debug::DebugDatabase::Instance().ClearEntry("CompareMediaNodeRenderers"); }
};

TEST(MediaNode, ComparingFlipsTheFieldsOfPlainClips)
{
    Scene scene;
    scene.SetFieldType(kFieldType_UpperFirst);
    const auto isFlipped = [&]
    {
        const auto node =
            ML::CreateMediaNode(scene.mClip, {}, false, kFieldType_UpperFirst, scene.mRect, {}, kRate);
        const MF::IRenderableNodeRef asNode(node);
        return static_cast<ML::RenderableNodeMediaImpl*>(asNode.get())
            ->GetSettings()
            .mFlipDominanceForCompare;
    };
    EXPECT_FALSE(isFlipped());
    const Comparing comparing;
    EXPECT_TRUE(isFlipped());
    scene.mClip->mKind = 1;
    EXPECT_FALSE(isFlipped());
}

TEST(MediaNode, HelperHandsOutAFrozenNode)
{
    const Scene scene;
    const MF::IRenderableNodeRef node =
        ML::CreateMediaNode(scene.mClip, {}, false, kFieldType_Progressive, scene.mRect, {}, kRate);
    EXPECT_EQ(node->GetHashValue(), scene.Build()->GetHashValue());
}

TEST(MediaNode, ClipWithoutASequenceHasANodeToo)
{
    const Scene scene;
    const MF::IRenderableNodeRef node =
        ML::CreateMediaNode(scene.mClip, {}, false, kFieldType_Invalid, {}, {}, kFrameRate_Zero);
    EXPECT_EQ(node->GetInformativeFlags(), 0x55u);
    EXPECT_EQ(Property(node, "MediaNode::SequenceFieldType"), "-1");
}

// Media of a clip that can be copied as it is.
Scene PassThrough()
{
    Scene scene;
    scene.mStream->mSmartFormats = {kPixelFormat_BGRX_4444_8u, kPixelFormat_UYVY_422_8u_601};
    scene.mMedia->mHasContentRange = true;
    scene.mMedia->mContentRange = {Frames(10), Frames(30)};
    scene.mMedia->mFirstTime = Frames(3);
    scene.mMedia->mDuration = Frames(100);
    return scene;
}

MF::SmartRenderSegments SegmentsOf(const Scene& inScene,
                                   const PixelFormat& inFormat = kPixelFormat_BGRX_4444_8u)
{
    MF::SmartRenderSegments segments;
    inScene.Build()->GetSmartRenderSegments(Frames(4), Frames(8), inFormat, false, segments);
    return segments;
}

TEST(MediaNode, MediaThatPassesThroughCanBeCopied)
{
    const Scene scene = PassThrough();
    const NodeRef node = scene.Build();
    MF::SmartRenderSegments segments;
    node->GetSmartRenderSegments(Frames(4), Frames(8), kPixelFormat_BGRX_4444_8u, false, segments);
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments.begin()->first, Frames(4));
    MF::SmartRenderSegment expected;
    expected.mClipInstanceID = static_cast<std::uint32_t>(std::stoul(Property(node, "MediaNode::ClipID")));
    expected.mStart = Frames(4);
    expected.mEnd = Frames(8);
    expected.mMediaStart = Frames(14);
    expected.mMediaEnd = Frames(18);
    expected.mMediaPath = u"/media/clip.mov";
    expected.mMediaFirstTime = Frames(3);
    expected.mMediaLastTime = Frames(103);
    EXPECT_EQ(segments.begin()->second, expected);
}

TEST(MediaNode, AStretchThatIsThereAlreadyStays)
{
    MF::SmartRenderSegments segments;
    segments[Frames(4)].mClipInstanceID = 4711;
    PassThrough().Build()->GetSmartRenderSegments(Frames(4), Frames(8), kPixelFormat_BGRX_4444_8u, false,
                                                  segments);
    EXPECT_EQ(segments[Frames(4)].mClipInstanceID, 4711u);
}

TEST(MediaNode, OtherFormatsAreNotCopied)
{
    EXPECT_EQ(SegmentsOf(PassThrough(), kPixelFormat_UYVY_422_8u_601).size(), 1u);
    EXPECT_TRUE(SegmentsOf(PassThrough(), kPixelFormat_BGRA_4444_8u).empty());
}

TEST(MediaNode, WhatIsConformedIsNotCopied)
{
    const auto isCopied = [](auto inChange)
    {
        Scene scene = PassThrough();
        inChange(scene);
        return !SegmentsOf(scene).empty();
    };
    EXPECT_TRUE(isCopied([](Scene&) {}));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mMedia->mAvailability = BE::MediaAvailability::kPending; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mMedia->mAvailability = BE::MediaAvailability::kOffline; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mClip->mFrameRect = {0, 0, 62, 36}; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mStream->mBounds = {0, 0, 62, 36}; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mClip->mPixelAspectRatio = {10, 11}; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mStream->mFieldType = kFieldType_UpperFirst; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mFrameRate = FrameRate::FromRational(24, 1); }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mClip->mFieldOption = BE::kFieldOption_RemoveFlicker; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mClip->mReversesFieldDominance = true; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mFlips = true; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mClip->mSpeed = 1.0000001; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mClip->mIsBackwards = true; }));
    EXPECT_FALSE(isCopied([](Scene& s) { s.mClip->mTimeMode = 1; }));
    EXPECT_FALSE(isCopied(
        [](Scene& s)
        {
            s.mMedia->mHasPulldownRemoval = true;
            s.mMedia->mPulldownCadence = kPulldownCadence_WWSSW;
            s.mFrameRate = kRate * 4 / 5;
        }));
}

TEST(MediaNode, MediaAloneHasNoStillRangesAndNoCaptions)
{
    const NodeRef node = Scene().Build();
    std::vector<MF::TimeRange> ranges;
    node->GetStillRanges(kTime_Min, kTime_Max, ranges);
    EXPECT_TRUE(ranges.empty());
    EXPECT_FALSE(node->HasCaptions());
}

} // namespace
