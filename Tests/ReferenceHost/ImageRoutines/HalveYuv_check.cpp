#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "ReferenceHost/ImageRoutines/CpuTarget.h"
#include "ReferenceHost/ImageRoutines/HalveYuv.h"
#include "ReferenceHost/ImageRoutines/Reference.h"
#include "TestPictures.h"
#include "TestPlanes.h"
#include "Tests/Support/Scale.h"

namespace
{

using TestPictures::Memory;
using TestPictures::PlaneMemory;
using TestPictures::Told;

constexpr std::uint32_t kTargets[] = {TestPictures::kBGRA8, TestPictures::kBGRP8, TestPictures::kBGRX8};

// Something that is halved by its own kernels.
ir::PlanarDescription RandomVideo(std::mt19937& ioRandom)
{
    const auto pick = [&](std::uint32_t inCount) { return static_cast<std::int32_t>(ioRandom() % inCount); };
    static constexpr ir::Matrix kMatrices[] = {ir::Matrix::k601, ir::Matrix::k709,
                                               ir::Matrix::k2020NonConstant, ir::Matrix::k240M};
    ir::PlanarDescription description;
    description.width = 2 * (1 + pick(150));
    description.height = 2 * (1 + pick(8));
    description.isFullRange = pick(2) == 0;
    description.matrix = kMatrices[pick(4)];
    description.chromaShiftX = pick(4) == 0 ? 0 : 1;
    description.chromaShiftY = description.chromaShiftX == 0 ? 0 : pick(2);
    description.bitsPerSample = pick(2) == 0 ? 8 : 8 + pick(description.chromaShiftY == 1 ? 3 : 5);
    description.siting = pick(2) == 0 ? ir::ChromaSiting::kLeft : ir::ChromaSiting::kCenter;
    if (description.chromaShiftY == 1 && pick(3) == 0)
    {
        description.layout = ir::PlaneLayout::kSemiPlanar;
    }
    if (description.chromaShiftX == 1 && description.chromaShiftY == 0)
    {
        description.width = (description.width + 2) / 4 * 4;
    }
    return description;
}

void Halve(PlaneMemory& inSource, std::int32_t inQuality, Memory& outTarget)
{
    const ir::Picture& target = outTarget.View();
    ASSERT_TRUE(ir::CanHalveYuv(inSource.View(), target));
    ASSERT_EQ(kIR_Success, ir::ConvertPlanes(inSource.As<ir::PlanarPicture>(), kIR_WholePicture,
                                             outTarget.Pixels(), outTarget.RowBytes(), target.width,
                                             target.height, outTarget.Code(), inQuality));
}

class Halving : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override { ASSERT_TRUE(ir::SetCpuTarget(GetParam().c_str())); }
    void TearDown() override { ASSERT_TRUE(ir::SetCpuTarget("auto")); }
};

}

