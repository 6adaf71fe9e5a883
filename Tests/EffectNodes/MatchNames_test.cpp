#include "MatchNames.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace
{

TEST(MatchNames, AreThoseThatDocumentsCarry)
{
    const std::vector<std::pair<ML::MatchName, std::string>> names = {
        {ML::kMatchnameOpacity, "VX.ZNTR Opacity"},
        {ML::kMatchnameMotion, "VX.ZNTR Motion"},
        {ML::kMatchnameShakeStabilizer, "VX.ZNTR ShakeStabilizer"},
        {ML::kMatchnameTimecode, "VX.ZNTR Kest Timecode"},
        {ML::kMatchnameProcamp, "VX.ZNTR ProcAmp"},
        {ML::kMatchnameBalance, "Internal Balance"},
        {ML::kMatchnameVolumeMono, "Internal Volume Mono"},
        {ML::kMatchnameVolumeStereo, "Internal Volume Stereo"},
        {ML::kMatchnameVolume51, "Internal Volume 5.1"},
        {ML::kMatchnameVolumeAdaptive, "Internal Volume 16 Channel"},
        {ML::kMatchnameChannelVolumeStereo, "Internal Channel Volume Stereo"},
        {ML::kMatchnameChannelVolume51, "Internal Channel Volume 5.1"},
        {ML::kMatchnameChannelVolumeAdaptive, "Internal Channel Volume 16 Channel"},
        {ML::kMatchnameMuteMono, "Internal Mute Mono"},
        {ML::kMatchnameMuteStereo, "Internal Mute Stereo"},
        {ML::kMatchnameMute51, "Internal Mute 5.1"},
        {ML::kMatchnameMute16Channel, "Internal Mute 16 Channel"},
        {ML::kMatchnameMask, "VX.ZNTR VXMask"},
        {ML::kTempestMatchName, "Kest.TimeWarp"},
        {ML::kMatchnameMulticamHilite, "VX.ZNTR Multicam Hilite"},
        {ML::kMatchnameCornerPin, "VX.ZNTR Corner Pin"},
        {ML::kMatchnameGarbageMatte, "VX.ZNTR Garbage Matte"},
        {ML::kMatchnameTransform, "VX.ZNTR Geometry"},
        {ML::kMatchnameAlphaAdjust, "VX.ZNTR Alpha Adjust"},
        {ML::kMatchnameKey_Chroma, "VX.ZNTR Legacy Key Chroma"},
        {ML::kMatchnameKey_RGBDifference, "VX.ZNTR Legacy Key RGBDifference"},
        {ML::kMatchnameKey_Luma, "VX.ZNTR Legacy Key Luma"},
        {ML::kMatchnameKey_RemoveMatte, "VX.ZNTR Legacy Key Remove Matte"},
        {ML::kMatchnameKey_ImageMatte, "VX.ZNTR Legacy Key Image Matte"},
        {ML::kMatchnameKey_DifferenceMatte, "VX.ZNTR Legacy Key Difference Matte"},
        {ML::kMatchnameKey_BlueScreen, "VX.ZNTR Legacy Key BlueScreen"},
        {ML::kMatchnameKey_GreenScreen, "VX.ZNTR Legacy Key GreenScreen"},
        {ML::kMatchnameKey_Multiply, "VX.ZNTR Legacy Key Multiply"},
        {ML::kMatchnameKey_Screen, "VX.ZNTR Legacy Key Screen"},
        {ML::kMatchnameKey_TrackMatte, "VX.ZNTR Legacy Key Track Matte"},
        {ML::kMatchnameKey_NonRed, "VX.ZNTR Legacy Key NonRed"},
        {ML::kMatchnameVideoLimiter, "VX.ZNTR Video Limiter"},
        {ML::kMatchnameCrossDissolveNew, "VX.ZNTR Cross Dissolve New"},
    };
    std::set<std::string> seen;
    for (const auto& [name, text] : names)
    {
        EXPECT_EQ(name.CStr(), text);
        EXPECT_TRUE(seen.insert(text).second) << text << " stands for two things";
    }
    EXPECT_EQ(names.size(), 38u);
}

} // namespace
