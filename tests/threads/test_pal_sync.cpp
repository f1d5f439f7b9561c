// The platform layer's mutexes, semaphores and events (white-box: the same
// tests run against the POSIX half and, under wine, the Win32 half).
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_sync.h"
#include "platform/pal_thread.h"
#include "threads/thread_test_util.h"

using threadtest::elapsedMs;
using threadtest::sleepMs;
using threadtest::waitUntil;

namespace {

class Handles {
 public:
  ~Handles() {
    for (pal::Handle h : handles_) {
      pal::closeHandle(h);
    }
  }
  pal::Handle keep(pal::Handle h) {
    if (h != pal::kNullHandle) {
      handles_.push_back(h);
    }
    return h;
  }

 private:
  std::vector<pal::Handle> handles_;
};

// A handle that names nothing: a closed one.
pal::Handle closedMutex() {
  pal::Handle h = pal::createMutex();
  pal::closeHandle(h);
  return h;
}

}  // namespace

// --- Mutexes ------------------------------------------------------------------

TEST(PalMutex, IsRecursiveForItsOwner) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  ASSERT_NE(pal::kNullHandle, m);
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(m, 0));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(m, pal::kInfinite));
  EXPECT_TRUE(pal::releaseMutex(m));
  EXPECT_TRUE(pal::releaseMutex(m));
  pal::setLastError(0);
  EXPECT_FALSE(pal::releaseMutex(m)) << "released more often than taken";
  EXPECT_EQ(pal::kErrorNotOwner, pal::getLastError());
}

TEST(PalMutex, ReleaseByAnotherThreadFailsWith288) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  ASSERT_EQ(pal::kWaitObject0, pal::waitForSingleObject(m, pal::kInfinite));
  bool released = true;
  uint32_t error = 0;
  std::thread other([&] {
    released = pal::releaseMutex(m);
    error = pal::getLastError();
  });
  other.join();
  EXPECT_FALSE(released);
  EXPECT_EQ(pal::kErrorNotOwner, error);
  EXPECT_TRUE(pal::releaseMutex(m));
}

TEST(PalMutex, HeldByAnotherThreadTimesOut) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  std::atomic<bool> held{false};
  std::atomic<bool> done{false};
  std::thread holder([&] {
    pal::waitForSingleObject(m, pal::kInfinite);
    held = true;
    while (!done) {
      sleepMs(1);
    }
    pal::releaseMutex(m);
  });
  ASSERT_TRUE(waitUntil([&] { return held.load(); }));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(m, 0));
  auto start = threadtest::Clock::now();
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(m, 30));
  long long ms = elapsedMs(start);
  EXPECT_GE(ms, 25);
  EXPECT_LT(ms, 5000);
  done = true;
  holder.join();
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(m, 1000));
  EXPECT_TRUE(pal::releaseMutex(m));
}

TEST(PalMutex, WaiterGetsItWhenTheHolderReleases) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  ASSERT_EQ(pal::kWaitObject0, pal::waitForSingleObject(m, pal::kInfinite));
  std::atomic<uint32_t> result{99};
  std::thread waiter([&] {
    result = pal::waitForSingleObject(m, pal::kInfinite);
    pal::releaseMutex(m);
  });
  sleepMs(20);
  EXPECT_EQ(99u, result.load());
  EXPECT_TRUE(pal::releaseMutex(m));
  waiter.join();
  EXPECT_EQ(pal::kWaitObject0, result.load());
}

TEST(PalMutex, OwnerEndingWhileHoldingAbandonsIt) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  std::thread owner([&] {
    pal::waitForSingleObject(m, pal::kInfinite);
    pal::waitForSingleObject(m, pal::kInfinite);  // held twice
  });
  owner.join();
  EXPECT_EQ(pal::kWaitAbandoned, pal::waitForSingleObject(m, 1000));
  // The abandoned wait made this thread the owner, once.
  std::atomic<uint32_t> other{0};
  std::thread probe([&] { other = pal::waitForSingleObject(m, 0); });
  probe.join();
  EXPECT_EQ(pal::kWaitTimeout, other.load());
  EXPECT_TRUE(pal::releaseMutex(m));
  EXPECT_FALSE(pal::releaseMutex(m));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(m, 0)) << "abandonment is reported once";
  EXPECT_TRUE(pal::releaseMutex(m));
}

