// One instance of a plug-in with the pictures that it works on: in this process, or in one of its own
// (Sandbox.h).
//
// Its pictures are its own, so a plug-in never reads and writes the same memory, and there is room behind
// them for those that reach a little too far.
//
// Thread-safety: used by one thread at a time.
#pragma once

#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"
#include "ReferenceHost/Effects/Frei0r/PluginFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Frei0r
{

// The value of one parameter, of whatever type.
struct Setting
{
    double mNumbers[3] = {0.0, 0.0, 0.0};
    std::string mText;

    friend bool operator==(const Setting&, const Setting&) = default;
};

// What an instance is made for.
struct InstanceShape
{
    std::int32_t mWidth = 0; // whole blocks of 8
    std::int32_t mHeight = 0;
    std::size_t mInputs = 0; // pictures that it takes, up to 2

    // Of one picture, with the room behind it; a multiple of 64.
    std::size_t PictureBytes() const;
};

class IInstance
{
public:
    virtual ~IInstance() = default;

    // Rows without gaps, 64-byte aligned.
    virtual std::uint32_t* Input(std::size_t inIndex) = 0;
    virtual const std::uint32_t* Output() const = 0;
    // One setting for each parameter. False: the plug-in is gone, and the instance with it.
    virtual bool Draw(double inSeconds, const std::vector<Setting>& inSettings) = 0;
};

// Null if the plug-in makes none. inFile outlives the instance. Throws std::bad_alloc.
std::unique_ptr<IInstance> MakeInstance(const PluginFile& inFile, const PluginFacts& inFacts,
                                        const InstanceShape& inShape);

// The functions of a plug-in called with pictures that lie one behind the other, inputs first. The output is
// cleared before: what a plug-in leaves out must not show an earlier frame.
void CallPlugin(const PluginFile& inFile, Instance inInstance, const PluginFacts& inFacts,
                const InstanceShape& inShape, double inSeconds, const std::vector<Setting>& inSettings,
                unsigned char* ioPictures);

} // namespace Frei0r
