// Thread keys and state traps.
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/threads/thread_internal.h"
#include "orvane/sync.h"
#include "orvane/threads.h"
#include "threads/layer_thread.h"
#include "threads/thread_test_util.h"

using threadtest::inLayerThread;
using threadtest::sleepMs;
using threadtest::waitUntil;

namespace {

// Records destructor calls (value, in order).
struct DestructorLog {
  std::mutex lock;
  std::vector<void *> values;
  std::vector<int> order;
};
DestructorLog destructorLog;

void destroyA(void *value) {
  std::lock_guard<std::mutex> g(destructorLog.lock);
  destructorLog.values.push_back(value);
  destructorLog.order.push_back(1);
}
void destroyB(void *value) {
  std::lock_guard<std::mutex> g(destructorLog.lock);
  destructorLog.values.push_back(value);
  destructorLog.order.push_back(2);
}

class Keys : public ::testing::Test {
 protected:
  void SetUp() override {
    std::lock_guard<std::mutex> g(destructorLog.lock);
    destructorLog.values.clear();
    destructorLog.order.clear();
  }
  std::vector<void *> values() {
    std::lock_guard<std::mutex> g(destructorLog.lock);
    return destructorLog.values;
  }
  std::vector<int> order() {
    std::lock_guard<std::mutex> g(destructorLog.lock);
    return destructorLog.order;
  }
};

int countAssocs(orvThreadKey *key) {
  int n = 0;
  for (orvKeyAssoc *a = key->head; a != nullptr; a = a->nextOfKey) {
    ++n;
  }
  return n;
}

int a1, a2, a3;  // values to store

}  // namespace

TEST_F(Keys, CreateGivesARecordWithASlot) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  ASSERT_NE(nullptr, key);
  EXPECT_EQ(reinterpret_cast<orvKeyDestructor>(destroyA), key->destructor);
  EXPECT_NE(0u, key->mutex);
  EXPECT_EQ(nullptr, key->head);
  orvThreadKey *plain = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&plain, nullptr));
  EXPECT_EQ(0u, plain->mutex) << "no mutex without a destructor";
  EXPECT_NE(key->slot, plain->slot);
  EXPECT_EQ(0, orvThreadKeyDestroy(key));
  EXPECT_EQ(0, orvThreadKeyDestroy(plain));
}

TEST_F(Keys, ValuesArePerThreadAndNullUntilSet) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, nullptr));
  void *value = &a1;
  EXPECT_EQ(0, orvThreadGetSpecific(key, &value));
  EXPECT_EQ(nullptr, value);
  EXPECT_EQ(0, orvThreadSetSpecific(key, &a1));
  void *other = &a3;
  inLayerThread([&] {
    orvThreadGetSpecific(key, &other);
    orvThreadSetSpecific(key, &a2);
  });
  EXPECT_EQ(nullptr, other);
  EXPECT_EQ(0, orvThreadGetSpecific(key, &value));
  EXPECT_EQ(&a1, value);
  orvThreadKeyDestroy(key);
}

TEST_F(Keys, AKeyWithoutDestructorNeverCreatesAssociations) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, nullptr));
  orvKeyAssoc *before = nullptr;
  orvKeyAssoc *after = nullptr;
  inLayerThread([&] {
    before = orvThreadSelf()->keyValues;
    EXPECT_EQ(0, orvThreadSetSpecific(key, &a1));
    after = orvThreadSelf()->keyValues;
  });
  EXPECT_EQ(before, after) << "no association was added";
  EXPECT_EQ(nullptr, key->head);
  EXPECT_TRUE(values().empty()) << "the value vanished silently";
  orvThreadKeyDestroy(key);
}

TEST_F(Keys, SettingTwiceCreatesOneAssociationAndTheDestructorRunsOnceWithTheLastValue) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  inLayerThread([&] {
    EXPECT_EQ(0, orvThreadSetSpecific(key, &a1));
    EXPECT_EQ(0, orvThreadSetSpecific(key, &a2));
    EXPECT_EQ(1, countAssocs(key));
  });
  EXPECT_EQ((std::vector<void *>{&a2}), values());
  orvThreadKeyDestroy(key);
}

TEST_F(Keys, AValueSetBackToNullCausesNoDestructorCall) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  inLayerThread([&] {
    orvThreadSetSpecific(key, &a1);
    orvThreadSetSpecific(key, nullptr);
  });
  EXPECT_TRUE(values().empty());
  orvThreadKeyDestroy(key);
}

TEST_F(Keys, NullValueCreatesNoAssociation) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  inLayerThread([&] { orvThreadSetSpecific(key, nullptr); });
  EXPECT_EQ(nullptr, key->head);
  orvThreadKeyDestroy(key);
}

