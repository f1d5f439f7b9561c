// Events: unnamed kernel events, manual-reset or auto-reset.
#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "platform/pal.h"
#include "platform/pal_sync.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kStart;
using threads::kTraceEvents;

namespace {

// The status of a failed event call: the mapped last error, 0 when it is 0.
int failedStatus() { return threads::waitResultToStatus(pal::getLastError()); }

int statusOf(bool ok) { return ok ? ORV_OK : failedStatus(); }

void traceStart(orvThread *self, const char *name, orvHandle *event) {
  THREADS_TRACE(self, kTraceEvents, "%-*s%s thread (" ORV_P ") event     (" ORV_P ")", kMarked, name, kStart,
                addr(self), addr(event));
}

void traceEnd(orvThread *self, const char *name, orvHandle *event, int result) {
  THREADS_TRACE(self, kTraceEvents, "%-*s%s thread (" ORV_P ") event     (" ORV_P ") result   (" ORV_D ")",
                kMarked, name, kEnd, addr(self), addr(event), result);
}

// The common shape of signal, pulse, reset and destroy.
int eventCall(const char *name, orvHandle *event, bool (*call)(pal::Handle)) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, name, event);
  pal::setLastError(pal::kErrorSuccess);
  int result = statusOf(call(*event));
  traceEnd(self, name, event, result);
  return result;
}

}  // namespace

extern "C" {

ORV_API int orvEventCreate(orvHandle *event, int manualReset, int setSignaled) {
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceEvents,
                "%-*s%s thread (" ORV_P ") event     (" ORV_P ") manualReset (" ORV_D ") setSignaled (" ORV_D
                ")",
                kMarked, "orvEventCreate", kStart, addr(self), addr(event), manualReset, setSignaled);
  pal::setLastError(pal::kErrorSuccess);
  *event = pal::createEvent(manualReset != 0, setSignaled != 0);
  int result = statusOf(*event != 0);
  traceEnd(self, "orvEventCreate", event, result);
  return result;
}

ORV_API int orvEventDestroy(orvHandle *event) {
  return eventCall("orvEventDestroy", event, pal::closeHandle);
}

ORV_API int orvEventWait(orvHandle *event) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvEventWait", event);
  pal::setLastError(pal::kErrorSuccess);
  int result = statusOf(pal::waitForSingleObject(*event, pal::kInfinite) == pal::kWaitObject0);
  traceEnd(self, "orvEventWait", event, result);
  return result;
}

ORV_API int orvEventTimedWait(orvHandle *event, uint32_t milliseconds) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvEventTimedWait", event);
  pal::setLastError(pal::kErrorSuccess);
  uint32_t r = pal::waitForSingleObject(*event, milliseconds);
  int result = r == pal::kWaitObject0 ? ORV_OK : (r == pal::kWaitTimeout ? ORV_TIMED_OUT : failedStatus());
  traceEnd(self, "orvEventTimedWait", event, result);
  return result;
}

ORV_API int orvEventSignal(orvHandle *event) { return eventCall("orvEventSignal", event, pal::setEvent); }

ORV_API int orvEventPulse(orvHandle *event) { return eventCall("orvEventPulse", event, pal::pulseEvent); }

ORV_API int orvEventReset(orvHandle *event) { return eventCall("orvEventReset", event, pal::resetEvent); }

}  // extern "C"
