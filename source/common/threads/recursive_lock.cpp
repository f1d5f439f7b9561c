// Recursive locks: a base lock (mutex, semaphore or read-write lock) that
// its owning thread may acquire again without blocking.
//
// The owner and depth change only under the owner guard; the base lock is
// taken outside it, so a thread never blocks while holding the guard.
//
// A thread's identity is its thread record, but only while the tracing
// switch is on; while it is off, every caller counts as the null thread and
// all threads share one identity. Creation makes the creating thread the
// owner without taking the base lock, so the creator's first acquire only
// counts depth, and a release beyond it gives up a base lock it never took.
// Both rules are kept as they are.
#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "orvane/sync.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kStart;
using threads::kTraceRecursive;
using threads::NestedCalls;

namespace {

const char *kindName(uint32_t kind) {
  switch (kind) {
    case ORV_RECURSIVE_MUTEX:
      return "rmutex";
    case ORV_RECURSIVE_SEMAPHORE:
      return "rsemaphore";
    case ORV_RECURSIVE_RWLOCK:
      return "rrwlock";
    default:
      return "";
  }
}

orvThread *identity() { return threads::tracingOn() ? orvThreadSelf() : nullptr; }

void traceStart(orvThread *self, const char *name, uint32_t kind, orvRecursiveLock *lock) {
  THREADS_TRACE(self, kTraceRecursive, "%-*s%s thread (" ORV_X ") %-10s(" ORV_X ")", kMarked, name, kStart,
                addr(self), kindName(kind), addr(lock));
}

void traceEnd(orvThread *self, const char *name, uint32_t kind, orvRecursiveLock *lock, int result) {
  THREADS_TRACE(self, kTraceRecursive, "%-*s%s thread (" ORV_X ") %-10s(" ORV_X ") result (%d)", kMarked,
                name, kEnd, addr(self), kindName(kind), addr(lock), result);
}

int createBase(orvRecursiveLock *lock, uint32_t kind, int32_t initialCount) {
  switch (kind) {
    case ORV_RECURSIVE_MUTEX:
      return orvMutexCreate(&lock->base.mutex);
    case ORV_RECURSIVE_SEMAPHORE:
      return orvSemaphoreCreate(&lock->base.semaphore, initialCount);
    default:
      return orvRWLockCreate(&lock->base.rwlock);
  }
}

int destroyBase(orvRecursiveLock *lock) {
  switch (lock->kind) {
    case ORV_RECURSIVE_MUTEX:
      return orvMutexDestroy(&lock->base.mutex);
    case ORV_RECURSIVE_SEMAPHORE:
      return orvSemaphoreDestroy(&lock->base.semaphore);
    case ORV_RECURSIVE_RWLOCK:
      return orvRWLockDestroy(&lock->base.rwlock);
    default:
      return ORV_FAILED;
  }
}

int acquireBase(orvRecursiveLock *lock, int readOnly) {
  switch (lock->kind) {
    case ORV_RECURSIVE_MUTEX:
      return orvMutexLock(&lock->base.mutex);
    case ORV_RECURSIVE_SEMAPHORE:
      return orvSemaphoreWait(&lock->base.semaphore);
    case ORV_RECURSIVE_RWLOCK:
      return readOnly != 0 ? orvRWLockReadLock(&lock->base.rwlock) : orvRWLockWriteLock(&lock->base.rwlock);
    default:
      return ORV_FAILED;
  }
}

int releaseBase(orvRecursiveLock *lock) {
  switch (lock->kind) {
    case ORV_RECURSIVE_MUTEX:
      return orvMutexUnlock(&lock->base.mutex);
    case ORV_RECURSIVE_SEMAPHORE:
      return orvSemaphorePost(&lock->base.semaphore);
    case ORV_RECURSIVE_RWLOCK:
      return orvRWLockUnlock(&lock->base.rwlock);
    default:
      return ORV_FAILED;
  }
}

int create(const char *name, orvRecursiveLock *lock, uint32_t kind, int32_t initialCount) {
  orvThread *self = threads::tracingCaller();
  if (kind == ORV_RECURSIVE_SEMAPHORE) {
    THREADS_TRACE(self, kTraceRecursive, "%-*s%s thread (" ORV_X ") rsemaphore(" ORV_X ") count (%d)",
                  kMarked, name, kStart, addr(self), addr(lock), initialCount);
  } else {
    traceStart(self, name, kind, lock);
  }
  NestedCalls nested(self);
  lock->kind = ORV_RECURSIVE_NONE;
  int result = createBase(lock, kind, initialCount);
  if (result == ORV_OK) {
    result = orvMutexCreate(&lock->ownerGuard);
    if (result != ORV_OK) {
      lock->kind = kind;
      destroyBase(lock);
      lock->kind = ORV_RECURSIVE_NONE;
    }
  }
  if (result == ORV_OK) {
    lock->depth = 0;
    lock->owner = identity();
    lock->kind = kind;
  }
  nested.restore();
  traceEnd(self, name, kind, lock, result);
  return result;
}

}  // namespace

