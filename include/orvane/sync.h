/* Orvane services: synchronisation objects. Mutexes, semaphores, conditions
 * and events; read-write locks and recursive locks.
 *
 * Mutex, semaphore and event handles are single caller-owned words
 * (orvHandle) passed by pointer: create stores the handle in the word (0 when
 * creation failed), destroy closes it but leaves the word as it was.
 * Conditions, read-write locks and recursive locks are caller-owned records
 * that create fills.
 *
 * Results: 0 success; 1 busy (try-operations); -1 failure; -5 time-out of a
 * timed wait. Time-outs are in milliseconds; ORV_WAIT_FOREVER waits for ever.
 * Every call traces through the calling thread's trace object (threads.h)
 * under its category bit (trace.h). */
#ifndef ORVANE_SYNC_H
#define ORVANE_SYNC_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

struct orvThread;

/* The maximum count of every semaphore. */
#define ORV_SEMAPHORE_MAX_COUNT 0x07FFFFFF

/* A condition variable, built from a semaphore, a mutex and an event. */
typedef struct orvCondition {
  int32_t waiters;          /* threads inside orvConditionWait */
  orvHandle guard;          /* mutex protecting the broadcast hand-off */
  orvHandle queue;          /* semaphore the waiters block on */
  orvHandle lastWaiterDone; /* auto-reset event set by the last woken waiter */
  uint32_t broadcastSeen;   /* 1 from the first broadcast on, never cleared */
} orvCondition;

/* A read-write lock with writer preference. Give create zeroed storage. */
typedef struct orvRWLock {
  orvHandle mutex;
  orvCondition readers;
  int32_t readersWaiting;
  orvCondition writers;
  int32_t writersWaiting;
  int32_t holders; /* n > 0 readers, -1 a writer, 0 free */
} orvRWLock;

/* Kinds of recursive lock. */
#define ORV_RECURSIVE_NONE 0u
#define ORV_RECURSIVE_MUTEX 1u
#define ORV_RECURSIVE_SEMAPHORE 2u
#define ORV_RECURSIVE_RWLOCK 3u

/* A lock that its owning thread may acquire again without blocking. */
typedef struct orvRecursiveLock {
  uint32_t kind; /* ORV_RECURSIVE_*, 0 while not created */
  union {
    orvHandle mutex;
    orvHandle semaphore;
    orvRWLock rwlock;
  } base;
  orvHandle ownerGuard;    /* mutex guarding owner and depth */
  struct orvThread *owner; /* owning thread's record, or null */
  int32_t depth;           /* acquisitions beyond the first */
} orvRecursiveLock;

/* Mutexes (recursive for their owner). */
ORV_API int orvMutexCreate(orvHandle *mutex);
ORV_API int orvMutexDestroy(orvHandle *mutex);
ORV_API int orvMutexLock(orvHandle *mutex);
ORV_API int orvMutexTryLock(orvHandle *mutex);
ORV_API int orvMutexTimedLock(orvHandle *mutex, uint32_t milliseconds);
ORV_API int orvMutexUnlock(orvHandle *mutex);

/* Counting semaphores (maximum count ORV_SEMAPHORE_MAX_COUNT). */
ORV_API int orvSemaphoreCreate(orvHandle *semaphore, int32_t initialCount);
ORV_API int orvSemaphoreDestroy(orvHandle *semaphore);
ORV_API int orvSemaphoreWait(orvHandle *semaphore);
ORV_API int orvSemaphoreTryWait(orvHandle *semaphore);
ORV_API int orvSemaphoreTimedWait(orvHandle *semaphore, uint32_t milliseconds);
ORV_API int orvSemaphorePost(orvHandle *semaphore);
ORV_API int orvSemaphorePostN(orvHandle *semaphore, int32_t count);

/* Condition variables. Wait, signal and broadcast with the mutex held. */
ORV_API int orvConditionCreate(orvCondition *condition);
ORV_API int orvConditionDestroy(orvCondition *condition);
ORV_API int orvConditionWait(orvCondition *condition, orvHandle *mutex);
ORV_API int orvConditionSignal(orvCondition *condition);
ORV_API int orvConditionBroadcast(orvCondition *condition);

/* Events: manual-reset or auto-reset. */
ORV_API int orvEventCreate(orvHandle *event, int manualReset, int setSignaled);
ORV_API int orvEventDestroy(orvHandle *event);
ORV_API int orvEventWait(orvHandle *event);
ORV_API int orvEventTimedWait(orvHandle *event, uint32_t milliseconds);
ORV_API int orvEventSignal(orvHandle *event);
ORV_API int orvEventPulse(orvHandle *event);
ORV_API int orvEventReset(orvHandle *event);

/* Read-write locks. */
ORV_API int orvRWLockCreate(orvRWLock *lock);
ORV_API int orvRWLockDestroy(orvRWLock *lock);
ORV_API int orvRWLockReadLock(orvRWLock *lock);
ORV_API int orvRWLockTryReadLock(orvRWLock *lock);
ORV_API int orvRWLockWriteLock(orvRWLock *lock);
ORV_API int orvRWLockTryWriteLock(orvRWLock *lock);
ORV_API int orvRWLockUnlock(orvRWLock *lock);

/* Recursive locks over a mutex, a semaphore or a read-write lock. The
 * creating thread starts out as the owner. */
ORV_API int orvRecursiveMutexCreate(orvRecursiveLock *lock);
ORV_API int orvRecursiveSemaphoreCreate(orvRecursiveLock *lock, int32_t initialCount);
ORV_API int orvRecursiveRWLockCreate(orvRecursiveLock *lock);
ORV_API int orvRecursiveLockDestroy(orvRecursiveLock *lock);
ORV_API int orvRecursiveLockAcquire(orvRecursiveLock *lock, int readOnly);
ORV_API int orvRecursiveLockRelease(orvRecursiveLock *lock);

ORV_EXTERN_C_END

#endif
