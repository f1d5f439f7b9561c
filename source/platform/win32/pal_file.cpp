// Win32 half of the platform layer's files: the kernel32 calls themselves.
#include <windows.h>

#include <errno.h>
#include <io.h>

#include "platform/pal_file.h"

namespace pal {

namespace {
HANDLE toHandle(Handle handle) { return reinterpret_cast<HANDLE>(handle); }
Handle fromHandle(HANDLE handle) { return reinterpret_cast<Handle>(handle); }
}  // namespace

Handle createFileA(const char *path, uint32_t access, uint32_t shareMode, uint32_t disposition,
                   uint32_t flagsAndAttributes) {
  return fromHandle(CreateFileA(path, access, shareMode, nullptr, disposition, flagsAndAttributes, nullptr));
}

bool readFile(Handle file, void *buffer, uint32_t size, uint32_t *transferred) {
  DWORD count = 0;
  BOOL ok = ReadFile(toHandle(file), buffer, size, &count, nullptr);
  if (transferred != nullptr) {
    *transferred = count;
  }
  return ok != FALSE;
}

bool writeFile(Handle file, const void *buffer, uint32_t size, uint32_t *transferred) {
  DWORD count = 0;
  BOOL ok = WriteFile(toHandle(file), buffer, size, &count, nullptr);
  if (transferred != nullptr) {
    *transferred = count;
  }
  return ok != FALSE;
}

uint32_t setFilePointer(Handle file, int32_t distanceLow, int32_t *distanceHigh, uint32_t moveMethod) {
  if (distanceHigh == nullptr) {
    return SetFilePointer(toHandle(file), distanceLow, nullptr, moveMethod);
  }
  LONG high = *distanceHigh;
  DWORD low = SetFilePointer(toHandle(file), distanceLow, &high, moveMethod);
  *distanceHigh = static_cast<int32_t>(high);
  return low;
}

bool setEndOfFile(Handle file) { return SetEndOfFile(toHandle(file)) != FALSE; }

bool flushFileBuffers(Handle file) { return FlushFileBuffers(toHandle(file)) != FALSE; }

bool lockFile(Handle file, uint32_t offsetLow, uint32_t offsetHigh, uint32_t lengthLow, uint32_t lengthHigh) {
  return LockFile(toHandle(file), offsetLow, offsetHigh, lengthLow, lengthHigh) != FALSE;
}

bool unlockFile(Handle file, uint32_t offsetLow, uint32_t offsetHigh, uint32_t lengthLow,
                uint32_t lengthHigh) {
  return UnlockFile(toHandle(file), offsetLow, offsetHigh, lengthLow, lengthHigh) != FALSE;
}

bool deleteFileA(const char *path) { return DeleteFileA(path) != FALSE; }

uint32_t getFileType(Handle file) { return GetFileType(toHandle(file)); }

Handle getStdHandle(uint32_t which) { return fromHandle(GetStdHandle(which)); }

uint32_t getCurrentDirectoryA(uint32_t size, char *buffer) { return GetCurrentDirectoryA(size, buffer); }

bool fileAccess(const char *path, int mode) {
  // The runtime's parameter checks would end the process: refuse bad input here.
  if (path == nullptr || (mode & ~6) != 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return false;
  }
  SetLastError(ERROR_SUCCESS);
  if (_access(path, mode) == 0) {
    return true;
  }
  // _access keeps the system's reason for a missing file or path in the
  // last error; a read-only file it refuses by itself.
  DWORD error = GetLastError();
  if (errno == EACCES) {
    error = ERROR_ACCESS_DENIED;
  } else if (error == ERROR_SUCCESS) {
    error = ERROR_FILE_NOT_FOUND;
  }
  SetLastError(error);
  return false;
}

}  // namespace pal
