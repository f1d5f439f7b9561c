// Read-write locks with writer preference, built from one mutex and two
// conditions (readers and writers). A new reader waits while any writer
// waits, and an unlock wakes a writer before any reader.
//
// The counters change only under the lock's mutex.
#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "orvane/sync.h"

using threads::addr;
using threads::kEnd;
using threads::kMarked;
using threads::kStart;
using threads::kTraceRWLocks;
using threads::NestedCalls;

namespace {

void traceStart(orvThread *self, const char *name, orvRWLock *lock) {
  THREADS_TRACE(self, kTraceRWLocks, "%-*s%s thread (" ORV_P ") rwlock    (" ORV_P ")", kMarked, name, kStart,
                addr(self), addr(lock));
}

void traceEnd(orvThread *self, const char *name, orvRWLock *lock, int result) {
  THREADS_TRACE(self, kTraceRWLocks, "%-*s%s thread (" ORV_P ") rwlock    (" ORV_P ") result   (" ORV_D ")",
                kMarked, name, kEnd, addr(self), addr(lock), result);
}

int createParts(orvRWLock *lock) {
  if (orvMutexCreate(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  if (orvConditionCreate(&lock->readers) != ORV_OK) {
    orvMutexDestroy(&lock->mutex);
    return ORV_FAILED;
  }
  if (orvConditionCreate(&lock->writers) != ORV_OK) {
    orvConditionDestroy(&lock->readers);
    orvMutexDestroy(&lock->mutex);
    return ORV_FAILED;
  }
  return ORV_OK;
}

int readLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  int result = ORV_OK;
  for (;;) {
    if (lock->holders >= 0 && lock->writersWaiting < 1) {
      ++lock->holders;
      break;
    }
    ++lock->readersWaiting;
    if (orvConditionWait(&lock->readers, &lock->mutex) != ORV_OK) {
      result = ORV_FAILED;  // readersWaiting stays incremented
      break;
    }
    --lock->readersWaiting;
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

int tryReadLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  int result = ORV_BUSY;
  if (lock->holders != -1 && lock->writersWaiting < 1) {
    ++lock->holders;
    result = ORV_OK;
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

int writeLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  while (lock->holders != 0) {
    ++lock->writersWaiting;
    if (orvConditionWait(&lock->writers, &lock->mutex) != ORV_OK) {
      orvMutexUnlock(&lock->mutex);  // writersWaiting stays incremented
      return ORV_FAILED;
    }
    --lock->writersWaiting;
  }
  lock->holders = -1;
  orvMutexUnlock(&lock->mutex);
  return ORV_OK;
}

int tryWriteLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  int result = ORV_BUSY;
  if (lock->holders == 0) {
    lock->holders = -1;
    result = ORV_OK;
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

int unlock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  if (lock->holders >= 1) {
    --lock->holders;
  } else if (lock->holders == -1) {
    lock->holders = 0;
  } else {
    threads::fail(threads::kLineUnlockFreeRW);
  }
  int result = ORV_OK;
  if (lock->writersWaiting >= 1) {
    result = orvConditionSignal(&lock->writers);  // one writer
  } else if (lock->readersWaiting >= 1) {
    result = orvConditionBroadcast(&lock->readers);  // every reader
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

// Runs one operation between its trace lines, with its inner calls
// suppressed unless the trace mask asks for them.
int traced(const char *name, orvRWLock *lock, int (*operation)(orvRWLock *)) {
  orvThread *self = threads::tracingCaller();
  traceStart(self, name, lock);
  NestedCalls nested(self);
  int result = operation(lock);
  nested.restore();
  traceEnd(self, name, lock, result);
  return result;
}

int destroyParts(orvRWLock *lock) {
  orvMutexDestroy(&lock->mutex);
  orvConditionDestroy(&lock->readers);
  orvConditionDestroy(&lock->writers);
  return ORV_OK;
}

int createAndCount(orvRWLock *lock) {
  // Only readersWaiting is set: the caller provides zeroed storage.
  lock->readersWaiting = 0;
  return createParts(lock);
}

}  // namespace

extern "C" {

ORV_API int orvRWLockCreate(orvRWLock *lock) { return traced("orvRWLockCreate", lock, createAndCount); }

ORV_API int orvRWLockDestroy(orvRWLock *lock) { return traced("orvRWLockDestroy", lock, destroyParts); }

ORV_API int orvRWLockReadLock(orvRWLock *lock) { return traced("orvRWLockReadLock", lock, readLock); }

ORV_API int orvRWLockTryReadLock(orvRWLock *lock) {
  return traced("orvRWLockTryReadLock", lock, tryReadLock);
}

ORV_API int orvRWLockWriteLock(orvRWLock *lock) { return traced("orvRWLockWriteLock", lock, writeLock); }

ORV_API int orvRWLockTryWriteLock(orvRWLock *lock) {
  return traced("orvRWLockTryWriteLock", lock, tryWriteLock);
}

ORV_API int orvRWLockUnlock(orvRWLock *lock) { return traced("orvRWLockUnlock", lock, unlock); }

}  // extern "C"
