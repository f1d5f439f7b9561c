// Mutexes: unnamed, initially unowned kernel mutexes, recursive for their
// owner.
#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "platform/pal.h"
#include "platform/pal_sync.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kSingle;
using threads::kStart;
using threads::kTraceMutexes;

namespace {

// The status of a wait that neither succeeded nor timed out: the mapped last
// error, 0 when there is none.
int statusFromLastError() { return threads::waitResultToStatus(pal::getLastError()); }

void traceSingle(orvThread *self, const char *name, orvHandle *mutex, int result) {
  THREADS_TRACE(self, kTraceMutexes, "%-*s thread (" ORV_P ") mutex     (" ORV_P ") result   (" ORV_D ")",
                kSingle, name, addr(self), addr(mutex), result);
}

void traceStart(orvThread *self, const char *name, orvHandle *mutex) {
  THREADS_TRACE(self, kTraceMutexes, "%-*s%s thread (" ORV_P ") mutex     (" ORV_P ")", kMarked, name, kStart,
                addr(self), addr(mutex));
}

void traceEnd(orvThread *self, const char *name, orvHandle *mutex, int result) {
  THREADS_TRACE(self, kTraceMutexes, "%-*s%s thread (" ORV_P ") mutex     (" ORV_P ") result   (" ORV_D ")",
                kMarked, name, kEnd, addr(self), addr(mutex), result);
}

// orvMutexLock beyond its fast path. first is the result of a first wait
// that the fast path completed (128: an abandoned mutex), or kNotDone.
__attribute__((noinline)) int lockSlow(orvHandle *mutex, uint32_t first) {
  orvThread *self = nullptr;
  if (first == pal::kNotDone) {
    self = threads::tracingCaller();
    traceStart(self, "orvMutexLock", mutex);
    first = pal::waitForSingleObjectIn(mutex, pal::kInfinite);
  }
  int status = ORV_OK;
  if (first != pal::kWaitObject0) {
    // Any other result waits a second time, in the same way, and maps that
    // wait's result; after an abandoned first wait the caller thus holds
    // the mutex twice.
    status = threads::waitResultToStatus(pal::waitForSingleObjectIn(mutex, pal::kInfinite));
  }
  traceEnd(self, "orvMutexLock", mutex, status);
  return status;
}

// orvMutexUnlock beyond its fast path: the one trace line, written before
// the release, and the release.
__attribute__((noinline)) int unlockSlow(orvHandle *mutex) {
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceMutexes, "%-*s thread (" ORV_P ") mutex     (" ORV_P ")", kSingle,
                "orvMutexUnlock", addr(self), addr(mutex));
  if (pal::releaseMutexIn(mutex)) {
    return ORV_OK;
  }
  return statusFromLastError();
}

}  // namespace

extern "C" {

ORV_API int orvMutexCreate(orvHandle *mutex) {
  orvThread *self = threads::tracingCaller();
  *mutex = pal::createMutex();
  int result = *mutex != 0 ? ORV_OK : ORV_FAILED;
  traceSingle(self, "orvMutexCreate", mutex, result);
  return result;
}

ORV_API int orvMutexDestroy(orvHandle *mutex) {
  orvThread *self = threads::tracingCaller();
  int result = pal::closeHandle(*mutex) ? ORV_OK : ORV_FAILED;
  traceSingle(self, "orvMutexDestroy", mutex, result);
  return result;
}

ORV_API int orvMutexLock(orvHandle *mutex) {
  uint32_t first = threads::tracingOn() ? pal::kNotDone : pal::tryWaitMutexIn(mutex);
  if (first == pal::kWaitObject0) [[likely]] {
    return ORV_OK;
  }
  return lockSlow(mutex, first);
}

ORV_API int orvMutexTryLock(orvHandle *mutex) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvMutexTryLock", mutex);
  pal::setLastError(pal::kErrorSuccess);
  uint32_t r = pal::waitForSingleObject(*mutex, 0);
  int status = r == pal::kWaitObject0 ? ORV_OK : (r == pal::kWaitTimeout ? ORV_BUSY : statusFromLastError());
  traceEnd(self, "orvMutexTryLock", mutex, status);
  return status;
}

ORV_API int orvMutexTimedLock(orvHandle *mutex, uint32_t milliseconds) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvMutexTimedLock", mutex);
  pal::setLastError(pal::kErrorSuccess);
  uint32_t r = pal::waitForSingleObject(*mutex, milliseconds);
  int status =
      r == pal::kWaitObject0 ? ORV_OK : (r == pal::kWaitTimeout ? ORV_TIMED_OUT : statusFromLastError());
  traceEnd(self, "orvMutexTimedLock", mutex, status);
  return status;
}

ORV_API int orvMutexUnlock(orvHandle *mutex) {
  if (!threads::tracingOn() && pal::tryReleaseMutexIn(mutex)) [[likely]] {
    return ORV_OK;
  }
  return unlockSlow(mutex);
}

}  // extern "C"
