// The POSIX emulation of the windows: the edit control's text, selection,
// clear and limit messages, replacing the selection when the text does not
// fit, window classes and their procedures (creation refused, the size
// message, the text messages a procedure leaves), the focus, destruction
// from inside the destroy message, and the sink of the appended texts.
#ifndef _WIN32

#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_window.h"
#include "support/test_support.h"

namespace {

struct Seen {
  uint32_t message;
  uintptr_t wParam;
  intptr_t lParam;
};
std::vector<Seen> seen;
bool refuseCreate = false;
bool destroySelf = false;
pal::Handle procedureWindow = pal::kNullHandle;

// A class procedure that records its messages and leaves the text messages
// to the default handling.
intptr_t PAL_WINDOW_CALL recordingProcedure(pal::Handle window, uint32_t message, uintptr_t wParam,
                                            intptr_t lParam) {
  seen.push_back({message, wParam, lParam});
  procedureWindow = window;
  if (message == pal::kWmCreate && refuseCreate) {
    return -1;
  }
  if (message == pal::kWmDestroy && destroySelf) {
    destroySelf = false;
    EXPECT_TRUE(pal::destroyWindow(window)) << "the window goes inside its own destroy message";
  }
  if (message == 0x0400) {
    return 42;  // a message of the class's own
  }
  return pal::defaultWindowProc(window, message, wParam, lParam);
}

void registerOnce() {
  static const bool registered =
      pal::registerWindowClass("OrvaneWindowMoreTest", recordingProcedure, pal::kNullHandle);
  ASSERT_TRUE(registered);
}

pal::Handle makeEdit(pal::Handle parent = pal::kNullHandle, uintptr_t id = 0) {
  return pal::createWindow("Edit", "", pal::kWsChild, 0, 0, 100, 20, parent, id, pal::kNullHandle, nullptr);
}

std::string textOf(pal::Handle window) {
  char buffer[256];
  auto n = pal::sendMessage(window, pal::kWmGetText, sizeof buffer, reinterpret_cast<intptr_t>(buffer));
  return std::string(buffer, static_cast<size_t>(n));
}

intptr_t setSel(pal::Handle edit, intptr_t start, intptr_t end) {
  return pal::sendMessage(edit, pal::kEmSetSel, static_cast<uintptr_t>(start), end);
}

std::pair<uint32_t, uint32_t> getSel(pal::Handle edit) {
  uint32_t start = 99;
  uint32_t end = 99;
  pal::sendMessage(edit, pal::kEmGetSel, reinterpret_cast<uintptr_t>(&start),
                   reinterpret_cast<intptr_t>(&end));
  return {start, end};
}

intptr_t replaceSel(pal::Handle edit, const char *text) {
  return pal::sendMessage(edit, pal::kEmReplaceSel, 0, reinterpret_cast<intptr_t>(text));
}

class WindowMore : public ::testing::Test {
 protected:
  void SetUp() override {
    seen.clear();
    refuseCreate = false;
    destroySelf = false;
    procedureWindow = pal::kNullHandle;
  }
};

}  // namespace

TEST_F(WindowMore, EditControlTextMessages) {
  pal::Handle edit = makeEdit();
  ASSERT_NE(pal::kNullHandle, edit);
  EXPECT_EQ(1, pal::sendMessage(edit, pal::kWmSetText, 0, reinterpret_cast<intptr_t>("hello")));
  EXPECT_EQ(5, pal::sendMessage(edit, pal::kWmGetTextLength, 0, 0));
  char small[3];
  EXPECT_EQ(2, pal::sendMessage(edit, pal::kWmGetText, sizeof small, reinterpret_cast<intptr_t>(small)));
  EXPECT_STREQ("he", small) << "size - 1 characters and a NUL";
  EXPECT_EQ(0, pal::sendMessage(edit, pal::kWmGetText, 0, reinterpret_cast<intptr_t>(small)));
  EXPECT_EQ(0, pal::sendMessage(edit, pal::kWmGetText, 10, 0));
  EXPECT_EQ(1, pal::sendMessage(edit, pal::kWmSetText, 0, 0)) << "no text: empty";
  EXPECT_EQ(0, pal::sendMessage(edit, pal::kWmGetTextLength, 0, 0));
  EXPECT_EQ(0, pal::sendMessage(edit, 0x0400, 1, 2)) << "a message the control does not know";
  EXPECT_TRUE(pal::destroyWindow(edit));
}

