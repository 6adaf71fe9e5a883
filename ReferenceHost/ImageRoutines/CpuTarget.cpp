#include "ReferenceHost/ImageRoutines/CpuTarget.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <zimg.h>

#include "hwy/highway.h"
#include "hwy/targets.h"

namespace ir
{
namespace
{

std::atomic<std::int64_t> sForced{0}; // 0: the best

std::string UpperCase(const char* inName)
{
    std::string name = inName;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char inCharacter) { return static_cast<char>(std::toupper(inCharacter)); });
    return name;
}

std::int64_t MachineTargets()
{
    // Asked once, before anything is forced, since forcing changes the answer.
    static const std::int64_t sTargets = hwy::SupportedTargets() & HWY_TARGETS;
    return sTargets;
}

std::vector<std::int64_t> TargetBits()
{
    std::vector<std::int64_t> bits;
    for (std::int64_t rest = MachineTargets(); rest != 0; rest &= rest - 1)
    {
        bits.push_back(rest & -rest);
    }
    return bits;
}

void Force(std::int64_t inTargets)
{
    hwy::SetSupportedTargetsForTest(inTargets);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    sForced = inTargets;
}

}

std::vector<std::string> CpuTargets()
{
    std::vector<std::string> names;
    for (const std::int64_t target : TargetBits())
    {
        names.emplace_back(hwy::TargetName(target));
    }
    return names;
}

bool SetCpuTarget(const char* inName)
{
    const std::string wanted = UpperCase(inName == nullptr ? "" : inName);
    const std::vector<std::int64_t> targets = TargetBits();
    if (wanted == "AUTO")
    {
        Force(0);
        return true;
    }
    for (const std::int64_t target : targets)
    {
        if (wanted == hwy::TargetName(target))
        {
            Force(target);
            return true;
        }
    }
    return false;
}

std::string CurrentCpuTarget()
{
    const std::vector<std::int64_t> targets = TargetBits();
    return hwy::TargetName(sForced != 0 ? sForced.load() : targets.front());
}

int ScalerCpuType()
{
    switch (sForced)
    {
    case 0: return ZIMG_CPU_AUTO; // at most 256-bit instructions, as below
#if HWY_ARCH_X86
    case HWY_SSSE3: return ZIMG_CPU_X86_SSSE3;
    case HWY_SSE4: return ZIMG_CPU_X86_SSE41;
    // zimg 3.0.4 puts a wrong column into pictures that its 512-bit code shrinks to a little less than half;
    // its 256-bit code gives the same bytes as its portable code.
    case HWY_AVX2:
    case HWY_AVX3:
    case HWY_AVX3_DL: return ZIMG_CPU_X86_AVX2;
#endif
    default: return ZIMG_CPU_NONE;
    }
}

}
