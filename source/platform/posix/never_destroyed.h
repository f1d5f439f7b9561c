// Process-wide objects of the POSIX platform layer that live until the
// process ends: made on first use in static storage (so that making one
// never allocates, and never fails for want of memory) and never destroyed
// (threads may still use them while the process runs its exit handlers).
#ifndef ORVANE_PLATFORM_POSIX_NEVER_DESTROYED_H
#define ORVANE_PLATFORM_POSIX_NEVER_DESTROYED_H

#include <new>

namespace pal::posix {

// The one object of type T.
template <class T>
T &neverDestroyed() {
  alignas(T) static unsigned char storage[sizeof(T)];
  static T *object = ::new (storage) T;
  return *object;
}

}  // namespace pal::posix

#endif