TEST_F(Keys, DestroyingAKeyBeforeItsThreadsExitSkipsItsDestructor) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  std::atomic<bool> set{false};
  std::atomic<bool> go{false};
  threadtest::Task task{[&] {
    orvThreadSetSpecific(key, &a1);
    set = true;
    while (!go) {
      sleepMs(1);
    }
  }};
  orvThread *t = nullptr;
  ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &t, nullptr));
  ASSERT_TRUE(waitUntil([&] { return set.load(); }));
  orvKeyAssoc *assoc = t->keyValues;
  ASSERT_NE(nullptr, assoc);
  EXPECT_EQ(0, orvThreadKeyDestroy(key));
  EXPECT_EQ(nullptr, assoc->key) << "detached, kept for its thread";
  go = true;
  orvThreadJoin(t, nullptr);
  EXPECT_TRUE(values().empty());
  orvThreadDestroy(t);
}

TEST_F(Keys, DestroyingAKeyAfterItsThreadsExitedFreesTheirAssociations) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  inLayerThread([&] { orvThreadSetSpecific(key, &a1); });
  ASSERT_EQ(1, countAssocs(key));
  EXPECT_EQ(nullptr, key->head->thread) << "the thread let go";
  EXPECT_NE(nullptr, key->head->key) << "the key keeps it";
  EXPECT_EQ(0, orvThreadKeyDestroy(key));  // frees it (the leak checkers would tell)
  EXPECT_EQ(1u, values().size());
}

TEST_F(Keys, AssociationsOfEndedThreadsAreReclaimedWhenNewOnesAreMade) {
  // A long-lived key keeps no association per thread that ever used it.
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  for (int i = 0; i < 50; ++i) {
    inLayerThread([&] { orvThreadSetSpecific(key, &a1); });
  }
  EXPECT_EQ(1, countAssocs(key)) << "only the newest, whose thread has ended since";
  EXPECT_EQ(50u, values().size()) << "every thread's destructor ran";
  int live = 0;
  std::atomic<bool> go{false};
  std::atomic<int> set{0};
  threadtest::Task task{[&] {
    orvThreadSetSpecific(key, &a2);
    ++set;
    while (!go) {
      sleepMs(1);
    }
  }};
  orvThread *t[3] = {};
  for (auto &thread : t) {
    ASSERT_EQ(0, orvThreadCreate(threadtest::runTask, &task, 1, &thread, nullptr));
  }
  ASSERT_TRUE(waitUntil([&] { return set.load() == 3; }));
  for (orvKeyAssoc *a = key->head; a != nullptr; a = a->nextOfKey) {
    live += a->thread != nullptr ? 1 : 0;
  }
  EXPECT_EQ(3, live) << "associations of running threads stay";
  EXPECT_EQ(3, countAssocs(key));
  go = true;
  for (auto *thread : t) {
    orvThreadJoin(thread, nullptr);
    orvThreadDestroy(thread);
  }
  orvThreadKeyDestroy(key);
  // The self key is swept the same way as threads start: one more thread
  // finds the three that ended and leaves only its own.
  inLayerThread([] {});
  EXPECT_EQ(1, countAssocs(threads::selfKey()));
}

TEST_F(Keys, DestructorsRunNewestAssociationFirst) {
  orvThreadKey *first = nullptr;
  orvThreadKey *second = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&first, destroyA));
  ASSERT_EQ(0, orvThreadKeyCreate(&second, destroyB));
  inLayerThread([&] {
    orvThreadSetSpecific(first, &a1);
    orvThreadSetSpecific(second, &a2);
    orvThreadSetSpecific(first, &a3);  // no new association
  });
  EXPECT_EQ((std::vector<int>{2, 1}), order());
  EXPECT_EQ((std::vector<void *>{&a2, &a3}), values());
  orvThreadKeyDestroy(first);
  orvThreadKeyDestroy(second);
}

TEST_F(Keys, ThreadsWithoutARecordKeepValuesButNoDestructorRuns) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  void *seen = nullptr;
  std::thread([&] {
    EXPECT_EQ(0, orvThreadSetSpecific(key, &a1));
    orvThreadGetSpecific(key, &seen);
  }).join();
  EXPECT_EQ(&a1, seen);
  EXPECT_EQ(nullptr, key->head);
  EXPECT_TRUE(values().empty());
  orvThreadKeyDestroy(key);
}

TEST_F(Keys, TheSelfKeyHoldsEachLayerThreadsRecord) {
  orvThreadKey *self = threads::selfKey();
  ASSERT_NE(nullptr, self);
  ASSERT_NE(nullptr, self->destructor);
  orvThread *record = nullptr;
  uint32_t stateInside = 99;
  inLayerThread([&] {
    record = orvThreadSelf();
    void *value = nullptr;
    orvThreadGetSpecific(self, &value);
    EXPECT_EQ(record, value);
    stateInside = record->state;
  });
  EXPECT_EQ(ORV_THREAD_RUNNING, stateInside);
}

