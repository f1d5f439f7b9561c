// Thread operations on a running thread: queries, join, cancellation,
// suspension, priority, state call-backs, the trace object and the printable
// identifier.
#include <stdio.h>
#include <string.h>

#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "platform/pal.h"
#include "platform/pal_sync.h"
#include "platform/pal_thread.h"

using threads::addr;
using threads::blockOf;
using threads::kEnd;
using threads::kMarked;
using threads::kSingle;
using threads::kStart;
using threads::kTraceInternal;
using threads::kTraceThreads;
using threads::loadWord;
using threads::setState;
using threads::storeWord;

namespace {

// The thread an operation acts on: the one given, or the caller's own.
orvThread *targetOf(orvThread *thread) { return thread != nullptr ? thread : orvThreadSelf(); }

void traceOnThread(orvThread *self, const char *name, orvThread *thread) {
  THREADS_TRACE(self, kTraceThreads, "%-*s oldthr (" ORV_P ") thread    (" ORV_P ")", kSingle, name,
                addr(self), addr(thread));
}

void traceMarked(orvThread *self, const char *name, const char *marker, orvThread *thread) {
  THREADS_TRACE(self, kTraceThreads, "%-*s%s oldthr (" ORV_P ") thread    (" ORV_P ")", kMarked, name, marker,
                addr(self), addr(thread));
}

void traceMarkedResult(orvThread *self, const char *name, orvThread *thread, int result) {
  THREADS_TRACE(self, kTraceThreads, "%-*s%s oldthr (" ORV_P ") thread    (" ORV_P ") result   (" ORV_D ")",
                kMarked, name, kEnd, addr(self), addr(thread), result);
}

// The cancellation point of the calling thread (orvThreadState(NULL)).
int cancellationPoint() {
  orvThread *self = orvThreadSelf();
  if (self == nullptr) {
    orvThreadYield();
    return static_cast<int>(ORV_THREAD_RUNNING);
  }
  uint32_t *watch = std::atomic_ref<uint32_t *>(self->cancelWatch).load(std::memory_order_acquire);
  bool watched = watch != nullptr && std::atomic_ref<uint32_t>(*watch).load(std::memory_order_acquire) != 0;
  if (loadWord(self->cancelPending) == 1 || watched) {
    storeWord(self->cancelPending, 0);
    setState(self, ORV_THREAD_CANCELLED);
    THREADS_TRACE(self, kTraceThreads, "%-*s thread (" ORV_P ") cancelling", kSingle, "orvThreadState",
                  addr(self));
  }
  int state = static_cast<int>(loadWord(self->state));
  THREADS_TRACE(self, kTraceThreads, "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") state    (" ORV_D ")",
                kSingle, "orvThreadState", addr(self), addr(self), state);
  orvThreadYield();
  return state;
}

// Suspends the calling thread itself. Its state becomes 2 before it stops,
// so that another thread's orvThreadContinue finds it suspended.
int suspendSelf(orvThread *self) {
  threads::ThreadBlock *block = blockOf(self);
  block->selfSuspending.store(1, std::memory_order_release);
  setState(self, ORV_THREAD_SUSPENDED);
  uint32_t previous = pal::suspendThread(self->handle);
  block->selfSuspending.store(0, std::memory_order_release);
  if (previous == pal::kSuspendFailed) {
    setState(self, ORV_THREAD_RUNNING);
    return ORV_FAILED;
  }
  return ORV_OK;
}

// Resumes a thread; a thread still on its way into its own suspension (the
// resume came first and found nothing to undo) is resumed again once it has
// stopped.
uint32_t resume(orvThread *thread) {
  uint32_t previous = pal::resumeThread(thread->handle);
  while (previous == 0 && blockOf(thread)->selfSuspending.load(std::memory_order_acquire) != 0) {
    pal::yieldThread();
    previous = pal::resumeThread(thread->handle);
  }
  return previous;
}

// The sum of a priority and a delta, clamped to the adjustable range. The
// sum is taken in 64 bits, so a delta near INT_MAX or INT_MIN clamps instead
// of wrapping around.
int clampPriority(int current, int delta) {
  int64_t sum = static_cast<int64_t>(current) + delta;
  return sum > pal::kPriorityHighest
             ? pal::kPriorityHighest
             : (sum < pal::kPriorityLowest ? pal::kPriorityLowest : static_cast<int>(sum));
}

void tracePriorityStep(orvThread *self, const char *name, orvThread *thread, int priority, int result) {
  THREADS_TRACE(self, kTraceInternal,
                "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") priority (%8x) result(" ORV_D ")", kSingle,
                name, addr(self), addr(thread), static_cast<unsigned>(priority), result);
}

}  // namespace

