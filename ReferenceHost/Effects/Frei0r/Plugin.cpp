#include "ReferenceHost/Effects/Frei0r/Plugin.h"

#include "ReferenceHost/Effects/Frei0r/CallGuard.h"
#include "ReferenceHost/Effects/Frei0r/PluginFile.h"
#include "ReferenceHost/Effects/Frei0r/Warning.h"
#include "VF/VideoFrame.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>

namespace Frei0r
{
namespace
{

constexpr std::int32_t kBlock = 8;
constexpr std::size_t kSlackBytes = 64;
// A picture of each size that a project has at once, on every thread of a large machine.
constexpr std::size_t kMostIdle = 32;
constexpr std::size_t kPixelBytes = 4;

std::int32_t RoundUp(std::int32_t inSide)
{
    return (inSide + kBlock - 1) / kBlock * kBlock;
}

struct AlignedDelete
{
    void operator()(std::uint32_t* inPixels) const { ::operator delete(inPixels, std::align_val_t(64)); }
};
using Pixels = std::unique_ptr<std::uint32_t, AlignedDelete>;

Pixels MakePixels(std::size_t inCount)
{
    const std::size_t bytes = inCount * kPixelBytes + kSlackBytes;
    Pixels pixels(static_cast<std::uint32_t*>(::operator new(bytes, std::align_val_t(64))));
    std::memset(pixels.get(), 0, bytes);
    return pixels;
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

struct Worker
{
    Instance mInstance = nullptr;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
    std::vector<Setting> mSettings; // of its frames, where it is bound to them
    std::array<Pixels, 2> mInputs;
    Pixels mOutput;

    std::size_t Count() const { return static_cast<std::size_t>(mWidth) * static_cast<std::size_t>(mHeight); }

    void Fill(std::size_t inInput, const ir::Picture& inPicture, bool inSwaps) const
    {
        std::uint32_t* const pixels = mInputs[inInput].get();
        for (std::int32_t y = 0; y < mHeight; ++y)
        {
            std::uint32_t* const row = pixels + static_cast<std::ptrdiff_t>(y) * mWidth;
            if (y >= inPicture.height)
            {
                std::copy(row - mWidth, row, row);
                continue;
            }
            CopyRow(inPicture.Row(0, y), reinterpret_cast<unsigned char*>(row), inPicture.width, inSwaps);
            std::fill(row + inPicture.width, row + mWidth, row[inPicture.width - 1]);
        }
    }

    void Take(const ir::Picture& outPicture, bool inSwaps) const
    {
        for (std::int32_t y = 0; y < outPicture.height; ++y)
        {
            const std::uint32_t* const row = mOutput.get() + static_cast<std::ptrdiff_t>(y) * mWidth;
            CopyRow(reinterpret_cast<const unsigned char*>(row), outPicture.Row(0, y), outPicture.width,
                    inSwaps);
        }
    }
};

void Set(const PluginFile& inFile, Instance inInstance, ParameterType inType, const Setting& inSetting,
         int inIndex)
{
    double number = inSetting.mNumbers[0];
    ColorValue color = {static_cast<float>(inSetting.mNumbers[0]), static_cast<float>(inSetting.mNumbers[1]),
                        static_cast<float>(inSetting.mNumbers[2])};
    PositionValue position = {inSetting.mNumbers[0], inSetting.mNumbers[1]};
    // Some write into the text that they are given.
    std::string text = inSetting.mText;
    char* characters = text.data();
    switch (inType)
    {
    case ParameterType::kBool:
    case ParameterType::kDouble: inFile.mSetParameter(inInstance, &number, inIndex); break;
    case ParameterType::kColor: inFile.mSetParameter(inInstance, &color, inIndex); break;
    case ParameterType::kPosition: inFile.mSetParameter(inInstance, &position, inIndex); break;
    case ParameterType::kString: inFile.mSetParameter(inInstance, &characters, inIndex); break;
    }
}

} // namespace

class Plugin::Pool
{
public:
    explicit Pool(const PluginTraits& inTraits) : mIsAlone(inTraits.mIsAlone), mIsBound(inTraits.mIsBound) {}
    ~Pool()
    {
        for (const Worker& worker : mIdle)
        {
            mFile->mDestruct(worker.mInstance);
        }
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    bool Load(const ScannedPlugin& inScanned)
    {
        const std::lock_guard lock(mLoading);
        if (!mIsTried)
        {
            mIsTried = true;
            std::string whyNot;
            std::unique_ptr<PluginFile> file = PluginFile::Load(inScanned.mFile.mPath, whyNot);
            const bool isSame =
                file &&
                file->Info().parameterCount == static_cast<int>(inScanned.mFacts.mParameters.size()) &&
                file->Info().pluginType == static_cast<int>(inScanned.mFacts.mType) &&
                file->Info().colorModel == static_cast<int>(inScanned.mFacts.mColorModel);
            whyNot = file && !isSame ? "is not what it was when it was looked at" : whyNot;
            if (isSame)
            {
                mFile = std::move(file);
            }
            else
            {
                Warn(inScanned.mFile.mPath + " " + whyNot);
            }
        }
        return mFile != nullptr;
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
        Worker worker;
        worker.mWidth = inWidth;
        worker.mHeight = inHeight;
        if (mIsBound)
        {
            worker.mSettings = inCall.mSettings;
        }
        for (std::size_t i = 0; i < inCall.mPictures.size(); ++i)
        {
            worker.mInputs[i] = MakePixels(worker.Count());
        }
        worker.mOutput = MakePixels(worker.Count());
        const auto alone = Alone();
        const CallGuard guard;
        worker.mInstance = mFile->mConstruct(static_cast<unsigned>(inWidth), static_cast<unsigned>(inHeight));
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
        if (oldest.mInstance != nullptr)
        {
            const auto alone = Alone();
            const CallGuard guard;
            mFile->mDestruct(oldest.mInstance);
        }
    }

    void Draw(const Worker& inWorker, const PluginCall& inCall, const PluginFacts& inFacts)
    {
        // What a plug-in leaves out must not show an earlier frame.
        std::memset(inWorker.mOutput.get(), 0, inWorker.Count() * kPixelBytes);
        const auto alone = Alone();
        const CallGuard guard;
        for (std::size_t i = 0; i < inFacts.mParameters.size(); ++i)
        {
            Set(*mFile, inWorker.mInstance, inFacts.mParameters[i].mType, inCall.mSettings[i],
                static_cast<int>(i));
        }
        if (inFacts.mType == PluginType::kMixer2)
        {
            mFile->mUpdate2(inWorker.mInstance, inCall.mSeconds, inWorker.mInputs[0].get(),
                            inWorker.mInputs[1].get(), nullptr, inWorker.mOutput.get());
            return;
        }
        mFile->mUpdate(inWorker.mInstance, inCall.mSeconds, inWorker.mInputs[0].get(),
                       inWorker.mOutput.get());
    }

    std::size_t Idle() const
    {
        const std::lock_guard lock(mLock);
        return mIdle.size();
    }

private:
    std::unique_lock<std::mutex> Alone()
    {
        return mIsAlone ? std::unique_lock(mCalling) : std::unique_lock<std::mutex>();
    }

    const bool mIsAlone;
    const bool mIsBound;
    std::mutex mLoading;
    bool mIsTried = false;
    std::unique_ptr<PluginFile> mFile; // unchanged once it is there
    std::mutex mCalling;
    mutable std::mutex mLock;
    std::vector<Worker> mIdle; // the one that waits longest comes first
};

Plugin::Plugin(ScannedPlugin inScanned, PluginTraits inTraits)
    : mScanned(std::move(inScanned))
    , mTraits(std::move(inTraits))
    , mPool(std::make_unique<Pool>(mTraits))
{
}

Plugin::~Plugin() = default;

bool Plugin::Load()
{
    return mPool->Load(mScanned);
}

std::int32_t Plugin::Run(const PluginCall& inCall)
{
    const bool isCallable = Load() && inCall.mSettings.size() == mScanned.mFacts.mParameters.size() &&
                            inCall.mTarget.width > 0 && inCall.mTarget.height > 0;
    if (!isCallable)
    {
        return VF::kFrameStatus_BadArgument;
    }
    const bool swaps = mScanned.mFacts.mColorModel == ColorModel::kRGBA;
    try
    {
        Worker worker =
            mPool->CheckOut(RoundUp(inCall.mTarget.width), RoundUp(inCall.mTarget.height), inCall);
        if (worker.mInstance == nullptr)
        {
            return VF::kFrameStatus_BadArgument;
        }
        for (std::size_t i = 0; i < inCall.mPictures.size(); ++i)
        {
            worker.Fill(i, inCall.mPictures[i], swaps);
        }
        mPool->Draw(worker, inCall, mScanned.mFacts);
        worker.Take(inCall.mTarget, swaps);
        mPool->Return(std::move(worker));
    }
    catch (const std::bad_alloc&)
    {
        return VF::kFrameStatus_OutOfMemory;
    }
    return VF::kFrameStatus_OK;
}

std::size_t Plugin::IdleInstances() const
{
    return mPool->Idle();
}

} // namespace Frei0r