TEST_F(WindowMore, EditControlSelection) {
  pal::Handle edit = makeEdit();
  ASSERT_NE(pal::kNullHandle, edit);
  pal::setWindowText(edit, "hello");
  EXPECT_EQ(1, setSel(edit, 1, 3));
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(1, 3)), getSel(edit));
  EXPECT_EQ((3 << 16) | 1, pal::sendMessage(edit, pal::kEmGetSel, 0, 0)) << "both ends in the result";
  setSel(edit, -1, 0);
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(5, 5)), getSel(edit)) << "no selection: the caret at the end";
  setSel(edit, 4, 1);
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(1, 4)), getSel(edit)) << "the ends are put in order";
  setSel(edit, -7, -1);
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(0, 5)), getSel(edit)) << "a negative end selects to the end";
  setSel(edit, 2, 100);
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(2, 5)), getSel(edit)) << "clamped to the text";
  setSel(edit, 1, 4);
  EXPECT_EQ(1, pal::sendMessage(edit, pal::kWmClear, 0, 0));
  EXPECT_EQ("ho", textOf(edit));
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(1, 1)), getSel(edit));
  EXPECT_EQ(0, replaceSel(edit, "ell"));
  EXPECT_EQ("hello", textOf(edit));
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(4, 4)), getSel(edit)) << "the caret after the inserted text";
  pal::destroyWindow(edit);
}

TEST_F(WindowMore, EditControlLimit) {
  pal::Handle edit = makeEdit();
  ASSERT_NE(pal::kNullHandle, edit);
  EXPECT_EQ(static_cast<intptr_t>(pal::kEditDefaultLimit),
            pal::sendMessage(edit, pal::kEmGetLimitText, 0, 0));
  EXPECT_EQ(0, pal::sendMessage(edit, pal::kEmLimitText, 0, 0));
  EXPECT_EQ(0x7FFFFFFE, pal::sendMessage(edit, pal::kEmGetLimitText, 0, 0)) << "0: the largest limit";
  pal::sendMessage(edit, pal::kEmLimitText, 4, 0);
  EXPECT_EQ(4, pal::sendMessage(edit, pal::kEmGetLimitText, 0, 0));
  setSel(edit, -1, 0);
  replaceSel(edit, "abc");
  EXPECT_EQ("abc", textOf(edit));
  // Without a parent to ask for room, a text that does not fit is dropped.
  replaceSel(edit, "de");
  EXPECT_EQ("abc", textOf(edit));
  // Replacing a selection counts what it removes.
  setSel(edit, 0, 2);
  replaceSel(edit, "xyz");
  EXPECT_EQ("xyzc", textOf(edit));
  pal::destroyWindow(edit);
}

TEST_F(WindowMore, RegisteringClasses) {
  pal::setLastError(0);
  EXPECT_FALSE(pal::registerWindowClass(nullptr, recordingProcedure, pal::kNullHandle));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidParameter), pal::getLastError());
  EXPECT_FALSE(pal::registerWindowClass("OrvaneNoProcedure", nullptr, pal::kNullHandle));
  EXPECT_FALSE(pal::registerWindowClass("EDIT", recordingProcedure, pal::kNullHandle));
  EXPECT_EQ(1410u, pal::getLastError()) << "the edit class is always there";
  registerOnce();
  EXPECT_FALSE(pal::registerWindowClass("orvanewindowmoretest", recordingProcedure, pal::kNullHandle));
  EXPECT_EQ(1410u, pal::getLastError()) << "names are compared without case";
}

