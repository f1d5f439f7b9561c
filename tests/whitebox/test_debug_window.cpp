// The debug window on the platform layer's windows: the edit control that
// DebugWndProc makes, the window device appending to it, and the messages of
// the procedure. On POSIX these run on the emulated windows.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/debug.h"
#include "platform/pal.h"
#include "platform/pal_window.h"
#include "support/test_support.h"

namespace {

// The application's frame procedure: the debug window's procedure first,
// the default one for what it leaves.
intptr_t PAL_WINDOW_CALL hostProcedure(pal::Handle window, uint32_t message, uintptr_t wParam,
                                       intptr_t lParam) {
  if (intptr_t handled = DebugWndProc(window, message, wParam, lParam)) {
    return handled;
  }
  return pal::defaultWindowProc(window, message, wParam, lParam);
}

class DebugWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    static const bool registered =
        pal::registerWindowClass("OrvaneDebugTest", hostProcedure, pal::kNullHandle);
    ASSERT_TRUE(registered);
    window_ = pal::createWindow("OrvaneDebugTest", "Debug", 0, 0, 0, 400, 300, pal::kNullHandle, 0,
                                pal::kNullHandle, nullptr);
    ASSERT_NE(pal::kNullHandle, window_);
    ASSERT_NE(0u, DebugEditWnd) << "the create message made the edit control";
  }
  void TearDown() override {
    if (window_ != pal::kNullHandle) {
      pal::destroyWindow(window_);
    }
    DebugEditWnd = 0;
  }
  static std::string editText() {
    auto length = static_cast<size_t>(pal::sendMessage(DebugEditWnd, pal::kWmGetTextLength, 0, 0));
    std::string text(length + 1, '\0');
    auto n = static_cast<size_t>(
        pal::sendMessage(DebugEditWnd, pal::kWmGetText, text.size(), reinterpret_cast<intptr_t>(&text[0])));
    text.resize(n);
    return text;
  }

  pal::Handle window_ = pal::kNullHandle;
};

}  // namespace

TEST_F(DebugWindow, TheEditControlIsAChildWithId1) {
  EXPECT_EQ(static_cast<pal::Handle>(DebugEditWnd), pal::dialogItem(window_, 1));
  EXPECT_EQ("", editText());
}

TEST_F(DebugWindow, TheWindowDeviceAppendsPrefixTextAndLineEnd) {
  uint32_t devices = 0;
  debug_OpenDevice(&devices, ORV_DEBUG_WINDOW, DebugEditWnd);
  EXPECT_EQ(ORV_DEBUG_WINDOW, devices);
  debug_Print(devices, "p", "first");
  debug_Print(devices, nullptr, "second");
  EXPECT_EQ("p: first\r\r\nsecond\r\r\n", editText());
  debug_CloseDevice(&devices, ORV_DEBUG_WINDOW);
  EXPECT_EQ(0u, DebugEditWnd);
  EXPECT_EQ(0u, devices);
}

TEST_F(DebugWindow, TheClearMessageEmptiesTheControl) {
  debug_Print(ORV_DEBUG_WINDOW, "p", "text");
  EXPECT_EQ(1, DebugWndProc(window_, pal::kWmClear, 0, 0));
  EXPECT_EQ("", editText());
}

TEST_F(DebugWindow, OtherMessagesAreLeftToTheCaller) {
  EXPECT_EQ(0, DebugWndProc(window_, 0x000F /* paint */, 0, 0));
  EXPECT_EQ(0, DebugWndProc(window_, pal::kWmCommand, 2 | (pal::kEnErrSpace << 16), 0)) << "another control";
  EXPECT_EQ(0, DebugWndProc(window_, pal::kWmCommand, 1 | (0x0300u << 16), 0)) << "another notification";
  EXPECT_EQ(1, DebugWndProc(window_, pal::kWmSize, 0, (200 << 16) | 300));
  EXPECT_EQ(1, DebugWndProc(window_, pal::kWmSetFocus, 0, 0));
}

