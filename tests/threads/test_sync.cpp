// Mutexes, semaphores, conditions and events through the library interface.
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/sync.h"
#include "orvane/threads.h"
#include "platform/pal.h"
#include "platform/pal_sync.h"
#include "threads/thread_test_util.h"

using threadtest::elapsedMs;
using threadtest::sleepMs;
using threadtest::waitUntil;

namespace {

// Holds a mutex in another thread until released.
class Holder {
 public:
  explicit Holder(orvHandle *mutex) : mutex_(mutex) {
    thread_ = std::thread([this] {
      orvMutexLock(mutex_);
      held_ = true;
      while (!release_) {
        sleepMs(1);
      }
      orvMutexUnlock(mutex_);
    });
    waitUntil([this] { return held_.load(); });
  }
  ~Holder() {
    release_ = true;
    thread_.join();
  }

 private:
  orvHandle *mutex_;
  std::atomic<bool> held_{false};
  std::atomic<bool> release_{false};
  std::thread thread_;
};

int tryLockFromAnotherThread(orvHandle *mutex) {
  int result = 99;
  std::thread([&] {
    result = orvMutexTryLock(mutex);
    if (result == 0) {
      orvMutexUnlock(mutex);
    }
  }).join();
  return result;
}

}  // namespace

// --- Mutexes ---------------------------------------------------------------

TEST(Mutex, CreateStoresAHandleAndDestroyLeavesTheWord) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  EXPECT_NE(0u, m);
  orvHandle kept = m;
  EXPECT_EQ(0, orvMutexDestroy(&m));
  EXPECT_EQ(kept, m) << "destroy does not clear the word";
  EXPECT_EQ(-1, orvMutexDestroy(&m));
}

TEST(Mutex, TryLockOfAMutexHeldElsewhereIsBusy) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  {
    Holder holder(&m);
    EXPECT_EQ(1, orvMutexTryLock(&m));
  }
  EXPECT_EQ(0, orvMutexTryLock(&m));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  orvMutexDestroy(&m);
}

TEST(Mutex, TimedLockTimesOutWithMinus5AfterItsTime) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  {
    Holder holder(&m);
    auto start = threadtest::Clock::now();
    EXPECT_EQ(-5, orvMutexTimedLock(&m, 10));
    long long ms = elapsedMs(start);
    EXPECT_GE(ms, 8);
    EXPECT_LT(ms, 5000);
  }
  EXPECT_EQ(0, orvMutexTimedLock(&m, 1000));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  orvMutexDestroy(&m);
}

TEST(Mutex, OwnerLocksTwiceAndMustUnlockTwice) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  EXPECT_EQ(0, orvMutexLock(&m));
  EXPECT_EQ(0, orvMutexLock(&m));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  EXPECT_EQ(1, tryLockFromAnotherThread(&m)) << "still held once";
  EXPECT_EQ(0, orvMutexUnlock(&m));
  EXPECT_EQ(0, tryLockFromAnotherThread(&m));
  EXPECT_EQ(-1, orvMutexUnlock(&m)) << "not owned any more";
  orvMutexDestroy(&m);
}

TEST(Mutex, UnlockByAThreadThatDoesNotOwnItFails) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  ASSERT_EQ(0, orvMutexLock(&m));
  int result = 0;
  std::thread([&] { result = orvMutexUnlock(&m); }).join();
  EXPECT_EQ(-1, result);
  EXPECT_EQ(0, orvMutexUnlock(&m));
  orvMutexDestroy(&m);
}

TEST(Mutex, LockAfterAbandonmentWaitsTwiceAndOwnsItTwice) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  std::thread([&] { orvMutexLock(&m); }).join();  // ends holding it
  EXPECT_EQ(0, orvMutexLock(&m));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  EXPECT_EQ(1, tryLockFromAnotherThread(&m)) << "the double wait took it twice";
  EXPECT_EQ(0, orvMutexUnlock(&m));
  EXPECT_EQ(0, tryLockFromAnotherThread(&m));
  orvMutexDestroy(&m);
}

TEST(Mutex, TryAndTimedLockAfterAbandonmentAcquireIt) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  std::thread([&] { orvMutexLock(&m); }).join();
  EXPECT_EQ(0, orvMutexTryLock(&m));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  EXPECT_EQ(0, tryLockFromAnotherThread(&m));
  std::thread([&] { orvMutexLock(&m); }).join();
  EXPECT_EQ(0, orvMutexTimedLock(&m, 100));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  orvMutexDestroy(&m);
}

