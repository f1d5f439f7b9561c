// The platform layer's synchronisation objects: mutexes, semaphores, events
// and the one wait that serves them all (and thread handles, see
// pal_thread.h).
//
// The vocabulary is Win32's on every platform:
// - a mutex is recursive for its owner; when its owner ends while holding
//   it, the next wait acquires it and returns 128 (abandoned); a release by
//   a thread that does not own it fails with error 288;
// - a semaphore has a maximum count; a release that would pass it fails with
//   error 298 and leaves the count as it was;
// - an event is manual-reset or auto-reset; a pulse releases the threads
//   waiting at that moment (all of them, or one for an auto-reset event) and
//   leaves the event reset;
// - waitForSingleObject returns 0, 128, 258 or 0xFFFFFFFF with a last
//   error; a closed or made-up handle fails with error 6.
//
// The objects are process-private and unnamed. They are released with
// pal::closeHandle.
#ifndef ORVANE_PLATFORM_PAL_SYNC_H
#define ORVANE_PLATFORM_PAL_SYNC_H

#include <cstdint>

#include "platform/pal.h"

namespace pal {

// The largest maximum count a semaphore accepts (LONG_MAX on Win32).
constexpr int32_t kSemaphoreCountLimit = 0x7FFFFFFF;

// CreateMutexA(NULL, FALSE, NULL): an unowned mutex. kNullHandle with a last
// error on failure.
Handle createMutex();

// ReleaseMutex: gives up one level of ownership. False with error 288 when
// the calling thread does not own the mutex, 6 for a bad handle.
#if defined(_WIN32)
bool releaseMutex(Handle mutex);
#endif

// CreateSemaphoreA(NULL, initial, maximum, NULL). Fails with error 87 when
// maximum < 1 or initial is outside 0 to maximum.
Handle createSemaphore(int32_t initialCount, int32_t maximumCount);

// ReleaseSemaphore: adds releaseCount (which must be at least 1, else error
// 87). A release that would pass the maximum fails with error 298 and
// changes nothing. previousCount (may be null) receives the count before.
bool releaseSemaphore(Handle semaphore, int32_t releaseCount, int32_t *previousCount);

// CreateEventA(NULL, manualReset, initialState, NULL).
Handle createEvent(bool manualReset, bool initialState);
bool setEvent(Handle event);
bool resetEvent(Handle event);
bool pulseEvent(Handle event);

// WaitForSingleObject on a mutex, semaphore, event or thread handle: 0
// (kWaitObject0), 128 (kWaitAbandoned, mutexes only), 258 (kWaitTimeout) or
// 0xFFFFFFFF (kWaitFailed, with a last error). The time-out is in
// milliseconds on a monotonic clock; kInfinite waits for ever and 0 only
// tests.
#if defined(_WIN32)
uint32_t waitForSingleObject(Handle handle, uint32_t milliseconds);
#endif

// Fast paths for the library's mutex lock and unlock, on the handle stored in
// a caller's handle word. Where the platform can, they complete an
// uncontended wait or release inline (tryWaitMutexIn returns 0 or 128,
// tryReleaseMutexIn true); otherwise they do nothing at all and report it
// (kNotDone, false), and the caller goes through waitForSingleObject or
// releaseMutex.
constexpr uint32_t kNotDone = 0xFFFFFFFEu;

// waitForSingleObject and releaseMutex on the handle stored in a caller's
// handle word; on POSIX they also remember the mutex for the fast paths.
// mutexOpenIn tells, without a call where the platform can, that the
// handle word names a mutex that is open: true only when that is known
// cheaply (on POSIX: the calling thread used the mutex through the word
// recently and it has not been closed since); false means "not known".
#if defined(_WIN32)
inline bool mutexOpenIn(const Handle * /*word*/) { return false; }
inline uint32_t tryWaitMutexIn(const Handle * /*word*/) { return kNotDone; }
inline bool tryReleaseMutexIn(const Handle * /*word*/) { return false; }
inline uint32_t waitForSingleObjectIn(const Handle *word, uint32_t milliseconds) {
  return waitForSingleObject(*word, milliseconds);
}
inline bool releaseMutexIn(const Handle *word) { return releaseMutex(*word); }
#endif

}  // namespace pal

#if !defined(_WIN32)
// The POSIX half defines waitForSingleObject, releaseMutex and the fast
// paths inline, so that an uncontended mutex costs no call into the platform
// layer.
#include "platform/posix/pal_sync_fast.h"
#endif

#endif
