// The read-write lock's fast path: untraced readers that take and give back
// a read lock without the lock's mutex while no thread waits, and everything
// around it that must still go the mutex path (waiting writers and readers,
// traced callers, locks that were destroyed).
#include <string.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/threads/thread_internal.h"
#include "orvane/sync.h"
#include "orvane/threads.h"
#include "threads/layer_thread.h"
#include "threads/thread_test_util.h"
#include "threads/trace_recorder.h"

using threadtest::inLayerThread;
using threadtest::sleepMs;
using threadtest::waitUntil;

namespace {

struct RW {
  RW() {
    memset(&lock, 0, sizeof lock);
    EXPECT_EQ(0, orvRWLockCreate(&lock));
  }
  ~RW() { orvRWLockDestroy(&lock); }
  // The counters, read under the lock's mutex.
  int32_t read(const int32_t &field) {
    orvMutexLock(&lock.mutex);
    int32_t v = field;
    orvMutexUnlock(&lock.mutex);
    return v;
  }
  orvRWLock lock;
};

}  // namespace

TEST(RWLockFast, RepeatedReadersLeaveTheCountersAsTheMutexPathWould) {
  RW rw;
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(0, orvRWLockReadLock(&rw.lock));
    ASSERT_EQ(0, orvRWLockTryReadLock(&rw.lock));
    EXPECT_EQ(2, rw.read(rw.lock.holders));
    ASSERT_EQ(0, orvRWLockUnlock(&rw.lock));
    ASSERT_EQ(0, orvRWLockUnlock(&rw.lock));
  }
  EXPECT_EQ(0, rw.lock.holders);
  EXPECT_EQ(0, rw.lock.readersWaiting);
  EXPECT_EQ(0, rw.lock.writersWaiting);
  // A writer still gets the lock, and a reader then finds it taken.
  EXPECT_EQ(0, orvRWLockTryWriteLock(&rw.lock));
  EXPECT_EQ(-1, rw.lock.holders);
  std::thread([&] { EXPECT_EQ(1, orvRWLockTryReadLock(&rw.lock)); }).join();
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  EXPECT_EQ(0, orvRWLockReadLock(&rw.lock));
  EXPECT_EQ(1, rw.lock.holders);
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
}

TEST(RWLockFast, AnUntracedReaderDoesNotNeedTheMutexWhileNoThreadWaits) {
#if defined(_WIN32)
  GTEST_SKIP() << "every read lock takes the mutex on Windows";
#else
  RW rw;
  // The first operation of a thread goes the mutex path.
  ASSERT_EQ(0, orvRWLockReadLock(&rw.lock));
  ASSERT_EQ(0, orvRWLockUnlock(&rw.lock));
  std::atomic<int> step{0};
  std::thread holder([&] {
    orvMutexLock(&rw.lock.mutex);
    step = 1;
    while (step.load() != 2) {
      sleepMs(1);
    }
    orvMutexUnlock(&rw.lock.mutex);
  });
  ASSERT_TRUE(waitUntil([&] { return step.load() == 1; }));
  // The mutex is held by another thread, yet the read lock and its unlock
  // complete.
  EXPECT_EQ(0, orvRWLockReadLock(&rw.lock));
  EXPECT_EQ(0, orvRWLockTryReadLock(&rw.lock));
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  step = 2;
  holder.join();
  EXPECT_EQ(0, rw.read(rw.lock.holders));
#endif
}

TEST(RWLockFast, FastReadersInterleavedWithAWaitingWriterKeepWriterPreference) {
  RW rw;
  std::mutex orderLock;
  std::vector<std::string> order;
  auto note = [&](const std::string &s) {
    std::lock_guard<std::mutex> g(orderLock);
    order.push_back(s);
  };
  // Readers that have used the lock before, so that they would take the
  // fast path if it were open to them.
  std::atomic<int> release{0};
  std::atomic<int> holding{0};
  auto reader = [&](int id) {
    orvRWLockReadLock(&rw.lock);
    orvRWLockUnlock(&rw.lock);
    orvRWLockReadLock(&rw.lock);
    ++holding;
    while (release.load() < id) {
      sleepMs(1);
    }
    orvRWLockUnlock(&rw.lock);
  };
  // A third reader uses the lock before the writer comes, then tries again
  // while the writer waits.
  std::atomic<int> r3Step{0};
  std::atomic<int> tried{99};
  std::thread r3([&] {
    orvRWLockReadLock(&rw.lock);
    orvRWLockUnlock(&rw.lock);
    r3Step = 1;
    while (r3Step.load() != 2) {
      sleepMs(1);
    }
    tried = orvRWLockTryReadLock(&rw.lock);
    orvRWLockReadLock(&rw.lock);
    note("reader 3");
    orvRWLockUnlock(&rw.lock);
  });
  ASSERT_TRUE(waitUntil([&] { return r3Step.load() == 1; }));
  std::thread r1(reader, 1);
  std::thread r2(reader, 2);
  ASSERT_TRUE(waitUntil([&] { return holding.load() == 2; }));
  EXPECT_EQ(2, rw.read(rw.lock.holders));
  std::thread writer([&] {
    EXPECT_EQ(0, orvRWLockWriteLock(&rw.lock));
    note("writer");
    sleepMs(10);
    EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  });
  ASSERT_TRUE(waitUntil([&] { return rw.read(rw.lock.writersWaiting) == 1; }));
  // The third reader's try-form is busy and its read lock waits.
  r3Step = 2;
  ASSERT_TRUE(waitUntil([&] { return rw.read(rw.lock.readersWaiting) == 1; }));
  EXPECT_EQ(1, tried.load());
  // The first reader's unlock must wake nobody yet: one reader still holds.
  release = 1;
  r1.join();
  EXPECT_EQ(1, rw.read(rw.lock.holders));
  EXPECT_EQ(1, rw.read(rw.lock.writersWaiting));
  release = 2;
  r2.join();
  writer.join();
  r3.join();
  EXPECT_EQ((std::vector<std::string>{"writer", "reader 3"}), order);
  EXPECT_EQ(0, rw.lock.holders);
  EXPECT_EQ(0, rw.lock.readersWaiting);
  EXPECT_EQ(0, rw.lock.writersWaiting);
}

