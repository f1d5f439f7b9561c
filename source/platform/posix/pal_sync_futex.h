// Futex primitives of the POSIX synchronisation objects.
//
// Every object keeps its state in atomic words and only sleeps in the kernel
// when it has to wait: an uncontended lock, release, set or wait never makes
// a system call. Sleeping uses the Linux futex with absolute deadlines on the
// monotonic clock, so that a wait interrupted by a signal (for example the
// thread suspension signal) resumes with the time it has left.
#ifndef ORVANE_PLATFORM_POSIX_PAL_SYNC_FUTEX_H
#define ORVANE_PLATFORM_POSIX_PAL_SYNC_FUTEX_H

#include <time.h>

#include <atomic>
#include <cstdint>

namespace pal::posix {

// A point on the monotonic clock, or "never" for waits without a time-out.
struct Deadline {
  bool forever = true;
  struct timespec at = {0, 0};

  // The deadline milliseconds from now (0xFFFFFFFF: never).
  static Deadline after(uint32_t milliseconds);
  bool passed() const;
};

enum class FutexResult { Woken, TimedOut, Interrupted };

// Sleeps while *word equals expected, until woken or the deadline passes.
// Woken also covers "the word had already changed" and spurious wake-ups:
// callers re-check their condition in a loop.
FutexResult futexWait(std::atomic<uint32_t> &word, uint32_t expected, const Deadline &deadline);

// Wakes up to count threads sleeping on word.
void futexWake(std::atomic<uint32_t> &word, int count);
void futexWakeAll(std::atomic<uint32_t> &word);

// Gives up the rest of the time slice (sched_yield).
void yieldProcessor();

// A processor pause between reads of a spin loop.
inline void cpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

// Waits briefly for ready() to hold before a waiter goes to sleep: a few
// processor pauses, then a few yields of the processor. A hand-off between
// two running threads usually completes within that time, and sleeping
// costs a system call on each side.
template <class Ready>
bool spinBriefly(Ready ready) {
  for (int i = 0; i < 16; ++i) {
    if (ready()) {
      return true;
    }
    cpuRelax();
  }
  for (int i = 0; i < 4; ++i) {
    yieldProcessor();
    if (ready()) {
      return true;
    }
  }
  return false;
}

// A small internal lock for the objects' slow paths: 0 free, 1 locked,
// 2 locked with sleepers. Not recursive, no owner, no abandonment.
class FutexLock {
 public:
  void lock() {
    uint32_t expected = 0;
    if (!word_.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      lockContended();
    }
  }
  void unlock() {
    if (word_.exchange(0, std::memory_order_release) == 2) {
      futexWake(word_, 1);
    }
  }

 private:
  void lockContended();
  std::atomic<uint32_t> word_{0};
};

class FutexLockGuard {
 public:
  explicit FutexLockGuard(FutexLock &lock) : lock_(lock) { lock_.lock(); }
  ~FutexLockGuard() { lock_.unlock(); }
  FutexLockGuard(const FutexLockGuard &) = delete;
  FutexLockGuard &operator=(const FutexLockGuard &) = delete;

 private:
  FutexLock &lock_;
};

}  // namespace pal::posix

#endif
