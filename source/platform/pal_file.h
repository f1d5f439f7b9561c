// The platform layer's files: CreateFileA and the calls on file handles.
//
// Win32 vocabulary on every platform: a file is a kernel object named by a
// handle that pal::closeHandle closes; a failing call returns its failure
// value and leaves a Win32 error number in the last error. Windows makes the
// real calls. The POSIX half reproduces them over open(2) and friends; each
// of its rules is written down in docs/porting.md ("Files").
#ifndef ORVANE_PLATFORM_PAL_FILE_H
#define ORVANE_PLATFORM_PAL_FILE_H

#include <cstdint>

#include "platform/pal.h"

namespace pal {

// CreateFileA's failure value (INVALID_HANDLE_VALUE).
constexpr Handle kInvalidHandleValue = ~Handle{0};

// Access rights.
constexpr uint32_t kGenericRead = 0x80000000u;
constexpr uint32_t kGenericWrite = 0x40000000u;

// Share modes.
constexpr uint32_t kFileShareRead = 0x1;
constexpr uint32_t kFileShareWrite = 0x2;
constexpr uint32_t kFileShareDelete = 0x4;

// Creation dispositions.
constexpr uint32_t kCreateNew = 1;
constexpr uint32_t kCreateAlways = 2;
constexpr uint32_t kOpenExisting = 3;
constexpr uint32_t kOpenAlways = 4;
constexpr uint32_t kTruncateExisting = 5;

// Attributes and flags.
constexpr uint32_t kFileAttributeReadonly = 0x1;
constexpr uint32_t kFileAttributeHidden = 0x2;
constexpr uint32_t kFileAttributeSystem = 0x4;
constexpr uint32_t kFileAttributeArchive = 0x20;
constexpr uint32_t kFileAttributeNormal = 0x80;
constexpr uint32_t kFileAttributeTemporary = 0x100;
constexpr uint32_t kFileAttributeCompressed = 0x800;
constexpr uint32_t kFileAttributeNotContentIndexed = 0x2000;
constexpr uint32_t kFileFlagWriteThrough = 0x80000000u;
constexpr uint32_t kFileFlagOverlapped = 0x40000000u;
constexpr uint32_t kFileFlagNoBuffering = 0x20000000u;
constexpr uint32_t kFileFlagRandomAccess = 0x10000000u;
constexpr uint32_t kFileFlagSequentialScan = 0x08000000u;
constexpr uint32_t kFileFlagDeleteOnClose = 0x04000000u;
constexpr uint32_t kFileFlagBackupSemantics = 0x02000000u;

// SetFilePointer's move methods and failure value.
constexpr uint32_t kFileBegin = 0;
constexpr uint32_t kFileCurrent = 1;
constexpr uint32_t kFileEnd = 2;
constexpr uint32_t kInvalidSetFilePointer = 0xFFFFFFFFu;

// GetFileType's results.
constexpr uint32_t kFileTypeUnknown = 0;
constexpr uint32_t kFileTypeDisk = 1;
constexpr uint32_t kFileTypeChar = 2;
constexpr uint32_t kFileTypePipe = 3;

// GetStdHandle's selectors.
constexpr uint32_t kStdInputHandle = static_cast<uint32_t>(-10);
constexpr uint32_t kStdOutputHandle = static_cast<uint32_t>(-11);
constexpr uint32_t kStdErrorHandle = static_cast<uint32_t>(-12);

// Error numbers of the file calls beyond those of pal.h.
constexpr uint32_t kErrorNegativeSeek = 131;
constexpr uint32_t kErrorNotLocked = 158;
constexpr uint32_t kErrorAlreadyExists = 183;
constexpr uint32_t kErrorNoAccess = 998;
constexpr uint32_t kErrorFileInvalid = 1006;
constexpr uint32_t kErrorUserMappedFile = 1224;

// CreateFileA: opens or creates path. access: kGenericRead and/or
// kGenericWrite (0 opens without read or write rights); shareMode: the
// kFileShare bits; disposition: kCreateNew .. kTruncateExisting;
// flagsAndAttributes: kFileAttribute and kFileFlag bits. Returns the handle,
// or kInvalidHandleValue with a last error. After kCreateAlways and
// kOpenAlways the last error is kErrorAlreadyExists (183) when the file was
// there already, else 0.
Handle createFileA(const char *path, uint32_t access, uint32_t shareMode, uint32_t disposition,
                   uint32_t flagsAndAttributes);

// ReadFile: reads up to size bytes at the file position. *transferred (may
// be null) gets the count; 0 at the end of the file with success.
bool readFile(Handle file, void *buffer, uint32_t size, uint32_t *transferred);

// WriteFile: writes size bytes at the file position. A write that comes up
// short fails with kErrorDiskFull and *transferred (may be null) holds the
// bytes that did reach the file.
bool writeFile(Handle file, const void *buffer, uint32_t size, uint32_t *transferred);

// SetFilePointer: moves the file position by the signed 64-bit distance
// (*distanceHigh, distanceLow), or by distanceLow alone when distanceHigh is
// null, from kFileBegin, kFileCurrent or kFileEnd. Returns the low word of
// the new position (and stores the high word in *distanceHigh). On failure
// returns kInvalidSetFilePointer with a last error that is not 0; when the
// low word of a valid position is 0xFFFFFFFF the last error is set to 0.
uint32_t setFilePointer(Handle file, int32_t distanceLow, int32_t *distanceHigh, uint32_t moveMethod);

// SetEndOfFile: cuts or extends the file at the file position.
bool setEndOfFile(Handle file);

// FlushFileBuffers: forces the file's data to its device.
bool flushFileBuffers(Handle file);

// LockFile / UnlockFile: exclusive, non-blocking byte-range locks; a range
// held through another handle, or overlapping one already held through this
// handle, fails at once with kErrorLockViolation (33). UnlockFile takes the
// exact range of an earlier LockFile.
bool lockFile(Handle file, uint32_t offsetLow, uint32_t offsetHigh, uint32_t lengthLow, uint32_t lengthHigh);
bool unlockFile(Handle file, uint32_t offsetLow, uint32_t offsetHigh, uint32_t lengthLow,
                uint32_t lengthHigh);

// DeleteFileA.
bool deleteFileA(const char *path);

// GetFileType: kFileTypeDisk, kFileTypeChar, kFileTypePipe, or
// kFileTypeUnknown (with last error 6 for a handle that is not a file).
uint32_t getFileType(Handle file);

// GetStdHandle(kStdInputHandle / kStdOutputHandle / kStdErrorHandle): the
// process's standard handle, kNullHandle when it has none, or
// kInvalidHandleValue with last error 6 for another selector.
Handle getStdHandle(uint32_t which);

// GetCurrentDirectoryA: copies the current directory and a NUL into buffer
// when size is larger than its length, and returns the length; otherwise
// returns the size needed (length + 1) and leaves buffer alone. 0 on failure.
uint32_t getCurrentDirectoryA(uint32_t size, char *buffer);

// The runtime's _access: true when path exists (mode 0) and, with mode bit
// 4, may be read and, with mode bit 2, may be written. False with a last
// error otherwise (87 for a mode with other bits).
bool fileAccess(const char *path, int mode);

}  // namespace pal

#endif
