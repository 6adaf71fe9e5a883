// One loaded plug-in: the functions of its shared object.
//
// A file that was loaded stays loaded until the process ends: libraries that plug-ins bring along do not survive
// being taken down and brought up again.
//
// Thread-safety: safe; see Frei0rInterface.h for the functions of the plug-in.
#pragma once

#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"

#include <memory>
#include <string>

namespace Frei0r
{

class PluginFile
{
public:
    // Null with the reason: no shared object, a function that is missing, a failed start, or one that speaks
    // another version of the interface.
    static std::unique_ptr<PluginFile> Load(const std::string& inPath, std::string& outWhyNot);

    // Makes an instance to read the defaults; mWhyNot tells that none could be made.
    PluginFacts ReadFacts() const;

    const PluginInfo& Info() const noexcept { return mInfo; }

    ConstructFunction* mConstruct = nullptr;
    DestructFunction* mDestruct = nullptr;
    SetParameterFunction* mSetParameter = nullptr;
    GetParameterFunction* mGetParameter = nullptr; // null where there are no parameters
    GetParameterInfoFunction* mGetParameterInfo = nullptr;
    UpdateFunction* mUpdate = nullptr;   // of filters and sources
    Update2Function* mUpdate2 = nullptr; // of mixers

private:
    PluginFile() = default;

    bool FindFunctions(void* inLibrary, std::string& outWhyNot);
    std::string WhyRefused() const;
    void ReadDefault(Instance inInstance, int inIndex, ParameterFacts& ioParameter) const;

    PluginInfo mInfo{};
};

} // namespace Frei0r
