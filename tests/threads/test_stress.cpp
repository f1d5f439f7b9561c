// Stress tests: N threads by M iterations of each synchronisation object,
// at a modest size so that they also run under the sanitizers. Each checks
// an invariant that a lost update, a missed wake-up or an overlap would
// break, and each is bounded in time by the waits it uses.
#include <string.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/threads/thread_internal.h"
#include "orvane/sync.h"
#include "orvane/threads.h"
#include "threads/layer_thread.h"
#include "threads/thread_test_util.h"

using threadtest::sleepMs;
using threadtest::waitUntil;

namespace {

constexpr int kThreads = 4;

void runAll(int n, const std::function<void(int)> &body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < n; ++i) {
    threads.emplace_back(body, i);
  }
  for (auto &t : threads) {
    t.join();
  }
}

}  // namespace

TEST(Stress, MutexProtectedCounters) {
  constexpr int kIterations = 3000;
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  long counter = 0;
  long perThread[kThreads] = {};
  runAll(kThreads, [&](int id) {
    for (int i = 0; i < kIterations; ++i) {
      ASSERT_EQ(0, orvMutexLock(&m));
      ++counter;
      ++perThread[id];
      if (i % 7 == 0) {
        orvMutexLock(&m);  // recursive
        ++counter;
        orvMutexUnlock(&m);
      }
      ASSERT_EQ(0, orvMutexUnlock(&m));
    }
  });
  long extra = kThreads * ((kIterations + 6) / 7);
  EXPECT_EQ(kThreads * kIterations + extra, counter);
  orvMutexDestroy(&m);
}

TEST(Stress, SemaphoreProducersAndConsumers) {
  constexpr int kItems = 2000;  // per producer
  constexpr int kSlots = 16;
  orvHandle freeSlots = 0, fullSlots = 0, guard = 0;
  ASSERT_EQ(0, orvSemaphoreCreate(&freeSlots, kSlots));
  ASSERT_EQ(0, orvSemaphoreCreate(&fullSlots, 0));
  ASSERT_EQ(0, orvMutexCreate(&guard));
  int ring[kSlots] = {};
  int head = 0, tail = 0;
  std::atomic<long> consumedSum{0};
  std::atomic<int> consumed{0};
  std::vector<std::thread> threads;
  for (int p = 0; p < 2; ++p) {
    threads.emplace_back([&, p] {
      for (int i = 1; i <= kItems; ++i) {
        orvSemaphoreWait(&freeSlots);
        orvMutexLock(&guard);
        ring[head] = i + p * kItems;
        head = (head + 1) % kSlots;
        orvMutexUnlock(&guard);
        orvSemaphorePost(&fullSlots);
      }
    });
  }
  for (int c = 0; c < 2; ++c) {
    threads.emplace_back([&] {
      for (int i = 0; i < kItems; ++i) {
        if (orvSemaphoreTimedWait(&fullSlots, 20000) != 0) {
          ADD_FAILURE() << "a consumer waited too long";
          return;
        }
        orvMutexLock(&guard);
        int item = ring[tail];
        tail = (tail + 1) % kSlots;
        orvMutexUnlock(&guard);
        orvSemaphorePost(&freeSlots);
        consumedSum += item;
        ++consumed;
      }
    });
  }
  for (auto &t : threads) {
    t.join();
  }
  long n = 2L * kItems;
  EXPECT_EQ(n, consumed.load());
  EXPECT_EQ(n * (n + 1) / 2, consumedSum.load());
  EXPECT_EQ(1, orvSemaphoreTryWait(&fullSlots));
  orvSemaphoreDestroy(&freeSlots);
  orvSemaphoreDestroy(&fullSlots);
  orvMutexDestroy(&guard);
}

TEST(Stress, ConditionBroadcastRoundsWakeEveryWaiterEveryRound) {
  constexpr int kWaiters = 4;
  constexpr int kRounds = 150;
  orvHandle m = 0;
  orvCondition roundStarted{}, allArrived{};
  ASSERT_EQ(0, orvMutexCreate(&m));
  ASSERT_EQ(0, orvConditionCreate(&roundStarted));
  ASSERT_EQ(0, orvConditionCreate(&allArrived));
  int round = 0;
  int arrived = 0;
  int wakes[kWaiters] = {};
  std::vector<std::thread> waiters;
  for (int w = 0; w < kWaiters; ++w) {
    waiters.emplace_back([&, w] {
      int seen = 0;
      orvMutexLock(&m);
      while (seen < kRounds) {
        while (round == seen) {
          orvConditionWait(&roundStarted, &m);
        }
        seen = round;
        ++wakes[w];
        if (++arrived == kWaiters) {
          orvConditionSignal(&allArrived);
        }
      }
      orvMutexUnlock(&m);
    });
  }
  orvMutexLock(&m);
  for (int r = 1; r <= kRounds; ++r) {
    arrived = 0;
    round = r;
    ASSERT_EQ(0, orvConditionBroadcast(&roundStarted));
    while (arrived < kWaiters) {
      orvConditionWait(&allArrived, &m);
    }
  }
  orvMutexUnlock(&m);
  for (auto &t : waiters) {
    t.join();
  }
  for (int w = 0; w < kWaiters; ++w) {
    EXPECT_EQ(kRounds, wakes[w]) << "waiter " << w;
  }
  orvConditionDestroy(&roundStarted);
  orvConditionDestroy(&allArrived);
  orvMutexDestroy(&m);
}

