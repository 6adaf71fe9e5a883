#include "norvik/config/Contract.h"

#include "TVK/ContractError.h"
#include "norvik/debug/Debug.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <mutex>
#include <string>

namespace norvik::debug
{

namespace
{

// A broken contract is followed by an exception, so the story of the first few is what helps; the ring keeps
// a program that breaks one in a loop from growing.
constexpr size_t kReportsKept = 32;

struct ReportRing
{
    std::mutex mMutex;
    std::deque<ContractReport> mReports;
};

ReportRing& Reports()
{
    static ReportRing* const sReports = new ReportRing;
    return *sReports;
}

std::atomic<ContractDialogHook> sHook{nullptr};

const char* TextOrNothing(const char* inText)
{
    return inText != nullptr ? inText : "";
}

void KeepReport(const ContractReport& inReport)
{
    ReportRing& ring = Reports();
    const std::lock_guard<std::mutex> lock(ring.mMutex);
    ring.mReports.push_front(inReport);
    if (ring.mReports.size() > kReportsKept)
    {
        ring.mReports.pop_back();
    }
}

} // namespace

bool BreakAfterContractDialog(const char* inCondition, const char* inFile, const char* inFunction, int inLine)
{
    std::fprintf(stderr, "contract broken: %s in %s (%s:%d)\n", TextOrNothing(inCondition),
                 TextOrNothing(inFunction), TextOrNothing(inFile), inLine);
    try
    {
        const ContractReport report{TextOrNothing(inCondition), TextOrNothing(inFile),
                                    TextOrNothing(inFunction), inLine};
        KeepReport(report);
        const ContractDialogHook hook = sHook.load();
        return hook != nullptr && hook(report);
    }
    catch (...)
    {
        return false; // the report is lost, the error that follows it is not
    }
}

void SetContractDialogHook(ContractDialogHook inHook)
{
    sHook = inHook;
}

bool GetContractReport(size_t inIndexFromLatest, ContractReport& outReport)
{
    ReportRing& ring = Reports();
    const std::lock_guard<std::mutex> lock(ring.mMutex);
    if (inIndexFromLatest >= ring.mReports.size())
    {
        return false;
    }
    outReport = ring.mReports[inIndexFromLatest];
    return true;
}

size_t ContractReportCount()
{
    ReportRing& ring = Reports();
    const std::lock_guard<std::mutex> lock(ring.mMutex);
    return ring.mReports.size();
}

void ClearContractReports()
{
    ReportRing& ring = Reports();
    const std::lock_guard<std::mutex> lock(ring.mMutex);
    ring.mReports.clear();
}

bool IsDebuggerAttached()
{
    std::ifstream status("/proc/self/status");
    const std::string key = "TracerPid:";
    for (std::string line; std::getline(status, line);)
    {
        if (line.compare(0, key.size(), key) == 0)
        {
            return std::strtol(line.c_str() + key.size(), nullptr, 10) != 0;
        }
    }
    return false;
}

} // namespace norvik::debug

namespace norvik::config
{

namespace
{

[[noreturn]] void FailContract(const char* inMessage, const char* inCondition, const char* inFile,
                               const char* inFunction, int inLine)
{
    if (debug::BreakAfterContractDialog(inCondition, inFile, inFunction, inLine) &&
        debug::IsDebuggerAttached())
    {
        std::raise(SIGTRAP);
    }
    ThrowError(kContractErrorLevel, inMessage);
}

} // namespace

void ThrowError(int inLevel, const char* inMessage, std::initializer_list<std::string> inReplacements)
{
    throw Error(inLevel, inMessage, inReplacements);
}

void FailInputContract(const char* inCondition, const char* inFile, const char* inFunction, int inLine)
{
    FailContract(kInputContractViolation, inCondition, inFile, inFunction, inLine);
}

void FailOutputContract(const char* inCondition, const char* inFile, const char* inFunction, int inLine)
{
    FailContract(kOutputContractViolation, inCondition, inFile, inFunction, inLine);
}

} // namespace norvik::config
