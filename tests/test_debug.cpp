// The debug device: opening and closing devices, messages to standard
// files and the log file, and the hexadecimal dump.
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/debug.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"

#if !defined(_WIN32)
#include <signal.h>
#include <unistd.h>
#endif

namespace {

// Runs each test in a scratch directory's log file, and puts the globals
// back afterwards.
class DebugDevice : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("debug");
    log_ = dir_ + "/debug-test.log";
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
  std::string logText() { return testsupport::readFile(log_); }

  std::string dir_;
  std::string log_;
  const char *savedName_ = nullptr;
};

std::vector<std::string> splitLines(const std::string &text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      end = text.size();
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

std::string hex8(const void *p) {
  char text[32];
  snprintf(text, sizeof text, "%08" PRIxPTR, reinterpret_cast<uintptr_t>(p));
  return text;
}

}  // namespace

TEST(DebugGlobals, HaveTheirDefaults) {
  EXPECT_STREQ("debug.log", TraceLogName);
  EXPECT_EQ(nullptr, TraceLogFile);
  EXPECT_EQ(0u, DebugEditWnd);
  // The words and buffers kept for applications are writable.
  TraceActions |= 0x4000;
  EXPECT_EQ(0x4000u, TraceActions & 0x4000);
  TraceActions &= ~0x4000u;
  strncpy(ErrMsg27, "last error", sizeof ErrMsg27 - 1);
  EXPECT_STREQ("last error", ErrMsg27);
  EXPECT_GE(sizeof TraceBuffer, 64u);
  EXPECT_GE(sizeof TraceFormat, 64u);
  EXPECT_GE(sizeof TraceHeader, 64u);
}

TEST_F(DebugDevice, OpenWritesTheHeaderAndCreatesTheLogFileAfresh) {
  testsupport::writeFile(log_, "old contents\n");
  uint32_t devices = 0;
  debug_OpenDevice(&devices, ORV_DEBUG_LOGFILE | ORV_DEBUG_DEBUGGER, 0x2A);
  EXPECT_EQ(ORV_DEBUG_LOGFILE, devices) << "the debugger bit is not opened";
  EXPECT_EQ(0, strncmp(TraceBuffer, "DEBUG (2A): ", 12)) << TraceBuffer;
  std::string header(TraceBuffer);
  EXPECT_EQ('\n', header.back()) << "the time as ctime gives it";
  EXPECT_EQ(header + "\n", logText());
  EXPECT_EQ(nullptr, TraceLogFile) << "closed after the header";
  debug_Print(devices, "p", "one");
  debug_Print(devices, nullptr, "two");
  EXPECT_EQ(header + "\np: one\ntwo\n", logText());
  debug_CloseDevice(&devices, ORV_DEBUG_LOGFILE);
  EXPECT_EQ(0u, devices);
}

TEST_F(DebugDevice, OpenKeepsTheDebuggerBitAsItIs) {
  uint32_t devices = ORV_DEBUG_DEBUGGER;
  debug_OpenDevice(&devices, ORV_DEBUG_STDOUT, 0);
  EXPECT_EQ(ORV_DEBUG_DEBUGGER | ORV_DEBUG_STDOUT, devices);
  debug_CloseDevice(&devices, 0x3F);
  EXPECT_EQ(0u, devices) << "close clears every device bit";
}

TEST_F(DebugDevice, ALogFileThatCannotBeCreatedClearsItsBit) {
  TraceLogName = dir_.c_str();  // a directory
  uint32_t devices = 0;
  debug_OpenDevice(&devices, ORV_DEBUG_LOGFILE | ORV_DEBUG_STDERR, 1);
  EXPECT_EQ(ORV_DEBUG_STDERR, devices);
  debug_Print(ORV_DEBUG_LOGFILE, "p", "skipped silently");
}

TEST_F(DebugDevice, AWindowDeviceWithANullWindowStaysClosed) {
  uint32_t devices = 0;
  debug_OpenDevice(&devices, ORV_DEBUG_WINDOW, 0);
  EXPECT_EQ(0u, devices);
  EXPECT_EQ(0u, DebugEditWnd);
  // Printing to the window device without a window does nothing.
  debug_Print(ORV_DEBUG_WINDOW, "p", "t");
}

