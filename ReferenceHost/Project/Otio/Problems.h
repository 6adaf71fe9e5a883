// What a reader found wrong, or had to approximate, in a document.
//
// A problem names its place by a JSON pointer, so that an editor can jump there, and its kind by a short
// word that never changes, so that a program can tell kinds apart. An error means that the picture is not
// what the document asks for or that there is no picture; a warning, that something was approximated or
// left out on purpose.
//
// Hostile documents have millions of faults: beyond kMostProblems they are counted and no longer kept.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Otio
{

enum class Severity : std::uint8_t
{
    kWarning,
    kError,
};

struct Problem
{
    Severity mSeverity = Severity::kWarning;
    std::string mKind;    // such as "unknown-schema"
    std::string mPointer; // JSON pointer; empty: the whole document
    std::string mText;    // one line, without the pointer

    // "warning: /tracks/children/0: text"
    std::string Line() const;
};

inline constexpr std::size_t kMostProblems = 10000;

class ProblemList
{
public:
    // inStrict: what breaks a rule of the format but has an obvious cure is an error, too.
    explicit ProblemList(bool inStrict = false) noexcept : mIsStrict(inStrict) {}

    void Warn(std::string_view inKind, std::string inPointer, std::string inText);
    void Fail(std::string_view inKind, std::string inPointer, std::string inText);
    // A broken rule that was mended: a warning, under strict rules an error.
    void Mended(std::string_view inKind, std::string inPointer, std::string inText);

    // In the order of finding.
    const std::vector<Problem>& Problems() const noexcept { return mProblems; }
    // Those that are not kept included.
    std::uint64_t ErrorCount() const noexcept { return mErrors; }
    std::uint64_t WarningCount() const noexcept { return mWarnings; }
    bool HasErrors() const noexcept { return mErrors > 0; }
    // True if a problem of that kind was kept.
    bool Has(std::string_view inKind) const noexcept;

private:
    void Add(Severity inSeverity, std::string_view inKind, std::string inPointer, std::string inText);

    bool mIsStrict;
    std::vector<Problem> mProblems;
    std::uint64_t mErrors = 0;
    std::uint64_t mWarnings = 0;
};

}
