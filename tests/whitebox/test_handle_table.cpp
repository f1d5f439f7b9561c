// The POSIX handle table: handles, stale handles, kinds and reuse.
#if !defined(_WIN32)
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/posix/handle_table.h"

using namespace pal::posix;

namespace {

std::atomic<int> releases{0};

struct TestMutex : KernelObject {
  static constexpr ObjectKind kKind = ObjectKind::Mutex;
  explicit TestMutex(int v) : KernelObject(kKind), value(v) {}
  bool release() override {
    ++releases;
    return true;
  }
  int value;
};

struct TestEvent : KernelObject {
  static constexpr ObjectKind kKind = ObjectKind::Event;
  TestEvent() : KernelObject(kKind) {}
};

}  // namespace

TEST(HandleTable, InsertLookupClose) {
  TestMutex *m = newObject<TestMutex>(7);
  ASSERT_NE(nullptr, m);
  pal::Handle h = insertObject(m);
  ASSERT_NE(pal::kNullHandle, h);
  EXPECT_EQ(m, lookup<TestMutex>(h));
  EXPECT_EQ(m, lookupObject(h, ObjectKind::None));
  int before = releases.load();
  EXPECT_TRUE(pal::closeHandle(h));
  EXPECT_EQ(before + 1, releases.load());
  pal::setLastError(0);
  EXPECT_EQ(nullptr, lookup<TestMutex>(h));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::closeHandle(h));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
}

TEST(HandleTable, WrongKindAndMadeUpHandlesFail) {
  pal::Handle h = insertObject(newObject<TestEvent>());
  ASSERT_NE(pal::kNullHandle, h);
  EXPECT_EQ(nullptr, lookup<TestMutex>(h));
  EXPECT_NE(nullptr, lookup<TestEvent>(h));
  EXPECT_EQ(nullptr, lookupObject(0, ObjectKind::None));
  EXPECT_EQ(nullptr, lookupObject(~pal::Handle{0}, ObjectKind::None));
  EXPECT_EQ(nullptr, lookupObject(h + 1, ObjectKind::None));
  EXPECT_FALSE(pal::closeHandle(0));
  EXPECT_TRUE(pal::closeHandle(h));
}

TEST(HandleTable, StaleHandleDoesNotReachAReusedSlot) {
  pal::Handle first = insertObject(newObject<TestMutex>(1));
  ASSERT_TRUE(pal::closeHandle(first));
  TestMutex *reused = newObject<TestMutex>(2);
  pal::Handle second = insertObject(reused);
  EXPECT_NE(first, second);
  EXPECT_EQ(nullptr, lookup<TestMutex>(first));
  EXPECT_EQ(reused, lookup<TestMutex>(second));
  EXPECT_EQ(2, lookup<TestMutex>(second)->value);
  EXPECT_TRUE(pal::closeHandle(second));
}

TEST(HandleTable, ManyHandlesAtOnce) {
  std::vector<pal::Handle> handles;
  for (int i = 0; i < 5000; ++i) {
    pal::Handle h = insertObject(newObject<TestMutex>(i));
    ASSERT_NE(pal::kNullHandle, h);
    handles.push_back(h);
  }
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(i, lookup<TestMutex>(handles[i])->value);
  }
  for (pal::Handle h : handles) {
    ASSERT_TRUE(pal::closeHandle(h));
  }
}

TEST(HandleTable, ConcurrentCreateAndCloseFromManyThreads) {
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&failures, t] {
      for (int i = 0; i < 2000; ++i) {
        pal::Handle h = insertObject(newObject<TestMutex>(t * 10000 + i));
        TestMutex *m = lookup<TestMutex>(h);
        if (m == nullptr || m->value != t * 10000 + i || !pal::closeHandle(h)) {
          ++failures;
        }
      }
    });
  }
  for (auto &th : threads) {
    th.join();
  }
  EXPECT_EQ(0, failures.load());
}

TEST(HandleTable, OnlyOneOfTwoRacingClosesSucceeds) {
  for (int round = 0; round < 200; ++round) {
    pal::Handle h = insertObject(newObject<TestMutex>(round));
    std::atomic<int> wins{0};
    std::thread a([&] { wins += pal::closeHandle(h) ? 1 : 0; });
    std::thread b([&] { wins += pal::closeHandle(h) ? 1 : 0; });
    a.join();
    b.join();
    ASSERT_EQ(1, wins.load());
  }
}
#endif
