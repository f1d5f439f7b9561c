// Internals shared by the thread and synchronisation layer's files.
#ifndef ORVANE_THREADS_THREAD_INTERNAL_H
#define ORVANE_THREADS_THREAD_INTERNAL_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "orvane/sync.h"
#include "orvane/threads.h"

namespace threads {

// The source name and lines that the layer's assertions report.
constexpr const char kSourceName[] = "ORVTHRED.CPP";
constexpr int kLineTerminateLock = 964;  // layer mutex not lockable on terminate
constexpr int kLineDestroyState = 1331;  // destroy of a thread in state 4 or above
constexpr int kLineNullKey = 3003;       // orvThreadSetSpecific with a null key
constexpr int kLineUnlockFreeRW = 6329;  // unlock of a free read-write lock
constexpr int kLineBadState = 6870;      // state value above 4
constexpr int kLineTrapState = 7351;     // trap arrival in the wrong state

[[noreturn]] void fail(int line);

// Status mapping of wait results and error codes: 0 → 0; 128 and 258 → 1;
// anything else → -1.
inline int waitResultToStatus(uint32_t value) {
  if (value == 0) {
    return ORV_OK;
  }
  return value == 128 || value == 258 ? ORV_BUSY : ORV_FAILED;
}

// Single-word fields that several threads read and write: accessed through
// atomic references so that the record keeps its plain layout.
inline uint32_t loadWord(uint32_t &word) {
  return std::atomic_ref<uint32_t>(word).load(std::memory_order_acquire);
}
inline void storeWord(uint32_t &word, uint32_t value) {
  std::atomic_ref<uint32_t>(word).store(value, std::memory_order_release);
}

// --- Thread records -------------------------------------------------------

// The layer allocates each record inside a block with a private tail. The
// record comes first, so a record pointer is the block's address.
struct ThreadBlock {
  orvThread record;
  // References: one for the creator's side (dropped by orvThreadDestroy),
  // one for the running thread (dropped when it ends). The last one frees.
  std::atomic<uint32_t> refs;
  // 1 while the thread is suspending itself, so that a continue that comes
  // before the suspension took hold tries again.
  std::atomic<uint32_t> selfSuspending;
};

inline ThreadBlock *blockOf(orvThread *thread) { return reinterpret_cast<ThreadBlock *>(thread); }

// Drops one reference to the record; the last frees it.
void releaseRecord(orvThread *thread);

// The state setter: stores state (3 also sets demise 1, 4 sets demise 2;
// above 4 asserts at 6870) and calls that state's call-backs, newest first.
void setState(orvThread *thread, uint32_t state);

// The tracing switch: set by the first orvThreadSetTraceObj, never cleared.
// While it is off, calls do not look for the caller's record (no tracing is
// possible then).
extern std::atomic<uint32_t> threadTracingOn;
inline bool tracingOn() { return threadTracingOn.load(std::memory_order_relaxed) != 0; }
void setTracingOn();

// The caller's record, for tracing: only while the tracing switch is on.
inline orvThread *tracingCaller() {
  if (tracingOn()) [[unlikely]] {
    return orvThreadSelf();
  }
  return nullptr;
}

// The caller's record, for tracing an operation on thread. An operation on
// the calling thread (thread null or the caller's own record) traces through
// it whether the switch is on or not, as the key operations do; an
// operation on another thread only while the switch is on.
inline orvThread *tracingCallerFor(const orvThread *thread) {
  orvThread *self = orvThreadSelf();
  return tracingOn() || thread == nullptr || thread == self ? self : nullptr;
}

// The layer's key whose value is each layer thread's record.
orvThreadKey *selfKey();

// The steps of orvThreadExit before the thread ends: exit status, trace line,
// key destructors. Returns with the thread's reference to its record dropped.
void runExitSteps(orvThread *self, uint32_t status);

// Runs the key destructors of an exiting thread (<callUserDestroyRoutines>).
void callUserDestroyRoutines(orvThread *self);

// Creates the self key (with the state-resetting destructor); null and a
// status on failure.
int createSelfKey(orvThreadKey **key);

// Sets value under key for the calling thread; for the self key, the value
// is the calling thread's own new record.
int setSpecific(orvThreadKey *key, void *value, orvThread *self);

// --- Memory ---------------------------------------------------------------

// The layer's heap. Tests may make it fail (see testing below).
void *allocZeroed(size_t size);
void *allocBlock(size_t size);
void freeBlock(void *block);

namespace testing {
// Makes allocation number n from now (1 = the next one) fail, once; 0 turns
// it off.
void failAllocation(int n);
// Turns the tracing switch off again (it is never cleared by the library).
void resetTracingSwitch();
// The layer's use count, and its mutex word.
int layerUseCount();
orvHandle *layerMutexWord();
}  // namespace testing

}  // namespace threads

#endif
