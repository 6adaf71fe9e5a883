#include "ML/SuiteObjects.h"

#include <mutex>

namespace ML
{

namespace
{

class TimelineSuiteObject final : public TVK::ImplementsWeak<TimelineSuiteObject, ITimelineSuiteObject>
{
public:
    void SetSequence(const TVK::TVKUnknownRef& inSequence) override
    {
        TVK::TVKUnknownRef sequence = inSequence;
        const std::lock_guard<std::mutex> lock(mLock);
        std::swap(mSequence, sequence);
    }

    TVK::TVKUnknownRef GetSequence() const override
    {
        const std::lock_guard<std::mutex> lock(mLock);
        return mSequence;
    }

    void SetCutlistProvider(const MF::IRenderableCutlistProviderRef& inProvider,
                            const norviktypes::FrameRate& inFrameRate) override
    {
        MF::IRenderableCutlistProviderRef provider = inProvider;
        const std::lock_guard<std::mutex> lock(mLock);
        std::swap(mProvider, provider);
        mFrameRate = inFrameRate;
    }

    MF::IRenderableCutlistProviderRef GetCutlistProvider() const override
    {
        const std::lock_guard<std::mutex> lock(mLock);
        return mProvider;
    }

    norviktypes::FrameRate GetFrameRate() const override
    {
        const std::lock_guard<std::mutex> lock(mLock);
        return mFrameRate;
    }

private:
    mutable std::mutex mLock; // guards all members; what they held before is let go behind it
    TVK::TVKUnknownRef mSequence;
    MF::IRenderableCutlistProviderRef mProvider;
    norviktypes::FrameRate mFrameRate;
};

} // namespace

TimelineSuiteObjectRef CreateTimelineSuiteObject()
{
    return new TimelineSuiteObject;
}

} // namespace ML
