/**
 * @file orvane/threads.h
 * @brief Threads, thread keys and state traps.
 *
 * Threads created with orvThreadCreate have a thread record (orvThread) that
 * carries their state, how they ended, their exit status, state call-backs,
 * deferred cancellation and the trace object through which every thread and
 * synchronisation call of that thread is traced. Threads that the layer did
 * not create have no record: every operation still works for them, without
 * tracing.
 *
 * Results: 0 success; -1 failure; -2 memory exhausted; -3 nothing to do;
 * -4 join of self or of null (the ORV_* codes of types.h).
 *
 * Cancellation is deferred and cooperative: orvThreadCancel() only marks the
 * thread, which sees the mark at its next orvThreadState(NULL) and is
 * expected to clean up and call orvThreadExit(). No thread is ended by force.
 * Thread records are written without a lock; register call-backs before the
 * thread runs.
 */
#ifndef ORVANE_THREADS_H
#define ORVANE_THREADS_H

#include "orvane/trace.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** Thread state: not running (not started yet, or ended). */
#define ORV_THREAD_NOT_RUNNING 0u
/** Thread state: running. */
#define ORV_THREAD_RUNNING 1u
/** Thread state: suspended (also a thread created without starting it). */
#define ORV_THREAD_SUSPENDED 2u
/** Thread state: cancelled (it saw a cancel at a cancellation point). */
#define ORV_THREAD_CANCELLED 3u
/** Thread state: failed to be created or started. */
#define ORV_THREAD_FAILED 4u

/** Demise: the thread ended normally. */
#define ORV_DEMISE_NORMAL 0u
/** Demise: the thread was cancelled. */
#define ORV_DEMISE_CANCELLED 1u
/** Demise: the thread failed to start. */
#define ORV_DEMISE_FAILED 2u
/** Result of orvThreadAutopsy(): the thread has not ended yet. */
#define ORV_DEMISE_NOT_YET 3u

struct orvThread;
struct orvKeyAssoc;

/** A thread's start routine. Returning from it ends the thread with exit
 * status 0. */
typedef void (*orvThreadRoutine)(void *argument);

/** A state call-back: called with the environment given at registration, the
 * thread's record and its new state, in the thread that changes the state. */
typedef void (*orvThreadStateCallbackFunc)(void *environment, struct orvThread *thread, uint32_t state);

/** A key's destructor, called with the exiting thread's non-null value. */
typedef void (*orvKeyDestructor)(void *value);

/** A thread's start routine and its argument (heap block of the record). */
typedef struct orvThreadStartBlock {
  orvThreadRoutine routine; /**< the start routine */
  void *argument;           /**< its argument */
} orvThreadStartBlock;

/** One registered state call-back. */
typedef struct orvThreadCallbackNode {
  void *environment;                   /**< passed to the call-back */
  orvThreadStateCallbackFunc callback; /**< the call-back */
  struct orvThreadCallbackNode *next;  /**< the next (older) node */
} orvThreadCallbackNode;

/** Number of call-back lists of a thread: one per state. */
#define ORV_THREAD_STATE_COUNT 5

/** A thread record, allocated by the layer; it lives until orvThreadDestroy(),
 * so that the exit status and demise stay readable after the thread ends. */
typedef struct orvThread {
  uint32_t id;                       /**< thread identifier */
  orvHandle handle;                  /**< thread handle, closed by orvThreadDestroy() */
  uint32_t state;                    /**< ORV_THREAD_* */
  uint32_t demise;                   /**< ORV_DEMISE_* */
  uint32_t exitStatus;               /**< value given to orvThreadExit() */
  orvThreadStartBlock *startBlock;   /**< start routine and argument */
  TraceObj *traceObj;                /**< not owned; null: no tracing */
  uint32_t *cancelWatch;             /**< non-zero word: the thread counts as cancelled */
  uint32_t cancelPending;            /**< set to 1 by orvThreadCancel() */
  uint32_t inheritTrace;             /**< 1: threads created by this one inherit traceObj */
  uint32_t inheritCancelWatch;       /**< 1: they inherit cancelWatch */
  struct orvKeyAssoc *keyValues;     /**< this thread's key associations */
  orvThreadCallbackNode **callbacks; /**< #ORV_THREAD_STATE_COUNT lists, newest first */
} orvThread;

/** A thread key: a value per thread, with an optional destructor run for a
 * thread's non-null value when that thread calls orvThreadExit(). */
