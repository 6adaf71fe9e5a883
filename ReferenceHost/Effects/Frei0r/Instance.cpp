#include "ReferenceHost/Effects/Frei0r/Instance.h"

#include "ReferenceHost/Effects/Frei0r/CallGuard.h"

#include <cstring>
#include <new>

namespace Frei0r
{
namespace
{

constexpr std::size_t kSlackBytes = 64;
constexpr std::size_t kAlignment = 64;
constexpr std::size_t kPixelBytes = 4;

struct AlignedDelete
{
    void operator()(unsigned char* inBytes) const
    {
        ::operator delete(inBytes, std::align_val_t(kAlignment));
    }
};
using Bytes = std::unique_ptr<unsigned char, AlignedDelete>;

Bytes MakeBytes(std::size_t inCount)
{
    Bytes bytes(static_cast<unsigned char*>(::operator new(inCount, std::align_val_t(kAlignment))));
    std::memset(bytes.get(), 0, inCount);
    return bytes;
}

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

class LocalInstance final : public IInstance
{
public:
    LocalInstance(const PluginFile& inFile, const PluginFacts& inFacts, const InstanceShape& inShape)
        : mFile(inFile)
        , mFacts(inFacts)
        , mShape(inShape)
        , mPictures(MakeBytes((inShape.mInputs + 1) * inShape.PictureBytes()))
    {
        const CallGuard guard;
        mInstance =
            inFile.mConstruct(static_cast<unsigned>(inShape.mWidth), static_cast<unsigned>(inShape.mHeight));
    }
    ~LocalInstance() override
    {
        if (mInstance != nullptr)
        {
            const CallGuard guard;
            mFile.mDestruct(mInstance);
        }
    }

    bool IsMade() const { return mInstance != nullptr; }

    std::uint32_t* Input(std::size_t inIndex) override
    {
        return reinterpret_cast<std::uint32_t*>(mPictures.get() + inIndex * mShape.PictureBytes());
    }
    const std::uint32_t* Output() const override
    {
        return reinterpret_cast<const std::uint32_t*>(mPictures.get() +
                                                      mShape.mInputs * mShape.PictureBytes());
    }
    bool Draw(double inSeconds, const std::vector<Setting>& inSettings) override
    {
        CallPlugin(mFile, mInstance, mFacts, mShape, inSeconds, inSettings, mPictures.get());
        return true;
    }

private:
    const PluginFile& mFile;
    const PluginFacts& mFacts;
    const InstanceShape mShape;
    const Bytes mPictures;
    Instance mInstance = nullptr;
};

} // namespace

std::size_t InstanceShape::PictureBytes() const
{
    const std::size_t pixels = static_cast<std::size_t>(mWidth) * static_cast<std::size_t>(mHeight);
    return (pixels * kPixelBytes + kSlackBytes + kAlignment - 1) / kAlignment * kAlignment;
}

std::unique_ptr<IInstance> MakeInstance(const PluginFile& inFile, const PluginFacts& inFacts,
                                        const InstanceShape& inShape)
{
    auto instance = std::make_unique<LocalInstance>(inFile, inFacts, inShape);
    return instance->IsMade() ? std::move(instance) : nullptr;
}

void CallPlugin(const PluginFile& inFile, Instance inInstance, const PluginFacts& inFacts,
                const InstanceShape& inShape, double inSeconds, const std::vector<Setting>& inSettings,
                unsigned char* ioPictures)
{
    const std::size_t bytes = inShape.PictureBytes();
    unsigned char* const output = ioPictures + inShape.mInputs * bytes;
    std::memset(output, 0, bytes);
    const CallGuard guard;
    for (std::size_t i = 0; i < inFacts.mParameters.size(); ++i)
    {
        Set(inFile, inInstance, inFacts.mParameters[i].mType, inSettings[i], static_cast<int>(i));
    }
    const auto pictureAt = [](const unsigned char* inPicture)
    { return reinterpret_cast<const std::uint32_t*>(inPicture); };
    auto* const target = reinterpret_cast<std::uint32_t*>(output);
    switch (inFacts.mType)
    {
    case PluginType::kFilter: return inFile.mUpdate(inInstance, inSeconds, pictureAt(ioPictures), target);
    case PluginType::kSource: return inFile.mUpdate(inInstance, inSeconds, nullptr, target);
    case PluginType::kMixer2:
    case PluginType::kMixer3:
        return inFile.mUpdate2(inInstance, inSeconds, pictureAt(ioPictures), pictureAt(ioPictures + bytes),
                               nullptr, target);
    }
}

} // namespace Frei0r