TEST_F(Keys, NoMemoryForTheKeyGivesMinus2AndNull) {
  orvThreadKey *key = reinterpret_cast<orvThreadKey *>(0x1);
  threads::testing::failAllocation(1);
  EXPECT_EQ(-2, orvThreadKeyCreate(&key, destroyA));
  threads::testing::failAllocation(0);
  EXPECT_EQ(nullptr, key);
}

TEST_F(Keys, NoMemoryForAnAssociationFailsTheSetAndLeavesTheValueUnset) {
  orvThreadKey *key = nullptr;
  ASSERT_EQ(0, orvThreadKeyCreate(&key, destroyA));
  int result = 0;
  void *value = &a3;
  inLayerThread([&] {
    threads::testing::failAllocation(1);
    result = orvThreadSetSpecific(key, &a1);
    threads::testing::failAllocation(0);
    orvThreadGetSpecific(key, &value);
  });
  EXPECT_EQ(-2, result);
  EXPECT_EQ(nullptr, value);
  EXPECT_TRUE(values().empty());
  orvThreadKeyDestroy(key);
}

TEST_F(Keys, RunningOutOfSlotsGivesMinus3AndNull) {
  std::vector<orvThreadKey *> keys;
  int result = 0;
  orvThreadKey *key = nullptr;
  for (int i = 0; i < 5000; ++i) {
    result = orvThreadKeyCreate(&key, nullptr);
    if (result != 0) {
      break;
    }
    keys.push_back(key);
  }
  EXPECT_EQ(-3, result);
  EXPECT_EQ(nullptr, key);
  EXPECT_GT(keys.size(), 50u);
  for (orvThreadKey *k : keys) {
    orvThreadKeyDestroy(k);
  }
  ASSERT_EQ(0, orvThreadKeyCreate(&key, nullptr)) << "slots are free again";
  orvThreadKeyDestroy(key);
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

TEST(KeysDeathTest, SetSpecificWithANullKeyAssertsAt3003) {
  EXPECT_EXIT(orvThreadSetSpecific(nullptr, &a1), assertionDeath,
              "Assertion Failure at line <3003> of file <ORVTHRED.CPP>.");
}

// --- State traps ---------------------------------------------------------------

namespace {

void waitForGo(void *argument) {
  auto *go = static_cast<std::atomic<int> *>(argument);
  while (go->load() == 0) {
    sleepMs(1);
  }
}

}  // namespace

TEST(StateTraps, ThreadsComeOutInTheOrderInWhichTheyExited) {
  orvStateTrap *trap = orvThreadStateTrapCreate(ORV_THREAD_NOT_RUNNING);
  ASSERT_NE(nullptr, trap);
  EXPECT_EQ(ORV_THREAD_NOT_RUNNING, trap->state);
  std::atomic<int> go[3] = {{0}, {0}, {0}};
  orvThread *t[3] = {};
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, orvThreadCreate(waitForGo, &go[i], 0, &t[i], nullptr));
    EXPECT_EQ(0, orvThreadStateTrapSet(trap, t[i]));
    orvThreadContinue(t[i]);
  }
  // Let them end in the order 2, 0, 1.
  int order[3] = {2, 0, 1};
  for (int i : order) {
    go[i] = 1;
    orvThreadJoin(t[i], nullptr);
  }
  int status = 99;
  for (int i : order) {
    EXPECT_EQ(t[i], orvThreadStateTrapNext(trap, &status));
    EXPECT_EQ(0, status);
  }
  EXPECT_EQ(0, trap->error);
  orvThreadStateTrapDestroy(trap);
  for (auto *thread : t) {
    orvThreadDestroy(thread);
  }
}

TEST(StateTraps, NextWaitsForAnArrival) {
  orvStateTrap *trap = orvThreadStateTrapCreate(ORV_THREAD_RUNNING);
  std::atomic<int> go{0};
  orvThread *t = nullptr;
  ASSERT_EQ(0, orvThreadCreate(waitForGo, &go, 0, &t, nullptr));
  ASSERT_EQ(0, orvThreadStateTrapSet(trap, t));
  std::atomic<orvThread *> next{nullptr};
  std::thread consumer([&] {
    int status = 99;
    next = orvThreadStateTrapNext(trap, &status);
    EXPECT_EQ(0, status);
  });
  sleepMs(20);
  EXPECT_EQ(nullptr, next.load());
  orvThreadContinue(t);  // reaches state 1
  consumer.join();
  EXPECT_EQ(t, next.load());
  go = 1;
  orvThreadJoin(t, nullptr);
  orvThreadDestroy(t);
  orvThreadStateTrapDestroy(trap);
}