TEST_F(WindowMore, CreatingWindowsThatCannotBe) {
  pal::setLastError(0);
  EXPECT_EQ(pal::kNullHandle, pal::createWindow("OrvaneNoSuchClass", "x", 0, 0, 0, 1, 1, pal::kNullHandle, 0,
                                                pal::kNullHandle, nullptr));
  EXPECT_EQ(1411u, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, makeEdit(0x12345)) << "a parent that is no window";
  registerOnce();
  refuseCreate = true;
  int param = 0;
  EXPECT_EQ(pal::kNullHandle, pal::createWindow("OrvaneWindowMoreTest", "refused", 7, 1, 2, 3, 4,
                                                pal::kNullHandle, 5, pal::kNullHandle, &param));
  ASSERT_EQ(2u, seen.size());
  EXPECT_EQ(pal::kWmCreate, seen[0].message);
  EXPECT_EQ(pal::kWmDestroy, seen[1].message) << "a refused window is destroyed at once";
  EXPECT_EQ(0, pal::sendMessage(procedureWindow, pal::kWmGetTextLength, 0, 0)) << "and is gone";
}

TEST_F(WindowMore, ClassWindowTextsAndMessages) {
  registerOnce();
  int param = 0;
  pal::Handle w = pal::createWindow("OrvaneWindowMoreTest", "title", 7, 1, 2, 3, 4, pal::kNullHandle, 5,
                                    pal::kNullHandle, &param);
  ASSERT_NE(pal::kNullHandle, w);
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(pal::kWmCreate, seen[0].message);
  EXPECT_EQ("title", textOf(w)) << "the default handling of a text message the procedure leaves";
  EXPECT_TRUE(pal::setWindowText(w, "renamed"));
  EXPECT_EQ("renamed", textOf(w));
  EXPECT_EQ(7, pal::sendMessage(w, pal::kWmGetTextLength, 0, 0));
  EXPECT_EQ(42, pal::sendMessage(w, 0x0400, 0, 0)) << "the procedure's own answer";
  pal::destroyWindow(w);
}

TEST_F(WindowMore, MovingSendsTheNewSize) {
  registerOnce();
  pal::Handle w = pal::createWindow("OrvaneWindowMoreTest", "", 0, 0, 0, 1, 1, pal::kNullHandle, 0,
                                    pal::kNullHandle, nullptr);
  ASSERT_NE(pal::kNullHandle, w);
  seen.clear();
  EXPECT_TRUE(pal::moveWindow(w, 10, 20, 300, 200, true));
  ASSERT_EQ(1u, seen.size());
  EXPECT_EQ(pal::kWmSize, seen[0].message);
  EXPECT_EQ((200 << 16) | 300, seen[0].lParam) << "height in the high half, width in the low";
  pal::Handle edit = makeEdit(w, 3);
  ASSERT_NE(pal::kNullHandle, edit);
  EXPECT_TRUE(pal::moveWindow(edit, 0, 0, 5, 5, false)) << "a window without a procedure is moved too";
  EXPECT_FALSE(pal::moveWindow(0x12345, 0, 0, 1, 1, false));
  pal::destroyWindow(w);
}

TEST_F(WindowMore, TheFocus) {
  pal::Handle a = makeEdit();
  pal::Handle b = makeEdit();
  ASSERT_NE(pal::kNullHandle, a);
  ASSERT_NE(pal::kNullHandle, b);
  pal::setFocus(pal::kNullHandle);
  EXPECT_EQ(pal::kNullHandle, pal::setFocus(a));
  EXPECT_EQ(a, pal::setFocus(b)) << "the window that had the focus";
  EXPECT_EQ(pal::kNullHandle, pal::setFocus(0x12345)) << "not a window: refused";
  EXPECT_EQ(b, pal::setFocus(b)) << "the refused call left the focus alone";
  pal::destroyWindow(b);
  EXPECT_EQ(pal::kNullHandle, pal::setFocus(a)) << "destroying the focused window drops the focus";
  pal::destroyWindow(a);
  pal::setFocus(pal::kNullHandle);
}