TEST(PalMutex, SleepingWaiterSeesTheAbandonment) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  std::atomic<bool> held{false};
  std::atomic<bool> end{false};
  std::thread owner([&] {
    pal::waitForSingleObject(m, pal::kInfinite);
    held = true;
    while (!end) {
      sleepMs(1);
    }
  });
  ASSERT_TRUE(waitUntil([&] { return held.load(); }));
  std::atomic<uint32_t> result{99};
  std::thread waiter([&] {
    result = pal::waitForSingleObject(m, pal::kInfinite);
    pal::releaseMutex(m);
  });
  sleepMs(20);
  end = true;
  owner.join();
  waiter.join();
  EXPECT_EQ(pal::kWaitAbandoned, result.load());
}

namespace {
unsigned PAL_THREAD_CALL takeMutexAndEnd(void *argument) {
  pal::waitForSingleObject(*static_cast<pal::Handle *>(argument), pal::kInfinite);
  pal::endThread(5);
}
}  // namespace

TEST(PalMutex, ThreadEndedThroughEndThreadAbandonsItsMutexes) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  pal::Handle t = hs.keep(pal::beginThread(takeMutexAndEnd, &m, 0, nullptr));
  ASSERT_NE(pal::kNullHandle, t);
  ASSERT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  EXPECT_EQ(pal::kWaitAbandoned, pal::waitForSingleObject(m, 1000));
  EXPECT_TRUE(pal::releaseMutex(m));
}

TEST(PalMutex, ClosedOrMadeUpHandlesFailWithError6) {
  pal::Handle m = closedMutex();
  pal::setLastError(0);
  EXPECT_EQ(pal::kWaitFailed, pal::waitForSingleObject(m, 0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  pal::setLastError(0);
  EXPECT_FALSE(pal::releaseMutex(m));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  pal::setLastError(0);
  EXPECT_FALSE(pal::closeHandle(m));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  pal::setLastError(0);
  EXPECT_EQ(pal::kWaitFailed, pal::waitForSingleObject(pal::kNullHandle, 0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
}

TEST(PalMutex, ManyThreadsKeepACounterExact) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        pal::waitForSingleObject(m, pal::kInfinite);
        ++counter;
        pal::releaseMutex(m);
      }
    });
  }
  for (auto &t : threads) {
    t.join();
  }
  EXPECT_EQ(8000, counter);
}

// --- Semaphores -------------------------------------------------------------------

TEST(PalSemaphore, CountsAndRespectsItsMaximum) {
  Handles hs;
  pal::Handle s = hs.keep(pal::createSemaphore(1, 3));
  ASSERT_NE(pal::kNullHandle, s);
  int32_t previous = -1;
  EXPECT_TRUE(pal::releaseSemaphore(s, 2, &previous));
  EXPECT_EQ(1, previous);
  pal::setLastError(0);
  EXPECT_FALSE(pal::releaseSemaphore(s, 1, &previous)) << "3 + 1 passes the maximum";
  EXPECT_EQ(pal::kErrorTooManyPosts, pal::getLastError());
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(s, 0));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(s, 0));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(s, 0));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(s, 0)) << "the failed release changed nothing";
}

TEST(PalSemaphore, BadArgumentsFailWith87) {
  pal::setLastError(0);
  EXPECT_EQ(pal::kNullHandle, pal::createSemaphore(2, 1));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, pal::createSemaphore(-1, 1));
  EXPECT_EQ(pal::kNullHandle, pal::createSemaphore(0, 0));
  Handles hs;
  pal::Handle s = hs.keep(pal::createSemaphore(0, 5));
  pal::setLastError(0);
  EXPECT_FALSE(pal::releaseSemaphore(s, 0, nullptr));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
}

