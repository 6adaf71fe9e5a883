#include "ReferenceHost/Session/EffectCatalog.h"

#include "ReferenceHost/DiskCache/CacheDirectory.h"
#include "ReferenceHost/Effects/PluginProviders.h"

namespace Session
{

Effects::EffectRegistry& EffectCatalog()
{
    Effects::EffectRegistry& registry = Effects::GetEffectRegistry();
    Effects::AddPluginProviders(registry, DiskCache::UsualCacheDirectory());
    return registry;
}

} // namespace Session