extern "C" {

ORV_API int orvRecursiveMutexCreate(orvRecursiveLock *lock) {
  return create("orvRecursiveMutexCreate", lock, ORV_RECURSIVE_MUTEX, 0);
}

ORV_API int orvRecursiveSemaphoreCreate(orvRecursiveLock *lock, int32_t initialCount) {
  return create("orvRecursiveSemaphoreCreate", lock, ORV_RECURSIVE_SEMAPHORE, initialCount);
}

ORV_API int orvRecursiveRWLockCreate(orvRecursiveLock *lock) {
  return create("orvRecursiveRWLockCreate", lock, ORV_RECURSIVE_RWLOCK, 0);
}

ORV_API int orvRecursiveLockDestroy(orvRecursiveLock *lock) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvRecursiveLockDestroy", lock->kind, lock);
  NestedCalls nested(self);
  int result = destroyBase(lock);
  if (result == ORV_OK) {
    result = orvMutexDestroy(&lock->ownerGuard);
  }
  nested.restore();
  traceEnd(self, "orvRecursiveLockDestroy", lock->kind, lock, result);
  return result;
}

ORV_API int orvRecursiveLockAcquire(orvRecursiveLock *lock, int readOnly) {
  orvThread *self = threads::tracingCaller();
  THREADS_TRACE(self, kTraceRecursive, "%-*s%s thread (" ORV_X ") %-10s(" ORV_X ") readOnly (%d)", kMarked,
                "orvRecursiveLockAcquire", kStart, addr(self), kindName(lock->kind), addr(lock), readOnly);
  NestedCalls nested(self);
  orvThread *me = identity();
  int result = orvMutexLock(&lock->ownerGuard);
  if (result == ORV_OK) {
    bool nestedAcquire = lock->owner == me;
    if (nestedAcquire) {
      ++lock->depth;
    }
    orvMutexUnlock(&lock->ownerGuard);
    if (!nestedAcquire) {
      result = acquireBase(lock, readOnly);
      if (result == ORV_OK) {
        orvMutexLock(&lock->ownerGuard);
        lock->owner = me;
        lock->depth = 0;
        orvMutexUnlock(&lock->ownerGuard);
      }
    }
  }
  nested.restore();
  traceEnd(self, "orvRecursiveLockAcquire", lock->kind, lock, result);
  return result;
}

ORV_API int orvRecursiveLockRelease(orvRecursiveLock *lock) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, "orvRecursiveLockRelease", lock->kind, lock);
  NestedCalls nested(self);
  int result = orvMutexLock(&lock->ownerGuard);
  if (result == ORV_OK) {
    if (lock->depth >= 1) {
      --lock->depth;
      orvMutexUnlock(&lock->ownerGuard);
    } else {
      lock->owner = nullptr;
      orvMutexUnlock(&lock->ownerGuard);
      result = releaseBase(lock);
    }
  }
  nested.restore();
  traceEnd(self, "orvRecursiveLockRelease", lock->kind, lock, result);
  return result;
}

}  // extern "C"
