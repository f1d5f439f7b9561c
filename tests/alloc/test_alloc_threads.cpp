// Allocation failures in threads, synchronisation objects and trace
// objects: each creation that meets a failed allocation gives its
// documented result, leaves nothing behind, and succeeds when retried.
#include <stdint.h>
#include <string.h>

#include <functional>

#include <gtest/gtest.h>

#include "alloc/alloc_failure.h"
#include "orvane/frame.h"
#include "orvane/sync.h"
#include "orvane/threads.h"
#include "orvane/trace.h"

using allocfail::forEachAllocationFailure;

namespace {

class AllocThreads : public allocfail::WithServices {};

void quickRoutine(void *argument) { *static_cast<int *>(argument) = 7; }

void *specific(orvThreadKey *key) {
  void *value = nullptr;
  EXPECT_EQ(0, orvThreadGetSpecific(key, &value));
  return value;
}

void noStateCallback(void *, orvThread *, uint32_t) {}

uint32_t quietWriter(uint32_t, char *text, uint32_t) { return text == nullptr ? ORV_TRACE_MAGIC : 0; }

}  // namespace

// Failures before the record is made give -2 and no record; a failure
// after it (the system thread itself) ends the process with an assertion.
TEST_F(AllocThreads, ThreadCreateGivesMinusTwoOrTheAssertion) {
  const allocfail::ChildOutcome outcome = allocfail::forEachAllocationFailureInChildren([] {
    orvThread *thread = reinterpret_cast<orvThread *>(uintptr_t{1});
    int ran = 0;
    const int rc = orvThreadCreate(quickRoutine, &ran, 1, &thread, nullptr);
    if (rc != 0) {
      if (rc != -2 || thread != nullptr || ran != 0) {
        _exit(20);
      }
      return false;
    }
    uint32_t code = 0;
    if (orvThreadJoin(thread, &code) != 0 || ran != 7) {
      _exit(21);
    }
    orvThreadDestroy(thread);
    return true;
  });
  EXPECT_GT(outcome.reportedFailures, 0);
}

TEST_F(AllocThreads, KeyCreateGivesMinusTwo) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    orvThreadKey *key = nullptr;
    const int rc = orvThreadKeyCreate(&key, nullptr);
    if (rc != 0) {
      EXPECT_EQ(-2, rc);
      return false;
    }
    int value = 5;
    EXPECT_EQ(0, orvThreadSetSpecific(key, &value));
    EXPECT_EQ(&value, specific(key));
    EXPECT_EQ(0, orvThreadKeyDestroy(key));
    return true;
  }));
}

TEST_F(AllocThreads, SetSpecificKeepsTheKeyUsable) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, nullptr));
  int value = 5;
  const allocfail::Outcome outcome = forEachAllocationFailure([&] {
    const int rc = orvThreadSetSpecific(key, &value);
    if (rc != 0) {
      EXPECT_EQ(-2, rc);
      EXPECT_EQ(nullptr, specific(key));
      return false;
    }
    EXPECT_EQ(&value, specific(key));
    return true;
  });
  // The association of the calling thread may already exist (made by the
  // layer's own record): then nothing is allocated.
  EXPECT_EQ(outcome.failurePoints, outcome.reportedFailures);
  EXPECT_EQ(&value, specific(key));
  EXPECT_EQ(0, orvThreadSetSpecific(key, nullptr));
  EXPECT_EQ(0, orvThreadKeyDestroy(key));
}

TEST_F(AllocThreads, StateCallbackGivesMinusTwo) {
  orvThread *thread = nullptr;
  int ran = 0;
  ASSERT_EQ(0, orvThreadCreate(quickRoutine, &ran, 0, &thread, nullptr));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    const int rc = orvThreadStateCallback(thread, 3, nullptr, noStateCallback);
    if (rc != 0) {
      EXPECT_EQ(-2, rc);
      return false;
    }
    return true;
  }));
  orvThreadDestroy(thread);
}

namespace {

// Makes kMany objects with create and closes them with destroy: closed
// objects are kept for reuse, so only a batch larger than those kept makes
// new ones. On a failed creation the ones made are closed and the result
// checked.
template <class Object>
bool batch(const std::function<int(Object *)> &create, const std::function<int(Object *)> &destroy,
           const std::function<void(const Object &)> &checkFailed, int kMany = 256) {
  // Static: the operation must not allocate for the test itself.
  static Object objects[600];
  memset(objects, 0, sizeof objects);
  int made = 0;
  bool ok = true;
  for (; made < kMany; ++made) {
    if (create(&objects[made]) != 0) {
      checkFailed(objects[made]);
      ok = false;
      break;
    }
  }
  for (int i = 0; i < made; ++i) {
    EXPECT_EQ(0, destroy(&objects[i]));
  }
  return ok;
}

void leftZero(const orvHandle &handle) { EXPECT_EQ(0u, handle); }

}  // namespace

TEST_F(AllocThreads, SynchronisationObjectsReportFailureAndLeaveZero) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(
      forEachAllocationFailure([] { return batch<orvHandle>(orvMutexCreate, orvMutexDestroy, leftZero); }));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    return batch<orvHandle>([](orvHandle *h) { return orvSemaphoreCreate(h, 1); }, orvSemaphoreDestroy,
                            leftZero);
  }));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    return batch<orvHandle>([](orvHandle *h) { return orvEventCreate(h, 1, 0); }, orvEventDestroy, leftZero);
  }));
}

TEST_F(AllocThreads, CompositeObjectsReleaseWhatTheyMade) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    // More than the objects of every kind that the test before kept.
    return batch<orvCondition>(
        orvConditionCreate, orvConditionDestroy, [](const orvCondition &) {}, 600);
  }));
  // Read-write and recursive locks may be made without any allocation.
  EXPECT_ALLOCATION_FAILURES_HANDLED(forEachAllocationFailure(
      [] { return batch<orvRWLock>(orvRWLockCreate, orvRWLockDestroy, [](const orvRWLock &) {}); }));
  EXPECT_ALLOCATION_FAILURES_HANDLED(forEachAllocationFailure([] {
    return batch<orvRecursiveLock>(orvRecursiveMutexCreate, orvRecursiveLockDestroy,
                                   [](const orvRecursiveLock &) {});
  }));
  // A condition and a lock made after the failures work.
  orvCondition condition;
  memset(&condition, 0, sizeof condition);
  ASSERT_EQ(0, orvConditionCreate(&condition));
  EXPECT_EQ(0, orvConditionSignal(&condition));
  EXPECT_EQ(0, orvConditionDestroy(&condition));
  orvRWLock lock;
  memset(&lock, 0, sizeof lock);
  ASSERT_EQ(0, orvRWLockCreate(&lock));
  EXPECT_EQ(0, orvRWLockReadLock(&lock));
  EXPECT_EQ(0, orvRWLockUnlock(&lock));
  EXPECT_EQ(0, orvRWLockDestroy(&lock));
}

TEST_F(AllocThreads, TraceObjectCreateGivesNull) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    TraceObj *trace = traceObjCreate(1, 0xFFFFFFFFu, 256, quietWriter);
    if (trace == nullptr) {
      return false;
    }
    traceObjDelete(trace);
    return true;
  }));
}
