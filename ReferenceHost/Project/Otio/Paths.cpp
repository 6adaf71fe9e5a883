#include "ReferenceHost/Project/Otio/Paths.h"

#include <algorithm>

namespace Otio
{

PathTable::PathTable() : mSteps(1) {}

PathID PathTable::Key(PathID inParent, std::string_view inKey)
{
    const auto [place, isNew] =
        mKeyNumbers.try_emplace(std::string(inKey), static_cast<std::uint32_t>(mKeys.size()));
    if (isNew)
    {
        mKeys.emplace_back(inKey);
    }
    mSteps.push_back({inParent, place->second, true});
    return static_cast<PathID>(mSteps.size() - 1);
}

PathID PathTable::Index(PathID inParent, std::size_t inIndex)
{
    mSteps.push_back({inParent, static_cast<std::uint32_t>(inIndex), false});
    return static_cast<PathID>(mSteps.size() - 1);
}

std::string PathTable::Text(PathID inPath) const
{
    std::vector<const Step*> steps;
    for (PathID path = inPath; path != kRootPath; path = mSteps[path].mParent)
    {
        steps.push_back(&mSteps[path]);
    }
    std::reverse(steps.begin(), steps.end());
    std::string text;
    for (const Step* step : steps)
    {
        text += '/';
        text += step->mIsKey ? EscapedKey(mKeys[step->mNumber]) : std::to_string(step->mNumber);
    }
    return text;
}

std::string EscapedKey(std::string_view inKey)
{
    std::string text;
    for (const char letter : inKey)
    {
        text += letter == '~' ? "~0" : letter == '/' ? "~1" : std::string(1, letter);
    }
    return text;
}

}
