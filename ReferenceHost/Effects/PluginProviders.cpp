#include "ReferenceHost/Effects/PluginProviders.h"

#if VR_HAS_FREI0R
#include "ReferenceHost/Effects/Frei0r/PluginProvider.h"
#include "ReferenceHost/Effects/Frei0r/Sandbox.h"
#endif

namespace Effects
{

std::shared_ptr<Frei0r::Sandbox> CreatePluginSandbox()
{
#if VR_HAS_FREI0R
    return std::make_shared<Frei0r::Sandbox>();
#else
    return {};
#endif
}

void AddPluginProviders([[maybe_unused]] EffectRegistry& ioRegistry,
                        [[maybe_unused]] const std::string& inCacheFolder,
                        [[maybe_unused]] const PluginPolicy& inPolicy)
{
#if VR_HAS_FREI0R
    ioRegistry.AddProvider(
        Frei0r::CreatePluginProvider({{},
                                      inCacheFolder.empty() ? "" : inCacheFolder + "/frei0r-plugins",
                                      inPolicy.mAllowsStateful,
                                      inPolicy.mSandbox}));
#endif
}

} // namespace Effects
