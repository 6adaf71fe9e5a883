#pragma once

#include "Platform.h"
#include "TVK/InterfaceRef.h"

#include <cstdint>

// Makes objects by the id of their class, so that one side can make what only the other side knows.
//
// Thread-safety: safe; create functions are called with no lock held.
namespace TVK
{

class ClassFactory
{
public:
    using CreateFunction = InterfaceRef<TVKUnknown> (*)();
    using ClassIDFunction = Guid (*)();

    // Registers a class under its id. The names of its id constant and of the class are for diagnostics and
    // copied. A class that is already registered under the id is replaced. 0, or negative for a zero id or a
    // missing create function.
    ML_EXPORT static std::int32_t RegisterTVKClass(const Guid& inClassID, const char* inConstantName,
                                                   const char* inClassName, CreateFunction inCreate,
                                                   ClassIDFunction inClassIDGetter);

    // Forgets a class, as the module that holds it must before it is unloaded.
    ML_EXPORT static void UnregisterTVKClass(const Guid& inClassID);
};

// A new instance, or an empty reference for an id that nobody registered. What the create function throws
// passes through.
ML_EXPORT InterfaceRef<TVKUnknown> CreateClassInstanceRef(const Guid& inClassID);

} // namespace TVK
