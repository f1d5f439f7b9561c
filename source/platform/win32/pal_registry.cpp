// Win32 half of the per-user registry: advapi32.
#include <windows.h>

#include "platform/pal_registry.h"

namespace pal {

uint32_t queryCurrentUserValue(const char *keyPath, const char *valueName, RegistryValue &value) {
  HKEY key = nullptr;
  LONG rc = RegOpenKeyExA(HKEY_CURRENT_USER, keyPath, 0, KEY_READ, &key);
  if (rc != ERROR_SUCCESS) {
    return static_cast<uint32_t>(rc);
  }
  // Ask for the size first, then read; a value that grows in between is
  // read again with the new size.
  for (int attempt = 0; attempt < 4; ++attempt) {
    DWORD type = 0;
    DWORD size = 0;
    rc = RegQueryValueExA(key, valueName, nullptr, &type, nullptr, &size);
    if (rc != ERROR_SUCCESS) {
      break;
    }
    try {
      value.data.resize(size);
    } catch (...) {
      rc = ERROR_NOT_ENOUGH_MEMORY;
      break;
    }
    rc = RegQueryValueExA(key, valueName, nullptr, &type, reinterpret_cast<BYTE *>(value.data.data()), &size);
    if (rc == ERROR_SUCCESS) {
      value.type = type;
      value.data.resize(size);
      break;
    }
    if (rc != ERROR_MORE_DATA) {
      break;
    }
  }
  RegCloseKey(key);
  return static_cast<uint32_t>(rc);
}

}  // namespace pal
