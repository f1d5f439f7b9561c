// The platform layer's threads and thread-local storage (white-box).
#include <stdlib.h>

#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_sync.h"
#include "platform/pal_thread.h"
#include "threads/thread_test_util.h"

#if !defined(_WIN32)
#include <signal.h>

#include "platform/posix/pal_thread_control.h"
#endif

using threadtest::sleepMs;
using threadtest::staysAt;
using threadtest::waitUntil;

namespace {

struct Probe {
  std::atomic<long> ticks{0};
  std::atomic<bool> stop{false};
  std::atomic<bool> stopped{false};  // the last thing tickUntilStopped touches
  std::atomic<uint32_t> seenId{0};
  std::atomic<uint32_t> previousCount{99};
  uint32_t status = 0;
};

unsigned PAL_THREAD_CALL returnStatus(void *argument) {
  auto *p = static_cast<Probe *>(argument);
  p->seenId = pal::currentThreadId();
  return p->status;
}

unsigned PAL_THREAD_CALL tickUntilStopped(void *argument) {
  auto *p = static_cast<Probe *>(argument);
  while (!p->stop.load()) {
    ++p->ticks;
    pal::sleepMs(1);
  }
  p->stopped = true;
  return 3;
}

unsigned PAL_THREAD_CALL suspendSelf(void *argument) {
  auto *p = static_cast<Probe *>(argument);
  ++p->ticks;
  p->previousCount = pal::suspendThread(pal::currentThread());
  ++p->ticks;
  return 0;
}

[[noreturn]] void endDeepInside(int depth, uint32_t status) {
  if (depth > 0) {
    endDeepInside(depth - 1, status);
  }
  pal::endThread(status);
}

unsigned PAL_THREAD_CALL endThroughEndThread(void *argument) {
  auto *p = static_cast<Probe *>(argument);
  endDeepInside(5, p->status);
  return 1;  // not reached
}

}  // namespace

TEST(PalThread, RunsAndReportsItsExitCode) {
  Probe p;
  p.status = 42;
  uint32_t id = 0;
  pal::Handle t = pal::beginThread(returnStatus, &p, 0, &id);
  ASSERT_NE(pal::kNullHandle, t);
  EXPECT_NE(0u, id);
  ASSERT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  uint32_t code = 0;
  EXPECT_TRUE(pal::getExitCodeThread(t, &code));
  EXPECT_EQ(42u, code);
  EXPECT_EQ(id, p.seenId.load()) << "the identifier given at creation is the thread's own";
  EXPECT_NE(id, pal::currentThreadId());
  EXPECT_TRUE(pal::closeHandle(t));
}

