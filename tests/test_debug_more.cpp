// The debug device, more edges: calls without a device set, a log file
// without a name, a message without a text, the debugger device without a
// debugger, and the message box's default caption.
#if !defined(_WIN32)

#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/debug.h"
#include "orvane/frame.h"
#include "support/test_support.h"

namespace {

class DebugDeviceMore : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("debug-more");
    log_ = dir_ + "/debug-more.log";
    savedName_ = TraceLogName;
    TraceLogName = log_.c_str();
    ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
  }
  void TearDown() override {
    TraceLogName = savedName_;
    DebugEditWnd = 0;
    servicesProcessTerminate(0);
    testsupport::removeTree(dir_);
  }
  std::string dir_;
  std::string log_;
  const char *savedName_ = nullptr;
};

}  // namespace

TEST_F(DebugDeviceMore, OpeningWithoutADeviceSetOnlyWritesTheHeader) {
  debug_OpenDevice(nullptr, ORV_DEBUG_LOGFILE | ORV_DEBUG_WINDOW, 0x2A);
  EXPECT_EQ(0, strncmp(TraceBuffer, "DEBUG (2A): ", 12)) << TraceBuffer;
  EXPECT_FALSE(testsupport::fileExists(log_)) << "no log file made";
  EXPECT_EQ(0u, DebugEditWnd);
  debug_CloseDevice(nullptr, ORV_DEBUG_LOGFILE);  // nothing to close, no crash
}

TEST_F(DebugDeviceMore, ALogFileWithoutANameCannotBeOpened) {
  TraceLogName = nullptr;
  uint32_t devices = 0;
  ::testing::internal::CaptureStderr();
  debug_OpenDevice(&devices, ORV_DEBUG_LOGFILE | ORV_DEBUG_STDERR, 0);
  debug_Print(ORV_DEBUG_LOGFILE, "p", "goes nowhere");
  EXPECT_EQ("Debug: Cannot open debug log file.\n", ::testing::internal::GetCapturedStderr());
  EXPECT_EQ(ORV_DEBUG_STDERR, devices);
}

TEST_F(DebugDeviceMore, AMessageWithoutATextIsAnEmptyOne) {
  ::testing::internal::CaptureStderr();
  debug_Print(ORV_DEBUG_STDERR, "p", nullptr);
  debug_Print(ORV_DEBUG_STDERR, nullptr, nullptr);
  EXPECT_EQ("p: \n\n", ::testing::internal::GetCapturedStderr());
}

TEST_F(DebugDeviceMore, TheDebuggerDeviceWithoutADebuggerShowsNothing) {
  ::testing::internal::CaptureStderr();
  debug_Print(ORV_DEBUG_DEBUGGER, "p", "t");
  debug_Print(ORV_DEBUG_DEBUGGER, nullptr, "t");
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
}

TEST_F(DebugDeviceMore, TheMessageBoxCaptionIsDebugWithoutAPrefix) {
  ::testing::internal::CaptureStderr();
  debug_Print(ORV_DEBUG_MSGBOX, nullptr, "boxed");
  EXPECT_EQ("Debug: boxed\n", ::testing::internal::GetCapturedStderr());
}

TEST_F(DebugDeviceMore, ClosingTheDevicesClearsTheirBits) {
  uint32_t devices = 0;
  debug_OpenDevice(&devices, ORV_DEBUG_LOGFILE | ORV_DEBUG_STDOUT | ORV_DEBUG_WINDOW, 0x55);
  devices |= ORV_DEBUG_DEBUGGER;
  EXPECT_EQ(0x55u, DebugEditWnd);
  debug_CloseDevice(&devices, ORV_DEBUG_LOGFILE | ORV_DEBUG_WINDOW | ORV_DEBUG_DEBUGGER);
  EXPECT_EQ(ORV_DEBUG_STDOUT, devices);
  EXPECT_EQ(0u, DebugEditWnd);
}

#endif  // !_WIN32
