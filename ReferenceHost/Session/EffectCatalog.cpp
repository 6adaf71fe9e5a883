#include "ReferenceHost/Session/EffectCatalog.h"

#include "ReferenceHost/DiskCache/CacheDirectory.h"

#include <mutex>

namespace Session
{
namespace
{

std::mutex sPolicyLock;
Effects::PluginPolicy sPolicy;

Effects::PluginPolicy GetPluginPolicy()
{
    const std::lock_guard lock(sPolicyLock);
    return sPolicy;
}

} // namespace

Effects::EffectRegistry& EffectCatalog()
{
    Effects::EffectRegistry& registry = Effects::GetEffectRegistry();
    Effects::AddPluginProviders(registry, DiskCache::UsualCacheDirectory(), GetPluginPolicy());
    return registry;
}

void SetPluginPolicy(const Effects::PluginPolicy& inPolicy)
{
    const std::lock_guard lock(sPolicyLock);
    sPolicy = inPolicy;
}

} // namespace Session
