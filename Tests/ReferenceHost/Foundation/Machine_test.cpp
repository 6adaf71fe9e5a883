#include "Platform.h"
#include "ReferenceHost/Foundation/ControlGroups.h"
#include "TVK/PathUtils.h"
#include "norvik/utility/Machine.h"
#include "norvik/utility/Strings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sched.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace
{

using Foundation::ControlGroupLimits;
using Foundation::ReadControlGroupLimits;

class ControlGroups : public testing::Test
{
protected:
    ControlGroups() { std::filesystem::remove_all(mRoot); }

    ~ControlGroups() override { std::filesystem::remove_all(mRoot); }

    void Write(const std::string& inPath, const std::string& inText)
    {
        const std::filesystem::path path = mRoot / inPath;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << inText << "\n";
    }

    void ExpectLimits(const std::string& inMembership, std::optional<double> inProcessors,
                      std::optional<uint64_t> inMemoryBytes)
    {
        const ControlGroupLimits limits = ReadControlGroupLimits(inMembership, mRoot.string());
        EXPECT_EQ(limits.mProcessors, inProcessors) << inMembership;
        EXPECT_EQ(limits.mMemoryBytes, inMemoryBytes) << inMembership;
    }

    const std::filesystem::path mRoot =
        std::filesystem::path(testing::TempDir()) / ("cgroup_test_" + std::to_string(getpid()));
};

TEST_F(ControlGroups, TightestLevelOfTheNewHierarchyCounts)
{
    Write("a/cpu.max", "400000 100000");
    Write("a/b/cpu.max", "150000 100000");
    Write("a/b/c/cpu.max", "max 100000");
    Write("a/memory.max", "1000000");
    Write("a/b/memory.max", "max");
    Write("a/b/c/memory.max", "3000000");
    ExpectLimits("0::/a/b/c\n", 1.5, 1000000u);
}

TEST_F(ControlGroups, LimitsAtTheMountPointCountWhereTheGroupIsHidden)
{
    Write("cpu.max", "200000 100000");
    Write("memory.max", "5000");
    ExpectLimits("0::/not/visible/from/inside\n", 2.0, 5000u);
}

TEST_F(ControlGroups, OldHierarchyIsReadByController)
{
    Write("cpu,cpuacct/job/cpu.cfs_quota_us", "50000");
    Write("cpu,cpuacct/job/cpu.cfs_period_us", "100000");
    Write("memory/job/memory.limit_in_bytes", "7000");
    ExpectLimits("12:cpuset:/\n4:memory:/job\n3:cpu,cpuacct:/job\n0::/unused\n", 0.5, 7000u);
}

TEST_F(ControlGroups, UnlimitedAndNonsenseAreNoLimit)
{
    Write("cpu/cpu.cfs_quota_us", "-1");
    Write("cpu/cpu.cfs_period_us", "100000");
    Write("memory/memory.limit_in_bytes", "9223372036854771712");
    Write("cpu.max", "nonsense");
    Write("memory.max", "-5");
    for (const char* membership : {"3:cpu:/\n4:memory:/\n0::/\n", "", "garbage\n::\n0:\n", "0::no/slash\n"})
    {
        ExpectLimits(membership, std::nullopt, std::nullopt);
    }
}

TEST(Machine, CountsTheProcessorsItMayUse)
{
    cpu_set_t mask;
    ASSERT_EQ(sched_getaffinity(0, sizeof(mask), &mask), 0);
    EXPECT_GE(norvik::utility::CPUCount(), 1u);
    EXPECT_LE(norvik::utility::CPUCount(), static_cast<uint32_t>(CPU_COUNT(&mask)));
}

TEST(Machine, HasNoMoreMemoryThanIsBuiltIn)
{
    const auto built =
        static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<uint64_t>(sysconf(_SC_PAGE_SIZE));
    EXPECT_GT(norvik::utility::TotalPhysicalMemory(), 16u << 20);
    EXPECT_LE(norvik::utility::TotalPhysicalMemory(), built);
}

TEST(Machine, AnswersAsOverridden)
{
    const uint32_t processors = norvik::utility::CPUCount();
    const uint64_t memory = norvik::utility::TotalPhysicalMemory();
    norvik::utility::SetCPUCountOverride(4);
    norvik::utility::SetTotalPhysicalMemoryOverride(uint64_t{16} << 30);
    EXPECT_EQ(norvik::utility::CPUCount(), 4u);
    EXPECT_EQ(norvik::utility::TotalPhysicalMemory(), uint64_t{16} << 30);
    norvik::utility::SetCPUCountOverride(0);
    norvik::utility::SetTotalPhysicalMemoryOverride(0);
    EXPECT_EQ(norvik::utility::CPUCount(), processors);
    EXPECT_EQ(norvik::utility::TotalPhysicalMemory(), memory);
}

void Here() {}

TEST(Machine, ModulePathIsTheFileThatHoldsAnAddress)
{
    const norvik::WString own =
        norvik::utility::GetModulePath(os::ModuleHandleFromAddress(reinterpret_cast<const void*>(&Here)));
    EXPECT_EQ(std::string(norvik::utility::UTF16to8(own)),
              std::filesystem::canonical("/proc/self/exe").string());
    const norvik::WString library =
        norvik::utility::GetModulePath(os::ModuleHandleFromAddress(reinterpret_cast<const void*>(&getpid)));
    EXPECT_NE(library.find(u"/libc.so"), norvik::WString::npos);
}

TEST(Machine, NoModuleNoPath)
{
    EXPECT_EQ(os::ModuleHandleFromAddress(nullptr), nullptr);
    EXPECT_TRUE(norvik::utility::GetModulePath(nullptr).empty());
}

TEST(Clocks, CounterRunsAtItsFrequency)
{
    int64_t frequency = 0;
    ASSERT_TRUE(os::PerformanceFrequency(frequency));
    EXPECT_EQ(frequency, 1'000'000'000);
    // The ticks are read within the stretch of the counter and around another, so that it doesn't matter how long
    // the thread is kept from running between two looks. Only one of the clocks follows corrections of the time.
    const int64_t outer = os::PerformanceCounter();
    const uint32_t ticks = os::TickCount();
    const int64_t inner = os::PerformanceCounter();
    os::SleepMilliseconds(20);
    const int64_t innerPassed = os::PerformanceCounter() - inner;
    const int64_t passedTicks{os::TickCount() - ticks};
    const int64_t outerPassed = os::PerformanceCounter() - outer;
    EXPECT_GE(innerPassed, 15'000'000);
    EXPECT_GE(passedTicks, innerPassed / 1'250'000 - 1) << "both count the same time";
    EXPECT_LE(passedTicks, outerPassed / 750'000 + 1) << "both count the same time";
}

TEST(Clocks, CanBeReplacedOneByOne)
{
    os::ClockFunctions fake;
    fake.mPerformanceCounter = [] { return int64_t{42}; };
    fake.mPerformanceFrequency = [](int64_t&) { return false; };
    fake.mTickCount = [] { return 0xFFFFFFFFu; };
    os::SetClockFunctions(fake);
    int64_t frequency = 7;
    EXPECT_EQ(os::PerformanceCounter(), 42);
    EXPECT_FALSE(os::PerformanceFrequency(frequency));
    EXPECT_EQ(frequency, 0);
    EXPECT_EQ(os::TickCount(), 0xFFFFFFFFu);
    os::SleepMilliseconds(0);
    os::SetClockFunctions({});
    EXPECT_NE(os::PerformanceCounter(), 42);
    EXPECT_TRUE(os::PerformanceFrequency(frequency));
}

TEST(PathUtils, TrailingSlashIsThereOnce)
{
    using TVK::PathUtils::AddTrailingSlash;
    EXPECT_EQ(AddTrailingSlash(u"/a/b"), u"/a/b/");
    EXPECT_EQ(AddTrailingSlash(u"/a/b/"), u"/a/b/");
    EXPECT_EQ(AddTrailingSlash(u"a\\b\\"), u"a\\b\\");
    EXPECT_EQ(AddTrailingSlash(u""), u"");
}

TEST(PathUtils, FilePartFollowsTheLastSeparator)
{
    for (const auto part : {&TVK::PathUtils::GetFilePart, &TVK::PathUtils::GetFullFilePart})
    {
        EXPECT_EQ(part(u"/media/clip.mov"), u"clip.mov");
        EXPECT_EQ(part(u"C:\\media\\clip.mov"), u"clip.mov");
        EXPECT_EQ(part(u"clip.mov"), u"clip.mov");
        EXPECT_EQ(part(u"/media/"), u"");
        EXPECT_EQ(part(u""), u"");
    }
}

} // namespace