TEST_F(DebugDevice, PrintAppendsToALogFileThatExists) {
  testsupport::writeFile(log_, "kept\n");
  debug_Print(ORV_DEBUG_LOGFILE, "x", "y");
  EXPECT_EQ("kept\nx: y\n", logText());
  testsupport::removeTree(log_);
  debug_Print(ORV_DEBUG_LOGFILE, nullptr, "created");
  EXPECT_EQ("created\n", logText());
}

TEST_F(DebugDevice, ADumpOfTwentyBytesIsTwoLines) {
  unsigned char data[20];
  for (int i = 0; i < 20; ++i) {
    data[i] = static_cast<unsigned char>('A' + i);
  }
  data[3] = 0x00;
  data[4] = 0x80;
  data[5] = '\t';
  data[6] = ' ';
  debug_Dump(ORV_DEBUG_LOGFILE, "title", data, sizeof data);
  std::vector<std::string> lines = splitLines(logText());
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ("title: ", lines[0]);
  EXPECT_EQ(hex8(data) +
                ": 41 42 43 00 80 09 20 48 49 4a 4b 4c 4d 4e 4f 50  "
                "ABC..\t HIJKLMNOP",
            lines[1]);
  std::string second = hex8(data + 16) + ": 51 52 53 54 " + std::string(12 * 3, ' ') + " QRST";
  EXPECT_EQ(second, lines[2]);
}

TEST_F(DebugDevice, ADumpOfNothingSaysSo) {
  char byte = 'x';
  debug_Dump(ORV_DEBUG_LOGFILE, nullptr, &byte, 0);
  EXPECT_EQ(hex8(&byte) + ": No data\n", logText());
}

TEST_F(DebugDevice, ALargeDumpHasALinePerSixteenBytes) {
  std::vector<unsigned char> data(4096 + 7);
  for (size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<unsigned char>(i);
  }
  debug_Dump(ORV_DEBUG_LOGFILE, nullptr, data.data(), static_cast<uint32_t>(data.size()));
  std::vector<std::string> lines = splitLines(logText());
  EXPECT_EQ(257u, lines.size());
  EXPECT_EQ(hex8(data.data() + 4096) + ": 00 01 02 03 04 05 06 " + std::string(9 * 3, ' ') + " .......",
            lines.back());
}

#if !defined(_WIN32)
TEST_F(DebugDevice, StandardOutputWithoutAPrefixGetsTheTextAndALineFeed) {
  ::testing::internal::CaptureStdout();
  debug_Print(ORV_DEBUG_STDOUT, nullptr, "just this");
  debug_Print(ORV_DEBUG_STDOUT, "with", "prefix");
  EXPECT_EQ("just this\nwith: prefix\n", ::testing::internal::GetCapturedStdout());
  ::testing::internal::CaptureStderr();
  debug_Print(ORV_DEBUG_STDERR | ORV_DEBUG_MSGBOX, "cap", "text");
  EXPECT_EQ("cap: text\ncap: text\n", ::testing::internal::GetCapturedStderr())
      << "standard error, then the message box's line";
}

TEST_F(DebugDevice, OpenFailuresShowTheirMessageBoxes) {
  ::testing::internal::CaptureStderr();
  uint32_t devices = 0;
  debug_OpenDevice(&devices, ORV_DEBUG_WINDOW, 0);
  TraceLogName = dir_.c_str();
  debug_OpenDevice(&devices, ORV_DEBUG_LOGFILE, 0);
  EXPECT_EQ("Debug: Debug output window is invalid\nDebug: Cannot open debug log file.\n",
            ::testing::internal::GetCapturedStderr());
}

// The log file is complete after each message: a process killed between
// two messages leaves every message it wrote.
TEST_F(DebugDevice, TheLogFileIsCompleteWhenTheProcessIsKilled) {
  int status = testsupport::runInChild([] {
    for (int i = 0; i < 50; ++i) {
      debug_Print(ORV_DEBUG_LOGFILE, "line", std::to_string(i).c_str());
    }
    kill(getpid(), SIGKILL);
    return 0;
  });
  EXPECT_EQ(-1, status) << "killed";
  std::vector<std::string> lines = splitLines(logText());
  ASSERT_EQ(50u, lines.size());
  EXPECT_EQ("line: 49", lines.back());
}
#endif
