// Allocation failures in the process frame and the debug device: process
// initialisation gives one of its documented failure codes and can be
// ended and started again; settings read as missing; a debug log file that
// cannot be opened leaves its device bit clear.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "alloc/alloc_failure.h"
#include "orvane/debug.h"
#include "orvane/frame.h"
#include "support/test_support.h"

using allocfail::forEachAllocationFailure;

TEST(AllocFrame, ProcessInitializeGivesADocumentedCode) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    const int rc = servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "alloc-app", ORV_ITEM_END);
    servicesProcessTerminate(0);
    if (rc != 0) {
      // nlsInit's 3, the thread layer's -2, the file layer, or the copy of
      // the application name.
      EXPECT_TRUE(rc == 1003 || rc == 1098 || rc == 1200 || rc == -1) << rc;
      return false;
    }
    return true;
  }));
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
  servicesProcessTerminate(0);
}

namespace {

class AllocDebug : public allocfail::WithServices {};

}  // namespace

TEST_F(AllocDebug, SettingsReadAsMissing) {
  testsupport::setEnv("ORV_ALLOC_SETTING", "a value");
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    char *value = orvResourceGetNLSStr("ORV_ALLOC_SETTING");
    if (value == nullptr) {
      return false;
    }
    EXPECT_STREQ("a value", value);
    free(value);
    return true;
  }));
  testsupport::unsetEnv("ORV_ALLOC_SETTING");
}

TEST_F(AllocDebug, LogFileThatCannotBeOpenedLeavesItsBitClear) {
  const std::string dir = testsupport::makeScratchDir("alloc_debug");
  const std::string log = dir + "/debug.log";
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    uint32_t devices = 0;
    TraceLogName = log.c_str();
    debug_OpenDevice(&devices, ORV_DEBUG_LOGFILE, 0);
    const bool opened = (devices & ORV_DEBUG_LOGFILE) != 0;
    debug_Print(devices, "alloc", "a line");
    debug_CloseDevice(&devices, ORV_DEBUG_LOGFILE);
    EXPECT_EQ(0u, devices & ORV_DEBUG_LOGFILE);
    return opened;
  }));
  TraceLogName = nullptr;
  testsupport::removeTree(dir);
}
