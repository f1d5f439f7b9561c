// The exact trace lines of the thread and synchronisation layer, with
// nested-call suppression on (mask without bit 256) and off (with it).
#include <algorithm>
#include <atomic>
#include <functional>
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

using threadtest::d8;
using threadtest::end;
using threadtest::inLayerThread;
using threadtest::p8;
using threadtest::px;
using threadtest::single;
using threadtest::start;
using threadtest::TraceRecorder;
using threadtest::waitUntil;

namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t kInternal = ORV_TRACE_INTERNAL;

class TraceLines : public ::testing::Test {
 protected:
  void SetUp() override {
    TraceRecorder::instance(0).clear();
    TraceRecorder::instance(1).clear();
  }
  void TearDown() override {
    for (TraceObj *t : traces_) {
      traceObjDelete(t);
    }
  }
  TraceObj *trace(uint32_t mask, int which = 0) {
    TraceObj *t = threadtest::newRecordingTrace(mask, which);
    traces_.push_back(t);
    return t;
  }
  Lines lines(int which = 0) { return TraceRecorder::instance(which).lines(); }

 private:
  std::vector<TraceObj *> traces_;
};

// Runs body in a layer thread whose trace object is attached with
// orvThreadSetTraceObj and detached again before the thread ends.
orvThread *tracedRun(TraceObj *traceObj, const std::function<void()> &body) {
  orvThread *self = nullptr;
  inLayerThread([&] {
    self = orvThreadSelf();
    orvThreadSetTraceObj(traceObj, 0);
    body();
    orvThreadSetTraceObj(nullptr, 0);
  });
  return self;
}

}  // namespace

// --- Mutex lock ----------------------------------------------------------------

class MutexTrace : public TraceLines, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(MutexTrace, LockAndUnlockLines) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  orvThread *self = tracedRun(trace(ORV_TRACE_MUTEXES | GetParam()), [&] {
    orvMutexLock(&m);
    orvMutexUnlock(&m);
  });
  EXPECT_EQ((Lines{
                start("orvMutexLock") + " thread (" + p8(self) + ") mutex     (" + p8(&m) + ")",
                end("orvMutexLock") + " thread (" + p8(self) + ") mutex     (" + p8(&m) + ") result   (" +
                    d8(0) + ")",
                single("orvMutexUnlock") + " thread (" + p8(self) + ") mutex     (" + p8(&m) + ")",
            }),
            lines());
  orvMutexDestroy(&m);
}

INSTANTIATE_TEST_SUITE_P(NestedOnAndOff, MutexTrace, ::testing::Values(0u, kInternal));

TEST_F(TraceLines, MutexCreateDestroyAndFailedLockLines) {
  orvHandle m = 0;
  orvThread *self = tracedRun(trace(ORV_TRACE_MUTEXES), [&] {
    orvMutexCreate(&m);
    orvMutexDestroy(&m);
    orvMutexTryLock(&m);
  });
  std::string who = " thread (" + p8(self) + ") mutex     (" + p8(&m) + ")";
  EXPECT_EQ((Lines{
                single("orvMutexCreate") + who + " result   (" + d8(0) + ")",
                single("orvMutexDestroy") + who + " result   (" + d8(0) + ")",
                start("orvMutexTryLock") + who,
                end("orvMutexTryLock") + who + " result   (" + d8(-1) + ")",
            }),
            lines());
}

TEST_F(TraceLines, LinesOfOtherCategoriesAreFilteredOut) {
  orvHandle m = 0;
  ASSERT_EQ(0, orvMutexCreate(&m));
  tracedRun(trace(ORV_TRACE_SEMAPHORES | ORV_TRACE_EVENTS), [&] {
    orvMutexLock(&m);
    orvMutexUnlock(&m);
  });
  EXPECT_TRUE(lines().empty());
  orvMutexDestroy(&m);
}

// --- Condition wait and signal ----------------------------------------------------

namespace {

struct ConditionScene {
  orvCondition condition{};
  orvHandle mutex = 0;
  ConditionScene() {
    orvConditionCreate(&condition);
    orvMutexCreate(&mutex);
  }
  ~ConditionScene() {
    orvConditionDestroy(&condition);
    orvMutexDestroy(&mutex);
  }
  int waiters() {
    orvMutexLock(&mutex);
    int n = std::atomic_ref<int32_t>(condition.waiters).load();
    orvMutexUnlock(&mutex);
    return n;
  }
};

}  // namespace

