/* Orvane services: threads, thread keys and state traps.
 *
 * Threads created with orvThreadCreate have a thread record (orvThread) that
 * carries their state, how they ended, their exit status, state call-backs,
 * deferred cancellation and the trace object through which every thread and
 * synchronisation call of that thread is traced. Threads that the layer did
 * not create have no record: every operation still works for them, without
 * tracing.
 *
 * Results: 0 success; -1 failure; -2 memory exhausted; -3 nothing to do;
 * -4 join of self or of null. */
#ifndef ORVANE_THREADS_H
#define ORVANE_THREADS_H

#include "orvane/trace.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Thread states. */
#define ORV_THREAD_NOT_RUNNING 0u
#define ORV_THREAD_RUNNING 1u
#define ORV_THREAD_SUSPENDED 2u
#define ORV_THREAD_CANCELLED 3u
#define ORV_THREAD_FAILED 4u

/* How a thread ended (orvThreadAutopsy also gives 3: not ended yet). */
#define ORV_DEMISE_NORMAL 0u
#define ORV_DEMISE_CANCELLED 1u
#define ORV_DEMISE_FAILED 2u
#define ORV_DEMISE_NOT_YET 3u

struct orvThread;
struct orvKeyAssoc;

/* A thread's start routine. Returning from it ends the thread with exit
 * status 0. */
typedef void (*orvThreadRoutine)(void *argument);

/* A state call-back: called with the environment given at registration, the
 * thread's record and its new state, in the thread that changes the state. */
typedef void (*orvThreadStateCallbackFunc)(void *environment, struct orvThread *thread, uint32_t state);

/* A key's destructor, called with the exiting thread's non-null value. */
typedef void (*orvKeyDestructor)(void *value);

typedef struct orvThreadStartBlock {
  orvThreadRoutine routine;
  void *argument;
} orvThreadStartBlock;

typedef struct orvThreadCallbackNode {
  void *environment;
  orvThreadStateCallbackFunc callback;
  struct orvThreadCallbackNode *next;
} orvThreadCallbackNode;

/* Number of call-back lists of a thread: one per state. */
#define ORV_THREAD_STATE_COUNT 5

/* A thread record, allocated by the layer; it lives until orvThreadDestroy. */
typedef struct orvThread {
  uint32_t id;                       /* thread identifier */
  orvHandle handle;                  /* thread handle, closed by orvThreadDestroy */
  uint32_t state;                    /* ORV_THREAD_* */
  uint32_t demise;                   /* ORV_DEMISE_* */
  uint32_t exitStatus;               /* value given to orvThreadExit */
  orvThreadStartBlock *startBlock;   /* start routine and argument */
  TraceObj *traceObj;                /* not owned; null: no tracing */
  uint32_t *cancelWatch;             /* non-zero word: the thread counts as cancelled */
  uint32_t cancelPending;            /* set to 1 by orvThreadCancel */
  uint32_t inheritTrace;             /* 1: threads created by this one inherit traceObj */
  uint32_t inheritCancelWatch;       /* 1: they inherit cancelWatch */
  struct orvKeyAssoc *keyValues;     /* this thread's key associations */
  orvThreadCallbackNode **callbacks; /* ORV_THREAD_STATE_COUNT lists, newest first */
} orvThread;

/* A thread key. */
typedef struct orvThreadKey {
  uint32_t slot;               /* thread-local storage slot */
  orvKeyDestructor destructor; /* or null */
  orvHandle mutex;             /* guards the association list; only with a destructor */
  struct orvKeyAssoc *head;    /* associations of this key */
} orvThreadKey;

/* One thread's value of one key that has a destructor. */
typedef struct orvKeyAssoc {
  orvHandle mutex;
  orvThread *thread; /* null once the thread has gone */
  orvThreadKey *key; /* null once the key is destroyed */
  struct orvKeyAssoc *nextOfThread;
  struct orvKeyAssoc *nextOfKey;
} orvKeyAssoc;

typedef struct orvTrapNode {
  struct orvTrapNode *prev;
  struct orvTrapNode *next;
  orvThread *thread;
} orvTrapNode;

typedef struct orvTrapQueue {
  orvTrapNode *head;
  orvTrapNode *tail;
} orvTrapQueue;

/* A state trap: collects, in arrival order, the threads that reach a state. */
typedef struct orvStateTrap {
  uint32_t state;      /* the watched state */
  orvHandle mutex;     /* guards the queue */
  orvHandle semaphore; /* counts queued arrivals */
  orvTrapQueue *queue;
  int32_t error; /* 0, or the status of a failed arrival */
} orvStateTrap;

/* The layer (called by servicesProcessInitialize/Terminate). */
ORV_API int orvThreadProcessInitialize(void);
ORV_API void orvThreadProcessTerminate(void);

/* Threads. Operations that take an optional thread take null for the
 * calling thread. */
ORV_API int orvThreadCreate(orvThreadRoutine routine, void *argument, int startNow, orvThread **thread,
                            TraceObj *traceObj);
ORV_API void orvThreadDestroy(orvThread *thread);
ORV_API orvThread *orvThreadSelf(void);
ORV_API int orvThreadEqual(const orvThread *a, const orvThread *b);
ORV_API int orvThreadAlive(orvThread *thread);
ORV_API void orvThreadYield(void);
#if defined(__cplusplus)
[[noreturn]]
#elif defined(__GNUC__)
__attribute__((noreturn))
#endif
ORV_API void
orvThreadExit(uint32_t status);
ORV_API uint32_t orvThreadExitStatus(orvThread *thread);
ORV_API int orvThreadJoin(orvThread *thread, uint32_t *exitCode);
ORV_API int orvThreadAutopsy(orvThread *thread);
ORV_API int orvThreadState(orvThread *thread);
ORV_API void orvThreadCancel(orvThread *thread);
ORV_API int orvThreadSetCancel(orvThread *thread, uint32_t *watch, int inherit);
ORV_API int orvThreadSuspend(orvThread *thread);
ORV_API int orvThreadContinue(orvThread *thread);
ORV_API int orvThreadAdjustPriority(orvThread *thread, int delta);
ORV_API int orvThreadStateCallback(orvThread *thread, uint32_t state, void *environment,
                                   orvThreadStateCallbackFunc callback);
ORV_API int orvThreadSetTraceObj(TraceObj *traceObj, int inherit);
ORV_API char *orvThreadStrId(orvThread *thread, char *buffer, int length);

/* Thread keys. */
ORV_API int orvThreadKeyCreate(orvThreadKey **key, orvKeyDestructor destructor);
ORV_API int orvThreadKeyDestroy(orvThreadKey *key);
ORV_API int orvThreadSetSpecific(orvThreadKey *key, void *value);
ORV_API int orvThreadGetSpecific(orvThreadKey *key, void **value);

/* State traps. */
ORV_API orvStateTrap *orvThreadStateTrapCreate(uint32_t state);
ORV_API int orvThreadStateTrapSet(orvStateTrap *trap, orvThread *thread);
ORV_API orvThread *orvThreadStateTrapNext(orvStateTrap *trap, int *status);
ORV_API void orvThreadStateTrapDestroy(orvStateTrap *trap);

ORV_EXTERN_C_END

#endif
