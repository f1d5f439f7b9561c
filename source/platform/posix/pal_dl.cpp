// POSIX half of the dynamic libraries: dlopen, dlclose and dlsym.
//
// Libraries are opened with RTLD_NOW (every symbol is resolved at once, as
// LoadLibraryA does) and RTLD_LOCAL (their symbols do not join the global
// namespace). The loader's own message is dropped; the last error says 126
// (module not found) or 127 (procedure not found) as on Windows.
#include <dlfcn.h>

#include "platform/pal_dl.h"

namespace pal {

Handle loadLibrary(const char *name) {
  void *module = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    dlerror();
    setLastError(kErrorModNotFound);
  }
  return reinterpret_cast<Handle>(module);
}

bool freeLibrary(Handle module) {
  if (dlclose(reinterpret_cast<void *>(module)) != 0) {
    dlerror();
    setLastError(kErrorInvalidHandle);
    return false;
  }
  return true;
}

void *librarySymbol(Handle module, const char *name) {
  dlerror();
  void *address = dlsym(reinterpret_cast<void *>(module), name);
  if (address == nullptr) {
    dlerror();
    setLastError(kErrorProcNotFound);
  }
  return address;
}

}  // namespace pal