TEST_F(TraceLines, ConditionWaitWithNestedCallsSuppressed) {
  ConditionScene s;
  std::thread signaller([&] {
    waitUntil([&] { return s.waiters() == 1; });
    orvMutexLock(&s.mutex);
    orvConditionSignal(&s.condition);
    orvMutexUnlock(&s.mutex);
  });
  orvThread *self = tracedRun(trace(ORV_TRACE_CONDITIONS | ORV_TRACE_MUTEXES | ORV_TRACE_SEMAPHORES), [&] {
    orvMutexLock(&s.mutex);
    orvConditionWait(&s.condition, &s.mutex);
    orvMutexUnlock(&s.mutex);
  });
  signaller.join();
  std::string t = " thread (" + p8(self) + ")";
  std::string mutex = " mutex     (" + p8(&s.mutex) + ")";
  std::string cond = " condition (" + p8(&s.condition) + ") mutex (" + p8(&s.mutex) + ")";
  EXPECT_EQ((Lines{
                start("orvMutexLock") + t + mutex,
                end("orvMutexLock") + t + mutex + " result   (" + d8(0) + ")",
                start("orvConditionWait") + t + cond,
                end("orvConditionWait") + t + cond + " result   (" + d8(0) + ")",
                single("orvMutexUnlock") + t + mutex,
            }),
            lines());
}

TEST_F(TraceLines, ConditionWaitWithNestedCallsShown) {
  ConditionScene s;
  std::thread signaller([&] {
    waitUntil([&] { return s.waiters() == 1; });
    orvMutexLock(&s.mutex);
    orvConditionSignal(&s.condition);
    orvMutexUnlock(&s.mutex);
  });
  orvThread *self =
      tracedRun(trace(ORV_TRACE_CONDITIONS | ORV_TRACE_MUTEXES | ORV_TRACE_SEMAPHORES | kInternal), [&] {
        orvMutexLock(&s.mutex);
        orvConditionWait(&s.condition, &s.mutex);
        orvMutexUnlock(&s.mutex);
      });
  signaller.join();
  std::string t = " thread (" + p8(self) + ")";
  std::string mutex = " mutex     (" + p8(&s.mutex) + ")";
  std::string queue = " semaphore (" + p8(&s.condition.queue) + ")";
  std::string cond = " condition (" + p8(&s.condition) + ") mutex (" + p8(&s.mutex) + ")";
  EXPECT_EQ((Lines{
                start("orvMutexLock") + t + mutex,
                end("orvMutexLock") + t + mutex + " result   (" + d8(0) + ")",
                start("orvConditionWait") + t + cond,
                single("orvMutexUnlock") + t + mutex,
                start("orvSemaphoreWait") + t + queue,
                end("orvSemaphoreWait") + t + queue + " result   (" + d8(0) + ")",
                start("orvMutexLock") + t + mutex,
                end("orvMutexLock") + t + mutex + " result   (" + d8(0) + ")",
                end("orvConditionWait") + t + cond + " result   (" + d8(0) + ")",
                single("orvMutexUnlock") + t + mutex,
            }),
            lines());
}

class SignalTrace : public TraceLines, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(SignalTrace, ConditionSignalLines) {
  ConditionScene s;
  bool woken = false;
  std::thread waiter([&] {
    orvMutexLock(&s.mutex);
    while (!woken) {
      orvConditionWait(&s.condition, &s.mutex);
    }
    orvMutexUnlock(&s.mutex);
  });
  ASSERT_TRUE(waitUntil([&] { return s.waiters() == 1; }));
  orvThread *self = tracedRun(trace(ORV_TRACE_CONDITIONS | ORV_TRACE_SEMAPHORES | GetParam()), [&] {
    orvMutexLock(&s.mutex);
    woken = true;
    orvConditionSignal(&s.condition);
    orvMutexUnlock(&s.mutex);
  });
  waiter.join();
  std::string t = " thread (" + p8(self) + ")";
  std::string cond = " condition (" + p8(&s.condition) + ")";
  std::string queue = " semaphore (" + p8(&s.condition.queue) + ")";
  Lines expected{start("orvConditionSignal") + t + cond};
  if (GetParam() != 0) {
    expected.push_back(start("orvSemaphorePost") + t + queue);
    expected.push_back(end("orvSemaphorePost") + t + queue + " result   (" + d8(0) + ")");
  }
  expected.push_back(end("orvConditionSignal") + t + cond + " result(" + d8(0) + ")");
  EXPECT_EQ(expected, lines());
}

INSTANTIATE_TEST_SUITE_P(NestedOnAndOff, SignalTrace, ::testing::Values(0u, kInternal));

// --- Thread create and exit ---------------------------------------------------------

namespace {
void emptyRoutine(void *) {}
}  // namespace

