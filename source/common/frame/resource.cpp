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

#include <new>

#include "common/frame/frame_internal.h"
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
// A step of the search that ran out of memory ends it: the setting cannot
// be told missing.
struct Search {
  bool outOfMemory = false;

  char *copy(const char *data, size_t size) {
    char *text = heapText(data, size);
    outOfMemory = text == nullptr;
    return text;
  }
};

char *registryText(Search &search, const char *key, const char *name) {
  try {
    pal::RegistryValue value;
    if (pal::queryCurrentUserValue(key, name, value) != 0 || value.type != pal::kRegSz) {
      search.outOfMemory = pal::getLastError() == pal::kErrorNotEnoughMemory;
      return nullptr;  // a value of another type is passed over
    }
    return search.copy(value.data.data(), value.data.size());
  } catch (const std::bad_alloc &) {
    search.outOfMemory = true;
    return nullptr;
  }
}

// Steps 2 to 4: a non-empty value of section in "ORVANE.INI".
char *profileText(Search &search, const char *section, const char *name) {
  char buffer[kProfileBufferSize];
  uint32_t n = pal::getPrivateProfileString(section, name, "", buffer, sizeof buffer, kProfileFile);
  if (n == 0) {
    search.outOfMemory = pal::getLastError() == pal::kErrorNotEnoughMemory;
    return nullptr;
  }
  return search.copy(buffer, n);
}

char *searchText(Search &search, const char *name) {
  if (const char *key = configurationKey(); key != nullptr) {
    if (char *text = registryText(search, key, name); text != nullptr || search.outOfMemory) {
      return text;
    }
    if (char *text = profileText(search, key, name); text != nullptr || search.outOfMemory) {
      return text;
    }
  }
  char productSection[sizeof kServicesSection + 1];
  memcpy(productSection, kServicesSection, sizeof kServicesSection);
  if (uint32_t code = orvGetProductCode(); code != 0) {
    productSection[sizeof kServicesSection - 1] = static_cast<char>(code);
    productSection[sizeof kServicesSection] = '\0';
  }
  if (char *text = profileText(search, productSection, name); text != nullptr || search.outOfMemory) {
    return text;
  }
  if (char *text = profileText(search, kServicesSection, name); text != nullptr || search.outOfMemory) {
    return text;
  }
  if (const char *env = getenv(name); env != nullptr) {
    return search.copy(env, strlen(env));
  }
  return nullptr;
}

}  // namespace

namespace frame {

char *resourceText(const char *name, bool *outOfMemory) {
  Search search;
  char *text = name != nullptr ? searchText(search, name) : nullptr;
  if (outOfMemory != nullptr) {
    *outOfMemory = search.outOfMemory;
  }
  return text;
}

}  // namespace frame

extern "C" {

ORV_API char *orvResourceGetNLSStr(const char *name) { return frame::resourceText(name, nullptr); }

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
