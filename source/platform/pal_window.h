// The platform layer's windows: the few user32 calls that the debug window
// and dialog texts need, in Win32 terms.
//
// Windows calls user32 directly. POSIX has no window system: its half keeps
// emulated windows in the handle table, each with a text, a window
// procedure (from its class), a parent, a control id and a position, and
// emulates the multi-line edit control ("edit" class) with its text,
// selection and text limit. Tests and the debug device read the texts back;
// docs/porting.md has the rules.
#ifndef ORVANE_PLATFORM_PAL_WINDOW_H
#define ORVANE_PLATFORM_PAL_WINDOW_H

#include <cstdint>

#include "platform/pal.h"

#if defined(_WIN32)
#define PAL_WINDOW_CALL __stdcall
#else
#define PAL_WINDOW_CALL
#endif

namespace pal {

// A window procedure (WNDPROC): window, message, WPARAM, LPARAM.
using WindowProc = intptr_t(PAL_WINDOW_CALL *)(Handle window, uint32_t message, uintptr_t wParam,
                                               intptr_t lParam);

// Messages.
constexpr uint32_t kWmCreate = 0x0001;
constexpr uint32_t kWmDestroy = 0x0002;
constexpr uint32_t kWmSize = 0x0005;
constexpr uint32_t kWmSetFocus = 0x0007;
constexpr uint32_t kWmSetText = 0x000C;
constexpr uint32_t kWmGetText = 0x000D;
constexpr uint32_t kWmGetTextLength = 0x000E;
constexpr uint32_t kWmCommand = 0x0111;
constexpr uint32_t kWmClear = 0x0303;
// Edit control messages.
constexpr uint32_t kEmGetSel = 0x00B0;
constexpr uint32_t kEmSetSel = 0x00B1;
constexpr uint32_t kEmReplaceSel = 0x00C2;
constexpr uint32_t kEmLimitText = 0x00C5;
constexpr uint32_t kEmGetLimitText = 0x00D5;
// Edit control notification (in the high half of WM_COMMAND's WPARAM): the
// control ran out of space.
constexpr uint32_t kEnErrSpace = 0x0500;

// The text limit of an edit control before EM_LIMITTEXT, in characters.
constexpr uint32_t kEditDefaultLimit = 32767;

// Message box styles.
constexpr uint32_t kMbOk = 0x00;
constexpr uint32_t kMbIconStop = 0x10;
constexpr uint32_t kMbIconInformation = 0x40;

// Window styles the library uses.
constexpr uint32_t kWsChild = 0x40000000;

// The creation record that the create message's lParam points at, laid out
// as CREATESTRUCTA.
struct CreateRecord {
  void *createParams;
  Handle instance;
  uintptr_t menu;
  Handle parent;
  int cy, cx, y, x;
  int32_t style;
  const char *name;
  const char *className;
  uint32_t exStyle;
};

// CreateWindowExA. The "edit" class makes an edit control; another class
// must have been registered (RegisterClassA on Windows, registerWindowClass
// here). The creation message goes to the new window's procedure with
// lParam pointing at its CreateRecord, whose createParams is param.
// kNullHandle on failure.
Handle createWindow(const char *className, const char *windowName, uint32_t style, int x, int y, int width,
                    int height, Handle parent, uintptr_t id, Handle instance, void *param);

// RegisterClassA with just a name and a procedure (the rest default).
bool registerWindowClass(const char *className, WindowProc procedure, Handle instance);

// DestroyWindow: sends the destroy message, then destroys the window and its
// children.
bool destroyWindow(Handle window);

// SendMessageA.
intptr_t sendMessage(Handle window, uint32_t message, uintptr_t wParam, intptr_t lParam);

// DefWindowProcA, for a window procedure's messages that it leaves. The
// POSIX emulation answers 1 to the non-client creation message and 0 to
// the rest (it handles the text messages itself).
intptr_t defaultWindowProc(Handle window, uint32_t message, uintptr_t wParam, intptr_t lParam);

// MoveWindow, SetFocus (returns the window that had the focus), PostQuitMessage.
bool moveWindow(Handle window, int x, int y, int width, int height, bool repaint);
Handle setFocus(Handle window);
void postQuitMessage(int exitCode);

// SetWindowTextA and SetDlgItemTextA.
bool setWindowText(Handle window, const char *text);
bool setDlgItemText(Handle dialog, int id, const char *text);

// GetDlgItem: the child window with control id, or kNullHandle.
Handle dialogItem(Handle dialog, int id);

// Where the POSIX emulation copies each text appended to an edit control
// with the replace-selection message: a file path (appended to), "stderr",
// or null or "" for nowhere. Nothing on Windows, where the control shows
// the text.
void setEditControlSink(const char *target);

// The POSIX emulation's quit state: whether postQuitMessage was called, and
// its code. Always false on Windows (the message loop sees the quit).
bool quitPosted(int *exitCode);

}  // namespace pal

#endif
