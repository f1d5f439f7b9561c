// State traps: a queue of the threads that reached a given state, in arrival
// order. Arrivals come through a state call-back registered on each watched
// thread; the trap's mutex guards the queue and its semaphore counts the
// queued arrivals.
#include <string.h>

#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kSingle;
using threads::kStart;
using threads::kTraceThreads;
using threads::NestedCalls;

namespace {

void setError(orvStateTrap *trap, int32_t status) {
  std::atomic_ref<int32_t>(trap->error).store(status, std::memory_order_relaxed);
}

// The arrival call-back, run by the state setter in the thread that changes
// state.
void trapArrival(void *environment, orvThread *thread, uint32_t state) {
  auto *trap = static_cast<orvStateTrap *>(environment);
  if (state != trap->state) {
    threads::fail(threads::kLineTrapState);
  }
  NestedCalls nested(threads::tracingCaller());
  int r = orvMutexLock(&trap->mutex);
  if (r != ORV_OK) {
    setError(trap, r);
    return;
  }
  auto *node = static_cast<orvTrapNode *>(threads::allocZeroed(sizeof(orvTrapNode)));
  if (node == nullptr) {
    setError(trap, ORV_NO_MEMORY);
    // The error word tells of the lost arrival; the mutex is let go so that
    // the trap stays usable.
    orvMutexUnlock(&trap->mutex);
    return;
  }
  node->thread = thread;
  node->prev = trap->queue->tail;
  if (trap->queue->tail != nullptr) {
    trap->queue->tail->next = node;
  } else {
    trap->queue->head = node;
  }
  trap->queue->tail = node;
  orvMutexUnlock(&trap->mutex);
  r = orvSemaphorePost(&trap->semaphore);
  if (r != ORV_OK) {
    setError(trap, r);
  }
}

// Makes the trap's parts; false when one failed (those made are released).
bool makeParts(orvStateTrap *trap) {
  if (orvMutexCreate(&trap->mutex) != ORV_OK) {
    return false;
  }
  if (orvSemaphoreCreate(&trap->semaphore, 0) != ORV_OK) {
    orvMutexDestroy(&trap->mutex);
    return false;
  }
  trap->queue = static_cast<orvTrapQueue *>(threads::allocZeroed(sizeof(orvTrapQueue)));
  if (trap->queue == nullptr) {
    orvSemaphoreDestroy(&trap->semaphore);
    orvMutexDestroy(&trap->mutex);
    return false;
  }
  return true;
}

orvThread *takeHead(orvStateTrap *trap) {
  orvTrapNode *node = trap->queue->head;
  if (node == nullptr) {
    return nullptr;
  }
  trap->queue->head = node->next;
  if (trap->queue->head == nullptr) {
    trap->queue->tail = nullptr;
  } else {
    trap->queue->head->prev = nullptr;
  }
  orvThread *thread = node->thread;
  threads::freeBlock(node);
  return thread;
}

}  // namespace

extern "C" {

ORV_API orvStateTrap *orvThreadStateTrapCreate(uint32_t state) {
  orvThread *self = threads::tracingCaller();
  auto *trap = static_cast<orvStateTrap *>(threads::allocZeroed(sizeof(orvStateTrap)));
  if (trap != nullptr) {
    trap->state = state;
    NestedCalls nested(self);
    if (!makeParts(trap)) {
      // Creation reports no failure. The record is kept, with its handle
      // words cleared, so that the address returned stays valid: every
      // operation on it then fails cleanly.
      trap->mutex = 0;
      trap->semaphore = 0;
      trap->queue = nullptr;
    }
  }
  THREADS_TRACE(self, kTraceThreads, "%-*s thread (" ORV_P ") trap      (" ORV_P ") state    (" ORV_D ")",
                kSingle, "orvThreadStateTrapCreate", addr(self), addr(trap), static_cast<int>(state));
  return trap;
}

ORV_API int orvThreadStateTrapSet(orvStateTrap *trap, orvThread *thread) {
  orvThread *self = threads::tracingCaller();
  int result = ORV_FAILED;
  if (trap != nullptr && thread != nullptr) {
    NestedCalls nested(self);
    result = orvThreadStateCallback(thread, trap->state, trap, trapArrival);
  }
  THREADS_TRACE(self, kTraceThreads,
                "%-*s thread (" ORV_P ") trap      (" ORV_P ") target   (" ORV_P ") result   (" ORV_D ")",
                kSingle, "orvThreadStateTrapSet", addr(self), addr(trap), addr(thread), result);
  return result;
}

ORV_API orvThread *orvThreadStateTrapNext(orvStateTrap *trap, int *status) {
  int result = ORV_FAILED;
  orvThread *next = nullptr;
  if (trap == nullptr) {
    if (status != nullptr) {
      *status = result;
    }
    return nullptr;
  }
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceThreads, "%-*s%s thread (" ORV_P ") trap      (" ORV_P ")", kMarked,
                "orvThreadStateTrapNext", kStart, addr(self), addr(trap));
  {
    NestedCalls nested(self);
    result = orvSemaphoreWait(&trap->semaphore);
    if (result == ORV_OK) {
      result = orvMutexLock(&trap->mutex);
    }
    if (result == ORV_OK) {
      next = takeHead(trap);
      orvMutexUnlock(&trap->mutex);
    }
  }
  if (status != nullptr) {
    *status = result;
  }
  THREADS_TRACE(self, kTraceThreads,
                "%-*s%s thread (" ORV_P ") trap      (" ORV_P ") next     (" ORV_P ") status   (" ORV_D ")",
                kMarked, "orvThreadStateTrapNext", kEnd, addr(self), addr(trap), addr(next), result);
  return next;
}

ORV_API void orvThreadStateTrapDestroy(orvStateTrap *trap) {
  if (trap == nullptr) {
    return;
  }
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceThreads, "%-*s thread (" ORV_P ") trap      (" ORV_P ")", kSingle,
                "orvThreadStateTrapDestroy", addr(self), addr(trap));
  {
    NestedCalls nested(self);
    if (trap->semaphore != 0) {
      orvSemaphoreDestroy(&trap->semaphore);
    }
    if (trap->mutex != 0) {
      orvMutexDestroy(&trap->mutex);
    }
  }
  if (trap->queue != nullptr) {
    while (trap->queue->head != nullptr) {
      takeHead(trap);
    }
    threads::freeBlock(trap->queue);
  }
  memset(trap, 0, sizeof *trap);
  threads::freeBlock(trap);
}

}  // extern "C"
