// The ids of all interfaces, in one place so that none is given twice.
//
// An id never changes once a host or a plug-in may have been built against it.
#pragma once

#include "norvik/utility/Guid.h"

namespace TVK::InterfaceIDs
{

using norvik::utility::Guid;

inline constexpr Guid kTVKUnknown{"6DC18AC4-6A45-48CE-A094-FB58D43C05B3"};
inline constexpr Guid kWeakReference{"2DD7502A-8FF2-4A86-B5F5-1A80C34BEC4E"};
inline constexpr Guid kWeakReferenceCapable{"83111ECF-788E-4DF0-B9A1-B067EB5CBCE0"};
inline constexpr Guid kMessage{"A2995434-30B1-4DC3-8FD8-9CE8F91DE7FB"};

inline constexpr Guid kVideoFrame{"7A8FA4DC-089F-4746-BB77-5655BF0E0614"};
inline constexpr Guid kVideoFramePixels{"58D1D4D6-E9FB-4FE0-A8BC-3A3C7634EB3B"};
inline constexpr Guid kVideoFrameRaster{"282D21CF-D8DA-4E4F-82BE-6E9C176CA796"};
inline constexpr Guid kSource{"AE9C4047-8A9C-479E-A8B7-DFCC8E97538C"};
inline constexpr Guid kTimeTransform{"B863C4E1-9C7B-47CA-8AA7-EC97B15DCDEB"};

inline constexpr Guid kVideoSource{"02D31BE8-DF46-42FB-B116-F046F9CBA0C8"};
inline constexpr Guid kVideoStreamInfo{"8F67356F-D557-47FA-8BC5-F2C7D83066D0"};
inline constexpr Guid kMediaInfo{"6FDEF025-22F6-4F57-9605-D0A7DDA8B31B"};

inline constexpr Guid kRenderableSource{"AECA09FC-9C02-412D-AE18-E5DCDDA00B6B"};
inline constexpr Guid kRenderableVideoSource{"FBF4018D-C935-474F-B122-F79664AC1EC4"};
inline constexpr Guid kRenderableNodePrefetch{"AF262385-FE46-4E3E-9540-82D64A9EDCFD"};
inline constexpr Guid kBitmapMedia{"A4FBA864-2815-4F35-9CA3-0AB0383A7BF2"};
inline constexpr Guid kBitmapMediaPrivate{"B12FA900-2C8E-40E3-ABF8-C5E0E3EF56D9"};

} // namespace TVK::InterfaceIDs
