// Threads: creation, states, exit, join, cancellation, suspension,
// priorities, call-backs and the printable identifier.
#include <inttypes.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

#if !defined(_WIN32)
#include <pthread.h>
#endif

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/frame/layers.h"
#include "common/threads/thread_internal.h"
#include "orvane/sync.h"
#include "orvane/threads.h"
#include "platform/pal.h"
#include "platform/pal_thread.h"
#include "threads/layer_thread.h"
#include "threads/thread_test_util.h"
#include "threads/trace_recorder.h"

using threadtest::inLayerThread;
using threadtest::sleepMs;
using threadtest::waitUntil;

namespace {

struct Worker {
  std::atomic<int> started{0};
  std::atomic<bool> stop{false};
  std::atomic<long> ticks{0};
  std::atomic<int> observedState{-1};
  uint32_t exitWith = 0;
  bool callExit = false;
};

void returnAtOnce(void *argument) {
  auto *w = static_cast<Worker *>(argument);
  ++w->started;
  if (w->callExit) {
    orvThreadExit(w->exitWith);
  }
}

// Runs until stopped or cancelled; each round passes the cancellation point.
void pollUntilCancelled(void *argument) {
  auto *w = static_cast<Worker *>(argument);
  ++w->started;
  while (!w->stop.load()) {
    ++w->ticks;
    int state = orvThreadState(nullptr);
    if (state == static_cast<int>(ORV_THREAD_CANCELLED)) {
      w->observedState = state;
      orvThreadExit(7);
    }
    sleepMs(1);
  }
}

// Spins without a cancellation point until stopped.
void tickUntilStopped(void *argument) {
  auto *w = static_cast<Worker *>(argument);
  ++w->started;
  while (!w->stop.load()) {
    ++w->ticks;
    sleepMs(1);
  }
}

[[noreturn]] void exitFromDeepInside(int depth, uint32_t status) {
  if (depth > 0) {
    exitFromDeepInside(depth - 1, status);
  }
  orvThreadExit(status);
}

void exitDeep(void *argument) { exitFromDeepInside(4, static_cast<Worker *>(argument)->exitWith); }

void throwSomething(void *) { throw std::runtime_error("escaped"); }

orvThread *create(orvThreadRoutine routine, Worker &w, int startNow = 1, TraceObj *trace = nullptr) {
  orvThread *t = nullptr;
  EXPECT_EQ(0, orvThreadCreate(routine, &w, startNow, &t, trace));
  EXPECT_NE(nullptr, t);
  return t;
}

}  // namespace

// --- Creation, exit and join -----------------------------------------------------

TEST(Thread, RoutineThatReturnsEndsWithExitStatusZero) {
  Worker w;
  orvThread *t = create(returnAtOnce, w);
  uint32_t code = 99;
  EXPECT_EQ(0, orvThreadJoin(t, &code));
  EXPECT_EQ(0u, code);
  EXPECT_EQ(0u, orvThreadExitStatus(t));
  EXPECT_EQ(1, w.started.load());
  EXPECT_EQ(static_cast<int>(ORV_THREAD_NOT_RUNNING), orvThreadState(t));
  EXPECT_EQ(static_cast<int>(ORV_DEMISE_NORMAL), orvThreadAutopsy(t));
  orvThreadDestroy(t);
}

TEST(Thread, ExitStatusGivenToExitIsKept) {
  Worker w;
  w.callExit = true;
  w.exitWith = 1234;
  orvThread *t = create(returnAtOnce, w);
  uint32_t code = 0;
  EXPECT_EQ(0, orvThreadJoin(t, &code));
  EXPECT_EQ(1234u, code);
  EXPECT_EQ(1234u, orvThreadExitStatus(t));
  EXPECT_EQ(0u, orvThreadExitStatus(nullptr));
  orvThreadDestroy(t);
}

TEST(Thread, ExitFromDeepInsideTheRoutine) {
  Worker w;
  w.exitWith = 55;
  orvThread *t = create(exitDeep, w);
  uint32_t code = 0;
  EXPECT_EQ(0, orvThreadJoin(t, &code));
  EXPECT_EQ(55u, code);
  orvThreadDestroy(t);
}

TEST(Thread, JoiningOneselfOrNullReturnsMinus4) {
  uint32_t code = 0;
  EXPECT_EQ(-4, orvThreadJoin(nullptr, &code));
  int own = 0;
  inLayerThread([&] { own = orvThreadJoin(orvThreadSelf(), &code); });
  EXPECT_EQ(-4, own);
  EXPECT_EQ(static_cast<int>(0xFFFFFFFCu), own);
}

