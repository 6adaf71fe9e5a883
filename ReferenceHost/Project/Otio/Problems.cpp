#include "ReferenceHost/Project/Otio/Problems.h"

#include <algorithm>
#include <utility>

namespace Otio
{

std::string Problem::Line() const
{
    std::string line = mSeverity == Severity::kError ? "error: " : "warning: ";
    line += mPointer.empty() ? "document" : mPointer;
    return line + ": " + mText;
}

void ProblemList::Warn(std::string_view inKind, std::string inPointer, std::string inText)
{
    Add(Severity::kWarning, inKind, std::move(inPointer), std::move(inText));
}

void ProblemList::Fail(std::string_view inKind, std::string inPointer, std::string inText)
{
    Add(Severity::kError, inKind, std::move(inPointer), std::move(inText));
}

void ProblemList::Mended(std::string_view inKind, std::string inPointer, std::string inText)
{
    Add(mIsStrict ? Severity::kError : Severity::kWarning, inKind, std::move(inPointer), std::move(inText));
}

bool ProblemList::Has(std::string_view inKind) const noexcept
{
    return std::any_of(mProblems.begin(), mProblems.end(),
                       [&](const Problem& inProblem) { return inProblem.mKind == inKind; });
}

void ProblemList::Add(Severity inSeverity, std::string_view inKind, std::string inPointer, std::string inText)
{
    ++(inSeverity == Severity::kError ? mErrors : mWarnings);
    if (mProblems.size() < kMostProblems)
    {
        mProblems.push_back({inSeverity, std::string(inKind), std::move(inPointer), std::move(inText)});
    }
}

}
