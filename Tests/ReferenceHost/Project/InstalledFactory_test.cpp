#include "MF/RenderableCutlistFactory.h"
#include "TVK/Allocated.h"

#include <gtest/gtest.h>

namespace
{

using MF::IRenderableCutlistRef;
using norviktypes::TickTime;
using TVK::TVKUnknownRef;

// A factory of nothing that tells when it goes.
class Factory final : public TVK::Implements<Factory, MF::IRenderableCutlistFactory>
{
public:
    explicit Factory(void (*inAtEnd)()) : mAtEnd(inAtEnd) {}
    ~Factory() override { mAtEnd(); }

    std::int32_t CreateCutlistForSequence(const TVKUnknownRef&, const Label&, IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t UpdateCutlistForSequence(const TVKUnknownRef&, const Label&, const TickTime&,
                                          const TickTime&, const IRenderableCutlistRef&,
                                          IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t CreateCutlistForTrack(const TVKUnknownRef&, const Label&, IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t UpdateCutlistForTrack(const TVKUnknownRef&, const Label&, const TickTime&, const TickTime&,
                                       const IRenderableCutlistRef&, IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t CreateCutlistForTrackItem(const TVKUnknownRef&, const Label&,
                                           IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t CreateCutlistForClip(const TVKUnknownRef&, IRenderableCutlistRef&) override { return 0; }
    std::int32_t CreateCutlistForMediaContent(const TVKUnknownRef&, const Label&,
                                              IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t CreateCutlistForVideoStream(const TVKUnknownRef&, const Label&,
                                             IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t OverlayCutlist(const IRenderableCutlistRef&, const MF::CutlistOverlays&,
                                IRenderableCutlistRef&) override
    {
        return 0;
    }
    std::int32_t CreateCutlistsForSequence(IRenderableCutlistRef&, IRenderableCutlistRef&, const Label&,
                                           const TVKUnknownRef&, const std::vector<std::uint64_t>&,
                                           const MF::CutlistOverlays&, bool, bool,
                                           IRenderableCutlistRef&) override
    {
        return 0;
    }

private:
    void (*mAtEnd)();
};

TEST(InstalledFactory, IsWhatWasInstalledLast)
{
    EXPECT_FALSE(MF::GetCutlistFactory());
    const MF::IRenderableCutlistFactoryRef first(new Factory([] {}));
    const MF::IRenderableCutlistFactoryRef second(new Factory([] {}));
    MF::SetCutlistFactory(first);
    EXPECT_TRUE(MF::GetCutlistFactory() == first);
    MF::SetCutlistFactory(second);
    EXPECT_TRUE(MF::GetCutlistFactory() == second);
    MF::SetCutlistFactory({});
    EXPECT_FALSE(MF::GetCutlistFactory());
}

bool sHasEnded = false;

// The end of one asks for the other: it would wait for ever if the lock were held.
TEST(InstalledFactory, ThatIsReplacedMayAskForTheNewOne)
{
    MF::SetCutlistFactory(
        MF::IRenderableCutlistFactoryRef(new Factory([] { sHasEnded = !MF::GetCutlistFactory(); })));
    MF::SetCutlistFactory({});
    EXPECT_TRUE(sHasEnded);
}

} // namespace
