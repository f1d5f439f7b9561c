// Per-thread state of the POSIX platform layer.
//
// Every thread that meets the layer gets a small record in static TLS:
// - its thread identifier (the value GetCurrentThreadId gives): threads that
//   the layer creates receive theirs at creation, other threads on first
//   use; identifiers are process-unique and never 0;
// - the control block of a thread that the layer created (null otherwise);
// - the mutexes it owns, so that they can be marked abandoned and released
//   when the thread ends while holding them.
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

struct OwnedMutex {
  Handle handle;
  MutexObject *object;
};

struct ThreadState {
  uint32_t id;
  ThreadControl *control;
  uint32_t ownedCount;
  uint32_t ownedCapacity;  // 0: the inline array is in use
  OwnedMutex *ownedHeap;
  bool exitHookArmed;
  OwnedMutex ownedInline[6];
};

// The calling thread's state (static TLS: no allocation, usable from a
// signal handler).
ThreadState &threadState();

// A new process-unique thread identifier.
uint32_t allocateThreadId();

// The calling thread's identifier, assigned on first use.
inline uint32_t currentId() {
  ThreadState &t = threadState();
  if (t.id == 0) {
    t.id = allocateThreadId();
  }
  return t.id;
}

// Records that the calling thread now owns mutex (first acquisition) and
// forgets it again (last release). Both are cheap for the usual nesting
// order (last taken, first released).
void rememberOwnedMutex(Handle handle, MutexObject *object);
void forgetOwnedMutex(Handle handle);

// Marks every mutex the calling thread still owns as abandoned and releases
// it, then frees the owned list. Run when a thread ends.
void abandonOwnedMutexes();

}  // namespace pal::posix

#endif
