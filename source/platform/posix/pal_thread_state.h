// Per-thread state of the POSIX platform layer.
//
// Every thread that meets the layer gets a small record in static TLS:
// - its thread identifier (the value GetCurrentThreadId gives): threads that
//   the layer creates receive theirs at creation, other threads on first
//   use; identifiers are process-unique and never 0;
// - the control block of a thread that the layer created (null otherwise);
// - how many mutexes it owns, so that a thread that ends while holding some
//   has them marked abandoned and released;
// - a small cache of the mutex handles it used last (see pal_sync_objects.h).
//
// Threads that the layer did not create have their owned mutexes abandoned
// by a thread-exit hook (a pthread key destructor) that is armed the first
// time they take a mutex.
#ifndef ORVANE_PLATFORM_POSIX_PAL_THREAD_STATE_H
#define ORVANE_PLATFORM_POSIX_PAL_THREAD_STATE_H

#include <cstdint>

#include "platform/pal.h"

namespace pal::posix {

struct ThreadControl;
class MutexObject;

// One entry of the per-thread cache of recently used mutex handles.
struct MutexCacheEntry {
  Handle handle;
  MutexObject *object;
};
constexpr uint32_t kMutexCacheSize = 8;

struct ThreadState {
  // First, so that the mutex fast paths index it from the record's address
  // without an offset.
  MutexCacheEntry wordCache[kMutexCacheSize];  // by the address of a handle word
  uint32_t id;
  uint32_t ownedMutexes;
  ThreadControl *control;
  bool exitHookArmed;
  MutexCacheEntry mutexCache[kMutexCacheSize];  // by handle
};

// Static TLS: no allocation, usable from a signal handler, and one
// instruction away on the mutex fast path.
extern thread_local constinit ThreadState tlsThreadState __attribute__((tls_model("initial-exec")));

inline ThreadState &threadState() { return tlsThreadState; }

// A new process-unique thread identifier.
uint32_t allocateThreadId();

// Gives a thread that the layer did not create its identifier, and arms its
// exit hook.
uint32_t adoptForeignThread();

// The calling thread's identifier, assigned on first use. A thread owns a
// mutex only after it has asked for its identifier, so the exit hook of a
// foreign thread is armed by then.
inline uint32_t currentId() {
  uint32_t id = tlsThreadState.id;
  if (id == 0) [[unlikely]] {
    id = adoptForeignThread();
  }
  return id;
}

// Counts a mutex the calling thread now owns (first acquisition) or no
// longer owns (last release).
inline void countOwnedMutex() { ++tlsThreadState.ownedMutexes; }
inline void uncountOwnedMutex() { --tlsThreadState.ownedMutexes; }

// Marks every mutex the calling thread still owns as abandoned and releases
// it. Run when a thread ends.
void abandonOwnedMutexes();

}  // namespace pal::posix

#endif
