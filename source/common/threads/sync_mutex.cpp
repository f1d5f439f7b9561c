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

// A wait that did not succeed at once waits a second time, in the same
// way, and the second wait's result is mapped; after an abandoned first wait
// the caller thus holds the mutex twice.
__attribute__((noinline)) int waitAgain(orvHandle *mutex) {
  return threads::waitResultToStatus(pal::waitForSingleObject(*mutex, pal::kInfinite));
}

// orvMutexLock of a caller that may have a trace object.
__attribute__((noinline)) int lockTraced(orvHandle *mutex) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvMutexLock", mutex);
  int status = ORV_OK;
  if (pal::waitForSingleObject(*mutex, pal::kInfinite) != pal::kWaitObject0) {
    status = waitAgain(mutex);
  }
  traceEnd(self, "orvMutexLock", mutex, status);
  return status;
}

// The one line of orvMutexUnlock, written before the release.
__attribute__((noinline)) void traceUnlock(orvHandle *mutex) {
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceMutexes, "%-*s thread (" ORV_P ") mutex     (" ORV_P ")", kSingle,
                "orvMutexUnlock", addr(self), addr(mutex));
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
  if (threads::tracingOn()) [[unlikely]] {
    return lockTraced(mutex);
  }
  if (pal::waitForSingleObjectIn(mutex, pal::kInfinite) == pal::kWaitObject0) [[likely]] {
    return ORV_OK;
  }
  return waitAgain(mutex);
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
  if (threads::tracingOn()) [[unlikely]] {
    traceUnlock(mutex);
  }
  if (pal::releaseMutexIn(mutex)) [[likely]] {
    return ORV_OK;
  }
  return statusFromLastError();
}

}  // extern "C"
