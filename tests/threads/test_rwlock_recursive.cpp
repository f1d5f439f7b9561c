// Read-write locks and recursive locks.
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

bool assertionDeath(int status) {
#if defined(_WIN32)
  (void)status;
  return true;
#else
  return ::testing::KilledBySignal(SIGABRT)(status);
#endif
}

}  // namespace

// --- Read-write locks --------------------------------------------------------------

TEST(RWLock, CreateSetsOnlyReadersWaiting) {
  orvRWLock lock;
  memset(&lock, 0, sizeof lock);
  lock.readersWaiting = 4;
  lock.writersWaiting = 0;
  lock.holders = 0;
  ASSERT_EQ(0, orvRWLockCreate(&lock));
  EXPECT_EQ(0, lock.readersWaiting);
  EXPECT_NE(0u, lock.mutex);
  EXPECT_NE(0u, lock.readers.queue);
  EXPECT_NE(0u, lock.writers.queue);
  EXPECT_EQ(0, orvRWLockDestroy(&lock));

  orvRWLock dirty;
  memset(&dirty, 0, sizeof dirty);
  dirty.writersWaiting = 5;
  dirty.holders = 2;
  ASSERT_EQ(0, orvRWLockCreate(&dirty));
  EXPECT_EQ(5, dirty.writersWaiting) << "the caller provides zeroed storage";
  EXPECT_EQ(2, dirty.holders);
  orvRWLockDestroy(&dirty);
}

TEST(RWLock, ReadersShareAndAWriterExcludes) {
  RW rw;
  EXPECT_EQ(0, orvRWLockReadLock(&rw.lock));
  EXPECT_EQ(0, orvRWLockReadLock(&rw.lock));
  EXPECT_EQ(2, rw.lock.holders);
  EXPECT_EQ(1, orvRWLockTryWriteLock(&rw.lock)) << "try-write on a read-held lock is busy";
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  EXPECT_EQ(0, orvRWLockTryWriteLock(&rw.lock));
  EXPECT_EQ(-1, rw.lock.holders);
  EXPECT_EQ(1, orvRWLockTryReadLock(&rw.lock));
  EXPECT_EQ(1, orvRWLockTryWriteLock(&rw.lock));
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  EXPECT_EQ(0, rw.lock.holders);
  EXPECT_EQ(0, orvRWLockTryReadLock(&rw.lock));
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
}

TEST(RWLock, TryReadWhileAWriterWaitsIsBusy) {
  RW rw;
  ASSERT_EQ(0, orvRWLockReadLock(&rw.lock));
  std::thread writer([&] {
    orvRWLockWriteLock(&rw.lock);
    orvRWLockUnlock(&rw.lock);
  });
  ASSERT_TRUE(waitUntil([&] { return rw.read(rw.lock.writersWaiting) == 1; }));
  int result = 99;
  std::thread([&] { result = orvRWLockTryReadLock(&rw.lock); }).join();
  EXPECT_EQ(1, result);
  EXPECT_EQ(0, orvRWLockUnlock(&rw.lock));
  writer.join();
}

TEST(RWLock, WriterWaitingBehindTwoReadersGoesBeforeALaterReader) {
  RW rw;
  std::mutex orderLock;
  std::vector<std::string> order;
  auto note = [&](const std::string &s) {
    std::lock_guard<std::mutex> g(orderLock);
    order.push_back(s);
  };
  std::atomic<int> release{0};
  auto reader = [&](int id) {
    orvRWLockReadLock(&rw.lock);
    while (release.load() < id) {
      sleepMs(1);
    }
    orvRWLockUnlock(&rw.lock);
  };
  std::thread r1(reader, 1);
  std::thread r2(reader, 2);
  ASSERT_TRUE(waitUntil([&] { return rw.read(rw.lock.holders) == 2; }));
  std::thread writer([&] {
    orvRWLockWriteLock(&rw.lock);
    note("writer");
    sleepMs(10);
    orvRWLockUnlock(&rw.lock);
  });
  ASSERT_TRUE(waitUntil([&] { return rw.read(rw.lock.writersWaiting) == 1; }));
  std::thread r3([&] {
    orvRWLockReadLock(&rw.lock);
    note("reader 3");
    orvRWLockUnlock(&rw.lock);
  });
  ASSERT_TRUE(waitUntil([&] { return rw.read(rw.lock.readersWaiting) == 1; }));
  release = 1;
  r1.join();
  release = 2;
  r2.join();
  writer.join();
  r3.join();
  EXPECT_EQ((std::vector<std::string>{"writer", "reader 3"}), order);
  EXPECT_EQ(0, rw.lock.holders);
  EXPECT_EQ(0, rw.lock.readersWaiting);
  EXPECT_EQ(0, rw.lock.writersWaiting);
}

