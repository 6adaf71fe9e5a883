// What the hash of a clip's frame depends on, and what it doesn't.

#include "TVK/HashValue.h"
#include "Tests/ClipNodes/ClipTests.h"
#include "Tests/Support/FrameTools.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace ClipTests;

namespace
{

const TVK::Guid kBase("00112233-4455-6677-8899-AABBCCDDEEFF");

TVK::Guid MediaHash(const MediaRef& inMedia, const FrameTime& inTime, const TVK::Guid& inBase)
{
    TVK::Guid hash;
    inMedia->GetProducerForFrame(inTime, Params())->GetFrameHash(hash, inTime, Params(), inBase);
    return hash;
}

TEST(ClipHashes, OfAClipWithoutEffectsIsThatOfItsMediaBehindTheName)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(
        media, {}, [](Clip& it) { it.Play(Frames(10)); }, Frames(5));
    TVK::HashValue expected(kBase);
    expected.MixText("ClipNodeProducer FrameHash");
    EXPECT_EQ(FrameHash(*clip, At(8), Params(), kBase), MediaHash(media, At(13), expected.AsGuid()));
}

TEST(ClipHashes, WithEffectsGoThroughNodeMediaAndEachEffect)
{
    const MediaRef media = MakeMedia();
    const EffectRef first = MakeEffect(1);
    const EffectRef second = MakeEffect(2);
    const ClipRef clip = MakeClip(
        media, {first, second}, [](Clip& it) { it.Play(Frames(10)); }, Frames(5));
    TVK::HashValue expected(kBase);
    expected.MixText("ClipNodeProducer FrameHash");
    expected.MixGuid(clip->GetHashValue());
    expected.MixU8(0);
    TVK::Guid digest = MediaHash(media, At(13), expected.AsGuid());
    for (const EffectRef& effect : {first, second})
    {
        effect->GetOperatorForFrame(At(13), Params())
            ->GetFrameHash(digest, At(13), Params(), TVK::Guid(digest));
    }
    EXPECT_EQ(FrameHash(*clip, At(8), Params(), kBase), digest);
    EXPECT_EQ(first->mHashedAt.back(), At(13));
}

TEST(ClipHashes, WithoutMediaIsThatOfTheNode)
{
    const ClipRef clip = MakeClip({});
    TVK::HashValue expected(kBase);
    expected.MixText("ClipNodeProducer FrameHash");
    expected.MixGuid(clip->GetHashValue());
    expected.MixU8(0);
    EXPECT_EQ(FrameHash(*clip, At(8), Params(), kBase), expected.AsGuid());
}

TEST(ClipHashes, OfTheFrameBelowTheFirstEffectSayThatNoEffectRan)
{
    const MediaRef media = MakeMedia();
    const ClipRef clip = MakeClip(media, {MakeEffect(1)}, [](Clip& it) { it.Play(Frames(10)); });
    TVK::HashValue expected(kBase);
    expected.MixText("ClipNodeProducer FrameHash");
    expected.MixGuid(clip->GetHashValue());
    expected.MixU8(1);
    TVK::Guid hash;
    clip->GetProducerBelowOperator(0, At(13), Params())->GetFrameHash(hash, At(13), Params(), kBase);
    EXPECT_EQ(hash, MediaHash(media, At(13), expected.AsGuid()));
}

TEST(ClipHashes, DifferForDifferentMoments)
{
    const ClipRef clip = MakeClip(MakeMedia(), {MakeEffect(1)}, [](Clip& it) { it.Play(Frames(10)); });
    EXPECT_EQ(FrameHash(*clip, At(3)), FrameHash(*clip, At(3)));
    EXPECT_NE(FrameHash(*clip, At(3)), FrameHash(*clip, At(4)));
    EXPECT_NE(FrameHash(*clip, FieldsAt(3, true)), FrameHash(*clip, FieldsAt(3, false)));
}

TEST(ClipHashes, OfAHeldClipAreThoseOfTheHeldFrameAtAllTimes)
{
    const MediaRef media = MakeMedia();
    const auto hold = [](Clip& it)
    {
        it.Play(Frames(10));
        it.Hold(Frames(33), false);
    };
    const ClipRef held = MakeClip(media, {}, hold);
    const ClipRef moving = MakeClip(media, {}, [](Clip& it) { it.Play(Frames(10)); });
    EXPECT_EQ(FrameHash(*held, At(3)), FrameHash(*held, At(4)));
    EXPECT_EQ(FrameHash(*held, At(3)), FrameHash(*moving, At(23))) << "the same picture";
    EXPECT_NE(FrameHash(*held, At(3)), FrameHash(*moving, At(3)));
}

TEST(ClipHashes, BeforeTheMediaBeginsAreThoseOfItsFirstFrame)
{
    const ClipRef clip = MakeClip(
        MakeMedia(), {}, [](Clip& it) { it.Play(Frames(2)); }, Frames(10));
    EXPECT_EQ(FrameHash(*clip, At(3)), FrameHash(*clip, At(8)));
    EXPECT_NE(FrameHash(*clip, At(9)), FrameHash(*clip, At(8)));
}

// The key says which frame it is: whoever finds it in the cache must find what would have been rendered.
TEST(ClipHashes, OfEqualFramesAreEqualAndOfOthersNot)
{
    struct Way
    {
        const char* mName;
        std::function<void(Clip&)> mPrepare;
        TickTime mOffset;
    };
    const std::vector<Way> ways = {
        {"plain", [](Clip& it) { it.Play(Frames(10)); }, {}},
        {"later", [](Clip& it) { it.Play(Frames(11)); }, {}},
        {"shifted", [](Clip& it) { it.Play(Frames(10)); }, Frames(4)},
        {"fast", [](Clip& it) { it.Play(Frames(10), 2.0); }, {}},
        {"backwards", [](Clip& it) { it.Play(Frames(24), -1.0); }, {}},
        {"held",
         [](Clip& it)
         {
             it.Play(Frames(10));
             it.Hold(Frames(15), false);
         },
         {}},
    };
    const MediaRef media = MakeMedia();
    struct Shown
    {
        std::string mWhere;
        int mNumber;
        TVK::Guid mHash;
    };
    std::vector<Shown> shown;
    for (const Way& way : ways)
    {
        const ClipRef clip = MakeClip(media, {}, way.mPrepare, way.mOffset);
        for (std::int64_t frame = 0; frame < 12; ++frame)
        {
            shown.push_back({way.mName + (" " + std::to_string(frame)), Painted(Render(*clip, At(frame))),
                             FrameHash(*clip, At(frame))});
        }
    }
    for (const Shown& a : shown)
    {
        for (const Shown& b : shown)
        {
            EXPECT_EQ(a.mNumber == b.mNumber, a.mHash == b.mHash) << a.mWhere << " and " << b.mWhere;
        }
    }
}

TEST(ClipHashes, AskNeitherMediaNorEffectsToRender)
{
    const MediaRef media = MakeMedia();
    const EffectRef effect = MakeEffect(1);
    FrameHash(*MakeClip(media, {effect}), At(1));
    EXPECT_TRUE(media->mRenderedAt.empty());
    EXPECT_TRUE(effect->mCalls.empty());
}

} // namespace
