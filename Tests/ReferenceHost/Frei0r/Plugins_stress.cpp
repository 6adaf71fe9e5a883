#include "ReferenceHost/Effects/Frei0r/Plugin.h"
#include "ReferenceHost/Effects/Frei0r/Scan.h"
#include "ReferenceHost/Effects/Frei0r/SearchPath.h"
#include "Tests/ReferenceHost/Frei0r/TestPlugins.h"
#include "Tests/Support/Scale.h"

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using EffectScenes::Noise;
using EffectScenes::Scene;
using TestPlugins::Draw;

namespace
{

// Whether one frame comes out the same whatever was made before, and of another instance.
bool HasMemory(const Frei0r::ScannedPlugin& inScanned, const Frei0r::PluginTraits& inTraits, double inLevel)
{
    const std::size_t inputs = inScanned.mFacts.mType == Frei0r::PluginType::kMixer2 ? 2 : 1;
    const auto scenes = [&](int inSeed)
    { return std::vector<Scene>(inputs, Noise(40, 24, static_cast<std::uint64_t>(inSeed))); };
    Frei0r::Plugin used(inScanned, inTraits);
    Frei0r::Plugin fresh(inScanned, inTraits);
    const auto first = Draw(used, scenes(1), 1.0, inLevel);
    Draw(used, scenes(2), 0.4, 0.3);
    Draw(used, scenes(3), 7.0, inLevel);
    Draw(fresh, scenes(4), 3.0, 0.6);
    return first.empty() || first != Draw(used, scenes(1), 1.0, inLevel) ||
           first != Draw(fresh, scenes(1), 1.0, inLevel);
}

// In a process of its own, as some crash: 0 where nothing is wrong, 1 where there is a memory, or what
// waitpid tells of a crash.
int Examine(const Frei0r::ScannedPlugin& inScanned, const Frei0r::PluginTraits& inTraits)
{
    const pid_t child = ::fork();
    if (child == 0)
    {
        const bool isWrong = HasMemory(inScanned, inTraits, -1.0) || HasMemory(inScanned, inTraits, 0.8);
        ::_exit(isWrong ? 1 : 0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : status;
}

} // namespace

TEST(PluginThreads, CallsOfPluginsThatNeedItDoNotOverlap)
{
    Frei0r::PluginTraits traits;
    traits.mIsAlone = true;
    const auto plugin = TestPlugins::MakePlugin(TestPlugins::PathOf("alone"), traits);
    ASSERT_TRUE(plugin);
    const int count = static_cast<int>(TestSupport::ScaledCount(200));
    const std::vector<unsigned char> expected(8 * 8 * 4, 1);
    std::vector<int> good(4, 0);
    std::vector<std::thread> threads;
    for (int& ownGood : good)
    {
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < count; ++i)
                {
                    ownGood += Draw(*plugin, {Noise(8, 8, 1)}, 0.0) == expected ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(good, std::vector<int>(4, count));
}

TEST(PluginThreads, FramesOfOnePluginAreMadeAtOnce)
{
    const auto plugin = TestPlugins::MakePlugin(TestPlugins::PathOf("tells"), {});
    ASSERT_TRUE(plugin);
    const int count = static_cast<int>(TestSupport::ScaledCount(100));
    std::vector<int> good(4, 0);
    std::vector<std::thread> threads;
    for (std::size_t own = 0; own < good.size(); ++own)
    {
        threads.emplace_back(
            [&, own]
            {
                for (int i = 0; i < count; ++i)
                {
                    const double seconds = static_cast<double>(own) / 4.0;
                    const auto told = Draw(*plugin, {Noise(9, 9, 1)}, seconds);
                    // In memory blue comes first; the third byte of the plug-in's red, green, blue is the
                    // time.
                    good[own] += told.at(0) == static_cast<unsigned char>(own * 25) ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(good, std::vector<int>(4, count));
}

// A handful; all of the machine where tests take their time.
TEST(MachinePlugins, HaveNoMemoryOfEarlierFrames)
{
    const std::set<std::string> handful = {"glow", "invert0r", "IIRblur", "pixeliz0r", "xfade0r"};
    const bool takesTime = TestSupport::ScaledCount(10) > 10;
    std::vector<Frei0r::PluginFileName> files;
    for (const Frei0r::PluginFileName& file : Frei0r::FindPluginFiles({TestPlugins::MachineFolder()}))
    {
        if (takesTime || handful.count(file.mStem) != 0)
        {
            files.push_back(file);
        }
    }
    if (files.empty())
    {
        GTEST_SKIP() << "the package frei0r-plugins is not installed";
    }
    const Frei0r::TraitTable traits;
    for (const Frei0r::ScannedPlugin& scanned : Frei0r::ProbePlugins(files))
    {
        EXPECT_EQ(scanned.mFacts.mWhyNot, "") << scanned.mFile.mStem;
        const Frei0r::PluginTraits known = traits.Of(scanned.mFile.mStem);
        const bool isUsed = scanned.mFacts.mType == Frei0r::PluginType::kFilter || !known.mFader.empty();
        if (isUsed && !known.mIsStateful && !known.mCrashes)
        {
            EXPECT_EQ(Examine(scanned, known), 0) << scanned.mFile.mStem;
        }
    }
}