TEST(StateTraps, NullArgumentsFail) {
  int status = 99;
  EXPECT_EQ(nullptr, orvThreadStateTrapNext(nullptr, &status));
  EXPECT_EQ(-1, status);
  orvStateTrap *trap = orvThreadStateTrapCreate(0);
  EXPECT_EQ(-1, orvThreadStateTrapSet(trap, nullptr));
  EXPECT_EQ(-1, orvThreadStateTrapSet(nullptr, reinterpret_cast<orvThread *>(&status)));
  orvThreadStateTrapDestroy(trap);
  orvThreadStateTrapDestroy(nullptr);
}

TEST(StateTraps, SetOnABadStateOrThreadFailsLikeTheCallbackRegistration) {
  orvStateTrap *trap = orvThreadStateTrapCreate(7);
  std::atomic<int> go{1};
  orvThread *t = nullptr;
  ASSERT_EQ(0, orvThreadCreate(waitForGo, &go, 0, &t, nullptr));
  EXPECT_EQ(-1, orvThreadStateTrapSet(trap, t)) << "state 7 does not exist";
  orvThreadContinue(t);
  orvThreadJoin(t, nullptr);
  orvThreadDestroy(t);
  orvThreadStateTrapDestroy(trap);
}

TEST(StateTraps, DestroyFreesQueuedArrivals) {
  orvStateTrap *trap = orvThreadStateTrapCreate(ORV_THREAD_NOT_RUNNING);
  for (int i = 0; i < 3; ++i) {
    std::atomic<int> go{1};
    orvThread *t = nullptr;
    ASSERT_EQ(0, orvThreadCreate(waitForGo, &go, 0, &t, nullptr));
    orvThreadStateTrapSet(trap, t);
    orvThreadContinue(t);
    orvThreadJoin(t, nullptr);
    orvThreadDestroy(t);
  }
  ASSERT_NE(nullptr, trap->queue->head);
  orvThreadStateTrapDestroy(trap);  // the leak checkers watch the nodes
}

TEST(StateTraps, ALostArrivalSetsTheErrorWordAndTheTrapStaysUsable) {
  orvStateTrap *trap = orvThreadStateTrapCreate(ORV_THREAD_RUNNING);
  std::atomic<int> go{1};
  orvThread *first = nullptr;
  orvThread *second = nullptr;
  ASSERT_EQ(0, orvThreadCreate(waitForGo, &go, 0, &first, nullptr));
  ASSERT_EQ(0, orvThreadCreate(waitForGo, &go, 0, &second, nullptr));
  orvThreadStateTrapSet(trap, first);
  orvThreadStateTrapSet(trap, second);
  // The arrival runs in the continuing thread; its node allocation fails.
  threads::testing::failAllocation(1);
  orvThreadContinue(first);
  threads::testing::failAllocation(0);
  EXPECT_EQ(-2, trap->error);
  orvThreadContinue(second);
  int status = 99;
  EXPECT_EQ(second, orvThreadStateTrapNext(trap, &status));
  EXPECT_EQ(0, status);
  for (orvThread *t : {first, second}) {
    orvThreadJoin(t, nullptr);
    orvThreadDestroy(t);
  }
  orvThreadStateTrapDestroy(trap);
}

TEST(StateTraps, FailedCreationStillReturnsAnAddressWhoseOperationsFailCleanly) {
  threads::testing::failAllocation(1);
  EXPECT_EQ(nullptr, orvThreadStateTrapCreate(0)) << "no record at all";
  threads::testing::failAllocation(2);  // the queue block
  orvStateTrap *trap = orvThreadStateTrapCreate(0);
  threads::testing::failAllocation(0);
  ASSERT_NE(nullptr, trap) << "creation shows no failure";
  int status = 99;
  EXPECT_EQ(nullptr, orvThreadStateTrapNext(trap, &status));
  EXPECT_EQ(-1, status);
  orvThreadStateTrapDestroy(trap);
}

TEST(StateTrapsDeathTest, ArrivalInAnotherStateAssertsAt7351) {
  EXPECT_EXIT(
      {
        orvStateTrap *trap = orvThreadStateTrapCreate(ORV_THREAD_RUNNING);
        std::atomic<int> go{1};
        orvThread *t = nullptr;
        orvThreadCreate(waitForGo, &go, 0, &t, nullptr);
        orvThreadStateTrapSet(trap, t);
        trap->state = ORV_THREAD_CANCELLED;  // the call-back now sees the wrong state
        orvThreadContinue(t);
      },
      assertionDeath, "Assertion Failure at line <7351> of file <ORVTHRED.CPP>.");
}
