// Semaphores: unnamed kernel semaphores with the caller's initial count and
// a maximum count of 0x07FFFFFF.
#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "platform/pal.h"
#include "platform/pal_sync.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kStart;
using threads::kTraceSemaphores;

namespace {

void traceStart(orvThread *self, const char *name, orvHandle *semaphore) {
  THREADS_TRACE(self, kTraceSemaphores, "%-*s%s thread (" ORV_P ") semaphore (" ORV_P ")", kMarked, name,
                kStart, addr(self), addr(semaphore));
}

void traceEnd(orvThread *self, const char *name, orvHandle *semaphore, int result) {
  THREADS_TRACE(self, kTraceSemaphores,
                "%-*s%s thread (" ORV_P ") semaphore (" ORV_P ") result   (" ORV_D ")", kMarked, name, kEnd,
                addr(self), addr(semaphore), result);
}

}  // namespace

extern "C" {

ORV_API int orvSemaphoreCreate(orvHandle *semaphore, int32_t initialCount) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvSemaphoreCreate", semaphore);
  *semaphore = pal::createSemaphore(initialCount, ORV_SEMAPHORE_MAX_COUNT);
  int result = *semaphore != 0 ? ORV_OK : ORV_FAILED;
  traceEnd(self, "orvSemaphoreCreate", semaphore, result);
  return result;
}

ORV_API int orvSemaphoreDestroy(orvHandle *semaphore) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvSemaphoreDestroy", semaphore);
  int result = pal::closeHandle(*semaphore) ? ORV_OK : ORV_FAILED;
  traceEnd(self, "orvSemaphoreDestroy", semaphore, result);
  return result;
}

ORV_API int orvSemaphoreWait(orvHandle *semaphore) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvSemaphoreWait", semaphore);
  int result =
      pal::waitForSingleObject(*semaphore, pal::kInfinite) == pal::kWaitObject0 ? ORV_OK : ORV_FAILED;
  traceEnd(self, "orvSemaphoreWait", semaphore, result);
  return result;
}

ORV_API int orvSemaphoreTryWait(orvHandle *semaphore) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvSemaphoreTryWait", semaphore);
  int result = ORV_OK;
  if (pal::waitForSingleObject(*semaphore, 0) != pal::kWaitObject0) {
    // A second zero-time wait decides: 1 when still not available.
    result = threads::waitResultToStatus(pal::waitForSingleObject(*semaphore, 0));
  }
  traceEnd(self, "orvSemaphoreTryWait", semaphore, result);
  return result;
}

ORV_API int orvSemaphoreTimedWait(orvHandle *semaphore, uint32_t milliseconds) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvSemaphoreTimedWait", semaphore);
  pal::setLastError(pal::kErrorSuccess);
  uint32_t r = pal::waitForSingleObject(*semaphore, milliseconds);
  int result =
      r == pal::kWaitObject0
          ? ORV_OK
          : (r == pal::kWaitTimeout ? ORV_TIMED_OUT : threads::waitResultToStatus(pal::getLastError()));
  traceEnd(self, "orvSemaphoreTimedWait", semaphore, result);
  return result;
}

ORV_API int orvSemaphorePost(orvHandle *semaphore) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvSemaphorePost", semaphore);
  int result = pal::releaseSemaphore(*semaphore, 1, nullptr) ? ORV_OK : ORV_FAILED;
  traceEnd(self, "orvSemaphorePost", semaphore, result);
  return result;
}

ORV_API int orvSemaphorePostN(orvHandle *semaphore, int32_t count) {
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceSemaphores,
                "%-*s%s thread (" ORV_P ") semaphore (" ORV_P ") releaseCount (" ORV_D ")", kMarked,
                "orvSemaphorePostN", kStart, addr(self), addr(semaphore), count);
  int result = ORV_OK;
  if (!pal::releaseSemaphore(*semaphore, count, nullptr)) {
    result = threads::waitResultToStatus(pal::getLastError());
  }
  traceEnd(self, "orvSemaphorePostN", semaphore, result);
  return result;
}

}  // extern "C"
