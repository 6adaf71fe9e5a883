#include "BE/IMediaDescription.h"
#include "Tests/ReferenceHost/Media/OpenedMedia.h"
#include "Tests/ReferenceHost/Media/StillFiles.h"
#include "Tests/Support/Paths.h"

#include <gtest/gtest.h>

namespace
{

using namespace MediaTests;

TVK::Guid StateOf(const std::string& inPath)
{
    const BE::IMediaDescriptionRef description(OpenOrFail(inPath));
    TVK::Guid state;
    EXPECT_TRUE(description && description->GetModificationState(state));
    EXPECT_FALSE(state.IsZero());
    return state;
}

TEST(MediaObject, StateNamesTheMedia)
{
    EXPECT_EQ(StateOf("bars:"), StateOf("bars:"));
    EXPECT_NE(StateOf("bars:"), StateOf("counter:"));
    EXPECT_NE(StateOf("counter:rate=25"), StateOf("counter:rate=50"));
}

TEST(MediaObject, StateIsThatOfTheStreamsFrames)
{
    const BE::IMediaInfoRef media = OpenOrFail("counter:");
    TVK::Guid state;
    BE::IMediaDescriptionRef(media)->GetModificationState(state);
    TVK::Guid source;
    BE::IVideoSourceRef(media->GetStream(BE::kMediaType_Video, 0))->GetSourceID(source);
    EXPECT_EQ(state, source);
}

TEST(MediaObject, FileThatIsRewrittenIsAnother)
{
    const TestSupport::ScratchFolder scratch;
    const std::string path = scratch.File("card.png");
    RunFFmpeg({"-f", "lavfi", "-i", "color=red:s=16x16", "-frames:v", "1", path});
    const TVK::Guid before = StateOf(path);
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48", "-frames:v", "1", "-y", path});
    EXPECT_NE(StateOf(path), before);
}

} // namespace
