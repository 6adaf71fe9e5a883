// The binary interface of frei0r plug-ins, version 1, as plain C.
//
// Declared here and not read from the header of the plug-ins' package, so that the host builds the same whether or
// not that is installed; a test compares both where it is.
//
// Pixels are 32 bits, straight alpha, rows from the top without gaps.
//
// Thread-safety: types only. Functions without an instance may run at once with any other; the calls of one
// instance come from one thread at a time.
#pragma once

#include <cstdint>

namespace Frei0r
{

inline constexpr int kInterfaceVersion = 1;

enum class PluginType : int
{
    kFilter = 0,
    kSource = 1,
    kMixer2 = 2,
    kMixer3 = 3,
};

// The order of the bytes in memory.
enum class ColorModel : int
{
    kBGRA = 0,
    kRGBA = 1,
    kPacked = 2, // the plug-in does not tell one component from another
};

enum class ParameterType : int
{
    kBool = 0,   // a double, on from 0.5
    kDouble = 1, // 0 to 1
    kColor = 2,
    kPosition = 3,
    kString = 4, // a pointer to a char*
};

struct PluginInfo
{
    const char* name;
    const char* author;
    int pluginType;
    int colorModel;
    int interfaceVersion;
    int majorVersion;
    int minorVersion;
    int parameterCount;
    const char* explanation; // may be null
};

struct ParameterInfo
{
    const char* name;
    int type;
    const char* explanation; // may be null
};

struct ColorValue
{
    float r;
    float g;
    float b;
};

struct PositionValue
{
    double x;
    double y;
};

using Instance = void*;

using InitFunction = int();
using GetPluginInfoFunction = void(PluginInfo* outInfo);
using GetParameterInfoFunction = void(ParameterInfo* outInfo, int inIndex);
using ConstructFunction = Instance(unsigned inWidth, unsigned inHeight);
using DestructFunction = void(Instance inInstance);
using SetParameterFunction = void(Instance inInstance, void* inValue, int inIndex);
using GetParameterFunction = void(Instance inInstance, void* outValue, int inIndex);
using UpdateFunction = void(Instance inInstance, double inTime, const std::uint32_t* inFrame,
                            std::uint32_t* outFrame);
using Update2Function = void(Instance inInstance, double inTime, const std::uint32_t* inFrame1,
                             const std::uint32_t* inFrame2, const std::uint32_t* inFrame3,
                             std::uint32_t* outFrame);

} // namespace Frei0r
