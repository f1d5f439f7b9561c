/**
 * @file orvane/sync.h
 * @brief Synchronisation objects: mutexes, semaphores, conditions and events;
 * read-write locks and recursive locks.
 *
 *
 * Mutex, semaphore and event handles are single caller-owned words
 * (orvHandle) passed by pointer: create stores the handle in the word (0 when
 * creation failed), destroy closes it but leaves the word as it was.
 * Conditions, read-write locks and recursive locks are caller-owned records
 * that create fills.
 *
 * Results: 0 success; 1 busy (try-operations); -1 failure; -5 time-out of a
 * timed wait. Time-outs are in milliseconds; #ORV_WAIT_FOREVER waits for
 * ever. A wait result or system error code of 128 (abandoned) or 258
 * (time-out) maps to 1, any other non-zero one to -1. No operation checks
 * for a null pointer or an unset handle: the system call fails and its
 * status is returned. Destroying an object that others wait on is the
 * caller's error.
 *
 * Every call traces through the calling thread's trace object (threads.h)
 * under its category bit (trace.h); composite objects (conditions,
 * read-write and recursive locks) hide their inner calls unless the mask has
 * #ORV_TRACE_INTERNAL. Every operation may be called from any thread.
 */
#ifndef ORVANE_SYNC_H
#define ORVANE_SYNC_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

struct orvThread;

/** The maximum count of every semaphore (134217727). */
#define ORV_SEMAPHORE_MAX_COUNT 0x07FFFFFF

/** A condition variable, built from a semaphore, a mutex and an event. */
typedef struct orvCondition {
  int32_t waiters;          /**< threads inside orvConditionWait() */
  orvHandle guard;          /**< mutex protecting the broadcast hand-off */
  orvHandle queue;          /**< semaphore the waiters block on */
  orvHandle lastWaiterDone; /**< auto-reset event set by the last woken waiter */
  uint32_t broadcastSeen;   /**< 1 from the first broadcast on, never cleared */
} orvCondition;

/** A read-write lock with writer preference: a new reader waits while a
 * writer waits, and an unlock wakes a writer before any reader. Give create
 * zeroed storage. */
typedef struct orvRWLock {
  orvHandle mutex;        /**< guards the counters */
  orvCondition readers;   /**< waiting readers block here */
  int32_t readersWaiting; /**< number of waiting readers */
  orvCondition writers;   /**< waiting writers block here */
  int32_t writersWaiting; /**< number of waiting writers */
  int32_t holders;        /**< n > 0 readers, -1 a writer, 0 free */
} orvRWLock;

/** Recursive lock kind: not created. */
#define ORV_RECURSIVE_NONE 0u
/** Recursive lock kind: over a mutex ("rmutex"). */
#define ORV_RECURSIVE_MUTEX 1u
/** Recursive lock kind: over a semaphore ("rsemaphore"). */
#define ORV_RECURSIVE_SEMAPHORE 2u
/** Recursive lock kind: over a read-write lock ("rrwlock"). */
#define ORV_RECURSIVE_RWLOCK 3u

/** A lock that its owning thread may acquire again without blocking. The
 * owner is the caller's thread record while thread tracing is on (after a
 * first orvThreadSetTraceObj()); before that every thread counts as the same
 * null owner. */
typedef struct orvRecursiveLock {
  uint32_t kind; /**< ORV_RECURSIVE_*, 0 while not created */
  /** The base lock, by kind. */
  union {
    orvHandle mutex;     /**< #ORV_RECURSIVE_MUTEX */
    orvHandle semaphore; /**< #ORV_RECURSIVE_SEMAPHORE */
    orvRWLock rwlock;    /**< #ORV_RECURSIVE_RWLOCK */
  } base;
  orvHandle ownerGuard;    /**< mutex guarding owner and depth */
  struct orvThread *owner; /**< owning thread's record, or null */
  int32_t depth;           /**< acquisitions beyond the first */
} orvRecursiveLock;

/** Creates an unnamed mutex, recursive for its owning thread, into *mutex.
 * @return 0, or -1 (and *mutex 0) on failure. */
ORV_API int orvMutexCreate(orvHandle *mutex);
/** Closes the mutex (the word is left as it was). @return 0, or -1. */
ORV_API int orvMutexDestroy(orvHandle *mutex);
/** Locks the mutex, waiting for ever. A wait that does not succeed is made a
 * second time (an abandoned mutex is thus owned twice).
 * @return 0, or the second wait's mapped status. */
ORV_API int orvMutexLock(orvHandle *mutex);
/** Locks the mutex if it is free.
 * @return 0 when acquired, 1 when busy, else the mapped error (-1). */
ORV_API int orvMutexTryLock(orvHandle *mutex);
/** Locks the mutex, waiting at most milliseconds.
 * @return 0, -5 on time-out, else the mapped error. */
ORV_API int orvMutexTimedLock(orvHandle *mutex, uint32_t milliseconds);
/** Unlocks the mutex once. @return 0, or the mapped error. */
ORV_API int orvMutexUnlock(orvHandle *mutex);

/** Creates an unnamed semaphore with initialCount (maximum
 * #ORV_SEMAPHORE_MAX_COUNT) into *semaphore.
 * @return 0, or -1 (and *semaphore 0) on failure. */
ORV_API int orvSemaphoreCreate(orvHandle *semaphore, int32_t initialCount);
/** Closes the semaphore (the word is left as it was). @return 0, or -1. */
ORV_API int orvSemaphoreDestroy(orvHandle *semaphore);
/** Waits for the semaphore and takes one count. @return 0, or -1. */
ORV_API int orvSemaphoreWait(orvHandle *semaphore);
/** Takes one count if there is one. @return 0, 1 when none is available, or
 * -1 on failure. */
