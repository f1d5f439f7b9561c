// The platform layer's per-user registry: the one read the settings chain
// makes (RegOpenKeyExA on HKEY_CURRENT_USER, RegQueryValueExA, RegCloseKey).
//
// Windows reads the real registry. POSIX reads the text file "user.reg" in
// the profile directory (see profile_path.h), in REGEDIT4 format:
//
//   REGEDIT4
//
//   [HKEY_CURRENT_USER\Software\Example]
//   "Name"="text with \\ and \" escapes"
//   "Count"=dword:0000001f
//   @="the key's default value"
//
// Key paths and value names are matched without regard to case, a line that
// does not parse is skipped, and when a value is given twice the later line
// wins (as an import of the file would leave it).
#ifndef ORVANE_PLATFORM_PAL_REGISTRY_H
#define ORVANE_PLATFORM_PAL_REGISTRY_H

#include <cstdint>
#include <vector>

namespace pal {

// Registry value types the library reads.
constexpr uint32_t kRegSz = 1;     // a NUL-terminated text
constexpr uint32_t kRegDword = 4;  // a 32-bit number, little-endian

struct RegistryValue {
  uint32_t type = 0;
  std::vector<char> data;  // exactly the bytes the registry reports
};

// Reads value valueName ("" for the key's default value) of key keyPath under
// HKEY_CURRENT_USER. Returns 0 and fills value, or a Win32 error: 2 when the
// key or the value does not exist, 8 when memory runs out.
uint32_t queryCurrentUserValue(const char *keyPath, const char *valueName, RegistryValue &value);

}  // namespace pal

#endif