TEST(Stress, EventsHandOffAndGateManyThreads) {
  constexpr int kRounds = 300;
  orvHandle ready = 0, done = 0, gate = 0;
  ASSERT_EQ(0, orvEventCreate(&ready, 0, 0));
  ASSERT_EQ(0, orvEventCreate(&done, 0, 0));
  ASSERT_EQ(0, orvEventCreate(&gate, 1, 0));
  long slot = 0, sum = 0;
  std::thread consumer([&] {
    for (int i = 0; i < kRounds; ++i) {
      orvEventWait(&ready);
      sum += slot;
      orvEventSignal(&done);
    }
  });
  for (int i = 1; i <= kRounds; ++i) {
    slot = i;
    orvEventSignal(&ready);
    ASSERT_EQ(0, orvEventTimedWait(&done, 20000));
  }
  consumer.join();
  EXPECT_EQ(static_cast<long>(kRounds) * (kRounds + 1) / 2, sum);

  // A manual-reset gate opened for many waiters, several times over.
  for (int pass = 0; pass < 20; ++pass) {
    std::atomic<int> through{0};
    std::vector<std::thread> waiters;
    for (int w = 0; w < kThreads; ++w) {
      waiters.emplace_back([&] {
        if (orvEventTimedWait(&gate, 20000) == 0) {
          ++through;
        }
      });
    }
    orvEventSignal(&gate);
    for (auto &t : waiters) {
      t.join();
    }
    EXPECT_EQ(kThreads, through.load());
    orvEventReset(&gate);
  }
  orvEventDestroy(&ready);
  orvEventDestroy(&done);
  orvEventDestroy(&gate);
}

TEST(Stress, ReadWriteLockNeverLetsAReaderOverlapAWriterAndWritersFinish) {
  constexpr int kReaders = 3;
  constexpr int kWriters = 2;
  constexpr int kWrites = 150;
  orvRWLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRWLockCreate(&lock));
  std::atomic<int> readers{0}, writers{0};
  std::atomic<bool> overlap{false};
  std::atomic<int> writersDone{0};
  std::atomic<long> reads{0};
  long shared = 0;
  std::vector<std::thread> threads;
  for (int r = 0; r < kReaders; ++r) {
    threads.emplace_back([&] {
      // Readers keep reading until every writer is done: writers must not
      // starve behind them.
      while (writersDone.load() < kWriters) {
        orvRWLockReadLock(&lock);
        ++readers;
        if (writers.load() != 0) {
          overlap = true;
        }
        volatile long seen = shared;
        (void)seen;
        ++reads;
        --readers;
        orvRWLockUnlock(&lock);
      }
    });
  }
  for (int w = 0; w < kWriters; ++w) {
    threads.emplace_back([&] {
      for (int i = 0; i < kWrites; ++i) {
        orvRWLockWriteLock(&lock);
        if (++writers != 1 || readers.load() != 0) {
          overlap = true;
        }
        ++shared;
        --writers;
        orvRWLockUnlock(&lock);
      }
      ++writersDone;
    });
  }
  for (auto &t : threads) {
    t.join();
  }
  EXPECT_FALSE(overlap.load());
  EXPECT_EQ(kWriters * kWrites, shared);
  EXPECT_GT(reads.load(), 0);
  EXPECT_EQ(0, lock.holders);
  orvRWLockDestroy(&lock);
}

TEST(Stress, RecursiveLocksNestUnderContention) {
  threads::setTracingOn();  // every layer thread its own identity
  constexpr int kIterations = 200;
  orvRecursiveLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRecursiveMutexCreate(&lock));
  long counter = 0;
  std::atomic<int> inside{0};
  std::atomic<bool> overlap{false};
  std::vector<orvThread *> workers;
  threadtest::Task task{[&] {
    for (int i = 0; i < kIterations; ++i) {
      for (int depth = 0; depth < 3; ++depth) {
        orvRecursiveLockAcquire(&lock, 0);
      }
      if (++inside != 1) {
        overlap = true;
      }
      ++counter;
      --inside;
      for (int depth = 0; depth < 3; ++depth) {
        orvRecursiveLockRelease(&lock);
      }
    }
  }};
  for (int t = 0; t < kThreads; ++t) {
    orvThread *thread = nullptr;
    ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &thread, nullptr));
    workers.push_back(thread);
  }
  for (orvThread *thread : workers) {
    orvThreadJoin(thread, nullptr);
    orvThreadDestroy(thread);
  }
  EXPECT_FALSE(overlap.load());
  EXPECT_EQ(kThreads * kIterations, counter);
  orvRecursiveLockDestroy(&lock);
}