TEST(Thread, SelfIsTheRecordInLayerThreadsAndNullElsewhere) {
  EXPECT_EQ(nullptr, orvThreadSelf()) << "the test's main thread was not created by the layer";
  orvThread *seen = nullptr;
  Worker w;
  orvThread *t = nullptr;
  threadtest::Task task{[&] { seen = orvThreadSelf(); }};
  ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &t, nullptr));
  orvThreadJoin(t, nullptr);
  EXPECT_EQ(t, seen);
  EXPECT_NE(0u, t->id);
  EXPECT_NE(0u, t->handle);
  orvThreadDestroy(t);
  std::thread([&] { seen = orvThreadSelf(); }).join();
  EXPECT_EQ(nullptr, seen);
}

TEST(Thread, StateIsRunningWhileTheRoutineRuns) {
  Worker w;
  orvThread *t = create(tickUntilStopped, w);
  ASSERT_TRUE(waitUntil([&] { return w.started.load() == 1; }));
  EXPECT_EQ(static_cast<int>(ORV_THREAD_RUNNING), orvThreadState(t));
  EXPECT_EQ(1, orvThreadAlive(t));
  EXPECT_EQ(static_cast<int>(ORV_DEMISE_NOT_YET), orvThreadAutopsy(t));
  w.stop = true;
  orvThreadJoin(t, nullptr);
  EXPECT_EQ(0, orvThreadAlive(t));
  EXPECT_EQ(1, orvThreadAlive(nullptr));
  orvThreadDestroy(t);
}

TEST(Thread, EqualComparesIdentifiers) {
  Worker w;
  orvThread *a = create(returnAtOnce, w);
  orvThread *b = create(returnAtOnce, w);
  EXPECT_EQ(1, orvThreadEqual(a, a));
  EXPECT_EQ(0, orvThreadEqual(a, b));
  EXPECT_EQ(0, orvThreadEqual(a, nullptr));
  EXPECT_EQ(0, orvThreadEqual(nullptr, nullptr));
  orvThreadJoin(a, nullptr);
  orvThreadJoin(b, nullptr);
  orvThread copy = *a;
  EXPECT_EQ(1, orvThreadEqual(a, &copy));
  orvThreadDestroy(a);
  orvThreadDestroy(b);
}

TEST(Thread, AutopsyAfterACancelledThreadHasExitedIsOne) {
  Worker w;
  orvThread *t = create(pollUntilCancelled, w);
  ASSERT_TRUE(waitUntil([&] { return w.ticks.load() > 0; }));
  EXPECT_EQ(3, orvThreadAutopsy(t)) << "still running";
  EXPECT_EQ(3, orvThreadAutopsy(nullptr));
  orvThreadCancel(t);
  uint32_t code = 0;
  EXPECT_EQ(0, orvThreadJoin(t, &code));
  EXPECT_EQ(7u, code);
  EXPECT_EQ(static_cast<int>(ORV_THREAD_CANCELLED), w.observedState.load());
  EXPECT_EQ(1, orvThreadAutopsy(t));
  EXPECT_EQ(ORV_DEMISE_CANCELLED, t->demise);
  orvThreadDestroy(t);
}

TEST(Thread, WatchedCancelWordMakesTheNextCancellationPointReturn3) {
  uint32_t watch = 0;
  std::vector<int> states;
  inLayerThread([&] {
    EXPECT_EQ(0, orvThreadSetCancel(nullptr, &watch, 0));
    states.push_back(orvThreadState(nullptr));
    std::atomic_ref<uint32_t>(watch).store(1);
    states.push_back(orvThreadState(nullptr));
    EXPECT_EQ(ORV_DEMISE_CANCELLED, orvThreadSelf()->demise);
    EXPECT_EQ(0u, orvThreadSelf()->cancelPending);
  });
  EXPECT_EQ((std::vector<int>{1, 3}), states);
}

TEST(Thread, SetCancelWithoutARecordFails) {
  uint32_t watch = 0;
  EXPECT_EQ(-1, orvThreadSetCancel(nullptr, &watch, 1));
  EXPECT_EQ(1, orvThreadState(nullptr)) << "a caller without a record gets 1";
}

TEST(Thread, CancelIsOnlySeenAtACancellationPoint) {
  Worker w;
  orvThread *t = create(tickUntilStopped, w);
  ASSERT_TRUE(waitUntil([&] { return w.ticks.load() > 0; }));
  orvThreadCancel(t);
  EXPECT_EQ(1u, t->cancelPending);
  sleepMs(20);
  EXPECT_EQ(static_cast<int>(ORV_THREAD_RUNNING), orvThreadState(t)) << "no cancellation point passed";
  w.stop = true;
  orvThreadJoin(t, nullptr);
  EXPECT_EQ(0, orvThreadAutopsy(t)) << "it ended normally";
  orvThreadDestroy(t);
}