TEST(RWLockDeathTest, UnlockingAFreeLockAssertsAt6329) {
  EXPECT_EXIT(
      {
        orvRWLock lock;
        memset(&lock, 0, sizeof lock);
        orvRWLockCreate(&lock);
        orvRWLockUnlock(&lock);
      },
      assertionDeath, "Assertion Failure at line <6329> of file <ORVTHRED.CPP>.");
}

TEST(RWLock, OperationsOnADestroyedLockFail) {
  orvRWLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRWLockCreate(&lock));
  ASSERT_EQ(0, orvRWLockDestroy(&lock));
  EXPECT_EQ(-1, orvRWLockReadLock(&lock));
  EXPECT_EQ(-1, orvRWLockTryReadLock(&lock));
  EXPECT_EQ(-1, orvRWLockWriteLock(&lock));
  EXPECT_EQ(-1, orvRWLockTryWriteLock(&lock));
  EXPECT_EQ(-1, orvRWLockUnlock(&lock));
}

// --- Recursive locks -----------------------------------------------------------------

namespace {

class Recursive : public ::testing::Test {
 protected:
  void SetUp() override { threads::setTracingOn(); }
  void TearDown() override { threads::setTracingOn(); }
};

}  // namespace

TEST_F(Recursive, ThreeAcquisitionsNeedThreeReleasesBeforeAnotherThreadGetsIt) {
  orvRecursiveLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRecursiveMutexCreate(&lock));
  EXPECT_EQ(ORV_RECURSIVE_MUTEX, lock.kind);
  EXPECT_EQ(nullptr, lock.owner) << "created by a thread without a record";
  std::atomic<int> held{0};
  std::atomic<int> release{0};
  std::atomic<bool> otherGotIt{false};
  orvThread *owner = nullptr;
  std::thread first([&] {
    inLayerThread([&] {
      owner = orvThreadSelf();
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, orvRecursiveLockAcquire(&lock, 0));
      }
      EXPECT_EQ(2, lock.depth);
      held = 1;
      for (int i = 0; i < 3; ++i) {
        while (release.load() <= i) {
          sleepMs(1);
        }
        EXPECT_EQ(0, orvRecursiveLockRelease(&lock));
      }
    });
  });
  ASSERT_TRUE(waitUntil([&] { return held.load() == 1; }));
  EXPECT_EQ(owner, lock.owner);
  std::thread second([&] {
    inLayerThread([&] {
      EXPECT_EQ(0, orvRecursiveLockAcquire(&lock, 0));
      otherGotIt = true;
      EXPECT_EQ(0, orvRecursiveLockRelease(&lock));
    });
  });
  release = 1;
  sleepMs(20);
  EXPECT_FALSE(otherGotIt.load());
  release = 2;
  sleepMs(20);
  EXPECT_FALSE(otherGotIt.load());
  release = 3;
  ASSERT_TRUE(waitUntil([&] { return otherGotIt.load(); }));
  first.join();
  second.join();
  EXPECT_EQ(0, orvRecursiveLockDestroy(&lock));
}

