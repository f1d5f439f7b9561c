// The file layer's error codes and their source in Win32 error numbers.
//
// File functions report failure with a boolean or null result and keep a
// negative code per thread. Failures of the system calls arrive as Win32
// error numbers (the POSIX half of the platform layer maps errno values to
// the same numbers) and are turned into codes by one table.
#ifndef ORVANE_FILES_FILE_ERRORS_H
#define ORVANE_FILES_FILE_ERRORS_H

#include <cstdint>

namespace files {

// Codes the file layer raises itself.
enum : int32_t {
  kCodeCannotDelete = -10,     // a temporary file could not be deleted at close
  kCodeNoTemporaryFile = -13,  // no name in any directory could be opened
  kCodeFileMissing = -17,      // open flag "must exist" and the file is missing
  kCodeLockFailed = -33,       // the mutex of a thread-safe record failed
  kCodeOutOfMemory = -36,      // an allocation failed
  kCodeKeyUnreadable = -49,    // the per-thread error could not be read
  kCodeUnknown = -53,          // a Win32 error number the table does not list
};

// The file layer's code for a Win32 error number: 0 for 0, a negative code
// from the table otherwise, kCodeUnknown for a number it does not list.
int32_t codeFromWin32Error(uint32_t error);

}  // namespace files

#endif
