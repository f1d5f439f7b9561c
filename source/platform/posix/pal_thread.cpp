// POSIX half of threads and thread-local storage.
//
// A thread created here runs a trampoline that publishes its identity, stops
// at a gate while its suspend count is above 0 (so a thread created
// suspended runs none of its start routine until resumed), then calls the
// start routine. endThread jumps back to the trampoline, which records the
// exit status, abandons the mutexes the thread still owns and wakes the
// threads that wait for its end.
//
// Suspending another thread sends it the suspension signal; its handler
// sleeps until the suspend count is back to 0. A thread that suspends itself
// sleeps the same way without a signal.
#include "platform/pal_thread.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <mutex>
#include <new>

#include "platform/posix/handle_table.h"
#include "platform/posix/never_destroyed.h"
#include "platform/posix/pal_sync_futex.h"
#include "platform/posix/pal_thread_control.h"
#include "platform/posix/pal_thread_state.h"

namespace pal::posix {

namespace {

// GetCurrentThread's pseudo handle, as on Win32: (HANDLE)-2.
constexpr Handle kCurrentThreadPseudoHandle = ~Handle{1};

// --- Control blocks -----------------------------------------------------------

// Recycled control blocks. Never freed: see pal_thread_control.h. The free
// list runs through the blocks themselves, so that recycling never
// allocates (it runs as a thread ends, where a failure has nowhere to go).
struct ControlPool {
  std::mutex lock;
  ThreadControl *free = nullptr;
};

ControlPool &controlPool() { return neverDestroyed<ControlPool>(); }

ThreadControl *newControl() {
  ControlPool &pool = controlPool();
  {
    std::lock_guard<std::mutex> guard(pool.lock);
    if (pool.free != nullptr) {
      ThreadControl *c = pool.free;
      pool.free = c->nextFree;
      c->~ThreadControl();
      return new (c) ThreadControl;
    }
  }
  return new (std::nothrow) ThreadControl;
}

void recycleControl(ThreadControl *c) {
  ControlPool &pool = controlPool();
  std::lock_guard<std::mutex> guard(pool.lock);
  c->nextFree = pool.free;
  pool.free = c;
}

// Drops one reference: the handle's (byThread false) or the running
// thread's own. The last one recycles the block and detaches the system
// thread, which frees itself when it ends (it may still be finishing: it
// touches the block no more). Until then the thread stays joinable, so that
// the suspension signal never goes to a thread identifier that the system
// may have reused.
void releaseControl(ThreadControl *c, bool byThread) {
  if (c->refs.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  if (c->joinable) {
    pthread_detach(byThread ? pthread_self() : c->thread);
  }
  recycleControl(c);
}

// --- Priorities ------------------------------------------------------------------

bool validPriority(int priority) {
  return (priority >= kPriorityLowest && priority <= kPriorityHighest) || priority == kPriorityIdle ||
         priority == kPriorityTimeCritical;
}

// Nice value offsets of the logical priorities.
int niceOffset(int priority) {
  switch (priority) {
    case kPriorityIdle:
      return 19;
    case kPriorityTimeCritical:
      return -20;
    default:
      return -5 * priority;
  }
}

int processNice() {
  static const int base = [] {
    errno = 0;
    int n = getpriority(PRIO_PROCESS, 0);
    return errno == 0 ? n : 0;
  }();
  return base;
}

// Applies a logical priority to a running thread as a per-thread nice value.
// Raising a priority above the process's needs privileges; without them the
// logical value is kept and the system's is left as it is.
void applyPriority(pid_t kernelId, int priority) {
  if (kernelId <= 0) {
    return;
  }
  int nice = processNice() + niceOffset(priority);
  nice = nice < -20 ? -20 : (nice > 19 ? 19 : nice);
  int saved = errno;
  setpriority(PRIO_PROCESS, static_cast<id_t>(kernelId), nice);
  errno = saved;
}

// --- Suspension -----------------------------------------------------------------

// Sleeps while the calling thread's suspend count is above 0. Only the
// thread itself sleeps on its count (at its start gate, in the suspension
// signal's handler, or suspending itself).
void sleepWhileSuspended(ThreadControl *c) {
  for (;;) {
    if (c->suspendCount.load(std::memory_order_acquire) == 0) {
      return;
    }
    // Announce the sleep, then look again: a resume that lowered the count
    // to 0 either is seen here or sees the announcement and wakes us.
    c->suspendSleeping.store(1, std::memory_order_seq_cst);
    uint32_t n = c->suspendCount.load(std::memory_order_seq_cst);
    if (n != 0) {
      futexWait(c->suspendCount, n, Deadline{});
    }
    c->suspendSleeping.store(0, std::memory_order_relaxed);
  }
}

void onSuspendSignal(int) {
  int saved = errno;
  ThreadControl *c = threadState().control;
  if (c != nullptr && c->exiting.load(std::memory_order_acquire) == 0) {
    sleepWhileSuspended(c);
  }
  errno = saved;
}

// Parses a signal given as a number, a name ("SIGUSR2", "USR2") or a
// real-time offset ("SIGRTMIN+3", "RTMIN+3"). 0 when it names no signal
// that may serve for suspension.
int parseSignal(const char *text) {
  if (text == nullptr || *text == '\0') {
    return 0;
  }
  if (strncmp(text, "SIG", 3) == 0) {
    text += 3;
  }
  int signal = 0;
  char *end = nullptr;
  if (strncmp(text, "RTMIN", 5) == 0) {
    long offset = 0;
    if (text[5] == '+') {
      offset = strtol(text + 6, &end, 10);
      if (*end != '\0') {
        return 0;
      }
    } else if (text[5] != '\0') {
      return 0;
    }
    signal = SIGRTMIN + static_cast<int>(offset);
  } else if (strcmp(text, "USR1") == 0) {
    signal = SIGUSR1;
  } else if (strcmp(text, "USR2") == 0) {
    signal = SIGUSR2;
  } else if (strcmp(text, "PWR") == 0) {
    signal = SIGPWR;
  } else if (strcmp(text, "XCPU") == 0) {
    signal = SIGXCPU;
  } else {
    long n = strtol(text, &end, 10);
    if (end == text || *end != '\0') {
      return 0;
    }
    signal = static_cast<int>(n);
  }
  bool usable = signal == SIGUSR1 || signal == SIGUSR2 || signal == SIGPWR || signal == SIGXCPU ||
                (signal >= SIGRTMIN && signal <= SIGRTMAX);
  return usable ? signal : 0;
}

#ifndef ORVANE_SUSPEND_SIGNAL_DEFAULT
#define ORVANE_SUSPEND_SIGNAL_DEFAULT "SIGRTMIN+4"
#endif

// --- The trampoline -------------------------------------------------------------

void finishThread(ThreadControl *c, uint32_t status) {
  c->exitJumpReady = false;
  c->exiting.store(1, std::memory_order_release);
  {
    std::lock_guard<std::mutex> guard(c->priorityLock);
    c->kernelId.store(kKernelIdEnded, std::memory_order_seq_cst);
  }
  abandonOwnedMutexes();
  c->exitCode = status;
  c->exited.store(1, std::memory_order_release);
  futexWakeAll(c->exited);
  threadState().control = nullptr;
  releaseControl(c, true);
}

PAL_CATCHES_THREAD_END void *threadMain(void *argument) {
  auto *c = static_cast<ThreadControl *>(argument);
  ThreadState &t = threadState();
  t.id = c->id;
  t.control = c;
  t.exitHookArmed = true;  // this trampoline abandons the owned mutexes itself
  {
    std::lock_guard<std::mutex> guard(c->priorityLock);
    c->kernelId.store(static_cast<pid_t>(::syscall(SYS_gettid)), std::memory_order_seq_cst);
    applyPriority(c->kernelId.load(std::memory_order_relaxed), c->priority.load(std::memory_order_seq_cst));
  }
  sleepWhileSuspended(c);

  uint32_t status;
  if (setjmp(c->exitJump) == 0) {
    c->exitJumpReady = true;
    try {
      status = c->start(c->argument);
    } catch (ThreadEndUnwind &) {
      // pthread_exit or pthread_cancel: the system unwinds the thread to
      // its end. It ends here as a thread that failed, its waiters wake,
      // and the unwinding goes on, as it must.
      finishThread(c, kThreadEndUnwindStatus);
      throw;
    }
  } else {
    status = c->exitCode;  // stored by endThread
  }
  finishThread(c, status);
  return nullptr;
}

// The control block behind a thread handle (or the pseudo handle of the
// calling thread); null with last error 6.
ThreadControl *controlOf(Handle handle) {
  if (handle == kCurrentThreadPseudoHandle) {
    ThreadControl *c = threadState().control;
    if (c == nullptr) {
      setLastError(kErrorInvalidHandle);
    }
    return c;
  }
  ThreadObject *object = lookup<ThreadObject>(handle);
  return object != nullptr ? object->control() : nullptr;
}

}  // namespace

bool ThreadObject::release() {
  releaseControl(control_, false);
  return true;
}

uint32_t waitForThread(ThreadObject *object, Handle handle, uint32_t milliseconds) {
  ThreadControl *c = object->control();
  if (c->exited.load(std::memory_order_acquire) != 0) {
    return kWaitObject0;
  }
  if (milliseconds == 0) {
    return kWaitTimeout;
  }
  Deadline deadline = Deadline::after(milliseconds);
  while (c->exited.load(std::memory_order_acquire) == 0) {
    if (futexWait(c->exited, 0, deadline) == FutexResult::TimedOut) {
      return c->exited.load(std::memory_order_acquire) != 0 ? kWaitObject0 : kWaitTimeout;
    }
    if (lookupObject(handle, ObjectKind::Thread) != object) {
      setLastError(kErrorInvalidHandle);
      return kWaitFailed;
    }
  }
  return kWaitObject0;
}

int suspendSignal() {
  static const int signal = [] {
    int s = parseSignal(getenv("ORVANE_SUSPEND_SIGNAL"));
    if (s == 0) {
      s = parseSignal(ORVANE_SUSPEND_SIGNAL_DEFAULT);
    }
    return s != 0 ? s : SIGRTMIN + 4;
  }();
  return signal;
}

bool installSuspendHandler() {
  static const bool installed = [] {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = onSuspendSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return sigaction(suspendSignal(), &action, nullptr) == 0;
  }();
  return installed;
}

}  // namespace pal::posix

namespace pal {

using posix::ThreadControl;

Handle beginThread(ThreadStart start, void *argument, uint32_t flags, uint32_t *threadId) {
  if (start == nullptr) {
    setLastError(kErrorInvalidParameter);
    return kNullHandle;
  }
  posix::installSuspendHandler();
  ThreadControl *c = posix::newControl();
  if (c == nullptr) {
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  c->id = posix::allocateThreadId();
  c->start = start;
  c->argument = argument;
  c->suspendCount.store((flags & kCreateSuspended) != 0 ? 1u : 0u, std::memory_order_relaxed);
  c->refs.store(2, std::memory_order_relaxed);  // the handle and the thread

  auto *object = posix::newObject<posix::ThreadObject>(c);
  if (object == nullptr) {
    posix::recycleControl(c);
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  Handle handle = posix::insertObject(object);
  if (handle == kNullHandle) {
    posix::discardObject(object);
    posix::recycleControl(c);
    return kNullHandle;
  }
  c->joinable = true;
  int rc = pthread_create(&c->thread, nullptr, posix::threadMain, c);
  if (rc != 0) {
    c->joinable = false;
    c->refs.store(1, std::memory_order_relaxed);  // no thread to hold one
    posix::closeObject(handle);
    setLastError(rc == EAGAIN ? kErrorNotEnoughMemory : kErrorInvalidParameter);
    return kNullHandle;
  }
  if (threadId != nullptr) {
    *threadId = c->id;
  }
  return handle;
}

void endThread(uint32_t status) {
  ThreadControl *c = posix::threadState().control;
  if (c != nullptr && c->exitJumpReady) {
    c->exitCode = status;
    longjmp(c->exitJump, 1);
  }
  // A thread that this layer did not create ends as POSIX threads do; its
  // exit hook releases the mutexes it still owns.
  pthread_exit(nullptr);
}

uint32_t suspendThread(Handle thread) {
  ThreadControl *c = posix::controlOf(thread);
  if (c == nullptr) {
    return kSuspendFailed;
  }
  if (c->exited.load(std::memory_order_acquire) != 0) {
    setLastError(kErrorAccessDenied);
    return kSuspendFailed;
  }
  uint32_t previous = c->suspendCount.fetch_add(1, std::memory_order_acq_rel);
  if (c == posix::threadState().control) {
    // Suspending oneself: sleep here until another thread resumes.
    posix::sleepWhileSuspended(c);
    return previous;
  }
  if (previous == 0 && c->exiting.load(std::memory_order_acquire) == 0) {
    int rc = pthread_kill(c->thread, posix::suspendSignal());
    if (rc != 0 && rc != ESRCH) {
      c->suspendCount.fetch_sub(1, std::memory_order_acq_rel);
      setLastError(kErrorAccessDenied);
      return kSuspendFailed;
    }
  }
  return previous;
}

uint32_t resumeThread(Handle thread) {
  ThreadControl *c = posix::controlOf(thread);
  if (c == nullptr) {
    return kSuspendFailed;
  }
  uint32_t n = c->suspendCount.load(std::memory_order_relaxed);
  do {
    if (n == 0) {
      return 0;
    }
  } while (
      !c->suspendCount.compare_exchange_weak(n, n - 1, std::memory_order_seq_cst, std::memory_order_relaxed));
  if (n == 1 && c->suspendSleeping.load(std::memory_order_seq_cst) != 0) {
    posix::futexWakeAll(c->suspendCount);
  }
  return n;
}

bool getExitCodeThread(Handle thread, uint32_t *exitCode) {
  ThreadControl *c = posix::controlOf(thread);
  if (c == nullptr) {
    return false;
  }
  uint32_t code = c->exited.load(std::memory_order_acquire) != 0 ? c->exitCode : kStillActive;
  if (exitCode != nullptr) {
    *exitCode = code;
  }
  return true;
}

int getThreadPriority(Handle thread) {
  ThreadControl *c = posix::controlOf(thread);
  return c != nullptr ? c->priority.load(std::memory_order_relaxed) : kPriorityErrorReturn;
}

bool setThreadPriority(Handle thread, int priority) {
  ThreadControl *c = posix::controlOf(thread);
  if (c == nullptr) {
    return false;
  }
  if (!posix::validPriority(priority)) {
    setLastError(kErrorInvalidParameter);
    return false;
  }
  std::lock_guard<std::mutex> guard(c->priorityLock);
  pid_t kernelId = c->kernelId.load(std::memory_order_seq_cst);
  if (kernelId == posix::kKernelIdEnded) {
    // The thread has ended: its kernel id may already name another thread.
    setLastError(kErrorInvalidHandle);
    return false;
  }
  c->priority.store(priority, std::memory_order_seq_cst);
  // A thread that has not published its kernel id yet applies the stored
  // priority itself when it does.
  posix::applyPriority(kernelId, priority);
  return true;
}

uint32_t currentThreadId() { return posix::currentId(); }

Handle currentThread() { return posix::kCurrentThreadPseudoHandle; }

void yieldThread() { sched_yield(); }

uint32_t tlsAlloc() {
  pthread_key_t key;
  if (pthread_key_create(&key, nullptr) != 0) {
    setLastError(259);  // ERROR_NO_MORE_ITEMS
    return kTlsOutOfIndexes;
  }
  return static_cast<uint32_t>(key);
}

bool tlsFree(uint32_t slot) {
  if (pthread_key_delete(static_cast<pthread_key_t>(slot)) != 0) {
    setLastError(kErrorInvalidParameter);
    return false;
  }
  return true;
}

void *tlsGetValue(uint32_t slot) {
  void *value = pthread_getspecific(static_cast<pthread_key_t>(slot));
  setLastError(kErrorSuccess);
  return value;
}

bool tlsSetValue(uint32_t slot, void *value) {
  if (pthread_setspecific(static_cast<pthread_key_t>(slot), value) != 0) {
    setLastError(kErrorInvalidParameter);
    return false;
  }
  return true;
}

}  // namespace pal
