// The thread layer: process-wide state, thread creation and the start
// wrapper, the state setter, exit and destruction.
//
// Each thread that the layer creates has a record. The record is shared by
// the creator's side (which releases it with orvThreadDestroy) and by the
// running thread (which lets go of it when it ends): whichever comes last
// frees it, so a record destroyed before its thread has started or finished
// never pulls memory from under that thread.
//
// Threads are always created suspended and, for a start-now thread, resumed
// once their handle and identifier are stored in the record, so that the new
// thread never reads a record that its creator is still filling.
#include <stdio.h>
#include <string.h>
#include <new>

#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "orvane/frame.h"
#include "platform/pal.h"
#include "platform/pal_sync.h"
#include "platform/pal_thread.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kSingle;
using threads::kStart;
using threads::kTraceInternal;
using threads::kTraceThreads;
using threads::loadWord;
using threads::storeWord;

namespace threads {

std::atomic<uint32_t> threadTracingOn{0};

namespace {

// Process-wide state of the layer.
std::atomic<orvThreadKey *> layerSelfKey{nullptr};
std::atomic<int32_t> useCount{0};
orvHandle layerMutex = 0;

// The exit status of a thread whose start routine let an exception escape.
constexpr uint32_t kFailedExitStatus = pal::kThreadEndUnwindStatus;

void freeCallbacks(orvThread *thread) {
  if (thread->callbacks == nullptr) {
    return;
  }
  for (int s = 0; s < ORV_THREAD_STATE_COUNT; ++s) {
    orvThreadCallbackNode *node = thread->callbacks[s];
    while (node != nullptr) {
      orvThreadCallbackNode *next = node->next;
      freeBlock(node);
      node = next;
    }
  }
  freeBlock(thread->callbacks);
}

void freeRecord(orvThread *thread) {
  freeCallbacks(thread);
  freeBlock(thread->startBlock);
  if (thread->handle != 0) {
    pal::closeHandle(thread->handle);
  }
  ThreadBlock *block = blockOf(thread);
  block->~ThreadBlock();
  memset(static_cast<void *>(block), 0, sizeof *block);
  freeBlock(block);
}

// Detaches the record's trace object for the start steps unless its mask has
// bit 256; returns what to attach again.
TraceObj *detachForStartSteps(orvThread *thread) {
  TraceObj *trace = thread->traceObj;
  if (trace != nullptr && (traceObjGetMask(trace) & kTraceInternal) == 0) {
    thread->traceObj = nullptr;
  }
  return trace;
}

// Calls the start routine inside the structured exception frame: an
// exception that escapes the routine ends the thread as failed (state 4,
// demise 2) with exit status 0xFFFFFFFF; its key destructors still run.
// False when that happened.
//
// The system's own thread API may end the thread too (pthread_exit, or
// pthread_cancel by code that mixes the APIs), by an unwinding that must go
// on to the thread's end. The thread then ends as failed in the same way:
// its exit steps run here, and the unwinding continues.
PAL_CATCHES_THREAD_END bool runStartRoutine(orvThread *thread) {
  try {
    thread->startBlock->routine(thread->startBlock->argument);
  } catch (pal::ThreadEndUnwind &) {
    THREADS_TRACE(thread, kTraceInternal, "%-*s thread (" ORV_P ") ended by the system's thread API", kSingle,
                  "<orvThreadStartRoutine>", addr(thread));
    setState(thread, ORV_THREAD_FAILED);
    runExitSteps(thread, pal::kThreadEndUnwindStatus);
    throw;
  } catch (...) {
    THREADS_TRACE(thread, kTraceInternal, "%-*s thread (" ORV_P ") exception caught in user's thread routine",
                  kSingle, "<orvThreadStartRoutine>", addr(thread));
    setState(thread, ORV_THREAD_FAILED);
    return false;
  }
  return true;
}

unsigned PAL_THREAD_CALL startWrapper(void *argument) {
  auto *thread = static_cast<orvThread *>(argument);
  TraceObj *trace = detachForStartSteps(thread);
  THREADS_TRACE(thread, kTraceInternal, "%-*s thread (" ORV_P ") started!", kSingle,
                "<orvThreadStartRoutine>", addr(thread));
  if (setSpecific(selfKey(), thread, thread) != ORV_OK) {
    setState(thread, ORV_THREAD_FAILED);
  } else if (orvThreadState(nullptr) == static_cast<int>(ORV_THREAD_NOT_RUNNING)) {
    setState(thread, ORV_THREAD_RUNNING);  // a fresh start; 1 (continued) and 3 (cancelled) are kept
  }
  thread->traceObj = trace;

  uint32_t status = 0;
  if (loadWord(thread->state) == ORV_THREAD_RUNNING && !runStartRoutine(thread)) {
    status = kFailedExitStatus;
  } else if (loadWord(thread->state) == ORV_THREAD_CANCELLED) {
    THREADS_TRACE(thread, kTraceInternal,
                  "%-*s thread (" ORV_P ") cancel caught before calling user's thread routine", kSingle,
                  "<orvThreadStartRoutine>", addr(thread));
  } else {
    THREADS_TRACE(thread, kTraceInternal,
                  "%-*s thread (" ORV_P ") user didn't call orvThreadExit; we'll call it", kSingle,
                  "<orvThreadStartRoutine>", addr(thread));
  }
  // orvThreadExit(status), except that the thread then returns from here,
  // which ends it with the same status.
  runExitSteps(thread, status);
  return status;
}

// The failure path of creation: state 4 and destroy, which asserts.
[[noreturn]] void creationFailed(orvThread *thread) {
  setState(thread, ORV_THREAD_FAILED);
  orvThreadDestroy(thread);
  fail(kLineDestroyState);  // not reached: destroy asserts on state 4
}

void traceCreateEnd(orvThread *creator, orvThread *thread, int result) {
  THREADS_TRACE(creator, kTraceThreads, "%-*s%s newthr (" ORV_P ") result    (" ORV_D ")", kMarked,
                "orvThreadCreate", kEnd, addr(thread), result);
}

// Takes over what the creator passes on: its trace object when none was
// given and it asks for inheritance, and its watched cancel word.
void inheritFromCreator(orvThread *thread, const orvThread *creator, TraceObj *traceObj) {
  thread->traceObj = traceObj;
  if (creator == nullptr) {
    return;
  }
  if (traceObj == nullptr && creator->inheritTrace == 1) {
    thread->traceObj = creator->traceObj;
    thread->inheritTrace = 1;
  }
  if (creator->inheritCancelWatch == 1) {
    thread->cancelWatch = creator->cancelWatch;
    thread->inheritCancelWatch = 1;
  }
}

// Allocates a zeroed record with its call-back table; null when memory runs
// out.
orvThread *newRecord() {
  void *memory = allocZeroed(sizeof(ThreadBlock));
  if (memory == nullptr) {
    return nullptr;
  }
  ::new (memory) ThreadBlock();
  auto *block = std::launder(static_cast<ThreadBlock *>(memory));
  block->refs.store(2, std::memory_order_relaxed);
  orvThread *thread = &block->record;
  thread->callbacks = static_cast<orvThreadCallbackNode **>(
      allocZeroed(ORV_THREAD_STATE_COUNT * sizeof(orvThreadCallbackNode *)));
  if (thread->callbacks == nullptr) {
    block->~ThreadBlock();
    freeBlock(block);
    return nullptr;
  }
  return thread;
}

void selfKeyDestructor(void *value) { setState(static_cast<orvThread *>(value), ORV_THREAD_NOT_RUNNING); }

}  // namespace

[[noreturn]] void fail(int line) {
  orvAssert(kSourceName, line);
  pal::fatalExit(0);  // orvAssert does not return
}

orvThreadKey *selfKey() { return layerSelfKey.load(std::memory_order_acquire); }

void setTracingOn() { threadTracingOn.store(1, std::memory_order_relaxed); }

int createSelfKey(orvThreadKey **key) { return orvThreadKeyCreate(key, selfKeyDestructor); }

void releaseRecord(orvThread *thread) {
  if (blockOf(thread)->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    freeRecord(thread);
  }
}

void setState(orvThread *thread, uint32_t state) {
  if (state > ORV_THREAD_FAILED) {
    fail(kLineBadState);
  }
  if (state == ORV_THREAD_CANCELLED) {
    storeWord(thread->demise, ORV_DEMISE_CANCELLED);
  } else if (state == ORV_THREAD_FAILED) {
    storeWord(thread->demise, ORV_DEMISE_FAILED);
  }
  storeWord(thread->state, state);
  if (thread->callbacks == nullptr) {
    return;
  }
  std::atomic_ref<orvThreadCallbackNode *> head(thread->callbacks[state]);
  for (orvThreadCallbackNode *node = head.load(std::memory_order_acquire); node != nullptr;
       node = node->next) {
    node->callback(node->environment, thread, state);
  }
}

void runExitSteps(orvThread *self, uint32_t status) {
  if (self != nullptr) {
    storeWord(self->exitStatus, status);
  }
  THREADS_TRACE(self, kTraceThreads, "%-*s thread (" ORV_P ") exitStatus(" ORV_D ")", kSingle,
                "orvThreadExit", addr(self), static_cast<int>(status));
  callUserDestroyRoutines(self);
  if (self != nullptr) {
    releaseRecord(self);
  }
}

namespace testing {
void resetTracingSwitch() { threadTracingOn.store(0, std::memory_order_relaxed); }
int layerUseCount() { return useCount.load(std::memory_order_relaxed); }
orvHandle *layerMutexWord() { return &layerMutex; }
}  // namespace testing

}  // namespace threads