ORV_API int orvSemaphoreTryWait(orvHandle *semaphore);
/** Waits at most milliseconds for a count.
 * @return 0, -5 on time-out, else the mapped error. */
ORV_API int orvSemaphoreTimedWait(orvHandle *semaphore, uint32_t milliseconds);
/** Adds one count. @return 0, or -1 (also beyond the maximum count). */
ORV_API int orvSemaphorePost(orvHandle *semaphore);
/** Adds count counts at once. @return 0, or the mapped error (-1 beyond the
 * maximum count). */
ORV_API int orvSemaphorePostN(orvHandle *semaphore, int32_t count);

/** Creates a condition in caller-owned storage.
 * @return 0, or -1 (what was made is released). */
ORV_API int orvConditionCreate(orvCondition *condition);
/** Releases the condition's semaphore, mutex and event. @return 0. */
ORV_API int orvConditionDestroy(orvCondition *condition);
/** Waits for a signal or broadcast; the caller holds *mutex, which is
 * unlocked during the wait and locked again before the return.
 * @return 0, or the first failing step's status. */
ORV_API int orvConditionWait(orvCondition *condition, orvHandle *mutex);
/** Wakes one waiter; a signal without waiter is lost. Call it with the
 * waiters' mutex held. @return 0, or the post's status. */
ORV_API int orvConditionSignal(orvCondition *condition);
/** Wakes every waiter and returns once the last woken one has run (after a
 * first broadcast, a later signal may end that hand-off early). Call it with
 * the waiters' mutex held. @return 0, or the first failing step's status. */
ORV_API int orvConditionBroadcast(orvCondition *condition);

/** Creates an unnamed event into *event: manual-reset when manualReset is
 * non-zero (else auto-reset), initially signalled when setSignaled is
 * non-zero. @return 0, or the mapped error. */
ORV_API int orvEventCreate(orvHandle *event, int manualReset, int setSignaled);
/** Closes the event (the word is left as it was). @return 0, or the mapped
 * error. */
ORV_API int orvEventDestroy(orvHandle *event);
/** Waits for ever for the event. @return 0, or the mapped error. */
ORV_API int orvEventWait(orvHandle *event);
/** Waits at most milliseconds for the event.
 * @return 0, -5 on time-out, else the mapped error. */
ORV_API int orvEventTimedWait(orvHandle *event, uint32_t milliseconds);
/** Signals the event. @return 0, or the mapped error. */
ORV_API int orvEventSignal(orvHandle *event);
/** Signals the event and resets it at once, releasing the threads that wait
 * now (one for an auto-reset event). @return 0, or the mapped error. */
ORV_API int orvEventPulse(orvHandle *event);
/** Resets the event to not signalled. @return 0, or the mapped error. */
ORV_API int orvEventReset(orvHandle *event);

/** Creates a read-write lock in zeroed caller-owned storage.
 * @return 0, or -1 (what was made is released). */
ORV_API int orvRWLockCreate(orvRWLock *lock);
/** Releases the lock's mutex and conditions. @return 0. */
ORV_API int orvRWLockDestroy(orvRWLock *lock);
/** Takes the lock for reading, waiting while a writer holds it or waits.
 * @return 0, or -1. */
ORV_API int orvRWLockReadLock(orvRWLock *lock);
/** Takes the lock for reading if no writer holds it or waits.
 * @return 0, 1 when busy, -1 on failure. */
ORV_API int orvRWLockTryReadLock(orvRWLock *lock);
/** Takes the lock for writing, waiting until nobody holds it.
 * @return 0, or -1. */
ORV_API int orvRWLockWriteLock(orvRWLock *lock);
/** Takes the lock for writing if nobody holds it.
 * @return 0, 1 when busy, -1 on failure. */
ORV_API int orvRWLockTryWriteLock(orvRWLock *lock);
/** Releases a read or write hold, then wakes one waiting writer, or else
 * every waiting reader. Unlocking a free lock is an assertion failure.
 * @return 0, or the status of the wake-up. */
ORV_API int orvRWLockUnlock(orvRWLock *lock);

/** Creates a recursive lock over a mutex; the creating thread starts out as
 * the owner (without holding the mutex).
 * @return 0, or the failing creation's status. */
ORV_API int orvRecursiveMutexCreate(orvRecursiveLock *lock);
/** Creates a recursive lock over a semaphore of initialCount; the creating
 * thread starts out as the owner. @return 0, or the failing creation's
 * status. */
ORV_API int orvRecursiveSemaphoreCreate(orvRecursiveLock *lock, int32_t initialCount);
/** Creates a recursive lock over a read-write lock (give zeroed storage);
 * the creating thread starts out as the owner. @return 0, or the failing
 * creation's status. */
ORV_API int orvRecursiveRWLockCreate(orvRecursiveLock *lock);
/** Releases the base lock and then, if that succeeded, the owner guard.
 * @return 0, or the failing step's status. */
ORV_API int orvRecursiveLockDestroy(orvRecursiveLock *lock);
/** Acquires the lock: the owner only counts one more level; another thread
 * takes the base lock (for a read-write base, for reading when readOnly is
 * non-zero) and becomes the owner.
 * @return 0, or the status of the base lock (-1 for an unknown kind). */
ORV_API int orvRecursiveLockAcquire(orvRecursiveLock *lock, int readOnly);
/** Releases one level; the last release clears the owner and releases the
 * base lock. @return 0, or the base lock's status (-1 for an unknown kind). */
ORV_API int orvRecursiveLockRelease(orvRecursiveLock *lock);

ORV_EXTERN_C_END

#endif
