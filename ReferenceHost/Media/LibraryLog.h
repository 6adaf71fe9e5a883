#pragma once

#include <cstdarg>

// What FFmpeg's libraries have to say. They have one place for a function that hears it, in the whole process,
// and more than one part that reads or writes with them; so all of them listen here.
//
// Thread-safety: safe.
namespace Media
{

// As the libraries call it, on the thread that the message comes from, decoders' own threads among them:
// inObject is what speaks (an object whose first member points to its AVClass) or null, inLevel one of
// AV_LOG_*. Messages less grave than errors aren't passed on. A listener doesn't log.
using LibraryListener = void (*)(void* inObject, int inLevel, const char* inFormat, va_list inArguments);

// From now on inListener hears every error, and nothing goes to stderr any more. Once for each listener, however
// often it's called; listeners stay to the end. False when there are too many.
bool ListenToLibraries(LibraryListener inListener);

}
