// POSIX threads of the platform layer at their edges: a thread without a
// start routine, suspending a thread that has ended, priorities out of
// range or set on an ended thread, the pseudo handle on a thread that the
// layer did not create, and thread-local slots that were never allocated.
#ifndef _WIN32

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_sync.h"
#include "platform/pal_thread.h"

namespace {

unsigned PAL_THREAD_CALL returnSeven(void *) { return 7; }

// Starts a thread that returns 7 at once and waits until it has ended.
pal::Handle endedThread() {
  pal::Handle t = pal::beginThread(returnSeven, nullptr, 0, nullptr);
  if (t == pal::kNullHandle) {
    return t;
  }
  uint32_t code = 0;
  for (int i = 0; i < 5000 && pal::getExitCodeThread(t, &code) && code != 7; ++i) {
    pal::sleepMs(1);
  }
  return t;
}

}  // namespace

TEST(PalThreadMore, AThreadNeedsAStartRoutine) {
  pal::setLastError(0);
  uint32_t id = 99;
  EXPECT_EQ(pal::kNullHandle, pal::beginThread(nullptr, nullptr, 0, &id));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidParameter), pal::getLastError());
  EXPECT_EQ(99u, id) << "no id for a thread that was never made";
}

TEST(PalThreadMore, AnEndedThreadCannotBeSuspendedNorGetAPriority) {
  pal::Handle t = endedThread();
  ASSERT_NE(pal::kNullHandle, t);
  uint32_t code = 0;
  ASSERT_TRUE(pal::getExitCodeThread(t, &code));
  ASSERT_EQ(7u, code);
  pal::setLastError(0);
  EXPECT_EQ(pal::kSuspendFailed, pal::suspendThread(t));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorAccessDenied), pal::getLastError());
  pal::setLastError(0);
  EXPECT_FALSE(pal::setThreadPriority(t, pal::kPriorityHighest));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidHandle), pal::getLastError())
      << "its kernel id may already name another thread";
  EXPECT_TRUE(pal::closeHandle(t));
}

TEST(PalThreadMore, PrioritiesOutsideTheLogicalOnesAreRefused) {
  pal::Handle t = pal::beginThread(returnSeven, nullptr, pal::kCreateSuspended, nullptr);
  ASSERT_NE(pal::kNullHandle, t);
  for (int priority : {-16, -14, -3, 3, 14, 16}) {
    SCOPED_TRACE(priority);
    pal::setLastError(0);
    EXPECT_FALSE(pal::setThreadPriority(t, priority));
    EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidParameter), pal::getLastError());
  }
  EXPECT_EQ(pal::kPriorityNormal, pal::getThreadPriority(t)) << "left as it was";
  EXPECT_EQ(1u, pal::resumeThread(t));
  EXPECT_EQ(pal::kWaitObject0, pal::waitForSingleObject(t, 10000));
  EXPECT_TRUE(pal::closeHandle(t));
  pal::setLastError(0);
  EXPECT_FALSE(pal::setThreadPriority(0x12345, pal::kPriorityNormal)) << "not a thread handle";
  EXPECT_EQ(pal::kPriorityErrorReturn, pal::getThreadPriority(0x12345));
}

TEST(PalThreadMore, ThePseudoHandleOfAThreadTheLayerDidNotMake) {
  std::atomic<int> priority{0};
  std::atomic<uint32_t> error{0};
  std::atomic<uint32_t> suspended{0};
  std::thread foreign([&] {
    pal::setLastError(0);
    priority = pal::getThreadPriority(pal::currentThread());
    error = pal::getLastError();
    // Only without a control block: with one, the thread would suspend itself.
    if (priority == pal::kPriorityErrorReturn) {
      suspended = pal::suspendThread(pal::currentThread());
    }
  });
  foreign.join();
  EXPECT_EQ(pal::kPriorityErrorReturn, priority.load());
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidHandle), error.load());
  EXPECT_EQ(pal::kSuspendFailed, suspended.load());
}

TEST(PalThreadMore, SlotsThatWereNeverAllocated) {
  const uint32_t bogus = 0x7FFFFFF0u;
  pal::setLastError(0);
  int marker = 0;
  EXPECT_FALSE(pal::tlsSetValue(bogus, &marker));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidParameter), pal::getLastError());
  pal::setLastError(0);
  EXPECT_FALSE(pal::tlsFree(bogus));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidParameter), pal::getLastError());
  uint32_t slot = pal::tlsAlloc();
  ASSERT_NE(pal::kTlsOutOfIndexes, slot);
  int value = 0;
  EXPECT_TRUE(pal::tlsSetValue(slot, &value));
  pal::setLastError(5);
  EXPECT_EQ(&value, pal::tlsGetValue(slot));
  EXPECT_EQ(0u, pal::getLastError()) << "a read clears the last error";
  EXPECT_TRUE(pal::tlsFree(slot));
}

#endif  // !_WIN32
