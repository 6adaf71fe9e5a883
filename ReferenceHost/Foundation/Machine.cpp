#include "norvik/utility/Machine.h"

#include "ReferenceHost/Foundation/ControlGroups.h"
#include "norvik/utility/Strings.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <sched.h>
#include <string>
#include <unistd.h>

namespace norvik::utility
{

namespace
{

std::atomic<uint32_t> sCPUCountOverride{0};
std::atomic<uint64_t> sMemoryOverride{0};

const Foundation::ControlGroupLimits& Limits()
{
    static const Foundation::ControlGroupLimits sLimits = []
    {
        std::ifstream file("/proc/self/cgroup");
        const std::string membership{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        return Foundation::ReadControlGroupLimits(membership, "/sys/fs/cgroup");
    }();
    return sLimits;
}

// Processors in the affinity mask. The mask grows until the kernel's fits into it.
uint32_t AffinityCount()
{
    for (int processors = 1024; processors <= 1 << 20; processors *= 2)
    {
        const std::unique_ptr<cpu_set_t, void (*)(cpu_set_t*)> mask(
            CPU_ALLOC(processors), [](cpu_set_t* inSet) { CPU_FREE(inSet); });
        const size_t size = CPU_ALLOC_SIZE(processors);
        if (mask != nullptr && sched_getaffinity(0, size, mask.get()) == 0)
        {
            return static_cast<uint32_t>(std::max(1, CPU_COUNT_S(size, mask.get())));
        }
    }
    return static_cast<uint32_t>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

uint32_t MachineCPUCount()
{
    const uint32_t processors = AffinityCount();
    if (!Limits().mProcessors)
    {
        return processors;
    }
    const double quota = std::clamp(std::ceil(*Limits().mProcessors), 1.0, static_cast<double>(processors));
    return static_cast<uint32_t>(quota);
}

uint64_t MachineMemory()
{
    const auto bytes =
        static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<uint64_t>(sysconf(_SC_PAGE_SIZE));
    return std::min(bytes, Limits().mMemoryBytes.value_or(bytes));
}

std::string RealPath(const char* inPath)
{
    const std::unique_ptr<char, void (*)(void*)> resolved(realpath(inPath, nullptr), &std::free);
    return resolved ? resolved.get() : "";
}

} // namespace

uint32_t CPUCount()
{
    static const uint32_t sCount = MachineCPUCount();
    const uint32_t forced = sCPUCountOverride.load();
    return forced != 0 ? forced : sCount;
}

uint64_t TotalPhysicalMemory()
{
    static const uint64_t sBytes = MachineMemory();
    const uint64_t forced = sMemoryOverride.load();
    return forced != 0 ? forced : sBytes;
}

void SetCPUCountOverride(uint32_t inCount)
{
    sCPUCountOverride = inCount;
}

void SetTotalPhysicalMemoryOverride(uint64_t inBytes)
{
    sMemoryOverride = inBytes;
}

WString GetModulePath(void* inModuleHandle)
{
    Dl_info info{};
    if (inModuleHandle == nullptr || dladdr(inModuleHandle, &info) == 0 || info.dli_fname == nullptr)
    {
        return {};
    }
    std::string path = RealPath(info.dli_fname);
    if (path.empty() && info.dli_fname[0] != '/')
    {
        // The program itself goes by the name it was called with, which needs no directory.
        path = RealPath("/proc/self/exe");
    }
    return UTF8to16(UTF8String(path));
}

} // namespace norvik::utility