typedef struct orvThreadKey {
  uint32_t slot;               /**< thread-local storage slot */
  orvKeyDestructor destructor; /**< or null */
  orvHandle mutex;             /**< guards the association list; only with a destructor */
  struct orvKeyAssoc *head;    /**< associations of this key */
} orvThreadKey;

/** One thread's value of one key that has a destructor; freed when both its
 * thread and its key have let go of it. */
typedef struct orvKeyAssoc {
  orvHandle mutex;                  /**< serialises a key destroy against the thread's exit */
  orvThread *thread;                /**< null once the thread has gone */
  orvThreadKey *key;                /**< null once the key is destroyed */
  struct orvKeyAssoc *nextOfThread; /**< next association of the same thread */
  struct orvKeyAssoc *nextOfKey;    /**< next association of the same key */
} orvKeyAssoc;

/** A node of a state trap's arrival queue. */
typedef struct orvTrapNode {
  struct orvTrapNode *prev; /**< the earlier arrival */
  struct orvTrapNode *next; /**< the later arrival */
  orvThread *thread;        /**< the thread that arrived */
} orvTrapNode;

/** A state trap's arrival queue, oldest arrival at the head. */
typedef struct orvTrapQueue {
  orvTrapNode *head; /**< the oldest arrival, or null */
  orvTrapNode *tail; /**< the newest arrival, or null */
} orvTrapQueue;

/** A state trap: collects, in arrival order, the threads that reach a state. */
typedef struct orvStateTrap {
  uint32_t state;      /**< the watched state */
  orvHandle mutex;     /**< guards the queue */
  orvHandle semaphore; /**< counts queued arrivals */
  orvTrapQueue *queue; /**< the arrival queue */
  int32_t error;       /**< 0, or the status of a failed arrival */
} orvStateTrap;

/** Starts the thread layer (counted; called by servicesProcessInitialize()).
 * @return 0, or the status of the failed mutex or key creation. */
ORV_API int orvThreadProcessInitialize(void);
/** Stops the thread layer (counted; called by servicesProcessTerminate()):
 * the last call releases the layer's own key. Does nothing when the layer is
 * not started. */
ORV_API void orvThreadProcessTerminate(void);

/* Threads. Operations that take an optional thread take null for the
 * calling thread. */
/** Creates a thread that runs routine(argument); with startNow 0 it is
 * created suspended (start it with orvThreadContinue()). traceObj (not
 * owned) traces the thread's calls; without one, the creator's trace object
 * and cancel watch are inherited when the creator asked for that.
 * @return 0 with the record in *thread (free it with orvThreadDestroy()); -1
 * when the layer is not initialised; -2 when out of memory (*thread null). A
 * failure after the record is made is fatal (an assertion). */
ORV_API int orvThreadCreate(orvThreadRoutine routine, void *argument, int startNow, orvThread **thread,
                            TraceObj *traceObj);
/** Ends and frees a thread record: a running thread is cancelled and joined,
 * a suspended one cancelled, resumed and joined, a cancelled one joined; then
 * the handle is closed and the record freed. null is ignored. A record in
 * the failed state is an assertion failure. */
ORV_API void orvThreadDestroy(orvThread *thread);
/** Returns the caller's record, or null when the layer is not initialised or
 * the caller was not created by the layer. */
ORV_API orvThread *orvThreadSelf(void);
/** Returns 1 when a and b are both non-null and have the same thread id,
 * else 0. */
ORV_API int orvThreadEqual(const orvThread *a, const orvThread *b);
/** Returns 1 while the thread has not ended (1 for null), 0 once it has
 * ended or when its exit code cannot be read. */
ORV_API int orvThreadAlive(orvThread *thread);
/** Gives up the rest of the caller's time slice. */
ORV_API void orvThreadYield(void);
/** Ends the calling thread with status: stores it in the caller's record,
 * runs the destructors of the caller's key values (newest first) and sets
 * the state to not running. Does not return. */
#if defined(__cplusplus)
[[noreturn]]
#elif defined(__GNUC__)
__attribute__((noreturn))
#endif
ORV_API void
orvThreadExit(uint32_t status);
/** Returns the exit status the thread gave orvThreadExit(), or 0 for null. */
ORV_API uint32_t orvThreadExitStatus(orvThread *thread);
/** Waits for the thread to end and stores its exit code in *exitCode.
 * @return 0; -1 when the wait or the exit code fails; -4 for null or the
 * caller's own record. */
ORV_API int orvThreadJoin(orvThread *thread, uint32_t *exitCode);
/** Returns how the thread ended (ORV_DEMISE_*), or #ORV_DEMISE_NOT_YET while
 * it has not ended or for a null thread. */