#if !defined(_WIN32)
// The emulation's own rules: out of space, the sink, destroy.

TEST_F(DebugWindow, AFullControlAsksItsParentForRoomAndTheOldestTextGoes) {
  pal::sendMessage(DebugEditWnd, pal::kEmLimitText, 200, 0);
  std::string first(150, 'a');
  debug_Print(ORV_DEBUG_WINDOW, nullptr, first.c_str());  // 153 characters with the line end
  ::testing::internal::CaptureStderr();
  std::string second(60, 'b');
  debug_Print(ORV_DEBUG_WINDOW, nullptr, second.c_str());  // 60 more do not fit
  EXPECT_EQ("Debug: Debug windows out of buffer space.\n", ::testing::internal::GetCapturedStderr());
  // The first 100 characters were cleared, then the text went in.
  EXPECT_EQ(std::string(50, 'a') + "\r\r\n" + second + "\r\r\n", editText());
}

TEST_F(DebugWindow, TheDefaultLimitIsThatOfWindows) {
  EXPECT_EQ(static_cast<intptr_t>(pal::kEditDefaultLimit),
            pal::sendMessage(DebugEditWnd, pal::kEmGetLimitText, 0, 0));
}

TEST_F(DebugWindow, ATextThatNeverFitsIsDropped) {
  pal::sendMessage(DebugEditWnd, pal::kEmLimitText, 10, 0);
  ::testing::internal::CaptureStderr();
  debug_Print(ORV_DEBUG_WINDOW, nullptr, "far more than ten characters");
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ("\r\r\n", editText()) << "only the line end fitted";
}

TEST_F(DebugWindow, DestroyPostsTheQuitMessageAndTakesTheControlAlong) {
  pal::Handle edit = DebugEditWnd;
  ASSERT_TRUE(pal::destroyWindow(window_));
  window_ = pal::kNullHandle;
  int code = -1;
  EXPECT_TRUE(pal::quitPosted(&code));
  EXPECT_EQ(0, code);
  EXPECT_EQ(0, pal::sendMessage(edit, pal::kWmGetTextLength, 0, 0));
  EXPECT_EQ(1400u, pal::getLastError()) << "the edit control went with its parent";
  EXPECT_FALSE(pal::closeHandle(edit));
}

TEST_F(DebugWindow, MadeUpWindowsFailCleanly) {
  EXPECT_EQ(0, pal::sendMessage(0x12345, pal::kWmGetTextLength, 0, 0));
  EXPECT_FALSE(pal::setWindowText(0x12345, "x"));
  EXPECT_FALSE(pal::destroyWindow(0x12345));
  EXPECT_FALSE(pal::setDlgItemText(window_, 99, "no such item"));
  EXPECT_TRUE(pal::setDlgItemText(window_, 1, "item text"));
  EXPECT_EQ("item text", editText());
}

TEST(DebugWindowSink, TextAppendedToTheEditControlIsCopiedToTheSink) {
  std::string dir = testsupport::makeScratchDir("sink");
  std::string sink = dir + "/window.txt";
  testsupport::setEnv("DEBUGWINDOWSINK", sink);
  static bool registered = pal::registerWindowClass("OrvaneDebugSinkTest", hostProcedure, pal::kNullHandle);
  ASSERT_TRUE(registered);
  pal::Handle window = pal::createWindow("OrvaneDebugSinkTest", "Debug", 0, 0, 0, 10, 10, pal::kNullHandle, 0,
                                         pal::kNullHandle, nullptr);
  ASSERT_NE(pal::kNullHandle, window);
  debug_Print(ORV_DEBUG_WINDOW, "p", "followed");
  EXPECT_EQ("p: followed\r\r\n", testsupport::readFile(sink));
  pal::destroyWindow(window);
  testsupport::unsetEnv("DEBUGWINDOWSINK");
  pal::setEditControlSink(nullptr);
  DebugEditWnd = 0;
  testsupport::removeTree(dir);
}
#endif
