// A plug-in at work: it is loaded when it is first wanted, and its instances go from render to render.
//
// Instances are made for a size, which is that of the picture rounded up to whole blocks of 8 by repeating
// the last column and row, since plug-ins may count on that. An instance is one render's at a time and is
// given every parameter anew (one of a plug-in that keeps something of earlier values serves frames of equal
// ones only); a few wait for the next render. Frames of a plug-in that remembers them go through an instance
// of their own, a history.
//
// Thread-safety: safe; a history is used by one thread at a time.
#pragma once

#include "ReferenceHost/Effects/Frei0r/Instance.h"
#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"
#include "ReferenceHost/Effects/Frei0r/PluginTraits.h"
#include "ReferenceHost/Effects/Frei0r/Sandbox.h"
#include "ReferenceHost/ImageRoutines/Picture.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace Frei0r
{

// A picture that a plug-in is given.
struct PluginInput
{
    ir::Picture mPicture;
    bool mIsOpaque = false; // whatever its alpha says
};

struct PluginCall
{
    double mSeconds = 0.0;
    std::vector<Setting> mSettings;   // one for each parameter
    std::vector<PluginInput> mInputs; // as many as the plug-in takes, all of the target's size
    ir::Picture mTarget;              // B G R A, 8 bits, like the inputs
};

// An instance that sees its frames one after the other.
class IPluginHistory
{
public:
    virtual ~IPluginHistory() = default;
    // As Plugin::Run.
    virtual std::int32_t Run(const PluginCall& inCall) = 0;
};

class Plugin
{
public:
    // inSandbox: where it runs; null: in this process.
    Plugin(ScannedPlugin inScanned, PluginTraits inTraits, std::shared_ptr<Sandbox> inSandbox = {});
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    const ScannedPlugin& Scanned() const noexcept { return mScanned; }
    const PluginTraits& Traits() const noexcept { return mTraits; }

    // False, with a warning the first time, if it can't be loaded or is not what it was when it was looked
    // at.
    bool Load();
    // 0, or negative: not loaded, no instance can be made, the plug-in has gone down in its sandbox, or no
    // memory.
    std::int32_t Run(const PluginCall& inCall);
    // For pictures of the call's size; null where there is no instance. The plug-in outlives it.
    std::unique_ptr<IPluginHistory> MakeHistory(std::int32_t inWidth, std::int32_t inHeight);
    // Whether somebody asked this before: a loss of precision is told once.
    bool IsRoundingTold() noexcept { return mIsRoundingTold.exchange(true); }
    // Instances that wait.
    std::size_t IdleInstances() const;

private:
    class Pool;
    class History;

    const ScannedPlugin mScanned;
    const PluginTraits mTraits;
    const std::unique_ptr<Pool> mPool;
    std::atomic<bool> mIsRoundingTold{false};
};

} // namespace Frei0r
