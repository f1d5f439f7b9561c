// Condition variables, built from a semaphore (the queue the waiters block
// on), a mutex (the guard of the broadcast hand-off) and an auto-reset event
// (set by the last waiter a broadcast woke).
//
// The waiters count is changed under the caller's mutex on entry, under the
// guard after a broadcast, and unprotected otherwise; the field is updated
// with atomic read-modify-writes so that no update is lost, while the
// algorithm stays as it is (a broadcast's hand-off, the never-cleared
// broadcastSeen, the double decrement of a failed wait).
#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "orvane/sync.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kStart;
using threads::kTraceConditions;
using threads::NestedCalls;

namespace {

std::atomic_ref<int32_t> waitersOf(orvCondition *condition) {
  return std::atomic_ref<int32_t>(condition->waiters);
}

std::atomic_ref<uint32_t> broadcastSeenOf(orvCondition *condition) {
  return std::atomic_ref<uint32_t>(condition->broadcastSeen);
}

void traceStart(orvThread *self, const char *name, orvCondition *condition) {
  THREADS_TRACE(self, kTraceConditions, "%-*s%s thread (" ORV_P ") condition (" ORV_P ")", kMarked, name,
                kStart, addr(self), addr(condition));
}

void traceEnd(orvThread *self, const char *name, orvCondition *condition, int result) {
  THREADS_TRACE(self, kTraceConditions,
                "%-*s%s thread (" ORV_P ") condition (" ORV_P ") result   (" ORV_D ")", kMarked, name, kEnd,
                addr(self), addr(condition), result);
}

// The end line of signal and broadcast.
void traceWakeEnd(orvThread *self, const char *name, orvCondition *condition, int result) {
  THREADS_TRACE(self, kTraceConditions, "%-*s%s thread (" ORV_P ") condition (" ORV_P ") result(" ORV_D ")",
                kMarked, name, kEnd, addr(self), addr(condition), result);
}

int createParts(orvCondition *condition) {
  if (orvSemaphoreCreate(&condition->queue, 0) != ORV_OK) {
    return ORV_FAILED;
  }
  if (orvMutexCreate(&condition->guard) != ORV_OK) {
    orvSemaphoreDestroy(&condition->queue);
    return ORV_FAILED;
  }
  if (orvEventCreate(&condition->lastWaiterDone, 0, 0) != ORV_OK) {
    orvMutexDestroy(&condition->guard);
    orvSemaphoreDestroy(&condition->queue);
    return ORV_FAILED;
  }
  return ORV_OK;
}

// Step 4 of a wait: the waiter has taken its wake-up from the queue.
void takeWakeUp(orvCondition *condition) {
  if (broadcastSeenOf(condition).load(std::memory_order_acquire) == 0) {
    waitersOf(condition).fetch_sub(1, std::memory_order_acq_rel);
    return;
  }
  if (orvMutexLock(&condition->guard) == ORV_OK) {
    if (waitersOf(condition).fetch_sub(1, std::memory_order_acq_rel) == 1) {
      orvEventSignal(&condition->lastWaiterDone);  // this was the last waiter
    }
    orvMutexUnlock(&condition->guard);
  }
}

}  // namespace

extern "C" {

ORV_API int orvConditionCreate(orvCondition *condition) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvConditionCreate", condition);
  NestedCalls nested(self);
  waitersOf(condition).store(0, std::memory_order_relaxed);
  broadcastSeenOf(condition).store(0, std::memory_order_relaxed);
  int result = createParts(condition);
  nested.restore();
  traceEnd(self, "orvConditionCreate", condition, result);
  return result;
}

ORV_API int orvConditionDestroy(orvCondition *condition) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvConditionDestroy", condition);
  NestedCalls nested(self);
  orvSemaphoreDestroy(&condition->queue);
  orvMutexDestroy(&condition->guard);
  orvEventDestroy(&condition->lastWaiterDone);
  nested.restore();
  traceEnd(self, "orvConditionDestroy", condition, ORV_OK);
  return ORV_OK;
}

ORV_API int orvConditionWait(orvCondition *condition, orvHandle *mutex) {
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceConditions, "%-*s%s thread (" ORV_P ") condition (" ORV_P ") mutex (" ORV_P ")",
                kMarked, "orvConditionWait", kStart, addr(self), addr(condition), addr(mutex));
  NestedCalls nested(self);
  waitersOf(condition).fetch_add(1, std::memory_order_acq_rel);
  int status = orvMutexUnlock(mutex);
  if (status == ORV_OK) {
    status = orvSemaphoreWait(&condition->queue);
    if (status == ORV_OK) {
      takeWakeUp(condition);
    }
  }
  orvMutexLock(mutex);  // its status is not used
  if (status != ORV_OK) {
    // Also when the wake-up step had already counted this waiter out.
    waitersOf(condition).fetch_sub(1, std::memory_order_acq_rel);
  }
  nested.restore();
  THREADS_TRACE(self, kTraceConditions,
                "%-*s%s thread (" ORV_P ") condition (" ORV_P ") mutex (" ORV_P ") result   (" ORV_D ")",
                kMarked, "orvConditionWait", kEnd, addr(self), addr(condition), addr(mutex), status);
  return status;
}

ORV_API int orvConditionSignal(orvCondition *condition) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvConditionSignal", condition);
  NestedCalls nested(self);
  int result = ORV_OK;
  if (waitersOf(condition).load(std::memory_order_acquire) >= 1) {
    result = orvSemaphorePost(&condition->queue);
  }
  nested.restore();
  traceWakeEnd(self, "orvConditionSignal", condition, result);
  return result;
}

ORV_API int orvConditionBroadcast(orvCondition *condition) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvConditionBroadcast", condition);
  NestedCalls nested(self);
  int result = ORV_OK;
  int32_t waiters = waitersOf(condition).load(std::memory_order_acquire);
  if (waiters != 0) {
    broadcastSeenOf(condition).store(1, std::memory_order_release);
    result = orvSemaphorePostN(&condition->queue, waiters);
    if (result == ORV_OK) {
      // Returns once the last woken waiter has taken its wake-up.
      result = orvEventWait(&condition->lastWaiterDone);
    }
  }
  nested.restore();
  traceWakeEnd(self, "orvConditionBroadcast", condition, result);
  return result;
}

}  // extern "C"
