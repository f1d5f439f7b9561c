// Win32 half of the synchronisation objects: the kernel's own mutexes,
// semaphores and events.
#include <windows.h>

#include "platform/pal_sync.h"

namespace pal {

namespace {
HANDLE native(Handle handle) { return reinterpret_cast<HANDLE>(handle); }
Handle wrap(HANDLE handle) { return reinterpret_cast<Handle>(handle); }
}  // namespace

Handle createMutex() { return wrap(CreateMutexA(nullptr, FALSE, nullptr)); }

bool releaseMutex(Handle mutex) { return ReleaseMutex(native(mutex)) != FALSE; }

Handle createSemaphore(int32_t initialCount, int32_t maximumCount) {
  return wrap(CreateSemaphoreA(nullptr, initialCount, maximumCount, nullptr));
}

bool releaseSemaphore(Handle semaphore, int32_t releaseCount, int32_t *previousCount) {
  if (releaseCount <= 0) {
    // Windows rejects it; some emulations accept it as a no-op.
    SetLastError(ERROR_INVALID_PARAMETER);
    return false;
  }
  LONG previous = 0;
  BOOL ok = ReleaseSemaphore(native(semaphore), releaseCount, &previous);
  if (ok != FALSE && previousCount != nullptr) {
    *previousCount = static_cast<int32_t>(previous);
  }
  return ok != FALSE;
}

Handle createEvent(bool manualReset, bool initialState) {
  return wrap(CreateEventA(nullptr, manualReset ? TRUE : FALSE, initialState ? TRUE : FALSE, nullptr));
}

bool setEvent(Handle event) { return SetEvent(native(event)) != FALSE; }

bool resetEvent(Handle event) { return ResetEvent(native(event)) != FALSE; }

bool pulseEvent(Handle event) { return PulseEvent(native(event)) != FALSE; }

uint32_t waitForSingleObject(Handle handle, uint32_t milliseconds) {
  return WaitForSingleObject(native(handle), milliseconds);
}

}  // namespace pal
