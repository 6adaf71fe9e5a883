// The tracks that an effect looks at: what plays there during the effect, taken when its node is built.
//
// Each layer holds the track's segments within the span of the effect and nothing else, on the axis of the
// sequence, so that their hash says all that the effect can ever see. Renders find the moment by the frame time
// of their params, which is that of the sequence all the way down: a compositor, a clip and a transition pass
// the params on as they are, a nested sequence and a sub-tree set them to their own moment.
//
// Thread-safety: layers are frozen and safe; building is for the builder alone.
#pragma once

#include "CutlistRenderParams.h"
#include "LayerTracks.h"
#include "MF/IRenderableCutlist.h"
#include "ML/SubTreeRender.h"
#include "RenderableNodeEffectImpl.h"
#include "RenderableNodePrefetch.h"
#include "TVK/HashValue.h"

namespace ML
{

struct EffectLayer
{
    std::uint32_t mParameter = 0;       // place in the parameter list
    MF::IRenderableCutlistRef mCutlist; // without segments where nothing plays
};

// All layer parameters as one text: for each the clip that it points to, or why there is none. Empty without a
// sequence and without layer parameters.
norvik::UTF8String LayerInputText(const EffectNodeSettings& inSettings);
// The clips, master clips and files on the track that the effect's own layer parameter points to.
norvik::UTF8String LayerClipNames(const EffectNodeSettings& inSettings);
// In the order of parameters; one for each that points to another track.
EffectLayers CaptureLayers(const EffectNodeSettings& inSettings);
norvik::UTF8String LayerPictureText(const EffectLayers& inLayers);

void MixLayers(TVK::HashValue& ioHash, const EffectLayers& inLayers, const CutlistRenderParams& inParams);
void PrefetchLayers(const EffectLayers& inLayers, const CutlistRenderParams& inParams,
                    std::vector<IRenderableNodePrefetchRef>& ioPrefetches);
// Gives frames of inFormat. inLayers may be null.
LayerRenderRef CreateLayerRender(const std::shared_ptr<const EffectLayers>& inLayers,
                                 const CutlistRenderParams& inParams,
                                 const norviktypes::PixelFormat& inFormat);

} // namespace ML