TEST(PalThread, ExitCodeIs259WhileRunning) {
  Probe p;
  pal::Handle t = pal::beginThread(tickUntilStopped, &p, 0, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  uint32_t code = 0;
  EXPECT_TRUE(pal::getExitCodeThread(t, &code));
  EXPECT_EQ(pal::kStillActive, code);
  EXPECT_EQ(pal::kWaitTimeout, pal::waitForSingleObject(t, 10));
  p.stop = true;
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  EXPECT_TRUE(pal::getExitCodeThread(t, &code));
  EXPECT_EQ(3u, code);
  pal::closeHandle(t);
}

TEST(PalThread, EndThreadEndsFromDeepInside) {
  Probe p;
  p.status = 77;
  pal::Handle t = pal::beginThread(endThroughEndThread, &p, 0, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  ASSERT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  uint32_t code = 0;
  EXPECT_TRUE(pal::getExitCodeThread(t, &code));
  EXPECT_EQ(77u, code);
  pal::closeHandle(t);
}

TEST(PalThread, CreatedSuspendedRunsNothingUntilResumed) {
  Probe p;
  pal::Handle t = pal::beginThread(tickUntilStopped, &p, pal::kCreateSuspended, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  sleepMs(30);
  EXPECT_EQ(0, p.ticks.load());
  EXPECT_EQ(1u, pal::suspendThread(t)) << "previous count of a suspended thread";
  EXPECT_EQ(2u, pal::resumeThread(t));
  sleepMs(20);
  EXPECT_EQ(0, p.ticks.load()) << "still suspended once";
  EXPECT_EQ(1u, pal::resumeThread(t));
  EXPECT_TRUE(waitUntil([&] { return p.ticks.load() > 0; }));
  EXPECT_EQ(0u, pal::resumeThread(t)) << "resuming a running thread changes nothing";
  p.stop = true;
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  pal::closeHandle(t);
}

TEST(PalThread, SuspendingARunningThreadStopsIt) {
  Probe p;
  pal::Handle t = pal::beginThread(tickUntilStopped, &p, 0, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  ASSERT_TRUE(waitUntil([&] { return p.ticks.load() > 2; }));
  EXPECT_EQ(0u, pal::suspendThread(t));
  // Suspension is asynchronous: wait until the count stops moving.
  ASSERT_TRUE(waitUntil([&] { return staysAt(p.ticks); }));
  EXPECT_TRUE(staysAt(p.ticks, 100));
  uint32_t code = 0;
  EXPECT_TRUE(pal::getExitCodeThread(t, &code));
  EXPECT_EQ(pal::kStillActive, code);
  EXPECT_EQ(1u, pal::resumeThread(t));
  long before = p.ticks.load();
  EXPECT_TRUE(waitUntil([&] { return p.ticks.load() > before; }));
  p.stop = true;
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  pal::closeHandle(t);
}

TEST(PalThread, ThreadMaySuspendItself) {
  Probe p;
  pal::Handle t = pal::beginThread(suspendSelf, &p, 0, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  ASSERT_TRUE(waitUntil([&] { return p.ticks.load() == 1; }));
  // Resume until the thread's own suspension has been taken back (the first
  // resume may come before the thread has suspended itself).
  ASSERT_TRUE(waitUntil([&] {
    pal::resumeThread(t);
    return p.ticks.load() == 2;
  }));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  EXPECT_EQ(0u, p.previousCount.load());
  pal::closeHandle(t);
}

TEST(PalThread, ClosingTheHandleDoesNotStopTheThread) {
  Probe p;
  pal::Handle t = pal::beginThread(tickUntilStopped, &p, 0, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  EXPECT_TRUE(pal::closeHandle(t));
  long before = p.ticks.load();
  EXPECT_TRUE(waitUntil([&] { return p.ticks.load() > before + 2; }));
  p.stop = true;
  // No handle to wait on: the probe, on this stack, must outlive the thread's
  // last look at it.
  EXPECT_TRUE(waitUntil([&] { return p.stopped.load(); }));
  pal::setLastError(0);
  EXPECT_EQ(pal::kWaitFailed, pal::waitForSingleObject(t, 0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  uint32_t code = 0;
  EXPECT_FALSE(pal::getExitCodeThread(t, &code));
  EXPECT_EQ(pal::kSuspendFailed, pal::suspendThread(t));
  EXPECT_EQ(pal::kSuspendFailed, pal::resumeThread(t));
}

TEST(PalThread, PrioritiesAreKeptPerThread) {
  Probe p;
  pal::Handle t = pal::beginThread(tickUntilStopped, &p, pal::kCreateSuspended, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  EXPECT_EQ(pal::kPriorityNormal, pal::getThreadPriority(t));
  EXPECT_TRUE(pal::setThreadPriority(t, pal::kPriorityLowest));
  EXPECT_EQ(pal::kPriorityLowest, pal::getThreadPriority(t));
  EXPECT_TRUE(pal::setThreadPriority(t, 1));
  EXPECT_EQ(1, pal::getThreadPriority(t));
  EXPECT_TRUE(pal::setThreadPriority(t, pal::kPriorityIdle));
  EXPECT_EQ(pal::kPriorityIdle, pal::getThreadPriority(t));
  EXPECT_TRUE(pal::setThreadPriority(t, pal::kPriorityTimeCritical));
  EXPECT_EQ(pal::kPriorityTimeCritical, pal::getThreadPriority(t));
  pal::setLastError(0);
  EXPECT_FALSE(pal::setThreadPriority(t, 7));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  EXPECT_TRUE(pal::setThreadPriority(t, pal::kPriorityNormal));
  p.stop = true;
  pal::resumeThread(t);
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  pal::closeHandle(t);
  EXPECT_EQ(pal::kPriorityErrorReturn, pal::getThreadPriority(t));
}

TEST(PalThread, ManyThreadsStartAndEnd) {
  for (int i = 0; i < 50; ++i) {
    Probe p;
    p.status = static_cast<uint32_t>(i);
    pal::Handle t = pal::beginThread(returnStatus, &p, 0, nullptr);
    ASSERT_NE(pal::kNullHandle, t);
    ASSERT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
    uint32_t code = 99;
    pal::getExitCodeThread(t, &code);
    EXPECT_EQ(static_cast<uint32_t>(i), code);
    pal::closeHandle(t);
  }
}

TEST(PalTls, SlotsHoldOneValuePerThread) {
  uint32_t slot = pal::tlsAlloc();
  ASSERT_NE(pal::kTlsOutOfIndexes, slot);
  EXPECT_EQ(nullptr, pal::tlsGetValue(slot));
  int mine = 1;
  int theirs = 2;
  EXPECT_TRUE(pal::tlsSetValue(slot, &mine));
  void *seenBefore = &mine;
  void *seenAfter = nullptr;
  std::thread other([&] {
    seenBefore = pal::tlsGetValue(slot);
    pal::tlsSetValue(slot, &theirs);
    seenAfter = pal::tlsGetValue(slot);
  });
  other.join();
  EXPECT_EQ(nullptr, seenBefore);
  EXPECT_EQ(&theirs, seenAfter);
  EXPECT_EQ(&mine, pal::tlsGetValue(slot));
  EXPECT_TRUE(pal::tlsFree(slot));
}

TEST(PalThread, CurrentThreadIdentifiersDiffer) {
  uint32_t mine = pal::currentThreadId();
  EXPECT_EQ(mine, pal::currentThreadId());
  uint32_t theirs = 0;
  std::thread other([&] { theirs = pal::currentThreadId(); });
  other.join();
  EXPECT_NE(0u, mine);
  EXPECT_NE(mine, theirs);
}

#if !defined(_WIN32)
TEST(PalThreadPosix, SuspendSignalDefaultsToARealTimeSignal) {
  int s = pal::posix::suspendSignal();
  EXPECT_TRUE(s == SIGRTMIN + 4 || getenv("ORVANE_SUSPEND_SIGNAL") != nullptr) << s;
}

TEST(PalThreadPosixDeathTest, SuspendSignalCanBeChosenByEnvironment) {
  // The choice is read once per process: check it in a fresh one.
  EXPECT_EXIT(
      {
        setenv("ORVANE_SUSPEND_SIGNAL", "SIGUSR2", 1);
        int s = pal::posix::suspendSignal();
        _exit(s == SIGUSR2 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        setenv("ORVANE_SUSPEND_SIGNAL", "RTMIN+7", 1);
        _exit(pal::posix::suspendSignal() == SIGRTMIN + 7 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        setenv("ORVANE_SUSPEND_SIGNAL", "SIGKILL", 1);  // not usable: the default stays
        _exit(pal::posix::suspendSignal() == SIGRTMIN + 4 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}
#endif
