// Places in a document, a few bytes each; the text of a place is made only when somebody wants to read it.
//
// Deeply nested documents would otherwise hold the same beginnings again and again.
//
// Thread-safety: const functions are safe beside each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Otio
{

using PathID = std::uint32_t;
inline constexpr PathID kRootPath = 0;

class PathTable
{
public:
    PathTable();

    // A new place below another: by the key of an object, by the index in an array.
    PathID Key(PathID inParent, std::string_view inKey);
    PathID Index(PathID inParent, std::size_t inIndex);

    // The JSON pointer of a place, such as /tracks/children/0.
    std::string Text(PathID inPath) const;

private:
    struct Step
    {
        PathID mParent = kRootPath;
        std::uint32_t mNumber = 0; // an index, or the number of a key
        bool mIsKey = false;
    };

    std::vector<Step> mSteps;
    std::vector<std::string> mKeys;
    std::unordered_map<std::string, std::uint32_t> mKeyNumbers;
};

// A key as a part of a JSON pointer: "~" and "/" are escaped.
std::string EscapedKey(std::string_view inKey);

}