TEST(Mutex, OperationsOnADestroyedMutexFail) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  ASSERT_EQ(0, orvMutexDestroy(&m));
  EXPECT_EQ(-1, orvMutexLock(&m));
  EXPECT_EQ(-1, orvMutexTryLock(&m));
  EXPECT_EQ(-1, orvMutexTimedLock(&m, 5));
  EXPECT_EQ(-1, orvMutexUnlock(&m));
  orvHandle never = 0;
  EXPECT_EQ(-1, orvMutexLock(&never));
}

TEST(Mutex, AHandleWordReusedForANewMutexNamesOnlyTheNewOne) {
  // The same word and, usually, the same storage and slot: the old handle
  // value must not reach the new mutex.
  orvHandle word = 0;
  ASSERT_EQ(0, orvMutexCreate(&word));
  ASSERT_EQ(0, orvMutexLock(&word));
  ASSERT_EQ(0, orvMutexUnlock(&word));
  orvHandle old = word;
  ASSERT_EQ(0, orvMutexDestroy(&word));
  EXPECT_EQ(-1, orvMutexLock(&word)) << "the word still holds the closed handle";
  ASSERT_EQ(0, orvMutexCreate(&word));
  EXPECT_EQ(0, orvMutexLock(&word));
#if !defined(_WIN32)
  // POSIX handles carry a generation; Windows may hand out the same value
  // again, and then the old value names the new mutex there.
  EXPECT_NE(old, word);
  orvHandle stale = old;
  EXPECT_EQ(-1, orvMutexLock(&stale));
  EXPECT_EQ(-1, orvMutexUnlock(&stale));
#else
  (void)old;
#endif
  EXPECT_EQ(0, orvMutexUnlock(&word));
  EXPECT_EQ(-1, orvMutexUnlock(&word)) << "released once too often";
  orvMutexDestroy(&word);
}

TEST(Mutex, ManyMutexesInTurnStayDistinct) {
  // More mutexes than a thread remembers at once.
  std::vector<orvHandle> mutexes(40, 0);
  for (orvHandle &m : mutexes) {
    ASSERT_EQ(0, orvMutexCreate(&m));
  }
  for (int round = 0; round < 3; ++round) {
    for (orvHandle &m : mutexes) {
      ASSERT_EQ(0, orvMutexLock(&m));
    }
    for (orvHandle &m : mutexes) {
      EXPECT_EQ(1, tryLockFromAnotherThread(&m)) << "each one is held";
      break;  // one probe per round is enough
    }
    for (auto it = mutexes.rbegin(); it != mutexes.rend(); ++it) {
      ASSERT_EQ(0, orvMutexUnlock(&*it));
    }
  }
  for (orvHandle &m : mutexes) {
    EXPECT_EQ(0, tryLockFromAnotherThread(&m));
    orvMutexDestroy(&m);
  }
}

// --- Semaphores ---------------------------------------------------------------

TEST(Semaphore, TryWaitOnZeroIsBusyUntilAPost) {
  orvHandle s = 0;
  ASSERT_EQ(0, orvSemaphoreCreate(&s, 0));
  EXPECT_EQ(1, orvSemaphoreTryWait(&s));
  EXPECT_EQ(0, orvSemaphorePost(&s));
  EXPECT_EQ(0, orvSemaphoreTryWait(&s));
  EXPECT_EQ(1, orvSemaphoreTryWait(&s));
  EXPECT_EQ(0, orvSemaphoreDestroy(&s));
}

TEST(Semaphore, PostingBeyondTheMaximumFails) {
  orvHandle s = 0;
  ASSERT_EQ(0, orvSemaphoreCreate(&s, ORV_SEMAPHORE_MAX_COUNT));
  EXPECT_EQ(-1, orvSemaphorePost(&s));
  EXPECT_EQ(-1, orvSemaphorePostN(&s, 1));
  EXPECT_EQ(0, orvSemaphoreWait(&s));
  EXPECT_EQ(0, orvSemaphorePost(&s)) << "back at the maximum";
  EXPECT_EQ(-1, orvSemaphorePostN(&s, 2));
  EXPECT_EQ(0, orvSemaphoreDestroy(&s));
  EXPECT_EQ(134217727, ORV_SEMAPHORE_MAX_COUNT);
}

