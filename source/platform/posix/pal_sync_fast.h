// The inline fast paths of the POSIX synchronisation objects: a wait on, or
// a release of, a mutex that the calling thread used recently. Everything
// else goes to the out-of-line paths in pal_sync.cpp. The tryWaitMutexIn and
// tryReleaseMutexIn paths make no call at all, so that the library's lock
// and unlock need no stack frame when they succeed.
#ifndef ORVANE_PLATFORM_POSIX_PAL_SYNC_FAST_H
#define ORVANE_PLATFORM_POSIX_PAL_SYNC_FAST_H

#include <cstdint>

#include "platform/pal.h"
#include "platform/posix/pal_sync_objects.h"
#include "platform/posix/pal_thread_state.h"

namespace pal::posix {

// WaitForSingleObject on any handle, and ReleaseMutex, the long way; the
// In forms remember a mutex under the word's address for the fast paths.
uint32_t waitForObject(Handle handle, uint32_t milliseconds);
bool releaseMutexSlow(Handle mutex);
uint32_t waitForObjectIn(const Handle *word, uint32_t milliseconds);
bool releaseMutexSlowIn(const Handle *word);

static_assert(kNotDone == pal::kNotDone, "one value for a fast path that did nothing");

}  // namespace pal::posix

namespace pal {

inline uint32_t waitForSingleObject(Handle handle, uint32_t milliseconds) {
  if (posix::MutexObject *m = posix::cachedMutex(handle)) {
    return m->wait(handle, posix::currentId(), milliseconds);
  }
  return posix::waitForObject(handle, milliseconds);
}

inline bool releaseMutex(Handle mutex) {
  if (posix::MutexObject *m = posix::cachedMutex(mutex)) {
    return m->releaseBy(posix::currentId());
  }
  return posix::releaseMutexSlow(mutex);
}

inline bool mutexOpenIn(const Handle *word) {
  Handle handle;
  return posix::cachedMutexIn(word, handle) != nullptr;
}

// A hit in the calling thread's word cache also means that the thread has
// its identifier (the slow paths ask for it before they fill an entry), so
// the identifier is used as it is.
inline uint32_t tryWaitMutexIn(const Handle *word) {
  Handle handle;
  posix::MutexObject *m = posix::cachedMutexIn(word, handle);
  if (m == nullptr) {
    return kNotDone;
  }
  return m->tryAcquire(posix::threadState().id);
}

inline uint32_t waitForSingleObjectIn(const Handle *word, uint32_t milliseconds) {
  return posix::waitForObjectIn(word, milliseconds);
}

inline bool releaseMutexIn(const Handle *word) { return posix::releaseMutexSlowIn(word); }

inline bool tryReleaseMutexIn(const Handle *word) {
  Handle handle;
  posix::MutexObject *m = posix::cachedMutexIn(word, handle);
  return m != nullptr && m->tryRelease(posix::threadState().id);
}

}  // namespace pal

#endif
