// orv info: the threads section. It runs a short self-test of the thread
// layer: a thread is created, joined and destroyed, a trace object follows
// it, and each synchronisation object is made, used and released.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "orv_commands.h"
#include "orvane/sync.h"
#include "orvane/threads.h"

#ifndef ORVANE_SUSPEND_SIGNAL_DEFAULT
#define ORVANE_SUSPEND_SIGNAL_DEFAULT "SIGRTMIN+4"
#endif

namespace {

constexpr uint32_t kProbeStatus = 7;

int tracedLines = 0;

uint32_t countingWriter(uint32_t categories, char *text, uint32_t length) {
  if (categories == 0 && text == nullptr && length == 0) {
    return ORV_TRACE_MAGIC;
  }
  ++tracedLines;
  return 0;
}

// The probe thread: it switches tracing on with the trace object it was
// given, takes a mutex and ends with a known status.
void probe(void *argument) {
  auto *mutex = static_cast<orvHandle *>(argument);
  orvThreadSetTraceObj(orvThreadSelf()->traceObj, 0);
  orvMutexLock(mutex);
  orvMutexUnlock(mutex);
  orvThreadExit(kProbeStatus);
}

std::string threadProbe() {
  orvHandle mutex = 0;
  if (orvMutexCreate(&mutex) != ORV_OK) {
    return "failed: no mutex";
  }
  TraceObj *trace = traceObjCreate(0, ORV_TRACE_MUTEXES | ORV_TRACE_THREADS, 0, countingWriter);
  orvThread *thread = nullptr;
  int created = orvThreadCreate(probe, &mutex, 1, &thread, trace);
  std::string result;
  if (created != ORV_OK) {
    result = "failed: orvThreadCreate gave " + std::to_string(created) +
             (created == ORV_FAILED ? " (layer not initialised)" : "");
  } else {
    uint32_t status = 0;
    int joined = orvThreadJoin(thread, &status);
    int demise = orvThreadAutopsy(thread);
    orvThreadDestroy(thread);
    result = joined == ORV_OK && status == kProbeStatus && demise == static_cast<int>(ORV_DEMISE_NORMAL)
                 ? "ok (created, joined with status 7, destroyed)"
                 : "failed: join " + std::to_string(joined) + ", status " + std::to_string(status);
  }
  traceObjDelete(trace);
  orvMutexDestroy(&mutex);
  return result;
}

bool mutexWorks() {
  orvHandle m = 0;
  if (orvMutexCreate(&m) != ORV_OK) {
    return false;
  }
  bool ok = orvMutexLock(&m) == ORV_OK && orvMutexTryLock(&m) == ORV_OK && orvMutexUnlock(&m) == ORV_OK &&
            orvMutexUnlock(&m) == ORV_OK && orvMutexUnlock(&m) == ORV_FAILED;
  return orvMutexDestroy(&m) == ORV_OK && ok;
}

bool semaphoreWorks() {
  orvHandle s = 0;
  if (orvSemaphoreCreate(&s, 0) != ORV_OK) {
    return false;
  }
  bool ok =
      orvSemaphoreTryWait(&s) == ORV_BUSY && orvSemaphorePost(&s) == ORV_OK && orvSemaphoreWait(&s) == ORV_OK;
  return orvSemaphoreDestroy(&s) == ORV_OK && ok;
}

bool eventWorks() {
  orvHandle e = 0;
  if (orvEventCreate(&e, 0, 0) != ORV_OK) {
    return false;
  }
  bool ok =
      orvEventTimedWait(&e, 0) == ORV_TIMED_OUT && orvEventSignal(&e) == ORV_OK && orvEventWait(&e) == ORV_OK;
  return orvEventDestroy(&e) == ORV_OK && ok;
}

bool conditionWorks() {
  orvCondition c;
  orvHandle m = 0;
  if (orvConditionCreate(&c) != ORV_OK || orvMutexCreate(&m) != ORV_OK) {
    return false;
  }
  bool ok = orvMutexLock(&m) == ORV_OK && orvConditionSignal(&c) == ORV_OK &&
            orvConditionBroadcast(&c) == ORV_OK && orvMutexUnlock(&m) == ORV_OK;
  orvConditionDestroy(&c);
  orvMutexDestroy(&m);
  return ok;
}

bool locksWork() {
  orvRWLock rw;
  memset(&rw, 0, sizeof rw);
  if (orvRWLockCreate(&rw) != ORV_OK) {
    return false;
  }
  bool ok = orvRWLockReadLock(&rw) == ORV_OK && orvRWLockTryWriteLock(&rw) == ORV_BUSY &&
            orvRWLockUnlock(&rw) == ORV_OK && orvRWLockWriteLock(&rw) == ORV_OK &&
            orvRWLockUnlock(&rw) == ORV_OK;
  orvRWLockDestroy(&rw);
  orvRecursiveLock rl;
  memset(&rl, 0, sizeof rl);
  if (orvRecursiveMutexCreate(&rl) != ORV_OK) {
    return false;
  }
  ok = ok && orvRecursiveLockAcquire(&rl, 0) == ORV_OK && orvRecursiveLockRelease(&rl) == ORV_OK;
  orvRecursiveLockDestroy(&rl);
  return ok;
}

std::string suspensionSignal() {
#if defined(_WIN32)
  return "none (SuspendThread)";
#else
  const char *chosen = getenv("ORVANE_SUSPEND_SIGNAL");
  if (chosen != nullptr && *chosen != '\0') {
    return std::string(chosen) + "  (from ORVANE_SUSPEND_SIGNAL; an unusable value falls back to " +
           ORVANE_SUSPEND_SIGNAL_DEFAULT + ")";
  }
  return std::string(ORVANE_SUSPEND_SIGNAL_DEFAULT) +
         "  (default; set ORVANE_SUSPEND_SIGNAL to choose another)";
#endif
}

const char *okOrFailed(bool ok) { return ok ? "ok" : "FAILED"; }

}  // namespace

namespace orv {

void reportThreads() {
  printf("threads\n");
#if defined(_WIN32)
  row("platform", "Win32 threads and kernel objects");
#else
  row("platform", "POSIX threads; futex-based mutexes, semaphores and events");
#endif
  std::string probeResult = threadProbe();
  row("layer", probeResult.rfind("ok", 0) == 0 ? "initialised" : "not usable");
  row("thread probe", probeResult);
  row("trace lines", std::to_string(tracedLines) + " written by the probe thread");
  row("suspension signal", suspensionSignal());
  row("mutex", okOrFailed(mutexWorks()));
  row("semaphore", okOrFailed(semaphoreWorks()));
  row("event", okOrFailed(eventWorks()));
  row("condition", okOrFailed(conditionWorks()));
  row("read-write/recursive", okOrFailed(locksWork()));
  row("semaphore maximum", std::to_string(ORV_SEMAPHORE_MAX_COUNT));
}

}  // namespace orv
