// POSIX half of the synchronisation objects: mutexes, semaphores and events
// built on atomics and futexes, named by handles of the handle table.
#include "platform/pal_sync.h"

#include <mutex>
#include <new>
#include <unordered_set>

#include "platform/posix/handle_table.h"
#include "platform/posix/never_destroyed.h"
#include "platform/posix/pal_sync_futex.h"
#include "platform/posix/pal_sync_objects.h"
#include "platform/posix/pal_thread_control.h"
#include "platform/posix/pal_thread_state.h"

namespace pal::posix {

namespace {

// Spins before sleeping on a contended mutex: a holder often lets go within
// a few hundred cycles, and sleeping costs two system calls.
constexpr int kMutexSpins = 100;

// A fresh object of type T under a new handle, or kNullHandle (last error 8).
template <class T, class... Args>
Handle insertNew(Args &&...args) {
  T *object = newObject<T>(std::forward<Args>(args)...);
  if (object == nullptr) {
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  Handle handle = insertObject(object);
  if (handle == kNullHandle) {
    discardObject(object);
  }
  return handle;
}

// True while handle still names object: a waiter re-checks after each sleep
// so that closing the handle under it ends its wait with error 6.
bool stillNames(Handle handle, const KernelObject *object) {
  return lookupObject(handle, object->kind()) == object;
}

uint32_t failInvalid() {
  setLastError(kErrorInvalidHandle);
  return kWaitFailed;
}

// Every mutex object ever made (their storage is never freed). Objects are
// built and looked through under the registry's lock only.
struct MutexRegistry {
  std::mutex lock;
  std::unordered_set<MutexObject *> all;
};

MutexRegistry &mutexRegistry() { return neverDestroyed<MutexRegistry>(); }

Handle insertMutex() {
  MutexObject *m = newMutexObject();
  if (m == nullptr) {
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  Handle handle = insertObject(m);
  if (handle == kNullHandle) {
    discardObject(m);
  } else {
    m->setHandle(handle);
  }
  return handle;
}

}  // namespace

MutexObject *newMutexObject() {
  MutexRegistry &registry = mutexRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  MutexObject *m = newObject<MutexObject>();
  if (m != nullptr) {
    try {
      registry.all.insert(m);
    } catch (const std::bad_alloc &) {
      discardObject(m);
      return nullptr;
    }
  }
  return m;
}

void abandonMutexesOwnedBy(uint32_t id) {
  MutexRegistry &registry = mutexRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  for (MutexObject *m : registry.all) {
    if (m->ownerId() == id) {
      m->abandon();
    }
  }
}

// --- Mutex ------------------------------------------------------------------

bool MutexObject::release() {
  // Closing the handle: sleepers wake, find the handle gone and fail. A
  // closed mutex is nobody's.
  handle_.store(0, std::memory_order_release);
  owner_.store(0, std::memory_order_relaxed);
  word_.store(0, std::memory_order_release);
  futexWakeAll(word_);
  return true;
}

uint32_t MutexObject::waitContended(Handle handle, uint32_t self, uint32_t milliseconds) {
  for (int spin = 0; spin < kMutexSpins; ++spin) {
    if (word_.load(std::memory_order_relaxed) == 0 && tryTake()) {
      return becomeOwner(self);
    }
    cpuRelax();
  }
  Deadline deadline = Deadline::after(milliseconds);
  // Whoever takes the word this way leaves it at 2, so its release wakes the
  // next sleeper (at worst one wake-up too many).
  while (word_.exchange(2, std::memory_order_acquire) != 0) {
    if (futexWait(word_, 2, deadline) == FutexResult::TimedOut) {
      return kWaitTimeout;
    }
    if (!stillNames(handle, this)) {
      return failInvalid();
    }
  }
  return becomeOwner(self);
}

void MutexObject::abandon() {
  recursion_ = 0;
  abandoned_.store(true, std::memory_order_relaxed);
  letGo();
}

// --- Semaphore --------------------------------------------------------------

bool SemaphoreObject::release() {
  count_.store(0, std::memory_order_release);
  futexWakeAll(count_);
  return true;
}

bool SemaphoreObject::tryTake() {
  uint32_t c = count_.load(std::memory_order_relaxed);
  while (c > 0) {
    if (count_.compare_exchange_weak(c, c - 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

uint32_t SemaphoreObject::wait(Handle handle, uint32_t milliseconds) {
  if (tryTake()) {
    return kWaitObject0;
  }
  if (milliseconds == 0) {
    return kWaitTimeout;
  }
  if (spinBriefly([this] { return tryTake(); })) {
    return kWaitObject0;
  }
  return waitContended(handle, milliseconds);
}

uint32_t SemaphoreObject::waitContended(Handle handle, uint32_t milliseconds) {
  Deadline deadline = Deadline::after(milliseconds);
  sleepers_.fetch_add(1, std::memory_order_seq_cst);
  uint32_t result = kWaitObject0;
  for (;;) {
    if (tryTake()) {
      break;
    }
    if (futexWait(count_, 0, deadline) == FutexResult::TimedOut) {
      result = tryTake() ? kWaitObject0 : kWaitTimeout;
      break;
    }
    if (!stillNames(handle, this)) {
      sleepers_.fetch_sub(1, std::memory_order_relaxed);
      return failInvalid();
    }
  }
  sleepers_.fetch_sub(1, std::memory_order_relaxed);
  return result;
}

bool SemaphoreObject::post(int32_t releaseCount, int32_t *previousCount) {
  if (releaseCount <= 0) {
    setLastError(kErrorInvalidParameter);
    return false;
  }
  uint32_t c = count_.load(std::memory_order_relaxed);
  do {
    if (static_cast<int64_t>(c) + releaseCount > maximum_) {
      setLastError(kErrorTooManyPosts);
      return false;
    }
  } while (!count_.compare_exchange_weak(c, c + static_cast<uint32_t>(releaseCount),
                                         std::memory_order_seq_cst, std::memory_order_relaxed));
  if (previousCount != nullptr) {
    *previousCount = static_cast<int32_t>(c);
  }
  // A sleeper counts itself before it reads the count; together with the
  // sequentially consistent update above, either it sees the new count or
  // this sees it.
  if (sleepers_.load(std::memory_order_seq_cst) > 0) {
    futexWake(count_, releaseCount);
  }
  return true;
}

// --- Event ------------------------------------------------------------------

bool EventObject::release() {
  FutexLockGuard guard(lock_);
  signaled_.store(0, std::memory_order_relaxed);
  releaseAll(2);
  return true;
}

bool EventObject::tryConsume() {
  if (manual_) {
    return signaled_.load(std::memory_order_seq_cst) != 0;
  }
  uint32_t expected = 1;
  return signaled_.compare_exchange_strong(expected, 0, std::memory_order_seq_cst, std::memory_order_relaxed);
}

void EventObject::enqueue(Waiter &w) {
  w.prev = tail_;
  w.next = nullptr;
  if (tail_ != nullptr) {
    tail_->next = &w;
  } else {
    head_ = &w;
  }
  tail_ = &w;
}

void EventObject::unlink(Waiter &w) {
  (w.prev != nullptr ? w.prev->next : head_) = w.next;
  (w.next != nullptr ? w.next->prev : tail_) = w.prev;
  w.prev = w.next = nullptr;
  waiterCount_.fetch_sub(1, std::memory_order_seq_cst);
}

void EventObject::releaseOne(uint32_t how) {
  Waiter *w = head_;
  if (w == nullptr) {
    return;
  }
  unlink(*w);
  // The waiter takes lock_ before it returns, so its node outlives this.
  w->released.store(how, std::memory_order_release);
  futexWake(w->released, 1);
}

void EventObject::releaseAll(uint32_t how) {
  while (head_ != nullptr) {
    releaseOne(how);
  }
}

uint32_t EventObject::wait(Handle handle, uint32_t milliseconds) {
  if (tryConsume()) {
    return kWaitObject0;
  }
  if (milliseconds == 0) {
    return kWaitTimeout;
  }
  if (spinBriefly([this] { return tryConsume(); })) {
    return kWaitObject0;
  }
  Deadline deadline = Deadline::after(milliseconds);
  Waiter self;
  lock_.lock();
  waiterCount_.fetch_add(1, std::memory_order_seq_cst);
  if (tryConsume()) {
    waiterCount_.fetch_sub(1, std::memory_order_seq_cst);
    lock_.unlock();
    return kWaitObject0;
  }
  enqueue(self);
  lock_.unlock();

  for (;;) {
    if (self.released.load(std::memory_order_acquire) != 0) {
      break;
    }
    if (futexWait(self.released, 0, deadline) == FutexResult::TimedOut) {
      FutexLockGuard guard(lock_);
      if (self.released.load(std::memory_order_acquire) == 0) {
        unlink(self);
        return kWaitTimeout;
      }
      break;
    }
  }
  // Wait for the releaser to leave lock_ before this node goes away.
  lock_.lock();
  lock_.unlock();
  if (self.released.load(std::memory_order_acquire) == 2) {
    (void)handle;
    return failInvalid();
  }
  return kWaitObject0;
}

void EventObject::set() {
  if (manual_) {
    signaled_.store(1, std::memory_order_seq_cst);
    if (waiterCount_.load(std::memory_order_seq_cst) > 0) {
      FutexLockGuard guard(lock_);
      releaseAll(1);
    }
    return;
  }
  if (waiterCount_.load(std::memory_order_seq_cst) == 0) {
    signaled_.store(1, std::memory_order_seq_cst);
    if (waiterCount_.load(std::memory_order_seq_cst) == 0) {
      return;
    }
    // A waiter arrived meanwhile. Under the lock every waiter is either
    // queued or has already consumed the signal: hand it to the head if it
    // is still there to take.
    FutexLockGuard guard(lock_);
    uint32_t expected = 1;
    if (head_ != nullptr && signaled_.compare_exchange_strong(expected, 0, std::memory_order_seq_cst,
                                                              std::memory_order_relaxed)) {
      releaseOne(1);
    }
    return;
  }
  FutexLockGuard guard(lock_);
  if (head_ != nullptr) {
    releaseOne(1);
  } else {
    signaled_.store(1, std::memory_order_seq_cst);
  }
}

void EventObject::reset() { signaled_.store(0, std::memory_order_seq_cst); }

void EventObject::pulse() {
  FutexLockGuard guard(lock_);
  if (manual_) {
    releaseAll(1);
  } else {
    releaseOne(1);
  }
  signaled_.store(0, std::memory_order_seq_cst);
}

}  // namespace pal::posix

namespace pal {

using posix::EventObject;
using posix::MutexObject;
using posix::SemaphoreObject;

Handle createMutex() { return posix::insertMutex(); }

Handle createSemaphore(int32_t initialCount, int32_t maximumCount) {
  if (maximumCount < 1 || initialCount < 0 || initialCount > maximumCount) {
    setLastError(kErrorInvalidParameter);
    return kNullHandle;
  }
  return posix::insertNew<SemaphoreObject>(initialCount, maximumCount);
}

bool releaseSemaphore(Handle semaphore, int32_t releaseCount, int32_t *previousCount) {
  SemaphoreObject *s = posix::lookup<SemaphoreObject>(semaphore);
  return s != nullptr && s->post(releaseCount, previousCount);
}

Handle createEvent(bool manualReset, bool initialState) {
  return posix::insertNew<EventObject>(manualReset, initialState);
}

bool setEvent(Handle event) {
  EventObject *e = posix::lookup<EventObject>(event);
  if (e == nullptr) {
    return false;
  }
  e->set();
  return true;
}

bool resetEvent(Handle event) {
  EventObject *e = posix::lookup<EventObject>(event);
  if (e == nullptr) {
    return false;
  }
  e->reset();
  return true;
}

bool pulseEvent(Handle event) {
  EventObject *e = posix::lookup<EventObject>(event);
  if (e == nullptr) {
    return false;
  }
  e->pulse();
  return true;
}

}  // namespace pal

namespace pal::posix {

bool releaseMutexSlow(Handle mutex) {
  MutexObject *m = findMutex(mutex);
  return m != nullptr && m->releaseBy(currentId());
}

bool wakeOneSleeper(std::atomic<uint32_t> &word) {
  futexWake(word, 1);
  return true;
}

uint32_t waitForObjectIn(const Handle *word, uint32_t milliseconds) {
  Handle handle = *word;
  if (MutexObject *m = findMutex(handle)) {
    // The identifier first: the fast paths trust an entry of this thread's
    // cache to mean that the thread has its identifier.
    uint32_t self = currentId();
    wordCacheEntry(word) = MutexCacheEntry{handle, m};
    return m->wait(handle, self, milliseconds);
  }
  return waitForObject(handle, milliseconds);
}

bool releaseMutexSlowIn(const Handle *word) {
  Handle handle = *word;
  MutexObject *m = findMutex(handle);
  if (m == nullptr) {
    return false;  // last error 6
  }
  uint32_t self = currentId();  // before the cache entry, as above
  wordCacheEntry(word) = MutexCacheEntry{handle, m};
  return m->releaseBy(self);
}

uint32_t waitForObject(Handle handle, uint32_t milliseconds) {
  KernelObject *object = lookupObject(handle, ObjectKind::None);
  if (object == nullptr) {
    return kWaitFailed;  // last error 6
  }
  switch (object->kind()) {
    case ObjectKind::Mutex: {
      auto *m = static_cast<MutexObject *>(object);
      rememberMutex(handle, m);
      return m->wait(handle, currentId(), milliseconds);
    }
    case posix::ObjectKind::Semaphore:
      return static_cast<SemaphoreObject *>(object)->wait(handle, milliseconds);
    case posix::ObjectKind::Event:
      return static_cast<EventObject *>(object)->wait(handle, milliseconds);
    case posix::ObjectKind::Thread:
      return posix::waitForThread(static_cast<posix::ThreadObject *>(object), handle, milliseconds);
    default:
      // Files and mappings are not waitable here.
      setLastError(kErrorInvalidHandle);
      return kWaitFailed;
  }
}

}  // namespace pal::posix
