#include "MF/RenderableCutlistFactory.h"

#include <mutex>
#include <utility>

namespace MF
{

namespace
{

// Never destroyed: the process may end while the library runs.
struct InstalledFactory
{
    std::mutex mMutex;
    IRenderableCutlistFactoryRef mFactory;
};

InstalledFactory& Installed()
{
    static auto* const sInstalled = new InstalledFactory;
    return *sInstalled;
}

} // namespace

// What was installed before is released outside of the lock, as its end may call back.
void SetCutlistFactory(const IRenderableCutlistFactoryRef& inFactory)
{
    InstalledFactory& installed = Installed();
    IRenderableCutlistFactoryRef other = inFactory;
    {
        const std::lock_guard<std::mutex> lock(installed.mMutex);
        std::swap(installed.mFactory, other);
    }
}

IRenderableCutlistFactoryRef GetCutlistFactory()
{
    InstalledFactory& installed = Installed();
    const std::lock_guard<std::mutex> lock(installed.mMutex);
    return installed.mFactory;
}

} // namespace MF