extern "C" {

ORV_API int orvThreadEqual(const orvThread *a, const orvThread *b) {
  return a != nullptr && b != nullptr && a->id == b->id ? 1 : 0;
}

ORV_API int orvThreadAlive(orvThread *thread) {
  orvThread *self = threads::tracingCallerFor(thread);
  int alive = 1;
  if (thread != nullptr) {
    uint32_t code = 0;
    alive = !pal::getExitCodeThread(thread->handle, &code) ? 0 : (code == pal::kStillActive ? 1 : 0);
  }
  THREADS_TRACE(self, kTraceThreads, "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") alive    (" ORV_D ")",
                kSingle, "orvThreadAlive", addr(self), addr(thread), alive);
  return alive;
}

ORV_API void orvThreadYield(void) { pal::yieldThread(); }

ORV_API uint32_t orvThreadExitStatus(orvThread *thread) {
  orvThread *self = threads::tracingCallerFor(thread);
  uint32_t status = thread != nullptr ? loadWord(thread->exitStatus) : 0;
  bool exited = thread != nullptr && loadWord(thread->state) == ORV_THREAD_NOT_RUNNING;
  THREADS_TRACE(self, kTraceThreads,
                "%-*s self   (" ORV_P ") thread (" ORV_P ") %-9s    exitStatus(" ORV_D ")", kSingle,
                "orvThreadExitStatus", addr(self), addr(thread), exited ? "exited" : "running!",
                static_cast<int>(status));
  return status;
}

ORV_API int orvThreadJoin(orvThread *thread, uint32_t *exitCode) {
  orvThread *self = orvThreadSelf();
  traceMarked(self, "orvThreadJoin", kStart, thread);
  int result = ORV_FAILED;
  if (thread == nullptr || thread == self) {
    result = ORV_JOIN_SELF;
  } else if (pal::waitForSingleObject(thread->handle, pal::kInfinite) == pal::kWaitObject0) {
    uint32_t code = 0;
    if (pal::getExitCodeThread(thread->handle, &code)) {
      if (exitCode != nullptr) {
        *exitCode = code;
      }
      result = ORV_OK;
    }
  }
  traceMarkedResult(self, "orvThreadJoin", thread, result);
  return result;
}

ORV_API int orvThreadAutopsy(orvThread *thread) {
  orvThread *self = threads::tracingCallerFor(thread);
  int demise = static_cast<int>(ORV_DEMISE_NOT_YET);
  if (thread != nullptr && loadWord(thread->state) == ORV_THREAD_NOT_RUNNING) {
    demise = static_cast<int>(loadWord(thread->demise));
  }
  THREADS_TRACE(self, kTraceThreads, "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") demise   (" ORV_D ")",
                kSingle, "orvThreadAutopsy", addr(self), addr(thread), demise);
  return demise;
}

ORV_API int orvThreadState(orvThread *thread) {
  if (thread == nullptr) {
    return cancellationPoint();
  }
  orvThread *self = threads::tracingCallerFor(thread);
  uint32_t code = 0;
  if (pal::getExitCodeThread(thread->handle, &code) && code != pal::kStillActive &&
      loadWord(thread->state) == ORV_THREAD_RUNNING) {
    setState(thread, ORV_THREAD_NOT_RUNNING);  // it has ended
  }
  int state = static_cast<int>(loadWord(thread->state));
  THREADS_TRACE(self, kTraceThreads, "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") state    (" ORV_D ")",
                kSingle, "orvThreadState", addr(self), addr(thread), state);
  return state;
}

ORV_API void orvThreadCancel(orvThread *thread) {
  orvThread *self = threads::tracingCallerFor(thread);
  traceOnThread(self, "orvThreadCancel", thread);
  if (thread != nullptr) {
    storeWord(thread->cancelPending, 1);
  }
}

ORV_API int orvThreadSetCancel(orvThread *thread, uint32_t *watch, int inherit) {
  orvThread *target = targetOf(thread);
  int result = ORV_FAILED;
  if (target != nullptr) {
    std::atomic_ref<uint32_t *>(target->cancelWatch).store(watch, std::memory_order_release);
    target->inheritCancelWatch = static_cast<uint32_t>(inherit);
    result = ORV_OK;
  }
  orvThread *self = threads::tracingCallerFor(thread);
  THREADS_TRACE(self, kTraceThreads,
                "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") watch    (" ORV_P ") result   (" ORV_D ")",
                kSingle, "orvThreadSetCancel", addr(self), addr(target), addr(watch), result);
  return result;
}

ORV_API int orvThreadSuspend(orvThread *thread) {
  orvThread *self = threads::tracingCallerFor(thread);
  orvThread *target = thread != nullptr ? thread : orvThreadSelf();
  traceMarked(self, "orvThreadSuspend", kStart, target);
  int result = ORV_OK;
  if (target == nullptr) {
    result = ORV_FAILED;
  } else if (loadWord(target->state) == ORV_THREAD_RUNNING) {
    if (target == orvThreadSelf()) {
      result = suspendSelf(target);
    } else if (pal::suspendThread(target->handle) == pal::kSuspendFailed) {
      result = ORV_FAILED;
    } else {
      setState(target, ORV_THREAD_SUSPENDED);
    }
  }
  traceMarkedResult(self, "orvThreadSuspend", target, result);
  return result;
}

