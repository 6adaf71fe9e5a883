#include "MatchNames.h"

namespace ML
{

const MatchName kMatchnameOpacity = MatchName::CreateStatic("VX.ZNTR Opacity");
const MatchName kMatchnameMotion = MatchName::CreateStatic("VX.ZNTR Motion");
const MatchName kTempestMatchName = MatchName::CreateStatic("Kest.TimeWarp");

const MatchName kMatchnameShakeStabilizer = MatchName::CreateStatic("VX.ZNTR ShakeStabilizer");
const MatchName kMatchnameTimecode = MatchName::CreateStatic("VX.ZNTR Kest Timecode");
const MatchName kMatchnameProcamp = MatchName::CreateStatic("VX.ZNTR ProcAmp");
const MatchName kMatchnameMask = MatchName::CreateStatic("VX.ZNTR VXMask");
const MatchName kMatchnameMulticamHilite = MatchName::CreateStatic("VX.ZNTR Multicam Hilite");
const MatchName kMatchnameCornerPin = MatchName::CreateStatic("VX.ZNTR Corner Pin");
const MatchName kMatchnameGarbageMatte = MatchName::CreateStatic("VX.ZNTR Garbage Matte");
const MatchName kMatchnameTransform = MatchName::CreateStatic("VX.ZNTR Geometry");
const MatchName kMatchnameAlphaAdjust = MatchName::CreateStatic("VX.ZNTR Alpha Adjust");
const MatchName kMatchnameVideoLimiter = MatchName::CreateStatic("VX.ZNTR Video Limiter");

const MatchName kMatchnameKey_Chroma = MatchName::CreateStatic("VX.ZNTR Legacy Key Chroma");
const MatchName kMatchnameKey_RGBDifference = MatchName::CreateStatic("VX.ZNTR Legacy Key RGBDifference");
const MatchName kMatchnameKey_Luma = MatchName::CreateStatic("VX.ZNTR Legacy Key Luma");
const MatchName kMatchnameKey_RemoveMatte = MatchName::CreateStatic("VX.ZNTR Legacy Key Remove Matte");
const MatchName kMatchnameKey_ImageMatte = MatchName::CreateStatic("VX.ZNTR Legacy Key Image Matte");
const MatchName kMatchnameKey_DifferenceMatte =
    MatchName::CreateStatic("VX.ZNTR Legacy Key Difference Matte");
const MatchName kMatchnameKey_BlueScreen = MatchName::CreateStatic("VX.ZNTR Legacy Key BlueScreen");
const MatchName kMatchnameKey_GreenScreen = MatchName::CreateStatic("VX.ZNTR Legacy Key GreenScreen");
const MatchName kMatchnameKey_Multiply = MatchName::CreateStatic("VX.ZNTR Legacy Key Multiply");
const MatchName kMatchnameKey_Screen = MatchName::CreateStatic("VX.ZNTR Legacy Key Screen");
const MatchName kMatchnameKey_TrackMatte = MatchName::CreateStatic("VX.ZNTR Legacy Key Track Matte");
const MatchName kMatchnameKey_NonRed = MatchName::CreateStatic("VX.ZNTR Legacy Key NonRed");

const MatchName kMatchnameCrossDissolveNew = MatchName::CreateStatic("VX.ZNTR Cross Dissolve New");

const MatchName kMatchnameBalance = MatchName::CreateStatic("Internal Balance");
const MatchName kMatchnameVolumeMono = MatchName::CreateStatic("Internal Volume Mono");
const MatchName kMatchnameVolumeStereo = MatchName::CreateStatic("Internal Volume Stereo");
const MatchName kMatchnameVolume51 = MatchName::CreateStatic("Internal Volume 5.1");
const MatchName kMatchnameVolumeAdaptive = MatchName::CreateStatic("Internal Volume 16 Channel");
const MatchName kMatchnameChannelVolumeStereo = MatchName::CreateStatic("Internal Channel Volume Stereo");
const MatchName kMatchnameChannelVolume51 = MatchName::CreateStatic("Internal Channel Volume 5.1");
const MatchName kMatchnameChannelVolumeAdaptive =
    MatchName::CreateStatic("Internal Channel Volume 16 Channel");
const MatchName kMatchnameMuteMono = MatchName::CreateStatic("Internal Mute Mono");
const MatchName kMatchnameMuteStereo = MatchName::CreateStatic("Internal Mute Stereo");
const MatchName kMatchnameMute51 = MatchName::CreateStatic("Internal Mute 5.1");
const MatchName kMatchnameMute16Channel = MatchName::CreateStatic("Internal Mute 16 Channel");

} // namespace ML
