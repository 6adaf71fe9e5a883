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
inline constexpr Guid kRenderableNode{"19CE7301-5D2C-47CA-94C9-DEC165DAE04B"};
inline constexpr Guid kRenderableCutlist{"CD921ACF-71B3-4F92-B68A-38011ADE5701"};
inline constexpr Guid kRenderableExtendedStillInfo{"7D228CC9-6B2E-41D7-8952-498FB74682DB"};
inline constexpr Guid kSmartRenderSegmentInfo{"AD944FB8-13FF-4F71-A932-9D1C3CE84711"};
inline constexpr Guid kRenderableCutlistProvider{"52A4E49C-E8AB-488F-BEF6-EBE4DA165E38"};
inline constexpr Guid kSequenceVideoProperties{"DD0D9EEA-2665-4332-AF1B-8C9E56ECE56D"};
inline constexpr Guid kKeyframedParameter{"D8A1E536-0935-4A79-B372-B0A7FE5F9C2A"};

inline constexpr Guid kVideoSource{"02D31BE8-DF46-42FB-B116-F046F9CBA0C8"};
inline constexpr Guid kVideoStreamInfo{"8F67356F-D557-47FA-8BC5-F2C7D83066D0"};
inline constexpr Guid kAsyncVideoSource{"41B7A3D3-1B0F-4317-AC0A-93CE19CF2AD5"};
inline constexpr Guid kMediaInfo{"6FDEF025-22F6-4F57-9605-D0A7DDA8B31B"};
inline constexpr Guid kDirectories{"6D7C69E4-8AC9-4407-AF7C-62C97DF16052"};

inline constexpr Guid kMediaDescription{"3AC49A79-4E66-451E-8BD5-089C6DFA1155"};
inline constexpr Guid kMasterClip{"03278D61-E522-4BD7-841E-B8034600B451"};
inline constexpr Guid kClip{"D9B225DB-90EA-4069-BD98-B04E62DF55D0"};
inline constexpr Guid kTimeRemapParameter{"51742E61-B2C7-418F-9D51-F4529F00C834"};
inline constexpr Guid kEffect{"B378D992-EC0B-4DC3-9F31-F08329AFF882"};
inline constexpr Guid kEffectChain{"52510D13-A36C-4640-A250-D419CFDDEEA3"};
inline constexpr Guid kTrackItem{"A3FD4971-B68B-46FA-859F-633D2F2C6103"};
inline constexpr Guid kTransitionItem{"98B296BC-5A23-47F2-9BC9-8CA6310F3D3A"};
inline constexpr Guid kTrack{"FA1E198A-4AFB-47F2-A085-56753EEC8A8E"};
inline constexpr Guid kTrackEnabled{"B38D68E8-3B07-4DB4-823F-03669BC22CA5"};
inline constexpr Guid kTrackList{"D1215FDD-6C9F-47CB-9A6A-11F5257826D3"};
inline constexpr Guid kTimeBase{"D5F44C8D-68AD-4958-A88C-13D26BE78592"};
inline constexpr Guid kSequence{"D401A945-A125-4D9E-9646-8182B5E3F858"};
inline constexpr Guid kPreviewStream{"158B6642-4994-420C-8AD6-7A2BC646CDA8"};
inline constexpr Guid kVideoFilter{"4873152E-0957-4372-86FF-4DF477F620B2"};
inline constexpr Guid kVideoTransition{"90914115-828E-4938-A6F8-6A0A2A0400BC"};
inline constexpr Guid kLayerRender{"79C30BEF-1BE1-42C7-AB9B-BDE7C9B372E0"};
inline constexpr Guid kTimelineSuiteObject{"3BD8DA8B-063A-4F76-91EA-5B1DB6B603FC"};
inline constexpr Guid kClipSuiteObject{"228373CE-7619-4BB3-9BF3-15832B224C68"};
inline constexpr Guid kRenderableCutlistFactory{"6EF8B068-0B18-405B-B042-09F630BD15C7"};
inline constexpr Guid kPreviewNode{"41CD3EBD-AFB0-4E65-8B3F-69C15A786856"};
inline constexpr Guid kRenderableNodeTransition{"9ABD93DD-F0B6-49B9-B347-34B98605FB85"};

inline constexpr Guid kRenderableSource{"AECA09FC-9C02-412D-AE18-E5DCDDA00B6B"};
inline constexpr Guid kRenderableVideoSource{"FBF4018D-C935-474F-B122-F79664AC1EC4"};
inline constexpr Guid kRenderableNodePrefetch{"AF262385-FE46-4E3E-9540-82D64A9EDCFD"};
inline constexpr Guid kRenderableNodePrefetchProvider{"E9C87CB7-9037-4A9B-9DA0-86AAF868CB06"};
inline constexpr Guid kRenderableNodeProducerProvider{"BB25512C-C3E5-4B0A-B856-2F86BB79CA2E"};
inline constexpr Guid kRenderableNodeProducer{"B9FB25AE-4707-4E81-A54E-90B6E2CC44AB"};
inline constexpr Guid kRenderableNodeOperatorProvider{"89C1F8D6-D821-4A81-B48B-62D210D2743D"};
inline constexpr Guid kRenderableNodeOperator{"16C7C14E-D5D9-411E-BA38-505B06B6A2CF"};
inline constexpr Guid kRenderableKeyframeOwner{"DBFE94BA-5D14-4047-83FA-E8B04D0A7324"};
inline constexpr Guid kRenderableTimeTransformOwner{"D3672EEE-EAD3-4904-BD99-2AFBFE671C93"};
inline constexpr Guid kRenderableNodeIntrinsicParameterProvider{"909B960F-4C59-4A09-8C93-1F3517037268"};
inline constexpr Guid kRenderableMediaGeometry{"A91394BB-E7C6-4009-ABD9-1A329D7F8B42"};
inline constexpr Guid kVideoStreamSuiteObject{"FA405CE5-6D39-420B-BE10-2D7A61909526"};
inline constexpr Guid kSubTreeRender{"56BDEADD-225E-4778-9F45-9CA62C96FDA8"};
inline constexpr Guid kMutableCutlist{"7E8789B9-2B1F-4D1F-BBE8-3E48A5B060D4"};
inline constexpr Guid kBitmapMedia{"A4FBA864-2815-4F35-9CA3-0AB0383A7BF2"};
inline constexpr Guid kRenderFrame{"234EDF42-8796-4345-8C82-AF4D6EB532CB"};
inline constexpr Guid kRenderFrameClient{"2ACAACC3-000F-4E80-9949-B7F58E3ACC32"};
inline constexpr Guid kAcceleratedSequenceRenderer{"500ADFBF-DDD3-4A21-A750-C276A246C4F3"};
inline constexpr Guid kBitmapMediaPrivate{"B12FA900-2C8E-40E3-ABF8-C5E0E3EF56D9"};

} // namespace TVK::InterfaceIDs
