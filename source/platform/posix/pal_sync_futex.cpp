// Futex primitives of the POSIX synchronisation objects.
#include "platform/posix/pal_sync_futex.h"

#include <errno.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>

namespace pal::posix {

namespace {

constexpr long kNanosPerSecond = 1000000000L;

long futexCall(std::atomic<uint32_t> &word, int op, uint32_t value, const struct timespec *timeout,
               uint32_t bitset) {
  return ::syscall(SYS_futex, reinterpret_cast<uint32_t *>(&word), op, value, timeout, nullptr, bitset);
}

}  // namespace

Deadline Deadline::after(uint32_t milliseconds) {
  Deadline d;
  if (milliseconds == 0xFFFFFFFFu) {
    return d;
  }
  d.forever = false;
  clock_gettime(CLOCK_MONOTONIC, &d.at);
  d.at.tv_sec += static_cast<time_t>(milliseconds / 1000u);
  d.at.tv_nsec += static_cast<long>(milliseconds % 1000u) * 1000000L;
  if (d.at.tv_nsec >= kNanosPerSecond) {
    d.at.tv_nsec -= kNanosPerSecond;
    d.at.tv_sec += 1;
  }
  return d;
}

bool Deadline::passed() const {
  if (forever) {
    return false;
  }
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec > at.tv_sec || (now.tv_sec == at.tv_sec && now.tv_nsec >= at.tv_nsec);
}

FutexResult futexWait(std::atomic<uint32_t> &word, uint32_t expected, const Deadline &deadline) {
  // FUTEX_WAIT_BITSET takes an absolute time-out, measured on the monotonic
  // clock unless FUTEX_CLOCK_REALTIME is given.
  long rc = futexCall(word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected,
                      deadline.forever ? nullptr : &deadline.at, FUTEX_BITSET_MATCH_ANY);
  if (rc == 0) {
    return FutexResult::Woken;
  }
  switch (errno) {
    case ETIMEDOUT:
      return FutexResult::TimedOut;
    case EINTR:
      return FutexResult::Interrupted;
    default:  // EAGAIN: the word had changed already
      return FutexResult::Woken;
  }
}

void futexWake(std::atomic<uint32_t> &word, int count) {
  futexCall(word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, static_cast<uint32_t>(count), nullptr, 0);
}

void yieldProcessor() { sched_yield(); }

void futexWakeAll(std::atomic<uint32_t> &word) { futexWake(word, INT_MAX); }

void FutexLock::lockContended() {
  for (int spin = 0; spin < 64; ++spin) {
    uint32_t expected = 0;
    if (word_.load(std::memory_order_relaxed) == 0 &&
        word_.compare_exchange_weak(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      return;
    }
    cpuRelax();
  }
  // Mark the lock as having sleepers; whoever takes it this way keeps the
  // mark, so the unlock that follows wakes the next sleeper.
  while (word_.exchange(2, std::memory_order_acquire) != 0) {
    futexWait(word_, 2, Deadline{});
  }
}

}  // namespace pal::posix
