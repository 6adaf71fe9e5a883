#include "Tests/MediaNodes/MediaNodeTests.h"
#include "Tests/Support/FailingOperatorNew.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using namespace MediaNodeTests;
using TestSupport::FailingMemory;

// Whether inCall asks for memory.
template <class Call>
bool Allocates(Call&& inCall)
{
    FailingMemory::FailAt(1, true);
    try
    {
        inCall();
    }
    catch (const std::bad_alloc&)
    {
    }
    FailingMemory::Stop();
    return FailingMemory::sHasFailed;
}

// A stack of tracks is hashed for every frame that is shown, found in the cache or not.
TEST(MediaNodeMemory, FrameHashTakesNone)
{
    Scene scene;
    scene.mClip->mBlendsFrames = true;
    scene.SetFieldType(kFieldType_UpperFirst);
    scene.mFieldType = kFieldType_UpperFirst;
    const NodeRef node = scene.Build();
    ML::CutlistRenderParams params = Params(64, 36);
    params.mFieldType = kFieldType_UpperFirst;
    const MF::FrameTime time(Frames(3), Frames(4));
    const auto producer = node->GetProducerForFrame(time, params);
    TVK::Guid hash;
    EXPECT_FALSE(Allocates([&] { producer->GetFrameHash(hash, time, params, {}); }));
    EXPECT_FALSE(hash.IsZero());
    EXPECT_TRUE(Allocates([&] { hash = *std::make_unique<TVK::Guid>(); })) << "and what does would be seen";
}

} // namespace
