// The platform layer's file mappings: CreateFileMappingA, MapViewOfFile,
// UnmapViewOfFile and the allocation granularity of GetSystemInfo.
//
// A mapping is a kernel object (pal::closeHandle closes it); its views stay
// valid until they are unmapped, even after the mapping and file handles are
// closed. Windows makes the real calls; the POSIX half reproduces them over
// mmap(2) with the rules of docs/porting.md ("Files").
#ifndef ORVANE_PLATFORM_PAL_MAPPING_H
#define ORVANE_PLATFORM_PAL_MAPPING_H

#include <cstddef>
#include <cstdint>

#include "platform/pal.h"

namespace pal {

// Page protections and section attributes of CreateFileMappingA.
constexpr uint32_t kPageReadonly = 0x02;
constexpr uint32_t kPageReadwrite = 0x04;
constexpr uint32_t kSecCommit = 0x8000000u;

// View access of MapViewOfFile.
constexpr uint32_t kFileMapCopy = 0x0001;
constexpr uint32_t kFileMapWrite = 0x0002;
constexpr uint32_t kFileMapRead = 0x0004;
constexpr uint32_t kFileMapAllAccess = 0xF001Fu;

// Error numbers of the mapping calls beyond those of pal.h and pal_file.h.
constexpr uint32_t kErrorInvalidAddress = 487;
constexpr uint32_t kErrorMappedAlignment = 1132;

// CreateFileMappingA without a name: a mapping of file (or, for
// kInvalidHandleValue, of memory not backed by a file) with protection
// kPageReadonly or kPageReadwrite, optionally with kSecCommit, and the
// 64-bit maximum size (high, low). A size of 0 means the file's size. A
// writable mapping larger than its file extends the file; a read-only one
// fails with kErrorNotEnoughMemory (8); an empty file with size 0 fails with
// kErrorFileInvalid (1006). Returns kNullHandle with a last error on failure.
Handle createFileMappingA(Handle file, uint32_t protect, uint32_t maximumSizeHigh, uint32_t maximumSizeLow);

// MapViewOfFile: maps bytes of the mapping (0: up to its end) from the 64-bit
// offset (high, low), which must be a multiple of the allocation granularity
// (else kErrorMappedAlignment). desiredAccess: kFileMapRead,
// kFileMapWrite / kFileMapAllAccess, or kFileMapCopy. Null with a last error
// on failure: 87 for an offset at or past the mapping's end, 5 for a range
// that runs past it or for write access to a read-only mapping.
void *mapViewOfFile(Handle mapping, uint32_t desiredAccess, uint32_t offsetHigh, uint32_t offsetLow,
                    size_t bytes);

// UnmapViewOfFile: unmaps the view that holds base (the address
// MapViewOfFile returned, or any address inside that view); false with
// kErrorInvalidAddress when no view holds it.
bool unmapViewOfFile(const void *base);

// GetSystemInfo's allocation granularity: 65536 on both platforms.
uint32_t allocationGranularity();

}  // namespace pal

#endif
