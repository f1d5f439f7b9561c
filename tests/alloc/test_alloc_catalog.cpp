// Allocation failures in message catalogs and message sets: an open gives
// 1 with nothing left open, a text null, a cm set operation 1 with the set
// as it was, a message set null, and a push that cannot be stored is
// dropped. A retry succeeds.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "alloc/alloc_failure.h"
#include "orvane/catalog.h"
#include "orvane/frame.h"
#include "orvane/msgset.h"
#include "orvane/strings.h"
#include "support/test_support.h"

using allocfail::forEachAllocationFailure;

namespace {

class AllocCatalog : public allocfail::WithServices {
 protected:
  // The services catalog beside the test programs.
  static std::string catalogPath() {
    std::string exe = testsupport::executablePath();
    return exe.substr(0, exe.find_last_of('/') + 1) + "orvane.cat";
  }
};

}  // namespace

TEST_F(AllocCatalog, OpenGivesOneAndLeavesNothingOpen) {
  const std::string path = catalogPath();
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    cmCatalog *c = reinterpret_cast<cmCatalog *>(uintptr_t{1});
    const int rc = cmOpenCatalog(&c, path.c_str());
    if (rc != 0) {
      EXPECT_EQ(CM_ERR_NO_MEMORY, rc);
      EXPECT_EQ(nullptr, c);
      return false;
    }
    EXPECT_EQ(0, cmCloseCatalog(c));
    return true;
  }));
}

TEST_F(AllocCatalog, RawMessageGivesNull) {
  cmCatalog *c = nullptr;
  ASSERT_EQ(0, cmOpenCatalog(&c, catalogPath().c_str()));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    char *text = cmGetRawMessage(3);
    if (text == nullptr) {
      return false;
    }
    EXPECT_NE('\0', text[0]);
    free(text);
    return true;
  }));
  EXPECT_EQ(0, cmCloseCatalog(c));
}

TEST_F(AllocCatalog, CmSetOperationsGiveOneAndKeepTheSet) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    cmMsgSet *set = nullptr;
    if (cmCreateMsgSet(&set, 4) != 0) {
      EXPECT_EQ(nullptr, set);
      return false;
    }
    EXPECT_EQ(0, cmDestroyMsgSet(set));
    return true;
  }));
  cmMsgSet *set = nullptr;
  ASSERT_EQ(0, cmCreateMsgSet(&set, 100));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    const uint32_t before = cmCount(set);
    const int rc = cmAddStringLast(set, "a literal text", 42, 1, 2);
    if (rc != 0) {
      EXPECT_EQ(1, rc);
      EXPECT_EQ(before, cmCount(set));
      return false;
    }
    EXPECT_EQ(before + 1, cmCount(set));
    return true;
  }));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    if (cmAddStringParm(set, "parameter") != 0) {
      return false;
    }
    const uint32_t before = cmCount(set);
    const int rc = cmAddMsgLast(set, 3);
    if (rc != 0) {
      EXPECT_EQ(1, rc);
      EXPECT_EQ(before, cmCount(set));
      return false;
    }
    return true;
  }));
  EXPECT_EQ(0, cmResetCursor(set));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    char *text = nullptr;
    uint32_t a = 9;
    uint32_t b = 9;
    const int rc = cmGetMessage(set, 15, &text, &a, &b);
    if (rc != 0) {
      EXPECT_EQ(1, rc);  // the cursor stays: the retry reads the same entry
      return false;
    }
    EXPECT_STREQ("a literal text", text);
    free(text);
    return true;
  }));
  EXPECT_EQ(0, cmDestroyMsgSet(set));
}

TEST_F(AllocCatalog, MessageSetsGiveNullOrDropTheMessage) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    orvMessageSet *set = orvMessageSetCreateNLS("SRVCMSGS");
    if (set == nullptr) {
      return false;
    }
    orvMessageSetDestroy(set);
    return true;
  }));
  orvMessageSet *set = orvMessageSetCreateNLS("SRVCMSGS");
  ASSERT_NE(nullptr, set);
  EXPECT_ALLOCATION_FAILURES_HANDLED(forEachAllocationFailure([&] {
    const uint32_t before = orvMessageSetCount(set);
    EXPECT_EQ(1, orvMessageSetPush(set, 3, ORV_MSG_END));
    const uint32_t after = orvMessageSetCount(set);
    EXPECT_TRUE(after == before || after == before + 1);
    return after == before + 1;
  }));
  EXPECT_ALLOCATION_FAILURES_HANDLED(forEachAllocationFailure([&] {
    if (orvMessageSetCount(set) == 0) {
      EXPECT_EQ(1, orvMessageSetPush(set, 3, ORV_MSG_END));
    }
    char *text = orvMessageSetPopNLS(set);
    if (text == nullptr) {
      return false;
    }
    free(text);
    return true;
  }));
  orvMessageSetDestroy(set);
}