TEST(Semaphore, InitialCountAboveTheMaximumFails) {
  orvHandle s = 0;
  EXPECT_EQ(-1, orvSemaphoreCreate(&s, ORV_SEMAPHORE_MAX_COUNT + 1));
  EXPECT_EQ(0u, s);
  EXPECT_EQ(-1, orvSemaphoreCreate(&s, -1));
}

TEST(Semaphore, PostNReleasesThatManyAndRejectsZero) {
  orvHandle s = 0;
  ASSERT_EQ(0, orvSemaphoreCreate(&s, 0));
  EXPECT_EQ(0, orvSemaphorePostN(&s, 3));
  EXPECT_EQ(0, orvSemaphoreTryWait(&s));
  EXPECT_EQ(0, orvSemaphoreTryWait(&s));
  EXPECT_EQ(0, orvSemaphoreTryWait(&s));
  EXPECT_EQ(1, orvSemaphoreTryWait(&s));
  EXPECT_EQ(-1, orvSemaphorePostN(&s, 0)) << "error 87 maps to -1";
  orvSemaphoreDestroy(&s);
}

TEST(Semaphore, TimedWaitTimesOutWithMinus5) {
  orvHandle s = 0;
  ASSERT_EQ(0, orvSemaphoreCreate(&s, 0));
  auto start = threadtest::Clock::now();
  EXPECT_EQ(-5, orvSemaphoreTimedWait(&s, 20));
  EXPECT_GE(elapsedMs(start), 15);
  std::thread poster([&] {
    sleepMs(10);
    orvSemaphorePost(&s);
  });
  EXPECT_EQ(0, orvSemaphoreTimedWait(&s, 10000));
  poster.join();
  orvSemaphoreDestroy(&s);
}

TEST(Semaphore, OperationsOnADestroyedSemaphoreFail) {
  orvHandle s = 0;
  ASSERT_EQ(0, orvSemaphoreCreate(&s, 1));
  ASSERT_EQ(0, orvSemaphoreDestroy(&s));
  EXPECT_EQ(-1, orvSemaphoreWait(&s));
  EXPECT_EQ(-1, orvSemaphoreTryWait(&s));
  EXPECT_EQ(-1, orvSemaphoreTimedWait(&s, 5));
  EXPECT_EQ(-1, orvSemaphorePost(&s));
  EXPECT_EQ(-1, orvSemaphorePostN(&s, 2));
  EXPECT_EQ(-1, orvSemaphoreDestroy(&s));
}

// --- Events ---------------------------------------------------------------------

TEST(Event, ManualResetReleasesEveryoneUntilReset) {
  orvHandle e = 0;
  ASSERT_EQ(0, orvEventCreate(&e, 1, 0));
  EXPECT_EQ(-5, orvEventTimedWait(&e, 5));
  std::atomic<int> passed{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      if (orvEventWait(&e) == 0) {
        ++passed;
      }
    });
  }
  sleepMs(20);
  EXPECT_EQ(0, orvEventSignal(&e));
  for (auto &t : waiters) {
    t.join();
  }
  EXPECT_EQ(3, passed.load());
  EXPECT_EQ(0, orvEventTimedWait(&e, 0)) << "still signalled";
  EXPECT_EQ(0, orvEventReset(&e));
  EXPECT_EQ(-5, orvEventTimedWait(&e, 0));
  EXPECT_EQ(0, orvEventDestroy(&e));
}

TEST(Event, AutoResetLetsOneWaitThrough) {
  orvHandle e = 0;
  ASSERT_EQ(0, orvEventCreate(&e, 0, 1));
  EXPECT_EQ(0, orvEventWait(&e));
  EXPECT_EQ(-5, orvEventTimedWait(&e, 5));
  EXPECT_EQ(0, orvEventSignal(&e));
  EXPECT_EQ(0, orvEventTimedWait(&e, 100));
  EXPECT_EQ(-5, orvEventTimedWait(&e, 0));
  EXPECT_EQ(0, orvEventDestroy(&e));
}

