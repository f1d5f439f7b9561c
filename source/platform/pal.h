// The platform layer: the one narrow interface through which the shared code
// reaches the operating system.
//
// It speaks the vocabulary of the Win32 kernel on every platform: handles are
// pointer-sized words, failures leave a Win32 error number in a per-thread
// last error, and waits return 0 (signalled), 128 (abandoned) or 258 (timed
// out). The Win32 half (platform/win32) calls the system directly; the POSIX
// half (platform/posix) reproduces the semantics the shared code relies on.
// Every POSIX rule that has no Win32 counterpart is written down in
// docs/porting.md.
//
// This header holds the core: errors, the module, profile files, the
// debugger and sleep. The thread, synchronisation, file,
// mapping and registry pieces have headers of their own beside it.
#ifndef ORVANE_PLATFORM_PAL_H
#define ORVANE_PLATFORM_PAL_H

#include <cstddef>
#include <cstdint>

namespace pal {

using Handle = uintptr_t;
constexpr Handle kNullHandle = 0;

// Win32 error numbers that the shared code tests or that the POSIX half sets.
enum : uint32_t {
  kErrorSuccess = 0,
  kErrorFileNotFound = 2,
  kErrorPathNotFound = 3,
  kErrorTooManyOpenFiles = 4,
  kErrorAccessDenied = 5,
  kErrorInvalidHandle = 6,
  kErrorNotEnoughMemory = 8,
  kErrorInvalidData = 13,
  kErrorNotSameDevice = 17,
  kErrorWriteProtect = 19,
  kErrorWriteFault = 29,
  kErrorReadFault = 30,
  kErrorGenFailure = 31,
  kErrorSharingViolation = 32,
  kErrorLockViolation = 33,
  kErrorFileExists = 80,
  kErrorInvalidParameter = 87,
  kErrorDiskFull = 112,
  kErrorInsufficientBuffer = 122,
  kErrorModNotFound = 126,
  kErrorProcNotFound = 127,
  kErrorDirNotEmpty = 145,
  kErrorFilenameTooLong = 206,
  kErrorNotOwner = 288,
  kErrorTooManyPosts = 298,
  kErrorNotSupported = 50,
};

// Wait results of waitForSingleObject.
constexpr uint32_t kWaitObject0 = 0;
constexpr uint32_t kWaitAbandoned = 128;
constexpr uint32_t kWaitTimeout = 258;
constexpr uint32_t kWaitFailed = 0xFFFFFFFFu;
constexpr uint32_t kInfinite = 0xFFFFFFFFu;

// GetExitCodeThread's value for a thread that still runs.
constexpr uint32_t kStillActive = 259;

// The separator the platform uses in file paths.
#if defined(_WIN32)
constexpr char kPathSeparator = '\\';
#else
constexpr char kPathSeparator = '/';
#endif

// Size of the buffer the frame uses for module paths (MAX_PATH).
constexpr size_t kMaxPath = 260;

// --- Last error -------------------------------------------------------------

uint32_t getLastError();
void setLastError(uint32_t error);

// --- Handles ----------------------------------------------------------------

// CloseHandle: closes any kernel object handle (mutex, semaphore, event,
// thread, file, file mapping). False with last error 6 for a handle that is
// not open.
bool closeHandle(Handle handle);

// --- Module -----------------------------------------------------------------

// The library's own module handle, kept by the load hook.
Handle selfModule();
void setSelfModule(Handle module);

// GetModuleFileNameA(GetModuleHandleA(NULL)): the full path of the process's
// executable, NUL-terminated and cut to size; returns the characters stored
// (0 on failure).
uint32_t executablePath(char *buffer, uint32_t size);

// LoadStringA on the library's own string table: copies at most size - 1
// characters of string resource id and a NUL; returns the characters copied,
// 0 when the resource is missing or empty.
int loadString(uint32_t id, char *buffer, int size);

// --- Profile files ----------------------------------------------------------

// GetPrivateProfileStringA: reads key of section from the profile file
// fileName (a bare name is resolved in the profile directory). Copies at most
// size - 1 characters and a NUL into out; the default when the key is absent.
// Returns the characters copied.
uint32_t getPrivateProfileString(const char *section, const char *key, const char *defaultValue,
                                 char *out, uint32_t size, const char *fileName);

// The directory where bare profile names resolve (the Windows directory on
// Win32). Empty on failure.
uint32_t profileDirectory(char *buffer, uint32_t size);

// --- User interface and debugging ------------------------------------------

// MessageBoxA without an owner. Returns the button pressed (1 for OK).
int messageBox(const char *text, const char *caption, uint32_t style);
void outputDebugString(const char *text);
bool debuggerPresent();
void debugBreak();
[[noreturn]] void fatalExit(int code);

// --- Time -------------------------------------------------------------------

// Sleep(milliseconds); 0 gives up the rest of the time slice.
void sleepMs(uint32_t milliseconds);

}  // namespace pal

#endif