TEST(PalSemaphore, WaiterWakesOnRelease) {
  Handles hs;
  pal::Handle s = hs.keep(pal::createSemaphore(0, 10));
  std::atomic<uint32_t> result{99};
  std::thread waiter([&] { result = pal::waitForSingleObject(s, pal::kInfinite); });
  sleepMs(20);
  EXPECT_EQ(99u, result.load());
  EXPECT_TRUE(pal::releaseSemaphore(s, 1, nullptr));
  waiter.join();
  EXPECT_EQ(pal::kWaitObject0, result.load());
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(s, 10));
}

TEST(PalSemaphore, ReleaseOfNWakesNWaiters) {
  Handles hs;
  pal::Handle s = hs.keep(pal::createSemaphore(0, 100));
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.emplace_back([&] {
      if (pal::waitForSingleObject(s, 10000) == pal::kWaitObject0) {
        ++woken;
      }
    });
  }
  sleepMs(20);
  EXPECT_TRUE(pal::releaseSemaphore(s, 4, nullptr));
  for (auto &t : waiters) {
    t.join();
  }
  EXPECT_EQ(4, woken.load());
}

// --- Events ---------------------------------------------------------------------

TEST(PalEvent, ManualResetStaysSignalledUntilReset) {
  Handles hs;
  pal::Handle e = hs.keep(pal::createEvent(true, false));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 0));
  EXPECT_TRUE(pal::setEvent(e));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(e, 0));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(e, 0));
  EXPECT_TRUE(pal::resetEvent(e));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 0));
}

TEST(PalEvent, AutoResetIsConsumedByOneWait) {
  Handles hs;
  pal::Handle e = hs.keep(pal::createEvent(false, true));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(e, 0));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 0));
  EXPECT_TRUE(pal::setEvent(e));
  EXPECT_TRUE(pal::setEvent(e));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(e, 0));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 0)) << "two sets without waiters are one signal";
}

namespace {
// Starts n threads waiting on handle; counts those whose wait succeeded.
struct Waiters {
  Waiters(pal::Handle handle, int n, uint32_t ms) {
    for (int i = 0; i < n; ++i) {
      threads.emplace_back([this, handle, ms] {
        ++started;
        if (pal::waitForSingleObject(handle, ms) == pal::kWaitObject0) {
          ++released;
        }
        ++finished;
      });
    }
    waitUntil([&] { return started.load() == n; });
    sleepMs(150);  // let them reach the wait, also on a loaded machine
  }
  void join() {
    for (auto &t : threads) {
      t.join();
    }
  }
  std::vector<std::thread> threads;
  std::atomic<int> started{0};
  std::atomic<int> released{0};
  std::atomic<int> finished{0};
};
}  // namespace

TEST(PalEvent, ManualSetReleasesEveryWaiter) {
  Handles hs;
  pal::Handle e = hs.keep(pal::createEvent(true, false));
  Waiters w(e, 3, 10000);
  EXPECT_TRUE(pal::setEvent(e));
  w.join();
  EXPECT_EQ(3, w.released.load());
}

TEST(PalEvent, AutoSetReleasesOneWaiterAndStaysReset) {
  Handles hs;
  pal::Handle e = hs.keep(pal::createEvent(false, false));
  Waiters w(e, 3, 1500);
  EXPECT_TRUE(pal::setEvent(e));
  EXPECT_TRUE(waitUntil([&] { return w.released.load() == 1; }));
  w.join();
  EXPECT_EQ(1, w.released.load());
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 0));
}

TEST(PalEvent, ManualPulseReleasesTheWaitersOfThatMomentAndEndsReset) {
  Handles hs;
  pal::Handle e = hs.keep(pal::createEvent(true, false));
  Waiters w(e, 3, 10000);
  EXPECT_TRUE(pal::pulseEvent(e));
  w.join();
  EXPECT_EQ(3, w.released.load());
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 0));
}

