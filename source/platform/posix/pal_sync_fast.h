// The inline fast paths of the POSIX synchronisation objects: a wait on, or
// a release of, a mutex that the calling thread used recently. Everything
// else goes to the out-of-line paths in pal_sync.cpp.
#ifndef ORVANE_PLATFORM_POSIX_PAL_SYNC_FAST_H
#define ORVANE_PLATFORM_POSIX_PAL_SYNC_FAST_H

#include <cstdint>

#include "platform/pal.h"
#include "platform/posix/pal_sync_objects.h"
#include "platform/posix/pal_thread_state.h"

namespace pal::posix {

// WaitForSingleObject on any handle, and ReleaseMutex, the long way; the
// In forms also remember the mutex under the word's address.
uint32_t waitForObject(Handle handle, uint32_t milliseconds);
bool releaseMutexSlow(Handle mutex);
uint32_t waitForObjectIn(const Handle *word, uint32_t milliseconds);
bool releaseMutexSlowIn(const Handle *word);

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

inline uint32_t waitForSingleObjectIn(const Handle *word, uint32_t milliseconds) {
  Handle handle;
  if (posix::MutexObject *m = posix::cachedMutexIn(word, handle)) {
    return m->wait(handle, posix::currentId(), milliseconds);
  }
  return posix::waitForObjectIn(word, milliseconds);
}

inline bool releaseMutexIn(const Handle *word) {
  Handle handle;
  if (posix::MutexObject *m = posix::cachedMutexIn(word, handle)) {
    return m->releaseBy(posix::currentId());
  }
  return posix::releaseMutexSlowIn(word);
}

}  // namespace pal

#endif
