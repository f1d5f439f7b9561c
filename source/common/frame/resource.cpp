// Settings and dynamic libraries.
//
// A setting is looked up through a fixed chain and the first source that has
// it wins: the per-user registry under the application's configuration key,
// then "ORVANE.INI" (the configuration key's section, "Services" followed by
// the product letter, "Services"), then the process environment. Without a
// configuration key the registry and the key's section are skipped.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orvane/frame.h"
#include "platform/pal.h"
#include "platform/pal_dl.h"
#include "platform/pal_registry.h"

namespace {

const char kProfileFile[] = "ORVANE.INI";
const char kServicesSection[] = "Services";
constexpr uint32_t kProfileBufferSize = 1024;

const char *configurationKey() {
  return reinterpret_cast<const char *>(servicesQueryApp(ORV_ITEM_CONFIGURATION_KEY));
}

// A heap copy of size bytes of data, always terminated (a registry text need
// not carry its own NUL).
char *heapText(const char *data, size_t size) {
  char *copy = static_cast<char *>(malloc(size + 1));
  if (copy == nullptr) {
    return nullptr;
  }
  memcpy(copy, data, size);
  copy[size] = '\0';
  return copy;
}

// Step 1: a text value of the configuration key in the per-user registry.
char *registryText(const char *key, const char *name) {
  pal::RegistryValue value;
  if (pal::queryCurrentUserValue(key, name, value) != 0 || value.type != pal::kRegSz) {
    return nullptr;  // a value of another type is passed over
  }
  return heapText(value.data.data(), value.data.size());
}

// Steps 2 to 4: a non-empty value of section in "ORVANE.INI".
char *profileText(const char *section, const char *name) {
  char buffer[kProfileBufferSize];
  uint32_t n = pal::getPrivateProfileString(section, name, "", buffer, sizeof buffer, kProfileFile);
  if (n == 0) {
    return nullptr;
  }
  return strdup(buffer);
}

}  // namespace

extern "C" {

ORV_API char *orvResourceGetNLSStr(const char *name) {
  if (name == nullptr) {
    return nullptr;
  }
  if (const char *key = configurationKey(); key != nullptr) {
    if (char *text = registryText(key, name)) {
      return text;
    }
    if (char *text = profileText(key, name)) {
      return text;
    }
  }
  char productSection[sizeof kServicesSection + 1];
  memcpy(productSection, kServicesSection, sizeof kServicesSection);
  if (uint32_t code = orvGetProductCode(); code != 0) {
    productSection[sizeof kServicesSection - 1] = static_cast<char>(code);
    productSection[sizeof kServicesSection] = '\0';
  }
  if (char *text = profileText(productSection, name)) {
    return text;
  }
  if (char *text = profileText(kServicesSection, name)) {
    return text;
  }
  if (const char *env = getenv(name); env != nullptr) {
    return strdup(env);
  }
  return nullptr;
}

ORV_API uint32_t orvResourceGetUInt32(const char *name) {
  if (name == nullptr) {
    return 0;
  }
  if (const char *key = configurationKey(); key != nullptr) {
    pal::RegistryValue value;
    if (pal::queryCurrentUserValue(key, name, value) == 0 && value.type == pal::kRegDword &&
        value.data.size() >= 4) {
      uint32_t number = 0;
      for (int i = 3; i >= 0; --i) {
        number = number << 8 | static_cast<unsigned char>(value.data[static_cast<size_t>(i)]);
      }
      return number;
    }
  }
  char *text = orvResourceGetNLSStr(name);
  if (text == nullptr) {
    return 0;
  }
  // Decimal first; only a decimal reading of 0 is read again as hexadecimal,
  // so "0x1F" gives 31 while "1F" gives 1.
  int decimal = 0;
  if (sscanf(text, "%d", &decimal) != 1) {
    decimal = 0;
  }
  uint32_t number = static_cast<uint32_t>(decimal);
  if (decimal == 0) {
    unsigned int hex = 0;
    if (sscanf(text, "%x", &hex) != 1) {
      hex = 0;
    }
    number = hex;
  }
  free(text);
  return number;
}

ORV_API void *orvDLOpen(const char *name) {
  if (name == nullptr) {
    return nullptr;
  }
  pal::Handle module = pal::loadLibrary(name);
  if (module == pal::kNullHandle) {
    // Once more with the platform's library suffix appended.
    size_t length = strlen(name);
    char *withSuffix = static_cast<char *>(malloc(length + sizeof pal::kLibrarySuffix));
    if (withSuffix == nullptr) {
      return nullptr;
    }
    memcpy(withSuffix, name, length);
    memcpy(withSuffix + length, pal::kLibrarySuffix, sizeof pal::kLibrarySuffix);
    module = pal::loadLibrary(withSuffix);
    free(withSuffix);
  }
  return reinterpret_cast<void *>(module);
}

ORV_API int orvDLClose(void *module) {
  if (module == nullptr) {
    return 0;
  }
  return pal::freeLibrary(reinterpret_cast<pal::Handle>(module)) ? 1 : 0;
}

ORV_API void *orvDLSymbol(void *module, const char *symbol) {
  if (module == nullptr || symbol == nullptr) {
    return nullptr;
  }
  return pal::librarySymbol(reinterpret_cast<pal::Handle>(module), symbol);
}

}  // extern "C"
