#include "Tests/ReferenceHost/Frei0r/TestPlugins.h"

#include "ReferenceHost/Effects/EffectFormats.h"
#include "ReferenceHost/Effects/Frei0r/Plugin.h"
#include "ReferenceHost/Effects/Frei0r/Scan.h"

#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <utility>

namespace TestPlugins
{

std::string PathOf(const std::string& inKind)
{
    return std::string(VR_TEST_PLUGINS) + "/" + inKind + ".so";
}

Frei0r::PluginFileName FileOf(const std::string& inPath)
{
    struct stat facts
    {
    };
    ::stat(inPath.c_str(), &facts);
    return {std::filesystem::path(inPath).stem().string(), inPath,
            static_cast<std::int64_t>(facts.st_mtim.tv_sec) * 1'000'000'000 + facts.st_mtim.tv_nsec,
            static_cast<std::int64_t>(facts.st_size)};
}

std::vector<Frei0r::PluginFileName> FilesOf(const std::vector<std::string>& inKinds)
{
    std::vector<Frei0r::PluginFileName> files;
    for (const std::string& kind : inKinds)
    {
        files.push_back(FileOf(PathOf(kind)));
    }
    return files;
}

std::string MachineFolder()
{
    return "/usr/lib/frei0r-1";
}

bool IsOnMachine(const std::string& inStem)
{
    return std::filesystem::exists(MachineFolder() + "/" + inStem + ".so");
}

std::unique_ptr<Frei0r::Plugin> MakePlugin(const std::string& inPath, const Frei0r::PluginTraits& inTraits,
                                           std::shared_ptr<Frei0r::Sandbox> inSandbox)
{
    const std::vector<Frei0r::ScannedPlugin> scanned = Frei0r::ProbePlugins({FileOf(inPath)});
    return scanned.at(0).mFacts.mWhyNot.empty()
               ? std::make_unique<Frei0r::Plugin>(scanned[0], inTraits, std::move(inSandbox))
               : nullptr;
}

std::vector<unsigned char> Draw(Frei0r::Plugin& ioPlugin, const std::vector<EffectScenes::Scene>& inScenes,
                                double inSeconds, double inLevel)
{
    Frei0r::PluginCall call;
    call.mSeconds = inSeconds;
    for (const Frei0r::ParameterFacts& parameter : ioPlugin.Scanned().mFacts.mParameters)
    {
        Frei0r::Setting setting;
        std::memcpy(setting.mNumbers, parameter.mNumbers, sizeof(setting.mNumbers));
        setting.mText = parameter.mText;
        const bool isSwitch = parameter.mType == Frei0r::ParameterType::kBool;
        if (inLevel >= 0.0)
        {
            setting.mNumbers[0] = isSwitch ? 1.0 - setting.mNumbers[0] : inLevel;
        }
        call.mSettings.push_back(setting);
    }
    std::vector<MF::IVideoFrameRef> frames;
    for (const EffectScenes::Scene& scene : inScenes)
    {
        frames.push_back(EffectScenes::FrameOf(scene, MF::kPixelFormat_BGRA_4444_8u));
        call.mInputs.emplace_back();
        Effects::PictureOf(frames.back(), call.mInputs.back().mPicture);
    }
    MF::IVideoFrameRef target;
    frames.at(0)->CreateCompatibleFrame(target);
    Effects::PictureOf(target, call.mTarget);
    std::vector<unsigned char> bytes;
    if (ioPlugin.Run(call) < 0)
    {
        return bytes;
    }
    for (std::int32_t y = 0; y < call.mTarget.height; ++y)
    {
        const unsigned char* const row = call.mTarget.Row(0, y);
        bytes.insert(bytes.end(), row, row + std::ptrdiff_t{4} * call.mTarget.width);
    }
    return bytes;
}

} // namespace TestPlugins