namespace {
std::atomic<int> churnDestructions{0};
void countDestruction(void *) { ++churnDestructions; }
}  // namespace

TEST(Stress, KeyDestructorsUnderThreadChurn) {
  constexpr int kBatches = 12;
  churnDestructions = 0;
  orvThreadKey *kept = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&kept, countDestruction));
  int value = 1;
  int started = 0;
  for (int batch = 0; batch < kBatches; ++batch) {
    // A second key lives for one batch and is destroyed while its threads
    // are exiting.
    orvThreadKey *brief = nullptr;
    ASSERT_EQ(0, orvThreadKeyCreate(&brief, countDestruction));
    std::atomic<int> set{0};
    threadtest::Task task{[&] {
      orvThreadSetSpecific(kept, &value);
      orvThreadSetSpecific(brief, &value);
      ++set;
      orvThreadYield();
    }};
    std::vector<orvThread *> batchThreads;
    for (int t = 0; t < kThreads; ++t) {
      orvThread *thread = nullptr;
      ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &thread, nullptr));
      batchThreads.push_back(thread);
      ++started;
    }
    // Every thread has set its values (a destroyed key must not be used);
    // the destroy now races with their exits.
    waitUntil([&] { return set.load() == kThreads; });
    orvThreadKeyDestroy(brief);
    for (orvThread *thread : batchThreads) {
      orvThreadJoin(thread, nullptr);
      orvThreadDestroy(thread);
    }
  }
  // The kept key's destructor ran once per thread; the brief key's for the
  // threads that exited before it was destroyed.
  EXPECT_GE(churnDestructions.load(), started);
  EXPECT_LE(churnDestructions.load(), 2 * started);
  orvThreadKeyDestroy(kept);
}

TEST(Stress, StateTrapsCollectThreadsThatExitInRandomOrder) {
  constexpr int kWorkers = 8;
  orvStateTrap *trap = orvThreadStateTrapCreate(ORV_THREAD_NOT_RUNNING);
  std::mt19937 random(12345);
  std::vector<int> delays;
  for (int i = 0; i < kWorkers; ++i) {
    delays.push_back(static_cast<int>(random() % 30));
  }
  std::vector<orvThread *> workers(kWorkers);
  std::vector<threadtest::Task> tasks;
  tasks.reserve(kWorkers);
  for (int i = 0; i < kWorkers; ++i) {
    tasks.push_back(threadtest::Task{[delay = delays[i]] { sleepMs(delay); }});
    ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &tasks[i], 0, &workers[i], nullptr));
    ASSERT_EQ(0, orvThreadStateTrapSet(trap, workers[i]));
  }
  for (orvThread *w : workers) {
    orvThreadContinue(w);
  }
  std::set<orvThread *> collected;
  for (int i = 0; i < kWorkers; ++i) {
    int status = 99;
    orvThread *next = orvThreadStateTrapNext(trap, &status);
    EXPECT_EQ(0, status);
    EXPECT_TRUE(collected.insert(next).second) << "each thread arrives once";
  }
  EXPECT_EQ(std::set<orvThread *>(workers.begin(), workers.end()), collected);
  EXPECT_EQ(0, trap->error);
  for (orvThread *w : workers) {
    orvThreadJoin(w, nullptr);
    orvThreadDestroy(w);
  }
  orvThreadStateTrapDestroy(trap);
}

TEST(Stress, ManyThreadsCreateJoinAndDestroy) {
  for (int round = 0; round < 40; ++round) {
    std::vector<orvThread *> batch;
    std::atomic<int> ran{0};
    threadtest::Task task{[&] { ++ran; }};
    for (int t = 0; t < kThreads; ++t) {
      orvThread *thread = nullptr;
      ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, t % 2, &thread, nullptr));
      batch.push_back(thread);
    }
    for (orvThread *thread : batch) {
      orvThreadContinue(thread);
      uint32_t code = 99;
      EXPECT_EQ(0, orvThreadJoin(thread, &code));
      EXPECT_EQ(0u, code);
      orvThreadDestroy(thread);
    }
    EXPECT_EQ(kThreads, ran.load());
  }
}
