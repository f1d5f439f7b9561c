// Win32 half of threads and thread-local storage: the runtime's
// _beginthreadex and the kernel's thread and TLS calls.
#include <windows.h>

#include <process.h>

#include "platform/pal_thread.h"

namespace pal {

namespace {
HANDLE native(Handle handle) { return reinterpret_cast<HANDLE>(handle); }
}  // namespace

Handle beginThread(ThreadStart start, void *argument, uint32_t flags, uint32_t *threadId) {
  unsigned id = 0;
  uintptr_t handle = _beginthreadex(nullptr, 0, start, argument, flags, &id);
  if (handle != 0 && threadId != nullptr) {
    *threadId = id;
  }
  return static_cast<Handle>(handle);
}

void endThread(uint32_t status) {
  _endthreadex(status);
  ExitThread(status);  // not reached: _endthreadex does not return
}

uint32_t suspendThread(Handle thread) { return SuspendThread(native(thread)); }

uint32_t resumeThread(Handle thread) { return ResumeThread(native(thread)); }

bool getExitCodeThread(Handle thread, uint32_t *exitCode) {
  DWORD code = 0;
  if (GetExitCodeThread(native(thread), &code) == FALSE) {
    return false;
  }
  if (exitCode != nullptr) {
    *exitCode = code;
  }
  return true;
}

int getThreadPriority(Handle thread) { return GetThreadPriority(native(thread)); }

bool setThreadPriority(Handle thread, int priority) {
  return SetThreadPriority(native(thread), priority) != FALSE;
}

uint32_t currentThreadId() { return GetCurrentThreadId(); }

Handle currentThread() { return reinterpret_cast<Handle>(GetCurrentThread()); }

void yieldThread() { Sleep(0); }

uint32_t tlsAlloc() { return TlsAlloc(); }

bool tlsFree(uint32_t slot) { return TlsFree(slot) != FALSE; }

void *tlsGetValue(uint32_t slot) { return TlsGetValue(slot); }

bool tlsSetValue(uint32_t slot, void *value) { return TlsSetValue(slot, value) != FALSE; }

}  // namespace pal
