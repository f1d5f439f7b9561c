// The POSIX platform core: the executable's path with a short or missing
// buffer, the string table, the message box as one line on standard error,
// the debug output without a debugger, the module handle and the fatal
// exit.
#ifndef _WIN32

#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane_build_config.h"
#include "platform/pal.h"
#include "support/test_support.h"

TEST(PalCorePosix, ExecutablePathWithoutABuffer) {
  pal::setLastError(0);
  EXPECT_EQ(0u, pal::executablePath(nullptr, 10));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInsufficientBuffer), pal::getLastError());
  char one[1] = {'x'};
  pal::setLastError(0);
  EXPECT_EQ(0u, pal::executablePath(one, 0));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInsufficientBuffer), pal::getLastError());
  EXPECT_EQ('x', one[0]) << "a zero size writes nothing";
}

TEST(PalCorePosix, ExecutablePathIsTruncatedAndTerminated) {
  const std::string full = testsupport::executablePath();
  ASSERT_GT(full.size(), 4u);
  char buffer[5];
  memset(buffer, 'Z', sizeof buffer);
  pal::setLastError(0);
  EXPECT_EQ(4u, pal::executablePath(buffer, sizeof buffer));
  EXPECT_EQ(full.substr(0, 4), std::string(buffer));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInsufficientBuffer), pal::getLastError());
  char whole[4096];
  pal::setLastError(0);
  EXPECT_EQ(full.size(), pal::executablePath(whole, sizeof whole));
  EXPECT_EQ(full, std::string(whole));
  EXPECT_EQ(0u, pal::getLastError());
}

TEST(PalCorePosix, StringTable) {
  char buffer[64];
  EXPECT_EQ(static_cast<int>(strlen(ORVANE_PRODUCT_NAME)),
            pal::loadString(ORVANE_RES_PRODUCT_NAME, buffer, sizeof buffer));
  EXPECT_STREQ(ORVANE_PRODUCT_NAME, buffer);
  EXPECT_EQ(1, pal::loadString(ORVANE_RES_PRODUCT_LETTER, buffer, sizeof buffer));
  EXPECT_STREQ(ORVANE_PRODUCT_LETTER, buffer);
  char small[4];
  EXPECT_EQ(3, pal::loadString(ORVANE_RES_PRODUCT_NAME, small, sizeof small)) << "size - 1 characters";
  EXPECT_EQ(std::string(ORVANE_PRODUCT_NAME).substr(0, 3), std::string(small));
  EXPECT_EQ(0, pal::loadString(ORVANE_RES_PRODUCT_NAME, nullptr, 10));
  EXPECT_EQ(0, pal::loadString(ORVANE_RES_PRODUCT_NAME, small, 0));
  // An identifier the table does not hold: an empty text and the error.
  pal::setLastError(0);
  memset(buffer, 'Z', sizeof buffer);
  EXPECT_EQ(0, pal::loadString(1, buffer, sizeof buffer));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(1814u, pal::getLastError());
  pal::setLastError(0);
  EXPECT_EQ(0, pal::loadString(1, nullptr, 0));
  EXPECT_EQ(1814u, pal::getLastError());
}

TEST(PalCorePosix, MessageBoxIsOneLineOnStandardError) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(1, pal::messageBox("something failed", "Caption", 0));
  EXPECT_EQ(1, pal::messageBox(nullptr, nullptr, 0));
  EXPECT_EQ(1, pal::messageBox("text only", nullptr, 0));
  EXPECT_EQ("Caption: something failed\nError: \nError: text only\n",
            ::testing::internal::GetCapturedStderr());
}

TEST(PalCorePosix, DebugOutputWithoutADebuggerGoesNowhere) {
  if (pal::debuggerPresent()) {
    GTEST_SKIP() << "run under a debugger";
  }
  ::testing::internal::CaptureStderr();
  pal::outputDebugString("not shown\n");
  pal::outputDebugString(nullptr);
  pal::debugBreak();  // no debugger: returns without a signal
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
}

TEST(PalCorePosix, ModuleHandleIsKeptAsSet) {
  const pal::Handle saved = pal::selfModule();
  EXPECT_NE(pal::kNullHandle, saved) << "set when the library is loaded";
  pal::setSelfModule(static_cast<pal::Handle>(0x1234));
  EXPECT_EQ(static_cast<pal::Handle>(0x1234), pal::selfModule());
  pal::setSelfModule(saved);
  EXPECT_EQ(saved, pal::selfModule());
}

TEST(PalCorePosix, SleepOfZeroAndOfAFewMilliseconds) {
  pal::sleepMs(0);
  pal::sleepMs(2);
  SUCCEED();
}

TEST(PalCorePosixDeathTest, FatalExitAborts) { EXPECT_DEATH(pal::fatalExit(3), ""); }

#endif  // !_WIN32
