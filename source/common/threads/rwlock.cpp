// Read-write locks with writer preference, built from one mutex and two
// conditions (readers and writers). A new reader waits while any writer
// waits, and an unlock wakes a writer before any reader.
//
// writersWaiting, readersWaiting and holders change only under the lock's
// mutex, with one exception: a reader that is not traced takes and gives
// back a read lock without the mutex while no writer waits and no writer
// holds the lock (the fast path below). For that, writersWaiting and holders,
// which lie side by side, are read and changed together as one atomic 64-bit
// word by every operation, and the mutex holders change them by
// compare-and-swap too. A thread that decides to wait has its reason in
// that word: a writer counts itself in writersWaiting in the same exchange
// that sees holders other than 0, and a reader waits only while a writer
// holds the lock or waits, when no fast path can change holders. So no
// fast-path unlock can miss a waiter that the unlock would have woken.
//
// 32-bit builds align the record to 4 bytes only, so there the word is not
// used: every operation takes the mutex, as the counters need.
#include <stddef.h>
#include <string.h>

#include <atomic>
#include <climits>
#include <cstdint>

#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "orvane/sync.h"
#include "platform/pal_sync.h"

#if defined(__SANITIZE_THREAD__)
#define ORVANE_RWLOCK_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORVANE_RWLOCK_TSAN 1
#endif
#endif

#if defined(ORVANE_RWLOCK_TSAN)
extern "C" void AnnotateIgnoreWritesBegin(const char *file, int line);
extern "C" void AnnotateIgnoreWritesEnd(const char *file, int line);
#endif

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

// --- The counts word ---------------------------------------------------------

#if UINTPTR_MAX > 0xFFFFFFFFu
constexpr bool kCountsWord = true;
static_assert(offsetof(orvRWLock, holders) == offsetof(orvRWLock, writersWaiting) + 4,
              "writersWaiting and holders lie side by side");
static_assert(offsetof(orvRWLock, writersWaiting) % 8 == 0 && alignof(orvRWLock) >= 8,
              "writersWaiting and holders form one aligned 64-bit word");
#else
constexpr bool kCountsWord = false;
#endif

// writersWaiting and holders as they lie in the record.
struct Counts {
  int32_t writersWaiting;
  int32_t holders;
};
static_assert(sizeof(Counts) == 8, "two 32-bit counters");

typedef uint64_t CountsWord __attribute__((may_alias));

CountsWord *countsWord(orvRWLock *lock) { return reinterpret_cast<CountsWord *>(&lock->writersWaiting); }

uint64_t pack(Counts c) {
  uint64_t w;
  memcpy(&w, &c, sizeof w);
  return w;
}

Counts unpack(uint64_t w) {
  Counts c;
  memcpy(&c, &w, sizeof c);
  return c;
}

// holders plus or minus one, wrapping as the 32-bit counter does.
int32_t step(int32_t holders, int32_t by) {
  return static_cast<int32_t>(static_cast<uint32_t>(holders) + static_cast<uint32_t>(by));
}

// The counts as they stand (under the mutex on 32-bit builds).
Counts loadCounts(orvRWLock *lock) {
  if constexpr (kCountsWord) {
    return unpack(__atomic_load_n(countsWord(lock), __ATOMIC_ACQUIRE));
  } else {
    return Counts{lock->writersWaiting, lock->holders};
  }
}

// Replaces the counts by desired if they still equal expected; otherwise
// stores what they are in expected and returns false. On 32-bit builds the
// caller holds the mutex, so the counts cannot have changed.
bool replaceCounts(orvRWLock *lock, Counts &expected, Counts desired) {
  if constexpr (kCountsWord) {
    uint64_t seen = pack(expected);
    if (__atomic_compare_exchange_n(countsWord(lock), &seen, pack(desired), false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE)) {
      return true;
    }
    expected = unpack(seen);
    return false;
  } else {
    lock->writersWaiting = desired.writersWaiting;
    lock->holders = desired.holders;
    return true;
  }
}