TEST(Event, PulseWakesWaitersAndLeavesItReset) {
  orvHandle e = 0;
  ASSERT_EQ(0, orvEventCreate(&e, 1, 0));
  std::atomic<int> passed{0};
  std::atomic<int> started{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 2; ++i) {
    waiters.emplace_back([&] {
      ++started;
      if (orvEventTimedWait(&e, 10000) == 0) {
        ++passed;
      }
    });
  }
  // A pulse releases only the threads already waiting: let both get there,
  // also on a loaded machine.
  ASSERT_TRUE(threadtest::waitUntil([&] { return started.load() == 2; }));
  sleepMs(150);
  EXPECT_EQ(0, orvEventPulse(&e));
  for (auto &t : waiters) {
    t.join();
  }
  EXPECT_EQ(2, passed.load());
  EXPECT_EQ(-5, orvEventTimedWait(&e, 0));
  EXPECT_EQ(0, orvEventDestroy(&e));
}

TEST(Event, OperationsOnADestroyedEventFail) {
  orvHandle e = 0;
  ASSERT_EQ(0, orvEventCreate(&e, 1, 1));
  ASSERT_EQ(0, orvEventDestroy(&e));
  EXPECT_EQ(-1, orvEventWait(&e));
  EXPECT_EQ(-1, orvEventTimedWait(&e, 5));
  EXPECT_EQ(-1, orvEventSignal(&e));
  EXPECT_EQ(-1, orvEventPulse(&e));
  EXPECT_EQ(-1, orvEventReset(&e));
  EXPECT_EQ(-1, orvEventDestroy(&e));
}

// --- Conditions -------------------------------------------------------------------

namespace {

struct ConditionFixture {
  ConditionFixture() {
    EXPECT_EQ(0, orvConditionCreate(&condition));
    EXPECT_EQ(0, orvMutexCreate(&mutex));
  }
  ~ConditionFixture() {
    orvConditionDestroy(&condition);
    orvMutexDestroy(&mutex);
  }
  orvCondition condition{};
  orvHandle mutex = 0;
};

int waitersOf(ConditionFixture &f) {
  orvMutexLock(&f.mutex);
  int n = std::atomic_ref<int32_t>(f.condition.waiters).load();
  orvMutexUnlock(&f.mutex);
  return n;
}

}  // namespace

TEST(Condition, CreateSetsItsFields) {
  orvCondition c;
  c.waiters = 7;
  c.broadcastSeen = 9;
  ASSERT_EQ(0, orvConditionCreate(&c));
  EXPECT_EQ(0, c.waiters);
  EXPECT_EQ(0u, c.broadcastSeen);
  EXPECT_NE(0u, c.queue);
  EXPECT_NE(0u, c.guard);
  EXPECT_NE(0u, c.lastWaiterDone);
  EXPECT_EQ(0, orvConditionDestroy(&c));
}

TEST(Condition, SignalWithoutAWaiterIsLost) {
  ConditionFixture f;
  orvMutexLock(&f.mutex);
  EXPECT_EQ(0, orvConditionSignal(&f.condition));
  orvMutexUnlock(&f.mutex);
  // The lost signal left nothing behind for a later waiter.
  EXPECT_EQ(1, orvSemaphoreTryWait(&f.condition.queue));
}

TEST(Condition, BroadcastWithoutAWaiterReturnsAtOnce) {
  ConditionFixture f;
  orvMutexLock(&f.mutex);
  auto start = threadtest::Clock::now();
  EXPECT_EQ(0, orvConditionBroadcast(&f.condition));
  EXPECT_LT(elapsedMs(start), 1000);
  orvMutexUnlock(&f.mutex);
  EXPECT_EQ(0u, f.condition.broadcastSeen) << "nothing was broadcast";
}

TEST(Condition, SignalWakesOneWaiter) {
  ConditionFixture f;
  bool ready = false;
  std::atomic<int> woken{0};
  std::thread waiter([&] {
    orvMutexLock(&f.mutex);
    while (!ready) {
      EXPECT_EQ(0, orvConditionWait(&f.condition, &f.mutex));
    }
    ++woken;
    orvMutexUnlock(&f.mutex);
  });
  ASSERT_TRUE(waitUntil([&] { return waitersOf(f) == 1; }));
  orvMutexLock(&f.mutex);
  ready = true;
  EXPECT_EQ(0, orvConditionSignal(&f.condition));
  orvMutexUnlock(&f.mutex);
  waiter.join();
  EXPECT_EQ(1, woken.load());
  EXPECT_EQ(0, f.condition.waiters);
}