TEST(Thread, CreatedSuspendedCancelledAndDestroyedSeesTheCancelBeforeItsRoutine) {
  Worker w;
  orvThread *t = create(returnAtOnce, w, 0);
  EXPECT_EQ(ORV_THREAD_SUSPENDED, t->state);
  sleepMs(20);
  EXPECT_EQ(0, w.started.load()) << "a suspended thread runs nothing";
  std::atomic<int> ended{0};
  orvThreadStateCallback(t, ORV_THREAD_NOT_RUNNING, &ended, [](void *env, orvThread *thread, uint32_t) {
    EXPECT_EQ(0u, thread->exitStatus);
    EXPECT_EQ(ORV_DEMISE_CANCELLED, thread->demise);
    ++*static_cast<std::atomic<int> *>(env);
  });
  orvThreadCancel(t);
  orvThreadDestroy(t);  // resumes it, cancels again, joins
  EXPECT_EQ(0, w.started.load()) << "the routine was never called";
  EXPECT_EQ(1, ended.load()) << "the destroy returned after the thread had ended";
}

TEST(Thread, CreatedSuspendedRunsOnceContinued) {
  Worker w;
  orvThread *t = create(returnAtOnce, w, 0);
  sleepMs(10);
  EXPECT_EQ(0, w.started.load());
  EXPECT_EQ(static_cast<int>(ORV_THREAD_SUSPENDED), orvThreadState(t));
  EXPECT_EQ(0, orvThreadContinue(t));
  orvThreadJoin(t, nullptr);
  EXPECT_EQ(1, w.started.load());
  orvThreadDestroy(t);
}

TEST(Thread, SuspendAndContinueAnotherThread) {
  Worker w;
  orvThread *t = create(tickUntilStopped, w);
  ASSERT_TRUE(waitUntil([&] { return w.ticks.load() > 2; }));
  EXPECT_EQ(0, orvThreadSuspend(t));
  EXPECT_EQ(ORV_THREAD_SUSPENDED, t->state);
  ASSERT_TRUE(waitUntil([&] { return threadtest::staysAt(w.ticks); }));
  EXPECT_EQ(0, orvThreadSuspend(t)) << "not running: nothing to do";
  EXPECT_EQ(0, orvThreadContinue(t));
  EXPECT_EQ(ORV_THREAD_RUNNING, t->state);
  long before = w.ticks.load();
  EXPECT_TRUE(waitUntil([&] { return w.ticks.load() > before; }));
  EXPECT_EQ(0, orvThreadContinue(t)) << "not suspended: nothing to do";
  EXPECT_EQ(-1, orvThreadContinue(nullptr));
  w.stop = true;
  orvThreadJoin(t, nullptr);
  orvThreadDestroy(t);
}

TEST(Thread, AThreadSuspendsItselfAndAnotherContinuesIt) {
  std::atomic<int> phase{0};
  std::atomic<int> suspendResult{99};
  Worker w;
  threadtest::Task task{[&] {
    phase = 1;
    suspendResult = orvThreadSuspend(nullptr);
    phase = 2;
  }};
  orvThread *t = nullptr;
  ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &t, nullptr));
  ASSERT_TRUE(waitUntil([&] { return threads::loadWord(t->state) == ORV_THREAD_SUSPENDED; }));
  sleepMs(10);
  EXPECT_EQ(1, phase.load());
  EXPECT_EQ(0, orvThreadContinue(t));
  ASSERT_TRUE(waitUntil([&] { return phase.load() == 2; }));
  EXPECT_EQ(0, suspendResult.load());
  orvThreadJoin(t, nullptr);
  orvThreadDestroy(t);
}

TEST(Thread, SuspendWithoutARecordFails) { EXPECT_EQ(-1, orvThreadSuspend(nullptr)); }

TEST(Thread, ContinueThatComesBeforeTheSelfSuspensionStillWakesIt) {
  // Many rounds to meet the window between the state change and the stop.
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> resumed{false};
    threadtest::Task task{[&] {
      orvThreadSuspend(nullptr);
      resumed = true;
    }};
    orvThread *t = nullptr;
    ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &t, nullptr));
    ASSERT_TRUE(
        waitUntil([&] { return std::atomic_ref<uint32_t>(t->state).load() == ORV_THREAD_SUSPENDED; }));
    EXPECT_EQ(0, orvThreadContinue(t));
    ASSERT_TRUE(waitUntil([&] { return resumed.load(); })) << "round " << round;
    orvThreadJoin(t, nullptr);
    orvThreadDestroy(t);
  }
}