// readersWaiting, which the fast unlock reads without the mutex.
int32_t readersWaiting(orvRWLock *lock) {
  return std::atomic_ref<int32_t>(lock->readersWaiting).load(std::memory_order_acquire);
}
void addReadersWaiting(orvRWLock *lock, int32_t by) {
  std::atomic_ref<int32_t>(lock->readersWaiting).fetch_add(by, std::memory_order_acq_rel);
}

// --- The fast path ---------------------------------------------------------------
//
// For callers that are not traced. Each function either does its whole
// operation, with the result the mutex path would give (0), or does nothing
// and returns false. It is taken only while the lock's mutex is known to be
// open (the calling thread used it lately and it has not been closed since),
// so that a lock that was never created, or was destroyed, fails on the
// mutex path as before; a thread's first operation on a lock therefore goes
// the mutex path. Where the platform layer cannot tell cheaply (Windows),
// every operation goes the mutex path.

#if defined(ORVANE_RWLOCK_TSAN)
// The counters are documented to change under the mutex, and callers may
// read them under it. The fast path changes holders without the mutex, by
// an atomic exchange that the mutex path and other fast paths see as such;
// the thread sanitizer would report a reader of the counters under the mutex
// against it. Its record of the exchange's write is therefore left out; the
// exchange still acquires and releases, so the data the lock protects stays
// checked.
class IgnoreCountsWrite {
 public:
  IgnoreCountsWrite() { AnnotateIgnoreWritesBegin(__FILE__, __LINE__); }
  ~IgnoreCountsWrite() { AnnotateIgnoreWritesEnd(__FILE__, __LINE__); }
  IgnoreCountsWrite(const IgnoreCountsWrite &) = delete;
  IgnoreCountsWrite &operator=(const IgnoreCountsWrite &) = delete;
};
#else
struct IgnoreCountsWrite {};
#endif

// A read lock while no writer waits or holds the lock.
inline bool fastReadLock(orvRWLock *lock) {
  if constexpr (kCountsWord) {
    if (!pal::mutexOpenIn(&lock->mutex)) {
      return false;
    }
    [[maybe_unused]] IgnoreCountsWrite ignore;
    uint64_t seen = __atomic_load_n(countsWord(lock), __ATOMIC_RELAXED);
    for (;;) {
      Counts c = unpack(seen);
      if (c.writersWaiting != 0 || c.holders < 0 || c.holders == INT32_MAX) {
        return false;
      }
      if (__atomic_compare_exchange_n(countsWord(lock), &seen, pack(Counts{0, c.holders + 1}), true,
                                      __ATOMIC_ACQUIRE, __ATOMIC_RELAXED)) {
        return true;
      }
    }
  } else {
    (void)lock;
    return false;
  }
}

// The unlock of a read lock while no thread waits: no condition to signal
// or broadcast.
inline bool fastReadUnlock(orvRWLock *lock) {
  if constexpr (kCountsWord) {
    // A reader that waits has counted itself before it waits; if one has
    // not been seen here, it waits because a writer waits (which the
    // exchange below sees), never because of this unlock.
    if (readersWaiting(lock) != 0 || !pal::mutexOpenIn(&lock->mutex)) {
      return false;
    }
    [[maybe_unused]] IgnoreCountsWrite ignore;
    uint64_t seen = __atomic_load_n(countsWord(lock), __ATOMIC_RELAXED);
    for (;;) {
      Counts c = unpack(seen);
      if (c.writersWaiting != 0 || c.holders < 1) {
        return false;
      }
      if (__atomic_compare_exchange_n(countsWord(lock), &seen, pack(Counts{0, c.holders - 1}), true,
                                      __ATOMIC_RELEASE, __ATOMIC_RELAXED)) {
        return true;
      }
    }
  } else {
    (void)lock;
    return false;
  }
}

// --- The operations under the mutex ------------------------------------------------

int readLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  int result = ORV_OK;
  for (;;) {
    Counts c = loadCounts(lock);
    bool admitted = false;
    while (c.holders >= 0 && c.writersWaiting < 1) {
      if (replaceCounts(lock, c, Counts{c.writersWaiting, step(c.holders, 1)})) {
        admitted = true;
        break;
      }
    }
    if (admitted) {
      break;
    }
    addReadersWaiting(lock, 1);
    if (orvConditionWait(&lock->readers, &lock->mutex) != ORV_OK) {
      result = ORV_FAILED;  // readersWaiting stays incremented
      break;
    }
    addReadersWaiting(lock, -1);
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

int tryReadLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  int result = ORV_BUSY;
  Counts c = loadCounts(lock);
  while (c.holders != -1 && c.writersWaiting < 1) {
    if (replaceCounts(lock, c, Counts{c.writersWaiting, step(c.holders, 1)})) {
      result = ORV_OK;
      break;
    }
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

int writeLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  // Whether this caller is counted in writersWaiting. A woken writer that
  // finds the lock still held stays counted and waits again (the decrement
  // and increment of each round cancel out under the mutex); one that finds
  // it free takes it and leaves the count in the same exchange.
  bool counted = false;
  for (;;) {
    Counts c = loadCounts(lock);
    if (c.holders == 0) {
      if (replaceCounts(lock, c, Counts{c.writersWaiting - (counted ? 1 : 0), -1})) {
        break;
      }
      continue;
    }
    if (!counted) {
      if (!replaceCounts(lock, c, Counts{c.writersWaiting + 1, c.holders})) {
        continue;
      }
      counted = true;
    }
    if (orvConditionWait(&lock->writers, &lock->mutex) != ORV_OK) {
      orvMutexUnlock(&lock->mutex);  // writersWaiting stays incremented
      return ORV_FAILED;
    }
  }
  orvMutexUnlock(&lock->mutex);
  return ORV_OK;
}

int tryWriteLock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  int result = ORV_BUSY;
  Counts c = loadCounts(lock);
  while (c.holders == 0) {
    if (replaceCounts(lock, c, Counts{c.writersWaiting, -1})) {
      result = ORV_OK;
      break;
    }
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

int unlock(orvRWLock *lock) {
  if (orvMutexLock(&lock->mutex) != ORV_OK) {
    return ORV_FAILED;
  }
  Counts c = loadCounts(lock);
  for (;;) {
    Counts next = c;
    if (c.holders >= 1) {
      next.holders = c.holders - 1;
    } else if (c.holders == -1) {
      next.holders = 0;
    } else {
      threads::fail(threads::kLineUnlockFreeRW);
    }
    if (replaceCounts(lock, c, next)) {
      c = next;
      break;
    }
  }
  int result = ORV_OK;
  if (c.writersWaiting >= 1) {
    result = orvConditionSignal(&lock->writers);  // one writer
  } else if (readersWaiting(lock) >= 1) {
    result = orvConditionBroadcast(&lock->readers);  // every reader
  }
  orvMutexUnlock(&lock->mutex);
  return result;
}

// Runs one operation between its trace lines, with its inner calls
// suppressed unless the trace mask asks for them. Kept out of line, so that
// the fast paths before it need no stack frame.
__attribute__((noinline)) int traced(const char *name, orvRWLock *lock, int (*operation)(orvRWLock *)) {
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

ORV_API int orvRWLockReadLock(orvRWLock *lock) {
  if (!threads::tracingOn() && fastReadLock(lock)) [[likely]] {
    return ORV_OK;
  }
  return traced("orvRWLockReadLock", lock, readLock);
}

ORV_API int orvRWLockTryReadLock(orvRWLock *lock) {
  if (!threads::tracingOn() && fastReadLock(lock)) [[likely]] {
    return ORV_OK;
  }
  return traced("orvRWLockTryReadLock", lock, tryReadLock);
}

ORV_API int orvRWLockWriteLock(orvRWLock *lock) { return traced("orvRWLockWriteLock", lock, writeLock); }

ORV_API int orvRWLockTryWriteLock(orvRWLock *lock) {
  return traced("orvRWLockTryWriteLock", lock, tryWriteLock);
}

ORV_API int orvRWLockUnlock(orvRWLock *lock) {
  if (!threads::tracingOn() && fastReadUnlock(lock)) [[likely]] {
    return ORV_OK;
  }
  return traced("orvRWLockUnlock", lock, unlock);
}

}  // extern "C"
