// The debug window's procedure: it hosts the multi-line edit control that
// the window device appends to.
#include <stdlib.h>

#include "orvane/debug.h"
#include "orvane/frame.h"
#include "platform/pal.h"
#include "platform/pal_window.h"

namespace {

// The edit control: child, visible, border, both scroll bars, multi-line,
// automatic vertical scrolling.
constexpr uint32_t kEditStyle = 0x50B00044;
constexpr uintptr_t kEditId = 1;
constexpr intptr_t kHandled = 1;

// Where the POSIX window emulation copies the text appended to edit
// controls: the setting DEBUGWINDOWSINK (a file path, or "stderr").
void chooseEditSink() {
  char *sink = orvResourceGetNLSStr("DEBUGWINDOWSINK");
  pal::setEditControlSink(sink);
  free(sink);
}

intptr_t onCreate(uintptr_t window, intptr_t lParam) {
  const auto *record = reinterpret_cast<const pal::CreateRecord *>(lParam);
  pal::Handle instance = record != nullptr ? record->instance : pal::kNullHandle;
  chooseEditSink();
  DebugEditWnd =
      pal::createWindow("edit", nullptr, kEditStyle, 0, 0, 0, 0, window, kEditId, instance, nullptr);
  return kHandled;
}

intptr_t onCommand(uintptr_t wParam) {
  uint32_t control = static_cast<uint32_t>(wParam & 0xFFFF);
  uint32_t code = static_cast<uint32_t>((wParam >> 16) & 0xFFFF);
  if (control != kEditId || code != pal::kEnErrSpace) {
    return 0;
  }
  pal::messageBox("Debug windows out of buffer space.", "Debug", pal::kMbIconStop);
  // The oldest text makes room. The caret, left at the start by the clear,
  // goes back to the end, so that the text that did not fit, and what
  // follows it, is appended rather than put in front.
  pal::sendMessage(DebugEditWnd, pal::kEmSetSel, 0, 100);
  pal::sendMessage(DebugEditWnd, pal::kWmClear, 0, 0);
  intptr_t end = pal::sendMessage(DebugEditWnd, pal::kWmGetTextLength, 0, 0);
  pal::sendMessage(DebugEditWnd, pal::kEmSetSel, static_cast<uintptr_t>(end), end);
  return kHandled;
}

}  // namespace

extern "C" {

ORV_API intptr_t ORV_WINDOW_CALL DebugWndProc(uintptr_t window, uint32_t message, uintptr_t wParam,
                                              intptr_t lParam) {
  switch (message) {
    case pal::kWmCreate:
      return onCreate(window, lParam);
    case pal::kWmDestroy:
      pal::postQuitMessage(0);
      return kHandled;
    case pal::kWmSize: {
      auto size = static_cast<uintptr_t>(lParam);
      pal::moveWindow(DebugEditWnd, 0, 0, static_cast<int>(size & 0xFFFF),
                      static_cast<int>((size >> 16) & 0xFFFF), true);
      return kHandled;
    }
    case pal::kWmSetFocus:
      pal::setFocus(DebugEditWnd);
      return kHandled;
    case pal::kWmCommand:
      return onCommand(wParam);
    case pal::kWmClear:
      pal::sendMessage(DebugEditWnd, pal::kEmSetSel, 0, 32767);
      pal::sendMessage(DebugEditWnd, pal::kWmClear, 0, 0);
      return kHandled;
    default:
      return 0;
  }
}

}  // extern "C"
