// What a plug-in file says of itself, and the text in which a scan hands it on and keeps it.
//
// Thread-safety: values.
#pragma once

#include "ReferenceHost/Effects/Frei0r/Frei0rInterface.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Frei0r
{

struct ParameterFacts
{
    std::string mName; // UTF-8; never empty, and no two of a plug-in are alike
    ParameterType mType = ParameterType::kDouble;
    std::string mExplanation;
    double mNumbers[3] = {0.0, 0.0, 0.0}; // the default: a number, a colour or a place
    std::string mText;                    // the default of a string

    friend bool operator==(const ParameterFacts&, const ParameterFacts&) = default;
};

struct PluginFacts
{
    std::string mWhyNot; // why the plug-in can't be used; then nothing else needs to be told
    std::string mName;
    std::string mAuthor;
    std::string mExplanation;
    PluginType mType = PluginType::kFilter;
    ColorModel mColorModel = ColorModel::kRGBA;
    int mMajorVersion = 0;
    int mMinorVersion = 0;
    std::vector<ParameterFacts> mParameters;

    friend bool operator==(const PluginFacts&, const PluginFacts&) = default;
};

// Where a plug-in lies, and what tells that the file was exchanged.
struct PluginFileName
{
    std::string mStem; // the name without folder and ".so", by which documents know it
    std::string mPath;
    std::int64_t mModified = 0; // nanoseconds
    std::int64_t mBytes = 0;

    friend bool operator==(const PluginFileName&, const PluginFileName&) = default;
};

struct ScannedPlugin
{
    PluginFileName mFile;
    PluginFacts mFacts;

    friend bool operator==(const ScannedPlugin&, const ScannedPlugin&) = default;
};

// A few lines of text, the last of which is "end". The same everywhere, whatever the locale.
std::string TextOf(const ScannedPlugin& inPlugin);
// Takes one plug-in off the front of the text. False, and the text as it was, where its front is none.
bool ReadPlugin(std::string_view& ioText, ScannedPlugin& outPlugin);

// UTF-8 as it is; anything else is taken for Latin-1. Null is empty.
std::string ToUTF8(const char* inText);

} // namespace Frei0r
