// The file layer's process-wide part: start-up and shut-down, the standard
// files, the per-thread last error, record checks and record locking, and
// the calls on paths (access, delete, current directory).
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "common/files/file_internal.h"
#include "common/files/temp_internal.h"
#include "orvane/sync.h"
#include "platform/pal_file.h"
#include "platform/pal_mapping.h"

namespace files {

namespace {

LayerState state;
orvFile standardFiles[3];

// "Ready" is read by every thread that records an error; it is set once
// start-up has made the key.
std::atomic<bool> readyFlag{false};

bool systemReadFile(pal::Handle file, void *buffer, uint32_t size, uint32_t *transferred) {
  return pal::readFile(file, buffer, size, transferred);
}
bool systemWriteFile(pal::Handle file, const void *buffer, uint32_t size, uint32_t *transferred) {
  return pal::writeFile(file, buffer, size, transferred);
}

SystemIo io{systemReadFile, systemWriteFile};

const uint32_t kStdSelectors[3] = {pal::kStdInputHandle, pal::kStdOutputHandle, pal::kStdErrorHandle};

// Gives each standard record a mutex; on failure those made are destroyed.
bool makeStdMutexes() {
  for (int i = 0; i < 3; ++i) {
    orvFile &f = standardFiles[i];
    if (orvMutexCreate(&f.mutex) != ORV_OK) {
      f.mutex = 0;
      for (int j = 0; j < i; ++j) {
        orvMutexDestroy(&standardFiles[j].mutex);
        standardFiles[j].mutex = 0;
      }
      return false;
    }
    setLockBits(&f, kLockThreadSafe);
    f.modeBits |= ORV_FILE_THREAD_SAFE << 1;
    f.openFlags |= ORV_FILE_THREAD_SAFE;
  }
  return true;
}

void destroyStdMutexes() {
  for (orvFile &f : standardFiles) {
    if (f.mutex != 0) {
      orvMutexDestroy(&f.mutex);
      // Cleared, so that the standard files work unlocked after shut-down.
      f.mutex = 0;
    }
  }
}

}  // namespace

LayerState &layer() { return state; }

uint32_t allocationGranularity() {
  return state.granularity != 0 ? state.granularity : pal::allocationGranularity();
}

orvFile *stdFiles() { return standardFiles; }

bool isStdFile(const orvFile *file) { return file >= standardFiles && file < standardFiles + 3; }

SystemIo &systemIo() { return io; }

void setError(int32_t code) {
  if (!readyFlag.load(std::memory_order_acquire)) {
    return;
  }
  orvThreadSetSpecific(state.errorKey, reinterpret_cast<void *>(static_cast<intptr_t>(code)));
}

void setSystemError(uint32_t win32Error) { setError(codeFromWin32Error(win32Error)); }

void setLastSystemError() { setSystemError(pal::getLastError()); }

bool checkRecord(const orvFile *file) {
  if (file == nullptr || file->magic != ORV_FILE_MAGIC) {
    setError(kCodeInvalidHandle);
    return false;
  }
  return true;
}

uint32_t modeBitsFor(uint32_t flags) {
  uint32_t bits = flags << 1;
  if ((flags & ORV_FILE_READ) != 0) {
    bits |= 1;
  }
  if ((flags & ORV_FILE_WRITE) != 0) {
    bits |= 2;
  }
  return bits;
}

// --- Locks --------------------------------------------------------------------

bool lockRecord(orvFile *file) {
  if ((loadLockState(file) & kLockThreadSafe) == 0 || file->mutex == 0) {
    return true;
  }
  if (orvMutexLock(&file->mutex) != ORV_OK) {
    return false;
  }
  setLockBits(file, kLockHeld);
  return true;
}

void unlockRecord(orvFile *file) {
  if ((loadLockState(file) & kLockHeld) == 0) {
    return;
  }
  clearLockBits(file, kLockHeld);
  orvMutexUnlock(&file->mutex);
}

ChainLock::ChainLock(orvFile *file) : file_(file), ok_(true) {
  // Each record's next link is read while that record is held: a segment is
  // only added by a call that holds the whole chain.
  for (orvFile *f = file; f != nullptr; f = f->next) {
    if (!lockRecord(f)) {
      for (orvFile *g = file; g != f; g = g->next) {
        unlockRecord(g);
      }
      ok_ = false;
      file_ = nullptr;
      setError(kCodeLockFailed);
      return;
    }
  }
}

ChainLock::~ChainLock() { release(); }

void ChainLock::release() {
  // Head to tail; a segment added during the call was never taken and is
  // not marked held.
  orvFile *f = file_;
  file_ = nullptr;
  while (f != nullptr) {
    orvFile *next = f->next;
    unlockRecord(f);
    f = next;
  }
}

}  // namespace files

