// Win32 half of the platform layer's file mappings: the kernel32 calls.
#include <windows.h>

#include "platform/pal_file.h"
#include "platform/pal_mapping.h"

namespace pal {

Handle createFileMappingA(Handle file, uint32_t protect, uint32_t maximumSizeHigh, uint32_t maximumSizeLow) {
  HANDLE mapping = CreateFileMappingA(reinterpret_cast<HANDLE>(file), nullptr, protect, maximumSizeHigh,
                                      maximumSizeLow, nullptr);
  return reinterpret_cast<Handle>(mapping);
}

void *mapViewOfFile(Handle mapping, uint32_t desiredAccess, uint32_t offsetHigh, uint32_t offsetLow,
                    size_t bytes) {
  return MapViewOfFile(reinterpret_cast<HANDLE>(mapping), desiredAccess, offsetHigh, offsetLow, bytes);
}

bool unmapViewOfFile(const void *base) { return UnmapViewOfFile(base) != FALSE; }

uint32_t allocationGranularity() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwAllocationGranularity;
}

}  // namespace pal
