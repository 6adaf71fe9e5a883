#include "ReferenceHost/Effects/Frei0r/Plugin.h"

#include "ReferenceHost/Effects/Frei0r/Warning.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace Frei0r
{
namespace
{

constexpr std::int32_t kBlock = 8;
// A picture of each size that a project has at once, on every thread of a large machine.
constexpr std::size_t kMostIdle = 32;
constexpr std::size_t kPixelBytes = 4;

std::int32_t RoundUp(std::int32_t inSide)
{
    return (inSide + kBlock - 1) / kBlock * kBlock;
}

// Copies a row between the order of frames, B G R A, and that of the plug-in.
void CopyRow(const unsigned char* inFrom, unsigned char* outTo, std::int32_t inWidth, bool inSwaps)
{
    const auto bytes = static_cast<std::size_t>(inWidth) * kPixelBytes;
    std::memcpy(outTo, inFrom, bytes);
    if (!inSwaps)
    {
        return;
    }
    for (std::size_t i = 0; i < bytes; i += kPixelBytes)
    {
        std::swap(outTo[i], outTo[i + 2]);
    }
}

void MakeOpaque(unsigned char* ioRow, std::int32_t inWidth)
{
    for (std::int32_t x = 0; x < inWidth; ++x)
    {
        ioRow[std::ptrdiff_t{4} * x + 3] = 255;
    }
}

struct Worker
{
    std::unique_ptr<IInstance> mInstance;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
    std::vector<Setting> mSettings; // of its frames, where it is bound to them

    void Fill(std::size_t inIndex, const PluginInput& inInput, bool inSwaps) const
    {
        const ir::Picture& picture = inInput.mPicture;
        std::uint32_t* const pixels = mInstance->Input(inIndex);
        for (std::int32_t y = 0; y < mHeight; ++y)
        {
            std::uint32_t* const row = pixels + static_cast<std::ptrdiff_t>(y) * mWidth;
            if (y >= picture.height)
            {
                std::copy(row - mWidth, row, row);
                continue;
            }
            auto* const bytes = reinterpret_cast<unsigned char*>(row);
            CopyRow(picture.Row(0, y), bytes, picture.width, inSwaps);
            if (inInput.mIsOpaque)
            {
                MakeOpaque(bytes, picture.width);
            }
            std::fill(row + picture.width, row + mWidth, row[picture.width - 1]);
        }
    }

    void Take(const ir::Picture& outPicture, bool inSwaps) const
    {
        for (std::int32_t y = 0; y < outPicture.height; ++y)
        {
            const std::uint32_t* const row = mInstance->Output() + static_cast<std::ptrdiff_t>(y) * mWidth;
            CopyRow(reinterpret_cast<const unsigned char*>(row), outPicture.Row(0, y), outPicture.width,
                    inSwaps);
        }
    }
};

} // namespace

class Plugin::Pool
{
public:
    Pool(const ScannedPlugin& inScanned, const PluginTraits& inTraits, std::shared_ptr<Sandbox> inSandbox)
        : mScanned(inScanned)
        , mSandbox(std::move(inSandbox))
        , mIsAlone(inTraits.mIsAlone && !mSandbox)
        , mIsBound(inTraits.mIsBound)
    {
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    bool Load()
    {
        const std::lock_guard lock(mLoading);
        if (!mIsTried)
        {
            mIsTried = true;
            std::string whyNot;
            mIsLoaded = mSandbox ? TryInSandbox(whyNot) : LoadHere(whyNot);
            if (!mIsLoaded)
            {
                Warn(mScanned.mFile.mPath + " " + whyNot);
            }
        }
        return mIsLoaded;
    }

    // No instance: the plug-in can't make one. Throws std::bad_alloc.
    Worker CheckOut(std::int32_t inWidth, std::int32_t inHeight, const PluginCall& inCall)
    {
        {
            const std::lock_guard lock(mLock);
            const auto fits = [&](const Worker& inWorker)
            {
                return inWorker.mWidth == inWidth && inWorker.mHeight == inHeight &&
                       (!mIsBound || inWorker.mSettings == inCall.mSettings);
            };
            const auto found = std::find_if(mIdle.rbegin(), mIdle.rend(), fits);
            if (found != mIdle.rend())
            {
                Worker worker = std::move(*found);
                mIdle.erase(std::next(found).base());
                return worker;
            }
        }
        Worker worker = MakeWorker(inWidth, inHeight);
        if (mIsBound)
        {
            worker.mSettings = inCall.mSettings;
        }
        return worker;
    }

    Worker MakeWorker(std::int32_t inWidth, std::int32_t inHeight)
    {
        Worker worker;
        worker.mWidth = inWidth;
        worker.mHeight = inHeight;
        const InstanceShape shape = {inWidth, inHeight, Inputs()};
        if (mSandbox)
        {
            worker.mInstance = mSandbox->MakeInstance(mScanned, shape);
            return worker;
        }
        const auto alone = Alone();
        worker.mInstance = MakeInstance(*mFile, mScanned.mFacts, shape);
        return worker;
    }

    void Return(Worker inWorker)
    {
        Worker oldest;
        {
            const std::lock_guard lock(mLock);
            mIdle.push_back(std::move(inWorker));
            if (mIdle.size() > kMostIdle)
            {
                oldest = std::move(mIdle.front());
                mIdle.erase(mIdle.begin());
            }
        }
        LetGo(oldest);
    }

    void LetGo(Worker& ioWorker)
    {
        const auto alone = Alone();
        ioWorker.mInstance.reset();
    }

    std::int32_t Run(Worker& ioWorker, const PluginCall& inCall)
    {
        const bool swaps = mScanned.mFacts.mColorModel == ColorModel::kRGBA;
        for (std::size_t i = 0; i < inCall.mInputs.size(); ++i)
        {
            ioWorker.Fill(i, inCall.mInputs[i], swaps);
        }
        {
            const auto alone = Alone();
            if (!ioWorker.mInstance->Draw(inCall.mSeconds, inCall.mSettings))
            {
                Warn(mScanned.mFile.mPath + " crashed or hung in its sandbox");
                return VF::kFrameStatus_BadArgument;
            }
        }
        ioWorker.Take(inCall.mTarget, swaps);
        return VF::kFrameStatus_OK;
    }

    bool IsCallable(const PluginCall& inCall) const
    {
        return inCall.mSettings.size() == mScanned.mFacts.mParameters.size() &&
               inCall.mInputs.size() == Inputs() && inCall.mTarget.width > 0 && inCall.mTarget.height > 0;
    }

    std::size_t Idle() const
    {
        const std::lock_guard lock(mLock);
        return mIdle.size();
    }

private:
    std::size_t Inputs() const
    {
        switch (mScanned.mFacts.mType)
        {
        case PluginType::kFilter: return 1;
        case PluginType::kSource: return 0;
        case PluginType::kMixer2:
        case PluginType::kMixer3: break;
        }
        return 2;
    }

    bool LoadHere(std::string& outWhyNot)
    {
        std::unique_ptr<PluginFile> file = PluginFile::Load(mScanned.mFile.mPath, outWhyNot);
        const bool isSame =
            file && file->Info().parameterCount == static_cast<int>(mScanned.mFacts.mParameters.size()) &&
            file->Info().pluginType == static_cast<int>(mScanned.mFacts.mType) &&
            file->Info().colorModel == static_cast<int>(mScanned.mFacts.mColorModel);
        outWhyNot = file && !isSame ? "is not what it was when it was looked at" : outWhyNot;
        mFile = isSame ? std::move(file) : nullptr;
        return isSame;
    }

    bool TryInSandbox(std::string& outWhyNot)
    {
        outWhyNot = "cannot be run in a process of its own, or is not what it was when it was looked at";
        return mSandbox->MakeInstance(mScanned, {kBlock, kBlock, Inputs()}) != nullptr;
    }

    std::unique_lock<std::mutex> Alone()
    {
        return mIsAlone ? std::unique_lock(mCalling) : std::unique_lock<std::mutex>();
    }

    const ScannedPlugin& mScanned;
    const std::shared_ptr<Sandbox> mSandbox; // empty: plug-ins run here
    const bool mIsAlone;
    const bool mIsBound;
    std::mutex mLoading;
    bool mIsTried = false;
    bool mIsLoaded = false;
    std::unique_ptr<PluginFile> mFile; // unchanged once it is there; outlives all instances
    std::mutex mCalling;
    mutable std::mutex mLock;
    std::vector<Worker> mIdle; // the one that waits longest comes first
};

class Plugin::History final : public IPluginHistory
{
public:
    History(Pool& inPool, Worker inWorker) : mPool(inPool), mWorker(std::move(inWorker)) {}
    ~History() override { mPool.LetGo(mWorker); }

    std::int32_t Run(const PluginCall& inCall) override
    {
        const bool fits = mPool.IsCallable(inCall) && RoundUp(inCall.mTarget.width) == mWorker.mWidth &&
                          RoundUp(inCall.mTarget.height) == mWorker.mHeight;
        return fits ? mPool.Run(mWorker, inCall) : VF::kFrameStatus_BadArgument;
    }

private:
    Pool& mPool;
    Worker mWorker;
};

Plugin::Plugin(ScannedPlugin inScanned, PluginTraits inTraits, std::shared_ptr<Sandbox> inSandbox)
    : mScanned(std::move(inScanned))
    , mTraits(std::move(inTraits))
    , mPool(std::make_unique<Pool>(mScanned, mTraits, std::move(inSandbox)))
{
}

Plugin::~Plugin() = default;

bool Plugin::Load()
{
    return mPool->Load();
}

std::int32_t Plugin::Run(const PluginCall& inCall)
{
    if (!Load() || !mPool->IsCallable(inCall))
    {
        return VF::kFrameStatus_BadArgument;
    }
    try
    {
        Worker worker =
            mPool->CheckOut(RoundUp(inCall.mTarget.width), RoundUp(inCall.mTarget.height), inCall);
        if (!worker.mInstance)
        {
            return VF::kFrameStatus_BadArgument;
        }
        const std::int32_t status = mPool->Run(worker, inCall);
        if (status >= 0)
        {
            mPool->Return(std::move(worker));
        }
        return status;
    }
    catch (const std::bad_alloc&)
    {
        return VF::kFrameStatus_OutOfMemory;
    }
}

std::unique_ptr<IPluginHistory> Plugin::MakeHistory(std::int32_t inWidth, std::int32_t inHeight)
{
    if (!Load())
    {
        return nullptr;
    }
    Worker worker = mPool->MakeWorker(RoundUp(inWidth), RoundUp(inHeight));
    return worker.mInstance ? std::make_unique<History>(*mPool, std::move(worker)) : nullptr;
}

std::size_t Plugin::IdleInstances() const
{
    return mPool->Idle();
}

} // namespace Frei0r