ORV_API int orvThreadAutopsy(orvThread *thread);
/** Returns the thread's state (ORV_THREAD_*). For another thread found to
 * have ended while recorded as running, the state becomes not running. For
 * null (the caller) this is the cancellation point: a pending cancel or a
 * non-zero cancel watch sets the state to cancelled and returns 3; it always
 * yields. A caller without a record gets 1. */
ORV_API int orvThreadState(orvThread *thread);
/** Asks the thread to cancel: it sees the request at its next cancellation
 * point (orvThreadState() with null). */
ORV_API void orvThreadCancel(orvThread *thread);
/** Sets the thread's cancel watch (a word that, when non-zero, cancels the
 * thread at its cancellation point) and whether threads it creates inherit it.
 * @return 0, or -1 when the thread has no record. */
ORV_API int orvThreadSetCancel(orvThread *thread, uint32_t *watch, int inherit);
/** Suspends a running thread (others are left alone).
 * @return 0, or -1 on failure. */
ORV_API int orvThreadSuspend(orvThread *thread);
/** Resumes a suspended thread (others are left alone).
 * @return 0, or -1 on failure or for null (the state stays suspended). */
ORV_API int orvThreadContinue(orvThread *thread);
/** Adds delta to the thread's priority, clamped to -2 to 2.
 * @return 0; -3 when the priority would not change; -1 on failure. */
ORV_API int orvThreadAdjustPriority(orvThread *thread, int delta);
/** Registers callback(environment, thread, state) to run, newest first, in the
 * thread that moves this thread into state. A null callback registers
 * nothing.
 * @return 0; -1 for a null thread, one without record or a state above 4;
 * -2 when out of memory. */
ORV_API int orvThreadStateCallback(orvThread *thread, uint32_t state, void *environment,
                                   orvThreadStateCallbackFunc callback);
/** Attaches traceObj (not owned; null detaches) to the calling thread and
 * sets whether threads it creates inherit it.
 * @return 0, or -1 when the caller has no record. */
ORV_API int orvThreadSetTraceObj(TraceObj *traceObj, int inherit);
/** Writes "%8x(%8x,%8x)" (the record address, the thread id and handle; for
 * null those of the caller) into buffer, at most length bytes, without a
 * terminator when cut.
 * @return buffer. */
ORV_API char *orvThreadStrId(orvThread *thread, char *buffer, int length);

/** Creates a key with an optional destructor.
 * @return 0 with the key in *key (release it with orvThreadKeyDestroy());
 * -2 when out of memory; -3 when no thread-local slot is left; the mutex
 * creation's status when that fails. *key is null after a failure. */
ORV_API int orvThreadKeyCreate(orvThreadKey **key, orvKeyDestructor destructor);
/** Frees a key; destructors are not called for the values still set.
 * @return 0. */
ORV_API int orvThreadKeyDestroy(orvThreadKey *key);
/** Sets the caller's value of key; with a destructor, a non-null value is
 * remembered so that the destructor runs for it at orvThreadExit().
 * @return 0, or the status of a failed association. A null key is an
 * assertion failure. */
ORV_API int orvThreadSetSpecific(orvThreadKey *key, void *value);
/** Stores the caller's value of key in *value (null when never set).
 * @return 0. */
ORV_API int orvThreadGetSpecific(orvThreadKey *key, void **value);

/** Creates a trap for state. Creation reports no failure: when its mutex,
 * semaphore or queue cannot be made the trap is still returned and every
 * later operation on it fails.
 * @return the trap (free it with orvThreadStateTrapDestroy()), or null when
 * the record itself cannot be allocated. */
ORV_API orvStateTrap *orvThreadStateTrapCreate(uint32_t state);
/** Watches thread: when it reaches the trap's state it is queued on the trap.
 * @return 0, -1 when either is null, or the status of orvThreadStateCallback(). */
ORV_API int orvThreadStateTrapSet(orvStateTrap *trap, orvThread *thread);
/** Waits for the next thread to reach the trap's state, in arrival order.
 * @return that thread with *status 0, or null with *status the failing
 * step's status (-1 for a null trap). */
ORV_API orvThread *orvThreadStateTrapNext(orvStateTrap *trap, int *status);
/** Frees a trap and its queue. The call-backs on watched threads stay:
 * destroy a trap only after every watched thread has passed the state or
 * been destroyed. */
ORV_API void orvThreadStateTrapDestroy(orvStateTrap *trap);

ORV_EXTERN_C_END

#endif