using threads::setState;

extern "C" {

ORV_API int orvThreadProcessInitialize(void) {
  if (orvMutexLock(&threads::layerMutex) != ORV_OK) {
    // The layer mutex does not exist yet.
    int r = orvMutexCreate(&threads::layerMutex);
    if (r != ORV_OK) {
      return r;
    }
    r = orvMutexLock(&threads::layerMutex);
    if (r != ORV_OK) {
      return r;
    }
  }
  int result = ORV_OK;
  if (threads::useCount.fetch_add(1, std::memory_order_relaxed) == 0) {
    orvThreadKey *key = nullptr;
    result = threads::createSelfKey(&key);
    if (result == ORV_OK) {
      threads::layerSelfKey.store(key, std::memory_order_release);
    } else {
      // Not initialised after all: the next initialisation tries again.
      threads::useCount.fetch_sub(1, std::memory_order_relaxed);
    }
  }
  orvMutexUnlock(&threads::layerMutex);
  return result;
}

ORV_API void orvThreadProcessTerminate(void) {
  if (threads::useCount.load(std::memory_order_relaxed) <= 0) {
    return;
  }
  if (orvMutexLock(&threads::layerMutex) != ORV_OK) {
    threads::fail(threads::kLineTerminateLock);
  }
  if (threads::useCount.fetch_sub(1, std::memory_order_relaxed) == 1) {
    orvThreadKey *key = threads::layerSelfKey.exchange(nullptr, std::memory_order_acq_rel);
    if (key != nullptr) {
      orvThreadKeyDestroy(key);
    }
  }
  orvMutexUnlock(&threads::layerMutex);
}

ORV_API orvThread *orvThreadSelf(void) {
  orvThreadKey *key = threads::selfKey();
  if (key == nullptr) {
    return nullptr;
  }
  return static_cast<orvThread *>(pal::tlsGetValue(key->slot));
}

ORV_API int orvThreadCreate(orvThreadRoutine routine, void *argument, int startNow, orvThread **out,
                            TraceObj *traceObj) {
  orvThread *creator = orvThreadSelf();
  THREADS_TRACE(
      creator, kTraceThreads, "%-*s%s oldthr (" ORV_P ") routine   (" ORV_P ") arg      (" ORV_P ")", kMarked,
      "orvThreadCreate", kStart, addr(creator), addr(reinterpret_cast<void *>(routine)), addr(argument));
  if (out != nullptr) {
    *out = nullptr;
  }
  if (threads::selfKey() == nullptr) {
    // The layer is not initialised: no thread could find its record.
    threads::traceCreateEnd(creator, nullptr, ORV_FAILED);
    return ORV_FAILED;
  }
  orvThread *thread = threads::newRecord();
  if (thread == nullptr) {
    threads::traceCreateEnd(creator, nullptr, ORV_NO_MEMORY);
    return ORV_NO_MEMORY;
  }
  threads::inheritFromCreator(thread, creator, traceObj);

  thread->startBlock = static_cast<orvThreadStartBlock *>(threads::allocBlock(sizeof(orvThreadStartBlock)));
  if (thread->startBlock == nullptr) {
    threads::creationFailed(thread);
  }
  thread->startBlock->routine = routine;
  thread->startBlock->argument = argument;
  setState(thread, startNow != 0 ? ORV_THREAD_NOT_RUNNING : ORV_THREAD_SUSPENDED);
  thread->keyValues = nullptr;

  thread->handle = pal::beginThread(threads::startWrapper, thread, pal::kCreateSuspended, &thread->id);
  if (thread->handle == 0) {
    threads::creationFailed(thread);
  }
  if (startNow != 0) {
    pal::resumeThread(thread->handle);
  }
  if (out != nullptr) {
    *out = thread;
  }
  threads::traceCreateEnd(creator, thread, ORV_OK);
  return ORV_OK;
}

ORV_API void orvThreadDestroy(orvThread *thread) {
  if (thread == nullptr) {
    return;
  }
  orvThread *self = threads::tracingCaller();
  uint32_t state = threads::loadWord(thread->state);
  THREADS_TRACE(self, kTraceThreads, "%-*s%s oldthr (" ORV_P ") thread    (" ORV_P ") state    (" ORV_D ")",
                kMarked, "orvThreadDestroy", kStart, addr(self), addr(thread), static_cast<int>(state));
  threads::NestedCalls nested(self);
  uint32_t code = 0;
  switch (state) {
    case ORV_THREAD_NOT_RUNNING:
      break;
    case ORV_THREAD_RUNNING:
      orvThreadCancel(thread);
      orvThreadJoin(thread, &code);
      break;
    case ORV_THREAD_SUSPENDED:
      orvThreadCancel(thread);
      if (orvThreadContinue(thread) == ORV_OK) {
        orvThreadCancel(thread);
        orvThreadJoin(thread, &code);
      }
      break;
    case ORV_THREAD_CANCELLED:
      orvThreadJoin(thread, &code);
      break;
    default:
      threads::fail(threads::kLineDestroyState);
  }
  nested.restore();
  THREADS_TRACE(self, kTraceThreads, "%-*s%s oldthr (" ORV_P ") thread    (" ORV_P ")", kMarked,
                "orvThreadDestroy", kEnd, addr(self), addr(thread));
  threads::releaseRecord(thread);
}

ORV_API void orvThreadExit(uint32_t status) {
  threads::runExitSteps(orvThreadSelf(), status);
  pal::endThread(status);
}

}  // extern "C"