using files::layer;
using files::setError;

extern "C" {

ORV_API void orvFileInitializeStdFiles(void) {
  for (int i = 0; i < 3; ++i) {
    orvFile &f = files::stdFiles()[i];
    memset(&f, 0, sizeof f);
    f.handle = pal::getStdHandle(files::kStdSelectors[i]);
    f.magic = ORV_FILE_MAGIC;
    f.lockState = files::kLockThreadSafe;
    f.openFlags = files::kStdOpenFlags;
    f.modeBits |= files::kStdModeBits;
    f.head = &f;
    // Open while the process has the handle (the record is never reopened).
    f.isOpen = f.handle != pal::kNullHandle && f.handle != pal::kInvalidHandleValue ? 1 : 0;
  }
  layer().stdFilesInitialized = true;
}

ORV_API int orvFileProcessInitialize(void) {
  files::LayerState &s = layer();
  if (s.ready) {
    return 1;  // already running
  }
  if (!files::temp::setUp()) {
    return 0;
  }
  if (!s.stdFilesInitialized) {
    orvFileInitializeStdFiles();
  }
  if (!files::makeStdMutexes()) {
    files::temp::tearDown();
    return 0;
  }
  if (orvThreadKeyCreate(&s.errorKey, nullptr) != ORV_OK) {
    s.errorKey = nullptr;
    files::destroyStdMutexes();
    files::temp::tearDown();
    return 0;
  }
  s.granularity = pal::allocationGranularity();
  s.doubleGranularity = 2 * s.granularity;
  s.ready = true;
  files::readyFlag.store(true, std::memory_order_release);
  return 1;
}

ORV_API void orvFileProcessTerminate(void) {
  files::LayerState &s = layer();
  files::temp::tearDown();
  files::readyFlag.store(false, std::memory_order_release);
  if (s.errorKey != nullptr) {
    orvThreadKeyDestroy(s.errorKey);
    s.errorKey = nullptr;
  }
  files::destroyStdMutexes();
  s.ready = false;
}

ORV_API orvFile *orvFileGetStdPtr(short which) {
  // Anything but 0, 1 and 2 would point outside the three records.
  if (which < 0 || which > 2) {
    return nullptr;
  }
  return &files::stdFiles()[which];
}

ORV_API int orvFileIsATerminal(orvFile *file) {
  if (file == nullptr) {
    return 0;
  }
  return pal::getFileType(file->handle) == pal::kFileTypeChar ? 1 : 0;
}

ORV_API int orvFileAccess(const char *path, int mode) {
  int runtimeMode = 0;
  if ((mode & 1) != 0) {
    runtimeMode |= 4;  // read
  }
  if ((mode & 2) != 0) {
    runtimeMode |= 2;  // write
  }
  if (path == nullptr) {
    setError(files::kCodeInvalidParameter);
    return 0;
  }
  if (!pal::fileAccess(path, runtimeMode)) {
    files::setLastSystemError();
    return 0;
  }
  return 1;
}

ORV_API int orvFileDelete(const char *path) {
  if (path == nullptr) {
    setError(files::kCodeInvalidParameter);
    return 0;
  }
  if (!pal::deleteFileA(path)) {
    files::setLastSystemError();
    return 0;
  }
  return 1;
}

ORV_API int orvFileGetCurrentDirectory(char **directory) {
  if (directory == nullptr) {
    setError(files::kCodeInvalidParameter);
    return 0;
  }
  *directory = nullptr;
  auto *buffer = static_cast<char *>(malloc(pal::kMaxPath));
  if (buffer == nullptr) {
    setError(files::kCodeOutOfMemory);
    return 0;
  }
  uint32_t n = pal::getCurrentDirectoryA(pal::kMaxPath, buffer);
  if (n == 0 || n >= pal::kMaxPath) {
    // A directory longer than the buffer is reported as a name too long.
    if (n == 0) {
      files::setLastSystemError();
    } else {
      files::setSystemError(pal::kErrorFilenameTooLong);
    }
    free(buffer);
    return 0;
  }
  *directory = buffer;
  return 1;
}

ORV_API int orvFileError(void) {
  files::LayerState &s = layer();
  if (!files::readyFlag.load(std::memory_order_acquire)) {
    return 0;
  }
  void *value = nullptr;
  if (orvThreadGetSpecific(s.errorKey, &value) != ORV_OK) {
    return files::kCodeKeyUnreadable;
  }
  return static_cast<int>(reinterpret_cast<intptr_t>(value));
}

}  // extern "C"
