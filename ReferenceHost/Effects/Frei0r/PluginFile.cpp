#include "ReferenceHost/Effects/Frei0r/PluginFile.h"

#include "ReferenceHost/Effects/Frei0r/CallGuard.h"

#include <algorithm>
#include <cmath>
#include <dlfcn.h>

namespace Frei0r
{
namespace
{

constexpr unsigned kProbeSide = 64;
// No plug-in comes near; a number beyond is that of a broken one.
constexpr int kMostParameters = 1000;

template <typename Function>
bool Find(void* inLibrary, const char* inName, Function*& outFunction)
{
    outFunction = reinterpret_cast<Function*>(::dlsym(inLibrary, inName));
    return outFunction != nullptr;
}

double FiniteOrZero(double inNumber)
{
    return std::isfinite(inNumber) ? inNumber : 0.0;
}

// Documents name parameters, so each needs a name of its own.
void MakeNamesUnique(std::vector<ParameterFacts>& ioParameters)
{
    for (std::size_t i = 0; i < ioParameters.size(); ++i)
    {
        std::string& name = ioParameters[i].mName;
        name = name.empty() ? "Parameter" : name;
        const auto isTaken = [&](const std::string& inName)
        {
            return std::any_of(ioParameters.begin(), ioParameters.begin() + static_cast<std::ptrdiff_t>(i),
                               [&](const ParameterFacts& inOther) { return inOther.mName == inName; });
        };
        const std::string first = name;
        for (int number = 2; isTaken(name); ++number)
        {
            name = first + " " + std::to_string(number);
        }
    }
}

} // namespace

std::unique_ptr<PluginFile> PluginFile::Load(const std::string& inPath, std::string& outWhyNot)
{
    const CallGuard guard;
    void* const library = ::dlopen(inPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
    {
        const char* const reason = ::dlerror();
        outWhyNot = std::string("cannot be loaded: ") + (reason == nullptr ? "no reason is told" : reason);
        return nullptr;
    }
    std::unique_ptr<PluginFile> file(new PluginFile());
    InitFunction* init = nullptr;
    if (!Find(library, "f0r_init", init))
    {
        outWhyNot = "has no function f0r_init";
        return nullptr;
    }
    if (!file->FindFunctions(library, outWhyNot))
    {
        return nullptr;
    }
    if (init() == 0)
    {
        outWhyNot = "does not start";
        return nullptr;
    }
    GetPluginInfoFunction* getInfo = nullptr;
    Find(library, "f0r_get_plugin_info", getInfo);
    getInfo(&file->mInfo);
    outWhyNot = file->WhyRefused();
    return outWhyNot.empty() ? std::move(file) : nullptr;
}

bool PluginFile::FindFunctions(void* inLibrary, std::string& outWhyNot)
{
    GetPluginInfoFunction* getInfo = nullptr;
    const char* missing = nullptr;
    missing = Find(inLibrary, "f0r_get_plugin_info", getInfo) ? missing : "f0r_get_plugin_info";
    missing = Find(inLibrary, "f0r_construct", mConstruct) ? missing : "f0r_construct";
    missing = Find(inLibrary, "f0r_destruct", mDestruct) ? missing : "f0r_destruct";
    Find(inLibrary, "f0r_get_param_info", mGetParameterInfo);
    Find(inLibrary, "f0r_set_param_value", mSetParameter);
    Find(inLibrary, "f0r_get_param_value", mGetParameter);
    Find(inLibrary, "f0r_update", mUpdate);
    Find(inLibrary, "f0r_update2", mUpdate2);
    if (missing != nullptr)
    {
        outWhyNot = std::string("has no function ") + missing;
    }
    return missing == nullptr;
}

std::string PluginFile::WhyRefused() const
{
    if (mInfo.interfaceVersion != kInterfaceVersion)
    {
        return "speaks version " + std::to_string(mInfo.interfaceVersion) + " of the interface";
    }
    if (mInfo.pluginType < 0 || mInfo.pluginType > static_cast<int>(PluginType::kMixer3))
    {
        return "is of the unknown type " + std::to_string(mInfo.pluginType);
    }
    if (mInfo.colorModel < 0 || mInfo.colorModel > static_cast<int>(ColorModel::kPacked))
    {
        return "has the unknown colour model " + std::to_string(mInfo.colorModel);
    }
    const bool hasParameters = mInfo.parameterCount > 0;
    if (mInfo.parameterCount < 0 || mInfo.parameterCount > kMostParameters)
    {
        return "claims " + std::to_string(mInfo.parameterCount) + " parameters";
    }
    if (hasParameters &&
        (mGetParameterInfo == nullptr || mSetParameter == nullptr || mGetParameter == nullptr))
    {
        return "has parameters that cannot be reached";
    }
    const bool isMixer = mInfo.pluginType >= static_cast<int>(PluginType::kMixer2);
    const bool draws = isMixer ? mUpdate2 != nullptr : mUpdate != nullptr;
    return draws ? "" : std::string("has no function ") + (isMixer ? "f0r_update2" : "f0r_update");
}

PluginFacts PluginFile::ReadFacts() const
{
    const CallGuard guard;
    PluginFacts facts;
    facts.mName = ToUTF8(mInfo.name);
    facts.mAuthor = ToUTF8(mInfo.author);
    facts.mExplanation = ToUTF8(mInfo.explanation);
    facts.mType = static_cast<PluginType>(mInfo.pluginType);
    facts.mColorModel = static_cast<ColorModel>(mInfo.colorModel);
    facts.mMajorVersion = mInfo.majorVersion;
    facts.mMinorVersion = mInfo.minorVersion;
    const Instance instance = mConstruct(kProbeSide, kProbeSide);
    if (instance == nullptr)
    {
        facts.mWhyNot = "makes no instance";
        return facts;
    }
    for (int i = 0; i < mInfo.parameterCount; ++i)
    {
        ParameterInfo info{};
        mGetParameterInfo(&info, i);
        if (info.type < 0 || info.type > static_cast<int>(ParameterType::kString))
        {
            facts.mWhyNot = "has a parameter of the unknown type " + std::to_string(info.type);
            break;
        }
        ParameterFacts parameter;
        parameter.mName = ToUTF8(info.name);
        parameter.mType = static_cast<ParameterType>(info.type);
        parameter.mExplanation = ToUTF8(info.explanation);
        ReadDefault(instance, i, parameter);
        facts.mParameters.push_back(std::move(parameter));
    }
    mDestruct(instance);
    MakeNamesUnique(facts.mParameters);
    return facts;
}

void PluginFile::ReadDefault(Instance inInstance, int inIndex, ParameterFacts& ioParameter) const
{
    double number = 0.0;
    ColorValue color{};
    PositionValue position{};
    char* text = nullptr; // the plug-in's own
    switch (ioParameter.mType)
    {
    case ParameterType::kBool:
    case ParameterType::kDouble:
        mGetParameter(inInstance, &number, inIndex);
        ioParameter.mNumbers[0] = FiniteOrZero(number);
        break;
    case ParameterType::kColor:
        mGetParameter(inInstance, &color, inIndex);
        ioParameter.mNumbers[0] = FiniteOrZero(static_cast<double>(color.r));
        ioParameter.mNumbers[1] = FiniteOrZero(static_cast<double>(color.g));
        ioParameter.mNumbers[2] = FiniteOrZero(static_cast<double>(color.b));
        break;
    case ParameterType::kPosition:
        mGetParameter(inInstance, &position, inIndex);
        ioParameter.mNumbers[0] = FiniteOrZero(position.x);
        ioParameter.mNumbers[1] = FiniteOrZero(position.y);
        break;
    case ParameterType::kString:
        mGetParameter(inInstance, &text, inIndex);
        ioParameter.mText = ToUTF8(text);
        break;
    }
}

} // namespace Frei0r
