// The POSIX synchronisation objects behind mutex, semaphore and event
// handles. Each lives in the handle table (handle_table.h); its state is a
// few atomic words, and only a thread that must wait enters the kernel.
#ifndef ORVANE_PLATFORM_POSIX_PAL_SYNC_OBJECTS_H
#define ORVANE_PLATFORM_POSIX_PAL_SYNC_OBJECTS_H

#include <atomic>
#include <cstdint>

#include "platform/posix/handle_table.h"
#include "platform/posix/pal_sync_futex.h"
#include "platform/posix/pal_thread_state.h"

namespace pal::posix {

// Wakes one thread sleeping on word; returns true (for tail calls).
bool wakeOneSleeper(std::atomic<uint32_t> &word);

// The result of a fast path that did nothing (pal_sync.h).
constexpr uint32_t kNotDone = 0xFFFFFFFEu;

// A recursive mutex with an owner.
//
// Abandonment costs the fast path nothing but a per-thread count: a thread
// that ends while its count is above 0 looks through the list of mutex
// objects for those it owns.
//
// word: 0 free, 1 held, 2 held with sleepers (the classic three-state futex
// lock). owner is the holder's thread identifier, written by the holder
// after it took the word; recursion counts the acquisitions beyond the
// first and is touched by the owner only. abandoned is set by a thread that
// ends while holding the mutex, just before it lets go of the word; the next
// thread to take the word clears it and reports 128.
class MutexObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Mutex;
  MutexObject() : KernelObject(kKind) {}

  bool release() override;

  // One wait on the mutex by the calling thread (self). The uncontended and
  // recursive cases are inline.
  uint32_t wait(Handle handle, uint32_t self, uint32_t milliseconds) {
    if (tryTake()) [[likely]] {
      return becomeOwner(self);
    }
    if (owner_.load(std::memory_order_relaxed) == self) {
      ++recursion_;
      return kWaitObject0;
    }
    if (milliseconds == 0) {
      return kWaitTimeout;
    }
    return waitContended(handle, self, milliseconds);
  }

  // The wait's fast path: 0 or 128 when the mutex was free or is the
  // caller's already, kNotDone (and nothing done) when another thread holds
  // it. Makes no call.
  uint32_t tryAcquire(uint32_t self) {
    if (tryTake()) [[likely]] {
      return becomeOwner(self);
    }
    if (owner_.load(std::memory_order_relaxed) == self) {
      ++recursion_;
      return kWaitObject0;
    }
    return kNotDone;
  }

  // The release's fast path: true when released; false (and nothing done)
  // when the caller does not own the mutex.
  bool tryRelease(uint32_t self) {
    if (owner_.load(std::memory_order_relaxed) != self) [[unlikely]] {
      return false;
    }
    if (recursion_ > 0) {
      --recursion_;
      return true;
    }
    uncountOwnedMutex();
    owner_.store(0, std::memory_order_relaxed);
    if (takeWordBack() == 2) [[unlikely]] {
      wakeOneSleeper(word_);  // nothing is needed after the call
    }
    return true;
  }

  // ReleaseMutex by the calling thread (self).
  bool releaseBy(uint32_t self) {
    if (owner_.load(std::memory_order_relaxed) != self) [[unlikely]] {
      setLastError(kErrorNotOwner);
      return false;
    }
    if (recursion_ > 0) {
      --recursion_;
      return true;
    }
    uncountOwnedMutex();
    letGo();
    return true;
  }

  // Called by an owner that ends while holding the mutex.
  void abandon();

  uint32_t ownerId() const { return owner_.load(std::memory_order_relaxed); }

  // The handle that names this mutex while it is open, 0 once closed.
  bool isNamedBy(Handle handle) const { return handle_.load(std::memory_order_acquire) == handle; }
  void setHandle(Handle handle) { handle_.store(handle, std::memory_order_release); }

 private:
  // The word is always taken and given back with locked instructions, also
  // while the process has a single thread: an uncontended locked exchange on
  // a line the thread owns costs less than the test of the C library's
  // single-thread flag (a load through the global offset table and a
  // branch, on both lock and unlock) on the processors measured.
  bool tryTake() {
    uint32_t expected = 0;
    return word_.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed);
  }
  uint32_t becomeOwner(uint32_t self) {
    owner_.store(self, std::memory_order_relaxed);  // recursion_ is 0 while the mutex is free
    countOwnedMutex();
    if (abandoned_.load(std::memory_order_relaxed)) [[unlikely]] {
      abandoned_.store(false, std::memory_order_relaxed);
      return kWaitAbandoned;
    }
    return kWaitObject0;
  }
  // Frees the word; returns what it held (2: a thread may sleep on it).
  uint32_t takeWordBack() { return word_.exchange(0, std::memory_order_release); }
  void letGo() {
    owner_.store(0, std::memory_order_relaxed);
    if (takeWordBack() == 2) [[unlikely]] {
      futexWake(word_, 1);
    }
  }
  uint32_t waitContended(Handle handle, uint32_t self, uint32_t milliseconds);

  std::atomic<uint32_t> word_{0};
  std::atomic<uint32_t> owner_{0};
  std::atomic<Handle> handle_{0};
  uint32_t recursion_ = 0;
  std::atomic<bool> abandoned_{false};
};

