// A plug-in at work: it is loaded when it is first wanted, and its instances go from render to render.
//
// Instances are made for a size, which is that of the picture rounded up to whole blocks of 8 by repeating the last
// column and row, since plug-ins may count on that. An instance is one render's at a time and is given every
// parameter anew (one of a plug-in that keeps something of earlier values serves frames of equal ones only); a few wait for the next render. Its pictures are its own, so a plug-in never reads and writes the
// same memory, and there is room behind them for those that reach a little too far.
//
// Thread-safety: safe.
#pragma once

#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"
#include "ReferenceHost/Effects/Frei0r/PluginTraits.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

#include <atomic>
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

struct PluginCall
{
    double mSeconds = 0.0;
    std::vector<Setting> mSettings;     // one for each parameter
    std::vector<ir::Picture> mPictures; // as many as the plug-in takes, all of the target's size
    ir::Picture mTarget;                // B G R A, 8 bits, like the pictures
};

class Plugin
{
public:
    Plugin(ScannedPlugin inScanned, PluginTraits inTraits);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    const ScannedPlugin& Scanned() const noexcept { return mScanned; }
    const PluginTraits& Traits() const noexcept { return mTraits; }

    // False, with a warning the first time, if it can't be loaded or is not what it was when it was looked at.
    bool Load();
    // 0, or negative: not loaded, no instance can be made, or no memory.
    std::int32_t Run(const PluginCall& inCall);
    // Whether somebody asked this before: a loss of precision is told once.
    bool IsRoundingTold() noexcept { return mIsRoundingTold.exchange(true); }
    // Instances that wait.
    std::size_t IdleInstances() const;

private:
    class Pool;

    const ScannedPlugin mScanned;
    const PluginTraits mTraits;
    const std::unique_ptr<Pool> mPool;
    std::atomic<bool> mIsRoundingTold{false};
};

} // namespace Frei0r
