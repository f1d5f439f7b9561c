// POSIX half of the dynamic libraries: dlopen, dlclose and dlsym behind
// module handles of the handle table.
//
// Libraries are opened with RTLD_NOW (every symbol is resolved at once, as
// LoadLibraryA does) and RTLD_LOCAL (their symbols do not join the global
// namespace). The loader's own message is dropped; the last error says 126
// (module not found) or 127 (procedure not found) as on Windows.
//
// What LoadLibraryA gives and these functions reproduce:
// - A module handle is a handle of the table, never the loader's own
//   pointer, so a made-up, closed or foreign handle fails with error 6
//   instead of reaching dlclose or dlsym.
// - Loading the same library again gives the same handle and counts the
//   load; each freeLibrary undoes one load, and the last one closes the
//   handle.
// - A bare name (no "/") is looked for first in the directory of the
//   process's executable, then through the system's search.
#include <dlfcn.h>
#include <string.h>

#include <mutex>
#include <string>
#include <unordered_map>

#include "platform/pal_dl.h"
#include "platform/posix/handle_table.h"
#include "platform/posix/never_destroyed.h"

namespace pal {
namespace posix {
namespace {

class ModuleObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Module;
  explicit ModuleObject(void *library) : KernelObject(kKind), library_(library) {}

  void *library() const { return library_; }
  // Loads not yet undone by freeLibrary; guarded by the modules' lock.
  uint32_t loads = 1;

 private:
  void *library_;
};

// The open modules by the loader's pointer, so that a second load of the
// same library finds its handle. The lock also keeps a module from being
// closed while dlsym reads it.
struct Modules {
  std::mutex lock;
  std::unordered_map<void *, Handle> byLibrary;
};

Modules &modules() { return neverDestroyed<Modules>(); }

void *openLibrary(const char *path) {
  void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    dlerror();
  }
  return library;
}

// The executable's directory with a trailing "/", or "" when unknown.
std::string executableDirectory() {
  char path[4096];
  uint32_t length = executablePath(path, sizeof path);
  if (length == 0 || length >= sizeof path - 1) {
    return std::string();
  }
  const char *slash = strrchr(path, '/');
  return slash != nullptr ? std::string(path, static_cast<size_t>(slash - path + 1)) : std::string();
}

void *openByName(const char *name) {
  if (strchr(name, '/') == nullptr) {
    std::string directory = executableDirectory();
    if (!directory.empty()) {
      if (void *library = openLibrary((directory + name).c_str())) {
        return library;
      }
    }
  }
  return openLibrary(name);
}

// The module behind handle, or null with last error 6. Called with the
// modules' lock held.
ModuleObject *moduleOf(Handle handle) { return lookup<ModuleObject>(handle); }

}  // namespace
}  // namespace posix

Handle loadLibrary(const char *name) {
  void *library = posix::openByName(name);
  if (library == nullptr) {
    setLastError(kErrorModNotFound);
    return kNullHandle;
  }
  posix::Modules &m = posix::modules();
  std::lock_guard<std::mutex> guard(m.lock);
  auto found = m.byLibrary.find(library);
  if (found != m.byLibrary.end()) {
    // The loader counted this load too; freeLibrary undoes it.
    ++posix::moduleOf(found->second)->loads;
    return found->second;
  }
  auto *object = posix::newObject<posix::ModuleObject>(library);
  Handle handle = object != nullptr ? posix::insertObject(object) : kNullHandle;
  if (handle == kNullHandle) {
    posix::discardObject(object);
    dlclose(library);
    dlerror();
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  try {
    m.byLibrary.emplace(library, handle);
  } catch (const std::bad_alloc &) {
    posix::closeObject(handle);
    dlclose(library);
    dlerror();
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  return handle;
}

bool freeLibrary(Handle module) {
  posix::Modules &m = posix::modules();
  std::lock_guard<std::mutex> guard(m.lock);
  posix::ModuleObject *object = posix::moduleOf(module);
  if (object == nullptr) {
    return false;
  }
  void *library = object->library();
  if (--object->loads == 0) {
    m.byLibrary.erase(library);
    posix::closeObject(module);
  }
  if (dlclose(library) != 0) {
    dlerror();
    setLastError(kErrorInvalidHandle);
    return false;
  }
  return true;
}

void *librarySymbol(Handle module, const char *name) {
  posix::Modules &m = posix::modules();
  std::lock_guard<std::mutex> guard(m.lock);
  posix::ModuleObject *object = posix::moduleOf(module);
  if (object == nullptr) {
    return nullptr;
  }
  dlerror();
  void *address = dlsym(object->library(), name);
  if (address == nullptr) {
    dlerror();
    setLastError(kErrorProcNotFound);
  }
  return address;
}

}  // namespace pal