class CreateTrace : public TraceLines, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(CreateTrace, CreateLinesInTheCreatorAndExitLinesInTheNewThread) {
  // The creator traces to the first recorder, the new thread (given its own
  // trace object) to the second.
  TraceObj *childTrace = trace(ORV_TRACE_THREADS | GetParam(), 1);
  int arg = 0;
  orvThread *child = nullptr;
  orvThread *parent = tracedRun(trace(ORV_TRACE_THREADS), [&] {
    ASSERT_EQ(0, orvThreadCreate(emptyRoutine, &arg, 1, &child, childTrace));
    orvThreadJoin(child, nullptr);
    orvThreadDestroy(child);
  });
  std::string old = " oldthr (" + p8(parent) + ")";
  std::string target = " thread    (" + p8(child) + ")";
  Lines parentLines = lines(0);
  ASSERT_FALSE(parentLines.empty());
  parentLines.erase(parentLines.begin());  // the set-trace line, checked elsewhere
  EXPECT_EQ((Lines{
                start("orvThreadCreate") + old + " routine   (" + p8(reinterpret_cast<void *>(emptyRoutine)) +
                    ") arg      (" + p8(&arg) + ")",
                end("orvThreadCreate") + " newthr (" + p8(child) + ") result    (" + d8(0) + ")",
                start("orvThreadJoin") + old + target,
                end("orvThreadJoin") + old + target + " result   (" + d8(0) + ")",
                start("orvThreadDestroy") + old + target + " state    (" + d8(0) + ")",
                end("orvThreadDestroy") + old + target,
            }),
            parentLines);

  std::string c = " thread (" + p8(child) + ")";
  Lines expected;
  if (GetParam() != 0) {
    orvThreadKey *selfKey = threads::selfKey();
    orvKeyAssoc *assoc = selfKey->head;  // the newest association of the self key: this thread's
    expected = {
        single("<orvThreadStartRoutine>") + c + " started!",
        single("<tkAssocCreate>") + c + " key       (" + p8(selfKey) + ") assoc (" + p8(assoc) + ") created",
        single("orvThreadState") + " oldthr (" + p8(child) + ") thread    (" + p8(child) + ") state    (" +
            d8(0) + ")",
        single("<orvThreadStartRoutine>") + c + " user didn't call orvThreadExit; we'll call it",
        single("orvThreadExit") + c + " exitStatus(" + d8(0) + ")",
        single("<callUserDestroyRoutines>") + c + " key       (" + p8(selfKey) +
            "): " + px(reinterpret_cast<void *>(selfKey->destructor)) + "(" + px(child) + ")",
    };
  } else {
    expected = {single("orvThreadExit") + c + " exitStatus(" + d8(0) + ")"};
  }
  EXPECT_EQ(expected, lines(1));
}

INSTANTIATE_TEST_SUITE_P(NestedOnAndOff, CreateTrace, ::testing::Values(0u, kInternal));

TEST_F(TraceLines, SetTraceObjLine) {
  TraceObj *t = trace(ORV_TRACE_THREADS);
  orvThread *self = tracedRun(t, [] {});
  EXPECT_EQ((Lines{single("orvThreadSetTraceObj") + " thread (" + p8(self) + ") traceObj  (" + p8(t) +
                   ") inherit  (" + d8(0) + ")"}),
            lines());
}

TEST_F(TraceLines, CancelledBeforeTheRoutineTracesTheCancelCaughtLine) {
  TraceObj *t = trace(ORV_TRACE_THREADS | kInternal);
  orvThread *child = nullptr;
  ASSERT_EQ(0, orvThreadCreate(emptyRoutine, nullptr, 0, &child, t));
  orvThreadCancel(child);
  orvThreadDestroy(child);  // resumes, cancels, joins
  Lines got = lines();
  std::string c = " thread (" + p8(child) + ")";
  EXPECT_NE(got.end(), std::find(got.begin(), got.end(), single("orvThreadState") + c + " cancelling"));
  EXPECT_NE(got.end(), std::find(got.begin(), got.end(),
                                 single("<orvThreadStartRoutine>") + c +
                                     " cancel caught before calling user's thread routine"));
  EXPECT_NE(got.end(),
            std::find(got.begin(), got.end(), single("orvThreadExit") + c + " exitStatus(" + d8(0) + ")"));
}

// --- Key set ----------------------------------------------------------------------

namespace {
void ignoreValue(void *) {}
int keyValue;
}  // namespace

TEST_F(TraceLines, KeySetWithNestedCallsSuppressed) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, ignoreValue));
  orvThread *self = tracedRun(trace(ORV_TRACE_KEYS | ORV_TRACE_MUTEXES), [&] {
    orvThreadSetSpecific(key, &keyValue);
    orvThreadSetSpecific(key, &keyValue);  // the association exists now
  });
  std::string line = single("orvThreadSetSpecific") + " thread (" + p8(self) + ") key       (" + p8(key) +
                     ") result   (" + d8(0) + ") data   (" + p8(&keyValue) + ")";
  EXPECT_EQ((Lines{line, line}), lines());
  orvThreadKeyDestroy(key);
}

