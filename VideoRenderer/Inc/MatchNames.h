// The names by which effects and transitions are told apart, whatever language their titles are shown in.
//
// Thread-safety: constants; not to be used before the library's own statics are there.
#pragma once

#include "VideoRendererExport.h"
#include "norvik/utility/Strings.h"

namespace ML
{

using MatchName = norvik::utility::ImmutableString;

// Fixed effects of a clip.
extern VIDEORENDERER_EXPORT const MatchName kMatchnameOpacity;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameMotion;
extern VIDEORENDERER_EXPORT const MatchName kTempestMatchName;

extern VIDEORENDERER_EXPORT const MatchName kMatchnameShakeStabilizer;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameTimecode;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameProcamp;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameMask;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameMulticamHilite;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameCornerPin;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameGarbageMatte;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameTransform;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameAlphaAdjust;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameVideoLimiter;

extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_Chroma;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_RGBDifference;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_Luma;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_RemoveMatte;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_ImageMatte;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_DifferenceMatte;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_BlueScreen;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_GreenScreen;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_Multiply;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_Screen;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_TrackMatte;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameKey_NonRed;

extern VIDEORENDERER_EXPORT const MatchName kMatchnameCrossDissolveNew;

// Audio.
extern VIDEORENDERER_EXPORT const MatchName kMatchnameBalance;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameVolumeMono;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameVolumeStereo;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameVolume51;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameVolumeAdaptive;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameChannelVolumeStereo;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameChannelVolume51;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameChannelVolumeAdaptive;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameMuteMono;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameMuteStereo;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameMute51;
extern VIDEORENDERER_EXPORT const MatchName kMatchnameMute16Channel;

} // namespace ML
