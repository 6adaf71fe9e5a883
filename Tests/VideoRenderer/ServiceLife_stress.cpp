// Processes that start and stop the service with requests at every station of it.

#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/Scale.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

namespace
{

using namespace TestSupport;

TEST(ServiceLife, ProcessesEndWithTheServiceWhateverItHolds)
{
    const std::string program =
        (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "service_life").string();
    int ended = 0;
    int dropped = 0;
    int waiting = 0;
    const std::size_t processes = ScaledCount(25);
    for (std::size_t i = 0; i < processes && !HasFailure(); ++i)
    {
        const std::string seed = std::to_string(Seed() + i);
        ChildRequest request;
        request.words = {program, seed};
        const ChildResult result = RunChild(request);
        int counts[3] = {};
        EXPECT_EQ(std::sscanf(result.out.c_str(), "ended %d dropped %d waiting %d", &counts[0], &counts[1],
                              &counts[2]),
                  3);
        EXPECT_EQ(result.exitCode, 0) << "seed " << seed << ": " << result.Describe();
        ended += counts[0];
        dropped += counts[1];
        waiting += counts[2];
    }
    fmt::print("{} processes: {} requests ended, {} were dropped, {} callers were left waiting\n", processes,
               ended, dropped, waiting);
    EXPECT_GT(ended, 0);
    EXPECT_GT(dropped, 0);
}

} // namespace