TEST_F(TraceLines, KeySetWithNestedCallsShown) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, ignoreValue));
  orvKeyAssoc *assoc = nullptr;
  orvThread *self = tracedRun(trace(ORV_TRACE_KEYS | ORV_TRACE_MUTEXES | kInternal), [&] {
    orvThreadSetSpecific(key, &keyValue);
    assoc = orvThreadSelf()->keyValues;
  });
  std::string t = " thread (" + p8(self) + ")";
  std::string keyMutex = " mutex     (" + p8(&key->mutex) + ")";
  EXPECT_EQ(
      (Lines{
          single("orvMutexCreate") + t + " mutex     (" + p8(&assoc->mutex) + ") result   (" + d8(0) + ")",
          start("orvMutexLock") + t + keyMutex,
          end("orvMutexLock") + t + keyMutex + " result   (" + d8(0) + ")",
          single("orvMutexUnlock") + t + keyMutex,
          single("<tkAssocCreate>") + t + " key       (" + p8(key) + ") assoc (" + p8(assoc) + ") created",
          single("orvThreadSetSpecific") + t + " key       (" + p8(key) + ") result   (" + d8(0) +
              ") data   (" + p8(&keyValue) + ")",
      }),
      lines());
  orvThreadKeyDestroy(key);
}

// --- Threads without a record and the tracing switch -----------------------------------

TEST_F(TraceLines, ThreadsWithoutARecordWriteNothing) {
  orvHandle m = 0;
  orvMutexCreate(&m);
  std::thread([&] {
    orvMutexLock(&m);
    orvMutexUnlock(&m);
  }).join();
  orvMutexDestroy(&m);
  EXPECT_TRUE(lines().empty());
}

TEST_F(TraceLines, WithTheTracingSwitchOffSynchronisationCallsAreNotTraced) {
  // A thread given a trace object at creation traces its own thread steps,
  // but the synchronisation calls look for the caller's record only once
  // some thread has called orvThreadSetTraceObj.
  threads::testing::resetTracingSwitch();
  orvHandle m = 0;
  orvMutexCreate(&m);
  TraceObj *t = trace(ORV_TRACE_THREADS | ORV_TRACE_MUTEXES);
  orvThread *self = nullptr;
  inLayerThread(
      [&] {
        self = orvThreadSelf();
        orvMutexLock(&m);
        orvMutexUnlock(&m);
      },
      t);
  orvMutexDestroy(&m);
  EXPECT_EQ((Lines{single("orvThreadExit") + " thread (" + p8(self) + ") exitStatus(" + d8(0) + ")"}),
            lines());
  threads::setTracingOn();
}

namespace {

// The operation names (the first 28 columns) of the lines recorded.
Lines operationNames(const Lines &all) {
  Lines names;
  for (const std::string &line : all) {
    names.push_back(line.substr(0, std::min<size_t>(line.size(), 28)));
  }
  return names;
}

// Operations on the calling thread, given as null or as the caller's own
// record.
void operateOnSelf() {
  orvThread *self = orvThreadSelf();
  orvThreadKey *key = nullptr;
  orvThreadKeyCreate(&key, ignoreValue);
  orvThreadSetSpecific(key, &keyValue);
  void *value = nullptr;
  orvThreadGetSpecific(key, &value);
  uint32_t watch = 0;
  orvThreadSetCancel(nullptr, &watch, 0);
  orvThreadSetCancel(self, nullptr, 0);
  orvThreadAdjustPriority(nullptr, -1);
  orvThreadAdjustPriority(self, 1);
  orvThreadAlive(self);
  orvThreadKeyDestroy(key);
}

}  // namespace

TEST_F(TraceLines, OperationsOnTheCallingThreadTraceAlikeWithTheSwitchOnOrOff) {
  const uint32_t mask = ORV_TRACE_THREADS | ORV_TRACE_KEYS;
  threads::testing::resetTracingSwitch();
  inLayerThread(operateOnSelf, trace(mask));
  Lines off = operationNames(lines());
  TraceRecorder::instance(0).clear();
  threads::setTracingOn();
  inLayerThread(operateOnSelf, trace(mask));
  Lines on = operationNames(lines());
  EXPECT_EQ(on, off);
  for (const char *name :
       {"orvThreadKeyCreate", "orvThreadSetSpecific", "orvThreadGetSpecific", "orvThreadSetCancel",
        "orvThreadAdjustPriority", "orvThreadAlive", "orvThreadKeyDestroy"}) {
    EXPECT_NE(off.end(), std::find(off.begin(), off.end(), single(name))) << name;
  }
  EXPECT_EQ(2, std::count(off.begin(), off.end(), single("orvThreadSetCancel")));
  EXPECT_EQ(2, std::count(off.begin(), off.end(), single("orvThreadAdjustPriority")));
}
