// The POSIX synchronisation objects behind mutex, semaphore and event
// handles. Each lives in the handle table (handle_table.h); its state is a
// few atomic words, and only a thread that must wait enters the kernel.
#ifndef ORVANE_PLATFORM_POSIX_PAL_SYNC_OBJECTS_H
#define ORVANE_PLATFORM_POSIX_PAL_SYNC_OBJECTS_H

#include <atomic>
#include <cstdint>

#include "platform/posix/handle_table.h"
#include "platform/posix/pal_sync_futex.h"

namespace pal::posix {

// A recursive mutex with an owner.
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

  // One wait on the mutex by the calling thread (self).
  uint32_t wait(Handle handle, uint32_t self, uint32_t milliseconds);
  // ReleaseMutex by the calling thread.
  bool releaseBy(Handle handle, uint32_t self);
  // Called by an owner that ends while holding the mutex.
  void abandon();

  uint32_t ownerId() const { return owner_.load(std::memory_order_relaxed); }

 private:
  bool tryTake() {
    uint32_t expected = 0;
    return word_.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed);
  }
  uint32_t becomeOwner(Handle handle, uint32_t self);
  uint32_t waitContended(Handle handle, uint32_t self, uint32_t milliseconds);
  void letGo();

  std::atomic<uint32_t> word_{0};
  std::atomic<uint32_t> owner_{0};
  uint32_t recursion_ = 0;
  std::atomic<bool> abandoned_{false};
};

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