TEST(Thread, DestroyOfARunningThreadCancelsAndJoinsIt) {
  Worker w;
  orvThread *t = create(pollUntilCancelled, w);
  ASSERT_TRUE(waitUntil([&] { return w.ticks.load() > 0; }));
  orvThreadDestroy(t);
  EXPECT_EQ(static_cast<int>(ORV_THREAD_CANCELLED), w.observedState.load());
}

TEST(Thread, DestroyBeforeTheThreadHasRunLeavesItRunningSafely) {
  // Destroy in state 0 does nothing to the thread; its record stays alive
  // for the thread until it ends.
  for (int i = 0; i < 20; ++i) {
    std::atomic<int> ran{0};
    threadtest::Task task{[&] {
      orvThread *self = orvThreadSelf();
      EXPECT_NE(nullptr, self);
      orvThreadStateCallback(self, ORV_THREAD_NOT_RUNNING, nullptr, nullptr);
      ++ran;
    }};
    orvThread *t = nullptr;
    ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &t, nullptr));
    orvThreadDestroy(t);  // usually before the thread has got to its routine
    ASSERT_TRUE(waitUntil([&] { return ran.load() == 1; }));
  }
  sleepMs(20);  // let the last thread finish with its record
}

TEST(Thread, ExceptionEscapingTheRoutineEndsTheThreadAsFailed) {
  std::vector<uint32_t> states;
  orvThread *t = nullptr;
  ASSERT_EQ(0, orvThreadCreate(throwSomething, nullptr, 0, &t, nullptr));
  auto record = [](void *env, orvThread *, uint32_t state) {
    static_cast<std::vector<uint32_t> *>(env)->push_back(state);
  };
  orvThreadStateCallback(t, ORV_THREAD_FAILED, &states, record);
  orvThreadStateCallback(t, ORV_THREAD_NOT_RUNNING, &states, record);
  orvThreadContinue(t);
  uint32_t code = 0;
  EXPECT_EQ(0, orvThreadJoin(t, &code));
  EXPECT_EQ(0xFFFFFFFFu, code);
  EXPECT_EQ(0xFFFFFFFFu, orvThreadExitStatus(t));
  EXPECT_EQ((std::vector<uint32_t>{ORV_THREAD_FAILED, ORV_THREAD_NOT_RUNNING}), states);
  EXPECT_EQ(static_cast<int>(ORV_DEMISE_FAILED), orvThreadAutopsy(t));
  orvThreadDestroy(t);  // state 0: allowed
}

TEST(Thread, StateOfAnotherThreadThatEndedWhileRecordedRunningBecomesZero) {
  Worker w;
  orvThread *t = create(returnAtOnce, w);
  orvThreadJoin(t, nullptr);
  std::vector<uint32_t> states;
  orvThreadStateCallback(t, ORV_THREAD_NOT_RUNNING, &states, [](void *env, orvThread *, uint32_t s) {
    static_cast<std::vector<uint32_t> *>(env)->push_back(s);
  });
  threads::storeWord(t->state, ORV_THREAD_RUNNING);  // as if its exit had not been recorded
  EXPECT_EQ(static_cast<int>(ORV_THREAD_NOT_RUNNING), orvThreadState(t));
  EXPECT_EQ((std::vector<uint32_t>{0}), states) << "the call-backs ran";
  orvThreadDestroy(t);
}

// --- Call-backs ---------------------------------------------------------------------

namespace {
struct CallbackLog {
  std::vector<std::string> calls;
  std::mutex lock;
  void add(const std::string &s) {
    std::lock_guard<std::mutex> g(lock);
    calls.push_back(s);
  }
};
void logFirst(void *env, orvThread *, uint32_t state) {
  static_cast<CallbackLog *>(env)->add("first:" + std::to_string(state));
}
void logSecond(void *env, orvThread *, uint32_t state) {
  static_cast<CallbackLog *>(env)->add("second:" + std::to_string(state));
}
}  // namespace

TEST(ThreadCallbacks, AreCalledNewestFirstWithTheNewState) {
  Worker w;
  orvThread *t = create(returnAtOnce, w, 0);
  CallbackLog log;
  EXPECT_EQ(0, orvThreadStateCallback(t, ORV_THREAD_RUNNING, &log, logFirst));
  EXPECT_EQ(0, orvThreadStateCallback(t, ORV_THREAD_RUNNING, &log, logSecond));
  EXPECT_EQ(0, orvThreadStateCallback(t, ORV_THREAD_NOT_RUNNING, &log, logFirst));
  EXPECT_EQ(0, orvThreadContinue(t));
  orvThreadJoin(t, nullptr);
  EXPECT_EQ((std::vector<std::string>{"second:1", "first:1", "first:0"}), log.calls);
  orvThreadDestroy(t);
}