TEST_F(Recursive, WithoutTracingAllThreadsShareOneIdentity) {
  threads::testing::resetTracingSwitch();
  orvRecursiveLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRecursiveMutexCreate(&lock));
  int otherResult = 99;
  int depthSeen = -1;
  inLayerThread([&] {
    // The creator's identity (null) is everybody's: this only counts depth.
    EXPECT_EQ(0, orvRecursiveLockAcquire(&lock, 0));
    inLayerThread([&] {
      // Another thread, yet the same (null) identity: no blocking.
      otherResult = orvRecursiveLockAcquire(&lock, 0);
      depthSeen = lock.depth;
      orvRecursiveLockRelease(&lock);
    });
    orvRecursiveLockRelease(&lock);
  });
  EXPECT_EQ(0, otherResult);
  EXPECT_EQ(2, depthSeen);
  EXPECT_EQ(0, lock.depth);
  EXPECT_EQ(nullptr, lock.owner);
  threads::setTracingOn();
  orvRecursiveLockDestroy(&lock);
}

TEST_F(Recursive, TheCreatorStartsAsOwnerWithoutTheBaseLock) {
  int firstAcquire = 99, firstRelease = 99, secondRelease = 99;
  int32_t depthAfterAcquire = -1;
  orvThread *ownerAtCreation = nullptr;
  inLayerThread([&] {
    orvRecursiveLock lock;
    memset(&lock, 0, sizeof lock);
    orvRecursiveMutexCreate(&lock);
    ownerAtCreation = lock.owner;
    EXPECT_EQ(orvThreadSelf(), lock.owner);
    firstAcquire = orvRecursiveLockAcquire(&lock, 0);
    depthAfterAcquire = lock.depth;
    firstRelease = orvRecursiveLockRelease(&lock);
    // A further release clears the owner and releases a mutex never taken.
    secondRelease = orvRecursiveLockRelease(&lock);
    EXPECT_EQ(nullptr, lock.owner);
    orvRecursiveLockDestroy(&lock);
  });
  EXPECT_NE(nullptr, ownerAtCreation);
  EXPECT_EQ(0, firstAcquire);
  EXPECT_EQ(1, depthAfterAcquire) << "only depth was counted";
  EXPECT_EQ(0, firstRelease);
  EXPECT_EQ(-1, secondRelease) << "the mutex was not owned";
}

TEST_F(Recursive, TheCreatorsExtraReleasePostsARecursiveSemaphore) {
  int before = 99, after = 99, afterSecond = 99;
  inLayerThread([&] {
    orvRecursiveLock lock;
    memset(&lock, 0, sizeof lock);
    ASSERT_EQ(0, orvRecursiveSemaphoreCreate(&lock, 0));
    EXPECT_EQ(ORV_RECURSIVE_SEMAPHORE, lock.kind);
    before = orvSemaphoreTryWait(&lock.base.semaphore);
    EXPECT_EQ(0, orvRecursiveLockRelease(&lock));  // depth 0: posts the semaphore
    after = orvSemaphoreTryWait(&lock.base.semaphore);
    afterSecond = orvSemaphoreTryWait(&lock.base.semaphore);
    orvRecursiveLockDestroy(&lock);
  });
  EXPECT_EQ(1, before);
  EXPECT_EQ(0, after);
  EXPECT_EQ(1, afterSecond);
}

TEST_F(Recursive, SemaphoreKindWaitsForItsCount) {
  orvRecursiveLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRecursiveSemaphoreCreate(&lock, 1));
  int a = 99, b = 99;
  inLayerThread([&] {
    a = orvRecursiveLockAcquire(&lock, 0);  // takes the one count
    b = orvRecursiveLockAcquire(&lock, 0);  // owner now: depth only
    orvRecursiveLockRelease(&lock);
    orvRecursiveLockRelease(&lock);
  });
  EXPECT_EQ(0, a);
  EXPECT_EQ(0, b);
  EXPECT_EQ(0, orvSemaphoreTryWait(&lock.base.semaphore)) << "the count came back";
  orvRecursiveLockDestroy(&lock);
}

