// The mutex's inline lock and unlock on a handle word the thread used before:
// recursion, ownership and abandonment as on the long path, for threads the
// layer did not create (which get their identifier on first use).
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "orvane/sync.h"
#include "orvane/threads.h"
#include "threads/thread_test_util.h"

using threadtest::sleepMs;
using threadtest::waitUntil;

namespace {

int tryLockElsewhere(orvHandle *m) {
  int result = 99;
  std::thread([&] {
    result = orvMutexTryLock(m);
    if (result == 0) {
      orvMutexUnlock(m);
    }
  }).join();
  return result;
}

}  // namespace

TEST(MutexFast, RecursionOnTheInlinePathNeedsAsManyUnlocks) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(0, orvMutexLock(&m));
    ASSERT_EQ(0, orvMutexUnlock(&m));
  }
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, orvMutexLock(&m));
  }
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(1, tryLockElsewhere(&m)) << i;
    ASSERT_EQ(0, orvMutexUnlock(&m));
  }
  EXPECT_EQ(0, tryLockElsewhere(&m));
  EXPECT_EQ(-1, orvMutexUnlock(&m)) << "not owned any more";
  orvMutexDestroy(&m);
}

TEST(MutexFast, AThreadThatUsedTheMutexCannotUnlockItForItsOwner) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  std::atomic<int> step{0};
  std::atomic<int> result{99};
  std::thread other([&] {
    for (int i = 0; i < 100; ++i) {
      orvMutexLock(&m);
      orvMutexUnlock(&m);
    }
    step = 1;
    while (step.load() != 2) {
      sleepMs(1);
    }
    result = orvMutexUnlock(&m);
  });
  ASSERT_TRUE(waitUntil([&] { return step.load() == 1; }));
  ASSERT_EQ(0, orvMutexLock(&m));
  step = 2;
  other.join();
  EXPECT_EQ(-1, result.load());
  EXPECT_EQ(0, orvMutexUnlock(&m));
  orvMutexDestroy(&m);
}

TEST(MutexFast, AForeignThreadOnTheInlinePathStillAbandonsWhatItHolds) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  std::thread([&] {
    for (int i = 0; i < 100; ++i) {
      orvMutexLock(&m);
      orvMutexUnlock(&m);
    }
    orvMutexLock(&m);  // ends holding it
  }).join();
  // The abandoned first wait is waited again: the caller holds it twice.
  EXPECT_EQ(0, orvMutexLock(&m));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  EXPECT_EQ(1, tryLockElsewhere(&m));
  EXPECT_EQ(0, orvMutexUnlock(&m));
  EXPECT_EQ(0, tryLockElsewhere(&m));
  orvMutexDestroy(&m);
}

TEST(MutexFast, ADestroyedMutexFailsAfterTheInlinePathWasUsed) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(0, orvMutexLock(&m));
    ASSERT_EQ(0, orvMutexUnlock(&m));
  }
  ASSERT_EQ(0, orvMutexDestroy(&m));
  EXPECT_EQ(-1, orvMutexLock(&m));
  EXPECT_EQ(-1, orvMutexUnlock(&m));
}
