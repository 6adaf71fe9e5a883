// Where a render finds the time axis of a sequence, and what the sequence says of its picture.
//
// Ownership: cutlists are frozen and shared. Statuses: negative is a failure, with an empty cutlist.
//
// Thread-safety: safe; asked from client and render threads.
#pragma once

#include "MF/IRenderableCutlist.h"
#include "TVK/ParamTypes.h"
#include "norvik/utility/Strings.h"
#include "norviktypes/FieldType.h"
#include "norviktypes/FrameRate.h"
#include "norviktypes/PixelAspectRatio.h"

#include <cstdint>

namespace MF
{

// The cutlists of one sequence as it stands when it is asked. The name selects a stream of the sequence;
// null is its picture. inRefresh asks for what is new; false is content with the cutlist that was last made.
class ML_EXPORT IRenderableCutlistProvider : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kRenderableCutlistProvider;

    virtual std::int32_t GetPrimaryCutlist(IRenderableCutlistRef& outCutlist,
                                           const norvik::utility::ImmutableString& inName,
                                           bool inRefresh) = 0;
    virtual std::int32_t GetAlternateCutlist(IRenderableCutlistRef& outCutlist,
                                             const norvik::utility::ImmutableString& inName,
                                             bool inRefresh) = 0;
    // inReserved is false.
    virtual std::int32_t GetThirdCutlist(IRenderableCutlistRef& outCutlist,
                                         const norvik::utility::ImmutableString& inName, bool inRefresh,
                                         bool inReserved) = 0;
};
using IRenderableCutlistProviderRef = TVK::InterfaceRef<IRenderableCutlistProvider>;

// The picture of a sequence; a face of its cutlist provider.
class ML_EXPORT ISequenceVideoProperties : public TVKUnknown
{
public:
    static constexpr TVK::Guid kInterfaceID = TVK::InterfaceIDs::kSequenceVideoProperties;

    virtual TVK::Rect GetBounds() const = 0;
    virtual norviktypes::PixelAspectRatio GetPixelAspectRatio() const = 0;
    // kFieldType_FromSource: the sequence has none of its own.
    virtual norviktypes::FieldType GetFieldType() const = 0;
    virtual norviktypes::FrameRate GetFrameRate() const = 0;
};
using ISequenceVideoPropertiesRef = TVK::InterfaceRef<ISequenceVideoProperties>;

} // namespace MF
