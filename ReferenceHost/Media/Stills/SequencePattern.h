// The name of a numbered sequence, such as shot%05d.png, and the files that have it.
//
// Thread-safety: pure functions and value types.
#pragma once

#include "ReferenceHost/Media/Media.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Media
{

// "frames/shot%05d.png" is the folder "frames", the prefix "shot", five digits, the suffix ".png". "%%"
// stands for a percent sign.
struct SequencePattern
{
    std::string mFolder; // "." where the name has none
    std::string mPrefix;
    std::string mSuffix;
    std::int32_t mDigits = 0; // at least; 0 and 1: no leading zeros

    std::string FileName(std::int64_t inNumber) const;
    std::string Path(std::int64_t inNumber) const;
};

// True for a text with one %d or %0Nd in its last part and no other use of the percent sign.
bool ParseSequencePattern(const std::string& inText, SequencePattern& outPattern);

// The numbers of the files there are, ascending. Only names that printf would make count: shot7.png does not
// belong to shot%05d.png. False if the folder cannot be read.
bool ListSequence(const SequencePattern& inPattern, std::vector<std::int64_t>& outNumbers);
// The same of the names in inFiles. Always true.
bool ListSequence(const SequencePattern& inPattern, const NamedFiles& inFiles,
                  std::vector<std::int64_t>& outNumbers);

} // namespace Media
