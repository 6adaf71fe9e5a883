#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Foundation
{

// What the kernel's control groups leave to this process. Groups nest, and each level may have a limit of its
// own; the tightest counts.
struct ControlGroupLimits
{
    // Processors, as a fraction of time: 1.5 is one and a half. Empty: no quota.
    std::optional<double> mProcessors;

    // Empty: no limit.
    std::optional<uint64_t> mMemoryBytes;
};

// Reads the limits of the groups that inMembership names, in the form of /proc/self/cgroup, below the mount
// point inRoot, usually /sys/fs/cgroup. Understands both hierarchies, and their mixture. A file that is
// missing or says nonsense counts as no limit: inside a container most of a path can't be seen.
//
// Thread-safety: safe.
ControlGroupLimits ReadControlGroupLimits(const std::string& inMembership, const std::string& inRoot);

} // namespace Foundation