TEST(Condition, BroadcastWakesAllThreeAndReturnsAfterTheThirdHasWoken) {
  ConditionFixture f;
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      orvMutexLock(&f.mutex);
      orvConditionWait(&f.condition, &f.mutex);
      ++woken;
      orvMutexUnlock(&f.mutex);
    });
  }
  ASSERT_TRUE(waitUntil([&] { return waitersOf(f) == 3; }));
  orvMutexLock(&f.mutex);
  EXPECT_EQ(0, orvConditionBroadcast(&f.condition));
  // Every waiter has taken its wake-up (the count is back to 0) although
  // none can have returned yet: the broadcaster still holds the mutex.
  EXPECT_EQ(0, f.condition.waiters);
  EXPECT_EQ(0, woken.load());
  EXPECT_EQ(1u, f.condition.broadcastSeen);
  orvMutexUnlock(&f.mutex);
  for (auto &t : waiters) {
    t.join();
  }
  EXPECT_EQ(3, woken.load());
}

TEST(Condition, BroadcastSeenIsNeverClearedAndALaterSignalSetsTheHandOffEvent) {
  ConditionFixture f;
  auto waitOnce = [&] {
    orvMutexLock(&f.mutex);
    orvConditionWait(&f.condition, &f.mutex);
    orvMutexUnlock(&f.mutex);
  };
  std::thread first(waitOnce);
  ASSERT_TRUE(waitUntil([&] { return waitersOf(f) == 1; }));
  orvMutexLock(&f.mutex);
  orvConditionBroadcast(&f.condition);
  orvMutexUnlock(&f.mutex);
  first.join();
  EXPECT_EQ(1u, f.condition.broadcastSeen);

  // A waiter woken by a signal now also takes the broadcast hand-off path:
  // being the last waiter, it sets lastWaiterDone although nobody waits.
  std::thread second(waitOnce);
  ASSERT_TRUE(waitUntil([&] { return waitersOf(f) == 1; }));
  orvMutexLock(&f.mutex);
  orvConditionSignal(&f.condition);
  orvMutexUnlock(&f.mutex);
  second.join();
  EXPECT_EQ(1u, f.condition.broadcastSeen);
  EXPECT_EQ(0, orvEventTimedWait(&f.condition.lastWaiterDone, 0))
      << "the hand-off event was left set: a following broadcast may return before its waiters run";
}

TEST(Condition, WaitWithAnUnusableMutexFailsAndCountsItselfOut) {
  ConditionFixture f;
  orvHandle closed = 0;
  ASSERT_EQ(0, orvMutexCreate(&closed));
  orvMutexDestroy(&closed);
  EXPECT_EQ(-1, orvConditionWait(&f.condition, &closed));
  EXPECT_EQ(0, f.condition.waiters);
}

TEST(Condition, WaitOnABrokenQueueFailsAndRelocksTheMutex) {
  ConditionFixture f;
  orvSemaphoreDestroy(&f.condition.queue);
  orvMutexLock(&f.mutex);
  EXPECT_EQ(-1, orvConditionWait(&f.condition, &f.mutex));
  EXPECT_EQ(0, f.condition.waiters);
  EXPECT_EQ(1, tryLockFromAnotherThread(&f.mutex)) << "the mutex is held again";
  EXPECT_EQ(0, orvMutexUnlock(&f.mutex));
}

TEST(Condition, PingPongBetweenTwoThreads) {
  // One condition per direction: a thread that signals a condition and then
  // waits on the same one may take its own wake-up (the queue is a
  // semaphore), so each side waits on its own.
  ConditionFixture f;
  orvCondition back{};
  ASSERT_EQ(0, orvConditionCreate(&back));
  int turn = 0;
  constexpr int kRounds = 300;
  std::thread other([&] {
    orvMutexLock(&f.mutex);
    for (int i = 0; i < kRounds; ++i) {
      while (turn != 1) {
        orvConditionWait(&f.condition, &f.mutex);
      }
      turn = 0;
      orvConditionSignal(&back);
    }
    orvMutexUnlock(&f.mutex);
  });
  orvMutexLock(&f.mutex);
  for (int i = 0; i < kRounds; ++i) {
    turn = 1;
    orvConditionSignal(&f.condition);
    while (turn != 0) {
      orvConditionWait(&back, &f.mutex);
    }
  }
  orvMutexUnlock(&f.mutex);
  other.join();
  EXPECT_EQ(0, turn);
  orvConditionDestroy(&back);
}