TEST(ThreadCallbacks, BadRegistrationsAreRefused) {
  Worker w;
  orvThread *t = create(returnAtOnce, w, 0);
  CallbackLog log;
  EXPECT_EQ(-1, orvThreadStateCallback(nullptr, 1, &log, logFirst));
  EXPECT_EQ(-1, orvThreadStateCallback(t, 5, &log, logFirst));
  EXPECT_EQ(0, orvThreadStateCallback(t, 1, &log, nullptr)) << "a null call-back registers nothing";
  EXPECT_EQ(nullptr, t->callbacks[1]);
  threads::testing::failAllocation(1);
  EXPECT_EQ(-2, orvThreadStateCallback(t, 1, &log, logFirst));
  threads::testing::failAllocation(0);
  orvThreadContinue(t);
  orvThreadJoin(t, nullptr);
  EXPECT_TRUE(log.calls.empty());
  orvThreadDestroy(t);
}

// --- Priorities -----------------------------------------------------------------

TEST(ThreadPriority, AdjustByFiveFromNormalSetsTwoAndASecondPlusOneHasNothingToDo) {
  Worker w;
  orvThread *t = create(tickUntilStopped, w, 0);
  EXPECT_EQ(pal::kPriorityNormal, pal::getThreadPriority(t->handle));
  EXPECT_EQ(0, orvThreadAdjustPriority(t, 5));
  EXPECT_EQ(pal::kPriorityHighest, pal::getThreadPriority(t->handle));
  EXPECT_EQ(-3, orvThreadAdjustPriority(t, 1));
  EXPECT_EQ(0, orvThreadAdjustPriority(t, -9));
  EXPECT_EQ(pal::kPriorityLowest, pal::getThreadPriority(t->handle));
  EXPECT_EQ(-3, orvThreadAdjustPriority(t, -1));
  EXPECT_EQ(0, orvThreadAdjustPriority(t, 2));
  EXPECT_EQ(0, pal::getThreadPriority(t->handle));
  w.stop = true;
  orvThreadContinue(t);
  orvThreadJoin(t, nullptr);
  orvThreadDestroy(t);
}

TEST(ThreadPriority, ExtremeCurrentPrioritiesAreClampedToo) {
  Worker w;
  orvThread *t = create(tickUntilStopped, w, 0);
  ASSERT_TRUE(pal::setThreadPriority(t->handle, pal::kPriorityTimeCritical));
  EXPECT_EQ(0, orvThreadAdjustPriority(t, 0)) << "15 clamps to 2, which differs";
  EXPECT_EQ(pal::kPriorityHighest, pal::getThreadPriority(t->handle));
  ASSERT_TRUE(pal::setThreadPriority(t->handle, pal::kPriorityIdle));
  EXPECT_EQ(0, orvThreadAdjustPriority(t, 1));
  EXPECT_EQ(pal::kPriorityLowest, pal::getThreadPriority(t->handle));
  w.stop = true;
  orvThreadContinue(t);
  orvThreadJoin(t, nullptr);
  orvThreadDestroy(t);
}

TEST(ThreadPriority, OwnPriorityThroughNull) {
  int first = 99, second = 99;
  inLayerThread([&] {
    first = orvThreadAdjustPriority(nullptr, -1);
    second = orvThreadAdjustPriority(nullptr, 0);
  });
  EXPECT_EQ(0, first);
  EXPECT_EQ(-3, second);
  EXPECT_EQ(-1, orvThreadAdjustPriority(nullptr, 1)) << "no record";
}

TEST(ThreadPriority, DeltasAtTheLimitsOfIntClampWithoutWrapping) {
  Worker w;
  orvThread *t = create(tickUntilStopped, w, 0);
  ASSERT_EQ(0, orvThreadAdjustPriority(t, 2));
  EXPECT_EQ(-3, orvThreadAdjustPriority(t, INT_MAX)) << "2 + INT_MAX clamps to 2";
  EXPECT_EQ(pal::kPriorityHighest, pal::getThreadPriority(t->handle));
  EXPECT_EQ(0, orvThreadAdjustPriority(t, INT_MIN));
  EXPECT_EQ(pal::kPriorityLowest, pal::getThreadPriority(t->handle));
  EXPECT_EQ(-3, orvThreadAdjustPriority(t, INT_MIN)) << "-2 + INT_MIN clamps to -2";
  EXPECT_EQ(pal::kPriorityLowest, pal::getThreadPriority(t->handle));
  EXPECT_EQ(0, orvThreadAdjustPriority(t, INT_MAX));
  EXPECT_EQ(pal::kPriorityHighest, pal::getThreadPriority(t->handle));
  w.stop = true;
  orvThreadContinue(t);
  orvThreadJoin(t, nullptr);
  orvThreadDestroy(t);
}