TEST(RWLockFast, AReaderThatUsedTheLockFailsOnceItIsDestroyed) {
  orvRWLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRWLockCreate(&lock));
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, orvRWLockReadLock(&lock));
    ASSERT_EQ(0, orvRWLockUnlock(&lock));
  }
  ASSERT_EQ(0, orvRWLockReadLock(&lock));
  ASSERT_EQ(0, orvRWLockDestroy(&lock));
  EXPECT_EQ(-1, orvRWLockUnlock(&lock));
  EXPECT_EQ(-1, orvRWLockReadLock(&lock));
  EXPECT_EQ(-1, orvRWLockTryReadLock(&lock));
}

TEST(RWLockFast, ANeverCreatedLockFailsAsBefore) {
  orvRWLock lock;
  memset(&lock, 0, sizeof lock);
  EXPECT_EQ(-1, orvRWLockReadLock(&lock));
  EXPECT_EQ(-1, orvRWLockTryReadLock(&lock));
  EXPECT_EQ(-1, orvRWLockUnlock(&lock));
  EXPECT_EQ(0, lock.holders);
}

// A traced caller goes the mutex path: with bit 256 its trace shows the inner
// mutex calls of every read lock and unlock, also after the thread used the
// lock untraced.
TEST(RWLockFast, ATracedReaderShowsTheInnerCallsWithBit256) {
  using threadtest::d8;
  using threadtest::end;
  using threadtest::p8;
  using threadtest::single;
  using threadtest::start;
  threadtest::TraceRecorder::instance(0).clear();
  TraceObj *trace = threadtest::newRecordingTrace(ORV_TRACE_RWLOCKS | ORV_TRACE_MUTEXES | ORV_TRACE_INTERNAL);
  RW rw;
  orvThread *self = nullptr;
  inLayerThread([&] {
    self = orvThreadSelf();
    EXPECT_EQ(0, orvRWLockReadLock(&rw.lock));
    EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
    orvThreadSetTraceObj(trace, 0);
    EXPECT_EQ(0, orvRWLockReadLock(&rw.lock));
    EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
    orvThreadSetTraceObj(nullptr, 0);
  });
  std::string t = " thread (" + p8(self) + ") rwlock    (" + p8(&rw.lock) + ")";
  std::string m = " thread (" + p8(self) + ") mutex     (" + p8(&rw.lock.mutex) + ")";
  EXPECT_EQ((std::vector<std::string>{
                start("orvRWLockReadLock") + t,
                start("orvMutexLock") + m,
                end("orvMutexLock") + m + " result   (" + d8(0) + ")",
                single("orvMutexUnlock") + m,
                end("orvRWLockReadLock") + t + " result   (" + d8(0) + ")",
                start("orvRWLockUnlock") + t,
                start("orvMutexLock") + m,
                end("orvMutexLock") + m + " result   (" + d8(0) + ")",
                single("orvMutexUnlock") + m,
                end("orvRWLockUnlock") + t + " result   (" + d8(0) + ")",
            }),
            threadtest::TraceRecorder::instance(0).lines());
  traceObjDelete(trace);
}

// Many readers on the fast path against writers on the mutex path: no
// reader overlaps a writer, every writer finishes, and the counters end at 0.
// Run under the thread sanitizer too.
TEST(RWLockFast, StressFastReadersAgainstWriters) {
  constexpr int kReaders = 4;
  constexpr int kWriters = 2;
  constexpr int kWrites = 200;
  RW rw;
  std::atomic<int> readers{0}, writers{0};
  std::atomic<bool> overlap{false};
  std::atomic<int> writersDone{0};
  std::atomic<long> reads{0};
  long shared = 0;
  std::vector<std::thread> threads;
  for (int r = 0; r < kReaders; ++r) {
    threads.emplace_back([&, r] {
      while (writersDone.load() < kWriters) {
        bool tryForm = (r & 1) != 0;
        int got = tryForm ? orvRWLockTryReadLock(&rw.lock) : orvRWLockReadLock(&rw.lock);
        if (got == ORV_BUSY) {
          std::this_thread::yield();
          continue;
        }
        ASSERT_EQ(0, got);
        ++readers;
        if (writers.load() != 0) {
          overlap = true;
        }
        volatile long seen = shared;
        (void)seen;
        ++reads;
        --readers;
        ASSERT_EQ(0, orvRWLockUnlock(&rw.lock));
      }
    });
  }
  for (int w = 0; w < kWriters; ++w) {
    threads.emplace_back([&] {
      for (int i = 0; i < kWrites; ++i) {
        ASSERT_EQ(0, orvRWLockWriteLock(&rw.lock));
        if (++writers != 1 || readers.load() != 0) {
          overlap = true;
        }
        ++shared;
        --writers;
        ASSERT_EQ(0, orvRWLockUnlock(&rw.lock));
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
  EXPECT_EQ(0, rw.lock.holders);
  EXPECT_EQ(0, rw.lock.readersWaiting);
  EXPECT_EQ(0, rw.lock.writersWaiting);
}
