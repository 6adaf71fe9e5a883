#pragma once

#include "ReferenceHost/Session/Material.h"
#include "RenderableSources.h"

// Has the media of one frame of a source read by the render service: decoded, and converted where the stream does
// that. The rendering is left to who ordered it, since the service tells one after the other, and rendering there
// would keep all other orders waiting.
//
// Thread-safety: safe; not called on threads of the service.
namespace Session
{

// inParams: of the render to come. The id is that of Material::Order, as are answer and exceptions.
OrderID OrderRead(const ML::IRenderableSourceRef& inSource, const ML::CutlistRenderParams& inParams,
                  const ReadAnswer& inAnswer);

} // namespace Session