#if !defined(_WIN32)
// The kernel id of an ended thread may name another thread or process by
// now: a late change of the ended thread's priority fails and reaches
// nobody.
TEST(ThreadPriority, ChangingTheCurrentPriorityOfAnEndedThreadFails) {
  Worker w;
  orvThread *t = create(returnAtOnce, w);
  uint32_t code = 0;
  ASSERT_EQ(0, orvThreadJoin(t, &code));
  EXPECT_EQ(pal::kPriorityNormal, pal::getThreadPriority(t->handle)) << "the last priority stays readable";
  EXPECT_FALSE(pal::setThreadPriority(t->handle, pal::kPriorityLowest));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidHandle), pal::getLastError());
  EXPECT_EQ(-1, orvThreadAdjustPriority(t, 1));
  EXPECT_EQ(-3, orvThreadAdjustPriority(t, 0)) << "nothing to set";
  EXPECT_EQ(pal::kPriorityNormal, pal::getThreadPriority(t->handle));
  orvThreadDestroy(t);
}

// --- Ends through the system's thread API ---------------------------------------

namespace {
std::atomic<int> systemEndKeyDestroyed{0};
void countSystemEndKeyDestroyed(void *) { ++systemEndKeyDestroyed; }
orvThreadKey *systemEndKey = nullptr;
int systemEndValue;

void endThroughPthreadExit(void *) {
  orvThreadSetSpecific(systemEndKey, &systemEndValue);
  pthread_exit(nullptr);
}

struct CancelTarget {
  pthread_t system{};
  std::atomic<int> running{0};
};

void waitForCancellation(void *argument) {
  auto *target = static_cast<CancelTarget *>(argument);
  orvThreadSetSpecific(systemEndKey, &systemEndValue);
  target->system = pthread_self();
  target->running.store(1);
  for (;;) {
    pthread_testcancel();
    sleepMs(1);
  }
}

void expectEndedAsFailed(orvThread *t) {
  uint32_t code = 0;
  EXPECT_EQ(0, orvThreadJoin(t, &code)) << "the joiner returns";
  EXPECT_EQ(0xFFFFFFFFu, code);
  EXPECT_EQ(0xFFFFFFFFu, orvThreadExitStatus(t));
  EXPECT_EQ(static_cast<int>(ORV_THREAD_NOT_RUNNING), orvThreadState(t));
  EXPECT_EQ(static_cast<int>(ORV_DEMISE_FAILED), orvThreadAutopsy(t));
  EXPECT_EQ(1, systemEndKeyDestroyed.load()) << "key destroy routines ran";
}
}  // namespace

TEST(ThreadSystemEnd, PthreadExitEndsOnlyTheThreadAsFailed) {
  systemEndKeyDestroyed = 0;
  ASSERT_EQ(0, orvThreadKeyCreate(&systemEndKey, countSystemEndKeyDestroyed));
  std::vector<uint32_t> states;
  orvThread *t = nullptr;
  ASSERT_EQ(0, orvThreadCreate(endThroughPthreadExit, nullptr, 0, &t, nullptr));
  auto record = [](void *env, orvThread *, uint32_t state) {
    static_cast<std::vector<uint32_t> *>(env)->push_back(state);
  };
  orvThreadStateCallback(t, ORV_THREAD_FAILED, &states, record);
  orvThreadStateCallback(t, ORV_THREAD_NOT_RUNNING, &states, record);
  orvThreadContinue(t);
  expectEndedAsFailed(t);
  EXPECT_EQ((std::vector<uint32_t>{ORV_THREAD_FAILED, ORV_THREAD_NOT_RUNNING}), states);
  orvThreadDestroy(t);
  orvThreadKeyDestroy(systemEndKey);
}

TEST(ThreadSystemEnd, PthreadCancelEndsOnlyTheThreadAsFailed) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer does not follow the unwinding of a cancelled thread";
#endif
  systemEndKeyDestroyed = 0;
  ASSERT_EQ(0, orvThreadKeyCreate(&systemEndKey, countSystemEndKeyDestroyed));
  CancelTarget target;
  orvThread *t = nullptr;
  ASSERT_EQ(0, orvThreadCreate(waitForCancellation, &target, 1, &t, nullptr));
  ASSERT_TRUE(waitUntil([&] { return target.running.load() == 1; }));
  ASSERT_EQ(0, pthread_cancel(target.system));
  expectEndedAsFailed(t);
  orvThreadDestroy(t);
  orvThreadKeyDestroy(systemEndKey);
}
#endif