TEST(PalEvent, AutoPulseReleasesOneWaiterAndEndsReset) {
  Handles hs;
  pal::Handle e = hs.keep(pal::createEvent(false, false));
  Waiters w(e, 3, 1500);
  EXPECT_TRUE(pal::pulseEvent(e));
  w.join();
  EXPECT_EQ(1, w.released.load());
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 0));
}

TEST(PalEvent, PulseWithoutWaitersLeavesItReset) {
  Handles hs;
  pal::Handle manual = hs.keep(pal::createEvent(true, true));
  pal::Handle automatic = hs.keep(pal::createEvent(false, true));
  EXPECT_TRUE(pal::pulseEvent(manual));
  EXPECT_TRUE(pal::pulseEvent(automatic));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(manual, 0));
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(automatic, 0));
}

TEST(PalEvent, TimedWaitRunsOutAfterItsTime) {
  Handles hs;
  pal::Handle e = hs.keep(pal::createEvent(false, false));
  auto start = threadtest::Clock::now();
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(e, 40));
  long long ms = elapsedMs(start);
  EXPECT_GE(ms, 35);
  EXPECT_LT(ms, 5000);
}

TEST(PalEvent, ClosedEventFailsWithError6) {
  pal::Handle e = pal::createEvent(true, true);
  ASSERT_TRUE(pal::closeHandle(e));
  pal::setLastError(0);
  EXPECT_FALSE(pal::setEvent(e));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::resetEvent(e));
  EXPECT_FALSE(pal::pulseEvent(e));
  EXPECT_EQ(pal::kWaitFailed, pal::waitForSingleObject(e, 0));
}

TEST(PalEvent, HandlesOfOneKindAreNotTakenForAnother) {
  Handles hs;
  pal::Handle m = hs.keep(pal::createMutex());
  pal::setLastError(0);
  EXPECT_FALSE(pal::setEvent(m));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::releaseSemaphore(m, 1, nullptr));
}

TEST(PalEvent, ProducerConsumerHandOff) {
  Handles hs;
  pal::Handle ready = hs.keep(pal::createEvent(false, false));
  pal::Handle taken = hs.keep(pal::createEvent(false, false));
  int slot = 0;
  long sum = 0;
  std::thread consumer([&] {
    for (int i = 0; i < 500; ++i) {
      pal::waitForSingleObject(ready, pal::kInfinite);
      sum += slot;
      pal::setEvent(taken);
    }
  });
  for (int i = 1; i <= 500; ++i) {
    slot = i;
    pal::setEvent(ready);
    pal::waitForSingleObject(taken, pal::kInfinite);
  }
  consumer.join();
  EXPECT_EQ(500L * 501 / 2, sum);
}

#if !defined(_WIN32)
// POSIX only: Win32 leaves a wait on a handle closed under it running.
TEST(PalSyncPosix, ClosingAHandleEndsTheWaitsOnItWithError6) {
  pal::Handle e = pal::createEvent(true, false);
  pal::Handle s = pal::createSemaphore(0, 1);
  std::atomic<uint32_t> eventResult{99}, semaphoreResult{99};
  std::atomic<uint32_t> eventError{0};
  std::thread a([&] {
    eventResult = pal::waitForSingleObject(e, 10000);
    eventError = pal::getLastError();
  });
  std::thread b([&] { semaphoreResult = pal::waitForSingleObject(s, 10000); });
  sleepMs(30);
  pal::closeHandle(e);
  pal::closeHandle(s);
  a.join();
  b.join();
  EXPECT_EQ(pal::kWaitFailed, eventResult.load());
  EXPECT_EQ(pal::kErrorInvalidHandle, eventError.load());
  EXPECT_EQ(pal::kWaitFailed, semaphoreResult.load());
}
#endif
