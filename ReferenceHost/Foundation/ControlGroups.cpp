#include "ReferenceHost/Foundation/ControlGroups.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace Foundation
{

namespace
{

// The older hierarchy writes "no limit" as a number near the top of its range.
constexpr uint64_t kUnlimitedBytes = uint64_t{1} << 60;

// Keeps the smaller of two limits, either of which may be missing.
template <class T>
void Tighten(std::optional<T>& ioLimit, T inValue)
{
    ioLimit = ioLimit ? std::min(*ioLimit, inValue) : inValue;
}

std::string ReadText(const std::string& inPath)
{
    std::ifstream file(inPath);
    std::string text;
    std::getline(file, text);
    return text;
}

template <class T>
bool ParseNumber(const std::string& inText, T& outValue)
{
    std::istringstream stream(inText);
    stream.imbue(std::locale::classic());
    return !inText.empty() && inText.front() != '-' && static_cast<bool>(stream >> outValue);
}

// The group's directory and all above it, down to the mount point, as "/a/b", "/a", "".
std::vector<std::string> WithAncestors(std::string inGroup)
{
    std::vector<std::string> result;
    while (!inGroup.empty() && inGroup != "/")
    {
        result.push_back(inGroup);
        const size_t slash = inGroup.rfind('/');
        inGroup.erase(slash == std::string::npos ? 0 : slash);
    }
    result.emplace_back();
    return result;
}

void ReadUnified(const std::string& inDirectory, ControlGroupLimits& ioLimits)
{
    std::istringstream quotaLine(ReadText(inDirectory + "/cpu.max"));
    std::string quotaText;
    std::string periodText;
    quotaLine >> quotaText >> periodText;
    double quota = 0;
    double period = 0;
    if (ParseNumber(quotaText, quota) && ParseNumber(periodText, period) && quota > 0 && period > 0)
    {
        Tighten(ioLimits.mProcessors, quota / period);
    }
    uint64_t bytes = 0;
    if (ParseNumber(ReadText(inDirectory + "/memory.max"), bytes))
    {
        Tighten(ioLimits.mMemoryBytes, bytes);
    }
}

void ReadProcessorController(const std::string& inDirectory, ControlGroupLimits& ioLimits)
{
    double quota = 0;
    double period = 0;
    if (ParseNumber(ReadText(inDirectory + "/cpu.cfs_quota_us"), quota) &&
        ParseNumber(ReadText(inDirectory + "/cpu.cfs_period_us"), period) && quota > 0 && period > 0)
    {
        Tighten(ioLimits.mProcessors, quota / period);
    }
}

void ReadMemoryController(const std::string& inDirectory, ControlGroupLimits& ioLimits)
{
    uint64_t bytes = 0;
    if (ParseNumber(ReadText(inDirectory + "/memory.limit_in_bytes"), bytes) && bytes < kUnlimitedBytes)
    {
        Tighten(ioLimits.mMemoryBytes, bytes);
    }
}

bool ListHas(std::string_view inList, std::string_view inName)
{
    while (!inList.empty())
    {
        const size_t comma = inList.find(',');
        if (inList.substr(0, comma) == inName)
        {
            return true;
        }
        inList = comma == std::string_view::npos ? std::string_view() : inList.substr(comma + 1);
    }
    return false;
}

// One line of the membership: number, controllers, group, separated by colons.
void ReadMembership(const std::string& inLine, const std::string& inRoot, ControlGroupLimits& ioLimits)
{
    const size_t first = inLine.find(':');
    const size_t second = first == std::string::npos ? first : inLine.find(':', first + 1);
    if (second == std::string::npos)
    {
        return;
    }
    const std::string controllers = inLine.substr(first + 1, second - first - 1);
    for (const std::string& group : WithAncestors(inLine.substr(second + 1)))
    {
        if (controllers.empty())
        {
            ReadUnified(inRoot + group, ioLimits);
        }
        if (ListHas(controllers, "cpu"))
        {
            ReadProcessorController(inRoot + "/cpu" + group, ioLimits);
            ReadProcessorController(inRoot + "/" + controllers + group, ioLimits);
        }
        if (ListHas(controllers, "memory"))
        {
            ReadMemoryController(inRoot + "/memory" + group, ioLimits);
        }
    }
}

} // namespace

ControlGroupLimits ReadControlGroupLimits(const std::string& inMembership, const std::string& inRoot)
{
    ControlGroupLimits limits;
    std::istringstream lines(inMembership);
    for (std::string line; std::getline(lines, line);)
    {
        ReadMembership(line, inRoot, limits);
    }
    return limits;
}

} // namespace Foundation