// --- Identifier text --------------------------------------------------------------

TEST(ThreadStrId, FormatsPointerIdAndHandle) {
  Worker w;
  orvThread *t = create(returnAtOnce, w);
  orvThreadJoin(t, nullptr);
  char buffer[64];
  char expected[64];
  snprintf(expected, sizeof expected, "%8" PRIxPTR "(%8x,%8" PRIxPTR ")", reinterpret_cast<uintptr_t>(t),
           t->id, t->handle);
  EXPECT_EQ(buffer, orvThreadStrId(t, buffer, sizeof buffer));
  EXPECT_STREQ(expected, buffer);
  orvThreadDestroy(t);
}

TEST(ThreadStrId, CutsWithoutATerminator) {
  Worker w;
  orvThread *t = create(returnAtOnce, w);
  orvThreadJoin(t, nullptr);
  char buffer[8];
  memset(buffer, '#', sizeof buffer);
  orvThreadStrId(t, buffer, 4);
  EXPECT_EQ('#', buffer[4]);
  char full[64];
  orvThreadStrId(t, full, sizeof full);
  EXPECT_EQ(0, memcmp(full, buffer, 4));
  orvThreadDestroy(t);
}

TEST(ThreadStrId, NullUsesTheCallersIdentity) {
  char buffer[64];
  orvThreadStrId(nullptr, buffer, sizeof buffer);
  char expected[64];
  snprintf(expected, sizeof expected, "%8" PRIxPTR "(%8x,%8" PRIxPTR ")", uintptr_t{0},
           pal::currentThreadId(), pal::currentThread());
  EXPECT_STREQ(expected, buffer);
  std::string inThread, wanted;
  inLayerThread([&] {
    orvThread *self = orvThreadSelf();
    orvThreadStrId(nullptr, buffer, sizeof buffer);
    inThread = buffer;
    snprintf(expected, sizeof expected, "%8" PRIxPTR "(%8x,%8" PRIxPTR ")", uintptr_t{0}, self->id,
             self->handle);
    wanted = expected;
  });
  EXPECT_EQ(wanted, inThread);
}

// --- Inheritance -------------------------------------------------------------------

TEST(ThreadInheritance, TraceObjectAndCancelWatchPassToChildrenWhenAsked) {
  TraceObj *trace = traceObjCreate(1, 0, 0, threadtest::TraceRecorder::writer);  // held back: writes nothing
  ASSERT_NE(nullptr, trace);
  uint32_t watch = 0;
  TraceObj *childTrace = nullptr;
  uint32_t *childWatch = nullptr;
  uint32_t childInheritTrace = 9, childInheritWatch = 9;
  TraceObj *plainTrace = trace;
  inLayerThread([&] {
    orvThreadSetTraceObj(trace, 1);
    orvThreadSetCancel(nullptr, &watch, 1);
    inLayerThread([&] {
      orvThread *self = orvThreadSelf();
      childTrace = self->traceObj;
      childWatch = self->cancelWatch;
      childInheritTrace = self->inheritTrace;
      childInheritWatch = self->inheritCancelWatch;
    });
    orvThreadSetTraceObj(trace, 0);
    orvThreadSetCancel(nullptr, &watch, 0);
    inLayerThread([&] {
      plainTrace = orvThreadSelf()->traceObj;
      EXPECT_EQ(nullptr, orvThreadSelf()->cancelWatch);
    });
  });
  EXPECT_EQ(trace, childTrace);
  EXPECT_EQ(&watch, childWatch);
  EXPECT_EQ(1u, childInheritTrace);
  EXPECT_EQ(1u, childInheritWatch);
  EXPECT_EQ(nullptr, plainTrace);
  traceObjDelete(trace);
}

TEST(ThreadInheritance, GivenTraceObjectWinsOverTheCreators) {
  TraceObj *mine = traceObjCreate(1, 0, 0, threadtest::TraceRecorder::writer);
  TraceObj *given = traceObjCreate(1, 0, 0, threadtest::TraceRecorder::writer);
  TraceObj *seen = nullptr;
  uint32_t inherit = 9;
  inLayerThread([&] {
    orvThreadSetTraceObj(mine, 1);
    inLayerThread(
        [&] {
          seen = orvThreadSelf()->traceObj;
          inherit = orvThreadSelf()->inheritTrace;
        },
        given);
  });
  EXPECT_EQ(given, seen);
  EXPECT_EQ(0u, inherit);
  traceObjDelete(mine);
  traceObjDelete(given);
}

