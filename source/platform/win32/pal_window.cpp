// Win32 half of the windows: thin wrappers over user32.
#include <windows.h>

#include "platform/pal_window.h"

namespace pal {

Handle createWindow(const char *className, const char *windowName, uint32_t style, int x, int y, int width,
                    int height, Handle parent, uintptr_t id, Handle instance, void *param) {
  HWND window =
      CreateWindowExA(0, className, windowName, style, x, y, width, height, reinterpret_cast<HWND>(parent),
                      reinterpret_cast<HMENU>(id), reinterpret_cast<HINSTANCE>(instance), param);
  return reinterpret_cast<Handle>(window);
}

bool registerWindowClass(const char *className, WindowProc procedure, Handle instance) {
  WNDCLASSA c = {};
  // The procedure has WNDPROC's shape with the platform layer's integer types.
  c.lpfnWndProc = reinterpret_cast<WNDPROC>(reinterpret_cast<void (*)()>(procedure));
  c.hInstance = reinterpret_cast<HINSTANCE>(instance);
  c.lpszClassName = className;
  return RegisterClassA(&c) != 0;
}

bool destroyWindow(Handle window) { return DestroyWindow(reinterpret_cast<HWND>(window)) != FALSE; }

intptr_t sendMessage(Handle window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  return static_cast<intptr_t>(SendMessageA(reinterpret_cast<HWND>(window), message, wParam, lParam));
}

intptr_t defaultWindowProc(Handle window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  return static_cast<intptr_t>(DefWindowProcA(reinterpret_cast<HWND>(window), message, wParam, lParam));
}

bool moveWindow(Handle window, int x, int y, int width, int height, bool repaint) {
  return MoveWindow(reinterpret_cast<HWND>(window), x, y, width, height, repaint ? TRUE : FALSE) != FALSE;
}

Handle setFocus(Handle window) { return reinterpret_cast<Handle>(SetFocus(reinterpret_cast<HWND>(window))); }

void postQuitMessage(int exitCode) { PostQuitMessage(exitCode); }

bool setWindowText(Handle window, const char *text) {
  return SetWindowTextA(reinterpret_cast<HWND>(window), text) != FALSE;
}

bool setDlgItemText(Handle dialog, int id, const char *text) {
  return SetDlgItemTextA(reinterpret_cast<HWND>(dialog), id, text) != FALSE;
}

Handle dialogItem(Handle dialog, int id) {
  return reinterpret_cast<Handle>(GetDlgItem(reinterpret_cast<HWND>(dialog), id));
}

void setEditControlSink(const char * /*target*/) {}

bool quitPosted(int *exitCode) {
  if (exitCode != nullptr) {
    *exitCode = 0;
  }
  return false;
}

}  // namespace pal
