// Record layouts: every record keeps its field order; handle and pointer
// fields are pointer-sized and integers keep their widths, so that a 32-bit
// build reproduces the 32-bit layouts word for word.
#include <cstddef>

#include <gtest/gtest.h>

#include "orvane/sync.h"
#include "orvane/threads.h"

namespace {

constexpr size_t P = sizeof(void *);
static_assert(sizeof(orvHandle) == P, "handle words are pointer-sized");

// On a 32-bit target every field is one 32-bit word.
static_assert(P != 4 || sizeof(orvThread) == 13 * 4, "orvThread: thirteen words");
static_assert(P != 4 || sizeof(orvThreadKey) == 4 * 4, "orvThreadKey: four words");
static_assert(P != 4 || sizeof(orvKeyAssoc) == 5 * 4, "orvKeyAssoc: five words");
static_assert(P != 4 || sizeof(orvStateTrap) == 5 * 4, "orvStateTrap: five words");
static_assert(P != 4 || sizeof(orvCondition) == 5 * 4, "orvCondition: five words");
static_assert(P != 4 || sizeof(orvRWLock) == 4 + 20 + 4 + 20 + 4 + 4, "orvRWLock");
static_assert(P != 4 || sizeof(orvRecursiveLock) == 4 + sizeof(orvRWLock) + 4 + 4 + 4, "orvRecursiveLock");

}  // namespace

TEST(Layouts, ThreadRecordFieldsKeepTheirOrder) {
  EXPECT_EQ(0u, offsetof(orvThread, id));
  EXPECT_LT(offsetof(orvThread, id), offsetof(orvThread, handle));
  EXPECT_LT(offsetof(orvThread, handle), offsetof(orvThread, state));
  EXPECT_LT(offsetof(orvThread, state), offsetof(orvThread, demise));
  EXPECT_LT(offsetof(orvThread, demise), offsetof(orvThread, exitStatus));
  EXPECT_LT(offsetof(orvThread, exitStatus), offsetof(orvThread, startBlock));
  EXPECT_LT(offsetof(orvThread, startBlock), offsetof(orvThread, traceObj));
  EXPECT_LT(offsetof(orvThread, traceObj), offsetof(orvThread, cancelWatch));
  EXPECT_LT(offsetof(orvThread, cancelWatch), offsetof(orvThread, cancelPending));
  EXPECT_LT(offsetof(orvThread, cancelPending), offsetof(orvThread, inheritTrace));
  EXPECT_LT(offsetof(orvThread, inheritTrace), offsetof(orvThread, inheritCancelWatch));
  EXPECT_LT(offsetof(orvThread, inheritCancelWatch), offsetof(orvThread, keyValues));
  EXPECT_LT(offsetof(orvThread, keyValues), offsetof(orvThread, callbacks));
  EXPECT_EQ(4u, sizeof(orvThread{}.state));
  EXPECT_EQ(P, sizeof(orvThread{}.handle));
}

TEST(Layouts, KeyAssociationAndTrapFieldsKeepTheirOrder) {
  EXPECT_LT(offsetof(orvThreadKey, slot), offsetof(orvThreadKey, destructor));
  EXPECT_LT(offsetof(orvThreadKey, destructor), offsetof(orvThreadKey, mutex));
  EXPECT_LT(offsetof(orvThreadKey, mutex), offsetof(orvThreadKey, head));
  EXPECT_LT(offsetof(orvKeyAssoc, mutex), offsetof(orvKeyAssoc, thread));
  EXPECT_LT(offsetof(orvKeyAssoc, thread), offsetof(orvKeyAssoc, key));
  EXPECT_LT(offsetof(orvKeyAssoc, key), offsetof(orvKeyAssoc, nextOfThread));
  EXPECT_LT(offsetof(orvKeyAssoc, nextOfThread), offsetof(orvKeyAssoc, nextOfKey));
  EXPECT_LT(offsetof(orvStateTrap, state), offsetof(orvStateTrap, mutex));
  EXPECT_LT(offsetof(orvStateTrap, mutex), offsetof(orvStateTrap, semaphore));
  EXPECT_LT(offsetof(orvStateTrap, semaphore), offsetof(orvStateTrap, queue));
  EXPECT_LT(offsetof(orvStateTrap, queue), offsetof(orvStateTrap, error));
}

TEST(Layouts, LockRecordFieldsKeepTheirOrder) {
  EXPECT_EQ(0u, offsetof(orvCondition, waiters));
  EXPECT_LT(offsetof(orvCondition, waiters), offsetof(orvCondition, guard));
  EXPECT_LT(offsetof(orvCondition, guard), offsetof(orvCondition, queue));
  EXPECT_LT(offsetof(orvCondition, queue), offsetof(orvCondition, lastWaiterDone));
  EXPECT_LT(offsetof(orvCondition, lastWaiterDone), offsetof(orvCondition, broadcastSeen));
  EXPECT_LT(offsetof(orvRWLock, mutex), offsetof(orvRWLock, readers));
  EXPECT_LT(offsetof(orvRWLock, readers), offsetof(orvRWLock, readersWaiting));
  EXPECT_LT(offsetof(orvRWLock, readersWaiting), offsetof(orvRWLock, writers));
  EXPECT_LT(offsetof(orvRWLock, writers), offsetof(orvRWLock, writersWaiting));
  EXPECT_LT(offsetof(orvRWLock, writersWaiting), offsetof(orvRWLock, holders));
  EXPECT_LT(offsetof(orvRecursiveLock, kind), offsetof(orvRecursiveLock, base));
  EXPECT_LT(offsetof(orvRecursiveLock, base), offsetof(orvRecursiveLock, ownerGuard));
  EXPECT_LT(offsetof(orvRecursiveLock, ownerGuard), offsetof(orvRecursiveLock, owner));
  EXPECT_LT(offsetof(orvRecursiveLock, owner), offsetof(orvRecursiveLock, depth));
  EXPECT_GE(sizeof(orvRecursiveLock{}.base), sizeof(orvRWLock)) << "room for a read-write lock";
}