ORV_API int orvThreadContinue(orvThread *thread) {
  orvThread *self = threads::tracingCallerFor(thread);
  traceMarked(self, "orvThreadContinue", kStart, thread);
  int result = ORV_OK;
  if (thread == nullptr) {
    result = ORV_FAILED;
  } else if (loadWord(thread->state) == ORV_THREAD_SUSPENDED) {
    setState(thread, ORV_THREAD_RUNNING);
    if (resume(thread) == pal::kSuspendFailed) {
      setState(thread, ORV_THREAD_SUSPENDED);
      result = ORV_FAILED;
    }
  }
  traceMarkedResult(self, "orvThreadContinue", thread, result);
  return result;
}

ORV_API int orvThreadAdjustPriority(orvThread *thread, int delta) {
  orvThread *target = targetOf(thread);
  orvThread *self = threads::tracingCallerFor(thread);
  int result = ORV_FAILED;
  int priority = 0;
  if (target != nullptr) {
    threads::NestedCalls nested(self);
    int current = pal::getThreadPriority(target->handle);
    bool known = current != pal::kPriorityErrorReturn;
    tracePriorityStep(self, "<getPriority>", target, current, known ? ORV_OK : ORV_FAILED);
    if (known) {
      priority = clampPriority(current, delta);
      if (priority == current) {
        result = ORV_NOTHING_TO_DO;
      } else {
        result = pal::setThreadPriority(target->handle, priority) ? ORV_OK : ORV_FAILED;
        tracePriorityStep(self, "<setPriority>", target, priority, result);
      }
    }
  }
  THREADS_TRACE(self, kTraceThreads,
                "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") result   (" ORV_D ") priority (" ORV_D ")",
                kSingle, "orvThreadAdjustPriority", addr(self), addr(target), result, priority);
  return result;
}

ORV_API int orvThreadStateCallback(orvThread *thread, uint32_t state, void *environment,
                                   orvThreadStateCallbackFunc callback) {
  orvThread *self = threads::tracingCallerFor(thread);
  int result = ORV_OK;
  if (thread == nullptr || thread->callbacks == nullptr || state > ORV_THREAD_FAILED) {
    result = ORV_FAILED;
  } else if (callback != nullptr) {
    auto *node = static_cast<orvThreadCallbackNode *>(threads::allocBlock(sizeof(orvThreadCallbackNode)));
    if (node == nullptr) {
      result = ORV_NO_MEMORY;
    } else {
      node->environment = environment;
      node->callback = callback;
      // Pushed at the head, so the newest is called first. The push is
      // atomic: the state setter may walk the list meanwhile.
      std::atomic_ref<orvThreadCallbackNode *> head(thread->callbacks[state]);
      node->next = head.load(std::memory_order_relaxed);
      while (!head.compare_exchange_weak(node->next, node, std::memory_order_release,
                                         std::memory_order_relaxed)) {
      }
    }
  }
  THREADS_TRACE(self, kTraceThreads,
                "%-*s oldthr (" ORV_P ") thread    (" ORV_P ") state    (" ORV_D ") result   (" ORV_D ")",
                kSingle, "orvThreadStateCallback", addr(self), addr(thread), static_cast<int>(state), result);
  return result;
}

ORV_API int orvThreadSetTraceObj(TraceObj *traceObj, int inherit) {
  threads::setTracingOn();
  orvThread *self = orvThreadSelf();
  if (self == nullptr) {
    return ORV_FAILED;
  }
  self->traceObj = traceObj;
  self->inheritTrace = static_cast<uint32_t>(inherit);
  THREADS_TRACE(self, kTraceThreads, "%-*s thread (" ORV_P ") traceObj  (" ORV_P ") inherit  (" ORV_D ")",
                kSingle, "orvThreadSetTraceObj", addr(self), addr(traceObj), inherit);
  return ORV_OK;
}

ORV_API char *orvThreadStrId(orvThread *thread, char *buffer, int length) {
  uint32_t id;
  uintptr_t handle;
  orvThread *source = targetOf(thread);
  if (source != nullptr) {
    id = source->id;
    handle = source->handle;
  } else {
    id = pal::currentThreadId();
    handle = pal::currentThread();
  }
  char text[64];
  snprintf(text, sizeof text, ORV_P "(%8x," ORV_P ")", addr(thread), id, handle);
  if (buffer != nullptr && length > 0) {
    strncpy(buffer, text, static_cast<size_t>(length));
  }
  return buffer;
}

}  // extern "C"