TEST_F(Recursive, ReadWriteKindTakesReadOrWriteLocks) {
  orvRecursiveLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRecursiveRWLockCreate(&lock));
  EXPECT_EQ(ORV_RECURSIVE_RWLOCK, lock.kind);
  int32_t readHolders = 0, writeHolders = 0;
  inLayerThread([&] {
    orvRecursiveLockAcquire(&lock, 1);
    readHolders = lock.base.rwlock.holders;
    orvRecursiveLockRelease(&lock);
    orvRecursiveLockAcquire(&lock, 0);
    writeHolders = lock.base.rwlock.holders;
    orvRecursiveLockAcquire(&lock, 0);  // nested: no second write lock
    orvRecursiveLockRelease(&lock);
    orvRecursiveLockRelease(&lock);
  });
  EXPECT_EQ(1, readHolders);
  EXPECT_EQ(-1, writeHolders);
  EXPECT_EQ(0, lock.base.rwlock.holders);
  EXPECT_EQ(0, orvRecursiveLockDestroy(&lock));
}

TEST_F(Recursive, UnknownKindFails) {
  orvRecursiveLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRecursiveMutexCreate(&lock));
  uint32_t kind = lock.kind;
  lock.kind = 9;
  lock.owner = reinterpret_cast<orvThread *>(&kind);  // nobody's identity
  EXPECT_EQ(-1, orvRecursiveLockAcquire(&lock, 0));
  lock.depth = 0;
  EXPECT_EQ(-1, orvRecursiveLockRelease(&lock));
  EXPECT_EQ(-1, orvRecursiveLockDestroy(&lock));
  lock.kind = kind;
  EXPECT_EQ(0, orvRecursiveLockDestroy(&lock));
}

TEST(RecursiveDeathTest, TheCreatorsExtraReleaseOfARecursiveRWLockAsserts) {
  EXPECT_EXIT(
      {
        orvRecursiveLock lock;
        memset(&lock, 0, sizeof lock);
        orvRecursiveRWLockCreate(&lock);
        orvRecursiveLockRelease(&lock);  // unlocks a free read-write lock
      },
      assertionDeath, "Assertion Failure at line <6329> of file <ORVTHRED.CPP>.");
}

// --- Trace lines -------------------------------------------------------------------

TEST(LockTraceLines, ReadWriteAndRecursiveLockLines) {
  using threadtest::d8;
  using threadtest::end;
  using threadtest::p8;
  using threadtest::px;
  using threadtest::start;
  threads::setTracingOn();
  threadtest::TraceRecorder::instance(0).clear();
  TraceObj *trace =
      threadtest::newRecordingTrace(ORV_TRACE_RWLOCKS | ORV_TRACE_RECURSIVE | ORV_TRACE_MUTEXES);
  orvRWLock rw;
  memset(&rw, 0, sizeof rw);
  orvRWLockCreate(&rw);
  orvRecursiveLock rec;
  memset(&rec, 0, sizeof rec);
  orvRecursiveMutexCreate(&rec);
  orvThread *self = nullptr;
  inLayerThread([&] {
    self = orvThreadSelf();
    orvThreadSetTraceObj(trace, 0);
    orvRWLockReadLock(&rw);
    orvRWLockUnlock(&rw);
    orvRecursiveLockAcquire(&rec, 1);
    orvRecursiveLockRelease(&rec);
    orvThreadSetTraceObj(nullptr, 0);
  });
  std::string t = " thread (" + p8(self) + ") rwlock    (" + p8(&rw) + ")";
  std::string r = " thread (" + px(self) + ") rmutex    (" + px(&rec) + ")";
  EXPECT_EQ((std::vector<std::string>{
                start("orvRWLockReadLock") + t,
                end("orvRWLockReadLock") + t + " result   (" + d8(0) + ")",
                start("orvRWLockUnlock") + t,
                end("orvRWLockUnlock") + t + " result   (" + d8(0) + ")",
                start("orvRecursiveLockAcquire") + r + " readOnly (1)",
                end("orvRecursiveLockAcquire") + r + " result (0)",
                start("orvRecursiveLockRelease") + r,
                end("orvRecursiveLockRelease") + r + " result (0)",
            }),
            threadtest::TraceRecorder::instance(0).lines());
  orvRWLockDestroy(&rw);
  orvRecursiveLockDestroy(&rec);
  traceObjDelete(trace);
}
