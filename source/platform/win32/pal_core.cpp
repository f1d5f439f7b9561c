// Win32 half of the platform core: thin wrappers over kernel32 and user32.
#include <windows.h>

#include <stdlib.h>
#include <string.h>

#include "platform/pal.h"

namespace pal {

namespace {
Handle moduleHandle = kNullHandle;

// Headless runs (CI under wine, services) ask for message boxes on standard
// error with ORVANE_MESSAGE_BOX=stderr, in the same one-line form as POSIX.
bool messageBoxOnStderr() {
  char value[16];
  DWORD n = GetEnvironmentVariableA("ORVANE_MESSAGE_BOX", value, sizeof value);
  return n > 0 && n < sizeof value && _stricmp(value, "stderr") == 0;
}
}  // namespace

uint32_t getLastError() { return GetLastError(); }

void setLastError(uint32_t error) { SetLastError(error); }

bool closeHandle(Handle handle) { return CloseHandle(reinterpret_cast<HANDLE>(handle)) != FALSE; }

Handle selfModule() {
  // Linked into a program rather than loaded as the DLL (the orv tool), no
  // DllMain runs: the program's own module holds the string table then.
  return moduleHandle != kNullHandle ? moduleHandle : reinterpret_cast<Handle>(GetModuleHandleA(nullptr));
}

void setSelfModule(Handle module) { moduleHandle = module; }

uint32_t executablePath(char *buffer, uint32_t size) {
  return GetModuleFileNameA(GetModuleHandleA(nullptr), buffer, size);
}

int loadString(uint32_t id, char *buffer, int size) {
  return LoadStringA(reinterpret_cast<HINSTANCE>(selfModule()), id, buffer, size);
}

uint32_t getPrivateProfileString(const char *section, const char *key, const char *defaultValue, char *out,
                                 uint32_t size, const char *fileName) {
  return GetPrivateProfileStringA(section, key, defaultValue, out, size, fileName);
}

uint32_t profileDirectory(char *buffer, uint32_t size) {
  UINT n = GetWindowsDirectoryA(buffer, size);
  return n < size ? n : 0;
}

int messageBox(const char *text, const char *caption, uint32_t style) {
  if (messageBoxOnStderr()) {
    HANDLE err = GetStdHandle(STD_ERROR_HANDLE);
    DWORD written = 0;
    const char *c = caption != nullptr ? caption : "Error";
    const char *t = text != nullptr ? text : "";
    WriteFile(err, c, static_cast<DWORD>(strlen(c)), &written, nullptr);
    WriteFile(err, ": ", 2, &written, nullptr);
    WriteFile(err, t, static_cast<DWORD>(strlen(t)), &written, nullptr);
    WriteFile(err, "\n", 1, &written, nullptr);
    return IDOK;
  }
  return MessageBoxA(nullptr, text, caption, style);
}

void outputDebugString(const char *text) { OutputDebugStringA(text); }

bool debuggerPresent() { return IsDebuggerPresent() != FALSE; }

void debugBreak() {
  // Without a debugger DebugBreak would end the process through the
  // unhandled-exception path before FatalExit runs; break only when someone
  // is there to catch it, as on POSIX.
  if (IsDebuggerPresent()) {
    DebugBreak();
  }
}

void fatalExit(int code) {
  FatalExit(code);
  ExitProcess(static_cast<UINT>(code));  // FatalExit does not return; this keeps the contract
}

void sleepMs(uint32_t milliseconds) { Sleep(milliseconds); }

}  // namespace pal

// The library's load hook: on process attach it keeps the module handle;
// for every reason it returns TRUE.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    pal::setSelfModule(reinterpret_cast<pal::Handle>(instance));
  }
  return TRUE;
}
