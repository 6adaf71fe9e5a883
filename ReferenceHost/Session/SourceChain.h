#pragma once

#include "BE/IVideoSource.h"
#include "ReferenceHost/Session/Conforming.h"
#include "RenderableSources.h"
#include "norviktypes/PixelFormat.h"

#include <string>
#include <vector>

// The chain of sources that makes of a stream what a record asks for.
//
// From the inside out: the stream; the removal of pulldown, or else the reversal of dominance, the exchange of
// fields and the deinterlacer; the removal of flicker; the interlacing of consecutive frames; the scaler; the time
// mix or the time blend. Links that have nothing to do are left out, but for the last two, which every chain has
// that has any. A still has neither fields nor time.
//
// A deinterlacer, and successive frames that are interlaced, make 4:2:0 whose chroma rows lie otherwise than the
// stream's. Who asks such a chain for planes gets them made of the stream's own, which nobody has converted before.
//
// Thread-safety: pure functions.
namespace Session
{

struct SourceChain
{
    ML::IRenderableSourceRef mTop;
    std::vector<std::string> mLinks; // what each does, the stream's own first
    norviktypes::FieldType mFieldType = norviktypes::kFieldType_Progressive; // of the output
    // In which film is put together; any: as Clip chooses.
    norviktypes::PixelFormat mFilmFormat = norviktypes::kPixelFormat_Any;
    // Planes that frames of the stream's size are worked on in to be converted once, at the end; any: there are none.
    norviktypes::PixelFormat mPlanes = norviktypes::kPixelFormat_Any;
    bool mMixesPlanes = false; // samples are mixed on the way, so that more bits than theirs would be of use
};

// inCadence is that of inConforming, or the one that was found.
SourceChain BuildSourceChain(const BE::IVideoSourceRef& inStream, const std::string& inName,
                             const Media::MediaFacts& inFacts, const Conforming& inConforming,
                             norviktypes::PulldownCadence inCadence);

// Which field of telecined video comes first: what the stream tells, or as video of its height is made; the other
// one where inConforming swaps fields.
norviktypes::FieldType DominanceOfFilm(const Media::MediaFacts& inFacts, bool inSwapsFields) noexcept;
// Whether the removal of pulldown goes by the field type of frames, which it does in packed formats only.
bool NeedsPackedFilm(const Media::MediaFacts& inFacts, bool inSwapsFields) noexcept;

// "WWSSW" and the like; "none".
const char* NameOfCadence(norviktypes::PulldownCadence inCadence) noexcept;
// Of inName; none where there is no such cadence.
norviktypes::PulldownCadence CadenceOfName(const std::string& inName) noexcept;

} // namespace Session