TEST_F(WindowMore, DestroyedInsideItsOwnDestroyMessage) {
  registerOnce();
  pal::Handle w = pal::createWindow("OrvaneWindowMoreTest", "", 0, 0, 0, 1, 1, pal::kNullHandle, 0,
                                    pal::kNullHandle, nullptr);
  ASSERT_NE(pal::kNullHandle, w);
  pal::Handle child = makeEdit(w, 1);
  ASSERT_NE(pal::kNullHandle, child);
  destroySelf = true;
  EXPECT_FALSE(pal::destroyWindow(w)) << "already destroyed by its destroy message";
  EXPECT_EQ(pal::kNullHandle, pal::dialogItem(w, 1));
  EXPECT_EQ(0, pal::sendMessage(child, pal::kWmGetTextLength, 0, 0)) << "the child went along";
  EXPECT_FALSE(pal::destroyWindow(child));
}

TEST_F(WindowMore, AppendedTextsGoToTheSink) {
  pal::Handle edit = makeEdit();
  ASSERT_NE(pal::kNullHandle, edit);
  pal::setEditControlSink("stderr");
  ::testing::internal::CaptureStderr();
  replaceSel(edit, "to standard error");
  replaceSel(edit, "");
  EXPECT_EQ("to standard error", ::testing::internal::GetCapturedStderr());
  // A sink that cannot be opened takes nothing, and the control still does.
  std::string dir = testsupport::makeScratchDir("winsink");
  pal::setEditControlSink((dir + "/missing/sink.txt").c_str());
  replaceSel(edit, "!");
  EXPECT_EQ("to standard error!", textOf(edit));
  pal::setEditControlSink("");
  replaceSel(edit, "?");
  EXPECT_EQ("to standard error!?", textOf(edit));
  pal::setEditControlSink(nullptr);
  pal::destroyWindow(edit);
  testsupport::removeTree(dir);
}

TEST_F(WindowMore, AWindowIsNoKernelObjectToClose) {
  pal::Handle edit = makeEdit();
  ASSERT_NE(pal::kNullHandle, edit);
  pal::setLastError(0);
  EXPECT_FALSE(pal::closeHandle(edit)) << "windows go with destroyWindow";
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidHandle), pal::getLastError());
  EXPECT_TRUE(pal::setWindowText(edit, "still there"));
  EXPECT_EQ("still there", textOf(edit));
  EXPECT_TRUE(pal::destroyWindow(edit));
}

TEST_F(WindowMore, DestroyingAChildTakesItOutOfItsParent) {
  registerOnce();
  pal::Handle w = pal::createWindow("OrvaneWindowMoreTest", "", 0, 0, 0, 1, 1, pal::kNullHandle, 0,
                                    pal::kNullHandle, nullptr);
  ASSERT_NE(pal::kNullHandle, w);
  pal::Handle first = makeEdit(w, 1);
  pal::Handle second = makeEdit(w, 2);
  ASSERT_NE(pal::kNullHandle, first);
  ASSERT_NE(pal::kNullHandle, second);
  EXPECT_TRUE(pal::destroyWindow(first));
  EXPECT_EQ(pal::kNullHandle, pal::dialogItem(w, 1));
  EXPECT_EQ(second, pal::dialogItem(w, 2));
  EXPECT_TRUE(pal::destroyWindow(second));
  EXPECT_EQ(pal::kNullHandle, pal::dialogItem(w, 2)) << "no children left";
  EXPECT_TRUE(pal::setDlgItemText(w, 2, "x") == false);
  EXPECT_TRUE(pal::destroyWindow(w));
}

#endif  // !_WIN32
