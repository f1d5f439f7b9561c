// Win32 half of the dynamic libraries: kernel32's module functions.
#include <windows.h>

#include "platform/pal_dl.h"

namespace pal {

Handle loadLibrary(const char *name) { return reinterpret_cast<Handle>(LoadLibraryA(name)); }

bool freeLibrary(Handle module) { return FreeLibrary(reinterpret_cast<HMODULE>(module)) != FALSE; }

void *librarySymbol(Handle module, const char *name) {
  return reinterpret_cast<void *>(GetProcAddress(reinterpret_cast<HMODULE>(module), name));
}

}  // namespace pal