// Creates a mutex object. Every mutex object is listed, so that a thread
// that ends can find the mutexes it still owns.
MutexObject *newMutexObject();

// Marks every mutex that thread id owns as abandoned and releases it.
void abandonMutexesOwnedBy(uint32_t id);

// The mutex objects behind recently used handles.
//
// A thread usually works with a few mutexes over and over, so each keeps a
// small cache of the handles it used last. An entry is trusted only while
// the object still carries that handle: closing a mutex clears it, and a
// reused object carries its new handle. Mutex storage is only ever reused by
// mutexes, so a stale entry points at a mutex object all the same.
inline MutexObject *cachedMutex(Handle handle) {
  MutexCacheEntry &entry = threadState().mutexCache[handle % kMutexCacheSize];
  if (entry.handle == handle && handle != kNullHandle && entry.object->isNamedBy(handle)) [[likely]] {
    return entry.object;
  }
  return nullptr;
}

inline void rememberMutex(Handle handle, MutexObject *m) {
  threadState().mutexCache[handle % kMutexCacheSize] = MutexCacheEntry{handle, m};
}

// The mutex object behind the handle stored in a caller's handle word, found
// by the word's address: the word is read in parallel with the cache entry
// instead of before it. Entries are filled by the slow paths.
inline MutexCacheEntry &wordCacheEntry(const Handle *word) {
  return threadState().wordCache[(reinterpret_cast<uintptr_t>(word) / sizeof(Handle)) % kMutexCacheSize];
}

inline MutexObject *cachedMutexIn(const Handle *word, Handle &handle) {
  MutexCacheEntry &entry = wordCacheEntry(word);
  handle = *word;
  MutexObject *object = entry.object;  // read once: the check below is an acquire
  if (entry.handle == handle && handle != kNullHandle && object->isNamedBy(handle)) [[likely]] {
    if (object == nullptr) {
      __builtin_unreachable();  // an entry with a handle has its object
    }
    return object;
  }
  return nullptr;
}

// The mutex object behind handle (from the cache or the handle table, which
// then fills the cache), or null with last error 6.
inline MutexObject *findMutex(Handle handle) {
  if (MutexObject *m = cachedMutex(handle)) {
    return m;
  }
  MutexObject *m = lookup<MutexObject>(handle);
  if (m != nullptr) {
    rememberMutex(handle, m);
  }
  return m;
}

// A counting semaphore with a maximum. count is the futex word; sleepers
// counts the threads about to sleep or sleeping, so that a release only
// makes a system call when someone may be waiting.
class SemaphoreObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Semaphore;
  SemaphoreObject(int32_t initial, int32_t maximum)
      : KernelObject(kKind), count_(static_cast<uint32_t>(initial)), maximum_(maximum) {}

  bool release() override;

  uint32_t wait(Handle handle, uint32_t milliseconds);
  bool post(int32_t releaseCount, int32_t *previousCount);

 private:
  bool tryTake();
  uint32_t waitContended(Handle handle, uint32_t milliseconds);

  std::atomic<uint32_t> count_;
  int32_t maximum_;
  std::atomic<uint32_t> sleepers_{0};
};

// An event. signaled is read and consumed without a lock; threads that must
// wait queue a node of their own under the internal lock and sleep on it, so
// that a set, a pulse or a close releases exactly the threads it means to.
class EventObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Event;
  EventObject(bool manualReset, bool initialState)
      : KernelObject(kKind), signaled_(initialState ? 1u : 0u), manual_(manualReset) {}

  bool release() override;

  uint32_t wait(Handle handle, uint32_t milliseconds);
  void set();
  void reset();
  void pulse();

 private:
  // A waiting thread's node, on its stack. released: 0 waiting, 1 released
  // by a set or pulse, 2 released because the handle was closed.
  struct Waiter {
    std::atomic<uint32_t> released{0};
    Waiter *prev = nullptr;
    Waiter *next = nullptr;
  };

  bool tryConsume();
  void enqueue(Waiter &w);
  void unlink(Waiter &w);
  // Under lock_: releases the head waiter, or every waiter.
  void releaseOne(uint32_t how);
  void releaseAll(uint32_t how);

  std::atomic<uint32_t> signaled_;
  bool manual_;
  FutexLock lock_;
  std::atomic<uint32_t> waiterCount_{0};
  Waiter *head_ = nullptr;
  Waiter *tail_ = nullptr;
};

}  // namespace pal::posix

#endif