TEST(ThreadTrace, SetTraceObjWithoutARecordFails) { EXPECT_EQ(-1, orvThreadSetTraceObj(nullptr, 0)); }

// --- Memory exhaustion and the layer -----------------------------------------------

TEST(ThreadMemory, NoMemoryForTheRecordGivesMinus2AndNull) {
  Worker w;
  orvThread *t = reinterpret_cast<orvThread *>(0x1);
  threads::testing::failAllocation(1);
  EXPECT_EQ(-2, orvThreadCreate(returnAtOnce, &w, 1, &t, nullptr));
  EXPECT_EQ(nullptr, t);
  threads::testing::failAllocation(2);  // the call-back table
  EXPECT_EQ(-2, orvThreadCreate(returnAtOnce, &w, 1, &t, nullptr));
  EXPECT_EQ(nullptr, t);
  threads::testing::failAllocation(0);
  EXPECT_EQ(0, w.started.load());
}

namespace {
bool assertionDeath(int status) {
#if defined(_WIN32)
  (void)status;
  return true;
#else
  return ::testing::KilledBySignal(SIGABRT)(status);
#endif
}
}  // namespace

TEST(ThreadDeathTest, CreationFailureAfterTheRecordIsFatalAtLine1331) {
  Worker w;
  EXPECT_EXIT(
      {
        threads::testing::failAllocation(3);  // the start block
        orvThread *t = nullptr;
        orvThreadCreate(returnAtOnce, &w, 1, &t, nullptr);
      },
      assertionDeath, "Assertion Failure at line <1331> of file <ORVTHRED.CPP>.");
}

TEST(ThreadDeathTest, DestroyOfAFailedThreadAssertsAt1331) {
  EXPECT_EXIT(
      {
        Worker w;
        orvThread *t = nullptr;
        orvThreadCreate(returnAtOnce, &w, 0, &t, nullptr);
        threads::storeWord(t->state, ORV_THREAD_FAILED);
        orvThreadDestroy(t);
      },
      assertionDeath, "Assertion Failure at line <1331> of file <ORVTHRED.CPP>.");
}

TEST(ThreadDeathTest, StateAbove4AssertsAt6870) {
  EXPECT_EXIT(
      {
        Worker w;
        orvThread *t = nullptr;
        orvThreadCreate(returnAtOnce, &w, 0, &t, nullptr);
        threads::setState(t, 5);
      },
      assertionDeath, "Assertion Failure at line <6870> of file <ORVTHRED.CPP>.");
}

TEST(ThreadDeathTest, TerminateWithAnUnusableLayerMutexAssertsAt964) {
  EXPECT_EXIT(
      {
        orvMutexDestroy(threads::testing::layerMutexWord());
        orvThreadProcessTerminate();
      },
      assertionDeath, "Assertion Failure at line <964> of file <ORVTHRED.CPP>.");
}

TEST(ThreadLayer, InitialisationIsCountedAndCreateNeedsIt) {
  int before = threads::testing::layerUseCount();
  ASSERT_GE(before, 1);
  EXPECT_EQ(0, orvThreadProcessInitialize());
  EXPECT_EQ(before + 1, threads::testing::layerUseCount());
  orvThreadProcessTerminate();
  EXPECT_EQ(before, threads::testing::layerUseCount());
  EXPECT_NE(nullptr, threads::selfKey());

  // Take the layer down completely, then bring it back.
  for (int i = 0; i < before; ++i) {
    orvThreadProcessTerminate();
  }
  EXPECT_EQ(0, threads::testing::layerUseCount());
  EXPECT_EQ(nullptr, threads::selfKey());
  orvThreadProcessTerminate();  // not positive: nothing happens
  EXPECT_EQ(0, threads::testing::layerUseCount());
  Worker w;
  orvThread *t = reinterpret_cast<orvThread *>(0x1);
  EXPECT_EQ(-1, orvThreadCreate(returnAtOnce, &w, 1, &t, nullptr)) << "the layer is down";
  EXPECT_EQ(nullptr, t);
  for (int i = 0; i < before; ++i) {
    EXPECT_EQ(0, orvThreadProcessInitialize());
  }
  EXPECT_NE(nullptr, threads::selfKey());
}

TEST(ThreadLayer, ProcessStartUpAndShutDownCallTheThreadLayer) {
  const frame::LayerTable &layers = frame::defaultLayers();
  EXPECT_EQ(&orvThreadProcessInitialize, layers.threadInitialize);
  EXPECT_EQ(&orvThreadProcessTerminate, layers.threadTerminate);
}
