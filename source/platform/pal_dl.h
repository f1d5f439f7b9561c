// The platform layer's dynamic libraries: LoadLibraryA, FreeLibrary and
// GetProcAddress on Windows; dlopen, dlclose and dlsym on POSIX.
#ifndef ORVANE_PLATFORM_PAL_DL_H
#define ORVANE_PLATFORM_PAL_DL_H

#include "platform/pal.h"

namespace pal {

// The file suffix of a dynamic library on this platform.
#if defined(_WIN32)
constexpr char kLibrarySuffix[] = ".dll";
#else
constexpr char kLibrarySuffix[] = ".so";
#endif

// Loads a library by name or path, with the system's own search for a bare
// name. kNullHandle with last error 126 when it cannot be loaded.
Handle loadLibrary(const char *name);

// Releases a library loaded by loadLibrary. False (with a last error) when
// the system refuses.
bool freeLibrary(Handle module);

// The address of an exported symbol, or null with last error 127.
void *librarySymbol(Handle module, const char *name);

}  // namespace pal

#endif