TEST_P(Halving, IsWithinOneStepOfTheReferenceAndAsBright)
{
    std::mt19937 random(2001);
    for (std::size_t round = 0; round < TestSupport::ScaledCount(400); ++round)
    {
        const ir::PlanarDescription description = RandomVideo(random);
        const auto quality = static_cast<std::int32_t>(3 + random() % 3);
        PlaneMemory source(description);
        // Sharp filters overshoot what integers hold.
        source.Randomise(random, quality == 3 ? 1.0 : 0.5);
        const std::uint32_t code = kTargets[random() % 3];
        Memory target(code, description.width / 2, description.height / 2, 8, 4);
        Memory expected(code, description.width / 2, description.height / 2);
        ir::reference::ScalePicture(source.View(), kIR_WholePicture, expected.View(), kIR_WholePicture,
                                    quality);
        ASSERT_NO_FATAL_FAILURE(Halve(source, quality, target)) << Told(description);
        ASSERT_LE(TestPictures::Difference(expected.View(), target.View()), 1.0001)
            << Told(description) << " quality " << quality;
        ASSERT_TRUE(target.GuardsAreWhole());
        if (description.width * description.height > 2000)
        {
            ASSERT_LE(TestPictures::MeanDifference(expected.View(), target.View()), 0.15)
                << Told(description) << " quality " << quality;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Halving, testing::ValuesIn(TestPictures::Targets()),
                         [](const auto& inInfo) { return inInfo.param; });

TEST(HalvingContract, GivesTheSameBytesOnEveryInstructionSet)
{
    std::mt19937 random(2002);
    for (std::size_t round = 0; round < TestSupport::ScaledCount(200); ++round)
    {
        const ir::PlanarDescription description = RandomVideo(random);
        const auto quality = static_cast<std::int32_t>(3 + random() % 3);
        PlaneMemory source(description);
        source.Randomise(random);
        std::vector<unsigned char> first;
        for (const std::string& name : TestPictures::Targets())
        {
            ASSERT_TRUE(ir::SetCpuTarget(name.c_str()));
            Memory target(TestPictures::kBGRX8, description.width / 2, description.height / 2);
            ASSERT_NO_FATAL_FAILURE(Halve(source, quality, target)) << Told(description);
            first = first.empty() ? target.Packed() : first;
            ASSERT_EQ(first, target.Packed()) << Told(description) << " on " << name;
        }
    }
    ASSERT_TRUE(ir::SetCpuTarget("auto"));
}

// Each plane ends where a page ends that nobody may read.
TEST(HalvingContract, ReadsNothingBehindAPlane)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (const std::int32_t width : {2, 6, 30, 62, 66, 126, 130, 202})
    {
        ir::PlanarPicture picture;
        picture.width = width;
        picture.height = 4;
        picture.chromaShiftX = picture.chromaShiftY = 1;
        void* maps[3];
        for (std::size_t plane = 0; plane < 3; ++plane)
        {
            maps[plane] = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            ASSERT_NE(MAP_FAILED, maps[plane]);
            ASSERT_EQ(0, mprotect(static_cast<char*>(maps[plane]) + page, page, PROT_NONE));
            picture.strides[plane] = plane == 0 ? width : width / 2;
            const auto bytes = static_cast<std::size_t>(picture.strides[plane] * (plane == 0 ? 4 : 2));
            picture.planes[plane] = static_cast<char*>(maps[plane]) + page - bytes;
        }
        Memory target(TestPictures::kBGRX8, width / 2, 2);
        for (const std::int32_t quality : {3, 4, 5})
        {
            EXPECT_EQ(kIR_Success,
                      ir::ConvertPlanes(picture, kIR_WholePicture, target.Pixels(), target.RowBytes(),
                                        width / 2, 2, target.Code(), quality));
        }
        EXPECT_TRUE(target.GuardsAreWhole());
        for (void* map : maps)
        {
            munmap(map, 2 * page);
        }
    }
}

TEST(HalvingContract, LeavesToTheScalerWhatItsKernelsHaveNoPlaceFor)
{
    ir::PlanarDescription video;
    video.width = 32;
    video.height = 16;
    video.chromaShiftX = video.chromaShiftY = 1;
    const auto isTaken = [](const ir::PlanarDescription& inDescription, std::uint32_t inCode,
                            std::int32_t inWidth, std::int32_t inHeight)
    {
        PlaneMemory source(inDescription);
        const Memory target(inCode, inWidth, inHeight);
        return ir::CanHalveYuv(source.View(), target.View());
    };
    EXPECT_TRUE(isTaken(video, TestPictures::kBGRA8, 16, 8));
    EXPECT_FALSE(isTaken(video, TestPictures::kBGRA8, 16, 9));
    EXPECT_FALSE(isTaken(video, TestPictures::kBGRA8, 15, 8));
    EXPECT_FALSE(isTaken(video, TestPictures::kBGRA16, 16, 8));
    EXPECT_FALSE(isTaken(video, TestPictures::kBGRA32f, 16, 8));
    const auto isTakenWith = [&](auto inChange)
    {
        ir::PlanarDescription changed = video;
        inChange(changed);
        return isTaken(changed, TestPictures::kBGRA8, changed.width / 2, changed.height / 2);
    };
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.isInterlaced = true; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.siting = ir::ChromaSiting::kTopLeft; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.bitsPerSample = 11; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.bitsPerSample = 10, ioD.isMSBAligned = true; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.alpha = ir::AlphaKind::kStraight; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.matrix = ir::Matrix::kYCgCo; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.transfer = ir::Transfer::kPQ; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.primaries = ir::Primaries::k2020; }));
    EXPECT_FALSE(isTakenWith([](auto& ioD) { ioD.width = 30, ioD.chromaShiftY = 0; }));
    EXPECT_TRUE(isTakenWith([](auto& ioD) { ioD.chromaShiftY = 0; }));
}
