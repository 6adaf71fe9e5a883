// What a broken contract says, as one line for comparison.
//
// Thread-safety: one test thread; reports of other threads would be mistaken for the caller's.
#pragma once

#include "TVK/ContractError.h"
#include "norvik/config/Contract.h"
#include "norvik/debug/Debug.h"

#include <string>
#include <utility>

namespace TestSupport
{

// "condition|file|function" of the input contract that inCall breaks, or what happened instead.
template <class Call>
std::string ContractText(Call&& inCall)
{
    norvik::debug::ClearContractReports();
    try
    {
        std::forward<Call>(inCall)();
        return "nothing thrown";
    }
    catch (const norvik::config::Error& error)
    {
        if (std::string(error.what()) != norvik::config::kInputContractViolation)
        {
            return std::string("wrong text: ") + error.what();
        }
    }
    norvik::debug::ContractReport report;
    if (!norvik::debug::GetContractReport(0, report))
    {
        return "nothing reported";
    }
    return std::string(report.mCondition.c_str()) + "|" + report.mFile.c_str() + "|" +
           report.mFunction.c_str();
}

} // namespace TestSupport
