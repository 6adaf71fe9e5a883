// What is known of single plug-ins that they don't say of themselves, as data: PluginTraits.inc, and lines of
// the same kind in the file that VR_FREI0R_TRAITS names, which are added.
//
// A line is "alone: names", "stateful: names", "bound: names", "crashes: names", "fader=parameter: names", or
// begins with '#'. "plain: names" takes everything back that was said of a name before.
//
// Thread-safety: values.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Frei0r
{

struct PluginTraits
{
    bool mIsAlone = false;    // its calls must not overlap, also those of different instances
    bool mIsStateful = false; // its picture depends on more than input, parameters and time
    bool mIsBound = false;    // an instance keeps something of the parameters that it had before
    bool mCrashes = false;    // takes the process down with some parameters
    std::string mFader;       // name of the parameter that drives a transition; empty: it is none
};

class TraitTable
{
public:
    // With the table that comes with the host.
    TraitTable();

    // Lines that are none are left out.
    void Add(std::string_view inText);
    // False: there is no such file.
    bool AddFile(const std::string& inPath);

    PluginTraits Of(std::string_view inStem) const;

private:
    struct Line
    {
        std::string mWord;
        std::string mFader;
        std::vector<std::string> mNames;
    };
    std::vector<Line> mLines;
};

} // namespace Frei0r
