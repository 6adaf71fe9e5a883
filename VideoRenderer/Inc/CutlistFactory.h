// The one object that turns sequences, tracks and clips into cutlists.
//
// It is what MF::SetCutlistFactory is given while the library runs; what its operations do stands with
// MF::IRenderableCutlistFactory.
//
// Ownership: there is one for the process, and it is never destroyed. Thread-safety: it has no state; it is
// called from threads that may read the project.
#pragma once

#include "MF/RenderableCutlistFactory.h"

namespace ML
{

MF::IRenderableCutlistFactoryRef GetCutlistFactoryInstance();

} // namespace ML
