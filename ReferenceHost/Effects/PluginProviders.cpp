#include "ReferenceHost/Effects/PluginProviders.h"

#if VR_HAS_FREI0R
#include "ReferenceHost/Effects/Frei0r/PluginProvider.h"
#endif

namespace Effects
{

void AddPluginProviders([[maybe_unused]] EffectRegistry& ioRegistry,
                        [[maybe_unused]] const std::string& inCacheFolder,
                        [[maybe_unused]] const PluginPolicy& inPolicy)
{
#if VR_HAS_FREI0R
    ioRegistry.AddProvider(
        Frei0r::CreatePluginProvider({{},
                                      inCacheFolder.empty() ? "" : inCacheFolder + "/frei0r-plugins",
                                      inPolicy.mAllowsStateful,
                                      inPolicy.mIsSandboxed}));
#endif
}

} // namespace Effects
