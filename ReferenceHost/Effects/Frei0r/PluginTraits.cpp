#include "ReferenceHost/Effects/Frei0r/PluginTraits.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace Frei0r
{
namespace
{

constexpr std::string_view kOwnTable =
#include "ReferenceHost/Effects/Frei0r/PluginTraits.inc"
    ;
constexpr std::string_view kFader = "fader=";

bool IsNamed(const std::string& inPattern, std::string_view inStem)
{
    const bool isOpen = !inPattern.empty() && inPattern.back() == '*';
    return isOpen ? inStem.substr(0, inPattern.size() - 1) == inPattern.substr(0, inPattern.size() - 1)
                  : inStem == inPattern;
}

} // namespace

TraitTable::TraitTable()
{
    Add(kOwnTable);
}

void TraitTable::Add(std::string_view inText)
{
    std::istringstream text{std::string(inText)};
    for (std::string line; std::getline(text, line);)
    {
        const std::size_t colon = line.find(':');
        if (line.empty() || line.front() == '#' || colon == std::string::npos)
        {
            continue;
        }
        Line read;
        read.mWord = line.substr(0, colon);
        if (read.mWord.compare(0, kFader.size(), kFader) == 0)
        {
            read.mFader = read.mWord.substr(kFader.size());
            read.mWord = "fader";
        }
        std::istringstream names(line.substr(colon + 1));
        for (std::string name; names >> name;)
        {
            read.mNames.push_back(name);
        }
        mLines.push_back(std::move(read));
    }
}

bool TraitTable::AddFile(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    Add(text.str());
    return file.is_open();
}

PluginTraits TraitTable::Of(std::string_view inStem) const
{
    PluginTraits traits;
    for (const Line& line : mLines)
    {
        const bool isMeant = std::any_of(line.mNames.begin(), line.mNames.end(),
                                         [&](const std::string& inName) { return IsNamed(inName, inStem); });
        if (!isMeant)
        {
            continue;
        }
        traits = line.mWord == "plain" ? PluginTraits() : traits;
        traits.mIsAlone = traits.mIsAlone || line.mWord == "alone";
        traits.mIsStateful = traits.mIsStateful || line.mWord == "stateful";
        traits.mIsBound = traits.mIsBound || line.mWord == "bound";
        traits.mCrashes = traits.mCrashes || line.mWord == "crashes";
        traits.mFader = line.mWord == "fader" ? line.mFader : traits.mFader;
    }
    return traits;
}

} // namespace Frei0r
