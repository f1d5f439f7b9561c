// Helpers shared by the thread and synchronisation tests.
#ifndef ORVANE_TESTS_THREADS_UTIL_H
#define ORVANE_TESTS_THREADS_UTIL_H

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace threadtest {

using Clock = std::chrono::steady_clock;

// Polls predicate until it holds or the time limit passes; true if it held.
inline bool waitUntil(const std::function<bool()> &predicate,
                      std::chrono::milliseconds limit = std::chrono::milliseconds(10000)) {
  auto end = Clock::now() + limit;
  while (!predicate()) {
    if (Clock::now() >= end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

inline void sleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

inline long long elapsedMs(Clock::time_point since) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count();
}

// True when value stays the same over a short while.
inline bool staysAt(const std::atomic<long> &value, int ms = 60) {
  long before = value.load();
  sleepMs(ms);
  return value.load() == before;
}

}  // namespace threadtest

#endif
